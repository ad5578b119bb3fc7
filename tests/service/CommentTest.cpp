// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"
#include "TestPictures.h"

#include <atomic>
#include <thread>

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

std::string authorOf(const HttpReply& reply)
{
    return reply.status == 200 ? Xml(reply.body).text("/rsp/comment/commentCreator/userName") : std::to_string(reply.status);
}

/// The bytes of a signed request.
std::string signedRequest(const DeviceCredentials& device)
{
    return requestBytes("GET", ServiceClient::path("me/group.list"), {}, {{"Authorization", authorizationOf(device)}});
}

TEST_F(Comment, IsCreditedToTheDeviceThatSignedLastOnItsConnection)
{
    addMember(m_group, "Ben");
    Wire annas(port());
    Wire bens(port());
    const auto say = [&](Wire& wire, const std::string& bytes) {
        wire.send(bytes);
        return wire.receive();
    };
    say(annas, signedRequest(m_anna));
    say(bens, signedRequest(m_ben));
    EXPECT_EQ(authorOf(say(annas, commentBytes(m_photo, "one"))), "Anna");
    EXPECT_EQ(authorOf(say(bens, commentBytes(m_photo, "two"))), "Ben");
    EXPECT_EQ(authorOf(say(annas, commentBytes(m_photo, "three"))), "Anna");
    say(annas, signedRequest(m_ben));
    EXPECT_EQ(authorOf(say(annas, commentBytes(m_photo, "four"))), "Ben") << "two devices behind one connection";
    EXPECT_THAT(texts(), ElementsAre("one", "two", "three", "four"));
}

TEST_F(Comment, IsNotCreditedToADeviceThatSignsInAgainAndAgain)
{
    addMember(m_group, "Ben");
    std::atomic<bool> done{false};
    std::thread other([&] {
        while (!done)
            ben().signIn();
    });
    int wrong = 0;
    for (int i = 0; i < 40; ++i)
        wrong += authorOf(anna().comment(m_photo, std::to_string(i))) == "Anna" ? 0 : 1;
    done = true;
    other.join();
    EXPECT_EQ(wrong, 0);
}

TEST_F(Comment, WithoutASignatureBesideItIsCreditedToTheOnlyDeviceOfItsAddress)
{
    addMember(m_group, "Ben");
    EXPECT_EQ(authorOf(lonelyComment(port(), m_photo, "hers")), "Anna");
    // Anything signed counts, whatever becomes of it; what is signed wrong does not.
    DeviceCredentials mixed = m_ben;
    mixed.token = m_carla.token;
    EXPECT_EQ(ServiceClient(port(), mixed).get(ServiceClient::path("me/group.list")).status, 401);
    EXPECT_EQ(authorOf(lonelyComment(port(), m_photo, "still hers")), "Anna");
    EXPECT_EQ(ben().get(ServiceClient::path("999999/view")).status, 404);
    const HttpReply refused = lonelyComment(port(), m_photo, "whose");
    EXPECT_EQ(refused.status, 401);
    EXPECT_EQ(field(refused, "code"), "207");
    EXPECT_THAT(texts(), ElementsAre("hers", "still hers"));
}

TEST_F(Comment, BehindAProxyIsCreditedByTheAddressAndPortOfItsClient)
{
    addMember(m_group, "Ben");
    m_settings.arguments = {"--trusted-proxy", "127.0.0.1"};
    restart();
    // The proxy's one connection carries what all its clients say.
    Wire proxy(port());
    const auto say = [&](const std::string& client, std::string bytes) {
        bytes.insert(bytes.find("\r\n") + 2, "Forwarded: for=\"" + client + "\"\r\n");
        proxy.send(bytes);
        return proxy.receive();
    };
    EXPECT_EQ(say("203.0.113.7:5000", signedRequest(m_anna)).status, 200);
    EXPECT_EQ(say("203.0.113.7:5001", signedRequest(m_ben)).status, 200);
    EXPECT_EQ(authorOf(say("203.0.113.7:5000", commentBytes(m_photo, "one"))), "Anna");
    EXPECT_EQ(authorOf(say("203.0.113.7:5001", commentBytes(m_photo, "two"))), "Ben");
    EXPECT_EQ(say("203.0.113.7:5002", commentBytes(m_photo, "whose")).status, 401);
    EXPECT_EQ(say("203.0.113.8", signedRequest(m_anna)).status, 200);
    EXPECT_EQ(say("203.0.113.8", commentBytes(m_photo, "whose")).status, 401) << "strangers may share what has no port";
    EXPECT_EQ(authorOf(say("203.0.113.8:5000", commentBytes(m_photo, "three"))), "Anna") << "the only one of her address";
}

TEST_F(Comment, IsCreditedToNobodyWhereNobodyHasSigned)
{
    m_process->kill(); // one who is killed forgets who has signed
    m_process.reset();
    runSql(m_data, "DELETE FROM signer"); // and what several tell one another is in their database
    start();
    EXPECT_EQ(lonelyComment(port(), m_photo, "text").status, 401);
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(Comment, IsCreditedToNobodyWhoseDeviceWasRemoved)
{
    Wire wire(port());
    wire.send(signedRequest(m_anna));
    EXPECT_EQ(wire.receive().status, 200);
    ASSERT_EQ(command({"device", "remove", m_anna.duid}).exitCode, 0);
    addDevice(m_data, "Anna");
    wire.send(commentBytes(m_photo, "text"));
    EXPECT_EQ(wire.receive().status, 401);
    EXPECT_EQ(lonelyComment(port(), m_photo, "text").status, 401);
}

TEST_F(Comment, IsStillCreditedAfterTheServiceWasRestarted)
{
    anna().signIn();
    restart();
    EXPECT_EQ(authorOf(lonelyComment(port(), m_photo, "text")), "Anna");
    ben().signIn();
    restart();
    EXPECT_EQ(lonelyComment(port(), m_photo, "text").status, 401) << "two have signed";
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
