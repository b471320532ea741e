#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "ORQExcResults.h"
#include "files/Output.h"

namespace orq::exchange {

/// Writes the results of a model into an open Exodus file, node by node and block by block as in the
/// model: times, global, nodal and element variables, one for each component of a field and each
/// point and layer. All throw ORQExcExportError.
class ExodusResultExport {
  public:
    /// `id` is the Exodus library's number of the file; `file` is named by errors. The arguments must
    /// outlive the object.
    ExodusResultExport(int id, const std::filesystem::path& file, const ORQExcModel& model,
                       const ORQExcResults& results, ORQExcReport& report);
    ~ExodusResultExport();
    ExodusResultExport(const ExodusResultExport&) = delete;
    ExodusResultExport& operator=(const ExodusResultExport&) = delete;

    /// Makes room for the variables in a file that has its sizes and blocks.
    void Define();
    /// `blockNumbers` are those that the element blocks have in the file.
    void Write(const std::vector<int>& blockNumbers, const Output& output);

  private:
    class Writer;
    std::unique_ptr<Writer> m_writer;
};

}  // namespace orq::exchange
