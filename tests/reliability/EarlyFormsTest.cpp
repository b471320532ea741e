// How records and drawers lie in the catalogue, and databases that were made when they lay there
// otherwise.
#define XXH_INLINE_ALL
#include <fmt/format.h>
#include <xxhash.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <utility>

#include "History.h"
#include "ORQSimLinks.h"
#include "ORQSimReferences.h"
#include "Vocabulary.h"

namespace {

enum Kind : int { kInt = 1, kDoubles, kString, kSymbol, kType };

// A field as docs/storage-format.md describes it; not the program's own reader.
struct StoredField {
    int kind;
    std::string value;  // its bytes
};
using Fields = std::map<int, StoredField>;

std::size_t TakeNumber(const std::string& packed, std::size_t& at) {
    std::size_t number = 0;
    for (int shift = 0;; shift += 7) {
        const auto digit = static_cast<unsigned char>(packed.at(at++));
        number |= std::size_t{digit & 0x7FU} << shift;
        if (digit < 0x80) {
            return number;
        }
    }
}

Fields Unpack(const std::string& packed) {
    Fields fields;
    std::size_t at = 1;
    while (at < packed.size()) {
        const std::size_t first = TakeNumber(packed, at);
        const int kind = static_cast<int>(first % 8);
        const std::size_t count = TakeNumber(packed, at);
        std::string& value = fields[static_cast<int>(first / 8)].value;
        fields[static_cast<int>(first / 8)].kind = kind;
        if (kind == kString || kind == kDoubles) {
            value = packed.substr(at, count * (kind == kDoubles ? 8 : 1));
            at += value.size();
        } else {
            const auto half = static_cast<int>(count / 2);
            const int number = count % 2 == 0 ? half : -half - 1;
            value.assign(reinterpret_cast<const char*>(&number), sizeof number);
        }
    }
    return fields;
}

std::string FromHex(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

std::string InHex(const std::string& bytes) {
    std::string hex;
    for (const char byte : bytes) {
        constexpr const char* kDigits = "0123456789ABCDEF";
        hex += kDigits[static_cast<unsigned char>(byte) / 16];
        hex += kDigits[static_cast<unsigned char>(byte) % 16];
    }
    return hex;
}

int IntOf(const StoredField& field) {
    int value = 0;
    std::memcpy(&value, field.value.data(), sizeof value);
    return value;
}

// The packed fields of every object, by number.
std::map<int, Fields> AllFields(const std::string& path) {
    std::istringstream rows(
        AskCatalogue(path, "SELECT id || ' ' || hex(fields) FROM object WHERE fields <> x''"));
    std::map<int, Fields> all;
    int object = 0;
    for (std::string packed; rows >> object >> packed;) {
        all[object] = Unpack(FromHex(packed));
    }
    return all;
}

// The same, asked for through the interface: what there is known by number and kind.
std::map<int, std::map<int, std::string>> Answers(const ORQSimDatabase& database,
                                                  const std::map<int, Fields>& asked) {
    std::map<int, std::map<int, std::string>> answers;
    for (const auto& [object, fields] : asked) {
        const ORQSimDataRecord record(ORQSimDynamicID(ORQSimCategoryRecord, database.ContextID(),
                                                      object, ORQSimTypeID(1), 0));
        for (const auto& [number, field] : fields) {
            std::string& answer = answers[object][number];
            if (field.kind == kString) {
                answer = record.ReturnString(number).UTF8();
            } else if (field.kind == kDoubles) {
                Doubles values(field.value.size() / 8);
                record.GetDouble(number, static_cast<int>(values.size()), values.data());
                answer.assign(reinterpret_cast<const char*>(values.data()), values.size() * 8);
            } else {
                const int value = field.kind == kInt      ? record.GetInt(number)
                                  : field.kind == kSymbol ? record.GetSymb(number)
                                                          : record.GetTypeID(number).Index();
                answer.assign(reinterpret_cast<const char*>(&value), sizeof value);
            }
        }
    }
    return answers;
}

std::map<int, std::map<int, std::string>> ValuesIn(const std::map<int, Fields>& all) {
    std::map<int, std::map<int, std::string>> values;
    for (const auto& [object, fields] : all) {
        for (const auto& [number, field] : fields) {
            values[object][number] = field.value;
        }
    }
    return values;
}

// The tables of version 4 but that of the state, which is the same in all, and what now holds their
// rows: a table of the same name where nothing is said.
struct EarlyTable {
    const char* name;
    const char* columns;
    const char* key;
    const char* rows = nullptr;
};

#define TARGET "target_object, target_category, target_type, target_index"
#define TARGET_COLUMNS                                                                   \
    "target_object INTEGER, target_category INTEGER, target_type INTEGER, target_index " \
    "INTEGER"
#define MEMBERS                                                                                  \
    "form INTEGER, first INTEGER, count INTEGER, stride INTEGER, block INTEGER, store INTEGER, " \
    "members BLOB"

constexpr EarlyTable kVersion4[] = {
    {"object", "id INTEGER PRIMARY KEY, type INTEGER, category INTEGER, fields BLOB", ""},
    {"collection", "object INTEGER, space INTEGER", "object"},
    {"member", "collection INTEGER, member INTEGER, object INTEGER", "collection, member"},
    {"symbol", "collection INTEGER, type INTEGER, place INTEGER, name TEXT, object INTEGER",
     "collection, type, place"},
    {"name", "object INTEGER, slot INTEGER, text TEXT", "object, slot",
     "SELECT object, slot, text FROM text WHERE kind = 0"},
    {"child", "object INTEGER, slot INTEGER, member INTEGER, " TARGET_COLUMNS,
     "object, slot, member", "SELECT object, slot, key, " TARGET " FROM link WHERE kind = 0"},
    {"map_entry", "object INTEGER, slot INTEGER, name TEXT, " TARGET_COLUMNS, "object, slot, name"},
    {"vector_entry", "object INTEGER, slot INTEGER, place INTEGER, " TARGET_COLUMNS,
     "object, slot, place", "SELECT object, slot, key, " TARGET " FROM link WHERE kind = 1"},
    {"set_entry", "object INTEGER, slot INTEGER, " TARGET_COLUMNS, "object, slot, " TARGET},
    {"component_set", "id INTEGER, collection INTEGER, hash INTEGER, " MEMBERS, "id"},
    {"distribution",
     "object INTEGER, scalar INTEGER, range_collection INTEGER, grid BLOB, n_drawers INTEGER",
     "object"},
    {"drawer",
     "distribution INTEGER, number INTEGER, layout INTEGER, extendable INTEGER, n_rows INTEGER, "
     "store INTEGER, dimensions BLOB",
     "distribution, number"},
    {"drawer_segment", "distribution INTEGER, drawer INTEGER, first_row INTEGER, " MEMBERS,
     "distribution, drawer, first_row"},
    {"data_set", "object INTEGER, distribution INTEGER", "object",
     "SELECT object, target_object FROM data_set_part WHERE kind = 0"},
    {"compartment",
     "data_set INTEGER, place INTEGER, dimension INTEGER, set_id INTEGER, set_collection INTEGER",
     "data_set, place, dimension",
     "SELECT object, place, dimension, target_index, target_object FROM data_set_part WHERE kind "
     "= 2"},
    {"data_set_drawer", "data_set INTEGER, place INTEGER, drawer INTEGER", "data_set, place",
     "SELECT object, place, target_index FROM data_set_part WHERE kind = 1"},
    {"f_table", "object INTEGER, n_rows INTEGER, n_columns INTEGER, store INTEGER", "object"},
    {"f_table_label", "object INTEGER, axis INTEGER, place INTEGER, text TEXT",
     "object, axis, place", "SELECT object, slot, place, text FROM text WHERE kind = 1"},
    {"extent",
     "store INTEGER, part INTEGER, chunk INTEGER, offset INTEGER, capacity INTEGER, length "
     "INTEGER, checksums BLOB, small BLOB",
     "store, part, chunk"},
    {"small_chunk", "store INTEGER PRIMARY KEY, bytes BLOB", ""},
    {"free_extent", "offset INTEGER, length INTEGER, generation INTEGER", "offset"},
    {"schema", "number INTEGER, name TEXT, meaning TEXT", "number"},
};
#undef TARGET
#undef TARGET_COLUMNS
#undef MEMBERS

constexpr const char* kIndicesOfVersion4 =
    "CREATE INDEX member_by_object ON member(object, collection);"
    "CREATE INDEX symbol_by_name ON symbol(collection, type, name);"
    "CREATE INDEX symbol_by_object ON symbol(object);"
    "CREATE INDEX child_by_target ON child(target_object, target_index, slot, target_category);"
    "CREATE INDEX map_entry_by_target ON map_entry(target_object, target_index, slot, "
    "target_category);"
    "CREATE INDEX vector_entry_by_target ON vector_entry(target_object, target_index, slot, "
    "target_category);"
    "CREATE INDEX set_entry_by_target ON set_entry(target_object, target_index, slot);"
    "CREATE INDEX component_set_by_hash ON component_set(collection, hash);";

class RecordForm : public testing::Test {
  protected:
    RecordForm() {
        const ORQSimDatabase database = MakeModelOfHistory(m_path);
        InTransaction(database, [&] {
            const ORQSimDataRecord record = database.Focus().CreateDataRecord(Slot(30));
            database.Focus().SetPosition(Slot(30), record.Pos());
            m_object = static_cast<int>(record.Pos().ID().MinorID());
            record.SetInt(0, 1);
            record.SetDouble(1, 0.5);
            record.SetString(2, ORQString("hex8"));
            record.SetSymb(3, -2);
            record.SetTypeID(16, ORQSimTypeID(300));
            record.SetString(4, ORQString(""));
        });
    }

    void Change(const std::string& sql) const { ChangeCatalogue(m_path, sql); }

    // What it is rewritten as, in the present version.
    ORQSimDatabase Rewritten() const {
        const ORQSimDatabase::Recovery rebuilt = ORQSimDatabase::Recover(m_path, m_new);
        EXPECT_EQ(rebuilt.lost, Texts());
        EXPECT_EQ(rebuilt.damage, Texts());
        ORQSimDatabase database = ORQSimDatabase::Open(m_new, Mode::ReadWrite);
        EXPECT_EQ(database.Verify(), Texts());
        EXPECT_EQ(AskCatalogue(m_new, "SELECT format FROM state"), "5\n");
        EXPECT_NE(AskCatalogue(m_new, "SELECT count(*) FROM small_chunk"), "0\n");
        return database;
    }

    // Before version 5 no tables shared one.
    static std::string PutRowsIntoTheirOwnTables() {
        std::string keep = "PRAGMA temp_store = MEMORY;";
        std::string drop = "DROP TABLE link; DROP TABLE text; DROP TABLE data_set_part;";
        std::string make;
        for (const EarlyTable& table : kVersion4) {
            const std::string name = table.name;
            keep += "CREATE TEMP TABLE kept_" + name + " AS " +
                    (table.rows != nullptr ? table.rows : "SELECT * FROM " + name) + ";";
            drop += table.rows != nullptr ? "" : "DROP TABLE " + name + ";";
            make += fmt::format(
                "CREATE TABLE {}({}{};INSERT INTO {} SELECT * FROM kept_{};", name, table.columns,
                *table.key == '\0' ? ")"
                                   : fmt::format(", PRIMARY KEY({})) WITHOUT ROWID", table.key),
                name, name);
        }
        return keep + drop + make + kIndicesOfVersion4 + "UPDATE state SET format = 4;";
    }

    // Before version 4 each dimension was a row of its own, every set was a component set, and every
    // chunk was an extent.
    std::string PutDrawersIntoRows() const {
        std::string sql =
            "INSERT INTO extent SELECT store, 0, 0, 0, 0, length(bytes), x'', bytes FROM "
            "small_chunk; DROP TABLE small_chunk;"
            "CREATE TABLE drawer_dimension(distribution INTEGER, drawer INTEGER, dimension "
            "INTEGER, set_id INTEGER, chunk INTEGER, PRIMARY KEY(distribution, drawer, "
            "dimension)) WITHOUT ROWID;";
        int set = std::stoi(AskCatalogue(m_path, "SELECT next_set FROM state"));
        std::istringstream drawers(
            AskCatalogue(m_path,
                         "SELECT distribution || ' ' || number || ' ' || hex(grid) || ' ' || "
                         "hex(dimensions) FROM drawer JOIN distribution ON object = distribution"));
        std::string number;
        std::string grid;
        std::string packed;
        for (std::string distribution; drawers >> distribution >> number >> grid >> packed;) {
            const std::string dimensions = FromHex(packed);
            const std::string collections = FromHex(grid);
            std::size_t at = 1;
            for (std::size_t dimension = 0; at < dimensions.size(); ++dimension) {
                const std::size_t form = TakeNumber(dimensions, at);
                const std::size_t chunk = TakeNumber(dimensions, at);
                std::size_t setNumber = TakeNumber(dimensions, at);
                if (form == 1) {
                    const auto first = static_cast<int>(std::exchange(setNumber, set++));
                    const auto count = static_cast<int>(TakeNumber(dimensions, at));
                    const std::array<int, 4> parts = {first, count, 1, 1};
                    std::int64_t collection = 0;
                    std::memcpy(&collection, collections.data() + 8 * dimension, 8);
                    sql += fmt::format(
                        "INSERT INTO component_set VALUES({}, {}, {}, 0, {}, {}, 1, 1, 0, x'');",
                        setNumber, collection,
                        static_cast<std::int64_t>(XXH3_64bits(parts.data(), sizeof parts)), first,
                        count);
                }
                sql += fmt::format("INSERT INTO drawer_dimension VALUES({}, {}, {}, {}, {});",
                                   distribution, number, dimension, setNumber, chunk);
            }
        }
        return sql + fmt::format(
                         "ALTER TABLE drawer DROP COLUMN dimensions;"
                         "ALTER TABLE distribution DROP COLUMN n_drawers;"
                         "UPDATE state SET format = 3, next_set = {};",
                         set);
    }

    // Before version 3 every chunk lay in the bulk file.
    std::string PutSmallChunksIntoFile() const {
        std::istringstream rows(AskCatalogue(
            m_path,
            "SELECT store || ' ' || part || ' ' || chunk || ' ' || hex(small) FROM extent "
            "WHERE offset = 0"));
        std::string bulk = ReadBytes(m_path + "/bulk.bin");
        bulk.resize(std::stoul(AskCatalogue(m_path, "SELECT bulk_end FROM state")));
        std::string sql;
        std::string part;
        std::string chunk;
        std::string hex;
        for (std::string store; rows >> store >> part >> chunk >> hex;) {
            const std::string bytes = FromHex(hex);
            const std::uint64_t checksum = XXH3_64bits(bytes.data(), bytes.size());
            const std::string sum(reinterpret_cast<const char*>(&checksum), sizeof checksum);
            sql += "UPDATE extent SET capacity = 4096, offset = " + std::to_string(bulk.size()) +
                   ", checksums = x'" + InHex(sum) + "' WHERE store = " + store +
                   " AND part = " + part + " AND chunk = " + chunk + ";";
            bulk += bytes + std::string(4096 - bytes.size(), '\0');
        }
        WriteBytes(m_path + "/bulk.bin", bulk);
        return sql + "ALTER TABLE extent DROP COLUMN small; UPDATE state SET bulk_end = " +
               std::to_string(bulk.size()) + ";";
    }

    // As programs made it that knew the version and no later one.
    void MakeEarly(int version) const {
        Change(PutRowsIntoTheirOwnTables());
        if (version == 4) {
            return;
        }
        Change(PutDrawersIntoRows());
        if (version == 3) {
            return;
        }
        std::string sql =
            PutSmallChunksIntoFile() +
            "CREATE TABLE later AS SELECT * FROM object; DROP TABLE object;"
            "CREATE TABLE object(id INTEGER, type INTEGER, category INTEGER, PRIMARY KEY(id)) "
            "WITHOUT ROWID;"
            "CREATE TABLE field(object INTEGER, number INTEGER, kind INTEGER, value, "
            "PRIMARY KEY(object, number)) WITHOUT ROWID;"
            "INSERT INTO object SELECT id, type, category FROM later; DROP TABLE later;"
            "UPDATE state SET format = " +
            std::to_string(version) + ";";
        for (const auto& [object, fields] : AllFields(m_path)) {
            for (const auto& [number, field] : fields) {
                const std::string bytes = "x'" + InHex(field.value) + "'";
                sql += "INSERT INTO field VALUES(" + std::to_string(object) + "," +
                       std::to_string(number) + "," + std::to_string(field.kind) + "," +
                       (field.kind == kDoubles  ? bytes
                        : field.kind == kString ? "CAST(" + bytes + " AS TEXT)"
                                                : std::to_string(IntOf(field))) +
                       ");";
            }
        }
        Change(sql);
        if (version == 1) {
            // Indices of links without the category of what they lead to, no meanings of numbers.
            for (const std::string table : {"child", "map_entry", "vector_entry"}) {
                Change("DROP INDEX " + table + "_by_target; CREATE INDEX " + table +
                       "_by_target ON " + table + "(target_object, target_index, slot)");
            }
            Change("DROP TABLE schema");
        }
    }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
    const std::string m_new = m_folder / "new.orq";
    int m_object = 0;
};

class EarlyForm : public RecordForm, public testing::WithParamInterface<int> {};

}  // namespace

// The record that docs/storage-format.md shows.
TEST_F(RecordForm, IsThatOfTheWorkedExample) {
    EXPECT_EQ(AskCatalogue(m_path,
                           "SELECT hex(fields) FROM object WHERE id = " + std::to_string(m_object)),
              "01"
              "0102"
              "0A01000000000000E03F"
              "130468657838"
              "1C03"
              "2300"
              "8501D804\n");
}

INSTANTIATE_TEST_SUITE_P(Versions, EarlyForm, testing::Values(1, 2));

class EarlyDrawers : public RecordForm, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Versions, EarlyDrawers, testing::Values(1, 2, 3));

// What it holds of drawers, in words: members along each dimension, and all cells.
namespace {

std::string DrawersOf(const ORQSimDatabase& database) {
    std::string all;
    for (const ORQSimDrawerDescription& drawer : Field(database).QueryDrawers()) {
        for (int dimension = 0; dimension < 2; ++dimension) {
            const ORQSimCSet set(drawer.CSet(dimension));
            std::vector<int> members(static_cast<std::size_t>(set.Size()));
            set.OrderedMembers(members.data());
            all += fmt::format("{}\n", fmt::join(members, " "));
        }
    }
    for (const double value : Read(Field(database), ORQSimCSet(Nodes(database).ID()),
                                   ORQSimCSet(Components(database).ID()))) {
        all += fmt::format("{} ", value);
    }
    return all;
}

ORQSimDrawerID WriteDrawer(const ORQSimDatabase& database, int first, int count, double value) {
    const Doubles values = Filled(count, value);
    ORQSimTransfer write{Field(database)};
    write.SetWrite()
        .SetMakeNewDrawer()
        .SetDim(0, RunOf(Nodes(database), first, count))
        .SetDim(1, RunOf(Components(database), 1, 1))
        .SetBuffer(ORQSimbufMain, values.data(), count * 8)
        .ExecWrite();
    return write.DrawerID();
}

}  // namespace

TEST_P(EarlyDrawers, AreReadAndWrittenOnAndRewrittenByRecovering) {
    {
        const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        InTransaction(database, [&] { WriteDrawer(database, 3, 7, 1.5); });
    }
    const std::string before = DrawersOf(ORQSimDatabase::Open(m_path, Mode::ReadOnly));
    MakeEarly(GetParam());
    EXPECT_EQ(DrawersOf(ORQSimDatabase::Open(m_path, Mode::ReadOnly)), before);
    const std::string count = "SELECT count(*) FROM drawer_dimension";
    const int nDimensions = std::stoi(AskCatalogue(m_path, count));
    EXPECT_GT(nDimensions, 2);
    std::string after;
    {
        const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        EXPECT_EQ(database.Verify(), Texts());
        ORQSimDrawerID second;
        InTransaction(database, [&] {
            WriteDrawer(database, 5, 4, 2.5);
            second = WriteDrawer(database, 6, 1, 3.5);
            Append(database, RunOf(Nodes(database), 0, 2), RunOf(Components(database), 0, 1),
                   Filled(2, 9));
        });
        EXPECT_EQ(std::stoi(AskCatalogue(m_path, count)), nDimensions + 4);
        InTransaction(database, [&] { Field(database).DeleteDrawer(second); });
        EXPECT_EQ(std::stoi(AskCatalogue(m_path, count)), nDimensions + 2);
        after = DrawersOf(database);
        EXPECT_EQ(database.Verify(), Texts());
    }
    EXPECT_NE(after, before);
    EXPECT_EQ(AskCatalogue(m_path, "SELECT format FROM state"), std::to_string(GetParam()) + "\n");
    EXPECT_EQ(DrawersOf(Rewritten()), after);
}

// Dimensions of which the drawer was lost show that there was one; the reverse holds too.
TEST_P(EarlyDrawers, OneOfWhichRowsAreMissingIsTold) {
    MakeEarly(GetParam());
    Change("DELETE FROM drawer_dimension WHERE dimension = 0");
    const Texts problems = ORQSimDatabase::Open(m_path, Mode::ReadOnly).Verify();
    ASSERT_FALSE(problems.empty());
    EXPECT_NE(problems[0].find("does not have the dimensions of its grid"), std::string::npos)
        << problems[0];
}

TEST_P(EarlyDrawers, DimensionsOfNoDrawerAreToldAndLostToRecovering) {
    MakeEarly(GetParam());
    const std::string field = AskCatalogue(m_path, "SELECT max(distribution) FROM drawer");
    const std::string object = field.substr(0, field.size() - 1);
    Change("INSERT INTO drawer_dimension VALUES(" + object + ", 4321, 0, 1, 10), (" + object +
           ", 4321, 1, 1, 10)");
    EXPECT_EQ(ORQSimDatabase::Open(m_path, Mode::ReadOnly).Verify(),
              Texts{"a row of table drawer_dimension belongs to drawer 4321 of object " + object +
                    ", which does not exist"});
    EXPECT_FALSE(ORQSimDatabase::Recover(m_path, m_new).lost.empty());
}

class EarlyTables : public RecordForm, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Versions, EarlyTables, testing::Values(1, 2, 3, 4));

// Children and entries of vectors of one slot, names and labels: each in a table of its own.
TEST_P(EarlyTables, AreReadAndWrittenOnAndRewrittenByRecovering) {
    const int slot = Slot(33);
    const auto links = [&](const ORQSimDatabase& database) {
        const ORQSimPosition focus = database.Focus();
        std::string all = focus.Name(slot).UTF8();
        all += " " + std::to_string(focus.GetPosition(slot).ID().MinorID());
        const ORQSimVector entries = focus.GetVector(slot);
        for (auto entry = entries.Begin(); entry.NotDone(); ++entry) {
            all += " " + std::to_string((*entry).ID().MinorID());
        }
        return all + "\n" + DrawersOf(database);
    };
    const auto add = [&](const ORQSimDatabase& database) {
        InTransaction(database, [&] {
            const ORQSimPosition focus = database.Focus();
            const double value = 1;
            ORQBasVector<ORQString> labels;
            labels.PushBack(ORQString("T"));
            focus.SetName(slot, ORQString(focus.Name(slot).UTF8() + "name"));
            focus.SetPosition(slot, focus.CreateSimpleFTable(1, {}, labels, &value, 1));
            focus.GetVector(slot).PushBack(focus.GetPosition(slot));
        });
    };
    add(ORQSimDatabase::Open(m_path, Mode::ReadWrite));
    const std::string before = links(ORQSimDatabase::Open(m_path, Mode::ReadOnly));
    MakeEarly(GetParam());
    EXPECT_EQ(links(ORQSimDatabase::Open(m_path, Mode::ReadOnly)), before);
    std::string after;
    {
        const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        add(database);
        after = links(database);
        EXPECT_EQ(database.Verify(), Texts());
    }
    EXPECT_NE(after, before);
    EXPECT_EQ(AskCatalogue(m_path, "SELECT format FROM state"), std::to_string(GetParam()) + "\n");
    const std::string own = " FROM vector_entry WHERE slot = " + std::to_string(slot);
    EXPECT_EQ(AskCatalogue(m_path, "SELECT count(*)" + own), "2\n");
    EXPECT_EQ(AskCatalogue(m_path, "SELECT count(*) FROM f_table_label WHERE text = 'T'"), "2\n");
    EXPECT_EQ(links(Rewritten()), after);
    EXPECT_EQ(AskCatalogue(m_new, "SELECT count(*) FROM link WHERE kind = 1 AND slot = " +
                                      std::to_string(slot)),
              "2\n");
}

TEST_P(EarlyForm, IsReadAndWrittenOnAndRewrittenByRecovering) {
    std::map<int, Fields> all = AllFields(m_path);
    ASSERT_EQ(all[m_object].size(), 6U);
    ASSERT_GT(all.size(), 3U);
    MakeEarly(GetParam());
    const std::string bytes = ReadBytes(m_path + "/catalogue.sqlite");
    {
        const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadOnly);
        EXPECT_EQ(database.Verify(), Texts());
        EXPECT_EQ(Answers(database, all), ValuesIn(all));
    }
    EXPECT_TRUE(ReadBytes(m_path + "/catalogue.sqlite") == bytes);
    int added = 0;
    {
        const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        InTransaction(database, [&] {
            const ORQSimDataRecord record = At(database, 30).DataRecord();
            record.SetInt(0, 5);
            record.SetString(16, ORQString("of another kind"));
            {
                const ORQSimTransaction undone(database.ContextID());
                record.SetInt(0, 6);
                record.SetInt(17, 6);
            }
            const ORQSimDataRecord other = database.Focus().CreateDataRecord(Slot(31));
            database.Focus().SetPosition(Slot(31), other.Pos());
            added = static_cast<int>(other.Pos().ID().MinorID());
            other.SetDouble(7, 2.5);
            const double small = 1;
            other.Pos().SetPosition(Slot(32), other.Pos().CreateSimpleFTable(1, {}, {}, &small, 1));
        });
        all[m_object][0].value = std::string("\5\0\0\0", 4);
        all[m_object][16] = {kString, "of another kind"};
        const double value = 2.5;
        all[added][7] = {kDoubles, std::string(reinterpret_cast<const char*>(&value), 8)};
        EXPECT_EQ(Answers(database, all), ValuesIn(all));
        EXPECT_EQ(database.Verify(), Texts());
    }
    const std::string id = std::to_string(m_object);
    EXPECT_EQ(AskCatalogue(m_path, "SELECT number, kind, value FROM field WHERE object = " + id +
                                       " AND number IN (0, 16, 17)"),
              "0|1|5\n16|3|of another kind\n");
    EXPECT_EQ(AskCatalogue(m_path, "SELECT count(*) FROM extent WHERE offset = 0"), "0\n");
    EXPECT_EQ(AskCatalogue(m_path, "SELECT format FROM state"), std::to_string(GetParam()) + "\n");
    EXPECT_EQ(Answers(Rewritten(), all), ValuesIn(all));
    EXPECT_EQ(ValuesIn(AllFields(m_new)), ValuesIn(all));
    const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
    InTransaction(database,
                  [&] { ORQSimReferences(database.ContextID()).Delete(At(database, 30).ID()); });
    EXPECT_EQ(AskCatalogue(m_path, "SELECT count(*) FROM field WHERE object = " + id), "0\n");
    EXPECT_EQ(database.Verify(), Texts());
}

TEST_P(EarlyForm, AFieldOfNoObjectIsToldAndLeftOutByRecovering) {
    const std::map<int, Fields> all = AllFields(m_path);
    MakeEarly(GetParam());
    Change("INSERT INTO field VALUES(987654, 0, 1, 7)");
    EXPECT_EQ(ORQSimDatabase::Open(m_path, Mode::ReadOnly).Verify(),
              Texts{"a row of table field belongs to object 987654, which does not exist"});
    const ORQSimDatabase::Recovery recovery = ORQSimDatabase::Recover(m_path, m_new);
    ASSERT_EQ(recovery.damage.size(), 1U);
    EXPECT_NE(recovery.damage[0].find("object 987654"), std::string::npos) << recovery.damage[0];
    EXPECT_EQ(ValuesIn(AllFields(m_new)), ValuesIn(all));
}

// A row of a field that makes no sense: told with its object, and lost alone.
TEST_P(EarlyForm, AFieldThatMakesNoSenseIsToldWithItsObject) {
    const std::map<int, Fields> all = AllFields(m_path);
    MakeEarly(GetParam());
    const std::string id = std::to_string(m_object);
    for (const char* change :
         {"value = 'text'", "value = 4294967296", "value = NULL", "kind = 9"}) {
        SCOPED_TRACE(change);
        Change("UPDATE field SET " + std::string(change) + " WHERE number = 0 AND object = " + id);
        const ORQSimDatabase database = ORQSimDatabase::Open(m_path, Mode::ReadOnly);
        EXPECT_EQ(database.Verify(), Texts{"catalogue.sqlite: table object, row (" + id +
                                           "): column fields is no value, not packed fields"});
        EXPECT_TRUE(Fails(Failure::Damaged, {"row (" + id + ")"},
                          [&] { At(database, 30).DataRecord().GetInt(3); }));
        std::filesystem::remove_all(m_new);
        const ORQSimDatabase::Recovery recovery = ORQSimDatabase::Recover(m_path, m_new);
        EXPECT_EQ(recovery.lost.size(), 1U);
        std::map<int, Fields> left = all;
        left[m_object].erase(0);
        EXPECT_EQ(ValuesIn(AllFields(m_new)), ValuesIn(left));
    }
}
