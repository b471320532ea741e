// Redirecting and deleting whole objects: what referred to them refers to the other one, or to
// nothing, and the database is sound.
#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimLinks.h"
#include "ORQSimReferences.h"
#include "ORQSimSymbols.h"
#include "Vocabulary.h"

namespace {

class ReferencesTest : public DatabaseTest {
  protected:
    static constexpr int kNodes = 10;

    void SetUp() override {
        MakeModel(Database(), kNodes);
        m_transaction.emplace(Database().ContextID());
        Append(Database(), RunOf(Nodes(Database()), 0, kNodes), RunOf(Components(Database()), 0, 1),
               Filled(kNodes, 1.5));
        for (ORQSimPosition* const record : {&a, &b, &c}) {
            *record = Focus().CreateDataRecord(Slot(20)).Pos();
        }
        Focus().SetPosition(Slot(40), a);
    }
    ORQSimReferences References() const { return ORQSimReferences(Database().ContextID()); }
    ORQSimCSetID StoredSet(const Ints& members) const {
        ORQSimCollection nodes = Nodes(Database());
        return nodes.CreateOrderedCSet(members.data(), static_cast<int>(members.size()));
    }
    Ints Places(const ORQSimVector& vector) const {
        Ints places;
        for (int i = 0; i < vector.Size(); ++i) {
            places.push_back(vector[i] == b ? 1 : vector[i] == c ? 2 : 0);
        }
        return places;
    }
    // All is committed and read again from what was stored.
    void ExpectSound() {
        m_transaction->Commit();
        m_transaction.reset();
        EXPECT_EQ(Database().Verify(), Texts());
    }

    std::optional<ORQSimTransaction> m_transaction;
    ORQSimPosition a, b, c;
    const int slot = Slot(30);
};

}  // namespace

ON_BOTH_MEDIA(ReferencesTest);

TEST_P(ReferencesTest, ADeletedObjectGoesWithAllLinksIntoIt) {
    ORQSimCollection list(Focus().CreateTypedCollection(Slot(21), 0).GetCollection());
    Focus().SetPosition(Slot(41), list.ID());
    for (const ORQSimPosition& member : {a, b, c}) {
        list.AddMember(member);
    }
    a.Associate(slot, 3, b);
    a.GetMap(slot).Insert("b", b);
    a.GetMap(slot).Insert("also b", b);
    a.GetMap(slot).Insert("c", c);
    const ORQSimVector vector = a.GetVector(slot);
    for (const ORQSimPosition& target : {b, c, b, c}) {
        vector.PushBack(target);
    }
    a.GetSet(slot).Insert(b);
    b.SetPosition(slot, c);
    b.SetName(Slot(31), "name");
    b.DataRecord().SetInt(0, 7);
    ORQSimSymbols(Database().ContextID()).Create(ORQSimTypeID(Slot(22)), 5, "s", list.ID());
    EXPECT_TRUE(References().IsUsed(b.ID()));

    References().Delete(b.ID());
    EXPECT_FALSE(References().IsUsed(b.ID()));
    EXPECT_TRUE(a.Follow(slot, 3).IsNull());
    EXPECT_EQ(a.GetMap(slot).Size(), 1);
    EXPECT_EQ(Places(vector), (Ints{2, 2}));
    EXPECT_TRUE(a.GetSet(slot).Empty());
    EXPECT_EQ(list.Space(), 3);
    EXPECT_TRUE(list.GetMember(1).IsNull());
    EXPECT_EQ(list.MemberIndex(c), 2);
    EXPECT_TRUE(c.Parent(slot) == a);
    // A second time there is no such object.
    EXPECT_TRUE(Fails(Failure::Usage, {"cannot be deleted"}, [&] { References().Delete(b.ID()); }));
    ExpectSound();
}

TEST_P(ReferencesTest, ASymbolGoesWithItsPlace) {
    const ORQSimSymbols symbols(Database().ContextID());
    const ORQSimCollectionID list = Components(Database()).ID();
    const ORQSimTypeID type(Slot(22));
    const ORQSimDynamicID symbol = symbols.Create(type, 5, "five", list);
    References().Delete(symbol);
    EXPECT_TRUE(symbols.Find(type, "five", list).IsNull());
    EXPECT_FALSE(symbols.Create(type, 5, "five", list).IsNull());
    ExpectSound();
}

TEST_P(ReferencesTest, ACollectionTakesThePlaceOfAnother) {
    const ORQSimCollectionID former = Nodes(Database()).ID();
    const ORQSimDistribution field = Field(Database());
    const ORQSimCSetID some = StoredSet({4, 2});
    a.SetPosition(slot, some);
    a.GetMap(slot).Insert("some", some);
    a.GetVector(slot).PushBack(Nodes(Database()).EmptyCSetID());
    a.SetPosition(Slot(32),
                  Focus().CreateTypedDSet(
                      ORQSimCtation(std::vector{ORQSimCompartment(std::vector{some})}), Slot(23)));
    const ORQSimDSetID standing = Focus().Context().CreateDSet(field.ID(), ORQSimTypeID(Slot(24)));
    a.SetPosition(Slot(33), standing);
    EXPECT_EQ(References().LinkedSets(former).size(), 2U);
    ASSERT_EQ(References().DistributionsOver(former).size(), 1U);
    EXPECT_EQ(References().DataSetsOn(field.ID()), std::vector{standing});

    ORQSimCollection nodes(Focus().CreateTypedCollection(Slot(1), 5).GetCollection());
    const Ints members = {1, 0};
    References().Redirect(some, nodes.CreateOrderedCSet(members.data(), 2));
    References().Redirect(Nodes(Database()).EmptyCSetID(), nodes.EmptyCSetID());
    EXPECT_EQ(OrderedMembers(a.GetPosition(slot).CSet()), members);
    EXPECT_EQ(OrderedMembers(a.GetMap(slot).Find("some").CSet()), members);
    EXPECT_EQ(a.GetVector(slot)[0].CSet().CollectionID(), nodes.ID());
    EXPECT_EQ(Members(a.GetPosition(Slot(32)).DSet().Collect(nodes.ID())), (Ints{0, 1}));

    // The field is over it still.
    EXPECT_TRUE(Fails(Failure::Usage, {"cannot be deleted", "is over it"},
                      [&] { References().Delete(former); }));
    References().Delete(field.ID());
    EXPECT_TRUE(a.GetPosition(Slot(33)).DSet().GetRelationalDistributionID().IsNull());
    References().Redirect(former, nodes.ID());
    References().Delete(former);
    EXPECT_EQ(CollectionAt(Database(), 1).ID(), nodes.ID());
    EXPECT_TRUE(References().LinkedSets(former).empty());
    ExpectSound();
}

TEST_P(ReferencesTest, ASetThatIsCoveredStays) {
    const ORQSimCSetID linked = StoredSet({4, 2});
    a.SetPosition(slot, linked);
    const ORQSimCSetID covered = StoredSet({1, 7});
    ORQSimTransfer(Field(Database()))
        .SetMakeNewDrawer()
        .SetDim(0, ORQSimCSet(covered))
        .SetDim(1, RunOf(Components(Database()), 1, 1))
        .ExecMake();
    EXPECT_TRUE(Fails(Failure::Usage, {"is over it"}, [&] { References().Delete(covered); }));
    EXPECT_TRUE(References().IsUsed(covered));
    References().Delete(linked);
    EXPECT_TRUE(a.GetPosition(slot).IsNull());
    EXPECT_TRUE(
        Fails(Failure::Usage, {"cannot be deleted"}, [&] { References().Delete(Focus().ID()); }));
    ExpectSound();
}

TEST_P(ReferencesTest, WhatAnUndoneTransactionDeletedIsThere) {
    a.GetVector(slot).PushBack(b);
    a.GetVector(slot).PushBack(c);
    const Doubles values = FirstComponent(Database());
    {
        const ORQSimTransaction inner(Database().ContextID());
        References().Delete(b.ID());
        References().Redirect(c.ID(), a.ID());
        References().Delete(Field(Database()).ID());
        EXPECT_TRUE(At(Database(), 3).IsNull());
        EXPECT_EQ(a.GetVector(slot)[0], a);
    }
    EXPECT_EQ(Places(a.GetVector(slot)), (Ints{1, 2}));
    EXPECT_EQ(FirstComponent(Database()), values);
    ExpectSound();
}
