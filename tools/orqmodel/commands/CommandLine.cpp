#include "commands/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>

#include "ORQBasFailure.h"
#include "ORQExcExportError.h"
#include "ORQExcImportError.h"
#include "ORQExcNearNames.h"
#include "commands/Manual.h"
#include "commands/Subcommands.h"
#include "terminal/InterruptGuard.h"

namespace orqmodel {
namespace {

/// The program's arguments, read by the table of subcommands.
class CommandLine {
  public:
    /// `width` as in Console.
    explicit CommandLine(int width) {
        m_app.formatter(HelpFormatter(width));
        m_app.require_subcommand(1);
        m_app.set_version_flag("--version", "orqmodel " ORQMODEL_VERSION);
        for (const Subcommand& row : Subcommands()) {
            CLI::App* const command = m_app.add_subcommand(row.name, row.summary);
            const SubcommandRun run = row.declare(*command);
            AddCommon(*command);
            command->callback([this, run] { m_run = run; });
        }
    }

    ExitStatus Run(const std::vector<std::string>& arguments, Console console) {
        CheckSubcommand(arguments);
        try {
            // The parser takes the last one first.
            m_app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        } catch (const CLI::ExtrasError& error) {
            ORQBasThrowUsage(error.what() + NearOptions(arguments));
        } catch (const CLI::Success& answer) {  // --help or --version.
            m_app.exit(answer, console.out, console.err);
            return ExitStatus::Done;
        }
        console.verbosity = m_verbosity;
        console.showsProgress = console.showsProgress && m_verbosity != Verbosity::Quiet;
        return m_run(console);
    }

  private:
    /// Names near subcommands; the parser would only say that there is no such one.
    static void CheckSubcommand(const std::vector<std::string>& arguments) {
        if (arguments.empty() || arguments[0].starts_with('-')) {
            return;
        }
        std::vector<std::string> names;
        for (const Subcommand& row : Subcommands()) {
            names.emplace_back(row.name);
        }
        if (std::ranges::find(names, arguments[0]) == names.end()) {
            ORQBasThrowUsage(arguments[0] + " is no subcommand" +
                             ORQExcIsIt(ORQExcSpeltAlike(arguments[0], arguments[0], names)) +
                             " (orqmodel --help lists all)");
        }
    }

    /// Options of the subcommand that are spelt like the first one that it does not have.
    std::string NearOptions(const std::vector<std::string>& arguments) const {
        std::vector<std::string> names;
        for (const CLI::Option* option : m_app.get_subcommand(arguments[0])->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
        for (const std::string& argument : arguments) {
            const std::string name = argument.substr(0, argument.find('='));
            if (name.starts_with("--") && std::ranges::find(names, name) == names.end()) {
                return ORQExcIsIt(ORQExcSpeltAlike(name, name, names));
            }
        }
        return {};
    }

    void AddCommon(CLI::App& command) {
        CLI::Option* const quiet = command.add_flag_callback(
            "-q,--quiet", [this] { m_verbosity = Verbosity::Quiet; },
            "Show no progress, and of what was done only what went wrong");
        command
            .add_flag_callback(
                "-v,--verbose", [this] { m_verbosity = Verbosity::Verbose; },
                "Show more: every name where reports shorten lists")
            ->excludes(quiet);
    }

    CLI::App m_app{
        "Builds, shows and checks finite-element model databases.\n"
        "Exit status: 0 done, 1 done with findings, 2 wrong use, 3 cannot be read or "
        "written, or damaged,\n70 a fault of the program",
        "orqmodel"};
    Verbosity m_verbosity = Verbosity::Ordinary;
    SubcommandRun m_run;
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
    const Console console{out,        err,         given.showsProgress, &given.err, given.verbosity,
                          &given.out, given.width, given.height};
    try {
        const ExitStatus status = CommandLine(console.width).Run(arguments, console);
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
        Fail(console, ExitStatus::Interrupted,
             (std::string("interrupted; ") + interrupted.left).c_str());
        return static_cast<int>(ExitStatus::Interrupted) + interrupted.signal;
    } catch (ORQBasException& exception) {
        return Fail(console, ExitStatus::BrokenInvariant,
                    exception.DeveloperReport(ORQBasStringMode::Unicode).c_str());
    } catch (const std::exception& exception) {
        return Fail(console, ExitStatus::BrokenInvariant, exception.what());
    }
}

}  // namespace orqmodel
