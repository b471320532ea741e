// Files that are not as they were written: found, named, and never a wrong value in silence.
#include <sqlite3.h>

#include <cstring>

#include "ORQSimLinks.h"
#include "Peer.h"
#include "Vocabulary.h"

namespace {

constexpr int kNodes = 30'000;  // four checksum blocks

std::string Catalogue(const std::string& path) {
    return path + "/catalogue.sqlite";
}
std::string Bulk(const std::string& path) {
    return path + "/bulk.bin";
}

double ValueAt(int node) {
    return 1e6 + node;
}

// Everything that is in the database, as one text.
std::string ReadAll(const ORQSimDatabase& database) {
    std::string all;
    const ORQSimPosition focus = database.Focus();
    for (auto i = focus.GetMap(Slot(10)).Begin(); i.NotDone(); ++i) {
        all += i.Key().UTF8() + '=' + (*i).DataRecord().ReturnString(0).UTF8() + ';';
    }
    for (auto i = focus.GetVector(Slot(11)).Begin(); i.NotDone(); ++i) {
        for (const int member : OrderedMembers((*i).CSet())) {
            all += std::to_string(member) + ' ';
        }
        all += (*i).Parent(Slot(11)) == focus ? "found back;" : "lost;";
    }
    for (const double value : FirstComponent(database)) {
        all += std::to_string(value) + ' ';
    }
    return all;
}

// Through the program's own VFS, which is registered, so that pages keep their checksums.
void ChangeRows(const std::string& path, const char* sql) {
    sqlite3* catalogue = nullptr;
    ASSERT_EQ(sqlite3_open_v2(Catalogue(path).c_str(), &catalogue, SQLITE_OPEN_READWRITE,
                              "orq-page-checksum"),
              SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(catalogue, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(catalogue);
}

// A closed database with some hundred records, long texts that fill pages of their own, sets and
// bulk data. Its files are kept, so that each case begins with intact ones.
class DamageTest : public testing::Test {
  protected:
    DamageTest() {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
        MakeModel(database, kNodes + 100);
        InTransaction(database, [&] {
            const ORQSimPosition focus = database.Focus();
            for (int i = 0; i < 150; ++i) {
                const ORQSimPosition record = focus.CreateDataRecord(Slot(20)).Pos();
                const std::string text(i % 40 == 0 ? 9000 : 20, static_cast<char>('a' + i % 26));
                record.DataRecord().SetString(0, text.c_str());
                focus.GetMap(Slot(10)).Insert(("record " + std::to_string(i)).c_str(), record);
            }
            Ints members;
            for (int i = 0; i < 900; ++i) {
                members.push_back(i * i % 7919);
            }
            focus.GetVector(Slot(11)).PushBack(
                SetOf(Nodes(database), members).RegisterWithCollection());
            Doubles values;
            for (int node = 0; node < kNodes; ++node) {
                values.push_back(ValueAt(node));
            }
            Append(database, RunOf(Nodes(database), 0, kNodes), RunOf(Components(database), 0, 1),
                   values, 2 * kNodes);
        });
        m_contents = ReadAll(database);
    }
    void SetUp() override {
        m_catalogue = ReadBytes(Catalogue(m_path));
        m_bulk = ReadBytes(Bulk(m_path));
    }
    void Restore() {
        WriteBytes(Catalogue(m_path), m_catalogue);
        WriteBytes(Bulk(m_path), m_bulk);
    }
    // Changes one bit of it in the bulk file.
    void DamageValueOf(int node) const {
        const double value = ValueAt(node);
        std::string damaged = m_bulk;
        const std::size_t at =
            damaged.find(std::string(reinterpret_cast<const char*>(&value), sizeof value));
        ASSERT_NE(at, std::string::npos);
        damaged[at + 2] = static_cast<char>(damaged[at + 2] ^ 4);
        WriteBytes(Bulk(m_path), damaged);
    }
    ORQSimDatabase Open(Mode mode = Mode::ReadOnly) const {
        return ORQSimDatabase::Open(m_path, mode);
    }
    testing::AssertionResult OpeningFails(Failure kind,
                                          std::initializer_list<std::string> parts) const {
        const testing::AssertionResult reading = Fails(kind, parts, [&] { Open(); });
        return reading ? Fails(kind, parts, [&] { Open(Mode::ReadWrite); }) : reading;
    }

    // Reads everything, and again what could not be read. What was damaged must either not matter
    // or be told with the file's name each time, and Verify must find it.
    void ExpectFoundAndNeverWrong() {
        try {
            const ORQSimDatabase database = Open();
            const Texts problems = database.Verify();
            ASSERT_NE(problems, Texts());
            ASSERT_NE(problems.front().find("catalogue.sqlite"), std::string::npos)
                << problems.front();
            for (int attempt = 0; attempt < 2; ++attempt) {
                ASSERT_NO_FATAL_FAILURE(ExpectToldOrRight([&] { return ReadAll(database); }));
            }
        } catch (const ORQBasFailure& failure) {
            ASSERT_NO_FATAL_FAILURE(ExpectTold(failure));
        }
    }
    template <class Reading>
    void ExpectToldOrRight(Reading&& reading) {
        try {
            ASSERT_TRUE(reading() == m_contents) << "wrong values in silence";
        } catch (const ORQBasFailure& failure) {
            ASSERT_NO_FATAL_FAILURE(ExpectTold(failure));
        }
    }
    void ExpectTold(const ORQBasFailure& failure) {
        ASSERT_TRUE(failure.Kind() == Failure::Damaged || failure.Kind() == Failure::Foreign)
            << failure.Text();
        ASSERT_NE(failure.Text().find(m_path), std::string::npos) << failure.Text();
    }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
    std::string m_contents;
    std::string m_catalogue;
    std::string m_bulk;
};

}  // namespace

TEST_F(DamageTest, AnyLostOrMisplacedPageOfTheCatalogueIsFound) {
    constexpr std::size_t kPage = 2048;
    for (std::size_t page = 0; page < m_catalogue.size() / kPage; ++page) {
        SCOPED_TRACE("page " + std::to_string(page + 1));
        std::string damaged = m_catalogue;
        damaged.replace(page * kPage, kPage, kPage, '\0');
        WriteBytes(Catalogue(m_path), damaged);
        ASSERT_NO_FATAL_FAILURE(ExpectFoundAndNeverWrong());
        if (page > 1) {
            damaged = m_catalogue;
            damaged.replace(page * kPage, kPage, m_catalogue, (page - 1) * kPage, kPage);
            WriteBytes(Catalogue(m_path), damaged);
            ASSERT_NO_FATAL_FAILURE(ExpectFoundAndNeverWrong());
        }
    }
}

TEST_F(DamageTest, ADamagedBlockIsFoundWhenItIsTouchedAndByVerifying) {
    ASSERT_NO_FATAL_FAILURE(DamageValueOf(20'000));
    const ORQSimDatabase database = Open(Mode::ReadWrite);
    const auto read = [&](int first, int count) {
        return Read(Field(database), RunOf(Nodes(database), first, count),
                    RunOf(Components(database), 0, 1));
    };
    EXPECT_EQ(read(0, 1000).back(), ValueAt(999));
    EXPECT_TRUE(Fails(Failure::Damaged, {"bulk.bin", "block at byte", "damaged"},
                      [&] { read(19'990, 5); }));
    EXPECT_TRUE(Fails(Failure::Damaged, {Bulk(m_path) + ": "}, [&] { read(19'990, 5); }));
    EXPECT_EQ(read(29'999, 1).back(), ValueAt(29'999));
    const Texts problems = database.Verify();
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_NE(problems[0].find("bulk.bin: the block at byte"), std::string::npos) << problems[0];
    // Writing beside it must not make the damaged bytes pass for good ones.
    {
        ORQSimTransaction transaction(database.ContextID());
        EXPECT_TRUE(Fails(Failure::Damaged, {"bulk.bin"}, [&] {
            Append(database, RunOf(Nodes(database), 20'001, 1), RunOf(Components(database), 0, 1),
                   {5.0});
        }));
    }
    EXPECT_EQ(database.Verify().size(), 1u);
}

// Blocks are compared while they are copied; what is damaged must not stay in the caller's buffer.
TEST_F(DamageTest, AReadThatMeetsADamagedBlockHandsNothingOfItOut) {
    ASSERT_NO_FATAL_FAILURE(DamageValueOf(20'000));
    const ORQSimDatabase database = Open();
    Doubles values(kNodes, -1);
    ORQSimTransfer transfer(Field(database));
    transfer.SetRead()
        .SetDim(0, RunOf(Nodes(database), 0, kNodes))
        .SetDim(1, RunOf(Components(database), 0, 1))
        .SetBuffer(ORQSimbufMain, values.data(), std::int64_t{kNodes} * 8);
    EXPECT_TRUE(Fails(Failure::Damaged, {"bulk.bin", "block at byte", "damaged"},
                      [&] { transfer.ExecRead(); }));
    for (int node = 0; node < kNodes; ++node) {
        const double read = values[static_cast<std::size_t>(node)];
        ASSERT_TRUE(read == ValueAt(node) || read == 0 || read == -1) << node << ": " << read;
    }
    EXPECT_EQ(values.front(), ValueAt(0)) << "whole blocks before it are read";
}

TEST_F(DamageTest, ADamagedDatabaseIsNotCopied) {
    const std::string copy = m_folder / "copy.orq";
    Open().CopyTo(copy);
    EXPECT_EQ(ReadAll(ORQSimDatabase::Open(copy, Mode::ReadOnly)), m_contents);
    std::filesystem::remove_all(copy);
    std::string damaged = m_bulk;
    const double value = ValueAt(20'000);
    damaged[damaged.find(std::string(reinterpret_cast<const char*>(&value), sizeof value))] ^= 1;
    WriteBytes(Bulk(m_path), damaged);
    EXPECT_TRUE(
        Fails(Failure::Damaged, {Bulk(m_path), "block at byte"}, [&] { Open().CopyTo(copy); }));
    EXPECT_FALSE(std::filesystem::exists(copy));
}

TEST_F(DamageTest, AppendingToADamagedBlockDoesNotHideTheDamage) {
    const double value = ValueAt(kNodes - 50);
    std::string damaged = m_bulk;
    const std::size_t at =
        damaged.find(std::string(reinterpret_cast<const char*>(&value), sizeof value));
    ASSERT_NE(at, std::string::npos);
    damaged[at] = static_cast<char>(damaged[at] ^ 1);
    WriteBytes(Bulk(m_path), damaged);
    const ORQSimDatabase database = Open(Mode::ReadWrite);
    ORQSimTransaction transaction(database.ContextID());
    EXPECT_TRUE(Fails(Failure::Damaged, {"bulk.bin"}, [&] {
        Append(database, RunOf(Nodes(database), kNodes, 100), RunOf(Components(database), 0, 1),
               Filled(100, 1));
    }));
}

TEST_F(DamageTest, DamagedSetMembersInTheBulkFileAreFound) {
    Ints members;
    for (int i = 0; i < 5000; ++i) {
        members.push_back(i * 5 + i % 2);
    }
    {
        const ORQSimDatabase database = Open(Mode::ReadWrite);
        InTransaction(database, [&] {
            database.Focus().GetVector(Slot(11)).PushBack(
                SetOf(Nodes(database), members).RegisterWithCollection());
        });
    }
    std::string damaged = ReadBytes(Bulk(m_path));
    const std::size_t at =
        damaged.find(std::string(reinterpret_cast<const char*>(members.data()), 40 * sizeof(int)));
    ASSERT_NE(at, std::string::npos);
    damaged[at + 8] = static_cast<char>(damaged[at + 8] ^ 1);
    WriteBytes(Bulk(m_path), damaged);
    const ORQSimDatabase database = Open();
    EXPECT_TRUE(Fails(Failure::Damaged, {"bulk.bin"}, [&] { ReadAll(database); }));
    EXPECT_NE(database.Verify(), Texts());
}

TEST_F(DamageTest, TheBulkFilesHeaderIsChecked) {
    for (const std::size_t byte : {0u, 9u, 13u, 20u, 35u}) {
        SCOPED_TRACE("byte " + std::to_string(byte));
        std::string damaged = m_bulk;
        damaged[byte] = static_cast<char>(damaged[byte] ^ 1);
        WriteBytes(Bulk(m_path), damaged);
        EXPECT_TRUE(OpeningFails(Failure::Damaged, {Bulk(m_path)}));
    }
}

// A database whose arrays all stand in the catalogue: its bulk file is the header of 40 bytes.
class ShortBulkFileTest : public testing::Test {
  protected:
    static constexpr std::size_t kHeader = 40;
    static constexpr int kFew = 100;
    static constexpr int kMany = 3000;

    ShortBulkFileTest() {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
        MakeModel(database, kMany);
        Put(database, kFew, 1);
    }
    static void Put(const ORQSimDatabase& database, int count, double value) {
        InTransaction(database, [&] {
            Append(database, RunOf(Nodes(database), 0, count), RunOf(Components(database), 0, 1),
                   Filled(count, value), kMany);
        });
    }
    static void Expect(const ORQSimDatabase& database, int count, double value) {
        Doubles values = FirstComponent(database);
        values.resize(static_cast<std::size_t>(count));
        EXPECT_EQ(values, Filled(count, value));
        EXPECT_EQ(database.Verify(), Texts());
    }
    ORQSimDatabase Open(Mode mode = Mode::ReadOnly) const {
        return ORQSimDatabase::Open(m_path, mode);
    }
    std::string BulkBytes() const { return ReadBytes(Bulk(m_path)); }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
};

TEST_F(ShortBulkFileTest, IsReadCopiedAndRecoveredAndGrowsWithItsFirstExtent) {
    const std::string header = BulkBytes();
    EXPECT_EQ(header.size(), kHeader);
    const std::string copy = m_folder / "copy.orq";
    Open().CopyTo(copy);
    Expect(ORQSimDatabase::Open(copy, Mode::ReadWrite), kFew, 1);
    EXPECT_EQ(ReadBytes(Bulk(copy)).size(), kHeader);
    const std::string rewritten = m_folder / "new.orq";
    EXPECT_EQ(ORQSimDatabase::Recover(m_path, rewritten).damage, Texts());
    EXPECT_EQ(ReadBytes(Bulk(rewritten)).size(), kHeader);
    Put(Open(Mode::ReadWrite), kFew, 2);
    EXPECT_EQ(BulkBytes(), header);
    ORQSimDatabase reader = Open();
    Put(Open(Mode::ReadWrite), kMany, 3);
    EXPECT_GE(BulkBytes().size(), 4096U + 8 * kMany);
    EXPECT_EQ(BulkBytes().substr(0, kHeader), header);
    Expect(reader, kFew, 2);
    reader.Refresh();
    Expect(reader, kMany, 3);
    // From then on it needs its extent.
    WriteBytes(Bulk(m_path), header);
    EXPECT_TRUE(Fails(Failure::Damaged, {Bulk(m_path), "truncated: 40 bytes"}, [&] { Open(); }));
}

TEST_F(ShortBulkFileTest, AHeaderThatIsCutOrDamagedIsTold) {
    const std::string header = BulkBytes();
    std::string damaged = header;
    damaged.back() = static_cast<char>(damaged.back() ^ 1);
    for (const std::string& bytes : {header.substr(0, kHeader - 1), damaged, std::string()}) {
        SCOPED_TRACE(bytes.size());
        WriteBytes(Bulk(m_path), bytes);
        for (const Mode mode : {Mode::ReadOnly, Mode::ReadWrite}) {
            EXPECT_TRUE(Fails(Failure::Damaged, {Bulk(m_path)}, [&] { Open(mode); }));
        }
        EXPECT_EQ(BulkBytes(), bytes);
        const std::string rewritten = m_folder / "new.orq";
        const ORQSimDatabase::Recovery recovery = ORQSimDatabase::Recover(m_path, rewritten);
        ASSERT_FALSE(recovery.damage.empty());
        EXPECT_EQ(recovery.damage[0], "bulk.bin: the header is damaged");
        EXPECT_EQ(recovery.lost, Texts());
        Expect(ORQSimDatabase::Open(rewritten, Mode::ReadWrite), kFew, 1);
        std::filesystem::remove_all(rewritten);
    }
}

// A writer that was killed between letting the file grow and the commit, also on a disk that kept a
// part of that; and a file as earlier programs made it, with a whole page.
TEST_F(ShortBulkFileTest, WhatWasWrittenBehindTheHeaderAndNotCommittedHasNoMeaning) {
    const std::string header = BulkBytes();
    for (const std::size_t size : {41U, 4095U, 4096U, 4097U, 50'000U}) {
        SCOPED_TRACE(size);
        const Folder folder;
        const std::string path = folder / "model.orq";
        std::filesystem::copy(m_path, path, std::filesystem::copy_options::recursive);
        WriteBytes(Bulk(path), header + std::string(size - kHeader, size == 4096 ? '\0' : 'x'));
        Expect(ORQSimDatabase::Open(path, Mode::ReadOnly), kFew, 1);
        { Expect(ORQSimDatabase::Open(path, Mode::ReadWrite), kFew, 1); }
        EXPECT_EQ(ReadBytes(Bulk(path)).size(), std::min(size, std::size_t{4096}));
        EXPECT_EQ(ReadBytes(Bulk(path)).substr(0, kHeader), header);
        { Put(ORQSimDatabase::Open(path, Mode::ReadWrite), kMany, 2); }
        Expect(ORQSimDatabase::Open(path, Mode::ReadOnly), kMany, 2);
    }
}

TEST_F(DamageTest, TruncatedFilesAreNamed) {
    WriteBytes(Bulk(m_path), m_bulk.substr(0, m_bulk.size() - 5000));
    EXPECT_TRUE(OpeningFails(Failure::Damaged, {Bulk(m_path), "truncated"}));
    WriteBytes(Bulk(m_path), "");
    EXPECT_TRUE(OpeningFails(Failure::Damaged, {Bulk(m_path)}));
    Restore();
    WriteBytes(Catalogue(m_path), m_catalogue.substr(0, m_catalogue.size() / 2));
    EXPECT_TRUE(OpeningFails(Failure::Damaged, {Catalogue(m_path)}));
    for (const std::size_t size : {0u, 50u, 100u, 4095u}) {
        SCOPED_TRACE(size);
        WriteBytes(Catalogue(m_path), m_catalogue.substr(0, size));
        EXPECT_TRUE(OpeningFails(Failure::Damaged, {Catalogue(m_path)}));
    }
    // Nothing that was refused has been changed or completed.
    EXPECT_EQ(ReadBytes(Catalogue(m_path)), m_catalogue.substr(0, 4095));
    Restore();
    EXPECT_EQ(ReadAll(Open()), m_contents);
}

TEST_F(DamageTest, MissingFilesAreNamed) {
    std::filesystem::remove(Bulk(m_path));
    EXPECT_TRUE(OpeningFails(Failure::Damaged, {m_path, "bulk.bin is missing"}));
    EXPECT_FALSE(std::filesystem::exists(Bulk(m_path)));
    Restore();
    std::filesystem::remove(Catalogue(m_path));
    EXPECT_TRUE(OpeningFails(Failure::Damaged, {m_path, "catalogue.sqlite is missing"}));
    std::filesystem::remove(Bulk(m_path));
    EXPECT_TRUE(OpeningFails(Failure::Foreign, {m_path, "not a model database"}));
    std::filesystem::remove_all(m_path);
    EXPECT_TRUE(OpeningFails(Failure::Io, {m_path, "does not exist"}));
    WriteBytes(m_path, "some file");
    EXPECT_TRUE(OpeningFails(Failure::Foreign, {m_path, "not a directory"}));
    EXPECT_TRUE(Fails(Failure::Usage, {m_path, "exists"}, [&] { ORQSimDatabase::Create(m_path); }));
    EXPECT_EQ(ReadBytes(m_path), "some file");
    const std::string nowhere = m_folder / "none/model.orq";
    EXPECT_TRUE(Fails(Failure::Io, {nowhere}, [&] { ORQSimDatabase::Create(nowhere); }));
}

TEST_F(DamageTest, ABulkFileOfAnotherDatabaseIsForeign) {
    const std::string other = m_folder / "other.orq";
    {
        const ORQSimDatabase database = ORQSimDatabase::Create(other);
        MakeModel(database, 5);
    }
    WriteBytes(Bulk(m_path), ReadBytes(Bulk(other)));
    EXPECT_TRUE(OpeningFails(Failure::Foreign, {Bulk(m_path), "another database"}));
}

TEST_F(DamageTest, DatabasesOfOtherProgramsAreForeignAndLeftAlone) {
    const std::string name = m_folder / "other.sqlite";
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(name.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "CREATE TABLE t(a)", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(other);
    std::filesystem::remove(m_path + "/lock");
    std::filesystem::copy_file(name, Catalogue(m_path),
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_TRUE(OpeningFails(Failure::Foreign, {Catalogue(m_path)}));
    WriteBytes(Catalogue(m_path), std::string(10'000, 'x'));
    EXPECT_TRUE(OpeningFails(Failure::Damaged, {Catalogue(m_path), "not a catalogue"}));
    EXPECT_FALSE(std::filesystem::exists(m_path + "/lock"));
}

TEST_F(DamageTest, ANewerFormatIsRefusedByBothNumbers) {
    ChangeRows(m_path, "UPDATE state SET format = 12");
    EXPECT_TRUE(OpeningFails(Failure::Foreign, {m_path, "version 12", "version 1"}));
}

TEST_F(DamageTest, ASetWithOtherMembersThanStoredIsDamaged) {
    {
        const ORQSimDatabase database = Open(Mode::ReadWrite);
        Ints members;
        for (int i = 0; i < 5000; ++i) {
            members.push_back(i * 5 + i % 2);
        }
        InTransaction(database, [&] {
            database.Focus().GetVector(Slot(11)).PushBack(
                SetOf(Nodes(database), members).RegisterWithCollection());
        });
    }
    for (const int count : {4999, 5001}) {
        ChangeRows(m_path, ("UPDATE component_set SET count = " + std::to_string(count) +
                            " WHERE store > 0")
                               .c_str());
        const ORQSimDatabase database = Open();
        EXPECT_TRUE(Fails(Failure::Damaged, {m_path, "members"}, [&] { ReadAll(database); }));
        EXPECT_NE(database.Verify(), Texts());
    }
}

TEST_F(DamageTest, AClosedDatabaseOpensFromADirectoryThatCannotBeWritten) {
    namespace fs = std::filesystem;
    constexpr auto kReadOnly = static_cast<fs::perms>(0555);
    fs::permissions(m_folder / ".", kReadOnly);
    fs::permissions(m_path, kReadOnly);
    // Nothing is forbidden to the superuser, so another user looks.
    Peer peer({[&]() -> std::string {
                   if (geteuid() == 0 && setuid(65534) != 0) {
                       return "cannot become another user";
                   }
                   const ORQSimDatabase database = Open();
                   return ReadAll(database) == m_contents && database.Verify().empty() ? "intact"
                                                                                       : "differs";
               },
               [&]() -> std::string { return Open(Mode::ReadWrite).Path(); },
               [&]() -> std::string { return Open().Path(); }});
    EXPECT_EQ(peer.Run(), "intact");
    const std::string refusal = peer.Run();
    EXPECT_NE(refusal.find("cannot open"), std::string::npos) << refusal;
    fs::permissions(m_folder / ".", fs::perms::owner_all);
    const std::string hidden = peer.Run();
    EXPECT_NE(hidden.find("Permission denied"), std::string::npos) << hidden;
    fs::permissions(m_path, fs::perms::owner_all);
}
