// SPDX-License-Identifier: MIT
#include "files/FolderWalk.h"
#include "support/OrdinaryUser.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kinloom;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class FolderWalkTest : public testing::Test {
protected:
    void folder(const std::string& name) { ASSERT_EQ(mkdir(m_folder.file(name).c_str(), 0700), 0); }
    void file(const std::string& name, const std::string& content = "x") { test::writeFile(m_folder.file(name), content); }
    FolderWalk walk(const std::vector<std::string>& excludes = {})
    {
        FolderWalk walk;
        walk.add(m_folder.path(), excludes);
        return walk;
    }
    std::vector<std::string> names(const FolderWalk& walk)
    {
        std::vector<std::string> names;
        for (const FolderWalk::File& file : walk.files)
            names.push_back(file.path.substr(m_folder.path().size() + 1));
        return names;
    }

    test::TempDir m_folder;
};

TEST_F(FolderWalkTest, FindsAllFilesInTheOrderOfTheirNames)
{
    folder("b");
    folder("b/deep");
    file("b/deep/one.jpg", "12345");
    file("b/two.jpg");
    file("c.jpg");
    file("a.jpg");
    file("with\nnewline.jpg");
    const FolderWalk found = walk();
    EXPECT_THAT(names(found), ElementsAre("a.jpg", "b/deep/one.jpg", "b/two.jpg", "c.jpg", "with\nnewline.jpg"));
    EXPECT_EQ(found.files[1].size, 5U);
    EXPECT_THAT(found.failures, IsEmpty());
}

TEST_F(FolderWalkTest, LeavesOutAndCountsWhatIsHiddenLinkedOrSpecial)
{
    folder(".hidden");
    file(".hidden/a.jpg");
    file(".b.jpg");
    file("c.jpg");
    ASSERT_EQ(symlink("c.jpg", m_folder.file("link.jpg").c_str()), 0);
    ASSERT_EQ(symlink(".", m_folder.file("loop").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", m_folder.file("dangling").c_str()), 0);
    ASSERT_EQ(mkfifo(m_folder.file("pipe.jpg").c_str(), 0600), 0);
    const FolderWalk found = walk();
    EXPECT_THAT(names(found), ElementsAre("c.jpg"));
    EXPECT_EQ(found.leftOut.hidden, 2U);
    EXPECT_EQ(found.leftOut.links, 3U);
    EXPECT_EQ(found.leftOut.special, 1U);
}

TEST_F(FolderWalkTest, PatternsLeaveOutNamesAndPaths)
{
    folder("raw");
    file("raw/a.jpg");
    folder("keep");
    file("keep/a.jpg");
    file("keep/b.png");
    file("a.jpg");
    EXPECT_THAT(names(walk({"raw"})), ElementsAre("a.jpg", "keep/a.jpg", "keep/b.png"));
    EXPECT_EQ(walk({"raw"}).leftOut.excluded, 1U);
    EXPECT_THAT(names(walk({"*.jpg"})), ElementsAre("keep/b.png"));
    EXPECT_THAT(names(walk({"keep/*.jpg", "r?w"})), ElementsAre("a.jpg", "keep/b.png"));
    EXPECT_THAT(names(walk({"[ab].*"})), IsEmpty());
}

TEST_F(FolderWalkTest, GoesOnAfterAFolderThatCannotBeRead)
{
    const test::AsOrdinaryUser user;
    const test::TempDir own;
    ASSERT_EQ(mkdir(own.file("closed").c_str(), 0), 0);
    test::writeFile(own.file("open.jpg"), "x");
    FolderWalk found;
    found.add(own.path(), {});
    found.add(own.file("missing"), {});
    ASSERT_EQ(chmod(own.file("closed").c_str(), 0700), 0);
    EXPECT_THAT(found.files, SizeIs(1));
    ASSERT_THAT(found.failures, SizeIs(2));
    EXPECT_EQ(found.failures[0].exitCode(), Exit::LOCAL_FILE);
    EXPECT_THAT(found.failures[0].what(), testing::HasSubstr("closed: cannot be read"));
}

TEST_F(FolderWalkTest, GoesDeeperThanThereAreDescriptors)
{
    std::string path = "a";
    for (int i = 0; i < 100; ++i, path += "/a")
        folder(path);
    file(path + ".jpg");
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit few = before;
    few.rlim_cur = 64;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    const FolderWalk found = walk();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_THAT(names(found), ElementsAre(path + ".jpg"));
    EXPECT_THAT(found.failures, IsEmpty());
}

TEST_F(FolderWalkTest, TakesTenThousandFiles)
{
    for (int i = 0; i < 10'000; ++i)
        file("photo" + std::to_string(i));
    EXPECT_THAT(walk().files, SizeIs(10'000));
}

} // namespace
