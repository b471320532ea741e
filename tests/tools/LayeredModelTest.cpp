// A plate of four layers with results at three section points, through every command.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr int kLayers = 4;
constexpr int kSectionPoints = 3;
constexpr int kTimes = 2;

/// Numbers from 1; stresses differ in everything.
double Stress(int component, int layer, int sectionPoint, int element, int time) {
    return (layer % 2 == 0 ? -1 : 1) *
           (component * 1000 + layer * 100 + sectionPoint * 10 + element + 0.5 * time);
}

/// Two quadrilaterals, labelled 11 and 12, in block "plate", a triangle, 13, in block "rest". Stresses
/// in `nLayers` layers of the plate, and a pressure of all.
void WritePlate(const fs::path& file, int nLayers) {
    exodus_file::Content content;
    content.x = {0, 1, 2, 0, 1, 2, 3};
    content.y = {0, 0, 0, 1, 1, 1, 0};
    content.z.assign(7, 0);
    content.labels.clear();
    content.blocks = {{1, "plate", "SHELL4", 4, {1, 2, 5, 4, 2, 3, 6, 5}, {}},
                      {2, "rest", "TRI3", 3, {3, 7, 6}, {}}};
    content.elementLabels = {11, 12, 13};
    exodus_file::Write(content, file);
    std::vector<exodus_file::ElementVariable> variables;
    const auto add = [&](const std::string& name, int block, auto valueOf, int nElements) {
        if (variables.empty() || variables.back().name != name) {
            variables.push_back({name, {}});
        }
        for (int time = 1; time <= kTimes; ++time) {
            std::vector<double>& values = variables.back().values[block].emplace_back();
            for (int element = 1; element <= nElements; ++element) {
                values.push_back(valueOf(element, time));
            }
        }
    };
    for (int component = 1; component <= 2; ++component) {
        for (int layer = 1; layer <= nLayers; ++layer) {
            for (int point = 1; point <= kSectionPoints; ++point) {
                add(
                    "S" +
                        std::string(static_cast<std::size_t>(2),
                                    static_cast<char>('0' + component)) +
                        "_layer" + std::to_string(layer) + "_sp" + std::to_string(point),
                    1,
                    [&](int element, int time) {
                        return Stress(component, layer, point, element, time);
                    },
                    2);
            }
        }
    }
    add(
        "P", 1, [](int element, int) { return 1.0 * element; }, 2);
    add(
        "P", 2, [](int, int) { return 3.0; }, 1);
    exodus_file::AddElementResults(file, variables);
}

constexpr const char* kLayup = R"({"version": 1,
    "materials": [{"name": "tape"}, {"name": "foam"}],
    "plies": [{"name": "P1"}, {"name": "P2"}],
    "sections": [{"name": "laminate", "layers": [
        {"material": "tape", "ply": "P1", "angle": 0, "thickness": 0.1},
        {"material": "tape", "ply": "P2", "angle": 45, "thickness": 0.2},
        {"material": "foam", "thickness": 0.4},
        {"material": "tape", "ply": "P1", "angle": 90, "thickness": 0.1}]}],
    "assignments": [{"section": "laminate", "elements": ["plate"]}]})";

}  // namespace

class LayeredModel : public testing::Test {
  protected:
    void SetUp() override {
        WritePlate(At("plate.e"), kLayers);
        PutBytes(At("layup.json"), kLayup);
        Run({"import", At("plate.e"), "--layup", At("layup.json"), "-o", Model()}, 0);
    }
    std::string At(const std::string& name) const { return m_folder / name; }
    std::string Model() const { return At("plate.orq"); }
    static CommandResult Run(const Arguments& arguments, int status) {
        const CommandResult result = RunHere(arguments);
        EXPECT_EQ(result.status, status) << arguments.front() << ": " << result.err << result.out;
        return result;
    }
    static json Ask(Arguments arguments, int status = 0) {
        arguments.push_back("--json");
        return json::parse(Run(arguments, status).out);
    }
    /// Refused with a text that says what is wrong.
    void Refuse(Arguments arguments, const std::string& text, int status = 2) const {
        EXPECT_THAT(Run(arguments, status).err, HasSubstr(text));
    }
    ScratchFolder m_folder;
};

TEST_F(LayeredModel, IsListedAtEveryPlace) {
    const json table = Ask({"table", Model(), "--field", "S", "--step", "all"});
    ASSERT_EQ(table["rows"].size(), std::size_t{kLayers * kSectionPoints * kTimes * 2});
    std::map<std::string, std::size_t> column;
    for (const json& name : table["columns"]) {
        column.emplace(name, column.size());
    }
    for (const json& row : table["rows"]) {
        const auto number = [&](const char* name) { return row.at(column.at(name)).get<double>(); };
        for (int component = 1; component <= 2; ++component) {
            EXPECT_EQ(number(component == 1 ? "S11" : "S22"),
                      Stress(component, static_cast<int>(number("layer")),
                             static_cast<int>(number("section point")),
                             static_cast<int>(number("element")) - 10,
                             static_cast<int>(number("time")) + 1));
        }
    }
    EXPECT_THAT(Run({"list", "fields", Model()}, 0).out, HasSubstr("4 layers, 3 section points"));
    EXPECT_EQ(Ask({"info", Model()})["fields"].size(), 2U);
    EXPECT_EQ(Ask({"layers", Model(), "--element", "11"})["section"]["layers"].size(), 4U);
    EXPECT_THAT(RunHere({"check", Model()}).out, Not(HasSubstr("field")));
    EXPECT_EQ(Run({"verify", Model()}, 0).status, 0);
}

TEST_F(LayeredModel, ComesThroughEveryFormat) {
    for (const std::string format : {"e", "pvd", "msh"}) {
        SCOPED_TRACE(format);
        Run({"export", Model(), "-o", At("out." + format)}, 0);
        // Sections do not come back from these formats as such.
        Run({"import", At("out." + format), "--layup", At("layup.json"), "-o", At("again.orq"),
             "--force"},
            0);
        for (const char* field : {"S", "P"}) {
            const Arguments list = {"--field", field, "--step", "all"};
            Arguments first = {"table", Model()};
            Arguments second = {"table", At("again.orq")};
            first.insert(first.end(), list.begin(), list.end());
            second.insert(second.end(), list.begin(), list.end());
            EXPECT_EQ(Ask(first)["rows"], Ask(second)["rows"]);
        }
    }
    Run({"export", Model(), "-o", At("nodes.vtu"), "--at", "nodes"}, 0);
    EXPECT_THAT(Bytes(At("nodes.vtu")), HasSubstr("Name=\"S_layer4_sp3\""));
}

TEST_F(LayeredModel, DiffersWhereAValueDoes) {
    EXPECT_EQ(Run({"diff", Model(), Model()}, 0).out, "");
    WritePlate(At("other.e"), kLayers);
    std::string layup = kLayup;
    layup.replace(layup.find("\"angle\": 45"), 11, "\"angle\": 30");
    PutBytes(At("other.json"), layup);
    Run({"import", At("other.e"), "--layup", At("other.json"), "-o", At("other.orq")}, 0);
    const std::string turned = Run({"diff", Model(), At("other.orq")}, 1).out;
    EXPECT_THAT(turned, HasSubstr("angle"));
    EXPECT_THAT(turned, Not(HasSubstr("field")));
    Run({"edit", At("other.orq"), "delete", "field", "S"}, 0);
    EXPECT_THAT(Run({"diff", Model(), At("other.orq")}, 1).out, HasSubstr("\"S_layer1_sp1"));
}

TEST_F(LayeredModel, LosesAFieldWhole) {
    Run({"edit", Model(), "delete", "field", "S"}, 0);
    EXPECT_THAT(Run({"list", "fields", Model()}, 0).out, Not(HasSubstr("layers")));
    Refuse({"table", Model(), "--field", "S"}, "the model has no such results");
    EXPECT_EQ(Ask({"table", Model(), "--field", "P"})["rows"].size(), 3U);
    Run({"verify", Model()}, 0);
}

TEST_F(LayeredModel, IsDrawnThroughTheThickness) {
    const std::string picture = At("through.svg");
    const json drawn =
        Ask({"draw", Model(), "--through", "12", "--field", "S22", "--step", "1", "-o", picture});
    EXPECT_EQ(drawn["section"], "laminate");
    ASSERT_EQ(drawn["values"].size(), std::size_t{kLayers * kSectionPoints});
    // The middle of the thickness, 0.8, is 0: layers end at -0.4, -0.3, -0.1, 0.3 and 0.4.
    const double heights[] = {-0.4, -0.35, -0.3, -0.3, -0.2, -0.1, -0.1, 0.1, 0.3, 0.3, 0.35, 0.4};
    for (std::size_t i = 0; i < drawn["values"].size(); ++i) {
        const json& at = drawn["values"][i];
        EXPECT_NEAR(at["height"], heights[i], 1e-12);
        EXPECT_EQ(at["value"], Stress(2, at["layer"], at["section_point"], 2, 1));
    }
    const std::string svg = Bytes(picture);
    for (const char* text : {"S22 through element 12", "tape", "foam", "45 deg", "0.4"}) {
        EXPECT_THAT(svg, HasSubstr(text));
    }
    Run({"draw", Model(), "--through", "11", "--field", "S", "--component", "S11", "-o",
         At("through.png")},
        0);
    const struct {
        Arguments arguments;
        const char* text;
    } cases[] = {
        {{"--through", "14", "--field", "S11"}, "no element has the label; the nearest are 13"},
        {{"--through", "1", "--field", "S11"}, "the nearest are 11"},
        {{"--through", "13", "--field", "S11"},
         "--through 13: the element has no section with layers"},
        {{"--through", "11", "--field", "P"}, "--field P: it has no values in layers"},
        {{"--through", "11", "--field", "S1l"}, "near are \"S\""},
        {{"--through", "11", "--field", "S", "--component", "S33"}, "S has S11, S22"},
        {{"--through", "11", "--field", "S11", "--point", "1"}, "S has no points"},
        {{"--through", "11", "--field", "S11", "--step", "3"}, "the model has 2 times"},
        {{"--through", "11", "--field", "S11", "--view", "iso"}, "excludes"},
    };
    for (const auto& c : cases) {
        Arguments arguments = c.arguments;
        arguments.insert(arguments.begin(), {"draw", Model(), "-o", At("no.png")});
        Refuse(arguments, c.text);
        EXPECT_FALSE(fs::exists(At("no.png")));
    }
}

// The values come in, and the report says what the section does not have.
TEST_F(LayeredModel, LayersAboveThoseOfTheSectionAreFound) {
    WritePlate(At("five.e"), kLayers + 1);
    const json report = Ask(
        {"import", At("five.e"), "--layup", At("layup.json"), "-o", At("five.orq")}, 1)["report"];
    ASSERT_EQ(report["findings"].size(), 1U);
    EXPECT_EQ(report["findings"][0]["name"], "S");
    EXPECT_EQ(report["findings"][0]["count"], 2);
    EXPECT_THAT(report["findings"][0]["reason"],
                HasSubstr("layer 5 of elements of section \"laminate\", which has 4"));
    EXPECT_EQ(Ask({"table", At("five.orq"), "--field", "S", "--layer", "5"})["rows"].size(), 6U);
    Refuse({"draw", At("five.orq"), "--through", "11", "--field", "S11", "-o", At("five.png")},
           "S has 5 layers in the element, and its section laminate has 4");
    EXPECT_EQ(Run({"import", At("five.e"), "--layup", At("layup.json"), "-o", At("strict.orq"),
                   "--strict"},
                  1)
                  .status,
              1);
    EXPECT_FALSE(fs::exists(At("strict.orq")));
}
