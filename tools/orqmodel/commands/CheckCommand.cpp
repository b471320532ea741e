#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ORQBasAssertException.h"
#include "ORQBasFailure.h"
#include "ORQObjDocument.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvHPVizChecker.h"
#include "ORQSrvShellSection.h"
#include "commands/Arguments.h"
#include "queries/FindingGuide.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {
namespace {

struct CheckOptions {
    std::string database;
    bool explain = false;
    bool json = false;
};

using nlohmann::json;

struct Outcome {
    std::vector<std::string> findings;
    ExitStatus status = ExitStatus::Done;
    std::string reason;  // What ended the check early; empty when nothing did.
};

std::string TextOf(ORQBasException& exception) {
    const auto* failure = dynamic_cast<const ORQBasFailure*>(&exception);
    return failure != nullptr ? failure->Text()
                              : exception.DeveloperReport(ORQBasStringMode::Unicode).c_str();
}

/// Names the section that its reader refuses.
[[noreturn]] void ThrowUnreadableSection(const std::string& path, const ORQObjDocument& document) {
    using namespace ORQSimSchema;
    const ORQSimVector assignments = document.GetModel().GetVector(Model_sectionAssignments);
    for (auto i = assignments.Begin(); i.NotDone(); ++i) {
        const ORQSimPosition section = (*i).GetPosition(SectionAssignment_section);
        try {
            if (section.IsA(Section_Shell)) {
                const ORQSrvShellSection readable(section);
            }
        } catch (ORQBasException& exception) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                path + ": the layers of shell section \"" +
                                    section.Name(Record_name).UTF8() +
                                    "\" cannot be read: " + TextOf(exception));
        }
    }
    // Called in a handler: the exception that the checker threw goes on as it is.
    throw;
}

/// Runs the checker; an exception that concerns a section's layers says which section.
void RunChecker(ORQSrvHPVizChecker& checker, const std::string& path,
                const ORQObjDocument& document) {
    try {
        checker.Check_HPViz();
    } catch (const ORQBasAssertException&) {
        ThrowUnreadableSection(path, document);
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() != ORQBasFailureKind::Usage) {
            throw;
        }
        ThrowUnreadableSection(path, document);
    }
}

Outcome Check(const std::string& path) {
    const ORQObjDocument document(OpenModel(path));
    Outcome outcome;
    ORQSrvHPVizChecker checker(document);
    try {
        RunChecker(checker, path, document);
    } catch (const ORQBasFailure& failure) {
        // Of whatever kind, it is no wrong use: the contents of the model cannot be read.
        outcome.status = ExitStatus::Unreadable;
        outcome.reason = failure.Text();
    } catch (ORQBasException& exception) {
        outcome.status = ExitStatus::BrokenInvariant;
        outcome.reason = TextOf(exception);
    }
    for (const ORQString& finding : checker.Messages()) {
        outcome.findings.push_back(finding.UTF8());
    }
    if (outcome.reason.empty() && !outcome.findings.empty()) {
        outcome.status = ExitStatus::Findings;
    }
    return outcome;
}

void PrintList(const Outcome& outcome, std::ostream& out) {
    for (const std::string& finding : outcome.findings) {
        out << ORQExcPrintable(finding) << '\n';
    }
}

void PrintExplained(const Outcome& outcome, std::ostream& out) {
    std::string_view check;
    for (const ExplainedFindings& group : Explain(outcome.findings)) {
        if (check != group.kind->check) {
            check = group.kind->check;
            out << check << '\n';
        }
        for (const std::size_t place : group.places) {
            out << "  " << ORQExcPrintable(outcome.findings[place]) << '\n';
        }
        out << "    It means: " << group.kind->meaning << '\n'
            << "    It breaks: " << group.kind->breaks << '\n'
            << "    To mend it: " << group.kind->mending << "\n\n";
    }
}

json ToJson(const ExplainedFindings& group) {
    return {{"check", group.kind->check},   {"pattern", group.kind->pattern},
            {"findings", group.places},     {"meaning", group.kind->meaning},
            {"breaks", group.kind->breaks}, {"mending", group.kind->mending}};
}

void Print(const Outcome& outcome, const CheckOptions& options, std::ostream& out) {
    if (options.json) {
        json object = {{"schema_version", 1},
                       {"command", "check"},
                       {"path", options.database},
                       {"complete", outcome.reason.empty()},
                       {"findings", outcome.findings}};
        if (!outcome.reason.empty()) {
            object["reason"] = outcome.reason;
        }
        if (options.explain) {
            object["explanations"] = json::array();
            for (const ExplainedFindings& group : Explain(outcome.findings)) {
                object["explanations"].push_back(ToJson(group));
            }
        }
        PrintJson(out, object);
    } else if (options.explain) {
        PrintExplained(outcome, out);
    } else {
        PrintList(outcome, out);
    }
}

/// Checks a model for what would keep it from being displayed or post-processed; prints the
/// findings in their order, one line each, or explained and grouped by check. ExitStatus::Findings
/// when there are any. What ends the check early is thrown after the findings until then are
/// printed: ORQBasFailure, of kind Damaged and with the section's name for a section that cannot be
/// read.
ExitStatus RunCheck(const CheckOptions& options, const Console& console) {
    const Outcome outcome =
        WhileShown(console, "checking", [&] { return Check(options.database); });
    Print(outcome, options, console.out);
    if (!outcome.reason.empty()) {
        console.out.flush();
        console.err << "orqmodel: " << ORQExcPrintable(outcome.reason) << '\n';
    }
    return outcome.status;
}

}  // namespace

SubcommandRun DeclareCheck(CLI::App& command) {
    const auto options = std::make_shared<CheckOptions>();
    AddDatabase(command, options->database);
    command.add_flag("--explain", options->explain,
                     "Group the findings and say what each means, breaks and needs");
    AddJson(command, options->json);
    return Reading(options, RunCheck, &CheckOptions::database);
}

}  // namespace orqmodel
