/// What several parts of the model checker need. For its own sources.
#pragma once

#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQBasVector.h"
#include "ORQObjMeshedField.h"
#include "ORQSimCSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"
#include "ORQSrvAnswerOr.h"
#include "ORQString.h"

namespace orq::checker {

/// The text in double quotes.
inline ORQString Quoted(const ORQString& text) {
    return "\"" + text + "\"";
}

/// The name of a record, in double quotes.
inline ORQString QuotedName(const ORQSimPosition& record) {
    return Quoted(record.Name(ORQSimSchema::Record_name));
}

/// Makes the check of one object. Where the object, or what hangs on it, is not what the check
/// needs (a record field of another kind, a set of another collection), the check of this object
/// ends with a finding, `OBJECT cannot be checked: WHY.`, and the next is checked. Damage and
/// failures of the disk pass.
template <class Check>
void CheckObject(const ORQString& object, ORQBasVector<ORQString>& messages, Check&& check) {
    try {
        std::forward<Check>(check)();
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() != ORQBasFailureKind::Usage) {
            throw;
        }
        messages.push_back(object + " cannot be checked: " + failure.Text() + ".");
    }
}

/// Whether anything refers to the object through the slot.
inline bool IsReferredTo(const ORQSimPosition& object, int slot) {
    return !object.ReferrersSet(slot).Empty();
}

inline bool Has(const ORQSimPosition& object, int slot) {
    return !object.GetPosition(slot).IsNull();
}

/// The name of a record, this text where it has none.
inline constexpr const char* kMissing = "-MISSING-";
inline ORQString NameOrMissing(const ORQSimPosition& record) {
    const ORQString name = record.Name(ORQSimSchema::Record_name);
    return name.IsEmpty() ? kMissing : name;
}

/// The identifier of a field's type, or the name of the model's own; this text without any, also
/// where the type's record holds no identifier.
inline ORQString FieldTypeName(const ORQSimPosition& field) {
    const ORQString identifier =
        ORQSrvAnswerOr(ORQString(), [&] { return ORQObjMeshedField(field).GetIdentifier(); });
    return identifier.IsEmpty() ? NameOrMissing(field.GetPosition(ORQSimSchema::MeshedField_type))
                                : identifier;
}

/// The members of a collection that each drawer of a distribution covers; an empty set for one that
/// does not run over the collection.
inline std::vector<ORQSimCSet> DrawerSets(const ORQSimDistributionID& distribution,
                                          const ORQSimCollectionID& collection) {
    std::vector<ORQSimCSet> sets;
    for (const ORQSimDrawerDescription& drawer : ORQSimDistribution(distribution).QueryDrawers()) {
        sets.emplace_back(drawer.CSet(drawer.Compartment().Position(collection)));
    }
    return sets;
}

inline ORQSimCSet Union(const std::vector<ORQSimCSet>& sets) {
    ORQSimCSet all;
    for (const ORQSimCSet& set : sets) {
        all = all.Union(set);
    }
    return all;
}

}  // namespace orq::checker
