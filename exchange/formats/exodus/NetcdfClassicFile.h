#pragma once

#include <filesystem>

namespace orq::exchange {

/// Checks that a netCDF classic file (CDF-1, CDF-2 or CDF-5) holds every byte that its header
/// promises. The netCDF library reads what lies beyond the end of a file as zeros, without an
/// error, so a file that was cut short has to be found out beforehand. Reads the header only.
///
/// REQUIRES: the file begins with "CDF".
/// Throws ORQExcImportError that names the variable (or the part of the header) that is not all
/// there.
/// Missing padding after the last value is no error.
void CheckNetcdfClassicFileIsWhole(const std::filesystem::path& file);

}  // namespace orq::exchange
