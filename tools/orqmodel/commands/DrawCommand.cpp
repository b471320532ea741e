#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQBasStaged.h"
#include "ORQExcMaterials.h"
#include "ORQExcModel.h"
#include "ORQExcSections.h"
#include "ORQObjDocument.h"
#include "ORQSimDatabase.h"
#include "commands/Arguments.h"
#include "draw/LayupPicture.h"
#include "draw/MaterialPicture.h"
#include "draw/MeshPage.h"
#include "draw/MeshSeries.h"
#include "draw/Picture.h"
#include "draw/Progress.h"
#include "draw/ThroughPicture.h"
#include "queries/OpenModel.h"
#include "queries/RowSource.h"
#include "terminal/InterruptGuard.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {
namespace {

struct DrawOptions {
    std::string database;
    std::filesystem::path output;     // Its ending names the format: .png, .svg or .html.
    std::vector<std::string> fields;  // Whose values colour the mesh; a picture has one at most.
    std::string deform;               // A field by which the nodes move, or that and ":SCALE".
    // The time of the field, from 1, or "all"; empty for the last, and for all of a page.
    std::string step;
    ShownPlace place;  // Within elements, of the fields.
    std::vector<std::string> clips;
    std::string section;         // Drawn instead of the mesh; empty for none.
    std::optional<int> through;  // The label of an element, drawn through its thickness.
    std::string instance;        // Of that element.
    std::string material;        // As well.
    std::string view;            // As View::FromText takes it; empty for what suits the model.
    std::string colourBy;        // One of ColourWords, or empty: "set" when sets are named.
    std::vector<std::string> sets;
    std::vector<std::string> blocks;
    std::string edges;      // "none", "feature", "mesh", or empty for what suits the size.
    std::string size;       // Of a picture; empty for kUsualSize.
    double pageLimit = 20;  // Of a page, in millions of bytes.
    bool force = false;     // Replace a file that has the name.
    bool json = false;
};

constexpr int kLeastSide = 32;  // smaller ones show nothing
// A raster image of this size holds 300 MB of pixels.
constexpr int kLargestSide = 10000;

constexpr const char* kUsualSize = "1200x900";

enum class Format { Png, Svg, Html };
constexpr std::array kFormatNames = {"PNG", "SVG", "HTML"};

Format FormatOf(const std::filesystem::path& file) {
    constexpr std::array kEndings = {".png", ".svg", ".html"};
    const auto ending = std::ranges::find(kEndings, file.extension().string());
    if (ending == kEndings.end()) {
        ORQBasThrowUsage(file.string() +
                         ": is of no format that can be drawn; endings: .png .svg .html");
    }
    return static_cast<Format>(ending - kEndings.begin());
}

/// Options that say nothing of the wanted format are mistakes.
void CheckFormat(const DrawOptions& options) {
    if (FormatOf(options.output) != Format::Html) {
        if (options.fields.size() > 1) {
            ORQBasThrowUsage("--field: a picture shows one; a page, NAME.html, has several");
        }
        return;
    }
    if (!options.section.empty() || !options.material.empty() || options.through) {
        ORQBasThrowUsage(
            options.output.string() +
            ": a page shows meshes; sections, materials and single elements are drawn as .png or "
            ".svg");
    }
    if (!options.size.empty()) {
        ORQBasThrowUsage("--size " + options.size + ": a page is as large as its window");
    }
}

PictureSize SizeFrom(const DrawOptions& options) {
    const std::string text = options.size.empty() ? kUsualSize : options.size;
    PictureSize size{};
    const char* const end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, size.width);
    const bool hasHeight = width.ec == std::errc() && width.ptr != end && *width.ptr == 'x';
    const auto height = std::from_chars(hasHeight ? width.ptr + 1 : end, end, size.height);
    const auto isRight = [](int side) { return side >= kLeastSide && side <= kLargestSide; };
    if (height.ec != std::errc() || height.ptr != end || !isRight(size.width) ||
        !isRight(size.height)) {
        ORQBasThrowUsage("--size " + text + ": is not WIDTHxHEIGHT in pixels, each from " +
                         std::to_string(kLeastSide) + " to " + std::to_string(kLargestSide));
    }
    return size;
}

MeshPictureOptions PictureOptions(const DrawOptions& options) {
    MeshPictureOptions picture;
    constexpr std::array kOthers = {"block", "section", "material"};
    if (std::ranges::count(kOthers, options.colourBy) > 0 && !options.sets.empty()) {
        ORQBasThrowUsage("--set and --colour-by " + options.colourBy + " exclude each other");
    }
    if (!options.view.empty()) {
        picture.view = options.view;
    }
    picture.colourBy = options.colourBy == "section"                        ? ColourBy::Section
                       : options.colourBy == "material"                     ? ColourBy::Material
                       : options.colourBy == "set" || !options.sets.empty() ? ColourBy::Set
                                                                            : ColourBy::Block;
    picture.sets = options.sets;
    picture.blocks = options.blocks;
    std::ranges::transform(options.clips, std::back_inserter(picture.clips), Clip::FromText);
    if (!options.edges.empty()) {
        picture.edges = options.edges == "none"      ? EdgeKind::None
                        : options.edges == "feature" ? EdgeKind::Feature
                                                     : EdgeKind::Mesh;
    }
    picture.size = SizeFrom(options);
    return picture;
}

nlohmann::json CountsOf(const Skin& skin) {
    std::array<std::size_t, 3> counts{};
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        ++counts[static_cast<std::size_t>(skin.KindOf(part))];
    }
    const auto [dots, lines, facets] = counts;
    return {{"facets", facets}, {"lines", lines}, {"dots", dots}};
}

/// The name of a picture of a series: a pattern as of printf, "name_%04d.png", with its number.
std::filesystem::path Numbered(const std::filesystem::path& pattern, int number) {
    const std::string name = pattern.filename().string();
    const auto percent = name.find('%');
    const auto end = percent == name.npos ? name.npos : name.find('d', percent);
    int width = 0;
    if (end != name.npos) {
        const auto [next, error] =
            std::from_chars(name.data() + percent + 1, name.data() + end, width);
        const bool isPlain = percent + 1 == end;
        if (isPlain ||
            (error == std::errc() && next == name.data() + end && width >= 0 && width <= 20)) {
            return pattern.parent_path() / fmt::format("{}{:0{}}{}", name.substr(0, percent),
                                                       number, width, name.substr(end + 1));
        }
    }
    ORQBasThrowUsage(pattern.string() +
                     ": names no series of pictures; --step all needs a number in it, as in "
                     "name_%04d.png");
}

/// Puts what is drawn into files; a file gets its name when it is whole.
class Output {
  public:
    Output(const DrawOptions& options, const Console& console)
        : m_options(options),
          m_console(console),
          m_format(FormatOf(options.output)),
          m_bar(console, "drawing") {}

    /// Throws Usage when it may not be written.
    void Check(const std::filesystem::path& file) const {
        if (!m_options.force && std::filesystem::exists(std::filesystem::symlink_status(file))) {
            ORQBasThrowUsage(file.string() + ": exists already; --force replaces it");
        }
    }

    /// Shows how far all has come. Throws Interrupted.
    Progress Watch() {
        return [this](double done) {
            m_interrupts.Check();
            m_bar.Show(done);
        };
    }

    void Write(const Picture& picture, const std::filesystem::path& file, nlohmann::json contents) {
        WriteWith(
            [&](const std::filesystem::path& made) {
                if (m_format == Format::Svg) {
                    picture.WriteSvg(made);
                } else {
                    picture.WritePng(made);
                }
            },
            file);
        Tell(file, std::move(contents), {});
    }

    void Write(MeshPage& page, nlohmann::json contents) {
        WriteWith([&](const std::filesystem::path& made) { page.Write(made); }, m_options.output);
        contents.update(
            {{"bytes", std::filesystem::file_size(m_options.output)}, {"notes", page.Notes()}});
        Tell(m_options.output, std::move(contents), page.Notes());
    }

  private:
    void WriteWith(const std::function<void(const std::filesystem::path&)>& write,
                   const std::filesystem::path& file) {
        ORQBasStaged staged(file, "draw");
        m_interrupts.Check();
        write(staged.Path());
        // The last moment: from here on there is no way back.
        m_interrupts.Check();
        staged.PutIntoPlace(m_options.force);
    }

    void Tell(const std::filesystem::path& file, nlohmann::json contents,
              const std::vector<std::string>& notes) {
        const char* const format = kFormatNames[static_cast<std::size_t>(m_format)];
        if (m_options.json) {
            contents.update({{"schema_version", 1},
                             {"command", "draw"},
                             {"input", m_options.database},
                             {"format", format},
                             {"output", file.string()}});
            // A series prints one object a line, as each picture is written.
            const bool isSeries = m_options.step == "all" && m_format != Format::Html;
            (isSeries ? PrintJsonLine : PrintJson)(m_console.out, contents);
        } else if (!m_console.IsQuiet()) {
            m_console.out << ORQExcPrintable(m_options.database) << " -> "
                          << ORQExcPrintable(file.string()) << " (" << format;
            if (m_format == Format::Html) {
                m_console.out << fmt::format(
                    ", {:.3g} MB", static_cast<double>(std::filesystem::file_size(file)) / 1e6);
            }
            m_console.out << ")\n";
            for (const std::string& note : notes) {
                m_console.out << note << '\n';
            }
        }
    }

    const DrawOptions& m_options;
    const Console& m_console;
    Format m_format;
    InterruptGuard m_interrupts;
    ProgressBar m_bar;
};

int TimeFrom(const std::string& text) {
    int time = 0;
    const char* const end = text.data() + text.size();
    const auto [next, error] = std::from_chars(text.data(), end, time);
    if (error != std::errc() || next != end || time < 1) {
        ORQBasThrowUsage("--step " + text + ": is no time, which are counted from 1, and not all");
    }
    return time;
}

bool IsMeasure(const std::string& text) {
    const std::vector<std::string> measures = MeasureNames();
    return std::ranges::find(measures, text) != measures.end();
}

void DrawPage(const ORQObjDocument& document, const DrawOptions& options, Output& output) {
    MeshPage::Options wanted;
    wanted.picture = PictureOptions(options);
    wanted.picture.progress = output.Watch();
    wanted.results.fields = options.fields;
    wanted.results.place = options.place;
    if (IsMeasure(options.colourBy)) {
        wanted.results.measure = options.colourBy;
    }
    wanted.results.deform = options.deform;
    wanted.results.time =
        options.step.empty() || options.step == "all" ? 0 : TimeFrom(options.step);
    wanted.mostBytes = static_cast<std::size_t>(1e6 * options.pageLimit);
    output.Check(options.output);
    MeshPage page(document, TitleOf(options.database), wanted);
    output.Write(page, CountsOf(page.Contents()));
}

void DrawPictures(const ORQObjDocument& document, const DrawOptions& options, Output& output) {
    MeshSeries::Options wanted;
    wanted.picture = PictureOptions(options);
    wanted.deform = options.deform;
    wanted.place = options.place;
    if (!options.fields.empty()) {
        wanted.field = options.fields.front();
    }
    if (IsMeasure(options.colourBy)) {
        wanted.measure = options.colourBy;
    }
    wanted.isAllTimes = options.step == "all";
    wanted.time = wanted.isAllTimes || options.step.empty() ? 0 : TimeFrom(options.step);
    const auto fileAt = [&](int time) {
        return wanted.isAllTimes ? Numbered(options.output, time) : options.output;
    };
    // Before the results are read, which may take long: a name that is taken, or of a series
    // without a number in it, is refused at once.
    if (const std::filesystem::path first = fileAt(1); !wanted.isAllTimes) {
        output.Check(first);
    }
    MeshSeries series(document, TitleOf(options.database), wanted);
    // All names before the first picture, so that no series is left in the middle by a name that is
    // taken.
    for (const int time : series.Times()) {
        output.Check(fileAt(time));
    }
    double nDrawn = 0;
    const auto nPictures = static_cast<double>(series.Times().size());
    try {
        for (const int time : series.Times()) {
            const MeshPicture picture = series.PictureAt(
                time, PartOf(output.Watch(), nDrawn / nPictures, (nDrawn + 1) / nPictures));
            output.Write(picture, fileAt(time), CountsOf(picture.Contents().skin));
            ++nDrawn;
        }
    } catch (Interrupted& interrupted) {
        if (nDrawn > 0) {
            interrupted.left = "the pictures that were finished are there";
        }
        throw;
    }
}

void DrawMeshes(const ORQObjDocument& document, const DrawOptions& options, Output& output) {
    if (!options.step.empty() && options.fields.empty() && options.deform.empty()) {
        ORQBasThrowUsage("--step requires --field or --deform");
    }
    (FormatOf(options.output) == Format::Html ? DrawPage : DrawPictures)(document, options, output);
}

void DrawSection(const ORQObjDocument& document, const DrawOptions& options, Output& output) {
    const ORQExcSections sections(document);
    const ORQExcSections::Section& section = sections.Named(options.section);
    const ORQExcSections::Stack layup = sections.Read(section);
    output.Write(LayupPicture(section, layup, SizeFrom(options)), options.output,
                 {{"section", section.name}, {"layers", layup.layers.size()}});
}

void DrawMaterial(const ORQObjDocument& document, const DrawOptions& options, Output& output) {
    const ORQExcMaterials materials(document);
    const ORQExcMaterials::Material& material = materials.Named(options.material);
    const MaterialPicture picture(material, ORQExcReadMaterialTables(material.position),
                                  SizeFrom(options));
    output.Write(picture, options.output,
                 {{"material", material.name}, {"graphs", picture.NumGraphs()}});
}

nlohmann::json ToJson(const ThroughThickness& through) {
    nlohmann::json values = nlohmann::json::array();
    for (std::size_t layer = 0; layer < through.values.size(); ++layer) {
        for (std::size_t point = 0; point < through.values[layer].size(); ++point) {
            const auto& [height, value] = through.values[layer][point];
            values.push_back({{"layer", layer + 1},
                              {"section_point", point + 1},
                              {"height", height},
                              {"value", value}});
        }
    }
    return {{"element", through.element},
            {"section", through.section},
            {"quantity", through.quantity},
            {"values", values}};
}

void DrawThrough(const ORQObjDocument& document, const DrawOptions& options, Output& output) {
    const ORQExcModel model(document);
    const ORQExcResults results(document);
    const ThroughThickness through = ReadThrough(
        model, results,
        {*options.through, options.instance, options.fields.front(), options.place.component,
         options.place.point, options.step.empty() ? 0 : TimeFrom(options.step)});
    output.Write(ThroughPicture(through, SizeFrom(options)), options.output, ToJson(through));
}

/// Draws the mesh of a model database, at one time or at all of them, or one of its layered
/// sections, materials or elements, to files. On any failure the output's name is as it was before. Throws
/// ORQExcExportError and ORQBasFailure.
ExitStatus RunDraw(const DrawOptions& options, const Console& console) {
    CheckFormat(options);
    Output output(options, console);
    const bool isOfMesh = options.section.empty() && options.material.empty() && !options.through;
    if (!isOfMesh) {
        output.Check(options.output);
    }
    const ORQObjDocument document(OpenModel(options.database));
    if (isOfMesh) {
        DrawMeshes(document, options, output);
    } else if (options.through) {
        DrawThrough(document, options, output);
    } else if (!options.section.empty()) {
        DrawSection(document, options, output);
    } else {
        DrawMaterial(document, options, output);
    }
    return ExitStatus::Done;
}

/// The words that --colour-by takes.
std::vector<std::string> ColourWords() {
    std::vector<std::string> words = {"block", "set", "section", "material"};
    std::ranges::move(MeasureNames(), std::back_inserter(words));
    return words;
}

}  // namespace

SubcommandRun DeclareDraw(CLI::App& command) {
    const auto options = std::make_shared<DrawOptions>();
    AddDatabase(command, options->database);
    command
        .add_option(
            "-o,--output", options->output,
            "The file to write; its ending names the format: a picture, .png or .svg, or a page "
            "to turn and cut in a browser, .html")
        ->required();
    command.add_option("--view", options->view,
                       "From where: iso, +x, -x, +y, -y, +z, -z or a direction X,Y,Z; "
                       "without it, from the front of a plane model, else iso");
    CLI::Option* field =
        command
            .add_option("--field", options->fields,
                        "Colour by the values of the results of that name: a field or one of its "
                        "components; may be repeated for a page")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    ShownPlace& place = options->place;
    command
        .add_option("--component", place.component,
                    "Of the field: this component; without it, the magnitude of a vector, or the "
                    "equivalent stress of von Mises of a tensor")
        ->needs(field);
    command
        .add_option("--layer", place.layer,
                    "Of a field with layers: this one, counted from 1 at the bottom")
        ->needs(field);
    command
        .add_option("--section-point", place.sectionPoint,
                    "bottom, middle or top of the layer, or its number from 1 at the bottom")
        ->needs(field);
    command
        .add_option("--point", place.point,
                    "Of a field with points: this one, counted from 1; without it, their mean")
        ->needs(field);
    command
        .add_flag("--extreme", place.isExtreme,
                  "The value of the largest magnitude in each element over all layers and points")
        ->needs(field);
    CLI::Option* at = command
                          .add_option("--at", place.at,
                                      "points as stored; nodes: of a field of elements, "
                                      "extrapolated and averaged over each block and section")
                          ->check(OneOf({"points", "nodes"}))
                          ->needs(field);
    command
        .add_flag("--across-borders", place.acrossBorders,
                  "With --at nodes: one average over all blocks and sections")
        ->needs(at);
    command
        .add_option("--deform", options->deform,
                    "Move the nodes by the vectors of that name, so many times as SCALE says; "
                    "without it, as far as can be seen")
        ->type_name("FIELD[:SCALE]");
    command
        .add_option("--step", options->step,
                    "The time of the field or deformation, counted from 1, or all, each in a "
                    "file of its own: -o name_%04d.png; without it, the last that has values, in a "
                    "page all")
        ->type_name("N|all");
    command
        .add_option("--clip", options->clips,
                    "Draw only elements whose middle lies there, as in x<0.5; may be repeated")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    CLI::Option* section =
        command.add_option("--section", options->section,
                           "Draw the layers of the section of that name instead of the mesh");
    CLI::Option* material =
        command
            .add_option("--material", options->material,
                        "Draw the properties of the material of that name, over temperature")
            ->excludes(section);
    CLI::Option* through =
        command
            .add_option("--through", options->through,
                        "Draw a field with layers through the thickness of the element of that "
                        "label instead of the mesh")
            ->type_name("ELEMENT")
            ->needs(field)
            ->excludes(section)
            ->excludes(material);
    command.add_option("--instance", options->instance, "The instance of the element")
        ->needs(through);
    command
        .add_option("--colour-by,--color-by", options->colourBy,
                    "What has a colour of its own, or what is measured of elements; block, "
                    "unless there is --set")
        ->check(OneOf(ColourWords()));
    command
        .add_option("--set", options->sets,
                    "Colour only the element set, surface or node set of that name; "
                    "may be repeated")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command
        .add_option("--block", options->blocks, "Draw only the block of that name; may be repeated")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command
        .add_option("--edges", options->edges,
                    "Which edges of elements are drawn; mesh, all of them, unless they are "
                    "too dense")
        ->check(OneOf({"none", "feature", "mesh"}));
    for (const char* ofMeshes : {"--view", "--colour-by", "--set", "--block", "--edges", "--field",
                                 "--deform", "--step", "--clip"}) {
        section->excludes(command.get_option(ofMeshes));
        material->excludes(command.get_option(ofMeshes));
    }
    for (const char* ofMeshes : {"--view", "--set", "--block", "--edges", "--deform", "--clip",
                                 "--layer", "--section-point", "--extreme", "--at"}) {
        through->excludes(command.get_option(ofMeshes));
    }
    field->excludes(command.get_option("--colour-by"));
    command.add_option("--size", options->size, "WIDTHxHEIGHT of a picture in pixels")
        ->default_str(kUsualSize);
    command
        .add_option("--page-limit", options->pageLimit,
                    "The most megabytes that a page may have; times that have no room are left out")
        ->check(CLI::Range(1.0, 1000.0))
        ->capture_default_str();
    command.add_flag("--force", options->force, "Replace a file of that name");
    AddJson(command, options->json);
    return Reading(options, RunDraw, &DrawOptions::database);
}

}  // namespace orqmodel
