#pragma once

#include <span>
#include <vector>

#include "ORQExcModel.h"

namespace orq::exchange {

/// Whether the elements of a block join two sides that may lie at one place: the block's name, or
/// how its file spells or defines the elements, says cohesive, gap or interface.
bool SaysInterface(const ORQExcModel::Block& block);

/// Elements to which a section is assigned whose name or card says so; ascending. Sections that
/// cannot be read have none.
std::vector<int> ElementsOfInterfaceSections(const ORQExcModel& model);

/// Whether two opposite sides of an element coincide, corner by corner, within a length.
bool AreSidesTogether(const ORQExcShape& shape, std::span<const double> corners, double length);

}  // namespace orq::exchange
