// Materials: from decks and layup files into a model, listed, drawn and exported.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcMaterialTable.h"
#include "ORQExcMaterials.h"
#include "ORQObjDocument.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"

namespace orqmodel {
namespace {

using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

/// A triangle of material MAT1 5.
constexpr const char* kOneShell =
    "GRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,3,,1.,1.,0.\nCTRIA3,11,8,1,2,3\nPSHELL,8,5,.2\n"
    "MAT1,5,7.+10,,.3,2700.,2.3-5,20.\n";

class Materials : public testing::Test {
  protected:
    /// Imports in a process of its own; answers what became of materials and tables.
    std::vector<std::string> Import(const std::string& cards) const {
        PutBytes(m_deck, kOneShell + cards);
        const CommandResult result =
            RunProgram({"import", m_deck, "-o", m_model, "--force", "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        std::vector<std::string> lines;
        const json report = json::parse(result.out)["report"];
        for (const char* outcome : {"kept", "noted", "changed", "dropped"}) {
            for (const json& entry : report[outcome]) {
                std::string reason = entry.value("reason", "");
                if (const std::size_t at = reason.find(m_deck); at != std::string::npos) {
                    reason.replace(at, m_deck.size(), "deck");
                }
                if (entry["kind"] != "material table" && !reason.empty()) {
                    lines.push_back(entry["name"].get<std::string>() + " " + outcome + " " +
                                    reason);
                }
            }
        }
        return lines;
    }
    json Tables(const std::string& material) const {
        const CommandResult result = RunProgram({"materials", m_model, material, "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        return json::parse(result.out)["material"]["tables"];
    }
    /// Names of columns and rows of those tables that are not constant.
    json Varying(const std::string& material) const {
        json found = json::array();
        for (const json& table : Tables(material)) {
            if (table["columns"][0]["role"] != "component") {
                std::vector<std::string> names;
                for (const json& column : table["columns"]) {
                    names.push_back(column["name"]);
                }
                found.push_back({table["property"], names, table["rows"]});
            }
        }
        return found;
    }

    ScratchFolder m_folder;
    std::string m_deck = m_folder / "deck.bdf";
    std::string m_model = m_folder / "model.orq";
};

// --- Decks ---------------------------------------------------------------------------------------

TEST_F(Materials, ComponentsShareATableWhereTheirTemperaturesAreEqual) {
    EXPECT_THAT(Import("MATT1,5,17,,18,,19,,4\nMAT9,9,1.\nMATT9,9,17,4\n"
                       "TABLEM1,17\n,20.,7.1+10,100.,6.0123456789012345+10,ENDT\n"
                       "TABLEM1,18\n,20.,.3,100.,.31,ENDT\n"
                       "TABLEM1,19\n,20.,2.3-5,200.,2.4-5,ENDT\n"
                       "TABLEM1,4\n,0.,1.,ENDT\n"),
                IsEmpty());
    EXPECT_EQ(Varying("MAT1 5"), json::parse(R"([
        ["elastic", ["temperature", "E", "nu"], [[20, 7.1e10, 0.3],
                                                 [100, 6.0123456789012345e10, 0.31]]],
        ["expansion", ["temperature", "alpha"], [[20, 2.3e-5], [200, 2.4e-5]]],
        ["damping", ["temperature", "damping"], [[0, 1]]]])"));
    EXPECT_EQ(Varying("MAT9 9"), json::parse(R"([
        ["elastic", ["temperature", "G11"], [[20, 7.1e10], [100, 6.0123456789012345e10]]],
        ["elastic", ["temperature", "G12"], [[0, 1]]]])"));
    EXPECT_EQ(Tables("MAT1 5")[0]["rows"], json::parse("[[7e10, null, 0.3]]"));

    // Out and in again: the same tables under the same numbers, each card once.
    const std::string once = m_folder / "once.bdf";
    const json before = {Tables("MAT1 5"), Tables("MAT9 9")};
    ASSERT_EQ(RunProgram({"export", m_model, "-o", once, "--strict"}).status, 0);
    EXPECT_EQ(RunProgram({"import", once, "-o", m_model, "--force"}).status, 0);
    EXPECT_EQ(json({Tables("MAT1 5"), Tables("MAT9 9")}), before);
    EXPECT_EQ(RunProgram({"verify", m_model}).status, 0);
}

TEST_F(Materials, WhatIsOddInTablesIsNamedAndNothingElseChanges) {
    struct Case {
        const char* cards;
        std::vector<const char*> report;
        const char* rows;  // of the one table; null: there is none
    };
    const Case cases[] = {
        {"MATT1,5,1\nTABLEM1,1\n,1.,5.,2.,6.,1.5,7.,ENDT",
         {"TABLEM1 1 noted deck: line 8: the temperature does not rise, in row 3: 1.5 after 2"},
         "[[1, 5], [2, 6], [1.5, 7]]"},
        {"MATT1,5,1\nTABLEM1,1\n,3.,5.,2.,6.,1.,7.,ENDT",
         {"TABLEM1 1 noted deck: line 8: the temperature does not rise, 2 times, first in row 2: 2 "
          "after 3"},
         "[[3, 5], [2, 6], [1, 7]]"},
        {"MATT1,5,1\nTABLEM1,1\n,1.,5.,1.,6.,2.,7.,ENDT",
         {"TABLEM1 1 noted deck: line 8: the temperature is that of a row before, in row 2: 1"},
         "[[1, 5], [1, 6], [2, 7]]"},
        {"MATT1,5,1\nTABLEM1,1\n,1.,5.,2.,,3.,7.,ENDT",
         {"TABLEM1 1 noted deck: line 8: a value is not given, in row 2: y"},
         "[[1, 5], [2, null], [3, 7]]"},
        {"MATT1,5,1\nTABLEM1,1\n,1.,5.,2.,ENDT",
         {"TABLEM1 1 noted deck: line 8: a value is not given, in row 2: y"},
         "[[1, 5], [2, null]]"},
        {"MATT1,5,1\nTABLEM1,1\n,1.,5.,,6.,,,2.,7.\n,ENDT",
         {"TABLEM1 1 noted deck: line 8: field 14: the value 6. has no temperature",
          "TABLEM1 1 noted deck: line 8: field 16: it is blank"},
         "[[1, 5], [2, 7]]"},
        {"MATT1,5,1\nTABLEM1,1\n,1.,5.,SKIP,SKIP,2.,skip,2.,7.\n,ENDT",
         {"TABLEM1 1 noted deck: line 8: field 14: the point with SKIP is left out",
          "TABLEM1 1 noted deck: line 8: field 16: the point with SKIP is left out"},
         "[[1, 5], [2, 7]]"},
        {"MATT1,5,1\nTABLEM1,1\n,1.,5.",
         {"TABLEM1 1 noted deck: line 8: field 14: ENDT is missing; the table ends with its "
          "card"},
         "[[1, 5]]"},
        {"MATT1,5,1\nTABLEM1,1,LOG,LINEAR\n,1.,5.,ENDT,2.",
         {"TABLEM1 1 noted deck: line 8: field 3: \"LOG\" is not kept",
          "TABLEM1 1 noted deck: line 8: field 15: they stand behind ENDT"},
         "[[1, 5]]"},
        {"MATT1,5,1\nTABLEM1,1\n,ENDT",
         {"MATT1 5 noted deck: line 7: field 3: TABLEM1 1 has no points",
          "TABLEM1 1 noted deck: line 8: no material depends on it"},
         nullptr},
        {"MATT1,5,2\nTABLEM1,1\n,1.,5.,ENDT",
         {"MATT1 5 noted deck: line 7: field 3: there is no TABLEM1 2",
          "TABLEM1 1 noted deck: line 8: no material depends on it"},
         nullptr},
        {"MATT1,5,1,,,,,,,\n,,,,,1\nTABLEM1,1\n,1.,5.,ENDT",
         {"MATT1 5 noted deck: line 7: field 16: the material has no such constant"},
         "[[1, 5]]"},
        {"MATT1,6,1\nMATT8,5,1\nTABLEM1,1\n,1.,5.,ENDT",
         {"MATT1 6 noted deck: line 7: there is no MAT1 6",
          "MATT8 5 noted deck: line 8: there is no MAT8 5",
          "TABLEM1 1 noted deck: line 9: no material depends on it"},
         nullptr},
    };
    for (const Case& c : cases) {
        EXPECT_THAT(Import(std::string(c.cards) + "\n"),
                    testing::UnorderedElementsAreArray(c.report))
            << c.cards;
        const json varying = Varying("MAT1 5");
        ASSERT_EQ(varying.size(), c.rows == nullptr ? 0 : 1) << c.cards;
        if (c.rows != nullptr) {
            EXPECT_EQ(varying[0][2], json::parse(c.rows)) << c.cards;
        }
    }
}

TEST_F(Materials, WhatIsNoTableIsAFindingWithItsPlace) {
    PutBytes(m_deck, std::string(kOneShell) +
                         "MATT1,5,x\nMATT1,5,1\nTABLEM1,1\n,1.,5.,ENDT\nTABLEM1,1\n,1.,ENDT\n"
                         "TABLEM1,,\nTABLEM1,2\n,1.,abc,1.+999,1.,ENDT\n");
    const CommandResult result = RunHere({"import", m_deck, "-o", m_model});
    EXPECT_EQ(result.status, 1);
    for (const char* finding : {"line 7: MATT1 5: field 3: \"x\" is not an integer",
                                "line 11: TABLEM1 1: field 2: table 1 is given before, in ",
                                "line 13: TABLEM1: field 2: is blank",
                                "line 14: TABLEM1 2: field 13: \"abc\" is not a number",
                                "line 14: TABLEM1 2: field 14: \"1.+999\" is not a number"}) {
        EXPECT_THAT(result.out, HasSubstr(finding));
    }
}

TEST_F(Materials, OfARealDeckAreListed) {
    const std::filesystem::path deck =
        std::filesystem::path(ORQ_SHARED_MODELS) / "flat_plate_composite.bdf";
    if (!exists(deck)) {
        GTEST_SKIP() << "no real models on this machine";
    }
    ASSERT_EQ(RunProgram({"import", deck.string(), "-o", m_model}).status, 0);
    const json materials =
        json::parse(RunProgram({"materials", m_model, "--json"}).out)["materials"];
    ASSERT_EQ(materials.size(), 1);
    EXPECT_EQ(materials[0]["card"], "MAT8");
    const json elastic = Tables(materials[0]["name"])[0];
    EXPECT_EQ(elastic["property"], "elastic");
    EXPECT_EQ(elastic["rows"], json::parse("[[1.425e11, 8.7e9, 0.28, 5.1e9, 5.1e9, 5.1e9]]"));
}

// --- ORQExcLayup files
// ---------------------------------------------------------------------------------

class LayupMaterials : public Materials {
  protected:
    CommandResult ImportLayup(const json& file) const {
        PutBytes(m_layup, file.dump());
        return RunProgram({"import", ORQ_WING_BOX, "-o", m_model, "--force", "--layup", m_layup});
    }
    static json Valid() {
        return json::parse(R"({
          "version": 1,
          "materials": [{"name": "tape",
            "constants": {"E1": 5, "density": 2, "Tref": 20},
            "units": {"E1": "GPa", "temperature": "K", "field_2": "% water"},
            "properties": [
              {"property": "elastic", "columns": ["field_2", "E1", "temperature", "nu12"],
               "rows": [[0, 5, 300, 0.3], [0, 4, 400, null], [1, 3, 300, 0.31]]},
              {"property": "damping", "columns": ["damping", "field_1"],
               "rows": [[0.1, 9], [0.2, 8]]}]}],
          "sections": [], "assignments": []})");
    }
    std::string m_layup = m_folder / "layup.json";
};

TEST_F(LayupMaterials, AreReadBackByAnotherProcess) {
    const CommandResult result = ImportLayup(Valid());
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out,
                HasSubstr("material table \"tape: elastic\": 3 (a value is not given, in row 2: "
                          "nu12)"));
    EXPECT_EQ(Varying("tape"), json::parse(R"([
        ["elastic", ["temperature", "field_2", "E1", "nu12"],
         [[300, 0, 5, 0.3], [400, 0, 4, null], [300, 1, 3, 0.31]]],
        ["damping", ["field_1", "damping"], [[9, 0.1], [8, 0.2]]]])"));
    std::map<std::string, json> units;
    for (const json& table : Tables("tape")) {
        for (const json& column : table["columns"]) {
            units[column["name"]] = column["units"];
        }
    }
    EXPECT_EQ(json(units), json::parse(R"({"E1": "GPa", "density": null, "Tref": null,
        "temperature": "K", "field_2": "% water", "nu12": null, "field_1": null,
        "damping": null})"));

    const CommandResult text = RunHere({"materials", m_model, "tape"});
    EXPECT_THAT(text.out, AllOf(HasSubstr("temperature [K]  field_2 [% water]  E1 [GPa]  nu12\n"),
                                HasSubstr("400                  0         4     -\n")));
    EXPECT_THAT(RunHere({"materials", m_model}).out, HasSubstr("field_1, field_2, temperature\n"));
    const CommandResult none = RunHere({"materials", m_model, "tap"});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, HasSubstr("no material \"tap\"; near are \"tape\""));

    // Bulk data have a place for what depends on the temperature alone.
    json file = Valid();
    file["materials"][0].erase("units");
    file["materials"][0]["properties"][0] = {{"property", "elastic"},
                                             {"columns", {"temperature", "E1", "nu12"}},
                                             {"rows", {{300, 5, 0.3}, {400, 4, nullptr}}}};
    ASSERT_EQ(ImportLayup(file).err, "");
    EXPECT_THAT(RunHere({"export", m_model, "-o", m_deck}).out,
                HasSubstr("\"tape: damping\": 2 (bulk data have no field variables)"));
    std::string cards = Bytes(m_deck);
    cards = cards.substr(0, cards.find("GRID"));
    std::erase(cards, ' ');
    EXPECT_THAT(cards, AllOf(HasSubstr("\nMAT815.2.\n+20.\n"), HasSubstr("\nMATT8112\n"),
                             HasSubstr("\nTABLEM11\n+300.5.400.4.ENDT\n"),
                             HasSubstr("\nTABLEM12\n+300..3400.ENDT\n")))
        << cards;
}

TEST_F(Materials, AComponentThatTheCardDoesNotHaveIsDroppedAndReported) {
    Import("");
    {
        const ORQSimDatabase database =
            ORQSimDatabase::Open(ModelAt(m_model), ORQSimDatabase::Mode::ReadWrite);
        const ORQObjDocument document(database);
        ORQSimTransaction transaction(database.ContextID());
        ORQExcWriteMaterialTables(
            document, ORQExcMaterials(document).Named("MAT1 5").position,
            {{.property = "swelling", .components = {{"swell"}}, .values = {0.5}},
             {.property = "creep",
              .components = {{"rate"}, {"E"}},
              .values = {1, 6e10, 2, 5e10},
              .temperatures = {20, 100}}});
        transaction.Commit();
    }
    const CommandResult result = RunHere({"export", m_model, "-o", m_deck, "--force", "--verbose"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(
        result.out,
        AllOf(HasSubstr("\"MAT1 5: swelling swell\": 1 (the card MAT1 has no field for it)"),
              HasSubstr("\"MAT1 5: creep rate\": 2 (the card MAT1 has no field for it)")));
    EXPECT_THAT(Bytes(m_deck), HasSubstr("TABLEM1"));
    EXPECT_EQ(RunHere({"export", m_model, "-o", m_deck, "--force", "--strict"}).status, 1);
}

TEST_F(LayupMaterials, ErrorsAreNamedTogether) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {R"({"op":"replace","path":"/columns/1","value":"E3"})",
         {"/columns/1: there is no column \"E3\"; near are \"E1\", \"E2\""}},
        {R"({"op":"replace","path":"/columns/1","value":"density"})",
         {"/columns/1: there is no column \"density\""}},
        {R"({"op":"replace","path":"/columns/0","value":"field_0"})",
         {"/columns/0: there is no column \"field_0\""}},
        {R"({"op":"replace","path":"/columns/1","value":"nu12"})",
         {"/columns/3: is \"nu12\"; expected is a column that no other"}},
        {R"({"op":"replace","path":"/columns","value":["temperature", "field_1"]})",
         {"/columns: names no component of \"elastic\""}},
        {R"({"op":"replace","path":"/columns","value":["E1", "E2"]})",
         {"/columns: names neither the temperature nor a field variable"}},
        {R"({"op":"replace","path":"/property","value":"elasticity"})",
         {"/property: there is no property \"elasticity\"; near are \"elastic\"",
          "/columns/1: there", "/columns/3: there", "/columns: names no"}},
        {R"({"op":"remove","path":"/rows"})", {": \"rows\" is missing"}},
        {R"({"op":"replace","path":"/rows","value":[]})",
         {"/rows: is an array of 0; expected is an array of rows"}},
        {R"({"op":"replace","path":"/rows/1","value":[1, 2, 3]})",
         {"/rows/1: is an array of 3; expected is an array of 4"}},
        {R"({"op":"replace","path":"/rows/1","value":[0, "4", null, 1]})",
         {"/rows/1/1: is \"4\"; expected is a number", "/rows/1/2: is null; expected is a number"}},
    };
    for (const auto& [change, errors] : cases) {
        json file = Valid();
        file["materials"][0].erase("units");
        json& property = file["materials"][0]["properties"][0];
        property = property.patch(json::array({json::parse(change)}));
        const CommandResult result = ImportLayup(file);
        EXPECT_EQ(result.status, 3) << change;
        for (const char* error : errors) {
            EXPECT_THAT(result.err, HasSubstr(m_layup + ": /materials/0/properties/0" + error))
                << change;
        }
        EXPECT_EQ(std::ranges::count(result.err, '\n'), std::ssize(errors)) << result.err;
    }
    json file = Valid();
    file["materials"][0]["properties"][1] = file["materials"][0]["properties"][0];
    file["materials"][0]["units"]["field_3"] = "m";
    file["materials"][0]["units"]["E1"] = 1;
    const CommandResult result = ImportLayup(file);
    EXPECT_THAT(
        result.err,
        AllOf(HasSubstr("properties/1/columns/1: is \"E1\"; expected is a component that no"),
              HasSubstr("/units/field_3: there is no key \"field_3\"; near are \"field_2\""),
              HasSubstr("/units/E1: is 1; expected is a text")));
}

// --- Pictures ------------------------------------------------------------------------------------

TEST_F(LayupMaterials, AreDrawnOverTemperature) {
    json file = Valid();
    file["materials"].push_back({{"name", "name only"}});
    file["materials"].push_back(json::parse(R"({"name": "vast", "properties": [
        {"property": "elastic", "columns": ["temperature", "E1", "E2"],
         "rows": [[-1.7e308, -1.7e308, 0], [0, 1e-320, 0], [1.7e308, 1.7e308, 0]]}]})"));
    ASSERT_EQ(ImportLayup(file).status, 0);
    const auto svg = [&](const char* material, const char* size) {
        const std::string picture = m_folder / "picture.svg";
        const CommandResult result = RunHere({"draw", m_model, "--material", material, "-o",
                                              picture, "--force", "--size", size, "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        return std::pair(json::parse(result.out)["graphs"].get<int>(), Bytes(picture));
    };
    // E1 with its constant, nu12, and damping over its field variable.
    const auto [nGraphs, text] = svg("tape", "1200x900");
    EXPECT_EQ(nGraphs, 3);
    for (const char* label :
         {">elastic: E1 [GPa]<", ">E1 at 0 % water<", ">E1 at 1 % water<", ">E1 constant<",
          ">temperature [K]<", ">field_1<", ">constant: density 2, Tref 20<", ">350<"}) {
        EXPECT_THAT(text, HasSubstr(label));
    }
    EXPECT_EQ(svg("name only", "1200x900").first, 0);
    for (const char* size : {"1200x900", "300x240", "32x32", "32x900"}) {
        for (const char* material : {"tape", "name only", "vast"}) {
            const std::string drawn = svg(material, size).second;
            EXPECT_THAT(drawn, testing::Not(testing::ContainsRegex("nan|inf|-92233720"))) << size;
            const std::string png = m_folder / "picture.png";
            EXPECT_EQ(RunHere({"draw", m_model, "--material", material, "-o", png, "--force",
                               "--size", size})
                          .status,
                      0);
        }
    }
    EXPECT_EQ(
        RunHere({"draw", m_model, "--material", "tape", "--section", "x", "-o", "x.png"}).status,
        2);
}

}  // namespace
}  // namespace orqmodel
