#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcNearNames.h"
#include "ORQObjDocument.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvFunctions.h"
#include "ORQSrvGlobalLabelMap.h"
#include "commands/Arguments.h"
#include "queries/NamedObject.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {
namespace {

struct FindOptions {
    std::string database;
    std::string kind;  // One of FindKinds().
    ScopedName name;
    bool json = false;
};

enum class Members { Nodes, Elements, Faces, None };

struct SetKind {
    std::string_view name;
    std::string_view title;
    std::string_view member;
    Members members;
    std::span<const int> maps;  // Of the model, in the order of lookup.
};

constexpr std::array kNodeSets = {ORQSimSchema::Model_nodeSets,
                                  ORQSimSchema::Model_internalNodeSets};
constexpr std::array kElementSets = {ORQSimSchema::Model_elementSets,
                                     ORQSimSchema::Model_internalElementSets};
constexpr std::array kSurfaces = {ORQSimSchema::Model_surfaces};
constexpr std::array kOrientations = {ORQSimSchema::Model_orientations};

constexpr std::array<SetKind, 4> kSetKinds = {
    {{"nodeset", "node set", "node", Members::Nodes, kNodeSets},
     {"elset", "element set", "element", Members::Elements, kElementSets},
     {"surface", "surface", "face", Members::Faces, kSurfaces},
     {"orientation", "orientation", "member", Members::None, kOrientations}}};

/// A member by its label.
struct Member {
    int label;     // -1 when it has none.
    int ordinal;   // Of the node or element.
    int side = 0;  // Of a face, from 1.
};

struct Found {
    std::string key;
    std::map<std::string, std::vector<Member>> members;  // By instance, in the set's own order.

    std::size_t NumMembers() const {
        return std::accumulate(
            members.begin(), members.end(), std::size_t{0},
            [](std::size_t sum, const auto& entry) { return sum + entry.second.size(); });
    }
};

void AddMembers(const SetKind& kind, const ORQObjDocument& document, const ORQSimPosition& object,
                Found& found) {
    ORQSrvGlobalLabelMap labels(document.Focus());
    const auto addElement = [&](int ordinal, int side) {
        found.members[labels.GetElementInstanceName(ordinal).UTF8()].push_back(
            {labels.GetElementLabel(ordinal), ordinal, side});
    };
    if (kind.members == Members::Nodes) {
        for (ORQSimCSetIterator node(object.CSet()); !node.IsDone(); node.Next()) {
            const int ordinal = node.CurrentValue();
            found.members[labels.GetNodeInstanceName(ordinal).UTF8()].push_back(
                {labels.GetNodeLabel(ordinal), ordinal});
        }
    } else if (kind.members == Members::Elements) {
        for (ORQSimCSetIterator element(object.CSet()); !element.IsDone(); element.Next()) {
            addElement(element.CurrentValue(), 0);
        }
    } else if (kind.members == Members::Faces) {
        for (const ORQExcModel::Surface& surface : ORQExcModel(document).Surfaces()) {
            if (surface.name != found.key) {
                continue;
            }
            for (const ORQExcModel::Face& face : surface.faces) {
                addElement(face.element, face.side + 1);
            }
        }
    }
}

/// The keys of a kind that are spelt most like a name.
std::vector<std::string> KeysLike(const ORQSimPosition& model, const SetKind& kind,
                                  const FindOptions& options) {
    std::vector<std::string> keys;
    for (const int map : kind.maps) {
        for (auto entry = model.GetMap(map).Begin(); entry.NotDone(); ++entry) {
            keys.push_back(entry.Key().UTF8());
        }
    }
    return ORQExcSpeltAlike(options.name.instance.empty()
                                ? options.name.name
                                : options.name.instance + "_" + options.name.name,
                            options.name.name, keys);
}

/// Members from `first` on of which each label follows the one before it.
std::size_t RunLength(const std::vector<Member>& members, std::size_t first) {
    std::size_t end = first + 1;
    // Members without a label have -1, which no label follows.
    while (end < members.size() && members[first].label >= 0 &&
           members[end].label == members[end - 1].label + 1 &&
           members[end].side == members[first].side) {
        ++end;
    }
    return end - first;
}

/// "3, 7-12, 9 side 2": runs of three and more labels by their ends.
std::string TextOf(const std::vector<Member>& members) {
    std::string text;
    for (std::size_t i = 0; i < members.size();) {
        const Member& member = members[i];
        const std::size_t run = RunLength(members, i);
        const std::size_t folded = run < 3 ? 1 : run;
        text += i == 0 ? "" : ", ";
        text += member.label < 0 ? fmt::format("(ordinal {})", member.ordinal)
                                 : std::to_string(member.label);
        if (folded > 1) {
            text += fmt::format("-{}", members[i + folded - 1].label);
        }
        if (member.side != 0) {
            text += fmt::format(" side {}", member.side);
        }
        i += folded;
    }
    return text;
}

void PrintText(const SetKind& kind, const Found& found, std::ostream& out) {
    out << fmt::format("{} {}", kind.title, ORQExcPrintable(found.key));
    if (kind.members != Members::None) {
        const std::size_t count = found.NumMembers();
        out << fmt::format(": {} {}{}", count, kind.member, count == 1 ? "" : "s");
    }
    out << '\n';
    for (const auto& [instance, members] : found.members) {
        out << "  " << (instance.empty() ? "without a label" : ORQExcPrintable(instance)) << ": "
            << TextOf(members) << '\n';
    }
}

nlohmann::json ToJson(const FindOptions& options, const Found* found,
                      const std::vector<std::string>& alike) {
    nlohmann::json instances = nlohmann::json::array();
    if (found != nullptr) {
        for (const auto& [instance, members] : found->members) {
            nlohmann::json list = nlohmann::json::array();
            for (const Member& member : members) {
                nlohmann::json entry = {{"label", member.label < 0 ? nlohmann::json(nullptr)
                                                                   : nlohmann::json(member.label)},
                                        {"ordinal", member.ordinal}};
                if (member.side != 0) {
                    entry["side"] = member.side;
                }
                list.push_back(std::move(entry));
            }
            instances.push_back({{"instance", instance}, {"members", std::move(list)}});
        }
    }
    return {{"schema_version", 1},
            {"command", "find"},
            {"database", options.database},
            {"kind", options.kind},
            {"name", options.name.name},
            {"key", found == nullptr ? nlohmann::json(nullptr) : nlohmann::json(found->key)},
            {"instances", instances},
            {"alike", alike}};
}

std::vector<std::string> FindKinds() {
    std::vector<std::string> names;
    for (const SetKind& kind : kSetKinds) {
        names.emplace_back(kind.name);
    }
    return names;
}

/// Prints the object of a scoped name, the key under which it lies, and its members by instance and
/// label. ExitStatus::Findings, and names that are spelt alike, when there is none. Throws
/// ORQBasFailure: Usage for quotes that are not closed, Damaged when a set's name leads to
/// something else.
ExitStatus RunFind(const FindOptions& options, const Console& console) {
    const SetKind& kind =
        *std::find_if(kSetKinds.begin(), kSetKinds.end(),
                      [&](const SetKind& candidate) { return candidate.name == options.kind; });
    const ORQObjDocument document(OpenModel(options.database));
    const bool wantsSet = kind.members == Members::Nodes || kind.members == Members::Elements;
    const auto [object, key] = FindNamedObject(document, kind.maps, wantsSet, options.name);
    if (object.IsNull()) {
        const std::vector<std::string> alike = KeysLike(document.GetModel(), kind, options);
        if (options.json) {
            PrintJson(console.out, ToJson(options, nullptr, alike));
        }
        console.err << fmt::format("orqmodel: {}: no {} has the name {}",
                                   ORQExcPrintable(options.database), kind.title,
                                   ORQExcPrintable(options.name.name));
        console.err << ORQExcIsIt(alike) << '\n';
        return ExitStatus::Findings;
    }
    Found found{key, {}};
    WhileShown(console, "reading",
               [&, &named = object] { AddMembers(kind, document, named, found); });
    if (options.json) {
        PrintJson(console.out, ToJson(options, &found, {}));
    } else {
        PrintText(kind, found, console.out);
    }
    return ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareFind(CLI::App& command) {
    const auto options = std::make_shared<FindOptions>();
    AddDatabase(command, options->database);
    command.add_option("KIND", options->kind, "What it is")->required()->check(OneOf(FindKinds()));
    command.add_option("NAME", options->name.name, "The name; parts of it may be quoted")
        ->required();
    AddScope(command, options->name);
    AddJson(command, options->json);
    return Reading(options, RunFind, &FindOptions::database);
}

}  // namespace orqmodel
