#pragma once

#include "ORQBasExport.h"
#include "ORQObjDocument.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// The free functions of the services. They keep no state; what is not there is answered by null
/// positions and IDs, empty texts and -1, unless a function says otherwise.

// --- From scoped names to objects ----------------------------------------------------------------
//
// Sets, surfaces and orientations lie in maps of the model, under keys whose parts are joined by
// "_". A name may be written with a separator of the user's instead, and with parts in double
// quotes. `root` is the focus of the document. Prefix means the model's own, see
// ORQObjModelBuilder::SetModelPrefix; null and empty are the same for separator and instance.
//
//   in a model without a prefix   key tried
//   "Set-1", instance "Part-1"    Part-1_Set-1 and no other
//   "Part-1.Set-1", separator "." Part-1.Set-1, then Part-1_Set-1
//
// An opening quote without a closing one ends the process ("endQuotePos < nameLen"): in the name,
// in the instance, and in a "_"-delimited piece of the name when it comes to the last step below.

/// Whether every opening quote is closed wherever a lookup may come upon it, in a model with or
/// without a prefix; then no lookup of the name ends the process for its quotes.
ORQ_EXPORT bool ORQSrvHasMatchedQuotes(const ORQString& name, const char* separator,
                                       const char* instance);

/// The object under a name in the map of one kind (a slot of the model), or null. With an instance
/// only one key is tried: [prefix_]instance_name. Else, in this order, each with what was done to
/// the name before:
///
///   the name; the name with separators as "_"; and in a model with a prefix also
///   prefix_name; the name without a leading "prefix_" and, among surfaces, this after
///   "INP2SIM_ELSET_" and after "INP2SIM_NSET_"; with `retry`, once more all of these with
///   each "_"-delimited piece freed of its quotes, where that makes a difference.
ORQ_EXPORT ORQSimPosition ORQSrvGetIDFromScopedName(const ORQSimPosition& root,
                                                    const ORQString& name, int kind,
                                                    const char* separator, const char* instance,
                                                    bool retry);

/// The same for one sort of object each, with `retry`: among the sets of the user's first, then
/// among those that programs made. That what was found is no set ends the process
/// ("ORQSimCSetID::CanBeConverted(setPos.ID())").
ORQ_EXPORT ORQSimPosition ORQSrvGetElementSetIDFromScopedName(const ORQSimPosition& root,
                                                              const ORQString& name,
                                                              const char* separator,
                                                              const char* instance);
ORQ_EXPORT ORQSimPosition ORQSrvGetNodeSetIDFromScopedName(const ORQSimPosition& root,
                                                           const ORQString& name,
                                                           const char* separator,
                                                           const char* instance);
ORQ_EXPORT ORQSimPosition ORQSrvGetOrientationIDFromScopedName(const ORQSimPosition& root,
                                                               const ORQString& name,
                                                               const char* separator,
                                                               const char* instance);
ORQ_EXPORT ORQSimPosition ORQSrvGetSurfaceIDFromScopedName(const ORQSimPosition& root,
                                                           const ORQString& name,
                                                           const char* separator,
                                                           const char* instance);

// --- From objects to names -----------------------------------------------------------------------

/// The key under which a model holds an object among its element sets, node sets, surfaces and
/// orientations, in this order. As a name it leads back to the object, unless it begins with a
/// quote.
ORQ_EXPORT ORQString ORQSrvGetReferenceKey(const ORQSimPosition& object);

/// The same among one sort of object only. A set is found by its identity: an equal set under
/// another ID has no name, and the empty sets of a collection, which are one, have one name.
ORQ_EXPORT ORQString ORQSrvGetElementSetNameFromCSetID(const ORQSimCSetID& set);
ORQ_EXPORT ORQString ORQSrvGetNodeSetNameFromCSetID(const ORQSimCSetID& set);
ORQ_EXPORT ORQString ORQSrvGetSurfaceNameFromID(const ORQSimDynamicID& surface);

// --- Instances and element specs -----------------------------------------------------------------

/// An instance of the assembly, and what it labels: sets in ascending order of the labels, null
/// where it labels none.
struct ORQSrvInstanceInfo {
    ORQSimPosition position;
    ORQString name;
    int index = -1;  ///< its place among the instances, from 0
    ORQSimCSetID nodes;
    ORQSimCSetID elements;
};

/// The instance of a name, or at a place; one with a null position when there is none. `root` is
/// the focus of the document. Reads no labels.
ORQ_EXPORT ORQSrvInstanceInfo ORQSrvGetInstanceInfo(const ORQSimPosition& root,
                                                    const ORQString& name);
ORQ_EXPORT ORQSrvInstanceInfo ORQSrvGetInstanceInfo(const ORQSimPosition& root, int index);

/// The points of an element at which values of a spec's elements are given: a set of the document's
/// point collection (ORQObjModelBuilder::AddElementSpecPoints).
ORQ_EXPORT ORQSimCSetID ORQSrvGetPointSetFromElementSpec(const ORQSimPosition& elementSpec);

// --- Degrees of freedom and components -----------------------------------------------------------
//
//   number            1 to 3                   4 to 6
//   dof record        DISPLACEMENT_1 to _3     ROTATION_ANGLE_1 to _3
//     at place        2, 3, 4                  15, 16, 17
//   component record  C_1, C_2, C_3            none
//     at place        0, 12, 20

// Where a document lacks these collections, as an empty one does, every record and set is null.

/// Other numbers return null: the dof without a name.
ORQ_EXPORT ORQSimPosition ORQSrvGetDofRecordFromDofNumber(const ORQObjDocument& document,
                                                          int number);
/// -1 for any other record.
ORQ_EXPORT int ORQSrvGetDofNumberFromDofRecord(const ORQSimPosition& record);
/// Null for other numbers than 1, 2 and 3: only displacements have components.
ORQ_EXPORT ORQSimPosition ORQSrvGetComponentRecordFromDofNumber(const ORQObjDocument& document,
                                                                int number);
/// The component number by the record's name; 1 also for a record that is none of the three.
ORQ_EXPORT int ORQSrvGetComponentNumberFromComponentRecord(const ORQSimPosition& record);
/// A temporary set of the component collection with the record's spatial direction (1, 2 or 3) as
/// its one member; with -1 as its member for a record that is none of the three.
ORQ_EXPORT ORQSimPosition ORQSrvGetComponentCSetFromComponentRecord(const ORQObjDocument& document,
                                                                    const ORQSimPosition& record);
