#include "queries/FindingGuide.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>

namespace orqmodel {
namespace {

constexpr const char* kMesh = "Mesh and element classes";
constexpr const char* kRegions = "Analytical surfaces and rigid bodies";
constexpr const char* kPlies = "Plies";
constexpr const char* kSteps = "Steps";
constexpr const char* kHistory = "History and output requests";
constexpr const char* kFields = "Fields";
constexpr const char* kOutput = "Output regions";
constexpr const char* kSections = "Section assignments";

constexpr auto kKinds = std::to_array<FindingKind>({
    {kMesh, "Mesh is not present in this Model.", "the model has no mesh record",
     "nothing can be drawn; no other check of the mesh is made",
     "write the mesh again, or import its file"},
    {kMesh, "Coodinates distribution is not present in mesh.",
     "the mesh does not lead to its coordinates", "no node has a place",
     "link the mesh to its coordinates, or import its file again"},
    {kMesh, "Undefined coordinates distribution.",
     "what the mesh calls its coordinates is no distribution", "no node has a place",
     "link the mesh to its distribution of coordinates"},
    {kMesh, "There is no data in coordinates distribution.", "no coordinate was ever written",
     "no node has a place", "append the coordinates of the nodes and commit"},
    {kMesh, "Mesh has no elementSpecAssignment.", "no element has an element type",
     "elements cannot be classified, drawn by type or given formulations",
     "assign element specs to the elements and classify them"},
    {kMesh, "Mesh->elementSpecAssignment link points to an object of category * instead of a DSet.",
     "the link for the assignment of element types leads to another kind of object",
     "elements have no types, and classes are not checked",
     "link the mesh to the data set of the assignment"},
    {kMesh, "nodeCollection is not present", "the mesh does not lead to its nodes",
     "coordinates and labels belong to nothing", "link the mesh to its collection of nodes"},
    {kMesh, "userNodes is not present", "no set says which nodes the user numbered",
     "nodes cannot be found by label", "give the nodes their labels"},
    {kMesh, "userNodes CSet is not present", "the set of nodes that the user numbered is empty",
     "nodes cannot be found by label", "give the nodes their labels"},
    {kMesh, "Some nodes from user node set are not present in coordinates distribution",
     "nodes with a label have no coordinates", "elements at these nodes cannot be drawn",
     "append the coordinates of all nodes, or take back the labels of those without"},
    {kMesh, "elementClassCollection is not present", "the elements are in no classes",
     "elements cannot be gathered by type", "build the element classification"},
    {kMesh, "shapeFormulationLogicalSectionClassification is not present",
     "no classification by shape, formulation and section",
     "which elements lack a section cannot be told",
     "build the element classification and record it as this one, too"},
    {kMesh, "ElementClassification has no ElementClasses.", "the classification has no class",
     "no element is displayed by class", "assign element specs, then classify the elements again"},
    {kMesh, " Element Class :#*; linked to more than 1 elSpec; *",
     "the elements of the class have several element types, or none at all",
     "which formulation and node order they have is open",
     "assign one element spec to the elements, then classify them again"},
    {kMesh, " Element Class :#*; has no reference to Section; *",
     "no section is assigned to elements of the class, though their type needs one",
     "thickness, material and layers of these elements are unknown; a bare mesh shows this "
     "truthfully",
     "assign a section to the elements, for example with a layup file, and link the classes"},

    {kRegions, "Analytical Surface * is not referred to by any rigid body constraint *",
     "no rigid body moves the surface", "its motion cannot be shown",
     "add the rigid-body constraint that names the surface"},
    {kRegions, "Mesh has no Mesh_rigidBodies Collection.",
     "the mesh has analytical surfaces but no rigid bodies; said once for each surface",
     "the surfaces stay where they were", "add the rigid bodies to the mesh"},
    {kRegions, " Mesh has no rigidBodyReferenceNode DSet.",
     "no reference node of any rigid body is known; said once for each surface",
     "the surfaces cannot follow a node", "record the reference node of each rigid body"},
    {kRegions, "Rigid body * is not present in rigidBodyReferenceNode DSet.",
     "the rigid body has no reference node", "it cannot follow a node",
     "record its reference node"},
    {kRegions, "Analytical surface * has no a mesh.",
     "the surface has no mesh of its own to be drawn by", "it stays invisible",
     "give it a mesh of lines or facets"},
    {kRegions, "Mesh for analytical surface * has no *.",
     "the mesh that shows the surface lacks its nodes, elements or connectivity",
     "the surface stays invisible", "write that mesh again"},
    {kRegions, "Orientation for analytical surface of revolution * has no axisPoint?.",
     "one of the two points of the axis is missing", "the surface cannot be revolved",
     "give the orientation both points of the axis"},

    {kPlies, "Ply * is not referred to by Focus (Focus_externalPlyIds).",
     "the ply is in the model but not among those in use", "it is left out of lists of plies",
     "add it to the plies in use, or remove it"},

    {kSteps, "Model has no Steps.", "there is no analysis in the model",
     "no results can be shown; a bare mesh shows this truthfully",
     "add steps, or import a file with results"},
    {kSteps, "Model_stepSequence is empty.", "the steps have no order",
     "they cannot be walked through", "put the steps into the sequence"},
    {kSteps, "Step * is not referred to by Focus (Focus_externalTaskIds).",
     "the step is not among those in use", "it is left out of lists of steps",
     "add it to the steps in use"},
    {kSteps, "Step_Lin_Buckle * has a mode set that is empty (Task_modes).",
     "the buckling step found no mode", "there is no shape to show",
     "run the step again, or write its modes"},
    {kSteps, "Step * has no FESystem.", "a step with modes has no system that they belong to",
     "their eigenvalues cannot be found", "give the step its modal system"},
    {kSteps, "System is not ModalSystem for Step *.",
     "the system of a step with modes is of another kind", "their eigenvalues cannot be found",
     "give the step its modal system"},
    {kSteps, "ModalSystem has no eigenvalues link *", "the modes have no eigenvalues",
     "load factors and frequencies of modes are unknown", "write the eigenvalues"},
    {kSteps, "Step_Lin_Buckle * has no modes link (Task_modes).",
     "the buckling step has no set of modes", "there is no shape to show", "write its modes"},
    {kSteps, "TimeIncrementation record does not exist for Step_Gen_StaticRiks *",
     "how the step advances is not recorded", "its increments cannot be told",
     "record the time incrementation"},
    {kSteps, "Task_times CSet's TimeCollection has no parent link to TimeDescription *",
     "the times of the step belong to no description", "results cannot be placed in time",
     "give the step times with a description"},
    {kSteps, "TimeDescription has no data distribution for Step *.",
     "the times of the step have no values", "results cannot be placed in time",
     "write the times of the step"},
    {kSteps, "TimeDescription data distribution must have all members from times CSet for Step *.",
     "some times of the step have no value", "results at these times cannot be placed",
     "write the missing times, or take them out of the step"},
    {kSteps, "ArcLengthDescription record does not exist.",
     "a step with arc-length control has no description of its arc lengths",
     "results cannot be drawn over the load", "write its arc lengths"},
    {kSteps, "ArcLengthDescription record does not exist for Step *.",
     "the arc lengths have no values", "results cannot be drawn over the load",
     "write its arc lengths"},
    {kSteps, "This ArcLengthDescription data distribution has no all members from times CSet *",
     "some arc lengths of the step have no value", "results there cannot be drawn over the load",
     "write the missing arc lengths"},
    {kSteps, "FrequencyDescription record does not exist for Step *.",
     "the frequencies of the step have no values", "results cannot be drawn over frequency",
     "write its frequencies"},
    {kSteps, "This FrequencyDescription data distribution has no all members from frequency CSet *",
     "some frequencies of the step have no value", "results there cannot be placed",
     "write the missing frequencies"},

    {kHistory, "Step *, History field #* is not a MeshedField.",
     "something else stands among the history fields", "it cannot be drawn as a curve",
     "replace it by a meshed field, or remove it"},
    {kHistory, "Step *, History field #* is not referred to by an OutputRequest *",
     "no output request asked for the field", "it cannot be listed under its request",
     "link the request that it belongs to"},
    {kHistory, "OutputRequest for Step *, History field #* is not referred to by *",
     "the request behind the field belongs to none of the user's requests",
     "it cannot be listed under its request", "link the user's request to it"},
    {kHistory, "Step *, History field #*, UserOutputRequest * has no Region link *",
     "the user's request names no region", "where the history was taken is unknown",
     "give the request its region"},
    {kHistory, "Step *, History field #*, UserOutputRequest * has no cluster link.",
     "a region of the user's request has neither nodes nor elements",
     "where the history was taken is unknown", "give the region its members"},
    {kHistory, "For OutputRequest #*; Field #*; fieldtype: * has content but has no *",
     "values were written to a field that no step has among its results",
     "nothing leads to these values", "add the field to the results of its step"},
    {kHistory, "Step *, Result field #* is not a MeshedField.",
     "something else stands among the results", "it cannot be drawn on the mesh",
     "replace it by a meshed field, or remove it"},

    {kFields, "SerFld: #*; fieldtype: * has no field type.", "what the values mean is not recorded",
     "the field cannot be labelled", "link the field to its type"},
    {kFields, "SerFld: #*; fieldtype: * has no grid type.",
     "where on an element or node the values live is not recorded", "the field cannot be drawn",
     "write the field again with its grid type"},
    {kFields, "SerFld: #*; fieldtype: * on which its field type does not occur.",
     "this output variable is never given at such places", "its components have no labels there",
     "correct the grid type or the field type"},
    {kFields, "SerFld: #*; fieldtype: * has the grid type *, but values at *.",
     "values stand at nodes where elements were meant, or the other way round",
     "the field cannot be drawn", "write the field again over the right members"},
    {kFields, "SerFld: #*; fieldtype: * has no components.",
     "which components the values are is not recorded", "values cannot be told apart",
     "record the components of the field"},
    {kFields, "SerFld: #*; fieldtype: * has components of another collection.",
     "what the field calls its components are members of something else",
     "values cannot be told apart", "record the components of the field"},
    {kFields, "SerFld: #*; fieldtype: * has the component *, which its field type does not have.",
     "the field claims a component that its type lacks", "the component has no label",
     "correct the component, or the field type"},
    {kFields, "SerFld: #*; fieldtype: * has values for * that do not exist (the first: *).",
     "values stand at nodes without coordinates, or at elements without connectivity",
     "they have no place to be drawn at", "write these parts of the mesh, or the field again"},
    {kFields, "SerFld: #*; fieldtype: * has values at * times that its step does not have.",
     "values stand at times outside the step's set of times", "they are never shown",
     "add the times to the step"},
    {kFields, "SerFld: #*; fieldtype: * has values for * components that it does not have.",
     "more components are stored than the field names", "they are never shown",
     "record all components of the field"},
    {kFields, "SerFld: #*; fieldtype: * has no distribution.",
     "the step has the field among its results, but nothing holds values of it",
     "the field cannot be drawn", "write its values, or take it out of the results"},
    {kFields, "SerFld: #*; fieldtype: * has no values.",
     "the step has the field among its results, but no value was ever written",
     "the field cannot be drawn", "write its values, or take it out of the results"},
    {kFields, "SerFld: #*; fieldtype: * has no values at * of the times of its step.",
     "values lack at some times of the step", "the field disappears at these times",
     "write the missing values, or give the step fewer times"},
    {kFields, "SerFld: #*; fieldtype: * has no values for * of its components.",
     "values lack for some components that the field names", "these cannot be drawn",
     "write the missing values, or record fewer components"},
    {kFields, "SerFld: #*; fieldtype: * has only values that are not finite.",
     "every value is infinite or no number", "there is nothing to be drawn",
     "find out why the analysis diverged, or write the values again"},

    {kOutput, "Region * for output surface contribution has no *",
     "a region that contributes to output has neither faces, edges nor nodes",
     "its contribution cannot be shown", "give the region its faces, edges or nodes"},

    {kSections, "SectionAssignment  #* has no Section link.", "the assignment assigns nothing",
     "its elements have no section", "link it to its section, or remove it"},
    {kSections, "SectionAssignment  #* has no Region link.", "the assignment has no elements",
     "the section belongs to no element", "link it to its region, or remove it"},
    {kSections, "Region referred by SectionAssignemt #* has no elementsCluster CSet.",
     "the region of the assignment has no set of elements", "its elements have no section",
     "give the region its elements"},
    {kSections, "Section * is not linked to Focus (Focus_externalSectionIds).",
     "the section is not among those in use", "it is left out of lists of sections",
     "add it to the sections in use"},
    {kSections, "Shell section * has no Layers (Section_layers).",
     "a layered shell section has no layer", "it has no thickness and no material",
     "write its layers"},
    {kSections, "Ply is not linked to Model, *", "the layer names a ply that the model lacks",
     "the ply cannot be found by name", "add the ply to the model"},
    {kSections, "Layer_Beam_Arbitrary_segments is not of type Field_FTable, *",
     "the profile of a beam layer is no table", "the profile cannot be drawn",
     "write its segments as a table"},
    {kSections, "Layer_Beam_Arbitrary_segments has no an FTable, *",
     "the table of a beam layer's profile is missing", "the profile cannot be drawn",
     "write its segments as a table"},

    {"Objects of another kind", "* cannot be checked: *",
     "the object, or what hangs on it, holds something of another kind than it should",
     "it cannot be used, and what else may be wrong with it is unknown",
     "write it again as what the text says was expected"},

    // The patterns are compared in this order: the last one matches every finding.
    {"Others", "*", "the guide does not know this finding", "unknown",
     "look the text up in the model checker"},
});

bool Matches(const std::string& finding, const char* pattern) {
    // Patterns escape nothing, and a finding is compared as it stands: names in it may hold any
    // character, also '/'.
    return fnmatch(pattern, finding.c_str(), FNM_NOESCAPE) == 0;
}

}  // namespace

std::span<const FindingKind> FindingKinds() {
    return kKinds;
}

std::vector<ExplainedFindings> Explain(const std::vector<std::string>& findings) {
    std::vector<ExplainedFindings> groups;
    for (const FindingKind& kind : kKinds) {
        groups.push_back({&kind, {}});
    }
    for (std::size_t place = 0; place < findings.size(); ++place) {
        const auto group = std::ranges::find_if(groups, [&](const ExplainedFindings& candidate) {
            return Matches(findings[place], candidate.kind->pattern);
        });
        group->places.push_back(place);
    }
    std::erase_if(groups, [](const ExplainedFindings& group) { return group.places.empty(); });
    return groups;
}

}  // namespace orqmodel
