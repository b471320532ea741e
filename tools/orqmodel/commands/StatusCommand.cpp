#include <fmt/format.h>
#include <fmt/ranges.h>
#include <poll.h>

#include <nlohmann/json.hpp>
#include <string>

#include "commands/Arguments.h"
#include "queries/AnalysisStatus.h"
#include "terminal/InterruptGuard.h"

namespace orqmodel {
namespace {

struct StatusOptions {
    std::string database;
    bool json = false;
    bool watch = false;
};

// Soon enough for an eye, and a look costs a fraction of a millisecond.
constexpr int kMillisecondsBetweenLooks = 100;

const char* NameOf(ORQObjSeverity severity) {
    switch (severity) {
        case ORQObjSeverity::Error:
            return "error";
        case ORQObjSeverity::Warning:
            return "warning";
    }
    return "other";
}

// --- Text ----------------------------------------------------------------------------------------

struct ArgumentText {
    std::string operator()(int value) const { return fmt::to_string(value); }
    std::string operator()(double value) const { return fmt::format("{:g}", value); }
    std::string operator()(const ORQString& value) const {
        return fmt::format("\"{}\"", ORQExcPrintable(value.UTF8()));
    }
};

std::string Text(const AnalysisNews::Condition& condition) {
    std::vector<std::string> arguments;
    for (const ORQObjConditionArgument& argument : condition.arguments) {
        arguments.push_back(std::visit(ArgumentText(), argument));
    }
    const std::string times = condition.count > 1 ? fmt::format(" x{}", condition.count) : "";
    return fmt::format("{} {}{}{}{}", NameOf(condition.severity), condition.code, times,
                       arguments.empty() ? "" : ": ", fmt::join(arguments, ", "));
}

std::string Times(const std::vector<double>& times) {
    return times.size() == 1
               ? fmt::format("time {:g}", times.front())
               : fmt::format("{} times, {:g} to {:g}", times.size(), times.front(), times.back());
}

void PrintSteps(const AnalysisNews& news, std::ostream& out) {
    for (const AnalysisNews::Step& step : news.steps) {
        out << fmt::format("step {}\n", ORQExcPrintable(step.name));
        if (!step.times.empty()) {
            out << fmt::format("  {}\n", Times(step.times));
        }
        std::vector<std::string> fields;
        for (const AnalysisNews::Field& field : step.fields) {
            fields.push_back(fmt::format("{} ({})", ORQExcPrintable(field.name), field.newTimes));
        }
        if (!fields.empty()) {
            out << fmt::format("  results {}\n", fmt::join(fields, ", "));
        }
        for (const AnalysisNews::Condition& condition : step.conditions) {
            out << fmt::format("  {}\n", Text(condition));
        }
    }
}

void PrintJob(const AnalysisNews& news, std::ostream& out) {
    out << "job " << news.State();
    if (news.State() == "other") {
        out << ' ' << static_cast<int>(*news.job);
    }
    if (!news.writer.empty()) {
        out << ", open for writing by " << ORQExcPrintable(news.writer);
    }
    if (news.State() == "died") {
        out << ": it did not end, and nobody has the database open for writing any more";
    }
    out << '\n';
}

// --- JSON ----------------------------------------------------------------------------------------

struct ArgumentJson {
    nlohmann::json operator()(int value) const { return {{"kind", "int"}, {"value", value}}; }
    nlohmann::json operator()(double value) const { return {{"kind", "double"}, {"value", value}}; }
    nlohmann::json operator()(const ORQString& value) const {
        return {{"kind", "string"}, {"value", value.UTF8()}};
    }
};

nlohmann::json ToJson(const AnalysisNews::Step& step) {
    nlohmann::json fields = nlohmann::json::array();
    for (const AnalysisNews::Field& field : step.fields) {
        fields.push_back({{"name", field.name}, {"new_times", field.newTimes}});
    }
    nlohmann::json conditions = nlohmann::json::array();
    for (const AnalysisNews::Condition& condition : step.conditions) {
        nlohmann::json arguments = nlohmann::json::array();
        for (const ORQObjConditionArgument& argument : condition.arguments) {
            arguments.push_back(std::visit(ArgumentJson(), argument));
        }
        conditions.push_back({{"code", condition.code},
                              {"severity", NameOf(condition.severity)},
                              {"symbol", static_cast<int>(condition.severity)},
                              {"arguments", std::move(arguments)},
                              {"count", condition.count}});
    }
    return {{"name", step.name},
            {"times", step.times},
            {"fields", std::move(fields)},
            {"conditions", std::move(conditions)}};
}

nlohmann::json ToJson(const AnalysisNews& news, const std::string& database) {
    nlohmann::json steps = nlohmann::json::array();
    for (const AnalysisNews::Step& step : news.steps) {
        steps.push_back(ToJson(step));
    }
    const auto null = nlohmann::json();
    return {{"schema_version", 1},
            {"command", "status"},
            {"database", database},
            {"generation", news.generation},
            {"job",
             {{"state", news.State()},
              {"status", news.job ? nlohmann::json(static_cast<int>(*news.job)) : null},
              {"writer", news.writer.empty() ? null : nlohmann::json(news.writer)}}},
            {"steps", std::move(steps)}};
}

// --- Running -------------------------------------------------------------------------------------

void Print(const AnalysisNews& news, bool isJobNews, const StatusOptions& options,
           std::ostream& out) {
    if (options.json && options.watch) {
        PrintJsonLine(out, ToJson(news, options.database));
    } else if (options.json) {
        PrintJson(out, ToJson(news, options.database));
    } else {
        PrintSteps(news, out);
        if (isJobNews) {
            PrintJob(news, out);
        }
    }
    out.flush();
}

/// Shows the status of the job, its steps and the conditions reported in them. With `watch` also
/// what is new at each commit, until the job ends or its process does; Interrupted is thrown when
/// the user has enough.
ExitStatus RunStatus(const StatusOptions& options, const Console& console) {
    AnalysisFollower follower(options.database);
    const InterruptGuard interrupts;
    std::optional<AnalysisNews> latest;
    while (true) {
        if (auto news = follower.Look()) {
            // A commit of results leaves the state of the job as it was: its line would only
            // repeat.
            const bool isJobNews = !latest || latest->State() != news->State();
            Print(*news, isJobNews, options, console.out);
            latest = std::move(news);
        }
        interrupts.Check();
        if (!options.watch || !latest->IsGoingOn()) {
            break;
        }
        poll(nullptr, 0, kMillisecondsBetweenLooks);  // Unlike sleep_for, ends early at a signal.
    }
    const std::string state = latest->State();
    return state == "failed" || state == "died" ? ExitStatus::Findings : ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareStatus(CLI::App& command) {
    const auto options = std::make_shared<StatusOptions>();
    AddDatabase(command, options->database);
    command.add_flag("--watch", options->watch,
                     "Go on with what is new, until the job ends or its process does");
    AddJson(command, options->json);
    return Reading(options, RunStatus, &StatusOptions::database);
}

}  // namespace orqmodel
