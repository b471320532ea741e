// Coordinates read through scattered sets, held against a plain array.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "NewDatabase.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"
#include "ORQSrvNodalCoordinates.h"

namespace {

constexpr int kChunkNodes = 3000;  // more than one block of checksums in a chunk
constexpr int kBatch = 4700;       // ends in the middle of chunks
constexpr int kBatches = 4;
constexpr int kUnwritten = 100;  // nodes behind them that have no coordinates

double CoordinateOf(int node, int component) {
    return node + 0.25 * component;
}

class ScatteredCoordinates : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        m_path = testing::TempDir() + "scattered_coordinates-" + std::to_string(getpid()) + ".orq";
        std::filesystem::remove_all(m_path);
        m_database = GetParam() ? NewDatabase() : ORQSimDatabase::Create(m_path);
        for (int batch = 0; batch < kBatches; ++batch) {
            Append(batch * kBatch);
        }
        ORQSimTransaction transaction(m_database.ContextID());
        ORQObjModelBuilder(m_database).AddNodes(kUnwritten);
        transaction.Commit();
        if (!GetParam()) {
            m_database.Close();
            m_database = ORQSimDatabase::Open(m_path, ORQSimDatabase::Mode::ReadOnly);
        }
    }
    void TearDown() override {
        EXPECT_TRUE(m_database.Verify().empty());
        m_database.Close();
        std::filesystem::remove_all(m_path);
    }

    void Append(int first) {
        ORQSimTransaction transaction(m_database.ContextID());
        const ORQObjModelBuilder builder(m_database);
        std::vector<double> values;
        for (int node = first; node < first + kBatch; ++node) {
            for (int component = 1; component <= 3; ++component) {
                values.push_back(CoordinateOf(node, component));
            }
        }
        ORQSrvNodalCoordinates(builder.Coordinates(), kChunkNodes)
            .Append(transaction, builder.AddNodes(kBatch), builder.SpatialDirections(3),
                    values.data());
        transaction.Commit();
    }

    std::string m_path;
    ORQSimDatabase m_database;
};

TEST_P(ScatteredCoordinates, ReadAsThoseOfAPlainArray) {
    const ORQObjDocument document(m_database);
    const ORQSrvNodalCoordinates coordinates(ORQObjMesh(document.GetMesh()).GetCoordinates(),
                                             kChunkNodes);
    const ORQSimCollection nodes(coordinates.Nodes().CollectionID());
    const std::vector<std::vector<int>> componentSets = {{1, 2, 3}, {2}, {1, 3}};
    std::mt19937 random(11);
    // Few, many, and sets that are mostly runs: the gaps between members come in both lengths.
    for (const double gapShare : {0.99, 0.7, 0.02}) {
        for (const std::vector<int>& components : componentSets) {
            std::vector<int> picks;
            std::bernoulli_distribution isGap(gapShare);
            for (int node = 0; node < kBatches * kBatch + kUnwritten; ++node) {
                if (!isGap(random)) {
                    picks.push_back(node);
                }
            }
            const ORQSimCSet componentSet =
                ORQSimCollection(coordinates.Components().CollectionID())
                    .CreateVolatileCSet(components.data(), static_cast<int>(components.size()),
                                        true);
            std::vector<double> expected;
            for (const int node : picks) {
                for (const int component : components) {
                    const bool isWritten = node < kBatches * kBatch;
                    expected.push_back(isWritten ? CoordinateOf(node, component) : 0.0);
                }
            }
            std::vector<double> read(expected.size(), -1.0);
            coordinates.Read(
                nodes.CreateVolatileCSet(picks.data(), static_cast<int>(picks.size()), true),
                componentSet, read.data());
            EXPECT_EQ(read, expected)
                << picks.size() << " nodes, " << components.size() << " components";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(InMemoryAndOnDisk, ScatteredCoordinates, testing::Bool());

}  // namespace
