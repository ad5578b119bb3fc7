// SPDX-License-Identifier: MIT
#include "files/FileName.h"
#include "core/Errors.h"
#include "core/Text.h"

#include <gtest/gtest.h>
#include <set>

using namespace kinloom;

namespace {

TEST(FileName, KeepsOrdinaryNames)
{
    for (const char* name : {"photo.jpg", "Abend am See (1) & mehr.jpg", "übung 😀.png", "noextension"})
        EXPECT_EQ(safeFileName(name), name);
}

TEST(FileName, ReplacesSeparatorsAndControls)
{
    EXPECT_EQ(safeFileName("a/b\\c"), "a_b_c");
    EXPECT_EQ(safeFileName(std::string("a\0b\nc\x1b[31m", 9)), "a_b_c_[31");
    EXPECT_EQ(safeFileName("a\u202Egpj.exe"), "a_gpj.exe");
}

TEST(FileName, NeverBeginsWithADotOrABlank)
{
    EXPECT_EQ(safeFileName("../../etc/passwd"), "_.._etc_passwd");
    EXPECT_EQ(safeFileName(".bashrc"), "bashrc");
    EXPECT_EQ(safeFileName(". . x"), "x");
}

TEST(FileName, IsNeverEmpty)
{
    for (const char* name : {"", ".", "..", "...", "   ", " . "})
        EXPECT_EQ(safeFileName(name), "download");
}

TEST(FileName, BoundsTheLengthAndKeepsTheExtension)
{
    const std::string name = safeFileName(std::string(300, 'a') + ".jpeg");
    EXPECT_EQ(name.size(), 200U);
    EXPECT_EQ(name.substr(195), ".jpeg");
    EXPECT_EQ(safeFileName(std::string(300, '-') + ".jpeg").size(), 200U); // with the "_" before it
}

TEST(FileName, NeverCutsACharacterInTwo)
{
    std::string umlauts;
    for (int i = 0; i < 150; ++i)
        umlauts += "ü";
    const std::string name = safeFileName(umlauts + ".jpg");
    EXPECT_LE(name.size(), 200U);
    for (std::size_t i = 0; i < name.size();)
        EXPECT_NE(nextCharacter(name, i), U'\uFFFD');
}

TEST(FileName, ReplacesWhatIsNoUtf8) { EXPECT_EQ(safeFileName("a\xFF\xC0\xAF.jpg"), "a\uFFFD\uFFFD\uFFFD.jpg"); }

TEST(FileName, IsTheLastSegmentOfAUrl)
{
    EXPECT_EQ(nameFromUrl("http://host/media/1/photo.jpg?size=2#top", "x"), "photo.jpg");
    EXPECT_EQ(nameFromUrl("http://host/a%20b%26c.jpg", "x"), "a b&c.jpg");
    EXPECT_EQ(nameFromUrl("http://host/%2e%2e%2f%2e%2e%2fetc%2fpasswd", "x"), "_.._etc_passwd");
}

TEST(FileName, IsTheOtherWhenTheUrlSuggestsNone)
{
    for (const char* url : {"http://host", "http://host/", "http://host/a/?b/c", "http://host/..", "http://host/%20"})
        EXPECT_EQ(nameFromUrl(url, "content-5.jpg"), "content-5.jpg") << url;
}

TEST(FileName, IsRefusedWhenAPersonChoosesAnUnsafeOne)
{
    for (const std::string& name : {std::string(), std::string("."), std::string(".."), std::string(".x"), std::string("a/b"),
                                    std::string("a\nb"), std::string("a\0b", 3), std::string(256, 'a')})
        EXPECT_THROW(requireFileName(name), Failure) << name;
    EXPECT_NO_THROW(requireFileName("a b 😀.jpg"));
    EXPECT_NO_THROW(requireFileName(std::string(255, 'a')));
}

TEST(FileName, NumbersStandBeforeTheExtension)
{
    EXPECT_EQ(numberedName("photo.jpg", 1), "photo.jpg");
    EXPECT_EQ(numberedName("photo.jpg", 2), "photo (2).jpg");
    EXPECT_EQ(numberedName("photo", 13), "photo (13)");
}

TEST(FileName, KnowsItsNumberedForms)
{
    for (const char* form : {"photo.jpg", "photo (2).jpg", "photo (17).jpg"})
        EXPECT_TRUE(isFormOf(form, "photo.jpg")) << form;
    for (const char* other : {"photo ().jpg", "photo (2x).jpg", "photo (2).png", "photo(2).jpg", "my photo (2).jpg", "photo", ""})
        EXPECT_FALSE(isFormOf(other, "photo.jpg")) << other;
    EXPECT_TRUE(isFormOf("photo (3)", "photo"));
}

TEST(TakenNumbers, AreAskedForOnceHoweverManyWantTheName)
{
    std::set<std::string> taken;
    std::size_t asked = 0;
    TakenNumbers numbers;
    for (unsigned int i = 1; i <= 10'000; ++i) {
        const unsigned int first = numbers.firstFree("photo.jpg", [&](const std::string& name) {
            ++asked;
            return taken.count(name) > 0;
        });
        ASSERT_EQ(first, i);
        taken.insert(numberedName("photo.jpg", first));
    }
    EXPECT_LE(asked, 20'000U);
    EXPECT_EQ(numbers.firstFree("other.jpg", [](const std::string&) { return false; }), 1U);
}

TEST(FileName, ExtensionsFollowFormats)
{
    EXPECT_EQ(extensionOf("image/jpeg"), ".jpg");
    EXPECT_EQ(extensionOf("PNG"), ".png");
    EXPECT_EQ(extensionOf("unheard-of"), "");
    EXPECT_EQ(extensionOf(""), "");
}

TEST(FileName, NeverBeginsWithADash)
{
    EXPECT_EQ(safeFileName("-rf"), "_-rf");
    EXPECT_EQ(safeFileName(". -rf.jpg"), "_-rf.jpg");
    EXPECT_EQ(nameFromUrl("http://h/%2d-help.jpg", "x"), "_--help.jpg");
    EXPECT_EQ(safeFileName("a-b"), "a-b");
    EXPECT_THROW(requireFileName("-rf"), Failure);
}

} // namespace
