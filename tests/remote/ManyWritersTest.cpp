// Several writers of one model at once, each on a machine of its own: what is disjoint gets in, and
// what meets is told by name.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <map>
#include <numeric>
#include <random>

#include "ORQObjMesh.h"
#include "ORQObjModel.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjStep.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimLinks.h"
#include "ORQSimReferences.h"
#include "Proxy.h"
#include "RemoteFixture.h"

namespace {

// A part of the model that one writer has: under the focus, at a slot of its own, a record under
// which its objects lie. Beside it stands what they have to be.
class Part {
  public:
    Part(const ORQSimDatabase& database, int slot) : m_database(database), m_slot(Slot(slot)) {}

    static void Make(const ORQSimDatabase& database, int slot) {
        InTransaction(database, [&] {
            const ORQSimPosition root = database.Focus().CreateDataRecord(Slot(slot)).Pos();
            database.Focus().SetPosition(Slot(slot), root);
            root.SetPosition(Slot(1), root.CreateTypedCollection(Slot(1), kMostNodes));
            root.SetPosition(Slot(2), root.CreateTypedCollection(Slot(2), 1));
            root.SetPosition(Slot(3), root.CreateTypedDistribution(
                                          ORQSimGrid({root.GetPosition(Slot(1)).GetCollection(),
                                                      root.GetPosition(Slot(2)).GetCollection()}),
                                          Slot(3), ORQSimRangeType(ORQSimScalarDouble)));
        });
    }

    ORQSimPosition Root() const { return m_database.Focus().GetPosition(m_slot); }
    ORQSimMap Names() const { return Root().GetMap(Slot(4)); }

    // One of what a program does with its own results; some of it is undone again.
    void Change(std::mt19937& random) {
        ORQSimTransaction transaction(m_database.ContextID());
        const int value = static_cast<int>(random() % 1000);
        {
            ORQSimTransaction undone(m_database.ContextID());
            AddRecord("undone", value);
            WriteCells(0, value);
        }
        switch (random() % 4) {
            case 0:
                AddRecord("record " + std::to_string(m_numRecords++), value);
                m_records["record " + std::to_string(m_numRecords - 1)] = value;
                break;
            case 1:
                if (!m_records.empty()) {
                    RemoveRecord(m_records.begin()->first);
                    m_records.erase(m_records.begin());
                }
                break;
            case 2:
                GrowCells(value);
                break;
            default:
                if (!m_cells.empty()) {
                    WriteCells(0, value);
                    std::fill_n(m_cells.begin(), 500, value);
                }
        }
        transaction.Commit();
    }

    // Writes 500 cells behind the last ones. REQUIRES: a transaction.
    void GrowCells(int value) {
        m_cells.resize(std::min<std::size_t>(m_cells.size() + 500, kMostNodes), value);
        std::fill(m_cells.end() - 500, m_cells.end(), value);
        WriteCells(static_cast<int>(m_cells.size()) - 500, value);
    }

    // What a handle sees of this part.
    testing::AssertionResult IsIn(const ORQSimDatabase& database) const {
        const Part seen(database, m_slot, 0);
        std::map<std::string, double> records;
        for (auto record = seen.Names().Begin(); record.NotDone(); ++record) {
            records[record.Key().UTF8()] = record.Value().DataRecord().GetDouble(2);
        }
        if (records != m_records) {
            return testing::AssertionFailure()
                   << records.size() << " records, " << m_records.size() << " are due";
        }
        const int nCells = static_cast<int>(m_cells.size());
        if (nCells > 0 && seen.Cells(nCells) != m_cells) {
            return testing::AssertionFailure() << "cells of slot " << m_slot;
        }
        return testing::AssertionSuccess();
    }

  private:
    static constexpr int kMostNodes = 20'000;

    Part(const ORQSimDatabase& database, int slot, int) : m_database(database), m_slot(slot) {}

    ORQSimCollection CollectionAt(int slot) const {
        return ORQSimCollection(Root().GetPosition(Slot(slot)).GetCollection());
    }
    ORQSimDistribution Values() const { return Root().GetPosition(Slot(3)).GetDistribution(); }
    void AddRecord(const std::string& name, int value) const {
        const ORQSimDataRecord record = Root().CreateDataRecord(Slot(5));
        record.SetDouble(2, value);
        Names().Insert(name.c_str(), record.Pos());
    }
    void RemoveRecord(const std::string& name) const {
        ORQSimReferences(m_database.ContextID()).Delete(Names().Find(name.c_str()).ID());
    }
    void WriteCells(int first, double value) const {
        const ORQSimCSet nodes = RunOf(CollectionAt(1), first, 500);
        const ORQSimCSet one = RunOf(CollectionAt(2), 0, 1);
        const Doubles values(500, value);
        const ORQSimDrawerID drawer = Values().NumDrawers() > 0
                                          ? Values().DrawerIDArray().ConstGet(0)
                                          : MakeDrawer(Values(), nodes, one, 700);
        ORQSimTransfer(Values())
            .SetWrite()
            .SetAutoExtend()
            .SetDrawer(drawer)
            .SetDim(0, nodes)
            .SetDim(1, one)
            .SetBuffer(ORQSimbufMain, values.data(),
                       static_cast<std::int64_t>(values.size() * sizeof(double)))
            .ExecWrite();
    }
    Doubles Cells(int count) const {
        return Read(Values(), RunOf(CollectionAt(1), 0, count), RunOf(CollectionAt(2), 0, 1));
    }

    ORQSimDatabase m_database;
    int m_slot;
    int m_numRecords = 0;
    std::map<std::string, double> m_records;
    Doubles m_cells;
};

class ManyWritersTest : public RemoteFixture {
  protected:
    // A model with a part for each writer.
    void CreateParts() const {
        const ORQSimDatabase database = Create();
        Part::Make(database, 11);
        Part::Make(database, 12);
    }
    static std::string BesideOthers(const std::string& url) {
        return url.substr(0, url.find("model=")) + "writers=many&" + url.substr(url.find("model="));
    }
    ORQSimDatabase OpenBesideOthers(const std::string& machine) {
        UseMachine(machine);
        return ORQSimDatabase::Open(BesideOthers(m_url), Mode::ReadWrite);
    }
    // Two processes at once, each with a machine, a handle and the slot of a part.
    template <class Action>
    void RunTwo(const Action& action) {
        std::vector<pid_t> writers;
        for (const int slot : {11, 12}) {
            writers.push_back(fork());
            if (writers.back() != 0) {
                continue;
            }
            try {
                action(OpenBesideOthers(std::to_string(slot)), slot);
            } catch (const ORQBasFailure& failure) {
                std::fprintf(stderr, "writer %d: %s\n", slot, failure.Text().c_str());
                _exit(1);
            }
            _exit(0);
        }
        for (const pid_t writer : writers) {
            int status = -1;
            waitpid(writer, &status, 0);
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        }
    }
    ORQSimDatabase ReadAnew() {
        UseMachine("anew-" + std::to_string(++m_nLooks));
        return Open(Mode::ReadOnly);
    }

  private:
    int m_nLooks = 0;
};

}  // namespace

TEST_F(ManyWritersTest, DisjointPartsBothGetIn) {
    CreateParts();
    ORQSimDatabase handles[] = {OpenBesideOthers("first"), OpenBesideOthers("second")};
    Part parts[] = {{handles[0], 11}, {handles[1], 12}};
    std::mt19937 random(3);
    const std::int64_t before = handles[0].Generation();
    int nTurns = 0;
    for (; nTurns < 200 * Thoroughness(); ++nTurns) {
        SCOPED_TRACE("turn " + std::to_string(nTurns));
        const int who = static_cast<int>(random() % 2);
        ASSERT_NO_THROW(parts[who].Change(random));
        // Who has committed sees what others had committed before.
        ASSERT_TRUE(parts[who].IsIn(handles[who]));
        if (random() % 40 == 0) {
            const ORQSimDatabase anew = ReadAnew();
            ASSERT_EQ(anew.Verify(), Texts());
            ASSERT_TRUE(parts[0].IsIn(anew));
            ASSERT_TRUE(parts[1].IsIn(anew));
        }
    }
    for (ORQSimDatabase& handle : handles) {
        handle.Refresh();
        EXPECT_FALSE(handle.Refresh());
        EXPECT_TRUE(parts[0].IsIn(handle));
        EXPECT_TRUE(parts[1].IsIn(handle));
        EXPECT_EQ(handle.Verify(), Texts());
        handle.Close();
    }
    ORQSimDatabase anew = ReadAnew();
    EXPECT_GT(anew.Generation(), before + nTurns / 2);
    EXPECT_LE(anew.Generation(), before + nTurns);
    EXPECT_EQ(anew.Verify(), Texts());
    // What was moved behind the others' leaves no hole, in a directory as little as in the store.
    anew.CopyTo(m_folder / "pulled.orq");
    EXPECT_EQ(ORQSimDatabase::Open(m_folder / "pulled.orq", Mode::ReadOnly).Verify(), Texts());
}

TEST_F(ManyWritersTest, ProcessesThatCommitAtOnceAllGetIn) {
    CreateParts();
    constexpr int kCommits = 60;
    RunTwo([](const ORQSimDatabase& database, int slot) {
        const ORQSimPosition root = database.Focus().GetPosition(Slot(slot));
        for (int i = 0; i < kCommits; ++i) {
            InTransaction(database, [&] { root.DataRecord().SetInt(0, i); });
        }
    });
    const ORQSimDatabase anew = ReadAnew();
    EXPECT_EQ(anew.Verify(), Texts());
    for (const int slot : {11, 12}) {
        EXPECT_EQ(anew.Focus().GetPosition(Slot(slot)).DataRecord().GetInt(0), kCommits - 1);
    }
}

TEST_F(ManyWritersTest, WhoMeetsAndTriesAgainLosesNoUpdate) {
    CreateParts();
    constexpr int kUpdates = 40;
    RunTwo([](const ORQSimDatabase& database, int slot) {
        std::mt19937 random(static_cast<unsigned>(slot));
        for (int nDone = 0; nDone < kUpdates;) {
            const ORQSimPosition either =
                database.Focus().GetPosition(Slot(11 + static_cast<int>(random() % 2)));
            try {
                InTransaction(database, [&] {
                    either.DataRecord().SetInt(0, either.DataRecord().GetInt(0) + 1);
                });
                ++nDone;
            } catch (const ORQBasFailure& failure) {
                if (failure.Kind() != Failure::Busy) {
                    throw;
                }
            }
        }
    });
    const ORQSimDatabase anew = ReadAnew();
    const auto count = [&](int slot) {
        return anew.Focus().GetPosition(Slot(slot)).DataRecord().GetInt(0);
    };
    EXPECT_EQ(count(11) + count(12), 2 * kUpdates);
}

TEST_F(ManyWritersTest, WhoMeetsIsToldWithWhomAndWhereAndGoesOn) {
    CreateParts();
    const auto at = [](const ORQSimDatabase& database, int slot) {
        return database.Focus().GetPosition(Slot(11)).GetPosition(Slot(slot));
    };
    const auto root = [](const ORQSimDatabase& database) {
        return database.Focus().GetPosition(Slot(11));
    };
    const auto add = [&](const ORQSimDatabase& database, int slot) {
        const ORQSimPosition made = database.Focus().CreateDataRecord(Slot(5)).Pos();
        root(database).SetPosition(Slot(slot), made);
        return made;
    };
    {
        const ORQSimDatabase database = Open(Mode::ReadWrite);
        InTransaction(database, [&] {
            for (int slot = 20; slot < 26; ++slot) {
                add(database, slot);
            }
        });
    }
    struct Case {
        const char* what;
        std::function<void(const ORQSimDatabase&)> first;
        std::function<void(const ORQSimDatabase&)> second;
    };
    const auto setField = [&](int field) {
        return [&at, field](const ORQSimDatabase& database) {
            at(database, 20).DataRecord().SetInt(field, 5);
        };
    };
    const auto remove = [&](int slot) {
        return [&at, slot](const ORQSimDatabase& database) {
            ORQSimReferences(database.ContextID()).Delete(at(database, slot).ID());
        };
    };
    const auto linkTo = [&](int slot, int from) {
        return [&at, &root, slot, from](const ORQSimDatabase& database) {
            root(database).SetPosition(Slot(from), at(database, slot));
        };
    };
    const auto overwrite = [](const ORQSimDatabase& database) {
        Append(database, RunOf(Nodes(database), 0, kSharedNodes), RunOf(Components(database), 0, 1),
               Filled(kSharedNodes, 4));
    };
    const auto insert = [&](const char* name) {
        return [&root, name](const ORQSimDatabase& database) {
            root(database).GetMap(Slot(6)).Insert(name, root(database));
        };
    };
    {
        const ORQSimDatabase database = Open(Mode::ReadWrite);
        InTransaction(database, [&] { overwrite(database); });
    }
    const Case cases[] = {
        {"fields of one record", setField(0), setField(1)},
        {"an object that the other links to", remove(21), linkTo(21, 31)},
        {"a link to what the other removes", linkTo(22, 32), remove(22)},
        {"cells of one drawer", overwrite, overwrite},
        {"one name of a map", insert("a"), insert("a")},
        {"the next member of a collection",
         [&](const ORQSimDatabase& database) {
             ORQSimCollection(at(database, 2).GetCollection()).AddMember(root(database));
         },
         [&](const ORQSimDatabase& database) {
             ORQSimCollection(at(database, 2).GetCollection()).AddMember(at(database, 20));
         }},
    };
    for (const Case& meeting : cases) {
        SCOPED_TRACE(meeting.what);
        const ORQSimDatabase first = OpenBesideOthers("first");
        const ORQSimDatabase second = OpenBesideOthers("second");
        InTransaction(first, [&] { meeting.first(first); });
        // What holds a link is named, and not what the link leads to.
        const bool isLink = std::string(meeting.what).starts_with("an object");
        const std::string named =
            isLink ? std::to_string(root(second).ID().MinorID()) + " (" : std::string();
        EXPECT_TRUE(
            Fails(Failure::Busy,
                  {m_name, "process " + std::to_string(getpid()),
                   "committed state " + std::to_string(first.Generation()), "object " + named},
                  [&] { InTransaction(second, [&] { meeting.second(second); }); }));
        // It sees the other's commit now, and nothing of that is lost.
        EXPECT_EQ(second.Generation(), first.Generation());
        InTransaction(second, [&] { second.Focus().DataRecord().SetInt(3, 1); });
        EXPECT_EQ(second.Generation(), first.Generation() + 1);
        EXPECT_EQ(ReadAnew().Verify(), Texts());
        // What it does again on top of that gets in.
        if (std::string(meeting.what).starts_with("fields")) {
            InTransaction(second, [&] { meeting.second(second); });
            EXPECT_EQ(at(second, 20).DataRecord().GetInt(0), 5);
            EXPECT_EQ(at(second, 20).DataRecord().GetInt(1), 5);
        }
    }
    // Different names of one map do not meet.
    const ORQSimDatabase first = OpenBesideOthers("first");
    const ORQSimDatabase second = OpenBesideOthers("second");
    InTransaction(first, [&] { insert("b")(first); });
    InTransaction(second, [&] { insert("c")(second); });
    EXPECT_EQ(root(second).GetMap(Slot(6)).Size(), 3);
}

TEST_F(ManyWritersTest, ResultFieldsOfTwoProgramsGoIntoOneStep) {
    constexpr double kTimes[] = {0.5, 1.0};
    const auto builderOf = [](const ORQSimDatabase& database) {
        return ORQObjStepBuilder(ORQObjDocument(database));
    };
    {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_url);
        InTransaction(database, [&] {
            const ORQObjModelBuilder builder(database);
            builder.AddNodes(kSharedNodes);
            const ORQSimPosition step =
                builderOf(database).AddStep("Heating", ORQSimSchema::Step_General);
            database.Focus().SetPosition(
                Slot(1), ORQSimPosition(builderOf(database).AddTimes(step, kTimes)));
        });
    }
    const auto addField = [&](const ORQSimDatabase& database, const char* name) {
        const ORQObjDocument document(database);
        const ORQObjStep step = ORQObjModel(document.GetModel()).GetStep("Heating");
        const ORQSimPosition nodes = ORQObjMesh(document.GetMesh()).GetNodeCollection();
        const ORQObjMeshedField field = builderOf(database).AddFieldResult(
            step.Position(), {name,
                              builderOf(database).UserFieldType(name),
                              ORQSimSchema::Field_Nodal,
                              nodes,
                              {{38, name}}});
        field.Write(At(database, 1).GetCSet(),
                    RunOf(ORQSimCollection(nodes.GetCollection()), 0, kSharedNodes),
                    Filled(2 * kSharedNodes, 7).data());
    };
    const ORQSimDatabase first = OpenBesideOthers("first");
    const ORQSimDatabase second = OpenBesideOthers("second");
    InTransaction(first, [&] { addField(first, "mine"); });
    InTransaction(second, [&] { addField(second, "yours"); });
    const ORQSimDatabase anew = ReadAnew();
    EXPECT_EQ(anew.Verify(), Texts());
    const ORQObjModel model(ORQObjDocument(anew).GetModel());
    EXPECT_EQ(ORQObjStep(model.GetStep("Heating")).GetFieldResults().size(), 2);
}

TEST_F(ManyWritersTest, LargeNewDataMovesUpBehindTheLittleOfAnother) {
    constexpr int kNodes = 600'000;
    constexpr int kOfFirst = 1000;
    {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_url);
        MakeModel(database, kNodes);
    }
    Doubles values(kNodes);
    std::iota(values.begin(), values.end(), 0);
    const auto append = [&](const ORQSimDatabase& database, int begin, int end) {
        Append(database, RunOf(Nodes(database), begin, end - begin),
               RunOf(Components(database), 0, 1),
               Doubles(values.begin() + begin, values.begin() + end), kNodes);
    };
    const ORQSimDatabase first = OpenBesideOthers("first");
    const ORQSimDatabase second = OpenBesideOthers("second");
    InTransaction(first, [&] { append(first, 0, kOfFirst); });
    // The places of both overlap: two pages further up, and 4.8 MB large.
    InTransaction(second, [&] { append(second, kOfFirst, kNodes); });
    const ORQSimDatabase anew = ReadAnew();
    EXPECT_EQ(anew.Verify(), Texts());
    EXPECT_EQ(Read(Field(anew), RunOf(Nodes(anew), 0, kNodes), RunOf(Components(anew), 0, 1)),
              values);
}

TEST_F(ManyWritersTest, NumbersAreGivenOnceAndWhatIsUndoneTakesNoneOfOthers) {
    CreateParts();
    const ORQSimDatabase first = OpenBesideOthers("first");
    ORQSimDatabase second = OpenBesideOthers("second");
    const auto addMany = [](const ORQSimDatabase& database) {
        ORQSimPosition last;
        for (int i = 0; i < 40'000; ++i) {
            last = database.Focus().CreateDataRecord(Slot(5)).Pos();
        }
        return last;
    };
    InTransaction(first, [&] { addMany(first); });
    InTransaction(second, [&] {
        second.Focus().SetPosition(Slot(30), second.Focus().CreateDataRecord(Slot(5)).Pos());
    });
    ORQSimPosition undone;
    {
        // Has numbers below those of the other one, and above.
        const ORQSimTransaction transaction(first.ContextID());
        undone = addMany(first);
    }
    ORQSimDatabase(first).Refresh();
    EXPECT_GT(undone.ID().MinorID(), At(first, 30).ID().MinorID());
    InTransaction(first, [&] { At(first, 30).DataRecord().SetInt(0, 8); });
    EXPECT_TRUE(Fails(Failure::Usage, {"was undone"}, [&] {
        InTransaction(first, [&] { first.Focus().SetPosition(Slot(31), undone); });
    }));
    // The latest drawer counts, whoever had the higher numbers first.
    const auto cover = [](const ORQSimDatabase& database, double value) {
        InTransaction(database, [&] {
            const Doubles values = Filled(10, value);
            ORQSimTransfer(Field(database))
                .SetWrite()
                .SetMakeNewDrawer()
                .SetDim(0, RunOf(Nodes(database), 0, 10))
                .SetDim(1, RunOf(Components(database), 0, 1))
                .SetBuffer(ORQSimbufMain, values.data(), 80)
                .ExecWrite();
        });
    };
    cover(first, 1);
    cover(second, 2);
    ORQSimDatabase(first).Refresh();
    cover(first, 3);
    const ORQSimDatabase anew = ReadAnew();
    EXPECT_EQ(Read(Field(anew), RunOf(Nodes(anew), 0, 10), RunOf(Components(anew), 0, 1)),
              Filled(10, 3));
    EXPECT_EQ(anew.Verify(), Texts());
}

TEST_F(ManyWritersTest, WhereNumbersEndNothingIsHarmed) {
    CreateParts();
    m_server->Ask("UPDATE orq_model SET next_set = 2147483000 WHERE name = '" + m_name + "'");
    const ORQSimDatabase database = OpenBesideOthers("first");
    EXPECT_TRUE(Fails(Failure::Usage, {m_name, "all numbers of sets"}, [&] {
        InTransaction(database, [&] { RunOf(Nodes(database), 3, 4).RegisterWithCollection(); });
    }));
    InTransaction(database, [&] { database.Focus().DataRecord().SetInt(0, 1); });
    EXPECT_EQ(ReadAnew().Verify(), Texts());
}

TEST_F(ManyWritersTest, WhoWritesAloneKeepsTheOthersOut) {
    CreateParts();
    ORQSimDatabase beside = OpenBesideOthers("first");
    Part part(beside, 11);
    std::mt19937 random(5);
    part.Change(random);
    UseMachine("second");
    ORQSimDatabase alone = Open(Mode::ReadWrite);
    const std::string writer = "process " + std::to_string(getpid());
    EXPECT_TRUE(Fails(Failure::Busy, {m_name, writer, "alone"}, [&] {
        InTransaction(beside, [&] { beside.Focus().DataRecord().SetInt(0, 1); });
    }));
    EXPECT_TRUE(Fails(Failure::Busy, {m_name, writer}, [&] { OpenBesideOthers("third"); }));
    InTransaction(alone, [&] {
        alone.Focus().SetPosition(Slot(30), alone.Focus().CreateDataRecord(Slot(5)).Pos());
    });
    alone.Close();
    // Numbers that it had before are its own still.
    for (int i = 0; i < 10; ++i) {
        part.Change(random);
    }
    EXPECT_TRUE(part.IsIn(beside));
    const ORQSimDatabase anew = ReadAnew();
    EXPECT_TRUE(part.IsIn(anew));
    EXPECT_FALSE(At(anew, 30).IsNull());
    EXPECT_EQ(anew.Verify(), Texts());
}

TEST_F(ManyWritersTest, WhoIsKilledOrCutOffBetweenRebaseAndCommitLosesNothingOfOthers) {
    CreateParts();
    const auto put = [](const ORQSimDatabase& database, int slot, int value) {
        InTransaction(database, [&] {
            const ORQSimPosition root = database.Focus().GetPosition(Slot(slot));
            root.DataRecord().SetInt(0, value);
            root.GetMap(Slot(4)).Insert(std::to_string(value).c_str(),
                                        database.Focus().CreateDataRecord(Slot(5)).Pos());
        });
    };
    const auto valueOf = [](const ORQSimDatabase& database, int slot) {
        return database.Focus().GetPosition(Slot(slot)).DataRecord().GetInt(0);
    };
    Proxy proxy(m_server->Folder());
    const std::string url = BesideOthers(m_server->Url(m_name, proxy.Folder()));
    int last = 0;  // that the second one is known to have put
    int nKilled = 0;
    for (int n = 0;; ++n) {
        SCOPED_TRACE("before answer " + std::to_string(n));
        ASSERT_LT(n, 30);
        int ready[2];
        int go[2];
        ASSERT_TRUE(pipe(ready) == 0 && pipe(go) == 0);
        const pid_t process = fork();
        if (process == 0) {
            UseMachine("second");
            const ORQSimDatabase database = ORQSimDatabase::Open(url, Mode::ReadWrite);
            char byte = 0;
            if (write(ready[1], &byte, 1) != 1 || read(go[0], &byte, 1) != 1) {
                _exit(2);
            }
            put(database, 12, n + 1);
            _exit(0);
        }
        char byte = 0;
        ASSERT_EQ(read(ready[0], &byte, 1), 1);
        put(OpenBesideOthers("first"), 11, n + 1);
        proxy.KillBeforeAnswer(n, process);
        ASSERT_EQ(write(go[1], &byte, 1), 1);
        int status = -1;
        waitpid(process, &status, 0);
        for (const int end : {ready[0], ready[1], go[0], go[1]}) {
            close(end);
        }
        const bool wasKilled = WIFSIGNALED(status);
        nKilled += wasKilled ? 1 : 0;
        ORQSimDatabase anew = ReadAnew();
        ASSERT_EQ(anew.Verify(), Texts());
        ASSERT_EQ(valueOf(anew, 11), n + 1);
        const int found = valueOf(anew, 12);
        ASSERT_TRUE(found == n + 1 || (wasKilled && found == last));
        last = found;
        if (!wasKilled) {
            ASSERT_EQ(WEXITSTATUS(status), 0);
            break;
        }
    }
    EXPECT_GT(nKilled, 4);
}

TEST_F(ManyWritersTest, WhereverTheLineIsCutInARebaseTheHandleGoesOn) {
    Proxy proxy(m_server->Folder());
    CreateParts();
    const std::string url = BesideOthers(m_server->Url(m_name, proxy.Folder()));
    const ORQSimDatabase first = OpenBesideOthers("first");
    UseMachine("second");
    const ORQSimDatabase second = ORQSimDatabase::Open(url, Mode::ReadWrite);
    Part parts[] = {{first, 11}, {second, 12}};
    std::mt19937 random(9);
    int nFailed = 0;
    bool hasCut = true;
    for (int n = 0; hasCut; ++n) {
        SCOPED_TRACE("before answer " + std::to_string(n));
        ASSERT_LT(n, 50);
        for (int i = 0; i < 4; ++i) {
            parts[0].Change(random);  // with bulk data in most turns
        }
        const std::int64_t before = second.Generation();
        const Part former = parts[1];
        proxy.CutBeforeAnswer(n);
        try {
            InTransaction(second, [&] { parts[1].GrowCells(n); });
        } catch (const ORQBasFailure& failure) {
            EXPECT_EQ(failure.Kind(), Failure::Io) << failure.Text();
            parts[1] = former;
            EXPECT_EQ(second.Generation(), before);
            ++nFailed;
        }
        hasCut = proxy.HasCut();
        proxy.CutBeforeAnswer(-1);
        ASSERT_TRUE(parts[1].IsIn(second));
        parts[1].Change(random);
        ASSERT_TRUE(parts[1].IsIn(second));
        ASSERT_TRUE(parts[0].IsIn(second));
    }
    EXPECT_GT(nFailed, 3);
    const ORQSimDatabase anew = ReadAnew();
    EXPECT_EQ(anew.Verify(), Texts());
    EXPECT_TRUE(parts[0].IsIn(anew));
    EXPECT_TRUE(parts[1].IsIn(anew));
}

TEST_F(ManyWritersTest, WhatAStoreCannotHaveBeenGivenIsNotBuiltOn) {
    CreateParts();
    const ORQSimDatabase first = OpenBesideOthers("first");
    const ORQSimDatabase second = OpenBesideOthers("second");
    Part parts[] = {{first, 11}, {second, 12}};
    std::mt19937 random(2);
    parts[0].Change(random);
    const std::string where = " WHERE generation = " + std::to_string(first.Generation()) +
                              " AND identity = (SELECT identity FROM orq_model WHERE name = '" +
                              m_name + "')";
    m_server->Ask("CREATE TABLE kept AS TABLE orq_changeset");
    m_server->Ask("UPDATE orq_changeset SET bytes = set_byte(bytes, 5, 99)" + where);
    const Part former = parts[1];
    EXPECT_TRUE(Fails(Failure::Damaged, {m_name, "checksum"}, [&] { parts[1].Change(random); }));
    parts[1] = former;
    m_server->Ask(
        "DELETE FROM orq_changeset; INSERT INTO orq_changeset SELECT * FROM kept; DROP "
        "TABLE kept");
    parts[1].Change(random);
    const ORQSimDatabase anew = ReadAnew();
    EXPECT_TRUE(parts[0].IsIn(anew));
    EXPECT_TRUE(parts[1].IsIn(anew));
}
