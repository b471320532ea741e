#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Harness.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "SqlitePeer.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

// Any slot would do.
constexpr int kValues = ORQSimSchema::Model_mesh;

// Drawers of one row each.
struct SmallDrawers {
    SmallDrawers(int nDrawersHere, int nValuesHere)
        : nDrawers(nDrawersHere),
          nValues(nValuesHere),
          values(static_cast<std::size_t>(nDrawers) * static_cast<std::size_t>(nValues)) {
        std::iota(values.begin(), values.end(), 0.25);
    }
    std::span<const double> Of(int drawer) const {
        const auto count = static_cast<std::size_t>(nValues);
        return std::span(values).subspan(static_cast<std::size_t>(drawer) * count, count);
    }

    int nDrawers;
    int nValues;
    std::vector<double> values;
};

std::int64_t BytesIn(const std::filesystem::path& path) {
    std::int64_t bytes = 0;
    for (const auto& file : std::filesystem::directory_iterator(path)) {
        bytes += static_cast<std::int64_t>(file.file_size());
    }
    return bytes;
}

class OurDrawers {
  public:
    explicit OurDrawers(const Settings& settings) : m_path(settings.directory / "drawers.orq") {}

    void Create() {
        m_database.Close();
        std::filesystem::remove_all(m_path);
        m_database = ORQSimDatabase::Create(m_path.string());
    }
    void Write(const SmallDrawers& drawers) const {
        ORQSimTransaction transaction(m_database.ContextID());
        const ORQSimPosition focus = m_database.Focus();
        const ORQSimCollection rows(
            focus.CreateTypedCollection(ORQSimSchema::Model, drawers.nDrawers).GetCollection());
        const ORQSimCollection columns(
            focus.CreateTypedCollection(ORQSimSchema::Model, drawers.nValues).GetCollection());
        const ORQSimPosition made = focus.CreateTypedDistribution(
            ORQSimGrid(std::vector{rows.ID(), columns.ID()}), ORQSimSchema::DistributionRecord,
            ORQSimRangeType(ORQSimScalarDouble));
        focus.SetPosition(kValues, made);
        const ORQSimDistribution distribution(made.GetDistribution());
        const ORQSimCSet all = columns.CreateVolatileCSetStrided(0, drawers.nValues, 1, 1);
        for (int i = 0; i < drawers.nDrawers; ++i) {
            const auto values = drawers.Of(i);
            ORQSimTransfer(distribution)
                .SetWrite()
                .SetMakeNewDrawer()
                .SetDim(0, rows.CreateVolatileCSet(&i, 1, true))
                .SetDim(1, all)
                .SetBuffer(ORQSimbufMain, values.data(),
                           static_cast<std::int64_t>(values.size_bytes()))
                .ExecWrite();
        }
        transaction.Commit();
    }
    void Open() {
        m_database = ORQSimDatabase::Open(m_path.string(), ORQSimDatabase::Mode::ReadOnly);
    }
    void Close() { m_database.Close(); }
    std::vector<double> Read(const SmallDrawers& drawers) const {
        std::vector<double> values(drawers.values.size());
        const ORQSimDistribution distribution(
            m_database.Focus().GetPosition(kValues).GetDistribution());
        const ORQSimCollection rows(distribution.Grid().Collection(0));
        const ORQSimCSet all = ORQSimCollection(distribution.Grid().Collection(1))
                                   .CreateVolatileCSetStrided(0, drawers.nValues, 1, 1);
        double* place = values.data();
        int row = 0;
        for (const ORQSimDrawerID& drawer : distribution.DrawerIDArray()) {
            ORQSimTransfer(distribution)
                .SetRead()
                .SetDrawer(drawer)
                .SetDim(0, rows.CreateVolatileCSet(&row, 1, true))
                .SetDim(1, all)
                .SetBuffer(ORQSimbufMain, place,
                           static_cast<std::int64_t>(drawers.nValues) *
                               static_cast<std::int64_t>(sizeof *place))
                .ExecRead();
            place += drawers.nValues;
            ++row;
        }
        return values;
    }
    double KiB() const { return static_cast<double>(BytesIn(m_path)) / 1024; }

  private:
    std::filesystem::path m_path;
    ORQSimDatabase m_database;
};

// A blob each, with the durability of ours.
class SqliteBlobs {
  public:
    explicit SqliteBlobs(const Settings& settings) : m_path(settings.directory / "blobs.sqlite") {}

    void Create() {
        m_sqlite.reset();
        for (const char* suffix : {"", "-wal", "-shm"}) {
            std::filesystem::remove(m_path.string() + suffix);
        }
        Open();
        m_sqlite->Execute(
            "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA cache_size = -16384;"
            "CREATE TABLE drawer(id INTEGER PRIMARY KEY, value BLOB)");
    }
    void Open() { m_sqlite.emplace(m_path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE); }
    void Close() { m_sqlite.reset(); }
    void Write(const SmallDrawers& drawers) {
        m_sqlite->Execute("BEGIN IMMEDIATE");
        {
            Statement insert(*m_sqlite, "INSERT INTO drawer VALUES(?,?)");
            for (int i = 0; i < drawers.nDrawers; ++i) {
                insert.Run(i, std::as_bytes(drawers.Of(i)));
            }
        }
        m_sqlite->Execute("COMMIT");
    }
    std::vector<double> Read(const SmallDrawers& drawers) {
        std::vector<double> values(drawers.values.size());
        auto place = std::as_writable_bytes(std::span(values)).begin();
        Statement select(*m_sqlite, "SELECT value FROM drawer WHERE id = ?");
        for (int i = 0; i < drawers.nDrawers; ++i) {
            select.Ask([&] { place = std::ranges::copy(select.Bytes(0), place).out; }, i);
        }
        return values;
    }

  private:
    std::filesystem::path m_path;
    std::optional<Sqlite> m_sqlite;
};

std::vector<Row> MeasureDrawers(const Settings& settings, const std::string& suffix, int nDrawers,
                                int nValues) {
    const SmallDrawers drawers(nDrawers, nValues);
    OurDrawers ours(settings);
    SqliteBlobs blobs(settings);
    std::vector<Row> rows = {Measure(
        settings, "small-drawers-write" + suffix, 2.0,
        {{"ours", [&] { ours.Create(); }, [&] { ours.Write(drawers); }, [&] { ours.Close(); }},
         {"SQLite blobs", [&] { blobs.Create(); }, [&] { blobs.Write(drawers); },
          [&] { blobs.Close(); }}})};
    std::vector<double> read;
    const auto check = [&] {
        Require(read == drawers.values, "a drawer has something else");
        ours.Close();
        blobs.Close();
    };
    rows.push_back(Measure(settings, "small-drawers-read" + suffix, 2.0,
                           {{"ours", [] {},
                             [&] {
                                 ours.Open();
                                 read = ours.Read(drawers);
                             },
                             check},
                            {"SQLite blobs", [] {},
                             [&] {
                                 blobs.Open();
                                 read = blobs.Read(drawers);
                             },
                             check}}));
    rows.push_back({"small-drawers-size" + suffix,
                    "KiB",
                    {ours.KiB()},
                    "the values",
                    {static_cast<double>(drawers.values.size() * sizeof(double)) / 1024},
                    3.0,
                    {}});
    return rows;
}

std::vector<Row> Drawers(const Settings& settings) {
    std::vector<Row> rows = MeasureDrawers(settings, "", settings.nRecords, 24);
    // About the largest that stand in the catalogue.
    const std::vector<Row> larger =
        MeasureDrawers(settings, "-2k", std::max(1, settings.nRecords / 10), 250);
    rows.insert(rows.end(), larger.begin(), larger.end());
    return rows;
}

}  // namespace

std::vector<Workload> SmallDrawerWorkloads() {
    return {{"small-drawers", Drawers}};
}

}  // namespace storage_benchmark
