#pragma once

#include <span>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "draw/Skin.h"

namespace orqmodel {

/// What the parts of a skin have in common: their block, or a set they are in. Each group has a
/// colour and a line in the legend.
struct Groups {
    struct Group {
        std::string name;
        bool isNodes;  ///< of dots
    };
    std::vector<Group> groups;
    std::vector<int> ofPart;  ///< places in `groups`; -1 of a part in none
};

/// Places in ORQExcModel::Blocks of the blocks of these names, all of them for none. Throws Usage,
/// naming what is near, when there is none of a name.
std::vector<int> BlocksNamed(const ORQExcModel& model, std::span<const std::string> names);

/// A group for each of the blocks. Where they are more than colours that can be told apart, one for
/// all blocks whose names are the same before their first digit ("PCOMP (103 blocks)"), and where
/// that does not help, for all of a shape.
Groups GroupsByBlock(const Skin& skin, const ORQExcModel& model, std::span<const int> blocks);

/// A group for each element set, surface and node set of these names, or for all of them; of groups
/// that share something the last is seen. Adds to the skin the nodes of sets that it has, as dots,
/// and the edges of surfaces, as lines. Either face of a shell colours the shell.
/// Throws Usage, naming what is near, when there is none of a name, or none at all.
Groups GroupsBySet(Skin& skin, const ORQExcModel& model, std::span<const std::string> names);

/// Groups of the marked elements, ascending, and of the marked nodes, which are added as dots. All
/// else is in none.
Groups GroupsOfMarks(Skin& skin, std::span<const int> elements, std::span<const int> nodes);

/// A group for each section that governs something, and one for each choice of materials in their
/// layers ("MAT8 1, MAT1 2"); parts of elements without a section are in none. Throws Usage for a
/// model without sections.
Groups GroupsBySection(const Skin& skin, const ORQExcModel& model);
Groups GroupsByMaterial(const Skin& skin, const ORQExcModel& model);

}  // namespace orqmodel
