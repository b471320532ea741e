// The checker's look at history, output requests and the fields that they fill.
#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "ORQObjMesh.h"
#include "ORQObjMeshedField.h"
#include "ORQSimCSet.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvCheckerCommon.h"
#include "ORQSrvHPVizChecker.h"
#include "ORQSrvSetIndex.h"
#include "ORQSrvSymbolCollection.h"
#include "ORQSrvVariableMap.h"

using namespace orq::checker;

namespace {

// --- Output requests -----------------------------------------------------------------------------

void CheckUserRequest(const ORQSimPosition& userRequest, const ORQString& field,
                      ORQBasVector<ORQString>& messages) {
    using namespace ORQSimSchema;
    const ORQString head = field + ", UserOutputRequest " + QuotedName(userRequest);
    const ORQSimSet regions = userRequest.GetSet(UserOutputRequest_outputRegions);
    if (regions.Empty()) {
        messages.push_back(head + " has no Region link (UserOutputRequest_outputRegions).");
    }
    for (auto region = regions.Begin(); region.NotDone(); ++region) {
        constexpr std::array<int, 4> clusters = {Region_elementsFacesCluster,
                                                 Region_elementsEdgesCluster, Region_nodesCluster,
                                                 Region_elementsCluster};
        if (std::ranges::none_of(clusters, [&](int slot) { return Has(*region, slot); })) {
            messages.push_back(head + " has no cluster link.");
        }
    }
}

// Who asked for a history field; `field` is the field with its step.
void CheckRequests(const ORQSimPosition& position, const ORQString& field,
                   ORQBasVector<ORQString>& messages) {
    using namespace ORQSimSchema;
    const ORQSimSet requests = position.ReferrersSet(OutputRequest_field);
    if (requests.Empty()) {
        messages.push_back(field +
                           " is not referred to by an OutputRequest (OutputRequest_field).");
    }
    for (auto request = requests.Begin(); request.NotDone(); ++request) {
        const ORQSimSet userRequests = (*request).ReferrersSet(OutputRequest_elaboratedRequest);
        if (userRequests.Empty()) {
            messages.push_back("OutputRequest for " + field +
                               " is not referred to by UserOutputRequest "
                               "(OutputRequest_elaboratedRequest).");
        }
        for (auto user = userRequests.Begin(); user.NotDone(); ++user) {
            CheckUserRequest(*user, field, messages);
        }
    }
}

// --- Fields --------------------------------------------------------------------------------------

ORQString FieldTypeName(const ORQSimPosition& field) {
    const ORQString identifier = ORQObjMeshedField(field).GetIdentifier();
    return identifier.IsEmpty() ? NameOrMissing(field.GetPosition(ORQSimSchema::MeshedField_type))
                                : identifier;
}

bool HasContent(const ORQSimPosition& field) {
    return ORQSimDistribution(ORQObjMeshedField(field).GetDistribution()).NumDrawers() > 0;
}

bool IsFieldType(int gridType) {
    const ORQSimSchema::Entry* entry = ORQSimSchema::Find(gridType);
    return entry != nullptr && entry->kind == ORQSimSchema::Kind::Field;
}

// Contact results stand at nodes or at elements.
bool MayStandAtNodes(int gridType) {
    using namespace ORQSimSchema;
    constexpr std::array<int, 4> types = {Field_Nodal, Field_NodalContact, Field_SurfaceNodal,
                                          Field_Contact};
    return std::ranges::find(types, gridType) != types.end();
}
bool MayStandAtElements(int gridType) {
    using namespace ORQSimSchema;
    constexpr std::array<int, 10> types = {
        Field_IntegrationPoint, Field_ElementNodal, Field_ElementFace,        Field_ElementCentroid,
        Field_WholeElementFace, Field_WholeElement, Field_WholeElementEnergy, Field_ElementHistory,
        Field_ElementAverage,   Field_Contact};
    return std::ranges::find(types, gridType) != types.end();
}

// Component codes of the field type on a grid type; none when it does not occur there.
ORQSimArray<int> AllowedCodes(const ORQSimPosition& field, int gridType,
                              const ORQSrvSymbolCollection& symbols) {
    std::vector<int> codes;
    const ORQString identifier = ORQObjMeshedField(field).GetIdentifier();
    if (identifier.IsEmpty()) {
        for (int code = 0; code < symbols.NumPlaces(); ++code) {
            if (!symbols.GetName(code).IsEmpty()) {
                codes.push_back(code);
            }
        }
    } else {
        for (int i = 0; ORQSrvVariableMap::GetEntry(i).label != nullptr; ++i) {
            const ORQSrvVariableStruct& entry = ORQSrvVariableMap::GetEntry(i);
            if (entry.fragmentType == gridType && identifier == entry.identifier) {
                codes.push_back(entry.component);
            }
        }
    }
    ORQSimArray<int> allowed(static_cast<int>(codes.size()));
    std::ranges::copy(codes, allowed.begin());
    return allowed;
}

ORQSimArray<int> ToArray(const ORQSimCSet& set) {
    ORQSimArray<int> members(set.Size());
    if (!set.IsEmpty()) {
        set.OrderedMembers(&members.Get(0));
    }
    return members;
}

// The members that a set has and none of the others has.
ORQSimCSet Rest(ORQSimCSet set, const std::vector<ORQSimCSet>& others) {
    for (const ORQSimCSet& other : others) {
        set = set - other;
    }
    return set;
}

void CheckMembers(const ORQString& head, const ORQSimCSet& members,
                  const std::vector<ORQSimCSet>& existing, const char* kind,
                  ORQBasVector<ORQString>& messages) {
    const int nMissing = members.Size() - ORQSrvSetIndex(existing).Find(members).nCovered;
    const bool isAny =
        std::ranges::any_of(existing, [](const auto& set) { return !set.IsEmpty(); });
    if (isAny && nMissing > 0) {
        messages.push_back(
            head + " has values for " + nMissing + " " + kind +
            " that do not exist (the first: " + Rest(members, existing).Bounds().First() + ").");
    }
}

// The step that has the field among its results or history.
ORQSimPosition StepOf(const ORQSimPosition& field) {
    for (const int slot : {ORQSimSchema::Task_fieldResults, ORQSimSchema::Task_historyFields}) {
        const ORQSimSet steps = field.ReferrersSet(slot);
        if (!steps.Empty()) {
            return *steps.Begin();
        }
    }
    return {};
}

}  // namespace

bool ORQSrvHPVizChecker::HasNodeOrElementDim(const ORQSimPosition& field) const {
    const ORQObjMesh mesh(m_document.GetMesh());
    const ORQSimCollectionID nodes = mesh.GetNodeCollection().GetCollection();
    const ORQSimCollectionID elements = mesh.GetElementCollection().GetCollection();
    const ORQSimGrid grid = ORQSimDistribution(ORQObjMeshedField(field).GetDistribution()).Grid();
    return std::ranges::any_of(grid.Collections(), [&](const ORQSimCollectionID& collection) {
        return !collection.IsNull() && (collection == nodes || collection == elements);
    });
}

bool ORQSrvHPVizChecker::Check_Component_Impl(const ORQSimArray<int>& allowed, const int* codes,
                                              int count) const {
    return std::all_of(codes, codes + count, [&](int code) {
        return std::find(allowed.begin(), allowed.end(), code) != allowed.end();
    });
}

void ORQSrvHPVizChecker::Check_Component(const ORQString& head, int gridType,
                                         const ORQSimArray<int>& codes,
                                         const ORQSimPosition& field) {
    const ORQSrvSymbolCollection symbols(m_document.GetComponentCollection(),
                                         ORQSimSchema::ComponentSymbol);
    const ORQSimArray<int> allowed = AllowedCodes(field, gridType, symbols);
    if (allowed.Size() == 0) {
        m_messages.push_back(head + " has the grid type " + ORQSimSchema::NameOf(gridType) +
                             ", on which its field type does not occur.");
        return;
    }
    for (const int code : codes) {
        if (!Check_Component_Impl(allowed, &code, 1)) {
            const ORQString symbol = symbols.GetName(code);
            m_messages.push_back(head + " has the component " + code +
                                 (symbol.IsEmpty() ? ORQString() : " (" + symbol + ")") +
                                 ", which its field type does not have.");
        }
    }
}

void ORQSrvHPVizChecker::Check_Field(const ORQSimPosition& field, const ORQString& owner,
                                     const ORQString& number) {
    using namespace ORQSimSchema;
    const ORQObjMesh mesh(m_document.GetMesh());
    const ORQString head =
        "SerFld: #" + number + "; " + owner + "; fieldtype: " + FieldTypeName(field);
    const ORQSimDistributionID distribution = ORQObjMeshedField(field).GetDistribution();
    const std::vector<ORQSimCollectionID> grid =
        ORQSimDistribution(distribution).Grid().Collections();
    const auto runsOver = [&](const ORQSimPosition& collection) {
        return std::ranges::find(grid, collection.GetCollection()) != grid.end();
    };
    const bool isAtNodes = runsOver(mesh.GetNodeCollection());

    const int gridType = ORQObjMeshedField(field).GetGridType();
    if (!IsFieldType(gridType)) {
        m_messages.push_back(head + " has no grid type.");
    } else if (isAtNodes ? !MayStandAtNodes(gridType) : !MayStandAtElements(gridType)) {
        m_messages.push_back(head + " has the grid type " + NameOf(gridType) + ", but values at " +
                             (isAtNodes ? "nodes." : "elements."));
    }
    const ORQSimCSet components = ORQObjMeshedField(field).GetComponents();
    if (components.IsEmpty()) {
        m_messages.push_back(head + " has no components.");
    }
    if (!Has(field, MeshedField_type)) {
        m_messages.push_back(head + " has no field type.");
    } else if (IsFieldType(gridType)) {
        Check_Component(head, gridType, ToArray(components), field);
    }

    const auto covered = [&](const ORQSimCollectionID& collection) {
        return Union(DrawerSets(distribution, collection));
    };
    if (isAtNodes) {
        const ORQSimCollectionID nodes = mesh.GetNodeCollection().GetCollection();
        CheckMembers(head, covered(nodes),
                     DrawerSets(mesh.GetCoordinates().GetDistribution(), nodes), "nodes",
                     m_messages);
    } else {
        const ORQSimCollectionID elements = mesh.GetElementCollection().GetCollection();
        CheckMembers(
            head, covered(elements),
            DrawerSets(mesh.GetConnectivity().DSet().GetRelationalDistributionID(), elements),
            "elements", m_messages);
    }
    const ORQSimCSet times = StepOf(field).GetPosition(Task_times).CSet();
    const int nForeignTimes = (covered(times.CollectionID()) - times).Size();
    if (nForeignTimes > 0) {
        m_messages.push_back(head + " has values at " + nForeignTimes +
                             " times that its step does not have.");
    }
    const int nForeignComponents =
        (covered(m_document.GetComponentCollection().GetCollection()) - components).Size();
    if (nForeignComponents > 0) {
        m_messages.push_back(head + " has values for " + nForeignComponents +
                             " components that it does not have.");
    }
}

void ORQSrvHPVizChecker::Check_History() {
    using namespace ORQSimSchema;
    const ORQSimVector steps = m_model.GetVector(Model_stepSequence);
    for (auto step = steps.Begin(); step.NotDone(); ++step) {
        const ORQString stepName = "Step " + QuotedName(*step);
        const ORQSimSet fields = (*step).GetSet(Task_historyFields);
        int number = 0;
        for (auto field = fields.Begin(); field.NotDone(); ++field, ++number) {
            const ORQString fieldName = stepName + ", History field #" + number;
            if (!(*field).IsA(MeshedField)) {
                m_messages.push_back(fieldName + " is not a MeshedField.");
                continue;
            }
            if (HasNodeOrElementDim(*field)) {
                Check_Field(*field, stepName, ORQString() + number);
            }
            CheckRequests(*field, fieldName, m_messages);
        }
    }

    const ORQSimVector requests = m_model.GetVector(Model_outputRequests);
    int requestNumber = 0;
    for (auto request = requests.Begin(); request.NotDone(); ++request, ++requestNumber) {
        const ORQString requestName = ORQString("OutputRequest #") + requestNumber;
        const ORQSimVector fields = (*request).GetVector(OutputRequest_field);
        int number = 0;
        for (auto field = fields.Begin(); field.NotDone(); ++field, ++number) {
            if (IsReferredTo(*field, Task_historyFields)) {
                continue;
            }
            if (HasNodeOrElementDim(*field)) {
                Check_Field(*field, requestName, ORQString() + number);
            }
            if (HasContent(*field) && !IsReferredTo(*field, Task_fieldResults)) {
                m_messages.push_back("For " + requestName + "; Field #" + number +
                                     "; fieldtype: " + FieldTypeName(*field) +
                                     " has content but has no Task_fieldResults parent link.");
            }
        }
    }

    for (auto step = steps.Begin(); step.NotDone(); ++step) {
        const ORQSimSet results = (*step).GetSet(Task_fieldResults);
        int number = 0;
        for (auto field = results.Begin(); field.NotDone(); ++field, ++number) {
            if (HasNodeOrElementDim(*field) && !IsReferredTo(*field, OutputRequest_field)) {
                Check_Field(*field, "Step " + QuotedName(*step), ORQString() + number);
            }
        }
    }
}
