// Layered sections: put on a mesh by a layup file, listed, drawn, and whole after a crash.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <random>
#include <set>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "NewDatabase.h"
#include "ORQBasFailure.h"
#include "ORQExcLayupFile.h"
#include "ORQExcSections.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjSectionBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSrvBulkShellLayers.h"
#include "formats/MeshImporter.h"
#include "formats/exodus/ExodusReader.h"

using namespace orq::exchange;

namespace orqmodel {
namespace {

using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Stack = ORQExcSections::Stack;

ORQExcSections Sections(const std::string& database) {
    return ORQExcSections(
        ORQObjDocument(ORQSimDatabase::Open(ModelAt(database), ORQSimDatabase::Mode::ReadOnly)));
}

/// A mesh of five shells: block "skin" with 11, 12, 13, block "web" with 24, 25, and the set
/// "patch" with 24 and 12 in this order.
class LayupTest : public testing::Test {
  protected:
    LayupTest() {
        exodus_file::Content content;
        content.blocks = {{1, "skin", "SHELL4", 4, {1, 2, 3, 4, 1, 2, 3, 4, 1, 2, 3, 4}, {}},
                          {2, "web", "SHELL4", 4, {1, 2, 3, 4, 1, 2, 3, 4}, {}}};
        content.elementLabels = {11, 12, 13, 24, 25};
        content.elementSets = {{7, "patch", {4, 2}, {}}};
        exodus_file::Write(content, m_mesh);
    }

    CommandResult Import(const std::string& text) const {
        PutBytes(m_layup, text);
        return RunHere({"import", m_mesh, "-o", m_target, "--force", "--layup", m_layup});
    }

    /// The patch comes first; the numbers of the skin count where it is not.
    static json Valid() {
        return json::parse(R"({
          "version": 1,
          "materials": [{"name": "tape", "constants": {"E1": 5, "density": 2}}, {"name": "foam"}],
          "orientations": [{"name": "span", "axis1": [0, 2, 0], "axis2": [1, 1, 0]}],
          "plies": [{"name": "P1"}],
          "sections": [
            {"name": "patched", "layers": [{"material": "foam", "thickness": 9}]},
            {"name": "plain", "symmetric": true, "layers": [
              {"material": "tape", "orientation": "span", "ply": "P1", "section_points": 5,
               "thickness": {"sets": {"skin": [1, 2, 3]}, "elements": {"25": 5, "24": 4}},
               "angle": 30},
              {"material": "foam", "thickness": 0.5,
               "angle": {"sets": {"web": [-10, 0], "skin": [10, 20, 30]}}}]}],
          "assignments": [{"section": "patched", "elements": ["patch"]},
                          {"section": "plain", "elements": ["web", "skin"]}]})");
    }

    ScratchFolder m_folder;
    std::string m_mesh = m_folder / "mesh.e";
    std::string m_layup = m_folder / "layup.json";
    std::string m_target = m_folder / "model.orq";
};

// --- Stack files ---------------------------------------------------------------------------------

TEST_F(LayupTest, TheWingBoxComesBackAsItsFileSays) {
    ASSERT_EQ(
        RunHere({"import", ORQ_WING_BOX, "-o", m_target, "--layup", ORQ_WING_BOX_LAYUP}).status, 0);
    const json file = json::parse(Bytes(ORQ_WING_BOX_LAYUP));
    const ORQExcSections reader = Sections(m_target);
    ASSERT_EQ(reader.Sections().size(), file["sections"].size());
    std::size_t nVarying = 0;
    for (std::size_t i = 0; i < reader.Sections().size(); ++i) {
        const json& section = file["sections"][i];
        EXPECT_EQ(reader.Sections()[i].name, section["name"]);
        std::vector<json> expected = section["layers"];
        if (section["symmetric"]) {
            const std::vector<json> lower = expected;
            expected.insert(expected.end(), lower.rbegin(), lower.rend());
        }
        const Stack layup = reader.Read(reader.Sections()[i]);
        ASSERT_EQ(layup.layers.size(), expected.size());
        for (std::size_t k = 0; k < expected.size(); ++k) {
            const ORQExcSections::Layer& layer = layup.layers[k];
            EXPECT_EQ(layer.material, expected[k]["material"]);
            EXPECT_EQ(layer.orientation, expected[k]["orientation"]);
            EXPECT_EQ(layer.ply, expected[k]["ply"]);
            EXPECT_EQ(layer.sectionPoints, expected[k]["section_points"]);
            EXPECT_THAT(layer.angle.numbers, ElementsAre(expected[k]["angle"]));
            std::vector<double> thicknesses;
            if (expected[k]["thickness"].is_number()) {
                thicknesses = {expected[k]["thickness"]};
            } else {
                ++nVarying;
                for (const char* set : {"skin_upper", "skin_upper_tri"}) {
                    const std::vector<double> some = expected[k]["thickness"]["sets"][set];
                    thicknesses.insert(thicknesses.end(), some.begin(), some.end());
                }
            }
            EXPECT_EQ(layer.thickness.numbers, thicknesses);
        }
    }
    EXPECT_EQ(nVarying, 2U);
    EXPECT_EQ(RunHere({"verify", m_target}).status, 0);
}

TEST_F(LayupTest, ConstantsGoBeforeWhatVariesAndTheFirstAssignmentDecides) {
    const CommandResult imported = Import(Valid().dump());
    ASSERT_EQ(imported.status, 0) << imported.err;
    const ORQExcSections reader = Sections(m_target);
    // The numbers of the plain section cover the patch too.
    const ORQExcSections::Section& patched = reader.Named("patched");
    EXPECT_EQ(patched.elements.Size(), 2);
    const Stack patch = reader.Read(patched);
    ASSERT_EQ(patch.layers.size(), 1U);
    EXPECT_EQ(patch.layers[0].thickness.variation, ORQSrvShellSection::VariationConstant);
    EXPECT_THAT(patch.layers[0].thickness.numbers, ElementsAre(9));
    EXPECT_THAT(patch.layers[0].angle.numbers, ElementsAre(0));
    EXPECT_EQ(patch.layers[0].sectionPoints, 3);
    EXPECT_EQ(patch.layers[0].ply, "");

    const Stack plain = reader.Read(reader.Named("plain"));
    ASSERT_EQ(plain.layers.size(), 4U);
    for (const std::size_t layer : {0U, 3U}) {
        EXPECT_THAT(plain.layers[layer].thickness.numbers, ElementsAre(1, 3, 5));  // 11, 13, 25
        EXPECT_EQ(plain.layers[layer].sectionPoints, 5);
        EXPECT_EQ(plain.layers[layer].orientation, "span");
    }
    for (const std::size_t layer : {1U, 2U}) {
        EXPECT_THAT(plain.layers[layer].angle.numbers, ElementsAre(10, 30, 0));
        EXPECT_EQ(plain.layers[layer].material, "foam");
    }
    EXPECT_EQ(plain.Total()->low, 3);
    EXPECT_EQ(plain.Total()->high, 11);
}

TEST_F(LayupTest, EveryMistakeIsNamedWithItsPlaceAndValue) {
    struct Case {
        const char* change;  // a JSON patch operation
        std::vector<const char*> errors;
    };
    const Case cases[] = {
        {R"({"op":"replace","path":"","value":[]})",
         {"/: is an array of 0; expected is an object"}},
        {R"({"op":"remove","path":"/version"})", {"/: \"version\" is missing"}},
        {R"({"op":"replace","path":"/version","value":2})", {"/version: is 2; expected is 1"}},
        {R"({"op":"add","path":"/layer","value":1})", {"/layer: there is no key \"layer\"; near"}},
        {R"({"op":"replace","path":"/plies","value":{}})",
         {"/plies: is an object of 0; expected", "/sections/1/layers/0/ply: there is no ply"}},
        {R"({"op":"add","path":"/plies/-","value":{"name":"P1"}})",
         {"/plies/1/name: is \"P1\"; expected is a name that no other"}},
        {R"({"op":"replace","path":"/materials/1/name","value":""})",
         {"/materials/1/name: is \"\"; expected is a text",
          "/sections/0/layers/0/material: there is no material \"foam\"; near are \"tape\"\n",
          "/sections/1/layers/1/material: there"}},
        {R"({"op":"add","path":"/materials/0/constants/e1","value":1})",
         {"/materials/0/constants/e1: there is no key \"e1\"; near are \"E1\""}},
        {R"({"op":"replace","path":"/materials/0/constants/E1","value":"5"})",
         {"/materials/0/constants/E1: is \"5\"; expected is a number"}},
        {R"({"op":"replace","path":"/orientations/0/axis2","value":[0,-1,0]})",
         {"/orientations/0: the axes are parallel"}},
        {R"({"op":"replace","path":"/orientations/0/axis2","value":[1,2]})",
         {"/orientations/0/axis2: is an array of 2; expected is an array of 3"}},
        {R"({"op":"replace","path":"/sections/1/symmetric","value":1})",
         {"/sections/1/symmetric: is 1; expected is true or false"}},
        {R"({"op":"replace","path":"/sections/0/layers","value":[]})",
         {"/sections/0/layers: is an array of 0; expected is at least one layer"}},
        {R"({"op":"replace","path":"/sections/0/layers/0/thickness","value":0})",
         {"/sections/0/layers/0/thickness: is 0; expected is a number greater than 0"}},
        {R"({"op":"replace","path":"/sections/0/layers/0/thickness","value":-1.5})",
         {"/thickness: is -1.5; expected"}},
        {R"({"op":"remove","path":"/sections/0/layers/0/thickness"})",
         {"/sections/0/layers/0: \"thickness\" is missing"}},
        {R"({"op":"replace","path":"/sections/1/layers/0/angle","value":361})",
         {"/sections/1/layers/0/angle: is 361; expected is a number of degrees"}},
        {R"({"op":"replace","path":"/sections/1/layers/0/section_points","value":2.5})",
         {"/section_points: is 2.5; expected is a whole number from 1"}},
        {R"({"op":"replace","path":"/sections/1/layers/0/ply","value":"P2"})",
         {"/sections/1/layers/0/ply: there is no ply \"P2\"; near are \"P1\""}},
        {R"({"op":"replace","path":"/sections/1/layers/0/thickness/sets/skin","value":[1,2]})",
         {"/thickness/sets/skin: is an array of 2; expected is an array of 3"}},
        {R"({"op":"replace","path":"/sections/1/layers/0/thickness/sets/skin/1","value":null})",
         {"/thickness/sets/skin/1: is null; expected is a number greater than 0"}},
        {R"({"op":"add","path":"/sections/1/layers/0/thickness/sets/flange","value":[1]})",
         {"/sets/flange: there is no block or element set in the mesh \"flange\"; near are"}},
        {R"({"op":"remove","path":"/sections/1/layers/0/thickness/elements/24"})",
         {"/sections/1/layers/0/thickness: element 24 of \"web\" has no value"}},
        {R"({"op":"add","path":"/sections/1/layers/0/thickness/elements/12","value":3})",
         {"element 12 has a value already"}},
        {R"({"op":"add","path":"/sections/1/layers/0/thickness/elements/26","value":3})",
         {"/elements/26: no element of the mesh has this label"}},
        {R"({"op":"replace","path":"/sections/0/layers/0/thickness",
             "value":{"sets":{"patch":[1,2]},"elements":{"13":1}}})",
         {"/thickness: element 13 has a value, but the section is not assigned"}},
        {R"({"op":"replace","path":"/sections/0/layers/0/thickness",
             "value":{"sets":{"patch":[1,2]}}})",
         {"/sections/1: layer 1 has a thickness for element 24, for which /sections/0 has"}},
        {R"({"op":"replace","path":"/assignments/0/elements","value":["patches"]})",
         {"/assignments/0/elements/0: there is no block or element set in the mesh \"patches\""}},
        {R"({"op":"replace","path":"/assignments/0/section","value":"plan"})",
         {"/assignments/0/section: there is no section \"plan\"; near are \"plain\""}},
    };
    for (const Case& one : cases) {
        const CommandResult result =
            Import(Valid().patch(json::array({json::parse(one.change)})).dump());
        EXPECT_EQ(result.status, 3) << one.change;
        for (const char* error : one.errors) {
            EXPECT_THAT(result.err, AllOf(HasSubstr(error), HasSubstr(m_layup))) << one.change;
        }
        EXPECT_EQ(std::ranges::count(result.err, '\n'), std::ssize(one.errors)) << result.err;
        EXPECT_FALSE(std::filesystem::exists(m_target)) << one.change;
    }
    EXPECT_EQ(Import(Valid().dump()).status, 0);
}

TEST_F(LayupTest, TextThatIsNoJsonIsRefusedWithItsLine) {
    const std::pair<const char*, const char*> cases[] = {
        {"{\"version\": 1,\n \"plies\": [}", ": line 2, column 12: syntax error"},
        {"", ": line 1, column 1: syntax error"},
        {"{\"version\":\n\n 1e999}", ": line 3, column 6: number overflow"},
        {"{\"version\": NaN}", ": line 1, column 13: "},
        {"{\"version\": 1, \"plies\": [], \"sections\": [], \"assignments\": [], \"plies\": [1]}",
         ": /plies: stands here for the second time"},
        {R"({"version": 1, "plies": [], "sections": [], "assignments": [],
             "plies": {"a": 1, "a": 2, "a": {}}})",
         ": /plies: stands here for the second time"},
    };
    for (const auto& [text, error] : cases) {
        const CommandResult result = Import(text);
        EXPECT_EQ(result.status, 3);
        EXPECT_THAT(result.err, HasSubstr(m_layup + error)) << text;
    }
    EXPECT_THAT(RunHere({"import", m_mesh, "-o", m_target, "--layup", m_folder / "none"}).err,
                HasSubstr("none: file: does not exist"));

    json many = Valid();
    for (int i = 0; i < 33; ++i) {
        many["plies"].push_back(i);
    }
    const CommandResult result = Import(many.dump());
    EXPECT_EQ(std::ranges::count(result.err, '\n'), 21);
    EXPECT_THAT(result.err, AllOf(HasSubstr("/plies/20: is 19;"), Not(HasSubstr("/plies/21")),
                                  HasSubstr("and 13 more")));
}

/// A mesh that brings a section along.
class LayeredReader : public ExodusReader {
  public:
    explicit LayeredReader(const std::filesystem::path& file) : ExodusReader(file) {
        m_layup.sections.push_back({"own", 1, {}});
    }
    const ORQExcLayup* Sections() const override { return &m_layup; }

  private:
    ORQExcLayup m_layup;
};

TEST_F(LayupTest, AMeshWithSectionsOfItsOwnTakesNoOthers) {
    PutBytes(m_layup, Valid().dump());
    const ORQExcLayupFile layup(m_layup);
    const MeshImporter importer(std::make_unique<LayeredReader>(m_mesh), m_mesh);
    try {
        importer.Write(NewDatabase(), {1000, [](double) {}, &layup});
        ADD_FAILURE() << "it was imported";
    } catch (const ORQBasFailure& failure) {
        EXPECT_EQ(failure.Kind(), ORQBasFailureKind::Usage);
        EXPECT_THAT(failure.Text(), AllOf(HasSubstr("layup "), HasSubstr("of its own")));
    }
}

// --- Lists ---------------------------------------------------------------------------------------

TEST(Layups, AreSymmetricAndBalancedAtEveryElementOrNot) {
    constexpr auto kConstant = ORQSrvShellSection::VariationConstant;
    constexpr auto kVarying = ORQSrvShellSection::VariationDistributed;
    struct Row {
        std::vector<double> thickness;
        std::vector<double> angle;
        const char* material = "m";
    };
    struct Case {
        std::vector<Row> rows;
        std::optional<bool> isSymmetric;
        std::optional<bool> isBalanced;
    };
    const Case cases[] = {
        {{}, std::nullopt, std::nullopt},
        {{{{1}, {45}}}, true, false},
        {{{{1}, {0}}, {{2}, {90}}, {{1}, {180}}}, true, true},
        {{{{1}, {45}}, {{1}, {-45}}}, false, true},
        {{{{1}, {45}}, {{1}, {135}}}, false, true},  // 135 is -45
        {{{{1}, {-90}}, {{1}, {90}}}, true, true},
        {{{{2}, {30}}, {{1}, {-30}}, {{1}, {-30}}}, false, true},
        {{{{1}, {30}, "n"}, {{1}, {-30}}}, false, false},
        {{{{1}, {30}}, {{1}, {30}, "n"}}, false, false},
        {{{{1}, {0}}, {{}, {0}}}, std::nullopt, std::nullopt},
        {{{{1, 2}, {0}}, {{1, 2}, {0}}}, true, true},
        {{{{1, 2}, {0}}, {{1, 3}, {0}}}, false, true},
        {{{{1, 1}, {0}}, {{1}, {0}}}, true, true},
        {{{{1}, {10, 20}}, {{1}, {-10, 20}}}, false, false},
        {{{{1}, {10, 20}}, {{1}, {-10, -20}}}, false, true},
        {{{{1}, {45}}, {{1 + 1e-12}, {-45 + 1e-9}}}, false, true},
    };
    for (const Case& one : cases) {
        Stack layup;
        for (const Row& row : one.rows) {
            layup.layers.push_back(
                {row.material,
                 "",
                 "",
                 3,
                 {row.thickness.size() > 1 ? kVarying : kConstant, row.thickness},
                 {row.angle.size() > 1 ? kVarying : kConstant, row.angle}});
        }
        const auto place = &one - cases;
        EXPECT_EQ(layup.IsSymmetric(), one.isSymmetric) << place;
        EXPECT_EQ(layup.IsBalanced(), one.isBalanced) << place;
    }
}

TEST_F(LayupTest, SectionsAndLayersAreListed) {
    ASSERT_EQ(Import(Valid().dump()).status, 0);
    const CommandResult table = RunHere({"layers", m_target});
    EXPECT_EQ(table.status, 0);
    EXPECT_THAT(table.out, AllOf(HasSubstr("patched       1       1          9         2  yes"),
                                 HasSubstr("plain         2       4      3..11         3  yes")));
    const CommandResult layers = RunHere({"layers", m_target, "plain"});
    EXPECT_THAT(layers.out,
                AllOf(HasSubstr("1  tape      span         P1        5     1..5 *       30"),
                      HasSubstr("2  foam      -            -         3        0.5  0..30 *"),
                      HasSubstr("total thickness 3..11, symmetric: yes, balanced: no")));

    const json all = json::parse(RunHere({"layers", m_target, "--json"}).out);
    EXPECT_EQ(all["sections"][1], json::parse(R"({"name": "plain", "number": 2, "layer_count": 4,
        "total_thickness": {"lowest": 3.0, "highest": 11.0}, "element_count": 3,
        "symmetric": true, "balanced": false})"));
    const json one = json::parse(RunHere({"layers", m_target, "--element", "13", "--json"}).out);
    EXPECT_EQ(one["element"]["label"], 13);
    EXPECT_EQ(one["section"]["name"], "plain");
    EXPECT_EQ(one["section"]["layers"][0], json::parse(R"({"material": "tape",
        "orientation": "span", "ply": "P1", "section_points": 5,
        "thickness": {"variation": "distributed", "range": {"lowest": 3.0, "highest": 3.0}},
        "angle": {"variation": "constant", "range": {"lowest": 30.0, "highest": 30.0}}})"));
    EXPECT_EQ(one["section"]["layers"][1]["ply"], nullptr);
    EXPECT_THAT(RunHere({"layers", m_target, "--element", "12"}).out,
                HasSubstr("element 12 has section patched"));
}

TEST_F(LayupTest, WhatIsNotThereToListIsSaid) {
    json layup = Valid();
    layup["assignments"].erase(1);
    layup["sections"].erase(1);
    ASSERT_EQ(Import(layup.dump()).status, 0);
    const auto expect = [&](const Arguments& arguments, int status, const char* text) {
        Arguments all = {"layers", m_target};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const CommandResult result = RunHere(all);
        EXPECT_EQ(result.status, status) << text;
        EXPECT_THAT(result.err, HasSubstr(text));
    };
    expect({"--element", "99"}, 1, "no element has label 99");
    expect({"--element", "25"}, 1, "element 25 has no section");
    expect({"patches"}, 2, "there is no section \"patches\"; near are \"patched\"");
    expect({"patched", "--element", "12"}, 2, "excludes");
    expect({"--instance", "PART-1"}, 2, "requires");

    // An assignment that leads nowhere would end the process inside the section services.
    ORQSimDatabase database =
        ORQSimDatabase::Open(ModelAt(m_target), ORQSimDatabase::Mode::ReadWrite);
    const ORQSimPosition model = ORQObjDocument(database).GetModel();
    const ORQSimPosition assignment =
        *model.GetVector(ORQSimSchema::Model_sectionAssignments).Begin();
    for (const char* missing : {"a region without an element set", "no region"}) {
        ORQSimTransaction transaction(database.ContextID());
        assignment.SetPosition(ORQSimSchema::SectionAssignment_region,
                               std::string(missing) == "no region"
                                   ? ORQSimPosition()
                                   : model.CreateDataRecord(ORQSimSchema::Region).Pos());
        transaction.Commit();
        expect({"--element", "12"}, 3,
               (std::string("section assignment 1 (section \"patched\") refers to ") + missing)
                   .c_str());
    }
}

// --- Pictures ------------------------------------------------------------------------------------

TEST_F(LayupTest, PicturesNameEachLayerOrWhatRepeats) {
    json layup = Valid();
    json layers = json::array();
    for (int i = 0; i < 115; ++i) {
        layers.push_back({{"material", i == 57 ? "foam" : "tape"},
                          {"thickness", i == 57 ? 100.0 : 0.125},
                          {"angle", i < 57 ? (i % 2 == 0 ? 45 : -45) : 90}});
    }
    layup["sections"][0]["layers"] = layers;
    ASSERT_EQ(Import(layup.dump()).status, 0);
    const std::string picture = m_folder / "layup.svg";
    const auto drawn = [&](const char* section) {
        EXPECT_EQ(
            RunHere({"draw", m_target, "--section", section, "-o", picture, "--force"}).status, 0);
        return Bytes(picture);
    };
    EXPECT_THAT(drawn("plain"), AllOf(HasSubstr("30 deg  t 1..5  5 pts  P1"),
                                      HasSubstr("t 0.5   3 pts"), HasSubstr(">tape<")));
    EXPECT_THAT(drawn("patched"),
                AllOf(HasSubstr("28 x [45/-45]"), HasSubstr("59-115"),
                      HasSubstr("114 too thin for the scale"), HasSubstr("115 layers")));
    const CommandResult jsonResult = RunHere({"draw", m_target, "--section", "plain", "-o",
                                              m_folder / "layup.png", "--size", "64x64", "--json"});
    EXPECT_EQ(json::parse(jsonResult.out)["layers"], 4);
    EXPECT_EQ(RunHere({"draw", m_target, "--section", "plain", "--view", "+x", "-o",
                       m_folder / "layup.png", "--force"})
                  .status,
              2);
}

TEST(WriteLayup, ValuesThatVaryAreWrittenOnce) {
    const ORQSimDatabase database = NewDatabase();
    const ORQSimTransaction transaction(database.ContextID());
    const ORQObjModelBuilder builder(database);
    builder.AddElementSet("skin", 1, builder.AddElements(2));
    ORQExcLayup layup;
    ORQExcLayup::Layer layer;
    layer.thicknesses = {{"skin", {1, 2}}};
    layup.sections = {{"first", 1, {layer}}};
    ORQExcWriteLayup(layup, builder.Document());
    layup.sections[0].name = "second";
    try {
        ORQExcWriteLayup(layup, builder.Document());
        FAIL() << "no error";
    } catch (const ORQBasFailure& failure) {
        EXPECT_EQ(failure.Text(), "the model has thicknesses that vary over the elements already");
    }
    layup.sections[0].layers[0].angles = std::move(layup.sections[0].layers[0].thicknesses);
    layup.sections[0].layers[0].thicknesses = {};
    EXPECT_NO_THROW(ORQExcWriteLayup(layup, builder.Document()));
}

// --- Crashes -------------------------------------------------------------------------------------

class LayersAfterACrash : public testing::Test {
  protected:
    static constexpr int kSections = 3000;
    static constexpr int kLayers = 6;

    LayersAfterACrash() {
        ORQSimDatabase database = ORQSimDatabase::Create(m_target);
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        const ORQObjSectionBuilder sections(builder.Document());
        for (int section = 0; section < kSections; ++section) {
            sections.AddShellSection("S" + std::to_string(section), section, kLayers);
        }
        Write(database, 1);
        transaction.Commit();
        database.Close();
    }

    static void Write(const ORQSimDatabase& database, int value) {
        auto& layers = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
        for (int layer = 0; layer < kLayers; ++layer) {
            for (int section = 0; section < kSections; ++section) {
                layers.AppendNumSectionPoints(layer, section, value);
                layers.AppendConstThickness(layer, section, value);
                layers.AppendConstAngle(layer, section, value);
            }
        }
        layers.WriteBulkDistributions(ORQObjDocument(database).GetModel());
        layers.Clean();
    }

    pid_t StartRewriting(int value) const {
        const pid_t child = fork();
        if (child == 0) {
            ORQSimDatabase database =
                ORQSimDatabase::Open(ModelAt(m_target), ORQSimDatabase::Mode::ReadWrite);
            Write(database, value);
            database.Close();
            _exit(0);
        }
        return child;
    }

    /// The one value of all layers of some sections.
    int Value() const {
        const ORQSimDatabase database =
            ORQSimDatabase::Open(ModelAt(m_target), ORQSimDatabase::Mode::ReadOnly);
        const ORQSimCollection sections(ORQObjDocument(database)
                                            .GetModel()
                                            .GetPosition(ORQSimSchema::Model_sections)
                                            .GetCollection());
        std::set<double> values;
        for (int member = 0; member < kSections; member += 37) {
            const ORQSrvShellSection section(sections.GetMember(member));
            values.insert(section.GetSectionPoints().begin(), section.GetSectionPoints().end());
            for (const auto* numbers :
                 {&section.GetConstThicknesses(), &section.GetConstRotationAngles()}) {
                values.insert(numbers->begin(), numbers->end());
            }
        }
        EXPECT_EQ(values.size(), 1U) << "layers of two writes are mixed";
        return static_cast<int>(*values.begin());
    }

    ScratchFolder m_folder;
    std::string m_target = m_folder / "model.orq";
};

TEST_F(LayersAfterACrash, AreThoseBeforeOrThoseWritten) {
    using Clock = std::chrono::steady_clock;
    int old = 2;
    const auto begin = Clock::now();
    ASSERT_EQ(StatusOf(StartRewriting(old)), 0);
    ASSERT_EQ(Value(), old);
    const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
    std::mt19937 random(11);
    int nKept = 0;
    for (int round = 0; round < 15; ++round) {
        const pid_t child = StartRewriting(old + 1);
        usleep(static_cast<useconds_t>(random() % static_cast<unsigned long>(whole.count())));
        kill(child, SIGKILL);
        StatusOf(child);
        const int value = Value();
        EXPECT_THAT(value, testing::AnyOf(old, old + 1));
        nKept += value == old;
        old = value;
    }
    EXPECT_GT(nKept, 0) << "no write was interrupted";
    EXPECT_EQ(RunHere({"verify", m_target}).status, 0);
}

}  // namespace
}  // namespace orqmodel
