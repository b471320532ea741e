#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ORQExcKeptTexts.h"
#include "ORQSimDatabase.h"
#include "commands/Arguments.h"
#include "commands/StorageReport.h"
#include "queries/DiskUse.h"
#include "queries/Extent.h"
#include "queries/Inventory.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"
#include "terminal/TextTable.h"

namespace orqmodel {
namespace {

using nlohmann::json;

struct InfoOptions {
    std::string database;
    bool extent = false;
    bool storage = false;
    bool json = false;
};

/// Coordinates of so many nodes are read in some hundredths of a second.
constexpr int kNodesReadUnasked = 1'000'000;
/// Lines and columns of an output that is no terminal.
constexpr int kUsualHeight = 50;
constexpr int kUsualWidth = 100;

/// The objects of a kind.
struct Listed {
    std::string kind;
    InventoryTable table;
};

/// What is shown of a model.
struct Description {
    std::string path;
    std::string title;
    std::int64_t generation;
    int nodes;
    int elements;
    int dimension;
    std::optional<Extent> extent;  // nothing where it was not read
    std::vector<Listed> objects;
    std::vector<ORQExcKeptText> texts;
    DiskUse use;
};

Description Describe(const InfoOptions& options, const Console& console) {
    const std::int64_t directory = DirectoryBytes(options.database);
    const ORQSimDatabase database = OpenModel(options.database);
    const ORQObjDocument document(database);
    const Inventory inventory(document);
    const ORQExcModel& model = inventory.Model();
    Description is{options.database,
                   model.Title(),
                   database.Generation(),
                   model.NumNodes(),
                   model.NumElements(),
                   model.Dimension(),
                   {},
                   {},
                   ORQExcReadKeptTexts(document),
                   UseOf(database, directory)};
    for (const InventoryKind& kind : InventoryKinds()) {
        is.objects.push_back({kind.name, (inventory.*kind.read)()});
    }
    // Nearly all else comes from the catalogue, whose size does not grow with the mesh.
    if (options.extent || is.nodes <= kNodesReadUnasked) {
        ProgressBar bar(console, "reading coordinates");
        is.extent = ReadExtent(document.GetMesh(), [&](double done) { bar.Show(done); });
    }
    return is;
}

// --- JSON ----------------------------------------------------------------------------------------

json ToJson(const ORQExcKeptText& text) {
    json contents = json::array();
    for (const auto& [name, count] : text.contents) {
        contents.push_back({{"name", name}, {"count", count}});
    }
    return {{"format", text.format},
            {"section", text.section},
            {"instance", text.instance.empty() ? json() : json(text.instance)},
            {"also_in_model", text.isAlsoInModel},
            {"contents", contents}};
}

json ToJson(const Description& is) {
    json object = {{"schema_version", 2},
                   {"command", "info"},
                   {"path", is.path},
                   {"title", is.title},
                   {"generation", is.generation},
                   {"nodes", is.nodes},
                   {"elements", is.elements},
                   {"dimension", is.dimension},
                   {"bounding_box", nullptr},
                   {"kept_texts", json::array()},
                   {"bytes",
                    {{"catalogue", is.use.parts.catalogue},
                     {"bulk", is.use.parts.bulk},
                     {"bulk_free", is.use.parts.freeBulk},
                     {"directory", is.use.directory}}}};
    if (is.extent && is.extent->box) {
        object["bounding_box"] = {{"lowest", is.extent->box->lowest},
                                  {"highest", is.extent->box->highest}};
    }
    for (const auto& [kind, table] : is.objects) {
        object[kind] = table.ToJson();
    }
    for (const ORQExcKeptText& text : is.texts) {
        object["kept_texts"].push_back(ToJson(text));
    }
    return object;
}

// --- Text ----------------------------------------------------------------------------------------

std::string ExtentText(const Description& is) {
    if (is.dimension == 0) {
        return "no coordinates";
    }
    if (!is.extent) {
        return "of so many nodes only with --extent";
    }
    std::string text;
    for (std::size_t axis = 0; is.extent->box && axis < is.extent->box->lowest.size(); ++axis) {
        text += fmt::format("{}{} {:g} to {:g}", axis == 0 ? "" : ", ",
                            "xyz"[std::min<std::size_t>(axis, 2)], is.extent->box->lowest[axis],
                            is.extent->box->highest[axis]);
    }
    if (is.extent->nodesWithCoordinates != is.nodes) {
        text += fmt::format("; only {} nodes have coordinates", is.extent->nodesWithCoordinates);
    }
    if (is.extent->coordinatesNotFinite != 0) {
        text += fmt::format("; {} coordinates are not finite", is.extent->coordinatesNotFinite);
    }
    return text;
}

/// "12 CAERO1, 7 PARAM and 20 more kinds", as far as it fits.
std::string TextOf(const ORQExcKeptText& text, std::size_t width) {
    std::string shown;
    std::size_t nShown = 0;
    for (const auto& [name, count] : text.contents) {
        const std::string next =
            fmt::format("{}{} {}", nShown == 0 ? "" : ", ", count, ORQExcPrintable(name));
        if (nShown > 0 && shown.size() + next.size() > width) {
            return shown + fmt::format(" and {} more kinds", text.contents.size() - nShown);
        }
        shown += next;
        ++nShown;
    }
    return shown;
}

/// Lines of name and value; returns their number.
int PrintHead(const Description& is, int width, std::ostream& out) {
    int nLines = 0;
    const auto line = [&](std::string_view name, const std::string& value) {
        out << fmt::format("{:<12}{}\n", name, value);
        ++nLines;
    };
    line("model", ORQExcPrintable(is.path));
    line("title", is.title.empty() ? "none" : ORQExcPrintable(is.title));
    line("nodes", fmt::to_string(is.nodes));
    line("elements", fmt::to_string(is.elements));
    line("extent", ExtentText(is));
    line("on disk", fmt::format("{}, of which {} are free", BytesText(is.use.directory),
                                BytesText(is.use.parts.freeBulk)));
    constexpr int kIndent = 40;  // about what stands before the contents
    constexpr int kLeast = 20;   // of the contents, however narrow the terminal
    for (const ORQExcKeptText& text : is.texts) {
        if (!text.isAlsoInModel) {
            line("as text",
                 fmt::format(
                     "{}{}: {}", ORQExcPrintable(text.section),
                     text.instance.empty() ? "" : " of " + ORQExcPrintable(text.instance),
                     TextOf(text, static_cast<std::size_t>(std::max(width - kIndent, kLeast)))));
        }
    }
    return nLines;
}

/// Lines that a table of so many rows takes, of which at most `most` are shown.
int NumLines(const InventoryTable& table, int most) {
    const int nRows = static_cast<int>(table.rows.size());
    return nRows == 0 ? 0 : 2 + (nRows <= most ? nRows : most + 1);
}

void PrintObjects(const Listed& listed, int most, const Description& is, int width,
                  std::ostream& out) {
    const std::size_t nRows = listed.table.rows.size();
    std::vector<std::vector<std::string>> rows = listed.table.Texts();
    rows[0][0] = nRows == 1 ? rows[0][0] : fmt::format("{} {}", nRows, listed.kind);
    const bool isCut = nRows > static_cast<std::size_t>(most);
    if (isCut) {
        rows.resize(static_cast<std::size_t>(most) + 1);
    }
    out << '\n';
    PrintTable(rows, listed.table.NumberColumns(), out, width);
    if (isCut) {
        out << fmt::format("  and {} more: orqmodel list {} {}\n",
                           nRows - static_cast<std::size_t>(most), listed.kind,
                           ORQExcPrintable(is.path));
    }
}

/// Prints as many rows of each kind as make the whole fit the height; a screen shows two of each at
/// least.
void PrintText(const Description& is, const Console& console) {
    const int width = console.width > 0 ? console.width : kUsualWidth;
    const int height = (console.height > 0 ? console.height : kUsualHeight) - 2;
    int left = height - PrintHead(is, width, console.out);
    int most = 20;
    const auto nLines = [&] {
        int sum = 0;
        for (const Listed& listed : is.objects) {
            sum += NumLines(listed.table, most);
        }
        return sum;
    };
    // One bound for all kinds: the longest lists give way first.
    while (most > 2 && nLines() > left) {
        --most;
    }
    std::string none;
    for (const Listed& listed : is.objects) {
        if (listed.table.rows.empty()) {
            none += (none.empty() ? "no " : ", ") + listed.kind;
        } else {
            PrintObjects(listed, console.IsVerbose() ? std::numeric_limits<int>::max() - 1 : most,
                         is, width, console.out);
        }
    }
    if (!none.empty()) {
        console.out << '\n' << none << '\n';
    }
}

/// Prints the objects of a model by name, on one screen, or how it is stored. Throws ORQBasFailure.
ExitStatus RunInfo(const InfoOptions& options, const Console& console) {
    if (options.storage) {
        return ShowStorage(options.database, options.json, console);
    }
    const Description is = Describe(options, console);
    if (options.json) {
        PrintJson(console.out, ToJson(is));
    } else {
        PrintText(is, console);
    }
    return ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareInfo(CLI::App& command) {
    const auto options = std::make_shared<InfoOptions>();
    AddDatabase(command, options->database);
    command.add_flag("--extent", options->extent,
                     "Read the coordinates for the extent, also of more than a million nodes");
    command.add_flag("--storage", options->storage,
                     "Show how the model is stored: collections, distributions, drawers");
    AddJson(command, options->json);
    return Reading(options, RunInfo, &InfoOptions::database);
}

}  // namespace orqmodel
