#include "commands/InfoCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <vector>

#include "ORQSimDatabase.h"
#include "queries/ModelSummary.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"
#include "terminal/TextTable.h"

namespace orqmodel {
namespace {

using nlohmann::json;

struct DiskUse {
    ORQSimDatabase::DiskSizes parts;
    std::int64_t directory;
};

/// Of the files, as long as none is open: readers keep some for themselves meanwhile.
std::int64_t DirectoryBytes(const std::string& directory) {
    std::int64_t bytes = 0;
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator(directory, failure)) {
        const auto size = entry.file_size(failure);
        bytes += failure ? 0 : static_cast<std::int64_t>(size);
    }
    return bytes;
}

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
    json objects = json::array();
    for (const KindSummary& kind : summary.objects) {
        objects.push_back({{"kind", kind.kind}, {"count", kind.count}});
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
                          {"times", field.times}});
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
    if (summary.box) {
        box = {{"lowest", summary.box->lowest}, {"highest", summary.box->highest}};
    }
    return {{"schema_version", 1},
            {"command", "info"},
            {"path", path},
            {"title", summary.title},
            {"generation", summary.generation},
            {"nodes", summary.nodes},
            {"elements", summary.elements},
            {"dimension", summary.dimension},
            {"nodes_with_coordinates", summary.nodesWithCoordinates},
            {"coordinates_not_finite", summary.coordinatesNotFinite},
            {"bounding_box", box},
            {"instances", instances},
            {"objects", objects},
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

std::string Bytes(std::int64_t bytes) {
    constexpr std::int64_t kKibi = 1024;
    if (bytes < kKibi) {
        return fmt::format("{} bytes", bytes);
    }
    if (bytes < kKibi * kKibi) {
        return fmt::format("{:.1f} KiB", static_cast<double>(bytes) / kKibi);
    }
    return fmt::format("{:.1f} MiB", static_cast<double>(bytes) / (kKibi * kKibi));
}

void PrintModel(const ModelSummary& summary, std::ostream& out) {
    const auto line = [&](std::string_view name, std::string_view value) {
        out << fmt::format("{:<12}{}\n", name, value);
    };
    line("title", summary.title.empty() ? "none" : ORQExcPrintable(summary.title));
    line("generation", fmt::to_string(summary.generation));
    line("nodes", fmt::to_string(summary.nodes));
    line("elements", fmt::to_string(summary.elements));
    line("dimension",
         summary.dimension == 0 ? "no coordinates" : fmt::to_string(summary.dimension));
    if (summary.dimension != 0 && summary.nodesWithCoordinates != summary.nodes) {
        line("", fmt::format("only {} nodes have coordinates", summary.nodesWithCoordinates));
    }
    if (summary.coordinatesNotFinite != 0) {
        line("", fmt::format("{} coordinates are not finite", summary.coordinatesNotFinite));
    }
    for (std::size_t axis = 0; summary.box && axis < summary.box->lowest.size(); ++axis) {
        line(axis == 0 ? "extent" : "",
             fmt::format("{} from {:g} to {:g}", "xyz"[std::min<std::size_t>(axis, 2)],
                         summary.box->lowest[axis], summary.box->highest[axis]));
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

    Rows objects = {{"kind", "count"}};
    for (const KindSummary& kind : summary.objects) {
        if (kind.count > 0) {
            objects.push_back({kind.kind, fmt::to_string(kind.count)});
        }
    }
    PrintList("kinds of objects", objects.size() - 1, objects, {false, true}, out);

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

ExitStatus RunInfo(const InfoOptions& options, const Console& console) {
    DiskUse use{{}, DirectoryBytes(options.database)};
    const auto database = OpenModel(options.database);
    use.parts = database.Sizes();
    const ModelSummary summary = [&] {
        ProgressBar bar(console, "reading");
        return Summarize(database, [&](double done) { bar.Show(done); });
    }();
    if (options.json) {
        PrintJson(console.out, ToJson(summary, use, options.database));
        return ExitStatus::Done;
    }
    console.out << ORQExcPrintable(options.database) << '\n';
    PrintModel(summary, console.out);
    PrintContents(summary, console.out);
    PrintResults(summary, console.out);
    PrintKeptTexts(summary, console.out);
    console.out << fmt::format("\non disk: {} (catalogue {}, bulk data {}, of which {} free)\n",
                               Bytes(use.directory), Bytes(use.parts.catalogue),
                               Bytes(use.parts.bulk), Bytes(use.parts.freeBulk));
    return ExitStatus::Done;
}

}  // namespace orqmodel
