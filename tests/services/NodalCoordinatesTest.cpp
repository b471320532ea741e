#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSrvNodalCoordinates.h"
#include "Vocabulary.h"

namespace {

constexpr int kChunk = 4;

class NodalCoordinatesTest : public DatabaseTest {
  protected:
    void SetUp() override {
        InTransaction(Database(), [&] { ORQObjModelBuilder(Database()).AddNodes(20); });
    }
    void TearDown() override { EXPECT_EQ(Database().Verify(), Texts()); }

    ORQSimPosition Coordinates() const {
        return ORQObjMesh(ORQObjDocument(Database()).GetMesh()).GetCoordinates();
    }
    ORQSimCollection MeshNodes() const {
        return ORQSimCollection(
            ORQObjMesh(ORQObjDocument(Database()).GetMesh()).GetNodeCollection().GetCollection());
    }
    ORQSimCollection Directions() const {
        return ORQSimCollection(
            ORQObjDocument(Database()).GetComponentCollection().GetCollection());
    }
    ORQSrvNodalCoordinates Service() const { return {Coordinates(), kChunk}; }
    ORQSimCSet NodeSet(const Ints& nodes) const { return SetOf(MeshNodes(), nodes); }
    ORQSimCSet DirectionSet(const Ints& members) const { return SetOf(Directions(), members); }

    int Append(const Ints& nodes, const Ints& directions, const Doubles& values) const {
        ORQSimTransaction transaction(Database().ContextID());
        const int bytes =
            Service().Append(transaction, NodeSet(nodes).RegisterWithTempCollection(),
                             DirectionSet(directions).RegisterWithTempCollection(), values.data());
        transaction.Commit();
        return bytes;
    }
    Doubles Read(const Ints& nodes, const Ints& directions) const {
        Doubles values(nodes.size() * directions.size(), kUntouched);
        EXPECT_EQ(static_cast<std::size_t>(
                      Service().Read(NodeSet(nodes), DirectionSet(directions), values.data())),
                  values.size() * sizeof(double));
        return values;
    }
};

using NodalCoordinatesDeathTest = NodalCoordinatesTest;

}  // namespace

ON_BOTH_MEDIA(NodalCoordinatesTest);
INSTANTIATE_TEST_SUITE_P(InMemory, NodalCoordinatesDeathTest, testing::Values(false));

TEST_P(NodalCoordinatesTest, TheFirstAppendMakesTheDrawerAndLaterOnesExtendIt) {
    EXPECT_EQ(Append({7, 3}, {1, 2}, {70, 71, 30, 31}), 32);
    EXPECT_EQ(Append({12, 0, 3}, {1, 2}, {120, 121, 0, 1, 33, 34}), 48);
    m_store.Reopen();
    const auto drawers = ORQSimDistribution(Coordinates().GetDistribution()).QueryDrawers();
    ASSERT_EQ(drawers.Size(), 1);
    ORQSimArray<int> chunks;
    drawers.ConstGet(0).ChunkSizes(chunks);
    EXPECT_EQ(Ints(chunks.begin(), chunks.end()), (Ints{kChunk, 2}));
    EXPECT_EQ(drawers.ConstGet(0).ExtendableDim(), 0);
    EXPECT_EQ(OrderedMembers(Service().Nodes()), (Ints{0, 3, 7, 12}));
    EXPECT_EQ(OrderedMembers(Service().Components()), (Ints{1, 2}));
    EXPECT_EQ(Service().NumberNodes(), 4);
    EXPECT_EQ(Service().NumberComponents(), 2);
    EXPECT_EQ(Read({3, 12, 7}, {2, 1}), (Doubles{34, 33, 121, 120, 71, 70}));
}

TEST_P(NodalCoordinatesTest, WhatIsNotStoredReadsAsZero) {
    Append({2, 4}, {1, 2}, {1, 2, 3, 4});
    EXPECT_EQ(Read({5, 4, 1}, {1, 3, 2}), (Doubles{0, 0, 0, 3, 0, 4, 0, 0, 0}));
    EXPECT_EQ(Read({}, {1, 2}), Doubles());
    EXPECT_EQ(Read({2}, {}), Doubles());
}

TEST_P(NodalCoordinatesTest, CellsThatASparseDrawerLacksReadAsZero) {
    InTransaction(Database(), [&] {
        const Doubles values = {20.5, 41.5};
        const Ints indices = {0, 1};
        const Ints map = {0, 1, 2};
        ORQSimTransfer(ORQSimDistribution(Coordinates().GetDistribution()))
            .SetWrite()
            .SetMakeNewDrawer()
            .SetSerialization(ORQSimSerializationType().SetSparse())
            .SetSparseNNonzero(2)
            .SetDim(0, NodeSet({2, 4}))
            .SetDim(1, DirectionSet({1, 2}))
            .SetBuffer(ORQSimbufMain, values.data(), 16)
            .SetBuffer(ORQSimbufIndicesNZ, indices.data(), 8)
            .SetBuffer(ORQSimbufSparseMap, map.data(), 12)
            .ExecWrite();
    });
    EXPECT_EQ(Read({2, 4}, {1, 2}), (Doubles{20.5, 0, 0, 41.5}));
}

TEST_P(NodalCoordinatesTest, WithoutADrawerAllReadsAsZero) {
    EXPECT_EQ(Read({5, 4}, {1, 3}), Filled(4, 0));
}

TEST_P(NodalCoordinatesTest, OneComponentIsAcceptedOnceADrawerExists) {
    Append({2, 4}, {1, 2, 3}, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(Append({4, 9}, {2}, {-5, -9}), 16);
    EXPECT_EQ(Read({2, 4, 9}, {1, 2, 3}), (Doubles{1, 2, 3, 4, -5, 6, 0, -9, 0}));
}

TEST_P(NodalCoordinatesTest, WhatTheMeshOrTheDrawerLacksIsRefused) {
    Append({2, 4}, {1, 2}, {1, 2, 3, 4});
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 0", "member 20"}, [&] { Read({19, 20}, {1}); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 1", "member 3"}, [&] { Append({2}, {3}, {1}); }));
    EXPECT_EQ(Read({2, 4}, {1, 2}), (Doubles{1, 2, 3, 4}));
    EXPECT_TRUE(Fails(Failure::Usage, {"chunk size 0"}, [&] {
        Store other(false);
        ORQSimTransaction transaction(other->ContextID());
        const ORQObjModelBuilder builder(*other);
        const double values[2] = {};
        ORQSrvNodalCoordinates(builder.Coordinates(), 0)
            .Append(transaction, builder.AddNodes(1), builder.SpatialDirections(2), values);
    }));
}

TEST_P(NodalCoordinatesTest, AnAppendThatIsNotCommittedIsUndone) {
    Append({2}, {1, 2}, {1, 2});
    const double values[] = {9, 9, 9, 9};
    {
        ORQSimTransaction transaction(Database().ContextID());
        Service().Append(transaction, NodeSet({2, 3}).RegisterWithTempCollection(),
                         DirectionSet({1, 2}).RegisterWithTempCollection(), values);
        EXPECT_EQ(Read({2, 3}, {1, 2}), Filled(4, 9));
    }
    EXPECT_EQ(Read({2, 3}, {1, 2}), (Doubles{1, 2, 0, 0}));
    EXPECT_EQ(Service().NumberNodes(), 1);
}

TEST_P(NodalCoordinatesDeathTest, WithoutADistributionEveryOperationEndsTheProcess) {
    ORQSrvNodalCoordinates none;
    const std::string text = "m_distributionID.IsNull\\(\\) == false";
    const auto exitsWithOne = testing::ExitedWithCode(1);
    EXPECT_EXIT(none.Nodes(), exitsWithOne, text);
    EXPECT_EXIT(none.Components(), exitsWithOne, text);
    EXPECT_EXIT(none.NumberNodes(), exitsWithOne, text);
    EXPECT_EXIT(none.NumberComponents(), exitsWithOne, text);
    double value = 0;
    EXPECT_EXIT(none.Read({}, {}, &value), exitsWithOne, text);
    ORQSimTransaction transaction(Database().ContextID());
    EXPECT_EXIT(none.Append(transaction, {}, {}, &value), exitsWithOne, text);
}

TEST_P(NodalCoordinatesDeathTest, AFirstAppendOfOneComponentEndsTheProcess) {
    EXPECT_EXIT(Append({1, 2}, {1}, {1, 2}), testing::ExitedWithCode(1), "chunks\\[1\\] > 1");
}

TEST_P(NodalCoordinatesDeathTest, TwoDrawersAreReadTogetherButNotAppendedTo) {
    Append({2, 4}, {1, 2}, {1, 2, 3, 4});
    InTransaction(Database(), [&] {
        MakeDrawer(ORQSimDistribution(Coordinates().GetDistribution()), NodeSet({9, 3}),
                   DirectionSet({2, 3}), 4);
    });
    EXPECT_EQ(OrderedMembers(Service().Nodes()), (Ints{2, 3, 4, 9}));
    EXPECT_EQ(OrderedMembers(Service().Components()), (Ints{1, 2, 3}));
    EXPECT_EQ(Read({4, 9}, {1, 2}), (Doubles{3, 4, 0, 0}));
    EXPECT_EXIT(Append({1, 2}, {1}, {1, 2}), testing::ExitedWithCode(1), "numDrawers < 2");
}

TEST_P(NodalCoordinatesDeathTest, ADrawerOverOtherNodesEndsTheProcess) {
    InTransaction(Database(), [&] {
        const ORQSimPosition others = Focus().CreateTypedCollection(Slot(1), 5);
        const ORQSimPosition made =
            Focus().CreateTypedDistribution(ORQSimGrid({others.GetCollection(), Directions().ID()}),
                                            Slot(3), ORQSimRangeType(ORQSimScalarDouble));
        Focus().SetPosition(Slot(3), made);
        MakeDrawer(ORQSimDistribution(made.GetDistribution()),
                   RunOf(ORQSimCollection(others.GetCollection()), 0, 2), DirectionSet({1, 2}), 4);
    });
    EXPECT_EXIT(ORQSrvNodalCoordinates(At(Database(), 3), kChunk).Nodes(),
                testing::ExitedWithCode(1), "pos >= 0");
}
