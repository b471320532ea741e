#include "formats/nastran/NastranSets.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace orq::exchange {

BulkTaken NastranSets::Add(const BulkCard& card) {
    const std::string_view name = card.Name();
    bool isTaken = false;
    if (name == "SET1") {
        const int number = card.NeededLabel(1).value_or(0);
        isTaken = AddList(card, 2, {{fmt::format("SET1 {}", number), number}, {}, true});
    } else if (name == "SPC1") {
        const int number = card.NeededLabel(1).value_or(0);
        const int components = card.Int(2).value_or(0);
        isTaken =
            AddList(card, 3,
                    {{fmt::format("SPC1 {} {}", number, components), number, {{"C", components}}},
                     {},
                     false});
    } else if (name == "RBE2" || name == "RBE3" || name == "RBAR") {
        isTaken = AddRigid(card);
    }
    return isTaken ? BulkTaken::Partly : BulkTaken::No;
}

bool NastranSets::AddList(const BulkCard& card, int firstField, Listed list) {
    ReadRanges(card, firstField, list);
    if (card.IsBroken()) {
        return false;
    }
    m_nameOfLast = list.described.name;
    // Several cards of one number list one set.
    const auto [at, isNew] = m_placesOfLists.try_emplace(m_nameOfLast, m_lists.size());
    if (isNew) {
        m_lists.push_back(std::move(list));
        return true;
    }
    Listed& all = m_lists[at->second];
    all.ranges.insert(all.ranges.end(), list.ranges.begin(), list.ranges.end());
    all.excluded.insert(list.excluded.begin(), list.excluded.end());
    return true;
}

/// Reads labels, ranges with THRU and BY, and exceptions: labels behind EXCEPT, as long as they lie
/// in the range, and negative labels.
void NastranSets::ReadRanges(const BulkCard& card, int field, Listed& list) {
    bool isExcept = false;
    for (; field <= card.NumFields(); ++field) {
        if (card.IsBlank(field)) {
            continue;
        }
        if (card.Is(field, "THRU") && !list.ranges.empty()) {
            Range& range = list.ranges.back();
            range.last = card.NeededLabel(++field).value_or(range.first);
            if (range.last < range.first) {
                card.Remark(field,
                            fmt::format("the range {} THRU {} is empty", range.first, range.last));
            }
        } else if (card.Is(field, "BY") && !list.ranges.empty()) {
            list.ranges.back().step = card.NeededLabel(++field).value_or(1);
        } else if (card.Is(field, "EXCEPT") && !list.ranges.empty()) {
            isExcept = true;
        } else if (const auto label = card.Int(field)) {
            isExcept = isExcept && *label <= list.ranges.back().last;
            if (isExcept || *label < 0) {
                list.excluded.insert(std::abs(*label));
            } else if (*label == 0) {
                card.Label(field);
            } else {
                list.ranges.push_back({*label, *label, 1, card.Place(), field});
            }
        }
    }
}

// --- Rigid elements ------------------------------------------------------------------------------

bool NastranSets::AddRigid(const BulkCard& card) {
    const auto number = card.NeededLabel(1);
    if (!number) {
        return false;
    }
    Listed list = card.Name() == "RBE2"   ? ReadStar(card, *number)
                  : card.Name() == "RBAR" ? ReadBar(card, *number)
                                          : ReadSpider(card, *number);
    if (card.IsBroken()) {
        return false;
    }
    const auto [at, isNew] = m_placesOfRigid.try_emplace(*number, card.Place());
    if (!isNew) {
        card.Complain(1, fmt::format("rigid element {} is given before, in {}", *number,
                                     m_problems.NameOf(at->second)));
        return false;
    }
    ++m_nRigid[std::string(card.Name())];
    m_nameOfLast = list.described.name;
    m_lists.push_back(std::move(list));
    return true;
}

void NastranSets::AddNode(const BulkCard& card, int field, Listed& list) {
    const int node = card.NeededLabel(field).value_or(0);
    list.ranges.push_back({node, node, 1, card.Place(), field});
}

void NastranSets::AddProperty(const BulkCard& card, int field, const char* name, Listed& list) {
    if (!card.IsBlank(field)) {
        list.described.properties.emplace_back(name, card.Int(field).value_or(0));
    }
}

NastranSets::Listed NastranSets::NewRigid(const BulkCard& card, int number) {
    return {{fmt::format("{} {}", card.Name(), number), number}, {}, false};
}

NastranSets::Listed NastranSets::ReadStar(const BulkCard& card, int number) {
    Listed list = NewRigid(card, number);
    AddNode(card, 2, list);
    AddProperty(card, 3, "CM", list);
    int last = card.NumFields();
    while (last > 4 && !card.IsInt(last)) {  // the coefficient of expansion
        --last;
    }
    for (int field = 4; field <= last; ++field) {
        if (card.Is(field, "THRU") && field < last) {
            list.ranges.back().last = card.NeededLabel(++field).value_or(0);
        } else if (!card.IsBlank(field)) {
            AddNode(card, field, list);
        }
    }
    return list;
}

NastranSets::Listed NastranSets::ReadBar(const BulkCard& card, int number) {
    Listed list = NewRigid(card, number);
    AddNode(card, 2, list);
    AddNode(card, 3, list);
    AddProperty(card, 4, "CNA", list);
    AddProperty(card, 5, "CNB", list);
    AddProperty(card, 6, "CMA", list);
    AddProperty(card, 7, "CMB", list);
    return list;
}

/// Reads groups of a weight, components and nodes, up to a word that begins another list. Weight
/// and components become properties, which are integers, where all nodes share them.
NastranSets::Listed NastranSets::ReadSpider(const BulkCard& card, int number) {
    Listed list = NewRigid(card, number);
    AddNode(card, 3, list);
    AddProperty(card, 4, "REFC", list);
    int nGroups = 0;
    double weight = 0;
    int components = 0;
    for (int field = 5; field <= card.NumFields(); ++field) {
        if (card.IsBlank(field)) {
            continue;
        }
        if (card.IsInt(field)) {
            AddNode(card, field, list);
        } else if (card.Is(field, "THRU") && field < card.NumFields()) {
            list.ranges.back().last = card.NeededLabel(++field).value_or(0);
        } else if (BulkReal(card.Text(field))) {
            ++nGroups;
            weight = card.RealOr(field, 0);
            components = card.Int(++field).value_or(0);
        } else {
            break;
        }
    }
    if (nGroups == 1 && weight == std::round(weight) && weight > 0 && weight < 1e9) {
        list.described.properties.emplace_back("WT", static_cast<int>(weight));
        list.described.properties.emplace_back("C", components);
    }
    return list;
}

// --- Members -------------------------------------------------------------------------------------

bool NastranSets::Has(const LabelIndex& index, const Listed& list) {
    return std::ranges::all_of(list.ranges, [&](const Range& range) {
        // A range may have gaps; a label that stands alone has to exist.
        return range.first != range.last || index.Find(range.first).has_value();
    });
}

std::vector<int> NastranSets::Members(const LabelIndex& index, const Listed& list,
                                      const std::function<bool(int)>& isScalar) const {
    std::vector<int> members;
    for (const Range& range : list.ranges) {
        const std::vector<int> part = index.FindRange(range.first, range.last, range.step);
        if (part.empty() && range.first == range.last && !isScalar(range.first)) {
            m_problems.Find(range.place, "set", list.described.name,
                            fmt::format("{}: {}: node {} is missing", list.described.name,
                                        BulkFieldName(range.field), range.first));
        }
        members.insert(members.end(), part.begin(), part.end());
    }
    for (const int label : list.excluded) {
        if (const auto ordinal = index.Find(label)) {
            std::erase(members, *ordinal);
        }
    }
    return members;
}

void NastranSets::Resolve(const LabelIndex& nodes, const LabelIndex& elements,
                          const std::function<bool(int)>& isScalar) {
    for (Listed& list : m_lists) {
        if (list.mayBeElements && !Has(nodes, list) && Has(elements, list)) {
            std::vector<int> members = Members(elements, list, isScalar);
            m_elementSets.push_back({std::move(list.described), std::move(members)});
        } else if (!list.mayBeElements || Has(nodes, list)) {
            std::vector<int> members = Members(nodes, list, isScalar);
            m_nodeSets.push_back({std::move(list.described), std::move(members)});
        } else {
            m_losses.Note("set", list.described.name, 1,
                          "its members are neither all nodes nor all elements; it is kept as a "
                          "card");
        }
    }
    for (const auto& [card, count] : m_nRigid) {
        m_losses.Note("rigid elements", card, count,
                      "each stands as a node set too, its reference node first");
    }
}

}  // namespace orq::exchange
