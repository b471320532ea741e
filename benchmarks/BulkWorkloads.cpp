#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <vector>

#include "AllocationPeak.h"
#include "ArrayPeer.h"
#include "BulkData.h"
#include "CoordinateDatabase.h"
#include "PlainFile.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

std::vector<double> RandomCoordinates(int nNodes) {
    std::vector<double> values(static_cast<std::size_t>(nNodes) * 3);
    std::mt19937_64 random(20240229);
    for (double& value : values) {
        value = static_cast<double>(random()) * 0x1p-60;
    }
    return values;
}

// What all bulk workloads move, and where it goes.
struct Bulk : BulkData<double> {
    explicit Bulk(const Settings& settings, bool hasPeerChecksums = false)
        : BulkData(settings, RandomCoordinates(settings.nNodes)),
          database(settings.directory / "ours.orq"),
          peers(MakeArrayPeers(settings, hasPeerChecksums)) {}

    void CheckPicked(std::span<const int> picks) const {
        for (std::size_t i = 0; i < picks.size(); ++i) {
            Require(std::memcmp(&target[i * 3], &values[static_cast<std::size_t>(picks[i]) * 3],
                                3 * sizeof(double)) == 0,
                    "what was gathered is not what was written");
        }
    }
    // All stores with all the values in them; the peers are open for reading.
    void StoreAll() const {
        CoordinateDatabase::Create(database).Append(values);
        PlainFile(plain, PlainFile::Mode::CreateEmpty).Append(Bytes());
        for (const auto& peer : peers) {
            peer->Create();
            peer->Append(values);
            peer->Open();
        }
    }
    // A contender for each peer.
    void AddPeers(std::vector<Contender>& contenders,
                  const std::function<Contender(ArrayPeer&)>& make) const {
        for (const auto& peer : peers) {
            contenders.push_back(make(*peer));
            contenders.back().name = peer->Name();
            contenders.back().givesUp = peer->GivesUp();
        }
    }

    std::filesystem::path database;
    ArrayPeers peers;
};

// All values into a fresh store, in pieces that are durable one after the other.
struct DurableWrite {
    std::string workload;
    double wantedRatio;
    std::size_t nPieces;
    std::string limitName;
    void (PlainFile::*sync)();
};

Row MeasureWrite(const Settings& settings, const DurableWrite& write) {
    Bulk bulk(settings);
    const std::size_t piece = bulk.values.size() / 3 / write.nPieces * 3;
    bulk.values.resize(piece * write.nPieces);
    bulk.target.resize(bulk.values.size());
    const auto inPieces = [&](const auto& append) {
        for (std::size_t i = 0; i < write.nPieces; ++i) {
            append(std::span<const double>(bulk.values).subspan(i * piece, piece));
        }
    };
    std::optional<CoordinateDatabase> database;
    std::unique_ptr<PlainFile> plain;
    std::vector<Contender> contenders = {
        bulk.Writing(
            "ours", [&] { database = CoordinateDatabase::Create(bulk.database); },
            [&] { inPieces([&](auto values) { database->Append(values); }); },
            [&] {
                database.reset();
                bulk.CheckStored<CoordinateDatabase>(bulk.database);
            }),
        bulk.Writing(
            write.limitName,
            [&] { plain = std::make_unique<PlainFile>(bulk.plain, PlainFile::Mode::CreateEmpty); },
            [&] {
                inPieces([&](auto values) {
                    plain->Append(std::as_bytes(values));
                    ((*plain).*write.sync)();
                });
            },
            [&] { bulk.CheckPlain(); })};
    bulk.AddPeers(contenders, [&](ArrayPeer& peer) {
        return bulk.Writing(
            {}, [&] { peer.Create(); },
            [&] { inPieces([&](auto values) { peer.Append(values); }); },
            [&] {
                bulk.ClearTarget();
                peer.Open();
                peer.Read(bulk.target);
                bulk.CheckTarget();
            });
    });
    return Measure(settings, write.workload, write.wantedRatio, contenders);
}

std::vector<Row> Write(const Settings& settings) {
    return {MeasureWrite(settings, {"write", 0.9, 1, "write+fsync", &PlainFile::SyncAll})};
}

std::vector<Row> Appends(const Settings& settings) {
    return {MeasureWrite(settings,
                         {"appends", 1.5, 100, "write+fdatasync each", &PlainFile::SyncData})};
}

std::vector<Row> ReadFirst(const Settings& settings) {
    Bulk bulk(settings, true);
    bulk.StoreAll();
    std::vector<Contender> contenders = {
        bulk.Reading("ours", [&] { CoordinateDatabase(bulk.database).Read(bulk.target); }),
        bulk.ReadingFreshMap()};
    bulk.AddPeers(contenders, [&](ArrayPeer& peer) {
        return bulk.Reading({}, [&] {
            peer.Open();
            peer.Read(bulk.target);
        });
    });
    return {Measure(settings, "read-first", 1.2, contenders)};
}

std::vector<Row> ReadAgain(const Settings& settings) {
    Bulk bulk(settings);
    bulk.StoreAll();
    const CoordinateDatabase database(bulk.database);
    const MappedFile mapped(bulk.plain);
    database.Read(bulk.target);
    bulk.CopyFrom(mapped);
    std::vector<Contender> contenders = {
        bulk.Reading("ours", [&] { database.Read(bulk.target); }), bulk.ReadingFreshMap(),
        bulk.Reading("touched map", [&] { bulk.CopyFrom(mapped); })};
    bulk.AddPeers(contenders, [&](ArrayPeer& peer) {
        peer.Read(bulk.target);
        return bulk.Reading({}, [&] { peer.Read(bulk.target); });
    });
    return {Measure(settings, "read-again", 1.15, contenders)};
}

// Every node with the same chance; ascending.
std::vector<int> PickNodes(int nNodes, double share) {
    std::vector<int> picks;
    std::mt19937_64 random(19960401);
    std::bernoulli_distribution isPicked(share);
    for (int node = 0; node < nNodes; ++node) {
        if (isPicked(random)) {
            picks.push_back(node);
        }
    }
    return picks;
}

struct Gathering : Bulk {
    Gathering(const Settings& settings, double share)
        : Bulk(settings), picks(PickNodes(settings.nNodes, share)) {
        StoreAll();
    }
    Contender Picking(const std::string& name, std::function<void()> run) {
        return {name, [this] { ClearTarget(); }, std::move(run), [this] { CheckPicked(picks); }};
    }

    std::vector<int> picks;
};

Row Gather(const Settings& settings, const std::string& name, double share, double wantedRatio) {
    Gathering data(settings, share);
    const CoordinateDatabase database(data.database);
    const MappedFile mapped(data.plain);
    const ORQSimCSet picked = database.Pick(data.picks);
    database.Read(data.target);
    data.CopyFrom(mapped);
    std::vector<Contender> contenders = {
        data.Picking("ours", [&] { database.Read(picked, data.target.data()); }),
        data.Picking("same out of a map", [&] { mapped.Gather(data.picks, data.target.data()); })};
    data.AddPeers(contenders, [&](ArrayPeer& peer) {
        peer.Select(data.picks);
        return data.Picking({}, [&] { peer.Gather(data.target.data()); });
    });
    return Measure(settings, name, wantedRatio, contenders);
}

std::vector<Row> GatherFirstTouch(const Settings& settings) {
    Gathering data(settings, 0.01);
    std::optional<CoordinateDatabase> database;
    ORQSimCSet picked;
    std::uint64_t hash = 0;
    Contender ours = data.Picking("ours", [&] { database->Read(picked, data.target.data()); });
    ours.prepare = [&] {
        data.ClearTarget();
        database.emplace(data.database);
        picked = database->Pick(data.picks);
    };
    const std::uint64_t expected = MappedFile(data.plain).HashTouched(data.picks);
    std::vector<Contender> contenders = {
        ours,
        data.Picking("gather, fresh map",
                     [&] { MappedFile(data.plain).Gather(data.picks, data.target.data()); }),
        data.Picking("hash of touched blocks and gather, fresh map", [&] {
            const MappedFile mapped(data.plain);
            hash = mapped.HashTouched(data.picks);
            mapped.Gather(data.picks, data.target.data());
            Require(hash == expected, "the hash differs");
        })};
    data.AddPeers(contenders, [&](ArrayPeer& peer) {
        Contender gathering = data.Picking({}, [&] { peer.Gather(data.target.data()); });
        gathering.prepare = [&] {
            data.ClearTarget();
            peer.Open();
            peer.Select(data.picks);
        };
        return gathering;
    });
    return {Measure(settings, "gather-1%-first-touch", 3.0, contenders)};
}

// What checksums take of a durable write, those of the catalogue's pages too; and what a read of
// blocks that are verified takes beyond copying them, their bookkeeping and all else.
std::vector<Row> Checksums(const Settings& settings) {
    Bulk bulk(settings);
    bulk.StoreAll();
    std::vector<char> catalogue(std::filesystem::file_size(bulk.database / "catalogue.sqlite"));
    std::ifstream(bulk.database / "catalogue.sqlite", std::ios::binary)
        .read(catalogue.data(), std::ssize(catalogue));
    const auto hash = [&] {
        return HashBlocks(bulk.Bytes()) ^ HashBlocks(std::as_bytes(std::span(catalogue)));
    };
    const std::uint64_t expected = hash();
    std::uint64_t found = 0;
    std::optional<CoordinateDatabase> database;
    std::vector<Row> rows = {
        Measure(settings, "checksums-write", 0.25,
                {{.name = "hash of blocks and pages",
                  .run = [&] { found = hash(); },
                  .check = [&] { Require(found == expected, "the hash differs"); }},
                 bulk.Writing(
                     "durable write", [&] { database = CoordinateDatabase::Create(bulk.database); },
                     [&] { database->Append(bulk.values); },
                     [&] {
                         database.reset();
                         bulk.CheckStored<CoordinateDatabase>(bulk.database);
                     })})};
    const MappedFile mapped(bulk.plain);
    database.emplace(bulk.database);
    database->Read(bulk.target);
    bulk.CopyFrom(mapped);
    rows.push_back(Measure(settings, "checksums-read-again", 1.02,
                           {bulk.Reading("ours", [&] { database->Read(bulk.target); }),
                            bulk.Reading("touched map", [&] { bulk.CopyFrom(mapped); })}));
    return rows;
}

std::vector<Row> OpenAndCount(const Settings& settings) {
    constexpr int kFewNodes = 1000;
    Bulk bulk(settings);
    bulk.StoreAll();
    const std::filesystem::path small = settings.directory / "small.orq";
    CoordinateDatabase::Create(small).Append(std::span(bulk.values).first(kFewNodes * 3));
    const auto count = [&](const std::filesystem::path& path, int expected) {
        Require(CoordinateDatabase(path).NumNodes() == expected, "the number of nodes is wrong");
    };
    std::vector<Contender> contenders = {
        {.name = "ours", .run = [&] { count(bulk.database, settings.nNodes); }},
        {.name = "ours, 1000 nodes", .run = [&] { count(small, kFewNodes); }},
        {.name = "ours, creating an empty model",
         .prepare = [&] { std::filesystem::remove_all(small.string() + ".empty"); },
         .run = [&] { CoordinateDatabase::Create(small.string() + ".empty"); }}};
    bulk.AddPeers(contenders, [&](ArrayPeer& peer) {
        return Contender{.name = {}, .run = [&] {
                             peer.Open();
                             Require(peer.NumNodes() == settings.nNodes,
                                     "the number of nodes is wrong");
                         }};
    });
    return {Measure(settings, "open", 1.0, contenders)};
}

std::vector<Row> Memory(const Settings& settings) {
    constexpr double kAllowed = 16;
    Bulk bulk(settings);
    const double writes =
        PeakMebibytes([&] { CoordinateDatabase::Create(bulk.database).Append(bulk.values); });
    const auto& hdf5 = bulk.peers.front();
    hdf5->Create();
    const double hdf5Writes = PeakMebibytes([&] { hdf5->Append(bulk.values); });
    const double reads =
        PeakMebibytes([&] { bulk.CheckStored<CoordinateDatabase>(bulk.database); });
    const double hdf5Reads = PeakMebibytes([&] {
        hdf5->Open();
        hdf5->Read(bulk.target);
    });
    return {{"memory-write", "MiB", {writes}, "allowed", {kAllowed}, 1.0, {{"HDF5", {hdf5Writes}}}},
            {"memory-read", "MiB", {reads}, "allowed", {kAllowed}, 1.0, {{"HDF5", {hdf5Reads}}}}};
}

}  // namespace

std::vector<Workload> BulkWorkloads() {
    return {{"write", Write},
            {"read-first", ReadFirst},
            {"read-again", ReadAgain},
            {"gather-1%",
             [](const Settings& settings) -> std::vector<Row> {
                 return {Gather(settings, "gather-1%", 0.01, 1.5)};
             }},
            {"gather-30%",
             [](const Settings& settings) -> std::vector<Row> {
                 return {Gather(settings, "gather-30%", 0.3, 1.3)};
             }},
            {"gather-1%-first-touch", GatherFirstTouch},
            {"appends", Appends},
            {"checksums", Checksums},
            {"open", OpenAndCount},
            {"memory", Memory}};
}

}  // namespace storage_benchmark
