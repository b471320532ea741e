#include "CheckCommand.h"

#include <exception>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "FindingGuide.h"
#include "ORQBasAssertException.h"
#include "ORQBasFailure.h"
#include "ORQObjDocument.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvHPVizChecker.h"
#include "ORQSrvShellSection.h"
#include "OpenModel.h"

namespace orqmodel {
namespace {

using nlohmann::json;

struct Outcome {
    std::vector<std::string> findings;
    std::exception_ptr error;  // What ended the check early.
};

/// Names the section that fails its reader's assertion.
[[noreturn]] void ThrowUnreadableSection(const std::string& path, const ORQObjDocument& document) {
    using namespace ORQSimSchema;
    const ORQSimVector assignments = document.GetModel().GetVector(Model_sectionAssignments);
    for (auto i = assignments.Begin(); i.NotDone(); ++i) {
        const ORQSimPosition section = (*i).GetPosition(SectionAssignment_section);
        try {
            if (section.IsA(Section_Shell))
                const ORQSrvShellSection readable(section);
        } catch (const ORQBasAssertException& exception) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                path + ": the layers of shell section \"" +
                                    section.Name(Record_name).UTF8() + "\" cannot be read: " +
                                    exception.DeveloperReport(ORQBasStringMode::Unicode).c_str());
        }
    }
    throw;
}

Outcome Check(const std::string& path) {
    const ORQObjDocument document(OpenModel(path));
    Outcome outcome;
    ORQSrvHPVizChecker checker(document);
    try {
        try {
            checker.Check_HPViz();
        } catch (const ORQBasAssertException&) {
            ThrowUnreadableSection(path, document);
        }
    } catch (const ORQBasException&) {
        outcome.error = std::current_exception();
    }
    for (const ORQString& finding : checker.Messages())
        outcome.findings.push_back(finding.UTF8());
    return outcome;
}

void PrintList(const Outcome& outcome, std::ostream& out) {
    for (const std::string& finding : outcome.findings)
        out << Printable(finding) << '\n';
}

void PrintExplained(const Outcome& outcome, std::ostream& out) {
    std::string_view check;
    for (const ExplainedFindings& group : Explain(outcome.findings)) {
        if (check != group.kind->check) {
            check = group.kind->check;
            out << check << '\n';
        }
        for (const std::size_t place : group.places)
            out << "  " << Printable(outcome.findings[place]) << '\n';
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
                       {"complete", outcome.error == nullptr},
                       {"findings", outcome.findings}};
        if (options.explain) {
            object["explanations"] = json::array();
            for (const ExplainedFindings& group : Explain(outcome.findings))
                object["explanations"].push_back(ToJson(group));
        }
        PrintJson(out, object);
    } else if (options.explain) {
        PrintExplained(outcome, out);
    } else {
        PrintList(outcome, out);
    }
}

}  // namespace

ExitStatus RunCheck(const CheckOptions& options, const Console& console) {
    const Outcome outcome = Check(options.database);
    Print(outcome, options, console.out);
    if (outcome.error != nullptr) {
        console.out.flush();
        std::rethrow_exception(outcome.error);
    }
    return outcome.findings.empty() ? ExitStatus::kDone : ExitStatus::kFindings;
}

}  // namespace orqmodel
