#pragma once

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>
#include <string_view>

namespace orqmodel {

/// Where a command writes: results to `out`, the rest to `err`.
struct Console {
    std::ostream& out;
    std::ostream& err;
    bool shows_progress;  // Whether someone is watching `err`.
};

/// How a command ended; the values are the program's exit statuses.
enum class ExitStatus : int {
    kDone = 0,
    kFindings = 1,
    kWrongUse = 2,
    kUnreadable = 3,  // Cannot be read, cannot be written, or is damaged.
    kBrokenInvariant = 70,
    kInterrupted = 128  // Plus the number of the signal.
};

/// Text of foreign origin as it can be shown: bytes that are not UTF-8, and control characters,
/// become U+FFFD.
std::string Printable(std::string_view text);

/// Writes an indented object and a line break; strings that are not UTF-8 are made so.
void PrintJson(std::ostream& out, const nlohmann::json& object);
/// The same on one line.
void PrintJsonLine(std::ostream& out, const nlohmann::json& object);

}  // namespace orqmodel
