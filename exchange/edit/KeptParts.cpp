#include "edit/KeptParts.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <span>
#include <utility>

#include "ORQExcKeptTexts.h"
#include "ORQExcMeshSource.h"
#include "ORQSimDistribution.h"
#include "ORQSimReferences.h"
#include "ORQSimSchema.h"
#include "formats/nastran/NastranKeptLabels.h"
#include "model/KeptArrays.h"

namespace orq::exchange {
namespace {

/// The labels that lie in a range.
std::span<const int> Within(const std::vector<int>& labels, const LabelRange& range) {
    const auto begin = std::ranges::lower_bound(labels, range.first);
    return {begin, std::upper_bound(begin, labels.end(), range.second)};
}

bool MayName(const ORQExcKeptText& text, const InstanceLabels& labels) {
    return text.instance.empty() || text.instance == labels.instance;
}

/// The instances of a deck by whose names those of objects end; none for a model of one.
std::set<std::string> PartsOf(const std::vector<ORQExcKeptText>& texts) {
    std::set<std::string> parts;
    for (const ORQExcKeptText& text : texts) {
        parts.insert(text.instance);
    }
    parts.erase("");
    parts.erase(ORQExcMeshSource::kMainInstance);
    return parts;
}

/// The longest that a name ends with; empty for none.
std::string PartAmong(const std::set<std::string>& parts, const std::string& name) {
    std::string part;
    for (const std::string& one : parts) {
        if (name.ends_with(" " + one) && one.size() > part.size()) {
            part = one;
        }
    }
    return part;
}

/// The names of some objects as the cards of a text have them, of those that belong to its instance.
std::set<std::string> OwnNames(const std::vector<std::string>& names, const ORQExcKeptText& text,
                               const std::set<std::string>& parts) {
    std::set<std::string> own;
    for (const std::string& name : names) {
        const std::string part = PartAmong(parts, name);
        if (part == (parts.contains(text.instance) ? text.instance : "")) {
            own.insert(part.empty() ? name : name.substr(0, name.size() - part.size() - 1));
        }
    }
    return own;
}

void DropArraysThat(const std::function<bool(const KeptArray&)>& isDropped, const char* reason,
                    const ORQObjDocument& document, ORQExcReport& report) {
    const ORQSimReferences references(document.ContextID());
    for (const KeptArray& kept : KeptArrays(document)) {
        if (!isDropped(kept)) {
            continue;
        }
        const ORQSimPosition values = kept.position.GetPosition(ORQSimSchema::KeptArray_values);
        const ORQSimGrid grid = ORQSimDistribution(values.GetDistribution()).Grid();
        references.Delete(values.ID());
        for (const ORQSimCollectionID& collection : grid.Collections()) {
            references.Delete(collection);
        }
        references.Delete(kept.position.ID());
        report.Drop(kept.array.kind.empty() ? "kept array" : kept.array.kind, kept.array.name,
                    kept.array.count, reason);
    }
}

}  // namespace

void ReportCardsNaming(const std::vector<InstanceLabels>& changed, const ORQObjDocument& document,
                       ORQExcReport& report) {
    std::map<std::string, std::int64_t, std::less<>> counts;
    ForEachLabelledCard(ORQExcReadKeptTexts(document), [&](const ORQExcKeptText& text,
                                                           std::string_view card,
                                                           std::span<const LabelRange> named) {
        const bool names = std::ranges::any_of(changed, [&](const InstanceLabels& of) {
            return MayName(text, of) && std::ranges::any_of(named, [&](const LabelRange& range) {
                       return !Within(of.labels, range).empty();
                   });
        });
        if (names) {
            ++counts.emplace(card, 0).first->second;
        }
    });
    for (const auto& [card, count] : counts) {
        report.Find("kept cards", card, count,
                    "they may name nodes or elements by labels that changed or are gone, and are "
                    "not rewritten");
    }
}

void EraseNamedByCards(std::vector<InstanceLabels>& labels, const ORQObjDocument& document) {
    std::vector<std::vector<int>> named(labels.size());
    ForEachLabelledCard(
        ORQExcReadKeptTexts(document),
        [&](const ORQExcKeptText& text, std::string_view, std::span<const LabelRange> ranges) {
            for (std::size_t i = 0; i < labels.size(); ++i) {
                for (const LabelRange& range : ranges) {
                    if (MayName(text, labels[i])) {
                        const auto within = Within(labels[i].labels, range);
                        named[i].insert(named[i].end(), within.begin(), within.end());
                    }
                }
            }
        });
    for (std::size_t i = 0; i < labels.size(); ++i) {
        std::ranges::sort(named[i]);
        std::erase_if(labels[i].labels,
                      [&](int label) { return std::ranges::binary_search(named[i], label); });
    }
}

std::string PartOf(const std::string& name, const std::vector<ORQExcKeptText>& texts) {
    return PartAmong(PartsOf(texts), name);
}

void DropCardsOf(const std::vector<std::string>& names, const ORQObjDocument& document,
                 ORQExcReport& report) {
    std::vector<ORQExcKeptText> texts = ORQExcReadKeptTexts(document);
    const std::set<std::string> parts = PartsOf(texts);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::map<std::string, int> dropped =
            DropKeptCards(texts[i], OwnNames(names, texts[i], parts));
        if (!dropped.empty()) {
            ORQExcReplaceKeptText(texts[i], static_cast<int>(i), document);
        }
        for (const auto& [object, count] : dropped) {
            report.Drop("kept cards", object, count, "the object that they say more of is gone");
        }
    }
}

bool HasCardsOf(const std::string& name, const std::vector<ORQExcKeptText>& texts) {
    const std::set<std::string> parts = PartsOf(texts);
    return std::ranges::any_of(texts, [&](const ORQExcKeptText& text) {
        const std::set<std::string> own = OwnNames({name}, text, parts);
        return !own.empty() && HasKeptCards(text, *own.begin());
    });
}

void DropArraysOverNodes(const ORQObjDocument& document, ORQExcReport& report) {
    DropArraysThat(
        [](const KeptArray& kept) {
            return kept.array.name.starts_with("ebconn") || kept.array.name.starts_with("fbconn") ||
                   std::ranges::any_of(kept.array.dimensions,
                                       [](const ORQExcMeshSource::Array::Dimension& dimension) {
                                           return dimension.name == "num_nodes";
                                       });
        },
        "it goes by the numbers of nodes, which changed", document, report);
}

void DropArraysOverElements(const ORQObjDocument& document, ORQExcReport& report) {
    DropArraysThat(
        [](const KeptArray& kept) {
            return std::ranges::any_of(kept.array.dimensions,
                                       [](const ORQExcMeshSource::Array::Dimension& dimension) {
                                           return dimension.name == "num_elem" ||
                                                  dimension.name.starts_with("num_el_in_blk") ||
                                                  dimension.name.starts_with("num_ele_els");
                                       });
        },
        "it goes by the places of elements, of which some are gone", document, report);
}

void DropArraysOfSets(const std::string& family, const ORQObjDocument& document,
                      ORQExcReport& report) {
    // "num_nod_ns3", "num_df_ss1", and the counts of sets that tables go by.
    const std::string counted = family == "ns"   ? "num_node_sets"
                                : family == "ss" ? "num_side_sets"
                                                 : "num_elem_sets";
    DropArraysThat(
        [&](const KeptArray& kept) {
            return std::ranges::any_of(
                kept.array.dimensions, [&](const ORQExcMeshSource::Array::Dimension& dimension) {
                    const std::size_t at = dimension.name.rfind('_');
                    const std::string end =
                        at == std::string::npos ? "" : dimension.name.substr(at + 1);
                    return dimension.name == counted ||
                           (end.starts_with(family) &&
                            end.find_first_not_of("0123456789", family.size()) ==
                                std::string::npos);
                });
        },
        "it goes by the places of sets, of which one is gone", document, report);
}

}  // namespace orq::exchange
