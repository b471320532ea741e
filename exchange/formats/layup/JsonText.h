#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <vector>

namespace orq::exchange {

struct JsonText {
    nlohmann::json value;
    /// Members that stand in their object twice; the value has the first.
    std::vector<nlohmann::json::json_pointer> repeated;
};

/// Reads a JSON file. Throws ORQExcImportError when it cannot be read and, with line and column,
/// when it is not JSON or holds a number that no double can.
JsonText ReadJsonText(const std::filesystem::path& file);

}  // namespace orq::exchange
