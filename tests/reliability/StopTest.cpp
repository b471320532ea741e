// A process that stops, or a power that fails, at every call to the disk; and disks that refuse.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <set>

#include "HistoryTest.h"
#include "ORQSrvBulkShellLayers.h"
#include "Peer.h"

namespace {

using Loss = ReplayedDisk::Loss;
constexpr Loss kLosses[] = {Loss::None, Loss::All, Loss::SomeChanges, Loss::SomeSectors};

class StopTest : public HistoryTest {
  protected:
    using How = DiskWatch::How;
    // Opens the database in state number `done`, plays the next transaction and closes it, while
    // the disk fails from call `first` on, to `last`. Answers whether a call has failed.
    bool PlayOnFailingDisk(std::size_t done, std::size_t first, std::size_t last, How how) {
        bool isUndone = false;
        bool mayBeDone = false;
        std::size_t nCalls = 0;
        {
            DiskWatch watch(m_folder / ".");
            watch.Fail(first, last, how);
            ORQSimDatabase database;
            try {
                database = Open();
                ModelHistory()[done](database);
            } catch (const ORQBasFailure& failure) {
                isUndone = true;
                EXPECT_TRUE(failure.Kind() == Failure::Io) << failure.Text();
                EXPECT_NE(failure.Text().find(m_path), std::string::npos) << failure.Text();
            }
            nCalls = watch.Calls().size();
            watch.Fail(0, 0, how);
            omi_Singleton<ORQSrvBulkShellLayers>::Instance().Clean();
            if (isUndone && !database.IsClosed()) {
                mayBeDone = ExpectUndoneOrRefused(database, done);
            }
            watch.Fail(isUndone ? 0 : first, isUndone ? 0 : last, how);
            database.Close();
            nCalls = std::max(nCalls, watch.Calls().size());
        }
        ExpectState(isUndone ? done : done + 1, mayBeDone);
        return nCalls > first;
    }
};

}  // namespace

TEST_F(StopTest, AtEveryCallTheLastCommitIsFound) {
    ASSERT_NO_FATAL_FAILURE(Record());
    const auto isOf = [&](const char* file) {
        return std::ranges::any_of(m_calls,
                                   [&](const DiskCall& call) { return call.file.ends_with(file); });
    };
    ASSERT_TRUE(isOf("/catalogue.sqlite") && isOf("-wal") && isOf("/bulk.bin"));
    ReplayedDisk disk(m_files);
    std::size_t done = 0;
    for (std::size_t n = 0; n <= m_calls.size(); ++n) {
        while (done + 1 < m_states.size() && m_states[done + 1].nCalls <= n) {
            ++done;
        }
        for (int round = 0; round < Thoroughness(); ++round) {
            // Each call meets every kind of loss when there are rounds enough.
            const auto kind = (n + static_cast<std::size_t>(round)) % std::size(kLosses);
            SCOPED_TRACE("after " + std::to_string(n) + " calls, loss " + std::to_string(kind) +
                         ", round " + std::to_string(round));
            std::mt19937 random(static_cast<unsigned>(1000 * n) + static_cast<unsigned>(round));
            Write(disk.After(kLosses[kind], random));
            ASSERT_NO_FATAL_FAILURE(ExpectState(done, true));
        }
        if (n < m_calls.size()) {
            disk.Carry(m_calls[n]);
        }
    }
}

// A disk may take long for a call, also in the first commit after the log was folded in.
TEST_F(StopTest, ReadersOpenAtEveryCallOfACommit) {
    const auto set = [](const ORQSimDatabase& database, const char* name) {
        InTransaction(database, [&] { database.Focus().SetName(Slot(20), name); });
    };
    { set(ORQSimDatabase::Create(m_path), "first"); }
    std::filesystem::permissions(m_folder / ".", std::filesystem::perms(0755));
    const auto read = [&] {
        return ORQSimDatabase::Open(m_path, Mode::ReadOnly).Focus().Name(Slot(20)).UTF8();
    };
    Peer reader(std::vector<Peer::Step>(100, read));
    // One who may not write, where that can be somebody else.
    Peer onlooker(std::vector<Peer::Step>(100, [&] {
        return geteuid() != 0 || setuid(65534) == 0 ? read() : "cannot become another user";
    }));
    std::size_t nOpened = 0;
    for (const auto& [before, after] : {std::pair("first", "second"), {"second", "third"}}) {
        const ORQSimDatabase database = Open();
        DiskWatch watch(m_folder / ".");
        watch.AtEachCall([&, was = before] {
            EXPECT_EQ(reader.Run(), was);
            EXPECT_EQ(onlooker.Run(), was);
            ++nOpened;
        });
        set(database, after);
        watch.AtEachCall(nullptr);
        EXPECT_EQ(reader.Run(), after);
    }
    EXPECT_GT(nOpened, 5U);
}

// SQLite writes pages to the log before the commit, and reads them from there.
TEST_F(StopTest, OfATransactionLargerThanTheCacheAllOrNothingIsFound) {
    constexpr int kRecords = 300;
    constexpr std::size_t kText = 100'000;
    const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
    const auto write = [&](const std::string& text) {
        for (int i = 0; i < kRecords; ++i) {
            const ORQSimPosition record = database.Focus().CreateDataRecord(Slot(1)).Pos();
            record.DataRecord().SetString(0, ORQString(text + std::to_string(i)));
            database.Focus().SetPosition(Slot(100 + i), record);
        }
    };
    // What is found where power fails now: the index of the log is in memory alone.
    const auto found = [&](const ORQSimDatabase& handle) {
        std::set<char> texts;
        for (int i = 0; i < kRecords; ++i) {
            const ORQString text = At(handle, 100 + i).DataRecord().ReturnString(0);
            texts.insert(text.UTF8().empty() ? '0' : text.UTF8()[0]);
        }
        EXPECT_EQ(handle.Verify(), Texts());
        return std::string(texts.begin(), texts.end());
    };
    const auto foundAfterStop = [&] {
        const std::filesystem::path copy = m_folder / "copy.orq";
        std::filesystem::remove_all(copy);
        std::filesystem::copy(m_path, copy);
        std::filesystem::remove(copy / "catalogue.sqlite-shm");
        return found(ORQSimDatabase::Open(copy.string(), Mode::ReadWrite));
    };
    {
        ORQSimTransaction outer(database.ContextID());
        write(std::string(kText, 'a'));
        {
            const ORQSimTransaction inner(database.ContextID());
            write(std::string(kText, 'b'));
            EXPECT_EQ(foundAfterStop(), "0");
        }
        EXPECT_EQ(found(database), "a");
        outer.Commit();
    }
    EXPECT_EQ(found(database), "a");
    EXPECT_EQ(foundAfterStop(), "a");
}

TEST_F(StopTest, WhileADatabaseIsMadeThereIsNoneOrAWholeOne) {
    const DiskWatch watch(m_folder / ".");
    { const ORQSimDatabase database = ORQSimDatabase::Create(m_path); }
    const std::vector<DiskCall> calls = watch.Calls();
    ReplayedDisk disk({});
    int nFound = 0;
    for (std::size_t n = 0; n <= calls.size(); ++n) {
        for (const Loss loss : kLosses) {
            SCOPED_TRACE("after " + std::to_string(n) + " calls");
            std::mt19937 random(static_cast<unsigned>(n));
            Write(disk.After(loss, random));
            if (!std::filesystem::exists(m_path)) {
                EXPECT_LT(n, calls.size());
                continue;
            }
            const ORQSimDatabase database = Open();
            ASSERT_EQ(database.Verify(), Texts());
            ASSERT_TRUE(database.Focus().IsA(ORQSimSchema::Focus));
            MakeModel(database, 3);
            ++nFound;
        }
        if (n < calls.size()) {
            disk.Carry(calls[n]);
        }
    }
    EXPECT_GT(nFound, 0);
}

TEST_F(StopTest, ADatabaseThatCannotBeMadeLeavesNothing) {
    std::size_t n = 0;
    for (bool hasFailed = true; hasFailed; ++n) {
        SCOPED_TRACE("call " + std::to_string(n) + " fails");
        DiskWatch watch(m_folder / ".");
        watch.Fail(n, n + 1, How::Refuse);
        try {
            const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
            EXPECT_EQ(database.Verify(), Texts());
        } catch (const ORQBasFailure& failure) {
            EXPECT_EQ(failure.Kind(), Failure::Io) << failure.Text();
            EXPECT_TRUE(Read().empty()) << failure.Text();
        }
        hasFailed = watch.Calls().size() > n;
        Write({});
    }
    EXPECT_GT(n, 10U);
}

TEST_F(StopTest, ACallThatFailsUndoesItsTransactionAndNoMore) {
    ASSERT_NO_FATAL_FAILURE(Record());
    struct Way {
        const char* name;
        How how;
        std::size_t nCalls;
    };
    constexpr Way kWays[] = {{"refused", How::Refuse, 1},
                             {"refused, and all that follow", How::Refuse, 1'000'000},
                             {"refused by a quota", How::Quota, 1},
                             {"shortened", How::Shorten, 1}};
    const std::size_t nWays = Thoroughness() > 1 ? std::size(kWays) : 1;
    const std::size_t step = Thoroughness() > 1 ? 1 : 2;
    ReplayedDisk disk(m_files);
    std::size_t nCarried = 0;
    for (std::size_t done = 0; done + 1 < m_states.size(); ++done) {
        for (; nCarried < m_states[done].nCalls; ++nCarried) {
            disk.Carry(m_calls[nCarried]);
        }
        std::mt19937 unused;
        const Files files = disk.After(Loss::None, unused);
        bool hasFailed = true;
        for (std::size_t first = done % step; hasFailed; first += step) {
            for (std::size_t i = 0; i < nWays; ++i) {
                const Way& way = kWays[(first / step + i) % std::size(kWays)];
                SCOPED_TRACE("transaction " + std::to_string(done) + ", call " +
                             std::to_string(first) + ": " + way.name);
                Write(files);
                hasFailed = PlayOnFailingDisk(done, first, first + way.nCalls, way.how);
                ASSERT_FALSE(HasFailure());
            }
        }
    }
}

TEST_F(StopTest, WhatAKilledProcessLeftOfADatabaseGoesWhenTheNextOneOfItsNameIsMade) {
    namespace fs = std::filesystem;
    const std::string path = m_folder / "next.orq";
    // As a process leaves them that was killed while it made one.
    const std::string left = path + ".new-aB3xYz";
    fs::create_directories(left);
    ORQSimDatabase::Create(left + "/next.orq");
    const Texts kept = {path + ".old-aB3xYz", m_folder / "b.orq.new-aB3xYz", path + ".new-design"};
    for (const std::string& each : kept) {
        ORQSimDatabase::Create(each);
    }
    const int lock = open(left.c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    ORQSimDatabase::Create(path);
    EXPECT_TRUE(fs::exists(left)) << "its process lives";
    close(lock);
    fs::remove_all(path);
    ORQSimDatabase::Create(path);
    EXPECT_FALSE(fs::exists(left));
    EXPECT_TRUE(
        std::ranges::all_of(kept, [](const std::string& each) { return fs::exists(each); }));
}

// Space that stopped transactions took is found again.
TEST_F(StopTest, StoppingAgainAndAgainDoesNotGrowTheFiles) {
    ASSERT_NO_FATAL_FAILURE(Record());
    std::mt19937 random(20240610);
    std::int64_t most = 0;
    const int nRounds = 60 * Thoroughness();
    for (int round = 0; round < nRounds; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const Files before = Read();
        std::vector<DiskCall> calls;
        {
            const DiskWatch watch(m_folder / ".");
            const ORQSimDatabase database = Open();
            ASSERT_EQ(database.Verify(), Texts());
            ModelHistory().back()(database);
            calls = watch.Calls();
        }
        ReplayedDisk disk(before);
        const std::size_t stop = random() % (calls.size() + 1);
        std::for_each_n(calls.begin(), stop, [&](const DiskCall& call) { disk.Carry(call); });
        Files after = disk.After(kLosses[random() % std::size(kLosses)], random);
        Write(after);
        // The log is folded in when a process has written a thousand pages, or at the last close.
        const auto log = static_cast<std::int64_t>(after["model.orq/catalogue.sqlite-wal"].size());
        most = std::max(most, SizeOf(after) - log);
        EXPECT_LT(log, 1'200 * 2'072);
    }
    EXPECT_LT(most, 2 * m_size);
}
