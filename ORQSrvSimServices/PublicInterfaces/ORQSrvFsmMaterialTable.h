#pragma once

#include "ORQBasExport.h"
#include "ORQSimCSet.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQSimTransaction.h"

/// A tabular property of a material: for each row the values of one or more dependents, the
/// temperature at which they hold, and the field variables on which they depend. The object says
/// where the data hang on their owner (slot and member of each link) and holds none itself.
///
///   const int types[] = {slot, -1};  const int members[] = {0};  const int lengths[] = {2};
///   ORQSrvFsmMaterialTable elastic(types, members, lengths, true, slot, 1, slot, 2);
///
/// Caller's data are one array for each dependent, then the temperatures, then the field variables,
/// each row after row; arrays that the table does not have may be null or, at the end, missing:
///
///   data[i][rows][lengths[i]], i below GetNumberOfDependent()
///   data[n_dependents][rows], data[n_dependents + 1][rows][n_field_variables]
///
/// Failed checks of what is stored are reported by their expression and end the process with exit
/// status 1. Failures of the database pass through; after one the transaction can only be undone.
class ORQ_EXPORT ORQSrvFsmMaterialTable {
  public:
    ORQSrvFsmMaterialTable() = default;
    /// The arrays stay the caller's and must outlive the object; -1 ends the types.
    ORQSrvFsmMaterialTable(const int* dependentTypes, const int* dependentMembers,
                           const int* dependentLengths, bool temperatureDependency,
                           int temperatureType, int temperatureMember, int fieldVariableType,
                           int fieldVariableMember);

    int GetNumberOfDependent() const { return m_numberOfDependent; }
    const int* GetDependentTypes() const { return m_dependentTypes; }
    const int* GetDependentMembers() const { return m_dependentMembers; }
    const int* GetDependentLengths() const { return m_dependentLengths; }
    int GetTemperatureType() const { return m_temperatureType; }
    int GetTemperatureMember() const { return m_temperatureMember; }
    int GetFieldVariableType() const { return m_fieldVariableType; }
    int GetFieldVariableMember() const { return m_fieldVariableMember; }
    bool HasTempDependancy() const { return m_temperatureDependency; }

    /// Whether the table may have temperatures and the one that `owner` holds has them.
    bool IsTemperatureDependent(const ORQSimPosition& owner) const;
    /// Field variables of the table that `owner` holds, 0 without one. Checks "domain.Size() == 2".
    int NumberFieldVariables(const ORQSimPosition& owner) const;

    /// Writes a new table, in place of one that the owner holds, and returns its rows: new members
    /// of `rowCollection`. Components of dependents are members 0 to length - 1 of
    /// `componentCollection`, or of `scalarCollection` for dependents of one value per row unless
    /// that is null; field variables become new members of `fieldVariableCollection`. Temperatures
    /// are written when the table may have them and `hasTemperatures` says that this one does.
    /// Throws ORQBasFailure (Usage), and writes nothing, unless `rows` is above 0 and all that the
    /// object describes hangs under links of its own.
    ORQSimCSetID Save(ORQSimTransaction& transaction, const ORQSimPosition& owner,
                      const ORQSimCollectionID& rowCollection,
                      const ORQSimCollectionID& componentCollection,
                      const ORQSimCollectionID& scalarCollection, const double** data, int rows,
                      bool hasTemperatures, int fieldVariables,
                      const ORQSimCollectionID& fieldVariableCollection) const;
    /// Adds rows behind those of the table that `owner` holds and returns the new ones; equal rows
    /// are kept twice. Components and field variables are those of the table, so the other two
    /// collections take no part. Checks "ddesc.Size() == 1". Throws ORQBasFailure (Usage), and
    /// writes nothing, unless `rows` is above 0 and the data have the temperatures and the number
    /// of field variables that the table has.
    ORQSimCSetID Append(ORQSimTransaction& transaction, const ORQSimPosition& owner,
                        const ORQSimCollectionID& rowCollection,
                        const ORQSimCollectionID& componentCollection,
                        const ORQSimCollectionID& scalarCollection, const double** data, int rows,
                        bool hasTemperatures, int fieldVariables) const;
    /// Reads the table that `owner` holds into new buffers, in the caller's layout with
    /// n_dependents + 2 arrays, null where the table has none. `columns` is the sum of the lengths
    /// of the dependents. The caller releases each array, then `data`, by mem_Free. Checks
    /// "d1.IsNull() == false", "ddesc.Size() == 1", "ndomain == 2 || ndomain == 1" (dimensions of a
    /// dependent), "domain.Size() == 1" (of temperatures) and "domain.Size() == 2".
    void FillPointer(const ORQSimPosition& owner, double**& data, int& rows, int& columns,
                     bool& hasTemperatures, int& fieldVariables) const;

  private:
    void CheckLinks() const;
    static ORQSimCSetID ExtendCollection(const ORQSimCollectionID& collection, int count);
    ORQSimPosition Dependent(const ORQSimPosition& owner, int dependent) const;
    ORQSimPosition FieldVariables(const ORQSimPosition& owner) const;

    int m_numberOfDependent = 0;
    const int* m_dependentTypes = nullptr;
    const int* m_dependentMembers = nullptr;
    const int* m_dependentLengths = nullptr;
    int m_temperatureType = 0;
    int m_temperatureMember = 0;
    int m_fieldVariableType = 0;
    int m_fieldVariableMember = 0;
    bool m_temperatureDependency = false;
};
