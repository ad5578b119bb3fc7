// SPDX-License-Identifier: MIT
#include "store/Trash.h"
#include "media/FolderMedia.h"
#include "operations/TrashPurge.h"
#include "store/Comments.h"
#include "store/Contents.h"
#include "store/Groups.h"
#include "store/People.h"

#include "KinloomdProcess.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <utility>

namespace {

using namespace kinloomd;
using kinloomd_test::databaseOf;
using kinloomd_test::TemporaryFolder;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A group of Anna, with Ben in it, two photos of Ben and a comment of Anna on the first.
class Trash : public ::testing::Test {
protected:
    Trash()
    {
        const auto connection = m_database.write();
        Transaction transaction(connection);
        anna = addPerson(connection, "Anna", "555");
        ben = addPerson(connection, "Ben", "");
        addDevice(connection, ben.id, "bens", "app", "token");
        group = addGroup(connection, "Family", "text", anna.id);
        addMember(connection, *findGroup(connection, group), ben.id);
        first = addContent(connection, "first");
        second = addContent(connection, "");
        comment = addComment(connection, group, first, anna.id, "lovely");
        transaction.commit();
    }

    Id addContent(DatabaseConnection& connection, const std::string& description)
    {
        Slot slot;
        slot.id = addSlot(connection, group, ben.id, ContentType::PHOTO, std::nullopt, description);
        slot.group = group;
        EXPECT_TRUE(commitUpload(connection, slot, {"a.jpg", Format::JPEG, 10, 2, 3, std::nullopt}));
        std::filesystem::create_directories(std::filesystem::path(m_media.originalPath({slot.id})).parent_path());
        std::ofstream(m_media.originalPath({slot.id})) << "0123456789";
        return slot.id;
    }

    bool hasFile(Id content) const { return std::filesystem::exists(m_media.originalPath({content})); }

    static std::vector<Id> commentsOf(DatabaseConnection& connection, CommentPage page)
    {
        std::vector<Id> ids;
        EXPECT_TRUE(readComments(connection, page, [&](const Comment& found) {
            ids.push_back(found.id);
            return true;
        }));
        return ids;
    }

    /// The number of the newest entry.
    static TrashEntry newest(DatabaseConnection& connection) { return listTrash(connection).back(); }

    static Obstacle restoreNewest(DatabaseConnection& connection) { return restoreTrash(connection, newest(connection)); }

    static void expectTrueTotals(DatabaseConnection& connection)
    {
        Query totals(connection, Sql::CHECK_GROUP_TOTALS);
        EXPECT_FALSE(totals.step());
        Query comments(connection, Sql::CHECK_COMMENT_COUNTS);
        EXPECT_FALSE(comments.step());
        Query bytes(connection, Sql::CHECK_USED_BYTES);
        EXPECT_FALSE(bytes.step());
    }

    /// Purges everything, as after a long time.
    void purgeAll()
    {
        purgeTrash(m_database, m_media, now() + 1, [] { return false; });
    }

    TemporaryFolder m_folder;
    DataFolder m_data{m_folder / "data"};
    Database m_database{m_data.database()};
    FolderMedia m_media{m_data};
    Person anna;
    Person ben;
    Id group = 0;
    Id first = 0;
    Id second = 0;
    Id comment = 0;
};

TEST_F(Trash, KeepsAContentWholeAndShowsItToNobody)
{
    const auto connection = m_database.write();
    ASSERT_TRUE(trashContent(connection, first, ben.id));
    EXPECT_FALSE(trashContent(connection, first, ben.id));
    EXPECT_FALSE(findContent(connection, first));
    EXPECT_FALSE(findMedia(connection, first));
    EXPECT_FALSE(findSlot(connection, first, ben.id));
    EXPECT_EQ(standingAtContent(connection, first, anna.id).role, Role::STRANGER);
    EXPECT_EQ(standingAtComment(connection, comment, anna.id).role, Role::STRANGER);
    EXPECT_EQ(addComment(connection, group, first, anna.id, "late"), 0);
    EXPECT_EQ(findGroup(connection, group)->total, 1);
    EXPECT_EQ(findGroup(connection, group)->comments, 0);
    EXPECT_EQ(findGroup(connection, group)->cover, second);
    EXPECT_THAT(keptOriginals(connection), ElementsAre(OriginalName{first}, OriginalName{second})) << "its file is not swept up";
    EXPECT_EQ(findFile(connection, first)->size, 10);
    expectTrueTotals(connection);
    const TrashEntry entry = newest(connection);
    EXPECT_EQ(entry.kind, TrashKind::CONTENT);
    EXPECT_EQ(entry.thing, first);
    EXPECT_EQ(entry.name + " of " + entry.place + " by " + entry.by, "first of Family by Ben");

    EXPECT_EQ(restoreTrash(connection, entry), Obstacle::NONE);
    EXPECT_EQ(findContent(connection, first)->description, "first");
    EXPECT_EQ(findContent(connection, first)->comments, 1);
    EXPECT_EQ(findComment(connection, comment)->text, "lovely");
    EXPECT_EQ(findGroup(connection, group)->total, 2);
    EXPECT_EQ(findGroup(connection, group)->comments, 1);
    EXPECT_THAT(listTrash(connection), IsEmpty());
    expectTrueTotals(connection);
}

TEST_F(Trash, NamesAContentWithoutADescriptionByItsFile)
{
    const auto connection = m_database.write();
    trashContent(connection, second, 0);
    EXPECT_EQ(newest(connection).name, "a.jpg");
    EXPECT_EQ(newest(connection).by, "");
}

TEST_F(Trash, KeepsAComment)
{
    const auto connection = m_database.write();
    ASSERT_TRUE(trashComment(connection, standingAtComment(connection, comment, anna.id), comment, anna.id));
    EXPECT_FALSE(findComment(connection, comment));
    EXPECT_THAT(commentsOf(connection, {first, 0, 0, 10}), IsEmpty());
    EXPECT_THAT(commentsOf(connection, latestComments(connection, first, 10)), IsEmpty());
    EXPECT_EQ(findContent(connection, first)->comments, 0);
    EXPECT_EQ(standingAtComment(connection, comment, anna.id).role, Role::STRANGER);
    expectTrueTotals(connection);
    EXPECT_EQ(newest(connection).name, "lovely");
    // Its content goes and comes back without it.
    trashContent(connection, first, ben.id);
    EXPECT_EQ(restoreTrash(connection, listTrash(connection).front()), Obstacle::CONTENT);
    EXPECT_EQ(restoreNewest(connection), Obstacle::NONE);
    EXPECT_EQ(findContent(connection, first)->comments, 0);
    EXPECT_EQ(restoreNewest(connection), Obstacle::NONE);
    EXPECT_EQ(findContent(connection, first)->comments, 1);
    EXPECT_EQ(findGroup(connection, group)->comments, 1);
    expectTrueTotals(connection);
}

TEST_F(Trash, LeavesNoGapInPagesOfComments)
{
    const auto connection = m_database.write();
    std::vector<Id> ids = {comment};
    for (int i = 1; i < 5; ++i)
        ids.push_back(addComment(connection, group, first, ben.id, "more"));
    for (const std::size_t gone : {1U, 3U})
        ASSERT_TRUE(trashComment(connection, standingAtComment(connection, ids[gone], ben.id), ids[gone], ben.id));
    EXPECT_THAT(commentsOf(connection, latestComments(connection, first, 2)), ElementsAre(ids[2], ids[4]));
    EXPECT_THAT(commentsOf(connection, latestComments(connection, first, 3)), ElementsAre(ids[0], ids[2], ids[4]));
    EXPECT_THAT(commentsOf(connection, {first, 0, 1, 2}), ElementsAre(ids[2], ids[4]));
    EXPECT_THAT(commentsOf(connection, {first, ids[0], 0, 1}), ElementsAre(ids[2]));
}

TEST_F(Trash, CountsAgainstTheRoomOfWhoHasMadeItWhileItsFilesAreKept)
{
    {
        const auto connection = m_database.write();
        trashContent(connection, first, ben.id);
        EXPECT_EQ(usedBytes(connection, ben.id), 20);
        EXPECT_EQ(restoreNewest(connection), Obstacle::NONE);
        EXPECT_EQ(usedBytes(connection, ben.id), 20);
        trashContent(connection, first, ben.id);
    }
    purgeAll();
    {
        const auto connection = m_database.write();
        EXPECT_EQ(usedBytes(connection, ben.id), 10);
        trashGroup(connection, group, anna.id);
        EXPECT_EQ(usedBytes(connection, ben.id), 10);
    }
    purgeAll();
    const auto connection = m_database.read();
    EXPECT_EQ(usedBytes(connection, ben.id), 0);
    expectTrueTotals(connection);
}

TEST_F(Trash, DoesNotCountAmongTheGroupsOfItsMaster)
{
    const auto connection = m_database.write();
    EXPECT_EQ(countGroups(connection, anna.id), 1);
    trashGroup(connection, group, anna.id);
    EXPECT_EQ(countGroups(connection, anna.id), 0);
    EXPECT_EQ(restoreNewest(connection), Obstacle::NONE);
    EXPECT_EQ(countGroups(connection, anna.id), 1);
}

TEST_F(Trash, KeepsAGroupWithEverythingInIt)
{
    const auto connection = m_database.write();
    const Id slot = addSlot(connection, group, ben.id, ContentType::PHOTO, std::nullopt, "");
    const Slot reserved = *findSlot(connection, slot, ben.id);
    trashContent(connection, second, ben.id);
    ASSERT_TRUE(trashGroup(connection, group, anna.id));
    EXPECT_FALSE(findGroup(connection, group));
    EXPECT_THAT(listAllGroups(connection), IsEmpty());
    EXPECT_THAT(findGroupsByName(connection, "Family"), IsEmpty());
    EXPECT_THAT(listMembers(connection, group), IsEmpty());
    EXPECT_EQ(roleInGroup(connection, group, anna.id), Role::STRANGER);
    EXPECT_FALSE(shareGroup(connection, anna.id, ben.id));
    EXPECT_FALSE(findContent(connection, first));
    EXPECT_FALSE(findMedia(connection, first));
    EXPECT_FALSE(findSlot(connection, slot, ben.id));
    EXPECT_FALSE(commitUpload(connection, reserved, {"late.jpg", Format::JPEG, 10, 2, 3, std::nullopt}));
    EXPECT_EQ(newest(connection).name, "Family");
    EXPECT_EQ(restoreTrash(connection, listTrash(connection).front()), Obstacle::GROUP) << "its group is gone";
    EXPECT_THAT(keptOriginals(connection), ElementsAre(OriginalName{first}, OriginalName{second}));

    EXPECT_EQ(restoreNewest(connection), Obstacle::NONE);
    EXPECT_EQ(findGroup(connection, group)->total, 1);
    EXPECT_EQ(findGroup(connection, group)->comments, 1);
    EXPECT_EQ(roleInGroup(connection, group, anna.id), Role::MASTER);
    EXPECT_EQ(listMembers(connection, group).size(), 2U);
    EXPECT_TRUE(findMedia(connection, first));
    EXPECT_EQ(restoreNewest(connection), Obstacle::NONE);
    EXPECT_EQ(findGroup(connection, group)->total, 2);
    expectTrueTotals(connection);
}

TEST_F(Trash, TakesALargeGroupWithoutLookingAtWhatIsInIt)
{
    SKIP_ON_POSTGRESQL("only SQLite counts all changes");
    const auto connection = m_database.write();
    Transaction transaction(connection);
    const auto changes = [&] { return std::stoi(connection->execute("SELECT total_changes()").at(0).at(0)); };
    const int before = changes();
    ASSERT_TRUE(trashGroup(connection, group, anna.id));
    // The mark, the entry, and two memberships set aside.
    EXPECT_LE(changes() - before, 6);
}

TEST_F(Trash, KeepsAPersonWithMembershipsAndDevices)
{
    const auto connection = m_database.write();
    const Id device = findDevice(connection, "bens")->id;
    ASSERT_TRUE(trashPerson(connection, ben.id, 0));
    EXPECT_FALSE(trashPerson(connection, ben.id, 0));
    EXPECT_FALSE(findPerson(connection, ben.id));
    EXPECT_THAT(findPeopleByName(connection, "Ben"), IsEmpty());
    EXPECT_EQ(listPeople(connection).size(), 1U);
    EXPECT_FALSE(findDevice(connection, "bens"));
    EXPECT_FALSE(isLiveDevice(connection, device));
    EXPECT_THAT(listDevices(connection), IsEmpty());
    EXPECT_EQ(listMembers(connection, group).size(), 1U);
    EXPECT_EQ(roleInGroup(connection, group, ben.id), Role::STRANGER);
    EXPECT_EQ(findContent(connection, first)->creator.name, "Ben") << "what he has made stays, with his name";
    EXPECT_EQ(restoreNewest(connection), Obstacle::NONE);
    EXPECT_EQ(findDevice(connection, "bens")->person.name, "Ben");
    EXPECT_TRUE(isLiveDevice(connection, device));
    EXPECT_EQ(roleInGroup(connection, group, ben.id), Role::MEMBER);
}

TEST_F(Trash, GivesMembershipsBackWhenBothPersonAndGroupAreThere)
{
    const auto connection = m_database.write();
    // In each order of going and coming.
    for (const bool personFirst : {true, false}) {
        for (const bool personBackFirst : {true, false}) {
            if (personFirst)
                trashPerson(connection, ben.id, 0);
            trashGroup(connection, group, anna.id);
            if (!personFirst)
                trashPerson(connection, ben.id, 0);
            const auto entries = listTrash(connection);
            ASSERT_EQ(entries.size(), 2U);
            const std::size_t person = personFirst ? 0 : 1;
            EXPECT_EQ(restoreTrash(connection, entries[personBackFirst ? person : 1 - person]), Obstacle::NONE);
            EXPECT_EQ(roleInGroup(connection, group, ben.id), Role::STRANGER);
            EXPECT_EQ(restoreTrash(connection, entries[personBackFirst ? 1 - person : person]), Obstacle::NONE);
            EXPECT_EQ(roleInGroup(connection, group, ben.id), Role::MEMBER);
            EXPECT_EQ(roleInGroup(connection, group, anna.id), Role::MASTER);
        }
    }
}

TEST_F(Trash, KeepsADevice)
{
    const auto connection = m_database.write();
    ASSERT_TRUE(trashDevice(connection, "bens", 0));
    EXPECT_FALSE(trashDevice(connection, "bens", 0));
    EXPECT_EQ(newest(connection).name + " of " + newest(connection).place, "bens of Ben");
    trashPerson(connection, ben.id, 0);
    EXPECT_EQ(restoreTrash(connection, listTrash(connection).front()), Obstacle::PERSON);
    EXPECT_EQ(restoreNewest(connection), Obstacle::NONE);
    EXPECT_FALSE(findDevice(connection, "bens")) << "it was removed before him";
    EXPECT_EQ(restoreNewest(connection), Obstacle::NONE);
    EXPECT_TRUE(findDevice(connection, "bens"));
}

TEST_F(Trash, IsEmptiedWithItsFiles)
{
    {
        const auto connection = m_database.write();
        trashContent(connection, first, ben.id);
    }
    purgeAll();
    EXPECT_FALSE(hasFile(first));
    EXPECT_TRUE(hasFile(second));
    const auto connection = m_database.write();
    EXPECT_THAT(listTrash(connection), IsEmpty());
    EXPECT_FALSE(findFile(connection, first));
    EXPECT_TRUE(enterFeed(connection, group, anna.id, first, FeedBase::UPLOAD_TIME).marker) << "feeds can still be paged from it";
    expectTrueTotals(connection);
}

TEST_F(Trash, IsEmptiedOfGroupsWithAllThatIsAndWasInThem)
{
    std::vector<Id> contents;
    {
        const auto connection = m_database.write();
        Transaction transaction(connection);
        for (int i = 0; i < 1200; ++i)
            contents.push_back(addContent(connection, "many"));
        trashComment(connection, standingAtComment(connection, comment, anna.id), comment, anna.id);
        trashContent(connection, second, ben.id);
        trashGroup(connection, group, anna.id);
        transaction.commit();
        EXPECT_EQ(listTrash(connection).size(), 3U);
    }
    // Stopped after the first part, it goes on the next time; what is partly gone cannot come back.
    int parts = 0;
    purgeTrash(m_database, m_media, now() + 1, [&] { return ++parts > 3; });
    {
        const auto connection = m_database.write();
        ASSERT_EQ(listTrash(connection).size(), 1U);
        EXPECT_EQ(restoreNewest(connection), Obstacle::GOING);
    }
    purgeAll();
    const auto connection = m_database.write();
    EXPECT_THAT(listTrash(connection), IsEmpty());
    EXPECT_THAT(keptOriginals(connection), IsEmpty());
    for (const Id content : contents)
        ASSERT_FALSE(hasFile(content)) << content;
    EXPECT_FALSE(hasFile(first));
    EXPECT_FALSE(hasFile(second));
}

TEST_F(Trash, IsEmptiedOfPeopleButForTheNamesOfThoseWhoMadeSomething)
{
    {
        const auto connection = m_database.write();
        Transaction transaction(connection);
        const Person dora = addPerson(connection, "Dora", "");
        setPersonImage(connection, ben.id, 3);
        trashPerson(connection, dora.id, 0);
        trashPerson(connection, ben.id, 0);
        transaction.commit();
    }
    const std::string picture = m_media.personImagePath(ben.id, 3);
    std::ofstream(picture) << "picture";
    purgeAll();
    EXPECT_FALSE(std::filesystem::exists(picture));
    const auto connection = m_database.write();
    EXPECT_THAT(listTrash(connection), IsEmpty());
    EXPECT_EQ(findContent(connection, first)->creator.name, "Ben");
    EXPECT_EQ(findContent(connection, first)->creator.image, 0);
    EXPECT_EQ(connection->execute("SELECT phone FROM person ORDER BY phone"), (TextRows{{""}, {"555"}})) << "Anna's";
}

TEST_F(Trash, KeepsWhatIsKnownOfThumbnails)
{
    {
        const auto connection = m_database.write();
        const auto pending = [&] {
            std::vector<Id> ids;
            for (const PendingContent& content : listPendingContents(connection))
                ids.push_back(content.original.content);
            return ids;
        };
        EXPECT_THAT(pending(), ElementsAre(first, second));
        trashContent(connection, first, ben.id);
        trashContent(connection, second, ben.id);
        EXPECT_THAT(pending(), IsEmpty()) << "nobody sees them";
        EXPECT_TRUE(setThumbnails(connection, second, Thumbnails::MADE)) << "they may have been on their way";
        for (const TrashEntry& entry : listTrash(connection))
            EXPECT_EQ(restoreTrash(connection, entry), Obstacle::NONE);
        EXPECT_THAT(pending(), ElementsAre(first)) << "still to be made";
        EXPECT_EQ(findMedia(connection, second)->thumbnails, Thumbnails::MADE);
        trashContent(connection, first, ben.id);
    }
    purgeAll();
    const auto connection = m_database.write();
    EXPECT_FALSE(setThumbnails(connection, first, Thumbnails::MADE)) << "there is nothing left that could have any";
}

/// Empties an entry for the length of one transaction.
void purgeOnce(Database& database, const MediaStore& media, const TrashEntry& entry)
{
    bool begun = false;
    EXPECT_FALSE(purgeEntry(database, media, entry, [&] { return std::exchange(begun, true); }));
}

TEST_F(Trash, IsSoundWhenAGroupIsGoneInPartOnly)
{
    TrashEntry entry;
    {
        const auto connection = m_database.write();
        Transaction transaction(connection);
        for (int i = 0; i < 600; ++i)
            addComment(connection, group, addContent(connection, "more"), anna.id, "lovely");
        trashGroup(connection, group, anna.id);
        entry = newest(connection);
        transaction.commit();
    }
    purgeOnce(m_database, m_media, entry);
    {
        const auto connection = m_database.write();
        EXPECT_TRUE(findTrash(connection, entry.id));
        expectTrueTotals(connection);
    }
    purgeAll();
    const auto connection = m_database.write();
    EXPECT_FALSE(findTrash(connection, entry.id));
    EXPECT_EQ(masterOf(connection, group), 0);
}

TEST_F(Trash, LosesTheCommentsOfAContentAPartAtATime)
{
    TrashEntry entry;
    {
        const auto connection = m_database.write();
        Transaction transaction(connection);
        for (int i = 0; i < 6000; ++i)
            addComment(connection, group, first, anna.id, "again");
        trashContent(connection, first, ben.id);
        entry = newest(connection);
        transaction.commit();
    }
    purgeOnce(m_database, m_media, entry);
    EXPECT_TRUE(hasFile(first));
    {
        const auto connection = m_database.write();
        expectTrueTotals(connection);
        Query left(connection, Sql::COMMENTS_DELETE_OF_CONTENT);
        EXPECT_EQ(left.bind(first, 1).run(), 1) << "some wait for the next turn";
        EXPECT_EQ(restoreTrash(connection, entry), Obstacle::GOING);
    }
    purgeAll();
    EXPECT_FALSE(hasFile(first));
    const auto connection = m_database.write();
    EXPECT_FALSE(findTrash(connection, entry.id));
    expectTrueTotals(connection);
}

TEST_F(Trash, KeepsWhatIsNotOldEnough)
{
    {
        const auto connection = m_database.write();
        trashContent(connection, first, ben.id);
        trashContent(connection, second, ben.id);
        connection->execute("UPDATE trash SET at = at - 1000 WHERE thing_id = " + std::to_string(second));
    }
    purgeTrash(m_database, m_media, now() - 500, [] { return false; });
    EXPECT_TRUE(hasFile(first));
    EXPECT_FALSE(hasFile(second));
}

} // namespace
