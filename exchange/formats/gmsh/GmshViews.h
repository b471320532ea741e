#pragma once

#include <vector>

#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "ORQExcResults.h"
#include "files/Output.h"
#include "formats/gmsh/GmshText.h"

namespace orq::exchange {

/// How a file has the nodes and elements of a model, by ordinal.
struct GmshMembers {
    const std::vector<int>& nodeNumbers;
    const std::vector<int>& elementNumbers;
    const std::vector<int>& blockOf;  ///< by element; -1 for one that is not written
};

/// Writes the views of a model behind its mesh: what the format has no place for, as marks and values
/// of nodes and elements (node sets, surfaces, shells, attributes), and the results over time, with
/// progress before each of these.
void WriteGmshViews(const ORQExcModel& model, const ORQExcResults& results,
                    const GmshMembers& members, const Output& output, GmshText& text,
                    ORQExcReport& report);

}  // namespace orq::exchange
