#pragma once

#include "ORQBasExport.h"
#include "ORQExcResultSource.h"
#include "ORQObjDocument.h"
#include "ORQObjMeshedField.h"

/// Adds an empty field to a step, as importers make one of an array of that name and components: of
/// the type that the table of output variables has for them, else of one that the model defines.
/// Values are written by ORQObjMeshedField.
///
///   const ORQObjMeshedField field = ORQExcAddField(
///       document, step, {ORQExcResultArray::Place::Node, "U", {"U1", "U2", "U3"}, {}});
///
/// The parts of `array` are not looked at; an array without components gets one, of its own name.
/// REQUIRES: an open transaction. Throws ORQBasFailure (Usage) for a name that is empty or that a
/// field of the step has, and for points or layers in what is no element.
ORQ_EXPORT ORQObjMeshedField ORQExcAddField(const ORQObjDocument& document,
                                            const ORQSimPosition& step,
                                            const ORQExcResultArray& array);
