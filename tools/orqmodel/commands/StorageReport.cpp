#include "commands/StorageReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ORQSimDatabase.h"
#include "queries/DiskUse.h"
#include "queries/ModelSummary.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"
#include "terminal/TextTable.h"

namespace orqmodel {
namespace {

using nlohmann::json;

json ToJson(const std::optional<LabelRange>& range) {
    if (!range) {
        return nullptr;
    }
    return {{"count", range->count}, {"lowest", range->lowest}, {"highest", range->highest}};
}

json ToJson(const ModelSummary& summary, const DiskUse& use, const std::string& path) {
    json instances = json::array();
    for (const InstanceSummary& instance : summary.instances) {
        instances.push_back({{"name", instance.name},
                             {"node_labels", ToJson(instance.nodes)},
                             {"element_labels", ToJson(instance.elements)}});
    }
    json collections = json::array();
    for (const CollectionSummary& collection : summary.collections) {
        collections.push_back({{"object", collection.object},
                               {"link", collection.link},
                               {"type", collection.type},
                               {"space", collection.space}});
    }
    json distributions = json::array();
    for (const DistributionSummary& distribution : summary.distributions) {
        json drawers = json::array();
        for (const DrawerSummary& drawer : distribution.drawers) {
            drawers.push_back(
                {{"layout", drawer.layout},
                 {"sizes", drawer.sizes},
                 {"chunk_sizes", drawer.chunkSizes},
                 {"extendable_dimension",
                  drawer.extendableDimension < 0 ? json() : json(drawer.extendableDimension)}});
        }
        distributions.push_back({{"object", distribution.object},
                                 {"link", distribution.link},
                                 {"type", distribution.type},
                                 {"scalar", distribution.scalar},
                                 {"grid", distribution.grid},
                                 {"drawers", drawers}});
    }
    json steps = json::array();
    for (const StepSummary& step : summary.steps) {
        steps.push_back({{"name", step.name},
                         {"times", step.times},
                         {"first_time", step.times == 0 ? json() : json(step.first)},
                         {"last_time", step.times == 0 ? json() : json(step.last)}});
    }
    json fields = json::array();
    for (const FieldSummary& field : summary.fields) {
        fields.push_back({{"name", field.name},
                          {"place", field.place},
                          {"identifier", field.identifier},
                          {"components", field.components},
                          {"members", field.members},
                          {"times", field.times},
                          {"within", field.within.empty() ? json() : json(field.within)}});
    }
    json keptTexts = json::array();
    for (const KeptTextSummary& text : summary.keptTexts) {
        json contents = json::array();
        for (const auto& [name, count] : text.contents) {
            contents.push_back({{"name", name}, {"count", count}});
        }
        keptTexts.push_back({{"format", text.format},
                             {"section", text.section},
                             {"instance", text.instance.empty() ? json() : json(text.instance)},
                             {"also_in_model", text.isAlsoInModel},
                             {"contents", contents}});
    }
    json box = nullptr;
    if (summary.extent.box) {
        box = {{"lowest", summary.extent.box->lowest}, {"highest", summary.extent.box->highest}};
    }
    return {{"schema_version", 2},
            {"command", "info"},
            {"path", path},
            {"title", summary.title},
            {"generation", summary.generation},
            {"nodes", summary.nodes},
            {"elements", summary.elements},
            {"dimension", summary.extent.dimension},
            {"nodes_with_coordinates", summary.extent.nodesWithCoordinates},
            {"coordinates_not_finite", summary.extent.coordinatesNotFinite},
            {"bounding_box", box},
            {"instances", instances},
            {"collections", collections},
            {"distributions", distributions},
            {"steps", steps},
            {"fields", fields},
            {"kept_texts", keptTexts},
            {"bytes",
             {{"catalogue", use.parts.catalogue},
              {"bulk", use.parts.bulk},
              {"bulk_free", use.parts.freeBulk},
              {"directory", use.directory}}}};
}

std::string Text(const std::optional<LabelRange>& range) {
    return range ? fmt::format("{} ({} to {})", range->count, range->lowest, range->highest)
                 : "none";
}

std::string Sizes(const std::vector<int>& sizes) {
    return sizes.empty() ? "-" : fmt::format("{}", fmt::join(sizes, " x "));
}

void PrintModel(const ModelSummary& summary, std::ostream& out) {
    const auto line = [&](std::string_view name, std::string_view value) {
        out << fmt::format("{:<12}{}\n", name, value);
    };
    line("title", summary.title.empty() ? "none" : ORQExcPrintable(summary.title));
    line("generation", fmt::to_string(summary.generation));
    line("nodes", fmt::to_string(summary.nodes));
    line("elements", fmt::to_string(summary.elements));
    line("dimension", summary.extent.dimension == 0 ? "no coordinates"
                                                    : fmt::to_string(summary.extent.dimension));
    if (summary.extent.dimension != 0 && summary.extent.nodesWithCoordinates != summary.nodes) {
        line("",
             fmt::format("only {} nodes have coordinates", summary.extent.nodesWithCoordinates));
    }
    if (summary.extent.coordinatesNotFinite != 0) {
        line("", fmt::format("{} coordinates are not finite", summary.extent.coordinatesNotFinite));
    }
    for (std::size_t axis = 0; summary.extent.box && axis < summary.extent.box->lowest.size();
         ++axis) {
        line(axis == 0 ? "extent" : "",
             fmt::format("{} from {:g} to {:g}", "xyz"[std::min<std::size_t>(axis, 2)],
                         summary.extent.box->lowest[axis], summary.extent.box->highest[axis]));
    }
}

using Rows = std::vector<std::vector<std::string>>;

/// A list under its name and the number of its objects; the first row is the heading.
void PrintList(const char* name, std::size_t count, const Rows& rows,
               const std::vector<bool>& isNumber, std::ostream& out) {
    out << '\n' << name << ": " << count << '\n';
    if (count > 0) {
        PrintTable(rows, isNumber, out);
    }
}

void PrintContents(const ModelSummary& summary, std::ostream& out) {
    Rows instances = {{"instance", "node labels", "element labels"}};
    for (const InstanceSummary& instance : summary.instances) {
        instances.push_back(
            {ORQExcPrintable(instance.name), Text(instance.nodes), Text(instance.elements)});
    }
    PrintList("instances", summary.instances.size(), instances, {false, false, false}, out);

    Rows collections = {{"link", "type", "members"}};
    for (const CollectionSummary& collection : summary.collections) {
        collections.push_back({collection.link, collection.type, fmt::to_string(collection.space)});
    }
    PrintList("collections", summary.collections.size(), collections, {false, false, true}, out);

    Rows distributions = {{"link", "values", "drawer", "members", "chunks", "grows along"}};
    for (const DistributionSummary& distribution : summary.distributions) {
        if (distribution.drawers.empty()) {
            distributions.push_back(
                {distribution.link, distribution.scalar, "no data", "", "", ""});
        }
        for (const DrawerSummary& drawer : distribution.drawers) {
            const auto dimension = static_cast<std::size_t>(drawer.extendableDimension);
            distributions.push_back(
                {distribution.link, distribution.scalar, drawer.layout, Sizes(drawer.sizes),
                 Sizes(drawer.chunkSizes),
                 dimension < distribution.grid.size() ? distribution.grid[dimension] : "-"});
        }
    }
    PrintList("distributions", summary.distributions.size(), distributions,
              {false, false, false, false, false, false}, out);
}

void PrintResults(const ModelSummary& summary, std::ostream& out) {
    Rows steps = {{"step", "times", "from", "to"}};
    for (const StepSummary& step : summary.steps) {
        steps.push_back({ORQExcPrintable(step.name), fmt::to_string(step.times),
                         step.times == 0 ? "-" : fmt::format("{:g}", step.first),
                         step.times == 0 ? "-" : fmt::format("{:g}", step.last)});
    }
    PrintList("steps", summary.steps.size(), steps, {false, true, true, true}, out);

    Rows fields = {{"field", "of", "members", "times", "type", "components"}};
    for (const FieldSummary& field : summary.fields) {
        fields.push_back({ORQExcPrintable(field.name), field.place,
                          field.place == "model" ? "-" : fmt::to_string(field.members),
                          fmt::to_string(field.times),
                          field.identifier.empty() ? "-" : ORQExcPrintable(field.identifier),
                          ORQExcPrintable(fmt::format("{}", fmt::join(field.components, " ")))});
    }
    PrintList("fields", summary.fields.size(), fields, {false, false, true, true, false, false},
              out);
}

/// What stays text of the model's file; nothing for models without.
void PrintKeptTexts(const ModelSummary& summary, std::ostream& out) {
    if (summary.keptTexts.empty()) {
        return;
    }
    Rows texts = {{"kept text of", "section", "instance", "also in the model", "what"}};
    for (const KeptTextSummary& text : summary.keptTexts) {
        std::string contents;
        for (const auto& [name, count] : text.contents) {
            contents += fmt::format("{}{} {}", contents.empty() ? "" : ", ", count, name);
        }
        texts.push_back({ORQExcPrintable(text.format), ORQExcPrintable(text.section),
                         text.instance.empty() ? "-" : ORQExcPrintable(text.instance),
                         text.isAlsoInModel ? "yes" : "no", ORQExcPrintable(contents)});
    }
    PrintList("kept texts", summary.keptTexts.size(), texts, {false, false, false, false, false},
              out);
}

}  // namespace

ExitStatus ShowStorage(const std::string& path, bool asJson, const Console& console) {
    const std::int64_t directory = DirectoryBytes(path);
    const auto database = OpenModel(path);
    const DiskUse use = UseOf(database, directory);
    const ModelSummary summary = [&] {
        ProgressBar bar(console, "reading");
        return Summarize(database, [&](double done) { bar.Show(done); });
    }();
    if (asJson) {
        PrintJson(console.out, ToJson(summary, use, path));
        return ExitStatus::Done;
    }
    console.out << ORQExcPrintable(path) << '\n';
    PrintModel(summary, console.out);
    PrintContents(summary, console.out);
    PrintResults(summary, console.out);
    PrintKeptTexts(summary, console.out);
    console.out << fmt::format("\non disk: {} (catalogue {}, bulk data {}, of which {} free)\n",
                               BytesText(use.directory), BytesText(use.parts.catalogue),
                               BytesText(use.parts.bulk), BytesText(use.parts.freeBulk));
    return ExitStatus::Done;
}

}  // namespace orqmodel
