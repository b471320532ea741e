// Values of elements carried to nodes and middles, by exports, and as VTK has them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcPointRules.h"
#include "ORQSimDatabase.h"
#include "SampleResults.h"
#include "draw/FieldValues.h"

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::HasSubstr;

namespace {

bool HasVtk() {
    return std::system(ORQ_PYTHON " -c 'import numpy, vtkmodules.vtkIOXML' 2>/dev/null") == 0;
}

json Rows(const std::string& model, Arguments arguments) {
    arguments.insert(arguments.begin(), {"table", model, "--json"});
    const CommandResult result = RunHere(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.status == 0 ? json::parse(result.out) : json();
}

/// The last column by the first one.
std::map<int, double> ByMember(const json& table, const char* block = nullptr) {
    std::map<int, double> values;
    const auto& columns = table["columns"];
    const auto place = std::ranges::find(columns, "block") - columns.begin();
    const auto member =
        std::ranges::find_if(
            columns, [](const json& column) { return column == "node" || column == "element"; }) -
        columns.begin();
    for (const json& row : table["rows"]) {
        if (block == nullptr || row.at(static_cast<std::size_t>(place)) == block) {
            values[row.at(static_cast<std::size_t>(member)).get<int>()] = row.back().get<double>();
        }
    }
    return values;
}

const json* EntryOf(const json& entries, const char* kind) {
    const auto found =
        std::ranges::find_if(entries, [&](const json& entry) { return entry["kind"] == kind; });
    return found == entries.end() ? nullptr : &*found;
}

}  // namespace

class CarriedResults : public testing::Test {
  protected:
    json Export(const std::string& model, const std::string& file, Arguments more) const {
        more.insert(more.begin(), {"export", model, "-o", At(file), "--json"});
        const CommandResult result = RunHere(more);
        EXPECT_EQ(result.status, 0) << result.err;
        return json::parse(result.out)["report"];
    }
    std::string Again(const std::string& file) const {
        EXPECT_EQ(RunHere({"import", At(file), "-o", At(file + ".orq")}).status, 0);
        return At(file + ".orq");
    }
    std::string At(const std::string& name) const { return m_folder / name; }

    ScratchFolder m_folder;
};

// Through every format with results: what the file holds is what the table lists.
TEST_F(CarriedResults, FilesHaveAtNodesWhatTheTableLists) {
    const std::string model = CubesWithStress(m_folder, 100);
    const json listed = Rows(model, {"--field", "stress_xx", "--at", "nodes"});
    const json across = Rows(model, {"--field", "stress_xx", "--at", "nodes", "--across-borders"});
    for (const std::string file : {"cubes_at_nodes.e", "at.vtu", "at.pvd", "at.msh"}) {
        SCOPED_TRACE(file);
        const json report = Export(model, file, {"--at", "nodes"});
        const json* const change = EntryOf(report["changed"], "element field");
        ASSERT_NE(change, nullptr);
        EXPECT_EQ((*change)["count"], 2);
        EXPECT_THAT((*change)["reason"], HasSubstr("; 4 nodes on their borders"));
        const std::string again = Again(file);
        for (const char* block : {"lower", "upper"}) {
            const auto written =
                ByMember(Rows(again, {"--field", std::string("stress_xx_") + block}));
            EXPECT_EQ(written.size(), 8U);
            EXPECT_EQ(written, ByMember(listed, block));
        }
        const std::string whole = "whole_" + file;
        EXPECT_THAT(
            (*EntryOf(Export(model, whole, {"--at", "nodes", "--across-borders"})["changed"],
                      "element field"))["reason"],
            HasSubstr("across the borders"));
        EXPECT_EQ(ByMember(Rows(Again(whole), {"--field", "stress_xx"})), ByMember(across));
    }
    Export(model, "middles.vtu", {"--at", "centroid"});
    EXPECT_EQ(ByMember(Rows(Again("middles.vtu"), {"--field", "stress_xx"})),
              ByMember(Rows(model, {"--field", "stress_xx", "--at", "centroid"})));
    EXPECT_EQ(RunHere({"export", model, "-o", At("no.vtu"), "--across-borders"}).status, 2);
}

TEST_F(CarriedResults, PicturesHaveBothSidesOfABorder) {
    const std::string path = CubesWithStress(m_folder, 100);
    const ORQSimDatabase database =
        ORQSimDatabase::Open(ModelAt(path), ORQSimDatabase::Mode::ReadOnly);
    const ORQObjDocument document(database);
    const ORQExcModel model(document);
    const ORQExcResults results(document);
    std::vector<double> places(36);
    model.ReadCoordinates(0, 12, places);
    for (const bool acrossBorders : {false, true}) {
        orqmodel::ShownPlace wanted;
        wanted.at = "nodes";
        wanted.acrossBorders = acrossBorders;
        const orqmodel::FieldValues shown =
            orqmodel::ShownField(model, results, "stress_xx", wanted).At(1);
        EXPECT_TRUE(shown.isNodal);
        for (int element = 0; element < 2; ++element) {
            for (int node = 4 * element; node < 4 * element + 8; ++node) {
                const std::size_t at = 3 * static_cast<std::size_t>(node);
                const double shift = acrossBorders ? 50 * places[at + 2] : 100 * element;
                EXPECT_NEAR(shown.ValueAt(element, node),
                            Linear({places[at], places[at + 1], places[at + 2]}) + shift, 2e-5);
            }
        }
        EXPECT_TRUE(std::isnan(shown.ValueAt(-1, 12)));
    }
    const std::string picture = At("cubes.svg");
    EXPECT_EQ(
        RunHere({"draw", path, "--field", "stress_xx", "--at", "nodes", "-o", picture}).status, 0);
    EXPECT_THAT(Bytes(picture), HasSubstr("stress_xx, at nodes"));
    const CommandResult page =
        RunHere({"draw", path, "--field", "stress_xx", "--at", "nodes", "-o", At("cubes.html")});
    EXPECT_EQ(page.status, 2);
    EXPECT_THAT(page.err, HasSubstr("--across-borders"));
}

TEST_F(CarriedResults, VtkReadsALinearFieldExactly) {
    if (!HasVtk()) {
        GTEST_SKIP() << "no VTK for Python on this machine";
    }
    Export(CubesWithStress(m_folder, 100), "at.vtu", {"--at", "nodes"});
    const std::string command =
        std::string(ORQ_PYTHON " " ORQ_READ_VTU " ") + (At("at.vtu")) + " > " + (At("at.json"));
    ASSERT_EQ(std::system(command.c_str()), 0);
    const json grid = json::parse(Bytes(At("at.json")));
    for (std::size_t point = 0; point < grid["points"].size(); ++point) {
        const auto at = grid["points"][point].get<std::array<double, 3>>();
        const json& lower = grid["point_data"]["stress_xx_lower"][point];
        const json& upper = grid["point_data"]["stress_xx_upper"][point];
        EXPECT_EQ(lower.is_null(), at[2] > 1);
        EXPECT_EQ(upper.is_null(), at[2] < 1);
        if (!lower.is_null()) {
            EXPECT_NEAR(lower, Linear(at), 2e-5);
        }
        if (!upper.is_null()) {
            EXPECT_NEAR(upper, Linear(at) + 100, 2e-5);
        }
    }
}

// Seven points of a wedge lie where each program wants them; in the hexahedron all is known.
TEST_F(CarriedResults, WhatCannotBeCarriedIsNamed) {
    exodus_file::Content content;
    content.x = {0, 1, 1, 0, 0, 1, 1, 0, 2, 2};
    content.y = {0, 0, 1, 1, 0, 0, 1, 1, 0, 0};
    content.z = {0, 0, 0, 0, 1, 1, 1, 1, 0, 1};
    content.labels.clear();
    content.blocks = {{1, "brick", "HEX8", 8, {1, 2, 3, 4, 5, 6, 7, 8}, {}},
                      {2, "wedge", "WEDGE6", 6, {2, 9, 3, 6, 10, 7}, {}}};
    exodus_file::Write(content, At("mixed.e"));
    std::vector<exodus_file::ElementVariable> variables;
    for (int point = 1; point <= 21; ++point) {
        exodus_file::ElementVariable& variable = variables.emplace_back();
        variable.name = "stress_xx_" + std::to_string(point);
        if (point <= 8) {
            variable.values[1] = {{1.0 * point}};
        }
        variable.values[2] = {{2.0 * point}};
    }
    for (int face = 1; face <= 5; ++face) {
        variables.push_back({"flux_face" + std::to_string(face), {{2, {{3.0 * face}}}}});
    }
    exodus_file::AddElementResults(At("mixed.e"), variables);
    const std::string model = Again("mixed.e");
    const json report = Export(model, "mixed_at_nodes.e", {"--at", "nodes"});
    const json* const dropped = EntryOf(report["dropped"], "element field");
    ASSERT_NE(dropped, nullptr);
    EXPECT_EQ((*dropped)["name"], "stress_xx");
    EXPECT_EQ((*dropped)["count"], 1);
    const json* const noted = EntryOf(report["noted"], "element field");
    ASSERT_NE(noted, nullptr);
    EXPECT_EQ((*noted)["name"], "flux");
    const std::string again = Again("mixed_at_nodes.e");
    EXPECT_EQ(ByMember(Rows(again, {"--field", "stress_xx"})).size(), 8U);
    EXPECT_EQ(Rows(again, {"--field", "flux"})["rows"], Rows(model, {"--field", "flux"})["rows"]);
    EXPECT_EQ(RunHere({"export", model, "-o", At("s.e"), "--at", "nodes", "--strict"}).status, 1);
}

TEST_F(CarriedResults, AveragesAreThoseOfVtk) {
    if (!HasVtk()) {
        GTEST_SKIP() << "no VTK for Python on this machine";
    }
    const std::string model = At("wing.orq");
    ASSERT_EQ(RunHere({"import", ORQ_WING_BOX, "--layup", ORQ_WING_BOX_LAYUP, "-o", model}).status,
              0);
    ASSERT_EQ(std::system((ORQ_WING_BOX_STRESSES " " + model).c_str()), 0);
    Export(model, "cells.vtu", {});
    Export(model, "blocks.vtu", {"--at", "nodes"});
    Export(model, "across.vtu", {"--at", "nodes", "--across-borders"});
    const std::string compare =
        std::string(ORQ_PYTHON " " ORQ_COMPARE_WITH_VTK " averages ") + (At("cells.vtu"));
    EXPECT_EQ(std::system((compare + " " + (At("blocks.vtu"))).c_str()), 0);
    EXPECT_EQ(std::system((compare + " " + (At("across.vtu"))).c_str()), 0);
    EXPECT_NE(std::system((compare + " " + (At("cells.vtu")) + " 2>/dev/null").c_str()), 0);
}

TEST_F(CarriedResults, MatricesInvertTheShapeFunctionsOfVtk) {
    if (!HasVtk()) {
        GTEST_SKIP() << "no VTK for Python on this machine";
    }
    json rules;
    for (const ORQExcShape& shape : ORQExcShapes()) {
        for (int nPoints = 1; nPoints <= 125; ++nPoints) {
            const auto points = ORQExcPointsOf(shape, nPoints);
            if (!points.empty()) {
                rules.push_back({{"name", shape.name},
                                 {"vtk_type", shape.vtkType},
                                 {"vtk_order", shape.vtkOrder},
                                 {"points", points},
                                 {"matrix", ORQExcExtrapolationToNodes(shape, nPoints)}});
            }
        }
    }
    const std::string command =
        std::string(ORQ_PYTHON " " ORQ_COMPARE_WITH_VTK " shapes ") + (At("rules.json"));
    PutBytes(At("rules.json"), rules.dump());
    EXPECT_EQ(std::system(command.c_str()), 0);
    // Two points that change places are noticed.
    for (json& rule : rules) {
        if (rule["points"].size() == 8) {
            std::swap(rule["points"][0], rule["points"][1]);
        }
    }
    PutBytes(At("rules.json"), rules.dump());
    EXPECT_NE(std::system((command + " 2>/dev/null").c_str()), 0);
}
