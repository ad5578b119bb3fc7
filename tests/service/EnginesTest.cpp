// SPDX-License-Identifier: MIT
// What must hold when several change the database at the same time, whichever engine keeps it.
#include "store/Changes.h"
#include "store/Comments.h"
#include "store/Contents.h"
#include "store/Groups.h"
#include "store/Locks.h"
#include "store/Pairings.h"
#include "store/People.h"
#include "store/Sessions.h"
#include "store/ThumbnailQueue.h"
#include "store/Trash.h"

#include "KinloomdProcess.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <set>
#include <thread>

namespace {

using namespace kinloomd;
using kinloomd_test::databaseOf;
using kinloomd_test::TemporaryFolder;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Two databases on the same data, as two processes have them: a group of Anna, and another one.
class Engines : public ::testing::Test {
protected:
    Engines()
    {
        m_first.change([this](DatabaseConnection& connection) {
            anna = addPerson(connection, "Anna", "").id;
            ben = addPerson(connection, "Ben", "").id;
            group = addGroup(connection, "Family", "", anna);
            other = addGroup(connection, "Friends", "", anna);
        });
    }

    /// Does something on as many threads, half of them in each process. What they throw fails the test.
    void together(unsigned threads, const std::function<void(Database&, unsigned)>& action)
    {
        std::vector<std::thread> running;
        running.reserve(threads);
        std::atomic<unsigned> ready = 0;
        for (unsigned i = 0; i < threads; ++i) {
            running.emplace_back([&, i] {
                // All begin at once.
                ++ready;
                while (ready < threads)
                    std::this_thread::yield();
                EXPECT_NO_THROW(action(i % 2 == 0 ? m_first : m_second, i));
            });
        }
        for (std::thread& thread : running)
            thread.join();
    }

    Slot newSlot(Database& database, Id inGroup)
    {
        return database.change([&](DatabaseConnection& connection) {
            Slot slot;
            slot.group = inGroup;
            slot.id = addSlot(connection, inGroup, anna, ContentType::PHOTO, std::nullopt, "");
            return slot;
        });
    }

    static bool fill(DatabaseConnection& connection, const Slot& slot)
    {
        return commitUpload(connection, slot, {"a.jpg", Format::JPEG, 10, 2, 3, std::nullopt});
    }

    Id newContent()
    {
        const Slot slot = newSlot(m_first, group);
        EXPECT_TRUE(m_first.change([&](DatabaseConnection& connection) { return fill(connection, slot); }));
        return slot.id;
    }

    void expectTrueTotals()
    {
        const auto connection = m_second.read();
        for (const Sql sql : {Sql::CHECK_GROUP_TOTALS, Sql::CHECK_COMMENT_COUNTS, Sql::CHECK_USED_BYTES}) {
            Query query(connection, sql);
            EXPECT_FALSE(query.step()) << textOf(sql);
        }
    }

    TemporaryFolder m_folder;
    Database m_first{databaseOf(m_folder.path())};
    Database m_second{databaseOf(m_folder.path())};
    Id anna = 0;
    Id ben = 0;
    Id group = 0;
    Id other = 0;
};

TEST_F(Engines, CountUploadsIntoOneGroupAndGiveThemTimesOfTheirOwn)
{
    constexpr unsigned THREADS = 6;
    constexpr unsigned UPLOADS = 15;
    together(THREADS, [this](Database& database, unsigned) {
        for (unsigned i = 0; i < UPLOADS; ++i) {
            const Slot slot = newSlot(database, group);
            EXPECT_TRUE(database.change([&](DatabaseConnection& connection) { return fill(connection, slot); }));
        }
    });
    const auto connection = m_second.read();
    std::set<Millis> times;
    FeedPage page;
    page.group = group;
    page.count = 1000;
    page.from = BEHIND_NEWEST;
    EXPECT_TRUE(readFeed(connection, page, [&](const Content& content) { return times.insert(content.uploaded).second; }));
    EXPECT_EQ(times.size(), THREADS * UPLOADS);
    EXPECT_EQ(findGroup(connection, group)->total, THREADS * UPLOADS);
    EXPECT_EQ(usedBytes(connection, anna), 10 * THREADS * UPLOADS);
    expectTrueTotals();
}

TEST_F(Engines, GiveEachContentToOneThatMakesItsThumbnails)
{
    constexpr std::size_t CONTENTS = 60;
    for (std::size_t i = 0; i < CONTENTS; ++i)
        newContent();
    std::mutex mutex;
    std::vector<Id> all;
    together(4, [&](Database& database, unsigned i) {
        const ThumbnailTaker taker{i + 1, now() + 60'000};
        for (;;) {
            const auto taken = takeForThumbnails(database.write(), taker, now(), 3);
            // What others are taking right now is left out, and may be all that there is.
            const std::lock_guard<std::mutex> lock(mutex);
            for (const PendingContent& content : taken)
                all.push_back(content.original.content);
            if (all.size() >= CONTENTS)
                return;
        }
    });
    EXPECT_EQ(all.size(), CONTENTS);
    EXPECT_EQ(std::set<Id>(all.begin(), all.end()).size(), CONTENTS);
}

TEST_F(Engines, FreeAContentForThumbnailsWhenItsTimeHasPassed)
{
    const Id content = newContent();
    const auto connection = m_first.write();
    const ThumbnailTaker first{1, 1000};
    const ThumbnailTaker second{2, 2000};
    ASSERT_EQ(takeForThumbnails(connection, first, 500, 10).size(), 1U);
    EXPECT_THAT(takeForThumbnails(connection, second, 500, 10), IsEmpty());
    EXPECT_FALSE(takeOneForThumbnails(connection, second, 500, content));
    EXPECT_TRUE(takeOneForThumbnails(connection, first, 500, content)) << "who has it may have it for longer";
    EXPECT_EQ(takeForThumbnails(connection, second, 1001, 10).size(), 1U);
    EXPECT_FALSE(takeOneForThumbnails(connection, first, 1001, content)) << "another one has taken it over";
    giveBackThumbnails(connection, 1);
    EXPECT_THAT(takeForThumbnails(connection, first, 1001, 10), IsEmpty()) << "it is not that one's any more";
    giveBackThumbnails(connection, 2);
    EXPECT_EQ(takeForThumbnails(connection, first, 1001, 10).size(), 1U);
    EXPECT_TRUE(areThumbnailsPending(connection, content));
    setThumbnails(connection, content, Thumbnails::MADE);
    EXPECT_FALSE(areThumbnailsPending(connection, content));
    EXPECT_THAT(takeForThumbnails(connection, second, TAKEN_BY_NOBODY, 10), IsEmpty());
    EXPECT_TRUE(takeOneForThumbnails(connection, second, 1001, content)) << "they may be lost";
    setThumbnails(connection, content, Thumbnails::NONE);
    EXPECT_FALSE(takeOneForThumbnails(connection, second, TAKEN_BY_NOBODY, content));
}

TEST_F(Engines, PutAContentOffThatHasFailedAndAtLastForGood)
{
    constexpr int MANY = 100;
    const Id content = newContent();
    const auto connection = m_first.write();
    ASSERT_EQ(takeForThumbnails(connection, {1, now() + 1000}, now(), 10).size(), 1U);
    putOffThumbnails(connection, 2, content);
    EXPECT_FALSE(takeOneForThumbnails(connection, {2, now() + 1000}, now(), content)) << "another one's is left alone";
    putOffThumbnails(connection, 1, content);
    EXPECT_THAT(takeForThumbnails(connection, {2, now() + 1000}, now(), 10), IsEmpty());
    EXPECT_TRUE(takeOneForThumbnails(connection, {2, now() + 1000}, now(), content)) << "for who asks it is tried";
    constexpr Millis END = TAKEN_BY_NOBODY - 1;
    int tries = 0;
    while (tries < MANY && !takeForThumbnails(connection, {3 + tries, 0}, END, 10).empty())
        ++tries;
    EXPECT_GT(tries, 1);
    EXPECT_LT(tries, MANY);
    EXPECT_EQ(takeForThumbnails(connection, {3 + MANY, 0}, TAKEN_BY_NOBODY, 10).size(), 1U) << "the only service takes everything";
    EXPECT_TRUE(takeOneForThumbnails(connection, {2, 0}, TAKEN_BY_NOBODY, content));
}

TEST_F(Engines, CountNoTryOfAServiceThatEndsInGoodOrder)
{
    constexpr int MANY = 100;
    newContent();
    const auto connection = m_first.write();
    for (int tries = 0; tries < MANY; ++tries) {
        ASSERT_EQ(takeForThumbnails(connection, {1 + tries, now() + 1000}, now(), 10).size(), 1U) << tries;
        giveBackThumbnails(connection, 1 + tries);
    }
}

TEST_F(Engines, MakeReadersWaitForTheirTurnButNotForEver)
{
    constexpr int MORE_THAN_THERE_ARE = 1000;
    std::deque<Database::Turn> turns;
    const auto takeTurns = [&] {
        for (int i = 0; i < MORE_THAN_THERE_ARE; ++i)
            turns.emplace_back(m_first);
    };
    EXPECT_THROW(takeTurns(), DatabaseUnavailable);
    ASSERT_FALSE(turns.empty());
    turns.pop_back();
    EXPECT_NO_THROW(turns.emplace_back(m_first));
}

TEST_F(Engines, KeepAPersonWithinTheRoomThatThereIs)
{
    constexpr int ROOM = 50;
    std::atomic<int> stored = 0;
    together(8, [&](Database& database, unsigned i) {
        const Slot slot = newSlot(database, i % 2 == 0 ? group : other);
        const bool done = database.change([&](DatabaseConnection& connection) {
            lockGroup(connection, slot.group);
            lockPerson(connection, anna);
            return findSlot(connection, slot.id, anna)->usedBytes + 10 <= ROOM && fill(connection, slot);
        });
        stored += done ? 1 : 0;
    });
    EXPECT_EQ(stored, ROOM / 10);
    EXPECT_EQ(usedBytes(m_first.read(), anna), ROOM);
    expectTrueTotals();
}

TEST_F(Engines, LetWhatIsUsedOnceBeUsedOnce)
{
    Pairing pairing;
    m_first.change([&](DatabaseConnection& connection) {
        addInvitation(connection, "key", {0, "Carla", 0, group, anna, "", 0, false});
        pairing = addPairing(connection, "pairing", Pairing(), "n");
    });
    const Id invitation = findInvitation(m_first.read(), "key")->id;
    const Slot slot = newSlot(m_first, group);
    std::atomic<int> used = 0;
    std::atomic<int> decided = 0;
    std::atomic<int> taken = 0;
    std::atomic<int> filled = 0;
    together(6, [&](Database& database, unsigned) {
        database.change([&](DatabaseConnection& connection) { return useInvitation(connection, invitation); }) ? ++used : 0;
        database.change([&](DatabaseConnection& connection) {
            return decidePairing(connection, pairing.userCode, PairingState::APPROVED, anna);
        })
            ? ++decided
            : 0;
        database.change([&](DatabaseConnection& connection) { return takePairing(connection, pairing.id); }) ? ++taken : 0;
        database.change([&](DatabaseConnection& connection) { return fill(connection, slot); }) ? ++filled : 0;
    });
    EXPECT_EQ(used, 1);
    EXPECT_EQ(decided, 1);
    EXPECT_EQ(taken, 1);
    EXPECT_EQ(filled, 1);
    expectTrueTotals();
}

TEST_F(Engines, BringBackOrDeleteForGoodAndNeverBoth)
{
    for (int round = 0; round < 10; ++round) {
        const Id content = newContent();
        ASSERT_NE(
            m_first.change([&](DatabaseConnection& connection) { return addComment(connection, group, content, anna, "text"); }),
            0);
        ASSERT_TRUE(m_first.change([&](DatabaseConnection& connection) { return trashContent(connection, content, anna); }));
        const TrashEntry entry = *findTrashOf(m_first.read(), TrashKind::CONTENT, content);
        std::atomic<int> restored = 0;
        together(4, [&](Database& database, unsigned i) {
            if (i < 2) {
                restored += database.change([&](DatabaseConnection& connection) { return restoreTrash(connection, entry); }) ==
                                    Obstacle::NONE
                                ? 1
                                : 0;
            } else {
                EXPECT_TRUE(database.change([&](DatabaseConnection& connection) { return purgeSome(connection, entry); }).whole);
            }
        });
        EXPECT_LE(restored, 1);
        EXPECT_EQ(findContent(m_first.read(), content).has_value(), restored == 1);
        EXPECT_THAT(listTrash(m_first.read()), IsEmpty());
        expectTrueTotals();
    }
}

TEST_F(Engines, CountCommentsOnAContentThatIsBeingDeleted)
{
    for (int round = 0; round < 10; ++round) {
        const Id content = newContent();
        const Id first =
            m_first.change([&](DatabaseConnection& connection) { return addComment(connection, group, content, anna, "1"); });
        const Standing standing = standingAtComment(m_first.read(), first, anna);
        together(4, [&](Database& database, unsigned i) {
            database.change([&](DatabaseConnection& connection) {
                if (i == 0)
                    trashContent(connection, content, anna);
                else if (i == 1)
                    trashComment(connection, standing, first, anna);
                else
                    addComment(connection, group, content, anna, "2");
            });
        });
        expectTrueTotals();
    }
}

TEST_F(Engines, LeaveNoMemberInAGroupThatIsGone)
{
    for (int round = 0; round < 10; ++round) {
        const Group joined = *findGroup(m_first.read(), group);
        m_first.change([&](DatabaseConnection& connection) { addMember(connection, joined, ben); });
        together(4, [&](Database& database, unsigned i) {
            database.change([&](DatabaseConnection& connection) {
                if (i == 0)
                    trashGroup(connection, group, anna);
                else if (i == 1)
                    trashPerson(connection, ben, 0);
                else if (i == 2)
                    removeMember(connection, group, ben);
                else
                    addMember(connection, joined, ben);
            });
        });
        const auto connection = m_first.read();
        EXPECT_THAT(listMembers(connection, group), IsEmpty());
        EXPECT_THAT(listGroupIds(connection, ben, 0, GroupSort::ALPHABETICAL, 0, 10), IsEmpty());
        // Both come back, at the same time too.
        const auto entries = listTrash(connection);
        ASSERT_EQ(entries.size(), 2U);
        together(2, [&](Database& database, unsigned i) {
            database.change([&](DatabaseConnection& restoring) { EXPECT_EQ(restoreTrash(restoring, entries[i]), Obstacle::NONE); });
        });
        EXPECT_TRUE(findGroup(connection, group));
        EXPECT_EQ(roleInGroup(connection, group, anna), Role::MASTER);
        EXPECT_EQ(connection->execute("SELECT count(*) FROM set_aside"), TextRows{{"0"}});
    }
}

TEST_F(Engines, MakeOneSecretForAll)
{
    std::mutex mutex;
    std::set<std::string> secrets;
    together(6, [&](Database& database, unsigned) {
        const std::string secret =
            database.change([](DatabaseConnection& connection) { return secretSetting(connection, "secret"); });
        const std::lock_guard<std::mutex> lock(mutex);
        secrets.insert(secret);
    });
    EXPECT_EQ(secrets.size(), 1U);
}

TEST_F(Engines, RefuseBytesThatAreNoText)
{
    for (const std::string& bytes : {std::string("a\0b", 3), std::string("\xC3("), std::string("\xED\xA0\x80")}) {
        EXPECT_THROW(m_first.change([&](DatabaseConnection& connection) { renamePerson(connection, anna, bytes); }), NotText);
        EXPECT_FALSE(lookUpDevice(m_first.read(), bytes).known);
    }
    EXPECT_EQ(findPerson(m_first.read(), anna)->name, "Anna");
}

TEST_F(Engines, OrderTextsByTheirBytes)
{
    for (const char* name : {"b", "A", "a", "B", "\xC3\xA4", "Z", "z", "_"})
        m_first.change([&](DatabaseConnection& connection) { addPerson(connection, name, ""); });
    std::vector<std::string> names;
    for (const Person& person : listPeople(m_first.read()))
        names.push_back(person.name);
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end())) << ::testing::PrintToString(names);
}

/// The numbers of changes.
std::vector<Id> idsOf(const std::vector<Change>& changes)
{
    std::vector<Id> ids;
    std::transform(changes.begin(), changes.end(), std::back_inserter(ids), [](const Change& change) { return change.id; });
    return ids;
}

TEST_F(Engines, TellOfAChangeThatBecomesVisibleBehindALaterOne)
{
    const auto connection = m_first.write();
    const auto add = [&](Id id) {
        connection->execute("INSERT INTO change (id, kind, group_id, content_id, comment_id, at) VALUES (" + std::to_string(id) +
                            ", 1, " + std::to_string(group) + ", 1, 0, 1)");
    };
    constexpr std::chrono::seconds LONGEST{60};
    const auto begin = ChangeHorizon::Clock::now();
    ChangeReader reader(LONGEST, 0);
    add(101);
    add(103);
    EXPECT_THAT(idsOf(reader.read(connection, anna, 10, begin)), ElementsAre(101, 103));
    EXPECT_EQ(reader.settled(), 0) << "a smaller number may still come";
    add(102);
    EXPECT_THAT(idsOf(reader.read(connection, anna, 10, begin + LONGEST / 2)), ElementsAre(102));
    EXPECT_THAT(idsOf(reader.read(connection, anna, 10, begin + LONGEST)), IsEmpty());
    EXPECT_EQ(reader.settled(), 103);
    add(104);
    EXPECT_THAT(idsOf(reader.read(connection, anna, 10, begin + LONGEST)), ElementsAre(104));
    ChangeReader strict(std::chrono::milliseconds(0), 102);
    EXPECT_THAT(idsOf(strict.read(connection, anna, 10, begin)), ElementsAre(103, 104));
    EXPECT_EQ(strict.settled(), 104) << "where one change follows the other, nothing is looked at twice";
}

} // namespace
