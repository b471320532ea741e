#include "EarlyRows.h"

#include <limits>
#include <memory>
#include <new>

#include "PackedDimensions.h"
#include "PackedFields.h"

namespace orq::storage {

namespace {

struct Sum {
    std::vector<std::byte> packed;
    bool isSound = true;
};

// SQLite gives some bytes of its own for each sum, zeros at first.
struct Held {
    Sum* sum;
};

Value ValueOf(sqlite3_value* held) {
    switch (sqlite3_value_type(held)) {
        case SQLITE_INTEGER:
            return sqlite3_value_int64(held);
        case SQLITE_TEXT:
            return std::string_view(static_cast<const char*>(sqlite3_value_blob(held)),
                                    static_cast<std::size_t>(sqlite3_value_bytes(held)));
        case SQLITE_BLOB:
            return std::span(static_cast<const std::byte*>(sqlite3_value_blob(held)),
                             static_cast<std::size_t>(sqlite3_value_bytes(held)));
        default:
            return nullptr;
    }
}

bool IsInteger(sqlite3_value* held) {
    return sqlite3_value_type(held) == SQLITE_INTEGER;
}

// Adds one row to a packed value; false where it makes no sense there.
using AddRow = bool (*)(std::vector<std::byte>& packed, sqlite3_value** values);

bool AddField(std::vector<std::byte>& packed, sqlite3_value** values) {
    return IsInteger(values[0]) && IsInteger(values[1]) &&
           PackEarlyField(packed, sqlite3_value_int64(values[0]), sqlite3_value_int64(values[1]),
                          ValueOf(values[2]));
}

bool AddDimension(std::vector<std::byte>& packed, sqlite3_value** values) {
    return IsInteger(values[0]) && IsInteger(values[1]) && IsInteger(values[2]) &&
           IsInteger(values[3]) &&
           PackEarlyDimension(packed, sqlite3_value_int64(values[0]),
                              sqlite3_value_int64(values[1]), sqlite3_value_int64(values[2]),
                              sqlite3_value_int64(values[3]));
}

template <AddRow addRow>
void Add(sqlite3_context* context, int, sqlite3_value** values) {
    auto* held = static_cast<Held*>(sqlite3_aggregate_context(context, sizeof(Held)));
    try {
        if (held == nullptr) {
            throw std::bad_alloc();
        }
        if (held->sum == nullptr) {
            held->sum = new Sum;
        }
        Sum& sum = *held->sum;
        sum.isSound = sum.isSound && addRow(sum.packed, values);
    } catch (const std::bad_alloc&) {
        sqlite3_result_error_nomem(context);
    }
}

void Finish(sqlite3_context* context) {
    auto* held = static_cast<Held*>(sqlite3_aggregate_context(context, 0));
    const std::unique_ptr<Sum> sum(held == nullptr ? nullptr : held->sum);
    if (sum == nullptr || sum->packed.empty()) {
        if (sum == nullptr || sum->isSound) {
            sqlite3_result_zeroblob(context, 0);
        }
    } else if (sum->isSound) {
        sqlite3_result_blob64(context, sum->packed.data(), sum->packed.size(), SQLITE_TRANSIENT);
    }
}

template <AddRow addRow>
void Define(Connection& connection, const char* name, int nValues) {
    connection.Check(
        sqlite3_create_function_v2(connection.Handle(), name, nValues,
                                   SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_DIRECTONLY, nullptr,
                                   nullptr, Add<addRow>, Finish, nullptr),
        "define how early rows are read");
}

}  // namespace

bool PackEarlyField(std::vector<std::byte>& packed, std::int64_t number, std::int64_t kind,
                    const Value& value) {
    if (number < 0 || number > std::numeric_limits<int>::max()) {
        return false;
    }
    PackedField field{static_cast<int>(number), static_cast<FieldKind>(kind), {}};
    switch (kind) {
        case static_cast<int>(FieldKind::Int):
        case static_cast<int>(FieldKind::Symbol):
        case static_cast<int>(FieldKind::Type): {
            const auto* held = std::get_if<std::int64_t>(&value);
            if (held == nullptr || *held != static_cast<int>(*held)) {
                return false;
            }
            field.value = static_cast<int>(*held);
            break;
        }
        case static_cast<int>(FieldKind::String): {
            const auto* held = std::get_if<std::string_view>(&value);
            if (held == nullptr) {
                return false;
            }
            field.value = *held;
            break;
        }
        case static_cast<int>(FieldKind::Doubles): {
            const auto* held = std::get_if<std::span<const std::byte>>(&value);
            if (held == nullptr || held->size() % sizeof(double) != 0) {
                return false;
            }
            field.value = *held;
            break;
        }
        default:
            return false;
    }
    PutPackedField(packed, field);
    return true;
}

bool PackEarlyDimension(std::vector<std::byte>& packed, std::int64_t number, std::int64_t set,
                        std::int64_t chunk, std::int64_t extendable) {
    // Far more than a grid has; a damaged table may have any number of rows.
    constexpr std::size_t kMostPacked = 1000;
    const auto isCount = [](std::int64_t value) {
        return value >= 0 && value <= std::numeric_limits<int>::max();
    };
    PackedDimensionReader known(packed);
    std::int64_t nKnown = 0;
    while (known.Next()) {
        ++nKnown;
    }
    if (!isCount(set) || !isCount(chunk) || packed.size() > kMostPacked) {
        return false;
    }
    // Behind one that is missing none can stand; that there are too few is told by who reads them.
    if (number == nKnown) {
        const auto form = number == extendable ? DimensionForm::Rows : DimensionForm::Set;
        AddPackedDimension(packed, {form, static_cast<int>(chunk), static_cast<int>(set)});
    }
    return true;
}

void DefinePacking(Connection& connection) {
    Define<AddField>(connection, "pack_fields", 3);
    Define<AddDimension>(connection, "pack_dimensions", 4);
}

}  // namespace orq::storage
