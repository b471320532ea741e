#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ORQExcNearNames.h"
#include "commands/Arguments.h"
#include "queries/Inventory.h"
#include "queries/OpenModel.h"
#include "terminal/TextTable.h"

namespace orqmodel {
namespace {

using nlohmann::json;

struct ListOptions {
    std::string kind;
    std::string database;
    std::string pattern;  // empty for all
    bool json = false;
};

/// Whether a name is one of a pattern's, whatever the case of letters: a pattern without wildcards
/// stands for the names that it is a part of.
bool Matches(const std::string& name, const std::string& pattern) {
    const bool hasWildcards = pattern.find_first_of("*?[") != std::string::npos;
    const std::string whole = hasWildcards ? pattern : "*" + pattern + "*";
    return fnmatch(whole.c_str(), name.c_str(), FNM_CASEFOLD) == 0;
}

std::vector<std::string> KindNames() {
    std::vector<std::string> names;
    for (const InventoryKind& kind : InventoryKinds()) {
        names.emplace_back(kind.name);
    }
    return names;
}

/// Prints a line for each object of a kind, of those that a pattern names. ExitStatus::Findings,
/// and names that are spelt alike, when it names none. Throws ORQBasFailure.
ExitStatus RunList(const ListOptions& options, const Console& console) {
    const InventoryKind& kind =
        *std::ranges::find(InventoryKinds(), options.kind,
                           [](const InventoryKind& one) { return std::string_view(one.name); });
    const Inventory inventory{ORQObjDocument(OpenModel(options.database))};
    InventoryTable table = (inventory.*kind.read)();
    const std::vector<std::string> names = table.Names();
    if (!options.pattern.empty()) {
        std::erase_if(table.rows, [&](const std::vector<json>& row) {
            return !Matches(row[0].get_ref<const std::string&>(), options.pattern);
        });
    }
    const bool isMissed = table.rows.empty() && !options.pattern.empty();
    if (options.json) {
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", "list"},
                                {"database", options.database},
                                {"kind", options.kind},
                                {"objects", table.ToJson()}});
    } else if (!table.rows.empty()) {
        PrintTable(table.Texts(), table.NumberColumns(), console.out, console.width);
    } else if (!isMissed) {
        console.out << "no " << options.kind << '\n';
    }
    if (isMissed) {
        console.err << fmt::format("orqmodel: {}: among {} {} nothing matches {}",
                                   ORQExcPrintable(options.database), names.size(), options.kind,
                                   ORQExcPrintable(options.pattern))
                    << ORQExcIsIt(ORQExcSpeltAlike(options.pattern, options.pattern, names))
                    << '\n';
    }
    return isMissed ? ExitStatus::Findings : ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareList(CLI::App& command) {
    const auto options = std::make_shared<ListOptions>();
    command.add_option("KIND", options->kind, "What to list")
        ->required()
        ->check(OneOf(KindNames()));
    AddDatabase(command, options->database);
    command.add_option("PATTERN", options->pattern,
                       "Only names that have it in them; with *, ? and [...] that are like it");
    AddJson(command, options->json);
    return Reading(options, RunList, &ListOptions::database);
}

}  // namespace orqmodel
