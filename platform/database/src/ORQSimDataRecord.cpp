#include "ORQSimDataRecord.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "DatabaseState.h"
#include "ORQBasFailure.h"
#include "ORQSimPosition.h"

using orq::database::DatabaseState;
using orq::storage::Bytes;
using orq::storage::FieldValue;
using orq::storage::PackedField;
using Kind = orq::storage::FieldKind;

namespace {

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

[[noreturn]] void RefuseKind(const ORQSimDynamicID& id, const PackedField& field,
                             const char* wanted) {
    ORQBasThrowUsage("field " + std::to_string(field.number) + " of object " +
                     std::to_string(id.MinorID()) + " holds " + NameOf(field.kind) +
                     " and cannot be read as " + wanted);
}

// Calls f(field) for a field that is set.
template <class F>
void WithField(const ORQSimDynamicID& id, int field, F&& f) {
    if (DatabaseState* state = DatabaseState::Reading(id); state != nullptr) {
        state->Records().WithField(id.MinorID(), field, f);
    }
}

int ReadInteger(const ORQSimDynamicID& id, int field, const char* wanted) {
    int value = 0;
    WithField(id, field, [&](const PackedField& held) {
        const int* number = std::get_if<int>(&held.value);
        if (number == nullptr) {
            RefuseKind(id, held, wanted);
        }
        value = *number;
    });
    return value;
}

void Put(const ORQSimDynamicID& id, int field, Kind kind, const FieldValue& value) {
    DatabaseState& state = DatabaseState::Writing(id);
    if (field < 0) {
        ORQBasThrowUsage("a record has no field " + std::to_string(field));
    }
    state.Records().Put(id.MinorID(), {field, kind, value});
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
    WithField(m_id, field, [&](const PackedField& held) {
        if (const int* number = std::get_if<int>(&held.value)) {
            values[0] = *number;
        } else if (const Bytes* bytes = std::get_if<Bytes>(&held.value)) {
            const auto wanted = static_cast<std::size_t>(count) * sizeof(double);
            std::ranges::copy(bytes->first(std::min(bytes->size(), wanted)),
                              reinterpret_cast<std::byte*>(values));
        } else {
            RefuseKind(m_id, held, "a double");
        }
    });
}

void ORQSimDataRecord::SetDouble(int field, double value) const {
    // An array of one is stored in bytes: a NaN by itself would be stored as no value at all.
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
    WithField(m_id, field, [&](const PackedField& held) {
        const std::string_view* text = std::get_if<std::string_view>(&held.value);
        if (text == nullptr) {
            RefuseKind(m_id, held, "a string");
        }
        value = ORQString(*text);
    });
    return value;
}

void ORQSimDataRecord::SetString(int field, const ORQString& value) const {
    Put(m_id, field, Kind::String, std::string_view(value.UTF8()));
}
