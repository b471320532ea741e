#include "PostgresTables.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <vector>

#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

struct StoreColumn {
    const char* name;
    const char* type;
    const char* more = "";
    bool isLater = false;  // stores that were made before several could write lack it
};

struct StoreTable {
    const char* name;
    std::vector<StoreColumn> columns;
    std::vector<const char*> key;
};

constexpr const char* kTime = "timestamp with time zone";
constexpr const char* kAlways = "NOT NULL";

// By the name of the model, and else by its identity.
const std::vector<StoreTable>& StoreTables() {
    static const auto& tables = *new const std::vector<StoreTable>{
        {"orq_model",
         {{"name", "text"},
          {"identity", "bytea", "NOT NULL UNIQUE"},
          {"generation", "bigint", kAlways},
          {"oldest", "bigint", kAlways},
          {"lease", "bytea"},
          {"writer", "text"},
          {"lease_until", kTime},
          {"next_object", "bigint", "NOT NULL DEFAULT 0", true},
          {"next_set", "bigint", "NOT NULL DEFAULT 0", true}},
         {"name"}},
        {"orq_commit",
         {{"identity", "bytea"},
          {"generation", "bigint"},
          {"token", "bytea", kAlways},
          {"made", kTime, kAlways},
          {"who", "text", kAlways},
          {"summary", "text", kAlways},
          {"changeset_bytes", "bigint", kAlways},
          {"piece_bytes", "bigint", kAlways},
          {"checksum", "bigint", kAlways}},
         {"identity", "generation"}},
        {"orq_changeset",
         {{"identity", "bytea"},
          {"generation", "bigint"},
          {"part", "bigint"},
          {"bytes", "bytea", kAlways}},
         {"identity", "generation", "part"}},
        {"orq_base",
         {{"identity", "bytea"},
          {"generation", "bigint"},
          {"part", "bigint"},
          {"bytes", "bytea", kAlways}},
         {"identity", "generation", "part"}},
        {"orq_piece",
         {{"identity", "bytea"},
          {"place", "bigint"},
          {"generation", "bigint"},
          {"size", "bigint", kAlways},
          {"bytes", "bytea", kAlways}},
         {"identity", "place", "generation"}},
    };
    return tables;
}

std::string Listed(const auto& names) {
    std::string text;
    for (const auto& name : names) {
        text += (text.empty() ? "" : ", ") + std::string(name);
    }
    return text;
}

std::string Defined(const StoreColumn& column) {
    return std::string(column.name) + " " + column.type + " " + column.more;
}

// What makes the tables, and columns that came later. Kept, since a link knows statements by their
// place.
const std::vector<std::string>& MakingStatements() {
    static const auto& statements = *new const std::vector<std::string>([] {
        std::vector<std::string> made;
        for (const StoreTable& table : StoreTables()) {
            std::vector<std::string> parts;
            for (const StoreColumn& column : table.columns) {
                parts.push_back(Defined(column));
            }
            parts.push_back("PRIMARY KEY(" + Listed(table.key) + ")");
            made.push_back(std::string("CREATE TABLE IF NOT EXISTS ") + table.name + "(" +
                           Listed(parts) + ")");
        }
        for (const StoreTable& table : StoreTables()) {
            for (const StoreColumn& column : table.columns) {
                if (column.isLater) {
                    made.push_back(std::string("ALTER TABLE ") + table.name +
                                   " ADD COLUMN IF NOT EXISTS " + Defined(column));
                }
            }
        }
        return made;
    }());
    return statements;
}

// Adds what differs.
void CompareTable(const StoreTable& table, const Answer& columns, const Answer& key,
                  std::vector<std::string>& differences) {
    const std::string name = std::string("table ") + table.name;
    if (columns.NumRows() == 0) {
        differences.push_back(name + " is missing");
        return;
    }
    std::map<std::string, std::string, std::less<>> types;
    for (int row = 0; row < columns.NumRows(); ++row) {
        types.emplace(columns.Text(row, 0), columns.Text(row, 1));
    }
    for (const StoreColumn& column : table.columns) {
        const auto found = types.find(column.name);
        if (found == types.end()) {
            differences.push_back(name + " has no column " + column.name);
        } else if (found->second != column.type) {
            differences.push_back("column " + std::string(column.name) + " of " + name + " is " +
                                  found->second + ", and has to be " + column.type);
        }
    }
    std::set<std::string_view> keyed;
    for (int row = 0; row < key.NumRows(); ++row) {
        keyed.insert(key.Text(row, 0));
    }
    if (keyed != std::set<std::string_view>(table.key.begin(), table.key.end())) {
        differences.push_back("the key of " + name + " is (" + Listed(keyed) +
                              "), and has to be (" + Listed(table.key) + ")");
    }
}

}  // namespace

void SendToMakeTables(PostgresLink& link) {
    for (const std::string& statement : MakingStatements()) {
        link.Send(statement.c_str());
    }
}

void SendTableQueries(PostgresLink& link) {
    for (const StoreTable& table : StoreTables()) {
        link.Send(
            "SELECT CAST(a.attname AS text), CAST(format_type(a.atttypid, NULL) AS text) FROM "
            "pg_class c JOIN pg_attribute a ON a.attrelid = c.oid WHERE c.relname = $1 AND "
            "pg_table_is_visible(c.oid) AND a.attnum > 0 AND NOT a.attisdropped",
            std::string_view(table.name));
        link.Send(
            "SELECT CAST(a.attname AS text) FROM pg_class c JOIN pg_index i ON i.indrelid = c.oid "
            "AND i.indisprimary JOIN pg_attribute a ON a.attrelid = c.oid AND a.attnum = "
            "ANY(i.indkey) WHERE c.relname = $1 AND pg_table_is_visible(c.oid)",
            std::string_view(table.name));
    }
}

void CheckTables(std::span<const Answer> answers, const std::string& shown) {
    const std::vector<StoreTable>& tables = StoreTables();
    answers = answers.last(2 * tables.size());
    std::vector<std::string> differences;
    for (std::size_t i = 0; i < tables.size(); ++i) {
        CompareTable(tables[i], answers[2 * i], answers[2 * i + 1], differences);
    }
    if (!differences.empty()) {
        std::string text;
        for (const std::string& difference : differences) {
            text += (text.empty() ? "" : "; ") + difference;
        }
        throw ORQBasFailure(ORQBasFailureKind::Foreign,
                            shown + ": the store's tables are not those of models: " + text);
    }
}

}  // namespace orq::storage
