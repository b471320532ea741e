// Catalogues whose pages and checksums are right and whose rows make no sense: told by whoever
// reads them, with the table, the row, the column and the value; and never the end of a process, a
// wait without end or a wrong value.
#include "History.h"
#include "ORQSimFTable.h"
#include "ORQSimLinks.h"
#include "Vocabulary.h"

namespace {

class ContradictingRows : public testing::Test {
  protected:
    ContradictingRows() { MakeModelOfHistory(m_path); }
    void SetUp() override {
        m_catalogue = ReadBytes(m_path + "/catalogue.sqlite");
        m_bulk = ReadBytes(m_path + "/bulk.bin");
    }
    void Restore() const {
        std::filesystem::remove_all(m_new);
        WriteBytes(m_path + "/catalogue.sqlite", m_catalogue);
        WriteBytes(m_path + "/bulk.bin", m_bulk);
    }
    void Change(const std::string& sql) const { ChangeCatalogue(m_path, sql); }

    // Everything that a database answers is asked for; what is damaged may be told.
    static void ReadAll(const ORQSimDatabase& database) {
        const int objects =
            1 + std::stoi(AskCatalogue(database.Path(), "SELECT count(*) FROM object"));
        for (int object = 1; object < objects; ++object) {
            for (int category = 1; category < 8; ++category) {
                try {
                    ReadObject({category, database.ContextID(), object, ORQSimTypeID(1), 0});
                } catch (const ORQBasFailure&) {
                }
            }
        }
    }
    static void ReadObject(const ORQSimDynamicID& id) {
        if (id.Category() == ORQSimCategoryDistribution) {
            const ORQSimDistribution distribution{ORQSimDistributionID(id)};
            (void)distribution.QueryDrawers();
        } else if (id.Category() == ORQSimCategoryFTable) {
            const ORQSimFTable table{ORQSimFTableID(id)};
            Doubles values(100);
            table.GetData(values.data(), 100);
        } else if (id.Category() == ORQSimCategoryRecord) {
            (void)ORQSimDataRecord(id).GetDouble(0);
            (void)ORQSimDataRecord(id).ReturnString(0);
        }
    }

    // What opening or verifying says, one text a line.
    std::string Told() const {
        try {
            const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadOnly);
            ReadAll(database);
            std::string told;
            for (const std::string& problem : database.Verify()) {
                told += problem + '\n';
            }
            return told;
        } catch (const ORQBasFailure& failure) {
            EXPECT_TRUE(failure.Kind() == Failure::Damaged) << failure.Text();
            EXPECT_NE(failure.Text().find(m_path), std::string::npos) << failure.Text();
            return failure.Text();
        }
    }

    // What is recovered verifies; else nothing is left behind.
    void ExpectRecoveryEnds() const {
        try {
            ORQSimDatabase::Recover(m_path, m_new);
            EXPECT_EQ(ORQSimDatabase::Open(m_new, Mode::ReadWrite).Verify(), Texts());
        } catch (const ORQBasFailure& failure) {
            EXPECT_TRUE(failure.Kind() == Failure::Damaged) << failure.Text();
            EXPECT_FALSE(std::filesystem::exists(m_new));
        }
    }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
    const std::string m_new = m_folder / "new.orq";
    std::string m_catalogue;
    std::string m_bulk;
};

struct Case {
    const char* change;
    const char* told;
};

const Case kCases[] = {
    // Values that their column cannot have.
    {"UPDATE drawer SET extendable = 3", "does not have the dimensions of its grid"},
    {"UPDATE drawer SET extendable = -2",
     "column extendable is -2, not a whole number from -1 to 2147483647"},
    {"UPDATE drawer SET layout = 3", "table drawer, row ("},
    {"UPDATE drawer SET n_rows = 1099511627776", "column n_rows is 1099511627776"},
    {"UPDATE drawer SET n_rows = n_rows + 1", "rows, its members are"},
    {"UPDATE OR REPLACE extent SET part = 9223372036854775806",
     "column part is 9223372036854775806, not a whole number from 0 to 2"},
    {"UPDATE OR REPLACE extent SET chunk = -1", "column chunk is -1"},
    {"UPDATE OR REPLACE extent SET chunk = 1099511627776", "column chunk is 1099511627776"},
    {"UPDATE OR REPLACE extent SET chunk = 2147483646", "store"},
    {"UPDATE extent SET offset = 1152921504606846976", "beyond the end"},
    {"UPDATE extent SET offset = offset + 1", "is inconsistent"},
    {"UPDATE extent SET capacity = capacity + 8", "is inconsistent"},
    {"UPDATE extent SET capacity = 1152921504606842880", "beyond the end"},
    {"UPDATE extent SET length = length + 65536", "is inconsistent"},
    {"UPDATE extent SET checksums = x''", "is inconsistent"},
    {"UPDATE extent SET small = x'00' WHERE offset > 0", "is inconsistent"},
    {"UPDATE extent SET offset = 0, capacity = 0 WHERE offset > 0", "is inconsistent"},
    {"UPDATE extent SET small = x'' WHERE offset = 0", "is inconsistent"},
    {"UPDATE extent SET length = length - 1 WHERE offset = 0", "is inconsistent"},
    {"UPDATE extent SET capacity = 4096 WHERE offset = 0", "is inconsistent"},
    {"UPDATE extent SET checksums = x'0102030405060708' WHERE offset = 0", "is inconsistent"},
    {"UPDATE extent SET small = 7 WHERE offset = 0", "column small is 7, not bytes"},
    {"UPDATE extent SET length = 0", "column length is 0"},
    {"UPDATE object SET category = 9 WHERE id = 2", "column category is 9"},
    {"UPDATE object SET id = 1152921504606846976 WHERE id = (SELECT max(id) FROM object)",
     "does not exist"},
    {"UPDATE collection SET space = -1", "column space is -1"},
    {"UPDATE collection SET space = 9223372036854775807", "column space is 9223372036854775807"},
    {"UPDATE collection SET space = 1 WHERE space > 1000", "outside the space"},
    {"UPDATE component_set SET form = 4", "column form is 4"},
    {"UPDATE component_set SET form = 1, count = 2, stride = 0, block = 1 WHERE form = 0",
     "overlap"},
    {"UPDATE component_set SET form = 0, first = 2147483647, count = 5 WHERE form = 0",
     "out of range"},
    {"UPDATE component_set SET members = x'00' WHERE form > 1 AND store = 0",
     "are not as many as stored"},
    {"UPDATE component_set SET count = 2147483647 WHERE form > 1", "are not as many as stored"},
    {"UPDATE drawer_segment SET first_row = first_row + 1", "its rows have a gap"},
    // Dimensions of a drawer: a chunk size, a set and runs that cannot be, one too few, and members
    // written down otherwise than the drawer grows.
    {"UPDATE drawer SET dimensions = x'0102000001080008' WHERE extendable = 0",
     "a chunk size is below 1"},
    {"UPDATE drawer SET dimensions = x'0102E807000008FFFFFFFF07' WHERE extendable = 0",
     "does not exist"},
    {"UPDATE drawer SET dimensions = x'0102E80700010800FFFFFFFF07' WHERE extendable = 0",
     "outside the space"},
    {"UPDATE drawer SET dimensions = x'0102E807000108FFFFFFFF0705' WHERE extendable = 0",
     "out of range"},
    {"UPDATE drawer SET dimensions = x'0102E80700' WHERE extendable = 0",
     "does not have the dimensions of its grid"},
    {"UPDATE drawer SET dimensions = x''", "does not have the dimensions of its grid"},
    {"UPDATE drawer SET dimensions = x'0101E807000801080008' WHERE extendable = 0",
     "does not have the dimensions of its grid"},
    // Of another version, cut off, of no form, longer than a number is, nothing.
    {"UPDATE drawer SET dimensions = x'02'", "column dimensions is 1 bytes, not packed dimensions"},
    {"UPDATE drawer SET dimensions = x'010080'", "is 3 bytes, not packed dimensions"},
    {"UPDATE drawer SET dimensions = x'01030000'", "is 4 bytes, not packed dimensions"},
    {"UPDATE drawer SET dimensions = x'010000FFFFFFFF08'", "is 8 bytes, not packed dimensions"},
    {"UPDATE drawer SET dimensions = NULL", "column dimensions is no value, not packed dimensions"},
    {"UPDATE distribution SET n_drawers = n_drawers + 1", "drawers are there"},
    {"UPDATE distribution SET n_drawers = 0", "drawers are there"},
    {"UPDATE distribution SET n_drawers = -1", "column n_drawers is -1"},
    {"UPDATE small_chunk SET bytes = x''", "is inconsistent"},
    {"UPDATE small_chunk SET bytes = x'00'", "does not fit its rows"},
    {"UPDATE small_chunk SET bytes = 7", "column bytes is 7, not bytes"},
    {"UPDATE small_chunk SET store = store + 1000000", "a table that holds 0 bytes"},
    {"INSERT INTO extent SELECT store, 1, 0, 0, 0, length(bytes), x'', bytes FROM small_chunk "
     "WHERE store IN (SELECT store FROM drawer WHERE layout < 2)",
     "has a small chunk and others beside it"},
    {"DELETE FROM component_set", "does not exist"},
    {"UPDATE distribution SET scalar = 7", "column scalar is 7"},
    {"UPDATE distribution SET scalar = 6 WHERE scalar = 4", "does not fit its rows"},
    {"UPDATE distribution SET grid = x'010203'", "grid"},
    {"UPDATE distribution SET grid = zeroblob(800)", "dimensions of its grid"},
    {"UPDATE f_table SET n_rows = 2147483647, n_columns = 2147483647", "a table that holds"},
    {"UPDATE OR REPLACE data_set_part SET place = 2147483646 WHERE kind = 2",
     "column place is 2147483646"},
    {"UPDATE state SET bulk_end = 1152921504606846976", "is truncated"},
    {"UPDATE state SET generation = -1", "column generation is -1"},
    {"UPDATE state SET identity = 'x'", "column identity is the text"},
    {"DELETE FROM state", "has no state row"},
    // Values of another type.
    {"UPDATE object SET type = 'abc' WHERE id = (SELECT max(id) FROM object)",
     "column type is the text \"abc\", not a whole number"},
    {"UPDATE OR REPLACE link SET object = 'abc'", "column object is the text \"abc\""},
    {"UPDATE OR REPLACE extent SET store = 'abc'", "column store is the text \"abc\""},
    {"UPDATE OR REPLACE extent SET store = 1.5", "column store is the real number 1.5"},
    {"UPDATE text SET text = x'00'", "column text is 1 bytes, not a text"},
    // Rows of tables that share one: of no kind that there is, or with what theirs have no column for.
    {"UPDATE link SET kind = 2 WHERE kind = 1", "table link: "},
    {"UPDATE link SET kind = 'child'", "of its rows are of no kind that there is"},
    {"UPDATE text SET place = 1 WHERE kind = 0", "table text: "},
    {"UPDATE data_set_part SET target_index = NULL WHERE kind = 0", "table data_set_part: "},
    // Fields of a record: of another version of the packed form, of no kind, with numbers that do
    // not ascend, that end too early, go on behind the last, or are longer than anything.
    {"UPDATE object SET fields = NULL WHERE id = 2",
     "table object, row (2): column fields is no value, not packed fields"},
    {"UPDATE object SET fields = 'text'", "column fields is the text \"text\", not packed fields"},
    {"UPDATE object SET fields = x'02'", "column fields is 1 bytes, not packed fields"},
    {"UPDATE object SET fields = x'010602'", "is 3 bytes, not packed fields"},
    {"UPDATE object SET fields = x'0109020902'", "is 5 bytes, not packed fields"},
    {"UPDATE object SET fields = x'010982'", "is 3 bytes, not packed fields"},
    {"UPDATE object SET fields = x'010B02616200'", "is 6 bytes, not packed fields"},
    {"UPDATE object SET fields = x'01098080808010'", "is 7 bytes, not packed fields"},
    {"UPDATE object SET fields = x'010BFFFFFFFFFFFFFFFFFF01'", "not packed fields"},
    {"UPDATE object SET fields = x'010AFFFFFFFFFFFFFFFF1F'", "not packed fields"},
    {"UPDATE object SET fields = x'01FFFFFFFFFFFFFFFFFF01'", "not packed fields"},
    {"UPDATE component_set SET members = 'abc'", "column members is the text"},
    // What runs with our statements, or changes what they mean.
    {"CREATE TRIGGER taken AFTER INSERT ON state BEGIN DELETE FROM object; END",
     "trigger taken is none of a model's"},
    {"CREATE VIEW endless AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i FROM n) "
     "SELECT i FROM n",
     "view endless is none"},
    {"DROP TABLE free_extent; CREATE VIEW free_extent AS WITH RECURSIVE n(i) AS (SELECT 1 UNION "
     "ALL SELECT i FROM n) SELECT i AS offset, i AS length, i AS generation FROM n",
     "view free_extent is not as it was made"},
    {"CREATE TABLE more(a INTEGER)", "table more is none"},
    {"CREATE UNIQUE INDEX one ON text(slot, text, object)", "index one is none"},
    {"DROP INDEX link_by_target", "link_by_target is missing"},
    {"ALTER TABLE object ADD COLUMN more", "table object is not as it was made"},
    {"PRAGMA writable_schema = 1; UPDATE sqlite_schema SET tbl_name = 'object' WHERE name = 'text'",
     "malformed database schema (text)"},
    {"PRAGMA writable_schema = 1; UPDATE sqlite_schema SET type = 'index' WHERE name = 'text'",
     "malformed database schema (text)"},
    {"PRAGMA writable_schema = 1; UPDATE sqlite_schema SET rootpage = (SELECT rootpage FROM "
     "sqlite_schema WHERE name = 'object') WHERE name = 'collection'",
     "table collection is not as it was made"},
};

}  // namespace

TEST_F(ContradictingRows, AreToldAndRecoveredFrom) {
    for (const auto& [change, told] : kCases) {
        SCOPED_TRACE(change);
        Change(change);
        EXPECT_NE(Told().find(told), std::string::npos) << Told();
        ExpectRecoveryEnds();
        Restore();
    }
    EXPECT_EQ(Told(), "");
}

// Who looks by the first columns of a key does not read them, and names them all the same.
TEST_F(ContradictingRows, ALinkIsToldWithItsWholeKeyByWhoeverLooksForIt) {
    Change("UPDATE map_entry SET target_category = 9 WHERE object = 1 AND name = 'record 9'");
    const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadOnly);
    const ORQSimMap map = database.Focus().GetMap(Slot(10));
    const std::string told = "table map_entry, row (1, " + std::to_string(Slot(10)) +
                             ", the text \"record 9\"): column target_category is 9";
    EXPECT_TRUE(Fails(Failure::Damaged, {m_path, told}, [&] { map.Begin(); }));
    EXPECT_TRUE(Fails(Failure::Damaged, {m_path, told}, [&] { map.Find("record 9"); }));
}

// To SQLite the byte of a digit is no number, and reads as one.
TEST_F(ContradictingRows, AKeyThatOnlyReadsAsANumberIsTold) {
    constexpr int kLast = 9;
    {
        ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        ORQSimTransaction transaction(database.ContextID());
        for (int place = 0; place <= kLast; ++place) {
            database.Focus().GetVector(Slot(77)).PushBack(database.Focus());
        }
        transaction.Commit();
        database.Close();
    }
    Change(
        "UPDATE link SET key = CAST('9' AS BLOB) WHERE kind = 1 AND object = 1 AND key = 9 AND "
        "slot = " +
        std::to_string(Slot(77)));
    const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadOnly);
    const ORQSimVector vector = database.Focus().GetVector(Slot(77));
    for (int place = 0; place < kLast; ++place) {
        ASSERT_EQ(vector[place], database.Focus()) << place;
    }
    EXPECT_TRUE(Fails(Failure::Damaged, {"table vector_entry", "column place is 1 bytes"},
                      [&] { (void)vector[kLast]; }));
}

TEST_F(ContradictingRows, DataOfNoBytesAreLostToRecovering) {
    Change("UPDATE small_chunk SET bytes = x''");
    const Texts lost = ORQSimDatabase::Recover(m_path, m_new).lost;
    EXPECT_TRUE(std::ranges::any_of(lost, [](const std::string& text) {
        return text.find("small chunk of store") != std::string::npos;
    })) << testing::PrintToString(lost);
}

TEST_F(ContradictingRows, RowsOfNoKindAreLostToRecovering) {
    for (const auto& [table, change] :
         {std::pair("text", "UPDATE text SET kind = 'a' WHERE slot = (SELECT min(slot) FROM text)"),
          std::pair("text", "UPDATE text SET kind = 0.0 WHERE kind = 0"),
          std::pair("text", "UPDATE text SET place = 7 WHERE kind = 0"),
          // The index, of which lost rows are made again, has the same kind.
          std::pair("link", "UPDATE link SET kind = 'child' WHERE kind = 0 AND object > 1")}) {
        SCOPED_TRACE(change);
        Change(change);
        const std::string problem = std::string("catalogue.sqlite: table ") + table + ": ";
        const Texts told = ORQSimDatabase::Open(m_path, Mode::ReadOnly).Verify();
        EXPECT_TRUE(std::ranges::any_of(told, [&](const std::string& text) {
            return text.starts_with(problem) && text.ends_with("of no kind that there is");
        })) << testing::PrintToString(told);
        const ORQSimDatabase::Recovery recovery = ORQSimDatabase::Recover(m_path, m_new);
        EXPECT_GT(
            std::ranges::count(recovery.damage, problem + "a row is of no kind that there is"), 0);
        EXPECT_FALSE(recovery.lost.empty());
        std::filesystem::remove_all(m_new);
        Restore();
    }
}

TEST_F(ContradictingRows, AWriterRefusesThemToo) {
    for (const char* change :
         {"CREATE TRIGGER taken AFTER UPDATE ON state BEGIN DELETE FROM object; END",
          "CREATE TRIGGER taken AFTER INSERT ON state BEGIN DELETE FROM object; END"}) {
        Change(change);
        EXPECT_TRUE(Fails(Failure::Damaged, {m_path, "trigger taken"},
                          [&] { ORQSimDatabase::Open(m_path, Mode::ReadWrite); }));
        Restore();
    }
}

// Without it, cells would read as what it had replaced; and a drawer more must not hide the gap.
TEST_F(ContradictingRows, ADrawerThatIsMissingIsToldByWhoeverReadsOrWritesItsDistribution) {
    const auto read = [&](Mode mode) { return FirstComponent(ORQSimDatabase::Open(m_path, mode)); };
    EXPECT_FALSE(read(Mode::ReadOnly).empty());
    Change("DELETE FROM drawer WHERE number = (SELECT max(number) FROM drawer)");
    for (int time = 0; time < 2; ++time) {
        EXPECT_TRUE(Fails(Failure::Damaged, {m_path, " drawers of distribution ", "are there"},
                          [&] { read(Mode::ReadOnly); }));
        const ORQSimDatabase writer = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        EXPECT_TRUE(Fails(Failure::Damaged, {m_path, " drawers of distribution "}, [&] {
            InTransaction(writer, [&] {
                MakeDrawer(Field(writer), RunOf(Nodes(writer), 0, 5),
                           RunOf(Components(writer), 0, 1), 1000);
            });
        }));
    }
    EXPECT_NE(Told().find("drawers are there"), std::string::npos) << Told();
    Restore();
}

// A writer that believed such rows would write over data, or cut it off when it closes or commits.
TEST_F(ContradictingRows, AWriterLosesNothingToPlacesThatOverlapOrLieBehindTheEnd) {
    const auto write = [](const ORQSimDatabase& database) {
        InTransaction(database, [&] {
            Append(database, RunOf(Nodes(database), 0, 5), RunOf(Components(database), 0, 1),
                   Filled(5, 1));
        });
    };
    for (const char* change :
         {"UPDATE state SET bulk_end = 4096", "UPDATE state SET bulk_end = bulk_end - 4096",
          "INSERT OR REPLACE INTO free_extent VALUES(4096, 4096, 0)",
          "INSERT OR REPLACE INTO free_extent SELECT 4096, bulk_end - 4096, 0 FROM state"}) {
        SCOPED_TRACE(change);
        Change(change);
        { const ORQSimDatabase writer = ORQSimDatabase::Open(m_path, Mode::ReadWrite); }
        {
            const ORQSimDatabase writer = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
            EXPECT_TRUE(Fails(Failure::Damaged, {"bulk.bin"}, [&] { write(writer); }));
            try {
                InTransaction(writer, [&] { writer.Focus().SetName(Slot(21), "no bulk data"); });
            } catch (const ORQBasFailure& failure) {
                EXPECT_EQ(failure.Kind(), Failure::Damaged) << failure.Text();
            }
        }
        EXPECT_TRUE(ReadBytes(m_path + "/bulk.bin") == m_bulk);
        Restore();
    }
    write(ORQSimDatabase::Open(m_path, Mode::ReadWrite));
}

TEST_F(ContradictingRows, ADatabaseOfALaterVersionIsForeign) {
    // Told by its number, whatever else it has.
    Change("UPDATE state SET format = 6; CREATE TABLE later(a)");
    EXPECT_TRUE(Fails(Failure::Foreign, {"format version 6", "versions 1 to 5"},
                      [&] { ORQSimDatabase::Open(m_path, Mode::ReadOnly); }));
}

TEST_F(ContradictingRows, ASparseCellOutsideTheColumnsIsDamageAndNotPassedOver) {
    const auto read = [&] {
        const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadOnly);
        return Read(Field(database), SetOf(Nodes(database), {5, 7, 9}),
                    SetOf(Components(database), {5, 6, 7}));
    };
    EXPECT_EQ(read().size(), 9U);
    for (const char* indices : {"000000000300000001000000", "0000000002000000FFFFFFFF"}) {
        Change(std::string("UPDATE extent SET small = x'") + indices +
               "' WHERE small = x'000000000200000001000000'");
        EXPECT_TRUE(
            Fails(Failure::Damaged, {m_path, "sparse data of store", "contradicts itself"}, read));
        Restore();
    }
}

// A host gives up by throwing out of the progress; wherever that is, nothing stays.
TEST_F(ContradictingRows, RecoveringThemCanBeGivenUpAtAnyTime) {
    struct GivenUp {};
    Change("DELETE FROM component_set; UPDATE OR REPLACE link SET target_object = 99999");
    int nCalls = 0;
    ORQSimDatabase::Recover(m_path, m_new, [&](double) { ++nCalls; });
    EXPECT_GT(nCalls, 1000);
    for (int call = 1; call < nCalls; call += nCalls / 20) {
        std::filesystem::remove_all(m_new);
        int left = call;
        EXPECT_THROW(ORQSimDatabase::Recover(m_path, m_new,
                                             [&](double) {
                                                 if (--left == 0) {
                                                     throw GivenUp();
                                                 }
                                             }),
                     GivenUp);
        EXPECT_FALSE(std::filesystem::exists(m_new));
    }
}
