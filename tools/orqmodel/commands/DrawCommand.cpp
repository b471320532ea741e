#include <array>
#include <charconv>
#include <filesystem>
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
#include "draw/MeshPicture.h"
#include "draw/Picture.h"
#include "queries/OpenModel.h"

namespace orqmodel {
namespace {

struct DrawOptions {
    std::string database;
    std::filesystem::path output;  // Its ending names the format: .png or .svg.
    std::string field;             // Whose values colour the mesh; empty for none.
    int step = 0;                  // The time of the field, from 1; 0 for the last with values.
    std::string section;           // Drawn instead of the mesh; empty for none.
    std::string material;          // As well.
    std::string view;              // As View::FromText takes it; empty for what suits the model.
    std::string colourBy;          // "block", "set", or empty: "set" when sets are named.
    std::vector<std::string> sets;
    std::vector<std::string> blocks;
    std::string edges;  // "none", "feature", "mesh", or empty for what suits the size.
    std::string size = "1200x900";
    bool force = false;  // Replace a file that has the name.
    bool json = false;
};

constexpr int kLeastSide = 32;
constexpr int kLargestSide = 10000;

bool IsSvg(const std::filesystem::path& file) {
    const std::string ending = file.extension().string();
    if (ending != ".svg" && ending != ".png") {
        ORQBasThrowUsage(file.string() + ": is of no format that can be drawn; endings: .png .svg");
    }
    return ending == ".svg";
}

PictureSize SizeFrom(const std::string& text) {
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
    if (options.colourBy == "block" && !options.sets.empty()) {
        ORQBasThrowUsage("--set and --colour-by block exclude each other");
    }
    if (!options.view.empty()) {
        picture.view = options.view;
    }
    picture.isBySet = options.colourBy == "set" || !options.sets.empty();
    picture.sets = options.sets;
    picture.blocks = options.blocks;
    if (!options.edges.empty()) {
        picture.edges = options.edges == "none"      ? EdgeKind::None
                        : options.edges == "feature" ? EdgeKind::Feature
                                                     : EdgeKind::Mesh;
    }
    picture.size = SizeFrom(options.size);
    return picture;
}

void Write(const Picture& picture, const std::filesystem::path& file, bool isSvg) {
    if (isSvg) {
        picture.WriteSvg(file);
    } else {
        picture.WritePng(file);
    }
}

/// Draws the mesh; answers how many facets, lines and dots its skin has.
nlohmann::json DrawMesh(const ORQObjDocument& document, const DrawOptions& options, bool isSvg,
                        const std::filesystem::path& file) {
    MeshPictureOptions pictureOptions = PictureOptions(options);
    const ORQExcModel model{document};
    if (!options.field.empty()) {
        pictureOptions.field =
            FieldValuesAt(model, ORQExcResults(document), options.field, options.step);
    }
    const MeshPicture picture(model, std::filesystem::path(options.database).stem().string(),
                              pictureOptions);
    Write(picture, file, isSvg);
    std::array<std::size_t, 3> counts{};
    const Skin& skin = picture.Contents().skin;
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        ++counts[static_cast<std::size_t>(skin.KindOf(part))];
    }
    const auto [dots, lines, facets] = counts;
    return {{"facets", facets}, {"lines", lines}, {"dots", dots}};
}

/// Draws a section; answers its name and how many layers it has.
nlohmann::json DrawSection(const ORQObjDocument& document, const DrawOptions& options, bool isSvg,
                           const std::filesystem::path& file) {
    const ORQExcSections sections(document);
    const ORQExcSections::Section& section = sections.Named(options.section);
    const ORQExcSections::Stack layup = sections.Read(section);
    Write(LayupPicture(section, layup, SizeFrom(options.size)), file, isSvg);
    return {{"section", section.name}, {"layers", layup.layers.size()}};
}

/// Draws a material; answers its name and how many graphs there are.
nlohmann::json DrawMaterial(const ORQObjDocument& document, const DrawOptions& options, bool isSvg,
                            const std::filesystem::path& file) {
    const ORQExcMaterials materials(document);
    const ORQExcMaterials::Material& material = materials.Named(options.material);
    const MaterialPicture picture(material, ORQExcReadMaterialTables(material.position),
                                  SizeFrom(options.size));
    Write(picture, file, isSvg);
    return {{"material", material.name}, {"graphs", picture.NumGraphs()}};
}

/// Draws the mesh of a model database, one of its layered sections or materials, to a file. On any
/// failure the output's name is as it was before. Throws ORQExcExportError and ORQBasFailure.
ExitStatus RunDraw(const DrawOptions& options, const Console& console) {
    const bool isSvg = IsSvg(options.output);
    if (!options.force &&
        std::filesystem::exists(std::filesystem::symlink_status(options.output))) {
        ORQBasThrowUsage(options.output.string() + ": exists already; --force replaces it");
    }
    ORQBasStaged file(options.output, "draw");
    const ORQObjDocument document(OpenModel(options.database));
    const auto draw = !options.section.empty()    ? DrawSection
                      : !options.material.empty() ? DrawMaterial
                                                  : DrawMesh;
    nlohmann::json contents = draw(document, options, isSvg, file.Path());
    file.PutIntoPlace(options.force);
    const char* const format = isSvg ? "SVG" : "PNG";
    if (options.json) {
        contents.update({{"schema_version", 1},
                         {"command", "draw"},
                         {"input", options.database},
                         {"format", format},
                         {"output", options.output.string()}});
        PrintJson(console.out, contents);
    } else if (!console.IsQuiet()) {
        console.out << ORQExcPrintable(options.database) << " -> "
                    << ORQExcPrintable(options.output.string()) << " (" << format << ")\n";
    }
    return ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareDraw(CLI::App& command) {
    const auto options = std::make_shared<DrawOptions>();
    AddDatabase(command, options->database);
    command
        .add_option("-o,--output", options->output,
                    "The file to write; its ending, .png or .svg, names the format")
        ->required();
    command.add_option("--view", options->view,
                       "From where: iso, +x, -x, +y, -y, +z, -z or a direction X,Y,Z; "
                       "without it, from the front of a plane model, else iso");
    CLI::Option* field = command.add_option(
        "--field", options->field,
        "Colour by the values of the results of that name: a field or one of its components");
    command
        .add_option("--step", options->step,
                    "The time of the field, counted from 1; without it, the last that has "
                    "values")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()))
        ->needs(field);
    CLI::Option* section =
        command.add_option("--section", options->section,
                           "Draw the layers of the section of that name instead of the mesh");
    CLI::Option* material =
        command
            .add_option("--material", options->material,
                        "Draw the properties of the material of that name, over temperature")
            ->excludes(section);
    command
        .add_option("--colour-by,--color-by", options->colourBy,
                    "What has a colour of its own; block, unless there is --set")
        ->check(OneOf({"block", "set"}));
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
    for (const char* ofMeshes :
         {"--view", "--colour-by", "--set", "--block", "--edges", "--field"}) {
        section->excludes(command.get_option(ofMeshes));
        material->excludes(command.get_option(ofMeshes));
    }
    for (const char* ofGroups : {"--colour-by", "--set"}) {
        field->excludes(command.get_option(ofGroups));
    }
    command.add_option("--size", options->size, "WIDTHxHEIGHT in pixels")->capture_default_str();
    command.add_flag("--force", options->force, "Replace a file of that name");
    AddJson(command, options->json);
    return Reading(options, RunDraw, &DrawOptions::database);
}

}  // namespace orqmodel
