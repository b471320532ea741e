#include "ORQObjMeshedField.h"

#include <algorithm>

#include "ORQSimArray.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"

namespace {

// Values are stored in pieces of so many members, and of so many times that a piece of few members
// still fills a page.
constexpr int kMembersPerChunk = 100000;
constexpr int kValuesPerPage = 512;

// The drawer of just these members, null when there is none; the first one without members.
ORQSimDrawerID DrawerOf(const ORQSimDistribution& distribution, bool hasMembers,
                        const ORQSimCSet& members) {
    for (const ORQSimDrawerDescription& drawer : distribution.QueryDrawers()) {
        if (!hasMembers || ORQSimCSet(drawer.CSet(1)).SameMembers(members)) {
            return drawer.DrawerID();
        }
    }
    return {};
}

void MakeNewDrawer(ORQSimTransfer& transfer, bool hasMembers, int nMembers, int nComponents) {
    const int members = std::clamp(nMembers, 1, kMembersPerChunk);
    ORQSimArray<int> chunks(hasMembers ? 3 : 2);
    // Times come one by one, so the field grows along them.
    chunks.Get(0) = std::max(1, kValuesPerPage / (members * nComponents));
    if (hasMembers) {
        chunks.Get(1) = members;
    }
    chunks.Get(hasMembers ? 2 : 1) = nComponents;
    transfer.SetMakeNewDrawerChunked(chunks).SetExtendableDim(0);
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

bool ORQObjMeshedField::HasMembers() const {
    return ORQSimDistribution(GetDistribution()).NumDimensions() == 3;
}

void ORQObjMeshedField::Write(const ORQSimCSetID& times, const ORQSimCSet& members,
                              const double* values) const {
    const ORQSimDistribution distribution(GetDistribution());
    const bool hasMembers = HasMembers();
    const ORQSimCSet components = GetComponents();
    const std::int64_t nMembers = hasMembers ? members.Size() : 1;
    const std::int64_t nValues = ORQSimCSet(times).Size() * nMembers * components.Size();
    if (nValues == 0) {
        return;
    }
    ORQSimTransfer transfer(distribution);
    transfer.SetWrite();
    // A drawer holds one set of members: later times of the same members extend it.
    const ORQSimDrawerID drawer = DrawerOf(distribution, hasMembers, members);
    if (drawer.IsNull()) {
        MakeNewDrawer(transfer, hasMembers, static_cast<int>(nMembers), components.Size());
    } else {
        transfer.SetDrawer(drawer).SetAutoExtend();
    }
    transfer.SetDim(0, times);
    if (hasMembers) {
        transfer.SetDim(1, members);
    }
    transfer.SetDim(hasMembers ? 2 : 1, components)
        .SetBuffer(ORQSimbufMain, values, nValues * std::int64_t{sizeof(double)})
        .ExecWrite();
}

std::int64_t ORQObjMeshedField::Read(int time, const ORQSimCSet& members, double* values) const {
    const ORQSimDistribution distribution(GetDistribution());
    const ORQSimCSet components = GetComponents();
    const bool hasMembers = HasMembers();
    const std::int64_t nValues =
        (hasMembers ? members.Size() : 1) * std::int64_t{components.Size()};
    if (nValues == 0) {
        return 0;
    }
    ORQSimTransfer transfer(distribution);
    transfer.SetRead().SetDim(
        0, ORQSimCollection(distribution.Grid().Collection(0)).CreateVolatileCSet(&time, 1, true));
    if (hasMembers) {
        transfer.SetDim(1, members);
    }
    return transfer.SetDim(hasMembers ? 2 : 1, components)
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
