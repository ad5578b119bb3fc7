// SPDX-License-Identifier: MIT
#include "store/Comments.h"
#include "store/Contents.h"
#include "store/Groups.h"
#include "store/People.h"
#include "store/Trash.h"

#include "FirstTables.h"
#include "KinloomdProcess.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace kinloomd;
using kinloomd_test::FIRST_TABLES;
using kinloomd_test::TemporaryFolder;

// Two people, a device each and one that was removed, a group of both with a photo, a comment and an event, and a deleted photo.
constexpr const char* FIRST_ROWS = R"sql(
INSERT INTO setting VALUES ('media_secret', 'secret');
INSERT INTO entity (kind) VALUES (1), (1), (2), (3), (4), (5), (3);
INSERT INTO person VALUES (1, 'Anna', '555', 1000, 2), (2, 'Ben', '', 2000, 0);
INSERT INTO device VALUES (4, 1, 'annas', 'app', 'hash-a', 1100, 1200, 1300), (7, 2, 'bens', 'app', 'hash-b', 2100, NULL, NULL);
INSERT INTO sign_in VALUES ('127.0.0.1', 4, 1300);
INSERT INTO family VALUES (3, 'Family', 'text', 1, 3000, 1, 1, 0, 0, 1, 5);
INSERT INTO member VALUES (1, 3, 'family', 3000, 4000), (2, 3, 'family', 3000, 4000);
INSERT INTO content VALUES (4, 3, 2, 1, 1, 3900, 10, 'a photo', 'a.jpg', 1, 10, 2, 3, 3800, 4000, 1);
INSERT INTO content VALUES (7, 3, 2, 2, 1, 3900, 10, '', '', 1, 10, 2, 3, 3700, 3950, 0);
INSERT INTO comment VALUES (5, 4, 1, 'a comment', 4100);
INSERT INTO event VALUES (6, 4, 2, 'an event', '', '', 1, 2, 3);
PRAGMA user_version = 1;
)sql";

/// The first versions were SQLite's alone.
class Schema : public ::testing::Test {
protected:
    void SetUp() override { SKIP_ON_POSTGRESQL("the first versions were SQLite's alone"); }

    void makeFirst(const std::string& more = {})
    {
        SQLite::Database first(m_folder / "test.db", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        first.exec(FIRST_TABLES);
        first.exec(FIRST_ROWS);
        first.exec(more);
    }

    TemporaryFolder m_folder;
};

TEST_F(Schema, OfTheFirstVersionIsBroughtForwardWithAllThatIsInIt)
{
    makeFirst();
    Database database(m_folder / "test.db");
    const auto connection = database.write();
    const Person anna = *findPerson(connection, 1);
    EXPECT_EQ(anna.name + " " + anna.phone, "Anna 555");
    EXPECT_EQ(anna.created, 1000);
    EXPECT_EQ(anna.image, 2);
    const Device device = *findDevice(connection, "annas");
    EXPECT_EQ(device.id, 4);
    EXPECT_EQ(device.person.id, 1);
    EXPECT_EQ(device.tokenHash, "hash-a");
    EXPECT_TRUE(device.registered);
    EXPECT_EQ(device.signedIn, 1300);
    EXPECT_FALSE(findDevice(connection, "bens")->registered);
    const Group group = *findGroup(connection, 3);
    EXPECT_EQ(group.name + " " + group.description + " " + group.master.name, "Family text Anna");
    EXPECT_EQ(group.total, 1);
    EXPECT_EQ(group.comments, 1);
    EXPECT_EQ(group.cover, 4);
    EXPECT_EQ(group.mediaEpoch, 5);
    EXPECT_EQ(listMembers(connection, 3).size(), 2U);
    EXPECT_EQ(listGroupIds(connection, 2, 0, GroupSort::ALPHABETICAL, 0, 10), std::vector<Id>{3});
    const Content content = *findContent(connection, 4);
    EXPECT_EQ(content.description + " " + content.fileName + " " + content.creator.name, "a photo a.jpg Ben");
    EXPECT_EQ(content.comments, 1);
    std::vector<std::string> texts;
    CommentPage comments{4, 0, 0, 10};
    EXPECT_TRUE(readComments(connection, comments, [&](const Comment& comment) {
        texts.push_back(comment.text);
        return true;
    }));
    EventPage events{4, 0};
    EXPECT_TRUE(readEvents(connection, events, [&](const Event& event) {
        texts.push_back(event.title);
        return true;
    }));
    EXPECT_THAT(texts, ::testing::ElementsAre("a comment", "an event"));
    EXPECT_EQ(findMedia(connection, 4)->thumbnails, Thumbnails::MADE) << "they were made before the reply once";
    EXPECT_TRUE(listPendingContents(connection).empty());
    EXPECT_FALSE(findContent(connection, 7));
    EXPECT_TRUE(enterFeed(connection, 3, 1, 7, FeedBase::UPLOAD_TIME).marker)
        << "feeds can still be paged from a content that was deleted";
    EXPECT_EQ(secretSetting(connection, "media_secret"), "secret");
    const RecentSigners recent = takeSigners(connection);
    EXPECT_TRUE(recent.signers.empty()) << "an old sign-in says nothing about others of its address";
    EXPECT_FALSE(recent.whole) << "the service of before may have ended a moment ago";
}

TEST_F(Schema, OfTheFirstVersionTakesWhatTheNewOneAllows)
{
    makeFirst();
    Database database(m_folder / "test.db");
    const auto connection = database.write();
    const Person other = addPerson(connection, "Anna", "");
    EXPECT_EQ(findPeopleByName(connection, "Anna").size(), 2U);
    addDevice(connection, other.id, "new", "app", "token");
    EXPECT_GT(findDevice(connection, "new")->id, 7);
    EXPECT_THROW(addDevice(connection, 999, "nobody's", "app", "token"), DatabaseError) << "references are watched again";
}

TEST_F(Schema, OfTheFirstVersionCountsTheBytesThatAreThere)
{
    // A place for an upload, whatever size stands in it, takes as little as the photo that was deleted.
    makeFirst("INSERT INTO entity (kind) VALUES (3);"
              "INSERT INTO content VALUES (8, 3, 2, 0, 1, 3900, 10, '', '', 0, 10, 0, 0, 0, 0, 0);");
    Database database(m_folder / "test.db");
    const auto connection = database.write();
    EXPECT_EQ(usedBytes(connection, 1), 0);
    EXPECT_EQ(usedBytes(connection, 2), 10);
    EXPECT_EQ(countSlots(connection, 2), 1);
    EXPECT_TRUE(trashContent(connection, 4, 2));
    EXPECT_EQ(usedBytes(connection, 2), 10);
    EXPECT_TRUE(purgeSome(connection, listTrash(connection).at(0)).whole);
    EXPECT_EQ(usedBytes(connection, 2), 0);
}

TEST_F(Schema, OfTheFirstVersionKnowsTheLastUpload)
{
    // A clock that was ahead once: what comes now comes later all the same.
    constexpr Millis AHEAD = 99'999'999'999'999;
    makeFirst("UPDATE content SET uploaded = " + std::to_string(AHEAD) + " WHERE id = 7;");
    Database database(m_folder / "test.db");
    const auto connection = database.write();
    Slot slot;
    slot.group = 3;
    slot.id = addSlot(connection, 3, 1, ContentType::PHOTO, std::nullopt, "");
    EXPECT_TRUE(commitUpload(connection, slot, {"a.jpg", Format::JPEG, 10, 2, 3, std::nullopt}));
    EXPECT_EQ(findContent(connection, slot.id)->uploaded, AHEAD + 1);
    EXPECT_TRUE(connection->execute("SELECT 1 FROM sqlite_master WHERE type = 'trigger'").empty());
}

TEST_F(Schema, OfADamagedDatabaseIsLeftAsItIs)
{
    makeFirst("PRAGMA foreign_keys = OFF; INSERT INTO comment VALUES (8, 999, 1, 'on nothing', 1);");
    EXPECT_THROW(Database(m_folder / "test.db"), std::runtime_error);
    SQLite::Database untouched(m_folder / "test.db", SQLite::OPEN_READWRITE);
    EXPECT_EQ(untouched.execAndGet("PRAGMA user_version").getInt(), 1);
    EXPECT_EQ(untouched.execAndGet("SELECT count(*) FROM sign_in").getInt(), 1);
}

} // namespace
