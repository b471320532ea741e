// The services that write and read a mesh, on small models in memory.

#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "Assertions.h"
#include "NewDatabase.h"
#include "ORQBasFailure.h"
#include "ORQObjElementClass.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjSectionBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimCompartment.h"
#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvElementConnectivity.h"
#include "ORQSrvEltClassificationBuilder.h"
#include "ORQSrvInverseConnectivity.h"
#include "ORQSrvSetMapperFactory.h"
#include "ORQSrvSurfaceNodalAreas.h"
#include "SoundAtEnd.h"

namespace {

class MeshServices : public testing::Test {
  protected:
    ORQSimCSetID Nodes(const std::vector<int>& members) const {
        return Set(ORQObjMesh(builder.Mesh()).GetNodeCollection(), members);
    }
    ORQSimCSetID Elements(const std::vector<int>& members) const {
        return Set(ORQObjMesh(builder.Mesh()).GetElementCollection(), members);
    }
    static ORQSimCSetID Set(const ORQSimPosition& collection, const std::vector<int>& members) {
        return ORQSimCollection(collection.GetCollection())
            .CreateTempOrderedCSet(members.data(), static_cast<int>(members.size()));
    }
    static std::vector<int> Members(const ORQSimCSet& set) {
        std::vector<int> members(static_cast<std::size_t>(set.Size()));
        set.OrderedMembers(members.data());
        return members;
    }
    ORQSimDynamicID Kind(const char* name) const { return builder.AddElementSpec(name).ID(); }
    int NumDrawers() const {
        return ORQSimDistribution(builder.Connectivity().DSet().GetRelationalDistributionID())
            .NumDrawers();
    }
    void Append(const char* kind, int nColumns, const std::vector<int>& elements,
                const std::vector<int>& nodes) {
        EXPECT_EQ(connectivity.Append(transaction, Kind(kind), Elements(elements),
                                      builder.NodePlaces(nColumns), nodes.data()),
                  std::ssize(nodes) * static_cast<int>(sizeof(int)));
    }
    std::vector<int> ChunksOfConnectivity(int drawer) const {
        ORQSimArray<int> chunks;
        ORQSimDistribution(builder.Connectivity().DSet().GetRelationalDistributionID())
            .QueryDrawers()
            .ConstGet(drawer)
            .ChunkSizes(chunks);
        return {chunks.begin(), chunks.end()};
    }

    ORQSimDatabase database = NewDatabase();
    ORQSimTransaction transaction{database.ContextID()};
    ORQObjModelBuilder builder{database};
    ORQSrvElementConnectivity connectivity{builder.Connectivity(), 2};
    SoundAtEnd sound{database};
};

// --- Connectivity --------------------------------------------------------------------------------

TEST_F(MeshServices, ConnectivityKeepsADrawerForEachKindAndExtendsIt) {
    builder.AddNodes(10);
    builder.AddElements(6);
    Append("QUAD4", 4, {0, 1}, {0, 1, 4, 3, 1, 2, 5, 4});
    Append("TRI3", 3, {2}, {6, 7, 8});
    Append("QUAD4", 4, {5, 4, 3}, {9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 9, 8});
    EXPECT_EQ(NumDrawers(), 2);
    EXPECT_EQ(ChunksOfConnectivity(0), (std::vector<int>{2, 4}));
    EXPECT_EQ(ChunksOfConnectivity(1), (std::vector<int>{2, 3}));
    EXPECT_EQ(builder.Connectivity().DSet().GetCtation().Size(), 2);

    std::vector<int> nodes(12, -7);
    const int bytes =
        connectivity.Read(ORQSimCSet(Elements({3, 2, 1})), builder.NodePlaces(4), nodes.data());
    EXPECT_EQ(bytes, 48);
    // The triangle has no fourth node: the buffer keeps what it held.
    EXPECT_EQ(nodes, (std::vector<int>{1, 0, 9, 8, 6, 7, 8, -7, 1, 2, 5, 4}));
}

TEST_F(MeshServices, ConnectivityKnowsNodesThroughItsDataSet) {
    builder.AddNodes(10);
    builder.AddElements(3);
    Append("TRI3", 3, {0, 1}, {0, 1, 2, 7, 8, 9});
    Append("BAR2", 2, {2}, {4, 2});
    const ORQSimDSet some = builder.Connectivity().DSet().Select(ORQSimCSet(Elements({1, 2})));
    const ORQObjMesh mesh(builder.Mesh());
    EXPECT_EQ(Members(some.Collect(mesh.GetNodeCollection().GetCollection())),
              (std::vector<int>{2, 4, 7, 8, 9}));
    EXPECT_EQ(Members(some.Collect(mesh.GetElementCollection().GetCollection())),
              (std::vector<int>{1, 2}));
}

TEST_F(MeshServices, ChunkSizesByKindRefuseAKindWithoutOne) {
    builder.AddNodes(4);
    builder.AddElements(2);
    ORQSimBtree<ORQSimDynamicID, int> sizes;
    sizes.Insert(Kind("QUAD4"), 7, false);
    ORQSrvElementConnectivity byKind(builder.Connectivity(), sizes);
    const std::vector<int> nodes = {0, 1, 2, 3};
    byKind.Append(transaction, Kind("QUAD4"), Elements({0}), builder.NodePlaces(4), nodes.data());
    EXPECT_EQ(ChunksOfConnectivity(0), (std::vector<int>{7, 4}));
    const auto append = [&](ORQSrvElementConnectivity& to) {
        to.Append(transaction, Kind("BAR2"), Elements({1}), builder.NodePlaces(2), nodes.data());
    };
    EXPECT_FATAL(append(byKind), {"m_chunkSize != 0", "ORQSrvElementConnectivity", 52});
    ORQSrvElementConnectivity none;
    EXPECT_FATAL(append(none),
                 {"rdistribution.IsNull() == false", "ORQSrvElementConnectivity", 39});
}

// --- Adjacency -----------------------------------------------------------------------------------

using Entry = std::pair<unsigned, unsigned>;  // element, place

std::map<int, std::vector<Entry>> Decoded(const ORQSrvInverseConnectivity& inverse, int nNodes) {
    std::map<int, std::vector<Entry>> byNode;
    for (int node = 0; node < nNodes; ++node) {
        for (int i = inverse.m_offsets[node]; i < inverse.m_offsets[node + 1]; ++i) {
            byNode[node].emplace_back(inverse.m_entries[i] & 0x1FFFFFF, inverse.m_entries[i] >> 25);
        }
    }
    return byNode;
}

TEST_F(MeshServices, AdjacencyEqualsBruteForceOnRandomMeshes) {
    std::mt19937 random(20261121);
    constexpr int kNodes = 40;
    builder.AddNodes(kNodes);
    builder.AddElements(60);
    // Two drawers; rows are appended out of order, and elements may use a node twice.
    std::vector<int> rows(60);
    std::map<int, std::vector<int>> nodesOf;
    std::vector<int> quads;
    std::vector<int> triangles;
    for (int element = 59; element >= 0; --element) {
        (element % 3 == 0 ? triangles : quads).push_back(element);
    }
    for (const auto& [elements, n, kind] :
         {std::tuple{quads, 4, "QUAD4"}, std::tuple{triangles, 3, "TRI3"}}) {
        std::vector<int> all;
        for (const int element : elements) {
            for (int place = 0; place < n; ++place) {
                nodesOf[element].push_back(static_cast<int>(random() % (kNodes - 5)));
            }
            all.insert(all.end(), nodesOf[element].begin(), nodesOf[element].end());
        }
        Append(kind, n, elements, all);
    }

    const auto expected = [&](auto&& wanted) {
        std::map<int, std::vector<Entry>> byNode;
        for (const bool isTriangle : {false, true}) {  // drawers as they were made
            for (const auto& [element, nodes] : nodesOf) {
                if ((element % 3 == 0) == isTriangle && wanted(element)) {
                    for (unsigned place = 0; place < nodes.size(); ++place) {
                        byNode[nodes[place]].emplace_back(element, place);
                    }
                }
            }
        }
        return byNode;
    };
    ORQSrvInverseConnectivity inverse(builder.Mesh());
    inverse.Invert();
    inverse.Invert();
    EXPECT_EQ(Decoded(inverse, kNodes), expected([](int) { return true; }));
    EXPECT_EQ(inverse.m_total, 40 * 4 + 20 * 3);

    std::vector<int> some;
    for (int element = 0; element < 60; element += 7) {
        some.push_back(element);
    }
    inverse.Invert(Elements(some));
    EXPECT_EQ(Decoded(inverse, kNodes), expected([](int element) { return element % 7 == 0; }));
    inverse.Invert(Elements({}));
    EXPECT_EQ(inverse.m_total, 0);
    EXPECT_EQ(inverse.m_entries, nullptr);
    EXPECT_EXIT(inverse.Invert(Elements({5, 3})), testing::ExitedWithCode(1),
                "elset.IsAscending\\(\\) \\|\\| elset.Size\\(\\) == 0");
}

// A file may hold such values, though no service writes them.
TEST_F(MeshServices, AdjacencyRefusesNodesThatAreNotThere) {
    const ORQSimCSetID nodes = builder.AddNodes(4);
    const ORQSimCSetID elements = builder.AddElements(1);
    ORQSimContext context(database.ContextID());
    for (const int node : {-1, 4, 1 << 30}) {
        const ORQSimPosition mesh = builder.Model().CreateDataRecord(ORQSimSchema::Mesh).Pos();
        const ORQSimDistributionID rows = context.CreateDistribution(
            ORQSimGrid({elements.CollectionID(), builder.NodePlaces(4).CollectionID()}),
            ORQSimRangeType(ORQSimScalarInt), ORQSimTypeID(ORQSimSchema::ConnectivityRows));
        ORQSimTransfer write{ORQSimDistribution(rows)};
        const std::vector<int> values = {0, 1, 2, node};
        write.SetWrite()
            .SetMakeNewDrawer()
            .SetDim(0, elements)
            .SetDim(1, builder.NodePlaces(4))
            .SetBuffer(ORQSimbufMain, values.data(), 16)
            .ExecWrite();
        const ORQSimDSetID dataSet =
            context.CreateDSet(rows, ORQSimTypeID(ORQSimSchema::Connectivity));
        context.UpdateDSet(dataSet, write.DrawerID());
        mesh.SetPosition(ORQSimSchema::Mesh_nodes, ORQSimPosition(nodes.CollectionID()));
        mesh.SetPosition(ORQSimSchema::Mesh_connectivity, ORQSimPosition(dataSet));
        ORQSrvInverseConnectivity inverse(mesh);
        try {
            inverse.Invert();
            ADD_FAILURE() << "node " << node << " is accepted";
        } catch (const ORQBasFailure& failure) {
            EXPECT_EQ(failure.Kind(), ORQBasFailureKind::Damaged);
            EXPECT_NE(failure.Text().find("node " + std::to_string(node) + " of 4"),
                      std::string::npos)
                << failure.Text();
        }
    }
}

// Of a mesh so large that offsets, which are ints, would overflow.
TEST_F(MeshServices, AdjacencyOfTooManyEntriesIsRefusedBeforeAnythingIsRead) {
    const ORQSimCSetID nodes = builder.AddNodes(4);
    constexpr int kElements = 60'000'000;  // in each of five drawers
    ORQSimContext context(database.ContextID());
    const ORQSimDistributionID rows = context.CreateDistribution(
        ORQSimGrid({ORQObjMesh(builder.Mesh()).GetElementCollection().GetCollection(),
                    builder.NodePlaces(8).CollectionID()}),
        ORQSimRangeType(ORQSimScalarInt), ORQSimTypeID(ORQSimSchema::ConnectivityRows));
    const ORQSimDSetID dataSet = context.CreateDSet(rows, ORQSimTypeID(ORQSimSchema::Connectivity));
    for (int drawer = 0; drawer < 5; ++drawer) {
        ORQSimTransfer make{ORQSimDistribution(rows)};
        make.SetWrite()
            .SetMakeNewDrawer()
            .SetDim(0, builder.AddElements(kElements))
            .SetDim(1, builder.NodePlaces(8))
            .ExecMake();
        context.UpdateDSet(dataSet, make.DrawerID());
    }
    const ORQSimPosition mesh = builder.Model().CreateDataRecord(ORQSimSchema::Mesh).Pos();
    mesh.SetPosition(ORQSimSchema::Mesh_nodes, ORQSimPosition(nodes.CollectionID()));
    mesh.SetPosition(ORQSimSchema::Mesh_connectivity, ORQSimPosition(dataSet));
    ORQSrvInverseConnectivity inverse(mesh);
    try {
        inverse.Invert();
        ADD_FAILURE() << "2,400,000,000 entries are counted in an int";
    } catch (const ORQBasFailure& failure) {
        EXPECT_EQ(failure.Kind(), ORQBasFailureKind::Usage);
        EXPECT_NE(failure.Text().find("2400000000 entries"), std::string::npos) << failure.Text();
    }
    inverse.Invert(Elements({7, 1'000'000}));  // never written: node 0
    EXPECT_EQ(inverse.m_total, 16);
    EXPECT_EQ(inverse.m_offsets[1], 16);
}

TEST_F(MeshServices, AMeshWithoutElementsHasEmptyAdjacency) {
    builder.AddNodes(3);
    ORQSrvInverseConnectivity inverse(builder.Mesh());
    inverse.Invert();
    EXPECT_EQ(std::vector<int>(inverse.m_offsets, inverse.m_offsets + 4), std::vector<int>(4, 0));
    EXPECT_EQ(inverse.m_entries, nullptr);
}

// --- Surface areas -------------------------------------------------------------------------------

TEST_F(MeshServices, SurfaceAreasAreWrittenSparselyAndFloored) {
    builder.AddNodes(20);
    for (const char* name : {"A", "B", "C"}) {
        builder.AddSurface(name, 1, {});
    }
    auto& areas = omi_Singleton<ORQSrvSurfaceNodalAreas>::Instance();
    areas.WriteSurfaceNodalAreas(builder.Model());
    EXPECT_TRUE(ORQObjMesh(builder.Mesh()).GetSurfaceNodalAreas().IsNull());

    ORQBasMap<int, double> first;
    first.InsertUnique(7, 0.5);
    first.InsertUnique(3, 0.0);
    first.InsertUnique(9, 1.0e-8);
    first.InsertUnique(10, 0.999e-8);
    ORQBasMap<int, double> second;
    second.InsertUnique(7, -3.0);
    second.InsertUnique(12, 2.0);
    ORQBasMap<int, double> none;
    int surface = 2;
    areas.AppendSurfaceIdNodeArea(surface, second);
    areas.AppendSurfaceIdNodeArea(surface = 0, first);
    areas.AppendSurfaceIdNodeArea(surface = 1, none);
    areas.WriteSurfaceNodalAreas(builder.Model());

    const ORQSimPosition written = ORQObjMesh(builder.Mesh()).GetSurfaceNodalAreas();
    const ORQSimDistribution distribution(written.GetDistribution());
    areas.WriteSurfaceNodalAreas(builder.Model());  // nothing is left to write
    EXPECT_EQ(ORQObjMesh(builder.Mesh()).GetSurfaceNodalAreas(), written);
    ASSERT_EQ(distribution.NumDrawers(), 1);
    const ORQSimDrawerDescription drawer = distribution.QueryDrawers().ConstGet(0);
    EXPECT_EQ(Members(drawer.CSet(0)), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(Members(drawer.CSet(1)), (std::vector<int>{3, 7, 9, 10, 12}));
    EXPECT_EQ(drawer.DataSizeItems(), 6);
    EXPECT_EQ(drawer.Layout(), ORQSimDrawerLayout::Sparse);
    std::vector<double> cells(15, -1.0);
    ORQSimTransfer(distribution)
        .SetRead()
        .SetDim(0, drawer.CSet(0))
        .SetDim(1, drawer.CSet(1))
        .SetBuffer(ORQSimbufMain, cells.data(), 120)
        .ExecRead();
    EXPECT_EQ(cells, (std::vector<double>{1.0e-7, 0.5, 1.0e-8, 1.0e-7, -1,  //
                                          -1, -1, -1, -1, -1,               //
                                          -1, 1.0e-7, -1, -1, 2.0}));
    omi_SingletonBase<ORQSrvSurfaceNodalAreas>::Finalize();
}

TEST_F(MeshServices, AFailedWriteOfSurfaceAreasKeepsWhatWasCollected) {
    builder.AddNodes(2);
    auto& areas = omi_Singleton<ORQSrvSurfaceNodalAreas>::Instance();
    ORQBasMap<int, double> outside;
    outside.InsertUnique(5, 1.0);
    int surface = 0;
    areas.AppendSurfaceIdNodeArea(surface, outside);
    EXPECT_THROW(areas.WriteSurfaceNodalAreas(builder.Model()), ORQBasFailure);
    EXPECT_TRUE(ORQObjMesh(builder.Mesh()).GetSurfaceNodalAreas().IsNull());
    builder.AddNodes(10);
    builder.AddSurface("S", 1, {});
    areas.WriteSurfaceNodalAreas(builder.Model());
    EXPECT_FALSE(ORQObjMesh(builder.Mesh()).GetSurfaceNodalAreas().IsNull());
    omi_SingletonBase<ORQSrvSurfaceNodalAreas>::Finalize();
}

// The operations are called through these types by hosts that were built long ago.
static_assert(std::is_same_v<decltype(&ORQSrvSurfaceNodalAreas::AppendSurfaceIdNodeArea),
                             void (ORQSrvSurfaceNodalAreas::*)(int&, ORQBasMap<int, double>&)>);
static_assert(std::is_same_v<decltype(&ORQSrvSurfaceNodalAreas::WriteSurfaceNodalAreas),
                             void (ORQSrvSurfaceNodalAreas::*)(ORQSimPosition)>);

// --- Classes -------------------------------------------------------------------------------------

TEST_F(MeshServices, ClassesUniteTheElementsOfASpec) {
    builder.AddElements(20);
    const ORQSimPosition hex = builder.AddElementSpec("HEX8");
    builder.AddElementSpec("UNUSED");
    const ORQSimPosition bar = builder.AddElementSpec("BAR2");
    const ORQSrvEltClassificationBuilder classes(database.Focus());
    EXPECT_TRUE(classes.BuildEltClassification(ORQSrvEltClassificationType::Shape).IsNull());

    builder.AssignElementSpecs(
        {{bar, Elements({0, 1, 2})}, {hex, Elements({5, 6})}, {bar, Elements({9, 19})}});
    const ORQSimPosition classification =
        classes.BuildEltClassification(ORQSrvEltClassificationType::Shape);
    EXPECT_EQ(ORQObjMesh(builder.Mesh()).GetElementClassification(), classification);
    const ORQSimDSet membership =
        classification.GetPosition(ORQSimSchema::ElementClassification_dataSet).DSet();
    const ORQSimCtation ctation = membership.GetCtation();
    ASSERT_EQ(ctation.Size(), 3);  // by spec, the unused one empty
    EXPECT_EQ(ctation.Compartment(1).Size(), 0);
    EXPECT_FALSE(membership.IsEmpty());

    std::map<std::string, std::vector<int>> elementsOf;
    const ORQSimSet found = classification.GetSet(ORQSimSchema::ElementClassification_classes);
    for (auto i = found.Begin(); i.NotDone(); ++i) {
        elementsOf[(*i).Name().UTF8()] = Members(ORQObjElementClass(*i).GetElementCSet());
    }
    EXPECT_EQ(elementsOf, (std::map<std::string, std::vector<int>>{{"BAR2", {0, 1, 2, 9, 19}},
                                                                   {"HEX8", {5, 6}}}));
    EXPECT_EXIT(classes.BuildEltClassification(static_cast<ORQSrvEltClassificationType>(1)),
                testing::ExitedWithCode(1), "Element Classification elaboration not yet");
}

TEST_F(MeshServices, AnAssignmentThatNamesElementsFirstIsRefused) {
    builder.AddElements(2);
    builder.AddElementSpec("HEX8");
    const ORQSimCSetID specs = Set(builder.Document().GetElementSpecCollection(), {0});
    builder.Mesh().SetPosition(
        ORQSimSchema::Mesh_elementSpecAssignment,
        builder.Mesh().CreateTypedDSet(
            ORQSimCtation(std::vector{ORQSimCompartment(std::vector{Elements({0}), specs})}),
            ORQSimSchema::ElementSpecAssignment));
    EXPECT_EXIT(ORQSrvEltClassificationBuilder(database.Focus())
                    .BuildEltClassification(ORQSrvEltClassificationType::Shape),
                testing::ExitedWithCode(1), "eltColIndex != -1 && eltSpecColIndex != 1");
}

TEST_F(MeshServices, WithoutSpecsNothingIsBuiltAndNothingIsChanged) {
    builder.AddElements(4);
    const ORQObjSectionBuilder sections(builder.Document());
    const ORQSimPosition hex = builder.AddElementSpec("HEX8");
    builder.AssignElementSpecs({{hex, Elements({0, 1})}});
    const ORQSrvEltClassificationBuilder classes(database.Focus());
    const ORQSimPosition built = classes.BuildEltClassification(ORQSrvEltClassificationType::Shape);
    const ORQSimPosition elementClass =
        (*built.GetSet(ORQSimSchema::ElementClassification_classes).Begin());
    const ORQSimSet linked = elementClass.GetSet(ORQSimSchema::ElementClass_sections);
    sections.AddSectionAssignment(builder.AddElementSet("E", 1, Elements({0})),
                                  sections.AddShellSection("S", 1, 0));
    sections.AddSectionAssignment(builder.AddElementSet("F", 2, Elements({1})), {});
    builder.Mesh().SetPosition(ORQSimSchema::Mesh_elementSpecAssignment, {});
    EXPECT_TRUE(classes.BuildEltClassification(ORQSrvEltClassificationType::Shape).IsNull());
    EXPECT_EQ(ORQObjMesh(builder.Mesh()).GetElementClassification(), built);
    EXPECT_EQ(linked.Size(), 0);

    // An assignment without a section takes no part.
    builder.AssignElementSpecs({{hex, Elements({0, 1})}});
    const ORQSimPosition again = classes.BuildEltClassification(ORQSrvEltClassificationType::Shape);
    EXPECT_EQ((*again.GetSet(ORQSimSchema::ElementClassification_classes).Begin())
                  .GetSet(ORQSimSchema::ElementClass_sections)
                  .Size(),
              1);
}

TEST_F(MeshServices, ASpecThatIsNoMemberIsReported) {
    builder.AddElements(2);
    const ORQSimPosition hex = builder.AddElementSpec("HEX8");
    builder.AssignElementSpecs({{hex, Elements({0})}});
    for (const ORQSimPosition& definition : {ORQSimPosition(), builder.Model()}) {
        hex.SetPosition(ORQSimSchema::ElementSpec_definition, definition);
        EXPECT_EXIT(ORQSrvEltClassificationBuilder(database.Focus())
                        .BuildEltClassification(ORQSrvEltClassificationType::Shape),
                    testing::ExitedWithCode(1), "CMembers.Size\\(\\) == 1");
    }
}

// --- Mappers -------------------------------------------------------------------------------------

TEST_F(MeshServices, ANodeMapperLeadsFromItsSourceToItsTarget) {
    builder.AddNodes(10);
    builder.AddElements(3);
    using Factory = ORQSrvSetMapperFactory;
    EXPECT_TRUE(Factory::GetPermutationNodes(database.Focus()).IsNull());
    EXPECT_EQ(Factory::NodeMapper(database.Focus())->Map(0), -1);

    Factory::PersistMapper(Nodes({0, 1, 2}), Nodes({5, 6, 7}));
    Factory::PersistMapper(Nodes({4, 2}), Nodes({9, 0, 1}));  // replaces; sizes may differ
    Factory::PersistMapper(Elements({2, 0}), Elements({0, 1}));
    const auto mapper = Factory::NodeMapper(database.Focus());
    EXPECT_EQ(mapper->Map(4), 9);
    EXPECT_EQ(mapper->Map(2), 0);
    EXPECT_EQ(mapper->Map(9), -1);
    EXPECT_EQ(mapper->MapBack(1), -1);
    EXPECT_EQ(Members(Factory::GetPermutationNodes(database.Focus())), (std::vector<int>{4, 2}));
    EXPECT_EQ(Members(Factory::GetPermutationElements(database.Focus())), (std::vector<int>{2, 0}));
    const ORQSimCSetID regions = Set(builder.Model().GetPosition(ORQSimSchema::Model_regions), {});
    EXPECT_EXIT(Factory::PersistMapper(regions, regions), testing::ExitedWithCode(1),
                "Assertion failed: 0\n$");
}

// What other programs find under the model.
TEST_F(MeshServices, AMapperIsStoredByItsKindSourceAndTarget) {
    builder.AddNodes(3);
    builder.AddElements(3);
    const ORQSimPosition others =
        database.Focus().CreateTypedCollection(ORQSimSchema::MapperCollection_other, 3);
    const std::tuple<int, ORQSimCSetID, ORQSimCSetID> kinds[] = {
        {82, Nodes({0, 1}), Nodes({2})},
        {66, Elements({0}), Elements({2, 1})},
        {64, Set(others, {2}), Set(others, {1, 0})}};
    for (const auto& [kind, source, target] : kinds) {
        ORQSrvSetMapperFactory::PersistMapper(source, target);
        const ORQSimPosition record =
            builder.Model().GetPosition(ads_CoreFragmentTypeIndex(28, kind));
        EXPECT_TRUE(record.IsA(ads_CoreFragmentTypeIndex(19, 0))) << kind;
        EXPECT_EQ(Members(record.GetPosition(ads_CoreFragmentTypeIndex(19, 1)).CSet()),
                  Members(ORQSimCSet(target)));
        EXPECT_EQ(Members(record.GetPosition(ads_CoreFragmentTypeIndex(19, 2)).CSet()),
                  Members(ORQSimCSet(source)));
    }
}

TEST_F(MeshServices, AMapperOfNothingIsRefusedBeforeAnythingIsStored) {
    builder.AddNodes(3);
    const ORQSimPosition set = Nodes({0});
    const ORQSimPosition last = database.Focus().CreateDataRecord(1).Pos();
    for (const auto& [source, target] : {std::pair(set, ORQSimPosition()), {{}, set}, {{}, {}}}) {
        EXPECT_THROW(ORQSrvSetMapperFactory::PersistMapper(source, target), ORQBasFailure);
    }
    EXPECT_TRUE(builder.Model().GetPosition(ads_CoreFragmentTypeIndex(28, 82)).IsNull());
    // No record was made: the next one follows the last.
    EXPECT_EQ(database.Focus().CreateDataRecord(1).Pos().ID().MinorID(), last.ID().MinorID() + 1);
}

TEST_F(MeshServices, ActiveMembersAreThoseOfTheMesh) {
    builder.AddNodes(5);
    builder.Mesh().SetPosition(ORQSimSchema::Mesh_activeNodes, Nodes({1, 3}));
    EXPECT_EQ(Members(ORQSrvSetMapperFactory::GetActiveNodalOrdinals(builder.Model())),
              (std::vector<int>{1, 3}));
    EXPECT_TRUE(ORQSrvSetMapperFactory::GetActiveElementOrdinals(builder.Model()).IsNull());
}

}  // namespace
