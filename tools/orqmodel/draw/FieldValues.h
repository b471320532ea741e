#pragma once

#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcResults.h"

namespace orqmodel {

/// A field at one time as one number for each node or element: what a picture can show of it.
struct FieldValues {
    bool isNodal;
    std::vector<double> values;  ///< by ordinal; not a number where there is none
    std::string name;            ///< of the field, with its component where it is one
    std::string time;            ///< "time 0.5, 3 of 11" and its step where there are several
};

/// The field or component of that label at the `number`-th time, from 1; with 0 the last time at
/// which it has values. Of a vector the magnitude is meant, and of a symmetric tensor its von Mises
/// equivalent, unless a component is named.
///
/// Throws ORQBasFailure (Usage), naming what there is, for a label or time that the model lacks,
/// for fields of the whole model, for tensors that are not symmetric, and for a time without
/// values.
FieldValues FieldValuesAt(const ORQExcModel& model, const ORQExcResults& results,
                          const std::string& label, int number);

}  // namespace orqmodel
