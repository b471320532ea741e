// Transient heat conduction in the solid elements of a model database:
//
//     heat_conduction_bar bar.orq
//     heat_conduction bar.orq --hold LEFT=100 --hold RIGHT=0 --conductivity 0:1,100:2 &
//     orqmodel status bar.orq --watch

#include <CLI/CLI.hpp>
#include <charconv>
#include <iostream>

#include "HeatAnalysis.h"
#include "HeatModel.h"
#include "ORQBasFailure.h"
#include "ORQSrvBasicModule.h"
#include "ORQSrvDiagnosticsHandler.h"

namespace {

double NumberIn(std::string_view text) {
    double number = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw CLI::ValidationError("\"" + std::string(text) + "\" is not a number");
    }
    return number;
}

// The parts before and behind the last separator.
std::pair<std::string, std::string> Split(const std::string& text, char separator) {
    const std::size_t at = text.rfind(separator);
    if (at == std::string::npos) {
        throw CLI::ValidationError("\"" + text + "\" has no '" + separator + "'");
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

struct CommandLine {
    CLI::App app{"Transient heat conduction in the solid elements of a model database"};
    std::string database;
    heat::HeatOptions options;
    std::vector<std::string> held;
    std::vector<std::string> rows;

    CommandLine() {
        app.add_option("DATABASE", database, "The model database, which gets a new step")
            ->required();
        app.add_option("--hold", held, "NODESET=TEMPERATURE, from the start on; may be repeated");
        app.add_option("--conductivity", rows,
                       "TEMPERATURE:VALUE,... by ascending temperatures; without it, what the "
                       "material has")
            ->delimiter(',');
        app.add_option("--material", options.material, "The material that holds the conductivity")
            ->capture_default_str();
        app.add_option("--capacity", options.capacity, "Heat per volume and degree")
            ->capture_default_str();
        app.add_option("--initial", options.initialTemperature, "The temperature at the start")
            ->capture_default_str();
        app.add_option("--step", options.step, "The name of the step")->capture_default_str();
        app.add_option("--end", options.endTime, "The time at the end")->capture_default_str();
        app.add_option("--time-step", options.timeStep, "The largest time step")
            ->capture_default_str();
        app.add_option("--smallest-time-step", options.smallestTimeStep,
                       "Cut back no further than to this")
            ->capture_default_str();
        app.add_option("--tolerance", options.tolerance,
                       "The largest change of temperature in the last iteration")
            ->capture_default_str();
        app.add_option("--iterations", options.maxIterations, "The most iterations of an attempt")
            ->capture_default_str();
        app.add_option("--pause", options.pause, "Seconds to wait after each increment")
            ->capture_default_str();
    }

    void Parse(int argc, char** argv) {
        app.parse(argc, argv);
        for (const std::string& text : held) {
            const auto [set, temperature] = Split(text, '=');
            options.held.emplace_back(set, NumberIn(temperature));
        }
        for (const std::string& text : rows) {
            const auto [temperature, value] = Split(text, ':');
            options.conductivity.emplace_back(NumberIn(temperature), NumberIn(value));
        }
    }
};

// Answers the exit status: 1 when the analysis did not reach its end.
int Run(const CommandLine& commandLine) {
    const ORQObjDocument document(
        ORQSimDatabase::Open(commandLine.database, ORQSimDatabase::Mode::ReadWrite));
    const bool hasEnded = heat::RunHeatAnalysis(document, commandLine.options);
    omi_SingletonBase<ORQSrvDiagnosticsHandler>::Finalize();  // lets go of the document
    std::cout << (hasEnded ? "completed" : "failed") << "; orqmodel status " << commandLine.database
              << " says more\n";
    return hasEnded ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    int modules = 0;
    ORQSrvBasic_initialize(modules);
    int status = 3;
    CommandLine commandLine;
    try {
        commandLine.Parse(argc, argv);
        status = Run(commandLine);
    } catch (const CLI::Success& answer) {
        status = commandLine.app.exit(answer);
    } catch (const CLI::Error& error) {
        std::cerr << "heat_conduction: " << error.what() << '\n';
        status = 2;
    } catch (const heat::HeatError& error) {
        std::cerr << "heat_conduction: " << commandLine.database << ": " << error.what() << '\n';
        status = 2;
    } catch (const ORQBasFailure& failure) {
        std::cerr << "heat_conduction: " << failure.Text() << '\n';
    }
    ORQSrvBasic_finalize(modules);
    return status;
}
