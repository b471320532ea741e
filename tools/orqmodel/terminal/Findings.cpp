#include "terminal/Findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

#include "ORQExcTexts.h"
#include "ORQExcXmlText.h"

namespace orqmodel {
namespace {

using nlohmann::json;
using Place = ORQExcFinding::Place;

constexpr std::array kLevels = {ORQExcLevel::Error, ORQExcLevel::Warning, ORQExcLevel::Note};

const char* NameOf(Place place) {
    return place == Place::Node ? "node" : place == Place::Element ? "element" : "model";
}

std::string Counted(std::size_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

/// "wing 12, 15, 16": the instance once for those that follow each other in it.
std::string LabelsText(const ORQExcFinding& finding, const std::vector<std::string>& instances,
                       std::size_t limit) {
    std::string text;
    const std::size_t count = std::min(limit, finding.labels.size());
    for (std::size_t i = 0; i < count; ++i) {
        const ORQExcFinding::Label& label = finding.labels[i];
        text += i == 0 ? "" : ", ";
        if (i == 0 || finding.labels[i - 1].instance != label.instance) {
            text += label.instance < 0 ? "number "
                                       : instances[static_cast<std::size_t>(label.instance)] + " ";
        }
        text += std::to_string(label.label);
    }
    if (finding.labels.size() > count) {
        text += fmt::format(" and {} more", finding.labels.size() - count);
    }
    return text;
}

/// One line: what it is about, the message, the members and where the first one is.
std::string TextOf(const ORQExcFinding& finding, const std::vector<std::string>& instances,
                   std::size_t limit) {
    std::string text = finding.object.empty() ? "" : finding.object + ": ";
    text += finding.message;
    if (!finding.labels.empty()) {
        text += fmt::format("; {}: {}", Counted(finding.labels.size(), NameOf(finding.place)),
                            LabelsText(finding, instances, limit));
    }
    if (finding.position) {
        const auto& [x, y, z] = *finding.position;
        text += fmt::format(" (the first at {:g}, {:g}, {:g})", x, y, z);
    }
    return text;
}

std::vector<const ORQExcFinding*> OfRule(const Findings& findings, const ORQExcRule& rule) {
    std::vector<const ORQExcFinding*> ofRule;
    for (const ORQExcFinding& finding : findings.result.findings) {
        if (rule.id == std::string_view(finding.rule)) {
            ofRule.push_back(&finding);
        }
    }
    return ofRule;
}

void PrintRule(const ORQExcRule& rule, const std::vector<const ORQExcFinding*>& found,
               const std::vector<std::string>& instances, std::size_t limit, std::ostream& out) {
    out << fmt::format("{} {}: {}\n", ORQExcLevelName(found[0]->level), rule.id,
                       ORQExcPrintable(rule.title));
    const std::size_t count = std::min(limit, found.size());
    for (std::size_t i = 0; i < count; ++i) {
        out << "  " << ORQExcPrintable(TextOf(*found[i], instances, limit)) << '\n';
    }
    if (found.size() > count) {
        out << fmt::format("  and {} more like these\n", found.size() - count);
    }
    out << "  To mend it: " << rule.mending << '\n';
}

json ToJson(const ORQExcFinding& finding, const ORQExcRule& rule,
            const std::vector<std::string>& instances) {
    json members = json::array();
    for (const ORQExcFinding::Label& label : finding.labels) {
        members.push_back(
            {{"instance", label.instance < 0
                              ? json()
                              : json(instances[static_cast<std::size_t>(label.instance)])},
             {"label", label.label}});
    }
    return {{"rule", finding.rule},
            {"level", ORQExcLevelName(finding.level)},
            {"title", rule.title},
            {"object", finding.object.empty() ? json() : json(finding.object)},
            {"message", finding.message},
            {"place", NameOf(finding.place)},
            {"members", members},
            {"position", finding.position ? json(*finding.position) : json()},
            {"hint", rule.mending}};
}

/// A path as a reference of RFC 3986: what is neither a letter, a digit nor one of "-._~/" by its
/// bytes.
std::string UriOf(const std::string& path) {
    constexpr std::string_view kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    std::string uri;
    for (const char c : path) {
        uri += kPlain.find(c) != std::string_view::npos
                   ? std::string(1, c)
                   : fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return uri;
}

json SarifRule(const ORQExcRule& rule) {
    return {{"id", rule.id},
            {"shortDescription", {{"text", rule.title}}},
            {"fullDescription",
             {{"text", fmt::format("{}; it breaks: {}", rule.meaning, rule.breaks)}}},
            {"help", {{"text", rule.mending}}},
            {"defaultConfiguration", {{"level", ORQExcLevelName(rule.level)}}}};
}

}  // namespace

const ORQExcRule& Findings::RuleOf(const ORQExcFinding& finding) const {
    return **std::ranges::find(rules, std::string_view(finding.rule),
                               [](const ORQExcRule* rule) { return std::string_view(rule->id); });
}

std::size_t Findings::Count(ORQExcLevel level) const {
    return static_cast<std::size_t>(
        std::ranges::count(result.findings, level, &ORQExcFinding::level));
}

void PrintFindings(const Findings& findings, std::size_t limit, std::ostream& out) {
    for (const ORQExcLevel level : kLevels) {
        for (const ORQExcRule* rule : findings.rules) {
            const auto found = OfRule(findings, *rule);
            if (!found.empty() && found[0]->level == level) {
                PrintRule(*rule, found, findings.result.instances, limit, out);
            }
        }
    }
    out << fmt::format("{}, {}, {}\n", Counted(findings.Count(ORQExcLevel::Error), "error"),
                       Counted(findings.Count(ORQExcLevel::Warning), "warning"),
                       Counted(findings.Count(ORQExcLevel::Note), "note"));
}

json FindingsToJson(const Findings& findings) {
    json list = json::array();
    for (const ORQExcFinding& finding : findings.result.findings) {
        list.push_back(ToJson(finding, findings.RuleOf(finding), findings.result.instances));
    }
    json object = {{"schema_version", 2},
                   {"command", "check"},
                   {"path", findings.database},
                   {"complete", findings.result.failures.empty()},
                   {"errors", findings.Count(ORQExcLevel::Error)},
                   {"warnings", findings.Count(ORQExcLevel::Warning)},
                   {"notes", findings.Count(ORQExcLevel::Note)},
                   {"findings", list}};
    for (const ORQExcCheckResult::Failure& failure : findings.result.failures) {
        object["reasons"].push_back(failure.text);
    }
    return object;
}

json FindingsToSarif(const Findings& findings) {
    json rules = json::array();
    for (const ORQExcRule* rule : findings.rules) {
        rules.push_back(SarifRule(*rule));
    }
    json results = json::array();
    for (const ORQExcFinding& finding : findings.result.findings) {
        // Viewers show the message on a line; all members stand in the properties.
        constexpr std::size_t kMembers = 10;
        json result = {
            {"ruleId", finding.rule},
            {"level", ORQExcLevelName(finding.level)},
            {"message", {{"text", TextOf(finding, findings.result.instances, kMembers)}}},
            {"locations",
             {{{"physicalLocation", {{"artifactLocation", {{"uri", UriOf(findings.database)}}}}}}}},
            {"properties", ToJson(finding, findings.RuleOf(finding), findings.result.instances)}};
        if (!finding.object.empty()) {
            result["locations"][0]["logicalLocations"] = {{{"fullyQualifiedName", finding.object}}};
        }
        results.push_back(result);
    }
    json notifications = json::array();
    for (const ORQExcCheckResult::Failure& failure : findings.result.failures) {
        notifications.push_back({{"level", "error"}, {"message", {{"text", failure.text}}}});
    }
    return {
        {"version", "2.1.0"},
        {"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
        {"runs",
         {{{"tool",
            {{"driver", {{"name", "orqmodel"}, {"version", ORQMODEL_VERSION}, {"rules", rules}}}}},
           {"invocations",
            {{{"executionSuccessful", findings.result.failures.empty()},
              {"toolExecutionNotifications", notifications}}}},
           {"results", results}}}}};
}

std::string FindingsToJUnit(const Findings& findings) {
    std::string cases;
    std::size_t nFailures = 0;
    std::size_t nSkipped = 0;
    for (const ORQExcRule* rule : findings.rules) {
        const auto found = OfRule(findings, *rule);
        const std::string id = rule->id;
        cases += fmt::format("    <testcase classname=\"{}\" name=\"{}\"",
                             id.substr(0, id.find_first_of("0123456789")),
                             ORQExcXmlEscaped(fmt::format("{} {}", id, rule->title)));
        if (found.empty()) {
            // A rule that was left out, or met something unreadable, did not pass.
            const bool wasTried = std::ranges::count(findings.result.tried, id) != 0;
            nSkipped += wasTried ? 0 : 1;
            cases += wasTried ? "/>\n" : "><skipped/></testcase>\n";
            continue;
        }
        std::string lines;
        for (const ORQExcFinding* finding : found) {
            lines += TextOf(*finding, findings.result.instances, finding->labels.size()) + "\n";
        }
        // A note is no failure; what it says stands in the log of the case.
        const bool isFailure = found[0]->level != ORQExcLevel::Note;
        nFailures += isFailure ? 1 : 0;
        cases += ">\n";
        cases += isFailure
                     ? fmt::format("      <failure type=\"{}\" message=\"{}\">{}</failure>\n",
                                   ORQExcLevelName(found[0]->level),
                                   ORQExcXmlEscaped(Counted(found.size(), "finding")),
                                   ORQExcXmlEscaped(lines))
                     : fmt::format("      <system-out>{}</system-out>\n", ORQExcXmlEscaped(lines));
        cases += "    </testcase>\n";
    }
    for (const ORQExcCheckResult::Failure& failure : findings.result.failures) {
        cases += fmt::format(
            "    <testcase classname=\"check\" name=\"reading the model\">\n"
            "      <error message=\"{}\"/>\n    </testcase>\n",
            ORQExcXmlEscaped(failure.text));
    }
    return fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n"
        "  <testsuite name=\"orqmodel check {}\" tests=\"{}\" failures=\"{}\" errors=\"{}\" "
        "skipped=\"{}\">\n{}"
        "  </testsuite>\n</testsuites>\n",
        ORQExcXmlEscaped(findings.database),
        findings.rules.size() + findings.result.failures.size(), nFailures,
        findings.result.failures.size(), nSkipped, cases);
}

}  // namespace orqmodel
