// A model in a PostgreSQL store beside plain statements for the same bytes. The server is the
// program's own, on this machine.

#include <libpq-fe.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>

#include "BulkData.h"
#include "CoordinateDatabase.h"
#include "ORQSimDataRecord.h"
#include "ORQSimModelStore.h"
#include "ORQSimPosition.h"
#include "ORQSimTransaction.h"
#include "PostgresServer.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

constexpr std::size_t kRowBytes = 1 << 20;

std::vector<double> RandomValues(int nNodes) {
    std::vector<double> values(static_cast<std::size_t>(nNodes) * 3);
    std::mt19937_64 random(20240230);
    for (double& value : values) {
        value = static_cast<double>(random()) * 0x1p-60;
    }
    return values;
}

// A table of rows of bytes, by plain statements.
class PlainTable {
  public:
    explicit PlainTable(const PostgresServer& server)
        : m_connection(PQconnectdb(server.Url("").c_str()), PQfinish) {
        Run("CREATE TABLE IF NOT EXISTS plain(place bigint PRIMARY KEY, bytes bytea)");
        Run("ALTER TABLE plain ALTER COLUMN bytes SET STORAGE EXTERNAL");
        Check(PQprepare(m_connection.get(), "put", "INSERT INTO plain VALUES($1, $2)", 2, nullptr));
        Check(PQprepare(m_connection.get(), "get", "SELECT bytes FROM plain WHERE place = $1", 1,
                        nullptr));
    }

    void Run(const char* sql) const { Check(PQexec(m_connection.get(), sql)); }
    void Put(std::size_t place, std::span<const std::byte> bytes) const {
        const std::string number = std::to_string(place);
        const char* values[] = {number.c_str(), reinterpret_cast<const char*>(bytes.data())};
        const int sizes[] = {0, static_cast<int>(bytes.size())};
        const int formats[] = {0, 1};
        Check(PQexecPrepared(m_connection.get(), "put", 2, values, sizes, formats, 1));
    }
    void PutAll(std::span<const std::byte> bytes) const {
        Run("TRUNCATE plain");
        Run("BEGIN");
        for (std::size_t at = 0; at < bytes.size(); at += kRowBytes) {
            Put(at, bytes.subspan(at, std::min(kRowBytes, bytes.size() - at)));
        }
        Run("COMMIT");
    }
    void GetAll(std::span<std::byte> bytes) const {
        for (std::size_t at = 0; at < bytes.size(); at += kRowBytes) {
            const std::string number = std::to_string(at);
            const char* values[] = {number.c_str()};
            const Result row(
                PQexecPrepared(m_connection.get(), "get", 1, values, nullptr, nullptr, 1), PQclear);
            Require(PQntuples(row.get()) == 1, "a plain row is gone");
            std::memcpy(&bytes[at], PQgetvalue(row.get(), 0, 0),
                        static_cast<std::size_t>(PQgetlength(row.get(), 0, 0)));
        }
    }

  private:
    using Result = std::unique_ptr<PGresult, decltype(&PQclear)>;
    void Check(PGresult* given) const {
        const Result result(given, PQclear);
        const ExecStatusType status = PQresultStatus(given);
        if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
            throw std::runtime_error(PQerrorMessage(m_connection.get()));
        }
    }
    std::unique_ptr<PGconn, decltype(&PQfinish)> m_connection;
};

struct StoreBulk : BulkData<double> {
    StoreBulk(const Settings& settings, PostgresServer& givenServer)
        : BulkData(settings, RandomValues(settings.nNodes)),
          server(givenServer),
          // A cache whose path is not absolute is none, and the user's own one would be taken.
          cache(std::filesystem::absolute(settings.directory) / "cache"),
          local(settings.directory / "local.orq"),
          rows(givenServer) {
        ORQSimModelStore::Prepare(server.Url(""));
        setenv("XDG_CACHE_HOME", cache.c_str(), 1);
    }
    // The URL of a new model.
    std::string NewModel() const {
        static int number = 0;
        return server.Url("bulk-" + std::to_string(++number));
    }

    PostgresServer& server;
    std::filesystem::path cache;
    std::filesystem::path local;
    PlainTable rows;
};

Row MeasureStoreWrite(const Settings& settings, StoreBulk& bulk) {
    std::string url;
    std::optional<CoordinateDatabase> database;
    return Measure(settings, "store-write", 1.3,
                   {bulk.Writing(
                        "ours",
                        [&] {
                            url = bulk.NewModel();
                            database = CoordinateDatabase::Create(url);
                        },
                        [&] { database->Append(bulk.values); },
                        [&] {
                            database.reset();
                            bulk.CheckStored<CoordinateDatabase>(url);
                        }),
                    bulk.Writing(
                        "plain inserts", [] {}, [&] { bulk.rows.PutAll(bulk.Bytes()); },
                        [&] {
                            bulk.ClearTarget();
                            bulk.rows.GetAll(std::as_writable_bytes(std::span(bulk.target)));
                            bulk.CheckTarget();
                        })});
}

Row MeasureStoreReadFirst(const Settings& settings, StoreBulk& bulk, const std::string& url) {
    Contender ours = bulk.Reading("ours", [&] { CoordinateDatabase(url).Read(bulk.target); });
    ours.prepare = [&] {
        std::filesystem::remove_all(bulk.cache);
        bulk.ClearTarget();
    };
    return Measure(settings, "store-read-first", 2.0,
                   {ours, bulk.Reading("plain selects", [&] {
                        bulk.rows.GetAll(std::as_writable_bytes(std::span(bulk.target)));
                    })});
}

Row MeasureStoreReadAgain(const Settings& settings, StoreBulk& bulk, const std::string& url) {
    CoordinateDatabase::Create(bulk.local).Append(bulk.values);
    CoordinateDatabase(url).Read(bulk.target);
    return Measure(
        settings, "store-read-cached", 1.1,
        {bulk.Reading("ours", [&] { CoordinateDatabase(url).Read(bulk.target); }),
         bulk.Reading("directory", [&] { CoordinateDatabase(bulk.local).Read(bulk.target); })});
}

Row MeasureStoreCommits(const Settings& settings, StoreBulk& bulk) {
    constexpr int kCommits = 50;
    const ORQSimDatabase database = ORQSimDatabase::Create(bulk.NewModel());
    int value = 0;
    std::size_t place = std::size_t{1} << 40;
    const std::vector<std::byte> row(300);
    return Measure(settings, "store-commits", 1.3,
                   {{"ours", [] {},
                     [&] {
                         for (int i = 0; i < kCommits; ++i) {
                             ORQSimTransaction transaction(database.ContextID());
                             database.Focus().DataRecord().SetInt(0, ++value);
                             transaction.Commit();
                         }
                     }},
                    {"plain inserts, two a commit", [] {},
                     [&] {
                         for (int i = 0; i < kCommits; ++i) {
                             bulk.rows.Run("BEGIN");
                             bulk.rows.Put(++place, row);
                             bulk.rows.Put(++place, row);
                             bulk.rows.Run("COMMIT");
                         }
                     }}});
}

std::vector<Row> InStore(const Settings& settings) {
    PostgresServer* server = PostgresServer::Get(PostgresServer::Durable::Yes);
    if (server == nullptr) {
        return {};
    }
    StoreBulk bulk(settings, *server);
    std::vector<Row> rows = {MeasureStoreWrite(settings, bulk)};
    const std::string url = bulk.NewModel();
    CoordinateDatabase::Create(url).Append(bulk.values);
    bulk.rows.PutAll(bulk.Bytes());
    rows.push_back(MeasureStoreReadFirst(settings, bulk, url));
    rows.push_back(MeasureStoreReadAgain(settings, bulk, url));
    rows.push_back(MeasureStoreCommits(settings, bulk));
    return rows;
}

}  // namespace

std::vector<Workload> StoreWorkloads() {
    return {{"store", InStore}};
}

}  // namespace storage_benchmark
