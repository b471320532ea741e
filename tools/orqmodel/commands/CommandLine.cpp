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
        app_.require_subcommand(1);
        app_.set_version_flag("--version", "orqmodel " ORQMODEL_VERSION);
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
            app_.parse(arguments);
        } catch (const CLI::Success& answer) {  // Help or version was asked for.
            app_.exit(answer, console.out, console.err);
            return ExitStatus::kDone;
        }
        return run_(console);
    }

  private:
    void AddImport() {
        CLI::App* command = app_.add_subcommand(
            "import",
            "Make a model database from a mesh file (Exodus II, Gmsh, NASTRAN bulk data)");
        command->add_option("FILE", import_.input, "The mesh file")->required();
        command->add_option("-o,--output", import_.output, "The model database to make, NAME.orq")
            ->required();
        command->add_option("--layup", import_.layup,
                            "A layup file (JSON) that puts layered sections on the mesh");
        command
            ->add_option("--chunk-nodes", import_.chunk_nodes,
                         "The most nodes whose coordinates are stored as one piece")
            ->check(CLI::Range(1, std::numeric_limits<int>::max()))
            ->capture_default_str();
        command->add_flag("--force", import_.force, "Replace a model database of that name");
        command->add_flag("--strict", import_.strict,
                          "Import nothing, and exit with status 1, when content would be dropped");
        AddJson(command, import_.json);
        OnParsed(command, import_, RunImport);
    }

    void AddInfo() {
        CLI::App* command = app_.add_subcommand("info", "Show what a model database holds");
        command->add_option("DATABASE", info_.database, "The model database")->required();
        AddJson(command, info_.json);
        OnReading(command, info_, RunInfo, info_.database);
    }

    void AddVerify() {
        CLI::App* command = app_.add_subcommand(
            "verify", "Compare all checksums and follow all references of a model database");
        command->add_option("DATABASE", verify_.database, "The model database")->required();
        AddJson(command, verify_.json);
        OnParsed(command, verify_, RunVerify);
    }

    void AddCopy() {
        CLI::App* command = app_.add_subcommand(
            "copy", "Copy the last state of a model database, also while somebody writes to it");
        command->add_option("DATABASE", copy_.database, "The model database")->required();
        command->add_option("COPY", copy_.output, "The model database to make, NAME.orq")
            ->required();
        command->add_flag("--force", copy_.force, "Replace a model database of that name");
        AddJson(command, copy_.json);
        OnParsed(command, copy_, RunCopy);
    }

    void AddRecover() {
        CLI::App* command = app_.add_subcommand(
            "recover",
            "Make a new model database of what is whole in a damaged one, which stays as it is.\n"
            "Sets, drawers of values, tables and data sets that are damaged in part are left out\n"
            "whole, and links to them; objects to which no link leads any more are kept.\n"
            "Exit status 1 when anything is lost");
        command->add_option("DATABASE", recover_.database, "The damaged model database")
            ->required();
        command->add_option("-o,--output", recover_.output, "The model database to make, NAME.orq")
            ->required();
        AddJson(command, recover_.json);
        OnParsed(command, recover_, RunRecover);
    }

    void AddCheck() {
        CLI::App* command = app_.add_subcommand(
            "check", "Say what keeps a model from being displayed or post-processed");
        command->add_option("DATABASE", check_.database, "The model database")->required();
        command->add_flag("--explain", check_.explain,
                          "Group the findings and say what each means, breaks and needs");
        AddJson(command, check_.json);
        OnReading(command, check_, RunCheck, check_.database);
    }

    void AddExport() {
        CLI::App* command = app_.add_subcommand(
            "export", "Write a model to a file (Exodus II, NASTRAN bulk data, VTU)");
        command->add_option("DATABASE", export_.database, "The model database")->required();
        command
            ->add_option("-o,--output", export_.output,
                         "The file to write; its ending names the format")
            ->required();
        command->add_flag("--force", export_.force, "Replace a file of that name");
        command->add_flag("--strict", export_.strict,
                          "Write nothing, and exit with status 1, when content would be dropped");
        AddJson(command, export_.json);
        OnReading(command, export_, RunExport, export_.database);
    }

    void AddAdjacency() {
        CLI::App* command = app_.add_subcommand("adjacency", "Show the elements at a node");
        command->add_option("DATABASE", adjacency_.database, "The model database")->required();
        command->add_option("--node", adjacency_.node, "The label of the node")->required();
        command->add_option("--instance", adjacency_.instance,
                            "The instance, where several have a node of that label");
        AddJson(command, adjacency_.json);
        OnReading(command, adjacency_, RunAdjacency, adjacency_.database);
    }

    void AddDraw() {
        CLI::App* command = app_.add_subcommand(
            "draw", "Draw the mesh of a model, a section or a material, as a picture (PNG, SVG)");
        command->add_option("DATABASE", draw_.database, "The model database")->required();
        command
            ->add_option("-o,--output", draw_.output,
                         "The file to write; its ending, .png or .svg, names the format")
            ->required();
        command->add_option("--view", draw_.view,
                            "From where: iso, +x, -x, +y, -y, +z, -z or a direction X,Y,Z; "
                            "without it, from the front of a plane model, else iso");
        CLI::Option* field = command->add_option(
            "--field", draw_.field,
            "Colour by the values of the results of that name: a field or one of its components");
        command
            ->add_option("--step", draw_.step,
                         "The time of the field, counted from 1; without it, the last that has "
                         "values")
            ->check(CLI::Range(1, std::numeric_limits<int>::max()))
            ->needs(field);
        CLI::Option* section =
            command->add_option("--section", draw_.section,
                                "Draw the layers of the section of that name instead of the mesh");
        CLI::Option* material =
            command
                ->add_option("--material", draw_.material,
                             "Draw the properties of the material of that name, over temperature")
                ->excludes(section);
        command
            ->add_option("--colour-by,--color-by", draw_.colour_by,
                         "What has a colour of its own; block, unless there is --set")
            ->check(CLI::IsMember({"block", "set"}));
        command
            ->add_option("--set", draw_.sets,
                         "Colour only the element set, surface or node set of that name; "
                         "may be repeated")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        command
            ->add_option("--block", draw_.blocks,
                         "Draw only the block of that name; may be repeated")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        command
            ->add_option("--edges", draw_.edges,
                         "Which edges of elements are drawn; mesh, all of them, unless they are "
                         "too dense")
            ->check(CLI::IsMember({"none", "feature", "mesh"}));
        for (const char* of_meshes :
             {"--view", "--colour-by", "--set", "--block", "--edges", "--field"}) {
            section->excludes(command->get_option(of_meshes));
            material->excludes(command->get_option(of_meshes));
        }
        for (const char* of_groups : {"--colour-by", "--set"})
            field->excludes(command->get_option(of_groups));
        command->add_option("--size", draw_.size, "WIDTHxHEIGHT in pixels")->capture_default_str();
        command->add_flag("--force", draw_.force, "Replace a file of that name");
        AddJson(command, draw_.json);
        OnReading(command, draw_, RunDraw, draw_.database);
    }

    void AddFind() {
        CLI::App* command =
            app_.add_subcommand("find", "Show a set, surface or orientation by its name");
        command->add_option("DATABASE", find_.database, "The model database")->required();
        command->add_option("KIND", find_.kind, "What it is")
            ->required()
            ->check(CLI::IsMember(FindKinds()));
        command->add_option("NAME", find_.name.name, "The name; parts of it may be quoted")
            ->required();
        AddScope(command, find_.name);
        AddJson(command, find_.json);
        OnReading(command, find_, RunFind, find_.database);
    }

    void AddVariables() {
        CLI::App* command = app_.add_subcommand(
            "variables", "Say what the label of an output variable means, or list labels");
        command->add_option("LABEL", variables_.label,
                            "The label, or a pattern with *, ? and [...]; all labels without one");
        AddJson(command, variables_.json);
        OnParsed(command, variables_, RunVariables);
    }

    void AddMap() {
        CLI::App* command = app_.add_subcommand(
            "map", "Match the nodes and elements of two models by instance and label");
        command->add_option("PRIMARY", map_.primary, "The model to start from")->required();
        command->add_option("SECONDARY", map_.secondary, "The model to lead to")->required();
        command->add_option("--nodeset", map_.nodeset.name,
                            "A node set of the primary model, to be found in the secondary one");
        AddScope(command, map_.nodeset);
        command
            ->add_option("--tolerance", map_.tolerance, "List matched nodes that are further apart")
            ->check(CLI::NonNegativeNumber)
            ->capture_default_str();
        AddJson(command, map_.json);
        OnReading(command, map_, RunMap, map_.primary, map_.secondary);
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
            app_.add_subcommand("layers", "Show the layered sections of a model, or one's layers");
        command->add_option("DATABASE", layers_.database, "The model database")->required();
        CLI::Option* section =
            command->add_option("SECTION", layers_.section, "The name of the section");
        CLI::Option* element = command
                                   ->add_option("--element", layers_.element,
                                                "The label of an element, whose section is shown")
                                   ->excludes(section);
        command
            ->add_option("--instance", layers_.instance,
                         "The instance, where several have an element of that label")
            ->needs(element);
        AddJson(command, layers_.json);
        OnReading(command, layers_, RunLayers, layers_.database);
    }

    void AddMaterials() {
        CLI::App* command = app_.add_subcommand(
            "materials", "Show the materials of a model, or the properties of one as tables");
        command->add_option("DATABASE", materials_.database, "The model database")->required();
        command->add_option("MATERIAL", materials_.material, "The name of the material");
        AddJson(command, materials_.json);
        OnReading(command, materials_, RunMaterials, materials_.database);
    }

    void AddStatus() {
        CLI::App* command = app_.add_subcommand(
            "status", "Show how an analysis stands: its job, steps, warnings and errors");
        command->add_option("DATABASE", status_.database, "The model database")->required();
        command->add_flag("--watch", status_.watch,
                          "Go on with what is new, until the job ends or its process does");
        AddJson(command, status_.json);
        OnReading(command, status_, RunStatus, status_.database);
    }

    /// What is run when the subcommand was asked for.
    template <class Options>
    void OnParsed(CLI::App* command, const Options& options,
                  ExitStatus (*run)(const Options&, const Console&)) {
        command->callback([this, &options, run] {
            run_ = [&options, run](const Console& console) { return run(options, console); };
        });
    }

    /// The same of what only reads the databases of `names`.
    template <class Options, class... Names>
    void OnReading(CLI::App* command, const Options& options,
                   ExitStatus (*run)(const Options&, const Console&), const Names&... names) {
        command->callback([this, &options, run, &names...] {
            run_ = [&options, run, &names...](const Console& console) {
                ExitStatus status = ExitStatus::kDone;
                RunTellingDamage({names...}, [&] { status = run(options, console); });
                return status;
            };
        });
    }

    static void AddJson(CLI::App* command, bool& is_set) {
        command->add_flag("--json", is_set, "Report as one JSON object");
    }

    CLI::App app_{
        "Builds, shows and checks finite-element model databases.\n"
        "Exit status: 0 done, 1 done with findings, 2 wrong use, 3 cannot be read or "
        "written, or damaged,\n70 a fault of the program",
        "orqmodel"};
    std::function<ExitStatus(const Console&)> run_;
    ImportOptions import_;
    InfoOptions info_;
    VerifyOptions verify_;
    RecoverOptions recover_;
    CopyOptions copy_;
    CheckOptions check_;
    ExportOptions export_;
    AdjacencyOptions adjacency_;
    DrawOptions draw_;
    FindOptions find_;
    MapOptions map_;
    LayersOptions layers_;
    MaterialsOptions materials_;
    VariablesOptions variables_;
    StatusOptions status_;
};

int Fail(const Console& console, ExitStatus status, const std::string& text) {
    console.err << "orqmodel: " << ORQExcPrintable(text) << '\n';
    return static_cast<int>(status);
}

}  // namespace

int RunCommandLine(const std::vector<std::string>& arguments, const Console& given) {
    PrintableBuffer out_buffer(given.out);
    PrintableBuffer err_buffer(given.err);
    std::ostream out(&out_buffer);
    std::ostream err(&err_buffer);
    const Console console{out, err, given.shows_progress, &given.err};
    try {
        const ExitStatus status = CommandLine().Run(arguments, console);
        if (!console.out.flush())
            return Fail(console, ExitStatus::kUnreadable, "cannot write the output");
        return static_cast<int>(status);
    } catch (const ORQBasFailure& failure) {
        return Fail(console,
                    failure.Kind() == ORQBasFailureKind::Usage ? ExitStatus::kWrongUse
                                                               : ExitStatus::kUnreadable,
                    failure.Text());
    } catch (const CLI::ParseError& error) {
        return Fail(console, ExitStatus::kWrongUse,
                    std::string(error.what()) + "; orqmodel --help says more");
    } catch (const ORQExcImportError& error) {
        for (const std::string& text : error.Errors())
            Fail(console, ExitStatus::kUnreadable, text);
        return static_cast<int>(ExitStatus::kUnreadable);
    } catch (const ORQExcExportError& error) {
        return Fail(console, ExitStatus::kUnreadable, error.what());
    } catch (const std::filesystem::filesystem_error& error) {
        return Fail(console, ExitStatus::kUnreadable, error.what());
    } catch (const std::bad_alloc&) {
        return Fail(console, ExitStatus::kUnreadable, "out of memory");
    } catch (const Interrupted& interrupted) {
        Fail(console, ExitStatus::kInterrupted, "interrupted; nothing was changed");
        return static_cast<int>(ExitStatus::kInterrupted) + interrupted.signal;
    } catch (ORQBasException& exception) {
        return Fail(console, ExitStatus::kBrokenInvariant,
                    exception.DeveloperReport(ORQBasStringMode::Unicode).c_str());
    } catch (const std::exception& exception) {
        return Fail(console, ExitStatus::kBrokenInvariant, exception.what());
    }
}

}  // namespace orqmodel
