#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "storage/PackedFields.h"

namespace orq::database {

class DatabaseState;

/// The fields of records. They are read and set one by one, and stored all together, so those of
/// the last records are kept here.
class RecordTable {
  public:
    explicit RecordTable(DatabaseState& state) : m_state(state) {}

    /// Calls f(field) with a field that is set.
    template <class F>
    void WithField(std::int64_t object, int number, F&& f) {
        Record& record = Know(object);
        storage::PackedFieldReader& fields = record.reader;
        if (fields.Number() > number) {
            fields = storage::PackedFieldReader(record.fields);
        }
        while (fields.Number() < number && fields.Next()) {
        }
        // A reader that has not begun has no number either.
        if (number >= 0 && fields.Number() == number) {
            f(fields.Field());
        }
    }
    /// Throws Usage where there is no such object.
    void Put(std::int64_t object, const storage::PackedField& field);

    /// Forgets what was read of rows.
    void Forget() noexcept { m_known.fill({}); }

  private:
    struct Record {
        std::int64_t object = 0;  // 0 for none
        bool exists = false;
        int type = 0;
        int category = 0;
        std::vector<std::byte> fields;
        int highest = 0;                        // no field has a higher number
        storage::PackedFieldReader reader{{}};  // fields are mostly asked for in their order
    };
    Record& PlaceOf(std::int64_t object) {
        return m_known[static_cast<std::size_t>(object) % m_known.size()];
    }
    Record& Know(std::int64_t object);

    DatabaseState& m_state;
    std::array<Record, 16> m_known;  // by number; the later of two takes the place
};

}  // namespace orq::database
