// Thickness, offset and layers of shells in formats that have numbers of elements only.
#include <exodusII.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcModel.h"
#include "ORQExcShellValues.h"
#include "ORQSimDatabase.h"

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// Block PCOMP 1 has a laminate with its lowest layer 0.5 above the nodes, PSHELL 2 plates of which
// one has an offset and thicknesses of its own.
constexpr const char* kPlates = R"(BEGIN BULK
GRID,1,,0.,0.,0.
GRID,2,,1.,0.,0.
GRID,3,,1.,1.,0.
GRID,4,,0.,1.,0.
MAT1,7,1.,,.3
MAT1,8,2.,,.3
PCOMP,1,.5
,8,.1,45.,,7,.3,-30.
PSHELL,2,7,.25
CQUAD4,11,1,1,2,3,4
CQUAD4,12,1,1,2,3,4,15.
CQUAD4,21,2,1,2,3,4
CQUAD4,22,2,1,2,3,4,,.125
,,,.1,.2,.3,.4
ENDDATA
)";

using Columns = std::map<std::string, std::vector<double>>;

/// The attributes of a block by name, as the Exodus library gives them.
Columns AttributesOf(const fs::path& file, std::int64_t block) {
    int realSize = sizeof(double);
    int fileSize = 0;
    float version = 0;
    const int id =
        ex_open(file.c_str(), EX_READ | EX_ALL_INT64_API, &realSize, &fileSize, &version);
    EXPECT_GE(id, 0) << file;
    ex_set_max_name_length(id, 64);
    ex_block sizes{};
    sizes.id = block;
    sizes.type = EX_ELEM_BLOCK;
    EXPECT_EQ(ex_get_block_param(id, &sizes), 0);
    std::vector<std::string> names(static_cast<std::size_t>(sizes.num_attribute),
                                   std::string(65, '\0'));
    std::vector<char*> pointers;
    for (std::string& name : names) {
        pointers.push_back(name.data());
    }
    Columns columns;
    if (!names.empty()) {
        ex_get_attr_names(id, EX_ELEM_BLOCK, block, pointers.data());
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::vector<double>& column = columns[names[i].c_str()];
        column.resize(static_cast<std::size_t>(sizes.num_entry));
        ex_get_one_attr(id, EX_ELEM_BLOCK, block, static_cast<int>(i) + 1, column.data());
    }
    ex_close(id);
    return columns;
}

class ShellColumns : public testing::Test {
  protected:
    void Import(const fs::path& file) {
        const CommandResult result =
            RunHere({"import", file, "-o", m_folder / "model.orq", "--force"});
        ASSERT_EQ(result.status, 0) << result.err << result.out;
    }
    fs::path Export(const std::string& name) {
        const CommandResult result =
            RunHere({"export", m_folder / "model.orq", "-o", m_folder / name, "--force"});
        EXPECT_EQ(result.status, 0) << result.err;
        m_report = result.out;
        return m_folder / name;
    }
    void ImportDeck() {
        PutBytes(m_folder / "deck.bdf", kPlates);
        Import(m_folder / "deck.bdf");
    }
    void ExpectLayers(Columns laminate, Columns plate) {
        EXPECT_THAT(laminate["thickness"], ElementsAre(0.4, 0.4));
        EXPECT_THAT(laminate["offset"], ElementsAre(0.7, 0.7));
        EXPECT_THAT(laminate["ply_1_thickness"], ElementsAre(0.1, 0.1));
        EXPECT_THAT(laminate["ply_1_angle"], ElementsAre(45, 60));
        EXPECT_THAT(laminate["ply_1_material"], ElementsAre(8, 8));
        EXPECT_THAT(laminate["ply_2_thickness"], ElementsAre(0.3, 0.3));
        EXPECT_THAT(laminate["ply_2_angle"], ElementsAre(-30, -15));
        EXPECT_THAT(laminate["ply_2_material"], ElementsAre(7, 7));
        EXPECT_THAT(plate["thickness"], ElementsAre(0.25, 0.25));  // and .1 to .4 at the corners
        EXPECT_THAT(plate["offset"], ElementsAre(0, 0.125));
        EXPECT_THAT(plate["ply_1_material"], ElementsAre(7, 7));
        EXPECT_FALSE(plate.contains("ply_2_material"));
    }

    ScratchFolder m_folder;
    std::string m_report;
};

}  // namespace

TEST_F(ShellColumns, AreAttributesInExodus) {
    ImportDeck();
    const fs::path file = Export("out.e");
    ExpectLayers(AttributesOf(file, 1), AttributesOf(file, 2));
    EXPECT_THAT(m_report, HasSubstr("its layers became attributes"));
    // They come back as attributes, and go on as they are.
    Import(file);
    const fs::path again = Export("again.e");
    ExpectLayers(AttributesOf(again, 1), AttributesOf(again, 2));
}

TEST_F(ShellColumns, AreArraysInVtuAndComeBackAsAttributes) {
    ImportDeck();
    Import(Export("out.vtu"));
    const fs::path file = Export("out.e");
    ExpectLayers(AttributesOf(file, 1), AttributesOf(file, 2));
}

TEST_F(ShellColumns, AreWhatShellsMeasureByCardsAndByAttributes) {
    ImportDeck();
    for (const bool isDeck : {true, false}) {
        const ORQExcModel model(ORQObjDocument(
            ORQSimDatabase::Open(ModelAt(m_folder / "model.orq"), ORQSimDatabase::Mode::ReadOnly)));
        EXPECT_THAT(ORQExcShellValuesOf(model, ORQExcShellValue::Thickness),
                    ElementsAre(0.4, 0.4, 0.25, 0.25))
            << isDeck;
        EXPECT_THAT(ORQExcShellValuesOf(model, ORQExcShellValue::Offset),
                    ElementsAre(0.7, 0.7, 0, 0.125))
            << isDeck;
        for (const auto& [quantity, text] : {std::pair{"thickness", "max 0.4, "},
                                             {"offset", "max 0.7, "},
                                             {"quality", "max 1, "}}) {
            const fs::path svg = m_folder / (std::string(quantity) + ".svg");
            const CommandResult drawn = RunHere(
                {"draw", m_folder / "model.orq", "-o", svg, "--colour-by", quantity, "--force"});
            EXPECT_EQ(drawn.status, 0) << drawn.err;
            EXPECT_THAT(Bytes(svg), HasSubstr(text)) << isDeck;
        }
        EXPECT_THAT(RunHere({"table", m_folder / "model.orq", "--quantity", "volume"}).out,
                    HasSubstr("0.4"));
        Import(Export("out.e"));
    }
}

TEST_F(ShellColumns, BecomePlatesOfADeck) {
    ImportDeck();
    Import(Export("out.e"));
    const std::string deck = Bytes(Export("back.bdf"));
    EXPECT_THAT(deck, HasSubstr("PSHELL         1              .4"));
    EXPECT_THAT(deck, HasSubstr("PSHELL         2             .25"));
    EXPECT_THAT(m_report, HasSubstr("CQUAD4 has no field for it"));  // the layers
    // The offsets of the middle, which contain those of the laminate.
    Import(m_folder / "back.bdf");
    const fs::path file = Export("again.e");
    Columns laminate = AttributesOf(file, 1);
    Columns plate = AttributesOf(file, 2);
    EXPECT_THAT(laminate["thickness"], ElementsAre(0.4, 0.4));
    EXPECT_THAT(laminate["offset"], ElementsAre(0.7, 0.7));
    EXPECT_THAT(plate["offset"], ElementsAre(0, 0.125));
}

// Exodus files have the thickness of shells under any case of its name, or none.
TEST_F(ShellColumns, ForeignThicknessesAreKnownByNameOrPlace) {
    struct Case {
        const char* name;
        std::vector<double> values;
        const char* card;
    };
    for (const Case& one :
         std::vector<Case>{{"THICKNESS", {0.5, 0.5}, "PSHELL         1              .5"},
                           {"", {0.5, 0.5}, "PSHELL         1              .5"},
                           {"Thickness", {0.5, 0.75}, "PSHELL         1\n"}}) {
        SCOPED_TRACE(one.name);
        exodus_file::Content content;
        content.blocks = {{1, "skin", "SHELL4", 4, {1, 2, 3, 4, 4, 3, 2, 1}, {}}};
        const fs::path file = m_folder / "foreign.e";
        fs::remove(file);
        exodus_file::Write(content, file);
        int realSize = sizeof(double);
        int fileSize = 0;
        float version = 0;
        const int id = ex_open(file.c_str(), EX_WRITE, &realSize, &fileSize, &version);
        ASSERT_GE(id, 0);
        ASSERT_EQ(ex_put_attr_param(id, EX_ELEM_BLOCK, 1, 1), 0);
        ASSERT_EQ(ex_put_attr(id, EX_ELEM_BLOCK, 1, one.values.data()), 0);
        std::string name = one.name;
        char* pointer = name.data();
        if (!name.empty()) {
            ex_put_attr_names(id, EX_ELEM_BLOCK, 1, &pointer);
        }
        ex_close(id);
        Import(file);
        const ORQExcModel model(ORQObjDocument(
            ORQSimDatabase::Open(ModelAt(m_folder / "model.orq"), ORQSimDatabase::Mode::ReadOnly)));
        EXPECT_EQ(ORQExcShellValuesOf(model, ORQExcShellValue::Thickness), one.values);
        const std::string deck = Bytes(Export("out.bdf"));
        EXPECT_THAT(deck, HasSubstr(one.card));
        if (one.values[1] != one.values[0]) {
            Import(m_folder / "out.bdf");
            EXPECT_THAT(AttributesOf(Export("back.e"), 1)["thickness"], ElementsAre(0.5, 0.75));
        }
    }
}
