// What a model holds, as info and list tell it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "commands/CommandLine.h"

namespace {

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class InventoryTest : public testing::Test {
  protected:
    InventoryTest() {
        EXPECT_EQ(
            RunHere({"import", ORQ_WING_BOX, "--layup", ORQ_WING_BOX_LAYUP, "-o", m_model}).status,
            0);
    }
    json List(const std::string& kind, const Arguments& more = {}) const {
        Arguments arguments = {"list", kind, m_model, "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return json::parse(RunHere(arguments).out)["objects"];
    }

    ScratchFolder m_folder;
    std::string m_model = ModelAt(m_folder / "wing.orq");
};

TEST_F(InventoryTest, InfoSaysWhatTheAnalystCallsTheModel) {
    const json info = json::parse(RunHere({"info", m_model, "--json"}).out);
    EXPECT_EQ(info["nodes"], 3265);
    EXPECT_EQ(info["elements"], 3432);
    EXPECT_DOUBLE_EQ(info["bounding_box"]["highest"][1], 7.2);
    EXPECT_EQ(info["instances"][0]["node_labels"],
              json::parse(R"({"count": 3265, "lowest": 1000, "highest": 65616})"));
    EXPECT_EQ(info["blocks"][0],
              json::parse(R"({"name": "skin_upper", "number": 10, "shape": "SHELL4",
                              "elements": 824, "sections": ["skin upper"]})"));
    EXPECT_EQ(info["sets"][0], json::parse(R"({"name": "root_clamp", "of": "nodes", "number": 100,
                              "members": 119})"));
    EXPECT_EQ(info["surfaces"][2]["faces"], 44);
    EXPECT_EQ(info["sections"][1]["layers"], 10);
    EXPECT_EQ(info["sections"][0]["elements"], 848);
    EXPECT_EQ(info["materials"].size(), 3U);
    EXPECT_EQ(info["orientations"].size(), 2U);
    EXPECT_EQ(info["steps"], json::array());
    EXPECT_THAT(RunHere({"info", m_model}).out, Not(HasSubstr("Mesh_nodes")));
    EXPECT_THAT(RunHere({"info", m_model, "--storage"}).out, HasSubstr("Mesh_nodes"));
}

TEST_F(InventoryTest, InfoFitsTheTerminal) {
    for (const auto& [width, height] : {std::pair(60, 40), std::pair(100, 45), std::pair(50, 60)}) {
        std::ostringstream out;
        std::ostringstream err;
        orqmodel::Console console{out, err, false};
        console.width = width;
        console.height = height;
        ASSERT_EQ(orqmodel::RunCommandLine({"info", "-q", m_model}, console), 0) << err.str();
        std::istringstream lines(out.str());
        int nLines = 0;
        bool isInTables = false;
        for (std::string line; std::getline(lines, line); ++nLines) {
            isInTables = isInTables || line.empty();
            const auto nCharacters = std::ranges::count_if(
                line, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
            if (isInTables && !line.starts_with("  and ")) {
                EXPECT_LE(nCharacters, width) << line;
            }
        }
        EXPECT_LE(nLines, height) << out.str();
        EXPECT_THAT(out.str(), HasSubstr("no steps, fields"));
    }
}

TEST_F(InventoryTest, ListFindsNamesByPatternsAndParts) {
    const auto names = [&](const std::string& kind, const std::string& pattern) {
        std::string text;
        for (const json& object : List(kind, {pattern})) {
            text += object["name"].get<std::string>() + ";";
        }
        return text;
    };
    EXPECT_EQ(names("blocks", "*_tri"), "skin_upper_tri;skin_lower_tri;ribs_tri;");
    EXPECT_EQ(names("blocks", "SPAR"), "spar_front;spar_rear;");
    EXPECT_EQ(names("sets", "?oot*"), "root_clamp;");
    EXPECT_EQ(names("orientations", "span"), "along the span;");

    struct Case {
        Arguments arguments;
        int status;
        const char* error;
    };
    const Case cases[] = {
        {{"list", "blocs", m_model}, 2, "is it blocks?"},
        {{"list", "blocks", m_model, "spar_frnt"},
         1,
         "among 9 blocks nothing matches spar_frnt; is it spar_front"},
        {{"list", "blocks", m_folder / "none.orq"}, 3, "none.orq"},
        {{"list", "steps", m_model, "x"}, 1, "among 0 steps nothing matches x"},
        {{"list", "steps", m_model}, 0, ""},
    };
    for (const auto& [arguments, status, error] : cases) {
        const CommandResult result = RunHere(arguments);
        EXPECT_EQ(result.status, status) << error;
        EXPECT_THAT(result.err, HasSubstr(error));
    }
    EXPECT_EQ(RunHere({"list", "steps", m_model}).out, "no steps\n");
}

/// Holds the lists of real models against facts that another reader found.
class InventoryOfRealModels : public testing::TestWithParam<const char*> {};

TEST_P(InventoryOfRealModels, AgreesWithTheFacts) {
    const fs::path folder(ORQ_SHARED_MODELS);
    if (!fs::exists(folder / GetParam())) {
        GTEST_SKIP() << "there is no " << folder / GetParam();
    }
    std::ifstream file(folder / "facts.json");
    const json facts = json::parse(file)[GetParam()];
    const ScratchFolder scratch;
    const std::string model = scratch / "m.orq";
    ASSERT_EQ(RunHere({"import", folder / GetParam(), "-o", model}).status, 0);
    const json info = json::parse(RunHere({"info", model, "--json"}).out);
    EXPECT_EQ(info["nodes"], facts["nodes"]);
    ASSERT_EQ(info["blocks"].size(), facts["blocks"].size());
    for (std::size_t i = 0; i < facts["blocks"].size(); ++i) {
        EXPECT_EQ(info["blocks"][i]["name"], facts["blocks"][i]["name"]);
        EXPECT_EQ(info["blocks"][i]["elements"], facts["blocks"][i]["elements"]);
        EXPECT_EQ(info["blocks"][i]["number"], facts["blocks"][i]["id"]);
    }
    const auto expectCounts = [&](const json& listed, const char* count, const json& known) {
        std::vector<int> is;
        std::vector<int> expected;
        for (const json& object : listed) {
            is.push_back(object[count]);
        }
        for (const json& number : known) {
            expected.push_back(number);
        }
        EXPECT_THAT(is, testing::UnorderedElementsAreArray(expected)) << count;
    };
    expectCounts(info["sets"], "members", facts["node_sets"]);
    expectCounts(info["surfaces"], "faces", facts["side_sets"]);
    for (std::size_t axis = 0; axis < info["dimension"]; ++axis) {
        EXPECT_DOUBLE_EQ(info["bounding_box"]["lowest"][axis], facts["bbox"]["min"][axis]);
        EXPECT_DOUBLE_EQ(info["bounding_box"]["highest"][axis], facts["bbox"]["max"][axis]);
    }
    if (facts.contains("time_first_last")) {
        EXPECT_EQ(info["steps"][0]["times"], facts["time_steps"]);
        EXPECT_DOUBLE_EQ(info["steps"][0]["last_time"], facts["time_first_last"][1]);
        EXPECT_DOUBLE_EQ(info["fields"][0]["time_range"]["highest"], facts["time_first_last"][1]);
    }
}

INSTANTIATE_TEST_SUITE_P(Shared, InventoryOfRealModels,
                         testing::Values("box_solid_shell_results.g", "subduction_tri.exo",
                                         "basemat_isolators.e", "block_crush_1.ex2"));

}  // namespace
