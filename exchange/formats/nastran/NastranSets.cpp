#include "formats/nastran/NastranSets.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace orq::exchange {

bool NastranSets::Add(const BulkCard& card) {
    const std::string_view name = card.Name();
    if (name == "SET1") {
        const int number = card.NeededLabel(1).value_or(0);
        AddList(card, 2, {{fmt::format("SET1 {}", number), number}, {}, true});
    } else if (name == "SPC1") {
        const int number = card.NeededLabel(1).value_or(0);
        const int components = card.Int(2).value_or(0);
        AddList(card, 3,
                {{fmt::format("SPC1 {} {}", number, components), number, {{"C", components}}},
                 {},
                 false});
    } else if (name == "RBE2" || name == "RBE3" || name == "RBAR") {
        AddRigid(card);
    } else {
        return false;
    }
    return true;
}

void NastranSets::AddList(const BulkCard& card, int firstField, Listed list) {
    const auto [at, isNew] = m_placesOfLists.try_emplace(list.described.name, m_lists.size());
    if (isNew) {
        m_lists.push_back(std::move(list));
    }
    const std::vector<Range> ranges = ReadRanges(card, firstField);
    auto& all = m_lists[at->second].ranges;
    all.insert(all.end(), ranges.begin(), ranges.end());
}

std::vector<NastranSets::Range> NastranSets::ReadRanges(const BulkCard& card, int field) const {
    std::vector<Range> ranges;
    for (; field <= card.NumFields(); ++field) {
        if (card.IsBlank(field)) {
            continue;
        }
        if (card.Is(field, "THRU") && !ranges.empty()) {
            Range& range = ranges.back();
            range.last = card.NeededLabel(++field).value_or(range.first);
            if (range.last < range.first) {
                card.Complain(
                    field, fmt::format("the range {} THRU {} is empty", range.first, range.last));
            }
        } else if (card.Is(field, "BY") && !ranges.empty()) {
            ranges.back().step = card.NeededLabel(++field).value_or(1);
        } else if (const auto label = card.Label(field)) {
            ranges.push_back({*label, *label, 1, card.Place(), field});
        }
    }
    return ranges;
}

// --- Rigid elements ------------------------------------------------------------------------------

void NastranSets::AddRigid(const BulkCard& card) {
    const auto number = card.NeededLabel(1);
    if (!number) {
        return;
    }
    const auto [at, isNew] = m_placesOfRigid.try_emplace(*number, card.Place());
    if (!isNew) {
        card.Complain(1, fmt::format("rigid element {} is given before, in {}", *number,
                                     m_problems.NameOf(at->second)));
    }
    ++m_nRigid[std::string(card.Name())];
    Listed list{{fmt::format("{} {}", card.Name(), *number), *number}, {}, false};
    const auto add = [&](int field) {
        const int node = card.NeededLabel(field).value_or(0);
        list.ranges.push_back({node, node, 1, card.Place(), field});
    };
    const auto keep = [&](int field, const char* name) {
        if (!card.IsBlank(field)) {
            list.described.properties.emplace_back(name, card.Int(field).value_or(0));
        }
    };
    if (card.Name() == "RBE2") {
        add(2);
        keep(3, "CM");
        int last = card.NumFields();
        for (; last > 4 && !card.IsInt(last); --last) {  // its expansion
            m_losses.Drop("rigid element", list.described.name, 1, "its expansion is not kept");
        }
        for (int field = 4; field <= last; ++field) {
            if (!card.IsBlank(field)) {
                add(field);
            }
        }
    } else if (card.Name() == "RBAR") {
        add(2);
        add(3);
        keep(4, "CNA");
        keep(5, "CNB");
        keep(6, "CMA");
        keep(7, "CMB");
        if (card.NumFields() > 7) {
            m_losses.Drop("rigid element", list.described.name, 1, "its expansion is not kept");
        }
    } else {
        add(3);
        keep(4, "REFC");
        ReadSpider(card, list);
    }
    m_lists.push_back(std::move(list));
}

/// Groups of a weight, components and nodes, up to a word that begins something else. The weight
/// and the components have a place where all nodes share them.
void NastranSets::ReadSpider(const BulkCard& card, Listed& list) {
    int nGroups = 0;
    double weight = 0;
    int components = 0;
    int field = 5;
    for (; field <= card.NumFields(); ++field) {
        if (card.IsBlank(field)) {
            continue;
        }
        if (card.IsInt(field)) {
            const int node = card.Label(field).value_or(0);
            list.ranges.push_back({node, node, 1, card.Place(), field});
        } else if (BulkReal(card.Text(field))) {
            ++nGroups;
            weight = card.RealOr(field, 0);
            components = card.Int(++field).value_or(0);
        } else {
            break;
        }
    }
    const bool isKept = nGroups == 1 && weight == std::round(weight) && weight > 0 && weight < 1e9;
    if (isKept) {
        list.described.properties.emplace_back("WT", static_cast<int>(weight));
        list.described.properties.emplace_back("C", components);
    }
    if (!isKept || field <= card.NumFields()) {
        m_losses.Drop("rigid element", list.described.name, 1,
                      isKept ? "what stands behind its nodes is not kept"
                             : "its weights and components are not kept");
    }
}

// --- Members -------------------------------------------------------------------------------------

bool NastranSets::Has(const LabelIndex& index, const Listed& list) {
    return std::ranges::all_of(list.ranges, [&](const Range& range) {
        return range.first != range.last || index.Find(range.first).has_value();
    });
}

std::vector<int> NastranSets::Members(const LabelIndex& index, const Listed& list) const {
    std::vector<int> members;
    for (const Range& range : list.ranges) {
        const std::vector<int> part = index.FindRange(range.first, range.last, range.step);
        if (part.empty() && range.first == range.last) {
            m_problems.Add(range.place,
                           fmt::format("{}: {}: node {} is missing", list.described.name,
                                       BulkFieldName(range.field), range.first));
        }
        members.insert(members.end(), part.begin(), part.end());
    }
    return members;
}

void NastranSets::Resolve(const NastranNodes& nodes, const NastranElements& elements) {
    for (Listed& list : m_lists) {
        const bool isOfElements =
            list.mayBeElements && !Has(nodes.Index(), list) && Has(elements.Index(), list);
        if (isOfElements) {
            std::vector<int> members = Members(elements.Index(), list);
            m_elementSets.push_back({std::move(list.described), std::move(members)});
        } else if (!list.mayBeElements || Has(nodes.Index(), list)) {
            std::vector<int> members = Members(nodes.Index(), list);
            m_nodeSets.push_back({std::move(list.described), std::move(members)});
        } else {
            m_losses.Drop("set", list.described.name, 1,
                          "its members are neither all nodes nor all elements");
        }
    }
    for (const auto& [components, members] : nodes.Constraints()) {
        m_nodeSets.push_back(
            {{fmt::format("PS {}", components), components, {{"C", components}}}, members});
    }
    for (const auto& [card, count] : m_nRigid) {
        m_losses.Change("rigid elements", card, count,
                        "each stands as a node set, its reference node first");
    }
}

}  // namespace orq::exchange
