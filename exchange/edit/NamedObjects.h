#pragma once

#include <string>
#include <vector>

#include "ORQExcEdit.h"
#include "ORQExcResults.h"
#include "ORQObjDocument.h"
#include "ORQSimPosition.h"

namespace orq::exchange {

using ObjectKind = ORQExcObjectKind;

/// The kind as messages and reports call it, for example "node set".
const char* NameOf(ObjectKind kind);

/// The slot of the model's map that holds the objects of a kind by name; 0 for blocks, fields and
/// instances, which stand in none.
int MapSlotOf(ObjectKind kind);

/// The names in the order of the model.
std::vector<std::string> NamesOf(ObjectKind kind, const ORQObjDocument& document);

/// The record of an object; of a set its region. Throws ORQBasFailure (Usage), with near names,
/// when there is none of the name. Not for fields.
ORQSimPosition FindObject(ObjectKind kind, const std::string& name, const ORQObjDocument& document);
/// Throws as FindObject, and for a name that fields at several places have.
ORQExcResults::Field FindField(const std::string& name, const ORQObjDocument& document);

/// Whether an element set stands for the block of its name.
bool StandsForBlock(ObjectKind kind, const std::string& name, const ORQObjDocument& document);

}  // namespace orq::exchange
