// Model databases whose files were cut, exchanged or changed: always an error with status 3 that
// says where, or nothing that matters; never a crash and never a wrong value.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class DamageTest : public testing::Test {
  protected:
    DamageTest() {
        m_folder.HoldsDamage();
        EXPECT_EQ(RunHere({"import", ORQ_WING_BOX, "-o", m_target}).status, 0);
        m_catalogue = Bytes(CataloguePath());
        m_bulk = Bytes(BulkPath());
        m_lock = Bytes(m_target + "/lock");
        m_info = RunHere({"info", m_target, "--storage", "--json"}).out;
    }
    std::string CataloguePath() const { return m_target + "/catalogue.sqlite"; }
    std::string BulkPath() const { return m_target + "/bulk.bin"; }

    void Restore() const {
        fs::remove_all(m_target);
        fs::create_directory(m_target);
        PutBytes(CataloguePath(), m_catalogue);
        PutBytes(BulkPath(), m_bulk);
        PutBytes(m_target + "/lock", m_lock);
    }

    /// Through the program's own VFS, so that pages keep their checksums.
    void ChangeRows(const std::string& sql) const {
        sqlite3* opened = nullptr;
        ASSERT_EQ(sqlite3_open_v2(CataloguePath().c_str(), &opened, SQLITE_OPEN_READWRITE,
                                  "orq-page-checksum"),
                  SQLITE_OK);
        const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> catalogue(opened, sqlite3_close);
        ASSERT_EQ(sqlite3_exec(opened, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(opened);
    }

    /// A byte in the middle of the largest array of the bulk file.
    std::size_t PlaceInLargestArray() const {
        sqlite3* opened = nullptr;
        EXPECT_EQ(sqlite3_open_v2(CataloguePath().c_str(), &opened, SQLITE_OPEN_READONLY, nullptr),
                  SQLITE_OK);
        const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> catalogue(opened, sqlite3_close);
        std::size_t place = 0;
        const auto take = [](void* to, int, char** values, char**) {
            *static_cast<std::size_t*>(to) = std::stoull(values[0]);
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(
                      opened, "SELECT offset + length / 2 FROM extent ORDER BY length DESC LIMIT 1",
                      take, &place, nullptr),
                  SQLITE_OK);
        return place;
    }

    /// Answers whether verify finds the damage; what info prints is right in any case.
    bool IsFound() const {
        const CommandResult verified = RunHere({"verify", m_target});
        EXPECT_THAT(verified.status, testing::AnyOf(0, 3)) << verified.err;
        const CommandResult info = RunHere({"info", m_target, "--storage", "--json"});
        if (info.status == 0) {
            EXPECT_EQ(info.out, m_info);
        } else {
            EXPECT_EQ(info.status, 3) << info.err;
        }
        EXPECT_TRUE(verified.status == 3 || info.status == 0) << info.err;
        return verified.status == 3;
    }

    void ExpectRefused(const std::string& file, const std::string& text) const {
        for (const char* command : {"info", "verify"}) {
            const CommandResult result = RunHere({command, m_target});
            EXPECT_EQ(result.status, 3) << command;
            EXPECT_THAT(result.out + result.err, AllOf(HasSubstr(file), HasSubstr(text)));
        }
    }

    exodus_file::ScratchFolder m_folder;
    std::string m_target = m_folder / "model.orq";
    std::string m_catalogue;
    std::string m_bulk;
    std::string m_lock;
    std::string m_info;
};

TEST_F(DamageTest, AChangedByteIsFoundOrMeansNothing) {
    std::mt19937 random(20);
    for (const bool inCatalogue : {true, false}) {
        const std::string& whole = inCatalogue ? m_catalogue : m_bulk;
        int nFound = 0;
        constexpr int kRounds = 40;
        for (int round = 0; round < kRounds; ++round) {
            Restore();
            std::string bytes = whole;
            const std::size_t place =
                round < 15 ? static_cast<std::size_t>(round) : random() % whole.size();
            bytes[place] = static_cast<char>(bytes[place] ^ (1 << random() % 8));
            PutBytes(inCatalogue ? CataloguePath() : BulkPath(), bytes);
            SCOPED_TRACE(testing::Message() << "catalogue " << inCatalogue << " byte " << place);
            nFound += IsFound() ? 1 : 0;
        }
        // Bulk data ends somewhere in its last page; a catalogue has no slack.
        EXPECT_GE(nFound, inCatalogue ? kRounds : kRounds / 2);
    }
    Restore();
    EXPECT_FALSE(IsFound());
}

TEST_F(DamageTest, MissingAndForeignFilesAreNamed) {
    fs::remove(BulkPath());
    ExpectRefused(m_target, "bulk.bin is missing");
    Restore();
    fs::remove(CataloguePath());
    ExpectRefused(m_target, "catalogue.sqlite is missing");
    Restore();
    const std::string other = m_folder / "other.orq";
    ASSERT_EQ(RunHere({"import", ORQ_WING_BOX, "-o", other}).status, 0);
    PutBytes(BulkPath(), Bytes(other + "/bulk.bin"));
    ExpectRefused(BulkPath(), "another");
    Restore();
    PutBytes(CataloguePath(), "SQLite format 3 it is not");
    ExpectRefused(CataloguePath(), "");

    for (const char* command : {"info", "verify"}) {
        CommandResult result = RunHere({command, m_folder / "missing.orq"});
        EXPECT_EQ(result.status, 3);
        EXPECT_THAT(result.err, AllOf(StartsWith("orqmodel: "), HasSubstr("missing.orq")));
        fs::create_directory(m_folder / "empty");
        result = RunHere({command, m_folder / "empty"});
        EXPECT_EQ(result.status, 3);
        EXPECT_THAT(result.err, HasSubstr("is not a model database"));
        result = RunHere({command, ORQ_WING_BOX});
        EXPECT_EQ(result.status, 3);
        EXPECT_THAT(result.err, HasSubstr("is not a model database"));
    }
}

/// Whole files whose contents do not fit together, as another writer may have left them.
TEST_F(DamageTest, WhatAModelNamesMustExist) {
    using namespace ORQSimSchema;
    const auto firstBlock = [](const ORQObjMesh& mesh) {
        return mesh.Position().GetVector(Mesh_blocks)[0];
    };
    const struct {
        const char* error;
        std::function<void(const ORQObjMesh&)> change;
    } cases[] = {
        {"coordinates: are not of nodes and components",
         [](const ORQObjMesh& mesh) {
             mesh.Position().SetPosition(Mesh_nodes, mesh.GetElementCollection());
         }},
        {"the elements have no connectivity",
         [](const ORQObjMesh& mesh) { mesh.Position().SetPosition(Mesh_connectivity, {}); }},
        {"element 0 lacks nodes",
         [](const ORQObjMesh& mesh) {
             const ORQSimDSet connectivity = mesh.GetConnectivity().DSet();
             const ORQSimDistribution nodes(connectivity.GetRelationalDistributionID());
             nodes.DeleteDrawer(nodes.DrawerIDArray().Get(0));
         }},
        {"has the node 99999 of",
         [](const ORQObjMesh& mesh) {
             const ORQSimDistribution nodes(
                 mesh.GetConnectivity().DSet().GetRelationalDistributionID());
             const ORQSimDrawerDescription drawer = nodes.QueryDrawers().ConstGet(0);
             // Plain numbers, which nothing compares with the nodes.
             const ORQSimContext context = mesh.Position().Context();
             const ORQSimDistribution unchecked(context.CreateDistribution(
                 nodes.Grid(), ORQSimRangeType(ORQSimScalarInt), ORQSimTypeID(ConnectivityRows)));
             const std::vector<int> wrong(static_cast<std::size_t>(drawer.DataSizeItems()), 99999);
             ORQSimTransfer(unchecked)
                 .SetWrite()
                 .SetMakeNewDrawer()
                 .SetDim(0, drawer.CSet(0))
                 .SetDim(1, drawer.CSet(1))
                 .SetBuffer(ORQSimbufMain, wrong.data(), std::ssize(wrong) * 4)
                 .ExecWrite();
             context.UpdateDSet(mesh.GetConnectivity().GetDSet(), unchecked.ID());
         }},
        {"block \"skin_upper\": has members of another",
         [&](const ORQObjMesh& mesh) {
             firstBlock(mesh).SetPosition(Block_elements, mesh.GetUserNodes());
         }},
        {"the element shape \"HEX9\" is not known",
         [&](const ORQObjMesh& mesh) { firstBlock(mesh).DataRecord().SetString(2, "HEX9"); }},
    };
    for (const auto& [error, change] : cases) {
        Restore();
        {
            const ORQObjDocument document =
                ORQSimDatabase::Open(m_target, ORQSimDatabase::Mode::ReadWrite);
            ORQSimTransaction transaction(document.ContextID());
            change(ORQObjMesh(document.GetMesh()));
            transaction.Commit();
        }
        const CommandResult result = RunHere({"export", m_target, "-o", m_folder / "out.vtu"});
        EXPECT_EQ(result.status, 3) << error;
        EXPECT_THAT(result.err, HasSubstr(error));
        EXPECT_FALSE(fs::exists(m_folder / "out.vtu"));
    }
}

TEST_F(DamageTest, CopyMakesAnEqualDatabaseOrNone) {
    const std::string made = m_folder / "copy.orq";
    const CommandResult copied = RunHere({"copy", m_target, made, "--json"});
    EXPECT_EQ(copied.status, 0) << copied.err;
    EXPECT_EQ(nlohmann::json::parse(copied.out)["output"], made);
    EXPECT_EQ(RunHere({"verify", made}).status, 0);
    for (const auto& [database, picture] :
         {std::pair(m_target, "a.vtu"), std::pair(made, "b.vtu")}) {
        EXPECT_EQ(RunHere({"export", database, "-o", m_folder / picture}).status, 0);
    }
    EXPECT_EQ(Bytes(m_folder / "a.vtu"), Bytes(m_folder / "b.vtu"));

    EXPECT_EQ(RunHere({"copy", m_target, made}).status, 2);
    EXPECT_EQ(RunHere({"copy", m_target, made, "--force"}).status, 0);
    std::string bytes = Bytes(BulkPath());
    const std::size_t place = PlaceInLargestArray();
    bytes[place] = static_cast<char>(bytes[place] ^ 1);
    PutBytes(BulkPath(), bytes);
    EXPECT_EQ(RunHere({"copy", m_target, made, "--force"}).status, 3);
    EXPECT_EQ(RunHere({"copy", m_target, m_folder / "none.orq"}).status, 3);
    EXPECT_FALSE(fs::exists(m_folder / "none.orq"));
    EXPECT_EQ(RunHere({"verify", made}).status, 0);
}

TEST_F(DamageTest, RecoverMakesANewDatabaseAndListsWhatIsLost) {
    const std::string made = m_folder / "recovered.orq";
    const auto recover = [&] {
        fs::remove_all(made);
        const CommandResult result = RunHere({"recover", m_target, "-o", made, "--json"});
        EXPECT_EQ(RunHere({"verify", made}).status, 0) << result.err;
        return std::pair(result.status, nlohmann::json::parse(result.out));
    };
    const auto flip = [](const std::string& file, std::size_t place) {
        std::string bytes = Bytes(file);
        bytes[place] = static_cast<char>(bytes[place] ^ 1);
        PutBytes(file, bytes);
    };
    // Whole, and with the page that describes the file damaged: all is there.
    for (const bool isDamaged : {false, true}) {
        if (isDamaged) {
            flip(CataloguePath(), 50);
        }
        const auto [status, answer] = recover();
        EXPECT_EQ(status, 0);
        EXPECT_EQ(answer["damage"].empty(), !isDamaged);
        EXPECT_THAT(answer["lost"], testing::IsEmpty());
        EXPECT_EQ(
            RunHere({"export", made, "-o", m_folder / (isDamaged ? "b.vtu" : "a.vtu")}).status, 0);
    }
    EXPECT_EQ(Bytes(m_folder / "a.vtu"), Bytes(m_folder / "b.vtu"));

    // The largest array is one of the mesh; what is left says so and can be looked at.
    Restore();
    flip(BulkPath(), PlaceInLargestArray());
    const auto [status, answer] = recover();
    EXPECT_EQ(status, 1);
    ASSERT_FALSE(answer["lost"].empty());
    EXPECT_THAT(answer["lost"][0].get<std::string>(), HasSubstr("model / mesh / "));
    EXPECT_LT(answer["recovered"]["bulk_bytes"], m_bulk.size());
    EXPECT_EQ(RunHere({"info", made}).status, 0);
    EXPECT_EQ(RunHere({"recover", m_target, "-o", made}).status, 2);
    EXPECT_EQ(RunHere({"recover", ORQ_WING_BOX, "-o", m_folder / "none.orq"}).status, 3);
    EXPECT_FALSE(fs::exists(m_folder / "none.orq"));
}

// Pages and checksums are right, and rows make no sense: every command ends, and with status 3
// where it meets them.
TEST_F(DamageTest, RowsThatMakeNoSenseEndEveryCommandWith3) {
    const Arguments commands[] = {{"info"},
                                  {"info", "--storage"},
                                  {"verify"},
                                  {"check"},
                                  {"layers"},
                                  {"materials"},
                                  {"map", m_target},
                                  {"adjacency", "--node", "1"},
                                  {"find", "nodeset", "tip"},
                                  {"export", "-o", m_folder / "m.e", "--force"},
                                  {"export", "-o", m_folder / "m.bdf", "--force"},
                                  {"export", "-o", m_folder / "m.vtu", "--force"},
                                  {"draw", "-o", m_folder / "m.png", "--size", "64x64", "--force"}};
    struct Case {
        const char* change;
        bool isMetByAll;
    };
    const Case cases[] = {
        {"UPDATE collection SET space = 2147483647", true},
        {"CREATE TRIGGER taken AFTER INSERT ON state BEGIN DELETE FROM object; END", true},
        {"UPDATE OR REPLACE extent SET chunk = -1", false},
        {"UPDATE drawer SET extendable = 3", false},
        {"UPDATE distribution SET scalar = 1 WHERE scalar = 4", false},
        {"UPDATE object SET type = 'abc' WHERE id = 5", false},
        {"DELETE FROM component_set", false},
        {"UPDATE link SET target_object = object", false},
    };
    for (const auto& [change, isMetByAll] : cases) {
        Restore();
        ChangeRows(change);
        for (const Arguments& command : commands) {
            Arguments arguments = command;
            arguments.insert(arguments.begin() + 1, m_target);
            const CommandResult result = RunProgram(arguments);
            if (command[0] == "info") {
                EXPECT_NE(result.status, 70) << change << ": " << result.err;
            }
            if (isMetByAll || command[0] == "verify") {
                EXPECT_EQ(result.status, 3) << change << ": " << command[0] << result.err;
            }
            EXPECT_THAT(result.status, testing::AnyOf(0, 1, 2, 3, 70))
                << change << ": " << command[0] << ' ' << result.err;
        }
    }
}

// Where the rows of a drawer still fit, only who reads the values sees it.
TEST_F(DamageTest, ConnectivityOfAnotherTypeIsNotTakenForNodeNumbers) {
    ChangeRows(
        "UPDATE distribution SET scalar = 4 WHERE object IN (SELECT target_object FROM "
        "data_set_part WHERE kind = 0)");
    for (const char* ending : {".e", ".bdf", ".vtu", ".png"}) {
        const std::string file = m_folder / (std::string("m") + ending);
        const CommandResult result =
            ending == std::string(".png")
                ? RunProgram({"draw", m_target, "-o", file, "--size", "64x64"})
                : RunProgram({"export", m_target, "-o", file});
        EXPECT_EQ(result.status, 3) << ending << ": " << result.err;
        EXPECT_THAT(result.err, HasSubstr("connectivity"));
        EXPECT_FALSE(fs::exists(file));
    }
}

// Also where recovering has much to remove.
TEST_F(DamageTest, RecoveringEndsAtOnceWhenItIsAskedTo) {
    ChangeRows(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300000) "
        "INSERT OR REPLACE INTO link SELECT 0, 1, 5, i, 1000000 + i, 1, 3, 0 FROM n");
    for (const int signal : {SIGINT, SIGTERM}) {
        const pid_t recover = Start({"recover", m_target, "-o", m_folder / "new.orq"},
                                    m_folder / "out", m_folder / "err");
        usleep(700'000);
        const auto begin = std::chrono::steady_clock::now();
        kill(recover, signal);
        EXPECT_EQ(StatusOf(recover), 128 + signal);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
        EXPECT_FALSE(fs::exists(m_folder / "new.orq"));
        for (const auto& entry : fs::directory_iterator(m_folder / ".")) {
            EXPECT_THAT(entry.path().filename().string(), testing::Not(HasSubstr(".new-")));
        }
    }
}

}  // namespace
