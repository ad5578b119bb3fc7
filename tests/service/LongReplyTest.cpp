// SPDX-License-Identifier: MIT
#include "operations/LongReply.h"

#include "core/Dates.h"
#include "operations/Handlers.h"
#include "operations/Service.h"
#include "pictures/Decoding.h"
#include "store/Contents.h"
#include "store/Groups.h"
#include "store/People.h"
#include "store/Trash.h"

#include "ServiceClient.h"
#include "TestRecords.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace kinloomd;
using kinloomd_test::addComments;
using kinloomd_test::addContents;
using kinloomd_test::TemporaryFolder;
using kinloomd_test::Xml;
using ::testing::ElementsAreArray;

using Handler = Reply (*)(Service&, Request&);
using Texts = std::vector<std::string>;

constexpr std::size_t MOST_HELD = 2 * PIECE_BYTES;

/// A service in this process; its replies are read by hand, a piece at a time.
class LongReply : public ::testing::Test {
protected:
    static void SetUpTestSuite() { pictures::startDecoding(); } // threads of a service end with them
    void SetUp() override { startWith(ReplyShape::ELEMENTS); }

    void startWith(ReplyShape shape)
    {
        m_service.reset();
        Options options;
        options.data = m_folder / "data";
        if (kinloomd_test::onPostgresql())
            options.data.database = kinloomd_test::databaseOf(options.data.folder);
        options.replyShape = shape;
        m_service = std::make_unique<Service>(options);
    }

    Database& database() { return m_service->database(); }

    Person newPerson(const std::string& name)
    {
        const auto connection = database().write();
        return addPerson(connection, name, "");
    }
    Id newGroup(const std::string& name, Id master)
    {
        const auto connection = database().write();
        return addGroup(connection, name, std::string(1000, 'd'), master);
    }
    void join(Id group, Id person)
    {
        const auto connection = database().write();
        addMember(connection, *findGroup(connection, group), person);
    }

    Reply ask(Handler handler, const std::string& subject, const std::string& query, const Person& person)
    {
        httpd::RequestHead head;
        head.method = "GET";
        Request request(head);
        request.subject = subject;
        request.query = decodeForm(query);
        request.baseUrl = "http://a";
        request.caller.person = person;
        return handler(*m_service, request);
    }
    Reply feed(const std::string& query, const Person& person) { return ask(handleFeeds, std::to_string(m_group), query, person); }

    static ListingSource& sourceOf(Reply& reply)
    {
        return dynamic_cast<ListingSource&>(*std::get<httpd::StreamBody>(reply.body).source);
    }

    /// Reads on. \return whether something came.
    static bool readSome(ListingSource& source, std::string& seen)
    {
        char block[7000];
        const std::int64_t count = source.read(block, sizeof block);
        EXPECT_NE(count, httpd::BodySource::BROKEN);
        EXPECT_LE(source.held(), MOST_HELD);
        if (count <= 0)
            return false;
        seen.append(block, static_cast<std::size_t>(count));
        return true;
    }
    static std::string readAll(Reply reply)
    {
        if (const auto* const text = std::get_if<std::string>(&reply.body))
            return *text;
        std::string seen;
        while (readSome(sourceOf(reply), seen)) {
        }
        return seen;
    }
    static Texts idsIn(const std::string& document, const std::string& path = "//contentId|//@contentId")
    {
        const Xml xml(document);
        EXPECT_TRUE(xml.wellFormed());
        return xml.texts(path);
    }
    static Texts textsOf(const std::vector<Id>& ids)
    {
        Texts texts;
        for (const Id id : ids)
            texts.push_back(std::to_string(id));
        return texts;
    }

    TemporaryFolder m_folder;
    std::unique_ptr<Service> m_service;
    Id m_group = 0;
};

TEST_F(LongReply, IsATextWhenItFitsInOnePiece)
{
    const Person anna = newPerson("Anna");
    m_group = newGroup("Family", anna.id);
    addContents(database(), m_group, anna.id, 30);
    const Reply reply = feed("search_before=latest&search_count=30", anna);
    ASSERT_TRUE(std::holds_alternative<std::string>(reply.body));
    EXPECT_EQ(idsIn(std::get<std::string>(reply.body)).size(), 30U);
    EXPECT_EQ(reply.contentType, "application/xml; charset=utf-8");
}

TEST_F(LongReply, HoldsOnePieceHoweverLongItIs)
{
    const Person anna = newPerson("Anna");
    m_group = newGroup("Family", anna.id);
    addContents(database(), m_group, anna.id, 20'000);
    Reply reply = feed("search_before=latest&search_count=20000&search_base=content_id", anna);
    EXPECT_LE(sourceOf(reply).held(), MOST_HELD);
    const std::string document = readAll(std::move(reply));
    EXPECT_GT(document.size(), std::size_t{50} * PIECE_BYTES);
    EXPECT_EQ(idsIn(document).size(), 20'000U);
}

TEST_F(LongReply, HoldsOnePieceHoweverLongItsTextsAre)
{
    const Person anna = newPerson("Anna");
    m_group = newGroup("Family", anna.id);
    // As long as a text may be, and as long as it can get when it is escaped.
    const Id content = addContents(database(), m_group, anna.id, 300, std::string(4096, '"')).front();
    EXPECT_EQ(idsIn(readAll(feed("search_after=earliest&search_count=300", anna))).size(), 300U);
    addComments(database(), m_group, content, anna.id, 1200, std::string(4000, '&'));
    EXPECT_EQ(idsIn(readAll(ask(handleView, std::to_string(content), "", anna)), "//commentId").size(), 1000U);
}

class ShapeOfLongReply : public LongReply, public ::testing::WithParamInterface<ReplyShape> {};

TEST_P(ShapeOfLongReply, IsMadeOfTheSameBytesAsShortReplies)
{
    startWith(GetParam());
    const Person anna = newPerson("Anna");
    m_group = newGroup("Family", anna.id);
    const auto ids = addContents(database(), m_group, anna.id, 400, "a & b");
    const auto page = [&](int index, int count) {
        const std::string marker = index == 0 ? "earliest" : std::to_string(ids[static_cast<std::size_t>(index) - 1]);
        return readAll(
            feed("search_base=content_id&option_include=creator&search_count=" + std::to_string(count) + "&search_after=" + marker,
                 anna));
    };
    // A page of no more than one record is the frame with that record in it.
    const std::string empty = page(400, 1);
    const std::string frameEnd = "</data></rsp>\n";
    std::string expected = empty.substr(0, empty.find("<data/>")) + "<data>";
    for (int i = 399; i >= 0; --i) {
        // The page also tells of the next one.
        const std::string one = page(i, 0);
        const auto begin = one.find("<content ") == std::string::npos ? one.find("<content>") : one.find("<content ");
        expected.insert(empty.find("<data/>") + 6, one.substr(begin, one.size() - begin - frameEnd.size()));
    }
    expected += frameEnd;
    EXPECT_EQ(page(0, 400), expected);
}

INSTANTIATE_TEST_SUITE_P(Both, ShapeOfLongReply, ::testing::Values(ReplyShape::ELEMENTS, ReplyShape::ATTRIBUTES));

class OrderOfLongReply : public LongReply, public ::testing::WithParamInterface<const char*> {};

TEST_P(OrderOfLongReply, NeitherDoublesNorHidesWhileOthersComeAndGo)
{
    const Person anna = newPerson("Anna");
    m_group = newGroup("Family", anna.id);
    addContents(database(), m_group, anna.id, 2000);
    for (const std::string end : {"search_before=latest", "search_after=earliest"}) {
        const std::string query = end + "&search_count=20000&search_base=" + GetParam();
        const Texts before = idsIn(readAll(feed(query, anna)));
        Reply reply = feed(query, anna);
        std::string document;
        for (bool more = true; more && document.size() < 2 * MOST_HELD;)
            more = readSome(sourceOf(reply), document);
        // One that has been sent goes, one that has not, and new ones come on both sides.
        const Texts gone = {before[0], before[before.size() - 5]};
        {
            const auto connection = database().write();
            for (const std::string& id : gone)
                ASSERT_TRUE(trashContent(connection, std::stoll(id), anna.id));
        }
        addContents(database(), m_group, anna.id, 50);
        while (readSome(sourceOf(reply), document)) {
        }
        Texts seen = idsIn(document);
        // Those that came later may be there or not.
        seen.erase(
            std::remove_if(seen.begin(), seen.end(),
                           [&](const std::string& id) { return std::find(before.begin(), before.end(), id) == before.end(); }),
            seen.end());
        Texts expected = before;
        expected.erase(std::find(expected.begin(), expected.end(), gone[1]));
        EXPECT_EQ(seen, expected) << query;
    }
}

INSTANTIATE_TEST_SUITE_P(All, OrderOfLongReply, ::testing::Values("created_time", "upload_time", "content_id"));

TEST_F(LongReply, TellsOfEachGroupOnceWhileGroupsAreUsed)
{
    const Person anna = newPerson("Anna");
    std::vector<Id> groups;
    groups.reserve(400);
    for (int i = 0; i < 400; ++i)
        groups.push_back(newGroup("group " + std::to_string(i), anna.id));
    for (const std::string sort : {"alphabetical", "created_time", "recent_used"}) {
        const std::string query = "search_count=1000&option_sort=" + sort;
        const Texts before = idsIn(readAll(ask(handleGroupList, "me", query, anna)), "//groupId");
        ASSERT_EQ(before.size(), groups.size());
        Reply reply = ask(handleGroupList, "me", query, anna);
        const std::string& left = before[before.size() - 2];
        {
            const auto connection = database().write();
            for (const Id group : groups)
                noteUse(connection, group, now() + group);
            ASSERT_TRUE(trashGroup(connection, std::stoll(left), anna.id));
        }
        Texts expected = before;
        expected.erase(std::find(expected.begin(), expected.end(), left));
        EXPECT_THAT(idsIn(readAll(std::move(reply)), "//groupId"), ElementsAreArray(expected)) << sort;
        groups.erase(std::find(groups.begin(), groups.end(), std::stoll(left)));
    }
}

TEST_F(LongReply, TellsOfAllMembersOfALargeGroup)
{
    const Person anna = newPerson("Anna");
    const Id small = newGroup("small", anna.id);
    m_group = newGroup("large", anna.id);
    std::vector<Id> members = {anna.id};
    for (int i = 0; i < 4000; ++i) {
        members.push_back(newPerson("person " + std::to_string(i)).id);
        join(m_group, members.back());
    }
    const std::string document = readAll(ask(handleGroupList, "me", "option_include=member,usage", anna));
    EXPECT_GT(document.size(), PIECE_BYTES);
    const std::string path = "//group[groupId=" + std::to_string(m_group) + "]/groupMember/userId";
    EXPECT_THAT(idsIn(document, path), ElementsAreArray(textsOf(members)));
    EXPECT_THAT(idsIn(document, "//groupId"), ElementsAreArray(textsOf({m_group, small})));
}

TEST_F(LongReply, TellsOfAllCommentsOfAContent)
{
    const Person anna = newPerson("Anna");
    m_group = newGroup("Family", anna.id);
    const Id content = addContents(database(), m_group, anna.id, 1).front();
    const auto comments = addComments(database(), m_group, content, anna.id, 3000, "comment ");
    Event event;
    event.member = anna;
    event.title = std::string(500, 't');
    std::vector<Id> events;
    events.reserve(300);
    for (int i = 0; i < 300; ++i)
        events.push_back(addEvent(database().write(), content, event));
    const Texts all = textsOf(comments);
    const std::string list = readAll(ask(handleCommentList, std::to_string(content), "search_index=5&search_count=2000", anna));
    EXPECT_THAT(idsIn(list, "/rsp/comment/commentId"), ElementsAreArray(all.begin() + 5, all.begin() + 5 + 2001));
    EXPECT_EQ(idsIn(list, "/rsp/comment[last()]/following-sibling::data").size(), 1U);
    const std::string view = readAll(ask(handleView, std::to_string(content), "", anna));
    EXPECT_THAT(idsIn(view, "//group/content/comment/commentId"), ElementsAreArray(all.end() - 1000, all.end()));
    EXPECT_THAT(idsIn(view, "//group/content/eventLink/contentLink/ID"), ElementsAreArray(textsOf(events)));
    EXPECT_THAT(idsIn(view, "//eventLink").size(), 1U);
    EXPECT_THAT(idsIn(view, "//group/content/commentCount"), ElementsAreArray({"3000"}));
}

TEST_F(LongReply, LetsTheLogBeEmptiedBetweenTwoPieces)
{
    SKIP_ON_POSTGRESQL("the write-ahead log is SQLite's");
    const Person anna = newPerson("Anna");
    m_group = newGroup("Family", anna.id);
    addContents(database(), m_group, anna.id, 1000);
    Reply reply = feed("search_before=latest&search_count=1000", anna);
    std::string document;
    ASSERT_TRUE(readSome(sourceOf(reply), document));
    newGroup("another", anna.id);
    {
        const auto connection = database().write();
        const TextRows checkpoint = connection->execute("PRAGMA wal_checkpoint(TRUNCATE)");
        EXPECT_EQ(checkpoint.at(0).at(0), "0") << "a reader keeps the log";
        EXPECT_EQ(checkpoint.at(0).at(1), "0") << "something is left in it";
    }
    while (readSome(sourceOf(reply), document)) {
    }
    EXPECT_EQ(idsIn(document).size(), 1000U);
}

/// \return what the source says after its last byte.
std::int64_t endOf(ListingSource& source)
{
    char block[4096];
    std::int64_t count = 1;
    while (count > 0)
        count = source.read(block, sizeof block);
    return count;
}

TEST_F(LongReply, BreaksOffWhenThePersonLeavesTheGroup)
{
    const Person anna = newPerson("Anna");
    const Person ben = newPerson("Ben");
    m_group = newGroup("Family", anna.id);
    join(m_group, ben.id);
    const Id content = addContents(database(), m_group, anna.id, 1000).front();
    addComments(database(), m_group, content, anna.id, 1000, std::string(300, 'c'));
    const std::string subject = std::to_string(content);
    std::vector<Reply> replies;
    replies.push_back(feed("search_before=latest&search_count=1000", ben));
    replies.push_back(ask(handleCommentList, subject, "", ben));
    replies.push_back(ask(handleView, subject, "", ben));
    Reply annas = feed("search_before=latest&search_count=1000", anna);
    {
        const auto connection = database().write();
        ASSERT_TRUE(removeMember(connection, m_group, ben.id));
    }
    for (Reply& reply : replies)
        EXPECT_EQ(endOf(sourceOf(reply)), httpd::BodySource::BROKEN);
    EXPECT_EQ(endOf(sourceOf(annas)), httpd::BodySource::END);
}

TEST_F(LongReply, BreaksOffWhenTheDatabaseFails)
{
    const Person anna = newPerson("Anna");
    m_group = newGroup("Family", anna.id);
    addContents(database(), m_group, anna.id, 1000);
    Reply reply = feed("search_before=latest&search_count=1000", anna);
    {
        const auto connection = database().write();
        connection->execute(kinloomd_test::onPostgresql() ? "DROP TABLE content CASCADE" : "DROP TABLE content");
    }
    EXPECT_EQ(endOf(sourceOf(reply)), httpd::BodySource::BROKEN);
    EXPECT_EQ(endOf(sourceOf(reply)), httpd::BodySource::BROKEN) << "it never ends well after that";
}

} // namespace
