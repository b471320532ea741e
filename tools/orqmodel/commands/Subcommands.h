#pragma once

#include <functional>
#include <span>

#include "terminal/Console.h"

namespace CLI {
class App;
}

namespace orqmodel {

/// What a subcommand does, once its arguments are read.
using SubcommandRun = std::function<ExitStatus(const Console&)>;

/// A row of the table of subcommands. The program's help, its manual page and the completion of
/// shells come from this table and from what the rows declare.
struct Subcommand {
    const char* name;
    const char* summary;  ///< one line
    /// Adds the arguments and options to the subcommand, of which the table has given the name and
    /// the summary, and returns what runs with the values that the user gives.
    SubcommandRun (*declare)(CLI::App& command);
};

/// The subcommands in the order in which help lists them.
std::span<const Subcommand> Subcommands();

SubcommandRun DeclareAdjacency(CLI::App& command);
SubcommandRun DeclareCheck(CLI::App& command);
SubcommandRun DeclareCompact(CLI::App& command);
SubcommandRun DeclareCompletion(CLI::App& command);
SubcommandRun DeclareCopy(CLI::App& command);
SubcommandRun DeclareDiff(CLI::App& command);
SubcommandRun DeclareDraw(CLI::App& command);
SubcommandRun DeclareEdit(CLI::App& command);
SubcommandRun DeclareExport(CLI::App& command);
SubcommandRun DeclareFind(CLI::App& command);
SubcommandRun DeclareHelp(CLI::App& command);
SubcommandRun DeclareImport(CLI::App& command);
SubcommandRun DeclareInfo(CLI::App& command);
SubcommandRun DeclareInitStore(CLI::App& command);
SubcommandRun DeclareLayers(CLI::App& command);
SubcommandRun DeclareList(CLI::App& command);
SubcommandRun DeclareLog(CLI::App& command);
SubcommandRun DeclareMap(CLI::App& command);
SubcommandRun DeclareMaterials(CLI::App& command);
SubcommandRun DeclarePrune(CLI::App& command);
SubcommandRun DeclarePull(CLI::App& command);
SubcommandRun DeclarePush(CLI::App& command);
SubcommandRun DeclareRecover(CLI::App& command);
SubcommandRun DeclareStatus(CLI::App& command);
SubcommandRun DeclareTable(CLI::App& command);
SubcommandRun DeclareVariables(CLI::App& command);
SubcommandRun DeclareVerify(CLI::App& command);

}  // namespace orqmodel
