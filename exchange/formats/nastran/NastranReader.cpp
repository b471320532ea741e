#include "formats/nastran/NastranReader.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "ORQExcImportError.h"
#include "formats/nastran/NastranCoordinates.h"
#include "formats/nastran/NastranDeck.h"
#include "formats/nastran/NastranMaterials.h"
#include "formats/nastran/NastranProperties.h"

namespace orq::exchange {

NastranReader::NastranReader(const std::filesystem::path& file) {
    NastranCoordinates coordinates(m_problems);
    NastranMaterials materials(m_problems, m_losses);
    NastranProperties properties(materials, m_problems, m_losses);
    NastranSets sets(m_problems, m_losses);
    std::map<std::string, std::int64_t, std::less<>> others;
    {
        NastranDeck deck(file, m_problems);
        BulkCard card;
        while (deck.Next(card)) {
            if (!m_nodes.Add(card) && !m_elements.Add(card) && !materials.Add(card) &&
                !properties.Add(card) && !sets.Add(card) && !coordinates.Add(card)) {
                ++others[std::string(card.Name())];
            }
        }
        if (deck.NumControlLines() > 0) {
            m_losses.Drop("control lines", "", deck.NumControlLines(),
                          "executive and case control are not imported");
        }
        if (deck.NumLinesBehindEnd() > 0) {
            m_losses.Drop("lines behind ENDDATA", "", deck.NumLinesBehindEnd(),
                          "they are no part of the deck");
        }
    }
    for (const auto& [name, count] : others) {
        m_losses.Drop("bulk data card", name, count, "a model has no place for it");
    }
    m_nodes.Resolve(coordinates, m_losses);
    m_elements.Resolve(m_nodes, properties);
    materials.Resolve();
    std::set<const BulkProperty*> used;
    for (const NastranElements::Block& block : m_elements.Blocks()) {
        used.insert(block.property);
    }
    properties.ReportLosses(used);
    sets.Resolve(m_nodes, m_elements);
    NastranSections sections(materials, properties, m_elements, coordinates, m_losses);
    m_problems.Check();
    m_contents.nNodes = static_cast<int>(m_nodes.Labels().size());
    if (NumNodes() == 0) {
        throw ORQExcImportError(file, "bulk data", "the deck has no GRID card");
    }
    m_layup = sections.TakeLayup();
    for (const NastranElements::Block& block : m_elements.Blocks()) {
        m_contents.blocks.push_back(m_elements.Described(block));
    }
    Describe(sets.TakeNodeSets(), m_contents.nodeSets, m_nodeSetMembers);
    Describe(sets.TakeElementSets(), m_contents.elementSets, m_elementSetMembers);
    for (NastranSections::DirectionSet& set : sections.TakeSets()) {
        m_contents.elementSets.push_back({set.name, set.number});
        m_elementSetMembers.push_back(std::move(set.elements));
    }
    m_elements.Settle();
}

void NastranReader::Describe(std::vector<NastranSets::Set> sets, std::vector<Set>& described,
                             std::vector<std::vector<int>>& members) {
    for (NastranSets::Set& set : sets) {
        described.push_back(std::move(set.described));
        members.push_back(std::move(set.members));
    }
}

void NastranReader::ReadCoordinates(int begin, int end, std::span<double> coordinates) {
    std::copy(m_nodes.Coordinates().begin() + 3 * std::ptrdiff_t{begin},
              m_nodes.Coordinates().begin() + 3 * std::ptrdiff_t{end}, coordinates.begin());
}

void NastranReader::ReadLabels(ORQObjLabelerType type, int begin, int end, std::span<int> labels) {
    if (type == ORQObjLabelerType::Element) {
        ReadElementLabels(begin, end, labels);
        return;
    }
    std::copy(m_nodes.Labels().begin() + begin, m_nodes.Labels().begin() + end, labels.begin());
}

void NastranReader::ReadConnectivity(int block, int begin, int end, std::span<int> nodes) {
    const NastranElements::Block& from = m_elements.Blocks()[static_cast<std::size_t>(block)];
    const std::ptrdiff_t nNodes = from.shape->nNodes;
    std::copy(from.nodes.begin() + begin * nNodes, from.nodes.begin() + end * nNodes,
              nodes.begin());
}

void NastranReader::ReadElementLabels(int begin, int end, std::span<int> labels) const {
    int first = 0;
    for (const NastranElements::Block& block : m_elements.Blocks()) {
        const int from = std::max(begin, first);
        const int to = std::min(end, first + block.NumElements());
        if (from < to) {
            std::copy(block.labels.begin() + (from - first), block.labels.begin() + (to - first),
                      labels.begin() + (from - begin));
        }
        first += block.NumElements();
    }
}

void NastranReader::ReadAttributes(int block, int begin, int end, std::span<double> values) {
    const auto place = static_cast<std::size_t>(block);
    const std::vector<std::string>& names = m_contents.blocks[place].attributes;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto& column = *m_elements.Blocks()[place].Column(names[i]);
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
