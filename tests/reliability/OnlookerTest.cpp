// Users who may read a database and not write it, beside one who may.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <thread>

#include "DiskCalls.h"
#include "Peer.h"
#include "Vocabulary.h"

namespace {

constexpr int kWatchedNodes = 4000;
constexpr uid_t kOther = 65534;

// The same number in all of the field, in a record and in many names of links.
void WriteState(const ORQSimDatabase& database, int value) {
    InTransaction(database, [&] {
        Append(database, RunOf(Nodes(database), 0, kWatchedNodes),
               RunOf(Components(database), 0, 1), Filled(kWatchedNodes, value));
        database.Focus().DataRecord().SetInt(0, value);
        for (int slot = 100; slot < 200; ++slot) {
            database.Focus().SetName(Slot(slot),
                                     std::string(60, 'n') + std::to_string(value % 10'000));
        }
    });
}

// The number; or what does not fit together.
std::string StateOf(const ORQSimDatabase& database) {
    const int value = database.Focus().DataRecord().GetInt(0);
    if (FirstComponent(database) != Filled(kWatchedNodes, value)) {
        return "mixed values";
    }
    for (int slot = 100; slot < 200; ++slot) {
        if (database.Focus().Name(Slot(slot)).UTF8() !=
            std::string(60, 'n') + std::to_string(value % 10'000)) {
            return "mixed names";
        }
    }
    const Texts problems = database.Verify();
    return problems.empty() ? std::to_string(value) : problems.front();
}

class OnlookerTest : public testing::Test {
  protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only the superuser can become another user";
        }
        chmod((m_folder / ".").c_str(), 0755);
        const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
        MakeModel(database, kWatchedNodes);
        WriteState(database, 1);
    }
    // Steps of a process of the other user.
    std::vector<Peer::Step> AsOther(std::vector<Peer::Step> steps) const {
        steps.front() = [first = steps.front()]() -> std::string {
            return setuid(kOther) == 0 ? first() : "cannot become another user";
        };
        return steps;
    }
    ORQSimDatabase OpenToRead() const { return ORQSimDatabase::Open(m_path, Mode::ReadOnly); }
    ORQSimDatabase OpenToWrite() const { return ORQSimDatabase::Open(m_path, Mode::ReadWrite); }
    bool HasLog() const { return std::filesystem::exists(m_path + "/catalogue.sqlite-wal"); }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
};

}  // namespace

TEST_F(OnlookerTest, EveryOpeningSeesOneStateWhileTheOwnerComesAndGoes) {
    const int nOpenings = 400 * Thoroughness();
    Peer other(AsOther({[&]() -> std::string {
        int last = 0;
        int nStates = 0;
        for (int i = 0; i < nOpenings; ++i) {
            const std::string seen = StateOf(OpenToRead());
            if (seen.find_first_not_of("0123456789") != std::string::npos ||
                std::stoi(seen) < last) {
                return seen + " after " + std::to_string(last);
            }
            nStates += std::stoi(seen) > last ? 1 : 0;
            last = std::stoi(seen);
        }
        return nStates > 3 ? "right" : "saw " + std::to_string(nStates) + " states";
    }}));
    other.Go();
    auto answer = std::async(std::launch::async, [&] { return other.Answer(); });
    int value = 1;
    std::mt19937 random(20241121);
    const auto pause = [&] {
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 5000));
    };
    for (; answer.wait_for(std::chrono::seconds(0)) != std::future_status::ready; pause()) {
        const ORQSimDatabase owner = OpenToWrite();
        for (int i = 0; i < 3; ++i) {
            WriteState(owner, ++value);
            pause();
        }
    }
    EXPECT_EQ(answer.get(), "right");
    EXPECT_EQ(StateOf(OpenToWrite()), std::to_string(value));
}

TEST_F(OnlookerTest, TheFilesStayAsTheyAreForOneWhoReadsThemWithoutALog) {
    std::optional<ORQSimDatabase> reader;
    Peer other(AsOther({[&] {
                            reader = OpenToRead();
                            return std::to_string(reader->Focus().DataRecord().GetInt(0));
                        },
                        [&] { return StateOf(*reader); },
                        [&] { return reader->Refresh() ? StateOf(*reader) : "no other"; },
                        [&] { return reader->Refresh() ? StateOf(*reader) : "no other"; },
                        [&]() -> std::string {
                            reader.reset();
                            return "closed";
                        }}));
    EXPECT_EQ(other.Run(), "1");
    {
        const ORQSimDatabase owner = OpenToWrite();
        for (int value = 2; value <= 120; ++value) {  // the log becomes long
            WriteState(owner, value);
        }
    }
    EXPECT_TRUE(HasLog());
    EXPECT_EQ(other.Run(), "1");
    EXPECT_EQ(other.Run(), "120");
    EXPECT_EQ(other.Run(), "no other");
    EXPECT_EQ(other.Run(), "closed");
    { const ORQSimDatabase owner = OpenToWrite(); }
    EXPECT_FALSE(HasLog());
    EXPECT_EQ(StateOf(OpenToRead()), "120");
}

TEST_F(OnlookerTest, WhatIsMissingIsNamedAndNothingIsMade) {
    const auto open = [&] { return StateOf(OpenToRead()); };
    Peer other(AsOther({open, open, open, open}));
    EXPECT_EQ(other.Run(), "1");
    // The directory may be written, the catalogue not.
    chmod(m_path.c_str(), 0777);
    const Files before = ReadFiles(m_path);
    EXPECT_EQ(other.Run(), "1");
    EXPECT_TRUE(ReadFiles(m_path) == before);
    // Everything but the lock file.
    chmod((m_path + "/catalogue.sqlite").c_str(), 0666);
    chmod((m_path + "/lock").c_str(), 0600);
    const std::string unseen = other.Run();
    EXPECT_NE(unseen.find("lock: cannot be read"), std::string::npos) << unseen;
    chmod((m_path + "/catalogue.sqlite").c_str(), 0644);
    std::filesystem::remove(m_path + "/lock");
    const std::string refusal = other.Run();
    EXPECT_NE(refusal.find("lock: is missing"), std::string::npos) << refusal;
}
