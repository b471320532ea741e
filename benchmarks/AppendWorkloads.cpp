#include <algorithm>
#include <numeric>
#include <optional>
#include <random>
#include <span>
#include <vector>

#include "AllocationPeak.h"
#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"
#include "ORQSrvNodalCoordinates.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

constexpr int kAppends = 400;
constexpr int kNodesPerChunk = 100000;

// Coordinates of all nodes of a model, given through the service in so many appends of one
// transaction, as an analysis gives them that visits its nodes by part or by region.
class Appending {
  public:
    Appending(const Settings& settings, bool isScattered)
        : m_path(settings.directory / (isScattered ? "scattered.orq" : "contiguous.orq")),
          m_perAppend(std::max(2, settings.nNodes / 8 / kAppends)),
          m_order(static_cast<std::size_t>(m_perAppend) * kAppends) {
        std::iota(m_order.begin(), m_order.end(), 0);
        if (isScattered) {
            std::shuffle(m_order.begin(), m_order.end(), std::mt19937_64(20000101));
            for (int i = 0; i < kAppends; ++i) {
                std::ranges::sort(NodesOf(i));
            }
        }
    }

    void Prepare() {
        m_coordinates.reset();
        m_transaction.reset();
        m_database.Close();
        std::filesystem::remove_all(m_path);
        m_database = ORQSimDatabase::Create(m_path.string());
        m_transaction.emplace(m_database.ContextID());
        const ORQObjModelBuilder builder(m_database);
        builder.AddNodes(static_cast<int>(m_order.size()));
        m_directions = builder.SpatialDirections(3);
        m_coordinates.emplace(builder.Coordinates(), kNodesPerChunk);
    }

    void Run(int first, int count) {
        const ORQSimCollection nodes(
            ORQObjMesh(ORQObjDocument(m_database).GetMesh()).GetNodeCollection().GetCollection());
        std::vector<double> values(static_cast<std::size_t>(m_perAppend) * 3);
        for (int i = first; i < first + count; ++i) {
            const std::span<int> members = NodesOf(i);
            for (std::size_t k = 0; k < members.size(); ++k) {
                std::fill_n(values.begin() + static_cast<std::ptrdiff_t>(3 * k), 3, members[k]);
            }
            m_coordinates->Append(*m_transaction,
                                  nodes.CreateTempCSet(members.data(), m_perAppend, true),
                                  m_directions, values.data());
        }
    }

    void Check() {
        m_transaction->Commit();
        std::vector<double> values(m_order.size() * 3);
        const ORQSimCSet nodes = m_coordinates->Nodes();
        Require(nodes.Size() == static_cast<int>(m_order.size()), "nodes are missing");
        m_coordinates->Read(nodes, m_coordinates->Components(), values.data());
        for (std::size_t i = 0; i < values.size(); ++i) {
            Require(values[i] == static_cast<double>(i / 3), "a coordinate is wrong");
        }
    }

  private:
    std::span<int> NodesOf(int append) {
        return std::span(m_order).subspan(
            static_cast<std::size_t>(append) * static_cast<std::size_t>(m_perAppend),
            static_cast<std::size_t>(m_perAppend));
    }

    std::filesystem::path m_path;
    int m_perAppend;
    std::vector<int> m_order;
    ORQSimDatabase m_database;
    std::optional<ORQSimTransaction> m_transaction;
    ORQSimCSetID m_directions;
    std::optional<ORQSrvNodalCoordinates> m_coordinates;
};

Contender Part(const std::string& name, Appending& appending, int first, int count) {
    return {.name = name,
            .prepare =
                [&appending, first] {
                    appending.Prepare();
                    appending.Run(0, first);
                },
            .run = [&appending, first, count] { appending.Run(first, count); },
            .check =
                [&appending, first, count] {
                    appending.Run(first + count, kAppends - first - count);
                    appending.Check();
                }};
}

std::vector<Row> ScatteredAppends(const Settings& settings) {
    constexpr int kTen = 10;
    Appending scattered(settings, true);
    Appending contiguous(settings, false);
    std::vector<Row> rows = {Measure(settings, "append-scattered", 3.0,
                                     {Part("ours", scattered, 0, kAppends),
                                      Part("contiguous nodes", contiguous, 0, kAppends)}),
                             Measure(settings, "append-scattered-last", 1.5,
                                     {Part("the last ten", scattered, kAppends - kTen, kTen),
                                      Part("the tenth and nine more", scattered, kTen - 1, kTen)})};
    scattered.Prepare();
    const double peak = PeakMebibytes([&] { scattered.Run(0, kAppends); });
    scattered.Check();
    rows.push_back({"append-scattered-memory", "MiB", {peak}, "allowed", {32}, 1.0, {}});
    return rows;
}

}  // namespace

std::vector<Workload> AppendWorkloads() {
    return {{"append-scattered", ScatteredAppends}};
}

}  // namespace storage_benchmark
