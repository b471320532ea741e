// Copies of a database of every kind of content, damaged everywhere: each is told or harmless.
#include <algorithm>
#include <iostream>
#include <iterator>
#include <random>
#include <set>
#include <sstream>

#include "DiskCalls.h"
#include "History.h"
#include "Vocabulary.h"

namespace {

class DamagedCopiesTest : public testing::Test {
  protected:
    DamagedCopiesTest() {
        {
            const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
            for (const auto& transaction : ModelHistory()) {
                transaction(database);
            }
            m_contents = ContentsOf(m_path);
        }
        m_files = ReadFiles(m_folder / ".");
    }
    const std::string& Bytes(const char* file) const {
        return m_files.at(std::string("model.orq/") + file);
    }
    void PutBack(const char* file) const { WriteBytes(m_path + "/" + file, Bytes(file)); }

    // Whether the damage is told: by refusing to open, or by verifying. What is not told has not
    // changed any contents.
    bool IsFound() const {
        try {
            const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadOnly);
            if (!database.Verify().empty()) {
                return true;
            }
            EXPECT_TRUE(ContentsOf(m_path) == m_contents) << "wrong contents in silence";
            return false;
        } catch (const ORQBasFailure& failure) {
            EXPECT_TRUE(failure.Kind() == Kind::Damaged || failure.Kind() == Kind::Foreign)
                << failure.Text();
            EXPECT_NE(failure.Text().find(m_path), std::string::npos) << failure.Text();
            return true;
        }
    }
    bool IsFoundWithFlipped(const char* file, std::size_t byte, int bits) const {
        std::fstream stream(m_path + "/" + file, std::ios::binary | std::ios::in | std::ios::out);
        const auto put = [&](int change) {
            stream.seekp(static_cast<std::streamoff>(byte));
            stream.put(static_cast<char>(Bytes(file)[byte] ^ change));
            stream.flush();
        };
        put(bits);
        const bool isFound = IsFound();
        put(0);
        return isFound;
    }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
    std::string m_contents;
    Files m_files;
};

}  // namespace

TEST_F(DamagedCopiesTest, AFlippedByteOfTheCatalogueIsFound) {
    std::mt19937 random(20240611);
    const std::string& catalogue = Bytes("catalogue.sqlite");
    // The first page describes the file, the ones behind it its tables.
    const std::size_t nEvery = 4 * 2048;
    const std::size_t step = Thoroughness() > 1 ? 1 : 29;
    for (std::size_t byte = 0; byte < nEvery; byte += step) {
        ASSERT_TRUE(IsFoundWithFlipped("catalogue.sqlite", byte, 1 << random() % 8)) << byte;
    }
    for (int round = 0; round < std::min(2000, 120 * Thoroughness()); ++round) {
        const std::size_t byte = random() % catalogue.size();
        ASSERT_TRUE(IsFoundWithFlipped("catalogue.sqlite", byte, 1 << random() % 8)) << byte;
    }
    EXPECT_FALSE(IsFound());
}

TEST_F(DamagedCopiesTest, AFlippedByteOfBulkDataIsFound) {
    // The bytes that mean something: the header, and the extents up to their lengths.
    std::vector<bool> isUsed(Bytes("bulk.bin").size());
    std::fill_n(isUsed.begin(), 40, true);
    std::istringstream extents(AskCatalogue(m_path, "SELECT offset || ' ' || length FROM extent"));
    for (std::int64_t offset = 0, length = 0; extents >> offset >> length;) {
        std::fill_n(isUsed.begin() + offset, length, true);
    }
    std::mt19937 random(20240612);
    const std::size_t nRounds = Thoroughness() > 1 ? isUsed.size() : 400;
    for (std::size_t round = 0; round < nRounds; ++round) {
        const std::size_t byte = Thoroughness() > 1 ? round : random() % isUsed.size();
        ASSERT_EQ(IsFoundWithFlipped("bulk.bin", byte, 1 << random() % 8), isUsed[byte]) << byte;
    }
}

TEST_F(DamagedCopiesTest, ATruncatedFileIsFound) {
    for (const char* file : {"catalogue.sqlite", "bulk.bin"}) {
        const std::string& bytes = Bytes(file);
        const std::size_t step = bytes.size() / static_cast<std::size_t>(40 * Thoroughness()) + 1;
        for (std::size_t length = 0; length < bytes.size(); length += step) {
            WriteBytes(m_path + "/" + file, bytes.substr(0, length));
            ASSERT_TRUE(IsFound()) << file << " cut at " << length;
        }
        PutBack(file);
    }
    EXPECT_FALSE(IsFound());
}

// A copy that got the log of another database, or noise.
TEST_F(DamagedCopiesTest, ALogThatDoesNotBelongIsNoData) {
    const std::string log = m_path + "/catalogue.sqlite-wal";
    std::string foreign;
    {
        const std::string other = m_folder / "other.orq";
        const ORQSimDatabase database = ORQSimDatabase::Create(other);
        MakeModel(database, 3);
        foreign = ReadBytes(other + "/catalogue.sqlite-wal");
    }
    ASSERT_GT(foreign.size(), 4096U);
    std::mt19937 random(20240613);
    for (int round = 0; round < 20 * Thoroughness(); ++round) {
        std::string bytes(random() % 9000, '\0');
        std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
        WriteBytes(log, bytes);
        EXPECT_FALSE(IsFound()) << "noise of " << bytes.size() << " bytes";
    }
    WriteBytes(log, foreign);
    EXPECT_TRUE(IsFound());
    EXPECT_TRUE(ReadBytes(m_path + "/catalogue.sqlite") == Bytes("catalogue.sqlite"))
        << "what was refused has been changed";
    std::filesystem::remove(log);
    EXPECT_FALSE(IsFound());
}

namespace {

// Recovering copies of the database, each damaged in another way.
class RecoverTest : public DamagedCopiesTest {
  protected:
    using Lines = std::set<std::string>;

    // Contents but for what a new database has of its own.
    static Lines LinesOf(const std::string& contents) {
        Lines lines;
        std::istringstream stream(contents);
        for (std::string line; std::getline(stream, line);) {
            if (!line.starts_with("state|")) {
                lines.insert(line);
            }
        }
        return lines;
    }
    static std::string TableOf(const std::string& line) { return line.substr(0, line.find('|')); }

    // The tables of which rows are missing in what is recovered from the damaged files. All else is
    // as it was, it verifies, and what is missing is told.
    std::set<std::string> Recover() {
        std::filesystem::remove_all(m_new);
        const Files before = ReadFiles(m_path);
        m_recovery = ORQSimDatabase::Recover(m_path, m_new);
        EXPECT_TRUE(ReadFiles(m_path) == before) << "the damaged database was changed";
        EXPECT_EQ(ORQSimDatabase::Open(m_new, Mode::ReadWrite).Verify(), Texts());
        const Lines found = LinesOf(ContentsOf(m_new));
        Lines invented;
        std::ranges::set_difference(found, m_lines, std::inserter(invented, invented.end()));
        EXPECT_EQ(invented, Lines());
        std::set<std::string> missing;
        for (const std::string& line : m_lines) {
            if (!found.contains(line)) {
                missing.insert(TableOf(line));
            }
        }
        EXPECT_TRUE(missing.empty() || !m_recovery.lost.empty());
        return missing;
    }
    std::string Told() const {
        std::string told;
        for (const std::string& text : m_recovery.lost) {
            told += text + '\n';
        }
        return told;
    }
    void Flip(const char* file, std::size_t byte) {
        std::string bytes = ReadBytes(m_path + "/" + file);
        bytes[byte] = static_cast<char>(bytes[byte] ^ 4);
        WriteBytes(m_path + "/" + file, bytes);
    }

    const Lines m_lines = LinesOf(m_contents);
    const std::string m_new = m_folder / "new.orq";
    ORQSimDatabase::Recovery m_recovery;
};

}  // namespace

TEST_F(RecoverTest, OfAWholeDatabaseNothingIsLost) {
    EXPECT_EQ(Recover(), std::set<std::string>());
    EXPECT_EQ(m_recovery.damage, Texts());
}

TEST_F(RecoverTest, EachPage) {
    const std::size_t nPages = Bytes("catalogue.sqlite").size() / 2048;
    for (std::size_t page = 0; page < nPages; ++page) {
        SCOPED_TRACE(page + 1);
        Flip("catalogue.sqlite", page * 2048 + 100);
        const auto missing = Recover();
        std::string all;
        for (auto& t : missing)
            all += t + " ";
        std::cout << page + 1 << ": " << all << '\n' << Told().substr(0, 600);
        PutBack("catalogue.sqlite");
    }
}
