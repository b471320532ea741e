#include "formats/nastran/NastranSetCards.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>

namespace orq::exchange {
namespace {

std::optional<int> PropertyOf(const ORQExcModel::Properties& properties, std::string_view name) {
    const auto found =
        std::ranges::find(properties, name, [](const auto& property) { return property.first; });
    return found == properties.end() ? std::nullopt : std::optional(found->second);
}

std::vector<int> MembersOf(const ORQSimCSet& set) {
    std::vector<int> members(static_cast<std::size_t>(set.Size()));
    set.OrderedMembers(members.data());
    return members;
}

}  // namespace

NastranSetCards::NastranSetCards(const NastranScope& scope) : m_scope(scope) {
    for (const auto* const sets : {&scope.model.NodeSets(), &scope.model.ElementSets()}) {
        for (const ORQExcModel::Set& set : *sets) {
            const bool isHere = scope.HasNamed(set.name);
            if (isHere && !scope.kept.SaysSet(scope.OwnName(set.name), set)) {
                m_changed.insert(scope.OwnName(set.name));
            } else if (isHere && IsKept(scope.OwnName(set.name))) {
                // A kept card keeps its number, so new lists get others.
                m_numbers.Unique(set.number);
            }
        }
    }
}

bool NastranSetCards::IsConstraints(const ORQExcModel::Set& set, const std::string& ownName) {
    return PropertyOf(set.properties, "C") && ownName == fmt::format("PS {}", set.number);
}

void NastranSetCards::Write(const NastranSectionCards& sections) {
    for (const ORQExcModel::Set& set : m_scope.model.NodeSets()) {
        if (!m_scope.HasNamed(set.name)) {
            continue;
        }
        const std::string name = m_scope.OwnName(set.name);
        if (!IsKept(name) && !IsConstraints(set, name) && !WriteConstraint(set, name) &&
            !WriteRigid(set, name)) {
            WriteList(set, m_scope.nodeLabels);
        }
        m_scope.report.Keep("node set", set.name, set.members.Size());
    }
    for (const ORQExcModel::Set* set : m_scope.model.ElementSetsBesideBlocks()) {
        if (!m_scope.HasNamed(set->name)) {
            continue;
        }
        if (sections.IsOfSections(set->name)) {
            m_scope.report.Change("element set", set->name, set->members.Size(),
                                  "its elements name the property that the set was for");
            continue;
        }
        if (!IsKept(m_scope.OwnName(set->name))) {
            WriteList(*set, m_scope.elementLabels);
        }
        m_scope.report.Keep("element set", set->name, set->members.Size());
    }
}

void NastranSetCards::Append(BulkFields& fields, const ORQExcModel::Set& set,
                             const std::vector<int>& labels, std::size_t first) const {
    const std::vector<int> members = MembersOf(set.members);
    for (std::size_t i = first; i < members.size(); ++i) {
        fields.Append(labels[static_cast<std::size_t>(members[i])]);
    }
}

bool NastranSetCards::WriteConstraint(const ORQExcModel::Set& set, const std::string& ownName) {
    const auto components = PropertyOf(set.properties, "C");
    if (!components || ownName != fmt::format("SPC1 {} {}", set.number, *components)) {
        return false;
    }
    BulkFields fields;
    fields.Set(1, set.number);
    fields.Set(2, *components);
    Append(fields, set, m_scope.nodeLabels);
    m_scope.text.Card("SPC1", fields);
    return true;
}

bool NastranSetCards::WriteRigid(const ORQExcModel::Set& set, const std::string& ownName) {
    const auto is = [&](std::string_view card) {
        return ownName == fmt::format("{} {}", card, set.number) && set.members.Size() > 0;
    };
    BulkFields fields;
    fields.Set(1, set.number);
    const auto setProperty = [&](int field, std::string_view name) {
        if (const auto value = PropertyOf(set.properties, name)) {
            fields.Set(field, *value);
        }
    };
    const int reference = set.members.Size() > 0 ? MembersOf(set.members)[0] : 0;
    const int label =
        m_scope.nodeLabels.empty() ? 0 : m_scope.nodeLabels[static_cast<std::size_t>(reference)];
    if (is("RBE2")) {
        fields.Set(2, label);
        // Nodes are appended behind the last field, so the components have theirs also when blank.
        fields.Set(3, std::string());
        setProperty(3, "CM");
        Append(fields, set, m_scope.nodeLabels, 1);
        m_scope.text.Card("RBE2", fields);
    } else if (is("RBAR") && set.members.Size() == 2) {
        Append(fields, set, m_scope.nodeLabels);
        setProperty(4, "CNA");
        setProperty(5, "CNB");
        setProperty(6, "CMA");
        setProperty(7, "CMB");
        m_scope.text.Card("RBAR", fields);
    } else if (is("RBE3") && PropertyOf(set.properties, "WT")) {
        fields.Set(3, label);
        setProperty(4, "REFC");
        fields.Set(5, static_cast<double>(*PropertyOf(set.properties, "WT")));
        setProperty(6, "C");
        Append(fields, set, m_scope.nodeLabels, 1);
        m_scope.text.Card("RBE3", fields);
    } else {
        return false;
    }
    return true;
}

/// A list of labels, under its name where the deck would not give the same.
void NastranSetCards::WriteList(const ORQExcModel::Set& set, const std::vector<int>& labels) {
    const int number = m_numbers.Unique(set.number);
    if (set.name != fmt::format("SET1 {}", number)) {
        m_scope.text.Comment(set.name);
        m_scope.report.Change("set", set.name, 1, fmt::format("its name became SET1 {}", number));
    }
    BulkFields fields;
    fields.Set(1, number);
    Append(fields, set, labels);
    m_scope.text.Card("SET1", fields);
}

}  // namespace orq::exchange
