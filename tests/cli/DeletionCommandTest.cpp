// SPDX-License-Identifier: MIT
// Deletions tell what will go, and ask.
#include "CliFixture.h"

#include <csignal>

using namespace test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

class DeletionCommand : public CliTest {
protected:
    DeletionCommand()
        : group(ada.createGroup("Summer & sea")),
          content(
              ada.json({"upload", group,
                        makePhoto(files.file("lake.jpg"), {"--width", "80", "--height", "60", "--taken", "2024:07:14 20:31:05"}),
                        "--desc", "At the lake"})["files"][0]["id"]),
          comment(ada.json({"comment", "add", content, "What a sky!"})["id"])
    {
    }

    /// The three deletions.
    std::vector<Arguments> deletions() const
    {
        return {{"group", "delete", group}, {"content", "delete", content}, {"comment", "delete", comment}};
    }
    bool allThere() const
    {
        return ada.json({"groups"})["groups"].size() == 1 && ada.json({"feed", group})["contents"].size() == 1 &&
               ada.json({"content", "show", content})["comments"].size() == 1;
    }

    std::string group;
    std::string content;
    std::string comment;
};

TEST_F(DeletionCommand, WithoutATerminalDeletesNothingAndAsksTheServiceNothing)
{
    const std::uint64_t before = hits("auth");
    for (const Arguments& arguments : deletions()) {
        const ProgramResult result = ada.run(arguments, "y\nyes\n");
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_THAT(result.err, AllOf(HasSubstr("--yes"), HasSubstr("--dry-run"), HasSubstr("nothing was deleted")));
    }
    EXPECT_EQ(hits("auth"), before);
    EXPECT_TRUE(allThere());
}

TEST_F(DeletionCommand, TellsOnATerminalWhatWillGoAndAsks)
{
    const std::vector<std::vector<const char*>> told = {{"group ", "\"Summer & sea\"", "1 photo", "1 comment"},
                                                        {"\"At the lake\"", "2024-07-14 20:31", "1 comment", "by Ada"},
                                                        {"\"What a sky!\"", "by Ada"}};
    for (std::size_t i = 0; i < told.size(); ++i) {
        Program program(ada.inTerminal(deletions()[i]));
        ASSERT_TRUE(program.waitFor("means yes: "));
        program.type("n\n");
        const ProgramResult result = program.wait();
        EXPECT_EQ(result.exitCode, 1);
        for (const char* part : told[i])
            EXPECT_THAT(result.out, HasSubstr(part));
        EXPECT_THAT(result.out, AllOf(HasSubstr("30 days"), HasSubstr("kinloomd trash"), HasSubstr("nothing was deleted")));
    }
    EXPECT_TRUE(allThere());
}

TEST_F(DeletionCommand, OnlyYAndYesMeanYes)
{
    for (const char* answer : {"\n", "Y\n", "yes please\n", "yy\n", "no\n", " y\n", "\x04", "ye\n", "y\x04\x04", "yes\x04\x04"}) {
        Program program(ada.inTerminal({"comment", "delete", comment}));
        ASSERT_TRUE(program.waitFor("means yes: "));
        program.type(answer);
        EXPECT_EQ(program.wait().exitCode, 1) << answer;
    }
    EXPECT_TRUE(allThere());
    const std::string second = ada.json({"comment", "add", content, "second"})["id"];
    for (const auto& [uid, answer] : {std::pair<std::string, const char*>{second, "y\n"}, {comment, "yes\n"}}) {
        Program program(ada.inTerminal({"comment", "delete", uid}));
        ASSERT_TRUE(program.waitFor("means yes: "));
        program.type(answer);
        EXPECT_EQ(program.wait().exitCode, 0) << answer;
    }
    EXPECT_EQ(ada.json({"content", "show", content})["comment_count"], 0);
}

TEST_F(DeletionCommand, CtrlCAtTheQuestionDeletesNothing)
{
    Program program(ada.inTerminal({"group", "delete", group}));
    ASSERT_TRUE(program.waitFor("means yes: "));
    program.type("\x03");
    EXPECT_EQ(program.wait().exitCode, 130);
    EXPECT_TRUE(allThere());
}

TEST_F(DeletionCommand, DryRunTellsAndDeletesNothing)
{
    EXPECT_THAT(ada.ok({"group", "delete", group, "--dry-run"}),
                HasSubstr("would delete group " + group + " \"Summer & sea\" with 1 photo and 1 comment."));
    EXPECT_THAT(ada.ok({"content", "delete", content, "--dry-run"}), HasSubstr("would delete content " + content));
    EXPECT_THAT(ada.ok({"comment", "delete", comment, "--dry-run", "--yes"}), HasSubstr("\"What a sky!\""));
    const Json document = ada.json({"group", "delete", group, "--dry-run"});
    EXPECT_TRUE(document["deleted"].is_null());
    EXPECT_EQ(document["dry_run"], true);
    EXPECT_EQ(document["group"]["photos"], 1);
    EXPECT_THAT(document["group"]["image"].get<std::string>(), testing::StartsWith(service.url() + "/"));
    EXPECT_TRUE(allThere());
}

TEST_F(DeletionCommand, YesDeletesWithoutAskingAndTellsWhatIsGone)
{
    const Json gone = ada.json({"comment", "delete", comment, "--yes"});
    EXPECT_EQ(gone["deleted"], comment);
    EXPECT_EQ(gone["comment"]["text"], "What a sky!");
    EXPECT_THAT(ada.ok({"content", "delete", content, "--yes"}),
                AllOf(HasSubstr("Deleted content"), HasSubstr("30 days"), HasSubstr("kinloomd trash restore NUMBER")));
    EXPECT_EQ(ada.ok({"group", "delete", "summer & SEA", "--yes", "--quiet"}), "");
    EXPECT_EQ(ada.json({"groups"})["groups"].size(), 0U);
}

TEST_F(DeletionCommand, WhatIsNotThereIsNotAskedAbout)
{
    for (const char* thing : {"group", "content", "comment"}) {
        const ProgramResult result = Program(ada.inTerminal({thing, "delete", "999"})).wait();
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_THAT(result.out, HasSubstr(std::string("cannot delete the ") + thing + ": there is no " + thing + " '999'"));
        EXPECT_THAT(result.out, Not(HasSubstr("means yes")));
        EXPECT_THAT(ada.run({thing, "delete", "999", "--yes"}).err, HasSubstr(std::string("cannot delete the ") + thing));
    }
}

} // namespace
