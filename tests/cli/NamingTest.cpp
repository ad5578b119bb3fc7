// SPDX-License-Identifier: MIT
// Names, texts and addresses as people meet them.
#include "core/Naming.h"
#include "core/Errors.h"
#include "core/Text.h"
#include "output/Openable.h"
#include "output/Output.h"

#include "kinloom/Route.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kinloom;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const std::vector<Named> ALL = {{"1", "Summer"}, {"2", "summer"}, {"3", "Ünïted"}, {"4", "Twins"}, {"5", "Twins"}, {"g-6", "7"}};

std::string chosen(const std::string& word) { return numberByName(word, ALL, "group", "'kinloom groups' shows what there is."); }

Exit exitOf(const std::string& word, std::string* message = nullptr)
{
    try {
        chosen(word);
        return Exit::OK;
    } catch (const Failure& failure) {
        if (message != nullptr)
            *message = failure.what();
        return failure.exitCode();
    }
}

TEST(Naming, TheSameNameWinsAndCaseMattersOnlyThen)
{
    EXPECT_EQ(chosen("Summer"), "1");
    EXPECT_EQ(chosen("summer"), "2");
    EXPECT_EQ(chosen("ünÏTED"), "3");
    EXPECT_EQ(chosen("g-6"), "g-6") << "numbers need not be digits";
    EXPECT_EQ(chosen("name:7"), "g-6");
}

TEST(Naming, NamesThatSayNotWhichAreRefusedWithTheNumbers)
{
    std::string message;
    EXPECT_EQ(exitOf("Twins", &message), Exit::USAGE);
    EXPECT_THAT(message, HasSubstr("'Twins' means 2 groups: 4, 5."));
    EXPECT_EQ(exitOf("SUMMER", &message), Exit::USAGE);
    EXPECT_THAT(message, HasSubstr("1, 2"));
    EXPECT_EQ(exitOf("Autumn", &message), Exit::FAILED);
    EXPECT_EQ(exitOf("\xFF"), Exit::USAGE);
}

TEST(Naming, DigitsAreNumbers)
{
    for (const char* word : {"12", "0", "", ".", ".."})
        EXPECT_TRUE(isNumberWord(word)) << word;
    for (const char* word : {"12a", "Summer", "name:12", "-1"})
        EXPECT_FALSE(isNumberWord(word)) << word;
}

TEST(Naming, WhatIsToBeTypedForAThingIsReadBackAsIt)
{
    std::vector<Named> all = ALL;
    all.insert(all.end(), {{"8", "2024"}, {"9", "--json"}, {"10", ""}, {"11", "a\nb"}, {"12", "\xFF"}});
    for (const Named& one : all) {
        const std::string word = wordFor(one, all);
        EXPECT_EQ(isNumberWord(word) ? word : numberByName(word, all, "group", ""), one.uid) << one.name;
    }
}

TEST(LinesOfText, AreNeutralisedOneByOne)
{
    EXPECT_THAT(neutralisedLines("a\tb\r\n\n\n\nc\x1b\n\n"), ElementsAre("a b", "", "c\uFFFD"));
    EXPECT_THAT(neutralisedLines("\n \n"), ElementsAre());
}

TEST(LinesOfText, AreWrappedBetweenWords)
{
    EXPECT_THAT(wrapped("one two three", 7), ElementsAre("one two", "three"));
    EXPECT_THAT(wrapped("one two three", 6), ElementsAre("one", "two", "three"));
    EXPECT_THAT(wrapped("abcdefgh", 3), ElementsAre("abc", "def", "gh"));
    EXPECT_THAT(wrapped("漢字漢字", 5), ElementsAre("漢字", "漢字"));
    EXPECT_THAT(wrapped("漢", 1), ElementsAre("漢"));
    EXPECT_THAT(wrapped("", 5), ElementsAre(""));
    EXPECT_THAT(wrapped("fits", 4), ElementsAre("fits"));
    EXPECT_EQ(wrapped(std::string(1 << 20, 'x'), 8).size(), 1U << 17) << "in a time that grows with the line and no faster";
}

TEST(TextBytes, AreValidOrNot)
{
    for (const char* good : {"", "plain", "ünï 😀", "\uFFFD"})
        EXPECT_TRUE(isText(good)) << good;
    for (const char* bad : {"\xFF", "a\xC3", "\xED\xA0\x80", "\xC0\x80", "\xEF\xBF"})
        EXPECT_FALSE(isText(bad)) << bad;
}

TEST(HarmlessJson, IsTheSameDocumentWithoutAnythingThatSteersATerminal)
{
    const Json document = {{"a\u009B", "x\x7F\u0080\u202A\u2069\u200E\u061C\uFEFF\u2028 ü 😀\n\x1b"}};
    const std::string text = harmlessJson(document);
    EXPECT_EQ(Json::parse(text), document);
    for (std::size_t i = 0; i < text.size();) {
        const char32_t character = nextCharacter(text, i);
        EXPECT_TRUE(character == U'\n' || !isControl(character)) << static_cast<unsigned int>(character);
    }
    EXPECT_THAT(text, HasSubstr("ü 😀"));
    EXPECT_THAT(text, HasSubstr("\\u009b"));
}

TEST(Openable, LeadsTheEndpointsOwnAddressesAndNoOthers)
{
    const std::string own = endpoint().text();
    EXPECT_EQ(openable(own + "/media/1/a.jpg", "http://127.0.0.1:8750"), "http://127.0.0.1:8750/media/1/a.jpg");
    EXPECT_EQ(openable(own, "http://127.0.0.1:8750"), "http://127.0.0.1:8750");
    for (const std::string& other : {own + ".evil.example/a", std::string("http://photos.example/a"), std::string(), own + "x"})
        EXPECT_EQ(openable(other, "http://127.0.0.1:8750"), other);
}

} // namespace
