// Memory that runs out at any request for it while the scripted history is played.
#include <vector>

#include "HistoryTest.h"
#include "Memory.h"
#include "ORQSimSchema.h"
#include "ORQSrvBulkShellLayers.h"

namespace {

class MemoryTest : public HistoryTest {
  protected:
    static constexpr int kField = 77;

    // How a transaction ended for which there was not enough memory.
    struct Ending {
        bool isDone = false;
        bool isRefused = false;  // and what the disk holds may be either state
        bool hasGoneOn = false;  // with another transaction, after the old state was found
        std::size_t nRequests = 0;
    };

    // Opens the database in state number `done` and plays the next transaction, while memory runs
    // out at request `first` and `count` - 1 that follow. Where the handle goes on, the next
    // transaction is durable when it returns.
    Ending PlayWithoutMemory(std::size_t done, std::size_t first, std::size_t count) {
        Ending ending;
        ORQSimDatabase database;
        std::string failure;
        {
            MemoryWatch memory;
            memory.Fail(first, count);
            try {
                database = Open();
                ModelHistory()[done](database);
                ending.isDone = true;
            } catch (const ORQBasFailure& told) {
                failure = told.Text();
            } catch (const std::bad_alloc&) {
                failure = "no memory";
            }
            ending.nRequests = memory.Requests();
        }
        omi_Singleton<ORQSrvBulkShellLayers>::Instance().Clean();
        if (!ending.isDone && !database.IsClosed()) {
            SCOPED_TRACE(failure);
            ending.isRefused = ExpectUndoneOrRefused(database, done);
            if (!ending.isRefused) {
                const std::int64_t generation = database.Generation();
                InTransaction(database, [] {});
                EXPECT_EQ(database.Generation(), generation) << "nothing was changed";
                InTransaction(database, [&] { database.Focus().DataRecord().SetInt(kField, 1); });
                ending.hasGoneOn = true;
            }
        }
        return ending;
    }

    void ExpectStateAfter(const Ending& ending, std::size_t done) {
        const ORQSimDatabase database = Open();
        const std::string contents = VerifiedContents(database);
        if (ending.hasGoneOn) {
            EXPECT_EQ(database.Verify(), Texts());
            EXPECT_EQ(database.Focus().DataRecord().GetInt(kField), 1) << "a lost commit";
            return;
        }
        const bool isNext = contents == m_states[done + 1].contents;
        EXPECT_TRUE(isNext ? ending.isDone || ending.isRefused
                           : !ending.isDone && contents == m_states[done].contents)
            << contents.substr(0, 300);
    }
};

}  // namespace

TEST_F(MemoryTest, AtAnyRequestTheTransactionIsUndoneOrWhole) {
    ASSERT_NO_FATAL_FAILURE(Record());
    const std::size_t nTries = 12 * static_cast<std::size_t>(Thoroughness());
    std::size_t nFailed = 0;
    Write(m_files);
    for (std::size_t done = 0; done + 1 < m_states.size(); ++done) {
        const Files files = Read();
        const std::size_t nRequests = PlayWithoutMemory(done, 0, 0).nRequests;
        // Some of all requests, and each of the last, which are those of committing.
        const std::size_t lastOnes = nRequests - std::min(nRequests, 2 * nTries);
        const std::size_t step = std::max<std::size_t>(1, lastOnes / nTries);
        for (std::size_t first = 0; first <= nRequests; first += first < lastOnes ? step : 1) {
            for (const std::size_t count : {1U, 20U}) {
                SCOPED_TRACE("transaction " + std::to_string(done) + ", " + std::to_string(count) +
                             " requests from " + std::to_string(first));
                Write(files);
                const Ending ending = PlayWithoutMemory(done, first, count);
                ASSERT_NO_FATAL_FAILURE(ExpectStateAfter(ending, done));
                ASSERT_FALSE(HasFailure());
                nFailed += ending.isDone ? 0 : 1;
            }
        }
        Write(files);
        const ORQSimDatabase database = Open();
        ModelHistory()[done](database);
        ASSERT_TRUE(VerifiedContents(database) == m_states[done + 1].contents);
    }
    EXPECT_GT(nFailed, nTries);
}

// What is kept back is given on when it is some megabytes, and SQLite keeps 16 MiB of pages.
TEST(MemoryOfCommits, AMillionChangedRecordsTakeTwentyFourMebibytes) {
#ifdef SANITIZED
    constexpr int kRecords = 100'000;
#else
    constexpr int kRecords = 1'000'000;
#endif
    const Folder folder;
    const std::string path = folder / "model.orq";
    std::vector<ORQSimDynamicID> records;
    {
        const ORQSimDatabase database = ORQSimDatabase::Create(path);
        InTransaction(database, [&] {
            for (int i = 0; i < kRecords; ++i) {
                const ORQSimDataRecord record =
                    database.Focus().CreateDataRecord(ORQSimSchema::Model);
                record.SetString(1, ORQString("a text of some length"));
                records.push_back(record.Pos().ID());
            }
        });
    }
    const ORQSimDatabase database = ORQSimDatabase::Open(path, Mode::ReadWrite);
    const auto recordOf = [&](const ORQSimDynamicID& id) {
        return ORQSimDataRecord(ORQSimDynamicID(id.Category(), database.ContextID(), id.MinorID(),
                                                id.TypeID(), id.Index()));
    };
    std::int64_t peak = 0;
    {
        const MemoryWatch memory;
        InTransaction(database, [&] {
            for (const ORQSimDynamicID& id : records) {
                recordOf(id).SetInt(0, 7);
            }
        });
        peak = memory.PeakBytes();
    }
    EXPECT_EQ(recordOf(records.back()).GetInt(0), 7);
    EXPECT_GT(peak, 1 << 20);  // else nothing was counted
    EXPECT_LE(peak, 24 << 20);
}
