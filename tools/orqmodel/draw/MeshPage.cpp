#include "draw/MeshPage.h"

#include <fmt/format.h>

#include <fstream>

#include "ORQBasFailure.h"
#include "ORQExcExportError.h"
#include "ORQExcTexts.h"
#include "ORQExcXmlText.h"
#include "draw/ColourBands.h"
#include "draw/PageText.h"
#include "draw/View.h"

namespace orqmodel {
namespace {

using nlohmann::json;

constexpr double kMeshIsRead = 0.4;  // of the work

/// The text of an object in a script, which its end tag must not end.
std::string ScriptText(const json& object) {
    std::string text;
    for (const char character : object.dump()) {
        if (character == '<') {
            text += "\\u003c";
        } else {
            text += character;
        }
    }
    return text;
}

}  // namespace

MeshPage::MeshPage(const ORQObjDocument& document, const std::string& name, const Options& options)
    : m_model(document),
      m_results(document),
      m_picture(options.picture),
      m_title(ORQExcPrintable(m_model.Title().empty() ? name : m_model.Title())),
      m_mostBytes(options.mostBytes),
      m_mesh(m_model, m_picture, PartOf(m_picture.progress, 0, kMeshIsRead)),
      m_shown(m_model, m_results, m_mesh, options.results) {}

json MeshPage::Description() const {
    const View view =
        m_picture.view ? View::FromText(*m_picture.view) : View::BestFor(m_mesh.Contents());
    json axes = json::array();
    for (const Point& axis : {Point{1, 0, 0}, Point{0, 1, 0}, Point{0, 0, 1}}) {
        axes.push_back(view.Turned(axis));
    }
    json bands = json::array();
    const ColourBands all({0, 1});
    for (int band = 0; band < all.Count(); ++band) {
        bands.push_back(HexOf(all.ColourOf(band)));
    }
    return {{"title", m_title},
            {"counts", {{"nodes", m_model.NumNodes()}, {"elements", m_model.NumElements()}}},
            {"axes", axes},
            {"bands", bands},
            {"plain", HexOf(kPlain)},
            {"ink", HexOf(kInk)},
            {"edges", m_picture.edges.value_or(EdgeKind::Mesh) != EdgeKind::None},
            {"showsSets", m_picture.colourBy == ColourBy::Set}};
}

void MeshPage::Write(const std::filesystem::path& path) {
    std::ofstream out(path, std::ios::binary);
    out << kPageHead << "<title>" << ORQExcXmlEscaped(m_title) << "</title>\n<style>\n"
        << kPageStyle << "</style>\n"
        << kPageBody << "<script type=\"text/plain\" id=\"arrays\">";
    PackedArrays arrays(out);
    json model = Description();
    model.update(m_mesh.Into(arrays));
    // Bytes become a third more as text; a part of the room is left for names and the script.
    const double room = 0.75 * (static_cast<double>(m_mostBytes) - 150'000) -
                        static_cast<double>(arrays.PackedBytes());
    if (room < 0) {
        ORQBasThrowUsage(fmt::format(
            "the page would be larger than {:.4g} MB: {} facets, lines and points; draw fewer "
            "blocks, clip the model, or allow more with --page-limit",
            static_cast<double>(m_mostBytes) / 1e6, m_mesh.Contents().NumParts()));
    }
    const std::size_t nTimes = m_shown.NumTimes();
    m_shown.KeepTimesFor(static_cast<std::size_t>(room));
    if (m_shown.NumTimes() < nTimes) {
        m_notes.push_back(fmt::format(
            "{} of {} times are in the page: others have no room in {:.4g} MB (--page-limit)",
            m_shown.NumTimes(), nTimes, static_cast<double>(m_mostBytes) / 1e6));
    }
    model.update(m_shown.Into(arrays, PartOf(m_picture.progress, kMeshIsRead, 1)));
    model["notes"] = m_notes;
    model["arrays"] = arrays.Table();
    arrays.Finish();
    out << "</script>\n<script type=\"application/json\" id=\"model\">" << ScriptText(model)
        << "</script>\n<script type=\"module\">\n"
        << kPageScript << "</script>\n</body>\n</html>\n";
    out.flush();
    if (!out) {
        throw ORQExcExportError(path.string() + ": cannot be written");
    }
}

}  // namespace orqmodel
