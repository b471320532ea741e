#pragma once

#include "ORQBasExport.h"
#include "ORQObjDocument.h"
#include "ORQSimArray.h"
#include "ORQSimCSet.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQString.h"
#include "ads_ComponentSymbolsEnm.h"

/// Output variables and fields. The lookups search the table of ORQSrvVariableMap from its
/// beginning, and the first match counts; texts match exactly. A grid type is the type index of the
/// field that holds a variable (ads_CoreFragmentTypeIndex). What is not found is answered by a
/// fixed value and never an error; so is what a closed database held, and a record whose field
/// holds another kind of value.
class ORQ_EXPORT ORQSrvFieldServices {
  public:
    ORQSrvFieldServices() = delete;

    /// The identifier of the variable that a label belongs to: "S" for "S11". "UNDEFINED" for an
    /// unknown label, the empty one and "NULL".
    static ORQString GetFieldType(const ORQString& label);
    /// The component that a label names; ads_ComponentNone for whole variables and unknown labels.
    /// With `next`, that of the record behind the first one if it has the same label: the second of
    /// the two symbols of a component off the diagonal.
    static ads_ComponentSymbolsEnm GetComponent(const ORQString& label, bool next);
    /// The label of a component, on any grid when the grid type is -1; empty when there is none.
    static ORQString GetComponentLabel(const ORQString& identifier,
                                       ads_ComponentSymbolsEnm component, int gridType);
    /// The label of the whole variable; empty also for the identifiers "" and "NULL".
    static ORQString GetVariableLabel(const ORQString& identifier, int gridType);
    /// The labels of the components of the variable that a label belongs to, on the first grid of
    /// that label. A label of two symbols stands twice.
    static ORQSimArray<ORQString> GetComponents(const ORQString& label);
    /// The grid type of the first record of a label, -1 when there is none. With `resume` the
    /// search goes on behind the record at which the last search ended, whoever made it: called
    /// again and again it returns all grid types of a label, then -1.
    static int GetGridTypeFromVariableLabel(const ORQString& label, bool resume);

    /// Reads the value of a uniform field: one double of a scalar one, `count` of a vector or
    /// tensor (what it does not hold reads as 0). False, and nothing read, for any other field and
    /// the null position.
    static bool GetUniformFieldValue(const ORQSimPosition& field, double* values, int count);
    /// The field of the first assignment in the set that has this name (string field 0) and belongs
    /// to `owner`; null when none does. The number takes no part.
    static ORQSimPosition GetFieldPosition(const ORQSimSet& assignments,
                                           const ORQSimPosition& owner, int number,
                                           const ORQString& name);

    /// Makes a field whose values stand both in an F-table, under the names of its columns, and in
    /// a distribution, in a transaction of its own. `data` holds rows x columns doubles, row after
    /// row; the leading ones of them are the values of the distribution over `first` x `second`,
    /// row-major. `padding`, when not 0, pads the buffer of that transfer. New members for the rows
    /// are registered with the document's collection of table rows. Returns the field.
    ///
    /// Throws ORQBasFailure (Usage), and makes nothing, when the sets need more values than there
    /// are, when there are no rows or columns, and when the document has no collection of table
    /// rows or no model.
    static ORQSimPosition CreateFieldFTable(const ORQObjDocument& document,
                                            const ORQSimArray<ORQString>& columns, double* data,
                                            int rows, const ORQSimCSet& first,
                                            const ORQSimCSet& second, int padding);
};
