// What the system refuses: files beyond a number or a size, permissions, shared memory.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "DiskCalls.h"
#include "History.h"
#include "Vocabulary.h"

namespace {

// A limit of this process while it lives.
class Limit {
  public:
    Limit(__rlimit_resource what, rlim_t value) : m_what(what) {
        getrlimit(what, &m_before);
        const rlimit limit{value, m_before.rlim_max};
        setrlimit(what, &limit);
    }
    ~Limit() { setrlimit(m_what, &m_before); }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

  private:
    __rlimit_resource m_what;
    rlimit m_before{};
};

class LimitsTest : public testing::Test {
  protected:
    LimitsTest() {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
        MakeModel(database, 50'000);
        Fill(database, 1000, 1);
    }
    static void Fill(const ORQSimDatabase& database, int count, double value) {
        InTransaction(database, [&] {
            Append(database, RunOf(Nodes(database), 0, count), RunOf(Components(database), 0, 1),
                   Filled(count, value));
        });
    }
    // Some 12 MB.
    static constexpr int kLarge = 1'500'000;
    static void FillLarge(const ORQSimDatabase& database, double value) {
        Append(database, RunOf(Nodes(database), 0, kLarge), RunOf(Components(database), 0, 1),
               Filled(kLarge, value), 300'000);
    }
    static std::ptrdiff_t NumReserves(const DiskWatch& watch) {
        return std::ranges::count(watch.Calls(), DiskCall::Kind::Reserve, &DiskCall::kind);
    }
    static double Value(const ORQSimDatabase& database) { return FirstComponent(database).front(); }
    ORQSimDatabase Open(Mode mode = Mode::ReadWrite) const {
        return ORQSimDatabase::Open(m_path, mode);
    }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
};

}  // namespace

TEST_F(LimitsTest, TooManyOpenFilesAreAnErrorAndNoHarm) {
#ifdef SANITIZED
    GTEST_SKIP() << "the sanitizer opens a pipe to look at the type of an exception";
#endif
    // The descriptors that the process has, and one more each time until it is enough.
    const int free = dup(0);
    close(free);
    int nRefused = 0;
    for (int more = 0; more < 20; ++more) {
        SCOPED_TRACE(more);
        std::optional<ORQSimDatabase> database;
        {
            const Limit files(RLIMIT_NOFILE, static_cast<rlim_t>(free + more));
            try {
                database = Open();
                Fill(*database, 1000, more);
            } catch (const ORQBasFailure& failure) {
                EXPECT_EQ(failure.Kind(), Failure::Io) << failure.Text();
                EXPECT_NE(failure.Text().find(m_path), std::string::npos) << failure.Text();
                EXPECT_NE(failure.Text().find("Too many open files"), std::string::npos)
                    << failure.Text();
                ++nRefused;
            }
        }
        if (!database) {
            database = Open();
        }
        EXPECT_EQ(database->Verify(), Texts());
        Fill(*database, 1000, -1);
    }
    EXPECT_GT(nRefused, 2);
    EXPECT_LT(nRefused, 19);
}

TEST_F(LimitsTest, AFileThatMayNotGrowUndoesTheTransaction) {
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    const ORQSimDatabase database = Open();
    for (const rlim_t size : {0U, 5000U, 20'000U, 100'000U, 300'000U}) {
        SCOPED_TRACE(size);
        {
            const Limit sizes(RLIMIT_FSIZE, size);
            EXPECT_TRUE(Fails(Failure::Io, {m_path}, [&] { Fill(database, 50'000, 7); }));
            EXPECT_EQ(Value(database), 1);
        }
        EXPECT_EQ(database.Verify(), Texts());
    }
    Fill(database, 50'000, 8);
    EXPECT_EQ(Value(database), 8);
    std::signal(SIGXFSZ, before);
}

// Room that a large write reserves behind the end of the file goes back with its transaction, or
// where the process did not live to see that, when somebody next opens the database to write.
TEST_F(LimitsTest, RoomBehindTheEndOfTheFileIsGivenBack) {
    const std::string path = m_folder / "large.orq";
    MakeModel(ORQSimDatabase::Create(path), kLarge);
    const auto room = [&] {  // that no byte of the file takes, in blocks
        struct stat status {};
        EXPECT_EQ(stat((path + "/bulk.bin").c_str(), &status), 0);
        return status.st_blocks - status.st_size / 512;
    };
    constexpr blkcnt_t kSome = 1024;
    DiskWatch watch(m_folder / ".");
    watch.SayFree(1 << 30);
    {
        ORQSimDatabase database = ORQSimDatabase::Open(path, Mode::ReadWrite);
        InTransaction(database, [&] { FillLarge(database, 1); });
        ASSERT_GT(NumReserves(watch), 0);
        EXPECT_LT(room(), kSome) << "after a commit";
        {
            const ORQSimTransaction undone(database.ContextID());
            FillLarge(database, 2);
            EXPECT_GT(room(), kSome);
        }
        EXPECT_EQ(Value(database), 1);
        database.Close();
        EXPECT_LT(room(), kSome) << "after a transaction that was undone";
    }
    const pid_t killed = fork();
    if (killed == 0) {
        const ORQSimDatabase database = ORQSimDatabase::Open(path, Mode::ReadWrite);
        const ORQSimTransaction transaction(database.ContextID());
        FillLarge(database, 3);
        _exit(0);
    }
    int status = 0;
    waitpid(killed, &status, 0);
    ASSERT_EQ(status, 0);
    EXPECT_GT(room(), kSome);
    {
        const ORQSimDatabase database = ORQSimDatabase::Open(path, Mode::ReadWrite);
        EXPECT_LT(room(), kSome) << "after a process that was killed";
        EXPECT_EQ(Value(database), 1);
    }
    EXPECT_EQ(ORQSimDatabase::Open(path, Mode::ReadOnly).Verify(), Texts());
}

// A disk that has not so much room may have enough; on one that is nearly full, the catalogue may
// need it.
TEST_F(LimitsTest, WithoutRoomAheadALargeWriteIsWholeToo) {
    for (const bool isNearlyFull : {false, true}) {
        const std::string path = m_folder / (isNearlyFull ? "full.orq" : "refused.orq");
        const ORQSimDatabase database = ORQSimDatabase::Create(path);
        MakeModel(database, kLarge);
        DiskWatch watch(m_folder / ".");
        watch.RefuseRoom();
        watch.SayFree(isNearlyFull ? 200 << 20 : 1 << 30);
        InTransaction(database, [&] { FillLarge(database, 4); });
        EXPECT_EQ(NumReserves(watch), isNearlyFull ? 0 : 1);
        EXPECT_EQ(FirstComponent(database), Filled(kLarge, 4));
    }
}

TEST_F(LimitsTest, AFileThatMayNotBeWrittenIsNamedWhenItIsOpenedForWriting) {
    namespace fs = std::filesystem;
    fs::permissions(m_folder / ".", fs::perms::all);
    for (const char* file : {"catalogue.sqlite", "bulk.bin", "lock"}) {
        SCOPED_TRACE(file);
        for (const char* each : {"catalogue.sqlite", "bulk.bin", "lock", "."}) {
            fs::permissions(fs::path(m_path) / each, fs::perms::all);
        }
        fs::permissions(fs::path(m_path) / file, static_cast<fs::perms>(0444));
        // Nothing is forbidden to the superuser.
        const bool isRoot = geteuid() == 0;
        ASSERT_TRUE(!isRoot || seteuid(65534) == 0);
        EXPECT_TRUE(Fails(Failure::Io, {m_path, file, "Permission denied"}, [&] { Open(); }));
        EXPECT_EQ(Value(Open(Mode::ReadOnly)), 1);
        ASSERT_TRUE(!isRoot || seteuid(0) == 0);
    }
}

TEST_F(LimitsTest, AFileSystemWithoutSharedMemoryIsNamedAsTheReason) {
    const std::string other = m_folder / "other.orq";
    const DiskWatch watch(m_folder / ".", DiskWatch::Kind::WithoutSharedMemory);
    EXPECT_TRUE(Fails(Failure::Io, {m_path, "shared memory"}, [&] { Open(); }));
    EXPECT_EQ(Value(Open(Mode::ReadOnly)), 1);  // needs none where there is no log
    EXPECT_TRUE(
        Fails(Failure::Io, {"other.orq", "shared memory"}, [&] { ORQSimDatabase::Create(other); }));
    EXPECT_FALSE(std::filesystem::exists(other));
}

// The index of the log is not shared among hosts, so a writer has to be alone.
TEST_F(LimitsTest, OnANetworkFileSystemNobodyReadsWhileSomebodyWrites) {
    const DiskWatch watch(m_folder / ".", DiskWatch::Kind::Network);
    const std::string self = "process " + std::to_string(getpid());
    {
        const ORQSimDatabase reader = Open(Mode::ReadOnly);
        EXPECT_EQ(Value(Open(Mode::ReadOnly)), 1);
        EXPECT_TRUE(Fails(Failure::Busy, {m_path, "is being read"}, [&] { Open(); }));
    }
    {
        const ORQSimDatabase writer = Open();
        Fill(writer, 1000, 2);
        Fill(writer, 1000, 3);
        EXPECT_LT(writer.Sizes().bulk, 40'000);
        EXPECT_TRUE(Fails(Failure::Busy, {m_path, self}, [&] { Open(Mode::ReadOnly); }));
        EXPECT_TRUE(Fails(Failure::Busy, {m_path, self}, [&] { Open(); }));
    }
    EXPECT_EQ(Value(Open(Mode::ReadOnly)), 3);
}

// Whoever cannot learn which states are still read takes all of them to be: nothing of theirs is used
// again or cut off, and nothing else fails. Once the system answers again, the space is given back.
TEST_F(LimitsTest, AFailingLockQueryCountsAsAReaderWhereSpaceIsFreed) {
    const ORQSimDatabase writer = Open();
    std::optional<ORQSimDatabase> reader = Open(Mode::ReadOnly);
    const auto values = [](const ORQSimDatabase& database, int count) {
        return Read(Field(database), RunOf(Nodes(database), 0, count),
                    RunOf(Components(database), 0, 1));
    };
    DiskWatch watch(m_folder / ".");
    watch.FailLockQueries(true);
    std::int64_t size = writer.Sizes().bulk;
    for (int value = 2; value < 8; ++value) {
        Fill(writer, 1000, value);
        EXPECT_GT(writer.Sizes().bulk, std::exchange(size, writer.Sizes().bulk));
    }
    InTransaction(writer,
                  [&] { Field(writer).DeleteDrawer(Field(writer).DrawerIDArray().ConstGet(0)); });
    Fill(writer, 300, 8);
    EXPECT_EQ(values(*reader, 1000), Filled(1000, 1));
    EXPECT_EQ(reader->Verify(), Texts());
    EXPECT_EQ(values(writer, 300), Filled(300, 8));
    EXPECT_EQ(writer.Verify(), Texts());
    EXPECT_GT(writer.Sizes().bulk, size);

    reader.reset();
    watch.FailLockQueries(false);
    Fill(writer, 300, 9);   // into the space of an earlier state
    Fill(writer, 300, 10);  // the space that the one before has left ends the file
    EXPECT_LT(writer.Sizes().bulk, size / 2);
    EXPECT_EQ(writer.Verify(), Texts());
}

// Elsewhere the failure is reported: nobody is named who may not be there.
TEST_F(LimitsTest, AFailingLockQueryIsAnErrorWhereAHolderIsWanted) {
    const ORQSimDatabase writer = Open();
    const ORQSimDatabase reader = Open(Mode::ReadOnly);
    DiskWatch watch(m_folder / ".");
    watch.FailLockQueries(true);
    const std::initializer_list<std::string> told = {m_path + "/lock", "who holds the lock",
                                                     "Input/output error"};
    EXPECT_TRUE(Fails(Failure::Io, told, [&] { Open(); }));
    EXPECT_TRUE(Fails(Failure::Io, told, [&] { (void)reader.Writer(); }));
}

// Whoever has just taken the lock has its name still to write; the one in the file is of a process
// that is gone.
TEST_F(LimitsTest, TheWinnerOfARaceIsNamedThoughItHasJustWon) {
    std::array<char, 256> host{};
    ASSERT_EQ(gethostname(host.data(), host.size() - 1), 0);
    const pid_t gone = fork();
    if (gone == 0) {
        _exit(0);
    }
    ASSERT_EQ(waitpid(gone, nullptr, 0), gone);
    const std::string lock = m_path + "/lock";
    WriteBytes(lock, "process " + std::to_string(gone) + " on " + host.data());
    const int file = open(lock.c_str(), O_RDWR | O_CLOEXEC);
    struct flock range {};
    range.l_type = F_WRLCK;
    range.l_start = std::numeric_limits<std::int64_t>::max() - 1;
    range.l_len = 1;
    ASSERT_EQ(fcntl(file, F_OFD_SETLK, &range), 0);
    const std::string winner =
        "process " + std::to_string(getpid()) + " on " + std::string(host.data());
    const pid_t writer = fork();
    if (writer == 0) {
        usleep(100'000);
        _exit(pwrite(file, winner.data(), winner.size(), 0) > 0 &&
                      ftruncate(file, static_cast<off_t>(winner.size())) == 0
                  ? 0
                  : 1);
    }
    EXPECT_TRUE(Fails(Failure::Busy, {m_path, winner}, [&] { Open(); }));
    int status = 0;
    ASSERT_EQ(waitpid(writer, &status, 0), writer);
    EXPECT_EQ(status, 0);
    close(file);
    EXPECT_EQ(Value(Open()), 1);
}
