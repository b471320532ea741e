// Decks as they are: what is wrong in them, what the model has no place for, and the way back.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcModel.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "formats/nastran/NastranDeck.h"
#include "formats/nastran/NastranReader.h"

namespace orqmodel {
namespace {

namespace fs = std::filesystem;
using namespace orq::exchange;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

class NastranDeckTest : public testing::Test {
  protected:
    std::string Written(std::string_view text, const char* name = "deck.bdf") const {
        PutBytes(m_folder / name, text);
        return m_folder / name;
    }
    /// Imports and exports again; answers what the independent reader says of the difference.
    std::string Difference(const std::string& deck, int importStatus) const {
        const std::string model = m_folder / "m.orq";
        const std::string back = m_folder / "back.bdf";
        EXPECT_EQ(RunHere({"import", deck, "-o", model, "--force"}).status, importStatus) << deck;
        const CommandResult exported = RunHere({"export", model, "-o", back, "--force"});
        EXPECT_EQ(exported.status, 0) << deck << exported.err;
        const std::string told = m_folder / "difference.txt";
        const std::string command =
            ORQ_PYTHON " " ORQ_COMPARE_DECKS " " + deck + " " + back + " > " + told + " 2>&1";
        const int status = std::system(command.c_str());
        return status == 0 ? "" : Bytes(told) + " ";
    }
    std::vector<std::string> CardsOf(std::string_view text) const {
        const std::string file = Written(text, "cards.bdf");
        NastranProblems problems;
        NastranDeck deck(fs::path(file), problems);
        BulkCard card;
        std::vector<std::string> cards;
        while (deck.Next(card)) {
            std::string all(card.Name());
            for (int field = 1; field <= card.NumFields(); ++field) {
                all.append(" ").append(card.IsBlank(field) ? "_" : card.Text(field));
            }
            cards.push_back(all);
        }
        problems.Check();
        return cards;
    }

    ScratchFolder m_folder;
};

TEST_F(NastranDeckTest, CardsAreReadInEverySpelling) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"GRID   *               1                             1.0             2.0\n*      "
         "             3.0\n",
         {"GRID 1 _ 1.0 2.0 3.0"}},
        {"GRID*,1,,1.0,2.0\n*,3.0\n", {"GRID 1 _ 1.0 2.0 3.0"}},
        // Continuations have any name, in upper or lower case, or none.
        {"SPC1,1,123,1,2,3,4,5,6,+A1\n+a1,7\n", {"SPC1 1 123 1 2 3 4 5 6 7"}},
        {"SPC1    1       123     1       2       3       4       5       6       SPC1A\n"
         "        7\n",
         {"SPC1 1 123 1 2 3 4 5 6 7"}},
        // Wide and small lines of one card.
        {"MAT1*   1               7.+10                           .3\n+       1.\n",
         {"MAT1 1 7.+10 _ .3 _ _ _ _ 1."}},
        {"MAT1    1       7.+10           .3      2700.   1.-5    20.     .01     \n"
         "*       1.              2.\n",
         {"MAT1 1 7.+10 _ .3 2700. 1.-5 20. .01 1. 2."}},
        {"RVDOF1,3,6,19,21,26,28,31,98,104\n", {"RVDOF1 3 6 19 21 26 28 31 98 104"}},
        {"CORD2C,1,0, 0.,0.,0., 0.,0.,1., 0.,1.,0.\n", {"CORD2C 1 0 0. 0. 0. 0. 0. 1. 0. 1. 0."}},
        {"CBUSH   10211,  10010,  201,    205\n", {"CBUSH 10211 10010 201 205"}},
        {"PSHEAR, 401     1       1.0,    0.5\n", {"PSHEAR 401 1 1.0 0.5"}},
        {"DEQATN  10      F1(A,B) = A+B\n", {"DEQATN 10 F1(A,B) = A+B"}},
        // Repeated cards.
        {"GRID,101,17,1.0,10.5,,17,3456\n=,*(1),=,*(0.2),==\n=(2)\n",
         {"GRID 101 17 1.0 10.5 _ 17 3456", "GRID 102 17 1.2 10.5 _ 17 3456",
          "GRID 103 17 1.4 10.5 _ 17 3456", "GRID 104 17 1.5999999999999999 10.5 _ 17 3456"}},
        {"FORCE,1,5,,2.\n=,=,7,=,=\n", {"FORCE 1 5 _ 2.", "FORCE 1 7 _ 2."}},
    };
    for (const auto& [text, cards] : cases) {
        EXPECT_EQ(CardsOf(text), cards) << text;
    }
}

TEST_F(NastranDeckTest, CardsAreRepeatedAMostOfTimes) {
    const std::string file = Written("GRID,1,,1.,1.,1.\n=,*1,=,==\n=(4)\n=(5)\n=,*1,==\n");
    NastranProblems problems;
    NastranDeck deck(fs::path(file), problems, {.repetitions = 5});
    BulkCard card;
    int nNodes = 0;
    while (deck.Next(card)) {
        nNodes += card.Name() == "GRID" ? 1 : 0;
    }
    EXPECT_EQ(nNodes, 6);
    ASSERT_FALSE(problems.Findings().Entries().empty());
    EXPECT_THAT(problems.Findings().Entries()[0].reason,
                HasSubstr("deck.bdf: line 4: =(5): the deck would repeat cards more than 5 times"));
}

TEST_F(NastranDeckTest, IncludesAreFoundBesideTheMainFileAndByVariables) {
    fs::create_directories(m_folder / "sub");
    fs::create_directories(m_folder / "far");
    Written("GRID,1\n", "main.inc");
    Written("GRID,2\nINCLUDE 'main.inc'\n", "sub/sub.inc");
    Written("GRID,3\n", "far/far.inc");
    ASSERT_EQ(setenv("ORQ_TEST_DECKS", (m_folder / "far").c_str(), 1), 0);
    EXPECT_THAT(CardsOf("INCLUDE 'sub/\n  sub.inc'\nINCLUDE 'ORQ_TEST_DECKS:far.inc'\n"
                        "INCLUDE \"sub\\sub.inc\"\nINCLUDE $ORQ_TEST_DECKS/far.inc\n"),
                ElementsAre("GRID 2", "GRID 1", "GRID 3", "GRID 2", "GRID 1", "GRID 3"));
    unsetenv("ORQ_TEST_DECKS");
}

constexpr const char* kBroken = R"(SOL 101
CEND
SPC = 1
TITLE = plate, $ of tin
BEGIN BULK
GRID,1,,0.,0.,0.
GRID,2,,1.,0.,0.
GRID,3,,1.,1.
GRID,4,0,0.,1.,0.,0,456
GRID,4,,0.,2.,0.
GRID,5,77,0.,2.,0.
CQUAD4,10,7,1,2,3,4,,.5
CQUAD4,11,9,1,2,3,4,30.
CTRIA3,12,7,1,2,99
CTRIA3,10,7,1,2,3
CTRIA3,13,7,1,x,3
CTRIA3,14,8,1,2,3,15.
CBAR,15,3,1,2,0.,0.,1.,GGG
CELAS2,16,10.,1,1,101,1
CELAS2,17,10.,0,,2,1
CTRIA6,18,8,1,2,3,4
SPOINT,101
PSHELL,7,15,.1
PCOMP,8,,,,TSAI,,,SYM
,5,.1,45.,YES
PBARL,3,5,,ROD
,.1
MAT1,5,7.+10,,.3
MAT1,5,8.+10,,.3
MAT4,6,100.
SPC1,1,123,1,2,98
SPC1,1,123,3,THRU,200
SET1,3,1,THRU,4,EXCEPT,2,3
RBE2,40,1,123,2,97
RBE3,41,,1,123,1.5,123,2,3
FORCE,1,1,0,10.,1.,0.,0.
DEQATN  10      F1(A,B) = A+B, 2
PARAM,POST,-1
ENDDATA
)";

TEST_F(NastranDeckTest, BrokenModelsComeInWithFindings) {
    const std::string model = m_folder / "m.orq";
    const CommandResult result = RunHere({"import", Written(kBroken), "-o", model, "--json"});
    EXPECT_EQ(result.status, 1);
    std::vector<std::string> found;
    const json report = json::parse(result.out)["report"];
    for (const json& entry : report["findings"]) {
        const auto reason = entry["reason"].get<std::string>();
        found.push_back(reason.substr(reason.find("line ")));
    }
    EXPECT_THAT(found,
                testing::UnorderedElementsAre(
                    HasSubstr("line 10: GRID 4: field 2: the label is given before"),
                    HasSubstr("line 11: GRID 5: field 3: coordinate system 77 is missing or wrong"),
                    HasSubstr("line 13: CQUAD4 11: field 3: property 9 is missing"),
                    "line 14: CTRIA3 12: field 6: node 99 is missing; the element is left out",
                    HasSubstr("line 15: CTRIA3 10: field 2: the label is given before"),
                    "line 16: CTRIA3 13: field 5: \"x\" is not an integer that fits",
                    "line 23: PSHELL 7: field 3: material 15 is missing",
                    HasSubstr("line 29: MAT1 5: field 2: material 5 is given before"),
                    "line 31: SPC1 1 123: field 6: node 98 is missing",
                    "line 34: RBE2 40: field 6: node 97 is missing"));
    EXPECT_EQ(RunHere({"verify", model}).status, 0);
    const json info = json::parse(RunHere({"info", model, "--json"}).out);
    EXPECT_EQ(info["nodes"], 5);
    EXPECT_EQ(info["elements"], 6) << "10, 11, 14, 15, 17 and 18";
    EXPECT_EQ(RunHere({"import", Written(kBroken), "-o", m_folder / "n.orq", "--strict"}).status,
              1);
    EXPECT_FALSE(fs::exists(m_folder / "n.orq"));
    EXPECT_EQ(RunHere({"import", Written("GRID,1,,x\n"), "-o", m_folder / "n.orq"}).status, 3);
}

TEST_F(NastranDeckTest, EveryCardComesBackAndOtherFormatsReportThem) {
    EXPECT_EQ(Difference(Written(kBroken), 1), "");
    const std::string back = Bytes(m_folder / "back.bdf");
    EXPECT_THAT(back, HasSubstr("TITLE = plate, $ of tin"));
    const json report = json::parse(
        RunHere({"export", m_folder / "m.orq", "-o", m_folder / "x.vtu", "--json"}).out)["report"];
    std::set<std::string> dropped;
    for (const json& entry : report["dropped"]) {
        dropped.insert(entry["name"].get<std::string>());
    }
    EXPECT_THAT(dropped, testing::IsSupersetOf({"FORCE", "DEQATN", "PARAM", "MAT4", "lines"}));
    EXPECT_EQ(dropped.count("PSHELL"), 0U) << "the model has it";
}

TEST_F(NastranDeckTest, NumbersAndCardsOfSeveralObjectsComeBackOnce) {
    EXPECT_EQ(Difference(Written("GRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,3,,1.,1.,0.\n"
                                 "CORD1R,4,1,2,3,5,1,3,2\nCTRIA3,1,007,1,2,3,5\n"
                                 "PSHELL,007,+5,.1\nMAT1,05,7.+10,,.3\nMATT1,5,6\n"
                                 "TABLEM1,06\n,1.,5.,2.,6.,ENDT\nSET1,08,1,2\nSPC1,9,012,1\n"
                                 "CELAS1,10,11,1,1,2,1\nCELAS1,12,13,1,1,0,\n"
                                 "PELAS,11,1.,,,13,2.\nPLOTEL,20,1,2,,21,2,3\n"
                                 "CVISC,30,31,1,2\nPVISC,31,.1\n"),
                         0),
              "");
}

TEST_F(NastranDeckTest, SystemsOfDisplacementsAreFoundMissingOnce) {
    const std::string deck = Written(
        "BEGIN BULK\nCORD2C,5,,0.,0.,0.,0.,0.,1.\n,1.,0.,0.\n"
        "GRID,1,,0.,0.,0.,5\nGRID,2,,1.,0.,0.,8\n"
        "GRID,3,,1.,1.,0.,8\nGRID,4,,1.,1.,0.,-1\nENDDATA\n");
    const CommandResult result = RunHere({"import", deck, "-o", m_folder / "m.orq", "--json"});
    EXPECT_EQ(result.status, 1);
    const json findings = json::parse(result.out)["report"]["findings"];
    ASSERT_EQ(findings.size(), 1);
    EXPECT_THAT(findings[0]["reason"].get<std::string>(),
                HasSubstr("line 5: GRID 2: field 7: coordinate system 8 of its displacements is "
                          "missing or wrong; 2 cards name it"));
}

TEST_F(NastranDeckTest, BytesThatAreNoTextComeBackInTheirColumns) {
    const std::string line =
        "DESVAR         1    D\xE4"
        "CKE      1.      .1     10.";
    const std::string deck = Written(
        "$ Gr\xF6\xDF"
        "e\nBEGIN BULK\nGRID,1,,0.,0.,0.\n" +
        line +
        "\nDESVAR         2    D\xC3\xA4"
        "KE      1.      .1     10.\nENDDATA\n");
    EXPECT_EQ(Difference(deck, 0), "");
    EXPECT_THAT(Bytes(m_folder / "back.bdf"), HasSubstr(line + "\n"));
}

TEST_F(NastranDeckTest, WhatTheModelSaysOtherwiseIsWrittenAnew) {
    const std::string model = m_folder / "m.orq";
    // A kept card that contradicts the model, as after a change of the model.
    ASSERT_EQ(RunHere({"import",
                       Written("CORD2R,7,,0.,0.,0.,0.,0.,1.\n,1.,0.,0.\n"
                               "GRID,1,,0.,0.,0.,7\nGRID,2,,1.,0.,0.,7\n"
                               "GRID,3,,1.,1.,0.\nCTRIA3,1,7,1,2,3\nPSHELL,7,5,.1\n"
                               "MAT1,5,7.+10,,.3\nSET1,1,1,2\n"),
                       "-o", model})
                  .status,
              0);
    {
        const ORQSimDatabase database =
            ORQSimDatabase::Open(ModelAt(model), ORQSimDatabase::Mode::ReadWrite);
        const ORQSimVector kept =
            ORQObjDocument(database).GetModel().GetVector(ORQSimSchema::Model_keptTexts);
        ORQSimTransaction transaction(database.ContextID());
        int nReplaced = 0;
        for (auto i = kept.Begin(); i.NotDone(); ++i) {
            constexpr int kFirstPieceField = 6;
            const ORQSimDataRecord record = (*i).DataRecord();
            std::string text = record.ReturnString(kFirstPieceField).UTF8();
            for (const auto& [from, to] : {std::pair("GRID,2,,1.", "GRID,2,,9."),
                                           {"PSHELL,7,5,.1", "PSHELL,7,5,.9"},
                                           {"MAT1,5,7.", "MAT1,5,9."},
                                           {"SET1,1,1,2", "SET1,1,1,3"}}) {
                if (const auto at = text.find(from); at != std::string::npos) {
                    text.replace(at, std::string(from).size(), to);
                    ++nReplaced;
                }
            }
            record.SetString(kFirstPieceField, text);
        }
        EXPECT_EQ(nReplaced, 4);
        transaction.Commit();
    }
    ASSERT_EQ(RunHere({"export", model, "-o", m_folder / "back.bdf"}).status, 0);
    EXPECT_THAT(CardsOf(Bytes(m_folder / "back.bdf")),
                testing::IsSupersetOf({"GRID 1 _ 0. 0. 0. 7", "GRID 2 _ 1. 0. 0.", "PSHELL 7 5 .1",
                                       "MAT1 5 7.+10 _ .3", "SET1 1 1 2"}));
    EXPECT_THAT(Bytes(m_folder / "back.bdf"), testing::Not(HasSubstr("9.")));
}

TEST_F(NastranDeckTest, LabelsOfSeveralInstancesGoToFormatsWithOneNumbering) {
    const std::string nodes = "GRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\n";
    const std::string deck =
        Written("SOL 101\nCEND\nBEGIN BULK\n" + nodes + "BEGIN SUPER=1\n" + nodes + "ENDDATA\n");
    const std::string model = m_folder / "m.orq";
    ASSERT_EQ(RunHere({"import", deck, "-o", model}).status, 0);
    for (const std::string name : {"out.e", "out.msh", "out.vtu", "out.pvd", "out.bdf"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(RunHere({"export", model, "-o", m_folder / name}).status, 0);
        const std::string again = m_folder / "again.orq";
        const CommandResult result = RunHere({"import", m_folder / name, "-o", again, "--force"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(json::parse(RunHere({"info", again, "--json"}).out)["nodes"], 4);
    }
}

TEST_F(NastranDeckTest, SuperelementsAreInstances) {
    const char* const deck =
        "CEND\nBEGIN SUPER = 2\nGRID,1,,5.,0.,0.\nGRID,2,,6.,0.,0.\nGRID,3,,5.,1.,0.\n"
        "CTRIA3,1,7,1,2,3\nPSHELL,7,5,.2\nMAT1,5,7.+10,,.3\nSPC1,1,3,1\n"
        "BEGIN BULK\nGRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,4,,0.,1.,0.\n"
        "CTRIA3,1,7,1,2,4\nPSHELL,7,5,.1\nMAT1,5,6.+10,,.3\nSPC1,1,3,2,4\nENDDATA\n";
    EXPECT_EQ(Difference(Written(deck), 0), "");
    const ORQExcModel model(ORQObjDocument(
        ORQSimDatabase::Open(ModelAt(m_folder / "m.orq"), ORQSimDatabase::Mode::ReadOnly)));
    const auto instances = model.Instances();
    ASSERT_EQ(instances.size(), 2U);
    EXPECT_EQ(instances[0].name, "PART-1");
    EXPECT_EQ(instances[1].name, "SUPER=2");
    EXPECT_EQ(instances[1].nodes, (std::vector<int>{3, 4, 5}));
    EXPECT_EQ(instances[1].elements, std::vector<int>{1});
    EXPECT_EQ(model.NodeLabels(), (std::vector<int>{1, 2, 4, 1, 2, 3}));
}

TEST_F(NastranDeckTest, NominalAnglesStandBesideThoseOfElements) {
    const std::string model = m_folder / "m.orq";
    ASSERT_EQ(RunHere({"import",
                       Written("GRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,3,,1.,1.,0.\n"
                               "CTRIA3,1,7,1,2,3,-5.1655\nCTRIA3,2,7,1,2,3\n"
                               "PCOMP,7\n,5,.1,45.,,5,.1,0.\nMAT1,5,7.+10,,.3\n"),
                       "-o", model})
                  .status,
              0);
    const json section =
        json::parse(RunHere({"layers", model, "PCOMP 7", "--json"}).out)["section"];
    const json& layer = section["layers"][0];
    EXPECT_EQ(layer["nominal_angle"], 45);
    EXPECT_NEAR(layer["angle"]["range"]["lowest"].get<double>(), 39.8345, 1e-12);
    EXPECT_EQ(layer["angle"]["range"]["highest"], 45);
    EXPECT_EQ(section["layers"][1]["nominal_angle"], 0);
}

TEST_F(NastranDeckTest, ModelsOfOtherFormatsAreReadAgain) {
    std::string mesh = "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes\n27\n";
    std::string nodes;
    for (int node = 1; node <= 27; ++node) {
        mesh += std::to_string(node) + " " + std::to_string(node % 3) + " " +
                std::to_string(node / 3 % 3) + " " + std::to_string(node / 9) + "\n";
        nodes += " " + std::to_string(node);
    }
    mesh += "$EndNodes\n$Elements\n4\n1 12 2 1 1" + nodes +
            "\n2 1 2 2 2 1 2\n3 15 2 3 3 5\n4 3 2 4 4 1 2 3 4\n$EndElements\n";
    const std::string model = m_folder / "m.orq";
    const std::string deck = m_folder / "back.bdf";
    ASSERT_EQ(RunHere({"import", Written(mesh, "a.msh"), "-o", model}).status, 0);
    const CommandResult exported = RunHere({"export", model, "-o", deck});
    ASSERT_EQ(exported.status, 0) << exported.err;
    EXPECT_THAT(exported.out, HasSubstr("became CHEXA of 20 nodes"));
    std::multiset<std::string> names;
    for (const std::string& card : CardsOf(Bytes(deck))) {
        names.insert(card.substr(0, card.find(' ')));
    }
    for (const char* name : {"CHEXA", "CROD", "CONM2", "CQUAD4", "PSOLID", "PROD", "PSHELL"}) {
        EXPECT_EQ(names.count(name), 1U) << name;
    }
    const CommandResult again = RunHere({"import", deck, "-o", m_folder / "n.orq"});
    EXPECT_EQ(again.status, 0) << again.out;
    const json info = json::parse(RunHere({"info", m_folder / "n.orq", "--json"}).out);
    EXPECT_EQ(info["nodes"], 27);
    EXPECT_EQ(info["elements"], 4);
}

/// All decks of the collections that are on this machine.
std::vector<std::string> Corpus() {
    std::vector<std::string> decks;
    if (!fs::exists(ORQ_SHARED_CORPUS)) {
        return decks;
    }
    for (const auto& entry : fs::recursive_directory_iterator(ORQ_SHARED_CORPUS)) {
        if (entry.path().extension() == ".bdf") {
            decks.push_back(entry.path().string());
        }
    }
    std::ranges::sort(decks);
    return decks;
}

TEST_F(NastranDeckTest, RealDecksComeBackWithAllTheirCards) {
    const std::vector<std::string> decks = Corpus();
    if (decks.empty()) {
        GTEST_SKIP() << "no collections of models on this machine";
    }
    for (const std::string& deck : decks) {
        const std::string model = m_folder / "m.orq";
        const int status = RunHere({"import", deck, "-o", model, "--force"}).status;
        if (status > 1) {
            ADD_FAILURE() << deck << ": status " << status;
            continue;
        }
        EXPECT_EQ(Difference(deck, status), "") << deck;
    }
}

}  // namespace
}  // namespace orqmodel
