// Analytical surfaces, rigid bodies, output regions, and what steps know beside their times.
#include <array>

#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjRegionBuilder.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimDSet.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "Vocabulary.h"

namespace {

using namespace ORQSimSchema;

class RegionTest : public testing::Test {
  protected:
    Doubles ValuesOf(const ORQSimPosition& distribution) const {
        const ORQSimDistribution values(distribution.GetDistribution());
        Doubles read(static_cast<std::size_t>(values.QueryDrawers().ConstGet(0).DataSizeItems()));
        ORQSimTransfer transfer(values);
        transfer.SetRead();
        for (int i = 0; i < values.NumDimensions(); ++i) {
            transfer.SetDim(i, values.QueryDrawers().ConstGet(0).CSet(i));
        }
        transfer
            .SetBuffer(ORQSimbufMain, read.data(),
                       static_cast<std::int64_t>(read.size() * sizeof(double)))
            .ExecRead();
        return read;
    }

    ORQSimDatabase m_database = ORQSimDatabase::CreateInMemory();
    ORQSimTransaction m_transaction{m_database.ContextID()};
    ORQObjModelBuilder m_model{m_database};
    ORQObjRegionBuilder m_regions{m_model.Document()};
};

}  // namespace

TEST_F(RegionTest, ASurfaceHasAMeshOfItsOwn) {
    const ORQSimPosition plate =
        m_regions.AddAnalyticalSurface("PLATE", 5, AnalyticalSurface_Segments);
    const std::array points = {0.0, 0.0, 0.0, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
    EXPECT_TRUE(Fails(ORQBasFailureKind::Usage, {"node 3", "3 nodes"}, [&] {
        m_regions.SetSurfaceMesh(plate, points, std::array{0, 3}, 2);
    }));
    EXPECT_TRUE(Fails(ORQBasFailureKind::Usage, {"9", "rows of 2"},
                      [&] { m_regions.SetSurfaceMesh(plate, points, Ints(9), 2); }));
    EXPECT_TRUE(plate.GetPosition(AnalyticalSurface_mesh).IsNull());

    const ORQObjMesh mesh(m_regions.SetSurfaceMesh(plate, points, std::array{0, 1, 1, 2}, 2));
    EXPECT_EQ(ValuesOf(mesh.GetCoordinates()), Doubles(points.begin(), points.end()));
    EXPECT_EQ(
        mesh.GetConnectivity().DSet().Collect(mesh.GetNodeCollection().GetCollection()).Size(), 3);
    EXPECT_EQ(
        mesh.GetConnectivity().DSet().Collect(mesh.GetElementCollection().GetCollection()).Size(),
        2);
    EXPECT_TRUE(Fails(ORQBasFailureKind::Usage, {"PLATE"},
                      [&] { m_regions.AddAnalyticalSurface("PLATE", 6, AnalyticalSurface); }));
}

TEST_F(RegionTest, EachRigidBodyHasItsReferenceNode) {
    m_model.AddNodes(9);
    const ORQSimPosition plate = m_regions.AddAnalyticalSurface("PLATE", 5, AnalyticalSurface);
    for (const int node : {7, 2}) {
        m_regions.AddRigidBody("BODY", node, plate);
    }
    const ORQSimCollection bodies(m_model.Mesh().GetPosition(Mesh_rigidBodies).GetCollection());
    const ORQSimCollectionID nodes = ORQObjMesh(m_model.Mesh()).GetNodeCollection().GetCollection();
    for (const auto& [body, node] : {std::pair{0, 7}, {1, 2}}) {
        const ORQSimCSet found = m_model.Mesh()
                                     .GetPosition(Mesh_rigidBodyReferenceNode)
                                     .DSet()
                                     .Select(bodies.CreateVolatileCSet(&body, 1, true))
                                     .Collect(nodes);
        ASSERT_EQ(found.Size(), 1);
        EXPECT_EQ(found[0], node);
    }
    EXPECT_EQ(plate.ReferrersSet(Constraint_RigidBody_analyticSurface).Size(), 2);
    for (const int node : {-1, 9}) {
        EXPECT_TRUE(Fails(ORQBasFailureKind::Usage, {std::to_string(node)},
                          [&] { m_regions.AddRigidBody("BODY", node, plate); }));
    }
    EXPECT_EQ(bodies.Space(), 2);
}

TEST_F(RegionTest, OutputRegionsCountOnce) {
    const ORQSimPosition a = m_regions.AddAnalyticalSurface("A", 1, AnalyticalSurface);
    const ORQSimPosition b = m_regions.AddAnalyticalSurface("B", 2, AnalyticalSurface);
    for (const ORQSimPosition& region : {b, a, b}) {
        m_regions.AddOutputRegion(region);
    }
    const ORQSimDSet regions =
        m_model.Document().Focus().GetPosition(Focus_output).GetPosition(Output_regions).DSet();
    EXPECT_EQ(regions.GetCtation().Size(), 2);
    EXPECT_EQ(regions.Collect(m_model.Model().GetPosition(Model_regions).GetCollection()).Size(),
              2);
    EXPECT_TRUE(Fails(ORQBasFailureKind::Usage, {"no region"},
                      [&] { m_regions.AddOutputRegion(m_model.Model()); }));
}

TEST_F(RegionTest, StepsKeepModesFrequenciesAndArcLengths) {
    const ORQObjStepBuilder steps(m_model.Document());
    const ORQSimPosition step = steps.AddStep("S", Step_Gen_StaticRiks);
    const Doubles eigenvalues = {1.5, 2.5};
    const Doubles frequencies = {10, 20, 30};
    const Doubles arcLengths = {0.25};
    steps.SetModes(step, eigenvalues);
    steps.SetFrequencies(step, frequencies);
    steps.SetArcLengths(step, arcLengths);
    steps.SetTimeIncrementation(step, 0.1, 2.0);

    const auto described = [&](int setSlot, int collectionSlot, int distributionSlot) {
        return ValuesOf(ORQSimPosition(step.GetPosition(setSlot).CSet().CollectionID())
                            .Parent(collectionSlot)
                            .GetPosition(distributionSlot));
    };
    EXPECT_EQ(step.GetPosition(Task_modes).CSet().Size(), 2);
    EXPECT_EQ(ValuesOf(step.GetPosition(Task_feSystem).GetPosition(ModalSystem_eigenvalues)),
              eigenvalues);
    EXPECT_EQ(described(Step_frequencies, FrequencyDescription_collection,
                        FrequencyDescription_distribution),
              frequencies);
    EXPECT_EQ(described(Step_Riks_arcLengths, ArcLengthDescription_collection,
                        ArcLengthDescription_distribution),
              arcLengths);
    EXPECT_EQ(step.GetPosition(Step_Gen_timeIncrementation).DataRecord().GetDouble(1), 2.0);
}
