#include "ORQObjMeshedField.h"

#include <algorithm>
#include <array>
#include <string>

#include "ORQBasFailure.h"
#include "ORQSimArray.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"

namespace {

// Values are stored in pieces of so many members, and of so many times that a piece of few values
// still fills a page.
constexpr int kMembersPerChunk = 100000;
constexpr std::int64_t kValuesPerPage = 512;

constexpr std::array<const char*, 4> kAxes = {"", "layer", "element", "model"};

// The dimensions of a field's grid, -1 for those that it lacks. What a dimension is follows from
// the type of its collection; times come first, components last.
struct Dimensions {
    explicit Dimensions(const ORQSimGrid& grid) : components(grid.NumDimensions() - 1) {
        for (int i = 1; i < components; ++i) {
            const int type = grid.Collection(i).TypeID().Index();
            (type == ORQSimSchema::SectionLayerCollection   ? layers
             : type == ORQSimSchema::SectionPointCollection ? sectionPoints
             : type == ORQSimSchema::FieldPointCollection   ? points
                                                            : members) = i;
        }
    }

    int layers = -1;
    int sectionPoints = -1;
    int members = -1;
    int points = -1;
    int components;
};

// The view's part of each dimension but the times.
std::vector<ORQSimCSet> SetsOf(const ORQSimGrid& grid, const Dimensions& dimensions,
                               const ORQObjFieldView& view, const ORQSimCSet& components) {
    std::vector<ORQSimCSet> sets(static_cast<std::size_t>(grid.NumDimensions()));
    const auto set = [&](int dimension, ORQSimIntRange range) {
        if (dimension >= 0) {
            sets[static_cast<std::size_t>(dimension)] =
                ORQSimCollection(grid.Collection(dimension))
                    .CreateVolatileCSetStrided(range.First(), range.Last() - range.First() + 1, 1,
                                               1);
        }
    };
    set(dimensions.layers, view.layers);
    set(dimensions.sectionPoints, view.sectionPoints);
    set(dimensions.points, view.points);
    if (dimensions.members >= 0) {
        sets[static_cast<std::size_t>(dimensions.members)] = view.members;
    }
    sets[static_cast<std::size_t>(dimensions.components)] = components;
    return sets;
}

std::int64_t NumCells(const std::vector<ORQSimCSet>& sets) {
    std::int64_t count = 1;
    for (std::size_t i = 1; i < sets.size(); ++i) {
        count *= sets[i].Size();
    }
    return count;
}

// The drawer of just these sets, null when there is none; the first one without members.
ORQSimDrawerID DrawerOf(const ORQSimDistribution& distribution,
                        const std::vector<ORQSimCSet>& sets) {
    for (const ORQSimDrawerDescription& drawer : distribution.QueryDrawers()) {
        // Components are the same in all drawers, and the times are what grows.
        bool isSame = true;
        for (std::size_t i = 1; isSame && i + 1 < sets.size(); ++i) {
            isSame = ORQSimCSet(drawer.CSet(static_cast<int>(i))).SameMembers(sets[i]);
        }
        if (isSame) {
            return drawer.DrawerID();
        }
    }
    return {};
}

void MakeNewDrawer(ORQSimTransfer& transfer, const std::vector<ORQSimCSet>& sets) {
    ORQSimArray<int> chunks(static_cast<int>(sets.size()));
    // Times come one by one, so the field grows along them.
    chunks.Get(0) = static_cast<int>(
        std::max<std::int64_t>(1, kValuesPerPage / std::max<std::int64_t>(1, NumCells(sets))));
    for (std::size_t i = 1; i < sets.size(); ++i) {
        chunks.Get(static_cast<int>(i)) = std::clamp(sets[i].Size(), 1, kMembersPerChunk);
    }
    transfer.SetMakeNewDrawerChunked(chunks).SetExtendableDim(0);
}

void SetDimensions(ORQSimTransfer& transfer, const std::vector<ORQSimCSet>& sets) {
    for (std::size_t i = 1; i < sets.size(); ++i) {
        transfer.SetDim(static_cast<int>(i), sets[i]);
    }
}

// Throws Usage unless the view has just the parts that the field has.
void CheckView(const ORQObjMeshedField& field, const Dimensions& dimensions,
               const ORQObjFieldView& view) {
    const auto check = [&](int dimension, ORQSimIntRange part, const char* what) {
        if ((dimension < 0) != part.IsEmpty()) {
            ORQBasThrowUsage(
                "field \"" + field.GetName().UTF8() + "\" of grid type " +
                ORQSimSchema::NameOf(field.GetGridType()) +
                (dimension < 0 ? " has no " : " has values by ") + what +
                (dimension < 0 ? ", and the values are by them" : ", and none of them is named"));
        }
    };
    check(dimensions.layers, view.layers, "layer");
    check(dimensions.sectionPoints, view.sectionPoints, "section point");
    check(dimensions.points, view.points, "point");
    for (const ORQSimIntRange& range : {view.layers, view.sectionPoints, view.points}) {
        if (!range.IsEmpty() && range.First() < 0) {
            ORQBasThrowUsage("field \"" + field.GetName().UTF8() + "\": there is no number " +
                             std::to_string(range.First()) + " of layers and points");
        }
    }
}

// Layers and points of a field are numbers that all fields share: there is room for the most.
void MakeRoom(const ORQSimGrid& grid, int dimension, ORQSimIntRange range) {
    if (dimension >= 0) {
        ORQSimCollection collection(grid.Collection(dimension));
        if (collection.Space() <= range.Last()) {
            collection.ExtendSpace(range.Last() + 1);
        }
    }
}

}  // namespace

ORQSimDistributionID ORQObjMeshedField::GetDistribution() const {
    return m_position.GetPosition(ORQSimSchema::Field_distribution).GetDistribution();
}

int ORQObjMeshedField::GetGridType() const {
    return m_position.DataRecord().GetTypeID(ORQSimRecordField::MeshedField_gridType).Index();
}

ORQString ORQObjMeshedField::GetIdentifier() const {
    const ORQSimPosition type = m_position.GetPosition(ORQSimSchema::MeshedField_type);
    ORQString identifier;
    if (type.IsA(ORQSimSchema::FieldType_standard)) {
        type.DataRecord().GetString(ORQSimRecordField::FieldType_standard_identifier, identifier);
    }
    return identifier;
}

ORQSimCSet ORQObjMeshedField::GetComponents() const {
    return m_position.GetPosition(ORQSimSchema::MeshedField_component).CSet();
}

ORQString ORQObjMeshedField::GetComponentLabel(int place) const {
    ORQString label;
    m_position.DataRecord().GetString(ORQSimRecordField::MeshedField_firstComponentLabel + place,
                                      label);
    return label;
}

ORQSimCSet ORQObjMeshedField::GetTimes() const {
    ORQSimCSet times;
    for (const ORQSimDrawerDescription& drawer :
         ORQSimDistribution(GetDistribution()).QueryDrawers()) {
        const ORQSimCSet its(drawer.CSet(0));
        // A field mostly has one drawer, whose set is taken as it is.
        times = times.IsEmpty() ? its : times.Union(its);
    }
    return times;
}

ORQSimCollectionID ORQObjMeshedField::GetMemberCollection() const {
    const ORQSimGrid grid = ORQSimDistribution(GetDistribution()).Grid();
    return grid.Collection(Dimensions(grid).members);
}

bool ORQObjMeshedField::HasPoints() const {
    return Dimensions(ORQSimDistribution(GetDistribution()).Grid()).points >= 0;
}

bool ORQObjMeshedField::HasLayers() const {
    return Dimensions(ORQSimDistribution(GetDistribution()).Grid()).layers >= 0;
}

ORQObjAxes ORQObjMeshedField::GetAxes() const {
    const std::string name = m_position.Name(ORQSimSchema::MeshedField_axes).UTF8();
    const auto* const found = std::ranges::find(kAxes, name);
    return found == kAxes.end() ? ORQObjAxes::Unknown
                                : static_cast<ORQObjAxes>(found - kAxes.begin());
}

ORQString ORQObjMeshedField::GetArrayNames() const {
    return m_position.Name(ORQSimSchema::MeshedField_arrayNames);
}

std::vector<ORQObjFieldBlock> ORQObjMeshedField::GetBlocks() const {
    const ORQSimDistribution distribution(GetDistribution());
    const Dimensions dimensions(distribution.Grid());
    std::vector<ORQObjFieldBlock> blocks;
    for (const ORQSimDrawerDescription& drawer : distribution.QueryDrawers()) {
        const auto range = [&](int dimension) {
            return dimension < 0 ? ORQSimIntRange() : ORQSimCSet(drawer.CSet(dimension)).Bounds();
        };
        blocks.push_back(
            {drawer.CSet(0),
             {dimensions.members < 0 ? ORQSimCSet() : ORQSimCSet(drawer.CSet(dimensions.members)),
              range(dimensions.layers), range(dimensions.sectionPoints),
              range(dimensions.points)}});
    }
    return blocks;
}

void ORQObjMeshedField::WriteView(const ORQSimCSetID& times, const ORQObjFieldView& view,
                                  const double* values) const {
    const ORQSimDistribution distribution(GetDistribution());
    const ORQSimGrid grid = distribution.Grid();
    if (grid.NumDimensions() == 0) {
        return;
    }
    const Dimensions dimensions(grid);
    CheckView(*this, dimensions, view);
    const std::vector<ORQSimCSet> sets = SetsOf(grid, dimensions, view, GetComponents());
    const std::int64_t nValues = ORQSimCSet(times).Size() * NumCells(sets);
    if (nValues == 0) {
        return;
    }
    MakeRoom(grid, dimensions.layers, view.layers);
    MakeRoom(grid, dimensions.sectionPoints, view.sectionPoints);
    MakeRoom(grid, dimensions.points, view.points);
    ORQSimTransfer transfer(distribution);
    transfer.SetWrite();
    // A drawer holds one set of members: later times of the same members extend it.
    const ORQSimDrawerID drawer = DrawerOf(distribution, sets);
    if (drawer.IsNull()) {
        MakeNewDrawer(transfer, sets);
    } else {
        transfer.SetDrawer(drawer).SetAutoExtend();
    }
    SetDimensions(transfer, sets);
    transfer.SetDim(0, times)
        .SetBuffer(ORQSimbufMain, values, nValues * std::int64_t{sizeof(double)})
        .ExecWrite();
}

std::int64_t ORQObjMeshedField::ReadView(int time, const ORQObjFieldView& view,
                                         double* values) const {
    const ORQSimDistribution distribution(GetDistribution());
    const ORQSimGrid grid = distribution.Grid();
    if (grid.NumDimensions() == 0) {
        return 0;
    }
    const Dimensions dimensions(grid);
    CheckView(*this, dimensions, view);
    const std::vector<ORQSimCSet> sets = SetsOf(grid, dimensions, view, GetComponents());
    const std::int64_t nValues = NumCells(sets);
    if (nValues == 0) {
        return 0;
    }
    ORQSimTransfer transfer(distribution);
    SetDimensions(transfer, sets);
    return transfer.SetRead()
        .SetDim(0, ORQSimCollection(grid.Collection(0)).CreateVolatileCSet(&time, 1, true))
        .SetBuffer(ORQSimbufMain, values, nValues * std::int64_t{sizeof(double)})
        .ExecRead()
        .NumItems();
}

void ORQObjMeshedField::SetGridType(int gridType) const {
    m_position.DataRecord().SetTypeID(ORQSimRecordField::MeshedField_gridType,
                                      ORQSimTypeID(gridType));
}

void ORQObjMeshedField::SetComponents(const ORQSimCSetID& codes) const {
    m_position.SetPosition(ORQSimSchema::MeshedField_component, codes);
}

void ORQObjMeshedField::SetComponentLabel(int place, const ORQString& label) const {
    m_position.DataRecord().SetString(ORQSimRecordField::MeshedField_firstComponentLabel + place,
                                      label);
}

void ORQObjMeshedField::SetAxes(ORQObjAxes axes) const {
    m_position.SetName(ORQSimSchema::MeshedField_axes, kAxes.at(static_cast<std::size_t>(axes)));
}

void ORQObjMeshedField::SetArrayNames(const ORQString& names) const {
    m_position.SetName(ORQSimSchema::MeshedField_arrayNames, names);
}
