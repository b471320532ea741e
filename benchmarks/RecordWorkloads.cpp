#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "Harness.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

// Any slots would do.
constexpr int kNamedLinks = ORQSimSchema::Focus_model;
constexpr int kChild = ORQSimSchema::Model_mesh;

std::string NameOf(int record) {
    return "Record-" + std::to_string(record);
}

// --- The same rows, straight into SQLite ---------------------------------------------------------

class Sqlite {
  public:
    Sqlite(const std::filesystem::path& path, int flags) {
        Check(sqlite3_open_v2(path.c_str(), &m_handle, flags, nullptr));
    }
    ~Sqlite() { sqlite3_close(m_handle); }
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;

    void Execute(const std::string& sql) {
        Check(sqlite3_exec(m_handle, sql.c_str(), nullptr, nullptr, nullptr));
    }
    sqlite3* Handle() { return m_handle; }
    void Check(int code) {
        Require(code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW,
                std::string("SQLite: ") + sqlite3_errmsg(m_handle));
    }

  private:
    sqlite3* m_handle = nullptr;
};

class Statement {
  public:
    Statement(Sqlite& sqlite, const char* sql) : m_sqlite(sqlite) {
        sqlite.Check(sqlite3_prepare_v3(sqlite.Handle(), sql, -1, SQLITE_PREPARE_PERSISTENT,
                                        &m_statement, nullptr));
    }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // Binds, steps once and calls f() for the row, if there is one.
    template <class F, class... Values>
    void Ask(F&& f, const Values&... values) {
        int index = 0;
        (Bind(++index, values), ...);
        const int code = sqlite3_step(m_statement);
        m_sqlite.Check(code);
        if (code == SQLITE_ROW) {
            f();
        }
        sqlite3_reset(m_statement);
    }
    template <class... Values>
    void Run(const Values&... values) {
        Ask([] {}, values...);
    }
    std::int64_t Int(int column) const { return sqlite3_column_int64(m_statement, column); }
    std::string Text(int column) const {
        const auto* text = sqlite3_column_text(m_statement, column);
        return text == nullptr ? "" : reinterpret_cast<const char*>(text);
    }
    bool Step() {
        const int code = sqlite3_step(m_statement);
        m_sqlite.Check(code);
        return code == SQLITE_ROW;
    }

  private:
    void Bind(int index, std::int64_t value) { sqlite3_bind_int64(m_statement, index, value); }
    void Bind(int index, std::string_view text) {
        sqlite3_bind_text64(m_statement, index, text.data(), text.size(), SQLITE_STATIC,
                            SQLITE_UTF8);
    }
    void Bind(int index, const double* value) {
        sqlite3_bind_blob64(m_statement, index, value, sizeof *value, SQLITE_STATIC);
    }

    Sqlite& m_sqlite;
    sqlite3_stmt* m_statement = nullptr;
};

// An empty SQLite database with the tables, indices and settings of a catalogue of ours.
std::unique_ptr<Sqlite> LikeCatalogue(const Settings& settings) {
    const std::filesystem::path model = settings.directory / "shape.orq";
    std::filesystem::remove_all(model);
    ORQSimDatabase::Create(model.string()).Close();
    const std::filesystem::path path = settings.directory / "peer.sqlite";
    for (const char* suffix : {"", "-wal", "-shm"}) {
        std::filesystem::remove(path.string() + suffix);
    }
    auto peer = std::make_unique<Sqlite>(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    peer->Execute(
        "PRAGMA page_size = 2048; PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
        "PRAGMA cache_size = -8192; PRAGMA temp_store = MEMORY");
    Sqlite catalogue(model / "catalogue.sqlite", SQLITE_OPEN_READONLY);
    Statement shapes(catalogue, "SELECT sql FROM sqlite_master WHERE sql IS NOT NULL");
    while (shapes.Step()) {
        peer->Execute(shapes.Text(0));
    }
    return peer;
}

// --- Workloads -----------------------------------------------------------------------------------

ORQSimDatabase CreateEmpty(const Settings& settings) {
    const std::filesystem::path path = settings.directory / "records.orq";
    std::filesystem::remove_all(path);
    return ORQSimDatabase::Create(path.string());
}

double ValueOf(int record) {
    return record * 0.5;
}

std::vector<Row> Records(const Settings& settings) {
    const int n = settings.nRecords;
    ORQSimDatabase database;
    std::unique_ptr<Sqlite> peer;
    return {Measure(
        settings, "records", 2.0,
        {{"ours", [&] { database = CreateEmpty(settings); },
          [&] {
              ORQSimTransaction transaction(database.ContextID());
              const ORQSimPosition focus = database.Focus();
              const ORQSimMap links = focus.GetMap(kNamedLinks);
              for (int i = 0; i < n; ++i) {
                  const ORQSimDataRecord record = focus.CreateDataRecord(ORQSimSchema::Model);
                  record.SetInt(0, i);
                  record.SetDouble(1, ValueOf(i));
                  links.Insert(ORQString(NameOf(i)), record.Pos());
              }
              transaction.Commit();
          },
          [&] {
              const ORQSimMap links = database.Focus().GetMap(kNamedLinks);
              for (int i = 0; i < n; ++i) {
                  const ORQSimDataRecord record = links.Find(ORQString(NameOf(i))).DataRecord();
                  Require(record.GetInt(0) == i && record.GetDouble(1) == ValueOf(i),
                          "a record is not what was written");
              }
              database.Close();
          }},
         {"same rows into SQLite", [&] { peer = LikeCatalogue(settings); },
          [&] {
              peer->Execute("BEGIN IMMEDIATE");
              Statement object(*peer, "INSERT INTO object VALUES(?,?,?)");
              Statement field(*peer, "INSERT INTO field VALUES(?,?,?,?)");
              Statement link(*peer, "INSERT INTO map_entry VALUES(?,?,?,?,?,?,?)");
              for (int i = 0; i < n; ++i) {
                  const int id = i + 2;
                  const double value = ValueOf(i);
                  object.Run(id, ORQSimSchema::Model, ORQSimCategoryRecord);
                  field.Run(id, 0, 1, i);
                  field.Run(id, 1, 2, &value);
                  link.Run(1, kNamedLinks, std::string_view(NameOf(i)), id, ORQSimCategoryRecord,
                           ORQSimSchema::Model, 0);
              }
              peer->Execute("COMMIT");
          },
          [&] {
              Statement count(*peer, "SELECT count(*) FROM field");
              count.Ask([&] { Require(count.Int(0) == 2 * n, "rows are missing in SQLite"); });
          }}})};
}

std::vector<Row> Follow(const Settings& settings) {
    const int n = settings.nRecords;
    std::vector<ORQSimPosition> objects;
    ORQSimDatabase database = CreateEmpty(settings);
    const std::unique_ptr<Sqlite> peer = LikeCatalogue(settings);
    {
        ORQSimTransaction transaction(database.ContextID());
        peer->Execute("BEGIN IMMEDIATE");
        Statement link(*peer, "INSERT INTO child VALUES(?,?,?,?,?,?,?)");
        for (int i = 0; i < n; ++i) {
            const ORQSimPosition object =
                database.Focus().CreateDataRecord(ORQSimSchema::Model).Pos();
            objects.push_back(object);
            const ORQSimPosition& target = objects[objects.size() / 2];
            object.SetPosition(kChild, target);
            link.Run(object.ID().MinorID(), kChild, 0, target.ID().MinorID(), ORQSimCategoryRecord,
                     ORQSimSchema::Model, 0);
        }
        peer->Execute("COMMIT");
        transaction.Commit();
    }
    std::int64_t expected = 0;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        expected += objects[(i + 1) / 2].ID().MinorID();
    }
    std::ranges::shuffle(objects, std::mt19937_64(17));

    std::int64_t sum = 0;
    const auto clear = [&] { sum = 0; };
    const auto check = [&] { Require(sum == expected, "links lead elsewhere"); };
    peer->Execute("BEGIN");
    Statement follow(*peer, "SELECT * FROM child WHERE object = ? AND slot = ? AND member = ?");
    return {Measure(settings, "follow", 2.0,
                    {{"ours", clear,
                      [&] {
                          for (const ORQSimPosition& object : objects) {
                              sum += object.GetPosition(kChild).ID().MinorID();
                          }
                      },
                      check},
                     {"SQLite point query", clear,
                      [&] {
                          for (const ORQSimPosition& object : objects) {
                              follow.Ask([&] { sum += follow.Int(3); }, object.ID().MinorID(),
                                         kChild, 0);
                          }
                      },
                      check}})};
}

}  // namespace

std::vector<Workload> RecordWorkloads() {
    return {{"records", Records}, {"follow", Follow}};
}

}  // namespace storage_benchmark
