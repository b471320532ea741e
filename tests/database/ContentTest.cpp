// What objects hold: fields, tables, members, symbols, sets, data sets.
#include <algorithm>
#include <cmath>
#include <limits>

#include "ORQSimCMemberMap.h"
#include "ORQSimCompartment.h"
#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimFTable.h"
#include "ORQSimSymbols.h"
#include "Vocabulary.h"
#include "omi_BlkBitVect.h"

namespace {

class ContentTest : public DatabaseTest {
  protected:
    void SetUp() override {
        MakeModel(Database(), 200);
        m_transaction.emplace(Database().ContextID());
    }
    void CommitAndReopen() {
        m_transaction->Commit();
        m_transaction.reset();
        m_store.Reopen();
    }
    ORQSimPosition Record() const { return Focus().CreateDataRecord(Slot(20)).Pos(); }

    std::optional<ORQSimTransaction> m_transaction;
};

ORQBasVector<ORQString> Labels(const Texts& texts) {
    ORQBasVector<ORQString> labels;
    for (const std::string& text : texts) {
        labels.PushBack(text.c_str());
    }
    return labels;
}

}  // namespace

ON_BOTH_MEDIA(ContentTest);

// --- Records -------------------------------------------------------------------------------------

TEST_P(ContentTest, FieldsOfEveryKindSurviveReopening) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double numbers[] = {1.5, nan, -0.0};
    const ORQSimDataRecord record = Focus().DataRecord();
    record.SetInt(0, std::numeric_limits<int>::min());
    record.SetDouble(1, nan);
    record.SetDouble(2, 3, numbers);
    record.SetString(3, "\xC3\xA4 b");
    record.SetString(4, "");
    record.SetSymb(5, -1);
    record.SetTypeID(6, ORQSimTypeID(Slot(1)));
    record.SetInt(7, 4);
    record.SetDouble(7, 0.25);
    record.SetDouble(8, 0, nullptr);
    CommitAndReopen();
    const ORQSimDataRecord again = Focus().DataRecord();
    EXPECT_EQ(again.GetInt(0), std::numeric_limits<int>::min());
    EXPECT_EQ(again.GetDouble(0), std::numeric_limits<int>::min());
    EXPECT_TRUE(std::isnan(again.GetDouble(1)));
    double read[4] = {9, 9, 9, 9};
    again.GetDouble(2, 4, read);
    EXPECT_EQ(read[0], 1.5);
    EXPECT_TRUE(std::isnan(read[1]));
    EXPECT_TRUE(std::signbit(read[2]));
    EXPECT_EQ(read[3], 0.0);
    EXPECT_EQ(again.ReturnString(3), "\xC3\xA4 b");
    EXPECT_EQ(again.ReturnString(4), "");
    EXPECT_EQ(again.GetSymb(5), -1);
    EXPECT_EQ(again.GetTypeID(6), ORQSimTypeID(Slot(1)));
    EXPECT_EQ(again.GetDouble(7), 0.25);
    EXPECT_EQ(again.GetDouble(8), 0.0);
}

TEST_P(ContentTest, UnsetFieldsReadAsNothingAndWrongKindsAreRefused) {
    const ORQSimDataRecord record = Focus().DataRecord();
    EXPECT_EQ(record.GetInt(90), 0);
    EXPECT_EQ(record.GetDouble(90), 0.0);
    EXPECT_EQ(record.ReturnString(90), "");
    record.SetString(3, "x");
    record.SetDouble(4, 2.0);
    EXPECT_TRUE(
        Fails(Failure::Usage, {"field 3", "a string", "an int"}, [&] { record.GetInt(3); }));
    EXPECT_TRUE(
        Fails(Failure::Usage, {"field 3", "a string", "a double"}, [&] { record.GetDouble(3); }));
    EXPECT_TRUE(
        Fails(Failure::Usage, {"field 4", "doubles", "a symbol"}, [&] { record.GetSymb(4); }));
    EXPECT_TRUE(
        Fails(Failure::Usage, {"field 4", "doubles", "a string"}, [&] { record.ReturnString(4); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"field -1"}, [&] { record.SetInt(-1, 1); }));
}

// --- Tables --------------------------------------------------------------------------------------

TEST_P(ContentTest, TablesNameTheirLastColumns) {
    Doubles data(12);
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = 0.5 * static_cast<double>(i);
    }
    Focus().SetPosition(Slot(40), Focus().CreateSimpleFTable(3, Labels({"r"}), Labels({"T", "f"}),
                                                             data.data(), 12));
    CommitAndReopen();
    const ORQSimFTable table(At(Database(), 40).GetFTable());
    EXPECT_EQ(table.RowCount(), 3);
    EXPECT_EQ(table.ColumnCount(), 4);
    EXPECT_EQ(table.ColumnLabel(1), "");
    EXPECT_EQ(table.ColumnLabel(2), "T");
    EXPECT_EQ(table.ColumnLabel(3), "f");
    EXPECT_EQ(table.ColumnLabel(4), "");
    EXPECT_EQ(table.RowLabel(0), "r");
    EXPECT_EQ(table.RowLabel(1), "");
    Doubles read(12, kUntouched);
    table.GetData(read.data(), 11);
    EXPECT_EQ(read[11], kUntouched);
    table.GetData(read.data(), 12);
    EXPECT_EQ(read, data);
    EXPECT_TRUE(Fails(Failure::Usage, {"12", "13"}, [&] { table.GetData(read.data(), 13); }));
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(ContentTest, TablesOfImpossibleShapesAreRefused) {
    const double data[6] = {};
    const auto make = [&](int rows, const Texts& rowLabels, const Texts& columnLabels, int count) {
        return Focus().CreateSimpleFTable(rows, Labels(rowLabels), Labels(columnLabels), data,
                                          count);
    };
    EXPECT_TRUE(Fails(Failure::Usage, {"4 rows", "6 values"}, [&] { make(4, {}, {}, 6); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"0 rows", "6 values"}, [&] { make(0, {}, {}, 6); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"-1 rows"}, [&] { make(-1, {}, {}, 6); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"3 column labels"}, [&] {
        make(3, {}, {"a", "b", "c"}, 6);
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"2 row labels"}, [&] { make(1, {"a", "b"}, {}, 6); }));
    const ORQSimFTable empty(make(0, {}, {"a", "b"}, 0).GetFTable());
    EXPECT_EQ(empty.ColumnCount(), 2);
    EXPECT_EQ(empty.ColumnLabel(0), "a");
    EXPECT_EQ(ORQSimFTable().RowCount(), 0);
}

TEST_P(ContentTest, TablesAndSetsOfSeveralPiecesComeBackWhole) {
    constexpr int kValues = 1500001;  // 12 and 6 MB, stored 4 MiB at a time
    Doubles data;
    Ints members;
    for (int i = 0; i < kValues; ++i) {
        data.push_back(0.5 * i);
        members.push_back(3 * i + i % 2);
    }
    Focus().SetPosition(
        Slot(40), Focus().CreateSimpleFTable(1, Labels({}), Labels({}), data.data(), kValues));
    const ORQSimPosition made = Focus().CreateTypedCollection(Slot(21), 3 * kValues);
    Focus().SetPosition(
        Slot(41), ORQSimCollection(made.GetCollection()).CreateCSet(members.data(), kValues, true));
    CommitAndReopen();
    Doubles values(data.size(), kUntouched);
    ORQSimFTable(At(Database(), 40).GetFTable()).GetData(values.data(), kValues);
    EXPECT_TRUE(values == data);
    EXPECT_TRUE(Members(At(Database(), 41).CSet()) == members);
}

// --- Collections, members, symbols ---------------------------------------------------------------

TEST_P(ContentTest, MembersAreNumberedAndFoundBothWays) {
    const ORQSimPosition made = Focus().CreateTypedCollection(Slot(21), 2);
    ORQSimCollection collection(made.GetCollection());
    const ORQSimContext context(Database().ContextID());
    const ORQSimPosition a = Record();
    const ORQSimPosition b = Record();
    EXPECT_EQ(collection.AddMember(a), 2);
    collection.SetMember(0, b);
    EXPECT_EQ(collection.Space(), 3);
    EXPECT_EQ(context.GetRecord(collection.ID(), 2), a);
    EXPECT_TRUE(context.GetRecord(collection.ID(), 1).IsNull());
    EXPECT_TRUE(context.GetRecord(collection.ID(), -1).IsNull());
    EXPECT_EQ(context.GetCMemberIndex(b.ID()), 0);
    EXPECT_EQ(context.GetCMemberIndex(Focus().ID()), -1);
    EXPECT_EQ(context.GetCMemberIndex({}), -1);
    ORQSimArray<ORQSimDynamicID> objects(3);
    objects.Get(0) = a.ID();
    objects.Get(1) = Focus().ID();
    objects.Get(2) = b.ID();
    ORQSimArray<int> members;
    context.GetCMembership(objects, collection.ID(), members);
    EXPECT_EQ(Ints(members.begin(), members.end()), (Ints{2, -1, 0}));
    EXPECT_TRUE(Fails(Failure::Usage, {"member 0"}, [&] { collection.SetMember(0, a); }));
    EXPECT_TRUE(
        Fails(Failure::Usage, {"member 3", "3 members"}, [&] { collection.SetMember(3, a); }));
    collection.ExtendSpace(1);
    EXPECT_EQ(collection.Space(), 3);
    collection.ExtendSpace(8);
    EXPECT_EQ(collection.Space(), 8);
    EXPECT_EQ(collection.AddMember(Record()), 8);
}

TEST_P(ContentTest, PartsOfObjectsAndForeignObjectsAreNoMembers) {
    ORQSimCollection collection(Focus().CreateTypedCollection(Slot(21), 0).GetCollection());
    const ORQSimPosition inside = Focus().CreateTypedCollection(Slot(22), 5);
    collection.AddMember(inside);
    // Each names the object that it is a part of, and is not that object.
    const ORQSimPosition set =
        ORQSimCollection(inside.GetCollection()).CreateCSetStrided(0, 3, 1, 1);
    const ORQSimPosition drawer = ORQSimPosition(
        ORQSimDrawerID(set.ID().ContextID(), inside.ID().MinorID(), inside.ID().TypeID(), 7));
    const ORQSimContext context(Database().ContextID());
    for (const ORQSimPosition& part : {set, drawer, inside.TypePosition()}) {
        EXPECT_TRUE(
            Fails(Failure::Usage, {"cannot be members"}, [&] { collection.AddMember(part); }));
        EXPECT_EQ(collection.MemberIndex(part), -1);
        EXPECT_EQ(context.GetCMemberIndex(part.ID()), -1);
    }
    EXPECT_TRUE(Fails(Failure::Usage, {"null"}, [&] { collection.AddMember({}); }));
    const ORQSimDatabase other = ORQSimDatabase::CreateInMemory();
    const ORQSimPosition twin = ORQSimDynamicID(inside.ID().Category(), other.ContextID(),
                                                inside.ID().MinorID(), inside.ID().TypeID(), 0);
    EXPECT_TRUE(Fails(Failure::Usage, {"another database"}, [&] { collection.AddMember(twin); }));
    EXPECT_EQ(collection.MemberIndex(twin), -1);
    EXPECT_EQ(collection.Space(), 1);
    EXPECT_EQ(collection.MemberIndex(inside), 0);
}

TEST_P(ContentTest, SymbolsAreFoundByPlaceNameAndObject) {
    const ORQSimCollectionID collection =
        Focus().CreateTypedCollection(Slot(22), 30).GetCollection();
    ORQSimSymbols symbols(Database().ContextID());
    const ORQSimTypeID type(Slot(23));
    const ORQSimDynamicID c2 = symbols.Create(type, 12, "C_2", collection);
    symbols.Create(ORQSimTypeID(Slot(24)), 12, "C_2", collection);
    EXPECT_EQ(symbols.Get(type, 12, collection), c2);
    EXPECT_EQ(symbols.Find(type, "C_2", collection), c2);
    EXPECT_TRUE(symbols.Find(type, "c_2", collection).IsNull());
    EXPECT_TRUE(symbols.Find(type, "", collection).IsNull());
    EXPECT_TRUE(symbols.Get(type, 13, collection).IsNull());
    EXPECT_EQ(symbols.Get(c2), 12);
    EXPECT_EQ(symbols.Get(Focus().ID()), -1);
    EXPECT_TRUE(symbols.IsMember(c2));
    EXPECT_EQ(ORQSimPosition(c2).GetSymbolName(), "C_2");
    EXPECT_EQ(ORQSimPosition(c2).GetSymbolPosition(), 12);
    EXPECT_EQ(ORQSimPosition(c2).Name(), "C_2");
    EXPECT_TRUE(
        Fails(Failure::Usage, {"12", "taken"}, [&] { symbols.Create(type, 12, "x", collection); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"C_2", "taken"},
                      [&] { symbols.Create(type, 1, "C_2", collection); }));
    const ORQSimDatabase other = ORQSimDatabase::CreateInMemory();
    EXPECT_FALSE(ORQSimSymbols(other.ContextID()).IsMember(c2));
}

// --- Sets ----------------------------------------------------------------------------------------

TEST_P(ContentTest, SetsAreFoundAgainByTheirMembers) {
    ORQSimCollection nodes = Nodes(Database());
    const int scattered[] = {9, 3, 7, 3, 120};
    const ORQSimCSetID stored = nodes.CreateCSet(scattered, 5, true);
    EXPECT_EQ(OrderedMembers(ORQSimCSet(stored)), (Ints{3, 7, 9, 120}));
    const int ordered[] = {9, 3, -1, 7};
    const ORQSimCSetID inOrder = nodes.CreateOrderedCSet(ordered, 4);
    EXPECT_EQ(OrderedMembers(ORQSimCSet(inOrder)), (Ints{9, 3, -1, 7}));
    EXPECT_EQ(Members(ORQSimCSet(inOrder)), (Ints{-1, 3, 7, 9}));
    EXPECT_EQ(nodes.SeekCSet(SetOf(nodes, {3, 7, 9, 120}), true), stored);
    EXPECT_EQ(nodes.SeekCSet(SetOf(nodes, {120, 3, 7, 9}), false), stored);
    EXPECT_TRUE(nodes.SeekCSet(SetOf(nodes, {120, 3, 7, 9}), true).IsNull());
    EXPECT_TRUE(nodes.SeekCSet(SetOf(nodes, {3, 7, 9}), false).IsNull());
    EXPECT_TRUE(Components(Database()).SeekCSet(SetOf(nodes, {3, 7, 9, 120}), true).IsNull());
    EXPECT_EQ(SetOf(nodes, {3, 7, 9, 120}).RegisterWithCollection(), stored);
    // However it was given.
    const ORQSimCSetID blocks = nodes.CreateCSetStrided(10, 3, 5, 2);
    EXPECT_EQ(nodes.SeekCSet(SetOf(nodes, {10, 11, 15, 16, 20, 21}), true), blocks);
    EXPECT_TRUE(SetOf(nodes, {21, 20, 16, 15, 11, 10}).SameMembers(ORQSimCSet(blocks)));
    // Two that were created are two, though equal.
    EXPECT_NE(nodes.CreateCSet(scattered, 5, false), stored);
    EXPECT_EQ(nodes.CreateCSet(scattered, 0, true), nodes.EmptyCSetID());
    EXPECT_EQ(Database().Verify(), Texts());
}

// More members than one piece of a stored set holds.
TEST_P(ContentTest, LargeSetsSurviveReopening) {
    ORQSimCollection nodes = Nodes(Database());
    nodes.ExtendSpace(4'000'000);
    Ints members(1'100'000);
    for (std::size_t i = 0; i < members.size(); ++i) {
        members[i] = static_cast<int>(3 * i + i % 2);
    }
    const auto n = static_cast<int>(members.size());
    Focus().SetPosition(Slot(40), nodes.CreateCSet(members.data(), n, false));
    const Ints descending(members.rbegin(), members.rend());
    Focus().SetPosition(Slot(41), nodes.CreateOrderedCSet(descending.data(), n));
    CommitAndReopen();
    EXPECT_TRUE(OrderedMembers(At(Database(), 40).CSet()) == members);
    EXPECT_TRUE(OrderedMembers(At(Database(), 41).CSet()) == descending);
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(ContentTest, TemporarySetsNeedNoTransactionAndShareTheirIdentity) {
    CommitAndReopen();
    m_store.Reopen(Mode::ReadOnly);
    const ORQSimCollection nodes = Nodes(Database());
    const int members[] = {4, 8, 5};
    const ORQSimCSetID one = nodes.CreateTempCSet(members, 3, false);
    EXPECT_EQ(one, SetOf(nodes, {4, 5, 8}).RegisterWithTempCollection());
    EXPECT_NE(one, nodes.CreateTempOrderedCSet(members, 3));
    EXPECT_EQ(ORQSimCSet(nodes.CreateTempOrderedCSet(members, 3)).AscendingID(), one);
    EXPECT_EQ(ORQSimCSet(one).AscendingID(), one);
    EXPECT_LT(one.Index(), -1);
    EXPECT_FALSE(one.IsNull());
    EXPECT_EQ(Members(ORQSimPosition(one).CSet()), (Ints{4, 5, 8}));
    EXPECT_EQ(nodes.SeekCSet(SetOf(nodes, {4, 5, 8}), true), one);
    EXPECT_TRUE(
        Fails(Failure::Usage, {"transaction"}, [&] { ORQSimCSet(one).RegisterWithCollection(); }));
    EXPECT_EQ(nodes.CreateTempCSetStrided(0, 0, 1, 1), nodes.EmptyCSetID());
}

TEST_P(ContentTest, ADrawerIsDescribedByOneSetThatFollowsItsGrowth) {
    const ORQSimCollection nodes = Nodes(Database());
    const ORQSimCSet one = RunOf(Components(Database()), 0, 1);
    const auto described = [&] { return Field(Database()).QueryDrawers().ConstGet(0).CSet(0); };
    Append(Database(), SetOf(nodes, {1, 5}), one, {1, 5});
    const ORQSimCSetID first = described();
    const ORQSimCSet before(first);
    EXPECT_EQ(described(), first);
    Append(Database(), SetOf(nodes, {3, 9}), one, {3, 9});
    EXPECT_EQ(described(), first);
    EXPECT_EQ(Members(ORQSimCSet(first)), (Ints{1, 3, 5, 9}));
    EXPECT_EQ(Members(before), (Ints{1, 5}));
    // Somebody else has it now, so that it stays as it is.
    const int members[] = {1, 3, 5, 9};
    EXPECT_EQ(nodes.CreateTempCSet(members, 4, true), first);
    Append(Database(), SetOf(nodes, {0}), one, {0});
    const ORQSimCSetID second = described();
    EXPECT_NE(second, first);
    EXPECT_EQ(Members(ORQSimCSet(second)), (Ints{0, 1, 3, 5, 9}));
    EXPECT_EQ(Members(ORQSimCSet(first)), (Ints{1, 3, 5, 9}));
    // One that was made before the drawer had just these members describes it too.
    const int later[] = {0, 1, 2, 3, 5, 9};
    const ORQSimCSetID third = nodes.CreateTempCSet(later, 6, true);
    Append(Database(), SetOf(nodes, {2}), one, {2});
    EXPECT_EQ(described(), third);
    Append(Database(), SetOf(nodes, {7}), one, {7});
    EXPECT_EQ(Members(ORQSimCSet(third)), (Ints{0, 1, 2, 3, 5, 9}));
    EXPECT_EQ(Members(ORQSimCSet(described())), (Ints{0, 1, 2, 3, 5, 7, 9}));
}

TEST_P(ContentTest, SetsAnswerForTheirMembers) {
    const ORQSimCollection nodes = Nodes(Database());
    const ORQSimCSet set = SetOf(nodes, {9, 3, 64, 7});
    EXPECT_EQ(set[1], 3);
    EXPECT_EQ(set.SeekMember(64), 2);
    EXPECT_EQ(set.SeekMember(65), -1);
    EXPECT_EQ(set.Bounds(), ORQSimIntRange(3, 64));
    EXPECT_FALSE(set.IsAscending());
    EXPECT_TRUE(set.SameMembers(SetOf(nodes, {3, 7, 9, 64})));
    EXPECT_FALSE(set.SameMembers(SetOf(Components(Database()), {3, 7, 9, 64})));
    EXPECT_TRUE(Fails(Failure::Usage, {"location 4", "4 members"}, [&] { set[4]; }));
    EXPECT_TRUE(Fails(Failure::Usage, {"location -1"}, [&] { set[-1]; }));
    Ints walked;
    for (ORQSimCSetIterator i(set); !i.IsDone(); i.Next()) {
        EXPECT_EQ(set[i.CurrentLocation()], i.CurrentValue());
        walked.push_back(i.CurrentValue());
    }
    EXPECT_EQ(walked, (Ints{9, 3, 64, 7}));
    omi_BlkBitVect bits;
    bits.SetBit(5);
    set.AsBitVector(bits);
    EXPECT_EQ(bits.Count(), 4);
    EXPECT_TRUE(bits.IsSet(64));
    EXPECT_TRUE(Fails(Failure::Usage, {"-1"}, [&] { SetOf(nodes, {-1}).AsBitVector(bits); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"-2"}, [&] {
        const int negative = -2;
        nodes.CreateTempCSet(&negative, 1, true);
    }));
    EXPECT_EQ(Members(ORQSimCSet().Union(set)), (Ints{3, 7, 9, 64}));
    EXPECT_EQ(ORQSimCSet().Union(set).CollectionID(), nodes.ID());
    EXPECT_TRUE(Fails(Failure::Usage, {"collections"},
                      [&] { set.Union(RunOf(Components(Database()), 0, 2)); }));
    EXPECT_EQ(ORQSimCSet(nodes.ID()).Size(), 200);
    EXPECT_TRUE(ORQSimCSet().Bounds().IsEmpty());
}

TEST_P(ContentTest, MemberMapsGoByLocation) {
    const ORQSimCollection nodes = Nodes(Database());
    const auto map = ORQSimCMemberMap::Create(SetOf(nodes, {9, 3, 5}), SetOf(nodes, {1, 8}));
    EXPECT_EQ(map->Map(3), 8);
    EXPECT_EQ(map->Map(5), -1);
    EXPECT_EQ(map->Map(1), -1);
    EXPECT_EQ(map->MapBack(1), 9);
    EXPECT_EQ(map->MapBack(9), -1);
}

// --- Data sets -----------------------------------------------------------------------------------

TEST_P(ContentTest, SelectionsCutCompartments) {
    const ORQSimCollection nodes = Nodes(Database());
    const ORQSimCollection parts = Components(Database());
    const auto block = [&](int part, int first, int count) {
        return ORQSimCompartment(
            std::vector{RunOf(parts, part, 1).RegisterWithTempCollection(),
                        RunOf(nodes, first, count).RegisterWithTempCollection()});
    };
    Focus().SetPosition(
        Slot(40),
        Focus().CreateTypedDSet(ORQSimCtation({block(0, 0, 100), block(1, 100, 50)}), Slot(41)));
    CommitAndReopen();
    const ORQSimDSet all(At(Database(), 40));
    const ORQSimCollectionID nodeID = Nodes(Database()).ID();
    const ORQSimCollectionID partID = Components(Database()).ID();
    EXPECT_EQ(all.GetCtation().Size(), 2);
    EXPECT_EQ(all.Collect(nodeID).Size(), 150);
    EXPECT_TRUE(all.GetRelationalDistributionID().IsNull());
    const ORQSimDSet both = all.Select(RunOf(Nodes(Database()), 90, 21));
    EXPECT_EQ(Members(both.Collect(partID)), (Ints{0, 1}));
    EXPECT_EQ(both.Collect(nodeID).Size(), 21);
    EXPECT_EQ(both.GetCtation().Compartment(1).Position(nodeID), 1);
    EXPECT_EQ(Members(ORQSimCSet(both.GetCtation().Compartment(1).CSet(1))).front(), 100);
    const ORQSimDSet second = all.Select(RunOf(Components(Database()), 1, 5));
    EXPECT_EQ(second.Collect(nodeID).Bounds(), ORQSimIntRange(100, 149));
    const ORQSimDSet none = all.Select(RunOf(Nodes(Database()), 150, 20));
    EXPECT_TRUE(none.IsNull());
    EXPECT_TRUE(none.IsEmpty());
    EXPECT_TRUE(none.Collect(partID).IsEmpty());
    EXPECT_FALSE(all.IsEmpty());
    EXPECT_TRUE(ORQSimDSet().IsNull());
    EXPECT_EQ(ORQSimDSet(At(Database(), 1)).Collect(nodeID).Size(), 200);
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(ContentTest, DataSetsOverDistributionsCollectWhatTheValuesName) {
    constexpr std::uint32_t kNone = 0xFFFFFFFF;
    const ORQSimCollectionID elements = Focus().CreateTypedCollection(Slot(42), 4).GetCollection();
    const ORQSimCollectionID corners = Focus().CreateTypedCollection(Slot(43), 3).GetCollection();
    for (const int scalar : {ORQSimScalarUint, ORQSimScalarInt}) {
        const ORQSimContext context(Database().ContextID());
        const ORQSimDistributionID id = context.CreateDistribution(
            ORQSimGrid({elements, corners}), ORQSimRangeType(scalar, Nodes(Database()).ID()),
            ORQSimTypeID(Slot(44)));
        const ORQSimDSetID before = context.CreateDSet(id, ORQSimTypeID(Slot(45)));
        // The last corner of the last element is none.
        const std::uint32_t nodes[] = {0, 1, 2, 2, 1, 3, 5, 9, 3, 199, 0, kNone};
        ORQSimTransfer make{ORQSimDistribution(id)};
        make.SetWrite()
            .SetMakeNewDrawer()
            .SetDim(0, ORQSimCSet(elements))
            .SetDim(1, ORQSimCSet(corners))
            .SetBuffer(ORQSimbufMain, nodes, sizeof nodes)
            .ExecWrite();
        EXPECT_TRUE(ORQSimDSet(before).IsEmpty());
        context.UpdateDSet(before, make.DrawerID());
        context.UpdateDSet(before, make.DrawerID());
        const ORQSimDSet dataSet(before);
        EXPECT_EQ(dataSet.GetCtation().Size(), 1);
        EXPECT_EQ(dataSet.GetRelationalDistributionID(), id);
        EXPECT_EQ(Members(dataSet.Collect(Nodes(Database()).ID())), (Ints{0, 1, 2, 3, 5, 9, 199}));
        EXPECT_EQ(Members(dataSet.Select(RunOf(ORQSimCollection(elements), 1, 2))
                              .Collect(Nodes(Database()).ID())),
                  (Ints{1, 2, 3, 5, 9}));
        EXPECT_EQ(dataSet.Collect(elements).Size(), 4);
        EXPECT_TRUE(dataSet.Collect(Components(Database()).ID()).IsEmpty());
    }
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(ContentTest, DistributionsNeedAGridOfTheirDatabaseAndAScalarType) {
    const ORQSimContext context(Database().ContextID());
    const ORQSimDatabase other = ORQSimDatabase::CreateInMemory();
    MakeModel(other, 3);
    const auto create = [&](const std::vector<ORQSimCollectionID>& grid, int scalar) {
        return context.CreateDistribution(ORQSimGrid(grid), ORQSimRangeType(scalar),
                                          ORQSimTypeID(Slot(46)));
    };
    const ORQSimCollectionID nodes = Nodes(Database()).ID();
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 1"}, [&] { create({nodes, {}}, 4); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"dimension 0"}, [&] {
        create({Nodes(other).ID(), nodes}, 4);
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"0 dimensions"}, [&] { create({}, 4); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"type 7"}, [&] { create({nodes}, 7); }));
    const ORQSimDistribution none;
    EXPECT_EQ(none.NumDrawers() + none.NumDimensions() + none.QueryDrawers().Size(), 0);
    EXPECT_TRUE(none.Grid().Collection(0).IsNull());
    EXPECT_EQ(none.DrawerDescription({}).NumDimensions(), 0);
    EXPECT_EQ(ORQSimCtation().Compartment(0).Size(), 0);
    EXPECT_TRUE(Fails(Failure::Usage, {"no distribution"}, [&] {
        (void)ORQSimDistribution(
            ORQSimDistributionID(nodes.ContextID(), nodes.MinorID(), nodes.TypeID()))
            .NumDrawers();
    }));
}

// --- Identities ----------------------------------------------------------------------------------

TEST(Identity, NullComesInSeveralForms) {
    const ORQSimContextID context(3);
    const ORQSimTypeID type(9);
    EXPECT_TRUE(ORQSimDynamicID().IsNull());
    EXPECT_TRUE(ORQSimDynamicID(ORQSimCategoryRecord, context, 0, type, 0).IsNull());
    EXPECT_TRUE(ORQSimDynamicID(ORQSimCategoryCSet, context, 5, type, -1).IsNull());
    EXPECT_TRUE(ORQSimDynamicID(-1, ORQSimContextID(-1), -1, ORQSimTypeID(-1), -1).IsNull());
    const ORQSimDynamicID set(ORQSimCategoryCSet, context, 5, type, -7);
    EXPECT_FALSE(set.IsNull());
    EXPECT_TRUE(ORQSimCSetID::CanBeConverted({}));
    EXPECT_TRUE(ORQSimCSetID::CanBeConverted(set));
    EXPECT_EQ(ORQSimCSetID(set).CollectionID(), ORQSimCollectionID(context, 5, type));
    const ORQSimDynamicID dataSet(3, context, 5, type, 0);
    EXPECT_FALSE(ORQSimCSetID::CanBeConverted(dataSet));
    EXPECT_TRUE(ORQSimCSetID(dataSet).IsNull());
    EXPECT_FALSE(ORQSimDSetID(dataSet).IsNull());
    EXPECT_EQ(set.Compare(dataSet), -dataSet.Compare(set));
}

TEST(Identity, TwoOpenCopiesAreNeverEqual) {
    Store store(true);
    MakeModel(*store, 5);
    const ORQSimCollectionID before = Nodes(*store).ID();
    store.Close();
    const ORQSimDatabase one = ORQSimDatabase::Open(store.Path(), Mode::ReadOnly);
    const ORQSimDatabase two = ORQSimDatabase::Open(store.Path() + "/", Mode::ReadOnly);
    EXPECT_NE(one.Focus(), two.Focus());
    EXPECT_NE(Nodes(one).ID(), Nodes(two).ID());
    EXPECT_NE(Nodes(one).ID(), before);
    EXPECT_EQ(Nodes(one).ID().MinorID(), before.MinorID());
    EXPECT_EQ(Nodes(one).ID().TypeID(), before.TypeID());
    EXPECT_EQ(one.Focus().Doc().Path(), two.Focus().Doc().Path());
}
