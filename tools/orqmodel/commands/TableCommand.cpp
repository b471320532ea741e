#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcModel.h"
#include "ORQExcNearNames.h"
#include "ORQExcResults.h"
#include "ORQExcTexts.h"
#include "commands/Arguments.h"
#include "commands/WrittenRows.h"
#include "queries/DerivedRows.h"
#include "queries/OpenModel.h"
#include "queries/PlacedRows.h"
#include "queries/RowSource.h"
#include "queries/Selection.h"
#include "terminal/ProgressBar.h"
#include "terminal/TableWriter.h"

namespace orqmodel {
namespace {

struct TableOptions {
    std::string database;
    std::string field;      // Empty for none.
    std::string component;  // Of the field; empty for all.
    std::string derived;    // One of DerivationNames(), or empty.
    std::string step;       // "all", a number from 1, or empty for the last time with values.
    std::string quantity;   // Without a field; empty for what suits the selection.
    PlaceOptions place;
    Selection selection;
    bool stats = false;
    bool places = false;
    bool csv = false;
    bool json = false;
};

constexpr const char* kCoordinates = "coordinates";
constexpr const char* kConnectivity = "connectivity";

std::vector<std::string> Quantities() {
    std::vector<std::string> names = {kCoordinates, kConnectivity};
    std::ranges::copy(MeasureNames(), std::back_inserter(names));
    return names;
}

// --- What is listed ------------------------------------------------------------------------------

/// A field, and one of its components or -1 for all.
struct WantedField {
    ORQExcResults::Field field;
    int component;
};

int ComponentOf(const ORQExcResults::Field& field, const std::string& label) {
    std::vector<std::string> labels;
    for (const ORQExcResults::Component& component : field.components) {
        labels.push_back(component.label);
    }
    const auto found = std::ranges::find(labels, label);
    if (found == labels.end()) {
        ORQBasThrowUsage(fmt::format("--component {}: {} has no such component{}", label,
                                     field.name, ORQExcNearNames(label, labels)));
    }
    return static_cast<int>(found - labels.begin());
}

/// Finds a field by its name or, where no field has it, by that of one of its components.
WantedField FindField(const ORQExcResults& results, const TableOptions& options) {
    std::vector<std::string> known;
    const std::vector<ORQExcResults::Field>& fields = results.Fields();
    for (const ORQExcResults::Field& field : fields) {
        if (field.name == options.field) {
            return {field, options.component.empty() ? -1 : ComponentOf(field, options.component)};
        }
        known.push_back(field.name);
    }
    const auto findComponent =
        [&](const std::vector<ORQExcResults::Field>& among) -> std::optional<WantedField> {
        for (const ORQExcResults::Field& field : among) {
            for (std::size_t i = 0; i < field.components.size(); ++i) {
                if (field.components[i].label == options.field && options.component.empty()) {
                    return WantedField{field, static_cast<int>(i)};
                }
            }
        }
        return {};
    };
    if (const auto found = findComponent(fields)) {
        return *found;
    }
    // The name that a file gives to one point or layer.
    if (const auto found = findComponent(results.FieldsAtSpots())) {
        return *found;
    }
    ORQBasThrowUsage(fmt::format("--field {}: the model has no such results{}", options.field,
                                 ORQExcNearNames(options.field, known)));
}

/// Whether a field may have values at a frame: some of its drawers have the time.
bool HasTime(const ORQExcResults& results, const ORQExcResults::Field& field, int frame) {
    const ORQExcResults::Frame& at = results.Frames()[static_cast<std::size_t>(frame)];
    return field.ofStep[static_cast<std::size_t>(at.step)].GetTimes().SeekMember(at.member) >= 0;
}

std::vector<int> FramesOf(const ORQExcResults& results, const ORQExcResults::Field& field,
                          const std::string& step) {
    const int nFrames = static_cast<int>(results.Frames().size());
    std::vector<int> frames(static_cast<std::size_t>(nFrames));
    std::iota(frames.begin(), frames.end(), 0);
    if (step == "all") {
        return frames;
    }
    int number = 0;
    if (step.empty()) {
        // The search begins at the end, since the last time nearly always has values.
        for (number = nFrames; number > 0 && !HasTime(results, field, number - 1); --number) {
        }
        return number == 0 ? std::vector<int>() : std::vector{number - 1};
    }
    const auto [end, failure] = std::from_chars(step.data(), step.data() + step.size(), number);
    if (failure != std::errc() || end != step.data() + step.size() || number < 1 ||
        number > nFrames) {
        ORQBasThrowUsage(
            fmt::format("--step {}: the model has the times 1 to {}, or all", step, nFrames));
    }
    return {number - 1};
}

RowPlace PlaceOf(const ORQExcResults::Field& field) {
    return field.place == ORQExcResultArray::Place::Node      ? RowPlace::Node
           : field.place == ORQExcResultArray::Place::Element ? RowPlace::Element
                                                              : RowPlace::Model;
}

/// Rows of a field of which elements have several values, or have to be carried to nodes.
std::unique_ptr<RowSource> RowsWithin(const ORQExcModel& model, const ORQExcResults& results,
                                      const TableOptions& options,
                                      const ORQExcResults::Field& field, int component,
                                      std::vector<int> frames, const ORQSimCSet& members) {
    if (!options.place.extreme) {
        return PlacedRows(model, results, field, std::move(frames), members, component,
                          options.place);
    }
    PlaceOptions rest = options.place;
    rest.extreme = false;
    if (!rest.IsEmpty()) {
        ORQBasThrowUsage("--extreme: looks at all places, so none can be named");
    }
    if (!options.derived.empty()) {
        return ExtremeRows(model, results, field, std::move(frames), members,
                           field.name + " " + options.derived,
                           DerivedNumber(field, options.derived));
    }
    const int of = component < 0 && field.components.size() == 1 ? 0 : component;
    if (of < 0) {
        ORQBasThrowUsage(fmt::format(
            "--extreme: {} has {} components; --component names one, --derived makes one number",
            field.name, field.components.size()));
    }
    return ExtremeRows(
        model, results, field, std::move(frames), members,
        field.components[static_cast<std::size_t>(of)].label,
        [of](std::span<const double> values) { return values[static_cast<std::size_t>(of)]; });
}

std::unique_ptr<RowSource> RowsOfField(const ORQExcModel& model, const ORQExcResults& results,
                                       const TableOptions& options, WantedField& wanted) {
    // Rows refer to the field.
    wanted = FindField(results, options);
    const ORQExcResults::Field* const field = &wanted.field;
    const int component = wanted.component;
    const RowPlace place = PlaceOf(*field);
    const bool isWithin = field->HasSpots() || !options.place.IsEmpty();
    if (isWithin && place != RowPlace::Element) {
        ORQBasThrowUsage(fmt::format("--field {}: it has no values within elements to choose from",
                                     options.field));
    }
    if (field->IsAtSpot() && !options.place.IsEmpty()) {
        ORQBasThrowUsage(
            fmt::format("--field {}: names one place of each element, so no others can be named",
                        options.field));
    }
    if (options.place.acrossBorders && options.place.at != "nodes") {
        ORQBasThrowUsage("--across-borders: only values --at nodes are averaged");
    }
    if (!options.derived.empty() && component >= 0) {
        ORQBasThrowUsage("--derived: is made of all components, not of one");
    }
    ORQSimCSet members;
    if (place != RowPlace::Model || !options.selection.IsEmpty()) {
        members = options.selection.IsEmpty() ? results.MembersOf(*field)
                                              : Selected(model, options.selection, place);
    }
    if (place != RowPlace::Model && members.IsEmpty()) {
        return nullptr;
    }
    std::vector<int> frames = FramesOf(results, *field, options.step);
    if (isWithin && (options.derived.empty() || options.place.extreme)) {
        return RowsWithin(model, results, options, *field, component, std::move(frames), members);
    }
    if (options.derived.empty()) {
        return FieldRows(results, *field, std::move(frames), members, component);
    }
    if (!isWithin) {
        return DerivedRows(FieldRows(results, *field, std::move(frames), members), *field,
                           options.derived);
    }
    if (!options.place.axes.empty()) {
        ORQBasThrowUsage("--axes: what is derived is the same along all axes");
    }
    return DerivedRows(RowsWithin(model, results, options, *field, -1, std::move(frames), members),
                       *field, options.derived);
}

std::unique_ptr<RowSource> RowsOfMesh(const ORQExcModel& model, const TableOptions& options) {
    const std::string quantity = !options.quantity.empty()           ? options.quantity
                                 : options.selection.NamesElements() ? kConnectivity
                                                                     : kCoordinates;
    const bool ofNodes = quantity == kCoordinates;
    const ORQSimCSet members =
        Selected(model, options.selection, ofNodes ? RowPlace::Node : RowPlace::Element);
    if (members.IsEmpty()) {
        return nullptr;
    }
    return ofNodes                     ? CoordinateRows(model, members)
           : quantity == kConnectivity ? ConnectivityRows(model, members)
                                       : MeasureRows(model, members, quantity);
}

/// The members of the JSON object that stand before columns and rows.
std::string JsonHead(const TableOptions& options) {
    nlohmann::json head = {{"schema_version", 1},
                           {"command", "table"},
                           {"database", options.database},
                           {"statistics", options.stats}};
    if (!options.field.empty()) {
        head["field"] = options.field;
    }
    // The writer goes on with the object: its braces, and their line breaks, are left out.
    const std::string text = head.dump(0, ' ', false, nlohmann::json::error_handler_t::replace);
    return text.substr(2, text.size() - 4) + ",\n";
}

/// Writes numbers of nodes, elements or the whole model as a table, row by row, or what they come
/// to. ExitStatus::Findings where there is no row. Throws ORQBasFailure.
ExitStatus RunTable(const TableOptions& options, const Console& console) {
    const ORQObjDocument document(OpenModel(options.database));
    const ORQExcModel model(document);
    const ORQExcResults results(document);
    WantedField wanted;
    const std::unique_ptr<RowSource> rows = options.field.empty()
                                                ? RowsOfMesh(model, options)
                                                : RowsOfField(model, results, options, wanted);
    std::int64_t nRows = 0;
    if (rows != nullptr) {
        const RowLayout layout{.hasTimes = !options.field.empty(),
                               .hasShapes = options.field.empty() &&
                                            rows->Place() == RowPlace::Element && !options.stats,
                               .hasPlaces = options.places,
                               .isTerse = !options.csv && !options.json};
        const auto makeWriter = [&](const std::vector<TableWriter::Column>& columns) {
            // Rows go past the filter of console.out, straight to the stream behind it.
            console.out.flush();
            return MakeTableWriter(options.json  ? TableFormat::Json
                                   : options.csv ? TableFormat::Csv
                                                 : TableFormat::Text,
                                   columns, JsonHead(options), *console.rows);
        };
        // Where the rows appear on a terminal, a bar would stand among them.
        Console barConsole = console;
        barConsole.showsProgress = console.showsProgress && console.width == 0;
        ProgressBar bar(barConsole, "writing");
        const auto write = options.stats ? WriteStatistics : WriteRows;
        nRows = write(model, results, *rows, layout, makeWriter, bar);
    }
    if (nRows == 0) {
        console.err << "orqmodel: " << ORQExcPrintable(options.database)
                    << ": nothing of what is asked for has a value\n";
    }
    return nRows == 0 ? ExitStatus::Findings : ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareTable(CLI::App& command) {
    const auto options = std::make_shared<TableOptions>();
    AddDatabase(command, options->database);
    CLI::Option* const field =
        command.add_option("--field", options->field, "Results: a field or one of its components");
    command.add_option("--component", options->component, "Only this component of the field")
        ->needs(field);
    command
        .add_option("--derived", options->derived,
                    "Of a vector its magnitude; of a tensor the equivalent stress of von Mises, "
                    "or the principal values")
        ->check(OneOf(DerivationNames()))
        ->needs(field);
    command
        .add_option("--step", options->step,
                    "The time of the field, counted from 1, or all; without it, the last that has "
                    "values")
        ->needs(field);
    command
        .add_option("--quantity", options->quantity,
                    "Without a field: what is listed; coordinates, or connectivity where elements "
                    "are selected")
        ->check(OneOf(Quantities()))
        ->excludes(field);
    PlaceOptions& place = options->place;
    command
        .add_option("--layer", place.layer,
                    "Of a field with layers: this one, counted from 1 at the bottom, or all")
        ->needs(field);
    command
        .add_option("--section-point", place.sectionPoint,
                    "bottom, middle or top of the layers, or its number from 1 at the bottom")
        ->needs(field);
    command.add_option("--ply", place.ply, "Only layers of this ply")->needs(field);
    command
        .add_option("--at", place.at,
                    "points as stored; centroid or nodes: extrapolated, at nodes averaged over the "
                    "elements of a block and section")
        ->check(OneOf({"points", "centroid", "nodes"}))
        ->needs(field);
    command
        .add_flag("--across-borders", place.acrossBorders,
                  "With --at nodes: one average over all blocks and sections")
        ->needs(field);
    command
        .add_flag("--extreme", place.extreme,
                  "The value of the largest magnitude in each element over all layers and points, "
                  "and where it is")
        ->needs(field);
    command
        .add_option("--axes", place.axes,
                    "Components along the axes of each layer, of the element or of the model")
        ->check(OneOf({"layer", "element", "model"}))
        ->needs(field);
    Selection& selection = options->selection;
    CLI::Option* const selections[] = {
        command.add_option("--set", selection.set.name, "Only of this set, or surface"),
        command.add_option("--block", selection.block, "Only of this block"),
        command.add_option("--nodes", selection.nodes, "Only of nodes with these labels, 1-10,15"),
        command.add_option("--elements", selection.elements, "Only of elements with these labels")};
    for (CLI::Option* one : selections) {
        for (CLI::Option* other : selections) {
            if (one != other) {
                one->excludes(other);
            }
        }
    }
    AddScope(command, selection.set);
    command.add_flag("--stats", options->stats,
                     "Only minimum, maximum, mean and sum, by time, and where the extremes are");
    command.add_flag("--places", options->places,
                     "With the coordinates of the nodes, or of the middles of the elements");
    CLI::Option* const csv = command.add_flag("--csv", options->csv, "As comma-separated values");
    AddJson(command, options->json);
    command.get_option("--json")->excludes(csv);
    command.footer(
        "Measures of elements are by their corners: length of lines, area of plane shapes and\n"
        "shells, thickness and offset of shells by attributes and sections, volume of solids and\n"
        "shells, mass of shells by the densities of their layers; quality is the scaled\n"
        "Jacobian, 1 for regular shapes. What cannot be told is empty.");
    return Reading(options, RunTable, &TableOptions::database);
}

}  // namespace orqmodel
