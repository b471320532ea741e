#include "ORQSimDataRecord.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>

#include "DatabaseState.h"
#include "ORQBasFailure.h"
#include "ORQSimPosition.h"

using orq::database::DatabaseState;
using orq::storage::Cursor;
using orq::storage::Table;

namespace {

// Stored, do not change.
enum class Kind : int { Int = 1, Doubles = 2, String = 3, Symbol = 4, Type = 5 };

const char* NameOf(Kind kind) {
    switch (kind) {
        case Kind::Int:
            return "an int";
        case Kind::String:
            return "a string";
        case Kind::Symbol:
            return "a symbol";
        case Kind::Type:
            return "a type ID";
        case Kind::Doubles:
            return "doubles";
    }
    return "of no known kind";
}

bool IsInteger(Kind kind) {
    return kind == Kind::Int || kind == Kind::Symbol || kind == Kind::Type;
}

[[noreturn]] void RefuseKind(const ORQSimDynamicID& id, int field, Kind stored,
                             const char* wanted) {
    throw ORQBasFailure(ORQBasFailureKind::Usage, "field " + std::to_string(field) + " of object " +
                                                      std::to_string(id.MinorID()) + " holds " +
                                                      NameOf(stored) + " and cannot be read as " +
                                                      wanted);
}

// Calls f(kind, row) for a field that is set.
template <class F>
void WithField(const ORQSimDynamicID& id, int field, F&& f) {
    if (DatabaseState* state = DatabaseState::Reading(id); state != nullptr) {
        Cursor row = state->Rows().Find(Table::Field, id.MinorID(), field);
        if (row.Next()) {
            f(static_cast<Kind>(row.Int32(2)), row);
        }
    }
}

int ReadInteger(const ORQSimDynamicID& id, int field, const char* wanted) {
    int value = 0;
    WithField(id, field, [&](Kind kind, const Cursor& row) {
        if (!IsInteger(kind)) {
            RefuseKind(id, field, kind, wanted);
        }
        value = row.Int32(3);
    });
    return value;
}

template <class T>
void Put(const ORQSimDynamicID& id, int field, Kind kind, const T& value) {
    DatabaseState& state = DatabaseState::Writing(id);
    if (field < 0) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            "a record has no field " + std::to_string(field));
    }
    state.Rows().Put(Table::Field, id.MinorID(), field, static_cast<int>(kind), value);
}

}  // namespace

ORQSimPosition ORQSimDataRecord::Pos() const {
    return m_id;
}

int ORQSimDataRecord::GetInt(int field) const {
    return ReadInteger(m_id, field, "an int");
}
void ORQSimDataRecord::SetInt(int field, int value) const {
    Put(m_id, field, Kind::Int, value);
}
int ORQSimDataRecord::GetSymb(int field) const {
    return ReadInteger(m_id, field, "a symbol");
}
void ORQSimDataRecord::SetSymb(int field, int value) const {
    Put(m_id, field, Kind::Symbol, value);
}
ORQSimTypeID ORQSimDataRecord::GetTypeID(int field) const {
    return ORQSimTypeID(ReadInteger(m_id, field, "a type ID"));
}
void ORQSimDataRecord::SetTypeID(int field, ORQSimTypeID value) const {
    Put(m_id, field, Kind::Type, value.Index());
}

double ORQSimDataRecord::GetDouble(int field) const {
    double value = 0.0;
    GetDouble(field, 1, &value);
    return value;
}

void ORQSimDataRecord::GetDouble(int field, int count, double* values) const {
    std::fill_n(values, std::max(count, 0), 0.0);
    if (count < 1) {
        return;
    }
    WithField(m_id, field, [&](Kind kind, const Cursor& row) {
        if (kind == Kind::String) {
            RefuseKind(m_id, field, kind, "a double");
        }
        if (kind == Kind::Doubles) {
            const std::span<const std::byte> bytes = row.Blob(3);
            const auto wanted = static_cast<std::size_t>(count) * sizeof(double);
            std::ranges::copy(bytes.first(std::min(bytes.size(), wanted)),
                              reinterpret_cast<std::byte*>(values));
        } else {
            values[0] = row.Double(3);
        }
    });
}

void ORQSimDataRecord::SetDouble(int field, double value) const {
    // As bytes: a NaN would be stored as no value at all.
    SetDouble(field, 1, &value);
}

void ORQSimDataRecord::SetDouble(int field, int count, const double* values) const {
    Put(m_id, field, Kind::Doubles,
        std::as_bytes(std::span(values, static_cast<std::size_t>(std::max(count, 0)))));
}

void ORQSimDataRecord::GetString(int field, ORQString& value) const {
    value = ReturnString(field);
}

ORQString ORQSimDataRecord::ReturnString(int field) const {
    ORQString value;
    WithField(m_id, field, [&](Kind kind, const Cursor& row) {
        if (kind != Kind::String) {
            RefuseKind(m_id, field, kind, "a string");
        }
        value = ORQString(row.Text(3));
    });
    return value;
}

void ORQSimDataRecord::SetString(int field, const ORQString& value) const {
    Put(m_id, field, Kind::String, std::string_view(value.UTF8()));
}
