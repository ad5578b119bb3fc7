// SPDX-License-Identifier: MIT
#include "core/Log.h"
#include "operations/AccessLog.h"

#include <gtest/gtest.h>

namespace {

using namespace kinloomd;

TEST(Loggable, IsOneLineThatMovesNoTerminal)
{
    EXPECT_EQ(loggable("/a b?c=%20", 100), "/a b?c=%20");
    EXPECT_EQ(loggable(std::string("a\r\nb\t\0\x7F\x1B", 8), 100), "a\\u000d\\u000ab\\u0009\\u0000\\u007f\\u001b");
    EXPECT_EQ(loggable("\xC2\x85|\xC2\x9B|\xE2\x80\xAE|\xE2\x81\xA6|\xD8\x9C|\xE2\x80\x8F|\xE2\x80\xA8|\xEF\xBB\xBF", 100),
              "\\u0085|\\u009b|\\u202e|\\u2066|\\u061c|\\u200f|\\u2028|\\ufeff");
    EXPECT_EQ(loggable("\xC3\xA9\xF0\x9F\x98\x80", 100), "\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(loggable("a\xFF\x9B", 100), "a\\u00ff\\u009b") << "what is no character";
    EXPECT_EQ(loggable("\\x1b", 100), "\\\\x1b") << "nobody can write what looks escaped";
    EXPECT_EQ(loggable("abcdef", 3), "abc...");
}

TEST(WithoutKeys, TakesTargetsThatAreEncodedOverAndOver)
{
    std::string target = "/%";
    for (int i = 0; i < 300'000; ++i)
        target += "25";
    EXPECT_EQ(withoutKeys(target), target) << "and that in one pass";
    EXPECT_EQ(withoutKeys("/%256d%2565dia/x"), "/media/...");
}

TEST(WithoutKeys, LeavesOtherTargetsAsTheyWereSent)
{
    for (const char* target : {"/openapi/service/kinloom/me/group.list?search_count=10", "/", "*", "/%41?b=%20", "/cafe/deadbeef"})
        EXPECT_EQ(withoutKeys(target), target);
}

TEST(WithoutKeys, ShowsWhichContentWasAskedFor)
{
    const std::string key = "0123456789abcdef0123456789abcdef";
    EXPECT_EQ(withoutKeys("/media/original/" + key + "/12/photo.jpg"), "/media/original/.../12/photo.jpg");
    EXPECT_EQ(withoutKeys("/media/1920x1080/" + key + "/12/a%20b.jpg"), "/media/1920x1080/.../12/a%20b.jpg");
    EXPECT_EQ(withoutKeys("/media/original/12-" + key + "/12/photo.jpg"), "/media/original/.../12/photo.jpg");
}

TEST(WithoutKeys, LeavesEverythingOutThatIsWrittenOtherwise)
{
    const std::string key = "0123456789abcdef0123456789abcdef";
    EXPECT_EQ(withoutKeys("/x/../media/original/" + key + "/12/a.jpg"), "/x/../media/...");
    EXPECT_EQ(withoutKeys("//media/original/" + key + "/12/a.jpg"), "//media/...");
    EXPECT_EQ(withoutKeys("/%6dedia/original/" + key + "/12/a.jpg"), "/media/...");
    EXPECT_EQ(withoutKeys("/%25%36dedia/original/" + key), "/media/...");
    EXPECT_EQ(withoutKeys("http://a/MEDIA/original/" + key), "http://a/MEDIA/...");
    EXPECT_EQ(withoutKeys("/" + key), "/...");
    EXPECT_EQ(withoutKeys("/%30123456789abcdef0123456789abcdef/x"), "/.../x");
    EXPECT_EQ(withoutKeys("/media/original/" + key + "/12/" + key), "/media/...");
    const std::string other = "zbEO1MkwcuFhaFJ2wxg5BVyfxAANC0K74qD263ZykdQ";
    EXPECT_EQ(withoutKeys("/invite/" + other), "/invite/...");
    EXPECT_EQ(withoutKeys("/INVITE/" + other + "?x"), "/INVITE/...");
    EXPECT_EQ(withoutKeys("/%69nvit%65/" + other), "/invite/...");
    EXPECT_EQ(withoutKeys("/page/invitations/" + other), "/page/invitations/...");
    EXPECT_EQ(withoutKeys("/page/groups/7/invitations"), "/page/groups/7/invitations");
    EXPECT_EQ(withoutKeys("/page/pairings/BCDF-GHJK"), "/page/pairings/...");
    EXPECT_EQ(withoutKeys("/pair/BCDF-GHJK"), "/pair/...");
    EXPECT_EQ(withoutKeys("/pair"), "/pair");
}

TEST(LogThrottle, CountsWhatItLeavesOut)
{
    LogThrottle throttle(2, std::chrono::seconds(3600));
    EXPECT_EQ(throttle.admit(), 0U);
    EXPECT_EQ(throttle.admit(), 0U);
    EXPECT_EQ(throttle.admit(), std::nullopt);
    LogThrottle patient(1, std::chrono::seconds(0));
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(patient.admit(), 0U);
}

} // namespace
