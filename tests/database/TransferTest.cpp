// Transfers: what they refuse, sparse drawers, conversions, and chunks of many checksum blocks.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "Vocabulary.h"

namespace {

class TransferTest : public DatabaseTest {
  protected:
    void SetUp() override {
        MakeModel(Database(), 20);
        m_transaction.emplace(Database().ContextID());
    }
    ORQSimDistribution TheField() const { return Field(Database()); }
    /// A new one by nodes and components, whose values are members of a collection.
    ORQSimDistribution ReferencesTo(const ORQSimCollection& nodes, int scalar) {
        return ORQSimDistribution(
            Focus()
                .CreateTypedDistribution(ORQSimGrid({nodes.ID(), Components(Database()).ID()}),
                                         Slot(40), ORQSimRangeType(scalar, nodes.ID()))
                .GetDistribution());
    }
    ORQSimCSet NodeSet(const Ints& members) const { return SetOf(Nodes(Database()), members); }
    ORQSimCSet ComponentSet(const Ints& members) const {
        return SetOf(Components(Database()), members);
    }
    // A chunked drawer over nodes 2, 3, 4 and components 0, 1 that extends along the nodes.
    ORQSimDrawerID Small() {
        return MakeDrawer(TheField(), NodeSet({2, 3, 4}), ComponentSet({0, 1}), 2);
    }
    ORQSimTransfer& Write(ORQSimTransfer& transfer, const ORQSimDrawerID& drawer, const Ints& nodes,
                          const Ints& components) const {
        return transfer.SetWrite()
            .SetDrawer(drawer)
            .SetDim(0, NodeSet(nodes))
            .SetDim(1, ComponentSet(components));
    }

    std::optional<ORQSimTransaction> m_transaction;
};

// A sparse drawer over nodes 5, 7, 9 and components 1, 3, 4, 6 with the cells
//   (5, 3) 53   (7, -) none   (9, 1) 91   (9, 6) 96
class SparseTest : public TransferTest {
  protected:
    struct Sparse {
        Doubles values;
        std::vector<std::int32_t> columns;
        std::vector<std::int32_t> map;
    };

    void Make(const Sparse& cells) {
        ORQSimTransfer make(TheField());
        make.SetWrite()
            .SetMakeNewDrawer()
            .SetSerialization(ORQSimSerializationType().SetSparse())
            .SetSparseNNonzero(static_cast<int>(cells.columns.size()))
            .SetDim(0, NodeSet({5, 7, 9}))
            .SetDim(1, ComponentSet({1, 3, 4, 6}));
        make.SetBuffer(ORQSimbufMain, cells.values.data(), make.RequiredBufferSize(ORQSimbufMain));
        make.SetBuffer(ORQSimbufIndicesNZ, cells.columns.data(),
                       make.RequiredBufferSize(ORQSimbufIndicesNZ));
        make.SetBuffer(ORQSimbufSparseMap, cells.map.data(),
                       make.RequiredBufferSize(ORQSimbufSparseMap));
        make.ExecWrite();
    }
    Sparse ReadSparse(const Ints& nodes, const Ints& components) {
        ORQSimTransfer read(TheField());
        read.SetRead()
            .SetSerialization(ORQSimSerializationType().SetSparse())
            .SetDim(0, NodeSet(nodes))
            .SetDim(1, ComponentSet(components));
        const auto nValues =
            static_cast<std::size_t>(read.RequiredBufferSize(ORQSimbufMain)) / sizeof(double);
        Sparse cells{Doubles(nValues), std::vector<std::int32_t>(nValues),
                     std::vector<std::int32_t>(nodes.size() + 1)};
        read.SetBuffer(ORQSimbufMain, cells.values.data(), read.RequiredBufferSize(ORQSimbufMain));
        read.SetBuffer(ORQSimbufIndicesNZ, cells.columns.data(),
                       read.RequiredBufferSize(ORQSimbufIndicesNZ));
        read.SetBuffer(ORQSimbufSparseMap, cells.map.data(),
                       read.RequiredBufferSize(ORQSimbufSparseMap));
        EXPECT_EQ(read.ExecRead().NumItems(), static_cast<std::int64_t>(nValues));
        return cells;
    }

    const Sparse m_cells{{53, 91, 96}, {1, 0, 3}, {0, 1, 1, 3}};
};

}  // namespace

ON_BOTH_MEDIA(TransferTest);
ON_BOTH_MEDIA(SparseTest);

// --- What is refused -----------------------------------------------------------------------------

TEST_P(TransferTest, ViewsThatDoNotFitTheGridAreRefusedByDimensionAndMember) {
    Small();
    const auto check = [&](const ORQSimCSet& nodes, const ORQSimCSet& components) {
        ORQSimTransfer read(TheField());
        read.SetRead().SetDim(0, nodes).SetDim(1, components);
        read.CheckView();
    };
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 0", "member 20", "20 members"}, [&] {
        check(NodeSet({3, 20, 25}), ComponentSet({0}));
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 0", "member -1"}, [&] {
        check(NodeSet({3, -1, 25}), ComponentSet({0}));
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 1", "member 2147483647", "8 members"},
                      [&] { check(NodeSet({3}), ComponentSet({INT_MAX})); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 1", "collection"},
                      [&] { check(NodeSet({3}), NodeSet({1})); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"1 dimensions", "the distribution 2"}, [&] {
        ORQSimTransfer read(TheField());
        read.SetRead().SetDim(1, ComponentSet({0}));
        read.CheckView();
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"3 dimensions", "the distribution 2"}, [&] {
        ORQSimTransfer read(TheField());
        read.SetRead().SetDim(0, NodeSet({})).SetDim(1, ComponentSet({})).SetDim(2, NodeSet({}));
        read.CheckView();
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension -1"},
                      [&] { ORQSimTransfer(TheField()).SetDim(-1, NodeSet({1})); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"null"},
                      [&] { ORQSimTransfer(ORQSimDistribution()).SetRead().CheckView(); }));
}

TEST_P(TransferTest, WritesThatTheDrawerCannotHoldAreRefusedByDimensionAndMember) {
    const ORQSimDrawerID drawer = Small();
    {
        ORQSimTransfer write(TheField());
        EXPECT_TRUE(Fails(Failure::Usage, {"dimension 0", "member 9"}, [&] {
            Write(write, drawer, {4, 9, 8}, {0}).CheckView();
        }));
    }
    {
        ORQSimTransfer write(TheField());
        EXPECT_TRUE(Fails(Failure::Usage, {"dimension 1", "member 5"}, [&] {
            Write(write, drawer, {4, 9}, {1, 5, 0}).SetAutoExtend().CheckView();
        }));
    }
    {
        ORQSimTransfer write(TheField());
        EXPECT_TRUE(Fails(Failure::Usage, {"dimension 0", "member 9"}, [&] {
            Write(write, drawer, {8, 9}, {1})
                .SetDimExtension(NodeSet({8}).RegisterWithTempCollection())
                .CheckView();
        }));
    }
    const ORQSimDrawerID fixed = [&] {
        ORQSimTransfer make(TheField());
        make.SetMakeNewDrawer().SetDim(0, NodeSet({1})).SetDim(1, ComponentSet({1})).ExecMake();
        return make.DrawerID();
    }();
    ORQSimTransfer write(TheField());
    EXPECT_TRUE(Fails(Failure::Usage, {"extendable"}, [&] {
        Write(write, fixed, {1, 2}, {1}).SetAutoExtend().CheckView();
    }));
    EXPECT_EQ(ORQSimDrawer(drawer).Space(), 3);
}

TEST_P(TransferTest, MembersThatDoNotExistCannotExtendADrawer) {
    const ORQSimDrawerID drawer = Small();
    const double value[2] = {1, 2};
    for (const ORQSimCSetID& members : {NodeSet({8, 20}).RegisterWithTempCollection(),
                                        ComponentSet({5}).RegisterWithTempCollection()}) {
        ORQSimTransfer write(TheField());
        EXPECT_TRUE(Fails(Failure::Usage, {"dimension 0"}, [&] {
            Write(write, drawer, {2}, {0, 1})
                .SetDimExtension(members)
                .SetBuffer(ORQSimbufMain, value, sizeof value)
                .ExecWrite();
        }));
    }
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(TransferTest, DrawersThatCannotBeAreNotMade) {
    const auto make = [&](const Ints& sizes, int extendable, const Ints& nodes = {1}) {
        ORQSimArray<int> chunks(static_cast<int>(sizes.size()));
        std::ranges::copy(sizes, chunks.begin());
        ORQSimTransfer transfer(TheField());
        transfer.SetMakeNewDrawerChunked(chunks)
            .SetExtendableDim(extendable)
            .SetDim(0, NodeSet(nodes))
            .SetDim(1, ComponentSet({1}))
            .ExecMake();
    };
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 0", "chunk size 0"}, [&] { make({0, 1}, 0); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 1", "chunk size -3"}, [&] { make({1, -3}, 0); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"3 chunk sizes", "2 dimensions"}, [&] {
        make({1, 1, 1}, 0);
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 2"}, [&] { make({1, 1}, 2); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 0", "member 77"}, [&] {
        make({1, 1}, 0, {77});
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"chunked"}, [&] {
        ORQSimTransfer(TheField())
            .SetMakeNewDrawer()
            .SetExtendableDim(0)
            .SetDim(0, NodeSet({1}))
            .SetDim(1, ComponentSet({1}))
            .ExecMake();
    }));
    EXPECT_EQ(TheField().NumDrawers(), 0);
}

TEST_P(TransferTest, ForeignDrawersMissingAndShortBuffersAreRefused) {
    const ORQSimDrawerID drawer = Small();
    double cells[6] = {};
    ORQSimTransfer read(TheField());
    read.SetRead().SetDim(0, NodeSet({2, 3, 4})).SetDim(1, ComponentSet({0, 1}));
    EXPECT_TRUE(
        Fails(Failure::Usage, {"buffer 0", "48 bytes", "missing"}, [&] { read.ExecRead(); }));
    read.SetBuffer(ORQSimbufMain, cells, 47);
    EXPECT_TRUE(Fails(Failure::Usage, {"47 bytes", "needs 48"}, [&] { read.ExecRead(); }));
    read.SetBuffer(ORQSimbufMain, cells, 48).RelinquishBuffers();
    EXPECT_TRUE(Fails(Failure::Usage, {"missing"}, [&] { read.ExecRead(); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"buffer 3"},
                      [&] { read.SetBuffer(3, static_cast<void*>(cells), 8); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"type 9"}, [&] { read.SetBufferType(9); }));

    const ORQSimDrawerID foreign(drawer.ContextID(), drawer.MinorID(), drawer.TypeID(), 999);
    read.SetDrawer(foreign);
    EXPECT_TRUE(Fails(Failure::Usage, {"drawer"}, [&] { read.CheckView(); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"999"}, [&] { TheField().DrawerDescription(foreign); }));
    ORQSimTransfer write(TheField());
    EXPECT_TRUE(Fails(Failure::Usage, {"not set to write"}, [&] { read.ExecWrite(); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"not set to read"}, [&] { write.ExecRead(); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"drawer"}, [&] { Write(write, {}, {2}, {0}).CheckView(); }));
}

TEST_P(TransferTest, ReferencesToMembersThatDoNotExistAreRefusedByPlace) {
    ORQSimTransaction transaction(Database().ContextID());
    const ORQSimCollection nodes = Nodes(Database());
    const int space = nodes.Space();
    for (const int scalar : {ORQSimScalarInt, ORQSimScalarUint}) {
        const ORQSimDistribution rows = ReferencesTo(nodes, scalar);
        const auto write = [&](int second) {
            const int values[] = {0, -1, space - 1, second};
            ORQSimTransfer(rows)
                .SetWrite()
                .SetMakeNewDrawer()
                .SetDim(0, SetOf(nodes, {4, 7}))
                .SetDim(1, RunOf(Components(Database()), 1, 2))
                .SetBuffer(ORQSimbufMain, values, sizeof values)
                .ExecWrite();
        };
        for (const int wrong : {space, -2, INT_MIN, INT_MAX}) {
            EXPECT_TRUE(Fails(Failure::Usage,
                              {"dimension 0 member 7, dimension 1 member 2",
                               "member " + std::to_string(wrong) + " of a collection of " +
                                   std::to_string(space)},
                              [&] { write(wrong); }));
        }
        EXPECT_EQ(rows.NumDrawers(), 0);
        write(5);
        EXPECT_EQ(rows.NumDrawers(), 1);
    }
    transaction.Commit();
    EXPECT_EQ(Database().Verify(), Texts());
}

// They are compared in blocks of 4096 values.
TEST_P(TransferTest, AWrongReferenceIsFoundWhereverItIsAmongMany) {
    constexpr int kNodes = 5000;
    ORQSimTransaction transaction(Database().ContextID());
    ORQSimCollection(Nodes(Database())).ExtendSpace(kNodes);
    const ORQSimCollection nodes = Nodes(Database());
    for (const int scalar : {ORQSimScalarInt, ORQSimScalarUint}) {
        const ORQSimDistribution rows = ReferencesTo(nodes, scalar);
        Ints values(2 * kNodes, kNodes - 1);
        const auto write = [&] {
            ORQSimTransfer(rows)
                .SetWrite()
                .SetMakeNewDrawer()
                .SetDim(0, RunOf(nodes, 0, kNodes))
                .SetDim(1, RunOf(Components(Database()), 0, 2))
                .SetBuffer(ORQSimbufMain, values.data(), std::ssize(values) * 4)
                .ExecWrite();
        };
        for (const int place : {0, 1, 4095, 4096, 8191, 8192, 2 * kNodes - 1}) {
            const int right = std::exchange(values[static_cast<std::size_t>(place)], kNodes);
            EXPECT_TRUE(Fails(Failure::Usage,
                              {"dimension 0 member " + std::to_string(place / 2) +
                                   ", dimension 1 member " + std::to_string(place % 2) + " ",
                               "member 5000 of a collection of 5000"},
                              write));
            values[static_cast<std::size_t>(place)] = right;
        }
        write();
        EXPECT_EQ(rows.NumDrawers(), 1);
    }
    transaction.Commit();
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(TransferTest, MoreThanTwoGigabytesAreToBeSplit) {
    const ORQSimPosition many = Focus().CreateTypedCollection(Slot(9), INT_MAX);
    const ORQSimDistribution field(
        Focus()
            .CreateTypedDistribution(ORQSimGrid({many.GetCollection(), many.GetCollection()}),
                                     Slot(9), ORQSimRangeType(ORQSimScalarByte))
            .GetDistribution());
    const ORQSimCollection all(many.GetCollection());
    ORQSimTransfer read(field);
    read.SetRead().SetDim(0, RunOf(all, 0, INT_MAX)).SetDim(1, RunOf(all, 7, 1)).CheckView();
    EXPECT_EQ(read.RequiredBufferSize(), INT_MAX);
    read.SetDim(1, RunOf(all, 7, 2));
    EXPECT_TRUE(Fails(Failure::Usage, {"4294967294 items", "2147483647 bytes", "split"},
                      [&] { read.CheckView(); }));
    read.SetDim(1, RunOf(all, 7, 1)).SetBufferType(ORQSimScalarInt);
    EXPECT_TRUE(Fails(Failure::Usage, {"split"}, [&] { read.CheckView(); }));
    read.SetDim(0, ORQSimCSet(all.ID())).SetDim(1, ORQSimCSet(all.ID()));
    EXPECT_TRUE(Fails(Failure::Usage, {"split"}, [&] { read.CheckView(); }));

    ORQSimTransfer sparse(field);
    sparse.SetWrite()
        .SetMakeNewDrawer()
        .SetSerialization(ORQSimSerializationType().SetSparse())
        .SetSparseNNonzero(INT_MAX)
        .SetDim(0, RunOf(all, 0, 5))
        .SetDim(1, RunOf(all, 0, INT_MAX));
    EXPECT_TRUE(Fails(Failure::Usage, {"split"}, [&] { sparse.CheckView(); }));
}

TEST_P(TransferTest, WithoutATransactionNothingIsWrittenButReadingWorks) {
    const ORQSimDrawerID drawer = Small();
    m_transaction->Commit();
    const double value = 5;
    ORQSimTransfer write(TheField());
    Write(write, drawer, {2}, {0}).SetBuffer(ORQSimbufMain, &value, sizeof value);
    EXPECT_TRUE(Fails(Failure::Usage, {"transaction"}, [&] { write.ExecWrite(); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"transaction"}, [&] { Small(); }));
    EXPECT_EQ(Read(TheField(), NodeSet({1, 2}), ComponentSet({0, 2})),
              (Doubles{kUntouched, kUntouched, 0, kUntouched}));
}

// --- Values --------------------------------------------------------------------------------------

TEST_P(TransferTest, ValuesThatTheOtherTypeCannotHoldAreRefusedAndNamed) {
    const auto field = [&](int scalar) {
        return ORQSimDistribution(
            Focus()
                .CreateTypedDistribution(
                    ORQSimGrid({Nodes(Database()).ID(), Components(Database()).ID()}), Slot(9),
                    ORQSimRangeType(scalar))
                .GetDistribution());
    };
    const auto write = [&](int scalar, double value) {
        ORQSimTransfer(field(scalar))
            .SetWrite()
            .SetMakeNewDrawer()
            .SetDim(0, NodeSet({1}))
            .SetDim(1, ComponentSet({1}))
            .SetBufferType(ORQSimScalarDouble)
            .SetBuffer(ORQSimbufMain, &value, sizeof value)
            .ExecWrite();
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<std::pair<int, double>> refused = {
        {ORQSimScalarInt, 0.5},     {ORQSimScalarInt, 2147483648.0},
        {ORQSimScalarInt, nan},     {ORQSimScalarUint, -1.0},
        {ORQSimScalarByte, 256.0},  {ORQSimScalarInt64, 9223372036854775808.0},
        {ORQSimScalarFloat, 1e300},
    };
    for (const auto& item : refused) {
        // The drawer is made before its values move, so the level can only be undone.
        ORQSimTransaction level(Focus());
        EXPECT_TRUE(
            Fails(Failure::Usage, {"cannot be held"}, [&] { write(item.first, item.second); }))
            << item.first << ' ' << item.second;
        EXPECT_TRUE(Fails(Failure::Refused, {"only be undone"}, [&] { level.Commit(); }));
    }
    const std::vector<std::pair<int, double>> held = {
        {ORQSimScalarInt, -2147483648.0}, {ORQSimScalarUint, 4294967295.0},
        {ORQSimScalarByte, 255.0},        {ORQSimScalarInt64, -9223372036854775808.0},
        {ORQSimScalarFloat, -HUGE_VAL},
    };
    for (const auto& item : held) {
        EXPECT_NO_THROW(write(item.first, item.second)) << item.first << ' ' << item.second;
    }
    EXPECT_NO_THROW(write(ORQSimScalarFloat, nan));
}

TEST_P(TransferTest, NaNsAndSignsKeepTheirBits) {
    const Doubles values = {-0.0, std::numeric_limits<double>::signaling_NaN(),
                            -std::numeric_limits<double>::quiet_NaN(), 5e-324, HUGE_VAL};
    Append(Database(), NodeSet({0, 1, 2, 3, 4}), ComponentSet({0}), values, 2);
    m_transaction->Commit();
    m_transaction.reset();
    m_store.Reopen();
    const Doubles read = Read(TheField(), NodeSet({0, 1, 2, 3, 4}), ComponentSet({0}));
    EXPECT_EQ(std::memcmp(read.data(), values.data(), values.size() * sizeof(double)), 0);
}

// Chunks of up to 600 KB have ten checksum blocks; ranges begin and end anywhere in them.
TEST_P(TransferTest, BlocksOfLargeChunksFollowEveryAppendOverwriteAndRollback) {
    constexpr int kNodes = 200'000;
    ORQSimCollection(Nodes(Database())).ExtendSpace(kNodes);
    MakeDrawer(TheField(), NodeSet({}), ComponentSet({0}), 75'000);
    m_transaction->Commit();
    m_transaction.reset();
    std::mt19937 random(99);
    const auto upTo = [&](int n) { return std::uniform_int_distribution(0, n)(random); };
    Doubles twin;
    double next = 1;
    for (int round = 0; round < 60; ++round) {
        ORQSimTransaction outer(Database().ContextID());
        for (int n = upTo(3); n >= 0; --n) {
            const Doubles before = twin;
            ORQSimTransaction inner(Database().ContextID());
            for (int writes = upTo(2); writes >= 0; --writes) {
                const bool isAppend = twin.empty() || upTo(1) == 0;
                const int first = isAppend ? static_cast<int>(twin.size())
                                           : upTo(static_cast<int>(twin.size()) - 1);
                const int count = std::min(1 + upTo(20) * upTo(1500), kNodes - first);
                if (count < 1) {
                    continue;
                }
                Doubles values(static_cast<std::size_t>(count));
                std::ranges::generate(values, [&] { return next++; });
                Append(Database(), RunOf(Nodes(Database()), first, count), ComponentSet({0}),
                       values);
                twin.resize(std::max(twin.size(), static_cast<std::size_t>(first + count)));
                std::ranges::copy(values, twin.begin() + first);
            }
            if (upTo(2) == 0) {
                twin = before;
            } else {
                inner.Commit();
            }
        }
        outer.Commit();
        if (round % 7 == 0) {
            m_store.Reopen();
        }
        ASSERT_EQ(Read(TheField(), RunOf(Nodes(Database()), 0, static_cast<int>(twin.size())),
                       ComponentSet({0})),
                  twin)
            << "round " << round;
    }
    EXPECT_EQ(Database().Verify(), Texts());
}

// Reads of more than 32 MB take another way to the buffer: at every alignment, over the ends of chunks,
// with neighbours that stay as they were.
TEST_P(TransferTest, LargeReadsFillJustTheirBuffer) {
    constexpr int kNodes = 4'500'000;
    ORQSimCollection(Nodes(Database())).ExtendSpace(kNodes);
    Doubles values(kNodes);
    double next = 1;
    std::ranges::generate(values, [&] { return next++; });
    Append(Database(), RunOf(Nodes(Database()), 0, kNodes), ComponentSet({0}), values, 700'001);
    for (const int first : {0, 3, 6}) {
        for (const std::size_t shift : {0U, 4U, 33U}) {
            const int count = kNodes - 7 - first;
            const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(double);
            std::vector<char> buffer(bytes + 100, '#');
            ORQSimTransfer(TheField())
                .SetRead()
                .SetDim(0, RunOf(Nodes(Database()), first, count))
                .SetDim(1, ComponentSet({0}))
                .SetBuffer(ORQSimbufMain, buffer.data() + shift, static_cast<std::int64_t>(bytes))
                .ExecRead();
            EXPECT_EQ(std::memcmp(buffer.data() + shift, values.data() + first, bytes), 0);
            EXPECT_EQ(std::count(buffer.begin(), buffer.begin() + shift, '#'), shift);
            EXPECT_EQ(std::count(buffer.end() - (100 - shift), buffer.end(), '#'), 100 - shift);
        }
    }
}

TEST(TransferSize, SmallModelsStaySmallWhateverTheChunkSize) {
    Store store(true);
    MakeModel(*store, 60);
    InTransaction(*store, [&] {
        Append(*store, RunOf(Nodes(*store), 0, 60), RunOf(Components(*store), 1, 3),
               Filled(180, 1.5), 100'000'000);
    });
    store.Reopen();
    const ORQSimDatabase::DiskSizes sizes = store->Sizes();
    EXPECT_LT(sizes.bulk, 20'000);
    EXPECT_LT(sizes.catalogue, 300'000);
}

// --- Sparse drawers ------------------------------------------------------------------------------

TEST_P(SparseTest, DenseReadsFillOnlyStoredCells) {
    Make(m_cells);
    m_transaction->Commit();
    m_transaction.reset();
    m_store.Reopen();
    EXPECT_EQ(Read(TheField(), NodeSet({9, 8, 5}), ComponentSet({6, 3, 1})),
              (Doubles{96, kUntouched, 91, kUntouched, kUntouched, kUntouched, kUntouched, 53,
                       kUntouched}));
    EXPECT_EQ(Database().Verify(), Texts());
    const ORQSimDrawerDescription drawer = TheField().QueryDrawers().ConstGet(0);
    EXPECT_EQ(drawer.Layout(), ORQSimDrawerLayout::Sparse);
    EXPECT_EQ(drawer.DataSizeItems(), 3);
}

TEST_P(SparseTest, SparseReadsGiveTheStoredPartOfAView) {
    Make(m_cells);
    const Sparse all = ReadSparse({5, 7, 9}, {1, 3, 4, 6});
    EXPECT_EQ(all.values, m_cells.values);
    EXPECT_EQ(all.columns, m_cells.columns);
    EXPECT_EQ(all.map, m_cells.map);
    const Sparse part = ReadSparse({6, 9, 7, 5}, {6, 0, 3});
    EXPECT_EQ(part.map, (std::vector<std::int32_t>{0, 0, 1, 1, 2}));
    EXPECT_EQ(part.columns, (std::vector<std::int32_t>{0, 2}));
    EXPECT_EQ(part.values, (Doubles{96, 53}));
    EXPECT_EQ(ReadSparse({7}, {3}).map, (std::vector<std::int32_t>{0, 0}));
}

TEST_P(SparseTest, AnEmptyOneIsADrawerWithoutCells) {
    Make({{}, {}, {0, 0, 0, 0}});
    EXPECT_EQ(ReadSparse({5, 7, 9}, {1, 3}).map, (std::vector<std::int32_t>{0, 0, 0, 0}));
    EXPECT_EQ(Read(TheField(), NodeSet({5}), ComponentSet({1})), Doubles{kUntouched});
}

TEST_P(SparseTest, BadMapsAndIndicesAreRefusedAndLeaveNothing) {
    EXPECT_TRUE(Fails(Failure::Usage, {"row 1", "[2, 1)"}, [&] {
        Make({{1, 2, 3}, {0, 1, 2}, {0, 2, 1, 3}});
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"row 0", "[1, 1)"}, [&] {
        Make({{1, 2, 3}, {0, 1, 2}, {1, 1, 2, 3}});
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"ends at 2", "3 values"}, [&] {
        Make({{1, 2, 3}, {0, 1, 2}, {0, 1, 2, 2}});
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"index 4", "value 1", "4 members"}, [&] {
        Make({{1, 2, 3}, {0, 4, 2}, {0, 1, 2, 3}});
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"index -1"}, [&] {
        Make({{1, 2, 3}, {0, 1, -1}, {0, 1, 2, 3}});
    }));
    EXPECT_EQ(TheField().NumDrawers(), 0);
}

TEST_P(SparseTest, OneCanNeitherBeChangedNorChunkedNorMadeWithoutItsCells) {
    Make(m_cells);
    ORQSimTransfer write(TheField());
    EXPECT_TRUE(Fails(Failure::Usage, {"sparse"}, [&] {
        Write(write, TheField().DrawerIDArray().ConstGet(0), {5}, {3}).CheckView();
    }));
    ORQSimArray<int> chunks(2);
    chunks.Get(0) = chunks.Get(1) = 2;
    ORQSimTransfer make(TheField());
    make.SetSerialization(ORQSimSerializationType().SetSparse())
        .SetDim(0, NodeSet({1}))
        .SetDim(1, ComponentSet({1}));
    EXPECT_TRUE(Fails(Failure::Usage, {"sparse", "chunked"},
                      [&] { make.SetMakeNewDrawerChunked(chunks).CheckView(); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"sparse"}, [&] { make.SetMakeNewDrawer().ExecMake(); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"missing"}, [&] { make.SetWrite().ExecWrite(); }));
    EXPECT_EQ(TheField().NumDrawers(), 1);
    ORQSimTransfer dense(TheField());
    EXPECT_TRUE(Fails(Failure::Usage, {"sparse"}, [&] {
        Write(dense, Small(), {2, 3}, {0, 1})
            .SetSerialization(ORQSimSerializationType().SetSparse())
            .ExecWrite();
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"sparse read"}, [&] { ReadSparse({5}, {1}); }));
}
