// What the program does with models in stores.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <utility>

#include "CommandRun.h"
#include "ORQSimLinks.h"
#include "Proxy.h"
#include "RemoteFixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

class StoreCommandTest : public RemoteFixture {
  protected:
    static std::string Sample() { return ORQ_SAMPLE_MESH; }
    /// What the program prints as JSON.
    static json Report(Arguments arguments) {
        arguments.emplace_back("--json");
        const CommandResult result = RunHere(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return json::parse(result.out, nullptr, false);
    }
    // Changes a file's worth of rows: another name for a set.
    void Rename(const std::string& from, const std::string& to) const {
        const CommandResult result = RunHere({"edit", m_url, "rename", "nodeset", from, to});
        ASSERT_EQ(result.status, 0) << result.err << result.out;
    }
};

}  // namespace

TEST_F(StoreCommandTest, AModelGoesIntoTheStoreAndComesBackTheSame) {
    const std::string local = m_folder / "local.orq";
    ASSERT_EQ(RunHere({"import", Sample(), "-o", local}).status, 0);
    EXPECT_EQ(RunHere({"push", local, m_url}).status, 0);
    // Without a way through the store.
    const std::string imported = m_server->Url(m_name + "-imported");
    EXPECT_EQ(RunHere({"import", Sample(), "-o", imported}).status, 0);
    UseMachine("second");
    for (const std::string& url : {m_url, imported}) {
        const CommandResult same = RunHere({"diff", local, url});
        EXPECT_EQ(same.status, 0) << same.out << same.err;
        const CommandResult clean = RunHere({"verify", url});
        EXPECT_EQ(clean.status, 0) << clean.out << clean.err;
    }
    const std::string pulled = m_folder / "pulled.orq";
    EXPECT_EQ(RunHere({"pull", m_url, pulled}).status, 0);
    EXPECT_EQ(RunHere({"diff", local, pulled}).status, 0);
    EXPECT_EQ(RunHere({"check", m_url}).out, RunHere({"check", local}).out);
    EXPECT_THAT(RunHere({"info", m_url}).out, HasSubstr(m_name));

    const std::pair<Arguments, const char*> refused[] = {
        {{"push", local, m_url}, "exists already"},
        {{"import", Sample(), "-o", m_url, "--force"}, "never replaced"},
        {{"push", m_url, local}, "no directory"},
        {{"pull", local, pulled}, "no URL"},
        {{"compact", m_url}, "never replaced"},
        {{"prune", m_url}, "either --keep"},
        {{"prune", m_url, "--older-than", "3 days"}, "is no time"},
    };
    for (const auto& [arguments, text] : refused) {
        const CommandResult result = RunHere(arguments);
        EXPECT_EQ(result.status, 2) << result.err;
        EXPECT_THAT(result.err, HasSubstr(text));
    }
}

TEST_F(StoreCommandTest, EarlierStatesAreListedComparedAndPruned) {
    ASSERT_EQ(RunHere({"import", Sample(), "-o", m_url}).status, 0);
    const std::string set = Report({"list", "sets", m_url}).at("objects").at(0).at("name");
    std::string name = set;
    for (const char* next : {"one", "two", "three"}) {
        ASSERT_NO_FATAL_FAILURE(Rename(name, next));
        name = next;
    }
    const json states = Report({"log", m_url}).at("states");
    ASSERT_EQ(states.size(), 4);
    const int newest = states.at(0).at("generation");
    EXPECT_GT(states.at(3).at("bulk_bytes"), 100'000);
    EXPECT_EQ(states.at(0).at("bulk_bytes"), 0);
    EXPECT_THAT(states.at(0).at("changed"), HasSubstr("map_entry"));
    EXPECT_THAT(states.at(0).at("who"), HasSubstr("process " + std::to_string(getpid())));

    const auto at = [&](int generation) { return m_url + "@" + std::to_string(generation); };
    const CommandResult differing = RunHere({"diff", at(newest - 2), at(newest - 1)});
    EXPECT_EQ(differing.status, 1);
    EXPECT_THAT(differing.out, testing::AllOf(HasSubstr("one"), HasSubstr("two")));
    EXPECT_EQ(RunHere({"edit", at(newest - 1), "rename", "nodeset", "two", "x"}).status, 2);

    EXPECT_EQ(Report({"prune", m_url, "--older-than", "1h"}).at("states_dropped"), 0);
    EXPECT_EQ(Report({"prune", m_url, "--keep", "2"}).at("states_dropped"), 2);
    UseMachine("second");
    EXPECT_EQ(RunHere({"verify", m_url}).status, 0);
    EXPECT_EQ(RunHere({"verify", at(newest - 1)}).status, 0);
    const CommandResult gone = RunHere({"info", at(newest - 2)});
    EXPECT_EQ(gone.status, 2);
    EXPECT_THAT(gone.err, HasSubstr("has states " + std::to_string(newest - 1)));
    // A cache of before goes on.
    UseMachine("first");
    EXPECT_EQ(RunHere({"verify", m_url}).status, 0);
}

TEST_F(StoreCommandTest, AFewRoundTripsDo) {
    Proxy proxy(m_server->Folder());
    ASSERT_EQ(RunHere({"import", Sample(), "-o", m_url}).status, 0);
    Rename(Report({"list", "sets", m_url}).at("objects").at(0).at("name"), "other");
    const std::string url = m_server->Url(m_name, proxy.Folder());
    proxy.Delay(20);
    const auto roundTripsOf = [&](const Arguments& arguments) {
        EXPECT_LE(RunHere(arguments).status, 1);
        return proxy.TakeRoundTrips();
    };
    // The first command of a process connects, and those behind it use that connection.
    EXPECT_EQ(roundTripsOf({"log", url}), 1 + 2);
    EXPECT_EQ(roundTripsOf({"log", url}), 2);
    // With nothing in the cache: the state, then bulk data.
    for (const std::string command : {"info", "check", "status"}) {
        UseMachine("new to " + command);
        EXPECT_LE(roundTripsOf({command, url}), 3) << command;
    }
    UseMachine("new to info");
    EXPECT_EQ(roundTripsOf({"info", url}), 1);
    UseMachine("draws");
    EXPECT_LE(roundTripsOf({"draw", url, "-o", m_folder / "wing.png"}), 4);
    ORQSimDatabase database = ORQSimDatabase::Open(url, Mode::ReadWrite);
    EXPECT_EQ(proxy.TakeRoundTrips(), 1);
    InTransaction(database, [&] { database.Focus().DataRecord().SetInt(0, 1); });
    EXPECT_EQ(proxy.TakeRoundTrips(), 2);
}

TEST_F(StoreCommandTest, WhoReadsOnGetsMoreEachTime) {
    constexpr int kSlices = 30;
    constexpr int kPerSlice = 100'000;
    {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_url);
        MakeModel(database, kSlices * kPerSlice);
        InTransaction(database, [&] {
            Append(database, RunOf(Nodes(database), 0, kSlices * kPerSlice),
                   RunOf(Components(database), 0, 1), Filled(kSlices * kPerSlice, 2), kPerSlice);
        });
    }
    Proxy proxy(m_server->Folder());
    UseMachine("second");
    const ORQSimDatabase database =
        ORQSimDatabase::Open(m_server->Url(m_name, proxy.Folder()), Mode::ReadOnly);
    proxy.TakeRoundTrips();
    for (int slice = 0; slice < kSlices; ++slice) {
        ASSERT_EQ(Read(Field(database), RunOf(Nodes(database), slice * kPerSlice, kPerSlice),
                       RunOf(Components(database), 0, 1)),
                  Filled(kPerSlice, 2));
    }
    EXPECT_LE(proxy.TakeRoundTrips(), 7);  // the first chunk, and 24 MB by 2, 4, 8, 16 MiB
}

TEST_F(StoreCommandTest, ACatalogueComesInLittleMoreThanItsBytes) {
    {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_url);
        for (int turn = 0; turn < 10; ++turn) {
            InTransaction(database, [&] {
                const ORQSimVector records = database.Focus().GetVector(Slot(4));
                for (int i = 0; i < 10'000; ++i) {
                    const ORQSimPosition record = database.Focus().CreateDataRecord(Slot(5)).Pos();
                    record.DataRecord().SetDouble(2, i);
                    record.DataRecord().SetString(3, ("record " + std::to_string(i)).c_str());
                    records.PushBack(record);
                }
            });
        }
    }
    Proxy proxy(m_server->Folder());
    UseMachine("second");
    const ORQSimDatabase database =
        ORQSimDatabase::Open(m_server->Url(m_name, proxy.Folder()), Mode::ReadOnly);
    EXPECT_LE(proxy.TakeBytes(), 2 * database.Sizes().catalogue);
}

// Real models, without a way through a directory.
TEST_F(StoreCommandTest, SharedModelsGoInAndAreCheckedDrawnAndExportedElsewhere) {
    const std::filesystem::path models = ORQ_SHARED_MODELS;
    if (!std::filesystem::exists(models)) {
        GTEST_SKIP() << "no " << models;
    }
    for (const std::string name :
         {"block_crush_1.ex2", "shelf_modes.msh", "flat_plate_composite.bdf"}) {
        SCOPED_TRACE(name);
        const std::string url = m_server->Url(m_name + "-" + name);
        const std::string local = m_folder / (name + ".orq");
        UseMachine("first");
        ASSERT_EQ(RunHere({"import", models / name, "-o", url}).status, 0);
        ASSERT_EQ(RunHere({"import", models / name, "-o", local}).status, 0);
        UseMachine("second");
        const CommandResult there = RunHere({"check", url, "--json"});
        const CommandResult here = RunHere({"check", local, "--json"});
        EXPECT_EQ(there.status, here.status);
        EXPECT_EQ(json::parse(there.out).at("findings"), json::parse(here.out).at("findings"));
        EXPECT_EQ(RunHere({"verify", url}).status, 0);
        ASSERT_EQ(RunHere({"draw", url, "-o", m_folder / "model.png", "--force"}).status, 0);
        EXPECT_GT(std::filesystem::file_size(m_folder / "model.png"), 1000);
        ASSERT_EQ(RunHere({"export", url, "-o", m_folder / "there.vtu", "--force"}).status, 0);
        ASSERT_EQ(RunHere({"export", local, "-o", m_folder / "here.vtu", "--force"}).status, 0);
        EXPECT_TRUE(ReadBytes(m_folder / "there.vtu") == ReadBytes(m_folder / "here.vtu"));
    }
}
