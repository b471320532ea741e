#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQBasStaged.h"
#include "ORQExcCheck.h"
#include "ORQExcEdit.h"
#include "ORQExcModel.h"
#include "ORQObjDocument.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"
#include "commands/Arguments.h"
#include "commands/Mending.h"
#include "draw/MeshPicture.h"
#include "queries/OpenModel.h"
#include "terminal/Findings.h"
#include "terminal/InterruptGuard.h"
#include "terminal/ProgressBar.h"
#include "terminal/ReportJson.h"

namespace orqmodel {
namespace {

using nlohmann::json;

struct CheckOptions {
    std::string database;
    bool list = false;
    std::string explain;
    std::vector<std::string> only;
    std::vector<std::string> skip;
    std::size_t limit = 10;
    std::string failOn;
    std::string baseline;
    std::string config;
    std::string format = "text";
    bool writeSets = false;
    bool fix = false;
    bool isDryRun = false;
    std::filesystem::path picture;
    bool json = false;
};

json ReadJsonFile(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        ORQBasThrowSystemFailure(path, "open");
    }
    try {
        return json::parse(file);
    } catch (const json::exception& error) {
        throw ORQBasFailure(ORQBasFailureKind::Foreign,
                            fmt::format("{}: is not JSON: {}", path, error.what()));
    }
}

/// The members of a baseline by rule and object; findings without members by their message.
using Known = std::map<std::pair<std::string, std::string>, std::set<std::string>>;

std::string KeyOf(const json& member) {
    return member.at("instance").dump() + " " + member.at("label").dump();
}

/// Reads what `--format json` wrote.
Known ReadBaseline(const std::string& path) {
    const json report = ReadJsonFile(path);
    try {
        Known known;
        for (const json& finding : report.at("findings")) {
            const json& object = finding.at("object");
            auto& of = known[{finding.at("rule"), object.is_null() ? "" : object}];
            of.insert(finding.at("message").get<std::string>());
            for (const json& member : finding.at("members")) {
                of.insert(KeyOf(member));
            }
        }
        return known;
    } catch (const json::exception& error) {
        throw ORQBasFailure(
            ORQBasFailureKind::Foreign,
            fmt::format("{}: is no report of findings in JSON: {}", path, error.what()));
    }
}

/// Leaves what the baseline does not have: of a finding with members those that are new.
void Subtract(const Known& known, ORQExcCheckResult& result) {
    std::erase_if(result.findings, [&](ORQExcFinding& finding) {
        const auto of = known.find({finding.rule, finding.object});
        if (of == known.end()) {
            return false;
        }
        if (finding.members.empty()) {
            return of->second.contains(finding.message);
        }
        std::size_t kept = 0;
        for (std::size_t i = 0; i < finding.labels.size(); ++i) {
            const ORQExcFinding::Label label = finding.labels[i];
            const json instance =
                label.instance < 0
                    ? json()
                    : json(result.instances[static_cast<std::size_t>(label.instance)]);
            if (!of->second.contains(KeyOf({{"instance", instance}, {"label", label.label}}))) {
                finding.labels[kept] = label;
                finding.members[kept++] = finding.members[i];
                continue;
            }
            if (i == 0) {
                finding.position.reset();  // it was that of a member that is known
            }
        }
        finding.labels.resize(kept);
        finding.members.resize(kept);
        return kept == 0;
    });
}

/// Adds what a file of settings says: {"only": [...], "skip": [...], "fail_on": "warning",
/// "limits": {"LAY004": 90}, "blocks": {"skin": {"ELM006": 0.2}}}.
void ReadConfig(const std::string& path, CheckOptions& options, ORQExcCheckOptions& check) {
    const json config = ReadJsonFile(path);
    try {
        for (const auto& [key, value] : config.items()) {
            if (key == "only" || key == "skip") {
                auto& names = key == "only" ? check.only : check.skip;
                for (const json& name : value) {
                    names.push_back(name);
                }
            } else if (key == "fail_on") {
                options.failOn = options.failOn.empty() ? value.get<std::string>() : options.failOn;
            } else if (key == "limits") {
                value.get_to(check.limits);
            } else if (key == "blocks") {
                for (const auto& [block, limits] : value.items()) {
                    limits.get_to(check.blockLimits[block]);
                }
            } else {
                ORQBasThrowUsage(fmt::format("{}: there is no setting \"{}\"", path, key));
            }
        }
    } catch (const json::exception& error) {
        ORQBasThrowUsage(fmt::format("{}: {}", path, error.what()));
    }
}

ORQExcLevel LevelOf(const std::string& name) {
    for (const ORQExcLevel level : {ORQExcLevel::Error, ORQExcLevel::Warning, ORQExcLevel::Note}) {
        if (name == ORQExcLevelName(level)) {
            return level;
        }
    }
    ORQBasThrowUsage(fmt::format("there is no level \"{}\"; is it error, warning, note?", name));
}

void PrintRules(const ORQExcChecker& checker, std::ostream& out) {
    for (const ORQExcRule* rule : checker.Rules()) {
        out << fmt::format("{:7} {:8} {}\n", rule->id, ORQExcLevelName(rule->level), rule->title);
    }
}

void Explain(const ORQExcChecker& checker, const std::string& id, std::ostream& out) {
    checker.Require(id);
    for (const ORQExcRule* rule : checker.Rules()) {
        if (!std::string_view(rule->id).starts_with(id)) {
            continue;
        }
        out << fmt::format("{} ({}): {}\n  It means: {}\n  It breaks: {}\n  To mend it: {}\n",
                           rule->id, ORQExcLevelName(rule->level), rule->title, rule->meaning,
                           rule->breaks, rule->mending);
        if (rule->limit) {
            out << fmt::format("  Limit: {:g} {}\n", *rule->limit, rule->limitOf);
        }
        if (*rule->source != '\0') {
            out << "  Source: " << rule->source << '\n';
        }
    }
}

std::string SetNameOf(const std::string& rule) {
    return "check " + rule;
}

/// Takes away the sets that an earlier check wrote; throws Usage for one that is used since.
void DeleteSets(const ORQObjDocument& document, const std::vector<const ORQExcRule*>& rules) {
    const ORQExcModel model(document);
    ORQExcReport report;
    for (const ORQExcRule* rule : rules) {
        const std::string name = SetNameOf(rule->id);
        const auto isNamed = [&](const ORQExcModel::Set& set) { return set.name == name; };
        if (std::ranges::any_of(model.NodeSets(), isNamed)) {
            ORQExcDelete(document, ORQExcObjectKind::NodeSet, name, false, report);
        }
        if (std::ranges::any_of(model.ElementSets(), isNamed)) {
            ORQExcDelete(document, ORQExcObjectKind::ElementSet, name, false, report);
        }
    }
}

/// Adds a set for each rule that found nodes or elements, under the numbers that are free.
void AddSets(const ORQSimDatabase& database, const Findings& findings) {
    std::map<std::pair<ORQExcFinding::Place, std::string>, std::set<int>> sets;
    for (const ORQExcFinding& finding : findings.result.findings) {
        if (!finding.members.empty()) {
            sets[{finding.place, finding.rule}].insert(finding.members.begin(),
                                                       finding.members.end());
        }
    }
    const ORQExcModel model{ORQObjDocument(database)};
    std::set<int> taken;
    for (const auto* known : {&model.NodeSets(), &model.ElementSets()}) {
        for (const ORQExcModel::Set& set : *known) {
            taken.insert(set.number);
        }
    }
    int number = 0;
    const auto nextFree = [&] {
        do {
            ++number;
        } while (taken.contains(number));
        return number;
    };
    const ORQObjModelBuilder builder(database);
    for (const auto& [of, members] : sets) {
        const std::vector<int> list(members.begin(), members.end());
        const bool areNodes = of.first == ORQExcFinding::Place::Node;
        const ORQSimCSet all = areNodes ? model.Nodes() : model.Elements();
        const ORQSimCSetID found =
            ORQSimCollection(all.CollectionID())
                .CreateCSet(list.data(), static_cast<int>(list.size()), true);
        const ORQString name = SetNameOf(of.second).c_str();
        areNodes ? builder.AddNodeSet(name, nextFree(), found)
                 : builder.AddElementSet(name, nextFree(), found);
    }
}

void WriteSets(const Findings& findings) {
    const ORQSimDatabase database =
        ORQSimDatabase::Open(findings.database, ORQSimDatabase::Mode::ReadWrite);
    ORQSimTransaction transaction(database.ContextID());
    DeleteSets(ORQObjDocument(database), findings.rules);
    AddSets(database, findings);
    transaction.Commit();
}

/// What is found in red over a pale model. Throws Usage where it may not be written.
void RequireDrawable(const std::filesystem::path& file) {
    if (file.extension() != ".png" && file.extension() != ".svg") {
        ORQBasThrowUsage(file.string() + ": is no picture; endings: .png .svg");
    }
    if (std::filesystem::exists(std::filesystem::symlink_status(file))) {
        ORQBasThrowUsage(file.string() + ": exists already");
    }
}

void Draw(const Findings& findings, const std::filesystem::path& file, const Console& console) {
    std::set<int> elements;
    std::set<int> nodes;
    for (const ORQExcFinding& finding : findings.result.findings) {
        if (finding.place != ORQExcFinding::Place::Model) {
            (finding.place == ORQExcFinding::Place::Node ? nodes : elements)
                .insert(finding.members.begin(), finding.members.end());
        }
    }
    const ORQExcModel model{ORQObjDocument(OpenModel(findings.database))};
    MeshPictureOptions options;
    options.marks.emplace(MeshPictureOptions::Marks{{elements.begin(), elements.end()},
                                                    {nodes.begin(), nodes.end()}});
    ProgressBar bar(console, "drawing");
    const InterruptGuard interrupts;
    options.progress = [&](double done) {
        interrupts.Check();
        bar.Show(done);
    };
    const MeshPicture picture(model, TitleOf(findings.database), options);
    ORQBasStaged staged(file, "check");
    file.extension() == ".svg" ? picture.WriteSvg(staged.Path()) : picture.WritePng(staged.Path());
    staged.PutIntoPlace(false);
}

void Print(const Findings& findings, const CheckOptions& options, const ORQExcReport& mended,
           const Console& console) {
    if (options.format == "json") {
        json object = FindingsToJson(findings);
        if (options.fix) {
            object["dry_run"] = options.isDryRun;
            object["report"] = ReportToJson(mended);
        }
        PrintJson(console.out, object);
    } else if (options.format == "sarif") {
        PrintJson(console.out, FindingsToSarif(findings));
    } else if (options.format == "junit") {
        console.out << FindingsToJUnit(findings);
    } else {
        if (options.fix) {
            console.out << (options.isDryRun ? "To be mended without --dry-run:\n" : "Mended:\n");
            console.IsVerbose() ? mended.Print(console.out) : mended.PrintSummary(console.out);
            console.out << "Left:\n";
        }
        PrintFindings(findings, console.IsVerbose() ? SIZE_MAX : options.limit, console.out);
    }
}

ExitStatus StatusOf(const ORQExcCheckResult& result, ORQExcLevel failOn) {
    if (!result.failures.empty()) {
        return std::ranges::any_of(result.failures, &ORQExcCheckResult::Failure::isBrokenInvariant)
                   ? ExitStatus::BrokenInvariant
                   : ExitStatus::Unreadable;
    }
    return std::ranges::any_of(result.findings,
                               [&](const auto& finding) { return finding.level <= failOn; })
               ? ExitStatus::Findings
               : ExitStatus::Done;
}

ORQExcCheckResult Check(const ORQObjDocument& document, const std::string& path,
                        const ORQExcChecker& checker, ORQExcCheckOptions options,
                        const Console& console) {
    ProgressBar bar(console, "checking");
    options.progress = [&](double done) { bar.Show(done); };
    ORQExcCheckResult result = checker.Run(document, options);
    for (ORQExcCheckResult::Failure& failure : result.failures) {
        if (failure.text.find(path) == std::string::npos) {
            failure.text = path + ": " + failure.text;
        }
    }
    return result;
}

/// Mends what it finds, in one transaction, and answers what is left then. A model that cannot be
/// read as a whole is left as it is.
ORQExcCheckResult CheckAndMend(const CheckOptions& options, const ORQExcChecker& checker,
                               const ORQExcCheckOptions& check, ORQExcReport& mended,
                               const Console& console) {
    const ORQSimDatabase database =
        ORQSimDatabase::Open(options.database, ORQSimDatabase::Mode::ReadWrite);
    const InterruptGuard interrupts;
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjDocument document(database);
    ORQExcCheckResult result = Check(document, options.database, checker, check, console);
    if (!result.failures.empty()) {
        return result;
    }
    Mend(document, checker, check, result, mended);
    result = Check(document, options.database, checker, check, console);
    if (!result.failures.empty()) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            "nothing was mended: " + result.failures[0].text);
    }
    // From the commit on, there is no way back.
    interrupts.Check();
    if (!options.isDryRun) {
        transaction.Commit();
    }
    return result;
}

/// Refuses options that would have no effect, or not the one that they say.
void RequireUse(const CheckOptions& options) {
    if (options.json && options.format != "text" && options.format != "json") {
        ORQBasThrowUsage(
            fmt::format("--json is --format json, and --format {} was given", options.format));
    }
    if ((options.list || !options.explain.empty()) && (options.json || options.format != "text")) {
        ORQBasThrowUsage("--list and --explain are text");
    }
    if (options.isDryRun && !options.fix) {
        ORQBasThrowUsage("--dry-run is for --fix");
    }
    if (options.isDryRun && !options.picture.empty()) {
        ORQBasThrowUsage(
            "--draw shows what is found in the model, which --dry-run leaves as it is");
    }
    if (options.fix && (options.writeSets || !options.baseline.empty())) {
        ORQBasThrowUsage(
            "--fix mends all that is found: it takes no --baseline and no --write-sets");
    }
}

/// Checks a model and prints what is wrong with it, by rule. ExitStatus::Findings when something is
/// at least as bad as the level that fails. What ends a check early is said after the findings:
/// Unreadable, or BrokenInvariant.
ExitStatus RunCheck(const CheckOptions& given, const Console& console) {
    CheckOptions options = given;
    const ORQExcChecker checker;
    RequireUse(options);
    if (options.list || !options.explain.empty()) {
        options.list ? PrintRules(checker, console.out)
                     : Explain(checker, options.explain, console.out);
        return ExitStatus::Done;
    }
    if (options.database.empty()) {
        ORQBasThrowUsage("DATABASE is required, unless --list or --explain is given");
    }
    if (!options.picture.empty()) {
        RequireDrawable(options.picture);
    }
    options.format = options.json ? "json" : options.format;
    ORQExcCheckOptions check{.only = options.only, .skip = options.skip};
    if (!options.config.empty()) {
        ReadConfig(options.config, options, check);
    }
    const ORQExcLevel failOn =
        options.failOn.empty() ? ORQExcLevel::Error : LevelOf(options.failOn);
    ORQExcReport mended;
    Findings findings{options.database, checker.Rules(),
                      options.fix ? CheckAndMend(options, checker, check, mended, console)
                                  : Check(ORQObjDocument(OpenModel(options.database)),
                                          options.database, checker, check, console)};
    if (!options.baseline.empty()) {
        Subtract(ReadBaseline(options.baseline), findings.result);
    }
    Print(findings, options, mended, console);
    console.out.flush();
    if (options.writeSets) {
        WriteSets(findings);
    }
    if (!options.picture.empty()) {
        Draw(findings, options.picture, console);
    }
    for (const ORQExcCheckResult::Failure& failure : findings.result.failures) {
        console.err << "orqmodel: " << ORQExcPrintable(failure.text) << '\n';
    }
    const ExitStatus status = StatusOf(findings.result, failOn);
    return status == ExitStatus::Done && mended.HasFindings() ? ExitStatus::Findings : status;
}

}  // namespace

SubcommandRun DeclareCheck(CLI::App& command) {
    const auto options = std::make_shared<CheckOptions>();
    command.add_option("DATABASE", options->database, "The model database");
    command.add_flag("--list", options->list, "List the rules");
    command
        .add_option("--explain", options->explain,
                    "Say what a rule, or each of a group, means, breaks and needs")
        ->type_name("RULE");
    command.add_option("--only", options->only, "Try these rules or groups only")
        ->type_name("RULE,...")
        ->delimiter(',');
    command.add_option("--skip", options->skip, "Leave out these rules or groups")
        ->type_name("RULE,...")
        ->delimiter(',');
    command
        .add_option("--limit", options->limit,
                    "Findings of a rule, and members of a finding, that the text lists")
        ->capture_default_str();
    command
        .add_option("--fail-on", options->failOn,
                    "The least level that ends the program with status 1 (default: error)")
        ->check(OneOf({"error", "warning", "note"}));
    command
        .add_option("--baseline", options->baseline,
                    "Leave out the findings of an earlier report in JSON")
        ->type_name("FILE");
    command.add_option("--config", options->config, "Rules and limits, by block, in JSON")
        ->type_name("FILE");
    command.add_option("--format", options->format, "How to report")
        ->check(OneOf({"text", "json", "sarif", "junit"}))
        ->capture_default_str();
    command.add_flag(
        "--write-sets", options->writeSets,
        "Make a set of what each rule found, \"check RULE\", in place of earlier ones");
    command
        .add_option("--draw", options->picture,
                    "Draw what is found in red over a pale model, nodes as dots")
        ->type_name("FILE");
    command.add_flag(
        "--fix", options->fix,
        "Turn inverted solids, merge equal elements and coincident nodes of each part, drop "
        "unused nodes and empty sets, and report what is left");
    command.add_flag("-n,--dry-run", options->isDryRun, "With --fix: report, and change nothing");
    AddJson(command, options->json);
    return Reading(options, RunCheck, &CheckOptions::database);
}

}  // namespace orqmodel
