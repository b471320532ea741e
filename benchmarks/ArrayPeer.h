// Open peers that keep the coordinates of nodes, each as its users would, behind one interface.
#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Harness.h"

namespace storage_benchmark {

// Values are three doubles a node.
class ArrayPeer {
  public:
    ArrayPeer(std::string name, std::string givesUp)
        : m_name(std::move(name)), m_givesUp(std::move(givesUp)) {}
    virtual ~ArrayPeer() = default;
    ArrayPeer(const ArrayPeer&) = delete;
    ArrayPeer& operator=(const ArrayPeer&) = delete;

    const std::string& Name() const { return m_name; }
    // What ours promises, and it does not.
    const std::string& GivesUp() const { return m_givesUp; }

    // An empty store, open; what was there is gone.
    virtual void Create() = 0;
    // A fresh handle on what is there, for reading.
    virtual void Open() = 0;
    virtual void Close() = 0;
    // Adds nodes; they are on the disk when it returns.
    virtual void Append(std::span<const double> values) = 0;
    virtual int NumNodes() = 0;
    virtual void Read(std::span<double> values) = 0;
    // Says which nodes Gather is to read; they ascend. Not timed.
    virtual void Select(std::span<const int> nodes) = 0;
    virtual void Gather(double* values) = 0;

  private:
    std::string m_name;
    std::string m_givesUp;
};

using ArrayPeers = std::vector<std::unique_ptr<ArrayPeer>>;

// HDF5, and with --peers those others that this program was built with. `hasChecksums`: of HDF5,
// the only one among them that has any.
ArrayPeers MakeArrayPeers(const Settings& settings, bool hasChecksums);

std::unique_ptr<ArrayPeer> MakeHdf5Peer(const Settings& settings, bool hasChecksums);
// Values of 1 MiB under the numbers of their first nodes; a transaction for each Append.
std::unique_ptr<ArrayPeer> MakeLmdbPeer(const Settings& settings);
// The same as blobs of one table, with a rollback journal and synchronous = FULL.
std::unique_ptr<ArrayPeer> MakeSqlitePeer(const Settings& settings);

// LMDB and SQLite: how many nodes a value has at most.
inline constexpr std::size_t kPeerValueNodes = (1 << 20) / (3 * sizeof(double));

}  // namespace storage_benchmark
