#include "RecordTable.h"

#include <limits>
#include <string>

#include "DatabaseState.h"
#include "ORQBasFailure.h"

namespace orq::database {

using storage::ObjectRow;

RecordTable::Record& RecordTable::Know(std::int64_t object) {
    Record& record = PlaceOf(object);
    if (record.object != object) {
        record.object = 0;  // until all of it is known
        auto row = m_state.Rows().Find<ObjectRow>(object);
        record.exists = row.Next();
        record.fields.clear();
        if (record.exists) {
            record.type = row->type;
            record.category = row->category;
            record.fields.assign(row->fields.begin(), row->fields.end());
        }
        record.arePlacesKnown = false;
        record.highest = record.fields.empty() ? -1 : std::numeric_limits<int>::max();
        // What does not exist may come to exist.
        record.object = record.exists ? object : 0;
    }
    return record;
}

void RecordTable::FindPlaces(Record& record) {
    record.places.clear();
    storage::PackedFieldReader reader(record.fields);
    while (reader.Next()) {
        record.places.push_back(reader.Place());
    }
    record.arePlacesKnown = true;
}

void RecordTable::Put(std::int64_t object, const storage::PackedField& field) {
    Record& record = Know(object);
    if (!record.exists) {
        ORQBasThrowUsage("object " + std::to_string(object) + " does not exist");
    }
    // Until its row is written: if that throws, the next reader looks it up.
    record.object = 0;
    if (field.number > record.highest) {
        AppendPackedField(record.fields, field);
        record.highest = field.number;
    } else {
        PutPackedField(record.fields, field);
    }
    m_state.Rows().Put(ObjectRow{object, record.type, record.category, record.fields});
    record.arePlacesKnown = false;
    record.object = object;
}

}  // namespace orq::database
