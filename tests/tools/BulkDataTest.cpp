// Bulk data decks on their way in and out.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <tuple>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcImportError.h"
#include "ORQExcModel.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimSchema.h"
#include "ORQSrvShellSection.h"
#include "formats/nastran/NastranDeck.h"
#include "formats/nastran/NastranReader.h"
#include "formats/nastran/NastranText.h"

using namespace orq::exchange;

namespace orqmodel {
namespace {

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

json ReadJson(const fs::path& deck, const fs::path& out) {
    const std::string command =
        ORQ_PYTHON " " ORQ_READ_BULK_DATA " " + deck.string() + " > " + out.string();
    EXPECT_EQ(std::system(command.c_str()), 0);
    return json::parse(Bytes(out));
}

// --- Real decks ----------------------------------------------------------------------------------

class RealDeck : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        m_deck = fs::path(ORQ_SHARED_MODELS) / GetParam();
        if (!fs::exists(m_deck)) {
            GTEST_SKIP() << "no real models on this machine";
        }
        ASSERT_EQ(RunHere({"import", m_deck.string(), "-o", m_folder / "m.orq"}).status, 0);
        m_said = ReadJson(m_deck, m_folder / "said.json");
    }
    static ORQExcModel Model(const std::string& name) {
        return ORQExcModel(
            ORQObjDocument(ORQSimDatabase::Open(ModelAt(name), ORQSimDatabase::Mode::ReadOnly)));
    }

    ScratchFolder m_folder;
    fs::path m_deck;
    json m_said;
};

TEST_P(RealDeck, HoldsTheNodesAndElementsOfTheDeck) {
    const ORQExcModel model = Model(m_folder / "m.orq");
    const std::vector<int> labels = model.NodeLabels();
    std::vector<double> positions(3 * labels.size());
    model.ReadCoordinates(0, model.NumNodes(), positions);
    json nodes;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        nodes[std::to_string(labels[i])] =
            std::vector<double>(&positions[3 * i], &positions[3 * i] + 3);
    }
    EXPECT_TRUE(nodes == m_said["nodes"]);

    const std::vector<int> elementLabels = model.ElementLabels();
    json elements;
    for (const ORQExcModel::Block& block : model.Blocks()) {
        // The other reader knows shells and bars.
        const bool isCompared = block.shapeName != "CONM2" && block.shapeName != "PLOTEL";
        const auto nNodes = static_cast<std::size_t>(block.shape->nNodes);
        std::vector<int> rows(static_cast<std::size_t>(block.elements.Size()) * nNodes);
        model.ReadConnectivity(block, 0, block.elements.Size(), rows);
        for (std::size_t i = 0; i < rows.size() && isCompared; i += nNodes) {
            std::vector<int> named;
            for (std::size_t k = 0; k < nNodes; ++k) {
                named.push_back(labels[static_cast<std::size_t>(rows[i + k])]);
            }
            const int element = block.elements[static_cast<int>(i / nNodes)];
            elements[std::to_string(elementLabels[static_cast<std::size_t>(element)])] = {
                block.shapeName, block.number, named};
        }
    }
    EXPECT_TRUE(elements == m_said["elements"]);
}

TEST_P(RealDeck, HoldsWhatTheFactsSay) {
    const json facts = json::parse(Bytes(fs::path(ORQ_SHARED_MODELS) / "facts.json"))[GetParam()];
    const ORQExcModel model = Model(m_folder / "m.orq");
    EXPECT_EQ(model.NumNodes(), facts["nodes"]);
    json byType = json::object();
    json byProperty = json::object();
    for (const ORQExcModel::Block& block : model.Blocks()) {
        if (!block.definition.empty() || block.number != 0) {
            byType[block.shapeName] = byType.value(block.shapeName, 0) + block.elements.Size();
            const std::string number = std::to_string(block.number);
            byProperty[number] = byProperty.value(number, 0) + block.elements.Size();
        }
    }
    EXPECT_EQ(byType, facts["elements_by_type"]);
    EXPECT_EQ(byProperty, facts["elements_per_property"]);
    json sets;
    json rigid = json::object();
    for (const ORQExcModel::Set& set : model.NodeSets()) {
        if (set.name.starts_with("RBE2")) {
            rigid["RBE2"] = rigid.value("RBE2", 0) + 1;
        } else {
            std::string name = set.name;
            std::ranges::replace(name, ' ', ':');
            sets[name] = set.members.Size();
        }
    }
    EXPECT_EQ(sets, facts["node_sets"]);
    EXPECT_EQ(rigid, facts["rigid_elements_by_type"]);
}

TEST_P(RealDeck, LayersAreThePliesOfTheDeck) {
    const ORQExcModel model = Model(m_folder / "m.orq");
    const ORQSimCollection sections(
        model.Document().GetModel().GetPosition(ORQSimSchema::Model_sections).GetCollection());
    json plies;
    for (int member = 0; member < sections.Space(); ++member) {
        const ORQSimPosition position = sections.GetMember(member);
        if (!position.Name(ORQSimSchema::Record_name).UTF8().starts_with("PCOMP")) {
            continue;
        }
        const ORQSrvShellSection section(position);
        json layers = json::array();
        for (std::size_t i = 0; i < static_cast<std::size_t>(section.GetNumLayers()); ++i) {
            // Angles that elements turn, each by its own THETA, are a field.
            const bool isTurned =
                section.GetRotationAngleVariations()[i] == ORQSrvShellSection::VariationDistributed;
            const std::string number = std::to_string(position.DataRecord().GetInt(1));
            layers.push_back({section.GetMaterials()[i].DataRecord().GetInt(0),
                              section.GetConstThicknesses()[i],
                              isTurned ? m_said["plies"][number][i][2]
                                       : json(section.GetConstRotationAngles()[i])});
        }
        const std::string number = std::to_string(position.DataRecord().GetInt(1));
        EXPECT_EQ(layers, m_said["plies"][number]) << number;
        plies[number] = layers;
    }
    EXPECT_EQ(plies.size(), m_said["plies"].size());
}

TEST_P(RealDeck, ComesBackEqual) {
    const std::string once = m_folder / "once.bdf";
    const std::string twice = m_folder / "twice.bdf";
    ASSERT_EQ(RunHere({"export", m_folder / "m.orq", "-o", once, "--strict"}).status, 0);
    json back = ReadJson(once, m_folder / "back.json");
    for (const char* content : {"nodes", "elements", "plies", "materials"}) {
        EXPECT_TRUE(back[content] == m_said[content]) << content;
    }
    for (const char* card : {"CONM2", "RBE2", "SET1", "PBARL"}) {
        EXPECT_EQ(back["cards"][card], m_said["cards"][card]) << card;
    }
    ASSERT_EQ(RunHere({"import", once, "-o", m_folder / "n.orq"}).status, 0);
    ASSERT_EQ(RunHere({"export", m_folder / "n.orq", "-o", twice}).status, 0);
    EXPECT_TRUE(Bytes(once) == Bytes(twice));
    EXPECT_EQ(RunHere({"verify", m_folder / "n.orq"}).status, 0);
}

INSTANTIATE_TEST_SUITE_P(All, RealDeck,
                         testing::Values("bwb_saero.bdf", "flat_plate_composite.bdf"));

// --- Small decks ---------------------------------------------------------------------------------

constexpr const char* kTwoPlates = R"($ two plates
GRID,1,,0.,0.,0.
GRID,2,,1.,0.,0.
GRID,3,,1.,1.,0.
GRID,4,,0.,1.,0.
CQUAD4,10,7,1,2,3,4
CTRIA3,11,8,1,2,3
PCOMP,7,,,,,,,SYM
+,5,.1,0.,,,,45.
PSHELL,8,5,.2
MAT1,5,7.+10,,.3
ENDDATA
)";

class Deck : public testing::Test {
  protected:
    fs::path Written(std::string_view text, const char* name = "deck.bdf") const {
        PutBytes(m_folder / name, text);
        return m_folder / name;
    }
    NastranReader Read(std::string_view text) const { return NastranReader(Written(text)); }
    /// Errors, or findings where there are none, with the folder's name left out.
    std::vector<std::string> ErrorsOf(std::string_view text) const {
        std::vector<std::string> errors;
        try {
            const ORQExcReport losses = Read(text).Losses();
            for (const ORQExcReportEntry& entry : losses.Entries()) {
                if (entry.outcome == ORQExcOutcome::Found) {
                    errors.push_back(entry.reason);
                }
            }
        } catch (const ORQExcImportError& error) {
            errors = error.Errors();
        }
        const std::string prefix = m_folder / "";
        for (std::string& one : errors) {
            for (auto at = one.find(prefix); at != std::string::npos; at = one.find(prefix)) {
                one.erase(at, prefix.size());
            }
        }
        return errors;
    }
    static std::vector<double> Coordinates(ORQExcMeshSource& source) {
        std::vector<double> values(3 * static_cast<std::size_t>(source.NumNodes()));
        source.ReadCoordinates(0, source.NumNodes(), values);
        return values;
    }
    static std::vector<std::string> LossesOf(const ORQExcMeshSource& source) {
        std::vector<std::string> losses;
        const ORQExcReport report = source.Losses();
        for (const ORQExcReportEntry& entry : report.Entries()) {
            losses.push_back(entry.kind + " " + entry.name + " " + std::to_string(entry.count));
        }
        return losses;
    }

    ScratchFolder m_folder;
};

TEST(BulkNumbers, AreReadInEverySpelling) {
    const std::pair<const char*, double> cases[] = {
        {"1.03+7", 1.03e7}, {"1.5D3", 1500}, {".5", .5},       {"-.5d-1", -.05}, {"+2.", 2},
        {"7", 7},           {"1.-3", .001},  {"-1.E+2", -100}, {"1+3", 1000},    {"-0.", -0.0}};
    for (const auto& [text, value] : cases) {
        ASSERT_TRUE(BulkReal(text)) << text;
        EXPECT_EQ(*BulkReal(text), value) << text;
        EXPECT_EQ(std::signbit(*BulkReal(text)), std::signbit(value)) << text;
    }
    for (const char* text : {"", ".", "-", "1.2.3", "1e", "1.+", "abc", "inf", "nan", "1.+400",
                             "--1", "1 2", "1e2+3"}) {
        EXPECT_FALSE(BulkReal(text)) << text;
    }
    EXPECT_FALSE(BulkInt("1.")) << "a real is no integer";
    EXPECT_FALSE(BulkInt("3000000000"));
}

TEST(BulkNumbers, AreWrittenShortAndExact) {
    const std::pair<double, const char*> cases[] = {
        {0.0, "0."},     {-0.0, "-0."},       {45, "45."}, {-0.5, "-.5"},      {1.25e-4, "1.25-4"},
        {7e10, "7.+10"}, {123456, "123456."}, {0.1, ".1"}, {1e-300, "1.-300"}, {1234.5, "1234.5"}};
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(BulkText(value), text);
    }
    std::uint64_t bits = 0x9E3779B97F4A7C15;
    for (int i = 0; i < 10000; ++i) {
        bits ^= bits << 13;
        bits ^= bits >> 7;
        bits ^= bits << 17;
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isfinite(value)) {
            ASSERT_TRUE(BulkReal(BulkText(value)) == value) << BulkText(value);
            ASSERT_LE(BulkText(value).size(), 24);
        }
    }
}

TEST_F(Deck, FieldsMayBeSmallLargeOrFree) {
    Written("GRID\t4\t\t.25\t0.\t0.\nCQUAD4  10              1       2       3       4\n",
            "part.inc");
    NastranReader reader = Read(
        "SOL 101\nCEND\nSPC = 1\nBEGIN BULK\n"
        "GRID           1              1.      2.      3.$ comment\n"
        "GRID*                  2                             1.0       1234567.5*ABC\n"
        "$ between\n"
        "*ABC                 -.5\n"
        "grid , 3 ,, 4. , 5. , 6.\n"
        "INCLUDE 'part.inc'\r\n"
        "PSHELL,10,1,.1\nMAT1,1,\n,\nENDDATA\nnothing");
    EXPECT_THAT(Coordinates(reader), ElementsAre(1, 2, 3, 1, 1234567.5, -.5, 4, 5, 6, .25, 0, 0));
    const std::vector<ORQExcKeptText> kept = reader.KeptTexts();
    EXPECT_EQ(kept.at(0).text, "SOL 101\nCEND\n");
    EXPECT_EQ(kept.at(1).text, "SPC = 1\n");
}

// Each table takes a page of 2048 bytes, whatever is in it: with one more, or with meanings of slots
// that are longer by a page, this one fails.
TEST_F(Deck, AModelOfSixtyNodesTakesLessThan79000Bytes) {
    std::string text = "BEGIN BULK\n";
    for (int node = 0; node < 60; ++node) {
        text += fmt::format("GRID,{},,{}.,{}.,{}.\n", node + 1, node % 5, node / 5 % 4, node / 20);
    }
    for (int element = 0; element < 24; ++element) {
        const int first = 1 + element % 4 + 5 * (element / 4 % 3) + 20 * (element / 12);
        text +=
            fmt::format("CHEXA,{},1,{},{},{},{},{},{},+\n+,{},{}\n", element + 1, first, first + 1,
                        first + 6, first + 5, first + 20, first + 21, first + 26, first + 25);
    }
    Written(text + "PSOLID,1,1\nMAT1,1,2.1+11,,.3\nENDDATA\n", "sixty.bdf");
    ASSERT_EQ(RunHere({"import", m_folder / "sixty.bdf", "-o", m_folder / "sixty.orq"}).status, 0);
    std::uintmax_t size = 0;
    for (const fs::directory_entry& file : fs::directory_iterator(m_folder / "sixty.orq")) {
        size += file.file_size();
    }
    EXPECT_LT(size, 79'000U);
}

TEST_F(Deck, NodesStandInTheBasicSystem) {
    // System 1 has its origin at (1, 2, 3) and its axes along y, z, x; 2 and 3 are cylindrical and
    // spherical, given in 1; 4 is spanned by nodes, of which one is given in 2.
    NastranReader reader = Read(
        "CORD2C,2,1,0.,0.,0.,0.,0.,1.\n,1.,0.,0.\n"
        "CORD2R,1,,1.,2.,3.,2.,2.,3.\n,1.,5.,3.\n"
        "CORD2S,3,1,0.,0.,0.,0.,0.,1.\n,1.,0.,0.\n"
        "CORD1R,4,5,6,7\n"
        "GRDSET,,1\n"
        "GRID,1,,10.,20.,30.\nGRID,2,2,2.,90.,5.\nGRID,3,3,2.,90.,180.\nGRID,4,4,1.,2.,3.\n"
        "GRID,5,0,0.,0.,0.\nGRID,6,0,0.,0.,2.\nGRID,7,2,1.,0.,0.\n");
    const std::vector<double> expected = {31, 12, 23, 6, 2, 5, 1, 0, 3};
    const std::vector<double> found = Coordinates(reader);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(found[i], expected[i], 1e-14) << i;
    }
    // Node 7 lies at (1, 3, 3): the first axis of 4 points to (1, 3) in the plane z = 0.
    const double root = std::sqrt(10.0);
    EXPECT_NEAR(found[9], (1 - 2 * 3) / root, 1e-14);
    EXPECT_NEAR(found[10], (3 + 2 * 1) / root, 1e-14);
    EXPECT_NEAR(found[11], 3, 1e-14);
    EXPECT_THAT(LossesOf(reader), Contains("node coordinates  5"));
}

TEST_F(Deck, LaminatesAreExpandedAndPliesRepeatTheOneBefore) {
    std::string text = kTwoPlates;
    const NastranReader reader = Read(text.insert(
        0, "PCOMPG,9,-.05,,,HILL\n+,101,5,.1,30.\n+,205,5,.2,-30.\nMAT8,6,1.+9,1.+9,.3,1.+9\n"));
    const ORQExcLayup& layup = *reader.Sections();
    ASSERT_EQ(layup.sections.size(), 3);
    const ORQExcLayup::Section& symmetric = layup.sections[0];
    EXPECT_EQ(symmetric.name, "PCOMP 7");
    std::vector<double> angles;
    for (const ORQExcLayup::Layer& layer : symmetric.layers) {
        angles.push_back(layer.angle.value());
        EXPECT_EQ(layup.materials[static_cast<std::size_t>(layer.material)].name, "MAT1 5");
        EXPECT_EQ(layer.thickness, .1);
    }
    EXPECT_THAT(angles, ElementsAre(0, 45, 45, 0));
    const ORQExcLayup::Section& global = layup.sections[2];
    EXPECT_EQ(global.kind, "PCOMPG");
    EXPECT_EQ(global.constants[0], -.05);
    EXPECT_TRUE(std::isnan(global.constants[1]));
    EXPECT_EQ(layup.plies[static_cast<std::size_t>(global.layers[1].ply)].number, 205);
    EXPECT_EQ(layup.materials[1].tables[0].values[0], 7e10);
}

TEST_F(Deck, MaterialDirectionsBecomeOrientationsAndAngles) {
    const NastranReader reader = Read(
        "CORD2R,3,,0.,0.,0.,0.,0.,1.\n,0.,1.,0.\n"
        "GRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,3,,1.,1.,0.\n"
        "CTRIA3,1,7,1,2,3,3\nCTRIA3,2,7,1,2,3,10.\nCTRIA3,3,7,1,2,3\nCTRIA3,4,8,1,2,3,20.\n"
        "PCOMP,7\n,5,.1,45.\nPCOMP,8\n,5,.1,45.\nMAT1,5,7.+10,,.3\n");
    const ORQExcLayup& layup = *reader.Sections();
    ASSERT_EQ(layup.sections.size(), 3);
    EXPECT_EQ(layup.sections[0].name, "PCOMP 7");
    const ORQExcLayup::Layer& varying = layup.sections[0].layers[0];
    EXPECT_FALSE(varying.angle);
    EXPECT_EQ(varying.angles[0].elementSet, "PCOMP 7 THETA");
    EXPECT_THAT(varying.angles[0].values, ElementsAre(55, 45));
    EXPECT_EQ(layup.sections[1].name, "PCOMP 7 MCID 3");
    const ORQExcLayup::Layer& oriented = layup.sections[1].layers[0];
    EXPECT_EQ(oriented.angle, 45);
    EXPECT_THAT(layup.orientations[static_cast<std::size_t>(oriented.orientation)].axis1,
                ElementsAre(0, 1, 0));
    EXPECT_EQ(layup.sections[2].layers[0].angle, 65);
    EXPECT_EQ(reader.ElementSets()[0].name, "PCOMP 7 THETA");
    EXPECT_THAT(LossesOf(reader),
                AllOf(Contains("section PCOMP 7 1"), Contains("section PCOMP 8 1")));
}

TEST_F(Deck, EachKindOfElementAndSetComesBack) {
    std::string text;
    for (int node = 1; node <= 20; ++node) {
        text +=
            "GRID," + std::to_string(node) + ",," + std::to_string(node * node) + ".1234567890123";
        text += node % 2 == 0 ? ",.5,,,456\n" : ",1.-7\n";
    }
    text +=
        "CHEXA,1,1,1,2,3,4,5,6\n,7,8,9,10,11,12,13,14\n,15,16,17,18,19,20\n"
        "CPENTA,2,1,1,2,3,4,5,6\nCTETRA,3,1,1,2,3,4\nCPYRAM,4,1,1,2,3,4,5\n"
        "CHEXA,5,1,1,2,3,4,5,6\n,7,8,9\n"
        "CELAS1,6,2,,,3,2\nCELAS2,7,100.,1,1,2,1\nCBAR,8,3,1,2,0.,0.,1.\nCBAR,9,3,1,2,5\n"
        "CONROD,10,1,2,5,.1\nCTRIA6,11,4,1,2,3\nCTRIA6,12,4,1,2,3,4,5,6\n,30.,.1,.1,.2,.3\n"
        "PSOLID,1,5,0,,GRID\nPELAS,2,10.\nPBARL,3,5,,ROD\n,.1\nPSHELL,4,5,.1,5,,5\n"
        "MAT1,5,7.+10,,.3\n"
        "RBE2,20,5,123,1,2\nRBE3,21,,6,123456,1.,123,1,2\n,3\nRBAR,22,1,2,123456\n"
        "SET1,1,1,THRU,7\nSET1,2,11,12,3,10\nSET1,3,101\nSPC1,9,12,2,THRU,30\n";
    ASSERT_EQ(RunHere({"import", Written(text).string(), "-o", m_folder / "m.orq"}).status, 0);
    const std::string once = m_folder / "once.bdf";
    ASSERT_EQ(RunHere({"export", m_folder / "m.orq", "-o", once, "--strict"}).status, 0);
    NastranReader first = Read(text);
    NastranReader second{fs::path(once)};
    EXPECT_EQ(Coordinates(first), Coordinates(second));
    ASSERT_EQ(first.Blocks().size(), second.Blocks().size());
    for (std::size_t i = 0; i < first.Blocks().size(); ++i) {
        const ORQExcMeshSource::Block& a = first.Blocks()[i];
        const ORQExcMeshSource::Block& b = second.Blocks()[i];
        EXPECT_EQ(std::tie(a.name, a.number, a.shape, a.shapeName, a.nElements, a.attributes,
                           a.properties, a.definition),
                  std::tie(b.name, b.number, b.shape, b.shapeName, b.nElements, b.attributes,
                           b.properties, b.definition));
        const auto read = [&](NastranReader& reader) {
            std::vector<int> nodes(static_cast<std::size_t>(a.nElements * a.shape->nNodes));
            reader.ReadConnectivity(static_cast<int>(i), 0, a.nElements, nodes);
            std::vector<double> values(static_cast<std::size_t>(a.nElements) * a.attributes.size());
            reader.ReadAttributes(static_cast<int>(i), 0, a.nElements, values);
            for (double& value : values) {
                value = std::isnan(value) ? -999 : value;
            }
            return std::pair(nodes, values);
        };
        EXPECT_EQ(read(first), read(second)) << a.name;
    }
    const auto sets = [](NastranReader& reader) {
        std::map<std::string, std::pair<ORQExcMeshSource::Properties, std::vector<int>>> members;
        for (std::size_t i = 0; i < reader.NodeSets().size(); ++i) {
            ORQExcMeshSource::Properties properties = reader.NodeSets()[i].properties;
            std::ranges::sort(properties);
            members[reader.NodeSets()[i].name] = {
                properties, reader.ReadSet(ORQObjLabelerType::Node, static_cast<int>(i))};
        }
        return members;
    };
    EXPECT_EQ(sets(first), sets(second));
    EXPECT_THAT(sets(first)["RBE2 20"].second, ElementsAre(4, 0, 1));
    EXPECT_EQ(sets(first)["SPC1 9 12"].second.size(), 19);
    EXPECT_EQ(sets(first)["PS 456"].second.size(), 10);
    EXPECT_THAT(LossesOf(first), AllOf(Contains("elements CHEXA 1"), Contains("set SET1 3 1")));
}

TEST_F(Deck, ErrorsNameFileLineCardAndField) {
    struct Case {
        const char* from;
        std::string to;
        std::vector<std::string> errors;
    };
    const std::string longName(300, 'a');
    const Case cases[] = {
        {"GRID,3,,1.,1.",
         "GRID,3,,1.,x",
         {"deck.bdf: line 4: GRID 3: field 5: \"x\" is not a number that fits"}},
        {"GRID,3,", "GRID,0,", {"deck.bdf: line 4: GRID 0: field 2: 0 is below 1"}},
        {"GRID,3,",
         "GRID,2,",
         {"deck.bdf: line 4: GRID 2: field 2: the label is given before, in deck.bdf: line 3",
          "deck.bdf: line 6: CQUAD4 10: field 6: node 3 is missing; the element is left out",
          "deck.bdf: line 7: CTRIA3 11: field 6: node 3 is missing; the element is left out"}},
        {"GRID,4,,",
         "GRID,4,6,",
         {"deck.bdf: line 5: GRID 4: field 3: coordinate system 6 is missing or wrong; the node "
          "stands as if its numbers were of the basic system"}},
        {"CTRIA3,11,8",
         "CTRIA3,10,8",
         {"deck.bdf: line 7: CTRIA3 10: field 2: the label is given before, in deck.bdf: line 6; "
          "the element is left out"}},
        {"CTRIA3,11,8",
         "CTRIA3,11,9",
         {"deck.bdf: line 7: CTRIA3 11: field 3: property 9 is missing; elements that name it: 1"}},
        {"1,2,3,4", "1,2,,4", {"deck.bdf: line 6: CQUAD4 10: field 6: is blank; a node is needed"}},
        {"+,5,.1,0.", "+,6,.1,0.", {"deck.bdf: line 8: PCOMP 7: field 12: material 6 is missing"}},
        {"+,5,.1,0.",
         "+,5,0.,0.",
         {"deck.bdf: line 8: PCOMP 7: field 13: the ply's thickness 0 is not above 0"}},
        {"+,5,.1,0.",
         "+,5,-.1,0.",
         {"deck.bdf: line 8: PCOMP 7: field 13: the ply's thickness -0.1 is not above 0"}},
        {"+,5,.1,0.", "+,,.1,0.", {"deck.bdf: line 8: PCOMP 7: field 12: the ply has no material"}},
        {"PSHELL,8,5,.2",
         "PSHELL,8,5,-2.",
         {"deck.bdf: line 10: PSHELL 8: field 4: the thickness -2 is not above 0"}},
        {"PSHELL,8,5,.2",
         "PSHELL,7,5,.2",
         {"deck.bdf: line 10: PSHELL 7: field 2: property 7 is given before, in deck.bdf: line 8",
          "deck.bdf: line 7: CTRIA3 11: field 3: property 8 is missing; elements that name it: 1"}},
        {"PSHELL,8,5,.2",
         "PSHELL,8,5,.2,4",
         {"deck.bdf: line 10: PSHELL 8: field 5: material 4 is missing"}},
        {"MAT1,5,",
         "MAT8,5,,,,,,,,+A\nMAT1,5,",
         {"deck.bdf: line 12: MAT1 5: field 2: material 5 is given before, in deck.bdf: line 11"}},
        {"GRID,1,",
         "+,1.,2.\nGRID,1,",
         {"deck.bdf: line 2: the continuation \"+\" has no card before it"}},
        {"GRID,1,",
         "CORD2R,1,2\n,1.\nCORD2R,2,1\n,1.\nGRID,1,",
         {"deck.bdf: line 2: CORD2R 1: the coordinate systems refer to each other in a circle: 1 "
          "-> 2 -> 1",
          "deck.bdf: line 4: CORD2R 2: field 3: coordinate system 1 is missing or wrong"}},
        {"GRID,1,",
         "CORD2R,1\n,1.\nGRID,1,",
         {"deck.bdf: line 2: CORD2R 1: its three points lie on one line"}},
        {"GRID,1,",
         "INCLUDE 'none.bdf'\nGRID,1,",
         {"deck.bdf: line 2: INCLUDE: none.bdf: file: does not exist or is not a regular file"}},
        {"GRID,1,",
         "INCLUDE '" + longName + "'\nGRID,1,",
         {"deck.bdf: line 2: INCLUDE: " + longName +
          ": file: does not exist or is not a regular file"}},
        {"GRID,1,",
         "INCLUDE 'deck.bdf'\nGRID,1,",
         {"deck.bdf: line 2: INCLUDE: the file includes itself: deck.bdf -> deck.bdf"}},
        {"GRID,1,",
         "SPC1,1,12,3,33\nGRID,1,",
         {"deck.bdf: line 2: SPC1 1 12: field 5: node 33 is missing"}},
        {"CTRIA3,11,8,1,2,3",
         "CTRIA3,11,8,1,2,3,9",
         {"deck.bdf: line 7: CTRIA3 11: field 7: coordinate system 9 is missing or wrong"}},
    };
    EXPECT_THAT(ErrorsOf(kTwoPlates), testing::IsEmpty());
    for (const Case& c : cases) {
        std::string text = kTwoPlates;
        text.replace(text.find(c.from), std::strlen(c.from), c.to);
        std::vector<std::string> found = ErrorsOf(text);
        EXPECT_THAT(found, testing::UnorderedElementsAreArray(c.errors)) << c.to;
    }
}

TEST_F(Deck, ManyErrorsAreCountedAndShownEachOnItsLine) {
    std::string text = "GRID,1\n";
    for (int i = 0; i < 25; ++i) {
        text += "GRID,x\n";
    }
    const std::vector<std::string> errors = ErrorsOf(text);
    ASSERT_EQ(errors.size(), 21);
    EXPECT_EQ(errors.back(), "deck.bdf: and 5 more errors");
    const CommandResult result =
        RunHere({"import", Written(text).string(), "-o", m_folder / "m.orq"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(std::ranges::count(result.err, '\n'), 21);
    EXPECT_FALSE(fs::exists(m_folder / "m.orq"));
}

TEST_F(Deck, AChainOfCoordinateSystemsMayBeLong) {
    constexpr int kLength = 50'000;
    // Each stands one further along z than the one that it refers to; nodes begin and end chains.
    std::string text =
        "GRID,1,1,1.,2.,3.\nGRID,2,0,0.,0.,0.\nGRID,3,0,0.,0.,1.\nGRID,4,0,1.,0.,0.\n";
    for (int number = 1; number < kLength; ++number) {
        text += "CORD2R," + std::to_string(number) + "," + std::to_string(number + 1) +
                ",0.,0.,1.,0.,0.,2.\n,1.,0.,1.\n";
    }
    text += "CORD1R," + std::to_string(kLength) +
            ",2,3,4\nCTRIA3,11,8,1,2,3\nPSHELL,8,5,.2\nMAT1,5,7.+10,,.3\n";
    EXPECT_THAT(ErrorsOf(text), testing::IsEmpty());
    NastranReader reader = Read(text);
    EXPECT_EQ(Coordinates(reader)[2], 3.0 + kLength - 1);

    text.replace(text.find("CORD1R,50000,2,3,4"), 18, "CORD2R,50000,1\n,1.");
    const std::vector<std::string> errors = ErrorsOf(text);
    ASSERT_FALSE(errors.empty());
    EXPECT_THAT(errors.front(),
                AllOf(HasSubstr("in a circle: 1 -> 2 -> 3"), HasSubstr("... -> 1")));
    EXPECT_LT(errors.front().size(), 500);
}

TEST_F(Deck, FilesThatIncludeOthersAgainAndAgainEnd) {
    constexpr int kLevels = 41;
    for (int level = 1; level <= kLevels; ++level) {
        const std::string next = "INCLUDE 'level" + std::to_string(level + 1) + ".bdf'\n";
        PutBytes(m_folder / ("level" + std::to_string(level) + ".bdf"),
                 level < kLevels ? next + next : "$ the last one\n");
    }
    const std::vector<std::string> errors = ErrorsOf("BEGIN BULK\nINCLUDE 'level1.bdf'\n");
    EXPECT_THAT(errors,
                Contains(AllOf(HasSubstr(".bdf: line "),
                               HasSubstr("INCLUDE: this would be file 10001 of the deck"))));
    EXPECT_LT(errors.size(), 5U);
    // Hundreds of files are nothing.
    std::string many = kTwoPlates;
    std::string includes;
    for (int i = 0; i < 800; ++i) {
        const std::string name = "part" + std::to_string(i) + ".bdf";
        PutBytes(m_folder / name, "GRID," + std::to_string(1000 + i) + ",,0.,0.,0.\n");
        includes += "INCLUDE '" + name + "'\n";
    }
    many.insert(many.find("GRID,1,"), includes);
    EXPECT_EQ(Read(many).NumNodes(), Read(kTwoPlates).NumNodes() + 800);
}

TEST_F(Deck, HasAMostOfLines) {
    const std::string file = m_folder / "deck.bdf";
    PutBytes(file, "BEGIN BULK\nGRID,1\nINCLUDE 'more.bdf'\nGRID,4\n");
    PutBytes(m_folder / "more.bdf", "GRID,2\nGRID,3\n");
    for (const std::int64_t most : {6, 5}) {
        NastranProblems problems;
        NastranDeck deck(file, problems, {.files = 2, .lines = most});
        BulkCard card;
        int nCards = 0;
        while (deck.Next(card)) {
            ++nCards;
        }
        EXPECT_EQ(nCards, most == 6 ? 4 : 3);
        if (most == 6) {
            EXPECT_NO_THROW(problems.Check());
        } else {
            EXPECT_THROW(problems.Check(), ORQExcImportError);
        }
    }
}

TEST_F(Deck, IsKnownByItsContents) {
    EXPECT_EQ(
        RunHere({"import", Written(std::string("SOL 101\nCEND\nBEGIN BULK\n") + kTwoPlates, "deck"),
                 "-o", m_folder / "m.orq"})
            .status,
        0);
}

TEST_F(Deck, BytesAtRandomAreNoDeckOrAnError) {
    for (std::size_t at = 0; at + 1 < std::strlen(kTwoPlates); ++at) {
        for (const char other : {',', '\n', '*', '9', '-', '\t', '\0'}) {
            std::string text = kTwoPlates;
            text[at] = other;
            try {
                EXPECT_GT(Read(text).NumNodes(), 0);
            } catch (const ORQExcImportError& error) {
                EXPECT_THAT(error.what(), HasSubstr("deck.bdf: "));
            }
        }
    }
}

TEST_F(Deck, MeshesOfOtherFormatsAreWritten) {
    const std::string model = m_folder / "m.orq";
    const std::string deck = m_folder / "wing.bdf";
    ASSERT_EQ(RunHere({"import", ORQ_WING_BOX, "-o", model}).status, 0);
    const CommandResult result = RunHere({"export", model, "-o", deck});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("a placeholder without a material"));
    const json written = ReadJson(deck, m_folder / "wing.json");
    const exodus_file::Mesh mesh = exodus_file::Read(ORQ_WING_BOX);
    ASSERT_EQ(written["nodes"].size(), mesh.positions.size());
    for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
        EXPECT_EQ(written["nodes"][std::to_string(mesh.labels[i])], json(mesh.positions[i]));
    }
    for (const exodus_file::Block& block : mesh.blocks) {
        for (std::size_t i = 0; i < block.elements.size(); ++i) {
            std::vector<int> nodes;
            for (const int node : block.elements[i]) {
                nodes.push_back(mesh.labels[static_cast<std::size_t>(node)]);
            }
            EXPECT_EQ(written["elements"][std::to_string(block.labels[i])][2], json(nodes));
        }
    }
}

}  // namespace
}  // namespace orqmodel
