#include "formats/gmsh/GmshMarkedParts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>

#include "model/ArrayNames.h"
#include "model/NoValue.h"

namespace orq::exchange {

void GmshReader::MarkedParts::Add() {
    for (GmshResults::Marks& marks : m_reader.m_results.TakeMarks()) {
        const std::string_view name = marks.name;
        if (name.starts_with(array_names::kNodeSet)) {
            auto& sets = m_reader.m_contents.nodeSets;
            sets.push_back({std::string(name.substr(array_names::kNodeSet.size())),
                            static_cast<int>(sets.size()) + 1});
            m_reader.m_nodeSetMembers.push_back(std::move(marks.members));
        } else if (name == array_names::kShells) {
            MakeShells(marks);
        } else if (name.starts_with(array_names::kSurface)) {
            AddSurface(marks, std::string(name.substr(array_names::kSurface.size())));
        } else {
            AddAttribute(marks, std::string(name.substr(array_names::kAttribute.size())));
        }
    }
}

/// The block that holds an element, and the number of its first one.
std::pair<std::size_t, int> GmshReader::MarkedParts::BlockWith(int element) const {
    // A block without elements begins where the next one does; the last of them holds the
    // element.
    const auto after = std::ranges::upper_bound(m_firstOfBlock, element);
    return {static_cast<std::size_t>(after - m_firstOfBlock.begin() - 1), *(after - 1)};
}

/// Gives a block the shape of a shell when every element is marked.
void GmshReader::MarkedParts::MakeShells(const GmshResults::Marks& marks) {
    int first = 0;
    for (Block& block : m_reader.m_contents.blocks) {
        const auto begin = std::ranges::lower_bound(marks.members, first);
        const auto end = std::ranges::lower_bound(marks.members, first += block.nElements);
        const ORQExcShape* const shell =
            ORQExcFindShapeByName(fmt::format("SHELL{}", block.shape->nNodes));
        if (end - begin == block.nElements && block.shape->dimension == 2 && shell != nullptr) {
            block.shape = shell;
            block.shapeName = shell->name;
        }
    }
}

void GmshReader::MarkedParts::AddSurface(const GmshResults::Marks& marks, const std::string& name) {
    std::vector<Side> sides;
    for (std::size_t i = 0; i < marks.members.size(); ++i) {
        const ORQExcShape& shape = *m_reader.Blocks()[BlockWith(marks.members[i]).first].shape;
        const double most = std::ldexp(1.0, static_cast<int>(shape.sides.size()));
        if (!(marks.values[i] >= 1 && marks.values[i] < most) ||
            marks.values[i] != std::floor(marks.values[i])) {
            m_in.Fail(fmt::format("surface \"{}\": {} names no sides of a {}", name,
                                  marks.values[i], shape.name));
        }
        const auto bits = static_cast<unsigned>(marks.values[i]);
        for (int side = 0; side < std::ssize(shape.sides); ++side) {
            if ((bits >> side & 1U) != 0) {
                sides.push_back({marks.members[i], side});
            }
        }
    }
    auto& sets = m_reader.m_contents.sideSets;
    sets.push_back({name, static_cast<int>(sets.size()) + 1});
    m_reader.m_sides.push_back(std::move(sides));
}

/// Gives the attribute to blocks of which some element has a value.
void GmshReader::MarkedParts::AddAttribute(const GmshResults::Marks& marks,
                                           const std::string& name) {
    std::map<std::size_t, std::vector<double>> columns;
    for (std::size_t i = 0; i < marks.members.size(); ++i) {
        const auto [place, first] = BlockWith(marks.members[i]);
        std::vector<double>& column = columns[place];
        column.resize(static_cast<std::size_t>(m_reader.Blocks()[place].nElements), kNoValue);
        column[static_cast<std::size_t>(marks.members[i] - first)] = marks.values[i];
    }
    m_reader.m_attributes.resize(m_reader.Blocks().size());
    for (const auto& [place, column] : columns) {
        Block& block = m_reader.m_contents.blocks[place];
        std::vector<double>& rows = m_reader.m_attributes[place];
        const std::size_t nBefore = block.attributes.size();
        std::vector<double> wider;
        for (std::size_t row = 0; row < column.size(); ++row) {
            const auto from = rows.begin() + static_cast<std::ptrdiff_t>(row * nBefore);
            wider.insert(wider.end(), from, from + static_cast<std::ptrdiff_t>(nBefore));
            wider.push_back(column[row]);
        }
        rows = std::move(wider);
        block.attributes.push_back(name);
    }
}

}  // namespace orq::exchange
