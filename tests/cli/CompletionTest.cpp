// SPDX-License-Identifier: MIT
#include "commands/Completion.h"
#include "commands/CommandLine.h"
#include "commands/Help.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

using namespace kinloom;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

namespace {

using Words = std::vector<std::string>;

const std::vector<Named> GROUPS = {{"1", "Summer & sea"}, {"2", "Summer camp"}, {"3", "Winter"},  {"4", "Twins"}, {"5", "Twins"},
                                   {"6", "2024"},         {"7", "--json"},      {"8", "evil\nx"}, {"9", "name:x"}};

Completions completed(const Words& words)
{
    static const commandline::CommandEntry table = commandTable();
    return complete(table, words, [] { return GROUPS; });
}

Words textsFor(const Words& words)
{
    Words texts;
    for (const Completions::Candidate& candidate : completed(words).candidates)
        texts.push_back(candidate.text);
    return texts;
}

TEST(Completion, OffersCommandsAndTheirCommands)
{
    EXPECT_THAT(textsFor({"gro"}), ElementsAre("groups", "group"));
    EXPECT_THAT(textsFor({""}), IsSupersetOf({"config", "feed", "upload", "save"}));
    EXPECT_THAT(textsFor({""}), Not(Contains("complete")));
    EXPECT_THAT(textsFor({"group", ""}), ElementsAre("create", "delete"));
    EXPECT_THAT(textsFor({"--json", "group", "d"}), ElementsAre("delete"));
    EXPECT_THAT(textsFor({"--service", "http://h:1", "group", "d"}), ElementsAre("delete")) << "an option's value is no command";
}

TEST(Completion, OffersOptionsOfTheCommandAndOfTheProgram)
{
    EXPECT_THAT(textsFor({"feed", "--b"}), ElementsAre("--before", "--base"));
    EXPECT_THAT(textsFor({"feed", "--"}), IsSupersetOf({"--since", "--until", "--json", "--quiet", "--help"}));
    EXPECT_THAT(textsFor({"feed", "--he"}), ElementsAre("--help")) << "the program's and the command's are one";
    EXPECT_THAT(textsFor({"--", "--"}), IsEmpty()) << "behind two dashes there are no options";
}

TEST(Completion, OffersTheWordsThatAnOptionTakes)
{
    EXPECT_THAT(textsFor({"groups", "--sort", ""}), ElementsAre("alphabetical", "created", "recent"));
    EXPECT_THAT(textsFor({"feed", "1", "--base", "u"}), ElementsAre("uploaded"));
    EXPECT_THAT(textsFor({"feed", "1", "--count", ""}), IsEmpty());
}

TEST(Completion, OffersGroupsByNameWhereTheNameSaysWhich)
{
    EXPECT_THAT(textsFor({"feed", "Su"}), ElementsAre("Summer & sea", "Summer camp"));
    EXPECT_THAT(textsFor({"upload", ""}), ElementsAre("Summer & sea", "Summer camp", "Winter", "4", "5", "6", "7", "8", "9"));
    EXPECT_THAT(textsFor({"group", "delete", "Win"}), ElementsAre("Winter"));
    EXPECT_THAT(textsFor({"save", "W"}), ElementsAre("Winter"));
    EXPECT_THAT(textsFor({"feed", "Winter", ""}), IsEmpty()) << "there is one group only";
    EXPECT_THAT(textsFor({"content", "show", ""}), IsEmpty());
}

TEST(Completion, OffersFilesAndFoldersWhereTheyStand)
{
    EXPECT_EQ(completed({"upload", "Winter", ""}).files, Completions::Files::FILES);
    EXPECT_EQ(completed({"upload", "Winter", "a.jpg", ""}).files, Completions::Files::FILES) << "one after the other";
    EXPECT_EQ(completed({"save", "Winter", ""}).files, Completions::Files::FOLDERS);
    EXPECT_EQ(completed({"--config", ""}).files, Completions::Files::FILES);
    EXPECT_EQ(completed({"feed", ""}).files, Completions::Files::NONE);
}

TEST(Completion, OffersKeysOfTheConfiguration)
{
    EXPECT_THAT(textsFor({"config", "set", "s"}), Contains("service"));
    EXPECT_THAT(textsFor({"config", "get", "connect"}), IsSupersetOf({"connect_timeout_ms"}));
}

TEST(Completion, AsksForGroupsOnlyWhereOneMayStand)
{
    const auto never = []() -> std::vector<Named> { throw std::runtime_error("nobody wants groups here"); };
    for (const Words& words : {Words{""}, Words{"groups", ""}, Words{"comment", "add", ""}, Words{"feed", "--"}})
        EXPECT_NO_THROW(complete(commandTable(), words, never));
}

TEST(Completion, ReadsALineAsAShellDoes)
{
    EXPECT_EQ(wordsOf("kinloom feed Su"), (Words{"kinloom", "feed", "Su"}));
    EXPECT_EQ(wordsOf("kinloom feed "), (Words{"kinloom", "feed", ""}));
    EXPECT_EQ(wordsOf("kinloom feed \"Summer & s"), (Words{"kinloom", "feed", "Summer & s"}));
    EXPECT_EQ(wordsOf("kinloom feed 'a\\b' Summer\\ \\&"), (Words{"kinloom", "feed", "a\\b", "Summer &"}));
    EXPECT_EQ(wordsOf("kinloom feed ''"), (Words{"kinloom", "feed", ""}));
}

/// The words of every command that takes options, and of every one that has commands.
void collect(const commandline::CommandEntry& command, const std::string& path, Words& all)
{
    all.push_back(path);
    for (const commandline::CommandEntry& one : command.commands)
        collect(one, path.empty() ? one.name : path + " " + one.name, all);
}

TEST(Help, EveryWordHasExamplesThatCanBeTyped)
{
    Words all;
    collect(commandTable(), "", all);
    Words shown;
    for (const Example& example : examples())
        shown.emplace_back(example.command);
    EXPECT_THAT(shown, testing::UnorderedElementsAreArray(all));
    for (const Example& example : examples()) {
        std::istringstream lines(example.lines);
        for (std::string line; std::getline(lines, line);) {
            Words words = wordsOf(line.substr(line.find("kinloom "), line.find(" | cut") - line.find("kinloom ")));
            words.erase(words.begin());
            if (line.find("kinloomd") == std::string::npos) {
                EXPECT_NO_THROW(readCommandLine(words)) << line;
            }
        }
    }
}

TEST(Help, OfEveryWordEndsWithItsExamples)
{
    for (const Example& example : examples()) {
        Words words = wordsOf(example.command);
        if (words.back().empty())
            words.pop_back();
        words.emplace_back("--help");
        const std::string help = readCommandLine(words)->toPrint;
        EXPECT_THAT(help, HasSubstr("Examples:\n  kinloom")) << example.command;
        EXPECT_GT(help.find("Examples:"), help.find("Options:")) << example.command;
    }
}

} // namespace
