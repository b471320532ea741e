// Copies of a database's files, made one file after the other as cp does, while it is written.
#include <array>
#include <chrono>
#include <cstring>
#include <iostream>
#include <map>
#include <thread>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "DiskCalls.h"
#include "Peer.h"
#include "Vocabulary.h"

namespace {

constexpr int kCopiedNodes = 2000;
constexpr int kNames = 1200;

// The same number in a record and in names on many pages.
void WriteNames(const ORQSimDatabase& database, int value) {
    InTransaction(database, [&] {
        database.Focus().DataRecord().SetInt(0, value);
        for (int slot = 100; slot < 100 + kNames; ++slot) {
            database.Focus().SetName(Slot(slot),
                                     std::string(60, 'n') + std::to_string(10'000'000 + value));
        }
    });
}

// The same in another record and in all of the field.
void WriteField(const ORQSimDatabase& database, int value) {
    InTransaction(database, [&] {
        Append(database, RunOf(Nodes(database), 0, kCopiedNodes), RunOf(Components(database), 0, 1),
               Filled(kCopiedNodes, value));
        database.Focus().DataRecord().SetInt(1, value);
    });
}

bool IsOneState(const ORQSimDatabase& database) {
    const int value = database.Focus().DataRecord().GetInt(0);
    bool isOne =
        FirstComponent(database) == Filled(kCopiedNodes, database.Focus().DataRecord().GetInt(1));
    for (int slot = 100; slot < 100 + kNames; ++slot) {
        isOne = isOne && database.Focus().Name(Slot(slot)).UTF8() ==
                             std::string(60, 'n') + std::to_string(10'000'000 + value);
    }
    return isOne;
}

class CopyTest : public testing::Test {
  protected:
    CopyTest() {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
        MakeModel(database, kCopiedNodes);
        WriteNames(database, 1);
        WriteField(database, 1);
    }

    // Opens, commits, now and then so much that the log is folded in, and closes, until told to
    // end. Answers the last value.
    std::string WriteUntilToldToEnd() const {
        std::mt19937 random(20241122);
        int value = 1;
        while (!std::filesystem::exists(m_end)) {
            const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
            for (int n = random() % 4 == 0 ? 40 : 2; n > 0; --n) {
                WriteNames(database, ++value);
                if (random() % 40 == 0) {
                    WriteField(database, value);
                }
            }
        }
        return std::to_string(value);
    }

    void Pause(unsigned mostMicroseconds) {
        std::this_thread::sleep_for(std::chrono::microseconds(m_random() % mostMicroseconds));
    }
    // A file that is not there is left out.
    void CopyFile(const std::string& name, bool isSlow) {
        std::ifstream from(m_path + "/" + name, std::ios::binary);
        if (!from) {
            return;
        }
        std::ofstream to(m_copy + "/" + name, std::ios::binary);
        std::vector<char> piece(1 + m_random() % 300'000);
        while (from.read(piece.data(), static_cast<std::streamsize>(piece.size())),
               from.gcount() > 0) {
            to.write(piece.data(), from.gcount());
            if (isSlow) {
                Pause(6000);
            }
        }
    }
    // In one of the orders in which a folder may list them.
    void Copy() {
        constexpr std::array<std::array<const char*, 4>, 3> kOrders = {
            {{"bulk.bin", "catalogue.sqlite", "catalogue.sqlite-wal", "lock"},
             {"catalogue.sqlite", "catalogue.sqlite-wal", "lock", "bulk.bin"},
             {"lock", "catalogue.sqlite-wal", "catalogue.sqlite", "bulk.bin"}}};
        std::filesystem::remove_all(m_copy);
        std::filesystem::create_directory(m_copy);
        const bool isSlow = m_random() % 2 == 0;
        for (const char* name : kOrders[m_random() % kOrders.size()]) {
            CopyFile(name, isSlow);
            if (m_random() % 3 == 0) {
                Pause(20'000);
            }
        }
    }

    // Opens the copy and reads all of it.
    enum class Outcome { Right, Refused, Wrong };
    Outcome Read() const {
        try {
            const ORQSimDatabase database = ORQSimDatabase::Open(m_copy, Mode::ReadWrite);
            return !IsOneState(database)       ? Outcome::Wrong
                   : database.Verify().empty() ? Outcome::Right
                                               : Outcome::Refused;
        } catch (const ORQBasFailure& failure) {
            EXPECT_TRUE(failure.Kind() == Failure::Damaged) << failure.Text();
            return Outcome::Refused;
        }
    }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
    const std::string m_copy = m_folder / "copy.orq";
    const std::string m_end = m_folder / "end";
    std::mt19937 m_random{20241123};
};

}  // namespace

TEST_F(CopyTest, FilesThatAreCopiedWhileTheyAreWrittenAreRightOrRefused) {
    Peer writer({[&] { return WriteUntilToldToEnd(); }});
    writer.Go();
    std::map<Outcome, int> outcomes;
    for (int i = 0; i < 60 * Thoroughness(); ++i) {
        Copy();
        ++outcomes[Read()];
    }
    std::ofstream(m_end).put('e');
    const int last = std::stoi(writer.Answer());
    EXPECT_EQ(outcomes[Outcome::Wrong], 0);
    EXPECT_GT(outcomes[Outcome::Right], 0);
    EXPECT_GT(outcomes[Outcome::Refused], 0);
    std::cout << outcomes[Outcome::Right] << " right, " << outcomes[Outcome::Refused]
              << " refused, " << outcomes[Outcome::Wrong] << " wrong, of " << last << " states\n";
    for (int i = 0; i < 20; ++i) {
        Copy();
        ASSERT_EQ(Read(), Outcome::Right) << "of a closed database";
    }
}

// What a copy gets of each file is told by when it read it: two of a session's first commits, one
// that folds the log in, the next one, which begins the log anew, and the end.
TEST_F(CopyTest, FilesOfDifferentTimesAreRefusedUnlessTheyGoTogether) {
    const std::string main = "model.orq/catalogue.sqlite";
    const std::string log = main + "-wal";
    std::optional<ORQSimDatabase> database;
    int value = 1;
    const auto write = [&] {
        WriteNames(*database, ++value);
        return std::to_string(value);
    };
    const auto writeUntilFolded = [&] {
        const auto writtenAt = std::filesystem::last_write_time(m_path + "/catalogue.sqlite");
        while (std::filesystem::last_write_time(m_path + "/catalogue.sqlite") == writtenAt) {
            write();
        }
        return std::to_string(value);
    };
    Peer writer({[&] {
                     database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
                     write();
                     return write();
                 },
                 writeUntilFolded, write,
                 [&]() -> std::string {
                     database.reset();
                     return "closed";
                 }});
    std::vector<Files> times;
    std::vector<int> values;
    for (int step = 0; step < 4; ++step) {
        const std::string answer = writer.Run();
        values.push_back(answer == "closed" ? values.back() : std::stoi(answer));
        times.push_back(ReadFiles(m_folder / "."));
    }
    const auto copyOf = [&](const std::string& mainFile, const std::string& logFile) {
        std::filesystem::remove_all(m_copy);
        std::filesystem::create_directory(m_copy);
        WriteBytes(m_copy + "/bulk.bin", times[3].at("model.orq/bulk.bin"));
        WriteBytes(m_copy + "/catalogue.sqlite", mainFile);
        WriteBytes(m_copy + "/catalogue.sqlite-wal", logFile);
    };
    const auto valueOf = [&](const std::string& path) {
        const ORQSimDatabase copy = ORQSimDatabase::Open(path, Mode::ReadWrite);
        EXPECT_TRUE(IsOneState(copy));
        EXPECT_EQ(copy.Verify(), Texts());
        return copy.Focus().DataRecord().GetInt(0);
    };
    enum { First, Folded, Anew, Closed };
    constexpr int kRefused = -1;
    const struct {
        int main;
        int log;
        int value;
    } cases[] = {
        {First, First, values[First]},    {First, Folded, values[Folded]},
        {First, Anew, kRefused},          {First, Closed, 1},
        {Folded, First, kRefused},        {Folded, Folded, values[Folded]},
        {Folded, Anew, values[Anew]},     {Folded, Closed, values[Folded]},
        {Closed, First, kRefused},        {Closed, Folded, kRefused},
        {Closed, Anew, values[Anew]},  // as when killed before the log was removed
        {Closed, Closed, values[Closed]},
    };
    const auto logOf = [&](int time) { return time == Closed ? "" : times[time].at(log); };
    for (const auto& tried : cases) {
        const auto open = [&] { return valueOf(m_copy); };
        copyOf(times[tried.main].at(main), logOf(tried.log));
        if (tried.value == kRefused) {
            EXPECT_TRUE(Fails(Failure::Damaged, {"catalogue.sqlite: ", "orqmodel copy"}, open))
                << tried.main << " with the log of " << tried.log;
        } else {
            EXPECT_EQ(open(), tried.value) << tried.main << " with the log of " << tried.log;
        }
    }

    // The fold ran while the main file was copied.
    const std::string mixed =
        times[First].at(main).substr(0, 30 * 2048) + times[Folded].at(main).substr(30 * 2048);
    const auto open = [&] { valueOf(m_copy); };
    copyOf(mixed, "");
    EXPECT_TRUE(Fails(Failure::Damaged, {"orqmodel copy"}, open));
    copyOf(mixed, times[Folded].at(log));
    EXPECT_EQ(valueOf(m_copy), values[Folded]);

    // Recovering takes the state that the main file holds.
    copyOf(times[Folded].at(main), times[First].at(log));
    const std::string recovered = m_folder / "recovered.orq";
    EXPECT_FALSE(ORQSimDatabase::Recover(m_copy, recovered).damage.empty());
    EXPECT_EQ(valueOf(recovered), values[Folded]);
}

// Early versions numbered no folds.
TEST_F(CopyTest, ADatabaseOfAnEarlyVersionIsReadAndWrittenOn) {
    std::string catalogue = ReadBytes(m_path + "/catalogue.sqlite");
    catalogue.replace(72, 20, 20, '\0');
    for (std::size_t page = 0; page < catalogue.size() / 2048; ++page) {
        char* const begin = catalogue.data() + page * 2048;
        const std::uint64_t checksum = XXH3_64bits_withSeed(begin, 2040, page + 1);
        std::memcpy(begin + 2040, &checksum, 8);
    }
    WriteBytes(m_path + "/catalogue.sqlite", catalogue);
    for (int value = 1; value < 60; value += 20) {
        const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        EXPECT_EQ(database.Focus().DataRecord().GetInt(0), value);
        EXPECT_TRUE(IsOneState(database));
        EXPECT_EQ(database.Verify(), Texts());
        for (int next = value + 1; next <= value + 20; ++next) {
            WriteNames(database, next);
        }
    }
}
