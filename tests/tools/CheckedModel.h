#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"

namespace orqmodel {

/// Two shells with a symmetric and balanced layup, and a set of each of them.
inline constexpr const char* kPlate = R"(SOL 101
CEND
SET 5 = 1,2
BEGIN BULK
GRID,1,,0.,0.,0.
GRID,2,,1.,0.,0.
GRID,3,,2.,0.,0.
GRID,4,,0.,1.,0.
GRID,5,,1.,1.,0.
GRID,6,,2.,1.,0.
CQUAD4,1,1,1,2,5,4
CQUAD4,2,1,2,3,6,5
PCOMP,1
,1,0.1,45.,YES,1,0.1,-45.,YES
,1,0.1,-45.,YES,1,0.1,45.,YES
MAT8,1,140.+9,10.+9,.3,5.+9
ENDDATA
)";

/// Four nodes, two triangles, and results at two times.
inline constexpr const char* kMembrane = R"($MeshFormat
2.2 0 8
$EndMeshFormat
$PhysicalNames
2
2 1 "left"
2 2 "right"
$EndPhysicalNames
$Nodes
4
1 0 0 0
2 1 0 0
3 0 1 0
4 1 1 0
$EndNodes
$Elements
2
1 2 2 1 1 1 2 3
2 2 2 2 1 2 4 3
$EndElements
$NodeData
1
"heat"
1
0.5
3
0
1
4
1 10
2 20
3 30
4 40
$EndNodeData
$NodeData
1
"heat"
1
1.5
3
1
1
4
1 11
2 21
3 31
4 41
$EndNodeData
)";

using Change = std::function<void(const ORQObjDocument&)>;

/// Rule, object and members, for example `ELM001 block "plate" 1 2`.
inline std::string TextOf(const nlohmann::json& finding) {
    std::string text = finding["rule"];
    if (!finding["object"].is_null()) {
        text += " " + finding["object"].get<std::string>();
    }
    for (const nlohmann::json& member : finding["members"]) {
        text += " " + std::to_string(member["label"].get<int>());
    }
    return text;
}

/// The last element lacks a node.
inline void BreakConnectivity(const ORQObjDocument& document) {
    const ORQSimDistribution rows(
        ORQObjMesh(document.GetMesh()).GetConnectivity().DSet().GetRelationalDistributionID());
    const ORQSimDrawerDescription drawer = rows.QueryDrawers().Get(0);
    const ORQSimCSet elements(drawer.CSet(0));
    const int node = -1;
    ORQSimTransfer(rows)
        .SetWrite()
        .SetDrawer(drawer.DrawerID())
        .SetDim(0, ORQSimCollection(rows.Grid().Collection(0))
                       .CreateTempCSetStrided(elements[elements.Size() - 1], 1, 1, 1))
        .SetDim(1, ORQSimCollection(rows.Grid().Collection(1)).CreateTempCSetStrided(0, 1, 1, 1))
        .SetBuffer(ORQSimbufMain, &node, sizeof node)
        .ExecWrite();
}

/// A model that is made of a text, and what the check command finds in it.
class CheckedModelTest : public testing::Test {
  protected:
    /// A model of a text.
    void Import(const std::string& ending, const std::string& text,
                const Change& change = nullptr) {
        PutBytes(m_folder / ("model" + ending), text);
        std::filesystem::remove_all(m_model);
        const CommandResult result =
            RunHere({"import", m_folder / ("model" + ending), "-o", m_model});
        ASSERT_THAT(result.status, testing::AnyOf(0, 1)) << result.err;
        if (change) {
            ChangeModel(change);
        }
    }

    void ChangeModel(const Change& change) const {
        const ORQSimDatabase database =
            ORQSimDatabase::Open(ModelAt(m_model), ORQSimDatabase::Mode::ReadWrite);
        ORQSimTransaction transaction(database.ContextID());
        change(ORQObjDocument(database));
        transaction.Commit();
    }

    nlohmann::json Report(Arguments options = {}) const {
        Arguments arguments = {"check", m_model, "--json"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return nlohmann::json::parse(RunHere(arguments).out);
    }

    /// What is found, as texts.
    std::vector<std::string> FoundOf(Arguments options) const {
        std::vector<std::string> found;
        const nlohmann::json report = Report(std::move(options));
        for (const nlohmann::json& finding : report["findings"]) {
            found.push_back(TextOf(finding));
        }
        return found;
    }

    exodus_file::ScratchFolder m_folder;
    std::string m_model = (m_folder / "model.orq").string();
};

}  // namespace orqmodel
