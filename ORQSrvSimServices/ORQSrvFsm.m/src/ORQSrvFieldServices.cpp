#include "ORQSrvFieldServices.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQBasVector.h"
#include "ORQObjModel.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAnswerOr.h"
#include "ORQSrvTableSize.h"
#include "ORQSrvVariableMap.h"

namespace {

using Record = ORQSrvVariableStruct;

constexpr int kAnyGrid = -1;  // grids are numbered from 0

// Where the next resumed search begins.
int s_cursor = 0;

// The first record, from `record` on, that has the label; the terminator when there is none.
const Record& Find(const ORQString& label, const Record* record = &ORQSrvVariableMap::GetEntry(0)) {
    const char* const text = label.UTF8().c_str();
    // A text with a null byte within it equals no label, however it begins.
    const bool canMatch = std::strlen(text) == label.UTF8().size();
    while (record->label != nullptr && !(canMatch && std::strcmp(record->label, text) == 0)) {
        ++record;
    }
    return *record;
}

bool IsGiven(const ORQString& text) {
    return !text.IsEmpty() && text != "NULL";
}

// Reads a uniform field of any kind. Touches `values` only when the field of the record can be
// read.
bool ReadDoubles(const ORQSimPosition& field, double* values, int count) {
    // Read aside, since reading clears its target before it can fail.
    std::vector<double> read(static_cast<std::size_t>(std::max(count, 0)));
    using namespace ORQSimRecordField;
    static_assert(Field_UniformScalar_values == Field_UniformVector_values &&
                  Field_UniformScalar_values == Field_UniformTensor_values);
    field.DataRecord().GetDouble(Field_UniformScalar_values, count, read.data());
    std::ranges::copy(read, values);
    return true;
}

bool IsCalled(const ORQSimPosition& assignment, const ORQString& name) {
    return ORQSrvAnswerOr(false, [&] {
        return assignment.DataRecord().ReturnString(ORQSimRecordField::FieldAssignment_name) ==
               name;
    });
}

ORQSimCSetID AddTableRows(const ORQObjDocument& document, int rows) {
    ORQSimCollection members(document.Focus()
                                 .GetPosition(ORQSimSchema::Focus_libraries)
                                 .GetPosition(ORQSimSchema::Libraries_tableRows)
                                 .GetCollection());
    const int first = members.Space();
    members.ExtendSpace(first + rows);
    return members.CreateCSetStrided(first, rows, 1, 1);
}

ORQSimPosition WriteDistribution(const ORQObjDocument& document, const double* data,
                                 std::int64_t size, const ORQSimCSet& first,
                                 const ORQSimCSet& second, bool isPadded) {
    const ORQSimDistributionID distribution = document.CreateDistribution(
        ORQSimGrid({first.CollectionID(), second.CollectionID()}),
        ORQSimRangeType(ORQSimScalarDouble), ORQSimTypeID(ORQSimSchema::DistributionRecord));
    ORQSimTransfer write{ORQSimDistribution(distribution)};
    write.SetWrite().SetMakeNewDrawer().SetBufferPadding(isPadded).SetDim(0, first).SetDim(1,
                                                                                           second);
    // A view that is too large has no exact size that the table's could be compared with.
    write.CheckView();
    const std::int64_t required = write.RequiredBufferSize(ORQSimbufMain);
    if (required > size) {
        ORQBasThrowUsage("a field of " + std::to_string(first.Size()) + " x " +
                         std::to_string(second.Size()) + " members needs " +
                         std::to_string(required) + " bytes; its table has " +
                         std::to_string(size));
    }
    write.SetBuffer(ORQSimbufMain, data, required);
    write.ExecWrite();
    write.RelinquishBuffers();
    return distribution;
}

}  // namespace

// --- The table of variables ----------------------------------------------------------------------

ORQString ORQSrvFieldServices::GetFieldType(const ORQString& label) {
    return IsGiven(label) ? Find(label).identifier : "UNDEFINED";
}

ads_ComponentSymbolsEnm ORQSrvFieldServices::GetComponent(const ORQString& label, bool next) {
    const Record* record = &Find(label);
    if (next && record->label != nullptr) {
        const Record* following = record + 1;
        if (following->label != nullptr && label == following->label) {
            record = following;
        }
    }
    return static_cast<ads_ComponentSymbolsEnm>(record->component);
}

ORQString ORQSrvFieldServices::GetComponentLabel(const ORQString& identifier,
                                                 ads_ComponentSymbolsEnm component, int gridType) {
    for (const Record* record = &ORQSrvVariableMap::GetEntry(0); record->label != nullptr;
         ++record) {
        if (record->component == component &&
            (gridType == kAnyGrid || gridType == record->fragmentType) &&
            identifier == record->identifier) {
            return record->label;
        }
    }
    return {};
}

ORQString ORQSrvFieldServices::GetVariableLabel(const ORQString& identifier, int gridType) {
    return IsGiven(identifier) ? GetComponentLabel(identifier, ads_ComponentNone, gridType)
                               : ORQString();
}

ORQSimArray<ORQString> ORQSrvFieldServices::GetComponents(const ORQString& label) {
    ORQSimArray<ORQString> labels;
    const Record& variable = Find(label);
    if (variable.label == nullptr) {
        return labels;
    }
    for (const Record* record = &ORQSrvVariableMap::GetEntry(0); record->label != nullptr;
         ++record) {
        if (record->component != ads_ComponentNone &&
            record->fragmentType == variable.fragmentType &&
            std::strcmp(record->identifier, variable.identifier) == 0) {
            labels.SetSize(labels.Size() + 1);
            labels.Get(labels.Size() - 1) = record->label;
        }
    }
    return labels;
}

int ORQSrvFieldServices::GetGridTypeFromVariableLabel(const ORQString& label, bool resume) {
    if (!resume) {
        s_cursor = 0;
    }
    const Record& found = Find(label, &ORQSrvVariableMap::GetEntry(s_cursor));
    s_cursor = static_cast<int>(&found - &ORQSrvVariableMap::GetEntry(0));
    if (found.label == nullptr) {
        return -1;
    }
    ++s_cursor;
    return found.fragmentType;
}

// --- Fields --------------------------------------------------------------------------------------

bool ORQSrvFieldServices::GetUniformFieldValue(const ORQSimPosition& field, double* values,
                                               int count) {
    return ORQSrvAnswerOr(false, [&] {
        if (field.IsA(ORQSimSchema::Field_UniformScalar)) {
            return ReadDoubles(field, values, 1);
        }
        return (field.IsA(ORQSimSchema::Field_UniformVector) ||
                field.IsA(ORQSimSchema::Field_UniformTensor)) &&
               ReadDoubles(field, values, count);
    });
}

ORQSimPosition ORQSrvFieldServices::GetFieldPosition(const ORQSimSet& assignments,
                                                     const ORQSimPosition& owner, int,
                                                     const ORQString& name) {
    return ORQSrvAnswerOr(ORQSimPosition(), [&] {
        for (auto i = assignments.Begin(); i.NotDone(); ++i) {
            const ORQSimPosition& assignment = *i;
            if (IsCalled(assignment, name) &&
                assignment.GetPosition(ORQSimSchema::FieldAssignment_owner) == owner) {
                return assignment.GetPosition(ORQSimSchema::FieldAssignment_field);
            }
        }
        return ORQSimPosition();
    });
}

ORQSimPosition ORQSrvFieldServices::CreateFieldFTable(const ORQObjDocument& document,
                                                      const ORQSimArray<ORQString>& columns,
                                                      double* data, int rows,
                                                      const ORQSimCSet& first,
                                                      const ORQSimCSet& second, int padding) {
    // Refuses sizes whose product is no int, before anything is made.
    const int count = ORQSrvTableSize(rows, columns.Size());
    if (rows < 1 || columns.Size() == 0) {
        ORQBasThrowUsage("a field cannot have a table of " + std::to_string(rows) + " rows and " +
                         std::to_string(columns.Size()) + " columns");
    }
    ORQSimTransaction transaction(document.ContextID());
    const ORQSimPosition field =
        document.CreateDataRecord(ORQSimSchema::Field_FTable_created).Pos();
    const ORQBasVector<ORQString> columnLabels(columns.begin(), columns.end());
    field.SetPosition(ORQSimSchema::Field_fTable,
                      document.GetModel().CreateFTable(ORQSimSchema::FTable_general, rows, {},
                                                       columnLabels, data, count));
    AddTableRows(document, rows);
    const auto size = static_cast<std::int64_t>(count) * static_cast<int>(sizeof(double));
    field.SetPosition(ORQSimSchema::Field_distribution,
                      WriteDistribution(document, data, size, first, second, padding != 0));
    transaction.Commit();
    return field;
}
