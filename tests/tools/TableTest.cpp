// Numbers of a model as tables.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "AskedTable.h"
#include "CommandRun.h"
#include "ExodusFile.h"
#include "queries/Invariants.h"

namespace {

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::AllOf;
using testing::DoubleNear;
using testing::HasSubstr;

/// The wing box, whose nodes and shells are known.
class TableTest : public testing::Test {
  protected:
    TableTest() {
        EXPECT_EQ(
            RunHere({"import", ORQ_WING_BOX, "--layup", ORQ_WING_BOX_LAYUP, "-o", m_model}).status,
            0);
    }
    ScratchFolder m_folder;
    std::string m_model = ModelAt(m_folder / "wing.orq");
};

TEST_F(TableTest, CoordinatesAndConnectivityAreThoseOfTheFile) {
    const exodus_file::Mesh mesh = exodus_file::Read(ORQ_WING_BOX);
    const Table nodes = AskForTable(m_model, {"--quantity", "coordinates"});
    ASSERT_EQ(nodes.rows.size(), mesh.positions.size());
    for (std::size_t i = 0; i < nodes.rows.size(); ++i) {
        ASSERT_EQ(nodes.At(i, "node"), mesh.labels[i]);
        ASSERT_EQ(nodes.At(i, "x"), mesh.positions[i][0]);
        ASSERT_EQ(nodes.At(i, "z"), mesh.positions[i][2]);
    }
    const Table elements = AskForTable(m_model, {"--block", "ribs_tri"});
    ASSERT_EQ(elements.rows.size(), 56U);
    const auto& block = *std::ranges::find(mesh.blocks, "ribs_tri", &exodus_file::Block::name);
    for (std::size_t i = 0; i < block.elements.size(); ++i) {
        EXPECT_EQ(elements.At(i, "shape"), "TRI3");
        EXPECT_EQ(elements.At(i, "node 3"),
                  mesh.labels[static_cast<std::size_t>(block.elements[i][2])]);
    }
    // A set of elements stands for its nodes, and a surface for both.
    const Table ofBlock =
        AskForTable(m_model, {"--quantity", "coordinates", "--block", "ribs_tri", "--stats"});
    EXPECT_LT(ofBlock.Of("x", "count"), 3 * 56);
    EXPECT_EQ(AskForTable(m_model, {"--quantity", "area", "--set", "upper_skin_outer", "--stats"})
                  .Of("area", "count"),
              848);
}

TEST_F(TableTest, SelectionsNameLabelsSetsAndBlocks) {
    const auto labels = [&](const Arguments& arguments) {
        std::string text;
        const Table table = AskForTable(m_model, arguments);
        for (const auto& row : table.rows) {
            text += row[1].dump() + " ";
        }
        return text;
    };
    EXPECT_EQ(labels({"--nodes", "1600-1602,2601"}), "1600 1601 2601 1602 ");
    EXPECT_EQ(labels({"--elements", "10003,10001-10002"}), "10001 10002 10003 ");
    EXPECT_EQ(AskForTable(m_model, {"--set", "tip_rib"}).rows.size(), 63U);
}

// Thickness times area is volume, and what the layers weigh is mass.
TEST_F(TableTest, MeasuresOfShellsFollowFromTheirSections) {
    const Arguments spar = {"--block", "spar_front", "--quantity"};
    const auto measure = [&](const std::string& name) {
        Arguments arguments = spar;
        arguments.push_back(name);
        return AskForTable(m_model, arguments);
    };
    const Table area = measure("area");
    const Table thickness = measure("thickness");
    const Table volume = measure("volume");
    ASSERT_EQ(area.rows.size(), 384U);
    for (std::size_t i = 0; i < area.rows.size(); ++i) {
        EXPECT_DOUBLE_EQ(volume.At(i, "volume"), area.At(i, "area").get<double>() *
                                                     thickness.At(i, "thickness").get<double>());
    }
    const json layers = json::parse(RunHere({"layers", m_model, "--json"}).out);
    EXPECT_DOUBLE_EQ(thickness.At(0, "thickness"),
                     layers["sections"][2]["total_thickness"]["lowest"]);
    EXPECT_NEAR(AskForTable(m_model, {"--quantity", "mass", "--stats"}).Of("mass", "sum"), 205.838,
                1e-3);
}

TEST_F(TableTest, FormatsHaveTheSameNumbers) {
    const Arguments wanted = {"table", m_model, "--nodes", "24600-24602"};
    const auto in = [&](const char* format) {
        Arguments arguments = wanted;
        arguments.emplace_back(format);
        return RunHere(arguments).out;
    };
    EXPECT_THAT(in("--csv"),
                AllOf(testing::StartsWith("instance,node,x,y,z\nPART-1,"),
                      HasSubstr("\nPART-1,24600,0.9314999999999999,2.5875,0.23953125\n")));
    EXPECT_THAT(in("--json"), HasSubstr("[\"PART-1\", 24600, 0.9314999999999999,"));
    EXPECT_THAT(RunHere(wanted).out, HasSubstr("0.9315        2.5875    0.23953125\n"));
    EXPECT_EQ(RunHere({"table", m_model, "--csv", "--json"}).status, 2);
}

TEST_F(TableTest, WrongUseNamesWhatIsNear) {
    const std::pair<Arguments, const char*> cases[] = {
        {{"--field", "U"}, "--field U: the model has no such results"},
        {{"--block", "spar_frnt"}, "near are \"spar_front\""},
        {{"--set", "tip_rb"}, "near are \"tip_rib\""},
        {{"--nodes", "5-7"}, "no node has a label from 5 to 7"},
        {{"--nodes", "7-5"}, "labels are given as 7 or 1-10,15"},
        {{"--nodes", "1600,"}, "labels are given as"},
        {{"--elements", "10001", "--instance", "P"}, "in instance P"},
        {{"--quantity", "are"}, "is it area"},
        {{"--nodes", "1600", "--quantity", "area"}, "the values are of elements"},
        {{"--set", "tip_rib", "--quantity", "area"}, "is a set of nodes"},
        {{"--set", "tip_rib", "--block", "ribs"}, "excludes"},
        {{"--derived", "mises"}, "--field"},
    };
    for (const auto& [more, text] : cases) {
        Arguments arguments = {"table", m_model};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const CommandResult result = RunHere(arguments);
        EXPECT_EQ(result.status, 2) << text;
        EXPECT_THAT(result.err, HasSubstr(text));
        EXPECT_EQ(result.out, "");
    }
}

/// A model with results that another reader has summed up.
class TableOfResults : public testing::Test {
  protected:
    void SetUp() override {
        const fs::path file = fs::path(ORQ_SHARED_MODELS) / "block_crush_1.ex2";
        if (!fs::exists(file)) {
            GTEST_SKIP() << "there is no " << file;
        }
        ASSERT_EQ(RunHere({"import", file, "-o", m_model}).status, 0);
        std::ifstream facts(fs::path(ORQ_SHARED_MODELS) / "facts.json");
        m_facts = json::parse(facts)["block_crush_1.ex2"];
    }
    ScratchFolder m_folder;
    std::string m_model = ModelAt(m_folder / "m.orq");
    json m_facts;
};

TEST_F(TableOfResults, SumsAreThoseOfTheFacts) {
    for (const char* kind : {"nodal_result_sum_last_step", "element_result_sum_last_step"}) {
        for (const auto& [name, sum] : m_facts[kind].items()) {
            const Table table = AskForTable(m_model, {"--field", name, "--step", "11", "--stats"});
            EXPECT_NEAR(table.Of(name, "sum").get<double>(), sum.get<double>(),
                        1e-9 * std::abs(sum.get<double>()) + 1e-9)
                << name;
        }
    }
}

TEST_F(TableOfResults, AHistoryHasARowForEachTime) {
    const Table history =
        AskForTable(m_model, {"--field", "displ", "--nodes", "7", "--step", "all"});
    ASSERT_EQ(history.rows.size(), 11U);
    EXPECT_EQ(history.At(0, "time"), 0);
    for (std::size_t i = 0; i < 11; ++i) {
        const Table at =
            AskForTable(m_model, {"--field", "displ_x", "--step", std::to_string(i + 1)});
        EXPECT_EQ(at.rows.size(), 242U);
        EXPECT_EQ(at.At(6, "node"), 7);
        EXPECT_EQ(at.At(6, "displ_x"), history.At(i, "displ_x"));
        EXPECT_EQ(at.At(6, "time"), history.At(i, "time"));
    }
    EXPECT_EQ(AskForTable(m_model, {"--field", "displ", "--nodes", "7"}).rows[0], history.rows[10]);
    EXPECT_EQ(AskForTable(m_model, {"--field", "KineticEnergy", "--step", "all"}).rows.size(), 11U);
}

// The file has the equivalent stress itself.
TEST_F(TableOfResults, DerivedStressesAgreeWithTheFile) {
    const Table derived = AskForTable(m_model, {"--field", "stress", "--derived", "mises"});
    const Table given = AskForTable(m_model, {"--field", "vonmises"});
    const Table principal = AskForTable(m_model, {"--field", "stress", "--derived", "principal"});
    ASSERT_EQ(derived.rows.size(), given.rows.size());
    for (std::size_t i = 0; i < given.rows.size(); ++i) {
        const double expected = given.At(i, "vonmises");
        EXPECT_NEAR(derived.At(i, "stress von Mises").get<double>(), expected, 1e-9 * expected);
        const double a = principal.At(i, "stress principal 1");
        const double b = principal.At(i, "stress principal 2");
        const double c = principal.At(i, "stress principal 3");
        EXPECT_GE(a, b);
        EXPECT_GE(b, c);
        EXPECT_NEAR(std::sqrt(0.5 * ((a - b) * (a - b) + (b - c) * (b - c) + (c - a) * (c - a))),
                    expected, 1e-9 * expected);
    }
    const Table stats = AskForTable(m_model, {"--field", "vonmises", "--stats"});
    EXPECT_EQ(stats.Of("vonmises", "maximum", "element"), 5);
    EXPECT_EQ(stats.Of("vonmises", "maximum", "z"), 0.875);
    EXPECT_EQ(stats.Of("vonmises", "count"), 131);
}

TEST_F(TableOfResults, WrongFieldsTimesAndPlacesAreNamed) {
    const std::pair<Arguments, const char*> cases[] = {
        {{"--field", "strss"}, "near are \"stress\""},
        {{"--field", "displ", "--component", "displ_w"}, "near are \"displ_x\""},
        {{"--field", "displ", "--step", "12"}, "--step 12: the model has the times 1 to 11"},
        {{"--field", "displ", "--step", "last"}, "the times 1 to 11"},
        {{"--field", "displ", "--derived", "mises"}, "displ is no symmetric tensor"},
        {{"--field", "stress", "--derived", "magnitude"}, "stress is no vector"},
        {{"--field", "stress", "--nodes", "1"}, "the values are of elements"},
        {{"--field", "stress", "--set", "nodelist_10"}, "is a set of nodes"},
        {{"--field", "KineticEnergy", "--nodes", "1"}, "of the whole model"},
    };
    for (const auto& [more, text] : cases) {
        Arguments arguments = {"table", m_model};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const CommandResult result = RunHere(arguments);
        EXPECT_EQ(result.status, 2) << text;
        EXPECT_THAT(result.err, HasSubstr(text));
    }
    // The point of the rigid body has no stress.
    const CommandResult none =
        RunHere({"table", m_model, "--field", "stress", "--block", "RigidBodyOutputPart"});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.err, HasSubstr("nothing of what is asked for has a value"));
}

TEST(PrincipalValues, AreTheRootsOfTheCharacteristicPolynomial) {
    const orqmodel::SymmetricTensor tensors[] = {{1, 2, 3, 0, 0, 0},
                                                 {0, 0, 0, 5, 0, 0},
                                                 {4, -1, 2, 1.5, -2.5, 0.25},
                                                 {1e9, 1e-3, 7, 3, 2, 1}};
    for (const orqmodel::SymmetricTensor& s : tensors) {
        const auto values = orqmodel::PrincipalValues(s);
        const double scale = orqmodel::Magnitude(s);
        const double i1 = s[0] + s[1] + s[2];
        const double i2 =
            s[0] * s[1] + s[1] * s[2] + s[2] * s[0] - s[3] * s[3] - s[4] * s[4] - s[5] * s[5];
        const double i3 = s[0] * (s[1] * s[2] - s[5] * s[5]) - s[3] * (s[3] * s[2] - s[5] * s[4]) +
                          s[4] * (s[3] * s[5] - s[1] * s[4]);
        EXPECT_THAT(values[0] + values[1] + values[2], DoubleNear(i1, 1e-12 * scale));
        EXPECT_THAT(values[0] * values[1] + values[1] * values[2] + values[2] * values[0],
                    DoubleNear(i2, 1e-12 * scale * scale));
        EXPECT_THAT(values[0] * values[1] * values[2],
                    DoubleNear(i3, 1e-12 * scale * scale * scale));
    }
}

}  // namespace
