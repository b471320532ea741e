// Values within elements: listed by layer and point, carried to nodes, turned, the worst of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <numbers>

#include "AskedTable.h"
#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcElementValues.h"
#include "ORQExcPointRules.h"
#include "ORQObjMesh.h"
#include "ORQObjStep.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "SampleResults.h"
#include "draw/FieldValues.h"

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::HasSubstr;

// --- Integration points --------------------------------------------------------------------------

TEST(PointRules, LinearFieldsAreCarriedToNodesExactly) {
    int nRules = 0;
    for (const ORQExcShape& shape : ORQExcShapes()) {
        const auto nodes = ORQExcNodePlaces(shape);
        ASSERT_EQ(std::ssize(nodes), shape.nNodes);
        for (int nPoints = 1; nPoints <= 130; ++nPoints) {
            const auto points = ORQExcPointsOf(shape, nPoints);
            const std::vector<float> matrix = ORQExcExtrapolationToNodes(shape, nPoints);
            if (points.empty()) {
                EXPECT_TRUE(matrix.empty());
                continue;
            }
            ++nRules;
            SCOPED_TRACE(std::string(shape.name) + " " + std::to_string(nPoints));
            EXPECT_TRUE(ORQExcCanHavePoints(shape, nPoints));
            ASSERT_EQ(std::ssize(points), nPoints);
            ASSERT_EQ(matrix.size(), nodes.size() * points.size());
            for (std::size_t node = 0; node < nodes.size(); ++node) {
                double value = 0;
                double one = 0;
                for (std::size_t point = 0; point < points.size(); ++point) {
                    value += double{matrix[node * points.size() + point]} * Linear(points[point]);
                    one += double{matrix[node * points.size() + point]};
                }
                EXPECT_NEAR(one, 1, 1e-5);
                // Of one point, and of one layer of points along a wedge, nothing is known beside.
                const bool isLinear = nPoints > 1 && !(shape.nCorners == 6 && nPoints == 2);
                if (isLinear) {
                    EXPECT_NEAR(value, Linear(nodes[node]), 2e-5);
                }
            }
        }
    }
    EXPECT_GT(nRules, 50);
    // The numbers of the literature: 1 + sqrt(3)/2 in the plane, (1 + sqrt(3))^3 / 8 in space.
    EXPECT_NEAR(ORQExcExtrapolationToNodes(*ORQExcFindShapeByName("QUAD4"), 4)[0], 1.8660254, 1e-6);
    EXPECT_NEAR(ORQExcExtrapolationToNodes(*ORQExcFindShapeByName("HEX8"), 8)[0], 2.5490381, 1e-6);
}

TEST(PointRules, NodesLieWhereTheShapeHasThem) {
    const auto hexahedron = ORQExcNodePlaces(*ORQExcFindShapeByName("HEX27"));
    EXPECT_EQ(hexahedron[8], (std::array<double, 3>{0, -1, -1}));
    EXPECT_EQ(hexahedron[20], (std::array<double, 3>{0, 0, 0}));
    EXPECT_EQ(hexahedron[22], (std::array<double, 3>{0, 0, 1}));
    const auto shell = ORQExcNodePlaces(*ORQExcFindShapeByName("SHELL9"));
    EXPECT_EQ(shell[6], (std::array<double, 3>{0, 1, 0}));
    EXPECT_EQ(shell[8], (std::array<double, 3>{0, 0, 0}));
    const auto tetrahedron = ORQExcNodePlaces(*ORQExcFindShapeByName("TET10"));
    EXPECT_EQ(tetrahedron[9], (std::array<double, 3>{0, 0.5, 0.5}));
}

// --- Axes ----------------------------------------------------------------------------------------

// In the plane the formula is sx = c2 s1 + s2 s2 - 2cs s12, and so on.
TEST(ElementAxes, TensorsTurnAsTheFormulaSays) {
    const double angle = 0.7;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const ORQExcElementAxes::Matrix layer = {{{c, s, 0}, {-s, c, 0}, {0, 0, 1}}};
    const ORQExcElementAxes::Matrix element = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    const auto turned = ORQExcTurned({5, -2, 0, 3, 0, 0}, layer, element);
    EXPECT_NEAR(turned[0], c * c * 5 + s * s * -2 - 2 * c * s * 3, 1e-12);
    EXPECT_NEAR(turned[1], s * s * 5 + c * c * -2 + 2 * c * s * 3, 1e-12);
    EXPECT_NEAR(turned[3], c * s * (5 - -2) + (c * c - s * s) * 3, 1e-12);
    EXPECT_NEAR(turned[2] + turned[4] + turned[5], 0, 1e-12);
}

// --- The wing box --------------------------------------------------------------------------------

class PlyStresses : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        s_folder = new ScratchFolder;
        ASSERT_EQ(
            RunHere({"import", ORQ_WING_BOX, "--layup", ORQ_WING_BOX_LAYUP, "-o", Model()}).status,
            0);
        ASSERT_EQ(std::system((ORQ_WING_BOX_STRESSES " " + Model()).c_str()), 0);
    }
    static void TearDownTestSuite() { delete s_folder; }
    static std::string Model() { return *s_folder / "wing.orq"; }

    static ScratchFolder* s_folder;
};
ScratchFolder* PlyStresses::s_folder = nullptr;

TEST_F(PlyStresses, EqualAnIndependentEvaluation) {
    const std::string python = std::string(ORQ_PYTHON);
    if (std::system((python + " -c 'import numpy' 2> /dev/null").c_str()) != 0) {
        GTEST_SKIP() << "no numpy on this machine";
    }
    for (const char* field : {"E", "S", "TSAIW", "TSAIH", "MSTRS"}) {
        PutBytes(*s_folder / (std::string(field) + ".csv"),
                 RunHere({"table", Model(), "--field", field, "--csv"}).out);
    }
    PutBytes(*s_folder / "nodes.csv", RunHere({"table", Model(), "--csv"}).out);
    PutBytes(*s_folder / "elements.csv",
             RunHere({"table", Model(), "--quantity", "connectivity", "--csv"}).out);
    const std::string command = python + " " + ORQ_PLY_STRESSES + " " +
                                fs::path(Model()).parent_path().string() + " " +
                                ORQ_WING_BOX_LAYUP + " " + ORQ_WING_BOX;
    EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST_F(PlyStresses, LeaveTheModelWithoutFindingsAboutFields) {
    EXPECT_THAT(RunHere({"check", Model()}).out, testing::Not(HasSubstr("SerFld")));
    EXPECT_EQ(RunHere({"verify", Model()}).status, 0);
}

TEST_F(PlyStresses, AreChosenByLayerSectionPointAndPly) {
    const Arguments upper = {"--block", "skin_upper", "--field", "S"};
    const auto ask = [&](Arguments more) {
        more.insert(more.begin(), upper.begin(), upper.end());
        return AskForTable(Model(), more);
    };
    const Table all = ask({});
    EXPECT_EQ(all.rows.size(), 824U * 8 * 3);
    const Table one = ask({"--layer", "3", "--section-point", "top"});
    ASSERT_EQ(one.rows.size(), 824U);
    EXPECT_EQ(one.At(5, "layer"), 3);
    EXPECT_EQ(one.At(5, "section point"), 3);
    // Symmetric: the pack is layer 3 and layer 6.
    const Table pack = ask({"--ply", "upper pack", "--section-point", "middle"});
    EXPECT_EQ(pack.rows.size(), 2U * 824);
    EXPECT_EQ(pack.At(0, "layer"), 3);
    EXPECT_EQ(pack.At(824, "layer"), 6);
    EXPECT_EQ(ask({"--layer", "all", "--section-point", "1", "--component", "S11"}).rows.size(),
              824U * 8);
    EXPECT_EQ(
        AskForTable(Model(), {"--field", "S11_layer3_sp3", "--block", "skin_upper"}).rows[5].back(),
        one.At(5, "S11"));
}

TEST_F(PlyStresses, TheWorstIsTheLargestOfAllPlaces) {
    const Table all = AskForTable(Model(), {"--field", "S", "--component", "S12"});
    const Table worst = AskForTable(Model(), {"--field", "S", "--component", "S12", "--extreme"});
    EXPECT_EQ(worst.rows.size(), 3432U);
    std::map<int, std::array<double, 3>> expected;  // by element: value, layer, section point
    for (std::size_t row = 0; row < all.rows.size(); ++row) {
        auto& at = expected[all.At(row, "element").get<int>()];
        if (std::abs(all.Number(row, "S12")) > std::abs(at[0])) {
            at = {all.Number(row, "S12"), all.Number(row, "layer"),
                  all.Number(row, "section point")};
        }
    }
    for (std::size_t row = 0; row < worst.rows.size(); ++row) {
        const auto& at = expected.at(worst.At(row, "element").get<int>());
        ASSERT_EQ(worst.Number(row, "S12"), at[0]);
        ASSERT_EQ(worst.Number(row, "layer"), at[1]);
        ASSERT_EQ(worst.Number(row, "section point"), at[2]);
        ASSERT_TRUE(worst.At(row, "point").is_null());
    }
}

// The formula of the plane, by the angles of the layup; the mesh plays no part in it.
TEST_F(PlyStresses, TurnFromLayersToElements) {
    const Table stored = AskForTable(Model(), {"--field", "S", "--block", "skin_upper_tri"});
    const Table turned =
        AskForTable(Model(), {"--field", "S", "--block", "skin_upper_tri", "--axes", "element"});
    ASSERT_EQ(turned.rows.size(), stored.rows.size());
    const double angles[] = {45, -45, 0, 90, 90, 0, -45, 45};
    for (std::size_t row = 0; row < stored.rows.size(); ++row) {
        const double angle =
            angles[stored.At(row, "layer").get<int>() - 1] * std::numbers::pi / 180;
        const double c = std::cos(angle);
        const double s = std::sin(angle);
        const double s11 = stored.Number(row, "S11");
        const double s22 = stored.Number(row, "S22");
        const double s12 = stored.Number(row, "S12");
        const double rounding = 1e-9 * (std::abs(s11) + std::abs(s22) + std::abs(s12));
        ASSERT_NEAR(turned.Number(row, "S 11"), c * c * s11 + s * s * s22 - 2 * c * s * s12,
                    rounding);
        ASSERT_NEAR(turned.Number(row, "S 22"), s * s * s11 + c * c * s22 + 2 * c * s * s12,
                    rounding);
        ASSERT_NEAR(turned.Number(row, "S 12"), c * s * (s11 - s22) + (c * c - s * s) * s12,
                    rounding);
    }
    // Invariants are the same along the axes of the model.
    const Table model =
        AskForTable(Model(), {"--field", "S", "--block", "skin_upper_tri", "--axes", "model"});
    for (std::size_t row = 0; row < model.rows.size(); ++row) {
        const double trace = stored.Number(row, "S11") + stored.Number(row, "S22");
        ASSERT_NEAR(
            model.Number(row, "S 11") + model.Number(row, "S 22") + model.Number(row, "S 33"),
            trace, 1e-9 * (1 + std::abs(stored.Number(row, "S11"))));
    }
}

TEST_F(PlyStresses, ArePicturedAtOnePlaceOfEachElement) {
    const ORQSimDatabase database =
        ORQSimDatabase::Open(ModelAt(Model()), ORQSimDatabase::Mode::ReadOnly);
    const ORQObjDocument document(database);
    const ORQExcModel model(document);
    const ORQExcResults results(document);
    const std::vector<int> labels = model.ElementLabels();
    const auto shown = [&](const char* field, const orqmodel::ShownPlace& place) {
        return orqmodel::ShownField(model, results, field, place).At(1).values;
    };
    const auto expectTable = [&](const std::vector<double>& values, const Arguments& arguments,
                                 const char* column) {
        const Table table = AskForTable(Model(), arguments);
        ASSERT_GT(table.rows.size(), 100U);
        std::map<int, double> ofElement;
        for (std::size_t row = 0; row < table.rows.size(); ++row) {
            ofElement[table.At(row, "element").get<int>()] = table.Number(row, column);
        }
        for (std::size_t i = 0; i < values.size(); ++i) {
            const auto found = ofElement.find(labels[i]);
            ASSERT_EQ(std::isnan(values[i]), found == ofElement.end());
            if (found != ofElement.end()) {
                ASSERT_EQ(values[i], found->second);
            }
        }
    };
    const Arguments one = {"--field", "S12_layer3_sp3"};
    expectTable(shown("S12", {"3", "top", "", false}), one, "S12_layer3_sp3");
    expectTable(shown("S12_layer3_sp3", {}), one, "S12_layer3_sp3");
    expectTable(shown("S12", {"", "", "", true}), {"--field", "S12", "--extreme"}, "S12");
    const std::string picture = *s_folder / "s.svg";
    EXPECT_EQ(RunHere({"draw", Model(), "-o", picture, "--field", "S", "--extreme"}).status, 0);
    const struct {
        Arguments arguments;
        const char* text;
    } cases[] = {
        {{"--field", "S"}, "--layer and --section-point name one, --extreme takes the largest"},
        {{"--field", "S", "--layer", "all", "--section-point", "top"}, "name one"},
        {{"--field", "S", "--layer", "13", "--section-point", "top"}, "the layers 1 to 12"},
        {{"--field", "S", "--layer", "1", "--extreme"}, "none can be named"},
        {{"--field", "S", "--layer", "1", "--section-point", "1", "--point", "2"}, "--point 2"},
        {{"--field", "S12_layer3_sp3", "--layer", "1"}, "no values within elements"},
    };
    for (const auto& c : cases) {
        Arguments arguments = c.arguments;
        arguments.insert(arguments.begin(), {"draw", Model(), "-o", picture, "--force"});
        const CommandResult refused = RunHere(arguments);
        EXPECT_EQ(refused.status, 2) << refused.out;
        EXPECT_THAT(refused.err, HasSubstr(c.text));
    }
}

TEST_F(PlyStresses, WhatTheFieldDoesNotHaveIsRefusedByName) {
    const struct {
        Arguments arguments;
        const char* text;
    } cases[] = {
        {{"--field", "S", "--layer", "13"}, "--layer 13: S has the layers 1 to 12, or all"},
        {{"--field", "S", "--layer", "0"}, "--layer 0: a number from 1"},
        {{"--field", "S", "--section-point", "4"}, "the section points 1 to 3"},
        {{"--field", "S", "--section-point", "up"}, "--section-point up"},
        {{"--field", "S", "--ply", "uper pack"}, "upper pack"},
        {{"--field", "S", "--extreme"}, "S has 3 components"},
        {{"--field", "S", "--extreme", "--layer", "1"}, "none can be named"},
        {{"--field", "TSAIW", "--axes", "model"}, "along which axes TSAIW stands is not known"},
        {{"--field", "S", "--component", "S11", "--axes", "model"}, "all components"},
        {{"--field", "S11_layer3_sp3", "--at", "nodes"}, "names one place of each element"},
        {{"--field", "S11_layer3_sp3", "--extreme"}, "names one place of each element"},
        {{"--field", "S11", "--derived", "mises", "--extreme"}, "all components, not of one"},
        {{"--field", "S", "--across-borders"}, "only values --at nodes are averaged"},
    };
    for (const auto& c : cases) {
        Arguments arguments = c.arguments;
        arguments.insert(arguments.begin(), {"table", Model()});
        const CommandResult refused = RunHere(arguments);
        EXPECT_EQ(refused.status, 2) << refused.out;
        EXPECT_THAT(refused.err, HasSubstr(c.text));
    }
}

// --- At nodes ------------------------------------------------------------------------------------

TEST(AtNodes, ALinearFieldIsExactAndBordersKeepBothSides) {
    const ScratchFolder folder;
    const std::string model = CubesWithStress(folder, 100);
    const Table nodes = AskForTable(model, {"--field", "stress_xx", "--at", "nodes", "--places"});
    ASSERT_EQ(nodes.rows.size(), 16U);  // four of the twelve nodes are in both blocks
    for (std::size_t row = 0; row < nodes.rows.size(); ++row) {
        const double shift = nodes.At(row, "block") == "upper" ? 100 : 0;
        EXPECT_NEAR(
            nodes.Number(row, "stress_xx"),
            Linear({nodes.Number(row, "x"), nodes.Number(row, "y"), nodes.Number(row, "z")}) +
                shift,
            2e-5);
    }
    const Table across = AskForTable(
        model, {"--field", "stress_xx", "--at", "nodes", "--across-borders", "--places"});
    ASSERT_EQ(across.rows.size(), 12U);
    for (std::size_t row = 0; row < across.rows.size(); ++row) {
        const double z = across.Number(row, "z");
        EXPECT_NEAR(across.Number(row, "stress_xx"),
                    Linear({across.Number(row, "x"), across.Number(row, "y"), z}) + 50 * z, 2e-5);
    }
    const Table middles = AskForTable(model, {"--field", "stress_xx", "--at", "centroid"});
    ASSERT_EQ(middles.rows.size(), 2U);
    EXPECT_NEAR(middles.Number(0, "stress_xx"), Linear({0.5, 0.5, 0.5}), 1e-5);
    EXPECT_NEAR(middles.Number(1, "stress_xx"), Linear({0.5, 0.5, 1.5}) + 100, 1e-5);
    const Table points = AskForTable(model, {"--field", "stress_xx", "--stats"});
    EXPECT_EQ(points.At(0, "what"), "minimum");
    EXPECT_FALSE(points.At(0, "point").is_null());
}

// Programs that write values at the corners alone leave those of middle nodes out.
TEST(AtNodes, NodesWithoutAValueLeaveTheOthersAsTheyAre) {
    const ScratchFolder folder;
    exodus_file::Content content;
    content.x = {0, 1, 0, 0, 0.5, 0.5, 0, 0, 0.5, 0};
    content.y = {0, 0, 1, 0, 0, 0.5, 0.5, 0, 0, 0.5};
    content.z = {0, 0, 0, 1, 0, 0, 0, 0.5, 0.5, 0.5};
    content.labels.clear();
    content.blocks = {{1, "tet", "TET10", 10, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {}}};
    exodus_file::Write(content, folder / "tet.e");
    std::vector<exodus_file::ElementVariable> variables;
    for (int node = 1; node <= 10; ++node) {
        exodus_file::ElementVariable& variable = variables.emplace_back();
        variable.name = "q_node" + std::to_string(node);
        variable.values[1] = {{node <= 4 ? 10.0 * node : NAN}};
    }
    exodus_file::AddElementResults(folder / "tet.e", variables);
    const std::string model = folder / "tet.orq";
    ASSERT_EQ(RunHere({"import", folder / "tet.e", "-o", model}).status, 0);
    const Table nodes = AskForTable(model, {"--field", "q", "--at", "nodes"});
    ASSERT_EQ(nodes.rows.size(), 4U);
    EXPECT_EQ(nodes.Number(3, "q"), 40);
    const Table middle = AskForTable(model, {"--field", "q", "--at", "centroid"});
    ASSERT_EQ(middle.rows.size(), 1U);
    EXPECT_EQ(middle.Number(0, "q"), 25);
}

// --- What was written in pieces ------------------------------------------------------------------

namespace {

/// Layers and points that come in several calls, in the two cubes.
class Pieces {
  public:
    explicit Pieces(const std::string& model)
        : m_database(ORQSimDatabase::Open(ModelAt(model), ORQSimDatabase::Mode::ReadWrite)),
          m_transaction(m_database.ContextID()),
          m_document(m_database),
          m_steps(m_document) {}

    ORQSimPosition AddStep(const char* name) const {
        return m_steps.AddStep(name, ORQSimSchema::Step_General);
    }
    /// A field with a value at the time of a step of its own, if it has none yet.
    ORQObjMeshedField AddField(const ORQSimPosition& step, const char* name, int gridType,
                               bool hasLayers) {
        if (ORQSimCSet(ORQObjStep(step).GetTimes()).IsEmpty()) {
            m_steps.AddTimes(step, std::vector{1.0});
        }
        return m_steps.AddFieldResult(step,
                                      {name,
                                       m_steps.UserFieldType(name),
                                       gridType,
                                       ORQObjMesh(m_document.GetMesh()).GetElementCollection(),
                                       {{38, name}},
                                       hasLayers});
    }
    /// Values of the only time of a step; of elements [first, first + count).
    void Write(const ORQSimPosition& step, const ORQObjMeshedField& field, int first, int count,
               ORQObjFieldView view, const std::vector<double>& values) const {
        view.members = ORQSimCollection(
                           ORQObjMesh(m_document.GetMesh()).GetElementCollection().GetCollection())
                           .CreateTempCSetStrided(first, count, 1, 1);
        field.WriteView(ORQObjStep(step).GetTimes().ID(), view, values.data());
    }
    void Commit() { m_transaction.Commit(); }

  private:
    ORQSimDatabase m_database;
    ORQSimTransaction m_transaction;
    ORQObjDocument m_document;
    ORQObjStepBuilder m_steps;
};

}  // namespace

TEST(Pieces, EachValueIsListedOnceHoweverItWasWritten) {
    const ScratchFolder folder;
    const std::string model = CubesWithStress(folder, 0);
    {
        Pieces pieces(model);
        const ORQSimPosition first = pieces.AddStep("first");
        const ORQSimPosition second = pieces.AddStep("second");
        // One call for each layer; the upper cube has only the first one.
        const auto layered =
            pieces.AddField(first, "layered", ORQSimSchema::Field_ElementCentroid, true);
        pieces.Write(first, layered, 0, 2, {{}, {0, 0}, {0, 0}, {}}, {1, 2});
        pieces.Write(first, layered, 0, 1, {{}, {1, 1}, {0, 0}, {}}, {-10});
        // Eight points in the first step, one in the second; the last two points come first.
        const auto wide = pieces.AddField(first, "p", ORQSimSchema::Field_IntegrationPoint, false);
        pieces.Write(first, wide, 0, 2, {{}, {}, {}, {6, 7}}, {7, 8, 17, 18});
        pieces.Write(first, wide, 0, 2, {{}, {}, {}, {0, 5}},
                     {1, 2, 3, 4, 5, 6, 11, 12, 13, 14, 15, 16});
        const auto narrow =
            pieces.AddField(second, "p", ORQSimSchema::Field_IntegrationPoint, false);
        pieces.Write(second, narrow, 0, 2, {{}, {}, {}, {0, 0}}, {100, 200});
        pieces.Commit();
    }
    const Table layers = AskForTable(model, {"--field", "layered"});
    ASSERT_EQ(layers.rows.size(), 3U);
    EXPECT_EQ(layers.Number(2, "layer"), 2);
    EXPECT_EQ(layers.Number(2, "layered"), -10);
    const Table worst = AskForTable(model, {"--field", "layered", "--extreme"});
    ASSERT_EQ(worst.rows.size(), 2U);
    EXPECT_EQ(worst.Number(0, "layered"), -10);
    EXPECT_EQ(worst.Number(1, "layer"), 1);

    EXPECT_EQ(AskForTable(model, {"--field", "p", "--step", "2"}).rows.size(), 16U);
    EXPECT_EQ(AskForTable(model, {"--field", "p", "--step", "3"}).rows.size(), 2U);
    const struct {
        const char* step;
        double lower, upper;
        double point;
    } cases[] = {{"2", 8, 18, 8}, {"3", 100, 200, 1}};
    for (const auto& c : cases) {
        const Table extreme = AskForTable(model, {"--field", "p", "--step", c.step, "--extreme"});
        ASSERT_EQ(extreme.rows.size(), 2U);
        EXPECT_EQ(extreme.Number(0, "p"), c.lower);
        EXPECT_EQ(extreme.Number(1, "p"), c.upper);
        EXPECT_EQ(extreme.Number(1, "point"), c.point);
        const Table middles =
            AskForTable(model, {"--field", "p", "--step", c.step, "--at", "centroid"});
        ASSERT_EQ(middles.rows.size(), 2U);
        EXPECT_NEAR(middles.Number(0, "p"), c.point == 8 ? 4.5 : 100, 1e-4);
    }
    // The mean of its points, where one value an element is wanted.
    const ORQSimDatabase database =
        ORQSimDatabase::Open(ModelAt(model), ORQSimDatabase::Mode::ReadOnly);
    const ORQExcResults results{ORQObjDocument(database)};
    const auto& field = *std::ranges::find(results.Fields(), "p", &ORQExcResults::Field::name);
    const ORQSimCSet members = results.MembersOf(field);
    std::vector<double> means(2);
    EXPECT_EQ(results.Read(field, 1, members, means), 2);
    EXPECT_EQ(means, (std::vector<double>{4.5, 14.5}));
    EXPECT_EQ(results.Read(field, 2, members, means), 2);
    EXPECT_EQ(means, (std::vector<double>{100, 200}));
}
