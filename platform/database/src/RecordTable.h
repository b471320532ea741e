#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
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
        if (const storage::PackedPlace* place = Find(record, number)) {
            f(storage::PackedField{number, place->kind, place->ValueIn(record.fields)});
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
        int highest = 0;                           // no field has a higher number
        std::vector<storage::PackedPlace> places;  // of all fields, once one was asked for
        bool arePlacesKnown = false;
    };
    Record& PlaceOf(std::int64_t object) {
        return m_known[static_cast<std::size_t>(object) % m_known.size()];
    }
    Record& Know(std::int64_t object);
    static void FindPlaces(Record& record);
    // Null where there is none of that number.
    static const storage::PackedPlace* Find(Record& record, int number) {
        if (!record.arePlacesKnown) {
            FindPlaces(record);
        }
        // Mostly all numbers from 0 on are there.
        const auto& places = record.places;
        const auto nth = static_cast<std::size_t>(number);
        if (nth < places.size() && places[nth].number == number) {
            return &places[nth];
        }
        const auto found =
            std::ranges::lower_bound(places, number, {}, &storage::PackedPlace::number);
        return found != places.end() && found->number == number ? &*found : nullptr;
    }

    DatabaseState& m_state;
    std::array<Record, 16> m_known;  // by number; the later of two takes the place
};

}  // namespace orq::database
