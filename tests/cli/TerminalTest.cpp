// SPDX-License-Identifier: MIT
// Ctrl-C, pictures, and where output goes.
#include "CliFixture.h"
#include "support/Wait.h"

#include <csignal>

using namespace test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class TerminalTest : public CliTest {
protected:
    TerminalTest() : group(ada.createGroup("Summer")) {}

    std::string large() { return makePhoto(files.file("large.png"), {"--width", "2000", "--height", "1500"}); }

    std::string group;
    TempDir target;
};

TEST_F(TerminalTest, CtrlCInADownloadLeavesNothingAndExits130)
{
    const std::string url = ada.urlOf(ada.upload(group, large()));
    setFault("media:stall-after=4000000*1");
    Program program(ada.inTerminal({"download", url, target.path()}));
    ASSERT_TRUE(program.waitFor("4.0 MB of 9.0 MB"));
    EXPECT_THAT(target.entries(), Not(IsEmpty())) << "half of it lies there under another name";
    program.type("\x03");
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.exitCode, 130);
    EXPECT_THAT(result.out, HasSubstr("interrupted"));
    EXPECT_THAT(target.entries(), IsEmpty());
}

TEST_F(TerminalTest, CtrlCInAForcedDownloadLeavesTheOldFileAsItWas)
{
    const std::string url = ada.urlOf(ada.upload(group, large()));
    writeFile(target.file("large.png"), "mine");
    setFault("media:stall-after=4000000*1");
    Program program(ada.inTerminal({"download", url, target.path(), "--force"}));
    ASSERT_TRUE(program.waitFor("4.0 MB of 9.0 MB"));
    program.type("\x03");
    EXPECT_EQ(program.wait().exitCode, 130);
    EXPECT_EQ(readFile(target.file("large.png")), "mine");
    EXPECT_EQ(target.entries().size(), 1U);
}

TEST_F(TerminalTest, CtrlCInAnUploadLeavesNoContentAndSparesTheFollowingFiles)
{
    const std::string path = large();
    setFault("upload.file:delay=60000*1");
    Program program(ada.inTerminal({"upload", group, path, path, "--jobs", "1"}));
    ASSERT_TRUE(program.waitFor("MB of 9.0 MB"));
    program.type("\x03");
    EXPECT_EQ(program.wait().exitCode, 130);
    EXPECT_EQ(hits("upload"), 1U);
    EXPECT_EQ(ada.json({"feed", group})["contents"].size(), 0U);
}

TEST_F(TerminalTest, CtrlCEndsAWaitForAReply)
{
    setFault("group.list:delay=60000*1");
    Program program(ada.inTerminal({"groups", "--verbose"}));
    ASSERT_TRUE(program.waitFor("the plugin is"));
    program.type("\x03");
    EXPECT_EQ(program.wait().exitCode, 130);
}

TEST_F(TerminalTest, CtrlCSaysThatAChangeMayHaveBeenMade)
{
    setFault("group.create:delay=60000*1");
    Program program(ada.inTerminal({"group", "create", "Winter"}));
    EXPECT_TRUE(comesTrue([&] { return hits("group.create") == 2; })) << "the first is the test's own";
    program.type("\x03");
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.exitCode, 130);
    EXPECT_THAT(result.out, HasSubstr("may have taken effect at the service all the same"));
}

TEST_F(TerminalTest, CtrlCWhileSigningInEndsAtOnce)
{
    setFault("auth:delay=60000*1");
    Program program(ada.inTerminal({"groups", "--verbose"}));
    ASSERT_TRUE(program.waitFor("the plugin is"));
    program.type("\x03");
    EXPECT_EQ(program.wait().exitCode, 130);
}

TEST_F(TerminalTest, TerminationSignalEndsATransferLikeCtrlC)
{
    const std::string url = ada.urlOf(ada.upload(group, large()));
    setFault("media:stall-after=4000000*1");
    Program program(ada.inTerminal({"download", url, target.path()}));
    ASSERT_TRUE(program.waitFor("4.0 MB of 9.0 MB"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait().exitCode, 128 + SIGTERM);
    EXPECT_THAT(target.entries(), IsEmpty());
}

TEST_F(TerminalTest, SecondCtrlCEndsTheProgramAtOnce)
{
    // While the upload's place is asked for, the first one has to wait for the answer.
    setFault("upload:delay=60000*1");
    const std::string path = makePhoto(files.file("small.jpg"), {"--width", "80", "--height", "60"});
    Program program(ada.inTerminal({"upload", group, path, "--verbose"}));
    ASSERT_TRUE(program.waitFor("the plugin is"));
    program.type("\x03");
    program.type("\x03");
    EXPECT_EQ(program.wait().exitCode, 130);
}

TEST_F(TerminalTest, JsonIsValidWhateverThePluginLogs)
{
    for (const Arguments& arguments : {Arguments{"--json", "--verbose", "group", "delete", "--yes", "999"},
                                       Arguments{"--json", "group", "delete", "--yes", "999"}, Arguments{"--json", "unheard-of"},
                                       Arguments{"--json", "upload", group, "missing.jpg"}}) {
        const ProgramResult result = ada.run(arguments);
        EXPECT_NE(result.exitCode, 0);
        EXPECT_TRUE(Json::accept(result.out)) << result.out;
        EXPECT_THAT(result.out, Not(HasSubstr("#ERROR")));
    }
    const Json error = Json::parse(ada.run({"--json", "group", "delete", "--yes", "999"}).out);
    EXPECT_EQ(error["error"]["status"], -205);
    EXPECT_EQ(error["error"]["name"], "WSTATUS_REJECTED");
    EXPECT_EQ(error["error"]["exit"], 1);
}

TEST_F(TerminalTest, PluginsLogGoesToStandardErrorOnlyWhenAskedFor)
{
    setFault("group.list:garbage*2");
    EXPECT_THAT(ada.run({"groups"}).err, Not(HasSubstr("#ERROR")));
    const ProgramResult result = ada.run({"groups", "--verbose"});
    EXPECT_THAT(result.err, HasSubstr("#ERROR WSTATUS:"));
    EXPECT_EQ(result.out, "");
}

TEST_F(TerminalTest, SecretsNeverAppear)
{
    const std::string path = makePhoto(files.file("small.jpg"), {"--width", "80", "--height", "60"});
    setFault("group.list:garbage*1");
    for (const Arguments& arguments :
         {Arguments{"login"}, Arguments{"groups"}, Arguments{"upload", group, path}, Arguments{"config", "show"},
          Arguments{"feed", group}, Arguments{"group", "delete", "--yes", "999"}}) {
        for (const char* option : {"--verbose", "--json"}) {
            Arguments all = arguments;
            all.emplace_back(option);
            const ProgramResult result = ada.run(all);
            EXPECT_THAT(result.out + result.err, Not(HasSubstr(ada.token())));
            EXPECT_THAT(result.out + result.err, Not(HasSubstr("signature")));
        }
    }
}

TEST_F(TerminalTest, ReaderThatGoesAwayIsNoReasonToComplain)
{
    Program::Settings settings = ada.between({"groups"});
    settings.nobodyReads = true;
    const ProgramResult result = Program(settings).wait();
    EXPECT_EQ(result.exitCode, 141);
    EXPECT_EQ(result.err, "");
    settings = ada.between({"groups", "--json"});
    settings.nobodyReads = true;
    EXPECT_EQ(Program(settings).wait().exitCode, 141);
    EXPECT_EQ(Program(settings).wait().err, "");
}

TEST_F(TerminalTest, FullDiskUnderStandardOutputIsAnError)
{
    Program::Settings settings = ada.between({});
    settings.command = {"/bin/sh", "-c", "exec \"$0\" groups > /dev/full", settings.command[0]};
    const ProgramResult result = Program(settings).wait();
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_THAT(result.err, HasSubstr("No space left"));
}

TEST_F(TerminalTest, StandardDescriptorsMayBeClosed)
{
    Program::Settings settings = ada.between({});
    const std::string program = settings.command[0];
    settings.command = {"/bin/sh", "-c", "exec \"$0\" groups <&- 2>&-", program};
    EXPECT_EQ(Program(settings).wait().exitCode, 0);
    settings.command = {"/bin/sh", "-c", "exec \"$0\" groups >&-", program};
    const ProgramResult silent = Program(settings).wait();
    EXPECT_EQ(silent.exitCode, 5) << "what was asked for is lost";
    EXPECT_THAT(silent.err, HasSubstr("standard output: cannot be written"));
}

TEST_F(TerminalTest, ShowsAPictureInColoursOnATerminalAndInLettersElsewhere)
{
    const std::string path = makePhoto(files.file("photo.jpg"), {"--width", "800", "--height", "600"});
    const std::string id = ada.upload(group, path);
    const ProgramResult shown = Program(ada.inTerminal({"show", id})).wait();
    EXPECT_EQ(shown.exitCode, 0) << shown.out;
    EXPECT_THAT(shown.out, HasSubstr("\x1b[38;"));
    EXPECT_EQ(linesOf(shown.out).size(), 23U) << "one row is left for the prompt";

    const std::string letters = ada.ok({"show", id, "--width", "40"});
    EXPECT_EQ(linesOf(letters).size(), 15U);
    EXPECT_THAT(letters, Not(HasSubstr("\x1b")));
    EXPECT_THAT(letters, HasSubstr("@"));
    EXPECT_EQ(ada.json({"show", id, "--width", "40"})["lines"].size(), 15U);
    EXPECT_EQ(ada.json({"show", id})["picture"], "contentThumbnail_540X405");
    setFault("thumbnail:status=404*1");
    const ProgramResult unready = ada.run({"show", id});
    EXPECT_EQ(unready.exitCode, 1);
    EXPECT_THAT(unready.err, HasSubstr("content " + id + " has no picture to show: the service cannot decode it, or is not ready"));
}

TEST_F(TerminalTest, ShowsPixelsWhereTheTerminalCan)
{
    const std::string id = ada.upload(group, makePhoto(files.file("photo.jpg"), {"--width", "80", "--height", "60"}));
    ada.setVariable("TERM", "xterm-kitty");
    EXPECT_THAT(Program(ada.inTerminal({"show", id})).wait().out, HasSubstr("\x1b_G"));
}

TEST_F(TerminalTest, FindsThePluginBesideItselfWhenNobodyNamesIt)
{
    ada.setVariable("KINLOOM_PLUGIN", "");
    ada.ok({"login"});
}

TEST_F(TerminalTest, HelpAndVersionNeedNothing)
{
    const User nobody;
    EXPECT_THAT(nobody.ok({"--version"}), testing::StartsWith("kinloom "));
    EXPECT_THAT(nobody.ok({"feed", "--help"}), HasSubstr("--before"));
}

} // namespace
