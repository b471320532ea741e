// Opens databases whose rows were changed through SQLite and our VFS, so that pages, indices and
// checksums are right and contents are not: values out of range or of another type, rows swapped,
// deleted, repeated or mixed up, and foreign tables, views, triggers and indices.
#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimFTable.h"
#include "ORQSimPosition.h"
#include "ORQSimTransaction.h"
#include "RunCommands.h"
#include "SmallMesh.h"
#include "SmallModels.h"

namespace {

namespace fs = std::filesystem;

struct Files {
    std::string catalogue;
    std::string bulk;
};

/// Whole databases to begin with.
const std::vector<Files>& Beginnings() {
    static const auto& all = *new const std::vector<Files>([] {
        const fs::path folder = FuzzFolder();
        PutFile(folder / "mesh.msh", std::string(kSmallMesh));
        PutFile(folder / "layup.json", std::string(kSmallLayup));
        PutFile(folder / "deck.bdf", std::string(kSmallDeck));
        const fs::path database = folder / "seed.orq";
        std::vector<Files> made;
        for (const std::vector<std::string>& input :
             {std::vector<std::string>{folder / "mesh.msh", "--layup", folder / "layup.json"},
              {folder / "mesh.msh"},
              {folder / "deck.bdf"}}) {
            std::vector<std::string> arguments = {"import"};
            arguments.insert(arguments.end(), input.begin(), input.end());
            arguments.insert(arguments.end(), {"-o", database.string(), "--force"});
            if (RunCommand(arguments) != 0) {
                std::abort();
            }
            made.push_back(
                {GetFile(database / "catalogue.sqlite"), GetFile(database / "bulk.bin")});
        }
        return made;
    }());
    return all;
}

/// One change, as eight bytes of the input say.
struct Change {
    std::uint8_t action;
    std::uint8_t table;
    std::uint16_t row;
    std::uint8_t column;
    std::uint8_t value;
    std::uint16_t more;
};

constexpr std::array<const char*, 18> kTables = {
    "state",        "object",      "collection",     "member",        "symbol",
    "text",         "link",        "map_entry",      "set_entry",     "component_set",
    "distribution", "drawer",      "drawer_segment", "data_set_part", "f_table",
    "extent",       "free_extent", "small_chunk"};

constexpr std::array<const char*, 12> kForeign = {
    "CREATE TABLE more(a INTEGER)",
    "CREATE VIEW seen AS SELECT * FROM object",
    "CREATE VIEW endless AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) "
    "SELECT i FROM n",
    "CREATE TRIGGER taken AFTER INSERT ON state BEGIN DELETE FROM object; END",
    "CREATE TRIGGER taken AFTER DELETE ON link BEGIN DELETE FROM link; END",
    "CREATE INDEX other ON object(type)",
    "CREATE UNIQUE INDEX one ON text(slot)",
    "DROP INDEX link_by_target",
    "DROP TABLE free_extent",
    "ALTER TABLE object ADD COLUMN more",
    "ALTER TABLE link RENAME COLUMN key TO place",
    "CREATE INDEX part ON extent(chunk) WHERE chunk > 0"};

/// A value as SQL; `column` is what stands there.
std::string ValueText(const Change& change, const std::string& column, const std::string& table) {
    const std::string row = std::to_string(change.more);
    const std::array<std::string, 32> values = {
        "0",
        "1",
        "-1",
        "2",
        "3",
        "7",
        "1024",
        "65536",
        "2147483646",
        "2147483647",
        "2147483648",
        "-2147483648",
        "4294967296",
        "1099511627776",
        "1152921504606846976",
        "9223372036854775807",
        "(-9223372036854775807 - 1)",
        column + " + 1",
        column + " - 1",
        column + " * 2",
        column + " + " + row,
        row,
        "'abc'",
        "''",
        "x''",
        "zeroblob(" + row + ")",
        "NULL",
        "0.5",
        "(SELECT " + column + " FROM " + table + " LIMIT 1 OFFSET " +
            std::to_string(change.more % 17) + ")",
        "(SELECT max(" + column + ") FROM " + table + ")",
        "substr(" + column + ", 1, " + std::to_string(change.more % 40) + ")",
        "randomblob(0) || " + column + " || char(8238, 155, 10)"};
    return values[change.value % values.size()];
}

class Catalogue {
  public:
    explicit Catalogue(const std::string& path) {
        if (sqlite3_open_v2(path.c_str(), &m_handle, SQLITE_OPEN_READWRITE, "orq-page-checksum") !=
            SQLITE_OK) {
            std::abort();
        }
    }
    ~Catalogue() { sqlite3_close(m_handle); }
    Catalogue(const Catalogue&) = delete;
    Catalogue& operator=(const Catalogue&) = delete;

    /// Failing is no matter: most changes that SQLite refuses break the key.
    void Run(const std::string& sql) {
        sqlite3_exec(m_handle, sql.c_str(), nullptr, nullptr, nullptr);
    }
    std::vector<std::vector<std::string>> Ask(const std::string& sql) {
        std::vector<std::vector<std::string>> rows;
        const auto take = [](void* all, int n, char** values, char**) {
            auto& row = static_cast<std::vector<std::vector<std::string>>*>(all)->emplace_back();
            for (int i = 0; i < n; ++i) {
                row.emplace_back(values[i] == nullptr ? "" : values[i]);
            }
            return 0;
        };
        sqlite3_exec(m_handle, sql.c_str(), take, &rows, nullptr);
        return rows;
    }
    void Make(const Change& change);

  private:
    sqlite3* m_handle = nullptr;
};

void Catalogue::Make(const Change& change) {
    const std::string table = kTables[change.table % kTables.size()];
    const auto columns = Ask("SELECT name, pk FROM pragma_table_info('" + table + "')");
    if (columns.empty()) {
        return;
    }
    std::string keys;
    std::string all;
    const std::string changed = columns[change.column % columns.size()][0];
    const std::string value = ValueText(change, changed, table);
    for (const auto& column : columns) {
        keys += column[1] == "0" ? "" : (keys.empty() ? "" : ", ") + column[0];
        all += (all.empty() ? "" : ", ") + (column[0] == changed ? value : column[0]);
    }
    const auto nRows = Ask("SELECT count(*) FROM " + table);
    const int count = nRows.empty() ? 0 : std::stoi(nRows[0][0]);
    const std::string at = std::to_string(count == 0 ? 0 : change.row % count);
    const std::string here = " WHERE (" + keys + ") = (SELECT " + keys + " FROM " + table +
                             " LIMIT 1 OFFSET " + at + ")";
    switch (change.action % 16) {
        case 0:
            return Run("DELETE FROM " + table + here);
        case 1:
        case 2:
            return Run("INSERT OR REPLACE INTO " + table + " SELECT " + all + " FROM " + table +
                       here);
        case 3:
            return Run("UPDATE OR REPLACE " + table + " SET " + changed + " = " + value);
        case 4:
            if (change.more % 4 == 0) {
                Run(kForeign[change.row % kForeign.size()]);
            }
            return;
        case 5:
            return Run("DELETE FROM " + table);
        default:
            return Run("UPDATE OR REPLACE " + table + " SET " + changed + " = " + value + here);
    }
}

/// Reads what an object has, whatever it is.
void ReadObject(const ORQSimDynamicID& id) {
    switch (id.Category()) {
        case ORQSimCategoryRecord:
            for (int field = 0; field < 8; ++field) {
                try {
                    (void)ORQSimDataRecord(id).ReturnString(field);
                } catch (const ORQBasFailure&) {
                    (void)ORQSimDataRecord(id).GetDouble(field);
                }
            }
            break;
        case ORQSimCategoryDistribution:
            (void)ORQSimDistribution(ORQSimDistributionID(id)).QueryDrawers();
            break;
        case ORQSimCategoryDSet:
            (void)ORQSimPosition(id).GetDSet();
            break;
        case ORQSimCategoryFTable: {
            const ORQSimFTable table{ORQSimFTableID(id)};
            if (std::int64_t{table.RowCount()} * table.ColumnCount() < 100'000) {
                std::vector<double> values(
                    static_cast<std::size_t>(table.RowCount() * table.ColumnCount()));
                table.GetData(values.data(), static_cast<int>(values.size()));
            }
            break;
        }
        default:
            break;
    }
}

void ReadEverything(const std::string& path, ORQSimDatabase::Mode mode) {
    try {
        const ORQSimDatabase database = ORQSimDatabase::Open(path, mode);
        for (std::int64_t object = 1; object < 400; ++object) {
            for (int category = 1; category < 8; ++category) {
                try {
                    ReadObject({category, database.ContextID(), object, ORQSimTypeID(1), 0});
                } catch (const ORQBasFailure&) {
                }
            }
        }
        if (mode == ORQSimDatabase::Mode::ReadWrite) {
            ORQSimTransaction transaction(database.ContextID());
            database.Focus().CreateDataRecord(1).SetInt(0, 1);
            transaction.Commit();
        }
    } catch (const ORQBasFailure&) {
    }
}

/// Commands that read a model, of which each input runs some.
std::vector<std::vector<std::string>> Commands(const std::string& database) {
    const auto out = [](const char* name) { return (FuzzFolder() / name).string(); };
    return {{"layers", database},
            {"materials", database},
            {"export", database, "-o", out("m.e"), "--force"},
            {"export", database, "-o", out("m.bdf"), "--force"},
            {"export", database, "-o", out("m.vtu"), "--force"},
            {"draw", database, "-o", out("m.png"), "--size", "32x32", "--force"},
            {"check", database, "--format", "sarif"},
            {"check", database, "--json"},
            {"info", database, "--json"},
            {"list", "fields", database},
            {"status", database},
            {"map", database, database},
            {"adjacency", database, "--node", "1"},
            {"find", database, "elementset", "skin"},
            {"find", database, "nodeset", "all"},
            {"layers", database, "wall"},
            {"layers", database, "--element", "1"},
            {"materials", database, "tape"},
            {"draw", database, "-o", out("f.svg"), "--field", "displ", "--force"},
            {"draw", database, "-o", out("s.svg"), "--section", "wall", "--force"},
            {"draw", database, "-o", out("t.svg"), "--material", "tape", "--force"}};
}

void CheckWhole(const fs::path& database) {
    const auto problems = ORQSimDatabase::Open(database, ORQSimDatabase::Mode::ReadOnly).Verify();
    if (!problems.empty()) {
        std::fprintf(stderr, "recovered, and not whole: %s\n", problems.front().c_str());
        std::abort();
    }
}

void RunAll(const fs::path& database, std::size_t which) {
    RunCommand({"info", database, "--storage"});
    RunCommand({"verify", database});
    const auto commands = Commands(database);
    for (std::size_t i = 0; i < 4; ++i) {
        RunCommand(commands[(which + 5 * i) % commands.size()]);
    }
    const fs::path recovered = FuzzFolder() / "recovered.orq";
    fs::remove_all(recovered);
    if (RunCommand({"recover", database, "-o", recovered}) < 2) {
        CheckWhole(recovered);
    }
    ReadEverything(database, ORQSimDatabase::Mode::ReadOnly);
    ReadEverything(database, ORQSimDatabase::Mode::ReadWrite);
}

}  // namespace

/// The input is which database to begin with (a byte) and changes of eight bytes each.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    constexpr std::size_t kMostChanges = 12;
    if (size < 1 + sizeof(Change)) {
        return 0;
    }
    const Files& beginning = Beginnings()[bytes[0] % Beginnings().size()];
    const fs::path database = FuzzFolder() / "m.orq";
    fs::remove_all(database);
    PutFile(database / "catalogue.sqlite", beginning.catalogue);
    PutFile(database / "bulk.bin", beginning.bulk);
    PutFile(database / "lock", "");
    {
        Catalogue catalogue(database / "catalogue.sqlite");
        for (std::size_t i = 0; i < kMostChanges && 1 + (i + 1) * sizeof(Change) <= size; ++i) {
            Change change{};
            std::memcpy(&change, bytes + 1 + i * sizeof change, sizeof change);
            catalogue.Make(change);
        }
    }
    RunAll(database, bytes[0] / Beginnings().size());
    return 0;
}
