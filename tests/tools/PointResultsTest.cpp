// Results at points and in layers: from files whose names say it, or whose user does, and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcResults.h"
#include "ORQSimDatabase.h"
#include "ORQSimSchema.h"
#include "SampleResults.h"
#include "model/ArrayPattern.h"

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using namespace orq::exchange;
using nlohmann::json;
using testing::HasSubstr;

namespace {

constexpr int kResultTimes = 2;

/// An element variable, and the blocks in which it has values.
struct StoredVariable {
    std::string name;
    std::set<int> blocks = {1, 2};
};

double ValueAt(std::size_t variable, int block, int element, int time) {
    return static_cast<double>(variable) * 1000 + block * 100 + element * 10 + time + 0.25;
}

/// Two hexahedra in block 1, three tetrahedra in block 2, with element variables.
void WriteFile(const fs::path& file, const std::vector<StoredVariable>& variables) {
    exodus_file::Content content = NodesOfTwoCubes();
    content.blocks = {
        {1, "bricks", "HEX8", 8, {1, 2, 3, 4, 5, 6, 7, 8, 5, 6, 7, 8, 9, 10, 11, 12}, {}},
        {2, "tets", "TET4", 4, {1, 2, 3, 5, 2, 3, 4, 6, 5, 6, 7, 9}, {}}};
    exodus_file::Write(content, file);
    std::vector<exodus_file::ElementVariable> written;
    for (std::size_t i = 0; i < variables.size(); ++i) {
        exodus_file::ElementVariable& variable = written.emplace_back();
        variable.name = variables[i].name;
        for (const int block : variables[i].blocks) {
            for (int time = 0; time < kResultTimes; ++time) {
                std::vector<double>& values = variable.values[block].emplace_back();
                for (int element = 0; element < block + 1; ++element) {
                    values.push_back(ValueAt(i, block, element, time));
                }
            }
        }
    }
    exodus_file::AddElementResults(file, written);
}

std::vector<StoredVariable> Numbered(const std::vector<std::string>& bases, int count,
                                     std::set<int> blocks = {1}) {
    std::vector<StoredVariable> variables;
    for (const std::string& base : bases) {
        for (int i = 1; i <= count; ++i) {
            variables.push_back({base + "_" + std::to_string(i), blocks});
        }
    }
    return variables;
}

std::vector<StoredVariable> operator+(std::vector<StoredVariable> a,
                                      const std::vector<StoredVariable>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/// "stress 8 integration points: stress_xx stress_yy", a field a line.
std::string FieldsOf(const fs::path& database) {
    const json info = json::parse(RunHere({"info", database, "--json"}).out);
    std::string fields;
    for (const json& field : info["fields"]) {
        fields += field["name"].get<std::string>();
        fields += field["within"].is_null() ? "" : " " + field["within"].get<std::string>();
        fields += ":";
        for (const json& component : field["components"]) {
            fields += " " + component.get<std::string>();
        }
        fields += "\n";
    }
    return fields;
}

/// The values of a file by variable, without the order in which it has them.
exodus_file::Results Sorted(exodus_file::Results results) {
    std::ranges::sort(results.elemental);
    results.truth.clear();  // in the order of variables; values are by block
    return results;
}

/// All values of a variable, whatever block and place they are at.
std::map<std::string, std::multiset<std::uint64_t>> ValuesByName(
    const exodus_file::Results& results) {
    std::map<std::string, std::multiset<std::uint64_t>> values;
    for (const auto& [key, bits] : results.values) {
        for (const std::uint64_t value : bits) {
            // Formats without blocks have something for every element.
            if (!std::isnan(std::bit_cast<double>(value))) {
                values[key.substr(0, key.find(' '))].insert(value);
            }
        }
    }
    return values;
}

class PointResults : public testing::Test {
  protected:
    /// Imports and exports again: every value is back under its name.
    json GoThrough(const std::vector<StoredVariable>& variables,
                   const std::vector<std::string>& arguments = {}) {
        WriteFile(m_folder / "in.e", variables);
        std::vector<std::string> command = {"import",   m_folder / "in.e", "-o",
                                            Database(), "--json",          "--force"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const CommandResult imported = RunHere(command);
        EXPECT_EQ(imported.status, 0) << imported.err;
        if (imported.status != 0) {
            return {};
        }
        EXPECT_EQ(RunHere({"export", Database(), "-o", m_folder / "out.e", "--force"}).status, 0);
        EXPECT_EQ(Sorted(exodus_file::ReadResults(m_folder / "out.e")),
                  Sorted(exodus_file::ReadResults(m_folder / "in.e")));
        return json::parse(imported.out)["report"];
    }
    fs::path Database() const { return m_folder / "m.orq"; }

    ScratchFolder m_folder;
};

}  // namespace

// --- Names ---------------------------------------------------------------------------------------

TEST(ArrayPattern, ReadsWhatItWrites) {
    struct Case {
        const char* pattern;
        const char* name;
        const char* component;  // nothing where the name is none of the pattern's
        ORQExcSpot spot;
    };
    const Case cases[] = {
        {"{component}_{point}", "stress_xx_9", "stress_xx", {-1, -1, 8}},
        {"{component}_{point}", "a_1_2", "a_1", {-1, -1, 1}},
        {"{component}_{point}", "stress_xx", nullptr, {}},
        {"{component}_{point}", "stress_0", nullptr, {}},
        {"{component}_{point}", "stress_01", nullptr, {}},
        {"{component}_{point:02}", "stress_01", "stress", {-1, -1, 0}},
        {"{component}_{point:02}", "stress_12", "stress", {-1, -1, 11}},
        {"{component}_{point:02}", "stress_1", nullptr, {}},
        {"{component}_layer{layer}_sp{section_point}", "S11_layer12_sp3", "S11", {11, 2, -1}},
        {"P{layer}{section_point=B|M|T}{component}", "P4Mxx", "xx", {3, 1, -1}},
        {"s{point=0|1|2}", "s2", "", {-1, -1, 2}},
        {"s{point=0|1|2}", "s3", nullptr, {}},
    };
    for (const Case& c : cases) {
        const ArrayPattern pattern(c.pattern);
        const auto reading = pattern.Read(c.name);
        ASSERT_EQ(reading.has_value(), c.component != nullptr) << c.pattern << " " << c.name;
        if (reading) {
            EXPECT_EQ(reading->component, c.component) << c.name;
            EXPECT_EQ(reading->spot, c.spot) << c.name;
            EXPECT_EQ(pattern.Name(c.component, c.spot), c.name);
        }
    }
}

TEST_F(PointResults, NumbersOfComponentsAreIntegrationPoints) {
    struct Case {
        std::vector<StoredVariable> variables;
        std::string fields;
        std::vector<std::string> notes;  // parts of one note each
    };
    const Case cases[] = {
        {Numbered({"stress_xx", "stress_yy"}, 8),
         "stress 8 integration points: stress_xx stress_yy\n",
         {}},
        // Points first, then components, and a scalar beside them.
        {{{"s_xx_1", {1}},
          {"s_xy_1", {1}},
          {"s_xx_2", {1}},
          {"s_xy_2", {1}},
          {"p"},
          {"s_xx_3", {1}},
          {"s_xy_3", {1}},
          {"s_xx_4", {1}},
          {"s_xy_4", {1}},
          {"s_xx_5", {1}},
          {"s_xy_5", {1}},
          {"s_xx_6", {1}},
          {"s_xy_6", {1}},
          {"s_xx_7", {1}},
          {"s_xy_7", {1}},
          {"s_xx_8", {1}},
          {"s_xy_8", {1}}},
         "s 8 integration points: s_xx s_xy\np: p\n",
         {}},
        // Shapes with different counts: 8 in hexahedra, 4 in tetrahedra.
        {Numbered({"e_xx", "e_yy"}, 4, {1, 2}) + std::vector<StoredVariable>{{"e_xx_5", {1}},
                                                                             {"e_xx_6", {1}},
                                                                             {"e_xx_7", {1}},
                                                                             {"e_xx_8", {1}},
                                                                             {"e_yy_5", {1}},
                                                                             {"e_yy_6", {1}},
                                                                             {"e_yy_7", {1}},
                                                                             {"e_yy_8", {1}}},
         "e 4 to 8 integration points: e_xx e_yy\n",
         {}},
        // A count that the shape cannot have.
        {Numbered({"s_xx"}, 3),
         "s_xx_1: s_xx_1\ns_xx_2: s_xx_2\ns_xx_3: s_xx_3\n",
         {"a HEX8 cannot have 3 integration points"}},
        // A gap, in one of the components of a field.
        {Numbered({"s_xx"}, 8) + std::vector<StoredVariable>{{"s_yy_1", {1}}, {"s_yy_3", {1}}},
         "s_xx_1: s_xx_1\ns_xx_2: s_xx_2\ns_xx_3: s_xx_3\ns_xx_4: s_xx_4\ns_xx_5: s_xx_5\n"
         "s_xx_6: s_xx_6\ns_xx_7: s_xx_7\ns_xx_8: s_xx_8\ns_yy_1: s_yy_1\ns_yy_3: s_yy_3\n",
         {"the numbers of its 2 arrays have gaps", "the numbers of its 2 arrays have gaps"}},
        // Numbers beside a tensor of as many are points; alone they may be anything.
        {Numbered({"s_xx", "eqps"}, 8),
         "s_xx 8 integration points: s_xx\neqps 8 integration points: eqps\n",
         {}},
        {Numbered({"eqps"}, 8),
         "eqps_1: eqps_1\neqps_2: eqps_2\neqps_3: eqps_3\neqps_4: eqps_4\neqps_5: eqps_5\n"
         "eqps_6: eqps_6\neqps_7: eqps_7\neqps_8: eqps_8\n",
         {"they may be points"}},
        {Numbered({"ElementBlock"}, 5),
         "ElementBlock_1: ElementBlock_1\nElementBlock_2: ElementBlock_2\n"
         "ElementBlock_3: ElementBlock_3\nElementBlock_4: ElementBlock_4\n"
         "ElementBlock_5: ElementBlock_5\n",
         {}},
        // The names that exports give to layers.
        {{{"S11_layer1_sp1"}, {"S11_layer1_sp2"}, {"S11_layer2_sp1"}, {"S11_layer2_sp2"}},
         "S 2 layers, 2 section points: S11\n",
         {}},
        {Numbered({"q_node"}, 0) +
             std::vector<StoredVariable>{
                 {"q_node1", {2}}, {"q_node2", {2}}, {"q_node3", {2}}, {"q_node4", {2}}},
         "q 4 nodes: q\n",
         {}},
    };
    for (const Case& c : cases) {
        const json report = GoThrough(c.variables);
        EXPECT_EQ(FieldsOf(Database()), c.fields);
        ASSERT_EQ(report["noted"].size(), c.notes.size()) << report["noted"];
        for (std::size_t i = 0; i < c.notes.size(); ++i) {
            EXPECT_THAT(report["noted"][i]["reason"].get<std::string>(), HasSubstr(c.notes[i]));
        }
    }
}

TEST_F(PointResults, EachValueStandsAtItsPoint) {
    GoThrough(Numbered({"stress_xx", "stress_yy"}, 8));
    const ORQSimDatabase database =
        ORQSimDatabase::Open(ModelAt(Database()), ORQSimDatabase::Mode::ReadOnly);
    const ORQExcResults results{ORQObjDocument(database)};
    const ORQExcResults::Field& field = results.Fields().at(0);
    EXPECT_EQ(field.gridType, ORQSimSchema::Field_IntegrationPoint);
    ASSERT_EQ(results.SpotsOf(field).size(), 8);
    const ORQSimCSet members = results.MembersOf(field);
    ASSERT_EQ(members.Size(), 2);
    std::vector<double> values(2 * 8 * 2);
    EXPECT_EQ(results.ReadView(field, 1, {members, {}, {}, {0, 7}}, values), 32);
    for (std::size_t element = 0; element < 2; ++element) {
        for (std::size_t point = 0; point < 8; ++point) {
            for (std::size_t component = 0; component < 2; ++component) {
                EXPECT_EQ(values[(element * 8 + point) * 2 + component],
                          ValueAt(component * 8 + point, 1, static_cast<int>(element), 1));
            }
        }
    }
    // Without a choice, the mean of the points.
    std::vector<double> means(4);
    EXPECT_EQ(results.Read(field, 1, members, means), 4);
    EXPECT_EQ(means[0], ValueAt(0, 1, 0, 1) + 3500);
}

// More values at a time than an import holds: they come in pieces of elements.
TEST_F(PointResults, AFieldThatIsTooLargeToHoldComesInPieces) {
    constexpr int kElements = 90'000;  // times 48 values: more than 2^22
    exodus_file::Content content;
    content.blocks = {{1, "bricks", "HEX8", 8, {}, {}}};
    content.x.assign(8, 0);
    content.y.assign(8, 0);
    content.z.assign(8, 0);
    content.labels.clear();
    for (int i = 0; i < 8 * kElements; ++i) {
        content.blocks[0].nodes.push_back(i % 8 + 1);
    }
    exodus_file::Write(content, m_folder / "in.e");
    const auto value = [](int component, int point, int element) {
        return component * 1e7 + point * 1e6 + element;
    };
    const char* const names[] = {"s_xx", "s_yy", "s_zz", "s_xy", "s_yz", "s_zx"};
    std::vector<exodus_file::ElementVariable> variables;
    for (int component = 0; component < 6; ++component) {
        for (int point = 0; point < 8; ++point) {
            exodus_file::ElementVariable& variable = variables.emplace_back();
            variable.name = std::string(names[component]) + "_" + std::to_string(point + 1);
            std::vector<double>& values = variable.values[1].emplace_back();
            for (int element = 0; element < kElements; ++element) {
                values.push_back(value(component, point, element));
            }
        }
    }
    exodus_file::AddElementResults(m_folder / "in.e", variables);
    const CommandResult imported = RunHere({"import", m_folder / "in.e", "-o", Database()});
    ASSERT_EQ(imported.status, 0) << imported.err;

    const ORQSimDatabase database =
        ORQSimDatabase::Open(ModelAt(Database()), ORQSimDatabase::Mode::ReadOnly);
    const ORQExcResults results{ORQObjDocument(database)};
    const ORQExcResults::Field& field = results.Fields().at(0);
    EXPECT_GT(field.ofStep.at(0).GetBlocks().size(), 1U);
    const ORQSimCSet members = results.MembersOf(field);
    ASSERT_EQ(members.Size(), kElements);
    std::vector<double> values(std::size_t{kElements} * 48);
    ASSERT_EQ(results.ReadView(field, 0, {members, {}, {}, {0, 7}}, values), std::ssize(values));
    for (int element = 0; element < kElements; ++element) {
        for (int point = 0; point < 8; ++point) {
            for (int component = 0; component < 6; ++component) {
                const auto at =
                    (static_cast<std::size_t>(element) * 8 + static_cast<std::size_t>(point)) * 6 +
                    static_cast<std::size_t>(component);
                ASSERT_EQ(values[at], value(component, point, element));
            }
        }
    }
}

// --- What the user says --------------------------------------------------------------------------

TEST_F(PointResults, AResultsMapSaysWhatNamesDoNot) {
    const std::vector<StoredVariable> variables = {
        {"sigB_L1_a"}, {"sigT_L1_a"}, {"sigB_L2_a"}, {"sigT_L2_a"}, {"sigB_L1_b"}, {"sigT_L1_b"},
        {"sigB_L2_b"}, {"sigT_L2_b"}, {"other"},     {"d0", {1}},   {"d1", {1}}};
    PutBytes(m_folder / "map.json", R"({"version": 1, "fields": [
        {"name": "S", "arrays": "sig{section_point=B|T}_L{layer}_{component}", "axes": "layer",
         "components": {"11": "a", "12": "b"}},
        {"name": "damage", "arrays": "d{layer=0|1}"}]})");
    GoThrough(variables, {"--results-map", m_folder / "map.json"});
    EXPECT_EQ(FieldsOf(Database()),
              "S 2 layers, 2 section points: a b\nother: other\n"
              "damage 2 layers, 1 section point: damage\n");
    const ORQSimDatabase database =
        ORQSimDatabase::Open(ModelAt(Database()), ORQSimDatabase::Mode::ReadOnly);
    const ORQExcResults results{ORQObjDocument(database)};
    const ORQExcResults::Field& field = results.Fields().at(0);
    EXPECT_EQ(field.axes, ORQObjAxes::Layer);
    EXPECT_EQ(field.components[1].code, 5);
    const ORQExcResults::Field top = results.AtSpot(field, {1, 1, -1});
    EXPECT_EQ(top.components[1].label, "sigT_L2_b");
    std::vector<double> values(10);
    results.Read(top, 0, results.MembersOf(top), values);
    EXPECT_EQ(values[1], ValueAt(7, 1, 0, 0));
}

TEST_F(PointResults, AWrongResultsMapIsRefusedWithThePlaceInIt) {
    WriteFile(
        m_folder / "in.e",
        Numbered({"s_xx"}, 3) + std::vector<StoredVariable>{
                                    {"s_yy_1"}, {"s_yy_3"}, {"s_zz_1", {1, 2}}, {"s_xy_1", {1}}});
    const struct {
        const char* fields;
        std::vector<std::string> texts;
    } cases[] = {
        {R"([{"name": "S", "arrays": "t_{point}"}])", {"/fields/0/arrays", "\"t_{point}\""}},
        {R"([{"name": "S", "arrays": "s_xx_{point}"}])",
         {"a HEX8 cannot have 3 integration points"}},
        {R"([{"name": "S", "arrays": "s_yy_{layer}"}])", {"field \"S\"", "gaps"}},
        {R"([{"name": "S", "arrays": "s_{dot}"}])", {"/fields/0/arrays", "{dot} is none of"}},
        {R"([{"name": "S", "arrays": "s_xx"}])", {"/fields/0/arrays", "none of {layer}"}},
        {R"([{"name": "S", "arrays": "s_{component}_{point}"}])", {"\"components\" is missing"}},
        {R"([{"name": "S", "arrays": "s_{component}_{point}", "components": {"44": "xx"}}])",
         {"/fields/0/components/44", "no component \"44\""}},
        {R"([{"name": "S", "arrays": "s_{component}_{layer}", "components": {"11": "xx", "22": "xx"}}])",
         {"/fields/0/components/22", "\"xx\" is another component already"}},
        {R"([{"name": "S", "arrays": "s_xx_{point}", "at": "corners"}])",
         {"/fields/0/at", "\"corners\""}},
        {R"([{"name": "S", "arrays": "s_xx_{point}", "at": "elements"}])",
         {"elements have no {point}"}},
        {R"([{"name": "S", "arrays": "s_xx_{layer}"}, {"name": "S", "arrays": "s_yy_{layer}"}])",
         {"/fields/1/name", "has a rule already"}},
        {R"([{"name": "S", "arrays": "s_{component}_{layer}", "components": {"33": "zz", "12": "xy"}}])",
         {"components \"xy\" and \"zz\" have values in different blocks"}},
    };
    for (const auto& c : cases) {
        PutBytes(m_folder / "map.json",
                 std::string(R"({"version": 1, "fields": )") + c.fields + "}");
        const CommandResult refused = RunHere({"import", m_folder / "in.e", "-o", Database(),
                                               "--results-map", m_folder / "map.json"});
        EXPECT_EQ(refused.status, 3) << c.fields;
        for (const std::string& text : c.texts) {
            EXPECT_THAT(refused.err, HasSubstr(text));
        }
        EXPECT_FALSE(fs::exists(Database()));
    }
}

// --- Other formats -------------------------------------------------------------------------------

// Through Gmsh and VTU, and from there to Exodus again: the values and their places are the same.
TEST_F(PointResults, OtherFormatsKeepPointsAndLayers) {
    const std::vector<StoredVariable> variables =
        Numbered({"s_xx", "s_yy"}, 8) +
        std::vector<StoredVariable>{{"dmg_layer1_sp1"}, {"dmg_layer1_sp2"}, {"dmg_layer2_sp1"},
                                    {"dmg_layer2_sp2"}, {"q_node1", {2}},   {"q_node2", {2}},
                                    {"q_node3", {2}},   {"q_node4", {2}}};
    // Alone, so that no element of the file has as many points as the largest has nodes.
    const std::vector<StoredVariable> few =
        std::vector<StoredVariable>(variables.end() - 4, variables.end());
    for (const auto& [format, given] : {std::pair("msh", &variables), std::pair("pvd", &variables),
                                        std::pair("msh", &few), std::pair("pvd", &few)}) {
        SCOPED_TRACE(format);
        GoThrough(*given);
        const fs::path other = m_folder / ("out." + std::string(format));
        const CommandResult exported = RunHere({"export", Database(), "-o", other, "--force"});
        ASSERT_EQ(exported.status, 0) << exported.err;
        const fs::path again = m_folder / (std::string(format) + ".orq");
        const CommandResult imported = RunHere({"import", other, "-o", again, "--force"});
        ASSERT_EQ(imported.status, 0) << imported.err;
        EXPECT_EQ(RunHere({"export", again, "-o", m_folder / "again.e", "--force"}).status, 0);
        EXPECT_EQ(ValuesByName(exodus_file::ReadResults(m_folder / "again.e")),
                  ValuesByName(exodus_file::ReadResults(m_folder / "in.e")));
    }
}

// The format takes three components for x, y and z: those of others, or in another order, are apart.
TEST_F(PointResults, GmshHasEachComponentUnderItsName) {
    const std::vector<StoredVariable> variables = {{"s_xx"}, {"s_yy"}, {"s_xy"}, {"v_x"}, {"v_z"},
                                                   {"v_y"},  {"w_x"},  {"w_y"},  {"w_z"}};
    GoThrough(variables);
    ASSERT_EQ(RunHere({"export", Database(), "-o", m_folder / "out.msh"}).status, 0);
    const fs::path again = m_folder / "again.orq";
    ASSERT_EQ(RunHere({"import", m_folder / "out.msh", "-o", again}).status, 0);
    EXPECT_EQ(FieldsOf(again), FieldsOf(Database()));
    ASSERT_EQ(RunHere({"export", again, "-o", m_folder / "again.e"}).status, 0);
    EXPECT_EQ(ValuesByName(exodus_file::ReadResults(m_folder / "again.e")),
              ValuesByName(exodus_file::ReadResults(m_folder / "in.e")));
}

TEST_F(PointResults, GmshValuesAtNodesOfElementsComeInTheOrderOfTheElement) {
    // A tetrahedron of ten nodes, of which Gmsh turns the last two.
    PutBytes(m_folder / "in.msh",
             "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes\n10\n"
             "1 0 0 0\n2 1 0 0\n3 0 1 0\n4 0 0 1\n5 .5 0 0\n6 .5 .5 0\n7 0 .5 0\n8 0 0 .5\n"
             "9 0 .5 .5\n10 .5 0 .5\n$EndNodes\n$Elements\n1\n7 11 2 0 1 1 2 3 4 5 6 7 8 9 10\n"
             "$EndElements\n$ElementNodeData\n1\n\"v\"\n1\n0.5\n3\n0\n1\n2\n"
             "7 10 1 2 3 4 5 6 7 8 9 10\n99 1 5\n$EndElementNodeData\n");
    const CommandResult imported =
        RunHere({"import", m_folder / "in.msh", "-o", Database(), "--json"});
    ASSERT_EQ(imported.status, 0) << imported.err;
    EXPECT_THAT(json::parse(imported.out)["report"]["dropped"].dump(), HasSubstr("element 99"));
    {
        const ORQSimDatabase database =
            ORQSimDatabase::Open(ModelAt(Database()), ORQSimDatabase::Mode::ReadOnly);
        const ORQExcResults results{ORQObjDocument(database)};
        const ORQExcResults::Field& field = results.Fields().at(0);
        EXPECT_EQ(field.gridType, ORQSimSchema::Field_ElementNodal);
        std::vector<double> values(10);
        results.ReadView(field, 0, {results.MembersOf(field), {}, {}, {0, 9}}, values);
        EXPECT_EQ(values, (std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 10, 9}));
    }
    ASSERT_EQ(RunHere({"export", Database(), "-o", m_folder / "out.msh"}).status, 0);
    EXPECT_THAT(
        Bytes(m_folder / "out.msh"),
        HasSubstr("$ElementNodeData\n1\n\"v\"\n1\n0.5\n3\n0\n1\n1\n7 10 1 2 3 4 5 6 7 8 9 10\n"));
}
