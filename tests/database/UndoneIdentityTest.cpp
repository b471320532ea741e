// Identities that an undone transaction gave out: nothing is written through them or leads to them.
#include <functional>
#include <string>
#include <vector>

#include "ORQSimContext.h"
#include "ORQSimLinks.h"
#include "ORQSimSymbols.h"
#include "Vocabulary.h"

namespace {

// What a transaction gave out before it was undone.
struct Undone {
    ORQSimPosition record;
    ORQSimPosition collection;
    ORQSimCSetID set;
    ORQSimDistributionID distribution;
    ORQSimDrawerID drawer;  // of the field that was there before
};

class UndoneIdentityTest : public DatabaseTest {
  protected:
    void SetUp() override {
        MakeModel(Database(), 100);
        InTransaction(Database(), [&] {
            Focus().SetPosition(Slot(4), Focus().CreateDataRecord(Slot(4)).Pos());
            MakeDrawer(Field(Database()), RunOf(Nodes(Database()), 0, 5),
                       RunOf(Components(Database()), 0, 3), 4);
        });
    }

    Undone MakeAll() const {
        const int members[] = {3, 5, 6};
        Undone made;
        made.record = Focus().CreateDataRecord(Slot(5)).Pos();
        made.collection = Focus().CreateTypedCollection(Slot(6), 10);
        made.set = Nodes(Database()).CreateCSet(members, 3, true);
        made.distribution = Focus()
                                .CreateTypedDistribution(ORQSimGrid({Nodes(Database()).ID()}),
                                                         Slot(7), ORQSimRangeType(ORQSimScalarInt))
                                .GetDistribution();
        made.drawer = MakeDrawer(Field(Database()), RunOf(Nodes(Database()), 10, 5),
                                 RunOf(Components(Database()), 0, 3), 4);
        return made;
    }

    struct Write {
        const char* name;
        std::function<void(const Undone&)> write;
        std::string named;  // in the message
    };

    std::vector<Write> Writes() const {
        const ORQSimPosition there = At(Database(), 4);
        const std::string object = "object ";
        const double values[] = {1, 2, 3};
        const auto transfer = [this, values](const ORQSimDistribution& field,
                                             const ORQSimCSet& nodes,
                                             const ORQSimDrawerID& drawer) {
            ORQSimTransfer write(field);
            write.SetWrite();
            if (drawer.IsNull()) {
                write.SetMakeNewDrawer();
            } else {
                write.SetDrawer(drawer);
            }
            write.SetDim(0, nodes)
                .SetDim(1, RunOf(Components(Database()), 0, 1))
                .SetBuffer(ORQSimbufMain, values, sizeof values)
                .ExecWrite();
        };
        const ORQSimContext context(Database().ContextID());
        return {
            {"a field", [](auto& u) { u.record.DataRecord().SetInt(0, 1); }, object},
            {"a name", [](auto& u) { u.record.SetName(Slot(1), "x"); }, object},
            {"a child of it", [=](auto& u) { u.record.SetPosition(Slot(1), there); }, object},
            {"a child to it", [=](auto& u) { there.SetPosition(Slot(1), u.record); }, object},
            {"a map entry", [=](auto& u) { there.GetMap(Slot(1)).Insert("x", u.record); }, object},
            {"a vector entry", [=](auto& u) { u.record.GetVector(Slot(1)).PushBack(there); },
             object},
            {"a set entry", [=](auto& u) { there.GetSet(Slot(1)).Insert(u.record); }, object},
            {"a link to a set", [=](auto& u) { there.SetPosition(Slot(1), u.set); }, "set "},
            {"the space of a collection",
             [](auto& u) { ORQSimCollection(u.collection.GetCollection()).ExtendSpace(20); },
             object},
            {"a member", [=, this](auto& u) { Nodes(Database()).SetMember(1, u.record); }, object},
            {"a symbol",
             [=](auto& u) {
                 ORQSimSymbols(context.ID())
                     .Create(ORQSimTypeID(Slot(1)), 0, "s", u.collection.GetCollection());
             },
             object},
            {"a set of a dead collection",
             [](auto& u) {
                 ORQSimCollection(u.collection.GetCollection()).CreateCSetStrided(0, 3, 1, 1);
             },
             object},
            {"the registration of a set",
             [](auto& u) { ORQSimCSet(u.set).RegisterWithCollection(); }, "set "},
            {"a grid",
             [](auto& u) {
                 ORQSimContext(u.set.ContextID())
                     .CreateDistribution(ORQSimGrid({u.collection.GetCollection()}),
                                         ORQSimRangeType(ORQSimScalarInt), ORQSimTypeID(Slot(1)));
             },
             object},
            {"a data set on a distribution",
             [=](auto& u) { context.CreateDSet(u.distribution, ORQSimTypeID(Slot(1))); }, object},
            {"a compartment",
             [=](auto& u) {
                 there.CreateTypedDSet(ORQSimCtation(std::vector{
                                           ORQSimCompartment(std::vector<ORQSimCSetID>{u.set})}),
                                       Slot(1));
             },
             "set "},
            {"a transfer over a set",
             [=, this](auto& u) { transfer(Field(Database()), u.set, {}); }, "set "},
            {"a transfer to a distribution",
             [=, this](auto& u) { transfer(u.distribution, RunOf(Nodes(Database()), 0, 3), {}); },
             object},
            {"a transfer to a drawer",
             [=, this](auto& u) {
                 transfer(Field(Database()), RunOf(Nodes(Database()), 10, 3), u.drawer);
             },
             "drawer "},
        };
    }
};

}  // namespace

ON_BOTH_MEDIA(UndoneIdentityTest);

TEST_P(UndoneIdentityTest, WritingThroughThemOrToThemIsRefusedByName) {
    // Undone with an inner level, with the outermost one, and committed by an inner one that was
    // undone with the level around it.
    Undone undone[3];
    {
        ORQSimTransaction outer(Focus());
        {
            ORQSimTransaction inner(Focus());
            undone[0] = MakeAll();
        }
        undone[1] = MakeAll();
        ORQSimTransaction inner(Focus());
        undone[2] = MakeAll();
        inner.Commit();
    }
    for (const Undone& made : undone) {
        for (const Write& write : Writes()) {
            ORQSimTransaction transaction(Focus());
            EXPECT_TRUE(Fails(Failure::Usage, {write.named, "was undone"}, [&] {
                write.write(made);
            })) << write.name;
        }
    }
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(UndoneIdentityTest, NothingOfThemIsKeptByACommitThatGoesOn) {
    Undone undone;
    {
        ORQSimTransaction transaction(Focus());
        undone = MakeAll();
    }
    // As a host would that does not look at the failure of one call.
    InTransaction(Database(), [&] {
        for (const Write& write : Writes()) {
            EXPECT_TRUE(Fails(Failure::Usage, {}, [&] { write.write(undone); })) << write.name;
        }
        EXPECT_GT(Focus().CreateDataRecord(Slot(9)).ID().MinorID(), undone.record.ID().MinorID());
    });
    m_store.Reopen();
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(UndoneIdentityTest, ReadingThroughThemAnswersNothing) {
    Undone undone;
    {
        ORQSimTransaction transaction(Focus());
        undone = MakeAll();
    }
    EXPECT_FALSE(undone.record.IsNull());
    EXPECT_TRUE(undone.record.Focus().IsNull());
    EXPECT_FALSE(undone.record.IsA(Slot(5)));
    EXPECT_EQ(undone.record.DataRecord().GetInt(0), 0);
    EXPECT_TRUE(undone.record.Name().IsEmpty());
    EXPECT_TRUE(undone.record.GetPosition(Slot(1)).IsNull());
    EXPECT_EQ(undone.record.GetMap(Slot(1)).Size(), 0);
    EXPECT_EQ(ORQSimCollection(undone.collection.GetCollection()).Space(), 0);
    EXPECT_TRUE(undone.collection.CSet().IsEmpty());
    EXPECT_TRUE(ORQSimCSet(undone.set).IsEmpty());
    EXPECT_EQ(ORQSimDistribution(undone.distribution).NumDrawers(), 0);
    EXPECT_EQ(ORQSimDistribution(undone.distribution).NumDimensions(), 0);
    EXPECT_EQ(Field(Database()).DrawerDescription(undone.drawer).NumDimensions(), 0);
    EXPECT_EQ(Nodes(Database()).MemberIndex(undone.record), -1);
    EXPECT_TRUE(Fails(Failure::Usage, {"was undone"},
                      [&] { ORQSimTransfer(undone.distribution).SetRead().CheckView(); }));
    // Those that were committed afterwards are read, also where their numbers lie between.
    Undone kept;
    InTransaction(Database(), [&] { kept = MakeAll(); });
    {
        const ORQSimTransaction transaction(Focus());
        MakeAll();
    }
    EXPECT_TRUE(kept.record.IsA(Slot(5)));
    EXPECT_EQ(Members(kept.set), Ints({3, 5, 6}));
    EXPECT_EQ(Field(Database()).DrawerDescription(kept.drawer).DataSizeItems(), 15);
}
