// The elements at a node, by the command and by the model.

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <random>
#include <tuple>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "NewDatabase.h"
#include "ORQExcModel.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"
#include "ORQSrvElementConnectivity.h"
#include "ORQSrvInverseConnectivity.h"
#include "SampleMeshes.h"

namespace orqmodel {
namespace {

using exodus_file::ScratchFolder;
using nlohmann::json;

TEST(Adjacency, NamesElementsPlacesAndBlocks) {
    const ScratchFolder folder;
    const std::string model = folder / "m.orq";
    PutBytes(folder / "mesh.msh", kTwoTriangles);
    ASSERT_EQ(RunHere({"import", (folder / "mesh.msh").string(), "-o", model}).status, 0);
    const auto found =
        json::parse(RunHere({"adjacency", model, "--node", "20", "--json"}).out)["elements"];
    ASSERT_EQ(found.size(), 3);
    EXPECT_EQ(found[0], json::parse(R"({"label": 7, "instance": "PART-1", "place": 2,
        "type": "TRI3", "block": "all of it"})"));
    EXPECT_EQ(found[1]["label"], 9);
    EXPECT_EQ(found[1]["place"], 1);
    EXPECT_EQ(found[2]["block"], "curve 5 BAR2");
    EXPECT_EQ(RunHere({"adjacency", model, "--node", "21"}).status, 1);
}

TEST(Adjacency, UsesOfANodeAreThoseOfTheInverseConnectivity) {
    constexpr int kElements = 250000;  // more than are looked through at once
    constexpr int kNodes = 1000;
    const ORQSimDatabase database = NewDatabase();
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjModelBuilder builder(database);
    builder.AddNodes(kNodes);
    const ORQSimCollection elements(ORQSimCSet(builder.AddElements(kElements)).CollectionID());
    ORQSrvElementConnectivity connectivity(builder.Connectivity(), 70000);
    std::mt19937 random(17);
    for (const auto& [name, width, takesThirds] :
         {std::tuple{"BAR2", 2, false}, {"TRI3", 3, true}}) {
        // Two thirds are bars, one third triangles, appended from the last to the first.
        std::vector<int> members;
        std::vector<int> nodes;
        for (int element = kElements - 1; element >= 0; --element) {
            if ((element % 3 == 0) == takesThirds) {
                members.push_back(element);
                std::generate_n(std::back_inserter(nodes), width,
                                [&] { return static_cast<int>(random() % (kNodes - 1)); });
            }
        }
        connectivity.Append(
            transaction, builder.AddElementSpec(name).ID(),
            elements.CreateTempOrderedCSet(members.data(), static_cast<int>(members.size())),
            builder.NodePlaces(width), nodes.data());
    }
    ORQSrvInverseConnectivity inverse(builder.Mesh());
    inverse.Invert();
    const ORQExcModel reader(builder.Document());
    for (const int node : {0, 1, 500, kNodes - 2, kNodes - 1}) {
        std::vector<ORQExcModel::Use> expected;
        for (int i = inverse.m_offsets[node]; i < inverse.m_offsets[node + 1]; ++i) {
            expected.push_back({static_cast<int>(inverse.m_entries[i] & 0x1FFFFFF),
                                static_cast<int>(inverse.m_entries[i] >> 25)});
        }
        EXPECT_EQ(expected.empty(), node == kNodes - 1);
        EXPECT_TRUE(reader.UsesOf(node) == expected) << node;
    }
}

}  // namespace
}  // namespace orqmodel
