#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQObjMesh.h"
#include "ORQSimCSet.h"
#include "ORQSimDatabase.h"
#include "ORQSimSchema.h"
#include "ORQSrvFunctions.h"
#include "ORQSrvGlobalLabelMap.h"
#include "ORQSrvLabelMapper.h"
#include "commands/Arguments.h"
#include "queries/NamedObject.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {
namespace {

struct MapOptions {
    std::string primary;
    std::string secondary;
    ScopedName nodeset;      // Empty for none.
    double tolerance = 0.0;  // In the models' length unit.
    bool json = false;
};

constexpr std::size_t kMostListed = 20;  // a screen; the JSON form has all

/// How many of an instance's nodes or elements have a match.
struct Counts {
    std::string instance;
    int matched;
    int primaryOnly;
    int secondaryOnly;

    bool IsComplete() const { return primaryOnly == 0 && secondaryOnly == 0; }
};

struct MappedNode {
    std::string instance;
    int label;
    int primary;
    int secondary;  // -1 without a match.
    double distance = 0.0;
};

struct Result {
    std::vector<Counts> nodes;
    std::vector<Counts> elements;
    std::optional<std::string> key;  // Of the node set.
    std::vector<MappedNode> members;
    std::vector<MappedNode> moved;

    bool HasFindings(const MapOptions& options) const {
        return !std::all_of(nodes.begin(), nodes.end(), std::mem_fn(&Counts::IsComplete)) ||
               !std::all_of(elements.begin(), elements.end(), std::mem_fn(&Counts::IsComplete)) ||
               !moved.empty() || (!options.nodeset.name.empty() && !key.has_value());
    }
};

/// The instances of both models, those of the primary one first.
std::vector<ORQString> InstancesOf(const ORQObjDocument& primary, const ORQObjDocument& secondary) {
    std::vector<ORQString> names;
    for (const ORQObjDocument& document : {primary, secondary}) {
        for (int i = 0;; ++i) {
            const ORQSrvInstanceInfo info = ORQSrvGetInstanceInfo(document.Focus(), i);
            if (info.position.IsNull()) {
                break;
            }
            if (std::find(names.begin(), names.end(), info.name) == names.end()) {
                names.push_back(info.name);
            }
        }
    }
    return names;
}

Counts CountsOf(const ORQString& instance, const ORQSimCSet& primary, const ORQSimCSet& secondary,
                const ORQSimCSet& commonPrimary, const ORQSimCSet& commonSecondary) {
    const int matched = primary.Intersection(commonPrimary).Size();
    return {instance.UTF8(), matched, primary.Size() - matched,
            secondary.Size() - secondary.Intersection(commonSecondary).Size()};
}

void CountMatches(const ORQObjDocument& primary, const ORQObjDocument& secondary,
                  ORQSrvLabelMapper& mapper, Result& result) {
    const ORQSimCSet primaryNodes = mapper.GetCommonPrimaryNodeSet();
    const ORQSimCSet secondaryNodes = mapper.GetCommonSecondaryNodeSet();
    const ORQSimCSet primaryElements = mapper.GetCommonPrimaryElementSet();
    const ORQSimCSet secondaryElements = mapper.GetCommonSecondaryElementSet();
    for (const ORQString& instance : InstancesOf(primary, secondary)) {
        const ORQSrvInstanceInfo a = ORQSrvGetInstanceInfo(primary.Focus(), instance);
        const ORQSrvInstanceInfo b = ORQSrvGetInstanceInfo(secondary.Focus(), instance);
        result.nodes.push_back(CountsOf(instance, a.nodes, b.nodes, primaryNodes, secondaryNodes));
        result.elements.push_back(
            CountsOf(instance, a.elements, b.elements, primaryElements, secondaryElements));
    }
}

/// The members of a primary set, in its own order, with their matches.
std::vector<MappedNode> MapNodes(const ORQSimCSet& set, ORQSrvGlobalLabelMap& labels,
                                 ORQSrvLabelMapper& mapper) {
    std::vector<MappedNode> nodes;
    const ORQSimArray<int> images =
        mapper.GetMappingFromPrimaryNodeSet(set.RegisterWithTempCollection());
    for (ORQSimCSetIterator node(set); !node.IsDone(); node.Next()) {
        const int ordinal = node.CurrentValue();
        nodes.push_back({labels.GetNodeInstanceName(ordinal).UTF8(), labels.GetNodeLabel(ordinal),
                         ordinal, images.ConstGet(node.CurrentLocation())});
    }
    return nodes;
}

std::vector<double> CoordinatesOf(const ORQExcModel& model) {
    std::vector<double> values(static_cast<std::size_t>(model.NumNodes()) *
                               static_cast<std::size_t>(model.Dimension()));
    model.ReadCoordinates(0, model.NumNodes(), values);
    return values;
}

/// The matched nodes that lie further apart than the tolerance, or whose distance is unknown because
/// a coordinate is NaN. The third coordinate of a plane model is 0.
std::vector<MappedNode> MovedNodes(const ORQObjDocument& primary, const ORQObjDocument& secondary,
                                   ORQSrvGlobalLabelMap& labels, ORQSrvLabelMapper& mapper,
                                   double tolerance) {
    const ORQExcModel a(primary);
    const ORQExcModel b(secondary);
    std::vector<MappedNode> moved;
    if (a.Dimension() == 0 || b.Dimension() == 0) {
        return moved;
    }
    const std::vector<double> from = CoordinatesOf(a);
    const std::vector<double> to = CoordinatesOf(b);
    const auto coordinate = [](const ORQExcModel& model, const std::vector<double>& values,
                               int node, int axis) {
        return axis < model.Dimension() ? values[static_cast<std::size_t>(node) *
                                                     static_cast<std::size_t>(model.Dimension()) +
                                                 static_cast<std::size_t>(axis)]
                                        : 0.0;
    };
    const ORQSimCSet common = mapper.GetCommonPrimaryNodeSet();
    const ORQSimArray<int> images =
        mapper.GetMappingFromPrimaryNodeSet(common.RegisterWithTempCollection());
    for (ORQSimCSetIterator node(common); !node.IsDone(); node.Next()) {
        const int ordinal = node.CurrentValue();
        const int image = images.ConstGet(node.CurrentLocation());
        std::array<double, 3> offset{};
        for (int axis = 0; axis < 3; ++axis) {
            offset[static_cast<std::size_t>(axis)] =
                coordinate(b, to, image, axis) - coordinate(a, from, ordinal, axis);
        }
        const double distance = std::hypot(offset[0], offset[1], offset[2]);
        // Negated, so that NaN counts as moved.
        if (!(distance <= tolerance)) {
            moved.push_back({labels.GetNodeInstanceName(ordinal).UTF8(),
                             labels.GetNodeLabel(ordinal), ordinal, image, distance});
        }
    }
    return moved;
}

void PrintCounts(const char* what, const std::vector<Counts>& counts, std::ostream& out) {
    out << what << '\n';
    for (const Counts& of : counts) {
        out << fmt::format("  {}: {} matched, {} primary only, {} secondary only\n",
                           ORQExcPrintable(of.instance), of.matched, of.primaryOnly,
                           of.secondaryOnly);
    }
}

template <class Line>
void PrintNodes(const std::vector<MappedNode>& nodes, std::ostream& out, Line line) {
    for (std::size_t i = 0; i < std::min(nodes.size(), kMostListed); ++i) {
        out << fmt::format("  {} {}: {}\n", ORQExcPrintable(nodes[i].instance), nodes[i].label,
                           line(nodes[i]));
    }
    if (nodes.size() > kMostListed) {
        out << fmt::format("  and {} more; --json lists all\n", nodes.size() - kMostListed);
    }
}

void PrintText(const MapOptions& options, const Result& result, std::ostream& out) {
    PrintCounts("nodes", result.nodes, out);
    PrintCounts("elements", result.elements, out);
    if (result.key.has_value()) {
        const auto matched =
            std::count_if(result.members.begin(), result.members.end(),
                          [](const MappedNode& node) { return node.secondary >= 0; });
        out << fmt::format("node set {}: {} of {} nodes matched\n", ORQExcPrintable(*result.key),
                           matched, result.members.size());
        PrintNodes(result.members, out, [](const MappedNode& node) {
            return node.secondary < 0
                       ? fmt::format("ordinal {}, no match", node.primary)
                       : fmt::format("ordinal {} becomes {}", node.primary, node.secondary);
        });
    }
    out << fmt::format("{} moved by more than {}\n", result.moved.size(), options.tolerance);
    PrintNodes(result.moved, out,
               [](const MappedNode& node) { return fmt::format("{:.6g}", node.distance); });
}

nlohmann::json ToJson(const std::vector<Counts>& counts) {
    nlohmann::json list = nlohmann::json::array();
    for (const Counts& of : counts) {
        list.push_back({{"instance", of.instance},
                        {"matched", of.matched},
                        {"primary_only", of.primaryOnly},
                        {"secondary_only", of.secondaryOnly}});
    }
    return list;
}

nlohmann::json ToJson(const MappedNode& node) {
    return {{"instance", node.instance},
            {"label", node.label < 0 ? nlohmann::json(nullptr) : nlohmann::json(node.label)},
            {"primary_ordinal", node.primary},
            {"secondary_ordinal",
             node.secondary < 0 ? nlohmann::json(nullptr) : nlohmann::json(node.secondary)}};
}

nlohmann::json ToJson(const MapOptions& options, const Result& result) {
    nlohmann::json members = nlohmann::json::array();
    for (const MappedNode& node : result.members) {
        members.push_back(ToJson(node));
    }
    nlohmann::json moved = nlohmann::json::array();
    for (const MappedNode& node : result.moved) {
        moved.push_back(ToJson(node));
        moved.back()["distance"] = node.distance;
    }
    return {{"schema_version", 1},
            {"command", "map"},
            {"primary", options.primary},
            {"secondary", options.secondary},
            {"nodes", ToJson(result.nodes)},
            {"elements", ToJson(result.elements)},
            {"nodeset", result.key.has_value()
                            ? nlohmann::json{{"key", *result.key}, {"members", members}}
                            : nlohmann::json(nullptr)},
            {"tolerance", options.tolerance},
            {"moved", moved}};
}

/// Says so on `console` where the node set is not there.
Result Match(const MapOptions& options, const Console& console) {
    const ORQObjDocument primary(OpenModel(options.primary));
    const ORQObjDocument secondary(OpenModel(options.secondary));
    ORQSrvLabelMapper mapper(primary.Focus(), secondary.Focus());
    ORQSrvGlobalLabelMap labels(primary.Focus());
    Result result;
    CountMatches(primary, secondary, mapper, result);
    if (!options.nodeset.name.empty()) {
        constexpr std::array kMaps = {ORQSimSchema::Model_nodeSets,
                                      ORQSimSchema::Model_internalNodeSets};
        const auto [set, key] = FindNamedObject(primary, kMaps, true, options.nodeset);
        if (set.IsNull()) {
            console.err << fmt::format("orqmodel: {}: no node set has the name {}\n",
                                       ORQExcPrintable(options.primary),
                                       ORQExcPrintable(options.nodeset.name));
        } else {
            result.key = key;
            result.members = MapNodes(set.CSet(), labels, mapper);
        }
    }
    result.moved = MovedNodes(primary, secondary, labels, mapper, options.tolerance);
    return result;
}

/// Prints what two models have in common by instance and label, how a node set of the primary model
/// lies in the secondary one, and which nodes moved by more than the tolerance.
/// ExitStatus::Findings when anything has no match, moved, or the set is not there. Throws
/// ORQBasFailure.
ExitStatus RunMap(const MapOptions& options, const Console& console) {
    const Result result = WhileShown(console, "matching", [&] { return Match(options, console); });
    if (options.json) {
        PrintJson(console.out, ToJson(options, result));
    } else {
        PrintText(options, result, console.out);
    }
    return result.HasFindings(options) ? ExitStatus::Findings : ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareMap(CLI::App& command) {
    const auto options = std::make_shared<MapOptions>();
    command.add_option("PRIMARY", options->primary, "The model to start from")->required();
    command.add_option("SECONDARY", options->secondary, "The model to lead to")->required();
    command.add_option("--nodeset", options->nodeset.name,
                       "A node set of the primary model, to be found in the secondary one");
    AddScope(command, options->nodeset);
    command
        .add_option("--tolerance", options->tolerance, "List matched nodes that are further apart")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    AddJson(command, options->json);
    return Reading(options, RunMap, &MapOptions::primary, &MapOptions::secondary);
}

}  // namespace orqmodel
