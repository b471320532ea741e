#include "ArrayPeer.h"

#include <sqlite3.h>

#include <algorithm>
#include <optional>

#include "BulkData.h"
#include "CoordinateDatabase.h"
#include "Hdf5File.h"
#include "SqlitePeer.h"

namespace storage_benchmark {

namespace {

class Hdf5Peer final : public ArrayPeer {
  public:
    Hdf5Peer(const Settings& settings, bool hasChecksums)
        : ArrayPeer(hasChecksums ? "HDF5 with checksums" : "HDF5",
                    hasChecksums ? "a crash may lose the file"
                                 : "no checksums, a crash may lose the file"),
          m_path(settings.directory / "peer.h5"),
          m_layout{kChunkNodes, hasChecksums} {}

    void Create() override {
        Close();
        m_file.emplace(m_path, m_layout);
    }
    void Open() override {
        Close();
        m_file.emplace(m_path);
    }
    void Close() override { m_file.reset(); }
    void Append(std::span<const double> values) override {
        m_file->Append(values);
        m_file->Sync();
    }
    int NumNodes() override { return static_cast<int>(m_file->NumNodes()); }
    void Read(std::span<double> values) override { m_file->Read(values); }
    void Select(std::span<const int> nodes) override { m_file->Select(nodes); }
    void Gather(double* values) override { m_file->ReadSelected(values); }

  private:
    std::filesystem::path m_path;
    Hdf5File::Layout m_layout;
    std::optional<Hdf5File> m_file;
};

class SqliteArray final : public ArrayPeer {
  public:
    explicit SqliteArray(const Settings& settings)
        : ArrayPeer("SQLite", "no checksums"), m_path(settings.directory / "peer-array.sqlite") {}

    void Create() override {
        Close();
        std::filesystem::remove(m_path);
        Open();
        // The page size that is quickest for values so large.
        m_database->Execute(
            "PRAGMA page_size = 65536; PRAGMA journal_mode = DELETE; PRAGMA synchronous = FULL;"
            "CREATE TABLE coordinates(first INTEGER PRIMARY KEY, value BLOB)");
        m_nNodes = 0;
    }
    void Open() override {
        Close();
        m_database.emplace(m_path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    }
    void Close() override { m_database.reset(); }
    void Append(std::span<const double> values) override {
        m_database->Execute("BEGIN IMMEDIATE");
        {
            Statement insert(*m_database, "INSERT INTO coordinates VALUES(?,?)");
            while (!values.empty()) {
                const auto piece = values.first(std::min(values.size(), 3 * kPeerValueNodes));
                insert.Run(m_nNodes, std::as_bytes(piece));
                m_nNodes += static_cast<int>(piece.size() / 3);
                values = values.subspan(piece.size());
            }
        }
        m_database->Execute("COMMIT");
    }
    int NumNodes() override {
        Statement last(*m_database,
                       "SELECT first + length(value) / 24 FROM coordinates ORDER BY first DESC");
        int nNodes = 0;
        last.Ask([&] { nNodes = static_cast<int>(last.Int(0)); });
        return nNodes;
    }
    void Read(std::span<double> values) override {
        auto place = std::as_writable_bytes(values).begin();
        Statement all(*m_database, "SELECT value FROM coordinates ORDER BY first");
        while (all.Step()) {
            place = std::ranges::copy(all.Bytes(0), place).out;
        }
    }
    void Select(std::span<const int> nodes) override { m_nodes = nodes; }
    void Gather(double* values) override {
        Statement all(*m_database, "SELECT first, length(value) / 24 FROM coordinates");
        sqlite3_blob* value = nullptr;
        auto node = m_nodes.begin();
        while (node != m_nodes.end() && all.Step()) {
            const std::int64_t first = all.Int(0);
            const std::int64_t end = first + all.Int(1);
            if (*node >= end) {
                continue;
            }
            m_database->Check(value == nullptr
                                  ? sqlite3_blob_open(m_database->Handle(), "main", "coordinates",
                                                      "value", first, 0, &value)
                                  : sqlite3_blob_reopen(value, first));
            for (; node != m_nodes.end() && *node < end; ++node, values += 3) {
                constexpr int kNode = 3 * sizeof(double);
                m_database->Check(sqlite3_blob_read(value, values, kNode,
                                                    static_cast<int>(*node - first) * kNode));
            }
        }
        sqlite3_blob_close(value);
    }

  private:
    std::filesystem::path m_path;
    std::optional<Sqlite> m_database;
    int m_nNodes = 0;
    std::span<const int> m_nodes;
};

}  // namespace

std::unique_ptr<ArrayPeer> MakeHdf5Peer(const Settings& settings, bool hasChecksums) {
    return std::make_unique<Hdf5Peer>(settings, hasChecksums);
}

std::unique_ptr<ArrayPeer> MakeSqlitePeer(const Settings& settings) {
    return std::make_unique<SqliteArray>(settings);
}

ArrayPeers MakeArrayPeers(const Settings& settings, bool hasChecksums) {
    ArrayPeers peers;
    peers.push_back(MakeHdf5Peer(settings, hasChecksums));
    if (settings.withPeers) {
#ifdef ORQ_WITH_LMDB
        peers.push_back(MakeLmdbPeer(settings));
#endif
        peers.push_back(MakeSqlitePeer(settings));
    }
    return peers;
}

}  // namespace storage_benchmark
