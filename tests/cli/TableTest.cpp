// SPDX-License-Identifier: MIT
#include "output/Table.h"
#include "core/Text.h"

#include <gtest/gtest.h>
#include <sstream>

using namespace kinloom;

namespace {

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

TEST(Table, AlignsColumnsWithWideCharacters)
{
    Table table({{"NAME"}, {"N", true}});
    table.add({"漢字", "7"});
    table.add({"abcdef", "12"});
    const auto lines = linesOf(table.aligned(80, false));
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], "NAME     N");
    EXPECT_EQ(lines[1], "漢字     7");
    EXPECT_EQ(lines[2], "abcdef  12");
}

TEST(Table, ShrinksTheColumnsThatGiveWayToFitTheTerminal)
{
    Table table({{"ID"}, {"NAME", false, true}, {"TEXT", false, true}});
    table.add({"1", std::string(50, 'n'), std::string(20, 't')});
    for (const std::string& line : linesOf(table.aligned(40, false)))
        EXPECT_LE(displayWidth(line), 40U) << line;
    EXPECT_NE(table.aligned(40, false).find("…"), std::string::npos);
}

TEST(Table, KeepsColumnsReadableWhenTheTerminalIsFarTooNarrow)
{
    Table table({{"ID"}, {"NAME", false, true}});
    table.add({"identifier", "0123456789abcdef"});
    EXPECT_EQ(linesOf(table.aligned(5, false))[1], "identifier  0123456…");
}

TEST(Table, NeutralisesCells)
{
    Table table({{"NAME"}});
    table.add({"a\x1b[31m\nb"});
    EXPECT_EQ(table.plain(), "a\uFFFD[31m b\n");
    EXPECT_EQ(linesOf(table.aligned(80, false))[1], "a\uFFFD[31m b");
}

TEST(Table, PlainLinesHaveTabsAndNoHeading)
{
    Table table({{"ID"}, {"NAME"}});
    table.add({"1", "a b"});
    table.add({"2", ""});
    EXPECT_EQ(table.plain(), "1\ta b\n2\t\n");
}

TEST(Table, HeadingStandsOutOnlyInColour)
{
    Table table({{"ID"}});
    EXPECT_EQ(table.aligned(80, true), "\x1b[1mID\x1b[0m\n");
    EXPECT_EQ(table.aligned(80, false), "ID\n");
}

TEST(Sheet, AlignsValuesAndLeavesEmptyOnesOut)
{
    Sheet sheet;
    sheet.add("id", "5");
    sheet.add("format", "");
    sheet.add("name", "a\nb");
    EXPECT_EQ(sheet.aligned(80), "id    5\nname  a b\n");
    EXPECT_EQ(sheet.plain(), "id\t5\nname\ta b\n");
}

TEST(Sheet, KeepsTheLinesOfATextAndWrapsThem)
{
    Sheet sheet;
    sheet.add("id", "5");
    sheet.addText("text", "one two three\r\n\n\nfour\x1b[2J\n");
    sheet.addText("empty", "\n \n");
    EXPECT_EQ(sheet.aligned(15), "id    5\ntext  one two\n      three\n\n      four\uFFFD[2J\n");
    EXPECT_EQ(sheet.plain(), "id\t5\ntext\tone two three\n\t\n\tfour\uFFFD[2J\n");
}

} // namespace
