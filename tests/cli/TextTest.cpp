// SPDX-License-Identifier: MIT
#include "core/Text.h"

#include <gtest/gtest.h>

using namespace kinloom;

namespace {

std::u32string charactersOf(std::string_view text)
{
    std::u32string characters;
    for (std::size_t i = 0; i < text.size();)
        characters += nextCharacter(text, i);
    return characters;
}

TEST(Text, ReadsUtf8) { EXPECT_EQ(charactersOf("aé漢😀"), U"aé漢😀"); }

TEST(Text, ReadsEachByteThatIsNoUtf8AsReplacement)
{
    EXPECT_EQ(charactersOf("\xC0\xAF"), U"\uFFFD\uFFFD") << "overlong";
    EXPECT_EQ(charactersOf("\xED\xA0\x80"), U"\uFFFD\uFFFD\uFFFD") << "surrogate";
    EXPECT_EQ(charactersOf("\xF4\x90\x80\x80"), U"\uFFFD\uFFFD\uFFFD\uFFFD") << "beyond Unicode";
    EXPECT_EQ(charactersOf("\xE2\x82"), U"\uFFFD\uFFFD") << "cut off";
    EXPECT_EQ(charactersOf("\xC3x"), U"\uFFFDx");
}

TEST(Text, AppendingReversesReading)
{
    const std::string text = "aé漢😀\x7F";
    std::string again;
    for (const char32_t character : charactersOf(text))
        appendCharacter(again, character);
    EXPECT_EQ(again, text);
}

TEST(Text, NeutralisesWhatSteersATerminal)
{
    EXPECT_EQ(neutralised("a\x1b[2Jb"), "a\uFFFD[2Jb");
    EXPECT_EQ(neutralised("a\nb\tc\rd"), "a b c d");
    EXPECT_EQ(neutralised("x\u202Ey\u2066z\u0085"), "x\uFFFDy\uFFFDz\uFFFD");
    EXPECT_EQ(neutralised("schön 😀 👨‍👩‍👧"), "schön 😀 👨‍👩‍👧");
}

TEST(Text, WidthIsThatOfTheTerminal)
{
    EXPECT_EQ(displayWidth(""), 0U);
    EXPECT_EQ(displayWidth("abc"), 3U);
    EXPECT_EQ(displayWidth("é"), 1U);
    EXPECT_EQ(displayWidth("e\u0301"), 1U);
    EXPECT_EQ(displayWidth("漢字"), 4U);
    EXPECT_EQ(displayWidth("😀"), 2U);
}

TEST(Text, ClipsToColumnsNotToBytes)
{
    EXPECT_EQ(clipped("abcdef", 6), "abcdef");
    EXPECT_EQ(clipped("abcdef", 4), "abc…");
    EXPECT_EQ(clipped("漢字漢字", 5), "漢字…");
    EXPECT_EQ(clipped("漢字漢字", 4), "漢…") << "half a wide character is none";
    EXPECT_EQ(clipped("abc", 1), "…");
    EXPECT_EQ(clipped("abc", 0), "");
}

TEST(Text, PadsOnEitherSide)
{
    EXPECT_EQ(padded("漢", 4), "漢  ");
    EXPECT_EQ(padded("漢", 4, true), "  漢");
    EXPECT_EQ(padded("abcdef", 4), "abcdef");
}

TEST(Text, SizesHaveAtMostFourDigits)
{
    EXPECT_EQ(sizeText(0), "0 B");
    EXPECT_EQ(sizeText(999), "999 B");
    EXPECT_EQ(sizeText(1000), "1.0 kB");
    EXPECT_EQ(sizeText(999'949), "999.9 kB");
    EXPECT_EQ(sizeText(999'950), "1.0 MB");
    EXPECT_EQ(sizeText(36'060'829), "36.1 MB");
    EXPECT_EQ(sizeText(1.5e15), "1500.0 TB");
}

TEST(Text, WholeNumbersHaveNothingElseInThem)
{
    EXPECT_EQ(wholeNumber("0"), 0U);
    EXPECT_EQ(wholeNumber("18446744073709551615"), UINT64_MAX);
    for (const char* text : {"", " 1", "1 ", "-1", "+1", "1.5", "18446744073709551616", "12ab"})
        EXPECT_FALSE(wholeNumber(text)) << text;
}

} // namespace
