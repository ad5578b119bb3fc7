// SPDX-License-Identifier: MIT
#include "CliFixture.h"

#include <set>

using namespace test;
using testing::HasSubstr;
using testing::Not;

namespace {

using GroupsCommand = CliTest;

std::vector<std::string> namesIn(const Json& document)
{
    std::vector<std::string> names;
    for (const Json& group : document["groups"])
        names.push_back(group["name"]);
    return names;
}

/// Names that a careless program would cut, double or misread.
const std::vector<std::string> DIFFICULT = {
    "Summer & sea",        "O'Brien \"the quoted\"",
    "100% a+b=c; x/y?z#1", "%41%2B+%",
    "  blanks  around  ",  "🏖️ 漢字 👨‍👩‍👧 ünïcödé",
    "<b>&amp;]]></b>",     "--json",
    "\\ backslash \\n",    "me",
};

TEST_F(GroupsCommand, DifficultNamesAndDescriptionsSurviveTheRoundTrip)
{
    for (const std::string& text : DIFFICULT) {
        const Json created = ada.json({"group", "create", "--desc=" + text, "--", text});
        EXPECT_EQ(created["name"], text);
        bool found = false;
        const Json listed = ada.json({"groups", "--all"});
        for (const Json& group : listed["groups"]) {
            if (group["id"] != created["id"])
                continue;
            found = true;
            EXPECT_EQ(group["name"], text);
            EXPECT_EQ(group["description"], text);
        }
        EXPECT_TRUE(found) << text;
    }
}

TEST_F(GroupsCommand, AllShowsEveryGroupOnceAtAnyPageSize)
{
    std::multiset<std::string> created;
    for (int i = 0; i < 12; ++i)
        created.insert(ada.createGroup("Group " + std::to_string(i)));
    for (int count : {1, 2, 5, 11, 12, 13, 100}) {
        for (const char* sort : {"alphabetical", "created", "recent"}) {
            const Json document = ada.json({"groups", "--all", "--count", std::to_string(count), "--sort", sort});
            std::multiset<std::string> shown;
            for (const Json& group : document["groups"])
                shown.insert(group["id"].get<std::string>());
            EXPECT_EQ(shown, created) << count << " by " << sort;
            EXPECT_EQ(document["more"], false);
        }
    }
}

TEST_F(GroupsCommand, OnePageSaysWhereTheNextBegins)
{
    for (const char* name : {"a", "b", "c"})
        ada.createGroup(name);
    const Json first = ada.json({"groups", "--count", "2"});
    EXPECT_EQ(namesIn(first), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(first["more"], true);
    EXPECT_EQ(first["next_index"], 2);
    const Json second = ada.json({"groups", "--count", "2", "--index", "2"});
    EXPECT_EQ(namesIn(second), (std::vector<std::string>{"c"}));
    EXPECT_EQ(second["more"], false);
    EXPECT_TRUE(second.contains("next_index") && second["next_index"].is_null());
}

TEST_F(GroupsCommand, TellsPeopleThatThereAreMore)
{
    ada.createGroup("a");
    ada.createGroup("b");
    EXPECT_THAT(ada.run({"groups", "--count", "1"}).err, HasSubstr("--index 1"));
    EXPECT_EQ(ada.run({"groups", "--count", "2"}).err, "");
}

TEST_F(GroupsCommand, LeavesOutWhatWasNotAskedFor)
{
    ada.createGroup("a");
    const Json all = ada.json({"groups"});
    EXPECT_EQ(all["groups"][0]["photos"], 0);
    EXPECT_EQ(all["groups"][0]["master"]["name"], "Ada");
    const Json none = ada.json({"groups", "--include", "none"});
    EXPECT_FALSE(none["groups"][0].contains("photos"));
    EXPECT_FALSE(none["groups"][0].contains("master"));
    EXPECT_TRUE(ada.json({"groups", "--include", "usage"})["groups"][0].contains("photos"));
    EXPECT_TRUE(ada.json({"groups", "--include", "creator"})["groups"][0].contains("master"));
    EXPECT_EQ(ada.json({"groups", "--include", "new"})["groups"].size(), 1U);
}

TEST_F(GroupsCommand, DeletesAGroup)
{
    const std::string id = ada.createGroup("a");
    EXPECT_EQ(ada.json({"group", "delete", "--yes", id})["deleted"], id);
    EXPECT_EQ(ada.json({"groups"})["groups"].size(), 0U);
}

TEST_F(GroupsCommand, ForeignGroupCannotBeDeleted)
{
    const User bob(data.path(), "Bob", service.url());
    const std::string id = ada.createGroup("Ada's");
    const ProgramResult result = bob.run({"group", "delete", "--yes", id});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("WSTATUS_REJECTED"));
    EXPECT_EQ(ada.json({"groups"})["groups"].size(), 1U);
}

TEST_F(GroupsCommand, EmptyNameIsRefusedBeforeAnyRequest)
{
    EXPECT_EQ(ada.run({"group", "create", ""}).exitCode, 2);
    EXPECT_EQ(hits("auth"), 0U);
}

TEST_F(GroupsCommand, IdentifiersCannotLeaveTheirPlaceInTheRequest)
{
    const std::string id = ada.createGroup("a");
    EXPECT_EQ(ada.run({"groups", "--person", "me/group.list?x=1#"}).exitCode, 1);
    EXPECT_EQ(ada.run({"groups", "--person", ".."}).exitCode, 2);
    EXPECT_EQ(ada.run({"group", "delete", "--yes", id + "&groupID=" + id}).exitCode, 1);
    EXPECT_EQ(ada.json({"groups"})["groups"].size(), 1U);
}

TEST_F(GroupsCommand, PrintsPlainLinesIntoAPipeAndAnAlignedTableOnATerminal)
{
    ada.createGroup("漢字");
    ada.createGroup("plain");
    const auto lines = linesOf(ada.ok({"groups"}));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(cellsOf(lines[0])[1], "plain");

    const ProgramResult shown = Program(ada.inTerminal({"groups", "--no-color"})).wait();
    EXPECT_EQ(shown.exitCode, 0);
    const auto rows = linesOf(shown.out);
    ASSERT_EQ(rows.size(), 3U) << shown.out;
    EXPECT_THAT(rows[0], HasSubstr("NAME   DESCRIPTION"));
    EXPECT_THAT(rows[1], HasSubstr("plain               Ada"));
    EXPECT_THAT(rows[2], HasSubstr("漢字                Ada")) << "wide characters take two columns";
    EXPECT_THAT(shown.out, Not(HasSubstr("\x1b")));
}

TEST_F(GroupsCommand, AlignsATableIntoAPipeWhenAskedTo)
{
    ada.createGroup(std::string(150, 'x'));
    ada.setVariable("COLUMNS", "60");
    const auto rows = linesOf(ada.ok({"groups", "--table"}));
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_THAT(rows[0], HasSubstr("NAME"));
    EXPECT_LE(rows[1].size(), 60U + 2U) << "an ellipsis has three bytes";
}

TEST_F(GroupsCommand, ControlCharactersOfOthersNeverReachTheTerminal)
{
    ada.createGroup("evil \x1b]0;title\x07 \x1b[2J name");
    const ProgramResult shown = Program(ada.inTerminal({"groups", "--no-color"})).wait();
    EXPECT_THAT(shown.out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(shown.out, Not(HasSubstr("\x07")));
}

TEST_F(GroupsCommand, HeadingIsBoldUnlessColoursAreOff)
{
    ada.createGroup("a");
    EXPECT_THAT(Program(ada.inTerminal({"groups"})).wait().out, HasSubstr("\x1b[1m"));
    ada.setVariable("NO_COLOR", "1");
    EXPECT_THAT(Program(ada.inTerminal({"groups"})).wait().out, Not(HasSubstr("\x1b[1m")));
}

} // namespace
