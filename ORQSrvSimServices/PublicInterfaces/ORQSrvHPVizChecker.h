#pragma once

#include "ORQBasExport.h"
#include "ORQBasVector.h"
#include "ORQObjDocument.h"
#include "ORQSimArray.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// Inspects a model for what would keep it from being displayed or post-processed, and says what it
/// finds as plain text. It writes nothing and repairs nothing; a defect never throws.
///
///   ORQSrvHPVizChecker checker(document);
///   checker.Check_HPViz();
///   for (const ORQString& finding : checker.Messages()) ...
///
/// An object that is not what a check needs, such as a record whose field holds another kind of
/// value, is a finding, too: `OBJECT cannot be checked: WHY.` Damage and failures of the disk, and
/// errors of ORQSrvShellSection for a section that it cannot read, leave the check; what was found
/// until then stays in Messages().
class ORQ_EXPORT ORQSrvHPVizChecker {
  public:
    explicit ORQSrvHPVizChecker(const ORQObjDocument& document);

    /// Runs all checks: mesh, regions, plies, steps, history, output regions, section assignments.
    /// Findings are added behind those that there are: a second run lists each again.
    void Check_HPViz();

    /// The findings in the order in which they were made. Valid until the next check.
    const ORQBasVector<ORQString>& Messages() const { return m_messages; }

  private:
    /// Elements are counted in one pass over the assignment of element specs, the drawers of
    /// connectivity and the membership of the classes, however many classes there are.
    void Check_Mesh();
    void Check_Regions();
    void Check_Ply();
    void Check_Steps();
    /// The history fields of each step, then what output requests fill and what else a step has:
    ///
    ///   "For OutputRequest #2; Field #0; fieldtype: S has content but has no Task_fieldResults
    ///   parent link."
    ///
    /// Requests are counted from 0 through the model, fields from 0 through their request. The
    /// field has a drawer, but is neither a result nor a history field of any step: nothing leads a
    /// viewer to it. The field type is the identifier of a standard type, the name of the model's
    /// own, -MISSING- without any.
    ///
    /// Results of the steps, and other fields with values at nodes or elements, are also checked
    /// one by one (Check_Field), each once: history fields of the steps under `Step "NAME"` by
    /// their number, the fields of output requests under `OutputRequest #N`, and the other results
    /// of the steps under `Step "NAME"`. A member of the results that is no field:
    ///
    ///   "Step "Load", Result field #1 is not a MeshedField."
    void Check_History();
    void Check_FocusResults();
    /// A layer is described as `layer N`, counted from 1 at the bottom as all layers are shown, and
    /// `, ply "NAME"` when it has one. The name before it is the section's. The integer of a shell
    /// section is its number of layers, field 0. What an assignment lacks is also what is wrong
    /// with it: without a region there are no elements, without a section the focus refers to none.
    void Check_sectionAssignments();

    /// A result, or another field with values at nodes or elements. `owner` says whose it is,
    /// `number` its number there. A finding is `SerFld: #NUMBER; OWNER; fieldtype: TYPE` and one of
    ///
    ///   " has no grid type."                          the record names no type of field
    ///   " has the grid type GRID, but values at nodes."  and  "... at elements."
    ///                                                 the grid of the distribution runs over
    ///                                                 another collection than that type needs
    ///   " has components of another collection."
    ///   " has no components."
    ///   " has no field type."
    ///   " has the grid type GRID, on which its field type does not occur."
    ///                                                 the table of output variables has no row of
    ///                                                 that identifier and grid type
    ///   (components: see Check_Component)
    ///   " has values for N nodes that do not exist (the first: M)."  and  "... elements ..."
    ///                                                 drawers cover members without coordinates, or
    ///                                                 without connectivity; M is a member number.
    ///                                                 Not looked for while none has any
    ///   " has values at N times that its step does not have."
    ///   " has values for N components that it does not have."
    ///
    /// and of a result, which should have values for all that it declares,
    ///
    ///   " has no distribution."
    ///   " has no values."
    ///   " has no values at N of the times of its step."
    ///   " has no values for N of its components."
    ///   " has only values that are not finite."       looks no further than the first finite one
    void Check_Field(const ORQSimPosition& field, const ORQString& owner, const ORQString& number);
    void CheckPlace(const ORQString& head, const ORQSimPosition& field, int gridType);
    /// Holds the component codes of a field against those of its field type on the grid type: for
    /// a standard type those of its identifier in the table of output variables, for the model's
    /// own the symbols of the collection of components. `head` begins the finding, that ends
    ///
    ///   " has the component CODE (SYMBOL), which its field type does not have."
    ///
    /// without the symbol where the collection of components has none of that code.
    void Check_Component(const ORQString& head, int gridType, const ORQSimArray<int>& codes,
                         const ORQSimPosition& field);
    /// Whether each of `count` codes is among the allowed ones.
    bool Check_Component_Impl(const ORQSimArray<int>& allowed, const int* codes, int count) const;
    /// Whether the grid of the field's distribution runs over the nodes or elements of the mesh.
    bool HasNodeOrElementDim(const ORQSimPosition& field) const;

    ORQObjDocument m_document;
    ORQSimPosition m_model;
    ORQBasVector<ORQString> m_messages;
};
