#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "ORQExcMeshSource.h"
#include "ORQExcReport.h"
#include "model/KeptArrays.h"

namespace orq::exchange {

/// The variables and attributes of an open Exodus II file that a model has no place for, such as
/// records of programs, distribution factors, variables of sets and extra maps: as netCDF has them.
/// An attribute is called VARIABLE@NAME, one of the whole file @NAME. What netCDF types or sizes keep
/// from being kept is among the losses.
class ExodusArrays {
  public:
    /// `id` is the Exodus library's number of the file, which must outlive the object.
    ExodusArrays(const std::filesystem::path& file, int id);

    const std::vector<ORQExcMeshSource::Array>& Arrays() const { return m_arrays; }
    /// Keeps a variable that a model has a place for, for what the model lacks: its order.
    void AddAlso(const std::string& variable);
    void Read(const ORQExcMeshSource::Array& array, int begin, int end, void* values) const;
    const ORQExcReport& Losses() const { return m_losses; }

  private:
    void AddVariable(int variable);
    void AddAttributes(int variable, const std::string& name);
    void Add(ORQExcMeshSource::Array array, int ncType, std::int64_t nBytes);

    std::filesystem::path m_file;
    int m_id;
    std::vector<ORQExcMeshSource::Array> m_arrays;
    ORQExcReport m_losses;
};

/// Adds kept arrays to an Exodus II file whose blocks and sets are written and whose results are not. An array
/// that does not fit the sizes that the file has by then, since the mesh has changed, is left out and
/// reported. Throws ORQExcExportError.
void WriteExodusArrays(int id, const std::filesystem::path& file,
                       const std::vector<KeptArray>& arrays, std::int64_t nTimes,
                       ORQExcReport& report);

}  // namespace orq::exchange
