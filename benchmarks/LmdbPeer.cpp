#include <lmdb.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "ArrayPeer.h"

namespace storage_benchmark {

namespace {

void Check(int code) {
    Require(code == MDB_SUCCESS, std::string("LMDB: ") + mdb_strerror(code));
}

class LmdbArray final : public ArrayPeer {
  public:
    explicit LmdbArray(const Settings& settings)
        : ArrayPeer("LMDB", "no checksums"),
          m_path(settings.directory / "peer.lmdb"),
          m_mapSize(std::size_t{4} * static_cast<std::size_t>(settings.nNodes) * kNodeBytes +
                    (std::size_t{64} << 20)) {}
    ~LmdbArray() override { LmdbArray::Close(); }

    void Create() override {
        Close();
        std::filesystem::remove(m_path);
        std::filesystem::remove(m_path.string() + "-lock");
        OpenFile(0);
        MDB_txn* transaction = Begin(0);
        Check(mdb_dbi_open(transaction, nullptr, MDB_INTEGERKEY, &m_table));
        Check(mdb_txn_commit(transaction));
        m_nNodes = 0;
    }
    void Open() override {
        Close();
        OpenFile(MDB_RDONLY);
        m_reading = Begin(MDB_RDONLY);
        Check(mdb_dbi_open(m_reading, nullptr, MDB_INTEGERKEY, &m_table));
    }
    void Close() override {
        if (m_reading != nullptr) {
            mdb_txn_abort(m_reading);
            m_reading = nullptr;
        }
        if (m_file != nullptr) {
            mdb_env_close(m_file);
            m_file = nullptr;
        }
    }
    void Append(std::span<const double> values) override {
        MDB_txn* transaction = Begin(0);
        while (!values.empty()) {
            const auto piece = values.first(std::min(values.size(), 3 * kPeerValueNodes));
            MDB_val key{sizeof m_nNodes, &m_nNodes};
            MDB_val value{piece.size_bytes(), const_cast<double*>(piece.data())};
            Check(mdb_put(transaction, m_table, &key, &value, MDB_APPEND));
            m_nNodes += static_cast<unsigned>(piece.size() / 3);
            values = values.subspan(piece.size());
        }
        Check(mdb_txn_commit(transaction));
    }
    int NumNodes() override {
        int nNodes = 0;
        ForEach(MDB_LAST, [&](unsigned first, std::span<const std::byte> bytes) {
            nNodes = static_cast<int>(first + bytes.size() / kNodeBytes);
        });
        return nNodes;
    }
    void Read(std::span<double> values) override {
        auto* place = reinterpret_cast<std::byte*>(values.data());
        ForEach(MDB_FIRST, [&](unsigned, std::span<const std::byte> bytes) {
            std::memcpy(place, bytes.data(), bytes.size());
            place += bytes.size();
        });
    }
    void Select(std::span<const int> nodes) override { m_nodes = nodes; }
    void Gather(double* values) override {
        auto node = m_nodes.begin();
        ForEach(MDB_FIRST, [&](unsigned first, std::span<const std::byte> bytes) {
            const std::size_t end = first + bytes.size() / kNodeBytes;
            for (; node != m_nodes.end() && static_cast<unsigned>(*node) < end; ++node) {
                std::memcpy(values,
                            bytes.data() + (static_cast<unsigned>(*node) - first) * kNodeBytes,
                            kNodeBytes);
                values += 3;
            }
        });
    }

  private:
    static constexpr std::size_t kNodeBytes = 3 * sizeof(double);

    void OpenFile(unsigned flags) {
        Check(mdb_env_create(&m_file));
        Check(mdb_env_set_mapsize(m_file, m_mapSize));
        Check(mdb_env_open(m_file, m_path.c_str(), flags | MDB_NOSUBDIR, 0666));
    }
    MDB_txn* Begin(unsigned flags) {
        MDB_txn* transaction = nullptr;
        Check(mdb_txn_begin(m_file, nullptr, flags, &transaction));
        return transaction;
    }
    // The value at one end, and those behind it.
    template <class F>
    void ForEach(MDB_cursor_op from, F&& f) {
        MDB_cursor* cursor = nullptr;
        Check(mdb_cursor_open(m_reading, m_table, &cursor));
        MDB_val key{};
        MDB_val value{};
        for (int code = mdb_cursor_get(cursor, &key, &value, from); code != MDB_NOTFOUND;
             code = mdb_cursor_get(cursor, &key, &value, MDB_NEXT)) {
            Check(code);
            unsigned first = 0;
            std::memcpy(&first, key.mv_data, sizeof first);
            f(first, {static_cast<const std::byte*>(value.mv_data), value.mv_size});
        }
        mdb_cursor_close(cursor);
    }

    std::filesystem::path m_path;
    std::size_t m_mapSize;
    MDB_env* m_file = nullptr;
    MDB_txn* m_reading = nullptr;
    MDB_dbi m_table = 0;
    unsigned m_nNodes = 0;
    std::span<const int> m_nodes;
};

}  // namespace

std::unique_ptr<ArrayPeer> MakeLmdbPeer(const Settings& settings) {
    return std::make_unique<LmdbArray>(settings);
}

}  // namespace storage_benchmark
