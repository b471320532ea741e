// Copies of a database of every kind of content, damaged everywhere: each is told or harmless.
#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "DiskCalls.h"
#include "History.h"
#include "ORQSimCompartment.h"
#include "ORQSimContext.h"
#include "ORQSimLinks.h"
#include "Vocabulary.h"

namespace {

class DamagedCopiesTest : public testing::Test {
  protected:
    DamagedCopiesTest() {
        {
            const ORQSimDatabase database = MakeModelOfHistory(m_path);
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
            EXPECT_TRUE(failure.Kind() == Failure::Damaged || failure.Kind() == Failure::Foreign)
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
    std::istringstream extents(
        AskCatalogue(m_path, "SELECT offset || ' ' || length FROM extent WHERE offset > 0"));
    for (std::int64_t offset = 0, length = 0; extents >> offset >> length;) {
        std::fill_n(isUsed.begin() + offset, length, true);
    }
    std::mt19937 random(20240612);
    for (int round = 0; round < 400 * Thoroughness(); ++round) {
        const std::size_t byte = random() % isUsed.size();
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

// The states behind a damaged place of a log cannot be had; that there were some is told, unless
// it is the last commit, which looks as if power had failed in it.
TEST_F(DamagedCopiesTest, ADamagedLogThatDropsCommitsIsTold) {
    const std::string copy = m_folder / "copy.orq";
    // Space at the end of the bulk file goes back with the first commit, not with those that are
    // lost.
    ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
    InTransaction(database, [&] { database.Focus().DataRecord().SetInt(9, 1); });
    database.Close();
    database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
    std::vector<std::uintmax_t> ends;
    for (int i = 0; i < 4; ++i) {
        InTransaction(database, [&] { database.Focus().CreateDataRecord(Slot(20)).SetInt(0, i); });
        ends.push_back(std::filesystem::file_size(m_path + "/catalogue.sqlite-wal"));
    }
    const std::string log = ReadBytes(m_path + "/catalogue.sqlite-wal");
    for (std::size_t commit = 0; commit < ends.size(); ++commit) {
        for (const std::size_t inPage : {0, 900, 2047}) {
            SCOPED_TRACE("commit " + std::to_string(commit) + ", byte " + std::to_string(inPage));
            std::filesystem::remove_all(copy);
            std::filesystem::create_directory(copy);
            for (const char* file : {"/catalogue.sqlite", "/bulk.bin", "/lock"}) {
                std::filesystem::copy_file(m_path + file, copy + file);
            }
            std::string damaged = log;
            const std::size_t at = ends[commit] - 2048 + inPage;  // of its last frame
            damaged[at] = static_cast<char>(damaged[at] ^ 16);
            WriteBytes(copy + "/catalogue.sqlite-wal", damaged);
            for (int time = 0; time < 2; ++time) {
                const Texts problems = ORQSimDatabase::Open(copy, Mode::ReadOnly).Verify();
                const std::size_t nLost = ends.size() - 1 - commit;
                ASSERT_EQ(problems.size(), nLost > 0 ? 1U : 0U);
                if (nLost > 0) {
                    EXPECT_NE(problems[0].find("catalogue.sqlite-wal: is damaged: " +
                                               std::to_string(nLost) + " or more commits"),
                              std::string::npos)
                        << problems[0];
                }
            }
        }
    }
}

namespace {

// Recovering copies of the database, each damaged in another way.
class RecoverTest : public DamagedCopiesTest {
  protected:
    using Lines = std::set<std::string>;
    using Tables = std::set<std::string>;

    RecoverTest() {
        {
            // A drawer over cells of an earlier one, whose values must not come back.
            const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
            InTransaction(database, [&] { AddDrawer(database, 0, 600, -9); });
        }
        Remember();
    }

    static void AddDrawer(const ORQSimDatabase& database, int first, int count, double value) {
        const Doubles values = Filled(2 * count, value);
        ORQSimTransfer(Field(database))
            .SetWrite()
            .SetMakeNewDrawer()
            .SetDim(0, RunOf(Nodes(database), first, count))
            .SetDim(1, RunOf(Components(database), 0, 2))
            .SetBuffer(ORQSimbufMain, values.data(), std::ssize(values) * 8)
            .ExecWrite();
    }
    // What the database holds now is what is to come back.
    void Remember() {
        m_values = FieldValues(ORQSimDatabase::Open(m_path, Mode::ReadOnly));
        m_lines = LinesOf(ContentsOf(m_path));
        m_files = ReadFiles(m_folder / ".");
    }
    std::vector<int> DrawersOfField(const std::string& path) const {
        std::istringstream lines(AskCatalogue(
            path,
            "SELECT number FROM drawer WHERE distribution = " + m_field + " ORDER BY number"));
        return {std::istream_iterator<int>(lines), {}};
    }

    static Doubles FieldValues(const ORQSimDatabase& database) {
        return At(database, 3).IsNull() || Field(database).NumDrawers() == 0
                   ? Doubles()
                   : Read(Field(database), ORQSimCSet(Nodes(database).ID()),
                          RunOf(Components(database), 0, 8));
    }

    // Contents but for what a new database has of its own.
    static Lines LinesOf(const std::string& contents) {
        Lines lines;
        std::istringstream stream(contents);
        for (std::string line; std::getline(stream, line);) {
            if (line.starts_with("object|")) {
                // What leads to an object tells all of it but its fields.
                const std::size_t fields = line.rfind("|X'");
                lines.insert(line.substr(0, fields));
                if (!line.ends_with("X''")) {
                    lines.insert("fields" + line.substr(6));
                }
            } else if (line.starts_with("distribution|")) {
                lines.insert(line.substr(0, line.rfind('|')));  // the number of its drawers
            } else if (!line.starts_with("state|")) {
                lines.insert(line);
            }
        }
        return lines;
    }
    static std::string TableOf(const std::string& line) { return line.substr(0, line.find('|')); }

    // The tables of which rows are missing in what is recovered from the damaged files. All else is
    // as it was, it verifies, and what is missing is told.
    Tables Recover() {
        std::filesystem::remove_all(m_new);
        const Files before = ReadFiles(m_path);
        m_recovery = ORQSimDatabase::Recover(m_path, m_new);
        EXPECT_TRUE(ReadFiles(m_path) == before) << "the damaged database was changed";
        {
            const ORQSimDatabase recovered = ORQSimDatabase::Open(m_new, Mode::ReadWrite);
            EXPECT_EQ(recovered.Verify(), Texts());
            const Doubles values = FieldValues(recovered);
            std::size_t nWrong = 0;
            for (std::size_t i = 0; i < values.size(); ++i) {
                nWrong += values[i] != m_values[i] && values[i] != kUntouched ? 1 : 0;
            }
            EXPECT_EQ(nWrong, 0U) << "values of the field";
        }
        const Lines found = LinesOf(ContentsOf(m_new));
        Lines invented;
        std::ranges::set_difference(found, m_lines, std::inserter(invented, invented.end()));
        EXPECT_EQ(invented, Lines());
        Tables missing;
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

    static std::string Joined(const Tables& tables) {
        std::string text;
        for (const std::string& table : tables) {
            text += table + ' ';
        }
        return text;
    }

    Lines m_lines;
    Doubles m_values;
    const std::string m_field =
        std::to_string(Field(ORQSimDatabase::Open(m_path, Mode::ReadOnly)).ID().MinorID());
    const std::string m_new = m_folder / "new.orq";
    ORQSimDatabase::Recovery m_recovery;
};

}  // namespace

TEST_F(RecoverTest, OfAWholeDatabaseNothingIsLost) {
    EXPECT_EQ(Recover(), Tables());
    EXPECT_EQ(m_recovery.damage, Texts());
    EXPECT_EQ(m_recovery.lost, Texts());
    EXPECT_EQ(m_recovery.bulkBytes,
              std::stoll(AskCatalogue(m_path,
                                      "SELECT sum(length) + (SELECT sum(length(bytes)) FROM "
                                      "small_chunk) FROM extent")));
}

// What each table takes along when a page of it is lost; the rest of the database is kept.
TEST_F(RecoverTest, ADamagedPageOfTheCatalogueLosesWhatLayInIt) {
    const Tables drawers = {"drawer",        "drawer_segment", "extent", "small_chunk",
                            "data_set_part", "object",         "link"};
    const auto with = [](Tables tables, const Tables& more) {
        tables.insert(more.begin(), more.end());
        return tables;
    };
    const Tables sets = with(drawers, {"component_set", "map_entry", "f_table"});
    const std::map<std::string, Tables> taken = {
        {"text", {"text"}},
        {"object",
         with(drawers, {"f_table", "distribution", "fields", "member", "text", "symbol"})},
        {"collection", with(sets, {"collection", "distribution", "member", "symbol"})},
        {"component_set", sets},
        {"distribution", with(drawers, {"distribution"})},
        {"drawer", drawers},
        {"drawer_segment", drawers},
        {"data_set_part", {"data_set_part", "object", "link"}},
        {"f_table", {"f_table", "object", "extent", "small_chunk", "link", "text"}},
        {"extent", sets},
        {"small_chunk", sets},
    };
    std::istringstream pages(AskCatalogue(
        m_path,
        "SELECT pageno || ' ' || iif(pagetype = 'overflow', 'overflow_', '') || name FROM dbstat"));
    std::set<std::string> harmless;
    std::int64_t page = 0;
    for (std::string owner; pages >> page >> owner;) {
        SCOPED_TRACE(owner + ", page " + std::to_string(page));
        Flip("catalogue.sqlite", static_cast<std::size_t>(page - 1) * 2048 + 1000);
        const Tables missing = Recover();
        EXPECT_EQ(m_recovery.damage.size(), 1U);
        const auto allowed = taken.find(owner.substr(owner.starts_with("overflow_") ? 9 : 0));
        const Tables most = allowed == taken.end() ? Tables() : allowed->second;
        EXPECT_TRUE(std::ranges::includes(most, missing)) << Joined(missing) << Told();
        if (m_recovery.lost.empty()) {
            harmless.insert(owner);
        }
        PutBack("catalogue.sqlite");
    }
    // These are made again from indices, or are not needed.
    for (const char* owner : {"sqlite_schema", "state", "member", "symbol", "link", "map_entry",
                              "set_entry", "free_extent", "link_by_target"}) {
        EXPECT_TRUE(harmless.contains(owner)) << owner;
    }
}

// Each drawer replaces values of the one before it. Those above a place where drawers were lost hold
// the latest values of their cells, and stay; those below may have been replaced.
TEST_F(RecoverTest, DrawersAboveLostOnesStay) {
    constexpr int kDrawers = 300;  // several pages of rows
    {
        const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        InTransaction(database, [&] {
            for (int i = 0; i < kDrawers; ++i) {
                AddDrawer(database, i, 3, i);
            }
        });
    }
    Remember();
    const std::vector<int> all = DrawersOfField(m_path);
    std::istringstream pages(
        AskCatalogue(m_path,
                     "SELECT pageno FROM dbstat WHERE name = 'drawer' AND pagetype = 'leaf' "
                     "ORDER BY path"));
    std::vector<std::size_t> nKept;
    for (std::int64_t page = 0; pages >> page;) {
        SCOPED_TRACE(page);
        Flip("catalogue.sqlite", static_cast<std::size_t>(page - 1) * 2048 + 1000);
        Recover();
        const std::vector<int> kept = DrawersOfField(m_new);
        nKept.push_back(kept.size());
        EXPECT_TRUE(kept.size() < all.size() &&
                    std::equal(kept.rbegin(), kept.rend(), all.rbegin()));
        EXPECT_NE(Told().find(" drawers are there"), std::string::npos) << Told();
        PutBack("catalogue.sqlite");
    }
    ASSERT_GT(nKept.size(), 3U);
    EXPECT_TRUE(std::ranges::is_sorted(nKept, std::ranges::greater()));
    EXPECT_GT(nKept.front(), all.size() / 2);
    EXPECT_EQ(nKept.back(), 0U);
}

// Data sets and their compartments lie in one table, those of all kinds one behind the other.
TEST_F(RecoverTest, ADamagedPageOfASharedTableTakesNothingOfOtherPagesAlong) {
    constexpr int kEach = 300;
    constexpr int kMostOfAPage = 200;
    {
        const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        InTransaction(database, [&] {
            const ORQSimPosition focus = database.Focus();
            const ORQSimVector all = focus.GetVector(Slot(88));
            for (int i = 0; i < kEach; ++i) {
                all.PushBack(
                    focus.Context().CreateDSet(Field(database).ID(), ORQSimTypeID(Slot(24))));
            }
            for (int i = 0; i < kEach; ++i) {
                const ORQSimCompartment some(
                    std::vector{RunOf(Nodes(database), 0, 2).RegisterWithTempCollection()});
                all.PushBack(focus.CreateTypedDSet(ORQSimCtation(std::vector{some}), Slot(41)));
            }
        });
    }
    Remember();
    const auto count = [](const std::string& path) {
        return std::stoi(AskCatalogue(path, "SELECT count(*) FROM data_set_part WHERE kind = 0"));
    };
    const int nAll = count(m_path);
    ASSERT_GE(nAll, 2 * kEach);
    std::istringstream pages(AskCatalogue(
        m_path, "SELECT pageno FROM dbstat WHERE name = 'data_set_part' AND pagetype = 'leaf'"));
    int nPages = 0;
    int nTakingMore = 0;  // where the last rows of one kind and the first of the next lie together
    for (std::int64_t page = 0; pages >> page; ++nPages) {
        SCOPED_TRACE(page);
        Flip("catalogue.sqlite", static_cast<std::size_t>(page - 1) * 2048 + 1000);
        Recover();
        nTakingMore += count(m_new) > nAll - kMostOfAPage ? 0 : 1;
        PutBack("catalogue.sqlite");
    }
    EXPECT_GT(nPages, 5);
    EXPECT_LE(nTakingMore, 1);
}

TEST_F(RecoverTest, ADamagedBlockLosesTheDrawerSetOrTableThatItIsPartOf) {
    std::istringstream extents(AskCatalogue(m_path,
                                            "SELECT store || ' ' || offset || ' ' || length FROM "
                                            "extent WHERE offset > 0 ORDER BY store"));
    std::mt19937 random(20240614);
    std::int64_t store = 0;
    std::int64_t offset = 0;
    for (std::int64_t length = 0; extents >> store >> offset >> length;) {
        SCOPED_TRACE(store);
        Flip("bulk.bin",
             static_cast<std::size_t>(offset + static_cast<std::int64_t>(random()) % length));
        const Tables missing = Recover();
        EXPECT_TRUE(missing.contains("extent"));
        EXPECT_FALSE(missing.contains("collection") || missing.contains("distribution") ||
                     missing.contains("text"))
            << Joined(missing);
        EXPECT_NE(Told().find("of bulk.bin is damaged"), std::string::npos) << Told();
        EXPECT_EQ(AskCatalogue(
                      m_new, "SELECT count(*) FROM extent WHERE store = " + std::to_string(store)),
                  "0\n");
        PutBack("bulk.bin");
    }
    EXPECT_GT(offset, 0);
}

TEST_F(RecoverTest, FilesThatAreCutMissingOrDamagedInManyPlaces) {
    std::mt19937 random(20240615);
    for (int round = 0; round < 12 * Thoroughness(); ++round) {
        SCOPED_TRACE(round);
        const std::size_t catalogueBytes = Bytes("catalogue.sqlite").size();
        for (int flips = round % 6; flips > 0; --flips) {
            Flip("catalogue.sqlite", random() % catalogueBytes);
            Flip("bulk.bin", random() % Bytes("bulk.bin").size());
        }
        switch (round % 4) {
            case 0:
                WriteBytes(m_path + "/bulk.bin",
                           Bytes("bulk.bin").substr(0, random() % Bytes("bulk.bin").size()));
                break;
            case 1:
                std::filesystem::remove(m_path + "/bulk.bin");
                break;
            case 2:
                WriteBytes(m_path + "/catalogue.sqlite",
                           Bytes("catalogue.sqlite")
                               .substr(0, catalogueBytes / 2 + random() % catalogueBytes / 2));
                break;
            default:
                break;
        }
        try {
            Recover();
            EXPECT_FALSE(m_recovery.damage.empty());
        } catch (const ORQBasFailure& failure) {
            EXPECT_EQ(failure.Kind(), Failure::Damaged) << failure.Text();
            EXPECT_FALSE(std::filesystem::exists(m_new));
        }
        PutBack("catalogue.sqlite");
        PutBack("bulk.bin");
    }
}

// A process that was killed leaves its log, which has what the main file has not, or is repaired
// by.
TEST_F(RecoverTest, ALogIsReadWhereItBelongsAndIsWhole) {
    const std::string log = m_path + "/catalogue.sqlite-wal";
    const std::string other = m_folder / "other.orq";
    const Lines before = m_lines;
    Files killed;
    {
        const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        InTransaction(database, [&] { database.Focus().DataRecord().SetInt(0, 43); });
        m_lines = LinesOf(ContentsOf(m_path));
        killed = ReadFiles(m_folder / ".");
        MakeModel(ORQSimDatabase::Create(other), 3);
    }
    std::filesystem::remove_all(other);
    const auto put = [&] { WriteFiles(m_folder / ".", killed); };
    const std::string& logged = killed.at("model.orq/catalogue.sqlite-wal");
    ASSERT_GT(logged.size(), 2000U);

    put();
    EXPECT_EQ(Recover(), Tables());
    // A page that the log holds too.
    const auto page = static_cast<std::size_t>(static_cast<unsigned char>(logged[34])) << 8 |
                      static_cast<std::size_t>(static_cast<unsigned char>(logged[35]));
    Flip("catalogue.sqlite", (page - 1) * 2048 + 9);
    EXPECT_EQ(Recover(), Tables());
    EXPECT_EQ(m_recovery.damage, Texts());

    put();
    std::filesystem::remove(log);
    m_lines = before;
    EXPECT_EQ(Recover(), Tables());
}

TEST_F(RecoverTest, WhatIsNoDamagedDatabaseIsRefused) {
    const auto refuses = [&](Failure kind, std::initializer_list<std::string> parts) {
        const auto refused = Fails(kind, parts, [&] { ORQSimDatabase::Recover(m_path, m_new); });
        EXPECT_FALSE(std::filesystem::exists(m_new));
        return refused;
    };
    {
        const ORQSimDatabase writer = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        EXPECT_TRUE(refuses(Failure::Busy, {m_path, std::to_string(getpid())}));
    }
    const std::string other = m_folder / "other.orq";
    MakeModel(ORQSimDatabase::Create(other), 3);
    WriteBytes(m_path + "/bulk.bin", ReadBytes(other + "/bulk.bin"));
    EXPECT_TRUE(refuses(Failure::Foreign, {"bulk.bin", "another database"}));
    PutBack("bulk.bin");
    WriteBytes(m_path + "/catalogue.sqlite", std::string(20'000, 'x'));
    EXPECT_TRUE(refuses(Failure::Damaged, {m_path, "nothing can be read"}));
    std::filesystem::remove(m_path + "/catalogue.sqlite");
    EXPECT_TRUE(refuses(Failure::Damaged, {m_path, "catalogue.sqlite is missing"}));
    std::filesystem::remove_all(m_path);
    EXPECT_TRUE(refuses(Failure::Io, {m_path, "does not exist"}));
    EXPECT_TRUE(Fails(Failure::Usage, {other, "exists already"},
                      [&] { ORQSimDatabase::Recover(m_path, other); }));
}
