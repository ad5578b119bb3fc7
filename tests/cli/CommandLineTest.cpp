// SPDX-License-Identifier: MIT
#include "commands/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kinloom;
using testing::HasSubstr;
using testing::Not;

namespace {

Exit exitOf(const std::vector<std::string>& arguments)
{
    try {
        readCommandLine(arguments);
        return Exit::OK;
    } catch (const Failure& failure) {
        return failure.exitCode();
    }
}

TEST(CommandLine, TakesEveryCommand)
{
    const std::vector<std::vector<std::string>> lines = {
        {"config", "set", "duid", "x"},
        {"config", "get", "duid"},
        {"config", "show"},
        {"config", "import"},
        {"register"},
        {"login"},
        {"groups"},
        {"groups", "--person", "1", "--index", "3", "--count", "4", "--all", "--sort", "recent", "--include", "new"},
        {"group", "create", "name", "--desc", "text"},
        {"group", "delete", "1"},
        {"feed", "1"},
        {"feed", "1", "--before", "9", "--count", "1", "--all", "--base", "id", "--item", "photo", "--include", "usage"},
        {"feed", "1", "--after", "2010-05-05T07:04:09Z"},
        {"content", "show", "1"},
        {"content", "delete", "1"},
        {"content", "mime", "1", "--thumbnail"},
        {"upload", "1", "a.jpg", "b.jpg", "--desc", "text", "--type", "image/png"},
        {"download", "http://host/a.jpg", ".", "--name", "b.jpg", "--force"},
        {"save", "1", "folder"},
        {"comment", "add", "1", "text"},
        {"comment", "show", "1"},
        {"comment", "delete", "1"},
        {"show", "1", "--width", "40", "--height", "20", "--mode", "symbols"},
    };
    for (const auto& line : lines) {
        const auto request = readCommandLine(line);
        EXPECT_TRUE(request->action) << line[0] << " " << (line.size() > 1 ? line[1] : "");
    }
}

TEST(CommandLine, TakesGlobalOptionsBeforeAndBehindTheCommand)
{
    for (const auto& line : {std::vector<std::string>{"--service", "http://h:1", "--json", "--timeout", "2.5", "groups"},
                             std::vector<std::string>{"groups", "--service", "http://h:1", "--json", "--timeout", "2.5"},
                             std::vector<std::string>{"config", "show", "--json", "--timeout=2.5", "--service=http://h:1"}}) {
        const auto request = readCommandLine(line);
        EXPECT_EQ(request->options.service, "http://h:1");
        EXPECT_TRUE(request->options.json);
        EXPECT_EQ(request->options.timeout, 2.5);
    }
}

TEST(CommandLine, RefusesWhatMakesNoSense)
{
    const std::vector<std::vector<std::string>> lines = {
        {},
        {"unheard-of"},
        {"group"},
        {"group", "create"},
        {"groups", "--sort", "sideways"},
        {"groups", "--include", "everything"},
        {"groups", "--count", "0"},
        {"groups", "--count", "-1"},
        {"groups", "--count", "many"},
        {"groups", "--index", "-1"},
        {"feed", "1", "--include", "new"},
        {"feed", "1", "--before", "1", "--after", "2"},
        {"feed"},
        {"upload", "1"},
        {"download", "http://host/a"},
        {"show", "1", "--mode", "paint"},
        {"--timeout", "0", "groups"},
        {"--timeout", "soon", "groups"},
        {"groups", "one", "too", "many"},
    };
    for (const auto& line : lines)
        EXPECT_EQ(exitOf(line), Exit::USAGE) << testing::PrintToString(line);
}

std::string complaintOf(const std::vector<std::string>& arguments)
{
    try {
        readCommandLine(arguments);
        return "";
    } catch (const Failure& failure) {
        return failure.what();
    }
}

TEST(CommandLine, NamesTheHelpOfTheCommandThatIsMeant)
{
    EXPECT_THAT(complaintOf({"upload"}), HasSubstr(". 'kinloom upload --help' shows what there is."));
    EXPECT_THAT(complaintOf({"--json", "group", "create"}), HasSubstr("'kinloom group create --help'"));
    EXPECT_THAT(complaintOf({"group", "bogus"}), HasSubstr("'kinloom group --help'"));
    EXPECT_THAT(complaintOf({"bogus"}), HasSubstr(". 'kinloom --help' shows"));
    EXPECT_THAT(complaintOf({"grops"}), HasSubstr("Did you mean 'groups'? 'kinloom --help'"));
    EXPECT_THAT(complaintOf({"content", "move", "1"}), Not(HasSubstr("Did you mean")));
}

TEST(CommandLine, SaysWhereAWordThatBeginsWithADashStands)
{
    EXPECT_THAT(
        complaintOf({"upload", "Summer", "-x.jpg"}),
        HasSubstr("'kinloom upload' has no option '-x.jpg'; a word that begins with a dash and is none stands behind '--'"));
    EXPECT_THAT(complaintOf({"group", "create", "-x"}), HasSubstr("no option '-x'"));
    EXPECT_THAT(complaintOf({"groups", "--dry-run=1"}), HasSubstr("'kinloom groups' has no option '--dry-run'"));
    EXPECT_THAT(complaintOf({"groups", "--count", "-1"}), Not(HasSubstr("behind '--'")));
    EXPECT_EQ(complaintOf({"upload", "Summer", "--", "-x.jpg"}), "");
}

TEST(CommandLine, KnowsWhereToFindWhatItHasNoWordFor)
{
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"members"}, "kinloomd member list GROUP"},
        {{"group", "members", "1"}, "kinloomd member list GROUP"},
        {{"group", "leave", "1"}, "kinloomd member remove GROUP PERSON"},
        {{"group", "show", "1"}, "kinloom feed GROUP"},
        {{"group", "list"}, "'kinloom groups'"},
        {{"group", "rename", "1", "x"}, "nor has kinloomd"},
        {{"group", "describe", "1", "x"}, "nor has kinloomd"},
        {{"content", "list", "1"}, "'kinloom feed GROUP'"},
        {{"content", "edit", "1"}, "a content stays as it is"},
        {{"comment", "list", "1"}, "'kinloom content show UID'"},
        {{"rename"}, "kinloomd person rename"},
        {{"help"}, "man kinloom"},
        {{"version"}, "'kinloom --version'"},
    };
    for (const auto& [line, says] : cases) {
        EXPECT_THAT(complaintOf(line), HasSubstr(says)) << testing::PrintToString(line);
        EXPECT_THAT(complaintOf(line), Not(HasSubstr("there is no command")));
    }
}

TEST(CommandLine, TakesTextThatLooksLikeAnOptionBehindTwoDashes)
{
    EXPECT_EQ(exitOf({"group", "create", "--", "--json"}), Exit::OK);
    EXPECT_EQ(exitOf({"group", "create", "--jsonx"}), Exit::USAGE);
    EXPECT_EQ(exitOf({"config", "set", "AuthToken", "-"}), Exit::OK);
}

TEST(CommandLine, PrintsHelpForTheProgramAndForEachCommand)
{
    EXPECT_THAT(readCommandLine({"--help"})->toPrint, HasSubstr("kinloom"));
    const auto request = readCommandLine({"group", "create", "--help"});
    EXPECT_FALSE(request->action);
    EXPECT_THAT(request->toPrint, HasSubstr("kinloom group create"));
}

TEST(CommandLine, PrintsItsVersion) { EXPECT_THAT(readCommandLine({"--version"})->toPrint, testing::StartsWith("kinloom ")); }

} // namespace
