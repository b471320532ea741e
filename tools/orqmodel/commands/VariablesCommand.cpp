#include <fmt/format.h>
#include <fmt/ranges.h>
#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcNearNames.h"
#include "ORQSimSchema.h"
#include "ORQSrvVariableMap.h"
#include "ads_ComponentSymbolsEnm.h"
#include "commands/Arguments.h"

namespace orqmodel {
namespace {

struct VariablesOptions {
    std::string label;  // or a pattern with *, ? and [...]; empty for all variables
    bool json = false;
};

using nlohmann::json;

constexpr std::pair<std::string_view, std::string_view> kDescriptions[] = {
#define ORQ_DESCRIPTION(identifier, text) {identifier, text},
#include "VariableDescriptions.inc"
#undef ORQ_DESCRIPTION
};

std::string_view DescriptionOf(std::string_view identifier) {
    const auto found = std::ranges::lower_bound(
        kDescriptions, identifier, {}, &std::pair<std::string_view, std::string_view>::first);
    return found->second;
}

/// The place of a component in its vector or tensor, empty for whole variables.
std::string_view ComponentName(int component) {
    static constexpr std::array<std::string_view, ads_ComponentNone + 1> kNames = [] {
        std::array<std::string_view, ads_ComponentNone + 1> names{};
        names[ads_Component1] = "1";
        names[ads_Component2] = "2";
        names[ads_Component3] = "3";
        names[ads_Component11] = "11";
        names[ads_Component12] = "12";
        names[ads_Component12Transposed] = "21 as 12";
        names[ads_Component13] = "13";
        names[ads_Component13Transposed] = "31 as 13";
        names[ads_Component21] = "21";
        names[ads_Component22] = "22";
        names[ads_Component23] = "23";
        names[ads_Component23Transposed] = "32 as 23";
        names[ads_Component31] = "31";
        names[ads_Component32] = "32";
        names[ads_Component33] = "33";
        names[ads_ComponentPrincipal1] = names[ads_ComponentTensorPrincipal1] = "principal 1";
        names[ads_ComponentPrincipal2] = names[ads_ComponentTensorPrincipal2] = "principal 2";
        names[ads_ComponentPrincipal3] = names[ads_ComponentTensorPrincipal3] = "principal 3";
        names[ads_ComponentOrientation0] = "quaternion 0";
        names[ads_ComponentOrientation1] = "quaternion 1";
        names[ads_ComponentOrientation2] = "quaternion 2";
        names[ads_ComponentOrientation3] = "quaternion 3";
        names[ads_ComponentRotation1] = "about 1";
        names[ads_ComponentRotation2] = "about 2";
        names[ads_ComponentRotation3] = "about 3";
        return names;
    }();
    return kNames.at(static_cast<std::size_t>(component));
}

/// A label with all that its records say.
struct Label {
    std::string text;
    std::string identifier;
    std::vector<int> components;  // one, or the two symbols of one component
    std::vector<int> types;       // of fields, as indices of the schema
};

void AddOnce(std::vector<int>& values, int value) {
    if (std::ranges::find(values, value) == values.end()) {
        values.push_back(value);
    }
}

/// All labels in the order of the table.
std::vector<Label> AllLabels() {
    std::vector<Label> labels;
    for (int i = 0; ORQSrvVariableMap::GetEntry(i).label != nullptr; ++i) {
        const ORQSrvVariableStruct& record = ORQSrvVariableMap::GetEntry(i);
        // The records of a label stand together.
        if (labels.empty() || labels.back().text != record.label) {
            labels.push_back({record.label, record.identifier, {}, {}});
        }
        AddOnce(labels.back().components, record.component);
        AddOnce(labels.back().types, record.fragmentType);
    }
    return labels;
}

std::string ComponentsText(const Label& label) {
    std::string text;
    for (const int component : label.components) {
        if (component != ads_ComponentNone) {
            text += fmt::format("{}{} (symbol {})", text.empty() ? "" : ", ",
                                ComponentName(component), component);
        }
    }
    return text.empty() ? "the whole variable, or a value of all its components" : text;
}

std::string_view TypeText(int type) {
    const ORQSimSchema::Entry* entry = ORQSimSchema::Find(type);
    return entry == nullptr ? "not named by the schema" : entry->text;
}

std::vector<std::string> SiblingsOf(const Label& label, const std::vector<Label>& all) {
    std::vector<std::string> siblings;
    for (const Label& other : all) {
        if (other.identifier == label.identifier && other.text != label.text) {
            siblings.push_back(other.text);
        }
    }
    return siblings;
}

void PrintLabel(const Label& label, const std::vector<Label>& all, std::ostream& out) {
    out << fmt::format("{}: {}\n", label.text, DescriptionOf(label.identifier));
    out << fmt::format("  variable    {}\n", label.identifier);
    out << fmt::format("  component   {}\n", ComponentsText(label));
    std::string_view heading = "fields";
    for (const int type : label.types) {
        const ORQSimSchema::Pair pair = ORQSimSchema::PairOf(type);
        out << fmt::format("  {:<12}{:<10}{}\n", std::exchange(heading, ""),
                           fmt::format("({}, {})", pair.a, pair.b), TypeText(type));
    }
    if (const auto siblings = SiblingsOf(label, all); !siblings.empty()) {
        out << fmt::format("  siblings    {}\n", fmt::join(siblings, ", "));
    }
}

void PrintList(const std::vector<Label>& labels, std::ostream& out) {
    std::size_t width = 0;
    for (const Label& label : labels) {
        width = std::max(width, label.text.size());
    }
    for (const Label& label : labels) {
        const std::string_view component = ComponentName(label.components.front());
        out << fmt::format("{:{}}  {}{}{}\n", label.text, width, DescriptionOf(label.identifier),
                           component.empty() ? "" : ", ", component);
    }
}

json ToJson(const Label& label, const std::vector<Label>& all) {
    json components = json::array();
    for (const int component : label.components) {
        if (component != ads_ComponentNone) {
            components.push_back({{"symbol", component}, {"name", ComponentName(component)}});
        }
    }
    json fields = json::array();
    for (const int type : label.types) {
        const ORQSimSchema::Pair pair = ORQSimSchema::PairOf(type);
        fields.push_back({{"pair", {pair.a, pair.b}},
                          {"name", ORQSimSchema::NameOf(type)},
                          {"text", TypeText(type)}});
    }
    return {{"label", label.text},
            {"identifier", label.identifier},
            {"description", DescriptionOf(label.identifier)},
            {"components", components},
            {"fields", fields},
            {"siblings", SiblingsOf(label, all)}};
}

bool IsPattern(const std::string& text) {
    return text.find_first_of("*?[") != std::string::npos;
}

std::vector<Label> Matching(const std::string& wanted, const std::vector<Label>& all) {
    std::vector<Label> matching;
    std::ranges::copy_if(all, std::back_inserter(matching), [&](const Label& label) {
        return wanted.empty() ||
               (IsPattern(wanted) ? fnmatch(wanted.c_str(), label.text.c_str(), 0) == 0
                                  : label.text == wanted);
    });
    return matching;
}

/// Labels that are spelt like one that does not exist.
std::vector<std::string> LabelsLike(const std::string& wanted, const std::vector<Label>& all) {
    std::vector<std::string> names;
    std::ranges::transform(all, std::back_inserter(names), &Label::text);
    return IsPattern(wanted) ? std::vector<std::string>() : ORQExcSpeltAlike(wanted, wanted, names);
}

/// Says what an output variable's label means, or lists the variables and labels of a pattern.
/// Needs no database. Nothing of that name is a finding.
ExitStatus RunVariables(const VariablesOptions& options, const Console& console) {
    const std::vector<Label> all = AllLabels();
    const std::vector<Label> matching = Matching(options.label, all);
    const std::vector<std::string> alike =
        matching.empty() ? LabelsLike(options.label, all) : std::vector<std::string>();
    if (options.json) {
        json labels = json::array();
        for (const Label& label : matching) {
            labels.push_back(ToJson(label, all));
        }
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", "variables"},
                                {"label", options.label},
                                {"labels", labels},
                                {"alike", alike}});
    } else if (matching.empty()) {
        console.err << "orqmodel: no output variable has the label "
                    << ORQExcPrintable(options.label) << ORQExcIsIt(alike) << '\n';
    } else if (options.label.empty() || IsPattern(options.label)) {
        PrintList(matching, console.out);
    } else {
        PrintLabel(matching.front(), all, console.out);
    }
    return matching.empty() ? ExitStatus::Findings : ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareVariables(CLI::App& command) {
    const auto options = std::make_shared<VariablesOptions>();
    command.add_option("LABEL", options->label,
                       "The label, or a pattern with *, ? and [...]; all labels without one");
    AddJson(command, options->json);
    return Running(options, RunVariables);
}

}  // namespace orqmodel
