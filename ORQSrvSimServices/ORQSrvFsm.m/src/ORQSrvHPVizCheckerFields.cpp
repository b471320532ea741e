// The checker's part for single fields.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <vector>

#include "ORQObjMesh.h"
#include "ORQObjMeshedField.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvCheckerCommon.h"
#include "ORQSrvHPVizChecker.h"
#include "ORQSrvSetIndex.h"
#include "ORQSrvSymbolCollection.h"
#include "ORQSrvVariableMap.h"

using namespace orq::checker;

namespace {

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

bool RunsOver(const ORQSimPosition& field, const ORQSimPosition& collection) {
    const std::vector<ORQSimCollectionID> grid =
        ORQSimDistribution(ORQObjMeshedField(field).GetDistribution()).Grid().Collections();
    return std::ranges::find(grid, collection.GetCollection()) != grid.end();
}

// The members of a collection for which a field has values.
ORQSimCSet Covered(const ORQSimPosition& field, const ORQSimCollectionID& collection) {
    return Union(DrawerSets(ORQObjMeshedField(field).GetDistribution(), collection));
}

// Values stand at nodes or elements that there are.
void CheckMeshMembers(const ORQString& head, const ORQSimPosition& field, const ORQObjMesh& mesh,
                      ORQBasVector<ORQString>& messages) {
    if (RunsOver(field, mesh.GetNodeCollection())) {
        const ORQSimCollectionID nodes = mesh.GetNodeCollection().GetCollection();
        CheckMembers(head, Covered(field, nodes),
                     DrawerSets(mesh.GetCoordinates().GetDistribution(), nodes), "nodes", messages);
    } else {
        const ORQSimCollectionID elements = mesh.GetElementCollection().GetCollection();
        CheckMembers(
            head, Covered(field, elements),
            DrawerSets(mesh.GetConnectivity().DSet().GetRelationalDistributionID(), elements),
            "elements", messages);
    }
}

// --- Values --------------------------------------------------------------------------------------

// What a field should have values for.
struct Declared {
    ORQSimCSet times;  // of its step
    ORQSimCSet components;
    ORQSimCollectionID componentCollection;  // null when it cannot be compared
};

void CheckForeignValues(const ORQString& head, const ORQSimPosition& field,
                        const Declared& declared, ORQBasVector<ORQString>& messages) {
    const int nTimes = (Covered(field, declared.times.CollectionID()) - declared.times).Size();
    if (nTimes > 0) {
        messages.push_back(head + " has values at " + nTimes +
                           " times that its step does not have.");
    }
    const int nComponents =
        (Covered(field, declared.componentCollection) - declared.components).Size();
    if (nComponents > 0) {
        messages.push_back(head + " has values for " + nComponents +
                           " components that it does not have.");
    }
}

// Whether a drawer holds values and none of them is a number. Reads a few hundred kilobytes at a
// time and stops at the first number, since most drawers begin with one.
bool HasOnlyNonFinite(const ORQSimDistribution& distribution,
                      const ORQSimPersistentDrawerDesc& drawer) {
    // 256 KiB of doubles: large enough to read at full speed, little to read in vain.
    constexpr int kValues = 1 << 15;
    std::vector<ORQSimCSet> sets;
    int along = 1;  // the longest dimension but the first
    for (int i = 0; i < drawer.NumDimensions(); ++i) {
        sets.emplace_back(drawer.CSet(i));
        along =
            i > 1 && sets.back().Size() > sets[static_cast<std::size_t>(along)].Size() ? i : along;
    }
    int nRest = 1;  // values for one member of the first and of the longest one
    for (int i = 1; i < drawer.NumDimensions(); ++i) {
        nRest *= i == along ? 1 : sets[static_cast<std::size_t>(i)].Size();
    }
    const auto slice = [](const ORQSimCSet& set, int begin, int count) {
        std::vector<int> members(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            members[static_cast<std::size_t>(i)] = set[begin + i];
        }
        return ORQSimCollection(set.CollectionID())
            .CreateVolatileOrderedCSet(members.data(), count);
    };
    const int nAlong = sets.size() > 1 ? sets[static_cast<std::size_t>(along)].Size() : 1;
    const int atOnce = std::clamp(kValues / std::max(nRest, 1), 1, std::max(nAlong, 1));
    std::vector<double> values;
    for (int row = 0; row < sets[0].Size(); ++row) {
        for (int begin = 0; begin < nAlong; begin += atOnce) {
            const int count = std::min(atOnce, nAlong - begin);
            // What a sparse drawer does not store is no number.
            values.assign(static_cast<std::size_t>(count) * static_cast<std::size_t>(nRest),
                          std::numeric_limits<double>::quiet_NaN());
            ORQSimTransfer read(distribution);
            read.SetRead()
                .SetDrawer(drawer.DrawerID())
                .SetBufferType(ORQSimScalarDouble)
                .SetDim(0, slice(sets[0], row, 1));
            for (int i = 1; i < drawer.NumDimensions(); ++i) {
                const ORQSimCSet& set = sets[static_cast<std::size_t>(i)];
                read.SetDim(i, i == along ? slice(set, begin, count) : set);
            }
            read.SetBuffer(ORQSimbufMain, values.data(),
                           std::ssize(values) * std::int64_t{sizeof(double)})
                .ExecRead();
            if (std::ranges::any_of(values, [](double value) { return std::isfinite(value); })) {
                return false;
            }
        }
    }
    return true;
}

// A result has values, numbers among them, for all that it declares.
void CheckMissingValues(const ORQString& head, const ORQSimPosition& field,
                        const Declared& declared, ORQBasVector<ORQString>& messages) {
    const ORQSimDistribution distribution(ORQObjMeshedField(field).GetDistribution());
    const auto drawers = distribution.QueryDrawers();
    if (distribution.IsNull() || drawers.Size() == 0) {
        messages.push_back(head +
                           (distribution.IsNull() ? " has no distribution." : " has no values."));
        return;
    }
    const auto nMissing = [&](const ORQSimCSet& set) {
        return RunsOver(field, set.CollectionID())
                   ? (set - Covered(field, set.CollectionID())).Size()
                   : 0;
    };
    if (const int nTimes = nMissing(declared.times); nTimes > 0) {
        messages.push_back(head + " has no values at " + nTimes + " of the times of its step.");
    }
    if (const int nComponents = nMissing(declared.components); nComponents > 0) {
        messages.push_back(head + " has no values for " + nComponents + " of its components.");
    }
    if (std::all_of(drawers.begin(), drawers.end(),
                    [&](const auto& drawer) { return HasOnlyNonFinite(distribution, drawer); })) {
        messages.push_back(head + " has only values that are not finite.");
    }
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
    const ORQString head =
        "SerFld: #" + number + "; " + owner + "; fieldtype: " + FieldTypeName(field);
    const bool isOverMesh = HasNodeOrElementDim(field);
    const int gridType = ORQObjMeshedField(field).GetGridType();
    if (!IsFieldType(gridType)) {
        m_messages.push_back(head + " has no grid type.");
    } else if (isOverMesh) {
        CheckPlace(head, field, gridType);
    }
    ORQSimCSet components = field.GetPosition(MeshedField_component).CSet();
    const bool areForeign =
        !components.IsEmpty() &&
        components.CollectionID() != m_document.GetComponentCollection().GetCollection();
    if (areForeign) {
        m_messages.push_back(head + " has components of another collection.");
    } else if (components.IsEmpty()) {
        m_messages.push_back(head + " has no components.");
    }
    if (!Has(field, MeshedField_type)) {
        m_messages.push_back(head + " has no field type.");
    } else if (IsFieldType(gridType) && !areForeign) {
        Check_Component(head, gridType, ToArray(components), field);
    }
    if (isOverMesh) {
        CheckMeshMembers(head, field, ORQObjMesh(m_document.GetMesh()), m_messages);
    }
    const Declared declared = {
        StepOf(field).GetPosition(Task_times).CSet(), areForeign ? ORQSimCSet() : components,
        areForeign ? ORQSimCollectionID() : m_document.GetComponentCollection().GetCollection()};
    CheckForeignValues(head, field, declared, m_messages);
    if (IsReferredTo(field, Task_fieldResults)) {
        CheckMissingValues(head, field, declared, m_messages);
    }
}

// Whether the grid type is one for the nodes or elements over which the field runs.
void ORQSrvHPVizChecker::CheckPlace(const ORQString& head, const ORQSimPosition& field,
                                    int gridType) {
    const bool isAtNodes = RunsOver(field, ORQObjMesh(m_document.GetMesh()).GetNodeCollection());
    if (isAtNodes ? !MayStandAtNodes(gridType) : !MayStandAtElements(gridType)) {
        m_messages.push_back(head + " has the grid type " + ORQSimSchema::NameOf(gridType) +
                             ", but values at " + (isAtNodes ? "nodes." : "elements."));
    }
}
