// How the program explains itself.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "commands/Subcommands.h"

namespace {

using testing::HasSubstr;

TEST(Help, WrongWordsAreAnsweredWithNearOnes) {
    const std::pair<Arguments, const char*> cases[] = {
        {{"inof"}, "inof is no subcommand; is it info?"},
        {{"exprot", "x"}, "is it export?"},
        {{"info", "--storge", "x"}, "is it --storage?"},
        {{"draw", "x", "-o", "y", "--edges", "mseh"}, "none of none, feature, mesh; is it mesh?"},
        {{"help", "lst"}, "is it list, log?"},
    };
    for (const auto& [arguments, text] : cases) {
        const CommandResult result = RunHere(arguments);
        EXPECT_EQ(result.status, 2) << text;
        EXPECT_THAT(result.err, HasSubstr(text));
    }
}

TEST(Help, IsTheSameInEitherWay) {
    for (const orqmodel::Subcommand& row : orqmodel::Subcommands()) {
        const CommandResult help = RunHere({"help", row.name});
        EXPECT_EQ(help.status, 0);
        EXPECT_THAT(help.out, HasSubstr("Usage: orqmodel " + std::string(row.name)));
        EXPECT_EQ(help.out, RunHere({row.name, "--help"}).out);
    }
    EXPECT_EQ(RunHere({"help"}).out, RunHere({"--help"}).out);
}

TEST(Help, ManualPageHasEverySubcommandAndOption) {
    const std::string page = RunHere({"help", "--manual"}).out;
    for (const char* text : {".TH ORQMODEL 1", ".SS list KIND DATABASE [PATTERN] [OPTIONS]",
                             "\\fB\\-\\-chunk\\-nodes\\fR \\fIINT\\fR",
                             "\\fI{none,feature,mesh}\\fR", ".SS table DATABASE"}) {
        EXPECT_THAT(page, HasSubstr(text));
    }
}

/// What bash offers for the last word.
std::string Completed(const std::string& words) {
    const exodus_file::ScratchFolder folder;
    PutBytes(folder / "orqmodel.bash", RunHere({"completion", "bash"}).out);
    PutBytes(folder / "ask.bash",
             "source '" + std::string(folder / "orqmodel.bash") + "'\nset -- " + words +
                 "\nCOMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _orqmodel\necho "
                 "\"${COMPREPLY[*]}\"\n");
    const pid_t process =
        StartProgram("/bin/bash", {folder / "ask.bash"}, folder / "out", folder / "err");
    EXPECT_EQ(StatusOf(process), 0);
    EXPECT_EQ(Bytes(folder / "err"), "");
    return Bytes(folder / "out");
}

TEST(Completion, OffersSubcommandsOptionsAndWords) {
    const std::pair<const char*, const char*> cases[] = {
        {"orqmodel mat", "materials\n"},
        {"orqmodel export --st", "--strict\n"},
        {"orqmodel draw x --edges fe", "feature\n"},
        {"orqmodel draw x --color", "--color-by\n"},
        {"orqmodel list orie", "orientations\n"},
        {"orqmodel table x --derived p", "principal\n"},
        {"orqmodel info --no", "\n"},
    };
    for (const auto& [words, offered] : cases) {
        EXPECT_EQ(Completed(words), offered) << words;
    }
}

TEST(Quiet, AnAccountIsLeftOutAndFindingsAreNot) {
    const exodus_file::ScratchFolder folder;
    const std::string model = folder / "m.orq";
    const CommandResult imported = RunHere({"import", ORQ_WING_BOX, "-o", model, "--quiet"});
    EXPECT_EQ(imported.status, 0);
    EXPECT_EQ(imported.out + imported.err, "");
    EXPECT_EQ(RunHere({"verify", model, "-q"}).out, "");
    EXPECT_EQ(RunHere({"copy", model, folder / "c.orq", "-q"}).out, "");
    EXPECT_THAT(RunHere({"check", model, "-q"}).out, testing::Not(""));
    EXPECT_EQ(RunHere({"verify", model, "-q", "-v"}).status, 2);
}

}  // namespace
