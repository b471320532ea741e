#include "formats/nastran/NastranElements.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace orq::exchange {
namespace {

constexpr double kBlank = std::numeric_limits<double>::quiet_NaN();

/// The fields of a card that have a place, as bits.
std::uint64_t KnownFields(const NastranElementCard& card) {
    std::uint64_t known = std::uint64_t{1} << 1;
    if (card.family != nullptr) {
        known |= std::uint64_t{1} << kNastranPropertyField;
    }
    for (const int field : card.nodeFields) {
        known |= std::uint64_t{1} << field;
    }
    for (const NastranElementField& field : card.fields) {
        known |= std::uint64_t{1} << field.field;
    }
    return known;
}

}  // namespace

const std::vector<double>* NastranElements::Block::Column(std::string_view name) const {
    for (std::size_t i = 0; i < card->fields.size(); ++i) {
        const NastranElementField& field = card->fields[i];
        for (const auto& [candidate, at] :
             {std::pair(field.real, 2 * i), std::pair(field.integer, 2 * i + 1)}) {
            if (candidate != nullptr && candidate == name && !columns[at].empty()) {
                return &columns[at];
            }
        }
    }
    return nullptr;
}

bool NastranElements::Add(const BulkCard& card) {
    const NastranElementCard* const kind = FindNastranElementCard(card.Name());
    if (kind == nullptr) {
        return false;
    }
    const auto label = card.NeededLabel(1);
    const int property =
        kind->family == nullptr ? 0 : card.Label(kNastranPropertyField).value_or(label.value_or(0));
    const ORQExcShape* const shape = ReadNodes(card, *kind);
    if (!label || shape == nullptr) {
        return true;
    }
    Block& block = BlockFor({kind, shape, property});
    block.labels.push_back(*label);
    block.places.push_back(card.Place());
    block.nodes.insert(block.nodes.end(), m_nodes.begin(), m_nodes.begin() + shape->nNodes);
    ReadFields(card, block);
    return true;
}

/// Answers the shape by the nodes that are given; null when some are needed and missing.
const ORQExcShape* NastranElements::ReadNodes(const BulkCard& card,
                                              const NastranElementCard& kind) {
    m_nodes.clear();
    const auto nNeeded = static_cast<std::size_t>(kind.shapes.front()->nNodes);
    std::size_t nGiven = 0;
    for (const int field : kind.nodeFields) {
        // 0 is the ground that a spring or a mass may stand on.
        const bool isGiven = !card.IsBlank(field) && card.Text(field) != "0";
        const int node = isGiven ? card.Label(field).value_or(0) : 0;
        nGiven += isGiven ? 1 : 0;
        m_nodes.push_back(node);
    }
    if (nNeeded == 1) {  // the ground comes last
        std::stable_partition(m_nodes.begin(), m_nodes.end(), [](int node) { return node != 0; });
    }
    for (std::size_t i = 0; i < nNeeded; ++i) {
        if (m_nodes[i] == 0) {
            if (card.IsBlank(kind.nodeFields[i])) {
                card.Complain(kind.nodeFields[i], "is blank; a node is needed");
            }
            return nullptr;
        }
    }
    if (nGiven == kind.nodeFields.size()) {
        return kind.shapes.back();
    }
    if (nGiven > nNeeded) {
        ++m_nIncomplete[kind.name];
    }
    return kind.shapes.front();
}

NastranElements::Block& NastranElements::BlockFor(const BlockKey& key) {
    const auto [at, isNew] = m_placeOfBlock.try_emplace(key, m_blocks.size());
    if (isNew) {
        const auto& [card, shape, property] = key;
        m_blocks.push_back({card, shape, property, {}, {}, {}, {}, KnownFields(*card)});
        m_blocks.back().columns.resize(2 * card->fields.size());
    }
    return m_blocks[at->second];
}

void NastranElements::ReadFields(const BulkCard& card, Block& block) {
    const auto nBefore = block.labels.size() - 1;
    for (std::size_t i = 0; i < block.card->fields.size(); ++i) {
        const auto& [field, real, integer] = block.card->fields[i];
        if (card.IsBlank(field)) {
            continue;
        }
        const bool isInteger = real == nullptr || (integer != nullptr && card.IsInt(field));
        const auto value = isInteger ? std::optional<double>(card.Int(field)) : card.Real(field);
        std::vector<double>& column = block.columns[2 * i + (isInteger ? 1 : 0)];
        column.resize(nBefore, kBlank);
        column.push_back(value.value_or(kBlank));
    }
    for (int field = 1; field <= card.NumFields(); ++field) {
        if ((field > 63 || (block.knownFields >> field & 1) == 0) && !card.IsBlank(field)) {
            ++m_nUnknown[block.card->name];
        }
    }
}

void NastranElements::Resolve(const NastranNodes& nodes, const NastranProperties& properties) {
    for (Block& block : m_blocks) {
        for (std::vector<double>& column : block.columns) {
            column.resize(column.empty() ? 0 : block.labels.size(), kBlank);
        }
        ResolveNodes(nodes, block);
        ResolveProperty(properties, block);
    }
    SortLabels();
    for (const auto& [card, count] : m_nIncomplete) {
        m_losses.Change("elements", card, count,
                        "they lack some middle nodes and are taken by their corners");
    }
    for (const auto& [card, count] : m_nUnknown) {
        m_losses.Drop("element fields", card, count, "blocks have no place for them");
    }
}

void NastranElements::Complain(const Block& block, std::size_t row, int field,
                               std::string_view message) const {
    m_problems.Add(block.places[row],
                   fmt::format("{} {}: {}: {}", block.card->name, block.labels[row],
                               BulkFieldName(field), message));
}

void NastranElements::ResolveNodes(const NastranNodes& nodes, Block& block) const {
    const auto nNodes = static_cast<std::size_t>(block.shape->nNodes);
    for (std::size_t i = 0; i < block.nodes.size(); ++i) {
        const auto ordinal = nodes.Index().Find(block.nodes[i]);
        if (!ordinal) {
            Complain(block, i / nNodes, block.card->nodeFields[i % nNodes],
                     fmt::format("node {} is missing", block.nodes[i]));
        }
        block.nodes[i] = ordinal.value_or(0);
    }
}

void NastranElements::ResolveProperty(const NastranProperties& properties, Block& block) const {
    if (block.card->family == nullptr) {
        return;
    }
    block.property = properties.Find(block.card->family, block.propertyNumber);
    for (std::size_t row = 0; block.property == nullptr && row < block.labels.size(); ++row) {
        Complain(block, row, kNastranPropertyField,
                 fmt::format("property {} is missing", block.propertyNumber));
    }
}

void NastranElements::SortLabels() {
    struct Labelled {
        int label;
        BulkPlace place;
        int ordinal;
    };
    std::vector<Labelled> all;
    int ordinal = 0;
    for (const Block& block : m_blocks) {
        for (std::size_t row = 0; row < block.labels.size(); ++row) {
            all.push_back({block.labels[row], block.places[row], ordinal++});
        }
    }
    std::vector<std::pair<int, int>> sorted;
    std::ranges::sort(all, {}, [](const Labelled& one) {
        return std::tuple(one.label, one.place.file, one.place.line);
    });
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (i > 0 && all[i].label == all[i - 1].label) {
            m_problems.Add(
                all[i].place,
                fmt::format("element {}: {}: the label is given before, in {}", all[i].label,
                            BulkFieldName(1), m_problems.NameOf(all[i - 1].place)));
        }
        sorted.emplace_back(all[i].label, all[i].ordinal);
    }
    m_index = LabelIndex(std::move(sorted));
}

void NastranElements::Settle() {
    for (Block& block : m_blocks) {
        block.places = {};
        block.property = nullptr;
    }
}

std::string NastranElements::NameOf(const Block& block) const {
    std::string name =
        block.property == nullptr ? std::string(block.card->name) : block.property->Name();
    // Blocks of one property are told apart by their cards, those of one card by their shapes.
    const auto sharesProperty = [&](const Block& other) {
        return block.property != nullptr && other.property == block.property &&
               other.card != block.card;
    };
    const auto sharesCard = [&](const Block& other) {
        return other.property == block.property && other.card == block.card;
    };
    if (std::ranges::any_of(m_blocks, sharesProperty)) {
        name.append(" ").append(block.card->name);
    }
    if (std::ranges::count_if(m_blocks, sharesCard) > 1) {
        name.append(" ").append(block.shape->name);
    }
    return name;
}

ORQExcMeshSource::Block NastranElements::Described(const Block& block) const {
    ORQExcMeshSource::Block described{NameOf(block),    block.propertyNumber, block.shape,
                                      block.card->name, block.NumElements(),  {}};
    if (block.property != nullptr) {
        described.definition = block.property->definition;
        if (block.property->material != 0) {
            described.properties.emplace_back("MID", block.property->material);
        }
    }
    for (const NastranElementField& field : block.card->fields) {
        for (const char* attribute : {field.real, field.integer}) {
            if (attribute != nullptr && block.Column(attribute) != nullptr) {
                described.attributes.emplace_back(attribute);
            }
        }
    }
    return described;
}

}  // namespace orq::exchange
