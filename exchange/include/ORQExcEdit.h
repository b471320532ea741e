/// Changes of a whole model: names, objects, nodes and labels.
///
/// Each call enters what it did into a report. REQUIRES, of all: an open transaction, which can
/// only be undone when a call throws. They throw ORQBasFailure: Usage for what is refused, with the
/// name of what is in the way and with near names for one that is not known; Damaged. After each of
/// them every reference in the database leads to something, and exports, checks and comparisons see
/// the changed model.
///
/// Cards that a model keeps as text name nodes and elements by label, and are not rewritten. Those
/// that may name a label which changed or is gone are findings of the report, by card.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcReport.h"
#include "ORQObjDocument.h"

/// What has a name of its own. A field of results is one in all steps.
enum class ORQExcObjectKind {
    Block,
    NodeSet,
    ElementSet,
    Surface,
    Section,
    Material,
    Orientation,
    Step,
    Field,
    Instance
};

/// Gives an object another name, which no other object of the kind may have. A block and the
/// element set that stands for it are renamed together.
///
/// Refused too: a set or an orientation that the cards of its deck, kept as text, go by; and an
/// instance of several in a deck, whose name ends the names of its objects.
ORQ_EXPORT void ORQExcRename(const ORQObjDocument& document, ORQExcObjectKind kind,
                             const std::string& name, const std::string& newName,
                             ORQExcReport& report);

/// Takes a set, surface, section, material, orientation, step or field away for good, with all that
/// is its own; of a step its results too. Cards that the model keeps of the object as text go with
/// it. What uses the object is named and keeps it: layers a material or an orientation, assignments
/// a section or an element set, rigid bodies and output requests a set or a surface. With `force`,
/// the assignments of a section or a set go too: their elements then have the section of another
/// assignment, or none. Blocks and instances have nodes and elements, and are not deleted.
ORQ_EXPORT void ORQExcDelete(const ORQObjDocument& document, ORQExcObjectKind kind,
                             const std::string& name, bool force, ORQExcReport& report);

struct ORQExcMerging {
    /// Largest distance in the model's length unit, not below 0: 0 merges nodes of equal
    /// coordinates.
    double tolerance = 0;
    std::string instance = {};  ///< only nodes of this one; empty for all, each on its own
    /// Called with numbers from 0 to 1; may throw to give up.
    std::function<void(double)> progress = [](double) {};
};

/// Makes one node of nodes that lie within the tolerance of each other: of each group the one with
/// the lowest label stays, with its place, label and results. The others are gone, also from sets,
/// surfaces and results; areas of surfaces add up. Within a group every node is within the
/// tolerance of the one that stays, so that a chain of near nodes does not collapse into one.
///
/// Nodes of different instances, nodes without coordinates or label, and two nodes of one element
/// are not merged; the last are entered into the report. Elements stay as many as they were.
///
/// Holds the coordinates and some 24 bytes for each node. Time grows with the number of nodes,
/// unless the tolerance is far beyond their distances. Rewrites what is stored by node.
ORQ_EXPORT void ORQExcMergeNodes(const ORQObjDocument& document, const ORQExcMerging& merging,
                                 ORQExcReport& report);

/// Makes one element of equal ones: of the given elements, by ordinal, each that has the same nodes in
/// the same order, section, thickness, offset and attributes as one before it in its block is gone.
/// Sets name the other one instead; its label, results and values by element are gone. Elements with
/// faces in a surface, those that kept cards may name, and those without an equal one are entered
/// into the report and stay.
///
/// Holds 24 bytes for each element of the model. Reads the connectivity of blocks that have any of
/// the elements, and rewrites what is stored by element when one goes.
ORQ_EXPORT void ORQExcMergeElements(
    const ORQObjDocument& document, const std::vector<int>& elements, ORQExcReport& report,
    const std::function<void(double)>& progress = [](double) {});

enum class ORQExcUnused {
    /// Nodes of no element and no rigid body, named by no kept card, and in no set to which the
    /// file gives numbers, as to rigid elements and constraints.
    Nodes,
    Materials,  ///< of no layer, and with a number that no kept card of a property names
    Sections,   ///< of no element
    /// Sets and surfaces without members, which nothing uses and no kept card goes by.
    Sets
};
/// Takes away what nothing uses. Sets lose such nodes. Rewrites what is stored by node when any go.
ORQ_EXPORT void ORQExcDropUnused(
    const ORQObjDocument& document, ORQExcUnused what, ORQExcReport& report,
    const std::function<void(double)>& progress = [](double) {});

/// Turns those of some elements, by ordinal, that are solids inside out: exchanges two opposite faces
/// in the order of their nodes, or two nodes of the first face. Middles go with their edges and
/// faces. What goes by the order of nodes would not follow: elements with faces in a surface, and
/// all while results have several points in an element, are entered into the report and stay.
ORQ_EXPORT void ORQExcTurn(const ORQObjDocument& document, const std::vector<int>& elements,
                           ORQExcReport& report);

/// Labels nodes and elements anew from 1, instance by instance, in the order of their labels. What
/// has no label gets none.
ORQ_EXPORT void ORQExcRenumber(
    const ORQObjDocument& document, ORQExcReport& report,
    const std::function<void(double)>& progress = [](double) {});
