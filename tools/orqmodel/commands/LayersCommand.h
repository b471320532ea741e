#pragma once

#include <optional>
#include <string>

#include "terminal/Console.h"

namespace orqmodel {

struct LayersOptions {
    std::string database;
    std::string section;         // Empty for the table of all.
    std::optional<int> element;  // Its label; excludes a section.
    std::string instance;        // Of the element; needed where several have one of that label.
    bool json = false;
};

/// Prints the layered sections of a model database, or the layers of one, named or found for an
/// element. An element that is not there, or has no section, is a finding. Throws ORQBasFailure.
ExitStatus RunLayers(const LayersOptions& options, const Console& console);

}  // namespace orqmodel
