// SPDX-License-Identifier: MIT
#include "core/Text.h"

#include <gtest/gtest.h>

namespace {

using namespace kinloomd;

const std::string REPLACEMENT = "\xEF\xBF\xBD";

TEST(CleanText, KeepsValidTextOfEveryLength)
{
    const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\t\n\r";
    EXPECT_EQ(cleanText(text), text);
}

TEST(CleanText, ReplacesEachByteThatIsNoUtf8)
{
    EXPECT_EQ(cleanText("a\xFF"
                        "b"),
              "a" + REPLACEMENT + "b");
    EXPECT_EQ(cleanText("\xC3"), REPLACEMENT) << "cut short";
    EXPECT_EQ(cleanText("\x80"), REPLACEMENT) << "a continuation alone";
    EXPECT_EQ(cleanText("\xC0\xAF"), REPLACEMENT + REPLACEMENT) << "overlong";
    EXPECT_EQ(cleanText("\xE0\x80\xAF"), REPLACEMENT + REPLACEMENT + REPLACEMENT) << "overlong in three bytes";
    EXPECT_EQ(cleanText("\xED\xA0\x80"), REPLACEMENT + REPLACEMENT + REPLACEMENT) << "half of a surrogate pair";
    EXPECT_EQ(cleanText("\xF4\x90\x80\x80"), REPLACEMENT + REPLACEMENT + REPLACEMENT + REPLACEMENT) << "beyond the last";
    EXPECT_EQ(cleanText("\xF5\x80\x80\x80"), REPLACEMENT + REPLACEMENT + REPLACEMENT + REPLACEMENT);
}

TEST(CleanText, ReplacesCharactersThatXmlForbids)
{
    for (int c = 0; c < 0x20; ++c) {
        const std::string text(1, static_cast<char>(c));
        const bool allowed = c == '\t' || c == '\n' || c == '\r';
        EXPECT_EQ(cleanText(text), allowed ? text : REPLACEMENT) << c;
    }
    EXPECT_EQ(cleanText("\xEF\xBF\xBE"), REPLACEMENT);
    EXPECT_EQ(cleanText("\xEF\xBF\xBF"), REPLACEMENT);
}

TEST(Text, CountsCharactersNotBytes)
{
    EXPECT_EQ(countCharacters(""), 0U);
    EXPECT_EQ(countCharacters("a\xC3\xA9\xF0\x9F\x98\x80"), 3U);
}

TEST(Text, AppendsEveryLengthOfCharacter)
{
    std::string text;
    for (const char32_t c : {U'a', U'\u00E9', U'\u20AC', U'\U0001F600'})
        appendUtf8(text, c);
    EXPECT_EQ(text, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(Text, SortsWithoutRegardToCase)
{
    EXPECT_EQ(foldForSorting("ANNA"), foldForSorting("anna"));
    EXPECT_EQ(foldForSorting("\xC3\x84rger"), foldForSorting("\xC3\xA4rger"));
    EXPECT_LT(foldForSorting("apple"), foldForSorting("Banana"));
    EXPECT_EQ(foldForSorting(""), "");
}

TEST(Text, IsLikeAnotherThatDiffersInCaseOrInWhatCannotBeSeen)
{
    for (const char* name : {"Anna", "anna", " An na", "Anna\t", "A\xC2\xA0nna", "An\xE2\x80\x8Ena",
                             ("ANN\xE2\x80\x82"
                              "A")})
        EXPECT_EQ(foldForLikeness(name), foldForLikeness("Anna")) << name;
    for (const char* name : {"Anne", "Ann", "Anna2", "Ann\xC3\xA4", ""})
        EXPECT_NE(foldForLikeness(name), foldForLikeness("Anna")) << name;
}

TEST(Text, ShowsWhatWouldMoveATerminal)
{
    EXPECT_EQ(visibleText("plain, Gr\xC3\xBC\xC3\x9F"
                          "e \xF0\x9F\x98\x80"),
              "plain, Gr\xC3\xBC\xC3\x9F"
              "e \xF0\x9F\x98\x80");
    EXPECT_EQ(visibleText("a\tb\nc\rd"), "a\\u0009b\\u000ac\\u000dd");
    EXPECT_EQ(visibleText("\x1B[2J\x7F\xC2\x80\xC2\x9F"), "\\u001b[2J\\u007f\\u0080\\u009f");
    EXPECT_EQ(visibleText("\xE2\x80\x8E\xE2\x80\x8F\xD8\x9C\xE2\x80\xA8\xE2\x80\xAE\xE2\x81\xA6\xE2\x81\xA9\xEF\xBB\xBF"),
              "\\u200e\\u200f\\u061c\\u2028\\u202e\\u2066\\u2069\\ufeff");
    EXPECT_EQ(visibleText("back\\slash"), "back\\\\slash");
    EXPECT_EQ(visibleText("broken \xC3 \xFF"), "broken \\u00c3 \\u00ff");
    EXPECT_EQ(visibleText(""), "");
}

TEST(Text, PercentEncodesAllButUnreservedCharacters)
{
    EXPECT_EQ(percentEncode("Az09-._~"), "Az09-._~");
    EXPECT_EQ(percentEncode("a b/?%\xC3\xA9"), "a%20b%2F%3F%25%C3%A9");
}

TEST(Text, ReadsIdentifiersInTheirOneSpelling)
{
    EXPECT_EQ(parseId("1"), 1);
    EXPECT_EQ(parseId("9223372036854775807"), INT64_MAX);
    for (const char* text : {"", "0", "01", "-1", "+1", " 1", "1 ", "1a", "a", "9223372036854775808", "1.0"})
        EXPECT_FALSE(parseId(text)) << text;
}

TEST(Text, ReadsNumbersWithinTheirRange)
{
    EXPECT_EQ(parseDecimal<std::uint32_t>("0"), 0U);
    EXPECT_EQ(parseDecimal<std::uint32_t>("4294967295"), 4294967295U);
    EXPECT_FALSE(parseDecimal<std::uint32_t>("4294967296"));
    EXPECT_FALSE(parseDecimal<std::uint32_t>("-1"));
    EXPECT_FALSE(parseDecimal<std::uint32_t>(""));
    EXPECT_EQ(parseDecimal<std::int64_t>("4294967296"), 4294967296);
}

struct NameCase {
    const char* given;
    const char* safe;
};

class SafeFileName : public ::testing::TestWithParam<NameCase> {};

TEST_P(SafeFileName, CannotLeaveItsFolder) { EXPECT_EQ(safeFileName(GetParam().given), GetParam().safe); }

INSTANTIATE_TEST_SUITE_P(Names, SafeFileName,
                         ::testing::Values(NameCase{"photo.jpg", "photo.jpg"}, NameCase{"../../etc/passwd", "passwd"},
                                           NameCase{"C:\\pictures\\a.png", "a.png"}, NameCase{"..", "photo"},
                                           NameCase{".hidden", "hidden"}, NameCase{"", "photo"}, NameCase{"a/", "photo"},
                                           NameCase{"a\nb\x7F.jpg", "a_b_.jpg"},
                                           NameCase{"\xC3\xB6 \xC3\xBC.jpg", "\xC3\xB6 \xC3\xBC.jpg"}));

TEST(SafeFileName, CutsLongNamesAtACharacterAndKeepsTheExtension)
{
    std::string longName;
    for (int i = 0; i < 200; ++i)
        longName += "\xC3\xB6";
    const std::string safe = safeFileName(longName + ".jpeg");
    EXPECT_LE(safe.size(), 200U);
    EXPECT_EQ(safe.substr(safe.size() - 5), ".jpeg");
    EXPECT_EQ(cleanText(safe), safe);
}

} // namespace
