#include "commands/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <functional>
#include <limits>
#include <new>

#include "ORQBasFailure.h"
#include "ORQExcExportError.h"
#include "ORQExcImportError.h"
#include "commands/AdjacencyCommand.h"
#include "commands/CheckCommand.h"
#include "commands/CopyCommand.h"
#include "commands/DrawCommand.h"
#include "commands/ExportCommand.h"
#include "commands/FindCommand.h"
#include "commands/ImportCommand.h"
#include "commands/InfoCommand.h"
#include "commands/LayersCommand.h"
#include "commands/MapCommand.h"
#include "commands/MaterialsCommand.h"
#include "commands/RecoverCommand.h"
#include "commands/StatusCommand.h"
#include "commands/ToldDamage.h"
#include "commands/VariablesCommand.h"
#include "commands/VerifyCommand.h"
#include "terminal/InterruptGuard.h"

namespace orqmodel {
namespace {

/// The program's options, and which subcommand they are for.
class CommandLine {
  public:
    CommandLine() {
        m_app.require_subcommand(1);
        m_app.set_version_flag("--version", "orqmodel " ORQMODEL_VERSION);
        AddImport();
        AddInfo();
        AddVerify();
        AddRecover();
        AddCopy();
        AddCheck();
        AddExport();
        AddAdjacency();
        AddDraw();
        AddFind();
        AddMap();
        AddLayers();
        AddMaterials();
        AddVariables();
        AddStatus();
    }

    ExitStatus Run(std::vector<std::string> arguments, const Console& console) {
        std::reverse(arguments.begin(), arguments.end());  // As the parser takes them.
        try {
            m_app.parse(arguments);
        } catch (const CLI::Success& answer) {  // Help or version was asked for.
            m_app.exit(answer, console.out, console.err);
            return ExitStatus::Done;
        }
        return m_run(console);
    }

  private:
    void AddImport() {
        CLI::App* command = m_app.add_subcommand(
            "import",
            "Make a model database from a mesh file (Exodus II, Gmsh, NASTRAN bulk data)");
        command->add_option("FILE", m_import.input, "The mesh file")->required();
        command->add_option("-o,--output", m_import.output, "The model database to make, NAME.orq")
            ->required();
        command->add_option("--layup", m_import.layup,
                            "A layup file (JSON) that puts layered sections on the mesh");
        command
            ->add_option("--chunk-nodes", m_import.chunkNodes,
                         "The most nodes whose coordinates are stored as one piece")
            ->check(CLI::Range(1, std::numeric_limits<int>::max()))
            ->capture_default_str();
        command->add_flag("--force", m_import.force, "Replace a model database of that name");
        command->add_flag("--strict", m_import.strict,
                          "Import nothing, and exit with status 1, when content would be dropped");
        AddVerbose(command, m_import.verbose);
        AddJson(command, m_import.json);
        OnParsed(command, m_import, RunImport);
    }

    void AddInfo() {
        CLI::App* command = m_app.add_subcommand("info", "Show what a model database holds");
        command->add_option("DATABASE", m_info.database, "The model database")->required();
        AddJson(command, m_info.json);
        OnReading(command, m_info, RunInfo, m_info.database);
    }

    void AddVerify() {
        CLI::App* command = m_app.add_subcommand(
            "verify", "Compare all checksums and follow all references of a model database");
        command->add_option("DATABASE", m_verify.database, "The model database")->required();
        AddJson(command, m_verify.json);
        OnParsed(command, m_verify, RunVerify);
    }

    void AddCopy() {
        CLI::App* command = m_app.add_subcommand(
            "copy", "Copy the last state of a model database, also while somebody writes to it");
        command->add_option("DATABASE", m_copy.database, "The model database")->required();
        command->add_option("COPY", m_copy.output, "The model database to make, NAME.orq")
            ->required();
        command->add_flag("--force", m_copy.force, "Replace a model database of that name");
        AddJson(command, m_copy.json);
        OnParsed(command, m_copy, RunCopy);
    }

    void AddRecover() {
        CLI::App* command = m_app.add_subcommand(
            "recover",
            "Make a new model database of what is whole in a damaged one, which stays as it is.\n"
            "Sets, drawers of values, tables and data sets that are damaged in part are left out\n"
            "whole, and links to them; objects to which no link leads any more are kept.\n"
            "Exit status 1 when anything is lost");
        command->add_option("DATABASE", m_recover.database, "The damaged model database")
            ->required();
        command->add_option("-o,--output", m_recover.output, "The model database to make, NAME.orq")
            ->required();
        AddJson(command, m_recover.json);
        OnParsed(command, m_recover, RunRecover);
    }

    void AddCheck() {
        CLI::App* command = m_app.add_subcommand(
            "check", "Say what keeps a model from being displayed or post-processed");
        command->add_option("DATABASE", m_check.database, "The model database")->required();
        command->add_flag("--explain", m_check.explain,
                          "Group the findings and say what each means, breaks and needs");
        AddJson(command, m_check.json);
        OnReading(command, m_check, RunCheck, m_check.database);
    }

    void AddExport() {
        CLI::App* command = m_app.add_subcommand(
            "export", "Write a model to a file (Exodus II, NASTRAN bulk data, VTU)");
        command->add_option("DATABASE", m_export.database, "The model database")->required();
        command
            ->add_option("-o,--output", m_export.output,
                         "The file to write; its ending names the format")
            ->required();
        command->add_flag("--force", m_export.force, "Replace a file of that name");
        command->add_flag("--strict", m_export.strict,
                          "Write nothing, and exit with status 1, when content would be dropped");
        AddVerbose(command, m_export.verbose);
        AddJson(command, m_export.json);
        OnReading(command, m_export, RunExport, m_export.database);
    }

    void AddAdjacency() {
        CLI::App* command = m_app.add_subcommand("adjacency", "Show the elements at a node");
        command->add_option("DATABASE", m_adjacency.database, "The model database")->required();
        command->add_option("--node", m_adjacency.node, "The label of the node")->required();
        command->add_option("--instance", m_adjacency.instance,
                            "The instance, where several have a node of that label");
        AddJson(command, m_adjacency.json);
        OnReading(command, m_adjacency, RunAdjacency, m_adjacency.database);
    }

    void AddDraw() {
        CLI::App* command = m_app.add_subcommand(
            "draw", "Draw the mesh of a model, a section or a material, as a picture (PNG, SVG)");
        command->add_option("DATABASE", m_draw.database, "The model database")->required();
        command
            ->add_option("-o,--output", m_draw.output,
                         "The file to write; its ending, .png or .svg, names the format")
            ->required();
        command->add_option("--view", m_draw.view,
                            "From where: iso, +x, -x, +y, -y, +z, -z or a direction X,Y,Z; "
                            "without it, from the front of a plane model, else iso");
        CLI::Option* field = command->add_option(
            "--field", m_draw.field,
            "Colour by the values of the results of that name: a field or one of its components");
        command
            ->add_option("--step", m_draw.step,
                         "The time of the field, counted from 1; without it, the last that has "
                         "values")
            ->check(CLI::Range(1, std::numeric_limits<int>::max()))
            ->needs(field);
        CLI::Option* section =
            command->add_option("--section", m_draw.section,
                                "Draw the layers of the section of that name instead of the mesh");
        CLI::Option* material =
            command
                ->add_option("--material", m_draw.material,
                             "Draw the properties of the material of that name, over temperature")
                ->excludes(section);
        command
            ->add_option("--colour-by,--color-by", m_draw.colourBy,
                         "What has a colour of its own; block, unless there is --set")
            ->check(CLI::IsMember({"block", "set"}));
        command
            ->add_option("--set", m_draw.sets,
                         "Colour only the element set, surface or node set of that name; "
                         "may be repeated")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        command
            ->add_option("--block", m_draw.blocks,
                         "Draw only the block of that name; may be repeated")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        command
            ->add_option("--edges", m_draw.edges,
                         "Which edges of elements are drawn; mesh, all of them, unless they are "
                         "too dense")
            ->check(CLI::IsMember({"none", "feature", "mesh"}));
        for (const char* ofMeshes :
             {"--view", "--colour-by", "--set", "--block", "--edges", "--field"}) {
            section->excludes(command->get_option(ofMeshes));
            material->excludes(command->get_option(ofMeshes));
        }
        for (const char* ofGroups : {"--colour-by", "--set"}) {
            field->excludes(command->get_option(ofGroups));
        }
        command->add_option("--size", m_draw.size, "WIDTHxHEIGHT in pixels")->capture_default_str();
        command->add_flag("--force", m_draw.force, "Replace a file of that name");
        AddJson(command, m_draw.json);
        OnReading(command, m_draw, RunDraw, m_draw.database);
    }

    void AddFind() {
        CLI::App* command =
            m_app.add_subcommand("find", "Show a set, surface or orientation by its name");
        command->add_option("DATABASE", m_find.database, "The model database")->required();
        command->add_option("KIND", m_find.kind, "What it is")
            ->required()
            ->check(CLI::IsMember(FindKinds()));
        command->add_option("NAME", m_find.name.name, "The name; parts of it may be quoted")
            ->required();
        AddScope(command, m_find.name);
        AddJson(command, m_find.json);
        OnReading(command, m_find, RunFind, m_find.database);
    }

    void AddVariables() {
        CLI::App* command = m_app.add_subcommand(
            "variables", "Say what the label of an output variable means, or list labels");
        command->add_option("LABEL", m_variables.label,
                            "The label, or a pattern with *, ? and [...]; all labels without one");
        AddJson(command, m_variables.json);
        OnParsed(command, m_variables, RunVariables);
    }

    void AddMap() {
        CLI::App* command = m_app.add_subcommand(
            "map", "Match the nodes and elements of two models by instance and label");
        command->add_option("PRIMARY", m_map.primary, "The model to start from")->required();
        command->add_option("SECONDARY", m_map.secondary, "The model to lead to")->required();
        command->add_option("--nodeset", m_map.nodeset.name,
                            "A node set of the primary model, to be found in the secondary one");
        AddScope(command, m_map.nodeset);
        command
            ->add_option("--tolerance", m_map.tolerance,
                         "List matched nodes that are further apart")
            ->check(CLI::NonNegativeNumber)
            ->capture_default_str();
        AddJson(command, m_map.json);
        OnReading(command, m_map, RunMap, m_map.primary, m_map.secondary);
    }

    static void AddScope(CLI::App* command, ScopedName& name) {
        command->add_option("--instance", name.instance, "The instance that the name belongs to");
        command
            ->add_option("--separator", name.separator,
                         "What stands between instance and name in a name")
            ->capture_default_str();
    }

    void AddLayers() {
        CLI::App* command =
            m_app.add_subcommand("layers", "Show the layered sections of a model, or one's layers");
        command->add_option("DATABASE", m_layers.database, "The model database")->required();
        CLI::Option* section =
            command->add_option("SECTION", m_layers.section, "The name of the section");
        CLI::Option* element = command
                                   ->add_option("--element", m_layers.element,
                                                "The label of an element, whose section is shown")
                                   ->excludes(section);
        command
            ->add_option("--instance", m_layers.instance,
                         "The instance, where several have an element of that label")
            ->needs(element);
        AddJson(command, m_layers.json);
        OnReading(command, m_layers, RunLayers, m_layers.database);
    }

    void AddMaterials() {
        CLI::App* command = m_app.add_subcommand(
            "materials", "Show the materials of a model, or the properties of one as tables");
        command->add_option("DATABASE", m_materials.database, "The model database")->required();
        command->add_option("MATERIAL", m_materials.material, "The name of the material");
        AddJson(command, m_materials.json);
        OnReading(command, m_materials, RunMaterials, m_materials.database);
    }

    void AddStatus() {
        CLI::App* command = m_app.add_subcommand(
            "status", "Show how an analysis stands: its job, steps, warnings and errors");
        command->add_option("DATABASE", m_status.database, "The model database")->required();
        command->add_flag("--watch", m_status.watch,
                          "Go on with what is new, until the job ends or its process does");
        AddJson(command, m_status.json);
        OnReading(command, m_status, RunStatus, m_status.database);
    }

    /// What is run when the subcommand was asked for.
    template <class Options>
    void OnParsed(CLI::App* command, const Options& options,
                  ExitStatus (*run)(const Options&, const Console&)) {
        command->callback([this, &options, run] {
            m_run = [&options, run](const Console& console) { return run(options, console); };
        });
    }

    /// The same of what only reads the databases of `names`.
    template <class Options, class... Names>
    void OnReading(CLI::App* command, const Options& options,
                   ExitStatus (*run)(const Options&, const Console&), const Names&... names) {
        command->callback([this, &options, run, &names...] {
            m_run = [&options, run, &names...](const Console& console) {
                ExitStatus status = ExitStatus::Done;
                RunTellingDamage({names...}, [&] { status = run(options, console); });
                return status;
            };
        });
    }

    static void AddVerbose(CLI::App* command, bool& isSet) {
        command->add_flag("--verbose", isSet, "Name every object in the report");
    }

    static void AddJson(CLI::App* command, bool& isSet) {
        command->add_flag("--json", isSet, "Report as one JSON object");
    }

    CLI::App m_app{
        "Builds, shows and checks finite-element model databases.\n"
        "Exit status: 0 done, 1 done with findings, 2 wrong use, 3 cannot be read or "
        "written, or damaged,\n70 a fault of the program",
        "orqmodel"};
    std::function<ExitStatus(const Console&)> m_run;
    ImportOptions m_import;
    InfoOptions m_info;
    VerifyOptions m_verify;
    RecoverOptions m_recover;
    CopyOptions m_copy;
    CheckOptions m_check;
    ExportOptions m_export;
    AdjacencyOptions m_adjacency;
    DrawOptions m_draw;
    FindOptions m_find;
    MapOptions m_map;
    LayersOptions m_layers;
    MaterialsOptions m_materials;
    VariablesOptions m_variables;
    StatusOptions m_status;
};

int Fail(const Console& console, ExitStatus status, const std::string& text) {
    console.err << "orqmodel: " << ORQExcPrintable(text) << '\n';
    return static_cast<int>(status);
}

}  // namespace

int RunCommandLine(const std::vector<std::string>& arguments, const Console& given) {
    PrintableBuffer outBuffer(given.out);
    PrintableBuffer errBuffer(given.err);
    std::ostream out(&outBuffer);
    std::ostream err(&errBuffer);
    const Console console{out, err, given.showsProgress, &given.err};
    try {
        const ExitStatus status = CommandLine().Run(arguments, console);
        if (!console.out.flush()) {
            return Fail(console, ExitStatus::Unreadable, "cannot write the output");
        }
        return static_cast<int>(status);
    } catch (const ORQBasFailure& failure) {
        return Fail(console,
                    failure.Kind() == ORQBasFailureKind::Usage ? ExitStatus::WrongUse
                                                               : ExitStatus::Unreadable,
                    failure.Text());
    } catch (const CLI::ParseError& error) {
        return Fail(console, ExitStatus::WrongUse,
                    std::string(error.what()) + "; orqmodel --help says more");
    } catch (const ORQExcImportError& error) {
        for (const std::string& text : error.Errors()) {
            Fail(console, ExitStatus::Unreadable, text);
        }
        return static_cast<int>(ExitStatus::Unreadable);
    } catch (const ORQExcExportError& error) {
        return Fail(console, ExitStatus::Unreadable, error.what());
    } catch (const std::filesystem::filesystem_error& error) {
        return Fail(console, ExitStatus::Unreadable, error.what());
    } catch (const std::bad_alloc&) {
        return Fail(console, ExitStatus::Unreadable, "out of memory");
    } catch (const Interrupted& interrupted) {
        Fail(console, ExitStatus::Interrupted, "interrupted; nothing was changed");
        return static_cast<int>(ExitStatus::Interrupted) + interrupted.signal;
    } catch (ORQBasException& exception) {
        return Fail(console, ExitStatus::BrokenInvariant,
                    exception.DeveloperReport(ORQBasStringMode::Unicode).c_str());
    } catch (const std::exception& exception) {
        return Fail(console, ExitStatus::BrokenInvariant, exception.what());
    }
}

}  // namespace orqmodel
