// Space that is given back, and databases that stay whole whatever happens meanwhile.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQBasFailure.h"
#include "ORQBasStaged.h"
#include "ORQExcStagedTarget.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimTransaction.h"
#include "ORQSrvNodalCoordinates.h"

namespace {

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::HasSubstr;

/// A model whose coordinates were written, deleted, and written again.
class CompactTest : public testing::Test {
  protected:
    static constexpr int kNodes = 200'000;

    CompactTest() {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_model);
        std::vector<double> values(3 * kNodes);
        ORQSimCSetID nodes;
        for (int round = 0; round < 3; ++round) {
            ORQSimTransaction transaction(database.ContextID());
            const ORQObjModelBuilder builder(database);
            if (round == 0) {
                nodes = builder.AddNodes(kNodes);
            } else {
                const ORQSimDistribution stored(builder.Coordinates().GetDistribution());
                stored.DeleteDrawer(stored.DrawerIDArray().ConstGet(0));
            }
            for (std::size_t i = 0; i < values.size(); ++i) {
                values[i] = static_cast<double>(i) + round;
            }
            ORQSrvNodalCoordinates(builder.Coordinates(), 10'000)
                .Append(transaction, nodes, builder.SpatialDirections(3), values.data());
            transaction.Commit();
        }
    }
    std::string Coordinates() const { return RunHere({"table", m_model, "--csv"}).out; }
    std::int64_t FreeBytes() const {
        return ORQSimDatabase::Open(m_model, ORQSimDatabase::Mode::ReadOnly).Sizes().freeBulk;
    }

    ScratchFolder m_folder;
    std::string m_model = m_folder / "m.orq";
};

TEST_F(CompactTest, FreedSpaceIsGivenBackAndNothingElseChanges) {
    ASSERT_GT(FreeBytes(), 4'000'000);
    const std::string before = Coordinates();
    ASSERT_GT(std::ranges::count(before, '\n'), kNodes);
    const CommandResult result = RunHere({"compact", m_model, "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    const json bytes = json::parse(result.out);
    EXPECT_LT(bytes["bytes_after"].get<int>() + 4'000'000, bytes["bytes_before"].get<int>());
    EXPECT_EQ(FreeBytes(), 0);
    EXPECT_EQ(Coordinates(), before);
    EXPECT_EQ(RunHere({"verify", m_model}).status, 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(m_model).parent_path()), {}), 1);
}

TEST_F(CompactTest, ADatabaseThatIsWrittenToOrDamagedIsLeftAsItIs) {
    {
        const ORQSimDatabase writer =
            ORQSimDatabase::Open(m_model, ORQSimDatabase::Mode::ReadWrite);
        const CommandResult result = RunHere({"compact", m_model});
        EXPECT_EQ(result.status, 3);
        EXPECT_THAT(result.err, HasSubstr("m.orq"));
    }
    std::fstream bulk(m_model + "/bulk.bin", std::ios::in | std::ios::out | std::ios::binary);
    // What lies in the middle is in use: two thirds of the file are.
    for (std::streamoff at = 8192; at < 12'000'000; at += 65536) {
        bulk.seekp(at);
        bulk.put('\x5A');
    }
    bulk.close();
    m_folder.HoldsDamage();
    const std::string before = RunHere({"verify", m_model}).out;
    ASSERT_THAT(before, HasSubstr("finding"));
    const CommandResult damaged = RunHere({"compact", m_model});
    EXPECT_EQ(damaged.status, 3);
    EXPECT_THAT(damaged.err, HasSubstr("is damaged, and was left as it is"));
    EXPECT_EQ(RunHere({"verify", m_model}).out, before);
    EXPECT_EQ(RunHere({"compact", m_folder / "none.orq"}).status, 3);
}

TEST_F(CompactTest, WhatSomebodyCommitsMeanwhileIsNotReplaced) {
    const auto generation = [&](const std::string& path) {
        return ORQSimDatabase::Open(path, ORQSimDatabase::Mode::ReadOnly).Generation();
    };
    const auto commit = [](const std::string& path) {
        const ORQSimDatabase database = ORQSimDatabase::Open(path, ORQSimDatabase::Mode::ReadWrite);
        ORQSimTransaction transaction(database.ContextID());
        ORQObjModelBuilder(database).AddNodes(1);
        transaction.Commit();
    };
    const std::int64_t before = generation(m_model);
    ORQExcStagedTarget target(m_model, true);
    ORQSimDatabase::Create(target.Begin()).Close();
    commit(m_model);
    try {
        target.PutIntoPlace(before);
        ADD_FAILURE() << "a commit was replaced";
    } catch (const ORQBasFailure& failure) {
        EXPECT_EQ(failure.Kind(), ORQBasFailureKind::Busy);
        EXPECT_THAT(failure.Text(), HasSubstr("m.orq: somebody wrote to it meanwhile"));
    }
    EXPECT_EQ(generation(m_model), before + 1);
    // Between the last check and the exchange: the former one, out of its place, has changed.
    ORQBasStaged staged(m_model, "import");
    fs::copy(m_model, staged.Path(), fs::copy_options::recursive);
    EXPECT_THROW(staged.PutIntoPlace(true,
                                     [&](const fs::path& former) {
                                         commit(former);
                                         throw std::runtime_error("changed");
                                     }),
                 std::runtime_error);
    EXPECT_EQ(generation(m_model), before + 2);
    EXPECT_EQ(RunHere({"verify", m_model}).status, 0);
}

TEST_F(CompactTest, AFileReplacesNoFolderAndAFolderNoFile) {
    const fs::path folder = m_folder / "pictures.png";
    fs::create_directory(folder);
    PutBytes(folder / "kept", "kept");
    ORQBasStaged file(folder, "draw");
    PutBytes(file.Path(), "picture");
    EXPECT_THROW(file.PutIntoPlace(true), ORQBasFailure);
    EXPECT_EQ(Bytes(folder / "kept"), "kept");
    ORQBasStaged other(folder / "kept", "draw");
    fs::create_directory(other.Path());
    EXPECT_THROW(other.PutIntoPlace(true), ORQBasFailure);
    EXPECT_EQ(Bytes(folder / "kept"), "kept");
}

TEST_F(CompactTest, AKillAtAnyTimeLeavesTheOldOrTheNew) {
    const std::string before = Coordinates();
    for (int round = 0; round < 12; ++round) {
        const pid_t process = Start({"compact", m_model}, m_folder / "out", m_folder / "err");
        usleep(static_cast<useconds_t>(4'000 * (round + 1)));
        kill(process, SIGKILL);
        StatusOf(process);
        ASSERT_EQ(Coordinates(), before) << round;
        ASSERT_EQ(RunHere({"verify", m_model}).status, 0) << round;
    }
}

}  // namespace
