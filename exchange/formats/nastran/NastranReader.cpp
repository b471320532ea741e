#include "formats/nastran/NastranReader.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "ORQExcImportError.h"

namespace orq::exchange {
namespace {

/// A MASSID part adds masses to nodes of another part, so it is no model of its own.
bool IsMassIncrement(const NastranDeck::Part& part) {
    return part.name.find("MASSID") != std::string::npos;
}

/// Shifts an index into a list that is appended behind others.
void Shift(int& place, int by) {
    place = place == ORQExcLayup::kNone ? place : place + by;
}

template <class Object>
int AppendNamed(std::vector<Object>& all, std::vector<Object>& some, const std::string& suffix) {
    const int first = static_cast<int>(all.size());
    for (Object& object : some) {
        object.name += suffix;
        all.push_back(std::move(object));
    }
    return first;
}

}  // namespace

NastranReader::NastranReader(const std::filesystem::path& file) {
    Read(file);
}

void NastranReader::Read(const std::filesystem::path& file) {
    NastranDeck deck(file, m_problems);
    BulkCard card;
    while (deck.Next(card)) {
        // The deck is read one line ahead, so a part may appear before its first card, and several
        // at once.
        while (m_parts.size() < deck.Parts().size()) {
            m_parts.push_back(std::make_unique<NastranPart>(m_problems, m_losses));
        }
        NastranPart& part = *m_parts[deck.PartOfCard()];
        if (IsMassIncrement(deck.Parts()[deck.PartOfCard()])) {
            part.kept.Add(card, BulkTaken::No);
        } else {
            part.Add(card);
        }
    }
    if (deck.NumLinesBehindEnd() > 0) {
        m_losses.Drop("lines behind ENDDATA", "", deck.NumLinesBehindEnd(),
                      "they are no part of the deck");
    }
    for (const auto& part : m_parts) {
        part->Resolve();
        m_contents.nNodes += static_cast<int>(part->nodes.Labels().size());
    }
    m_problems.Check();
    // Control sections, or an INCLUDE whose file is missing, show that the file is a deck although
    // it has no nodes.
    const bool isDeck = deck.HasControl() || deck.LacksIncludes();
    if (m_contents.nNodes == 0 && (!isDeck || m_parts.empty())) {
        throw ORQExcImportError(file, "bulk data", "the deck has no GRID card");
    }
    PutControl(deck.ExecutiveControl(), kNastranExecutive, {}, m_contents.keptTexts);
    PutControl(deck.CaseControl(), kNastranCase, {}, m_contents.keptTexts);
    // Deliver counts the nodes again: the count so far is the first node of the part.
    m_contents.nNodes = 0;
    for (std::size_t i = 0; i < m_parts.size(); ++i) {
        Deliver(*m_parts[i], deck.Parts()[i].name, deck.Parts()[i].begin);
    }
}

/// Appends what one part of the deck holds to the parts before it.
void NastranReader::Deliver(NastranPart& part, const std::string& name, const std::string& begin) {
    const std::string instance = name.empty() ? std::string(kMainInstance) : name;
    const std::string suffix = name.empty() ? "" : " " + name;
    const int firstNode = m_contents.nNodes;
    const int firstElement = m_nElements;
    NastranSections sections(part.materials, part.properties, part.elements, part.coordinates,
                             m_losses);
    for (const NastranElements::Block& block : part.elements.Blocks()) {
        m_contents.blocks.push_back(part.elements.Described(block));
        m_contents.blocks.back().name += suffix;
        m_sources.push_back(&block);
        m_firstNodes.push_back(firstNode);
        m_nElements += block.NumElements();
    }
    m_contents.nNodes += static_cast<int>(part.nodes.Labels().size());
    m_contents.instances.push_back(
        {instance, m_contents.nNodes - firstNode, m_nElements - firstElement});
    DeliverSets(part, sections.TakeSets(), firstNode, firstElement, suffix);
    DeliverLayup(sections.TakeLayup(), suffix);
    // The text is kept even where the deck has no line BEGIN: an export knows a model of a deck by
    // it.
    PutControl(begin.empty() ? "BEGIN BULK" : begin, kNastranBegin, instance, m_contents.keptTexts);
    m_contents.keptTexts.back().isAlsoInModel = true;  // as the instance
    std::move(part.kept).Put(instance, m_contents.keptTexts);
    // The deck ends with Read, and with it the text that the elements refer to.
    part.elements.Settle();
}

void NastranReader::DeliverSets(NastranPart& part,
                                std::vector<NastranSections::DirectionSet> directions,
                                int firstNode, int firstElement, const std::string& suffix) {
    const auto deliver = [&](Set described, std::vector<int> members, int first,
                             std::vector<Set>& sets, std::vector<std::vector<int>>& all) {
        described.name += suffix;
        for (int& member : members) {
            member += first;
        }
        sets.push_back(std::move(described));
        all.push_back(std::move(members));
    };
    for (NastranSets::Set& set : part.sets.TakeNodeSets()) {
        deliver(set.described, std::move(set.members), firstNode, m_contents.nodeSets,
                m_nodeSetMembers);
    }
    std::map<int, std::vector<int>> constraints;  // nodes by components
    for (std::size_t i = 0; i < part.nodes.Constraints().size(); ++i) {
        if (const int components = part.nodes.Constraints()[i]; components != 0) {
            constraints[components].push_back(static_cast<int>(i));
        }
    }
    for (auto& [components, members] : constraints) {
        deliver({"PS " + std::to_string(components), components, {{"C", components}}},
                std::move(members), firstNode, m_contents.nodeSets, m_nodeSetMembers);
    }
    for (NastranSets::Set& set : part.sets.TakeElementSets()) {
        deliver(set.described, std::move(set.members), firstElement, m_contents.elementSets,
                m_elementSetMembers);
    }
    for (NastranSections::DirectionSet& set : directions) {
        deliver({set.name, set.number}, std::move(set.elements), firstElement,
                m_contents.elementSets, m_elementSetMembers);
    }
}

void NastranReader::DeliverLayup(ORQExcLayup layup, const std::string& suffix) {
    const int materials = AppendNamed(m_layup.materials, layup.materials, suffix);
    const int orientations = AppendNamed(m_layup.orientations, layup.orientations, suffix);
    const int plies = AppendNamed(m_layup.plies, layup.plies, suffix);
    const int sections = static_cast<int>(m_layup.sections.size());
    for (ORQExcLayup::Section& section : layup.sections) {
        section.name += suffix;
        for (ORQExcLayup::Layer& layer : section.layers) {
            Shift(layer.material, materials);
            Shift(layer.orientation, orientations);
            Shift(layer.ply, plies);
            for (auto* const fields : {&layer.thicknesses, &layer.angles}) {
                for (ORQExcLayup::Field& field : *fields) {
                    field.elementSet += suffix;
                }
            }
        }
        m_layup.sections.push_back(std::move(section));
    }
    for (const ORQExcLayup::Assignment& assignment : layup.assignments) {
        m_layup.assignments.push_back(
            {assignment.elementSet + suffix, assignment.section + sections});
    }
}

ORQExcReport NastranReader::Losses() const {
    ORQExcReport losses = m_problems.Findings();
    losses.Append(m_losses);
    return losses;
}

namespace {

/// Copies [begin, end) of consecutive parts; `of` returns the values of a part, `width` for each
/// member.
template <class Parts, class Values, class Of>
void CopyRange(const Parts& parts, int begin, int end, std::ptrdiff_t width, Values to, Of of) {
    int first = 0;
    for (const auto& part : parts) {
        const auto& values = of(*part);
        const int size = static_cast<int>(std::ssize(values) / width);
        const int from = std::max(begin, first);
        const int last = std::min(end, first + size);
        if (from < last) {
            std::copy(values.begin() + width * (from - first),
                      values.begin() + width * (last - first), to.begin() + width * (from - begin));
        }
        first += size;
    }
}

}  // namespace

void NastranReader::ReadCoordinates(int begin, int end, std::span<double> coordinates) {
    CopyRange(
        m_parts, begin, end, 3, coordinates,
        [](const NastranPart& part) -> auto& { return part.nodes.Coordinates(); });
}

void NastranReader::ReadLabels(ORQObjLabelerType type, int begin, int end, std::span<int> labels) {
    if (type == ORQObjLabelerType::Node) {
        CopyRange(
            m_parts, begin, end, 1, labels,
            [](const NastranPart& part) -> auto& { return part.nodes.Labels(); });
    } else {
        CopyRange(
            m_sources, begin, end, 1, labels,
            [](const NastranElements::Block& block) -> auto& { return block.labels; });
    }
}

void NastranReader::ReadConnectivity(int block, int begin, int end, std::span<int> nodes) {
    const NastranElements::Block& from = BlockAt(block);
    const std::ptrdiff_t nNodes = from.shape->nNodes;
    const int first = m_firstNodes[static_cast<std::size_t>(block)];
    std::transform(from.nodes.begin() + begin * nNodes, from.nodes.begin() + end * nNodes,
                   nodes.begin(), [first](int node) { return first + node; });
}

void NastranReader::ReadAttributes(int block, int begin, int end, std::span<double> values) {
    const std::vector<std::string>& names =
        m_contents.blocks[static_cast<std::size_t>(block)].attributes;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto& column = *BlockAt(block).Column(names[i]);
        for (int row = begin; row < end; ++row) {
            values[static_cast<std::size_t>(row - begin) * names.size() + i] =
                column[static_cast<std::size_t>(row)];
        }
    }
}

std::vector<int> NastranReader::ReadSet(ORQObjLabelerType type, int set) {
    return (type == ORQObjLabelerType::Node ? m_nodeSetMembers
                                            : m_elementSetMembers)[static_cast<std::size_t>(set)];
}

}  // namespace orq::exchange
