#pragma once

#include <span>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "draw/Skin.h"

namespace orqmodel {

/// What a skin shows of a set.
struct SetParts {
    enum class Kind { Elements, Surface, Nodes };
    std::string name;
    Kind kind;
    std::vector<int> parts;  ///< of its elements and faces, ascending
    /// For a surface, the nodes of each edge, in the order of ORQExcShape::Side::nodes.
    std::vector<ORQExcModel::FaceNodes> edges;
    std::vector<int> nodes;  ///< of the skin's parts, ascending
};

/// For each element set, surface and node set of these names, or for all of them, in this order,
/// what a skin has of it. Of a shell, either face is the shell. Takes four bytes for each member
/// of a set.
/// Throws Usage, naming what is near, when there is none of a name.
std::vector<SetParts> PartsOfSets(const Skin& skin, const ORQExcModel& model,
                                  std::span<const std::string> names);

/// Throws Usage, naming what is near, unless one of the names known is the wanted one.
void CheckName(const char* option, const std::string& wanted,
               const std::vector<std::string>& known);

}  // namespace orqmodel
