// What there is to do with stores of models beside their models: init-store, log and prune.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcTexts.h"
#include "ORQSimModelStore.h"
#include "commands/Arguments.h"
#include "queries/DiskUse.h"
#include "terminal/TextTable.h"

namespace orqmodel {
namespace {

using nlohmann::json;
using State = ORQSimModelStore::State;

struct StoreOptions {
    std::string url;
    std::int64_t keep = 0;  // states; 0 where it is not given
    std::string olderThan;  // empty where it is not given
    bool json = false;
};

/// Makes the tables and roles; names what this user may not make. Throws ORQBasFailure.
ExitStatus RunInitStore(const StoreOptions& options, const Console& console) {
    const std::vector<std::string> left = ORQSimModelStore::Prepare(options.url);
    if (options.json) {
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", "init-store"},
                                {"url", options.url},
                                {"left_out", left}});
    } else if (!console.IsQuiet()) {
        for (const std::string& text : left) {
            console.out << ORQExcPrintable(text) << '\n';
        }
        console.out << ORQExcPrintable(options.url) << " can hold models\n";
    }
    return ExitStatus::Done;
}

json ToJson(const State& state) {
    return {{"generation", state.generation},
            {"time", state.time},
            {"who", state.who},
            {"changed", state.summary},
            {"row_bytes", state.changesetBytes},
            {"bulk_bytes", state.pieceBytes}};
}

/// Lists the states that can be read, newest first. Throws ORQBasFailure.
ExitStatus RunLog(const StoreOptions& options, const Console& console) {
    const std::vector<State> states = ORQSimModelStore::Log(options.url);
    if (options.json) {
        json list = json::array();
        for (const State& state : states) {
            list.push_back(ToJson(state));
        }
        PrintJson(
            console.out,
            {{"schema_version", 1}, {"command", "log"}, {"url", options.url}, {"states", list}});
        return ExitStatus::Done;
    }
    std::vector<std::vector<std::string>> rows = {
        {"state", "time", "who", "rows", "bulk data", "changed"}};
    for (const State& state : states) {
        rows.push_back({std::to_string(state.generation), ORQExcPrintable(state.time),
                        ORQExcPrintable(state.who), BytesText(state.changesetBytes),
                        BytesText(state.pieceBytes), ORQExcPrintable(state.summary)});
    }
    PrintTable(rows, {true, false, false, true, true, false}, console.out, console.width);
    return ExitStatus::Done;
}

/// The seconds of a time such as 90s, 15m, 12h, 30d or 8w. Throws ORQBasFailure.
std::int64_t SecondsOf(const std::string& text) {
    constexpr std::pair<char, std::int64_t> kUnits[] = {
        {'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}};
    constexpr std::int64_t kMost = 1'000'000;  // of weeks is 19,000 years, and cannot overflow
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [unit, error] = std::from_chars(text.data(), end, number);
    for (const auto& [letter, seconds] : kUnits) {
        if (error == std::errc() && unit + 1 == end && *unit == letter && number >= 0 &&
            number <= kMost) {
            return number * seconds;
        }
    }
    ORQBasThrowUsage("--older-than " + text +
                     ": is no time: a number and s, m, h, d or w, for example 30d");
}

/// The first state to keep; the newest one always is. REQUIRES: states, newest first.
std::int64_t FirstToKeep(const StoreOptions& options, const std::vector<State>& states) {
    std::size_t nKept = 1;
    if (options.keep > 0) {
        nKept = std::min(static_cast<std::size_t>(options.keep), states.size());
    } else {
        const std::int64_t seconds = SecondsOf(options.olderThan);
        while (nKept < states.size() && states[nKept].ageSeconds <= seconds) {
            ++nKept;
        }
    }
    return states[nKept - 1].generation;
}

/// Drops old states, and the bulk data that only they have. Throws ORQBasFailure.
ExitStatus RunPrune(const StoreOptions& options, const Console& console) {
    if ((options.keep > 0) == !options.olderThan.empty()) {
        ORQBasThrowUsage("prune: give either --keep N or --older-than T");
    }
    const std::vector<State> states = ORQSimModelStore::Log(options.url);
    if (states.empty()) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged, options.url + ": has a head and no states");
    }
    const std::int64_t first = FirstToKeep(options, states);
    const std::int64_t nPieces = ORQSimModelStore::DropBefore(options.url, first);
    const auto nDropped =
        std::ranges::count_if(states, [&](const State& state) { return state.generation < first; });
    if (options.json) {
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", "prune"},
                                {"url", options.url},
                                {"oldest", first},
                                {"states_dropped", nDropped},
                                {"pieces_dropped", nPieces}});
    } else if (!console.IsQuiet()) {
        console.out << fmt::format(
            "{}: {} states dropped with {} pieces of bulk data; the oldest is "
            "{}\n",
            ORQExcPrintable(options.url), nDropped, nPieces, first);
    }
    return ExitStatus::Done;
}

std::shared_ptr<StoreOptions> AddStore(CLI::App& command, const char* what) {
    auto options = std::make_shared<StoreOptions>();
    command.add_option("URL", options->url, what)->required();
    AddJson(command, options->json);
    return options;
}

}  // namespace

SubcommandRun DeclareInitStore(CLI::App& command) {
    return Running(AddStore(command, "The store, postgresql://USER@HOST/DB"), RunInitStore);
}

SubcommandRun DeclareLog(CLI::App& command) {
    return Running(AddStore(command, "The model, postgresql://USER@HOST/DB?model=NAME"), RunLog);
}

SubcommandRun DeclarePrune(CLI::App& command) {
    const auto options = AddStore(command, "The model, postgresql://USER@HOST/DB?model=NAME");
    command.add_option("--keep", options->keep, "How many of the newest states to keep")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    command
        .add_option("--older-than", options->olderThan,
                    "Drop states of commits before this time: 30d, 12h")
        ->type_name("T");
    return Running(options, RunPrune);
}

}  // namespace orqmodel
