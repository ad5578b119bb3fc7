// SPDX-License-Identifier: MIT
#include "core/Files.h"
#include "store/Comments.h"
#include "store/Contents.h"
#include "store/Groups.h"
#include "store/People.h"
#include "store/Trash.h"

#include "KinloomdProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <set>
#include <sys/stat.h>

namespace {

using namespace kinloomd;
using kinloomd_test::databaseOf;
using kinloomd_test::TemporaryFolder;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Store : public ::testing::Test {
protected:
    Person newPerson(const std::string& name)
    {
        const auto connection = m_database.write();
        Transaction transaction(connection);
        const Person person = addPerson(connection, name, "");
        transaction.commit();
        return person;
    }

    Id newGroup(const std::string& name, const Person& master)
    {
        const auto connection = m_database.write();
        Transaction transaction(connection);
        const Id id = addGroup(connection, name, "", master.id);
        transaction.commit();
        return id;
    }

    /// A content, as an upload leaves it.
    static Id newContent(DatabaseConnection& connection, Id group, Id creator, std::optional<Millis> taken = std::nullopt,
                         ContentType type = ContentType::PHOTO)
    {
        Slot slot;
        slot.id = addSlot(connection, group, creator, type, std::nullopt, "text");
        slot.group = group;
        slot.type = type;
        EXPECT_TRUE(commitUpload(connection, slot, {"a.jpg", Format::JPEG, 10, 2, 3, taken}));
        return slot.id;
    }

    Id newContent(Id group, Id creator)
    {
        const auto connection = m_database.write();
        Transaction transaction(connection);
        const Id id = newContent(connection, group, creator);
        transaction.commit();
        return id;
    }

    /// The names of a page of groups.
    static std::vector<std::string> namesOf(DatabaseConnection& connection, Id person, Id sharedWith, GroupSort sort,
                                            std::int64_t index, std::int64_t count)
    {
        std::vector<std::string> names;
        for (const Id id : listGroupIds(connection, person, sharedWith, sort, index, count))
            names.push_back(findGroupOf(connection, id, person)->name);
        return names;
    }

    static std::vector<Content> listFeed(DatabaseConnection& connection, FeedPage page)
    {
        std::vector<Content> contents;
        EXPECT_TRUE(readFeed(connection, page, [&](const Content& content) {
            contents.push_back(content);
            return true;
        }));
        return contents;
    }

    TemporaryFolder m_folder;
    Database m_database{databaseOf(m_folder.path())};
};

TEST_F(Store, KeepsItsFilesPrivate)
{
    SKIP_ON_POSTGRESQL("the files are SQLite's");
    newPerson("Anna");
    for (const char* name : {"kinloomd.db", "kinloomd.db-wal", "kinloomd.db-shm"}) {
        struct stat info {};
        ASSERT_EQ(::stat((m_folder / name).c_str(), &info), 0) << name;
        EXPECT_EQ(info.st_mode & 0777U, 0600U) << name;
    }
}

TEST_F(Store, GivesEachThingItsOwnIdentifier)
{
    const Person anna = newPerson("Anna");
    const Id group = newGroup("Family", anna);
    const Id content = newContent(group, anna.id);
    const auto connection = m_database.write();
    const Id comment = addComment(connection, group, content, anna.id, "text");
    EXPECT_EQ((std::set<Id>{anna.id, group, content, comment}.size()), 4U);
    EXPECT_EQ(kindOf(connection, anna.id), EntityKind::PERSON);
    EXPECT_EQ(kindOf(connection, group), EntityKind::GROUP);
    EXPECT_EQ(kindOf(connection, content), EntityKind::CONTENT);
    EXPECT_EQ(kindOf(connection, comment), EntityKind::COMMENT);
    EXPECT_EQ(kindOf(connection, comment + 1), EntityKind::NONE);
}

TEST_F(Store, KeepsTokensAsHashesOnly)
{
    SKIP_ON_POSTGRESQL("the file is SQLite's");
    const Person anna = newPerson("Anna");
    {
        const auto connection = m_database.write();
        addDevice(connection, anna.id, "device", "app", "very-secret-token");
        connection->execute("PRAGMA wal_checkpoint(TRUNCATE)");
    }
    const auto connection = m_database.read();
    EXPECT_EQ(findDevice(connection, "device")->person.name, "Anna");
    EXPECT_EQ(readFile(m_folder / "kinloomd.db").find("very-secret-token"), std::string::npos);
}

TEST_F(Store, UndoesATransactionThatIsNotCommitted)
{
    {
        const auto connection = m_database.write();
        const Transaction transaction(connection);
        addPerson(connection, "Nobody", "");
    }
    const auto connection = m_database.read();
    EXPECT_THAT(findPeopleByName(connection, "Nobody"), IsEmpty());
}

TEST_F(Store, DoesAChangeWholeOrNotAtAll)
{
    const Id anna = m_database.change([](DatabaseConnection& connection) { return addPerson(connection, "Anna", "").id; });
    const auto failing = [&](DatabaseConnection& connection) {
        renamePerson(connection, anna, "Nobody");
        throw std::runtime_error("it fails");
    };
    EXPECT_THROW(m_database.change(failing), std::runtime_error);
    const auto breaking = [](DatabaseConnection& connection) { addDevice(connection, 999, "nobody's", "app", "token"); };
    EXPECT_THROW(m_database.change(breaking), DatabaseError);
    m_database.change([&](DatabaseConnection& connection) { EXPECT_EQ(findPerson(connection, anna)->name, "Anna"); });
}

TEST_F(Store, OpensWhatItHasWritten)
{
    newPerson("Anna");
    Database again(databaseOf(m_folder.path()));
    const auto connection = again.read();
    EXPECT_EQ(findPeopleByName(connection, "Anna").size(), 1U);
}

TEST_F(Store, RefusesADatabaseOfANewerProgram)
{
    {
        const auto connection = m_database.write();
        connection->execute(kinloomd_test::onPostgresql()
                                ? "UPDATE schema_version SET version = 999, least = 999"
                                : "PRAGMA user_version = 999; UPDATE setting SET value = '999' WHERE name = 'schema_least'");
    }
    EXPECT_THROW(Database{databaseOf(m_folder.path())}, std::runtime_error);
}

TEST_F(Store, SortsGroupsInEachOrder)
{
    const Person anna = newPerson("Anna");
    const Id beta = newGroup("beta", anna);
    newGroup("Alpha", anna);
    newGroup("ALPHA", anna);
    const Id gamma = newGroup("Gamma", anna);
    const auto connection = m_database.write();
    // Times of their own: all four may have been made within one millisecond.
    noteUse(connection, beta, now() + 10);
    noteUse(connection, gamma, now() + 20);
    EXPECT_THAT(namesOf(connection, anna.id, 0, GroupSort::ALPHABETICAL, 0, 10), ElementsAre("Alpha", "ALPHA", "beta", "Gamma"));
    EXPECT_THAT(namesOf(connection, anna.id, 0, GroupSort::CREATED_TIME, 0, 10), ElementsAre("Gamma", "ALPHA", "Alpha", "beta"));
    EXPECT_THAT(namesOf(connection, anna.id, 0, GroupSort::RECENT_USED, 0, 10), ElementsAre("Gamma", "beta", "ALPHA", "Alpha"));
}

TEST_F(Store, PagesGroupsByIndexAndCount)
{
    const Person anna = newPerson("Anna");
    for (int i = 0; i < 7; ++i)
        newGroup("group " + std::to_string(i), anna);
    const auto connection = m_database.read();
    EXPECT_THAT(namesOf(connection, anna.id, 0, GroupSort::ALPHABETICAL, 2, 3), ElementsAre("group 2", "group 3", "group 4"));
    EXPECT_THAT(namesOf(connection, anna.id, 0, GroupSort::ALPHABETICAL, 6, 3), ElementsAre("group 6"));
    EXPECT_THAT(namesOf(connection, anna.id, 0, GroupSort::ALPHABETICAL, 4294967295, 3), IsEmpty());
}

TEST_F(Store, ShowsOnlySharedGroupsOfAnotherPerson)
{
    const Person anna = newPerson("Anna");
    const Person ben = newPerson("Ben");
    const Id shared = newGroup("shared", anna);
    newGroup("Anna's", anna);
    newGroup("Ben's", ben);
    const auto connection = m_database.write();
    EXPECT_FALSE(shareGroup(connection, anna.id, ben.id));
    EXPECT_TRUE(addMember(connection, *findGroup(connection, shared), ben.id));
    EXPECT_FALSE(addMember(connection, *findGroup(connection, shared), ben.id));
    EXPECT_TRUE(shareGroup(connection, anna.id, ben.id));
    for (const GroupSort sort : {GroupSort::ALPHABETICAL, GroupSort::CREATED_TIME, GroupSort::RECENT_USED})
        EXPECT_THAT(namesOf(connection, anna.id, ben.id, sort, 0, 10), ElementsAre("shared"));
}

TEST_F(Store, KnowsTheRoleOfEachPerson)
{
    const Person anna = newPerson("Anna");
    const Person ben = newPerson("Ben");
    const Person carla = newPerson("Carla");
    const Id group = newGroup("Family", anna);
    {
        const auto connection = m_database.write();
        addMember(connection, *findGroup(connection, group), ben.id);
    }
    const Id content = newContent(group, ben.id);
    const auto connection = m_database.write();
    const Id comment = addComment(connection, group, content, ben.id, "text");
    EXPECT_EQ(roleInGroup(connection, group, anna.id), Role::MASTER);
    EXPECT_EQ(roleInGroup(connection, group, ben.id), Role::MEMBER);
    EXPECT_EQ(roleInGroup(connection, group, carla.id), Role::STRANGER);
    EXPECT_EQ(standingAtContent(connection, content, anna.id).role, Role::MASTER);
    EXPECT_EQ(standingAtContent(connection, content, ben.id).role, Role::AUTHOR);
    EXPECT_EQ(standingAtContent(connection, content, carla.id).role, Role::STRANGER);
    EXPECT_EQ(standingAtComment(connection, comment, ben.id).role, Role::AUTHOR);
    EXPECT_TRUE(removeMember(connection, group, ben.id));
    EXPECT_EQ(standingAtContent(connection, content, ben.id).role, Role::STRANGER) << "authors who have left are strangers";
    EXPECT_EQ(standingAtComment(connection, comment, ben.id).role, Role::STRANGER);
    EXPECT_EQ(mediaEpochOf(connection, group), 1);
    EXPECT_FALSE(removeMember(connection, group, ben.id));
}

TEST_F(Store, KeepsTotalsTrueThroughEveryChange)
{
    const Person anna = newPerson("Anna");
    const Id group = newGroup("Family", anna);
    const auto connection = m_database.write();
    const Id photo = newContent(connection, group, anna.id);
    newContent(connection, group, anna.id, std::nullopt, ContentType::VIDEO);
    const Id music = newContent(connection, group, anna.id, std::nullopt, ContentType::MUSIC);
    const Id first = addComment(connection, group, photo, anna.id, "1");
    addComment(connection, group, photo, anna.id, "2");
    addComment(connection, group, music, anna.id, "3");
    Group seen = *findGroup(connection, group);
    EXPECT_EQ(seen.total, 3);
    EXPECT_EQ(seen.photos, 1);
    EXPECT_EQ(seen.videos, 1);
    EXPECT_EQ(seen.audios, 1);
    EXPECT_EQ(seen.comments, 3);
    EXPECT_EQ(seen.cover, photo);
    EXPECT_EQ(findContent(connection, photo)->comments, 2);
    EXPECT_TRUE(trashComment(connection, standingAtComment(connection, first, anna.id), first, anna.id));
    EXPECT_TRUE(trashContent(connection, music, anna.id));
    EXPECT_FALSE(trashContent(connection, music, anna.id));
    seen = *findGroup(connection, group);
    EXPECT_EQ(seen.total, 2);
    EXPECT_EQ(seen.audios, 0);
    EXPECT_EQ(seen.comments, 1);
    EXPECT_TRUE(trashContent(connection, photo, anna.id));
    seen = *findGroup(connection, group);
    EXPECT_EQ(seen.photos, 0);
    EXPECT_EQ(seen.comments, 0);
    EXPECT_EQ(seen.cover, 0);
    Query totals(connection, Sql::CHECK_GROUP_TOTALS);
    EXPECT_FALSE(totals.step());
    Query comments(connection, Sql::CHECK_COMMENT_COUNTS);
    EXPECT_FALSE(comments.step());
}

TEST_F(Store, ShowsNothingInADeletedGroup)
{
    const Person anna = newPerson("Anna");
    const Id group = newGroup("Family", anna);
    const auto connection = m_database.write();
    const Id content = newContent(connection, group, anna.id);
    const Id comment = addComment(connection, group, content, anna.id, "text");
    Event event;
    event.member = anna;
    addEvent(connection, content, event);
    EXPECT_TRUE(trashGroup(connection, group, anna.id));
    EXPECT_FALSE(trashGroup(connection, group, anna.id));
    EXPECT_FALSE(findGroup(connection, group));
    EXPECT_FALSE(findContent(connection, content));
    EXPECT_FALSE(findMedia(connection, content));
    EXPECT_EQ(standingAtContent(connection, content, anna.id).role, Role::STRANGER);
    EXPECT_EQ(standingAtComment(connection, comment, anna.id).role, Role::STRANGER);
    EXPECT_THAT(namesOf(connection, anna.id, 0, GroupSort::ALPHABETICAL, 0, 10), IsEmpty());
}

TEST_F(Store, HidesASlotUntilItIsFilled)
{
    const Person anna = newPerson("Anna");
    const Person ben = newPerson("Ben");
    const Id group = newGroup("Family", anna);
    const auto connection = m_database.write();
    addMember(connection, *findGroup(connection, group), ben.id);
    const Id id = addSlot(connection, group, anna.id, ContentType::PHOTO, 10, "text");
    const auto slot = findSlot(connection, id, anna.id);
    ASSERT_TRUE(slot);
    EXPECT_EQ(slot->announcedSize, 10);
    EXPECT_FALSE(slot->filled);
    EXPECT_FALSE(findSlot(connection, id, ben.id));
    EXPECT_FALSE(findContent(connection, id));
    EXPECT_EQ(standingAtContent(connection, id, anna.id).role, Role::STRANGER);
    EXPECT_EQ(addComment(connection, group, id, anna.id, "too early"), 0);
    EXPECT_EQ(findGroup(connection, group)->total, 0);
    const UploadedFile file{"a.jpg", Format::JPEG, 10, 2, 3, std::nullopt};
    EXPECT_TRUE(commitUpload(connection, *slot, file));
    EXPECT_FALSE(commitUpload(connection, *slot, file)) << "a slot is filled once";
    EXPECT_TRUE(findSlot(connection, id, anna.id)->filled);
    EXPECT_EQ(findGroup(connection, group)->total, 1);
}

TEST_F(Store, ForgetsSlotsThatWereNeverFilled)
{
    const Person anna = newPerson("Anna");
    const Id group = newGroup("Family", anna);
    const auto connection = m_database.write();
    const Id id = addSlot(connection, group, anna.id, ContentType::PHOTO, std::nullopt, "");
    const Id kept = newContent(connection, group, anna.id);
    expireSlots(connection, now() - 1000);
    EXPECT_TRUE(findSlot(connection, id, anna.id));
    expireSlots(connection, now() + 1000);
    EXPECT_FALSE(findSlot(connection, id, anna.id));
    EXPECT_TRUE(findContent(connection, kept));
}

TEST_F(Store, GivesUploadsRisingTimes)
{
    const Person anna = newPerson("Anna");
    const Id group = newGroup("Family", anna);
    const auto connection = m_database.write();
    Millis last = 0;
    for (int i = 0; i < 20; ++i) {
        const Millis uploaded = findContent(connection, newContent(connection, group, anna.id))->uploaded;
        EXPECT_GT(uploaded, last);
        last = uploaded;
    }
}

TEST_F(Store, NotesWhenADeviceSignedIn)
{
    const Person anna = newPerson("Anna");
    const auto connection = m_database.write();
    addDevice(connection, anna.id, "a", "app", "token");
    EXPECT_FALSE(findDevice(connection, "a")->signedIn);
    noteSignIn(connection, findDevice(connection, "a")->id, 7);
    EXPECT_EQ(findDevice(connection, "a")->signedIn, 7);
}

TEST_F(Store, KeepsSignersForOneService)
{
    const auto connection = m_database.write();
    EXPECT_TRUE(takeSigners(connection).whole) << "nobody served before";
    keepSigners(connection, {{{"10.0.0.1", "b", 2}, {"10.0.0.1", "a", 1}, {"::1", "a", 3}}, true});
    std::string all;
    const RecentSigners recent = takeSigners(connection);
    for (const Signer& signer : recent.signers)
        all += signer.address + " " + signer.duid + " " + std::to_string(signer.at) + ";";
    EXPECT_EQ(all, "10.0.0.1 a 1;10.0.0.1 b 2;::1 a 3;");
    EXPECT_TRUE(recent.whole);
    const RecentSigners next = takeSigners(connection);
    EXPECT_THAT(next.signers, IsEmpty());
    EXPECT_FALSE(next.whole) << "the service before ended without a word";
    keepSigners(connection, {{{"::1", "a", 3}}, false});
    EXPECT_FALSE(takeSigners(connection).whole);
}

TEST_F(Store, NeverGivesTheNumberOfADeviceAgain)
{
    const Person anna = newPerson("Anna");
    const auto connection = m_database.write();
    addDevice(connection, anna.id, "a", "app", "token");
    const Id first = findDevice(connection, "a")->id;
    EXPECT_TRUE(isLiveDevice(connection, first));
    EXPECT_TRUE(trashDevice(connection, "a", 0));
    EXPECT_FALSE(isLiveDevice(connection, first));
    EXPECT_FALSE(findDevice(connection, "a"));
    static_cast<void>(purgeSome(connection, listTrash(connection).front()));
    addDevice(connection, anna.id, "b", "app", "token");
    EXPECT_GT(findDevice(connection, "b")->id, first);
}

TEST_F(Store, ListsTheNewestCommentsInTheirOrder)
{
    const Person anna = newPerson("Anna");
    const Id group = newGroup("Family", anna);
    const auto connection = m_database.write();
    const Id content = newContent(connection, group, anna.id);
    for (int i = 0; i < 5; ++i)
        addComment(connection, group, content, anna.id, std::to_string(i));
    const auto texts = [&](CommentPage page) {
        std::string all;
        EXPECT_TRUE(readComments(connection, page, [&](const Comment& comment) {
            all += comment.text;
            return true;
        }));
        return all;
    };
    EXPECT_EQ(texts(latestComments(connection, content, 3)), "234");
    EXPECT_EQ(texts(latestComments(connection, content, 5)), "01234");
    EXPECT_EQ(texts(latestComments(connection, content, 9)), "01234");
    EXPECT_EQ(texts({content, 0, 1, 2}), "12");
}

constexpr Marker FIRST = {std::numeric_limits<Millis>::min(), 0};
constexpr Marker LAST = {std::numeric_limits<Millis>::max(), std::numeric_limits<Id>::max()};

struct FeedCase {
    FeedBase base;
    FeedDirection direction;
    ContentType type;
};

class Feed : public Store, public ::testing::WithParamInterface<std::tuple<FeedBase, FeedDirection, ContentType>> {};

TEST_P(Feed, ShowsEachContentExactlyOnceAtAnyPageSize)
{
    const auto [base, direction, type] = GetParam();
    const Person anna = newPerson("Anna");
    const Id group = newGroup("Family", anna);
    const Id other = newGroup("Other", anna);
    std::set<Id> expected;
    const auto connection = m_database.write();
    {
        // Many pictures of the same moment, in no order.
        std::mt19937 random(7);
        Transaction transaction(connection);
        for (int i = 0; i < 1000; ++i) {
            const auto kind = static_cast<ContentType>(1 + i % 3);
            const Id id = newContent(connection, group, anna.id, static_cast<Millis>(random() % 50), kind);
            if (type == ContentType::ANY || type == kind)
                expected.insert(id);
            newContent(connection, other, anna.id, 5);
        }
        transaction.commit();
    }
    for (const int count : {1, 7, 30, 1000, 5000}) {
        std::vector<Id> seen;
        Marker marker = direction == FeedDirection::BEFORE ? LAST : FIRST;
        for (;;) {
            const auto page = listFeed(connection, {group, base, direction, type, marker, count});
            for (const Content& content : page)
                seen.push_back(content.id);
            if (page.empty())
                break;
            marker = *enterFeed(connection, group, anna.id, page.back().id, base).marker;
        }
        EXPECT_EQ(seen.size(), expected.size()) << count;
        EXPECT_EQ(std::set<Id>(seen.begin(), seen.end()), expected) << count;
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, Feed,
                         ::testing::Combine(::testing::Values(FeedBase::CREATED_TIME, FeedBase::UPLOAD_TIME, FeedBase::CONTENT_ID),
                                            ::testing::Values(FeedDirection::BEFORE, FeedDirection::AFTER),
                                            ::testing::Values(ContentType::ANY, ContentType::PHOTO)));

TEST_F(Store, GoesOnFromAMarkerThatWasDeleted)
{
    const Person anna = newPerson("Anna");
    const Id group = newGroup("Family", anna);
    const auto connection = m_database.write();
    const Id first = newContent(connection, group, anna.id);
    const Id second = newContent(connection, group, anna.id);
    const Id third = newContent(connection, group, anna.id);
    trashContent(connection, second, anna.id);
    for (const FeedBase base : {FeedBase::CREATED_TIME, FeedBase::UPLOAD_TIME, FeedBase::CONTENT_ID}) {
        const auto marker = enterFeed(connection, group, anna.id, second, base).marker;
        ASSERT_TRUE(marker);
        const auto before = listFeed(connection, {group, base, FeedDirection::BEFORE, ContentType::ANY, *marker, 10});
        const auto after = listFeed(connection, {group, base, FeedDirection::AFTER, ContentType::ANY, *marker, 10});
        ASSERT_EQ(before.size(), 1U);
        EXPECT_EQ(before[0].id, first);
        ASSERT_EQ(after.size(), 1U);
        EXPECT_EQ(after[0].id, third);
    }
    EXPECT_FALSE(enterFeed(connection, group, anna.id, third + 1, FeedBase::CONTENT_ID).marker);
}

TEST_F(Store, GoesOnWhereAPageWasLeft)
{
    const Person anna = newPerson("Anna");
    const Id group = newGroup("Family", anna);
    const auto connection = m_database.write();
    for (int i = 0; i < 10; ++i)
        newContent(connection, group, anna.id, Millis{i % 3});
    for (const FeedBase base : {FeedBase::CREATED_TIME, FeedBase::UPLOAD_TIME, FeedBase::CONTENT_ID}) {
        FeedPage page{group, base, FeedDirection::BEFORE, ContentType::ANY, LAST, 8};
        std::vector<Id> seen;
        const auto takeThree = [&](const Content& content) {
            seen.push_back(content.id);
            return seen.size() % 3 != 0;
        };
        EXPECT_FALSE(readFeed(connection, page, takeThree));
        EXPECT_EQ(seen.size(), 3U);
        EXPECT_FALSE(readFeed(connection, page, takeThree));
        EXPECT_TRUE(readFeed(connection, page, takeThree));
        std::vector<Id> whole;
        for (const Content& content : listFeed(connection, {group, base, FeedDirection::BEFORE, ContentType::ANY, LAST, 8}))
            whole.push_back(content.id);
        EXPECT_EQ(seen, whole);
    }
}

TEST_F(Store, CountsThePlacesAndTheGroupsOfAPerson)
{
    const Person anna = newPerson("Anna");
    const Person ben = newPerson("Ben");
    const Id group = newGroup("Family", anna);
    newGroup("his", ben);
    const auto connection = m_database.write();
    addMember(connection, *findGroup(connection, group), ben.id);
    EXPECT_EQ(countGroups(connection, anna.id), 1);
    EXPECT_EQ(countSlots(connection, anna.id), 0);
    addSlot(connection, group, anna.id, ContentType::PHOTO, std::nullopt, "");
    addSlot(connection, group, ben.id, ContentType::PHOTO, std::nullopt, "");
    newContent(connection, group, anna.id);
    EXPECT_EQ(countSlots(connection, anna.id), 1);
    expireSlots(connection, now() + 1000);
    EXPECT_EQ(countSlots(connection, anna.id), 0);
}

TEST_F(Store, CountsTheBytesOfAPersonThroughEveryChange)
{
    const Person anna = newPerson("Anna");
    const Person ben = newPerson("Ben");
    const Id group = newGroup("Family", anna);
    const Id other = newGroup("Other", anna);
    const auto connection = m_database.write();
    addMember(connection, *findGroup(connection, group), ben.id);
    const Id slot = addSlot(connection, group, anna.id, ContentType::PHOTO, 10, "");
    EXPECT_EQ(usedBytes(connection, anna.id), 0) << "a place takes no room";
    const Id first = newContent(connection, group, anna.id);
    newContent(connection, group, anna.id);
    newContent(connection, group, ben.id);
    newContent(connection, other, anna.id);
    EXPECT_EQ(usedBytes(connection, anna.id), 30);
    EXPECT_EQ(findSlot(connection, slot, anna.id)->usedBytes, 30);
    EXPECT_EQ(usedBytes(connection, ben.id), 10);
    const auto purgeNewest = [&connection] { EXPECT_TRUE(purgeSome(connection, listTrash(connection).back()).whole); };
    EXPECT_TRUE(trashContent(connection, first, anna.id));
    EXPECT_EQ(usedBytes(connection, anna.id), 30);
    purgeNewest();
    EXPECT_EQ(usedBytes(connection, anna.id), 20);
    EXPECT_TRUE(trashGroup(connection, group, anna.id));
    EXPECT_EQ(usedBytes(connection, anna.id), 20);
    purgeNewest();
    EXPECT_EQ(usedBytes(connection, anna.id), 10);
    EXPECT_EQ(usedBytes(connection, ben.id), 0);
    {
        const Transaction undone(connection);
        newContent(connection, other, anna.id);
    }
    EXPECT_EQ(usedBytes(connection, anna.id), 10);
    Query wrong(connection, Sql::CHECK_USED_BYTES);
    EXPECT_FALSE(wrong.step());
}

class Statement : public ::testing::TestWithParam<std::size_t> {};

TEST_P(Statement, FindsItsRowsThroughAnIndex)
{
    SKIP_ON_POSTGRESQL("its plans follow from the rows that there are: Postgresql.FindsTheRowsOfEachStatementThroughAnIndex");
    const auto sql = static_cast<Sql>(GetParam());
    if (*textOf(sql) == '\0')
        GTEST_SKIP() << "it has several others for that";
    const TemporaryFolder folder;
    Database database(databaseOf(folder.path()));
    const auto connection = database.write();
    for (const auto& row : connection->execute(std::string("EXPLAIN QUERY PLAN ") + textOf(sql))) {
        const std::string& step = row.at(3);
        if (entryOf(sql).wholeTable)
            continue;
        const bool scan = step.compare(0, 5, "SCAN ") == 0 && step.find("CONSTANT ROW") == std::string::npos;
        EXPECT_FALSE(scan) << step << "\n" << textOf(sql);
        EXPECT_EQ(step.find("TEMP B-TREE"), std::string::npos) << step << "\n" << textOf(sql);
    }
}

INSTANTIATE_TEST_SUITE_P(All, Statement, ::testing::Range(std::size_t{0}, static_cast<std::size_t>(Sql::COUNT)));

} // namespace
