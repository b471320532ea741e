// The checker's part for the mesh and its element classes.
#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "ORQObjElementClass.h"
#include "ORQObjMesh.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvCheckerCommon.h"
#include "ORQSrvHPVizChecker.h"
#include "ORQSrvMemberNumber.h"
#include "ORQSrvNodalCoordinates.h"
#include "ORQSrvSetIndex.h"

using namespace orq::checker;

namespace {

// Nodes that are read at a time: 2.4 MB, so that memory does not grow with the mesh.
constexpr int kCoordinateChunk = 100000;

// --- Nodes ---------------------------------------------------------------------------------------

// Empty also for a distribution that does not run over the nodes: the service would end the
// process.
ORQSimCSet NodesWithCoordinates(const ORQSimPosition& coordinates, const ORQSimPosition& nodes) {
    const auto drawers = ORQSimDistribution(coordinates.GetDistribution()).QueryDrawers();
    const bool isOverNodes =
        drawers.Size() > 0 && std::all_of(drawers.begin(), drawers.end(), [&](const auto& drawer) {
            return drawer.Compartment().Position(nodes.GetCollection()) >= 0;
        });
    return isOverNodes ? ORQSrvNodalCoordinates(coordinates, kCoordinateChunk).Nodes()
                       : ORQSimCSet();
}

void CheckCoordinates(const ORQSimPosition& coordinates, ORQBasVector<ORQString>& messages) {
    if (coordinates.IsNull()) {
        messages.push_back("Coodinates distribution is not present in mesh.");
        return;
    }
    const ORQSimDistributionID id = coordinates.GetDistribution();
    if (id.IsNull()) {
        messages.push_back("Undefined coordinates distribution.");
    }
    if (ORQSimDistribution(id).QueryDrawers().Size() < 1) {
        messages.push_back("There is no data in coordinates distribution.");
    }
}

void CheckNodes(const ORQObjMesh& mesh, ORQBasVector<ORQString>& messages) {
    const ORQSimPosition nodes = mesh.GetNodeCollection();
    if (nodes.IsNull()) {
        messages.push_back("nodeCollection is not present");
        return;
    }
    const ORQSimPosition userNodes = mesh.GetUserNodes();
    if (userNodes.IsNull() || userNodes.GetCSet().IsNull()) {
        messages.push_back("userNodes is not present");
        return;
    }
    const ORQSimPosition coordinates = mesh.GetCoordinates();
    if (coordinates.IsNull()) {
        return;
    }
    const ORQSimCSet wanted = userNodes.CSet();
    if (wanted.IsEmpty()) {
        messages.push_back("userNodes CSet is not present");
    }
    // User nodes of another collection have none.
    const ORQSimCSet stored = wanted.CollectionID() == nodes.GetCollection()
                                  ? NodesWithCoordinates(coordinates, nodes)
                                  : ORQSimCSet();
    if (!wanted.Intersection(stored).SameMembers(wanted)) {
        messages.push_back(
            "Some nodes from user node set are not present in coordinates distribution");
    }
}

// --- Element classes -----------------------------------------------------------------------------

// Elements of these specs need no section: connectors, gaps, rigid elements, masses, user elements.
bool IsExempt(std::string_view spec) {
    constexpr std::array<std::string_view, 14> prefixes = {
        "DCOUP",  "DGAP", "DRAG",  "F2D", "F3D", "FLINK", "GAP",
        "IDCOUP", "ITS",  "JOINT", "PSI", "U",   "Z",     "X"};
    constexpr std::array<std::string_view, 5> names = {"R2D2", "R3D3", "R3D4", "RB2D2", "RB3D2"};
    constexpr std::array<std::string_view, 5> morePrefixes = {"CONN", "RAX", "HEATCAP", "MASS",
                                                              "ROTARYI"};
    const auto begins = [&](std::string_view prefix) { return spec.starts_with(prefix); };
    return std::ranges::any_of(prefixes, begins) || std::ranges::find(names, spec) != names.end() ||
           std::ranges::any_of(morePrefixes, begins);
}

const char* Coverage(const ORQSimCSet& elements, int nCovered) {
    return nCovered == elements.Size() ? "YES" : nCovered > 0 ? "PARTIAL" : "NO";
}

ORQString QuotedUnlessMissing(const ORQString& name) {
    return name == kMissing ? name : Quoted(name);
}

// Finds the classes whose elements have no section and need one.
class ClassCheck {
  public:
    ClassCheck(const ORQObjDocument& document, const ORQObjMesh& mesh,
               const ORQSimPosition& classification, ORQBasVector<ORQString>& messages)
        : m_context(document.ContextID()),
          m_specs(document.GetElementSpecCollection().GetCollection()),
          m_classes(mesh.Position()
                        .GetPosition(ORQSimSchema::Mesh_elementClassCollection)
                        .GetCollection()),
          m_elementSets(ORQObjElementClassification(classification).GetElementCSets()),
          m_messages(messages) {
        std::vector<ORQSimCSet> assigned;
        const ORQSimCollectionID elements = mesh.GetElementCollection().GetCollection();
        const ORQSimCtation assignment = mesh.GetElementSpecAssignment().DSet().GetCtation();
        for (const ORQSimCompartment& compartment : assignment.Compartments()) {
            assigned.emplace_back(compartment.CSet(compartment.Position(elements)));
            m_assignedSpecs.emplace_back(compartment.CSet(compartment.Position(m_specs)));
        }
        m_assignment.emplace(assigned);

        m_connectivity.emplace(
            DrawerSets(mesh.GetConnectivity().DSet().GetRelationalDistributionID(), elements));
    }

    void Examine(const ORQSimPosition& elementClass, int number) const {
        const auto found = m_elementSets.find(ORQSrvMemberNumber(elementClass, m_classes));
        const ORQSimCSet elements = found == m_elementSets.end() ? ORQSimCSet() : found->second;
        const ORQSrvSetIndex::Answer assigned = m_assignment->Find(elements);
        std::vector<ORQString> specs;
        ORQSimPosition firstSpec;
        for (const int spec : SpecsAt(assigned.places)) {
            const ORQSimPosition position = m_context.GetRecord(m_specs, spec);
            firstSpec = specs.empty() ? position : firstSpec;
            specs.push_back(NameOrMissing(position));
        }
        const ORQString spec = specs.empty() ? kMissing : specs.front();
        if (IsExempt(spec.UTF8())) {
            return;
        }
        const ORQSimPosition ownSpec =
            elementClass.GetPosition(ORQSimSchema::ElementClass_elementSpec);
        const ORQString ownName = ownSpec == firstSpec ? spec : NameOrMissing(ownSpec);
        const ORQString head = ORQString(" Element Class :#") + number;
        if (specs.size() != 1) {
            ORQString list;
            for (const ORQString& name : specs) {
                list.Append(list.IsEmpty() ? "" : ",").Append(Quoted(name));
            }
            m_messages.push_back(head + "; linked to more than 1 elSpec; #elments:" +
                                 static_cast<int>(specs.size()) + "; " + list);
        }
        m_messages.push_back(
            head + "; has no reference to Section; #elements:" + elements.Size() +
            "; elClass->elSpec: " + QuotedUnlessMissing(ownName) +
            "; elSpecAssign->elSpec: " + QuotedUnlessMissing(spec) +
            "; elements in elementSpecAssign: " + Coverage(elements, assigned.nCovered) +
            "; elements in connectivity: " +
            Coverage(elements, m_connectivity->Find(elements).nCovered));
    }

  private:
    std::set<int> SpecsAt(const std::vector<int>& compartments) const {
        std::set<int> specs;
        for (const int place : compartments) {
            for (ORQSimCSetIterator i(m_assignedSpecs[static_cast<std::size_t>(place)]);
                 !i.IsDone(); i.Next()) {
                specs.insert(i.CurrentValue());
            }
        }
        return specs;
    }

    ORQSimContext m_context;
    ORQSimCollectionID m_specs;
    ORQSimCollectionID m_classes;
    std::map<int, ORQSimCSet> m_elementSets;  // by member number of their class
    std::vector<ORQSimCSet> m_assignedSpecs;  // by compartment of the assignment
    std::optional<ORQSrvSetIndex> m_assignment;
    std::optional<ORQSrvSetIndex> m_connectivity;
    ORQBasVector<ORQString>& m_messages;
};

void CheckClasses(const ORQObjDocument& document, const ORQObjMesh& mesh,
                  const ORQSimPosition& classification, const ORQSimSet& classes,
                  ORQBasVector<ORQString>& messages) {
    std::optional<ClassCheck> check;
    int number = 0;
    for (auto elementClass = classes.Begin(); elementClass.NotDone(); ++elementClass, ++number) {
        if ((*elementClass).GetSet(ORQSimSchema::ElementClass_sections).Empty()) {
            // Made for the first class without a section: most models have none, and the indices
            // cost a pass over all elements.
            if (!check) {
                check.emplace(document, mesh, classification, messages);
            }
            check->Examine(*elementClass, number);
        }
    }
}

}  // namespace

void ORQSrvHPVizChecker::Check_Mesh() {
    const ORQObjMesh mesh(m_document.GetMesh());
    if (mesh.IsNull()) {
        m_messages.push_back("Mesh is not present in this Model.");
        return;
    }
    CheckObject("Mesh", m_messages, [&] { CheckCoordinates(mesh.GetCoordinates(), m_messages); });

    const ORQSimPosition assignment = mesh.GetElementSpecAssignment();
    const bool isDataSet = assignment.ID().Category() == ORQSimCategoryDSet;
    if (assignment.IsNull()) {
        m_messages.push_back("Mesh has no elementSpecAssignment.");
    } else if (!isDataSet) {
        m_messages.push_back(
            ORQString("Mesh->elementSpecAssignment link points to an object of category ") +
            assignment.ID().Category() + " instead of a DSet.");
    }

    CheckObject("Mesh", m_messages, [&] { CheckNodes(mesh, m_messages); });

    if (mesh.GetElementClassification().IsNull()) {
        m_messages.push_back("elementClassCollection is not present");
    }
    const ORQSimPosition classification = mesh.GetShapeFormulationLogicalSectionClassification();
    if (classification.IsNull()) {
        m_messages.push_back("shapeFormulationLogicalSectionClassification is not present");
        return;
    }
    const ORQSimSet classes = classification.GetSet(ORQSimSchema::ElementClassification_classes);
    if (classes.Empty()) {
        m_messages.push_back("ElementClassification has no ElementClasses.");
    }
    if (isDataSet) {
        CheckObject("ElementClassification", m_messages,
                    [&] { CheckClasses(m_document, mesh, classification, classes, m_messages); });
    }
}
