// The table of output variables and the lookups in it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ORQSimSchema.h"
#include "ORQSrvFieldServices.h"
#include "ORQSrvVariableMap.h"

namespace {

using testing::ElementsAre;
using Services = ORQSrvFieldServices;

constexpr int kRecords = 6574;

std::vector<ORQSrvVariableStruct> Records() {
    std::vector<ORQSrvVariableStruct> records;
    for (int i = 0; ORQSrvVariableMap::GetEntry(i).label != nullptr; ++i) {
        records.push_back(ORQSrvVariableMap::GetEntry(i));
    }
    return records;
}

bool IsSecondSymbol(int component) {
    return component == 9 || component == 11 || component == 19;
}

std::vector<std::string> TextsOf(const ORQSimArray<ORQString>& texts) {
    std::vector<std::string> result;
    for (const ORQString& text : texts) {
        result.push_back(text.UTF8());
    }
    return result;
}

int Type(int a, int b) {
    return ads_CoreFragmentTypeIndex(a, b);
}

}  // namespace

// --- The table -----------------------------------------------------------------------------------

TEST(VariableTable, HasAllRecordsSideBySideAndThenTheTerminator) {
    ASSERT_EQ(Records().size(), kRecords);
    const ORQSrvVariableStruct& last = ORQSrvVariableMap::GetEntry(kRecords);
    EXPECT_EQ(last.label, nullptr);
    EXPECT_EQ(last.component, 38);
    EXPECT_STREQ(last.identifier, "UNDEFINED");
    EXPECT_EQ(&last - &ORQSrvVariableMap::GetEntry(0), kRecords);
}

TEST(VariableTable, HasTheCountsOfTheCatalogue) {
    std::map<std::pair<int, int>, int> types;
    std::map<int, int> components;
    std::set<std::string> labels;
    std::set<std::string> identifiers;
    for (const ORQSrvVariableStruct& record : Records()) {
        const ORQSimSchema::Pair pair = ORQSimSchema::PairOf(record.fragmentType);
        ++types[{pair.a, pair.b}];
        ++components[record.component];
        labels.insert(record.label);
        identifiers.insert(record.identifier);
        EXPECT_THAT(std::string(record.label).size(),
                    testing::AllOf(testing::Ge(1U), testing::Le(30U)));
    }
    const std::map<std::pair<int, int>, int> expectedTypes = {
        {{26, 20}, 1290}, {{16, 11}, 862},  {{26, 28}, 851}, {{16, 9}, 846}, {{16, 13}, 845},
        {{16, 15}, 827},  {{26, 113}, 530}, {{16, 77}, 236}, {{16, 8}, 120}, {{26, 19}, 61},
        {{53, 19}, 46},   {{26, 17}, 20},   {{53, 18}, 16},  {{16, 75}, 11}, {{26, 15}, 4},
        {{26, 111}, 4},   {{54, 19}, 2},    {{54, 16}, 2},   {{54, 15}, 1}};
    const std::map<int, int> expectedComponents = {
        {0, 343},  {12, 342}, {20, 341}, {1, 308},  {5, 307},  {9, 293}, {10, 307}, {11, 293},
        {14, 303}, {18, 276}, {19, 262}, {23, 303}, {13, 6},   {21, 5},  {22, 6},   {24, 6},
        {25, 6},   {26, 6},   {27, 6},   {28, 6},   {29, 6},   {30, 6},  {31, 11},  {32, 11},
        {33, 11},  {35, 60},  {36, 60},  {37, 60},  {38, 2624}};
    EXPECT_EQ(types, expectedTypes);
    EXPECT_EQ(components, expectedComponents);
    EXPECT_EQ(labels.size(), 2045);
    EXPECT_EQ(identifiers.size(), 883);
}

TEST(VariableTable, TheSecondSymbolOfALabelIsFoundBehindTheFirst) {
    const auto records = Records();
    std::map<std::string, std::vector<std::size_t>> places;
    int second = 0;
    int behindFirst = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const auto& record = records[i];
        places[record.label].push_back(i);
        if (IsSecondSymbol(record.component)) {
            ++second;
            behindFirst += std::string(records[i - 1].label) == record.label &&
                                   records[i - 1].fragmentType == record.fragmentType
                               ? 1
                               : 0;
        }
    }
    EXPECT_EQ(second, 848);
    EXPECT_EQ(behindFirst, 573);
    for (const auto& [label, at] : places) {
        const bool hasSecond = std::ranges::any_of(
            at, [&](std::size_t i) { return IsSecondSymbol(records[i].component); });
        if (hasSecond) {
            EXPECT_EQ(at[1], at[0] + 1) << label;
            EXPECT_FALSE(IsSecondSymbol(records[at[0]].component)) << label;
            EXPECT_TRUE(IsSecondSymbol(records[at[1]].component)) << label;
        }
    }
}

TEST(VariableTable, NoRecordStandsTwiceAndNoLabelInTwoVariables) {
    std::set<std::tuple<std::string, int, int>> seen;
    std::map<std::string, std::string> variables;
    for (const auto& record : Records()) {
        EXPECT_TRUE(seen.emplace(record.label, record.component, record.fragmentType).second)
            << record.label;
        EXPECT_EQ(variables.emplace(record.label, record.identifier).first->second,
                  record.identifier)
            << record.label;
    }
}

TEST(VariableTable, WholeVariablesComeBeforeTheirInvariantsAndComponents) {
    const int ip = Type(16, 9);
    EXPECT_EQ(Services::GetVariableLabel("S", ip), "S");
    EXPECT_EQ(Services::GetVariableLabel("LE", -1), "LE");
    EXPECT_EQ(Services::GetVariableLabel("A_D", -1), "AT");
    EXPECT_EQ(Services::GetVariableLabel("HFL", ip), "HFL");
    std::set<std::string> whole;
    for (const auto& record : Records()) {
        if (record.component == ads_ComponentNone) {
            whole.insert(record.identifier);
        } else {
            EXPECT_TRUE(whole.contains(record.identifier)) << record.label;
        }
    }
}

// --- Lookups -------------------------------------------------------------------------------------

TEST(FieldServices, LabelsLeadToVariables) {
    const std::pair<const char*, const char*> cases[] = {{"AC YIELD", "AC_YIELD"},
                                                         {"ACDISP1", "ACDISP"},
                                                         {"ALPHA1_12", "ALPHA1"},
                                                         {"RF1", "RF_D"},
                                                         {"CUR1", "CU_R"},
                                                         {"FRF-Worst", "FRF_WORST"},
                                                         {"A1", "A_D"},
                                                         {"ALPHAP3", "ALPHA"},
                                                         {"SP2", "S0"},
                                                         {"ORIENT0", "ORIENT"},
                                                         {"CPR2", "CP_R"},
                                                         {"CDMGR3", "CDMG_R"},
                                                         {"MISES", "S"},
                                                         {"", "UNDEFINED"},
                                                         {"NULL", "UNDEFINED"},
                                                         {"NULLS", "UNDEFINED"},
                                                         {"mises", "UNDEFINED"},
                                                         {"MISE", "UNDEFINED"}};
    for (const auto& [label, identifier] : cases) {
        EXPECT_EQ(Services::GetFieldType(label), identifier) << label;
    }
    // A null byte ends no text of ours.
    EXPECT_EQ(Services::GetFieldType(std::string("S\0T", 3)), "UNDEFINED");
}

TEST(FieldServices, LabelsNameComponents) {
    const std::tuple<const char*, int, int> cases[] = {
        {"S12", 5, 9},       {"S13", 10, 11},   {"S23", 18, 19},     {"ALPHA1_12", 5, 9},
        {"ALPHA1_11", 1, 1}, {"DG21", 13, 13},  {"DG12", 5, 5},      {"DG31", 21, 21},
        {"DG32", 22, 22},    {"ACDISP1", 0, 0}, {"ACDISP2", 12, 12}, {"ACDISP3", 20, 20},
        {"SP1", 24, 24},     {"SP3", 26, 26},   {"ORIENT0", 27, 27}, {"ORIENT3", 30, 30},
        {"CUR1", 31, 31},    {"CPR2", 32, 32},  {"CDMGR3", 33, 33},  {"ALPHAP1", 35, 35},
        {"ALPHAP3", 37, 37}, {"AMAG", 38, 38},  {"PEEQ", 38, 38},    {"none", 38, 38},
        {"PIPES12", 5, 9}};
    for (const auto& [label, first, second] : cases) {
        EXPECT_EQ(Services::GetComponent(label, false), first) << label;
        EXPECT_EQ(Services::GetComponent(label, true), second) << label;
    }
    // The last record has the terminator behind it.
    EXPECT_EQ(Services::GetComponent(Records().back().label, true), Records().back().component);
}

TEST(FieldServices, ComponentsLeadToLabels) {
    EXPECT_EQ(Services::GetComponentLabel("S", ads_Component12Transposed, Type(26, 28)), "S12");
    EXPECT_EQ(Services::GetComponentLabel("DG", ads_Component31, Type(16, 13)), "");
    EXPECT_EQ(Services::GetComponentLabel("DG", ads_Component31, -1), "DG31");
    EXPECT_EQ(Services::GetComponentLabel("S", ads_Component12, Type(26, 113)), "");
    EXPECT_EQ(Services::GetComponentLabel("s", ads_Component12, -1), "");
    EXPECT_EQ(Services::GetVariableLabel("", -1), "");
    EXPECT_EQ(Services::GetVariableLabel("NULL", -1), "");
    EXPECT_EQ(Services::GetVariableLabel("S", Type(26, 113)), "");
}

TEST(FieldServices, ComponentsOfAVariableStandInTheOrderOfTheTable) {
    EXPECT_THAT(TextsOf(Services::GetComponents("MISES")),
                ElementsAre("S11", "S12", "S12", "S13", "S13", "S22", "S23", "S23", "S33"));
    EXPECT_THAT(TextsOf(Services::GetComponents("AMAG")), ElementsAre("A1", "A2", "A3"));
    EXPECT_THAT(TextsOf(Services::GetComponents("PEEQ")), ElementsAre());
    EXPECT_THAT(TextsOf(Services::GetComponents("no such label")), ElementsAre());
    EXPECT_THAT(TextsOf(Services::GetComponents("")), ElementsAre());
}

TEST(FieldServices, TheCursorWalksTheRecordsOfALabel) {
    const auto grid = [](const char* label, bool resume) {
        return Services::GetGridTypeFromVariableLabel(label, resume);
    };
    EXPECT_EQ(grid("MISES", false), Type(16, 9));
    EXPECT_EQ(grid("MISES", true), Type(16, 11));
    EXPECT_EQ(grid("MISES", true), Type(16, 15));
    EXPECT_EQ(grid("MISES", true), Type(26, 28));
    EXPECT_EQ(grid("MISES", true), Type(16, 13));
    EXPECT_EQ(grid("MISES", true), -1);
    EXPECT_EQ(grid("MISES", true), -1);  // the cursor stays at the end
    EXPECT_EQ(grid("S", true), -1);
    EXPECT_EQ(grid("S", false), Type(16, 9));
    // It belongs to all labels: the search for another one moves it on.
    EXPECT_EQ(grid("PEEQ", true), Type(16, 9));
    EXPECT_EQ(grid("S", true), -1);
    // Other lookups leave it alone.
    EXPECT_EQ(grid("S", false), Type(16, 9));
    EXPECT_EQ(Services::GetFieldType("PEEQ"), "PEEQ");
    EXPECT_EQ(grid("S", true), Type(16, 11));
}
