#include "commands/Subcommands.h"

#include <array>

namespace orqmodel {
namespace {

constexpr std::array kSubcommands = {
    Subcommand{"import",
               "Make a model database from a mesh file (Exodus II, Gmsh, NASTRAN bulk data, VTU)",
               DeclareImport},
    Subcommand{"info", "Show what a model database holds", DeclareInfo},
    Subcommand{"list", "List the blocks, sets, materials, fields or other objects of a model",
               DeclareList},
    Subcommand{
        "table",
        "Write numbers of a model as a table: results, coordinates, connectivity, masses, ...",
        DeclareTable},
    Subcommand{"verify", "Compare all checksums and follow all references of a model database",
               DeclareVerify},
    Subcommand{"recover", "Make a new model database of what is whole in a damaged one",
               DeclareRecover},
    Subcommand{"copy", "Copy the last state of a model database, also while somebody writes to it",
               DeclareCopy},
    Subcommand{"edit", "Rename and delete objects, merge nodes, drop what is unused, renumber",
               DeclareEdit},
    Subcommand{"compact", "Give the space of what was deleted back to the disk", DeclareCompact},
    Subcommand{"check", "Find what is wrong with a model, and say where", DeclareCheck},
    Subcommand{"export", "Write a model to a file (Exodus II, Gmsh, NASTRAN bulk data, VTU)",
               DeclareExport},
    Subcommand{"adjacency", "Show the elements at a node", DeclareAdjacency},
    Subcommand{"draw",
               "Draw the mesh of a model, a section or a material, as a picture (PNG, SVG) or a "
               "page (HTML)",
               DeclareDraw},
    Subcommand{"find", "Show a set, surface or orientation by its name", DeclareFind},
    Subcommand{"map", "Match the nodes and elements of two models by instance and label",
               DeclareMap},
    Subcommand{"diff", "List what differs in two models: mesh, sets, sections, materials, results",
               DeclareDiff},
    Subcommand{"layers", "Show the layered sections of a model, or one's layers", DeclareLayers},
    Subcommand{"materials", "Show the materials of a model, or the properties of one as tables",
               DeclareMaterials},
    Subcommand{"variables", "Say what the label of an output variable means, or list labels",
               DeclareVariables},
    Subcommand{"status", "Show how an analysis stands: its job, steps, warnings and errors",
               DeclareStatus},
    Subcommand{"init-store", "Make the tables by which a PostgreSQL database holds models",
               DeclareInitStore},
    Subcommand{"push", "Put a model database into a store, where many machines share it",
               DeclarePush},
    Subcommand{"pull", "Make a model database of a model in a store", DeclarePull},
    Subcommand{"log", "List the states of a model in a store", DeclareLog},
    Subcommand{"prune", "Drop old states of a model in a store", DeclarePrune},
    Subcommand{"completion", "Print a script by which a shell completes what is typed",
               DeclareCompletion},
    Subcommand{"help", "Explain a subcommand", DeclareHelp},
};

}  // namespace

std::span<const Subcommand> Subcommands() {
    return kSubcommands;
}

}  // namespace orqmodel
