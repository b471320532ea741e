// The page of a mesh: what it holds, and, in a browser without a window, what it shows and answers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "ORQSimDatabase.h"
#include "PngFile.h"
#include "draw/ColourBands.h"
#include "draw/FieldValues.h"
#include "draw/Skin.h"

namespace orqmodel {
namespace {

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// Two squares side by side; the right nodes move to the right, by half and then by two.
const std::string kSquares = R"($MeshFormat
2.2 0 8
$EndMeshFormat
$Nodes
6
1 0 0 0
2 1 0 0
3 2 0 0
4 0 1 0
5 1 1 0
60 2 1 0
$EndNodes
$Elements
2
1 3 2 1 1 1 2 5 4
20 3 2 2 2 2 3 60 5
$EndElements
$NodeData
1
"move"
1
1
3
0
3
4
2 0 0 0
5 0 0 0
3 0.5 0 0
60 0.5 0 0
$EndNodeData
$NodeData
1
"move"
1
2
3
1
3
4
2 0 0 0
5 0 0 0
3 2 0 0
60 2 0 0
$EndNodeData
$ElementData
1
"heat"
1
1
3
0
1
2
1 10
20 20
$EndElementData
$ElementData
1
"heat"
1
2
3
1
1
2
1 10
20 90.5
$EndElementData
)";

/// A plate of squares with values at its nodes.
struct Plate {
    int side;          ///< nodes along each edge
    bool isScattered;  ///< numbered at random, and a little uneven
    int nTimes;
};

std::string PlateText(const Plate& plate) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> shift(-0.3, 0.3);
    std::vector<int> labels(static_cast<std::size_t>(plate.side * plate.side));
    std::iota(labels.begin(), labels.end(), 1);
    std::vector<int> squares;
    for (int i = 0; i < plate.side * (plate.side - 1); ++i) {
        if (i % plate.side < plate.side - 1) {
            squares.push_back(i);
        }
    }
    if (plate.isScattered) {
        std::ranges::shuffle(labels, random);
        std::ranges::shuffle(squares, random);
    }
    std::ostringstream mesh;
    mesh << "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes\n" << labels.size() << '\n';
    for (std::size_t i = 0; i < labels.size(); ++i) {
        const auto place = static_cast<int>(i);
        mesh << labels[i];
        for (const int whole : {place % plate.side, place / plate.side, 0}) {
            mesh << ' ' << whole + (plate.isScattered ? shift(random) : 0);
        }
        mesh << '\n';
    }
    mesh << "$EndNodes\n$Elements\n" << squares.size() << '\n';
    for (std::size_t i = 0; i < squares.size(); ++i) {
        mesh << i + 1 << " 3 2 1 1";
        for (const int step : {0, 1, 1 + plate.side, plate.side}) {
            mesh << ' ' << labels[static_cast<std::size_t>(squares[i] + step)];
        }
        mesh << '\n';
    }
    mesh << "$EndElements\n";
    for (int time = 0; time < plate.nTimes; ++time) {
        mesh << "$NodeData\n1\n\"t\"\n1\n" << time << "\n3\n" << time << "\n1\n" << labels.size();
        for (std::size_t i = 0; i < labels.size(); ++i) {
            mesh << '\n'
                 << labels[i] << ' '
                 << (plate.isScattered ? 1000 * shift(random) : static_cast<int>(i) % (time + 7));
        }
        mesh << "\n$EndNodeData\n";
    }
    return mesh.str();
}

std::string Between(const std::string& text, const std::string& begin, const std::string& end) {
    const auto from = text.find(begin) + begin.size();
    const auto to = text.find(end, from);
    if (from < begin.size() || to == std::string::npos) {
        throw std::runtime_error("no " + begin + " ... " + end);
    }
    return text.substr(from, to - from);
}

std::string FromBase64(const std::string& text) {
    static const std::string digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned kept = 0;
    int nBits = 0;
    for (const char digit : text.substr(0, text.find('='))) {
        kept = kept << 6U | static_cast<unsigned>(digits.find(digit));
        nBits += 6;
        if (nBits >= 8) {
            nBits -= 8;
            bytes += static_cast<char>(kept >> static_cast<unsigned>(nBits));
        }
    }
    return bytes;
}

/// A page taken apart without its own script.
class ReadPage {
  public:
    explicit ReadPage(const std::string& text)
        : model(json::parse(Between(text, "id=\"model\">", "</script>"))) {
        const std::string bytes = FromBase64(Between(text, "id=\"arrays\">", "</script>"));
        std::size_t begin = 0;
        for (const json& entry : model["arrays"]) {
            Add(entry, bytes.substr(begin, entry[3]));
            begin += entry[3].get<std::size_t>();
        }
        EXPECT_EQ(begin, bytes.size());
    }

    const std::vector<std::int64_t>& Array(const json& place) const {
        return m_arrays.at(place.get<std::size_t>());
    }

    const json model;

  private:
    void Add(const json& entry, const std::string& packed) {
        const auto count = entry[0].get<std::size_t>();
        const auto nBytes = entry[1].get<std::size_t>();
        std::vector<unsigned char> planes(count * nBytes + 1);
        uLongf size = planes.size();
        ASSERT_EQ(uncompress(planes.data(), &size, reinterpret_cast<const Bytef*>(packed.data()),
                             packed.size()),
                  Z_OK);
        ASSERT_EQ(size, count * nBytes);
        std::vector<std::int64_t> numbers;
        std::int64_t before = 0;
        for (std::size_t i = 0; i < count; ++i) {
            std::int64_t number = 0;
            for (std::size_t byte = 0; byte < nBytes; ++byte) {
                number += std::int64_t{planes[byte * count + i]} << (8 * byte);
            }
            if (entry[2] == 1) {
                const std::int64_t difference = number % 2 == 0 ? number / 2 : -(number + 1) / 2;
                const std::int64_t most = std::int64_t{1} << (8 * nBytes);
                number = (before + difference + most) % most;
                before = number;
            }
            numbers.push_back(number);
        }
        m_arrays.push_back(numbers);
    }

    std::vector<std::vector<std::int64_t>> m_arrays;
};

class DrawPageTest : public testing::Test {
  protected:
    void Import(const std::string& file) const {
        const CommandResult result = RunHere({"import", file, "-o", m_model, "--force"});
        ASSERT_EQ(result.status, 0) << result.err;
    }
    void ImportSquares() const {
        PutBytes(m_folder / "squares.msh", kSquares);
        Import(m_folder / "squares.msh");
    }
    CommandResult Draw(Arguments more = {}) const {
        more.insert(more.begin(), {"draw", m_model, "-o", m_page, "--force"});
        return RunHere(more);
    }
    std::string Drawn(const Arguments& more = {}) const {
        const CommandResult result = Draw(more);
        EXPECT_EQ(result.status, 0) << result.err;
        return Bytes(m_page);
    }

    /// What a browser makes of the page: `script` is run in it once the model is shown, and what it
    /// returns is the answer. Nothing may have failed on the way.
    json Shown(const std::string& script) const {
        std::string text = Bytes(m_page);
        const std::string watch =
            "<script>window.failures = [];\n"
            "console.error = (...texts) => window.failures.push(texts.join(' '));\n"
            "window.addEventListener('securitypolicyviolation',\n"
            "                        (event) => window.failures.push(event.violatedDirective));\n"
            "</script>";
        text.insert(text.find("<title>"), watch);
        const std::string ask =
            "<script type=\"module\">await orq.ready;\n"
            "const scene = document.getElementById('scene');\n"
            "const click = (right, down) => {\n"
            "  const box = scene.getBoundingClientRect();\n"
            "  const at = {clientX: box.left + right * box.width, clientY: box.top + down * "
            "box.height, pointerId: 1, button: 0, bubbles: true};\n"
            "  scene.setPointerCapture = undefined;\n"
            "  scene.dispatchEvent(new PointerEvent('pointerdown', at));\n"
            "  scene.dispatchEvent(new PointerEvent('pointerup', at));\n"
            "  return document.getElementById('picked').textContent;\n"
            "};\n"
            "const answer = await (async () => {" +
            script +
            "})();\n"
            "orq.viewer.draw();\n"
            "const told = {answer, failures, failure: document.getElementById('failure')"
            ".textContent};\n"
            "document.body.dataset.told = encodeURIComponent(JSON.stringify(told));</script>";
        text.insert(text.rfind("</body>"), ask);
        const std::string copy = m_folder / "asked.html";
        PutBytes(copy, text);
        const std::string out = m_folder / "out";
        const int status = StatusOf(StartProgram(
            ORQ_BROWSER,
            {"--headless", "--no-sandbox", "--disable-dev-shm-usage", "--enable-unsafe-swiftshader",
             "--hide-scrollbars", "--window-size=1300,850", "--virtual-time-budget=20000",
             "--user-data-dir=" + (m_folder / "profile").string(), "--screenshot=" + m_screenshot,
             "--dump-dom", "file://" + copy},
            out, m_folder / "err"));
        EXPECT_EQ(status, 0);
        const std::string encoded = Between(Bytes(out), "data-told=\"", "\"");
        std::string told;
        for (std::size_t i = 0; i < encoded.size(); ++i) {
            if (encoded[i] == '%') {
                told += static_cast<char>(std::stoi(encoded.substr(i + 1, 2), nullptr, 16));
                i += 2;
            } else {
                told += encoded[i];
            }
        }
        const json answer = json::parse(told, nullptr, false);
        EXPECT_TRUE(answer.is_object()) << Bytes(m_folder / "err");
        EXPECT_EQ(answer.value("failures", json()), json::array());
        EXPECT_EQ(answer.value("failure", "?"), "");
        return answer.value("answer", json());
    }
    std::size_t NumPixels(Colour colour) const { return Count(Decoded(m_screenshot), colour); }

    ScratchFolder m_folder;
    std::string m_model = m_folder / "model.orq";
    std::string m_page = m_folder / "page.html";
    std::string m_screenshot = m_folder / "shown.png";
};

class ShownPageTest : public DrawPageTest {
  protected:
    void SetUp() override {
        if (std::string_view(ORQ_BROWSER).empty()) {
            GTEST_SKIP() << "no browser (Debian's package chromium) on this machine";
        }
    }
};

// --- What a page holds ---------------------------------------------------------------------------

TEST_F(DrawPageTest, HoldsTheSkinWithLabelsAndValues) {
    const std::string file = ORQ_SHARED_MODELS "/block_crush_1.ex2";
    if (!fs::exists(file)) {
        GTEST_SKIP() << "no real models on this machine";
    }
    Import(file);
    const ReadPage page(Drawn({"--field", "vonmises", "--field", "displ", "--deform", "displ:3"}));
    const ORQExcModel model(
        ORQObjDocument(ORQSimDatabase::Open(m_model, ORQSimDatabase::Mode::ReadOnly)));
    const Skin skin = SkinOf(model, std::vector{0, 1, 2});
    const ORQExcResults results(model.Document());
    const FieldValues stress = ShownField(model, results, "vonmises").At(11);
    const FieldValues moved = ShownField(model, results, "displ").At(11);

    const json& nodes = page.model["nodes"];
    const json& parts = page.model["parts"];
    ASSERT_EQ(parts["count"], skin.NumParts());
    const auto valueOf = [&](std::size_t field, std::size_t member) {
        const json& frame = page.model["fields"][field]["frames"][10];
        const double low = frame["low"];
        const double high = frame["high"];
        return std::pair{
            low + (high - low) * static_cast<double>(page.Array(frame["array"])[member]) / 65534,
            (high - low) / 65534};
    };
    std::size_t at = 0;
    std::int64_t known = 0;
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        const auto element = static_cast<std::size_t>(skin.At(part).element);
        EXPECT_EQ(page.Array(parts["labels"])[part], model.ElementLabels()[element]);
        EXPECT_EQ(page.Array(parts["blocks"])[part], skin.At(part).block + 1);
        ASSERT_EQ(page.Array(parts["sizes"])[part], std::ssize(skin.Nodes(part)));
        const json& stressAt11 = page.model["fields"][0]["frames"][10];
        if (std::isnan(stress.values[element])) {
            EXPECT_EQ(page.Array(stressAt11["array"])[part], 65535);
        } else {
            const auto [value, step] = valueOf(0, part);
            EXPECT_NEAR(value, stress.values[element], 0.51 * step);
        }
        for (const int ordinal : skin.Nodes(part)) {
            const std::int64_t node = known - page.Array(parts["nodes"])[at++];
            known = std::max(known, node + 1);
            const auto place = static_cast<std::size_t>(node);
            const auto own = static_cast<std::size_t>(ordinal);
            EXPECT_EQ(page.Array(nodes["labels"])[place], model.NodeLabels()[own]);
            const auto [length, lengthStep] = valueOf(1, place);
            EXPECT_NEAR(length, moved.values[own], 0.51 * lengthStep);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const double nodeStep = nodes["steps"][axis];
                EXPECT_NEAR(
                    nodes["low"][axis].get<double>() +
                        nodeStep * static_cast<double>(page.Array(nodes["places"][axis])[place]),
                    skin.Points()[own][axis], 0.51 * nodeStep);
            }
        }
    }
    EXPECT_EQ(page.model["moves"]["factor"], 3);
    EXPECT_EQ(page.model["moves"]["frames"].size(), 11U);
}

TEST_F(DrawPageTest, TimesThatHaveNoRoomAreLeftOutAndThatIsSaid) {
    // 119,716 values at 9 times: 2.15 MB before they are packed.
    PutBytes(m_folder / "many.msh", PlateText({346, false, 9}));
    Import(m_folder / "many.msh");
    const CommandResult told = Draw({"--field", "t", "--page-limit", "1.5"});
    EXPECT_EQ(told.status, 0) << told.err;
    EXPECT_THAT(told.out, HasSubstr("of 9 times are in the page"));
    EXPECT_LT(fs::file_size(m_page), 1'500'000U);
    const ReadPage page(Bytes(m_page));
    const json& frames = page.model["fields"][0]["frames"];
    ASSERT_GE(frames.size(), 2U);
    EXPECT_LT(frames.size(), 9U);
    EXPECT_EQ(frames.front()["time"], 1);
    EXPECT_EQ(frames.back()["time"], 9);
    EXPECT_THAT(page.model["notes"][0].get<std::string>(), HasSubstr("of 9 times"));
    // Without that bound all of them are there.
    EXPECT_EQ(ReadPage(Drawn({"--field", "t"})).model["fields"][0]["frames"].size(), 9U);
}

TEST_F(DrawPageTest, IsSmallHoweverTheMeshIsNumbered) {
    PutBytes(m_folder / "scattered.msh", PlateText({318, true, 1}));
    Import(m_folder / "scattered.msh");
    const ReadPage page(Drawn({"--field", "t"}));
    EXPECT_EQ(page.model["parts"]["count"], 317 * 317);
    EXPECT_LT(fs::file_size(m_page), 2'000'000U);
    // Every square is there once, with nodes that lie around it.
    std::set<std::int64_t> seen;
    const json& parts = page.model["parts"];
    const json& nodes = page.model["nodes"];
    std::int64_t known = 0;
    for (std::size_t part = 0, at = 0; part < 317 * 317; ++part) {
        EXPECT_TRUE(seen.insert(page.Array(parts["labels"])[part]).second);
        double low = 1000;
        double high = 0;
        for (int corner = 0; corner < 4; ++corner) {
            const std::int64_t node = known - page.Array(parts["nodes"])[at++];
            known = std::max(known, node + 1);
            const auto x =
                static_cast<double>(page.Array(nodes["places"][0])[static_cast<std::size_t>(node)]);
            low = std::min(low, nodes["steps"][0].get<double>() * x);
            high = std::max(high, nodes["steps"][0].get<double>() * x);
        }
        ASSERT_LT(high - low, 1.7) << part;
    }
}

TEST_F(DrawPageTest, RefusesWhatAPageCannotBe) {
    ImportSquares();
    struct Case {
        Arguments arguments;
        std::string text;
    };
    const std::vector<Case> cases = {
        {{"--size", "100x100"}, "as large as its window"},
        {{"--section", "s"}, "a page shows meshes"},
        {{"--field", "heat", "--step", "3"}, "the model has 2 times"},
        {{"--field", "heta"}, "heat"},
        {{"--set", "nothing"}, "there is none"},
        {{"--page-limit", "0"}, "--page-limit"},
    };
    for (const Case& each : cases) {
        const CommandResult refused = Draw(each.arguments);
        EXPECT_EQ(refused.status, 2) << each.text;
        EXPECT_THAT(refused.err, HasSubstr(each.text));
    }
    EXPECT_FALSE(fs::exists(m_page));
    EXPECT_EQ(
        RunHere({"draw", m_model, "-o", m_folder / "p.png", "--field", "heat", "--field", "move"})
            .status,
        2);
}

// --- What a browser shows ------------------------------------------------------------------------

TEST_F(ShownPageTest, ColoursFollowTimeAndAClickNamesWhatIsThere) {
    ImportSquares();
    Drawn({"--field", "heat", "--deform", "move:1", "--edges", "none"});
    const ColourBands bands({10, 90.5});
    const json answer = Shown(R"(
        orq.page.deform(false);
        const last = click(0.35, 0.6);
        const right = click(0.7, 0.6);
        const beside = click(0.98, 0.05);
        orq.page.showTime(0);
        const first = click(0.7, 0.6);
        orq.page.showTime(1);
        return {last, right, beside, first, time: orq.viewer.timeText()};)");
    EXPECT_EQ(answer["last"],
              "element 1 (QUAD4), block surface 1 QUAD4\nnode 2 at 1, 0, 0\nheat of the element: 10"
              "\nsets: physical surface 1");
    EXPECT_EQ(answer["right"],
              "element 20 (QUAD4), block surface 2 QUAD4\nnode 2 at 1, 0, 0\nheat of the element: "
              "90.5\nsets: physical surface 2");
    EXPECT_EQ(answer["beside"], "");
    EXPECT_THAT(answer["first"].get<std::string>(), HasSubstr("heat of the element: 20"));
    EXPECT_EQ(answer["time"], "time 2, 2 of 2");
    // Each square is 475 pixels wide and high, but for the marks of the extremes.
    EXPECT_GT(NumPixels(bands.ColourOf(0)), 200'000U);
    EXPECT_GT(NumPixels(bands.ColourOf(9)), 200'000U);
}

TEST_F(ShownPageTest, ValuesAtNodesChangeFromBandToBandWithinAFacet) {
    ImportSquares();
    Drawn({"--field", "move", "--step", "2", "--edges", "none"});
    const json answer = Shown("return click(0.9, 0.4);");
    EXPECT_THAT(answer.get<std::string>(), HasSubstr("move magnitude of the node: 2"));
    // From 0 to 2 along the right square, a tenth of it for each band; the left one has nodes
    // without a value.
    EXPECT_GT(NumPixels(kPlain), 200'000U);
    const ColourBands bands({0, 2});
    EXPECT_GT(NumPixels(bands.ColourOf(9)), 15'000U);
    EXPECT_LT(NumPixels(bands.ColourOf(9)), 30'000U);
}

TEST_F(ShownPageTest, BlocksSetsDeformationAndCutSwitchWhatIsSeen) {
    ImportSquares();
    Drawn({"--deform", "move:1", "--edges", "none"});
    const Colour left = PaletteColour(0);
    const Colour right = PaletteColour(1);
    // Deformed, the right square reaches to 4.
    EXPECT_THAT(Shown("orq.viewer.zoom(0.3); return click(0.8, 0.5);").get<std::string>(),
                HasSubstr("element 20"));
    const std::size_t nDeformed = NumPixels(right);
    EXPECT_EQ(Shown("orq.viewer.zoom(0.3); document.dispatchEvent(new KeyboardEvent('keydown', "
                    "{key: 'd', bubbles: true})); return click(0.8, 0.5);"),
              "");
    EXPECT_NEAR(static_cast<double>(nDeformed), 3.0 * static_cast<double>(NumPixels(right)),
                0.06 * static_cast<double>(nDeformed));

    const json switched = Shown(
        "orq.page.deform(false);"
        "document.querySelectorAll('#groups input')[1].click();"
        "return click(0.7, 0.6);");
    EXPECT_EQ(switched, "");
    EXPECT_GT(NumPixels(left), 200'000U);
    EXPECT_LT(NumPixels(right), 1'000U) << "only in the list";

    Shown("orq.page.deform(false); document.querySelectorAll('#sets input')[1].click();");
    EXPECT_GT(NumPixels(right), 200'000U);
    EXPECT_LT(NumPixels(left), 1'000U);
    EXPECT_GT(NumPixels(kPlain), 200'000U) << "what is in no set that is switched on";

    EXPECT_EQ(Shown("orq.page.deform(false); orq.page.cutBy({axis: 0, share: 0.75});"
                    "return click(0.9, 0.6);"),
              "");
    EXPECT_NEAR(static_cast<double>(NumPixels(right)), 0.5 * static_cast<double>(NumPixels(left)),
                0.02 * static_cast<double>(NumPixels(left)));
}

TEST_F(ShownPageTest, NamesAreTextsWhateverStandsInThem) {
    exodus_file::Content content;
    content.title = "</script><script>throw 1</script>\"'&amp;";
    content.x = {0, 1, 1, 0};
    content.y = {0, 0, 1, 1};
    content.z = {0, 0, 0, 0};
    content.labels = {40, 10, 30, 20};
    content.blocks = {{1, "</script><!--<script>\"'&\\", "QUAD4", 4, {1, 2, 3, 4}, {}}};
    content.elementLabels = {7};
    content.nodeSets = {{1, "<img src=x onerror=throw>", {1, 2}, {}}};
    exodus_file::Write(content, m_folder / "names.e");
    Import(m_folder / "names.e");
    Drawn();
    const json answer = Shown(
        "return {title: document.querySelector('#heading b').textContent, tab: document.title, "
        "picked: click(0.45, 0.55), images: document.images.length, "
        "sets: document.querySelector('#sets .list').textContent};");
    EXPECT_EQ(answer["title"], content.title);
    EXPECT_EQ(answer["tab"], content.title);
    EXPECT_EQ(answer["picked"], "element 7 (QUAD4), block " + content.blocks[0].name +
                                    "\nnode 40 at 0, 0, 0\nsets: " + content.nodeSets[0].name);
    EXPECT_EQ(answer["images"], 0);
    EXPECT_THAT(answer["sets"].get<std::string>(), HasSubstr("<img src=x onerror=throw>"));
}

TEST_F(ShownPageTest, RealModelsAreShownWithoutAFailure) {
    struct Case {
        const char* file;
        Arguments arguments;
        Colour colour;
        std::size_t most;  // pixels of that colour at least
    };
    const std::vector<Case> cases = {
        {"block_crush_1.ex2", {"--field", "vonmises", "--deform", "displ"}, {}, 0},
        {"bwb_geom.blk", {}, {}, 0},
        {"flat_plate_composite.bdf", {"--colour-by", "thickness"}, {31, 158, 137}, 300'000},
    };
    for (const Case& each : cases) {
        const fs::path file = fs::path(ORQ_SHARED_MODELS) / each.file;
        if (!fs::exists(file)) {
            GTEST_SKIP() << "no real models on this machine";
        }
        Import(file);
        Drawn(each.arguments);
        EXPECT_THAT(Shown("return click(0.5, 0.5);").get<std::string>(), HasSubstr("element"))
            << each.file;
        const Image shown = Decoded(m_screenshot);
        EXPECT_LT(Count(shown, kWhite), shown.pixels.size() * 9 / 10) << each.file;
        EXPECT_GE(Count(shown, each.colour), each.most) << each.file;
    }
}

}  // namespace
}  // namespace orqmodel
