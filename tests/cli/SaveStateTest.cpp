// SPDX-License-Identifier: MIT
#include "files/SaveState.h"
#include "core/Errors.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <unistd.h>

using namespace kinloom;

namespace {

class SaveStateTest : public testing::Test {
protected:
    std::string note() const { return m_folder.file(SaveState::FILE_NAME); }

    test::TempDir m_folder;
    TargetFolder m_target{m_folder.path()};
};

TEST_F(SaveStateTest, RemembersAcrossRuns)
{
    {
        SaveState state(m_target, "7");
        EXPECT_EQ(state.find("1"), nullptr);
        state.note("1", {"a.jpg", 100});
        state.note("2", {"b \"&\n😀.jpg", 0});
    }
    const SaveState state(m_target, "7");
    ASSERT_NE(state.find("1"), nullptr);
    EXPECT_EQ(state.find("1")->name, "a.jpg");
    EXPECT_EQ(state.find("1")->size, 100U);
    ASSERT_NE(state.find("2"), nullptr);
    EXPECT_EQ(state.find("2")->name, "b \"&\n😀.jpg");
    EXPECT_EQ(state.ownerOf("a.jpg"), "1");
    EXPECT_EQ(state.ownerOf("c.jpg"), "");
}

TEST_F(SaveStateTest, TheLastLineOfAContentCounts)
{
    {
        SaveState state(m_target, "7");
        state.note("1", {"a.jpg", 1});
        state.note("1", {"b.jpg", 2});
        EXPECT_EQ(state.ownerOf("a.jpg"), "") << "the name is free again";
    }
    const SaveState state(m_target, "7");
    EXPECT_EQ(state.find("1")->name, "b.jpg");
    EXPECT_EQ(state.ownerOf("a.jpg"), "");
    EXPECT_EQ(state.ownerOf("b.jpg"), "1");
}

TEST_F(SaveStateTest, PassesOverALineThatWasCutOff)
{
    {
        SaveState state(m_target, "7");
        state.note("1", {"a.jpg", 1});
        state.note("2", {"b.jpg", 2});
    }
    const std::string whole = test::readFile(note());
    for (std::size_t size = whole.rfind('{') + 1; size < whole.size() - 2; ++size) {
        test::writeFile(note(), whole.substr(0, size));
        {
            SaveState state(m_target, "7");
            EXPECT_NE(state.find("1"), nullptr);
            EXPECT_EQ(state.find("2"), nullptr) << size;
            state.note("3", {"c.jpg", 3});
        }
        const SaveState again(m_target, "7");
        EXPECT_NE(again.find("3"), nullptr) << "what follows a cut line is whole";
    }
}

TEST_F(SaveStateTest, RefusesAFolderThatMirrorsAnotherGroup)
{
    {
        const SaveState state(m_target, "7");
    }
    EXPECT_THROW(SaveState(m_target, "8"), Failure);
    EXPECT_NO_THROW(SaveState(m_target, "7"));
}

TEST_F(SaveStateTest, RefusesASecondRunAtTheSameTime)
{
    const SaveState first(m_target, "7");
    EXPECT_THROW(SaveState(m_target, "7"), Failure);
}

TEST_F(SaveStateTest, PassesOverNamesThatLeadElsewhere)
{
    test::writeFile(note(), R"({"group":"7"}
{"id":"1","name":"../a","size":1}
{"id":"2","name":"/etc/passwd","size":1}
{"id":"3","name":"","size":1}
{"id":"4","name":".kinloom-save","size":1}
{"id":"5","name":"a.jpg","size":-1}
{"id":"6","name":"a.jpg","size":"1"}
{"id":7,"name":"a.jpg","size":1}
[1,2]
null
not JSON
{"id":"8","name":"good.jpg","size":1}
)");
    const SaveState state(m_target, "7");
    for (const char* id : {"1", "2", "3", "4", "5", "6", "7"})
        EXPECT_EQ(state.find(id), nullptr) << id;
    EXPECT_NE(state.find("8"), nullptr);
}

TEST_F(SaveStateTest, RefusesALinkInTheNotesPlace)
{
    test::writeFile(m_folder.file("precious"), "old");
    ASSERT_EQ(symlink("precious", note().c_str()), 0);
    EXPECT_THROW(SaveState(m_target, "7"), Failure);
    EXPECT_EQ(test::readFile(m_folder.file("precious")), "old");
}

} // namespace
