// Tests that play the scripted history, or parts of it, and know what has to be found after each of
// its transactions.
#pragma once

#include "DiskCalls.h"
#include "History.h"
#include "Vocabulary.h"

class HistoryTest : public testing::Test {
  protected:
    struct State {
        std::size_t nCalls;
        std::string contents;
    };

    ORQSimDatabase Open() const { return ORQSimDatabase::Open(m_path, Mode::ReadWrite); }
    Files Read() const { return ReadFiles(m_folder / "."); }
    void Write(const Files& files) const { WriteFiles(m_folder / ".", files); }

    static std::int64_t SizeOf(const Files& files) {
        std::int64_t size = 0;
        for (const auto& [name, bytes] : files) {
            size += static_cast<std::int64_t>(bytes.size());
        }
        return size;
    }
    std::string VerifiedContents(const ORQSimDatabase& database) const {
        const Texts problems = database.Verify();
        return problems.empty() ? ContentsOf(m_path) : "damaged: " + problems.front();
    }

    // Plays the history undisturbed, and closes and opens the database in the middle: what the
    // files are at first, the calls, and for every number of committed transactions the contents
    // and how many calls had been made when the last of them returned.
    void Record() {
        { const ORQSimDatabase database = ORQSimDatabase::Create(m_path); }
        m_files = Read();
        const DiskWatch watch(m_folder / ".");
        ORQSimDatabase database = Open();
        m_states.push_back({0, VerifiedContents(database)});
        for (const auto& transaction : ModelHistory()) {
            if (m_states.size() == ModelHistory().size() / 2) {
                database.Close();
                database = Open();
            }
            transaction(database);
            m_states.push_back({watch.Calls().size(), VerifiedContents(database)});
        }
        ASSERT_EQ(database.Verify(), Texts());
        database.Close();
        m_calls = watch.Calls();
        m_size = SizeOf(Read());
    }

    // The database holds state number `done`, or the next one if that may be; the history goes on
    // from there.
    void ExpectState(std::size_t done, bool mayBeNext) {
        try {
            ExpectStateOf(Open(), done, mayBeNext);
        } catch (const ORQBasFailure& failure) {
            FAIL() << failure.Text();
        }
    }
    void ExpectStateOf(const ORQSimDatabase& database, std::size_t done, bool mayBeNext) {
        const std::string contents = VerifiedContents(database);
        const bool isNext =
            mayBeNext && done + 1 < m_states.size() && contents == m_states[done + 1].contents;
        if (!isNext) {
            ASSERT_TRUE(contents == m_states[done].contents)
                << "transaction " << done << ": " << contents.substr(0, 300);
        }
        done += isNext ? 1 : 0;
        if (done < ModelHistory().size()) {
            ModelHistory()[done](database);
            ASSERT_TRUE(VerifiedContents(database) == m_states[done + 1].contents);
        }
    }

    // After a failure: the handle shows what was committed before and takes the transaction now, or
    // refuses everything. Answers whether it is unknown what the disk holds.
    bool ExpectUndoneOrRefused(const ORQSimDatabase& database, std::size_t done) {
        const std::string contents = VerifiedContents(database);
        try {
            ORQSimTransaction transaction(database.ContextID());
        } catch (const ORQBasFailure& failure) {
            EXPECT_EQ(failure.Kind(), Failure::Refused) << failure.Text();
            return true;
        }
        EXPECT_TRUE(contents == m_states[done].contents) << contents.substr(0, 300);
        return false;
    }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
    Files m_files;
    std::int64_t m_size = 0;  // of all files at the end of the history
    std::vector<DiskCall> m_calls;
    std::vector<State> m_states;
};
