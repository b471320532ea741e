#include "ORQSrvFsmMaterialTable.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimDistribution.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAssert.h"
#include "ORQSrvOwnedArray.h"

namespace {

// Tables are appended to in parts; a chunk of so many rows grows in place, and a short table takes no
// more than it needs.
constexpr int kRowsPerChunk = 16384;

// One for each dimension, rows first.
using Sets = std::vector<ORQSimCSet>;

void CheckRows(int rows) {
    if (rows < 1) {
        ORQBasThrowUsage("a material table cannot get " + std::to_string(rows) + " rows");
    }
}

void Write(ORQSimTransfer& write, const Sets& sets, const double* values) {
    write.SetWrite().SetBufferType(ORQSimScalarDouble).SetBufferPadding(true);
    for (std::size_t dimension = 0; dimension < sets.size(); ++dimension) {
        write.SetDim(static_cast<int>(dimension), sets[dimension]);
    }
    write.SetBuffer(ORQSimbufMain, values, write.RequiredBufferSize(ORQSimbufMain));
    write.ExecWrite();
    write.RelinquishBuffers();
}

ORQSimDistributionID WriteNew(const ORQSimContext& context, int type, const Sets& sets,
                              const double* values) {
    std::vector<ORQSimCollectionID> collections;
    ORQSimArray<int> chunks(static_cast<int>(sets.size()));
    for (const ORQSimCSet& set : sets) {
        // A chunk size below 1 is refused, also for a dimension without members.
        chunks.Get(static_cast<int>(collections.size())) = std::max(set.Size(), 1);
        collections.push_back(set.CollectionID());
    }
    // Tables grow by rows; across them a chunk holds all there is.
    chunks.Get(0) = kRowsPerChunk;
    const ORQSimDistributionID distribution = context.CreateDistribution(
        ORQSimGrid(collections), ORQSimRangeType(ORQSimScalarDouble), ORQSimTypeID(type));
    ORQSimTransfer write{ORQSimDistribution(distribution)};
    write.SetMakeNewDrawerChunked(chunks).SetExtendableDim(0);
    Write(write, sets, values);
    return distribution;
}

ORQSimPersistentDrawerDesc OnlyDrawer(const ORQSimPosition& distribution) {
    const auto ddesc = ORQSimDistribution(distribution.GetDistribution()).QueryDrawers();
    ORQSrvAssertReported(ddesc.Size() == 1, "ddesc.Size() == 1");
    return ddesc.ConstGet(0);
}

Sets SetsOf(const ORQSimPersistentDrawerDesc& drawer) {
    const auto& ids = drawer.Compartment().CSetIDs();
    return Sets(ids.begin(), ids.end());
}

void AppendRows(const ORQSimPosition& distribution, const ORQSimCSetID& rows,
                const double* values) {
    const ORQSimPersistentDrawerDesc drawer = OnlyDrawer(distribution);
    Sets sets = SetsOf(drawer);
    sets[0] = rows;
    ORQSimTransfer write{ORQSimDistribution(distribution.GetDistribution())};
    write.SetDrawer(drawer.DrawerID()).SetDimExtension(rows);
    Write(write, sets, values);
}

ORQSrvOwnedArray<double> ReadAll(const ORQSimPersistentDrawerDesc& drawer) {
    const Sets sets = SetsOf(drawer);
    ORQSimTransfer read{ORQSimDistribution(drawer.DrawerID().DistributionID())};
    // The buffer holds doubles, whatever a file says that the values are.
    read.SetRead()
        .SetBufferType(ORQSimScalarDouble)
        .SetBufferPadding(true)
        .SetDrawer(drawer.DrawerID());
    for (std::size_t dimension = 0; dimension < sets.size(); ++dimension) {
        read.SetDim(static_cast<int>(dimension), sets[dimension]);
    }
    read.CheckView();  // before anything is allocated by sizes that a file gives
    const std::int64_t size = read.RequiredBufferSize(ORQSimbufMain);
    auto values = ORQSrvAllocateArray<double>(size / static_cast<int>(sizeof(double)));
    read.SetBuffer(ORQSimbufMain, values.get(), size);
    read.ExecRead();
    return values;
}

}  // namespace

ORQSrvFsmMaterialTable::ORQSrvFsmMaterialTable(const int* dependentTypes,
                                               const int* dependentMembers,
                                               const int* dependentLengths,
                                               bool temperatureDependency, int temperatureType,
                                               int temperatureMember, int fieldVariableType,
                                               int fieldVariableMember)
    : m_dependentTypes(dependentTypes),
      m_dependentMembers(dependentMembers),
      m_dependentLengths(dependentLengths),
      m_temperatureType(temperatureType),
      m_temperatureMember(temperatureMember),
      m_fieldVariableType(fieldVariableType),
      m_fieldVariableMember(fieldVariableMember),
      m_temperatureDependency(temperatureDependency) {
    while (m_dependentTypes[m_numberOfDependent] != -1) {
        ++m_numberOfDependent;
    }
}

// --- What an owner holds -------------------------------------------------------------------------

ORQSimPosition ORQSrvFsmMaterialTable::Dependent(const ORQSimPosition& owner, int dependent) const {
    return owner.Follow(m_dependentTypes[dependent], m_dependentMembers[dependent]);
}

ORQSimPosition ORQSrvFsmMaterialTable::FieldVariables(const ORQSimPosition& owner) const {
    return owner.Follow(m_fieldVariableType, m_fieldVariableMember);
}

bool ORQSrvFsmMaterialTable::IsTemperatureDependent(const ORQSimPosition& owner) const {
    return m_temperatureDependency &&
           !owner.Follow(m_temperatureType, m_temperatureMember).IsNull();
}

int ORQSrvFsmMaterialTable::NumberFieldVariables(const ORQSimPosition& owner) const {
    const ORQSimPosition distribution = FieldVariables(owner);
    if (distribution.IsNull()) {
        return 0;
    }
    const Sets domain = SetsOf(OnlyDrawer(distribution));
    ORQSrvAssertReported(domain.size() == 2, "domain.Size() == 2");
    return domain[1].Size();
}

// --- Writing -------------------------------------------------------------------------------------

// Two distributions of a table may not have one link: the later would replace the earlier.
void ORQSrvFsmMaterialTable::CheckLinks() const {
    std::set<std::pair<int, int>> taken;
    const auto take = [&](const std::string& what, int type, int member) {
        if (!taken.emplace(type, member).second) {
            ORQBasThrowUsage("the " + what + " of a material table cannot hang under member " +
                             std::to_string(member) + " of " + ORQSimSchema::NameOf(type) +
                             ", which others of it have");
        }
    };
    for (int i = 0; i < m_numberOfDependent; ++i) {
        take("dependent " + std::to_string(i), m_dependentTypes[i], m_dependentMembers[i]);
    }
    if (m_temperatureDependency) {
        take("temperatures", m_temperatureType, m_temperatureMember);
    }
    take("field variables", m_fieldVariableType, m_fieldVariableMember);
}

ORQSimCSetID ORQSrvFsmMaterialTable::ExtendCollection(const ORQSimCollectionID& collection,
                                                      int count) {
    ORQSimCollection members(collection);
    const int first = members.Space();
    members.ExtendSpace(first + count);
    return members.CreateCSetStrided(first, count, 1, 1);
}

ORQSimCSetID ORQSrvFsmMaterialTable::Save(
    ORQSimTransaction& transaction, const ORQSimPosition& owner,
    const ORQSimCollectionID& rowCollection, const ORQSimCollectionID& componentCollection,
    const ORQSimCollectionID& scalarCollection, const double** data, int rows, bool hasTemperatures,
    int fieldVariables, const ORQSimCollectionID& fieldVariableCollection) const {
    CheckRows(rows);
    CheckLinks();
    const ORQSimContext context(transaction.ContextID());
    const ORQSimCSetID rowSet = ExtendCollection(rowCollection, rows);
    for (int i = 0; i < m_numberOfDependent; ++i) {
        const int length = m_dependentLengths[i];
        ORQSimCollection components(
            length == 1 && !scalarCollection.IsNull() ? scalarCollection : componentCollection);
        components.ExtendSpace(length);
        const ORQSimCSetID componentSet = components.CreateCSetStrided(0, length, 1, 1);
        owner.Associate(
            m_dependentTypes[i], m_dependentMembers[i],
            WriteNew(context, ORQSimSchema::Material_dependents, {rowSet, componentSet}, data[i]));
    }
    ORQSimPosition temperatures;
    if (m_temperatureDependency && hasTemperatures) {
        temperatures = WriteNew(context, ORQSimSchema::Material_temperatures, {rowSet},
                                data[m_numberOfDependent]);
    }
    if (m_temperatureDependency) {
        owner.Associate(m_temperatureType, m_temperatureMember, temperatures);
    }
    ORQSimPosition variables;
    if (fieldVariables > 0) {
        const ORQSimCSetID variableSet = ExtendCollection(fieldVariableCollection, fieldVariables);
        variables = WriteNew(context, ORQSimSchema::Material_fieldVariables, {rowSet, variableSet},
                             data[m_numberOfDependent + 1]);
    }
    owner.Associate(m_fieldVariableType, m_fieldVariableMember, variables);
    return rowSet;
}

ORQSimCSetID ORQSrvFsmMaterialTable::Append(ORQSimTransaction&, const ORQSimPosition& owner,
                                            const ORQSimCollectionID& rowCollection,
                                            const ORQSimCollectionID&, const ORQSimCollectionID&,
                                            const double** data, int rows, bool hasTemperatures,
                                            int fieldVariables) const {
    CheckRows(rows);
    // All is checked before the first row is added.
    const bool storesTemperatures = IsTemperatureDependent(owner);
    if (storesTemperatures && !hasTemperatures) {
        ORQBasThrowUsage("rows without temperatures cannot join a table that has them");
    }
    const int storedVariables = NumberFieldVariables(owner);
    if (fieldVariables != storedVariables) {
        ORQBasThrowUsage("rows of " + std::to_string(fieldVariables) +
                         " field variables cannot join a table that has " +
                         std::to_string(storedVariables));
    }
    const ORQSimCSetID rowSet = ExtendCollection(rowCollection, rows);
    for (int i = 0; i < m_numberOfDependent; ++i) {
        AppendRows(Dependent(owner, i), rowSet, data[i]);
    }
    if (storesTemperatures) {
        AppendRows(owner.Follow(m_temperatureType, m_temperatureMember), rowSet,
                   data[m_numberOfDependent]);
    }
    if (storedVariables > 0) {
        AppendRows(FieldVariables(owner), rowSet, data[m_numberOfDependent + 1]);
    }
    return rowSet;
}

// --- Reading -------------------------------------------------------------------------------------

void ORQSrvFsmMaterialTable::FillPointer(const ORQSimPosition& owner, double**& data, int& rows,
                                         int& columns, bool& hasTemperatures,
                                         int& fieldVariables) const {
    std::vector<ORQSrvOwnedArray<double>> values(static_cast<std::size_t>(m_numberOfDependent) + 2);
    rows = 0;
    columns = 0;
    for (int i = 0; i < m_numberOfDependent; ++i) {
        const ORQSimPosition d1 = Dependent(owner, i);
        ORQSrvAssertReported(!d1.IsNull(), "d1.IsNull() == false");
        const ORQSimPersistentDrawerDesc drawer = OnlyDrawer(d1);
        const Sets domains = SetsOf(drawer);
        const std::size_t ndomain = domains.size();
        ORQSrvAssertReported(ndomain == 2 || ndomain == 1, "ndomain == 2 || ndomain == 1");
        values[static_cast<std::size_t>(i)] = ReadAll(drawer);
        rows = domains[0].Size();
        columns += ndomain == 2 ? domains[1].Size() : 1;
    }
    hasTemperatures = IsTemperatureDependent(owner);
    if (hasTemperatures) {
        const ORQSimPersistentDrawerDesc drawer =
            OnlyDrawer(owner.Follow(m_temperatureType, m_temperatureMember));
        const Sets domain = SetsOf(drawer);
        ORQSrvAssertReported(domain.size() == 1, "domain.Size() == 1");
        values[static_cast<std::size_t>(m_numberOfDependent)] = ReadAll(drawer);
    }
    fieldVariables = NumberFieldVariables(owner);
    if (fieldVariables > 0) {
        values.back() = ReadAll(OnlyDrawer(FieldVariables(owner)));
    }
    // The last step that can fail comes before the first release, so that nothing leaks.
    auto pointers = ORQSrvAllocateArray<double*>(std::ssize(values));
    for (std::size_t i = 0; i < values.size(); ++i) {
        pointers[i] = values[i].release();
    }
    data = pointers.release();
}
