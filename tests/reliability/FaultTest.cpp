// Reads that fail, of the disk or for want of memory: what was read half is never taken for whole,
// neither by the next read, nor by the next write, nor after moving to another state.
#include <numeric>
#include <optional>

#include "HistoryTest.h"
#include "Memory.h"
#include "ORQSimLinks.h"

namespace {

constexpr int kFieldNodes = 2000;

// What fails, and how often.
struct Fault {
    const char* name;
    bool isOfMemory;
    std::size_t count;
};
constexpr Fault kFaults[] = {{"one question to the disk", false, 1},
                             {"all questions to the disk", false, 1'000'000},
                             {"one request for memory", true, 1},
                             {"twenty requests for memory", true, 20}};

// Lets things fail while it lives, from number `first` on.
class Failing {
  public:
    Failing(const std::string& folder, const Fault& fault, std::size_t first) : m_first(first) {
        if (fault.isOfMemory) {
            m_memory.emplace().Fail(first, fault.count);
        } else {
            m_disk.emplace(folder).FailQuestions(first, fault.count);
        }
    }
    bool HasFailed() const {
        return (m_disk ? m_disk->Questions() : m_memory->Requests()) > m_first;
    }

  private:
    std::size_t m_first;
    std::optional<DiskWatch> m_disk;
    std::optional<MemoryWatch> m_memory;
};

// Answers what the failure says; empty when nothing failed.
template <class Action>
std::string FailureOf(Action&& action) {
    try {
        action();
    } catch (const ORQBasFailure& failure) {
        return failure.Text();
    } catch (const std::bad_alloc&) {
        return "out of memory";
    }
    return "";
}

Doubles Numbers(int count, double first) {
    Doubles values(static_cast<std::size_t>(count));
    std::iota(values.begin(), values.end(), first);
    return values;
}

void Overwrite(const ORQSimDatabase& database, int first, const Doubles& values) {
    Append(database, RunOf(Nodes(database), first, static_cast<int>(values.size())),
           RunOf(Components(database), 0, 1), values, 100);
}

// Bulk data in many chunks, a set whose members are bulk data, links and names: read through the
// caches of all of them.
std::string Everything(const ORQSimDatabase& database) {
    std::string all;
    for (const double value : FirstComponent(database)) {
        all += std::to_string(value) + ' ';
    }
    for (auto i = database.Focus().GetMap(Slot(10)).Begin(); i.NotDone(); ++i) {
        all += i.Key().UTF8() + '=' + (*i).DataRecord().ReturnString(0).UTF8() + ';';
    }
    for (const int member : OrderedMembers(At(database, 13).CSet())) {
        all += std::to_string(member) + ' ';
    }
    return all;
}

class FaultTest : public testing::Test {
  protected:
    FaultTest() {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
        MakeModel(database, kFieldNodes);
        InTransaction(database, [&] {
            Overwrite(database, 0, m_values);
            const ORQSimPosition focus = database.Focus();
            for (int i = 0; i < 100; ++i) {
                const ORQSimPosition record = focus.CreateDataRecord(Slot(20)).Pos();
                record.DataRecord().SetString(0, std::string(100, 'a').c_str());
                focus.GetMap(Slot(10)).Insert(("record " + std::to_string(i)).c_str(), record);
            }
            Ints members;
            for (int i = 0; i < 1500; ++i) {
                members.push_back(i + i / 700);
            }
            focus.SetPosition(Slot(13), SetOf(Nodes(database), members).RegisterWithCollection());
        });
    }
    ORQSimDatabase Open(Mode mode) const { return ORQSimDatabase::Open(m_path, mode); }

    // Calls `attempt` with the number of the call that fails, until none does.
    template <class Attempt>
    void WithEveryFault(const Fault& fault, Attempt&& attempt) {
        SCOPED_TRACE(fault.name);
        const std::size_t step = Thoroughness() > 1 ? 1 : fault.isOfMemory ? 41 : 7;
        bool hasFailed = true;
        for (std::size_t first = 0; hasFailed; first += step) {
            SCOPED_TRACE("from number " + std::to_string(first));
            hasFailed = attempt(first);
            ASSERT_FALSE(HasFailure());
        }
    }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
    Doubles m_values = Numbers(kFieldNodes, 1);
};

}  // namespace

TEST_F(FaultTest, AReadThatFailsIsReadAgainAndWrittenBesideWithoutHarm) {
    int nFailed = 0;
    int first = 0;
    for (const Fault& fault : kFaults) {
        WithEveryFault(fault, [&](std::size_t number) {
            const ORQSimDatabase database = Open(Mode::ReadWrite);
            const std::string before = Everything(Open(Mode::ReadOnly));
            std::string read = before;
            bool hasFailed = false;
            std::string failure;
            {
                const Failing failing(m_folder / ".", fault, number);
                failure = FailureOf([&] { read = Everything(database); });
                hasFailed = failing.HasFailed();
            }
            nFailed += failure.empty() ? 0 : 1;
            EXPECT_TRUE(read == before) << "wrong values in silence";
            EXPECT_EQ(FailureOf([&] { read = Everything(database); }), "") << "after " << failure;
            EXPECT_TRUE(read == before) << "wrong values when read again after: " << failure;
            // Part of a chunk, so that its neighbours are carried over.
            const Doubles written = Numbers(130, 1e6 + first);
            EXPECT_EQ(FailureOf([&] {
                          InTransaction(database, [&] { Overwrite(database, first, written); });
                      }),
                      "");
            std::ranges::copy(written, m_values.begin() + first);
            first = (first + 70) % (kFieldNodes - 130);
            const ORQSimDatabase other = Open(Mode::ReadOnly);
            EXPECT_EQ(other.Verify(), Texts());
            EXPECT_TRUE(FirstComponent(other) == m_values) << "neighbours lost after: " << failure;
            return hasFailed;
        });
    }
    EXPECT_GT(nFailed, 20);
}

// A statement that waits on its row for the next query is outdated where another one fails.
TEST_F(FaultTest, ARequestForMemoryThatFailsInOneQueryIsNotReportedByTheNext) {
    const auto readAll = [](const ORQSimDatabase& database) {
        for (auto i = database.Focus().GetMap(Slot(10)).Begin(); i.NotDone(); ++i) {
            EXPECT_EQ((*i).DataRecord().ReturnString(0).Length(), 100);
        }
    };
    for (const Fault& fault : {Fault{"one", true, 1}, Fault{"twenty", true, 20}}) {
        bool hasFailed = true;
        for (std::size_t first = 0; hasFailed; ++first) {
            SCOPED_TRACE(std::string(fault.name) + " from number " + std::to_string(first));
            const ORQSimDatabase database = Open(Mode::ReadWrite);
            {
                const Failing failing(m_folder / ".", fault, first);
                (void)FailureOf([&] { readAll(database); });
                hasFailed = failing.HasFailed();
            }
            ASSERT_EQ(FailureOf([&] { readAll(database); }), "");
        }
    }
}

TEST_F(FaultTest, ARefreshThatFailsLeavesOneStateAndTheNextOneMovesOn) {
    int nFailed = 0;
    double value = 1e6;
    for (const Fault& fault : kFaults) {
        WithEveryFault(fault, [&](std::size_t number) {
            const ORQSimDatabase writer = Open(Mode::ReadWrite);
            ORQSimDatabase reader = Open(Mode::ReadOnly);
            const std::string before = Everything(reader);
            const std::int64_t generation = reader.Generation();
            for (int i = 0; i < 3; ++i) {  // so that space of the old state is free
                InTransaction(writer, [&] {
                    Overwrite(writer, 0, Numbers(kFieldNodes, value += 1e4));
                    writer.Focus().GetMap(Slot(10)).Remove("record 7");
                    writer.Focus().GetMap(Slot(10)).Insert("record 7", At(writer, 1));
                });
            }
            const std::string after = Everything(writer);
            bool hasFailed = false;
            bool hasChanged = false;
            std::string failure;
            {
                const Failing failing(m_folder / ".", fault, number);
                failure = FailureOf([&] { hasChanged = reader.Refresh(); });
                hasFailed = failing.HasFailed();
            }
            nFailed += failure.empty() ? 0 : 1;
            EXPECT_EQ(hasChanged, failure.empty());
            std::string seen;
            if (FailureOf([&] { seen = Everything(reader); }).empty()) {
                EXPECT_TRUE(seen == (hasChanged ? after : before)) << "after " << failure;
                EXPECT_EQ(reader.Generation() > generation, hasChanged);
            }
            bool hasMoved = false;
            EXPECT_EQ(FailureOf([&] {
                          hasMoved = reader.Refresh();
                          seen = Everything(reader);
                      }),
                      "")
                << "after " << failure;
            EXPECT_EQ(hasMoved, !hasChanged) << "after " << failure;
            EXPECT_TRUE(seen == after) << "after " << failure;
            return hasFailed;
        });
    }
    EXPECT_GT(nFailed, 5);
}

// SQLite undoes a transaction in which a page cannot be read; what a program does in it afterwards
// must not be committed each by itself.
TEST_F(FaultTest, WhatFollowsAFailureInsideATransactionIsNotCommittedWithoutWhatWentBefore) {
    int nUndone = 0;
    int round = 0;
    for (const Fault& fault : kFaults) {
        WithEveryFault(fault, [&](std::size_t number) {
            const std::string name = std::to_string(++round);
            const ORQSimDatabase database = Open(Mode::ReadWrite);
            const auto insert = [&](const std::string& part) {
                database.Focus().GetMap(Slot(11)).Insert((part + name).c_str(), database.Focus());
            };
            bool hasFailed = false;
            const std::string failure = FailureOf([&] {
                ORQSimTransaction transaction(database.ContextID());
                insert("first ");
                {
                    const Failing failing(m_folder / ".", fault, number);
                    FailureOf([&] { Everything(database); });
                    FailureOf([&] { Overwrite(database, 50, Numbers(130, -1)); });
                    hasFailed = failing.HasFailed();
                }
                FailureOf([&] { Overwrite(database, 50, Numbers(130, -1)); });
                FailureOf([&] { insert("last "); });
                transaction.Commit();
            });
            nUndone += failure.empty() ? 0 : 1;
            const ORQSimDatabase other = Open(Mode::ReadOnly);
            const ORQSimMap map = other.Focus().GetMap(Slot(11));
            EXPECT_EQ(map.Find(("first " + name).c_str()).IsNull(), !failure.empty()) << failure;
            EXPECT_EQ(map.Find(("last " + name).c_str()).IsNull(), !failure.empty()) << failure;
            if (failure.empty()) {
                std::ranges::copy(Numbers(130, -1), m_values.begin() + 50);
            }
            EXPECT_TRUE(FirstComponent(other) == m_values) << failure;
            EXPECT_EQ(other.Verify(), Texts());
            return hasFailed;
        });
    }
    EXPECT_GT(nUndone, 5);
}

// Rows that wait are written when they are many; where that fails half-way, some of them are there.
TEST_F(FaultTest, AFullDiskIsNamedByAllThatFollowsUntilTheTransactionIsUndone) {
    const ORQSimDatabase database = Open(Mode::ReadWrite);
    const std::string before = Everything(database);
    const ORQSimMap names = database.Focus().GetMap(Slot(10));
    {
        ORQSimTransaction transaction(database.ContextID());
        DiskWatch disk(m_folder / ".");
        disk.Fail(0, 1'000'000, DiskWatch::How::Refuse);
        const ORQSimPosition record = database.Focus().CreateDataRecord(Slot(20)).Pos();
        std::string failure;
        // Four times what stays in memory.
        for (int i = 0; i < 64'000 && failure.empty(); ++i) {
            const std::string name = std::to_string(i) + std::string(1000, 'x');
            failure = FailureOf([&] { names.Insert(ORQString(name.c_str()), record); });
        }
        EXPECT_NE(failure.find("No space left"), std::string::npos) << failure;
        disk.Fail(0, 0, DiskWatch::How::Refuse);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(FailureOf([&] { names.Size(); }), failure);
            EXPECT_NE(FailureOf([&] { names.Insert(ORQString("one more"), record); }), "");
        }
        EXPECT_NE(FailureOf([&] { transaction.Commit(); }), "");
    }
    EXPECT_EQ(Everything(database), before);
    InTransaction(database, [&] { names.Insert(ORQString("one more"), database.Focus()); });
    EXPECT_EQ(database.Verify(), Texts());
}

// Also beside a writer, so that rows come from the log.
TEST_F(FaultTest, ADiskThatFailsIsNamedAndNotTakenForDamage) {
    for (const bool hasLog : {false, true}) {
        std::optional<ORQSimDatabase> writer;
        if (hasLog) {
            writer = Open(Mode::ReadWrite);
            InTransaction(*writer, [&] { Overwrite(*writer, 100, Numbers(300, 7)); });
        }
        std::size_t nFailures = 0;
        bool hasFailed = true;
        for (std::size_t first = 0; hasFailed; ++first) {
            const Failing failing(m_folder / ".", kFaults[0], first);
            try {
                Everything(Open(Mode::ReadOnly));
            } catch (const ORQBasFailure& failure) {
                ++nFailures;
                EXPECT_EQ(failure.Kind(), Failure::Io) << first << ": " << failure.Text();
                EXPECT_NE(failure.Text().find("Input/output error"), std::string::npos)
                    << first << ": " << failure.Text();
            }
            hasFailed = failing.HasFailed();
        }
        EXPECT_GT(nFailures, 10U);
    }
}

TEST_F(FaultTest, AQuestionForTheWriterThatFailsIsAnError) {
    const ORQSimDatabase writer = Open(Mode::ReadWrite);
    const ORQSimDatabase reader = Open(Mode::ReadOnly);
    {
        const Failing failing(m_folder / ".", kFaults[0], 0);
        EXPECT_TRUE(Fails(Failure::Io, {"ask who holds the lock", "Input/output error"},
                          [&] { reader.Writer(); }));
    }
    EXPECT_NE(reader.Writer(), "");
}
