// Links in all their kinds, and the ways back along them.
#include <tuple>

#include "ORQSimLinks.h"
#include "Vocabulary.h"

namespace {

Texts Keys(const ORQSimMap& map) {
    Texts keys;
    for (auto i = map.Begin(); i.NotDone(); ++i) {
        keys.push_back(i.Key().UTF8());
        EXPECT_EQ(map.Find(i.Key()), *i);
    }
    EXPECT_EQ(keys.size(), static_cast<std::size_t>(map.Size()));
    return keys;
}

template <class Links>
std::vector<ORQSimPosition> Targets(const Links& links) {
    std::vector<ORQSimPosition> targets;
    for (auto i = links.Begin(); !i.Done(); ++i) {
        targets.push_back(i.Value());
    }
    EXPECT_EQ(targets.size(), static_cast<std::size_t>(links.Size()));
    return targets;
}

class LinkTest : public DatabaseTest {
  protected:
    void SetUp() override {
        MakeModel(Database(), 10);
        m_transaction.emplace(Database().ContextID());
        a = Record();
        b = Record();
        c = Record();
    }
    ORQSimPosition Record() const { return Focus().CreateDataRecord(Slot(20)).Pos(); }

    std::optional<ORQSimTransaction> m_transaction;
    ORQSimPosition a, b, c;
    const int slot = Slot(30);
};

}  // namespace

ON_BOTH_MEDIA(LinkTest);

TEST_P(LinkTest, AChildIsOneLinkForEachSlotAndMember) {
    a.SetPosition(slot, b);
    a.Associate(slot, 7, c);
    a.Associate(Slot(31), 7, b);
    EXPECT_EQ(a.GetPosition(slot), b);
    EXPECT_EQ(a.Follow(slot, 0), b);
    EXPECT_EQ(a.Follow(slot, 7), c);
    EXPECT_TRUE(a.Follow(slot, 1).IsNull());
    a.Associate(slot, 7, b);
    EXPECT_EQ(a.Follow(slot, 7), b);
    EXPECT_TRUE(c.Parent(slot).IsNull());
    a.Associate(slot, 7, {});
    EXPECT_TRUE(a.Follow(slot, 7).IsNull());
    EXPECT_EQ(a.Follow(Slot(31), 7), b);
}

TEST_P(LinkTest, AChildThatWasFollowedIsTheOldOneAgainAfterAnUndo) {
    a.SetPosition(slot, b);
    EXPECT_EQ(a.GetPosition(slot), b);
    {
        const ORQSimTransaction inner(Database().ContextID());
        a.SetPosition(slot, c);
        a.Associate(slot, 1, c);
        EXPECT_EQ(a.GetPosition(slot), c);
        EXPECT_EQ(a.Follow(slot, 1), c);
    }
    EXPECT_EQ(a.GetPosition(slot), b);
    EXPECT_TRUE(a.Follow(slot, 1).IsNull());
    m_transaction.reset();
    EXPECT_TRUE(a.GetPosition(slot).IsNull());
}

// Far more than are remembered, so that some share a place.
TEST_P(LinkTest, ManyChildrenAreFollowedInTurns) {
    const std::vector<ORQSimPosition> targets = {a, b, c, {}};
    constexpr int kCount = 1000;
    const auto targetOf = [&](int member) { return targets[static_cast<std::size_t>(member % 4)]; };
    for (int member = 0; member < kCount; ++member) {
        a.Associate(slot, member, targetOf(member));
        b.Associate(slot, member, targetOf(member + 1));
    }
    for (int member = 0; member < kCount; ++member) {
        ASSERT_EQ(a.Follow(slot, member), targetOf(member));
        ASSERT_EQ(b.Follow(slot, member), targetOf(member + 1));
        ASSERT_TRUE(a.Follow(Slot(31), member).IsNull());
    }
}

TEST_P(LinkTest, MapsHaveUniqueExactKeysInOrderOfTheirBytes) {
    const ORQSimMap map = a.GetMap(slot);
    for (const char* key : {"b", "B", "\xC3\xA4", "a", "", "aa", " a"}) {
        EXPECT_TRUE(map.Insert(key, b)) << key;
    }
    EXPECT_FALSE(map.Insert("a", c));
    EXPECT_EQ(map.Find("a"), b);
    EXPECT_EQ(Keys(map), (Texts{"", " a", "B", "a", "aa", "b", "\xC3\xA4"}));
    EXPECT_TRUE(map.Find("A").IsNull());
    EXPECT_TRUE(map.Remove("a"));
    EXPECT_FALSE(map.Remove("a"));
    EXPECT_EQ(map.Size(), 6);
    EXPECT_EQ(a.GetMap(Slot(31)).Size(), 0);
}

TEST_P(LinkTest, VectorsKeepTheOrderOfInsertionAndRepetitions) {
    const ORQSimVector vector = a.GetVector(slot);
    for (const ORQSimPosition& target : {c, b, c, a}) {
        vector.PushBack(target);
    }
    EXPECT_EQ(Targets(vector), (std::vector{c, b, c, a}));
    EXPECT_EQ(vector[2], c);
    EXPECT_TRUE(vector[4].IsNull());
    EXPECT_TRUE(vector[-1].IsNull());
    vector.Truncate(1);
    vector.PushBack(b);
    EXPECT_EQ(Targets(vector), (std::vector{c, b}));
}

TEST_P(LinkTest, SetsAscendByIdentityAndHoldNothingTwice) {
    ORQSimSet stored = a.GetSet(slot);
    ORQSimSet own;
    for (ORQSimSet* set : {&stored, &own}) {
        for (const ORQSimPosition& target : {c, a, b, c, a}) {
            set->Insert(target);
        }
        EXPECT_EQ(Targets(*set), (std::vector{a, b, c}));
        EXPECT_TRUE(set->IsMember(b));
        set->Remove(b);
        set->Remove(b);
        EXPECT_FALSE(set->IsMember(b));
        EXPECT_EQ(Targets(*set), (std::vector{a, c}));
    }
    own.Insert({});
    EXPECT_EQ(own.Size(), 2);
    ORQSimSet withNull(true);
    withNull.Insert({});
    EXPECT_EQ(withNull.Size(), 1);
    EXPECT_TRUE(a.GetSet(Slot(31)).Empty());
}

// More links than lie together, with keys of all lengths; what is changed meanwhile is not seen.
TEST_P(LinkTest, AWalkGoesOverALongMapAsItWasWhenItBegan) {
    const ORQSimMap map = a.GetMap(slot);
    Texts keys;
    for (int i = 0; i < 3000; ++i) {
        const auto length = static_cast<std::size_t>(i % 500 == 0 ? 40'000 : i % 300);
        keys.push_back(std::to_string(10'000 + i) + std::string(length, 'k'));
        ASSERT_TRUE(map.Insert(keys.back().c_str(), i % 2 == 0 ? b : c));
    }
    auto walk = map.Begin();
    ASSERT_TRUE(map.Remove(keys[1].c_str()));
    ASSERT_TRUE(map.Remove(keys.back().c_str()));
    ASSERT_TRUE(map.Insert("2", a));
    auto twin = walk;
    for (std::size_t i = 0; i < keys.size(); ++i, ++walk) {
        ASSERT_TRUE(walk.NotDone()) << i;
        ASSERT_EQ(walk.Key().UTF8(), keys[i]);
        ASSERT_EQ(*walk, i % 2 == 0 ? b : c) << i;
    }
    EXPECT_TRUE(walk.Done());
    ASSERT_TRUE(twin.NotDone()) << "walks go on by themselves";
    EXPECT_EQ((++twin).Key().UTF8(), keys[1]);
    EXPECT_EQ(map.Begin().Key().UTF8(), keys[0]);
    EXPECT_TRUE(b.GetMap(slot).Begin().Done());
}

TEST_P(LinkTest, WaysBackLeadFromChildrenMapsVectorsAndSets) {
    a.SetPosition(slot, c);
    b.GetMap(slot).Insert("key of c", c);
    b.GetMap(slot).Insert("another", c);
    c.GetVector(slot).PushBack(c);
    a.GetSet(slot).Insert(c);
    b.GetSet(slot).Insert(c);
    EXPECT_EQ(Targets(c.ReferrersSet(slot)), (std::vector{a, b, c}));
    EXPECT_TRUE(c.ReferrersSet(Slot(31)).Empty());
    EXPECT_EQ(c.Parent(slot), a);
    EXPECT_EQ(c.GetReferenceKey(slot), "another");
    a.SetPosition(slot, {});
    EXPECT_EQ(c.Parent(slot), b);
    b.GetMap(slot).Remove("key of c");
    b.GetMap(slot).Remove("another");
    EXPECT_EQ(c.Parent(slot), c);
    c.GetVector(slot).Truncate(0);
    EXPECT_TRUE(c.Parent(slot).IsNull());
    EXPECT_EQ(Targets(c.ReferrersSet(slot)), (std::vector{a, b}));
    EXPECT_EQ(c.GetReferenceKey(slot), "");
}

TEST_P(LinkTest, NamesComeFromTheSlotTheMapOrTheSymbol) {
    a.SetName(Slot(40), "forty");
    a.SetName(Slot(40), "forty again");
    EXPECT_EQ(a.Name(Slot(40)), "forty again");
    EXPECT_EQ(a.Name(Slot(41)), "");
    EXPECT_EQ(a.Name(), "");
    Focus().GetMap(slot).Insert("key", a);
    EXPECT_EQ(a.Name(), "key");
    a.SetName(ORQSimSchema::Record_name, "own");
    EXPECT_EQ(a.Name(), "own");
    EXPECT_EQ(a.GetReferenceKey(slot), "key");
}

TEST_P(LinkTest, LinksOfAllKindsSurviveReopening) {
    Focus().SetPosition(Slot(40), a);
    a.SetPosition(slot, b);
    a.GetMap(slot).Insert("\xE2\x82\xAC", c);
    a.GetVector(slot).PushBack(c);
    a.GetVector(slot).PushBack(b);
    a.GetSet(slot).Insert(c);
    const auto words = [](const ORQSimPosition& position) {
        return std::tuple(position.ID().Category(), position.ID().MinorID(), position.ID().TypeID(),
                          position.ID().Index());
    };
    const auto before = words(a);
    m_transaction->Commit();
    m_transaction.reset();
    m_store.Reopen();
    const ORQSimPosition again = At(Database(), 40);
    EXPECT_EQ(words(again), before);
    EXPECT_EQ(again == a, !m_store.IsOnDisk());
    EXPECT_EQ(Keys(again.GetMap(slot)), Texts{"\xE2\x82\xAC"});
    EXPECT_EQ(Targets(again.GetVector(slot)),
              (std::vector{again.GetMap(slot).Find("\xE2\x82\xAC"), again.GetPosition(slot)}));
    EXPECT_EQ(again.GetVector(slot)[0].ReferrersSet(slot).Size(), 1);
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(LinkTest, LinksLeadOnlyToLastingObjectsOfTheSameDatabase) {
    const ORQSimDatabase other = ORQSimDatabase::CreateInMemory();
    EXPECT_TRUE(
        Fails(Failure::Usage, {"another database"}, [&] { a.SetPosition(slot, other.Focus()); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"another database"},
                      [&] { a.GetMap(slot).Insert("x", other.Focus()); }));
    EXPECT_TRUE(Fails(Failure::Usage, {}, [&] { a.SetPosition(slot, a.TypePosition()); }));
    const ORQSimPosition set = RunOf(Nodes(Database()), 1, 3).RegisterWithCollection();
    EXPECT_TRUE(Fails(Failure::Usage, {"no links"}, [&] { set.SetPosition(slot, a); }));
    EXPECT_TRUE(set.GetPosition(slot).IsNull());
}

TEST_P(LinkTest, TemporarySetsAreKeptWhenLinked) {
    const int members[] = {7, 2, 5};
    const ORQSimCSetID temporary = Nodes(Database()).CreateTempOrderedCSet(members, 3);
    a.SetPosition(slot, temporary);
    a.GetMap(slot).Insert("again", temporary);
    Focus().SetPosition(Slot(40), a);
    const ORQSimPosition kept = a.GetPosition(slot);
    EXPECT_GT(kept.ID().Index(), 0);
    EXPECT_EQ(a.GetMap(slot).Find("again"), kept);
    EXPECT_EQ(kept.Parent(slot), a);
    m_transaction->Commit();
    m_transaction.reset();
    m_store.Reopen();
    EXPECT_EQ(OrderedMembers(At(Database(), 40).GetPosition(slot).CSet()), (Ints{7, 2, 5}));
}

TEST_P(LinkTest, NothingIsReadThroughNothing) {
    const ORQSimPosition null;
    EXPECT_TRUE(null.GetPosition(slot).IsNull());
    EXPECT_TRUE(null.Parent(slot).IsNull());
    EXPECT_TRUE(null.Focus().IsNull());
    EXPECT_TRUE(null.GetMap(slot).Find("a").IsNull());
    EXPECT_EQ(null.GetMap(slot).Size() + null.GetVector(slot).Size() + null.GetSet(slot).Size() +
                  null.ReferrersSet(slot).Size(),
              0);
    EXPECT_TRUE(null.GetVector(slot).Begin().Done());
    EXPECT_FALSE(null.IsA(Slot(20)));
    EXPECT_EQ(null.Name(), "");
    EXPECT_EQ(null.GetSymbolPosition(), -1);
    EXPECT_EQ(null.DataRecord().GetInt(3), 0);
    EXPECT_TRUE(null.CSet().IsEmpty());
    EXPECT_TRUE(null.GetCSet().IsNull());
    EXPECT_TRUE(null.Doc().IsClosed());
    EXPECT_TRUE(null.TypePosition().IsNull());
}

TEST_P(LinkTest, TypesAndTheirBasesAreKnown) {
    const ORQSimPosition table = Focus().CreateDataRecord(ORQSimSchema::Field_FTable_created).Pos();
    EXPECT_TRUE(table.IsA(ads_CoreFragmentTypeIndex(22, 39)));
    EXPECT_TRUE(table.IsA(ads_CoreFragmentTypeIndex(16, 39)));
    EXPECT_FALSE(table.IsA(ads_CoreFragmentTypeIndex(16, 68)));
    EXPECT_TRUE(table.TypePosition().IsA(ads_CoreFragmentTypeIndex(16, 39)));
    EXPECT_EQ(table.TypePosition().Name(), "Field_FTable_created");
    EXPECT_EQ(a.TypePosition().Name(), "(900, 20)");
}
