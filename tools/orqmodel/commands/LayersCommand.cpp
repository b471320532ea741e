#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ORQExcSections.h"
#include "ORQSimDatabase.h"
#include "commands/Arguments.h"
#include "queries/LabelLookup.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"
#include "terminal/TextTable.h"

namespace orqmodel {
namespace {

struct LayersOptions {
    std::string database;
    std::string section;         // Empty for the table of all.
    std::optional<int> element;  // Its label; excludes a section.
    std::string instance;        // Of the element; needed where several have one of that label.
    bool json = false;
};

using nlohmann::json;
using Stack = ORQExcSections::Stack;
using Range = ORQExcSections::Range;

// --- Text ----------------------------------------------------------------------------------------

std::string Text(const std::optional<Range>& range) {
    if (!range) {
        return "-";
    }
    return range->low == range->high ? fmt::format("{:.6g}", range->low)
                                     : fmt::format("{:.6g}..{:.6g}", range->low, range->high);
}

const char* Text(const std::optional<bool>& answer) {
    return !answer ? "-" : *answer ? "yes" : "no";
}

std::string Text(const ORQExcSections::Value& value) {
    return Text(value.Bounds()) +
           (value.variation == ORQSrvShellSection::VariationDistributed ? " *" : "");
}

std::string NameText(const std::string& name) {
    return name.empty() ? "-" : ORQExcPrintable(name);
}

void PrintSections(const ORQExcSections& reader, const Console& console) {
    std::vector<std::vector<std::string>> rows = {
        {"section", "number", "layers", "thickness", "elements", "symmetric", "balanced"}};
    for (const ORQExcSections::Section& section : reader.Sections()) {
        const Stack layup = reader.Read(section);
        rows.push_back({NameText(section.name), std::to_string(section.number),
                        std::to_string(layup.layers.size()), Text(layup.Total()),
                        std::to_string(section.elements.Size()), Text(layup.IsSymmetric()),
                        Text(layup.IsBalanced())});
    }
    PrintTable(rows, {false, true, true, true, true, false, false}, console.out, console.width);
}

void PrintLayers(const ORQExcSections::Section& section, const Stack& layup,
                 const LayersOptions& options, const Console& console) {
    std::ostream& out = console.out;
    if (options.element) {
        out << fmt::format("element {} has section {}\n", *options.element, NameText(section.name));
    }
    out << fmt::format("section {} ({}): {} layers from the bottom, {} elements\n",
                       NameText(section.name), section.number, layup.layers.size(),
                       section.elements.Size());
    std::vector<std::vector<std::string>> rows = {
        {"layer", "material", "orientation", "ply", "points", "thickness", "angle"}};
    const bool hasNominal = std::ranges::any_of(
        layup.layers, [](const auto& layer) { return layer.nominalAngle.has_value(); });
    if (hasNominal) {
        rows[0].push_back("nominal angle");
    }
    bool hasVarying = false;
    for (const ORQExcSections::Layer& layer : layup.layers) {
        for (const auto* value : {&layer.thickness, &layer.angle}) {
            hasVarying = hasVarying || value->variation == ORQSrvShellSection::VariationDistributed;
        }
        rows.push_back({std::to_string(rows.size()), NameText(layer.material),
                        NameText(layer.orientation), NameText(layer.ply),
                        std::to_string(layer.sectionPoints), Text(layer.thickness),
                        Text(layer.angle)});
        if (hasNominal) {
            rows.back().push_back(layer.nominalAngle ? fmt::format("{:.6g}", *layer.nominalAngle)
                                                     : "-");
        }
    }
    PrintTable(rows, {true, false, false, false, true, true, true, true}, out, console.width);
    if (hasNominal) {
        out << "  angles contain the directions of the elements, nominal angles do not\n";
    }
    if (hasVarying) {
        out << "  * varies over the elements" << (options.element ? "; here of this one\n" : "\n");
    }
    out << fmt::format("total thickness {}, symmetric: {}, balanced: {}\n", Text(layup.Total()),
                       Text(layup.IsSymmetric()), Text(layup.IsBalanced()));
}

// --- JSON ----------------------------------------------------------------------------------------

json ToJson(const std::optional<Range>& range) {
    return range ? json{{"lowest", range->low}, {"highest", range->high}} : json();
}

json ToJson(const std::optional<bool>& answer) {
    return answer ? json(*answer) : json();
}

json ToJson(const std::string& name) {
    return name.empty() ? json() : json(name);
}

json ToJson(const ORQExcSections::Value& value) {
    static constexpr const char* kVariations[] = {"undefined", "constant", "distributed"};
    return {{"variation", kVariations[value.variation]}, {"range", ToJson(value.Bounds())}};
}

json ToJson(const ORQExcSections::Section& section, const Stack& layup) {
    return {{"name", section.name},
            {"number", section.number},
            {"layer_count", layup.layers.size()},
            {"total_thickness", ToJson(layup.Total())},
            {"element_count", section.elements.Size()},
            {"symmetric", ToJson(layup.IsSymmetric())},
            {"balanced", ToJson(layup.IsBalanced())}};
}

json ToJson(const Stack& layup) {
    json layers = json::array();
    for (const ORQExcSections::Layer& layer : layup.layers) {
        layers.push_back({{"material", ToJson(layer.material)},
                          {"orientation", ToJson(layer.orientation)},
                          {"ply", ToJson(layer.ply)},
                          {"section_points", layer.sectionPoints},
                          {"thickness", ToJson(layer.thickness)},
                          {"angle", ToJson(layer.angle)}});
        if (layer.nominalAngle) {
            layers.back()["nominal_angle"] = *layer.nominalAngle;
        }
    }
    return layers;
}

json Heading(const LayersOptions& options) {
    return {{"schema_version", 1}, {"command", "layers"}, {"database", options.database}};
}

// --- Sections ------------------------------------------------------------------------------------

void ShowSections(const ORQExcSections& reader, const LayersOptions& options,
                  const Console& console) {
    if (!options.json) {
        return PrintSections(reader, console);
    }
    json object = Heading(options);
    object["sections"] = json::array();
    for (const ORQExcSections::Section& section : reader.Sections()) {
        object["sections"].push_back(ToJson(section, reader.Read(section)));
    }
    PrintJson(console.out, object);
}

/// With `element`, an ordinal, the values that vary are those of that element.
void ShowSection(const ORQExcSections& reader, const ORQExcSections::Section& section,
                 std::optional<int> element, const LayersOptions& options, const Console& console) {
    const Stack layup = element ? reader.ReadAt(section, *element) : reader.Read(section);
    if (!options.json) {
        return PrintLayers(section, layup, options, console);
    }
    json object = Heading(options);
    if (element) {
        object["element"] = {{"label", *options.element}};
    }
    object["section"] = ToJson(section, layup);
    object["section"]["layers"] = ToJson(layup);
    PrintJson(console.out, object);
}

ExitStatus ShowSectionOfElement(const ORQObjDocument& document, const LayersOptions& options,
                                const Console& console) {
    const auto finding = [&](const std::string& text) {
        console.err << fmt::format("orqmodel: {}: {}\n", ORQExcPrintable(options.database), text);
        return ExitStatus::Findings;
    };
    const std::optional<LabelledMember> element =
        FindLabelled(document, ORQObjLabelerType::Element, *options.element, options.instance);
    if (!element) {
        return finding(fmt::format("no element has label {}", *options.element));
    }
    const ORQExcSections reader(document);
    const ORQExcSections::Section* const section = reader.GoverningSection(element->ordinal);
    if (section == nullptr) {
        return finding(fmt::format("element {} has no section", *options.element));
    }
    ShowSection(reader, *section, element->ordinal, options, console);
    return ExitStatus::Done;
}

/// Prints the layered sections of a model database, or the layers of one, named or found for an
/// element. An element that is not there, or has no section, is a finding. Throws ORQBasFailure.
ExitStatus RunLayers(const LayersOptions& options, const Console& console) {
    const ORQObjDocument document(OpenModel(options.database));
    if (options.element) {
        return ShowSectionOfElement(document, options, console);
    }
    const ORQExcSections reader =
        WhileShown(console, "reading", [&] { return ORQExcSections(document); });
    if (options.section.empty()) {
        ShowSections(reader, options, console);
    } else {
        ShowSection(reader, reader.Named(options.section), std::nullopt, options, console);
    }
    return ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareLayers(CLI::App& command) {
    const auto options = std::make_shared<LayersOptions>();
    AddDatabase(command, options->database);
    CLI::Option* section =
        command.add_option("SECTION", options->section, "The name of the section");
    CLI::Option* element = command
                               .add_option("--element", options->element,
                                           "The label of an element, whose section is shown")
                               ->excludes(section);
    command
        .add_option("--instance", options->instance,
                    "The instance, where several have an element of that label")
        ->needs(element);
    AddJson(command, options->json);
    return Reading(options, RunLayers, &LayersOptions::database);
}

}  // namespace orqmodel
