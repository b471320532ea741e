// Imports that are killed, asked to stop, or run out of space: what stood under the target's name
// is there, whole, or the new model is.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"

namespace {

namespace fs = std::filesystem;
using exodus_file::Content;
using testing::AllOf;
using testing::HasSubstr;

using Clock = std::chrono::steady_clock;

class InterruptionTest : public testing::Test {
  protected:
    static constexpr int kNodes = 300'000;

    InterruptionTest() {
        fs::create_directory(m_targets);
        Content content;
        exodus_file::Write(content, m_small);
        content.labels.resize(kNodes);
        for (auto* axis : {&content.x, &content.y, &content.z}) {
            axis->assign(kNodes, 0.5);
        }
        for (int node = 0; node < kNodes; ++node) {
            content.labels[static_cast<std::size_t>(node)] = kNodes - node;
        }
        exodus_file::Write(content, m_large);
    }

    pid_t StartImport() const {
        return Start({"import", m_large, "-o", m_target, "--force"}, m_folder / "out",
                     m_folder / "err");
    }
    static bool HasEnded(pid_t process) {
        siginfo_t end{};
        waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOHANG | WNOWAIT);
        return end.si_pid != 0;
    }
    int NodeCount() const {
        return nlohmann::json::parse(RunHere({"info", m_target, "--json"}).out)["nodes"];
    }
    std::size_t NumTargets() const {
        const fs::directory_iterator entries(m_targets);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    exodus_file::ScratchFolder m_folder;
    std::string m_small = m_folder / "small.e";
    std::string m_large = m_folder / "large.e";
    std::string m_targets = m_folder / "targets";
    std::string m_target = m_targets + "/model.orq";
};

TEST_F(InterruptionTest, AKilledImportLeavesTheOldModelOrTheNewOne) {
    const auto begin = Clock::now();
    ASSERT_EQ(StatusOf(StartImport()), 0);
    const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
    std::mt19937 random(7);
    for (int round = 0; round < 12; ++round) {
        const bool hadModel = round % 2 == 0;
        fs::remove_all(m_target);
        if (hadModel) {
            ASSERT_EQ(RunHere({"import", m_small, "-o", m_target}).status, 0);
        }
        const pid_t import = StartImport();
        usleep(static_cast<useconds_t>(random() % static_cast<unsigned long>(whole.count())));
        kill(import, SIGKILL);
        StatusOf(import);
        if (!fs::exists(m_target)) {
            EXPECT_FALSE(hadModel);
            continue;
        }
        EXPECT_THAT(NodeCount(), testing::AnyOf(hadModel ? 4 : kNodes, kNodes));
        const CommandResult verified = RunHere({"verify", m_target});
        EXPECT_EQ(verified.status, 0) << verified.out;
    }
    EXPECT_EQ(RunHere({"import", m_small, "-o", m_target, "--force"}).status, 0);
    EXPECT_EQ(NumTargets(), 1U) << "what the killed ones left is not removed";
}

TEST_F(InterruptionTest, AnImportThatIsAskedToStopClearsUp) {
    for (const int signal : {SIGINT, SIGTERM}) {
        int status = 0;
        // On a busy machine the import may be done before the signal reaches it.
        for (int attempt = 0; attempt < 20 && status == 0; ++attempt) {
            ASSERT_EQ(RunHere({"import", m_small, "-o", m_target, "--force"}).status, 0);
            const pid_t import = StartImport();
            while (NumTargets() < 2 && !HasEnded(import)) {
                usleep(100);
            }
            kill(import, signal);
            status = StatusOf(import);
        }
        EXPECT_EQ(status, 128 + signal);
        EXPECT_THAT(Bytes(m_folder / "err"), HasSubstr("interrupted; nothing was changed"));
        EXPECT_EQ(NumTargets(), 1U);
        EXPECT_EQ(NodeCount(), 4);
    }
}

TEST_F(InterruptionTest, ADrawingThatIsAskedToStopClearsUp) {
    ASSERT_EQ(RunHere({"import", m_large, "-o", m_folder / "large.orq"}).status, 0);
    for (const char* name : {"/picture.png", "/page.html"}) {
        int status = 0;
        for (int attempt = 0; attempt < 20 && status == 0; ++attempt) {
            Arguments arguments = {"draw", m_folder / "large.orq", "-o", m_targets + name,
                                   "--force"};
            if (name == std::string("/picture.png")) {
                arguments.insert(arguments.end(), {"--size", "6000x6000"});
            }
            const pid_t drawing = Start(arguments, m_folder / "out", m_folder / "err");
            while (NumTargets() == 0 && !HasEnded(drawing)) {
                usleep(100);
            }
            kill(drawing, SIGINT);
            status = StatusOf(drawing);
            if (status == 0) {
                fs::remove(m_targets + name);
            }
        }
        EXPECT_EQ(status, 128 + SIGINT) << name;
        EXPECT_EQ(NumTargets(), 0U) << name;
    }
}

TEST_F(InterruptionTest, ALimitOnFileSizesIsAnError) {
    for (const rlim_t limit : {rlim_t{1000}, rlim_t{50'000}, rlim_t{200'000}, rlim_t{3'000'000}}) {
        const CommandResult result = RunProgram({"import", m_large, "-o", m_target}, [&] {
            const rlimit sizes = {limit, limit};
            setrlimit(RLIMIT_FSIZE, &sizes);
        });
        EXPECT_EQ(result.status, 3) << limit << result.err;
        EXPECT_THAT(result.err, AllOf(HasSubstr("orqmodel: "), HasSubstr(m_target))) << limit;
        EXPECT_EQ(NumTargets(), 0U) << limit;
    }
}

TEST_F(InterruptionTest, AFullDiskIsAnErrorAndKeepsTheOldModel) {
    constexpr int kCannotMount = 99;
    // The disk is seen by the started process only, which sees to what is on it itself.
    const auto onSmallDisk = [&](const char* size) {
        return RunProgram({"import", m_large, "-o", m_target}, [&] {
            if (unshare(CLONE_NEWNS) != 0 ||
                mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                mount("none", m_targets.c_str(), "tmpfs", 0, size) != 0) {
                _exit(kCannotMount);
            }
            const pid_t import =
                Start({"import", m_small, "-o", m_target}, "/dev/null", "/dev/null");
            const int smallStatus = StatusOf(import);
            const auto withoutLock = [&] {
                auto tree = Tree(m_targets);
                tree.erase(m_target + "/lock");  // Says who wrote last.
                return tree;
            };
            const auto before = withoutLock();
            const int status = StatusOf(
                Start({"import", m_large, "-o", m_target, "--force"}, "/dev/null", "/dev/stderr"));
            _exit(smallStatus == 0 && withoutLock() == before ? status : 98);
        });
    };
    for (const char* size : {"size=400k", "size=1m", "size=4m"}) {
        const CommandResult result = onSmallDisk(size);
        if (result.status == kCannotMount) {
            GTEST_SKIP() << "mounting is not permitted here";
        }
        EXPECT_EQ(result.status, 3) << size << result.err;
        EXPECT_THAT(result.err, HasSubstr(m_target)) << size;
    }
}

TEST_F(InterruptionTest, AFullDiskKeepsNobodyFromReading) {
    constexpr int kCannotMount = 99;
    const std::string made = m_folder / "made.orq";
    ASSERT_EQ(RunHere({"import", m_small, "-o", made}).status, 0);
    for (const char* command : {"info", "verify", "check"}) {
        const CommandResult result = RunProgram({command, m_target}, [&] {
            if (unshare(CLONE_NEWNS) != 0 ||
                mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                mount("none", m_targets.c_str(), "tmpfs", 0, "size=2m") != 0) {
                _exit(kCannotMount);
            }
            fs::copy(made, m_target, fs::copy_options::recursive);
            std::ofstream filler(m_targets + "/filler");
            while (filler << std::string(4096, ' ') << std::flush) {
            }
        });
        if (result.status == kCannotMount) {
            GTEST_SKIP() << "mounting is not permitted here";
        }
        EXPECT_EQ(result.status, RunHere({command, made}).status) << result.err;
        EXPECT_EQ(result.err, "");
    }
}

}  // namespace
