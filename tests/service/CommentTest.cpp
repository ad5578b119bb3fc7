// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"
#include "TestPictures.h"

namespace {

using namespace kinloomd_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Comment : public ServiceFixture {
protected:
    void SetUp() override
    {
        start();
        m_group = anna().createGroup("Family");
        m_photo = anna().uploadPhoto(m_group, smallPicture());
    }

    std::vector<std::string> texts(const std::string& query = "search_index=0&")
    {
        return Xml(anna().get(ServiceClient::path(m_photo + "/comment.list?" + query)).body).texts("/rsp/comment/commentText");
    }

    std::string m_group;
    std::string m_photo;
};

TEST_F(Comment, IsCreditedToTheDeviceThatSignedInFromTheSameAddressLast)
{
    addMember(m_group, "Ben");
    EXPECT_EQ(anna().comment(m_photo, "nobody").status, 401);
    anna().signIn();
    EXPECT_EQ(Xml(anna().comment(m_photo, "one").body).text("/rsp/comment/commentCreator/userName"), "Anna");
    ben().signIn();
    EXPECT_EQ(Xml(anna().comment(m_photo, "two").body).text("/rsp/comment/commentCreator/userName"), "Ben");
    anna().signIn();
    EXPECT_EQ(Xml(anna().comment(m_photo, "three").body).text("/rsp/comment/commentCreator/userName"), "Anna");
    EXPECT_THAT(texts(), ElementsAre("one", "two", "three"));
}

TEST_F(Comment, IsStillCreditedAfterTheServiceWasRestarted)
{
    anna().signIn();
    restart();
    EXPECT_EQ(anna().comment(m_photo, "text").status, 200);
}

TEST_F(Comment, NeedsItsHeaderOrASignature)
{
    anna().signIn();
    const std::string path = ServiceClient::path(m_photo + "/comment");
    EXPECT_EQ(request(port(), "POST", path, "commentText=x").status, 401);
    EXPECT_EQ(anna().post(path, "commentText=signed").status, 200);
    EXPECT_EQ(
        request(port(), "POST", path, "commentText=x", {{"Authorization", authorizationOf(m_anna, true)}, {"appToken", ""}}).status,
        401);
    EXPECT_THAT(texts(), ElementsAre("signed"));
}

TEST_F(Comment, ComesBackAsItWas)
{
    anna().signIn();
    const std::string text = "<b>Grüße</b> & \"quotes\"\nsecond line \xF0\x9F\x98\x80 ]]>";
    const HttpReply written = anna().comment(m_photo, text);
    const Xml xml(written.body);
    EXPECT_EQ(xml.text("/rsp/comment/commentText"), text);
    EXPECT_EQ(xml.text("/rsp/comment/commentSize"), std::to_string(text.size()));
    EXPECT_EQ(xml.count("/rsp/comment/following-sibling::data"), 1U) << "readers look at comments when they meet data";
    const HttpReply viewed = anna().get(ServiceClient::path(field(written, "commentId") + "/view"));
    EXPECT_EQ(viewed.body, written.body);
    EXPECT_THAT(texts(), ElementsAre(text));
}

TEST_F(Comment, NeedsATextOfSensibleLength)
{
    anna().signIn();
    EXPECT_EQ(anna().comment(m_photo, "").status, 400);
    EXPECT_EQ(anna().comment(m_photo, std::string(4097, 'x')).status, 400);
    EXPECT_EQ(anna().comment(m_photo, std::string(4096, 'x')).status, 200);
}

TEST_F(Comment, IsListedInPagesOldestFirst)
{
    anna().signIn();
    for (const char* text : {"1", "2", "3", "4", "5"})
        anna().comment(m_photo, text);
    EXPECT_THAT(texts("search_index=0&search_count=2"), ElementsAre("1", "2", "3"));
    EXPECT_THAT(texts("search_index=3&search_count=2"), ElementsAre("4", "5"));
    EXPECT_THAT(texts("search_index=9&search_count=2"), IsEmpty());
    EXPECT_EQ(texts("search_index=0&").size(), 5U);
    EXPECT_EQ(anna().get(ServiceClient::path(m_photo + "/comment.list?search_index=x")).status, 400);
}

TEST_F(Comment, IsCountedUntilItIsDeleted)
{
    const std::string first = anna().commentId(m_photo, "1");
    anna().commentId(m_photo, "2");
    const auto counts = [&] {
        const Xml feed(anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).body);
        const Xml group(anna().get(ServiceClient::path("me/group.list?option_include=usage")).body);
        return feed.text("//content/commentCount") + "," + group.text("//group/commentCount");
    };
    EXPECT_EQ(counts(), "2,2");
    EXPECT_EQ(anna().post(ServiceClient::path(first + "/delete"), "").status, 200);
    EXPECT_EQ(counts(), "1,1");
    EXPECT_EQ(anna().post(ServiceClient::path(first + "/delete"), "").status, 404);
    EXPECT_EQ(anna().get(ServiceClient::path(first + "/view")).status, 404);
    EXPECT_THAT(texts(), ElementsAre("2"));
    expectConsistent();
}

TEST_F(Comment, MakesItsGroupTheOneUsedLast)
{
    anna().createGroup("Later");
    EXPECT_THAT(anna().groupNames("option_sort=recent_used"), ElementsAre("Later", "Family"));
    anna().commentId(m_photo, "text");
    EXPECT_THAT(anna().groupNames("option_sort=recent_used"), ElementsAre("Family", "Later"));
}

TEST_F(Comment, ComesWithItsContent)
{
    anna().signIn();
    for (int i = 0; i < 3; ++i)
        anna().comment(m_photo, std::to_string(i));
    EXPECT_THAT(Xml(anna().get(ServiceClient::path(m_photo + "/view")).body).texts("//comment/commentText"),
                ElementsAre("0", "1", "2"));
}

} // namespace
