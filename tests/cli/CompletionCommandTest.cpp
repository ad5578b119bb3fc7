// SPDX-License-Identifier: MIT
// Completion, in the shells themselves.
#include "CliFixture.h"

using namespace test;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

const std::string FOLDER = KINLOOM_COMPLETION;

class CompletionCommand : public CliTest {
protected:
    CompletionCommand()
    {
        ada.createGroup("Summer & sea");
        ada.createGroup("Winter");
    }

    /// A shell in which kinloom is found.
    Program::Settings shell(const Arguments& command) const
    {
        Program::Settings settings = ada.inTerminal({});
        const std::string program = settings.command.front();
        settings.command = command;
        settings.environment["PATH"] = program.substr(0, program.rfind('/')) + ":/usr/bin:/bin";
        settings.environment["TERM"] = "dumb";
        settings.environment["PS1"] = "ready> ";
        settings.environment["INPUTRC"] = "/dev/null";
        settings.environment["LC_ALL"] = "C.UTF-8";
        settings.columns = 200;
        return settings;
    }

    std::string answer(const Arguments& words) const
    {
        Arguments arguments = {"complete", "--"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        return ada.ok(arguments);
    }
};

TEST_F(CompletionCommand, BashCompletesCommandsOptionsAndGroups)
{
    Program bash(shell({"/bin/bash", "--norc", "--noprofile", "-i"}));
    ASSERT_TRUE(bash.waitFor("ready> "));
    bash.type("source " + FOLDER + "/kinloom.bash\n");
    bash.type("kinloom up\t");
    ASSERT_TRUE(bash.waitFor("kinloom upload ")) << "a command";
    bash.type("Summ\t");
    ASSERT_TRUE(bash.waitFor("kinloom upload Summer\\ \\&\\ sea ")) << "a group's name, as bash reads it";
    bash.type("\x15kinloom feed \"Wi\t");
    ASSERT_TRUE(bash.waitFor("feed \"Winter\"")) << "within quotes";
    bash.type("\x15kinloom --service http://127.0.0.1:1 groups --so\t");
    ASSERT_TRUE(bash.waitFor("groups --sort ")) << "behind a word with colons";
    bash.type("rec\t");
    ASSERT_TRUE(bash.waitFor("--sort recent "));
    writeFile(files.file("lake of mine.jpg"), "x");
    bash.type("\x15kinloom upload Winter " + files.path() + "/la\t");
    EXPECT_TRUE(bash.waitFor("lake\\ of\\ mine.jpg "));
    bash.type("\x15"
              "exit\n");
    EXPECT_EQ(bash.wait().exitCode, 0);
}

TEST_F(CompletionCommand, NamesWithinQuotesMeanNothingToBashButThemselves)
{
    const std::pair<const char*, const char*> groups[] = {{"Da$(touch X)rk", "Da"},    {"Wo`touch X`w", "Wo"},
                                                          {"Ben's; touch X #", "Be"},  {"Zo\"; touch X #", "Zo"},
                                                          {"Back\\slash $HOME", "Ba"}, {"Look!! !x", "Lo"}};
    for (const auto& group : groups)
        ada.createGroup(group.first);
    Program::Settings settings = shell({"/bin/bash", "--norc", "--noprofile", "-i"});
    settings.folder = files.path();
    Program bash(settings);
    ASSERT_TRUE(bash.waitFor("ready> "));
    bash.type("source " + FOLDER + "/kinloom.bash\n");
    int number = 0;
    for (const auto& [name, begin] : groups) {
        for (const char* quote : {"", "\"", "'", R"("")", R"(""")"}) {
            // Its exit code says whether it was the name of the group.
            const std::string count = std::to_string(++number);
            bash.type(std::string("kinloom feed ") + quote + begin + "\t");
            bash.type("; echo end$((" + count + "))=$?\n");
            ASSERT_TRUE(bash.waitFor("end" + count + "=0")) << name << " behind " << quote;
            EXPECT_THAT(files.entries(), IsEmpty()) << name << " behind " << quote;
        }
    }
    bash.type("exit\n");
    EXPECT_EQ(bash.wait().exitCode, 0);
}

TEST_F(CompletionCommand, ZshCompletesCommandsAndGroups)
{
    Program::Settings settings = shell({"/usr/bin/zsh", "-f", "-i"});
    settings.environment["ZDOTDIR"] = ada.home().path();
    Program zsh(settings);
    ASSERT_TRUE(zsh.waitFor("ready> "));
    zsh.type("fpath=(" + FOLDER + " $fpath); autoload -Uz compinit; compinit -u -D; print dᴏne\n");
    ASSERT_TRUE(zsh.waitFor("\ndᴏne"));
    zsh.type("kinloom uplo\t");
    ASSERT_TRUE(zsh.waitFor("kinloom upload "));
    zsh.type("Summ\t");
    EXPECT_TRUE(zsh.waitFor("Summer\\ \\&\\ sea"));
    zsh.type("\x15kinloom feed \"Wint\t");
    EXPECT_TRUE(zsh.waitFor("feed \"Winter\"")) << "within quotes";
    ada.createGroup("Back\\slash");
    zsh.type("\x15kinloom feed Ba\t");
    EXPECT_TRUE(zsh.waitFor("feed Back\\\\slash"));
    zsh.type("\x15"
             "exit\n");
    EXPECT_EQ(zsh.wait().exitCode, 0);
}

TEST_F(CompletionCommand, FishCompletesCommandsAndGroups)
{
    const auto offered = [&](const std::string& line) {
        Program::Settings settings =
            shell({"/usr/bin/fish", "--no-config", "-c", "source " + FOLDER + "/kinloom.fish; complete -C '" + line + "'"});
        settings.terminal = false;
        return Program(settings).wait().out;
    };
    EXPECT_THAT(offered("kinloom uplo"), HasSubstr("upload\t"));
    EXPECT_THAT(offered("kinloom feed Sum"), HasSubstr("Summer"));
    EXPECT_THAT(offered("kinloom feed Sum"), Not(HasSubstr("Winter")));
    EXPECT_THAT(offered("kinloom groups --sort re"), HasSubstr("recent"));
}

TEST_F(CompletionCommand, NamesOfGroupsAreKeptForAMinute)
{
    EXPECT_THAT(answer({"feed", ""}), testing::MatchesRegex("=Summer & sea\tgroup [0-9]+\n=Winter\tgroup [0-9]+\n"));
    const std::uint64_t asked = hits("group.list");
    EXPECT_THAT(answer({"feed", "W"}), HasSubstr("Winter"));
    EXPECT_EQ(hits("group.list"), asked);
    ada.createGroup("Wonder");
    EXPECT_THAT(answer({"feed", "W"}), AllOf(HasSubstr("Winter"), HasSubstr("Wonder"))) << "what kinloom changes, it knows";
}

TEST_F(CompletionCommand, FailsInSilenceAndSoon)
{
    const User nobody;
    for (const Arguments& words : {Arguments{"feed", ""}, Arguments{"--service", "http://127.0.0.1:1", "feed", ""}}) {
        Arguments arguments = {"complete", "--"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const ProgramResult result = nobody.run(arguments);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.out + result.err, "");
    }
    setFault("auth:delay=60000*1");
    const auto begin = std::chrono::steady_clock::now();
    const ProgramResult result = ada.run({"complete", "--", "feed", ""});
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    EXPECT_EQ(ada.run({"complete"}).out, "");
    EXPECT_EQ(ada.run({"complete", "--line", ""}).err, "");
}

TEST_F(CompletionCommand, HasOneDeadlineForAllThatItAsks)
{
    setFault("auth:delay=1200");
    setFault("group.list:delay=1200");
    EXPECT_EQ(answer({"feed", ""}), "") << "neither alone would be too late";
    EXPECT_EQ(hits("auth"), 3U) << "the first two made groups";
}

TEST_F(CompletionCommand, NamesThatCouldSteerATerminalAreNotOffered)
{
    const std::string id = ada.createGroup("evil\u009B2J");
    EXPECT_THAT(answer({"feed", ""}), Not(HasSubstr("\u009B")));
    EXPECT_THAT(answer({"feed", ""}), HasSubstr("=" + id + "\tevil"));
}

} // namespace
