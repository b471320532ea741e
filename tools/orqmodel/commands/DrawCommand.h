#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "terminal/Console.h"

namespace orqmodel {

struct DrawOptions {
    std::string database;
    std::filesystem::path output;  // Its ending names the format: .png or .svg.
    std::string field;             // Whose values colour the mesh; empty for none.
    int step = 0;                  // The time of the field, from 1; 0 for the last with values.
    std::string section;           // Drawn instead of the mesh; empty for none.
    std::string material;          // As well.
    std::string view;              // As View::FromText takes it; empty for what suits the model.
    std::string colourBy;          // "block", "set", or empty: "set" when sets are named.
    std::vector<std::string> sets;
    std::vector<std::string> blocks;
    std::string edges;  // "none", "feature", "mesh", or empty for what suits the size.
    std::string size = "1200x900";
    bool force = false;  // Replace a file that has the name.
    bool json = false;
};

/// Draws the mesh of a model database, one of its layered sections or materials, to a file. On any
/// failure the output's name is as it was before. Throws ORQExcExportError and ORQBasFailure.
ExitStatus RunDraw(const DrawOptions& options, const Console& console);

}  // namespace orqmodel
