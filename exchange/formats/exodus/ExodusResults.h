#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "ORQExcResultSource.h"

namespace orq::exchange {

/// The results of an open Exodus II file: nodal, element and global variables by time step. Element
/// variables have a part for each block that has values.
///
/// What the file's own description contradicts is named among the losses: an array that is missing
/// or has another length is left out, one that the truth table denies is delivered.
class ExodusResults : public ORQExcResultSource {
  public:
    struct Block {
        std::int64_t id;
        int first;  ///< ordinal of its first element
        int count;
    };
    /// `id` is the Exodus library's number of the file, which must outlive the object. The blocks
    /// are those with a known shape, in the file's order. Throws ORQExcImportError.
    ExodusResults(const std::filesystem::path& file, int id, int nNodes, std::vector<Block> blocks);

    const std::vector<double>& Times() const override { return m_times; }
    const std::vector<ORQExcResultArray>& Arrays() const override { return m_arrays; }
    void ReadResult(int array, int part, int begin, int end, std::span<double> values) override;
    void ReadMembers(int array, int part, int time, int first, int count,
                     std::span<double> values) override;
    ORQExcReport ResultLosses() const override { return m_losses; }

  private:
    /// Where an array's values are, for the Exodus library.
    struct Variable {
        int number;  // from 1, among those of its place
        std::vector<std::int64_t> blockOfPart;
    };

    void ReadTimes();
    std::vector<std::string> ReadNames(int kind, const char* what) const;
    void AddGlobal();
    void AddNodal();
    void AddElemental();
    [[noreturn]] void Fail(const ORQExcResultArray& array, int begin, int end, int status) const;
    bool HasArray(const std::string& variable, int size, std::string_view kind,
                  const std::string& name, std::string_view where);
    std::vector<int> AllTimes() const;

    std::filesystem::path m_file;
    int m_id;
    int m_nNodes;
    std::vector<Block> m_blocks;
    std::vector<double> m_times;
    std::vector<ORQExcResultArray> m_arrays;
    std::vector<Variable> m_variables;  // by array
    ORQExcReport m_losses;
};

}  // namespace orq::exchange
