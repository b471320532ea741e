#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "WingBox.h"

namespace wing_box {
namespace {

struct Layer {
    std::string material;
    std::string ply;
    std::string thickness;  // As it stands in the file.
    int angle = 0;
};

/// The unidirectional pack of the upper skin, in whole plies of 0.125 mm: thick from the root to
/// the pylon, then dropping towards the tip, and thinner at both spars.
double PackThickness(double station, double column) {
    constexpr double kPly = 0.000125;
    const double outboard =
        std::max(0.0, station - kFittingStation) / (kStations - kFittingStation);
    const double fromMiddle = std::abs(2 * column / kColumns - 1);
    const double plies = std::round(24 - 18 * outboard - 4 * fromMiddle * (1 - outboard));
    return plies * kPly;
}

std::string PackThicknesses(const Mesh& mesh, const std::string& part) {
    constexpr int kPerLine = 10;
    std::string sets;
    for (const Block& block : mesh.blocks) {
        if (block.name != part && block.name != part + "_tri") {
            continue;
        }
        std::string numbers;
        for (std::size_t i = 0; i < block.elements.size(); ++i) {
            double station = 0;
            double column = 0;
            const std::vector<int>& nodes = block.elements[i].nodes;
            for (const int node : nodes) {
                const LatticePoint& place = mesh.nodes[static_cast<std::size_t>(node)].place;
                station += place.station;
                column += place.column;
            }
            const auto count = static_cast<double>(nodes.size());
            numbers += fmt::format("{}{:.6f}",
                                   i == 0              ? ""
                                   : i % kPerLine == 0 ? ",\n    "
                                                       : ", ",
                                   PackThickness(station / count, column / count));
        }
        sets +=
            fmt::format("{}\n    \"{}\": [\n    {}]", sets.empty() ? "" : ",", block.name, numbers);
    }
    return "{\"sets\": {" + sets + "}}";
}

std::string Section(const std::string& name, const std::string& orientation, bool isSymmetric,
                    const std::vector<Layer>& layers) {
    std::string text =
        fmt::format("    {{\"name\": \"{}\", \"symmetric\": {}, \"layers\": [", name, isSymmetric);
    for (std::size_t i = 0; i < layers.size(); ++i) {
        const Layer& layer = layers[i];
        text += fmt::format(
            "{}\n      {{\"material\": \"{}\", \"orientation\": \"{}\", \"ply\": \"{}\", "
            "\"angle\": {}, \"section_points\": 3, \"thickness\": {}}}",
            i == 0 ? "" : ",", layer.material, orientation, layer.ply, layer.angle,
            layer.thickness);
    }
    return text + "\n    ]}";
}

std::string Assignment(const std::string& section, const std::string& blocks) {
    return fmt::format("    {{\"section\": \"{}\", \"elements\": [{}]}}", section, blocks);
}

std::string Joined(const std::vector<std::string>& items) {
    return fmt::format("{}", fmt::join(items, ",\n"));
}

}  // namespace

void WriteLayup(const Mesh& mesh, const std::filesystem::path& file) {
    const std::string tape = "UD tape";
    const std::string fabric = "fabric";
    const std::vector<Layer> skinLower = {{fabric, "lower outside", "0.0002", 45},
                                          {tape, "lower ply 1", "0.00025", 45},
                                          {tape, "lower ply 2", "0.00025", -45},
                                          {tape, "lower pack", "0.002", 0},
                                          {tape, "lower ply 3", "0.00025", 90}};
    const std::vector<Layer> skinUpper = {
        {tape, "upper ply 1", "0.00025", 45},
        {tape, "upper ply 2", "0.00025", -45},
        {tape, "upper pack", PackThicknesses(mesh, "skin_upper"), 0},
        {tape, "upper ply 3", "0.00025", 90}};
    const std::vector<Layer> spar = {
        {tape, "spar ply 1", "0.000375", 45},  {tape, "spar ply 2", "0.000375", -45},
        {tape, "spar ply 3", "0.000375", 0},   {tape, "spar ply 4", "0.000375", 45},
        {tape, "spar ply 5", "0.000375", -45}, {tape, "spar ply 6", "0.000375", 90}};
    const std::vector<Layer> rib = {{fabric, "rib inboard face", "0.0006", 45},
                                    {"foam", "rib core", "0.008", 0},
                                    {fabric, "rib outboard face", "0.0006", 45}};
    const std::vector<Layer> stringer = {{tape, "stringer ply 1", "0.00025", 45},
                                         {tape, "stringer ply 2", "0.00025", -45},
                                         {tape, "stringer ply 3", "0.0005", 0},
                                         {tape, "stringer ply 4", "0.00025", 90},
                                         {tape, "stringer ply 5", "0.0005", 0}};

    std::vector<std::string> plies;
    for (const auto* layers : {&skinLower, &skinUpper, &spar, &rib, &stringer}) {
        for (const Layer& layer : *layers) {
            plies.push_back(fmt::format("    {{\"name\": \"{}\"}}", layer.ply));
        }
    }

    std::ofstream stream(file, std::ios::binary);
    stream << fmt::format(
        R"({{
  "version": 1,
  "materials": [
    {{"name": "UD tape",
     "constants": {{"E1": 1.35e11, "E2": 8.5e9, "nu12": 0.32, "G12": 4.8e9, "G13": 4.8e9, "G23": 3.1e9, "density": 1580,
                   "Xt": 1.6e9, "Xc": 1.2e9, "Yt": 5.0e7, "Yc": 2.0e8, "S": 7.0e7}},
     "units": {{"E1": "Pa", "E2": "Pa", "G12": "Pa", "G13": "Pa", "G23": "Pa", "density": "kg/m3",
               "Xt": "Pa", "Xc": "Pa", "Yt": "Pa", "Yc": "Pa", "S": "Pa", "alpha1": "1/K", "alpha2": "1/K", "temperature": "deg C", "field_1": "% moisture"}},
     "properties": [
       {{"property": "elastic", "columns": ["temperature", "field_1", "E1", "E2", "G12"], "rows": [
         [-55, 0, 1.36e11, 9.4e9, 5.4e9], [23, 0, 1.35e11, 8.5e9, 4.8e9],
         [82, 0, 1.34e11, 7.9e9, 4.2e9], [121, 0, 1.32e11, 7.2e9, 3.5e9],
         [-55, 1, 1.36e11, 9.3e9, 5.3e9], [23, 1, 1.35e11, 8.2e9, 4.5e9],
         [82, 1, 1.33e11, 7.1e9, 3.4e9], [121, 1, 1.30e11, 5.6e9, 2.1e9]]}},
       {{"property": "expansion", "columns": ["temperature", "alpha1", "alpha2"], "rows": [
         [-55, -0.4e-6, 26e-6], [23, 0.1e-6, 28e-6], [121, 0.5e-6, 34e-6]]}}
     ]}},
    {{"name": "fabric",
     "constants": {{"E1": 6.2e10, "E2": 6.2e10, "nu12": 0.05, "G12": 4.2e9, "G13": 3.5e9, "G23": 3.5e9, "density": 1560}},
     "units": {{"temperature": "deg C", "Xt": "Pa", "Xc": "Pa"}},
     "properties": [
       {{"property": "strength", "columns": ["temperature", "Xt", "Xc"], "rows": [
         [-55, 7.9e8, 7.6e8], [23, 8.2e8, 7.0e8], [82, 8.0e8, 5.8e8], [121, 7.7e8, 4.3e8]]}}
     ]}},
    {{"name": "foam", "constants": {{"E1": 1.05e8, "E2": 1.05e8, "nu12": 0.32, "G12": 4.0e7, "G13": 4.0e7, "G23": 4.0e7, "density": 75}}}}
  ],
  "orientations": [
    {{"name": "along the span", "axis1": [0.36, 1, 0.05], "axis2": [-1, 0.36, 0]}},
    {{"name": "along the chord", "axis1": [1, 0, 0], "axis2": [0, 0, 1]}}
  ],
  "plies": [
{}
  ],
  "sections": [
{}
  ],
  "assignments": [
{}
  ]
}}
)",
        Joined(plies),
        Joined({Section("skin upper", "along the span", true, skinUpper),
                Section("skin lower", "along the span", true, skinLower),
                Section("spar", "along the span", true, spar),
                Section("rib", "along the chord", false, rib),
                Section("stringer", "along the span", true, stringer)}),
        Joined({Assignment("skin upper", R"("skin_upper", "skin_upper_tri")"),
                Assignment("skin lower", R"("skin_lower", "skin_lower_tri")"),
                Assignment("spar", R"("spar_front", "spar_rear")"),
                Assignment("rib", R"("ribs", "ribs_tri")"),
                Assignment("stringer", R"("stringers")")}));
    if (!stream.flush()) {
        throw std::runtime_error(file.string() + ": cannot be written");
    }
}

}  // namespace wing_box
