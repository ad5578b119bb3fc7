// SPDX-License-Identifier: MIT
#include "files/LocalFile.h"
#include "core/Errors.h"
#include "support/OrdinaryUser.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kinloom;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::string messageOf(const std::string& path)
{
    try {
        inspectSource(path);
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.exitCode(), Exit::LOCAL_FILE);
        return failure.what();
    }
    return "nothing wrong";
}

TEST(SourceFile, TellsSizeNameAndFirstBytes)
{
    const test::TempDir folder;
    test::writeFile(folder.file("a.jpg"), std::string(100, 'x'));
    const SourceFile source = inspectSource(folder.file("a.jpg"));
    EXPECT_EQ(source.size, 100U);
    EXPECT_EQ(source.name, "a.jpg");
    EXPECT_EQ(source.firstBytes, std::string(32, 'x'));
}

TEST(SourceFile, IsRefusedWhenItIsNoFileToSend)
{
    const test::TempDir folder;
    EXPECT_THAT(messageOf(folder.file("missing")), HasSubstr("No such file"));
    EXPECT_THAT(messageOf(folder.path()), HasSubstr("is a folder"));
    test::writeFile(folder.file("empty"), "");
    EXPECT_THAT(messageOf(folder.file("empty")), HasSubstr("is empty"));
    EXPECT_THAT(messageOf("/dev/null"), HasSubstr("not a regular file"));
}

TEST(SourceFile, IsRefusedAtOnceWhenItIsAPipe)
{
    const test::TempDir folder;
    ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
    EXPECT_THAT(messageOf(folder.file("pipe")), HasSubstr("not a regular file"));
}

TEST(SourceFile, IsRefusedWhenItCannotBeRead)
{
    const test::TempDir folder;
    test::writeFile(folder.file("secret"), "x");
    ASSERT_EQ(chmod(folder.file("secret").c_str(), 0), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    const test::AsOrdinaryUser user;
    EXPECT_THAT(messageOf(folder.file("secret")), HasSubstr("Permission denied"));
}

TEST(TargetFolder, IsRefusedWhenItIsNoFolder)
{
    const test::TempDir folder;
    test::writeFile(folder.file("file"), "x");
    EXPECT_THROW(TargetFolder(folder.file("file")), Failure);
    EXPECT_THROW(TargetFolder(folder.file("missing")), Failure);
    EXPECT_THROW(TargetFolder::made(folder.file("missing/deeper")), Failure);
}

TEST(TargetFolder, IsMadeWhenAskedTo)
{
    const test::TempDir folder;
    EXPECT_EQ(TargetFolder::made(folder.file("new")).path(), folder.file("new"));
    EXPECT_NO_THROW(TargetFolder::made(folder.file("new"))) << "it is there already";
}

TEST(TargetFolder, KnowsRegularFilesFromLinks)
{
    const test::TempDir folder;
    test::writeFile(folder.file("file"), "12345");
    ASSERT_EQ(symlink("nowhere", folder.file("link").c_str()), 0);
    const TargetFolder target(folder.path());
    EXPECT_EQ(target.sizeOf("file"), 5U);
    EXPECT_FALSE(target.sizeOf("link"));
    EXPECT_TRUE(target.has("link"));
    EXPECT_FALSE(target.has("other"));
}

TEST(Staging, GivesTheFileItsNameInOneStepAndLeavesNothingBehind)
{
    const test::TempDir folder;
    {
        const TargetFolder target(folder.path());
        Staging staging(target);
        test::writeFile(staging.file(), "content");
        EXPECT_TRUE(staging.publish("a.jpg", false));
    }
    EXPECT_THAT(folder.entries(), ElementsAre("a.jpg"));
    EXPECT_EQ(test::readFile(folder.file("a.jpg")), "content");
}

TEST(Staging, NeverReplacesAnotherFileUnlessToldTo)
{
    const test::TempDir folder;
    test::writeFile(folder.file("a.jpg"), "old");
    const TargetFolder target(folder.path());
    Staging staging(target);
    test::writeFile(staging.file(), "new");
    EXPECT_FALSE(staging.publish("a.jpg", false));
    EXPECT_EQ(test::readFile(folder.file("a.jpg")), "old");
    EXPECT_TRUE(staging.publish("a.jpg", true));
    EXPECT_EQ(test::readFile(folder.file("a.jpg")), "new");
}

TEST(Staging, ReplacesALinkAndNotWhatItLeadsTo)
{
    const test::TempDir folder;
    test::writeFile(folder.file("precious"), "old");
    ASSERT_EQ(symlink("precious", folder.file("a.jpg").c_str()), 0);
    const TargetFolder target(folder.path());
    Staging staging(target);
    test::writeFile(staging.file(), "new");
    EXPECT_FALSE(staging.publish("a.jpg", false));
    EXPECT_TRUE(staging.publish("a.jpg", true));
    EXPECT_EQ(test::readFile(folder.file("precious")), "old");
    EXPECT_EQ(test::readFile(folder.file("a.jpg")), "new");
}

TEST(Staging, DropsAFileThatWasNeverPublished)
{
    const test::TempDir folder;
    {
        const TargetFolder target(folder.path());
        const Staging staging(target);
        test::writeFile(staging.file(), "half");
    }
    EXPECT_THAT(folder.entries(), IsEmpty());
}

TEST(Staging, CannotPublishOverAFolder)
{
    const test::TempDir folder;
    ASSERT_EQ(mkdir(folder.file("a.jpg").c_str(), 0700), 0);
    const TargetFolder target(folder.path());
    Staging staging(target);
    test::writeFile(staging.file(), "new");
    EXPECT_FALSE(staging.publish("a.jpg", false));
    EXPECT_THROW(staging.publish("a.jpg", true), Failure);
}

TEST(Staging, SweepsWhatARunThatWasKilledHasLeft)
{
    const test::TempDir folder;
    const TargetFolder target(folder.path());
    ASSERT_EQ(mkdir(folder.file(".kinloom-part-abcdef").c_str(), 0700), 0);
    test::writeFile(folder.file(".kinloom-part-abcdef/download"), "half");
    test::writeFile(folder.file("a.jpg"), "whole");
    Staging::sweep(target);
    EXPECT_THAT(folder.entries(), ElementsAre("a.jpg"));
}

TEST(Beginning, IsTrueForAPrefixAndForTheSameBytes)
{
    const test::TempDir folder;
    const std::string content(300'000, 'x');
    test::writeFile(folder.file("long"), content);
    test::writeFile(folder.file("prefix"), content.substr(0, 200'000));
    test::writeFile(folder.file("other"), content.substr(0, 199'999) + "y");
    test::writeFile(folder.file("empty"), "");
    EXPECT_TRUE(isBeginningOf(folder.file("prefix"), folder.file("long")));
    EXPECT_TRUE(isBeginningOf(folder.file("long"), folder.file("long")));
    EXPECT_TRUE(isBeginningOf(folder.file("empty"), folder.file("long")));
    EXPECT_FALSE(isBeginningOf(folder.file("other"), folder.file("long")));
    EXPECT_FALSE(isBeginningOf(folder.file("long"), folder.file("prefix")));
    EXPECT_FALSE(isBeginningOf(folder.file("missing"), folder.file("long")));
}

} // namespace
