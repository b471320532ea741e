#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQObjLabeler.h"
#include "ORQSimDatabase.h"
#include "commands/Arguments.h"
#include "queries/LabelLookup.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {
namespace {

struct AdjacencyOptions {
    std::string database;
    int node;              // The label.
    std::string instance;  // Empty when the label is unique among all instances.
    bool json = false;
};

struct Place {
    int elementLabel;
    std::string elementInstance;
    std::string type;
    std::string block;
    int place;  // From 1.
};

std::vector<Place> PlacesOf(const ORQObjDocument& document, int node) {
    const ORQExcModel model(document);
    ORQObjLabeler labeler(document, ORQObjLabelerType::Element);
    labeler.Read();
    std::vector<Place> places;
    for (const auto& [element, place_in_element] : model.UsesOf(node)) {
        Place place{0, "", "", "", place_in_element + 1};
        ORQString instance;
        if (labeler.GetOccurrenceForFlatMeshOrdinal(element, instance)) {
            place.elementInstance = instance.UTF8();
            place.elementLabel = labeler.GetInstanceLabel(instance, element);
        }
        for (const ORQExcModel::Block& block : model.Blocks()) {
            if (block.elements.SeekMember(element) >= 0) {
                place.type = block.shapeName;
                place.block = block.name;
            }
        }
        places.push_back(std::move(place));
    }
    return places;
}

void PrintText(const LabelledMember& node, const AdjacencyOptions& options,
               const std::vector<Place>& places, std::ostream& out) {
    out << fmt::format("node {} of {}: {} element{}\n", options.node,
                       ORQExcPrintable(node.instance), places.size(),
                       places.size() == 1 ? "" : "s");
    for (const Place& place : places) {
        out << fmt::format("  element {:>8}  place {:>3}  {:<10} {}\n", place.elementLabel,
                           place.place, ORQExcPrintable(place.type), ORQExcPrintable(place.block));
    }
}

nlohmann::json ToJson(const LabelledMember& node, const AdjacencyOptions& options,
                      const std::vector<Place>& places) {
    nlohmann::json elements = nlohmann::json::array();
    for (const Place& place : places) {
        elements.push_back({{"label", place.elementLabel},
                            {"instance", place.elementInstance},
                            {"place", place.place},
                            {"type", place.type},
                            {"block", place.block}});
    }
    return {{"schema_version", 1},
            {"command", "adjacency"},
            {"database", options.database},
            {"node", {{"label", options.node}, {"instance", node.instance}}},
            {"elements", elements}};
}

/// Prints the elements at a node: their labels, types and blocks, and the node's place in each,
/// from 1. ExitStatus::Findings when no node has the label. Throws ORQBasFailure.
ExitStatus RunAdjacency(const AdjacencyOptions& options, const Console& console) {
    const ORQObjDocument document(OpenModel(options.database));
    const std::optional<LabelledMember> node =
        FindLabelled(document, ORQObjLabelerType::Node, options.node, options.instance);
    if (!node) {
        console.err << "orqmodel: " << ORQExcPrintable(options.database) << ": no node has label "
                    << options.node << '\n';
        return ExitStatus::Findings;
    }
    const std::vector<Place> places =
        WhileShown(console, "searching", [&] { return PlacesOf(document, node->ordinal); });
    if (options.json) {
        PrintJson(console.out, ToJson(*node, options, places));
    } else {
        PrintText(*node, options, places, console.out);
    }
    return ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareAdjacency(CLI::App& command) {
    const auto options = std::make_shared<AdjacencyOptions>();
    AddDatabase(command, options->database);
    command.add_option("--node", options->node, "The label of the node")->required();
    command.add_option("--instance", options->instance,
                       "The instance, where several have a node of that label");
    AddJson(command, options->json);
    return Reading(options, RunAdjacency, &AdjacencyOptions::database);
}

}  // namespace orqmodel
