// The tributary areas of surfaces, which are gathered while a mesh passes by in chunks.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "ExodusFile.h"
#include "NewDatabase.h"
#include "ORQExcMeshWriter.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "formats/exodus/ExodusReader.h"

namespace {

using testing::ElementsAre;

/// Two boxes side by side with lids of 2 x 3 and 1 x 3 units, and a shell over the first one's end
/// wall. The front of the first box and the face of the shell are both side 1 of their elements.
exodus_file::Content BoxesAndShell() {
    exodus_file::Content content;
    content.x = content.y = content.z = {};
    content.labels = {};
    for (int node = 0; node < 12; ++node) {
        content.x.push_back(std::array{0.0, 2.0, 3.0}[static_cast<std::size_t>(node % 3)]);
        content.y.push_back(node / 3 % 2 * 3.0);
        content.z.push_back(node / 6);
    }
    exodus_file::BlockContent& boxes = content.blocks.emplace_back();
    boxes.shape = "HEX8";
    boxes.width = 8;
    boxes.nodes = {1, 2, 5, 4, 7, 8, 11, 10, 2, 3, 6, 5, 8, 9, 12, 11};
    exodus_file::BlockContent& shell = content.blocks.emplace_back();
    shell.id = 2;
    shell.shape = "SHELL4";
    shell.nodes = {1, 4, 10, 7};
    content.sideSets = {
        {1, "LIDS", {1, 2}, {6, 6}}, {2, "WALL", {1}, {4}}, {3, "CORNER", {3, 1}, {1, 1}}};
    return content;
}

ORQSimDatabase Import(const std::filesystem::path& file, int nodesPerChunk, int elementsPerChunk) {
    ORQSimDatabase database = NewDatabase();
    orq::exchange::ExodusReader reader(file);
    ORQExcReport report;
    ORQSimTransaction transaction(database.ContextID());
    ORQExcWriteMesh(reader, database, transaction, {nodesPerChunk, elementsPerChunk, [](double) {}},
                    report);
    transaction.Commit();
    return database;
}

std::vector<double> AreasIn(const ORQSimDatabase& database) {
    const ORQSimDistribution areas(
        ORQObjMesh(ORQObjDocument(database).GetMesh()).GetSurfaceNodalAreas().GetDistribution());
    const ORQSimDrawerDescription drawer = areas.QueryDrawers().ConstGet(0);
    std::vector<double> read(
        static_cast<std::size_t>(drawer.DataSizeItems(0) * drawer.DataSizeItems(1)), 0.0);
    ORQSimTransfer(areas)
        .SetRead()
        .SetDim(0, drawer.CSet(0))
        .SetDim(1, drawer.CSet(1))
        .SetBuffer(ORQSimbufMain, read.data(), std::ssize(read) * 8)
        .ExecRead();
    return read;
}

TEST(SurfaceAreas, AreSharedAmongTheNodesOfAFaceHoweverTheMeshIsCut) {
    const exodus_file::ScratchFolder folder;
    exodus_file::Write(BoxesAndShell(), folder / "boxes.e");
    for (const auto& [nodes, elements] : {std::pair(100, 100), {1, 1}, {5, 2}}) {
        SCOPED_TRACE(std::to_string(nodes) + " nodes, " + std::to_string(elements) + " elements");
        EXPECT_THAT(AreasIn(Import(folder / "boxes.e", nodes, elements)),
                    // nodes  0  1  3  6  7  8  9  10  11
                    ElementsAre(0, 0, 0, 1.5, 2.25, 0.75, 1.5, 2.25, 0.75,  //
                                0.75, 0, 0.75, 0.75, 0, 0, 0.75, 0, 0,      //
                                1.25, 0.5, 0.75, 1.25, 0.5, 0, 0.75, 0, 0));
    }
}

}  // namespace
