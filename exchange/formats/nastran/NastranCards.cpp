#include "formats/nastran/NastranCards.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <map>
#include <utility>

namespace orq::exchange {
namespace {

using Fields = std::vector<NastranElementField>;
using Nodes = std::vector<int>;

std::vector<const ORQExcShape*> Shapes(std::initializer_list<const char*> names) {
    std::vector<const ORQExcShape*> shapes;
    for (const char* name : names) {
        shapes.push_back(ORQExcFindShapeByName(name));
    }
    return shapes;
}

/// Fields `first`, ..., `last`.
Nodes Range(int first, int last) {
    Nodes fields;
    for (int field = first; field <= last; ++field) {
        fields.push_back(field);
    }
    return fields;
}

/// Material direction, offset, and the thicknesses at the corners.
Fields ShellFields(int direction, int flag, int thickness, int nCorners) {
    Fields fields = {{direction, "THETA", "MCID"}, {direction + 1, "ZOFFS"}};
    static constexpr std::array<const char*, 4> kNames = {"T1", "T2", "T3", "T4"};
    for (int i = 0; i < nCorners; ++i) {
        fields.push_back({thickness + i, kNames[static_cast<std::size_t>(i)]});
    }
    fields.push_back({flag, nullptr, "TFLAG"});
    return fields;
}

// The order decides which card stands for a shape that came from no deck: the first one.
const std::vector<NastranElementCard>& ElementCards() {
    static const Fields barFields = {{5, "X1", "G0"},    {6, "X2"},           {7, "X3"},
                                     {9, nullptr, "PA"}, {10, nullptr, "PB"}, {11, "W1A"},
                                     {12, "W2A"},        {13, "W3A"},         {14, "W1B"},
                                     {15, "W2B"},        {16, "W3B"}};
    static const Fields components = {{4, nullptr, "C1"}, {6, nullptr, "C2"}};
    static const auto with = [](Fields fields, const Fields& more) {
        fields.insert(fields.end(), more.begin(), more.end());
        return fields;
    };
    static const std::vector<NastranElementCard> cards = {
        {"CQUAD4", "shell", Range(3, 6), Shapes({"SHELL4"}), ShellFields(7, 10, 11, 4)},
        {"CQUADR", "shell", Range(3, 6), Shapes({"SHELL4"}), ShellFields(7, 10, 11, 4)},
        {"CQUAD8", "shell", Range(3, 10), Shapes({"SHELL4", "SHELL8"}), ShellFields(15, 17, 11, 4)},
        {"CTRIA3", "shell", Range(3, 5), Shapes({"SHELL3"}), ShellFields(6, 10, 11, 3)},
        {"CTRIAR", "shell", Range(3, 5), Shapes({"SHELL3"}), ShellFields(6, 10, 11, 3)},
        {"CTRIA6", "shell", Range(3, 8), Shapes({"SHELL3", "SHELL6"}), ShellFields(9, 14, 11, 3)},
        {"CQUAD", "shell", Range(3, 11), Shapes({"SHELL4", "SHELL9"}), {{12, "THETA", "MCID"}}},
        {"CSHEAR", "shear", Range(3, 6), Shapes({"SHELL4"}), {}},
        {"CTETRA", "solid", Range(3, 12), Shapes({"TET4", "TET10"}), {}},
        {"CPYRAM", "solid", Range(3, 15), Shapes({"PYRAMID5", "PYRAMID13"}), {}},
        {"CPENTA", "solid", Range(3, 17), Shapes({"WEDGE6", "WEDGE15"}), {}},
        {"CHEXA", "solid", Range(3, 22), Shapes({"HEX8", "HEX20"}), {}},
        {"CROD", "rod", {3, 4}, Shapes({"BAR2"}), {}},
        {"CTUBE", "tube", {3, 4}, Shapes({"BAR2"}), {}},
        {"CONROD",
         nullptr,
         {2, 3},
         Shapes({"BAR2"}),
         {{4, nullptr, "MID"}, {5, "A"}, {6, "J"}, {7, "C"}, {8, "NSM"}}},
        {"CBAR", "bar", {3, 4}, Shapes({"BAR2"}), barFields},
        {"CBEAM",
         "bar",
         {3, 4},
         Shapes({"BAR2"}),
         with(barFields, {{17, nullptr, "SA"}, {18, nullptr, "SB"}})},
        {"CBEAM3", "beam3", {3, 4, 5}, Shapes({"BAR2", "BAR3"}), {}},
        {"CBEND", "bend", {3, 4}, Shapes({"BAR2"}), {}},
        {"CVISC", "visc", {3, 4}, Shapes({"BAR2"}), {}, 5},
        {"CBUSH1D", "bush1d", {3, 4}, Shapes({"SPHERE", "BAR2"}), {{5, nullptr, "CID"}}},
        {"CBUSH2D", "bush2d", {3, 4}, Shapes({"BAR2"}), {{5, nullptr, "CID"}}},
        {"CGAP", "gap", {3, 4}, Shapes({"SPHERE", "BAR2"}), {}},
        {"PLOTEL", nullptr, {2, 3}, Shapes({"BAR2"}), {}, 5},
        {"CDAMP1", "damper", {3, 5}, Shapes({"SPHERE", "BAR2"}), components},
        {"CDAMP2", nullptr, {3, 5}, Shapes({"SPHERE", "BAR2"}), with(components, {{2, "B"}})},
        {"CDAMP5", "damper5", {3, 4}, Shapes({"SPHERE", "BAR2"}), {}},
        {"CONM1", nullptr, {2}, Shapes({"SPHERE"}), {{3, nullptr, "CID"}}},
        {"CELAS1", "spring", {3, 5}, Shapes({"SPHERE", "BAR2"}), components},
        {"CELAS2",
         nullptr,
         {3, 5},
         Shapes({"SPHERE", "BAR2"}),
         with(components, {{2, "K"}, {7, "GE"}, {8, "S"}})},
        {"CBUSH",
         "bush",
         {3, 4},
         Shapes({"SPHERE", "BAR2"}),
         {{5, "X1", "G0"},
          {6, "X2"},
          {7, "X3"},
          {8, nullptr, "CID"},
          {9, "S"},
          {10, nullptr, "OCID"},
          {11, "S1"},
          {12, "S2"},
          {13, "S3"}}},
        {"CONM2",
         nullptr,
         {2},
         Shapes({"SPHERE"}),
         {{3, nullptr, "CID"},
          {4, "M"},
          {5, "X1"},
          {6, "X2"},
          {7, "X3"},
          {9, "I11"},
          {10, "I21"},
          {11, "I22"},
          {12, "I31"},
          {13, "I32"},
          {14, "I33"}}},
        {"CMASS1", "mass", {3, 5}, Shapes({"SPHERE", "BAR2"}), components},
        {"CMASS2", nullptr, {3, 5}, Shapes({"SPHERE", "BAR2"}), with(components, {{2, "M"}})},
    };
    return cards;
}

}  // namespace

const NastranElementCard* FindNastranElementCard(std::string_view name) {
    static const auto byName = [] {
        std::map<std::string_view, const NastranElementCard*> map;
        for (const NastranElementCard& card : ElementCards()) {
            map[card.name] = &card;
        }
        return map;
    }();
    const auto found = byName.find(name);
    return found == byName.end() ? nullptr : found->second;
}

NastranElementCardFor FindNastranElementCardFor(const ORQExcShape& shape, std::string_view name) {
    const NastranElementCard* const own = FindNastranElementCard(name);
    if (own != nullptr && std::ranges::find(own->shapes, &shape) != own->shapes.end()) {
        return {own, &shape};
    }
    if (shape.dimension == 0) {
        const NastranElementCard* const mass = FindNastranElementCard("CONM2");
        return {mass, mass->shapes.front()};
    }
    const auto sameEdge = [](const ORQExcShape::Side& a, const ORQExcShape::Side& b) {
        return a.nodes == b.nodes;
    };
    NastranElementCardFor best;
    for (const NastranElementCard& card : ElementCards()) {
        for (const ORQExcShape* const candidate : card.shapes) {
            const bool begins =
                candidate->dimension == shape.dimension && candidate->nCorners == shape.nCorners &&
                candidate->nNodes <= shape.nNodes &&
                // Middle nodes of a smaller shape begin those of a larger one only where both
                // number the edges equally.
                (candidate->nNodes == candidate->nCorners || candidate->nNodes == shape.nNodes ||
                 std::ranges::equal(candidate->edges, shape.edges, sameEdge));
            if (begins && (best.shape == nullptr || candidate->nNodes > best.shape->nNodes)) {
                best = {&card, candidate};
            }
        }
    }
    return best;
}

std::string_view NastranPlaceholderCard(std::string_view family) {
    static const std::map<std::string_view, std::string_view> cards = {
        {"shell", "PSHELL"},   {"shear", "PSHEAR"},   {"solid", "PSOLID"}, {"rod", "PROD"},
        {"tube", "PTUBE"},     {"bar", "PBAR"},       {"beam3", "PBEAM3"}, {"bend", "PBEND"},
        {"visc", "PVISC"},     {"bush1d", "PBUSH1D"}, {"gap", "PGAP"},     {"bush2d", "PBUSH2D"},
        {"damper", "PDAMP"},   {"spring", "PELAS"},   {"bush", "PBUSH"},   {"mass", "PMASS"},
        {"damper5", "PDAMP5"},
    };
    return cards.at(family);
}

std::string_view NastranPropertyFamily(std::string_view card) {
    static const std::map<std::string_view, std::string_view> families = {
        {"PSHELL", "shell"}, {"PCOMP", "shell"},    {"PCOMPG", "shell"},   {"PLPLANE", "shell"},
        {"PSOLID", "solid"}, {"PLSOLID", "solid"},  {"PCOMPS", "solid"},   {"PROD", "rod"},
        {"PTUBE", "tube"},   {"PBAR", "bar"},       {"PBARL", "bar"},      {"PBEAM", "bar"},
        {"PBEAML", "bar"},   {"PBCOMP", "bar"},     {"PELAS", "spring"},   {"PBUSH", "bush"},
        {"PMASS", "mass"},   {"PSHEAR", "shear"},   {"PBEAM3", "beam3"},   {"PBEND", "bend"},
        {"PVISC", "visc"},   {"PBUSH1D", "bush1d"}, {"PBUSH2D", "bush2d"}, {"PGAP", "gap"},
        {"PDAMP", "damper"}, {"PDAMP5", "damper5"},
    };
    const auto found = families.find(card);
    return found == families.end() ? std::string_view{} : found->second;
}

int NastranPropertyStride(std::string_view card) {
    if (card == "PELAS" || card == "PVISC") {
        return 4;
    }
    return card == "PDAMP" || card == "PMASS" ? 2 : kNoStride;
}

int NastranFieldOf(const MaterialKind& kind, std::string_view component) {
    const auto found = std::ranges::find(kind.constants, component, &MaterialKind::Constant::name);
    return found == kind.constants.end()
               ? 0
               : kFirstMaterialConstant + static_cast<int>(found - kind.constants.begin());
}

std::string NastranTemperatureCard(std::string_view materialCard) {
    return std::string("MATT").append(materialCard.substr(std::string_view("MAT").size()));
}

std::span<const std::string_view> NastranWords() {
    static constexpr std::array<std::string_view, 11> words = {"HILL",  "HOFF",  "TSAI",  "STRN",
                                                               "HFAIL", "HTAPE", "HFABR", "MEM",
                                                               "BEND",  "SMEAR", "SMCORE"};
    return words;
}

}  // namespace orq::exchange
