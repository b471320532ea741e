#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "ORQExcReport.h"
#include "ORQExcShapes.h"

namespace orq::exchange {

/// The most bytes that a name in an Exodus file may have.
inline constexpr std::size_t kLongestExodusName = 255;

/// The name as the file can have it; a cut is entered into the report.
inline std::string FittingName(std::string_view kind, const std::string& name,
                               ORQExcReport& report) {
    if (name.size() <= kLongestExodusName) {
        return name;
    }
    report.Change(kind, name, 1, "its name is cut to 255 bytes");
    return name.substr(0, kLongestExodusName);
}

/// The name of a shape in an Exodus file. Readers of the format, VTK's among them, know shells of six
/// and nine nodes by these names only.
inline std::string ExodusNameOf(const ORQExcShape& shape) {
    const std::string_view name = shape.name;
    return name == "SHELL6" ? "TRISHELL6" : name == "SHELL9" ? "QUADSHELL9" : shape.name;
}

/// Whether readers of the format take a name for that of the shape. They look at the first three
/// letters and the number of nodes.
inline bool IsExodusNameOf(const std::string& name, const ORQExcShape& shape) {
    static constexpr std::array<std::string_view, 13> kBeginnings = {
        "SPH", "CIR", "BAR", "BEA", "TRU", "EDG", "TRI", "QUA", "SHE", "TET", "PYR", "WED", "HEX"};
    std::string beginning = name.substr(0, 3);
    std::ranges::transform(beginning, beginning.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    const bool hasOneName = ExodusNameOf(shape) != shape.name;
    return ORQExcFindShapeByExodusName(name, shape.nNodes) == &shape &&
           std::ranges::find(kBeginnings, beginning) != kBeginnings.end() &&
           (!hasOneName || ExodusNameOf(shape).starts_with(beginning));
}

}  // namespace orq::exchange
