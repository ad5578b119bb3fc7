// SPDX-License-Identifier: MIT
#include "tv/api/ShowLists.h"

#include "support/TempDir.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tv;
using testing::ElementsAre;

namespace {

class ShowListsTest : public testing::Test {
protected:
    ShowListsTest()
    {
        GroupEntry group;
        group.id = "g";
        m_index.putGroups({group});
    }

    std::vector<std::string> add(int count, const std::string& prefix = "")
    {
        std::vector<Entry> entries;
        for (int id = count; id > 0; --id) {
            Entry& entry = entries.emplace_back();
            entry.id = prefix + std::to_string(id);
            entry.group = "g";
            entry.created = id;
        }
        m_index.put(entries);
        std::vector<std::string> ids;
        ids.reserve(entries.size());
        for (const Entry& entry : entries)
            ids.push_back(entry.id);
        return ids;
    }
    static std::vector<std::string> read(ShowLists& lists, const std::string& name, std::int64_t from, std::int64_t count)
    {
        ShowOrder order;
        order.groups = {"g"};
        order.name = name;
        std::vector<std::string> ids;
        for (const ShowLists::Step& step : lists.read(order, from, count).steps)
            ids.push_back(step.entry.id);
        return ids;
    }
    /// Files of lists that this process has open.
    static std::size_t files()
    {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code none;
            if (std::filesystem::read_symlink(entry.path(), none).string().find("/show.") != std::string::npos)
                ++count;
        }
        return count;
    }

    test::TempDir m_folder;
    Index m_index{m_folder.file("index.db"), {[](const std::string&) { return false; }, [] {}}};
};

TEST_F(ShowListsTest, GoesOnWhereTheDiskTakesNothing)
{
    const auto ids = add(20'000);
    ShowLists lists(m_index, m_folder.file("not there"));
    EXPECT_EQ(read(lists, "a", 0, 3000), std::vector<std::string>(ids.begin(), ids.begin() + 3000));
    EXPECT_THAT(read(lists, "a", 19'999, 3), ElementsAre("1"));
    EXPECT_THAT(read(lists, "a", 20'000, 1), ElementsAre("20000")) << "the next round";
}

TEST_F(ShowListsTest, NeedsNoFileForAFew)
{
    add(3);
    ShowLists lists(m_index, m_folder.path());
    for (int round = 0; round < 20; ++round)
        EXPECT_THAT(read(lists, "a", 3 * round, 3), ElementsAre("3", "2", "1"));
    EXPECT_EQ(files(), 0U);
    add(20'000);
    EXPECT_EQ(read(lists, "b", 0, 1).size(), 1U);
    EXPECT_EQ(files(), 1U);
}

TEST_F(ShowListsTest, KeepsNoLongListInMemoryWhateverContentsAreCalled)
{
    const std::string prefix(200, 'x');
    const auto ids = add(20'000, prefix);
    ShowLists lists(m_index, m_folder.path());
    EXPECT_EQ(read(lists, "a", 0, 3000), std::vector<std::string>(ids.begin(), ids.begin() + 3000));
    EXPECT_THAT(read(lists, "a", 19'999, 1), ElementsAre(prefix + "1"));
    EXPECT_EQ(files(), 2U) << "their order, and what they are called";
}

} // namespace
