#include "ORQBasFailure.h"
#include "ORQExcFormats.h"
#include "formats/FormatTable.h"
#include "formats/Formats.h"

using namespace orq::exchange;

namespace {

bool IsWritten(const FormatRow& row) {
    return row.write != nullptr;
}

const FormatRow& FormatOf(const std::filesystem::path& output) {
    const FormatRow* row = FindByEnding(output, IsWritten);
    if (row == nullptr) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            output.string() + ": is of no format that can be written; endings:" +
                                EndingsOf(IsWritten));
    }
    return *row;
}

}  // namespace

ORQExcExporter::ORQExcExporter(const std::filesystem::path& output, bool mayReplace)
    : m_output(output),
      m_format(FormatOf(output)),
      m_mayReplace(mayReplace),
      m_file(output, mayReplace) {}

std::string_view ORQExcExporter::Format() const {
    return m_format.name;
}

ORQExcReport ORQExcExporter::Write(const ORQExcModel& model, const ORQExcResults& results) {
    Output output{m_file.Path()};
    if (m_format.hasFolder) {
        std::filesystem::path place = m_output;
        place.replace_extension(".times");
        m_folder.emplace(place, m_mayReplace);
        m_folder->MakeFolder();
        output.folder = m_folder->Path();
        output.folderName = place.filename().string();
    }
    ORQExcReport report;
    m_format.write(model, results, output, report);
    return report;
}

void ORQExcExporter::PutIntoPlace() {
    // The file names what is in the folder, so the folder comes first.
    if (m_folder) {
        m_folder->PutIntoPlace();
    }
    m_file.PutIntoPlace();
}
