#include "formats/nastran/NastranElements.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <tuple>

#include "model/NoValue.h"

namespace orq::exchange {
namespace {

/// The fields of a card that the model has a place for, as bits.
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

BulkTaken NastranElements::Add(const BulkCard& card) {
    const NastranElementCard* const kind = FindNastranElementCard(card.Name());
    if (kind == nullptr) {
        if (card.Name() == "BAROR" || card.Name() == "BEAMOR") {
            (card.Name() == "BAROR" ? m_barProperty : m_beamProperty) =
                card.Int(kNastranPropertyField).value_or(0);
        }
        return BulkTaken::No;
    }
    if (kind->secondLabelField != 0 && !card.IsBlank(kind->secondLabelField)) {
        ++m_nTwofold[kind->name];
        return BulkTaken::No;
    }
    const auto label = card.NeededLabel(1);
    const int property = PropertyOf(card, *kind);
    const ORQExcShape* const shape = ReadNodes(card, *kind);
    if (card.IsBroken() || shape == nullptr) {
        return BulkTaken::No;
    }
    Block& block = BlockFor({kind, shape, property});
    block.labels.push_back(*label);
    block.places.push_back(card.Place());
    block.sources.push_back(card.Source());
    block.saysMore.push_back(m_isIncomplete ? 1 : 0);
    block.nodes.insert(block.nodes.end(), m_nodes.begin(), m_nodes.begin() + shape->nNodes);
    ReadFields(card, block);
    return BulkTaken::Wholly;
}

/// A blank property is that of the default card, or has the number of the element, as the format
/// defines.
int NastranElements::PropertyOf(const BulkCard& card, const NastranElementCard& kind) const {
    if (kind.family == nullptr) {
        return 0;
    }
    const int byDefault = card.Name() == "CBAR"    ? m_barProperty
                          : card.Name() == "CBEAM" ? m_beamProperty
                                                   : 0;
    const int label = card.IsInt(1) ? *card.Int(1) : 0;
    return card.Label(kNastranPropertyField).value_or(byDefault != 0 ? byDefault : label);
}

/// Returns the shape for the given nodes; null when needed ones are missing.
const ORQExcShape* NastranElements::ReadNodes(const BulkCard& card,
                                              const NastranElementCard& kind) {
    m_nodes.clear();
    const auto nNeeded = static_cast<std::size_t>(kind.shapes.front()->nNodes);
    std::size_t nGiven = 0;
    bool hasGround = false;
    for (const int field : kind.nodeFields) {
        // 0 is the ground that a spring or a mass may stand on.
        hasGround = hasGround || card.Text(field) == "0";
        const bool isGiven = !card.IsBlank(field) && card.Text(field) != "0";
        const int node = isGiven ? card.Label(field).value_or(0) : 0;
        nGiven += isGiven ? 1 : 0;
        m_nodes.push_back(node);
    }
    // The card of such an element is kept, so that an export writes its blanks and its ground
    // again.
    m_isIncomplete = hasGround || (nGiven > nNeeded && nGiven < kind.nodeFields.size());
    // The one node of an element on the ground may be its second; the ground comes last.
    if (nNeeded == 1) {
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
        m_blocks.push_back({card, shape, property, {}, {}, {}, {}, {}, {}, KnownFields(*card)});
        m_blocks.back().columns.resize(2 * card->fields.size());
    }
    return m_blocks[at->second];
}

void NastranElements::ReadFields(const BulkCard& card, Block& block) {
    const auto nBefore = block.labels.size() - 1;
    const bool namesProperty =
        block.card->family == nullptr || !card.IsBlank(kNastranPropertyField);
    block.saysMore.back() |= namesProperty ? 0 : 1;
    // Bits reach to field 63, and no card has a known field behind it.
    for (int field = 1; field <= card.NumFields(); ++field) {
        if ((field > 63 || (block.knownFields >> field & 1) == 0) && !card.IsBlank(field)) {
            block.saysMore.back() = 1;
        }
    }
    for (std::size_t i = 0; i < block.card->fields.size(); ++i) {
        const auto& [field, real, integer] = block.card->fields[i];
        if (card.IsBlank(field)) {
            continue;
        }
        // An integer may mean something else than a real number in the same field (MCID or THETA),
        // so each has its own column.
        const bool isInteger = real == nullptr || (integer != nullptr && card.IsInt(field));
        const auto value = isInteger ? std::optional<double>(card.Int(field)) : card.Real(field);
        if (!value) {
            block.saysMore.back() = 1;
            continue;
        }
        std::vector<double>& column = block.columns[2 * i + (isInteger ? 1 : 0)];
        // A column begins with the first element that has a value: fields that no element has take
        // no memory.
        column.resize(nBefore, kNoValue);
        column.push_back(*value);
    }
}

// --- What the cards name -------------------------------------------------------------------------

void NastranElements::Resolve(const NastranNodes& nodes, const NastranProperties& properties,
                              NastranKept& kept) {
    for (Block& block : m_blocks) {
        for (std::vector<double>& column : block.columns) {
            column.resize(column.empty() ? 0 : block.labels.size(), kNoValue);
        }
        ResolveNodes(nodes, block, kept);
    }
    // Behind the search for nodes: an element that is left out for them holds no label.
    LeaveOutRepeated(kept);
    std::erase_if(m_blocks, [](const Block& block) { return block.labels.empty(); });
    for (Block& block : m_blocks) {
        ResolveProperty(properties, block);
        for (std::size_t row = 0; row < block.labels.size(); ++row) {
            if (block.saysMore[row] != 0) {
                kept.Add(block.card->name, block.sources[row], BulkTaken::Partly);
            }
        }
    }
    for (const auto& [card, count] : m_nIncomplete) {
        m_losses.Change("elements", card, count,
                        "they lack some middle nodes and are taken by their corners");
    }
    for (const auto& [card, count] : m_nTwofold) {
        m_losses.Note("cards of two elements", card, count, "the elements are kept as cards");
    }
    for (const auto& [card, count] : m_nScalar) {
        m_losses.Note("elements at scalar points", card, count,
                      "such points have no place in space; the elements are kept as cards");
    }
}

void NastranElements::Complain(const Block& block, std::size_t row, int field,
                               std::string_view message) const {
    const std::string name = fmt::format("{} {}", block.card->name, block.labels[row]);
    m_problems.Find(block.places[row], "element", name,
                    fmt::format("{}: {}: {}", name, BulkFieldName(field), message));
}

void NastranElements::ResolveNodes(const NastranNodes& nodes, Block& block, NastranKept& kept) {
    const std::string_view card = block.card->name;
    // A scalar element may name a scalar point that no card declares.
    const bool mayBeScalar =
        card.starts_with("CELAS") || card.starts_with("CDAMP") || card.starts_with("CMASS");
    const auto nNodes = static_cast<std::size_t>(block.shape->nNodes);
    std::vector<char> isOut;
    for (std::size_t row = 0; row < block.labels.size(); ++row) {
        bool isWhole = true;
        std::vector<std::size_t> missing;  // places
        for (std::size_t place = 0; place < nNodes; ++place) {
            int& node = block.nodes[row * nNodes + place];
            if (const auto ordinal = nodes.Index().Find(node)) {
                node = *ordinal;
                continue;
            }
            isWhole = false;
            if (!mayBeScalar && !nodes.IsScalar(node)) {
                missing.push_back(place);
            }
        }
        if (isWhole) {
            continue;
        }
        isOut.resize(block.labels.size());
        isOut[row] = 1;
        if (missing.empty()) {
            ++m_nScalar[block.card->name];
        } else {
            ComplainOfNodes(block, row, missing);
        }
    }
    if (!isOut.empty()) {
        LeaveOut(block, isOut, kept);
    }
}

void NastranElements::ComplainOfNodes(const Block& block, std::size_t row,
                                      const std::vector<std::size_t>& missing) const {
    std::string labels;
    for (const std::size_t place : missing) {
        labels +=
            fmt::format("{}{}", labels.empty() ? "" : ", ",
                        block.nodes[row * static_cast<std::size_t>(block.shape->nNodes) + place]);
    }
    Complain(block, row, block.card->nodeFields[missing[0]],
             missing.size() == 1
                 ? fmt::format("node {} is missing; the element is left out", labels)
                 : fmt::format("nodes {} are missing; the element is left out", labels));
}

/// Leaves out these elements and keeps their cards.
void NastranElements::LeaveOut(Block& block, const std::vector<char>& isOut, NastranKept& kept) {
    const auto nNodes = static_cast<std::size_t>(block.shape->nNodes);
    std::size_t n = 0;
    for (std::size_t row = 0; row < isOut.size(); ++row) {
        if (isOut[row] != 0) {
            kept.Add(block.card->name, block.sources[row], BulkTaken::No);
            continue;
        }
        block.labels[n] = block.labels[row];
        block.places[n] = block.places[row];
        block.sources[n] = block.sources[row];
        block.saysMore[n] = block.saysMore[row];
        std::copy_n(&block.nodes[row * nNodes], nNodes, &block.nodes[n * nNodes]);
        for (std::vector<double>& column : block.columns) {
            if (!column.empty()) {
                column[n] = column[row];
            }
        }
        ++n;
    }
    block.labels.resize(n);
    block.places.resize(n);
    block.sources.resize(n);
    block.saysMore.resize(n);
    block.nodes.resize(n * nNodes);
    for (std::vector<double>& column : block.columns) {
        column.resize(column.empty() ? 0 : n);
        if (std::ranges::all_of(column, [](double value) { return std::isnan(value); })) {
            column.clear();
        }
    }
}

void NastranElements::ResolveProperty(const NastranProperties& properties, Block& block) const {
    if (block.card->family == nullptr) {
        return;
    }
    block.property = properties.Find(block.card->family, block.propertyNumber);
    if (block.property == nullptr && !properties.IsKnown(block.propertyNumber)) {
        const std::string name = fmt::format("{} {}", block.card->name, block.labels[0]);
        m_problems.Find(block.places[0], "property", fmt::format("{}", block.propertyNumber),
                        fmt::format("{}: {}: property {} is missing; elements that name it: {}",
                                    name, BulkFieldName(kNastranPropertyField),
                                    block.propertyNumber, block.labels.size()));
    }
}

/// Keeps the first by file and line of elements with the same label.
void NastranElements::LeaveOutRepeated(NastranKept& kept) {
    struct Labelled {
        int label;
        BulkPlace place;
        int block;
        int row;
    };
    std::vector<Labelled> all;
    for (std::size_t i = 0; i < m_blocks.size(); ++i) {
        for (std::size_t row = 0; row < m_blocks[i].labels.size(); ++row) {
            all.push_back({m_blocks[i].labels[row], m_blocks[i].places[row], static_cast<int>(i),
                           static_cast<int>(row)});
        }
    }
    std::ranges::sort(all, {}, [](const Labelled& one) {
        // Repeated cards share a line; their rows give their order.
        return std::tuple(one.label, one.place.file, one.place.line, one.row);
    });
    std::map<int, std::vector<char>> isOut;  // by block
    for (std::size_t i = 1, first = 0; i < all.size(); ++i) {
        if (all[i].label != all[first].label) {
            first = i;
            continue;
        }
        const Block& block = m_blocks[static_cast<std::size_t>(all[i].block)];
        const auto row = static_cast<std::size_t>(all[i].row);
        isOut[all[i].block].resize(block.labels.size());
        isOut[all[i].block][row] = 1;
        Complain(block, row, 1,
                 fmt::format("the label is given before, in {}; the element is left out",
                             m_problems.NameOf(all[first].place)));
    }
    for (const auto& [block, rows] : isOut) {
        LeaveOut(m_blocks[static_cast<std::size_t>(block)], rows, kept);
    }
    std::vector<std::pair<int, int>> sorted;
    int ordinal = 0;
    for (const Block& block : m_blocks) {
        for (const int label : block.labels) {
            sorted.emplace_back(label, ordinal++);
        }
    }
    std::ranges::sort(sorted);
    m_index = LabelIndex(std::move(sorted));
}

void NastranElements::Settle() {
    for (Block& block : m_blocks) {
        block.places = {};
        block.sources = {};
        block.saysMore = {};
        block.property = nullptr;
    }
}

std::string NastranElements::NameOf(const Block& block) const {
    std::string name =
        block.property == nullptr ? std::string(block.card->name) : block.property->Name();
    // Card and shape join the name only where blocks would share it.
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
