#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcEdit.h"
#include "ORQExcNearNames.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "commands/Arguments.h"
#include "terminal/InterruptGuard.h"
#include "terminal/ProgressBar.h"
#include "terminal/ReportJson.h"

namespace orqmodel {
namespace {

using Kind = ORQExcObjectKind;
using Progress = std::function<void(double)>;

struct EditOptions {
    std::string database;
    std::string action;
    std::vector<std::string> arguments;
    std::optional<double> tolerance;
    std::string instance;
    bool force = false;
    bool isDryRun = false;
    bool json = false;
};

/// A row of the table of actions.
struct Action {
    const char* name;
    std::vector<const char*> arguments;
    bool takesTolerance = false;  ///< and an instance
    bool takesForce = false;
    void (*run)(const EditOptions& options, const ORQObjDocument& document,
                const Progress& progress, ORQExcReport& report);

    std::string Usage() const {
        return fmt::format("{}{}{}", name, takesTolerance ? " --tolerance T" : "",
                           arguments.empty() ? "" : fmt::format(" {}", fmt::join(arguments, " ")));
    }
};

const std::map<std::string, Kind> kKinds = {
    {"block", Kind::Block},      {"nodeset", Kind::NodeSet}, {"elementset", Kind::ElementSet},
    {"surface", Kind::Surface},  {"section", Kind::Section}, {"material", Kind::Material},
    {"step", Kind::Step},        {"field", Kind::Field},     {"orientation", Kind::Orientation},
    {"instance", Kind::Instance}};

const std::map<std::string, ORQExcUnused> kUnused = {{"nodes", ORQExcUnused::Nodes},
                                                     {"materials", ORQExcUnused::Materials},
                                                     {"sections", ORQExcUnused::Sections},
                                                     {"sets", ORQExcUnused::Sets}};

/// The value of a word; others are refused with those that are near.
template <class Value>
Value OneOfWords(const std::map<std::string, Value>& words, const std::string& given,
                 const std::string& more = {}) {
    if (const auto found = words.find(given); found != words.end()) {
        return found->second;
    }
    std::vector<std::string> names;
    for (const auto& [word, value] : words) {
        names.push_back(word);
    }
    if (!more.empty()) {
        names.push_back(more);
    }
    ORQBasThrowUsage(fmt::format("{} is none of {}{}", given, fmt::join(names, ", "),
                                 ORQExcIsIt(ORQExcSpeltAlike(given, given, names))));
}

/// The kind that a word stands for; a set is of nodes or of elements.
Kind KindOf(const std::string& word, const std::string& name, const ORQObjDocument& document) {
    if (word != "set") {
        return OneOfWords(kKinds, word, "set");
    }
    const auto has = [&](int slot) {
        return !document.GetModel().GetMap(slot).Find(name).IsNull();
    };
    const bool isOfNodes = has(ORQSimSchema::Model_nodeSets);
    const bool isOfElements = has(ORQSimSchema::Model_elementSets);
    if (isOfNodes && isOfElements) {
        ORQBasThrowUsage(fmt::format("\"{}\" is a nodeset and an elementset: say which", name));
    }
    if (!isOfNodes && !isOfElements) {
        std::vector<std::string> names;
        for (const int slot : {ORQSimSchema::Model_nodeSets, ORQSimSchema::Model_elementSets}) {
            const ORQSimMap sets = document.GetModel().GetMap(slot);
            for (auto entry = sets.Begin(); entry.NotDone(); ++entry) {
                names.push_back(entry.Key().UTF8());
            }
        }
        ORQBasThrowUsage(
            fmt::format("there is no set \"{}\"{}", name, ORQExcNearNames(name, names)));
    }
    return isOfNodes ? Kind::NodeSet : Kind::ElementSet;
}

void Rename(const EditOptions& options, const ORQObjDocument& document, const Progress&,
            ORQExcReport& report) {
    const std::vector<std::string>& given = options.arguments;
    ORQExcRename(document, KindOf(given[0], given[1], document), given[1], given[2], report);
}

void Delete(const EditOptions& options, const ORQObjDocument& document, const Progress&,
            ORQExcReport& report) {
    const std::vector<std::string>& given = options.arguments;
    ORQExcDelete(document, KindOf(given[0], given[1], document), given[1], options.force, report);
}

void MergeNodes(const EditOptions& options, const ORQObjDocument& document,
                const Progress& progress, ORQExcReport& report) {
    if (!options.tolerance) {
        ORQBasThrowUsage("merge-nodes needs --tolerance T, the most that two nodes are apart");
    }
    ORQExcMergeNodes(document, {*options.tolerance, options.instance, progress}, report);
}

void DropUnused(const EditOptions& options, const ORQObjDocument& document,
                const Progress& progress, ORQExcReport& report) {
    ORQExcDropUnused(document, OneOfWords(kUnused, options.arguments[0]), report, progress);
}

void Renumber(const EditOptions&, const ORQObjDocument& document, const Progress& progress,
              ORQExcReport& report) {
    ORQExcRenumber(document, report, progress);
}

const std::array kActions = {
    Action{"rename", {"KIND", "OLD", "NEW"}, false, false, Rename},
    Action{"delete", {"KIND", "NAME"}, false, true, Delete},
    Action{"merge-nodes", {}, true, false, MergeNodes},
    Action{"drop-unused", {"nodes|materials|sections|sets"}, false, false, DropUnused},
    Action{"renumber", {}, false, false, Renumber}};

std::vector<std::string> ActionNames() {
    std::vector<std::string> names;
    for (const Action& action : kActions) {
        names.emplace_back(action.name);
    }
    return names;
}

/// Refuses what does not belong to the action.
void CheckUse(const Action& action, const EditOptions& options) {
    if (options.arguments.size() != action.arguments.size()) {
        ORQBasThrowUsage(fmt::format("use: orqmodel edit DATABASE {}; {} {} given", action.Usage(),
                                     options.arguments.size(),
                                     options.arguments.size() == 1 ? "word was" : "words were"));
    }
    const auto refuse = [&](bool isGiven, const char* option) {
        if (isGiven) {
            ORQBasThrowUsage(fmt::format("{} takes no {}", action.name, option));
        }
    };
    refuse(options.tolerance && !action.takesTolerance, "--tolerance");
    refuse(!options.instance.empty() && !action.takesTolerance, "--instance");
    refuse(options.force && !action.takesForce, "--force");
}

void Print(const EditOptions& options, const ORQExcReport& report, const Console& console) {
    if (options.json) {
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", "edit"},
                                {"database", options.database},
                                {"action", options.action},
                                {"arguments", options.arguments},
                                {"dry_run", options.isDryRun},
                                {"report", ReportToJson(report)}});
        return;
    }
    if (console.IsQuiet()) {
        return;
    }
    if (options.isDryRun) {
        console.out << ORQExcPrintable(options.database)
                    << ": nothing was changed (--dry-run); without it:\n";
    }
    console.IsVerbose() ? report.Print(console.out) : report.PrintSummary(console.out);
}

/// Changes a model in one transaction, and reports what became of it. On any failure, when
/// interrupted or killed, and with a dry run it is as it was. Throws ORQBasFailure and Interrupted.
ExitStatus RunEdit(const EditOptions& options, const Console& console) {
    const Action& action = *std::ranges::find_if(
        kActions, [&](const Action& one) { return one.name == options.action; });
    CheckUse(action, options);
    ORQSimDatabase database =
        ORQSimDatabase::Open(options.database, ORQSimDatabase::Mode::ReadWrite);
    ORQExcReport report;
    {
        const InterruptGuard interrupts;
        ORQSimTransaction transaction(database.ContextID());
        {
            ProgressBar bar(console, "editing");
            action.run(
                options, ORQObjDocument(database),
                [&](double done) {
                    interrupts.Check();
                    bar.Show(done);
                },
                report);
        }
        // From the commit on, there is no way back.
        interrupts.Check();
        if (!options.isDryRun) {
            transaction.Commit();
        }
    }
    database.Close();
    Print(options, report, console);
    return report.HasFindings() ? ExitStatus::Findings : ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareEdit(CLI::App& command) {
    const auto options = std::make_shared<EditOptions>();
    AddDatabase(command, options->database);
    std::vector<std::string> uses;
    for (const Action& action : kActions) {
        uses.push_back(action.Usage());
    }
    command.add_option("ACTION", options->action, fmt::format("{}", fmt::join(uses, "; ")))
        ->required()
        ->check(OneOf(ActionNames()));
    command.add_option("ARGUMENTS", options->arguments,
                       "What the action needs. KIND: block, set, nodeset, elementset, surface, "
                       "section, material, orientation, step, field, instance");
    command.add_option("--tolerance", options->tolerance,
                       "Merge nodes that are at most so far apart, in the model's unit of length");
    command.add_option("--instance", options->instance, "Merge nodes of this instance only");
    command.add_flag("--force", options->force,
                     "Delete a section or set together with the section assignments that use it");
    command.add_flag("-n,--dry-run", options->isDryRun, "Report, and change nothing");
    AddJson(command, options->json);
    return Running(options, RunEdit);
}

}  // namespace orqmodel
