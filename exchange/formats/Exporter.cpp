#include <fmt/format.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcFormats.h"
#include "ORQExcKeptTexts.h"
#include "ORQExcLayup.h"
#include "ORQExcTexts.h"
#include "formats/FormatTable.h"
#include "formats/Formats.h"
#include "model/KeptArrays.h"

using namespace orq::exchange;

namespace {

bool IsWritten(const FormatRow& row) {
    return row.write != nullptr;
}

const FormatRow& FormatOf(const std::filesystem::path& output) {
    const FormatRow* row = FindByEnding(output, IsWritten);
    if (row == nullptr) {
        ORQBasThrowUsage(output.string() +
                         ": is of no format that can be written; endings:" + EndingsOf(IsWritten));
    }
    return *row;
}

// The path itself; throws Usage when something has the name, unless it may be replaced.
const std::filesystem::path& Free(const std::filesystem::path& path, bool mayReplace) {
    if (!mayReplace && std::filesystem::exists(std::filesystem::symlink_status(path))) {
        ORQBasThrowUsage(path.string() + ": exists already; with force it is replaced");
    }
    return path;
}

/// Objects of a layup that a writer did not mention are not in its file.
template <class Object, class CountMembers>
void DropUnmentioned(std::string_view kind, const std::vector<Object>& objects,
                     std::string_view format, const CountMembers& countMembers,
                     ORQExcReport& report) {
    std::set<std::string> mentioned;
    for (const ORQExcReportEntry& entry : report.Entries()) {
        if (entry.kind == kind) {
            mentioned.insert(entry.name);
        }
    }
    for (const Object& object : objects) {
        if (!mentioned.contains(ORQExcPrintable(object.name))) {
            report.Drop(kind, object.name, countMembers(object),
                        fmt::format("{} has no place for it", format));
        }
    }
}

void DropRestOfLayup(const ORQExcModel& model, std::string_view format, ORQExcReport& report) {
    const ORQExcLayup layup = ORQExcReadLayup(model.Document());
    const auto one = [](const auto&) { return std::int64_t{1}; };
    DropUnmentioned(
        "section", layup.sections, format,
        [](const ORQExcLayup::Section& section) { return std::ssize(section.layers); }, report);
    DropUnmentioned("material", layup.materials, format, one, report);
    DropUnmentioned("orientation", layup.orientations, format, one, report);
    DropUnmentioned("ply", layup.plies, format, one, report);
}

void DropTextsOfOtherFormats(const ORQExcModel& model, std::string_view format,
                             ORQExcReport& report) {
    for (const ORQExcKeptText& text : ORQExcReadKeptTexts(model.Document())) {
        for (const auto& [name, count] : text.contents) {
            if (text.format != format && !text.isAlsoInModel) {
                report.Drop(
                    text.section, name, count,
                    fmt::format("it is text of {}, for exports of that format", text.format));
            }
        }
    }
}

}  // namespace

ORQExcExporter::ORQExcExporter(const std::filesystem::path& output, bool mayReplace)
    : m_output(output),
      m_format(FormatOf(output)),
      m_mayReplace(mayReplace),
      m_file(Free(output, mayReplace), "export") {}

std::string_view ORQExcExporter::Format() const {
    return m_format.name;
}

ORQExcReport ORQExcExporter::Write(const ORQExcModel& model, const ORQExcResults& results,
                                   ORQExcCarrying carrying,
                                   const std::function<void(double)>& progress) {
    Output output{m_file.Path(), progress};
    progress(0.0);
    if (m_format.hasFolder) {
        std::filesystem::path place = m_output;
        place.replace_extension(".times");
        m_folder.emplace(Free(place, m_mayReplace), "export");
        std::filesystem::create_directory(m_folder->Path());
        output.folder = m_folder->Path();
        output.folderName = place.filename().string();
    }
    ORQExcReport report;
    m_format.write(model, ORQExcCarriedResults(model, results, carrying, report), output, report);
    for (const KeptArray& kept : KeptArrays(model.Document())) {
        if (kept.format != m_format.name && !kept.array.kind.empty()) {
            report.Drop(kept.array.kind, kept.array.name, kept.array.count,
                        fmt::format("kept for {} only", kept.format));
        }
    }
    DropRestOfLayup(model, m_format.name, report);
    DropTextsOfOtherFormats(model, m_format.name, report);
    progress(1.0);
    return report;
}

void ORQExcExporter::PutIntoPlace() {
    // The file names what is in the folder, so the folder comes first.
    if (m_folder) {
        m_folder->PutIntoPlace(m_mayReplace);
    }
    m_file.PutIntoPlace(m_mayReplace);
}
