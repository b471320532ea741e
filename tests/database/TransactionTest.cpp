// Transactions within one process: what is undone, what stays, and what is refused.
#include <functional>

#include "ORQSimLinks.h"
#include "Vocabulary.h"

namespace {

class TransactionTest : public DatabaseTest {
  protected:
    void SetUp() override { MakeModel(Database(), 100); }

    void WriteAll(double value) {
        Append(Database(), RunOf(Nodes(Database()), 0, 100), RunOf(Components(Database()), 0, 1),
               Filled(100, value));
    }
    void SetField(int value) { Focus().DataRecord().SetInt(0, value); }
    int FieldValue() const { return Focus().DataRecord().GetInt(0); }
};

}  // namespace

ON_BOTH_MEDIA(TransactionTest);

TEST_P(TransactionTest, OneThatIsNotCommittedIsUndone) {
    InTransaction(Database(), [&] {
        WriteAll(1);
        SetField(1);
    });
    const std::int64_t generation = Database().Generation();
    {
        ORQSimTransaction transaction(Focus());
        WriteAll(2);
        SetField(2);
        MakeDrawer(Field(Database()), RunOf(Nodes(Database()), 0, 5),
                   RunOf(Components(Database()), 3, 2), 4);
        Focus().SetPosition(Slot(50), Focus().CreateDataRecord(Slot(50)).Pos());
        EXPECT_EQ(FirstComponent(Database()), Filled(100, 2));
    }
    EXPECT_EQ(FirstComponent(Database()), Filled(100, 1));
    EXPECT_EQ(FieldValue(), 1);
    EXPECT_TRUE(At(Database(), 50).IsNull());
    EXPECT_EQ(Field(Database()).NumDrawers(), 1);
    EXPECT_EQ(Database().Generation(), generation);
    m_store.Reopen();
    EXPECT_EQ(FirstComponent(Database()), Filled(100, 1));
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(TransactionTest, AnInnerOneUndoesItsOwnPartOnly) {
    ORQSimTransaction outer(Focus());
    WriteAll(1);
    SetField(1);
    {
        ORQSimTransaction inner(Focus());
        WriteAll(2);
        {
            ORQSimTransaction innermost(Focus());
            WriteAll(3);
            SetField(3);
        }
        EXPECT_EQ(FirstComponent(Database()), Filled(100, 2));
        inner.Commit();
    }
    EXPECT_EQ(FirstComponent(Database()), Filled(100, 2));
    EXPECT_EQ(FieldValue(), 1);
    {
        ORQSimTransaction inner(Focus());
        WriteAll(4);
        ORQSimTransaction committed(Focus());
        WriteAll(5);
        committed.Commit();
    }
    EXPECT_EQ(FirstComponent(Database()), Filled(100, 2));
    outer.Commit();
    m_store.Reopen();
    EXPECT_EQ(FirstComponent(Database()), Filled(100, 2));
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(TransactionTest, IdentitiesOfUndoneObjectsAreNotGivenOutAgain) {
    const auto makeAll = [&] {
        const int members[] = {3, 5, 6};
        return std::pair(Focus().CreateDataRecord(Slot(5)).ID().MinorID(),
                         Nodes(Database()).CreateCSet(members, 3, true).Index());
    };
    ORQSimTransaction outer(Focus());
    const auto [object, set] = [&] {
        ORQSimTransaction inner(Focus());
        return makeAll();
    }();
    const auto [laterObject, laterSet] = makeAll();
    EXPECT_GT(laterObject, object);
    EXPECT_GT(laterSet, set);
    EXPECT_TRUE(ORQSimCSet(ORQSimCSetID(Database().ContextID(), Nodes(Database()).ID().MinorID(),
                                        Nodes(Database()).ID().TypeID(), set))
                    .IsEmpty());
}

TEST_P(TransactionTest, CommittingTheOuterOneFirstIsRefusedAndHarmless) {
    ORQSimTransaction outer(Focus());
    SetField(1);
    {
        ORQSimTransaction inner(Focus());
        SetField(2);
        EXPECT_TRUE(Fails(Failure::Usage, {"still open"}, [&] { outer.Commit(); }));
        EXPECT_EQ(FieldValue(), 2);
        inner.Commit();
        EXPECT_TRUE(Fails(Failure::Usage, {"ended already"}, [&] { inner.Commit(); }));
    }
    outer.Commit();
    EXPECT_TRUE(Fails(Failure::Usage, {"ended already"}, [&] { outer.Commit(); }));
    m_store.Reopen();
    EXPECT_EQ(FieldValue(), 2);
}

TEST_P(TransactionTest, WithoutOneNothingCanBeChanged) {
    const ORQSimPosition focus = Focus();
    ORQSimCollection nodes = Nodes(Database());
    const int member = 1;
    const std::vector<std::function<void()>> changes = {
        [&] { focus.SetPosition(Slot(7), focus); },
        [&] { focus.GetMap(Slot(7)).Insert("a", focus); },
        [&] { focus.GetVector(Slot(7)).PushBack(focus); },
        [&] { focus.GetSet(Slot(7)).Insert(focus); },
        [&] { focus.SetName(Slot(7), "a"); },
        [&] { focus.DataRecord().SetDouble(3, 1.0); },
        [&] { focus.CreateDataRecord(Slot(7)); },
        [&] { focus.CreateTypedCollection(Slot(7), 3); },
        [&] { focus.CreateSimpleFTable(0, {}, {}, nullptr, 0); },
        [&] { nodes.ExtendSpace(1000); },
        [&] { nodes.AddMember(focus); },
        [&] { nodes.CreateCSet(&member, 1, true); },
        [&] { RunOf(nodes, 4, 4).RegisterWithCollection(); },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        EXPECT_TRUE(Fails(Failure::Usage, {"transaction"}, changes[i])) << "change " << i;
    }
    EXPECT_TRUE(Fails(Failure::Usage, {"null"}, [] { ORQSimTransaction none{ORQSimPosition()}; }));
}

TEST_P(TransactionTest, NothingIsWrittenThroughNothing) {
    ORQSimTransaction transaction(Focus());
    const ORQSimPosition null;
    ORQSimCollection none;
    for (const std::function<void()>& change : std::vector<std::function<void()>>{
             [&] { null.SetPosition(Slot(7), Focus()); }, [&] { null.SetName(Slot(7), "a"); },
             [&] { null.GetMap(Slot(7)).Insert("a", Focus()); },
             [&] { ORQSimDataRecord().SetInt(0, 1); }, [&] { none.ExtendSpace(1); },
             [&] { none.CreateTempCSet(nullptr, 0, true); },
             [&] { Focus().GetVector(Slot(7)).PushBack(null); }}) {
        EXPECT_TRUE(Fails(Failure::Usage, {}, change));
    }
}

TEST_P(TransactionTest, ClosingUndoesTheOpenOneAndEndsAllUse) {
    const ORQSimPosition focus = Focus();
    const ORQSimCollection nodes = Nodes(Database());
    {
        ORQSimTransaction transaction(focus);
        SetField(9);
        m_store->Close();
        EXPECT_TRUE(Fails(Failure::Usage, {"ended already"}, [&] { transaction.Commit(); }));
    }
    EXPECT_TRUE(Database().IsClosed());
    EXPECT_TRUE(Database().Focus().IsNull());
    EXPECT_TRUE(Fails(Failure::Usage, {"closed"}, [&] { focus.GetPosition(Slot(1)); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"closed"}, [&] { (void)nodes.Space(); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"closed"}, [&] { focus.DataRecord().GetInt(0); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"closed"}, [&] { ORQSimTransaction late(focus); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"closed"}, [&] { (void)focus.Focus(); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"closed"}, [&] { (void)focus.IsA(ORQSimSchema::Focus); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"closed"}, [&] { (void)focus.GetMap(Slot(1)).Size(); }));
    EXPECT_TRUE(focus.Doc().IsClosed());
    EXPECT_FALSE(focus.TypePosition().IsNull());
    EXPECT_EQ(nodes.ID(), ORQSimPosition(nodes.ID()).GetCollection());
    EXPECT_TRUE(Fails(Failure::Usage, {"not open"}, [&] { (void)Database().Verify(); }));
    if (m_store.IsOnDisk()) {
        m_store.Reopen();
        EXPECT_EQ(FieldValue(), 0);
        EXPECT_TRUE(Fails(Failure::Usage, {"closed"}, [&] { focus.GetPosition(Slot(1)); }));
    }
}

TEST_P(TransactionTest, OneThatChangesNothingIsNoNewState) {
    const std::int64_t generation = Database().Generation();
    InTransaction(Database(), [] {});
    EXPECT_EQ(Database().Generation(), generation);
    InTransaction(Database(), [&] { SetField(1); });
    EXPECT_EQ(Database().Generation(), generation + 1);
}

// What is overwritten again and again takes the space of two copies, not of all.
TEST_P(TransactionTest, OverwritingDoesNotGrowTheFile) {
    for (int round = 0; round < 30; ++round) {
        InTransaction(Database(), [&] { WriteAll(round); });
    }
    EXPECT_LE(Database().Sizes().bulk, 6 * 4096);
    EXPECT_EQ(FirstComponent(Database()), Filled(100, 29));
    EXPECT_EQ(Database().Verify(), Texts());
}
