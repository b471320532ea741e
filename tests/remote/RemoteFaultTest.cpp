// Lines that are cut, clients and servers that are killed: the store has the last head, and who
// asks is told what became of a commit.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <random>

#include "Proxy.h"
#include "RemoteFixture.h"

namespace {

class RemoteFaultTest : public RemoteFixture {
  protected:
    // The value that the newest state holds, as another machine finds it; all of its bulk data is
    // the same.
    double NewestValue(std::int64_t* generation = nullptr) {
        const std::string former = std::getenv("XDG_CACHE_HOME");
        UseMachine("looker-" + std::to_string(++m_nLooks));
        const ORQSimDatabase database = Open(Mode::ReadOnly);
        EXPECT_EQ(database.Verify(), Texts());
        const Doubles values = FirstComponent(database);
        EXPECT_EQ(values, Filled(kSharedNodes, values.front()));
        EXPECT_EQ(database.Focus().DataRecord().GetInt(0), static_cast<int>(values.front()));
        if (generation != nullptr) {
            *generation = database.Generation();
        }
        setenv("XDG_CACHE_HOME", former.c_str(), 1);
        return values.front();
    }
    // Rows and bulk data in one transaction.
    static void Put(const ORQSimDatabase& database, double value) {
        InTransaction(database, [&] {
            Append(database, RunOf(Nodes(database), 0, kSharedNodes),
                   RunOf(Components(database), 0, 1), Filled(kSharedNodes, value));
            database.Focus().DataRecord().SetInt(0, static_cast<int>(value));
        });
    }

    int m_nLooks = 0;
};

// A process that runs an action and is killed at some instant.
template <class Action>
void RunAndKill(int microseconds, Action&& action) {
    const pid_t process = fork();
    if (process == 0) {
        action();
        _exit(0);
    }
    usleep(static_cast<useconds_t>(microseconds));
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
}

// Writes 1, 2, ... after `from` until it fails or is killed; notes each in shared memory when its
// commit has returned.
void PutUntilKilled(const std::string& url, int* done) {
    try {
        const ORQSimDatabase database = ORQSimDatabase::Open(url, Mode::ReadWrite);
        for (int value = *done + 1;; ++value) {
            InTransaction(database, [&] {
                Append(database, RunOf(Nodes(database), 0, kSharedNodes),
                       RunOf(Components(database), 0, 1), Filled(kSharedNodes, value));
                database.Focus().DataRecord().SetInt(0, value);
            });
            *done = value;
        }
    } catch (const ORQBasFailure&) {
    }
}

}  // namespace

TEST_F(RemoteFaultTest, WhereverTheLineIsCutACommitIsDoneOrUndone) {
    Proxy proxy(m_server->Folder());
    {
        const ORQSimDatabase database = Create();
        Put(database, 1);
    }
    const std::string url = m_server->Url(m_name, proxy.Folder());
    double value = 1;
    int nDone = 0;
    int nUndone = 0;
    bool hasCut = true;
    for (int n = 0; hasCut; ++n) {
        SCOPED_TRACE("before answer " + std::to_string(n));
        ASSERT_LT(n, 50);
        UseMachine("first");
        bool isDone = false;
        std::int64_t before = 0;
        {
            ORQSimDatabase database = ORQSimDatabase::Open(url, Mode::ReadWrite);
            before = database.Generation();
            proxy.CutBeforeAnswer(n);
            try {
                Put(database, value + 1);
                isDone = true;
            } catch (const ORQBasFailure& failure) {
                EXPECT_EQ(failure.Kind(), Failure::Io) << failure.Text();
                EXPECT_NE(failure.Text().find(m_name), std::string::npos) << failure.Text();
                // What was undone here goes in the next time.
                EXPECT_EQ(FirstComponent(database), Filled(kSharedNodes, value));
            }
            hasCut = proxy.HasCut();
            EXPECT_EQ(FirstComponent(database), Filled(kSharedNodes, value + (isDone ? 1 : 0)));
        }
        value += isDone ? 1 : 0;
        std::int64_t generation = 0;
        ASSERT_EQ(NewestValue(&generation), value);
        ASSERT_EQ(generation, before + (isDone ? 1 : 0));
        nDone += isDone && hasCut ? 1 : 0;
        nUndone += isDone ? 0 : 1;
    }
    // The answer of COMMIT was one of those that were lost.
    EXPECT_EQ(nDone, 1);
    EXPECT_GE(nUndone, 1);
}

TEST_F(RemoteFaultTest, ACommitThatGoesOnWithoutItsLineIsWaitedFor) {
    Proxy proxy(m_server->Folder());
    {
        const ORQSimDatabase database = Create();
        Put(database, 1);
    }
    m_server->Ask(
        "CREATE FUNCTION wait_a_while() RETURNS trigger LANGUAGE plpgsql AS "
        "$$BEGIN PERFORM pg_sleep(0.5); RETURN NULL; END$$;"
        "CREATE CONSTRAINT TRIGGER slow AFTER INSERT ON orq_commit DEFERRABLE INITIALLY DEFERRED "
        "FOR EACH ROW EXECUTE FUNCTION wait_a_while()");
    {
        const ORQSimDatabase database =
            ORQSimDatabase::Open(m_server->Url(m_name, proxy.Folder()), Mode::ReadWrite);
        proxy.CutBeforeAnswer(1, Proxy::When::Asked);  // that of COMMIT
        EXPECT_NO_THROW(Put(database, 2));
        EXPECT_TRUE(proxy.HasCut());
    }
    m_server->Ask("DROP TRIGGER slow ON orq_commit; DROP FUNCTION wait_a_while");
    EXPECT_EQ(NewestValue(), 2);
}

TEST_F(RemoteFaultTest, ACommitWhoseOutcomeNobodyTellsLeavesTheHandleInDoubt) {
    Proxy proxy(m_server->Folder());
    {
        const ORQSimDatabase database = Create();
        Put(database, 1);
    }
    setenv("ORQ_STORE_PATIENCE", "1", 1);
    ORQSimDatabase database =
        ORQSimDatabase::Open(m_server->Url(m_name, proxy.Folder()), Mode::ReadWrite);
    proxy.Block(true);
    proxy.CutBeforeAnswer(1);
    EXPECT_TRUE(
        Fails(Failure::Refused, {m_name, "was committed shows when"}, [&] { Put(database, 2); }));
    EXPECT_TRUE(Fails(Failure::Refused, {}, [&] { Put(database, 3); }));
    unsetenv("ORQ_STORE_PATIENCE");
    database.Close();
    proxy.Block(false);
    EXPECT_EQ(NewestValue(), 2);
    EXPECT_EQ(FirstComponent(Open(Mode::ReadOnly)), Filled(kSharedNodes, 2));
}

TEST_F(RemoteFaultTest, ACommitWhoseRecordWasPrunedIsNotGuessed) {
    Proxy proxy(m_server->Folder());
    {
        const ORQSimDatabase database = Create();
        Put(database, 1);
    }
    const pid_t other = fork();
    if (other == 0) {
        // Others went on, and pruned, while the answer was lost.
        while (!proxy.HasCut()) {
            usleep(1000);
        }
        m_server->Ask("UPDATE orq_model SET generation = 5, oldest = 5 WHERE name = '" + m_name +
                      "'; DELETE FROM orq_commit WHERE identity = (SELECT identity FROM orq_model "
                      "WHERE name = '" +
                      m_name + "')");
        proxy.Block(false);
        _exit(0);
    }
    const ORQSimDatabase database =
        ORQSimDatabase::Open(m_server->Url(m_name, proxy.Folder()), Mode::ReadWrite);
    proxy.Block(true);
    proxy.CutBeforeAnswer(1);  // that of COMMIT
    EXPECT_TRUE(Fails(Failure::Refused, {m_name, "state 4", "cannot be told", "pruned"},
                      [&] { Put(database, 2); }));
    EXPECT_TRUE(Fails(Failure::Refused, {}, [&] { Put(database, 3); }));
    waitpid(other, nullptr, 0);
}

TEST_F(RemoteFaultTest, KilledWritersLeaveTheLastHead) {
    {
        const ORQSimDatabase database = Create();
        Put(database, 0);
    }
    setenv("ORQ_LEASE_SECONDS", "1", 1);
    int* done = static_cast<int*>(
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::mt19937 random(7);
    int nMoved = 0;
    for (int round = 0; round < 6 * Thoroughness(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const int before = *done;
        m_server->Ask("UPDATE orq_model SET lease = NULL");  // of the one that was killed
        RunAndKill(static_cast<int>(random() % 150'000), [&] { PutUntilKilled(m_url, done); });
        const double found = NewestValue();
        // The last one may have been committed without anybody being told.
        ASSERT_TRUE(found == *done || found == *done + 1) << found << " after " << *done;
        *done = static_cast<int>(found);
        nMoved += *done > before ? 1 : 0;
    }
    EXPECT_GT(nMoved, 0);
    unsetenv("ORQ_LEASE_SECONDS");
}

TEST_F(RemoteFaultTest, KilledServersLeaveTheLastHead) {
    {
        const ORQSimDatabase database = Create();
        Put(database, 0);
    }
    std::mt19937 random(11);
    int value = 0;
    for (int round = 0; round < 3 * Thoroughness(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        m_server->Ask("UPDATE orq_model SET lease = NULL");
        int* done = static_cast<int*>(
            mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        *done = value;
        const pid_t process = fork();
        if (process == 0) {
            PutUntilKilled(m_url, done);
            _exit(0);
        }
        usleep(static_cast<useconds_t>(50'000 + random() % 100'000));
        m_server->CrashAndRestart();
        // It either was told that a commit is undone, or goes on after the crash.
        usleep(100'000);
        if (waitpid(process, nullptr, WNOHANG) == 0) {
            kill(process, SIGKILL);
            waitpid(process, nullptr, 0);
        }
        const double found = NewestValue();
        ASSERT_TRUE(found == *done || found == *done + 1) << found << " after " << *done;
        value = static_cast<int>(found);
        munmap(done, sizeof(int));
    }
    EXPECT_GT(value, 0);
}
