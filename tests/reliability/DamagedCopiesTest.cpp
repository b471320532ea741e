// Copies of a database of every kind of content, damaged everywhere: each is told or harmless.
#include <random>
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
