// Results over times: what files hold of them comes into a model database and out again.
#include <exodusII.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netcdf.h>

#include <bit>
#include <cmath>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcResults.h"
#include "ORQSimDatabase.h"
#include "ORQSimSchema.h"
#include "model/FieldPlan.h"

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using namespace orq::exchange;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using Place = ORQExcResultArray::Place;

namespace {

/// Imports in one process and exports in another; answers the report of the import.
json ImportAndExport(const fs::path& in, const fs::path& database, const fs::path& out) {
    const CommandResult imported = RunProgram({"import", in, "-o", database, "--json"});
    EXPECT_EQ(imported.status, 0) << imported.err;
    const CommandResult exported = RunProgram({"export", database, "-o", out});
    EXPECT_EQ(exported.status, 0) << exported.err;
    return imported.status == 0 ? json::parse(imported.out)["report"] : json();
}

/// The entries under a heading, one a line.
std::string Lines(const json& report, const char* heading) {
    std::string lines;
    for (const json& entry : report[heading]) {
        lines += entry["kind"].get<std::string>() + " " + entry["name"].get<std::string>() + " " +
                 entry["count"].dump() + ": " + entry.value("reason", "") + "\n";
    }
    return lines;
}

}  // namespace

// --- Fields of names -----------------------------------------------------------------------------

TEST(FieldPlan, NamesSayWhichArraysAreOneField) {
    struct Case {
        std::vector<std::string> names;
        Place place;
        std::string fields;  // name/identifier: codes, ...
    };
    const Case cases[] = {
        {{"displ_x", "displ_y", "displ_z"}, Place::Node, "displ/: 0 12 20; "},
        {{"v_X", "v_Y", "w_x", "w_z"}, Place::Node, "v/: 0 12; w/: 0 20; "},
        {{"s_xx", "s_yy", "s_zz", "s_xy", "s_yz", "s_zx"}, Place::Element, "s/: 1 14 23 5 18 10; "},
        {{"F_xx", "F_xz", "F_zx"}, Place::Element, "F/: 1 10 21; "},
        {{"q_x", "other", "q_y"}, Place::Node, "q_x/: 38; other/: 38; q_y/: 38; "},
        {{"_x", "_y", "a_y", "a_x"}, Place::Model, "_x/: 38; _y/: 38; a_y/: 38; a_x/: 38; "},
        {{"U1", "U2", "U3", "RF1"}, Place::Node, "UT/U_D: 0 12 20; RT/RF_D: 0; "},
        {{"U1", "U1"}, Place::Node, "UT/U_D: 0; UT (2)/U_D: 0; "},
        {{"S11", "S22", "S33", "S12", "MISES"}, Place::Element, "S/S: 1 14 23 5; MISES/S: 38; "},
        {{"S11"}, Place::Model, "S11/: 38; "},
    };
    for (const Case& c : cases) {
        std::vector<ORQExcResultArray> arrays;
        for (const std::string& name : c.names) {
            arrays.push_back({c.place, name, {name}, {{{0}, 0, 4}}});
        }
        std::string fields;
        std::vector<int> used;
        for (const FieldPlan& plan : PlanFields(arrays)) {
            fields += plan.name + "/" + plan.identifier + ":";
            for (const auto& component : plan.components) {
                fields += " " + std::to_string(component.code);
            }
            fields += "; ";
            used.insert(used.end(), plan.arrays.begin(), plan.arrays.end());
        }
        EXPECT_EQ(fields, c.fields);
        EXPECT_EQ(used.size(), arrays.size());
    }
    // Values in other places part what the names join.
    const std::vector<ORQExcResultArray> apart = {{Place::Element, "q_x", {"q_x"}, {{{0}, 0, 4}}},
                                                  {Place::Element, "q_y", {"q_y"}, {{{0}, 0, 3}}}};
    EXPECT_EQ(PlanFields(apart).size(), 2);
}

// --- Exodus --------------------------------------------------------------------------------------

class RealResults : public testing::TestWithParam<const char*> {};

TEST_P(RealResults, ComeBackEqual) {
    const fs::path file = fs::path(ORQ_SHARED_MODELS) / GetParam();
    if (!fs::exists(file)) {
        GTEST_SKIP() << "no real models on this machine";
    }
    const ScratchFolder folder;
    ImportAndExport(file, folder / "m.orq", folder / "out.e");
    const exodus_file::Results expected = exodus_file::ReadResults(file);
    EXPECT_EQ(exodus_file::ReadResults(folder / "out.e"), expected);

    const json info = json::parse(RunHere({"info", folder / "m.orq", "--json"}).out);
    std::map<std::string, std::size_t> labels;
    for (const json& field : info["fields"]) {
        labels[field["place"]] += field["components"].size();
    }
    EXPECT_EQ(labels["model"], expected.global.size());
    EXPECT_EQ(labels["nodes"], expected.nodal.size());
    EXPECT_EQ(labels["elements"], expected.elemental.size());

    std::ifstream facts(fs::path(ORQ_SHARED_MODELS) / "facts.json");
    const json known = json::parse(facts)[GetParam()];
    ASSERT_EQ(std::ssize(expected.times), known.value("time_steps", 0));
    const ORQExcResults results{ORQObjDocument(
        ORQSimDatabase::Open(ModelAt(folder / "m.orq"), ORQSimDatabase::Mode::ReadOnly))};
    for (const char* kind : {"nodal_result_sum_last_step", "element_result_sum_last_step"}) {
        const json sums = known.value(kind, json::object());
        for (const auto& [name, sum] : sums.items()) {
            double found = 0;
            for (const ORQExcResults::Field& field : results.Fields()) {
                const auto members = results.MembersOf(field);
                const std::size_t n = field.components.size();
                std::vector<double> values(static_cast<std::size_t>(members.Size()) * n);
                for (std::size_t k = 0; k < n && field.place != Place::Model; ++k) {
                    if (field.components[k].label == name) {
                        results.Read(field, static_cast<int>(results.Frames().size()) - 1, members,
                                     values);
                        for (std::size_t i = k; i < values.size(); i += n) {
                            found += values[i];
                        }
                    }
                }
            }
            EXPECT_NEAR(found, sum.get<double>(), 1e-9 * std::abs(sum.get<double>()) + 1e-6)
                << name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Models, RealResults,
                         testing::Values("block_crush_1.ex2", "box_solid_shell_results.g",
                                         "basemat_isolators.e", "subduction_tri.exo"));

class ExodusResultsOf : public testing::Test {
  protected:
    /// Two blocks of a quadrilateral; temperatures at nodes, q in block 1 only, an energy; three
    /// times. Then `spoil` may change the file.
    json Imported(const std::function<void(int netcdf)>& spoil = {}) {
        exodus_file::Content content;
        content.labels = {};
        content.blocks.resize(2);
        content.blocks[0].nodes = {1, 2, 3, 4};
        content.blocks[1].id = 2;
        content.blocks[1].nodes = {4, 3, 2, 1};
        const fs::path file = m_folder / "in.e";
        exodus_file::Write(content, file);
        WriteVariables(file);
        if (spoil) {
            int id = 0;
            EXPECT_EQ(nc_open(file.c_str(), NC_WRITE, &id), NC_NOERR);
            spoil(id);
            EXPECT_EQ(nc_close(id), NC_NOERR);
        }
        return ImportAndExport(file, m_folder / "m.orq", m_folder / "out.e");
    }
    exodus_file::Results In() const { return exodus_file::ReadResults(m_folder / "in.e"); }
    exodus_file::Results Out() const { return exodus_file::ReadResults(m_folder / "out.e"); }

    ScratchFolder m_folder;

  private:
    static void WriteVariables(const fs::path& file) {
        int callerBytes = sizeof(double);
        int storedBytes = 0;
        float version = 0;
        const int id = ex_open(file.c_str(), EX_WRITE, &callerBytes, &storedBytes, &version);
        ASSERT_GE(id, 0);
        char temperature[] = "NT";
        char energy[] = "energy";
        char flux[] = "q";
        char* names[] = {temperature, energy, flux};
        ASSERT_GE(ex_put_variable_param(id, EX_NODAL, 1), 0);
        ASSERT_GE(ex_put_variable_names(id, EX_NODAL, 1, names), 0);
        ASSERT_GE(ex_put_variable_param(id, EX_GLOBAL, 1), 0);
        ASSERT_GE(ex_put_variable_names(id, EX_GLOBAL, 1, names + 1), 0);
        ASSERT_GE(ex_put_variable_param(id, EX_ELEM_BLOCK, 1), 0);
        ASSERT_GE(ex_put_variable_names(id, EX_ELEM_BLOCK, 1, names + 2), 0);
        int truth[] = {1, 0};
        ASSERT_GE(ex_put_truth_table(id, EX_ELEM_BLOCK, 2, 1, truth), 0);
        for (int step = 1; step <= 3; ++step) {
            const double time = 0.5 * step;
            const double values[] = {1.0 * step, -0.0, std::nan(""), 1e300 * step};
            ASSERT_GE(ex_put_time(id, step, &time), 0);
            ASSERT_GE(ex_put_var(id, step, EX_NODAL, 1, 1, 4, values), 0);
            ASSERT_GE(ex_put_var(id, step, EX_GLOBAL, 1, 1, 1, values), 0);
            ASSERT_GE(ex_put_var(id, step, EX_ELEM_BLOCK, 1, 1, 1, values), 0);
        }
        ASSERT_GE(ex_close(id), 0);
    }
};

TEST_F(ExodusResultsOf, OddValuesComeBackToTheBit) {
    const json report = Imported();
    EXPECT_EQ(Out(), In());
    EXPECT_EQ(Lines(report, "noted") + Lines(report, "dropped"), "");
    const ORQExcResults results{ORQObjDocument(
        ORQSimDatabase::Open(ModelAt(m_folder / "m.orq"), ORQSimDatabase::Mode::ReadOnly))};
    EXPECT_THAT(results.Steps(), ElementsAre("Step-1"));
    ASSERT_EQ(results.Fields().size(), 3);
    EXPECT_EQ(results.Fields()[1].identifier, "NT");
    EXPECT_EQ(results.Fields()[1].gridType, ORQSimSchema::Field_Nodal);
    EXPECT_EQ(results.MembersOf(results.Fields()[2]).Size(), 1);
}

TEST_F(ExodusResultsOf, TimesThatDoNotRiseAreNamedAndKept) {
    const json report = Imported([](int id) {
        int times = 0;
        EXPECT_EQ(nc_inq_varid(id, "time_whole", &times), NC_NOERR);
        const std::size_t at = 1;
        const double value = 0.5;
        EXPECT_EQ(nc_put_var1_double(id, times, &at, &value), NC_NOERR);
    });
    EXPECT_EQ(Lines(report, "noted"), "time 2 1: 0.5 does not rise above the 0.5 before it\n");
    EXPECT_EQ(Out(), In());
}

TEST_F(ExodusResultsOf, TheTruthTableDoesNotHideValues) {
    const json report = Imported([](int id) {
        int table = 0;
        EXPECT_EQ(nc_inq_varid(id, "elem_var_tab", &table), NC_NOERR);
        const std::size_t at[] = {0, 0};
        const int no = 0;
        EXPECT_EQ(nc_put_var1_int(id, table, at, &no), NC_NOERR);
    });
    EXPECT_EQ(Lines(report, "noted"),
              "element variable q 1: in block 1: it has values there although its truth table "
              "denies it\n");
    EXPECT_THAT(Out().truth, ElementsAre(1, 0));
    EXPECT_EQ(Out().values.count("q 1 3"), 1);
}

TEST_F(ExodusResultsOf, ArraysThatAreMissingOrOfAnotherLengthAreNamed) {
    const json report = Imported([](int id) {
        int variable = 0;
        int dimension = 0;
        EXPECT_EQ(nc_redef(id), NC_NOERR);
        EXPECT_EQ(nc_inq_varid(id, "vals_elem_var1eb1", &variable), NC_NOERR);
        EXPECT_EQ(nc_rename_var(id, variable, "gone"), NC_NOERR);
        // Another variable of the name, with a value for each node.
        EXPECT_EQ(nc_inq_varid(id, "vals_nod_var", &variable), NC_NOERR);
        EXPECT_EQ(nc_rename_var(id, variable, "gone too"), NC_NOERR);
        EXPECT_EQ(nc_def_dim(id, "wrong", 3, &dimension), NC_NOERR);
        int dimensions[] = {0, dimension};
        EXPECT_EQ(nc_inq_unlimdim(id, dimensions), NC_NOERR);
        EXPECT_EQ(nc_def_var(id, "vals_nod_var1", NC_DOUBLE, 2, dimensions, &variable), NC_NOERR);
    });
    EXPECT_EQ(Lines(report, "dropped"),
              "nodal variable NT 4: its array is for 3 times and 3 values, not for 3 and 4\n"
              "element variable q 1: in block 1: the file has no such array\n");
    EXPECT_EQ(Lines(report, "noted"),
              "nodal field NT 1: it has no values\nelement field q 1: it has no values\n");
    EXPECT_THAT(Out().global, ElementsAre("energy"));
    EXPECT_THAT(Out().nodal, ElementsAre("NT"));
    EXPECT_TRUE(std::isnan(std::bit_cast<double>(Out().values.at("NT 1")[0])));
}

// --- Gmsh ----------------------------------------------------------------------------------------

TEST(GmshResults, ModeShapesComeOutAsTheFileHasThem) {
    const fs::path file = fs::path(ORQ_SHARED_MODELS) / "shelf_modes.msh";
    if (!fs::exists(file)) {
        GTEST_SKIP() << "no real models on this machine";
    }
    const ScratchFolder folder;
    ImportAndExport(file, folder / "m.orq", folder / "out.e");
    const exodus_file::Results results = exodus_file::ReadResults(folder / "out.e");
    EXPECT_THAT(results.times, ElementsAre(0, 1, 2, 3));
    ASSERT_EQ(results.nodal.size(), 12);

    // Nodes are numbered in order, from 1.
    std::istringstream text(Bytes(file));
    int nModes = 0;
    int nValues = 0;
    for (std::string line; std::getline(text, line);) {
        if (!line.starts_with("$NodeData")) {
            continue;
        }
        std::getline(text, line);
        std::getline(text, line);
        const std::string name = line.substr(1, line.rfind('"') - 1);
        double number = 0;
        for (int i = 0; i < 5; ++i) {
            text >> number;
        }
        int count = 0;
        text >> count;
        ++nModes;
        for (int i = 0; i < count; ++i) {
            std::size_t node = 0;
            text >> node;
            for (const char axis : {'x', 'y', 'z'}) {
                text >> number;
                const auto& column =
                    results.values.at(name + "_" + axis + " " + std::to_string(nModes));
                ASSERT_EQ(std::bit_cast<double>(column[node - 1]), number) << name << node;
                ++nValues;
            }
        }
    }
    EXPECT_EQ(nModes, 4);
    EXPECT_EQ(nValues, 4 * 72 * 3);
}

class GmshResultsOf : public testing::Test {
  protected:
    json Imported(const std::string& data) {
        PutBytes(m_folder / "in.msh",
                 "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n" + data +
                     "$Nodes\n3\n10 0 0 0\n20 1 0 0\n30 0 1 0\n$EndNodes\n"
                     "$Elements\n2\n5 2 2 1 1 10 20 30\n6 2 2 1 1 10 30 20\n$EndElements\n");
        return ImportAndExport(m_folder / "in.msh", m_folder / "m.orq", m_folder / "out.e");
    }
    std::vector<double> Values(const std::string& key) const {
        std::vector<double> values;
        const auto results = exodus_file::ReadResults(m_folder / "out.e");
        const auto found = results.values.find(key);
        for (const auto bits :
             found == results.values.end() ? std::vector<std::uint64_t>() : found->second) {
            values.push_back(std::bit_cast<double>(bits));
        }
        return values;
    }
    ScratchFolder m_folder;
};

std::string Data(const std::string& kind, const std::string& name, const std::string& numbers) {
    return "$" + kind + "\n1\n\"" + name + "\"\n" + numbers + "\n$End" + kind + "\n";
}

TEST_F(GmshResultsOf, SectionsOfOneNameAreAFieldOverTheirTimes) {
    const json report = Imported(Data("ElementData", "q", "1 2.5 3 1 1 2 6 60 5 50") +
                                 Data("ElementData", "q", "1 1.5 3 0 1 1 5 5") +
                                 Data("ElementData", "q", "1 1.5 3 0 1 1 6 6") +
                                 Data("NodeData", "T", "1 1.5 3 0 1 3 30 3 10 1 20 2"));
    EXPECT_EQ(Lines(report, "noted") + Lines(report, "changed") + Lines(report, "dropped"), "");
    EXPECT_THAT(exodus_file::ReadResults(m_folder / "out.e").times, ElementsAre(1.5, 2.5));
    EXPECT_THAT(Values("q 1 1"), ElementsAre(5, 6));
    EXPECT_THAT(Values("q 1 2"), ElementsAre(50, 60));
    EXPECT_THAT(Values("T 1"), ElementsAre(1, 2, 3));
}

TEST_F(GmshResultsOf, WhatDoesNotFitIsNamedAndTheRestImported) {
    struct Case {
        std::string data;
        std::string report;  // noted, changed, dropped
        std::string key;
        std::vector<double> values;
    };
    const Case cases[] = {
        {Data("NodeData", "T", "1 0 3 0 1 3 10 1 20 2"),
         "$NodeData T 2: it announces 3 at time 0\n",
         "",
         {}},
        {Data("NodeData", "T", "1 0 3 0 1 2 10 1 20 2 30 3"),
         "$NodeData T 3: it announces 2 at time 0\n",
         "T 1",
         {1, 2, 3}},
        {Data("NodeData", "T", "1 0 3 0 1 4 10 1 20 2 30 3 44 4"),
         "$NodeData T 1: at time 0 it has values for node 44, which the mesh lacks\n",
         "T 1",
         {1, 2, 3}},
        {Data("NodeData", "T", "1 0 3 0 1 4 10 1 20 2 30 3 10 9"),
         "$NodeData T 1: at time 0 values are given twice; the last ones count\n",
         "T 1",
         {9, 2, 3}},
        {Data("ElementData", "T", "1 0 3 0 1 2 5 1 6 2") +
             Data("ElementData", "T", "1 0 3 0 1 2 5 3 6 4"),
         "$ElementData T (2) 1: the name \"T\" has values at time 0 already\n",
         "T (2) 1 1",
         {3, 4}},
        {Data("ElementData", "T", "1 2 3 0 1 2 5 1 6 2") +
             Data("ElementData", "T", "1 1 3 1 1 2 5 3 6 4"),
         "$ElementData T 1: time 1 of time step 1 does not rise above the 2 of time step 0\n",
         "T 1 1",
         {3, 4}},
        {Data("ElementData", "T", "1 0 3 0 2 2 5 1 1 6 2 2"), "2 components; 1, 3 or 9", "", {}},
        {Data("NodeData", "T", "1 nan 3 0 1 1 10 1"), "the time is nan", "", {}},
        {Data("NodeData", "T", "1 0 3 0 1 1 10 x"), "line 7: \"x\" is not a number", "", {}},
        {Data("NodeData", "T", "1 0 2 0 1 10 1"), "2 integer tags; time step", "", {}},
        {Data("NodeData", "T", "1 0 3 0 1 2000000000 10 1"), "cannot fit into the rest", "", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.data);
        fs::remove_all(m_folder / "m.orq");
        fs::remove(m_folder / "out.e");
        const json report = Imported(c.data);
        EXPECT_THAT(Lines(report, "noted") + Lines(report, "changed") + Lines(report, "dropped"),
                    HasSubstr(c.report));
        if (!c.key.empty()) {
            EXPECT_EQ(Values(c.key), c.values);
        }
    }
}
