// SPDX-License-Identifier: MIT
#include "tv/index/Index.h"
#include "support/TempDir.h"

#include <algorithm>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace tv;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr Millis DAY = 24LL * 3'600'000;

Entry entry(const std::string& id, Millis created, const std::string& group = "g")
{
    Entry made;
    made.id = id;
    made.group = group;
    made.created = created;
    made.uploaded = created + 1;
    made.width = 4;
    made.height = 3;
    made.type = "photo";
    made.format = "jpeg";
    made.description = "of " + id;
    made.creator = "7";
    made.creatorName = "Ada";
    return made;
}

GroupEntry group(const std::string& id, std::int64_t total = 0)
{
    GroupEntry made;
    made.id = id;
    made.name = "Group " + id;
    made.total = total;
    return made;
}

std::vector<std::string> idsOf(const std::vector<Entry>& entries)
{
    std::vector<std::string> ids;
    ids.reserve(entries.size());
    for (const Entry& one : entries)
        ids.push_back(one.id);
    return ids;
}

class IndexTest : public testing::Test {
protected:
    IndexTest() { open(); }

    void open()
    {
        m_index.reset();
        m_index = std::make_unique<Index>(
            path(), Index::Hooks{[this](const std::string& id) { return m_hidden.count(id) != 0; }, [this] { ++m_lost; }});
    }
    std::string path() const { return m_folder.file("index.db"); }
    Index& index() { return *m_index; }
    void putGroups(const std::vector<std::string>& ids)
    {
        std::vector<GroupEntry> groups;
        groups.reserve(ids.size());
        for (const std::string& id : ids)
            groups.push_back(group(id));
        m_index->putGroups(groups);
    }
    std::vector<std::string> all(const std::string& id = "g") { return idsOf(index().read(id, 0, 100'000)); }

    /// What the index says of a group must be what it says of each of its contents.
    void expectConsistent(const std::string& id = "g")
    {
        const auto entries = index().read(id, 0, 1'000'000);
        ASSERT_EQ(static_cast<std::int64_t>(entries.size()), index().count(id));
        std::int64_t counted = 0;
        for (const MonthEntry& month : index().months(id)) {
            EXPECT_EQ(*month.index, counted);
            EXPECT_EQ(Month::of(entries[static_cast<std::size_t>(counted)].created), month.month);
            counted += *month.count;
        }
        EXPECT_EQ(counted, index().count(id));
        for (std::size_t place = 0; place < entries.size(); place += std::max<std::size_t>(1, entries.size() / 50)) {
            EXPECT_EQ(index().indexOf(entries[place].id), place);
            EXPECT_THAT(idsOf(index().read(id, static_cast<std::int64_t>(place), 1)), ElementsAre(entries[place].id));
            if (place > 0) {
                EXPECT_FALSE(entries[place - 1].created < entries[place].created);
            }
        }
    }

    test::TempDir m_folder;
    std::set<std::string> m_hidden;
    int m_lost = 0;
    std::unique_ptr<Index> m_index;
};

TEST_F(IndexTest, GivesContentsNewestFirst)
{
    putGroups({"g", "h"});
    index().put({entry("1", 10), entry("2", 30), entry("3", 20), entry("10", 20), entry("4", 5, "h")});
    EXPECT_THAT(all(), ElementsAre("2", "10", "3", "1")) << "of one time, the higher number is the newer one";
    EXPECT_THAT(all("h"), ElementsAre("4"));
    const Entry read = index().read("g", 0, 1).front();
    EXPECT_EQ(read.description, "of 2");
    EXPECT_EQ(read.creatorName, "Ada");
    EXPECT_EQ(read.width, 4);
    EXPECT_EQ(index().indexOf("1"), 3);
    EXPECT_EQ(index().indexOf("5"), std::nullopt);
    EXPECT_THAT(index().read("g", 4, 10), IsEmpty());
    EXPECT_THAT(index().read("none", 0, 10), IsEmpty());
}

TEST_F(IndexTest, TakesIdentifiersThatAreNoNumbers)
{
    putGroups({"g"});
    const std::vector<std::string> ids = {"007", "7", "a/b ' \"", "\xC3\xBC", "-3", "99999999999999999999"};
    std::vector<Entry> entries;
    entries.reserve(ids.size());
    for (const std::string& id : ids)
        entries.push_back(entry(id, 5));
    index().put(entries);
    EXPECT_EQ(index().count("g"), 6);
    for (const std::string& id : ids)
        EXPECT_EQ(index().find(id)->entry.id, id);
    expectConsistent();
}

TEST_F(IndexTest, FindsAnyPlaceAmongMany)
{
    putGroups({"g"});
    std::mt19937 chance(1);
    std::vector<Entry> entries;
    for (int id = 1; id <= 10'000; ++id)
        entries.push_back(entry(std::to_string(id), static_cast<Millis>(chance() % 3000) * DAY / 2));
    std::shuffle(entries.begin(), entries.end(), chance);
    for (std::size_t from = 0; from < entries.size(); from += 700)
        index().put({entries.begin() + static_cast<std::ptrdiff_t>(from),
                     entries.begin() + static_cast<std::ptrdiff_t>(std::min(from + 700, entries.size()))});
    expectConsistent();
    for (int id = 1; id <= 10'000; id += 3)
        index().remove(std::to_string(id));
    EXPECT_EQ(index().count("g"), 6666);
    expectConsistent();
    open();
    EXPECT_EQ(index().count("g"), 6666);
    expectConsistent();
}

TEST_F(IndexTest, CountsWhatIsOfATimeOrLater)
{
    putGroups({"g"});
    std::vector<Entry> entries;
    for (int id = 1; id <= 5000; ++id)
        entries.push_back(entry(std::to_string(id), id / 2));
    index().put(entries);
    for (const Millis time : {Millis{-5}, Millis{0}, Millis{1}, Millis{700}, Millis{2500}, Millis{2501}})
        EXPECT_EQ(index().countSince("g", time),
                  std::count_if(entries.begin(), entries.end(), [&](const Entry& one) { return one.created >= time; }))
            << time;
}

TEST_F(IndexTest, BecomesLikeAFeedThatIsReadAnew)
{
    putGroups({"g"});
    std::vector<Entry> feed;
    for (int id = 3000; id > 0; --id)
        feed.push_back(entry(std::to_string(id), id / 3));
    const auto page = [&](std::size_t from) {
        return std::vector<Entry>(feed.begin() + static_cast<std::ptrdiff_t>(std::min(from, feed.size())),
                                  feed.begin() + static_cast<std::ptrdiff_t>(std::min(from + 1000, feed.size())));
    };
    const auto readAnew = [&] {
        Changes all;
        std::optional<Key> behind;
        for (std::size_t from = 0; from < feed.size(); from += 1000) {
            const auto contents = page(from);
            const Changes changes = index().mergePage("g", contents, behind, from + 1000 >= feed.size());
            behind = Key{contents.back().created, contents.back().id};
            all.added.insert(all.added.end(), changes.added.begin(), changes.added.end());
            all.removed.insert(all.removed.end(), changes.removed.begin(), changes.removed.end());
            all.commented.insert(all.commented.end(), changes.commented.begin(), changes.commented.end());
            all.touched += changes.touched;
        }
        return all;
    };
    EXPECT_EQ(readAnew().added.size(), 3000U);
    EXPECT_EQ(all(), idsOf(feed));
    EXPECT_TRUE(readAnew().empty()) << "nothing has changed";

    feed.erase(feed.begin() + 1000); // the first of a page
    feed.erase(feed.begin() + 1998); // the last of one
    feed.erase(feed.begin());
    feed.back().comments = 3;
    feed[5].description = "another";
    // Of its time it is the newest.
    const auto place = std::find_if(feed.begin(), feed.end(), [&](const Entry& one) { return one.created == feed[17].created; });
    feed.insert(place, entry("5000", feed[17].created));
    const Changes changes = readAnew();
    EXPECT_THAT(changes.removed, testing::UnorderedElementsAre("3000", "2000", "1001"));
    EXPECT_THAT(changes.added, ElementsAre("5000"));
    EXPECT_THAT(changes.commented, ElementsAre(feed.back().id));
    EXPECT_EQ(changes.touched, 1U);
    EXPECT_EQ(all(), idsOf(feed));
    expectConsistent();
}

TEST_F(IndexTest, FollowsAFeedWhoseOrderIsAnother)
{
    putGroups({"g"});
    std::vector<Entry> feed;
    feed.reserve(600);
    for (int id = 0; id < 600; ++id)
        feed.push_back(entry(std::to_string(1000 + id), 1000 - id / 100)); // of one time, the lowest number first
    const auto readAnew = [&] {
        std::optional<Key> behind;
        for (std::size_t from = 0; from < feed.size(); from += 150) {
            const std::size_t end = std::min(from + 150, feed.size());
            const std::vector<Entry> page(feed.begin() + static_cast<std::ptrdiff_t>(from),
                                          feed.begin() + static_cast<std::ptrdiff_t>(end));
            index().mergePage("g", page, behind, end == feed.size());
            behind = Key{page.back().created, page.back().id};
        }
    };
    readAnew();
    EXPECT_EQ(index().count("g"), 600);
    readAnew();
    EXPECT_EQ(index().count("g"), 600) << "nothing is taken for gone that is there";
}

TEST_F(IndexTest, LeavesOutWhatIsHidden)
{
    putGroups({"g"});
    m_hidden = {"2"};
    index().put({entry("1", 1), entry("2", 2), entry("3", 3)});
    EXPECT_THAT(all(), ElementsAre("3", "1"));
    EXPECT_EQ(index().countAll("g"), 3);
    EXPECT_EQ(index().indexOf("1"), 1);
    EXPECT_TRUE(index().find("2")->hidden);
    m_hidden = {"3"};
    index().setHidden("2", false);
    index().setHidden("3", true);
    EXPECT_THAT(all(), ElementsAre("2", "1"));
    expectConsistent();
    open();
    EXPECT_THAT(all(), ElementsAre("2", "1"));
    EXPECT_EQ(index().countAll("g"), 3);
}

TEST_F(IndexTest, ForgetsGroupsThatAreGone)
{
    putGroups({"g", "h"});
    index().put({entry("1", 1), entry("2", 2, "h")});
    EXPECT_THAT(index().putGroups({group("h")}), ElementsAre("g"));
    EXPECT_FALSE(index().find("1"));
    EXPECT_EQ(index().count("g"), 0);
    EXPECT_TRUE(index().find("2"));
    open();
    EXPECT_EQ(index().groups().size(), 1U);
    EXPECT_FALSE(index().find("1"));
}

TEST_F(IndexTest, KeepsHowFarItHasCome)
{
    putGroups({"g"});
    index().putProgress("g", {false, "17", 5, -3, "20", 9, 2, 77});
    putGroups({"g"});
    open();
    const Progress progress = index().group("g")->progress;
    EXPECT_FALSE(progress.complete);
    EXPECT_EQ(progress.marker, "17");
    EXPECT_EQ(progress.oldest, -3);
    EXPECT_EQ(progress.latest, "20");
    EXPECT_EQ(progress.difference, 2);
}

TEST_F(IndexTest, LeavesNothingOfAnotherFamilyOnTheDisk)
{
    index().beginFor("Anna");
    putGroups({"g"});
    Entry secret = entry("1", 1);
    secret.description = "nobody else is to see this";
    index().put({secret});
    index().beginFor("Ben");
    EXPECT_EQ(index().owner(), "Ben");
    EXPECT_THAT(index().groups(), IsEmpty());
    m_index.reset();
    for (const std::string& name : m_folder.entries())
        EXPECT_THAT(test::readFile(m_folder.file(name)), testing::Not(testing::HasSubstr("nobody else"))) << name;
}

TEST_F(IndexTest, KeepsAnotherNameOfItsOwner)
{
    index().beginFor("Ada");
    index().setOwner("Ada B.");
    EXPECT_EQ(index().owner(), "Ada B.");
    open();
    EXPECT_EQ(index().owner(), "Ada B.");
}

TEST_F(IndexTest, BeginsAnewWhenItsFileIsDamaged)
{
    putGroups({"g"});
    std::vector<Entry> entries;
    for (int id = 1; id <= 5000; ++id)
        entries.push_back(entry(std::to_string(id), id));
    index().put(entries);
    m_index.reset();
    std::string bytes = test::readFile(path());
    ASSERT_GT(bytes.size(), 100'000U);
    const std::string sound = bytes;

    test::writeFile(path(), "this is no database");
    open();
    EXPECT_THAT(index().groups(), IsEmpty());
    putGroups({"g"});
    index().put({entry("1", 1)});
    EXPECT_THAT(all(), ElementsAre("1"));
    m_index.reset();

    // Pages in the middle: nothing shows at the start, but whoever examines it sees it, and so does who reads it.
    for (std::size_t place = 8 * 4096; place + 4096 < bytes.size(); place += 2 * 4096)
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(place), 2048, '\xAA');
    test::writeFile(path(), bytes);
    open();
    index().examine();
    EXPECT_THAT(index().groups(), IsEmpty());
    putGroups({"g"});
    index().put({entry("1", 1)});
    EXPECT_THAT(all(), ElementsAre("1"));
    m_index.reset();

    test::writeFile(path(), sound.substr(0, sound.size() / 2));
    open();
    index().examine();
    EXPECT_THAT(index().groups(), IsEmpty());
}

TEST_F(IndexTest, IsWholeAfterAKill)
{
    putGroups({"g"});
    m_index.reset();
    for (int round = 0; round < 5; ++round) {
        const pid_t child = ::fork();
        if (child == 0) {
            open();
            for (int id = round * 100'000 + 1;; id += 50) {
                std::vector<Entry> entries;
                for (int one = id; one < id + 50; ++one)
                    entries.push_back(entry(std::to_string(one), one * DAY / 10));
                index().put(entries);
            }
        }
        ::usleep(static_cast<useconds_t>(60'000 + 17'000 * round));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        open();
        EXPECT_EQ(m_lost, 0);
        EXPECT_EQ(index().count("g") % 50, 0) << "each step is there whole, or not at all";
        expectConsistent();
        m_index.reset();
    }
    open();
    EXPECT_GT(index().count("g"), 0);
    EXPECT_TRUE(Database::isSound(path()));
}

/// Runs something in a child that may write no larger files. \return its exit code.
template <class Work> int withSmallFiles(rlim_t bytes, Work work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, bytes};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::_exit(work() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST_F(IndexTest, GoesOnInMemoryWhenTheDiskIsFull)
{
    putGroups({"g"});
    m_index.reset();
    EXPECT_EQ(withSmallFiles(300'000,
                             [&] {
                                 open();
                                 for (int id = 1; id <= 20'000; id += 1000) {
                                     std::vector<Entry> entries;
                                     for (int one = id; one < id + 1000; ++one)
                                         entries.push_back(entry(std::to_string(one), one));
                                     index().put(entries);
                                 }
                                 return index().isInMemory() && index().count("g") == 20'000 && index().indexOf("1") == 19'999 &&
                                        index().read("g", 19'000, 1000).size() == 1000;
                             }),
              0);
    EXPECT_EQ(withSmallFiles(0,
                             [&] {
                                 open();
                                 putGroups({"g"});
                                 const std::int64_t before = index().count("g");
                                 index().put({entry("30000", 1)});
                                 return index().isInMemory() && index().count("g") == before + 1;
                             }),
              0)
        << "from the beginning";
    open();
    EXPECT_TRUE(Database::isSound(path()));
    expectConsistent();
}

std::vector<Entry> entriesTo(int count)
{
    std::vector<Entry> entries;
    for (int id = 1; id <= count; ++id)
        entries.push_back(entry(std::to_string(id), id));
    return entries;
}

TEST_F(IndexTest, ReadsWhatIsThereThoughTheDiskIsFullAtTheStart)
{
    putGroups({"g"});
    index().put(entriesTo(5000));
    m_index.reset(); // nothing lies beside the file now
    EXPECT_EQ(withSmallFiles(0,
                             [&] {
                                 open();
                                 const bool whole = index().count("g") == 5000 && index().read("g", 4000, 1000).size() == 1000;
                                 index().examine();
                                 index().put({entry("5001", 5001)});
                                 return whole && index().isInMemory() && index().count("g") == 5001 && m_lost == 0;
                             }),
              0);
    open();
    EXPECT_EQ(index().count("g"), 5000);
}

TEST_F(IndexTest, HearsOfTotalsThoughThereIsNoRoomAnywhere)
{
    putGroups({"g"});
    index().put(entriesTo(static_cast<int>(Index::MOST_IN_MEMORY) + 1));
    m_index.reset();
    EXPECT_EQ(withSmallFiles(0,
                             [&] {
                                 open();
                                 putGroups({"g"}); // as it was: there is nothing to write
                                 index().putGroups({group("g", 7), group("h", 1)});
                                 return !index().isInMemory() && index().count("g") == Index::MOST_IN_MEMORY + 1 &&
                                        index().group("g")->total == 7 && index().groups().size() == 1;
                             }),
              0);
}

TEST_F(IndexTest, AsksForRoomBeforeItLeavesTheDisk)
{
    putGroups({"g"});
    m_index.reset();
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{100'000, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        int asked = 0;
        Index crowded(path(), {[](const std::string&) { return false; }, [] {},
                               [&] {
                                   limit.rlim_cur = RLIM_INFINITY;
                                   ::setrlimit(RLIMIT_FSIZE, &limit);
                                   return ++asked == 1;
                               }});
        crowded.put(entriesTo(20'000));
        ::_exit(asked == 1 && !crowded.isInMemory() && crowded.count("g") == 20'000 ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    open();
    EXPECT_EQ(index().count("g"), 20'000);
}

TEST_F(IndexTest, RemovesLargeGroupsByAndBy)
{
    putGroups({"g", "h"});
    m_hidden = {"17"};
    index().put(entriesTo(12'000));
    index().put({entry("20000", 5, "h")});
    std::set<std::string> told;
    index().eachContent("g", [&](const std::string& id) { told.insert(id); });
    EXPECT_EQ(told.size(), 12'000U) << "the hidden one as well";
    index().removeGroup("g");
    EXPECT_FALSE(index().group("g"));
    EXPECT_FALSE(index().find("12000"));
    EXPECT_TRUE(index().find("20000"));
    putGroups({"h", "g"});
    EXPECT_EQ(index().countAll("g"), 0);
    index().put(entriesTo(10));
    expectConsistent();
}

TEST_F(IndexTest, GoesOnRemovingWhatAKillHasLeft)
{
    putGroups({"g", "h"});
    index().put(entriesTo(12'000));
    m_index.reset();
    {
        Database database(path());
        database.beginRemoving("g");
        EXPECT_TRUE(database.removeSome("g"));
    }
    open();
    EXPECT_FALSE(index().group("g")) << "half a group is none";
    EXPECT_FALSE(index().find("12000"));
    putGroups({"h", "g", "i"});
    EXPECT_EQ(index().countAll("g"), 0);
    EXPECT_EQ(index().countAll("i"), 0);
    index().put(entriesTo(100));
    EXPECT_EQ(index().count("g"), 100);
    expectConsistent();
    open();
    EXPECT_EQ(index().count("g"), 100);
    expectConsistent();
}

} // namespace
