#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcDifference.h"
#include "ORQSimDatabase.h"
#include "commands/Arguments.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {
namespace {

using nlohmann::json;
using DifferenceKind = ORQExcDifference::Kind;
using Change = ORQExcDifference::Change;

/// The most that a report lists of each.
struct Limits {
    std::size_t members = 8;
    std::size_t names = 8;
    std::size_t lines = 20;  // of a kind

    static Limits None() {
        constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();
        return {kAll, kAll, kAll};
    }
};

struct DiffOptions {
    std::string before;
    std::string after;
    std::vector<double> tolerance;  // relative, absolute
    std::string by = "name";
    bool json = false;
};

const char* NameOf(DifferenceKind kind) {
    switch (kind) {
        case DifferenceKind::Model:
            return "model";
        case DifferenceKind::Instance:
            return "instance";
        case DifferenceKind::Node:
            return "nodes";
        case DifferenceKind::Element:
            return "elements";
        case DifferenceKind::Block:
            return "block";
        case DifferenceKind::NodeSet:
            return "node set";
        case DifferenceKind::ElementSet:
            return "element set";
        case DifferenceKind::Surface:
            return "surface";
        case DifferenceKind::Section:
            return "section";
        case DifferenceKind::Material:
            return "material";
        case DifferenceKind::Orientation:
            return "orientation";
        case DifferenceKind::Step:
            return "step";
        case DifferenceKind::Field:
            return "field";
        case DifferenceKind::Text:
            return "kept text";
        case DifferenceKind::Array:
            return "kept array";
    }
    return "";
}

const char* NameOf(Change change) {
    switch (change) {
        case Change::Removed:
            return "removed";
        case Change::Added:
            return "added";
        case Change::Changed:
            return "changed";
    }
    return "";
}

/// The beginning of a text, on one line.
std::string Short(const std::string& text) {
    constexpr std::size_t kMost = 60;  // leaves room on the line for what the value is of
    std::string shown = text.size() <= kMost ? text : text.substr(0, kMost - 3) + "...";
    std::ranges::replace(shown, '\t', ' ');
    return ORQExcPrintable(shown);
}

/// "PART-1 3, 5, 7": the instance once for those that follow each other in it.
std::string MembersText(const ORQExcDifference& difference,
                        const std::vector<std::string>& instances, const Limits& limits) {
    std::string text;
    // Neither an instance nor -1, which stands for a number without one.
    int instance = -2;
    for (std::size_t i = 0; i < std::min(difference.members.size(), limits.members); ++i) {
        const ORQExcDifference::Member& member = difference.members[i];
        text += i == 0 ? "" : ", ";
        if (member.instance != instance) {
            instance = member.instance;
            text += instance < 0
                        ? "number "
                        : ORQExcPrintable(instances[static_cast<std::size_t>(instance)]) + " ";
        }
        text += std::to_string(member.label);
        if (difference.what == "position") {
            text += fmt::format(" by {:.6g}", member.amount);
        }
    }
    if (difference.members.size() > limits.members) {
        text += fmt::format(" and {} more", difference.members.size() - limits.members);
    }
    return text;
}

/// What became of nodes or elements, for example "3 from block A to B".
std::string MeshChangeText(const ORQExcDifference& difference) {
    if (difference.change != Change::Changed) {
        return fmt::format("{} {}", difference.count, NameOf(difference.change));
    }
    if (difference.what == "position") {
        return fmt::format("{} moved", difference.count);
    }
    if (difference.before.empty()) {
        return fmt::format("{} with another {}", difference.count, difference.what);
    }
    return fmt::format("{} with another {}, {} becomes {}", difference.count, difference.what,
                       Short(difference.before), Short(difference.after));
}

/// "1 member removed", "2 members removed"
std::string Counted(const ORQExcDifference& difference) {
    std::string what = difference.what;
    // The noun ends before the first blank after an "s", as in "members removed", or with the text.
    const auto plural = what.find("s ") != what.npos ? what.find("s ") : what.size() - 1;
    if (difference.count == 1 && plural < what.size() && what[plural] == 's') {
        what.erase(plural, 1);
    }
    return fmt::format("{} {}", difference.count, what);
}

/// What became of an object, for example "thickness 0.1 becomes 0.2".
std::string ObjectChangeText(const ORQExcDifference& difference) {
    if (difference.change != Change::Changed) {
        return NameOf(difference.change);
    }
    std::string text = difference.what;
    if (difference.what == "values") {
        text = fmt::format("{} {}, most {}:", Counted(difference),
                           difference.count == 1 ? "differs" : "differ", difference.at);
    } else if (difference.kind == DifferenceKind::Text || difference.count > 1 ||
               (difference.before.empty() && difference.after.empty())) {
        text = Counted(difference);
    }
    if (difference.kind == DifferenceKind::Text) {
        return fmt::format("{}, the first \"{}\" becomes \"{}\"", text, Short(difference.before),
                           Short(difference.after));
    }
    if (difference.before.empty() && difference.after.empty()) {
        return text;
    }
    const auto shown = [](const std::string& value) {
        return value.empty() ? "none" : Short(value);
    };
    return fmt::format("{} {} becomes {}", text, shown(difference.before), shown(difference.after));
}

/// What became of the objects of a line.
std::string ChangeText(const ORQExcDifference& difference,
                       const std::vector<std::string>& instances, const Limits& limits) {
    const bool isOfMesh =
        difference.kind == DifferenceKind::Node || difference.kind == DifferenceKind::Element;
    std::string text = isOfMesh ? MeshChangeText(difference) : ObjectChangeText(difference);
    if (!difference.members.empty()) {
        text += (isOfMesh ? ": " : ", ") + MembersText(difference, instances, limits);
    }
    return text;
}

/// A change, and the objects of one kind that it happened to.
struct Line {
    DifferenceKind kind;
    std::vector<std::string> names;
    std::string change;
};

std::string TextOf(const Line& line, const Limits& limits) {
    std::string text = NameOf(line.kind);
    const std::size_t nNames = std::min(line.names.size(), limits.names);
    for (std::size_t i = 0; i < nNames; ++i) {
        if (!line.names[i].empty()) {
            text += fmt::format("{} \"{}\"", i == 0 ? "" : ",", ORQExcPrintable(line.names[i]));
        }
    }
    if (line.names.size() > nNames) {
        text += fmt::format(" and {} more", line.names.size() - nNames);
    }
    return text + ": " + line.change;
}

/// What differs in the values of a field: the time of the largest difference, and how many times.
struct FieldDifference {
    const ORQExcDifference* largest;
    std::size_t nTimes;
};

std::map<std::string, FieldDifference> ValuesOfFields(const ORQExcDifferences& differences) {
    std::map<std::string, FieldDifference> values;
    for (const ORQExcDifference& difference : differences.list) {
        if (difference.what == "values") {
            FieldDifference& field =
                values.try_emplace(difference.name, FieldDifference{&difference, 0}).first->second;
            ++field.nTimes;
            if (difference.amount > field.largest->amount) {
                field.largest = &difference;
            }
        }
    }
    return values;
}

/// The lines in the order of the differences; objects that changed alike share a line.
std::vector<Line> LinesOf(const ORQExcDifferences& differences, const Limits& limits) {
    const std::map<std::string, FieldDifference> values = ValuesOfFields(differences);
    std::vector<Line> lines;
    std::map<std::pair<DifferenceKind, std::string>, std::size_t> placeOf;
    for (const ORQExcDifference& difference : differences.list) {
        std::string change = ChangeText(difference, differences.instances, limits);
        if (difference.what == "values") {
            const FieldDifference& field = values.at(difference.name);
            if (field.largest != &difference) {
                continue;
            }
            if (field.nTimes > 1) {
                change += fmt::format("; {} times differ", field.nTimes);
            }
        }
        const auto [at, isNew] = placeOf.try_emplace({difference.kind, change}, lines.size());
        if (isNew) {
            lines.push_back({difference.kind, {}, std::move(change)});
        }
        lines[at->second].names.push_back(difference.name);
    }
    return lines;
}

void PrintLines(const std::vector<Line>& lines, const Limits& limits, std::ostream& out) {
    std::size_t ofKind = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        ofKind = i > 0 && lines[i].kind == lines[i - 1].kind ? ofKind + 1 : 1;
        if (ofKind <= limits.lines) {
            out << TextOf(lines[i], limits) << '\n';
        }
        // Lines of a kind stand together, as the comparison lists kind by kind.
        const bool isLast = i + 1 == lines.size() || lines[i + 1].kind != lines[i].kind;
        if (isLast && ofKind > limits.lines) {
            out << fmt::format("{}: {} more differences; --verbose lists all\n",
                               NameOf(lines[i].kind), ofKind - limits.lines);
        }
    }
}

json OrNull(const std::string& text) {
    return text.empty() ? json() : json(text);
}

json ToJson(const ORQExcDifference& difference, const std::vector<std::string>& instances) {
    json members = json::array();
    for (const ORQExcDifference::Member& member : difference.members) {
        members.push_back(
            {{"instance", member.instance < 0
                              ? json()
                              : json(instances[static_cast<std::size_t>(member.instance)])},
             {"label", member.label},
             {"amount", member.amount}});
    }
    return {{"kind", NameOf(difference.kind)},     {"name", OrNull(difference.name)},
            {"change", NameOf(difference.change)}, {"what", OrNull(difference.what)},
            {"at", OrNull(difference.at)},         {"before", OrNull(difference.before)},
            {"after", OrNull(difference.after)},   {"count", difference.count},
            {"amount", difference.amount},         {"members", members}};
}

json ToJson(const DiffOptions& options, const ORQExcDifferences& differences) {
    json list = json::array();
    for (const ORQExcDifference& difference : differences.list) {
        list.push_back(ToJson(difference, differences.instances));
    }
    return {{"schema_version", 1},
            {"command", "diff"},
            {"before", options.before},
            {"after", options.after},
            {"differences", list}};
}

ORQExcDifferences Compared(const ORQObjDocument& before, const ORQObjDocument& after,
                           const DiffOptions& options, const Console& console) {
    ProgressBar bar(console, "comparing");
    ORQExcComparison comparison;
    comparison.relative = options.tolerance.empty() ? 0 : options.tolerance[0];
    comparison.absolute = options.tolerance.size() < 2 ? 0 : options.tolerance[1];
    comparison.byNumber = options.by == "label";
    comparison.progress = [&](double done) { bar.Show(done); };
    return ORQExcCompare(before, after, comparison);
}

/// Lists the differences of two models. Findings when there are any. Throws ORQBasFailure.
ExitStatus RunDiff(const DiffOptions& options, const Console& console) {
    const ORQObjDocument before(OpenModel(options.before));
    const ORQObjDocument after(OpenModel(options.after));
    const ORQExcDifferences differences = Compared(before, after, options, console);
    if (options.json) {
        PrintJson(console.out, ToJson(options, differences));
    } else {
        const Limits limits = console.IsVerbose() ? Limits::None() : Limits{};
        PrintLines(LinesOf(differences, limits), limits, console.out);
    }
    return differences.list.empty() ? ExitStatus::Done : ExitStatus::Findings;
}

}  // namespace

SubcommandRun DeclareDiff(CLI::App& command) {
    const auto options = std::make_shared<DiffOptions>();
    command.add_option("A", options->before, "The model before")->required();
    command.add_option("B", options->after, "The model after")->required();
    command
        .add_option("--tolerance", options->tolerance,
                    "Numbers that differ by no more than REL times the larger one, or than ABS, "
                    "are equal")
        ->type_name("REL,ABS")
        ->delimiter(',')
        ->expected(1, 2)
        ->check(CLI::NonNegativeNumber);
    command
        .add_option("--by", options->by,
                    "Whether blocks, sets, sections, materials and steps are the same by their "
                    "name or by their number (label)")
        ->check(OneOf({"label", "name"}))
        ->capture_default_str();
    AddJson(command, options->json);
    return Reading(options, RunDiff, &DiffOptions::before, &DiffOptions::after);
}

}  // namespace orqmodel
