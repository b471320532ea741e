// Several handles and processes on one database, and processes that die.
#include <sqlite3.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <numeric>
#include <thread>

#include "Peer.h"
#include "Vocabulary.h"

namespace {

constexpr int kSharedNodes = 5000;

void WriteAll(const ORQSimDatabase& database, double value) {
    InTransaction(database, [&] {
        Append(database, RunOf(Nodes(database), 0, kSharedNodes), RunOf(Components(database), 0, 1),
               Filled(kSharedNodes, value));
    });
}

ORQSimDatabase OpenToWrite(const std::string& path) {
    return ORQSimDatabase::Open(path, Mode::ReadWrite);
}
ORQSimDatabase OpenToRead(const std::string& path) {
    return ORQSimDatabase::Open(path, Mode::ReadOnly);
}

// "1" when every value is 1, and so on; "mixed" when they differ.
std::string ValueOf(const ORQSimDatabase& database) {
    const Doubles values = FirstComponent(database);
    return values == Filled(kSharedNodes, values.front())
               ? std::to_string(std::lround(values.front()))
               : "mixed";
}

// A database on disk, closed, whose field holds the value 1 everywhere.
class ProcessTest : public testing::Test {
  protected:
    ProcessTest() {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
        MakeModel(database, kSharedNodes);
        WriteAll(database, 1);
    }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
};

}  // namespace

TEST_F(ProcessTest, ASecondWriterIsRefusedByTheNameOfTheFirst) {
    std::optional<ORQSimDatabase> peerHolds;
    Peer peer({[&] {
                   peerHolds = OpenToWrite(m_path);
                   return "open";
               },
               [&] {
                   peerHolds.reset();
                   return "closed";
               },
               [&] { return OpenToWrite(m_path).IsWritable() ? "open" : ""; }});
    EXPECT_EQ(peer.Run(), "open");
    const ORQSimDatabase reader = OpenToRead(m_path);
    EXPECT_EQ(reader.Writer().rfind("process " + std::to_string(peer.Process()), 0), 0U);
    EXPECT_TRUE(Fails(Failure::Busy, {m_path, "process " + std::to_string(peer.Process())},
                      [&] { OpenToWrite(m_path); }));
    EXPECT_EQ(ValueOf(OpenToRead(m_path)), "1");
    EXPECT_EQ(peer.Run(), "closed");
    EXPECT_EQ(reader.Writer(), "");
    {
        const ORQSimDatabase first = OpenToWrite(m_path);
        EXPECT_EQ(reader.Writer(), first.Writer());
        EXPECT_NE(first.Writer(), "");
        EXPECT_TRUE(Fails(Failure::Busy, {m_path, "process " + std::to_string(getpid())},
                          [&] { OpenToWrite(m_path); }));
        const std::string refusal = peer.Run();
        EXPECT_NE(refusal.find("process " + std::to_string(getpid())), std::string::npos)
            << refusal;
    }
    EXPECT_TRUE(OpenToWrite(m_path).IsWritable());
}

TEST_F(ProcessTest, AReaderWritesNothing) {
    const ORQSimDatabase reader = OpenToRead(m_path);
    EXPECT_FALSE(reader.IsWritable());
    EXPECT_TRUE(Fails(Failure::Usage, {m_path, "reading only"},
                      [&] { ORQSimTransaction transaction(reader.ContextID()); }));
    EXPECT_TRUE(Fails(Failure::Usage, {}, [&] { reader.Focus().CreateDataRecord(Slot(4)); }));
    EXPECT_EQ(reader.Verify(), Texts());
}

TEST_F(ProcessTest, AReaderMakesNoLogAndFoldsInTheOneThatAWriterLeft) {
    const auto hasLog = [&] { return std::filesystem::exists(m_path + "/catalogue.sqlite-wal"); };
    const auto catalogue = [&] { return ReadBytes(m_path + "/catalogue.sqlite"); };
    const std::string before = catalogue();
    std::optional<ORQSimDatabase> reader = OpenToRead(m_path);
    std::optional<ORQSimDatabase> other = OpenToRead(m_path);
    EXPECT_FALSE(hasLog());
    WriteAll(OpenToWrite(m_path), 2);
    EXPECT_TRUE(hasLog());
    EXPECT_EQ(ValueOf(*reader), "1");
    // Another program would fold it in without our checksums. As long as its process lives, it holds
    // the files that it was given of this one.
    {
        Peer program({[&] {
            sqlite3* opened = nullptr;
            sqlite3_open((m_path + "/catalogue.sqlite").c_str(), &opened);
            const int code =
                sqlite3_exec(opened, "SELECT count(*) FROM object", nullptr, nullptr, nullptr);
            sqlite3_close(opened);
            return std::to_string(code);
        }});
        EXPECT_EQ(program.Run(), "0");
    }
    EXPECT_TRUE(hasLog());
    reader.reset();
    EXPECT_TRUE(catalogue() == before);  // the other one reads it
    EXPECT_EQ(ValueOf(*other), "1");
    other.reset();
    EXPECT_FALSE(hasLog());
    EXPECT_EQ(ValueOf(OpenToRead(m_path)), "2");
    EXPECT_EQ(OpenToRead(m_path).Verify(), Texts());
}

TEST_F(ProcessTest, AReaderKeepsItsStateWhileAnotherProcessOverwritesManyTimes) {
    Peer writer({[&] {
                     const ORQSimDatabase database = OpenToWrite(m_path);
                     for (int value = 2; value < 40; ++value) {
                         WriteAll(database, value);
                         database.Focus();
                     }
                     return std::to_string(database.Sizes().bulk);
                 },
                 [&] {
                     const ORQSimDatabase database = OpenToWrite(m_path);
                     for (int value = 40; value < 80; ++value) {
                         WriteAll(database, value);
                     }
                     return std::to_string(database.Sizes().bulk);
                 }});
    std::int64_t grown = 0;
    {
        ORQSimDatabase touched = OpenToRead(m_path);
        ORQSimDatabase untouched = OpenToRead(m_path);
        EXPECT_EQ(ValueOf(touched), "1");
        grown = std::stoll(writer.Run());
        EXPECT_EQ(ValueOf(touched), "1");
        EXPECT_EQ(ValueOf(untouched), "1");
        EXPECT_EQ(untouched.Verify(), Texts());
        EXPECT_TRUE(touched.Refresh());
        EXPECT_FALSE(touched.Refresh());
        EXPECT_EQ(ValueOf(touched), "39");
        EXPECT_EQ(ValueOf(untouched), "1");
    }
    // The space that the reader held back is used again.
    EXPECT_LE(std::stoll(writer.Run()), grown);
    const ORQSimDatabase database = OpenToWrite(m_path);
    EXPECT_EQ(ValueOf(database), "79");
    EXPECT_EQ(database.Verify(), Texts());
}

TEST_F(ProcessTest, ACopyMadeWhileAnotherWritesIsOneState) {
    const std::string copy = m_folder / "copy.orq";
    Peer writer({[&]() -> std::string {
        const ORQSimDatabase database = OpenToWrite(m_path);
        while (!std::filesystem::exists(m_folder / "enough")) {
            WriteAll(database, static_cast<double>(database.Generation()));
        }
        return "done";
    }});
    writer.Go();
    int last = 0;
    int nStates = 0;
    for (int i = 0; i < 20 * Thoroughness(); ++i) {
        OpenToRead(m_path).CopyTo(copy);
        {
            const ORQSimDatabase database = OpenToWrite(copy);
            EXPECT_EQ(database.Verify(), Texts());
            const int seen = std::stoi(ValueOf(database));
            ASSERT_GE(seen, last);
            nStates += seen > last ? 1 : 0;
            last = seen;
            WriteAll(database, -1);
        }
        EXPECT_TRUE(
            Fails(Failure::Usage, {copy, "exists"}, [&] { OpenToRead(m_path).CopyTo(copy); }));
        std::filesystem::remove_all(copy);
    }
    EXPECT_GT(nStates, 3);
    WriteBytes(m_folder / "enough", "");
    EXPECT_EQ(writer.Answer(), "done");
    EXPECT_EQ(OpenToWrite(m_path).Verify(), Texts());

    // Its files are not those of the other one.
    OpenToWrite(m_path).CopyTo(copy);
    std::filesystem::copy_file(m_path + "/bulk.bin", copy + "/bulk.bin",
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_TRUE(Fails(Failure::Foreign, {copy, "another database"}, [&] { OpenToRead(copy); }));
}

// What a reader held back lies at the end of the file; it goes when a later commit finds it free,
// also one that writes no bulk data.
TEST_F(ProcessTest, SpaceThatALongHeldStateKeptIsGivenBack) {
    const auto sizeOnDisk = [&] {
        return static_cast<std::int64_t>(std::filesystem::file_size(m_path + "/bulk.bin"));
    };
    const ORQSimDatabase writer = OpenToWrite(m_path);
    const auto touch = [&](const char* name) {
        InTransaction(writer, [&] { writer.Focus().SetName(Slot(5), name); });
    };
    touch("a");
    const std::int64_t least = sizeOnDisk();
    std::int64_t most = 0;
    {
        std::optional<ORQSimDatabase> reader = OpenToRead(m_path);
        for (int value = 2; value <= 60; ++value) {
            WriteAll(writer, value);
        }
        most = writer.Sizes().bulk;
        EXPECT_GT(most, 20 * least);
        touch("b");
        EXPECT_EQ(writer.Sizes().bulk, most);
        EXPECT_EQ(ValueOf(*reader), "1");
        reader->Refresh();
        EXPECT_EQ(ValueOf(*reader), "60");
        // Now only the last state is read, whose data lie at the end.
        touch("c");
        EXPECT_EQ(ValueOf(*reader), "60");
        reader.reset();
    }
    WriteAll(writer, 61);
    touch("d");
    EXPECT_LT(writer.Sizes().bulk, 3 * least);
    EXPECT_EQ(sizeOnDisk(), writer.Sizes().bulk);
    EXPECT_EQ(ValueOf(OpenToRead(m_path)), "61");
    WriteAll(writer, 62);
    EXPECT_EQ(ValueOf(OpenToRead(m_path)), "62");
    EXPECT_EQ(writer.Verify(), Texts());
}

TEST_F(ProcessTest, AReaderOfTheSameProcessSeesCommitsAfterRefreshing) {
    const ORQSimDatabase writer = OpenToWrite(m_path);
    ORQSimDatabase reader = OpenToRead(m_path);
    WriteAll(writer, 2);
    {
        ORQSimTransaction open(writer.ContextID());
        Append(writer, RunOf(Nodes(writer), 0, kSharedNodes), RunOf(Components(writer), 0, 1),
               Filled(kSharedNodes, 3));
        EXPECT_EQ(ValueOf(reader), "1");
        EXPECT_TRUE(reader.Refresh());
        EXPECT_EQ(ValueOf(reader), "2");
        EXPECT_EQ(ValueOf(writer), "3");
    }
    EXPECT_FALSE(reader.Refresh());
    EXPECT_EQ(ValueOf(reader), "2");
}

TEST_F(ProcessTest, AReaderFollowsNewLinksAfterRefreshing) {
    const ORQSimDatabase writer = OpenToWrite(m_path);
    ORQSimDatabase reader = OpenToRead(m_path);
    EXPECT_TRUE(At(reader, 40).IsNull());
    InTransaction(writer, [&] { writer.Focus().SetPosition(Slot(40), At(writer, 1)); });
    EXPECT_TRUE(At(reader, 40).IsNull());
    EXPECT_TRUE(reader.Refresh());
    EXPECT_EQ(At(reader, 40), At(reader, 1));
}

// Locks of the operating system on a file end for a whole process when it closes any of its own
// descriptors of that file; verifying and opening a second handle must not do that.
TEST_F(ProcessTest, CommitsLastThoughOtherHandlesComeAndGo) {
    Peer other(
        {[&] { return ValueOf(OpenToRead(m_path)); }, [&] { return ValueOf(OpenToRead(m_path)); }});
    const ORQSimDatabase writer = OpenToWrite(m_path);
    EXPECT_EQ(writer.Verify(), Texts());
    OpenToRead(m_path);
    EXPECT_EQ(other.Run(), "1");
    WriteAll(writer, 2);
    EXPECT_EQ(other.Run(), "2");
}

// The last one out folds the log in, for which it locks all others out for a moment.
TEST_F(ProcessTest, ReadersOpenWhileAWriterComesAndGoes) {
    constexpr int kLast = 60;
    Peer writer({[&] {
        for (int value = 2; value <= kLast; ++value) {
            WriteAll(OpenToWrite(m_path), value);
        }
        return "done";
    }});
    writer.Go();
    int seen = 1;
    for (int opened = 0; seen < kLast && opened < 100'000; ++opened) {
        const int value = std::stoi(ValueOf(OpenToRead(m_path)));
        ASSERT_GE(value, seen);
        seen = value;
    }
    EXPECT_EQ(writer.Answer(), "done");
    EXPECT_EQ(ValueOf(OpenToRead(m_path)), std::to_string(kLast));
}

TEST_F(ProcessTest, AProcessThatEndsWithoutClosingLeavesTheLastCommit) {
    {
        Peer peer({[&] {
            static const ORQSimDatabase database = OpenToWrite(m_path);
            WriteAll(database, 2);
            static ORQSimTransaction open(database.ContextID());
            Append(database, RunOf(Nodes(database), 0, kSharedNodes),
                   RunOf(Components(database), 0, 1), Filled(kSharedNodes, 3));
            return ValueOf(database);
        }});
        EXPECT_EQ(peer.Run(), "3");
    }
    const ORQSimDatabase database = OpenToWrite(m_path);
    EXPECT_EQ(ValueOf(database), "2");
    EXPECT_EQ(database.Verify(), Texts());
    WriteAll(database, 4);
    EXPECT_EQ(ValueOf(database), "4");
}

// As one does that returns from main: what lives as long as the program ends there, after its parent
// has gone on.
TEST_F(ProcessTest, AForkedChildThatReturnsLosesNoCommitOfItsParent) {
    constexpr int kLast = 120;
    static std::optional<ORQSimDatabase> s_database;
    s_database = OpenToWrite(m_path);
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    std::fflush(nullptr);  // else both write what is there
    const pid_t child = fork();
    if (child == 0) {
        close(ends[1]);
        char none = 0;
        std::exit(read(ends[0], &none, 1) == 0 ? 0 : 1);  // when the parent closes its end
    }
    ASSERT_GT(child, 0);
    for (int value = 2; value <= kLast; ++value) {
        InTransaction(*s_database, [&] {
            ORQSimCollection(Nodes(*s_database)).ExtendSpace(kSharedNodes + value);
            Append(*s_database, RunOf(Nodes(*s_database), kSharedNodes, value - 1),
                   RunOf(Components(*s_database), 0, 1), Filled(value - 1, value));
        });
        WriteAll(*s_database, value);
    }
    close(ends[0]);
    close(ends[1]);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(s_database->Verify(), Texts());
    WriteAll(*s_database, kLast + 1);
    s_database.reset();
    const ORQSimDatabase after = OpenToRead(m_path);
    EXPECT_EQ(ORQSimCollection(Nodes(after)).Space(), kSharedNodes + kLast);
    EXPECT_EQ(after.Verify(), Texts());
}

// A child of fork() has copies of all handles. Their ends change nothing, and their use is refused
// by the name of the process that opened them.
TEST_F(ProcessTest, AForkedChildLeavesItsParentsDatabaseAlone) {
    std::optional<ORQSimDatabase> database = OpenToWrite(m_path);
    std::optional<ORQSimDatabase> inMemory = ORQSimDatabase::CreateInMemory();
    MakeModel(*inMemory, kSharedNodes);
    WriteAll(*inMemory, 1);
    std::optional<ORQSimTransaction> transaction(database->ContextID());
    database->Focus().SetName(Slot(5), "in the parent only");
    std::vector<std::function<void()>> uses = {
        [&] { ValueOf(*database); },
        [&] { database->Focus().Name(Slot(5)); },
        [&] { database->Focus().SetName(Slot(5), "of the child"); },
        [&] { ORQSimTransaction inner(database->ContextID()); },
        [&] { transaction->Commit(); },
        [&] { database->Refresh(); },
        [&] { database->Verify(); },
        [&] { database->Writer(); },
        [&] { ValueOf(*inMemory); },
        [&] { WriteAll(*inMemory, 2); },
        [&] { OpenToRead(m_path); },
        [&] { OpenToWrite(m_path); },
    };
    const std::string self = "process " + std::to_string(getpid());
    Peer child(
        {[&]() -> std::string {
             for (std::size_t i = 0; i < uses.size(); ++i) {
                 if (const auto fails = Fails(Failure::Refused, {self, "fork"}, uses[i]); !fails) {
                     return "use " + std::to_string(i) + ": " + fails.message();
                 }
             }
             return "refused";
         },
         [&]() -> std::string {
             transaction.reset();
             database.reset();
             inMemory.reset();
             return Fails(Failure::Refused, {self, "fork"}, uses.back()) ? "ended" : "open";
         }});
    transaction->Commit();
    EXPECT_EQ(child.Run(), "refused");
    for (int value = 2; value <= 120; ++value) {
        InTransaction(*database, [&] {
            ORQSimCollection(Nodes(*database)).ExtendSpace(kSharedNodes + value);
            Append(*database, RunOf(Nodes(*database), kSharedNodes, value - 1),
                   RunOf(Components(*database), 0, 1), Filled(value - 1, value));
        });
        WriteAll(*database, value);
    }
    EXPECT_EQ(child.Run(), "ended");
    EXPECT_EQ(database->Verify(), Texts());
    EXPECT_EQ(ValueOf(*inMemory), "1");
    WriteAll(*database, 121);
    child.End();  // its copy of the lock ends with it
    database.reset();
    database = OpenToWrite(m_path);
    EXPECT_EQ(database->Verify(), Texts());
    EXPECT_EQ(database->Focus().Name(Slot(5)).UTF8(), "in the parent only");
    const Doubles values = FirstComponent(*database);
    EXPECT_EQ(values.front(), 121);
    EXPECT_EQ(values[kSharedNodes + 118], 120);
}

// Batches of 50 rows whose values are their node numbers; the focus counts the batches. Now and
// then all rows so far are overwritten, so that space is freed and used again.
TEST_F(ProcessTest, KilledAtAnyMomentItLeavesTheLastCommit) {
    constexpr int kBatch = 50;
    const auto batches = [](const ORQSimDatabase& database) {
        return database.Focus().DataRecord().GetInt(0);
    };
    const auto append = [&](const ORQSimDatabase& database) {
        const int done = batches(database);
        const int first = done % 7 == 6 ? 0 : done * kBatch;
        const int count = (done + 1) * kBatch - first;
        Doubles values(static_cast<std::size_t>(count));
        std::iota(values.begin(), values.end(), first);
        InTransaction(database, [&] {
            ORQSimCollection(Nodes(database)).ExtendSpace(first + count);
            Append(database, RunOf(Nodes(database), first, count),
                   RunOf(Components(database), 0, 1), values);
            database.Focus().DataRecord().SetInt(0, done + 1);
        });
        return done + 1;
    };
    std::filesystem::remove_all(m_path);
    {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
        MakeModel(database, 0);
        InTransaction(database, [&] {
            MakeDrawer(Field(database), RunOf(Nodes(database), 0, 0),
                       RunOf(Components(database), 0, 1), 700);
        });
    }
    std::mt19937 random(20240608);
    // On a busy machine a child may be killed before it has committed anything; more rounds then.
    constexpr int kLeastByChildren = 20;
    int nByChildren = 0;
    int nBatches = 0;
    for (int round = 0;
         round < 20 * Thoroughness() || (nByChildren <= kLeastByChildren && round < 200); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        int reported = 0;
        {
            std::optional<ORQSimDatabase> database;
            Peer peer({[&] {
                           database = OpenToWrite(m_path);
                           return std::to_string(batches(*database));
                       },
                       [&]() -> std::string {
                           while (true) {
                               append(*database);
                           }
                       }});
            reported = std::stoi(peer.Run());
            peer.Go();
            std::this_thread::sleep_for(
                std::chrono::microseconds(std::uniform_int_distribution(500, 60'000)(random)));
            peer.Kill();
        }
        const ORQSimDatabase database = OpenToWrite(m_path);
        const int done = batches(database);
        ASSERT_GE(done, reported);
        Doubles expected(static_cast<std::size_t>(done * kBatch));
        std::iota(expected.begin(), expected.end(), 0);
        ASSERT_EQ(FirstComponent(database), expected);
        ASSERT_EQ(database.Verify(), Texts());
        append(database);
        nByChildren += done - nBatches;
        nBatches = batches(database);
        ASSERT_EQ(nBatches, done + 1);
    }
    const ORQSimDatabase database = OpenToWrite(m_path);
    EXPECT_GT(nByChildren, kLeastByChildren);
    EXPECT_LT(database.Sizes().bulk, 5 * nBatches * kBatch * 8 + 100'000);
}

TEST_F(ProcessTest, ReadersSeeWholeStatesAndTheLastOneWhileAnotherWrites) {
    using Clock = std::chrono::steady_clock;
    constexpr long kLast = 1'000'000;
    const auto end = Clock::now() + std::chrono::seconds(2 * Thoroughness());
    const auto follow = [&]() -> std::string {
        ORQSimDatabase reader = OpenToRead(m_path);
        long value = 0;
        int nStates = 0;
        while (value != kLast) {
            if (Clock::now() > end + std::chrono::seconds(20)) {
                return "the last state was not seen";
            }
            reader.Refresh();
            const std::string seen = ValueOf(reader);
            if (seen == "mixed" || std::stol(seen) < value) {
                return seen + " after " + std::to_string(value);
            }
            if (const Texts problems = reader.Verify(); !problems.empty()) {
                return problems.front();
            }
            nStates += std::stol(seen) != value ? 1 : 0;
            value = std::stol(seen);
        }
        return nStates > 2 ? "followed" : "saw " + std::to_string(nStates) + " states";
    };
    std::array<std::unique_ptr<Peer>, 4> readers;
    for (auto& reader : readers) {
        reader = std::make_unique<Peer>(std::vector<Peer::Step>{follow});
    }
    for (const auto& reader : readers) {
        reader->Go();
    }
    Clock::duration slowest{};
    ORQSimDatabase::DiskSizes most{};
    {
        const ORQSimDatabase writer = OpenToWrite(m_path);
        long value = 2;
        for (; Clock::now() < end; ++value) {
            const auto begin = Clock::now();
            WriteAll(writer, static_cast<double>(value));
            slowest = std::max(slowest, Clock::now() - begin);
            most.bulk = std::max(most.bulk, writer.Sizes().bulk);
            most.catalogue = std::max(most.catalogue, writer.Sizes().catalogue);
        }
        std::cout << value << " commits, the slowest "
                  << std::chrono::duration<double>(slowest).count() << " s, bulk " << most.bulk
                  << ", catalogue with log " << most.catalogue << " bytes\n";
        WriteAll(writer, kLast);
        for (const auto& reader : readers) {
            EXPECT_EQ(reader->Answer(), "followed");
        }
    }
    // However long it goes on; on a busy machine readers move on late.
    EXPECT_LT(most.bulk, 30'000'000);
    EXPECT_LT(most.catalogue, 30'000'000);
    EXPECT_LT(slowest, std::chrono::seconds(5));
}
