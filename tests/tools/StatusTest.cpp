// How an analysis stands, and following one that another process runs.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>

#include "BarModel.h"
#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSrvDiagnosticsHandler.h"
#include "queries/AnalysisStatus.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class StatusTest : public testing::Test {
  protected:
    ~StatusTest() override {
        for (const pid_t process : m_processes) {
            kill(process, SIGKILL);
        }
        for (const pid_t process : m_processes) {
            StatusOf(process);
        }
    }

    /// `increments` of an analysis, which pauses after each; with few iterations it cuts back.
    pid_t StartAnalysis(double increments, double pause, int iterations = 10) {
        heat::WriteBar({}, m_model);
        m_processes.push_back(StartProgram(
            ORQ_HEAT_CONDUCTION,
            {m_model, "--hold", "LEFT=100", "--conductivity", "0:1,100:3", "--iterations",
             std::to_string(iterations), "--time-step", "0.02", "--end",
             std::to_string(0.02 * increments), "--pause", std::to_string(pause)},
            m_folder / "heat", m_folder / "heat.err"));
        return m_processes.back();
    }
    pid_t StartWatch() {
        m_processes.push_back(
            Start({"status", m_model, "--watch", "--json"}, m_watched, m_folder / "watch.err"));
        return m_processes.back();
    }
    /// Waits for the end; a process that goes on for ever is a failure.
    int EndOf(pid_t process) {
        constexpr int kMilliseconds = 30'000;
        for (int waited = 0; waited < kMilliseconds; ++waited) {
            siginfo_t end{};
            waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOHANG | WNOWAIT);
            if (end.si_pid != 0) {
                break;
            }
            usleep(1000);
        }
        kill(process, SIGKILL);
        std::erase(m_processes, process);
        return StatusOf(process);
    }
    json Status() const { return json::parse(RunHere({"status", m_model, "--json"}).out); }
    /// Waits until so many times are there.
    void AwaitTimes(std::size_t count) const {
        for (int waited = 0; waited < 30'000; waited += 5) {
            const json steps = Status()["steps"];
            if (!steps.empty() && steps[0]["times"].size() >= count) {
                return;
            }
            usleep(5000);
        }
        FAIL() << "the analysis does not get on: " << Bytes(m_folder / "heat.err");
    }
    std::vector<json> Lines() const {
        std::vector<json> lines;
        std::istringstream stream(Bytes(m_watched));
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(json::parse(line));
        }
        return lines;
    }
    /// What the lines say of the one step, put together, is what a look at the end shows.
    void ExpectLinesAddUp(const std::vector<json>& lines) const {
        json times = json::array();
        json conditions = json::array();
        int fieldTimes = 0;
        for (const json& line : lines) {
            for (const json& step : line["steps"]) {
                times.insert(times.end(), step["times"].begin(), step["times"].end());
                conditions.insert(conditions.end(), step["conditions"].begin(),
                                  step["conditions"].end());
                for (const json& field : step["fields"]) {
                    fieldTimes += field["new_times"].get<int>();
                }
            }
        }
        const json whole = Status()["steps"][0];
        EXPECT_EQ(times, whole["times"]);
        EXPECT_EQ(conditions, whole["conditions"]);
        EXPECT_EQ(static_cast<std::size_t>(fieldTimes), 2 * times.size());
    }

    exodus_file::ScratchFolder m_folder;
    std::string m_model = ModelAt(m_folder / "model.orq");
    std::string m_watched = m_folder / "watched";
    std::vector<pid_t> m_processes;
};

TEST(AnalysisFollower, ANewFieldHasNothingOfThoseThatAreKnown) {
    const exodus_file::ScratchFolder folder;
    const std::string path = folder / "m.orq";
    const ORQSimDatabase database = ORQSimDatabase::Create(path);
    ORQSimPosition step;
    const auto write = [&](const char* name, bool isHistory) {
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjStepBuilder steps{ORQObjModelBuilder(database).Document()};
        if (step.IsNull()) {
            step = steps.AddStep("step", ORQSimSchema::Step_General);
            steps.AddTimes(step, std::vector{0.5});
        }
        const ORQObjFieldDefinition definition{
            name, steps.UserFieldType(name), ORQSimSchema::Field_WholeModel, {}, {{38, "value"}}};
        const double value = 1;
        (isHistory ? steps.AddHistoryField(step, definition)
                   : steps.AddFieldResult(step, definition))
            .Write(ORQObjStep(step).GetTimes().ID(), {}, &value);
        transaction.Commit();
    };
    const auto fieldsOf = [](const std::optional<orqmodel::AnalysisNews>& news) {
        std::vector<std::string> fields;
        for (const auto& each : news ? news->steps : decltype(news->steps)()) {
            for (const auto& field : each.fields) {
                fields.push_back(field.name + " " + std::to_string(field.newTimes));
            }
        }
        return fields;
    };
    write("result", false);
    write("history", true);
    orqmodel::AnalysisFollower follower(path);
    EXPECT_THAT(fieldsOf(follower.Look()), testing::ElementsAre("result 1", "history 1"));
    // It takes the place that the history had.
    write("another result", false);
    EXPECT_THAT(fieldsOf(follower.Look()), testing::ElementsAre("another result 1"));
}

}  // namespace

TEST_F(StatusTest, FoldsEqualConditionsAndShowsTheirArguments) {
    auto& handler = omi_Singleton<ORQSrvDiagnosticsHandler>::Instance();
    {
        ORQObjDocument document(ORQSimDatabase::Create(m_model));
        EXPECT_THAT(RunHere({"status", m_model}).out, HasSubstr("job none, open for writing"));
        ORQSimTransaction transaction(document.ContextID());
        const ORQObjModelBuilder builder(document.Database());
        const ORQObjStepBuilder steps(document);
        steps.AddStep("First", ORQSimSchema::Step_General);
        steps.AddStep("A last one", ORQSimSchema::Step_General);
        transaction.Commit();
        handler.SetDocument(document);
        const auto report = [&](bool isError, int number, double value, const char* text) {
            char* texts[] = {const_cast<char*>(text)};
            handler.AddWarningError(5, isError, &number, 1, &value, 1, texts, 1, nullptr, 0,
                                    nullptr, 0);
        };
        handler.BeginStep("First");
        for (int i = 0; i < 3; ++i) {
            report(false, 1, 0.5, "twice\x1B[31m");
            report(false, i / 2, 0.25, "");
            report(true, 1, 0.5, "twice\x1B[31m");
        }
        handler.SetJobStatus(0);
        EXPECT_THAT(
            RunHere({"status", m_model}).out,
            HasSubstr("job running, open for writing by process " + std::to_string(getpid())));
        handler.SetJobStatus(117);
        omi_SingletonBase<ORQSrvDiagnosticsHandler>::Finalize();
    }
    const CommandResult text = RunHere({"status", m_model});
    EXPECT_EQ(text.status, 0);
    EXPECT_THAT(text.out, AllOf(HasSubstr("warning 5 x3: 1, 0.5, \"twice\uFFFD[31m\"\n"),
                                HasSubstr("warning 5 x2: 0, 0.25, \"\"\n"),
                                HasSubstr("warning 5: 1, 0.25, \"\"\n"),
                                HasSubstr("error 5 x3: 1, 0.5"), HasSubstr("job other 117\n"),
                                HasSubstr("step First\n"), HasSubstr("step A last one\n")));
    const json status = Status();
    EXPECT_EQ(status["job"], (json{{"state", "other"}, {"status", 117}, {"writer", nullptr}}));
    EXPECT_EQ(status["steps"][1]["name"], "A last one");
    EXPECT_EQ(status["steps"][0]["conditions"][1], (json{{"code", 5},
                                                         {"severity", "warning"},
                                                         {"symbol", 3},
                                                         {"count", 2},
                                                         {"arguments",
                                                          {{{"kind", "int"}, {"value", 0}},
                                                           {{"kind", "double"}, {"value", 0.25}},
                                                           {{"kind", "string"}, {"value", ""}}}}}));
    EXPECT_EQ(RunHere({"status", m_folder / "none.orq"}).status, 3);
}

TEST_F(StatusTest, AWatchShowsEveryCommitAndEndsWithTheJob) {
    const pid_t analysis = StartAnalysis(12, 0.15);
    AwaitTimes(1);
    const pid_t watch = StartWatch();
    EXPECT_EQ(EndOf(analysis), 0) << Bytes(m_folder / "heat.err");
    EXPECT_EQ(EndOf(watch), 0) << Bytes(m_folder / "watch.err");
    const std::vector<json> lines = Lines();
    EXPECT_GT(lines.size(), 5U);
    EXPECT_EQ(lines.front()["job"]["state"], "running");
    EXPECT_EQ(lines.back()["job"]["state"], "completed");
    ExpectLinesAddUp(lines);
}

TEST_F(StatusTest, AKilledAnalysisIsFoundDeadWithAllThatItCommitted) {
    const pid_t analysis = StartAnalysis(1000, 0.05, 6);
    AwaitTimes(2);
    const pid_t watch = StartWatch();
    AwaitTimes(8);
    kill(analysis, SIGKILL);
    EXPECT_EQ(EndOf(analysis), -SIGKILL);
    EXPECT_EQ(EndOf(watch), 1) << Bytes(m_folder / "watch.err");
    const std::vector<json> lines = Lines();
    EXPECT_EQ(lines.back()["job"], (json{{"state", "died"}, {"status", 0}, {"writer", nullptr}}));
    ExpectLinesAddUp(lines);

    const CommandResult after = RunHere({"status", m_model});
    EXPECT_EQ(after.status, 1);
    EXPECT_THAT(after.out, AllOf(HasSubstr("job died: it did not end"), HasSubstr("warning 2")));
    EXPECT_GE(Status()["steps"][0]["times"].size(), 8U);
    EXPECT_EQ(RunHere({"verify", m_model}).status, 0);
}

TEST_F(StatusTest, AWatchThatIsInterruptedEndsAndTheAnalysisGoesOn) {
    const pid_t analysis = StartAnalysis(1000, 0.05);
    AwaitTimes(1);
    const pid_t watch = StartWatch();
    while (Bytes(m_watched).empty()) {
        usleep(1000);
    }
    kill(watch, SIGINT);
    EXPECT_EQ(EndOf(watch), 128 + SIGINT);
    const std::size_t before = Status()["steps"][0]["times"].size();
    AwaitTimes(before + 3);
    EXPECT_EQ(Lines().front()["job"]["state"], "running");
    kill(analysis, SIGKILL);
}
