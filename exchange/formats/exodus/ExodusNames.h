#pragma once

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

/// The name of a shape in an Exodus file. Readers of the format, VTK's among them, know triangular
/// shells of six nodes by one name only.
inline std::string ExodusNameOf(const ORQExcShape& shape) {
    return std::string_view(shape.name) == "SHELL6" ? "TRISHELL6" : shape.name;
}

}  // namespace orq::exchange
