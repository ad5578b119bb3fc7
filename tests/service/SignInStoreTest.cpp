// SPDX-License-Identifier: MIT
// Sessions, invitations, pairings and changes in the database.
#include "store/Changes.h"
#include "store/Comments.h"
#include "store/Contents.h"
#include "store/Groups.h"
#include "store/Pairings.h"
#include "store/People.h"
#include "store/Sessions.h"
#include "store/Trash.h"

#include "KinloomdProcess.h"
#include "TestRecords.h"

#include "operations/TrashPurge.h"
#include "operations/page/Browser.h"
#include "operations/page/Calendar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <set>

namespace {

using namespace kinloomd;
using kinloomd_test::databaseOf;
using kinloomd_test::TemporaryFolder;
using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::IsEmpty;

class SignIns : public ::testing::Test {
protected:
    void run(const std::string& sql)
    {
        const auto connection = m_database.write();
        connection->execute(sql);
    }
    Id addPersonNamed(const std::string& name)
    {
        const auto connection = m_database.write();
        return addPerson(connection, name, "").id;
    }
    Id addGroupOf(Id person)
    {
        const auto connection = m_database.write();
        return addGroup(connection, "Family", "", person);
    }

    TemporaryFolder m_folder;
    Database m_database{databaseOf(m_folder.path())};
};

TEST_F(SignIns, KeysAreEachOfTheirOwn)
{
    std::set<std::string> keys;
    for (int i = 0; i < 1000; ++i)
        keys.insert(newKey());
    EXPECT_EQ(keys.size(), 1000U);
    EXPECT_EQ(keys.begin()->size(), 43U);
    EXPECT_EQ(hashOfKey("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_F(SignIns, CodesAreLettersOfTheAlphabetAndAllOfThemAlike)
{
    std::map<char, int> counts;
    for (int i = 0; i < 5000; ++i) {
        for (const char c : newUserCode())
            ++counts[c];
    }
    std::string letters;
    for (const auto& [letter, count] : counts) {
        letters += letter;
        // 2,000 each on average; five standard deviations are 218.
        EXPECT_NEAR(count, 2000, 300) << letter;
    }
    EXPECT_EQ(letters, "BCDFGHJKLMNPQRSTVWXZ");
}

TEST_F(SignIns, CodesAreReadAsPeopleTypeThem)
{
    EXPECT_EQ(shownUserCode("BCDFGHJK"), "BCDF-GHJK");
    for (const char* typed : {"BCDF-GHJK", "bcdfghjk", " b c d f - g h j k "})
        EXPECT_EQ(readUserCode(typed), "BCDFGHJK") << typed;
    for (const char* typed : {"", "BCDFGHJ", "BCDFGHJKL", "ACDFGHJK", "BCDF_GHJK", "BCDFGHJ\xC3\x84"})
        EXPECT_EQ(readUserCode(typed), "") << typed;
}

TEST_F(SignIns, ThatHaveEndedAreForgotten)
{
    const Id anna = addPersonNamed("Anna");
    {
        const auto connection = m_database.write();
        addSession(connection, anna, "old", "Browser", "");
        addSession(connection, anna, "new", "Browser", "");
        addInvitation(connection, "old", {0, "x", 0, 0, 0, "", 0, false});
        addInvitation(connection, "new", {0, "x", 0, 0, 0, "", 0, false});
        addPairing(connection, "old", Pairing(), "n");
        addPairing(connection, "new", Pairing(), "n");
        addGuess(connection, anna, "n");
        addGuess(connection, anna, "n");
    }
    run("UPDATE session SET used = 0 WHERE key_hash = 'old'; UPDATE invitation SET expires = 0 WHERE key_hash = 'old';"
        "UPDATE pairing SET expires = 0 WHERE key_hash = 'old'; UPDATE guess SET at = 0 WHERE id = 1");
    forgetOld(m_database);
    const auto connection = m_database.read();
    EXPECT_FALSE(findInvitation(connection, "old"));
    EXPECT_TRUE(findInvitation(connection, "new"));
    EXPECT_FALSE(findPairingByKey(connection, "old"));
    EXPECT_TRUE(findPairingByKey(connection, "new"));
    EXPECT_TRUE(findSession(connection, "new"));
    EXPECT_EQ(countGuesses(connection, anna, "n", -1).all, 1);
    for (const char* table : {"session", "invitation", "pairing", "guess"}) {
        EXPECT_EQ(connection->execute(std::string("SELECT count(*) FROM ") + table), TextRows{{"1"}}) << table;
    }
}

TEST_F(SignIns, GoWithTheirPersonForGood)
{
    const Id anna = addPersonNamed("Anna");
    const auto connection = m_database.write();
    addSession(connection, anna, "key", "Browser", "");
    EXPECT_TRUE(findSession(connection, "key"));
    EXPECT_TRUE(trashPerson(connection, anna, 0));
    EXPECT_FALSE(findSession(connection, "key"));
    EXPECT_THAT(listSessions(connection), IsEmpty());
    EXPECT_EQ(restoreTrash(connection, listTrash(connection).at(0)), Obstacle::NONE);
    EXPECT_TRUE(findSession(connection, "key")) << "who comes back is signed in as before";
    EXPECT_TRUE(trashPerson(connection, anna, 0));
    EXPECT_TRUE(purgeSome(connection, listTrash(connection).at(0)).whole);
    EXPECT_FALSE(findSession(connection, "key"));
}

TEST_F(SignIns, ChangesAreToldInTheirOrderToMembers)
{
    const Id anna = addPersonNamed("Anna");
    const Id ben = addPersonNamed("Ben");
    const Id group = addGroupOf(anna);
    const Id other = addGroupOf(ben);
    const Id content = kinloomd_test::addContents(m_database, group, anna, 1).at(0);
    kinloomd_test::addContents(m_database, other, ben, 1);
    const auto connection = m_database.write();
    const Id comment = addComment(connection, group, content, anna, "x");
    EXPECT_TRUE(trashContent(connection, content, anna));
    std::vector<ChangeKind> kinds;
    Id last = 0;
    for (const Change& change : listChanges(connection, anna, 0, 100)) {
        EXPECT_EQ(change.group, group);
        EXPECT_EQ(change.content, content);
        EXPECT_EQ(change.comment, change.kind == ChangeKind::COMMENT ? comment : 0);
        EXPECT_GT(change.id, last);
        last = change.id;
        kinds.push_back(change.kind);
    }
    EXPECT_THAT(kinds, ElementsAre(ChangeKind::CONTENT, ChangeKind::COMMENT, ChangeKind::CONTENT_DELETED));
    EXPECT_EQ(lastChange(connection), last);
    EXPECT_EQ(listChanges(connection, anna, last - 1, 100).size(), 1U);
    EXPECT_EQ(listChanges(connection, anna, 0, 2).size(), 2U);
    EXPECT_TRUE(knowsChangesSince(connection, last));
    EXPECT_TRUE(knowsChangesSince(connection, 0));
    EXPECT_FALSE(knowsChangesSince(connection, last + 1)) << "as after an older state was brought back";
}

TEST_F(SignIns, ChangesCountOnWhenTheyAreForgotten)
{
    const Id anna = addPersonNamed("Anna");
    const Id group = addGroupOf(anna);
    kinloomd_test::addContents(m_database, group, anna, 3);
    run("UPDATE change SET at = 0");
    forgetOld(m_database);
    const auto connection = m_database.read();
    EXPECT_THAT(listChanges(connection, anna, 0, 100), IsEmpty());
    const Id last = lastChange(connection);
    EXPECT_THAT(last, Gt(0));
    EXPECT_TRUE(knowsChangesSince(connection, last));
    EXPECT_FALSE(knowsChangesSince(connection, last - 1));
}

TEST_F(SignIns, ContentsAreFoundByTheirPlace)
{
    const Id anna = addPersonNamed("Anna");
    const Id group = addGroupOf(anna);
    const auto ids = kinloomd_test::addContents(m_database, group, anna, 50);
    // Some were made at the same time.
    run("UPDATE content SET created = 1000 * (id / 3)");
    const auto connection = m_database.read();
    std::vector<Id> newestFirst;
    FeedPage page;
    page.group = group;
    page.from = BEHIND_NEWEST;
    page.count = 100;
    readFeed(connection, page, [&](const Content& content) {
        newestFirst.push_back(content.id);
        const auto place = enterPage(connection, group, anna, static_cast<std::int64_t>(newestFirst.size()) - 1).place;
        EXPECT_EQ(place ? place->id : 0, content.id);
        EXPECT_EQ(indexOf(connection, group, {content.created, content.id}), static_cast<std::int64_t>(newestFirst.size()) - 1);
        return true;
    });
    EXPECT_EQ(newestFirst.size(), ids.size());
    EXPECT_FALSE(enterPage(connection, group, anna, 50).place);
}

TEST_F(SignIns, MonthsHoldEachContentOnce)
{
    const Id anna = addPersonNamed("Anna");
    const Id group = addGroupOf(anna);
    kinloomd_test::addContents(m_database, group, anna, 400);
    // Every 36 hours from the beginning of a year on, over both changes of the clocks, and before 1970 too.
    run("UPDATE content SET created = 1262300400000 + (id - 200) * 129600000; UPDATE content SET created = -1000 WHERE id % 50 = "
        "0");
    for (const char* name : {"UTC", "Europe/Berlin", "America/St_Johns", "Pacific/Apia"}) {
        const TimeZone zone(name);
        const auto connection = m_database.read();
        std::map<std::string, std::int64_t> expected;
        FeedPage page;
        page.group = group;
        page.from = BEHIND_NEWEST;
        page.count = 1000;
        std::vector<std::string> order;
        readFeed(connection, page, [&](const Content& content) {
            const std::string month = formatTime(content.created, zone.offsetAt(content.created)).substr(0, 7);
            if (expected[month]++ == 0)
                order.push_back(month);
            return true;
        });
        std::vector<std::string> names;
        for (const Month& month : monthsOf(connection, group, zone)) {
            names.push_back(month.name);
            EXPECT_EQ(month.count, expected[month.name]) << name << " " << month.name;
            const MonthRange range = requireMonth(month.name, zone);
            EXPECT_EQ(static_cast<std::int64_t>(filesBetween(connection, group, range.from, range.before).size()), month.count);
        }
        EXPECT_EQ(names, order) << name;
    }
}

TEST(Browsers, AreNamedAsPeopleCallThem)
{
    EXPECT_EQ(browserName("Mozilla/5.0 (X11; Linux x86_64; rv:128.0) Gecko/20100101 Firefox/128.0"), "Firefox on Linux");
    EXPECT_EQ(
        browserName("Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/128.0 Safari/537.36 "
                    "Edg/128.0"),
        "Edge on Windows");
    EXPECT_EQ(
        browserName("Mozilla/5.0 (iPhone; CPU iPhone OS 17_0 like Mac OS X) AppleWebKit/605.1.15 Version/17.0 Mobile Safari/604.1"),
        "Safari on iPhone");
    EXPECT_EQ(browserName("Mozilla/5.0 (Linux; Android 14) AppleWebKit/537.36 Chrome/128.0 Mobile Safari/537.36"),
              "Chrome on Android");
    EXPECT_EQ(browserName("curl/7.88.1"), "Browser");
    EXPECT_EQ(browserName("<script>"), "Browser");
    EXPECT_EQ(browserName(""), "Browser");
}

} // namespace
