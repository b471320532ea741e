#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcMeshSource.h"
#include "ORQObjDocument.h"
#include "ORQSimPosition.h"

namespace orq::exchange {

/// An array of a file that a model has no place for, kept as it is for exports of the same format.
struct KeptArray {
    std::string format;  ///< the name of the format
    ORQExcMeshSource::Array array;
    ORQSimPosition position;
};

/// Makes room in the database for an array of a format. Needs an open transaction.
KeptArray AddKeptArray(const ORQObjDocument& document, std::string_view format,
                       const ORQExcMeshSource::Array& array);
/// Writes rows [begin, end), which were not written before.
void WriteKeptRows(const KeptArray& array, int begin, int end, const void* values);

/// All arrays of a model, in the order of their names. Throws ORQBasFailure (Damaged) for one whose
/// description makes no sense.
std::vector<KeptArray> KeptArrays(const ORQObjDocument& document);
/// Reads rows [begin, end).
void ReadKeptRows(const KeptArray& array, int begin, int end, void* values);

}  // namespace orq::exchange
