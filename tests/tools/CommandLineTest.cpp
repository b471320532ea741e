// The subcommands on good and bad input, mostly called in this process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQBasStaged.h"
#include "ORQExcStagedTarget.h"
#include "ORQObjLabeler.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"
#include "ORQSrvNodalCoordinates.h"
#include "commands/CommandLine.h"
#include "terminal/ExitWatch.h"

namespace {

namespace fs = std::filesystem;
using exodus_file::Content;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class CommandLineTest : public testing::Test {
  protected:
    std::string Written(const Content& content = {}) const {
        exodus_file::Write(content, m_input);
        return m_input;
    }
    CommandResult Import(const std::string& file, Arguments more = {}) const {
        more.insert(more.begin(), {"import", file, "-o", m_target});
        return RunHere(more);
    }
    json Info() const {
        const CommandResult result = RunHere({"info", m_target, "--storage", "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        return json::parse(result.out);
    }

    ScratchFolder m_folder;
    std::string m_input = m_folder / "model.e";
    std::string m_target = m_folder / "model.orq";
};

// --- What an import keeps ------------------------------------------------------------------------

class ImportOfRealMeshes : public CommandLineTest, public testing::WithParamInterface<const char*> {
  protected:
    std::string File() const {
        const fs::path wingBox(ORQ_WING_BOX);
        return wingBox.filename() == GetParam() ? wingBox
                                                : fs::path(ORQ_SHARED_MODELS) / GetParam();
    }
    void SetUp() override {
        if (!fs::exists(File())) {
            GTEST_SKIP() << "there is no " << File();
        }
    }
};

TEST_P(ImportOfRealMeshes, ReadsBackBitForBitAndLabelForLabel) {
    const CommandResult imported = Import(File(), {"--chunk-nodes", "1000"});
    ASSERT_EQ(imported.status, 0) << imported.err;
    const exodus_file::Mesh expected = exodus_file::Read(File());

    const auto database = ORQSimDatabase::Open(m_target, ORQSimDatabase::Mode::ReadOnly);
    const ORQObjDocument document(database);
    const ORQSrvNodalCoordinates coordinates(ORQObjMesh(document.GetMesh()).GetCoordinates(), 1);
    const auto dimension = static_cast<std::size_t>(coordinates.NumberComponents());
    ASSERT_EQ(static_cast<std::size_t>(coordinates.NumberNodes()), expected.positions.size());
    std::vector<double> values(expected.positions.size() * dimension);
    coordinates.Read(coordinates.Nodes(), coordinates.Components(), values.data());

    ORQObjLabeler labeler(document, ORQObjLabelerType::Node);
    labeler.Read();
    for (std::size_t node = 0; node < expected.positions.size(); ++node) {
        for (std::size_t axis = 0; axis < dimension; ++axis) {
            ASSERT_EQ(values[node * dimension + axis], expected.positions[node][axis]) << node;
        }
        const int ordinal = static_cast<int>(node);
        ASSERT_EQ(labeler.GetInstanceLabel("PART-1", ordinal), expected.labels[node]);
        ASSERT_EQ(labeler.GetInstanceOrdinal("PART-1", expected.labels[node]), ordinal);
    }
    EXPECT_EQ(RunHere({"verify", m_target}).status, 0);
}

TEST_P(ImportOfRealMeshes, AnotherProcessSeesTheFactsOfTheModel) {
    ASSERT_EQ(Import(File()).status, 0);
    const CommandResult result = RunProgram({"info", m_target, "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    const json info = json::parse(result.out);
    const json labels = info["instances"][0]["node_labels"];
    const exodus_file::Mesh expected = exodus_file::Read(File());
    const auto [lowest, highest] =
        std::minmax_element(expected.labels.begin(), expected.labels.end());
    EXPECT_EQ(info["title"], expected.title);
    EXPECT_EQ(info["nodes"], expected.positions.size());
    EXPECT_EQ(labels["count"], expected.positions.size());
    EXPECT_EQ(labels["lowest"], *lowest);
    EXPECT_EQ(labels["highest"], *highest);
    for (std::size_t axis = 0; axis < info["dimension"]; ++axis) {
        const auto byAxis = [&](const auto& a, const auto& b) { return a[axis] < b[axis]; };
        const auto [low, high] =
            std::minmax_element(expected.positions.begin(), expected.positions.end(), byAxis);
        EXPECT_EQ(info["bounding_box"]["lowest"][axis], (*low)[axis]);
        EXPECT_EQ(info["bounding_box"]["highest"][axis], (*high)[axis]);
    }
}

INSTANTIATE_TEST_SUITE_P(All, ImportOfRealMeshes,
                         testing::Values("wing_box.e", "box_solid_shell_results.g",
                                         "subduction_tri.exo", "basemat_isolators.e",
                                         "block_crush_1.ex2"));

TEST_F(CommandLineTest, ReportsWhatItKeepsChangesAndDrops) {
    Content content;
    content.dimension = 1;
    content.title = "caf\xE9";
    const json report = json::parse(Import(Written(content), {"--json"}).out)["report"];
    EXPECT_EQ(report["kept"], json::parse(R"([{"kind": "nodes", "name": "", "count": 4}])"));
    EXPECT_EQ(report["changed"][0]["kind"], "title");
    EXPECT_EQ(report["changed"][0]["name"], "caf\uFFFD");
    EXPECT_EQ(report["changed"][1]["kind"], "node coordinates");
    EXPECT_EQ(report["dropped"], json::array());
    const json info = Info();
    EXPECT_EQ(info["dimension"], 2);
    EXPECT_EQ(info["bounding_box"], json::parse(R"({"lowest": [0.5, 0], "highest": [3.5, 0]})"));

    const json wingBox = json::parse(Import(ORQ_WING_BOX, {"--json", "--force"}).out)["report"];
    EXPECT_EQ(wingBox["kept"][2], json::parse(R"({"kind": "element block", "name": "skin_upper",
                                                  "count": 824})"));
    EXPECT_EQ(wingBox["kept"].size(), 2 + 9 + 3 + 3);
    EXPECT_EQ(wingBox["dropped"], json::array());
}

TEST_F(CommandLineTest, StrictImportsNothingWhenSomethingWouldBeDropped) {
    const fs::path mesh = m_folder / "results.msh";
    std::ofstream(mesh) << "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n"
                           "$Nodes\n1\n5 1 2 3\n$EndNodes\n"
                           "$Periodic\n0\n$EndPeriodic\n";
    const CommandResult result = Import(mesh, {"--strict"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("--strict"));
    EXPECT_THAT(result.out, HasSubstr("$Periodic sections: 1"));
    EXPECT_FALSE(fs::exists(m_target));
    EXPECT_EQ(Import(Written(), {"--strict"}).status, 0);
}

TEST_F(CommandLineTest, AnEmptyMeshIsAModelWithoutCoordinates) {
    Content content;
    content.x = content.y = content.z = {};
    content.labels = {};
    content.title = "";
    ASSERT_EQ(Import(Written(content)).status, 0);
    const json info = Info();
    EXPECT_EQ(info["nodes"], 0);
    EXPECT_EQ(info["dimension"], 0);
    EXPECT_EQ(info["bounding_box"], nullptr);
    EXPECT_THAT(RunHere({"info", m_target}).out,
                AllOf(HasSubstr("title       none\n"), HasSubstr("no coordinates")));
    EXPECT_EQ(RunHere({"verify", m_target}).status, 0);
}

TEST_F(CommandLineTest, BlocksOfAnImportJoinSeamlessly) {
    Content content;
    constexpr int kNodes = 250'003;
    content.labels.resize(kNodes);
    for (auto* axis : {&content.x, &content.y, &content.z}) {
        axis->resize(kNodes);
    }
    for (int node = 0; node < kNodes; ++node) {
        const auto at = static_cast<std::size_t>(node);
        content.x[at] = node;
        content.y[at] = 0.25 * node;
        content.z[at] = -node;
        content.labels[at] = 2 * kNodes - node;
    }
    ASSERT_EQ(Import(Written(content), {"--chunk-nodes", "70000"}).status, 0);
    const auto database = ORQSimDatabase::Open(m_target, ORQSimDatabase::Mode::ReadOnly);
    const ORQSrvNodalCoordinates coordinates(
        ORQObjMesh(ORQObjDocument(database).GetMesh()).GetCoordinates(), 1);
    std::vector<double> values(std::size_t{3} * kNodes);
    coordinates.Read(coordinates.Nodes(), coordinates.Components(), values.data());
    for (std::size_t node = 0; node < kNodes; ++node) {
        ASSERT_EQ(values[3 * node], content.x[node]);
        ASSERT_EQ(values[3 * node + 1], content.y[node]);
        ASSERT_EQ(values[3 * node + 2], content.z[node]);
    }
    const json drawer = Info()["distributions"][1]["drawers"][0];
    EXPECT_EQ(drawer["chunk_sizes"], json::parse("[70000, 3]"));
    EXPECT_EQ(drawer["sizes"], json::parse("[250003, 3]"));
}

TEST_F(CommandLineTest, ASmallModelStaysSmallWhateverItsChunks) {
    Content content;
    for (auto* axis : {&content.x, &content.y, &content.z}) {
        axis->resize(60, 0.5);
    }
    content.labels = {};
    // No piece takes less than a page of 4 KiB, so pieces of one node cost the most. Some 20 kB of each
    // say what numbers stand for.
    const std::vector<std::pair<std::string, int>> mostBytes = {
        {"1", 400'000}, {"7", 150'000}, {"100000", 130'000}, {"2147483647", 130'000}};
    for (const auto& [chunk, bytes] : mostBytes) {
        ASSERT_EQ(Import(Written(content), {"--force", "--chunk-nodes", chunk}).status, 0);
        EXPECT_LT(Info()["bytes"]["directory"], bytes) << chunk;
        EXPECT_EQ(RunHere({"verify", m_target}).status, 0);
    }
}

// --- What info says ------------------------------------------------------------------------------

TEST_F(CommandLineTest, InfoCountsWhatIsMissingAndNotFinite) {
    {
        auto database = ORQSimDatabase::Create(m_target);
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        builder.SetTitle("\x1B[31mred");
        ORQSimCollection nodes(ORQSimCSet(builder.AddNodes(10)).CollectionID());
        const std::vector<int> some = {2, 5};
        const std::vector<double> values = {1, std::numeric_limits<double>::quiet_NaN(), 3, -4};
        ORQSrvNodalCoordinates(builder.Coordinates(), 5)
            .Append(transaction, nodes.CreateTempCSet(some.data(), 2, true),
                    builder.SpatialDirections(2), values.data());
        transaction.Commit();
    }
    const json info = Info();
    EXPECT_EQ(info["nodes"], 10);
    EXPECT_EQ(info["nodes_with_coordinates"], 2);
    EXPECT_EQ(info["coordinates_not_finite"], 1);
    EXPECT_EQ(info["bounding_box"], json::parse(R"({"lowest": [1, -4], "highest": [3, -4]})"));
    const std::string text = RunHere({"info", m_target}).out;
    EXPECT_THAT(text, AllOf(HasSubstr("only 2 nodes have coordinates"),
                            HasSubstr("1 coordinates are not finite"), Not(HasSubstr("\x1B"))));
}

TEST_F(CommandLineTest, TheProgressBarLeavesAnEmptyLine) {
    std::ostringstream out;
    std::ostringstream err;
    ASSERT_EQ(orqmodel::RunCommandLine({"import", Written(), "-o", m_target}, {out, err, true}), 0);
    EXPECT_THAT(err.str(),
                AllOf(StartsWith("\rimporting ["), HasSubstr("100 %"), EndsWith("\r\033[K")));
    EXPECT_THAT(out.str(), Not(HasSubstr("\r")));
    // What does not tell how far it has come says at least what it does.
    std::ostringstream told;
    orqmodel::RunCommandLine({"map", m_target, m_target}, {out, told, true});
    EXPECT_EQ(told.str(), "\rmatching ...\r\033[K");
}

// Names and texts of files reach the terminal as what they are, never as what it obeys.
TEST_F(CommandLineTest, NothingThatATerminalObeysIsPrinted) {
    constexpr const char* kObeyed[] = {"\x1B[2J", "\x9B",   "\u009B", "\u0085", "\u202E", "\u2066",
                                       "\u200F",  "\u061C", "\u2028", "\x7F",   "\r"};
    std::string name = "Lid ";
    for (const char* one : kObeyed) {
        name += one;
    }
    const std::string mesh = m_folder / "named.msh";
    PutBytes(mesh, "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$PhysicalNames\n1\n2 1 \"" + name +
                       "\"\n$EndPhysicalNames\n$Nodes\n3\n1 0 0 0\n2 1 0 0\n3 0 1 0\n$EndNodes\n"
                       "$Elements\n1\n1 2 2 1 1 1 2 3\n$EndElements\n");
    ASSERT_EQ(RunHere({"import", mesh, "-o", m_target}).status, 0);
    const std::vector<Arguments> commands = {{"import", mesh, "-o", m_folder / "other.orq"},
                                             {"info", m_target},
                                             {"info", m_target, "--json"},
                                             {"find", m_target, "elementset", name},
                                             {"find", m_target, "elementset", name + "?"},
                                             {"find", m_target, "elementset", name, "--json"},
                                             {"export", m_target, "-o", m_folder / "m.bdf"},
                                             {"export", m_target, "-o", m_folder / "m.e", "--json"},
                                             {"verify", m_target + name},
                                             {"no" + name}};
    for (const Arguments& command : commands) {
        const CommandResult result = RunHere(command);
        const std::string all = result.out + result.err;
        for (const char* one : kObeyed) {
            EXPECT_THAT(all, Not(HasSubstr(one))) << command[0];
        }
        if (command.back() == "--json" && result.status == 0) {
            EXPECT_NO_THROW((void)json::parse(result.out).dump()) << result.out;
        }
    }
    const CommandResult shown =
        RunHere({"export", m_target, "-o", m_folder / "m.vtu", "--verbose"});
    EXPECT_THAT(shown.out, HasSubstr("Lid \uFFFD[2J")) << shown.err;
}

// --- Wrong use and bad input ---------------------------------------------------------------------

TEST_F(CommandLineTest, WrongArgumentsExitWith2) {
    const std::string file = Written();
    const std::vector<Arguments> wrong = {
        {},
        {"frobnicate"},
        {"import"},
        {"import", file},
        {"import", file, "-o", m_target, "--chunk-nodes", "0"},
        {"import", file, "-o", m_target, "--chunk-nodes", "-5"},
        {"import", file, "-o", m_target, "--chunk-nodes", "99999999999"},
        {"import", file, "-o", m_target, "--chunk-nodes", "many"},
        {"import", file, "-o", ""},
        {"import", file, "-o", m_folder / ".."},
        {"import", file, "-o", m_target, "more"},
        {"info"},
        {"verify", m_target, "--chunk-nodes", "5"}};
    for (const Arguments& arguments : wrong) {
        const CommandResult result = RunHere(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments) << result.err;
        EXPECT_THAT(result.err, StartsWith("orqmodel: "));
        EXPECT_EQ(result.out, "");
    }
    EXPECT_FALSE(fs::exists(m_target));
    EXPECT_EQ(RunHere({"--version"}).status, 0);
    EXPECT_THAT(RunHere({"import", "--help"}).out, HasSubstr("--chunk-nodes"));
}

TEST_F(CommandLineTest, BadInputExitsWith3NamesTheFileAndLeavesNothing) {
    const auto expectRefused = [&](const std::string& file, const std::string& text) {
        const auto before = Tree(fs::path(m_target).parent_path());
        for (const bool force : {false, true}) {
            const CommandResult result = Import(file, force ? Arguments{"--force"} : Arguments{});
            EXPECT_EQ(result.status, 3) << file;
            EXPECT_THAT(result.err,
                        AllOf(StartsWith("orqmodel: "), HasSubstr(file), HasSubstr(text)));
        }
        EXPECT_EQ(Tree(fs::path(m_target).parent_path()), before) << file;
    };
    expectRefused(m_folder / "missing.e", "does not exist");
    expectRefused(m_folder / "missing", "No such file");
    PutBytes(m_folder / "text.e", "solid cube\n");
    expectRefused(m_folder / "text.e", "not an Exodus II file");
    PutBytes(m_folder / "text.stl", "solid cube\n");
    expectRefused(m_folder / "text.stl", "no format that is known");
    const std::string whole = Bytes(Written());
    PutBytes(m_folder / "cut.e", whole.substr(0, whole.size() / 2));
    expectRefused(m_folder / "cut.e", "");

    Content content;
    content.labels = {7, 8, 7, 9};
    expectRefused(Written(content), "nodes 1 and 3 in file order both have label 7");
    content.labels = {7, 0, 8, 9};
    expectRefused(Written(content), "node 2 in file order has label 0");
    content.labels = {};
    content.y[3] = std::numeric_limits<double>::infinity();  // Found while writing.
    expectRefused(Written(content), "node 4 in file order");
}

TEST_F(CommandLineTest, AFileWithoutAKnownEndingIsKnownByItsContents) {
    const std::string renamed = m_folder / "mesh.data";
    fs::rename(Written(), renamed);
    EXPECT_EQ(Import(renamed).status, 0);
}

// --- The target ----------------------------------------------------------------------------------

TEST_F(CommandLineTest, OnlyForceReplacesAndOnlyAModelDatabase) {
    ASSERT_EQ(Import(ORQ_WING_BOX).status, 0);
    const auto before = Tree(m_target);
    CommandResult result = Import(Written());
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, AllOf(HasSubstr(m_target), HasSubstr("exists already")));
    EXPECT_EQ(Tree(m_target), before);

    PutBytes(fs::path(m_target) / "notes.txt", "mine");
    result = Import(Written(), {"--force"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("notes.txt"));
    fs::remove(fs::path(m_target) / "notes.txt");
    EXPECT_EQ(Tree(m_target), before);

    {
        const auto writer = ORQSimDatabase::Open(m_target, ORQSimDatabase::Mode::ReadWrite);
        result = Import(Written(), {"--force"});
        EXPECT_EQ(result.status, 3);
        EXPECT_THAT(result.err, HasSubstr("open for writing by"));
    }

    EXPECT_EQ(Import(Written(), {"--force"}).status, 0);
    EXPECT_EQ(Info()["nodes"], 4);
    PutBytes(fs::path(m_target) / "bulk.bin", "damaged");
    EXPECT_EQ(Import(ORQ_WING_BOX, {"--force"}).status, 0);
    EXPECT_EQ(Info()["nodes"], 3265);
    EXPECT_EQ(Tree(fs::path(m_target).parent_path()).size(), Tree(m_target).size() + 2)
        << "something is left beside the target";
}

TEST_F(CommandLineTest, WhatIsNoModelDatabaseStays) {
    const std::string folder = m_folder / "folder.orq";
    fs::create_directory(folder);
    PutBytes(folder + "/catalogue.txt", "mine");
    fs::create_directory(m_folder / "empty.orq");
    PutBytes(m_folder / "file.orq", "mine");
    fs::create_symlink("nowhere", m_folder / "link.orq");
    const auto before = Tree(fs::path(m_target).parent_path());
    const std::string input = ORQ_WING_BOX;
    for (const char* name : {"folder.orq", "empty.orq", "file.orq", "link.orq"}) {
        const CommandResult result = RunHere({"import", input, "-o", m_folder / name, "--force"});
        EXPECT_EQ(result.status, 2) << name << result.err;
        EXPECT_THAT(result.err, HasSubstr(name));
    }
    EXPECT_EQ(Tree(fs::path(m_target).parent_path()), before);
}

TEST_F(CommandLineTest, ALinkKeepsLeadingToTheReplacedDatabase) {
    ASSERT_EQ(Import(ORQ_WING_BOX).status, 0);
    const std::string link = m_folder / "link.orq";
    fs::create_directory_symlink("model.orq", link);
    EXPECT_EQ(RunHere({"import", Written(), "-o", link + "/", "--force"}).status, 0);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(Info()["nodes"], 4);
}

TEST_F(CommandLineTest, LeftoversOfKilledImportsGoAndThoseOfLivingOnesStay) {
    const std::string leftover = m_target + ".import-aB3dE9";
    fs::create_directories(leftover + "/model.orq");
    const std::string other = m_folder / "other.orq.import-aB3dE9";
    fs::create_directory(other);
    ORQExcStagedTarget living(m_target, false);
    const fs::path built = living.Begin();
    EXPECT_FALSE(fs::exists(leftover));
    EXPECT_EQ(Import(Written()).status, 0);
    EXPECT_TRUE(fs::exists(built.parent_path()));
    EXPECT_TRUE(fs::exists(other));
}

TEST_F(CommandLineTest, ReplacesInTwoStepsWhereThereIsNoExchange) {
    const auto make = [&](const std::string& name) {
        fs::create_directory(m_folder / name);
        PutBytes(m_folder / name / name, name);
    };
    make("built");
    make("old");
    make("aside");
    const auto before = Tree(fs::path(m_target).parent_path());
    const auto replace = [&](const std::string& built) {
        ORQBasReplaceInTwoSteps(m_folder / built, m_folder / "old", m_folder / "aside");
    };
    EXPECT_THROW(replace("built"), ORQBasException);
    EXPECT_EQ(Tree(fs::path(m_target).parent_path()), before);
    fs::remove_all(m_folder / "aside");
    EXPECT_THROW(replace("missing"), ORQBasException);
    EXPECT_TRUE(fs::exists(m_folder / "old" / "old"));
    EXPECT_FALSE(fs::exists(m_folder / "aside"));
    replace("built");
    EXPECT_TRUE(fs::exists(m_folder / "old" / "built"));
    EXPECT_TRUE(fs::exists(m_folder / "aside" / "old"));
}

TEST_F(CommandLineTest, WhatKilledExportsLeftGoesWithTheNextOne) {
    ASSERT_EQ(Import(Written()).status, 0);
    const std::string output = m_folder / "out.VTU";  // an ending in any case
    const std::string left = output + ".export-aB3dE9";
    const std::string other = m_folder / "other.vtu.export-aB3dE9";
    for (const std::string& path : {left, other}) {
        fs::create_directory(path);
    }
    const auto exported = [&](const std::string& name) {
        return RunHere({"export", m_target, "-o", name, "--force"}).status;
    };
    EXPECT_EQ(exported(output), 0);
    EXPECT_FALSE(fs::exists(left));
    EXPECT_TRUE(fs::exists(other));
    // A file takes the place of one that is there, a folder that of one with files in it.
    const std::string times = m_folder / "out.times";
    fs::create_directory(times);
    PutBytes(times + "/old", "old");
    EXPECT_EQ(exported(m_folder / "out.pvd"), 0);
    EXPECT_EQ(exported(m_folder / "out.pvd"), 0);
    EXPECT_FALSE(fs::exists(times + "/old"));
    for (const auto& entry : fs::directory_iterator(fs::path(output).parent_path())) {
        EXPECT_THAT(entry.path().string(), testing::AnyOf(other, Not(HasSubstr(".export-"))));
    }
}

TEST_F(CommandLineTest, AReadOnlyFolderIsAnErrorForImportAndNoneForReading) {
    ASSERT_EQ(Import(Written()).status, 0);
    const fs::path parent = fs::path(m_target).parent_path();
    const auto before = Tree(parent);
    ASSERT_EQ(chmod(parent.c_str(), 0555), 0);
    ASSERT_EQ(chmod(m_target.c_str(), 0555), 0);
    ASSERT_EQ(chmod(m_input.c_str(), 0444), 0);
    const auto run = [](const Arguments& arguments) {
        // Root may write everywhere, so it becomes nobody.
        return RunProgram(arguments, [] { [[maybe_unused]] const int result = setuid(65534); });
    };
    const std::string other = parent / "other.orq";
    const CommandResult imported = run({"import", m_input, "-o", other});
    EXPECT_EQ(imported.status, 3);
    EXPECT_THAT(imported.err, AllOf(HasSubstr(other), HasSubstr("Permission denied")));
    const CommandResult info = run({"info", m_target});
    EXPECT_EQ(info.status, 0) << info.err;
    EXPECT_THAT(info.out, HasSubstr("nodes       4"));
    EXPECT_EQ(run({"verify", m_target}).status, 0);
    ASSERT_EQ(chmod(m_target.c_str(), 0755), 0);
    ASSERT_EQ(chmod(parent.c_str(), 0755), 0);
    EXPECT_EQ(Tree(parent), before);
}

// --- Ends of the process -------------------------------------------------------------------------

TEST(ExitWatchDeathTest, AnEarlyExitOrAbortIs70) {
    const auto watch = [](auto end) {
        orqmodel::WatchForEarlyExit();
        end();
    };
    EXPECT_EXIT(watch([] { std::exit(1); }), testing::ExitedWithCode(70), "orqmodel: ended before");
    EXPECT_EXIT(watch([] { std::abort(); }), testing::ExitedWithCode(70), "orqmodel: ended before");
    EXPECT_EXIT(watch([] {
                    orqmodel::EndWatch();
                    std::exit(1);
                }),
                testing::ExitedWithCode(1), "^$");
}

}  // namespace
