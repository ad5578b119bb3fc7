// SPDX-License-Identifier: MIT
// Several services that share their records: each is as good as the other, and none hangs when the records are away.
#include "common/FolderLock.h"

#include "HostilePictures.h"
#include "KeptMedia.h"
#include "ServiceFixture.h"
#include "TestPictures.h"

#include <future>
#include <thread>

namespace {

using namespace kinloomd_test;
using ::testing::HasSubstr;

class ManyServices : public ServiceFixture {
protected:
    void SetUp() override
    {
        if (!onPostgresql())
            GTEST_SKIP() << "one service serves a folder with its database";
        start();
        m_other = std::make_unique<KinloomdProcess>(m_data, m_settings);
    }

    HttpReply health()
    {
        Wire wire(port());
        wire.send("GET /healthz HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
        return wire.receive();
    }

    /// Of how many contents a service has made the thumbnails.
    static unsigned long made(unsigned short where) { return metric(where, "kinloomd_thumbnails_made_total"); }
    /// Asks for a thumbnail as a client does that comes again when it is told to.
    static HttpReply thumbnailOf(unsigned short where, const HttpReply& upload)
    {
        HttpReply reply;
        do
            reply = request(where, "GET", targetOf(field(upload, "contentThumbnail_540X405")));
        while (reply.status == 503);
        return reply;
    }

    std::unique_ptr<KinloomdProcess> m_other;
};

TEST_F(ManyServices, ShowWhatCameToAnyOfThem)
{
    const std::string group = anna().createGroup("Family");
    addMember(group, "Ben");
    ServiceClient elsewhere(m_other->port(), m_ben);
    EXPECT_EQ(elsewhere.groupNames(""), std::vector<std::string>{"Family"});
    const std::string photo = elsewhere.uploadPhoto(group, smallPicture());
    EXPECT_EQ(anna().get(ServiceClient::path(photo + "/view")).status, 200);
    EXPECT_NE(anna().commentId(photo, "lovely"), "");
    EXPECT_THAT(elsewhere.get(ServiceClient::path(photo + "/view")).body, HasSubstr("lovely"));
    m_other.reset();
    expectConsistent();
}

TEST_F(ManyServices, CountWhatComesToAllOfThemAtOnce)
{
    constexpr unsigned PHOTOS = 8;
    const std::string group = anna().createGroup("Family");
    std::vector<std::future<void>> senders;
    for (const unsigned short where : {port(), m_other->port()}) {
        senders.push_back(std::async(std::launch::async, [&, where] {
            ServiceClient client(where, m_anna);
            for (unsigned i = 0; i < PHOTOS; ++i) {
                TestPicture picture = smallPicture();
                picture.bytes += std::to_string(where) + " " + std::to_string(i);
                EXPECT_EQ(client.upload(group, picture).status, 200);
            }
        }));
    }
    for (std::future<void>& sender : senders)
        sender.get();
    m_other.reset();
    const CommandResult result = command({"check"});
    EXPECT_EQ(result.exitCode, 0) << result.out;
    EXPECT_THAT(result.out, HasSubstr("contents " + std::to_string(2 * PHOTOS)));
}

TEST_F(ManyServices, KeepOnceWhatIsSentToAPlaceTwice)
{
    constexpr int ROUNDS = 20;
    const std::string group = anna().createGroup("Family");
    ServiceClient elsewhere(m_other->port(), m_anna);
    for (int round = 0; round < ROUNDS; ++round) {
        const std::string address = field(anna().reserve(group, "type=photo"), "uploadUrl");
        TestPicture picture = smallPicture();
        picture.bytes += "the same " + std::to_string(round);
        auto other = std::async(std::launch::async, [&] { return elsewhere.sendFile(address, picture); });
        const HttpReply here = anna().sendFile(address, picture);
        const HttpReply there = other.get();
        ASSERT_EQ(here.status, 200) << here.body;
        ASSERT_EQ(there.status, 200) << there.body;
        EXPECT_EQ(field(here, "contentId"), field(there, "contentId"));
        EXPECT_TRUE(request(port(), "GET", targetOf(field(here, "contentUrl"))).body == picture.bytes);
    }
    m_other.reset();
    m_process.reset();
    EXPECT_EQ(countOriginals(m_data), static_cast<std::size_t>(ROUNDS)) << "with nothing to collect";
}

TEST_F(ManyServices, DoNotWaitForAFolderThatAnotherProgramHasForItself)
{
    m_other.reset();
    m_process.reset();
    common::FolderLock alone;
    ASSERT_TRUE(common::FolderLock::tryExclusive(m_data + "/serve.lock", alone));
    const CommandResult result = runKinloomd({"serve", "--listen", "127.0.0.1:0", "--data", m_data});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr(m_data + " for itself"));
}

TEST_F(ManyServices, LetOneOfTwoUploadsFillAPlace)
{
    constexpr int ROUNDS = 20;
    const std::string group = anna().createGroup("Family");
    ServiceClient elsewhere(m_other->port(), m_anna);
    for (int round = 0; round < ROUNDS; ++round) {
        const std::string address = field(anna().reserve(group, "type=photo"), "uploadUrl");
        TestPicture pictures[2] = {smallPicture(), smallPicture()};
        pictures[0].bytes += "here " + std::to_string(round);
        pictures[1].bytes += "and elsewhere " + std::to_string(round);
        auto other = std::async(std::launch::async, [&] { return elsewhere.sendFile(address, pictures[1]); });
        const HttpReply here = anna().sendFile(address, pictures[0]);
        const HttpReply replies[2] = {here, other.get()};
        const int winner = replies[0].status == 200 ? 0 : 1;
        ASSERT_EQ(replies[winner].status, 200) << replies[winner].body;
        EXPECT_EQ(replies[1 - winner].status, 409);
        EXPECT_THAT(replies[1 - winner].body, HasSubstr("sent already"));
        const HttpReply original = request(port(), "GET", targetOf(field(replies[winner], "contentUrl")));
        EXPECT_TRUE(original.body == pictures[winner].bytes);
        // By its digest the record knows the bytes again.
        EXPECT_EQ(field(anna().upload(group, pictures[winner]), "contentId"), field(replies[winner], "contentId"));
    }
    m_other.reset();
    m_process.reset();
    collectAllUnknown(m_data);
    EXPECT_EQ(countOriginals(m_data), static_cast<std::size_t>(ROUNDS));
    expectConsistent();
}

TEST_F(ManyServices, MakeThumbnailsOnceWhoeverAsksForThem)
{
    constexpr unsigned PHOTOS = 12;
    const std::string group = anna().createGroup("Family");
    ServiceClient elsewhere(m_other->port(), m_anna);
    for (unsigned i = 0; i < PHOTOS; ++i) {
        TestPicture picture = makePicture(640, 480);
        picture.bytes += std::to_string(i);
        const bool here = i % 2 == 0;
        const HttpReply upload = here ? anna().upload(group, picture) : elsewhere.upload(group, picture);
        ASSERT_EQ(upload.status, 200);
        EXPECT_EQ(thumbnailOf(here ? m_other->port() : port(), upload).status, 200);
    }
    EXPECT_EQ(made(port()), PHOTOS / 2) << "each makes those of its own uploads";
    EXPECT_EQ(made(m_other->port()), PHOTOS / 2);
    m_other.reset();
    expectConsistent();
}

TEST_F(ManyServices, TakeOverTheThumbnailsOfOneThatWasKilled)
{
    const std::string group = anna().createGroup("Family");
    ServiceClient elsewhere(m_other->port(), m_anna);
    // Something slow first, for each of its two processes, so that the other photos wait when the service is killed.
    TestPicture slow = narrowPicture();
    for (int i = 0; i < 2; ++i) {
        slow.bytes += "x";
        ASSERT_EQ(elsewhere.upload(group, slow).status, 200);
    }
    std::vector<HttpReply> uploads;
    for (int i = 0; i < 3; ++i) {
        TestPicture picture = makePicture(640, 480);
        picture.bytes += std::to_string(i);
        uploads.push_back(elsewhere.upload(group, picture));
        ASSERT_EQ(uploads.back().status, 200);
    }
    m_other->kill();
    m_other.reset();
    for (const HttpReply& upload : uploads)
        EXPECT_EQ(thumbnailOf(port(), upload).status, 200);
    EXPECT_EQ(made(port()), uploads.size());
}

TEST_F(ManyServices, CreditCommentsToWhoHasSignedToAnyOfThem)
{
    const std::string group = anna().createGroup("Family");
    const std::string photo = anna().uploadPhoto(group, smallPicture());
    addMember(group, "Ben");
    const HttpReply hers = lonelyComment(m_other->port(), photo, "hers");
    ASSERT_EQ(hers.status, 200) << hers.body;
    EXPECT_EQ(Xml(hers.body).text("/rsp/comment/commentCreator/userName"), "Anna");
    // Ben signs to the other one, from the same address: whose a comment is then, only its connection tells.
    Wire wire(m_other->port());
    wire.send(requestBytes("GET", ServiceClient::path("me/group.list"), {}, {{"Authorization", authorizationOf(m_ben)}}));
    EXPECT_EQ(wire.receive().status, 200);
    EXPECT_EQ(lonelyComment(port(), photo, "whose").status, 401);
    EXPECT_EQ(lonelyComment(m_other->port(), photo, "whose").status, 401);
    wire.send(commentBytes(photo, "his"));
    EXPECT_EQ(Xml(wire.receive().body).text("/rsp/comment/commentCreator/userName"), "Ben");
}

TEST_F(ManyServices, CreditCommentsThatAProxySendsToEachInTurn)
{
    const std::string group = anna().createGroup("Family");
    const std::string photo = anna().uploadPhoto(group, smallPicture());
    addMember(group, "Ben");
    m_settings.arguments = {"--trusted-proxy", "127.0.0.1"};
    restart();
    m_other = std::make_unique<KinloomdProcess>(m_data, m_settings);
    const auto say = [](unsigned short where, const std::string& client, std::string bytes) {
        bytes.insert(bytes.find("\r\n") + 2, "Forwarded: for=\"" + client + "\"\r\n");
        Wire wire(where);
        wire.send(bytes);
        return wire.receive();
    };
    const auto signedBy = [](const DeviceCredentials& device) {
        return requestBytes("GET", ServiceClient::path("me/group.list"), {}, {{"Authorization", authorizationOf(device)}});
    };
    EXPECT_EQ(say(port(), "203.0.113.7:5000", signedBy(m_anna)).status, 200);
    EXPECT_EQ(say(m_other->port(), "203.0.113.7:5001", signedBy(m_ben)).status, 200);
    for (const unsigned short where : {port(), m_other->port()}) {
        const auto author = [&](const std::string& client) {
            return Xml(say(where, client, commentBytes(photo, "text")).body).text("/rsp/comment/commentCreator/userName");
        };
        EXPECT_EQ(author("203.0.113.7:5000"), "Anna");
        EXPECT_EQ(author("203.0.113.7:5001"), "Ben");
        EXPECT_EQ(say(where, "203.0.113.7:5002", commentBytes(photo, "whose")).status, 401);
    }
}

TEST_F(ManyServices, SayAtOnceThatTheirRecordsAreAwayAndGoOnWhenTheyAreBack)
{
    anna().createGroup("Family");
    setReachable(m_data, false);
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        const HttpReply reply = anna().get(ServiceClient::path("me/group.list"));
        EXPECT_EQ(reply.status, 503);
        EXPECT_EQ(reply.header("retry-after"), "2");
    }
    EXPECT_EQ(health().status, 503);
    EXPECT_EQ(health().body, "the database does not answer\n");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    setReachable(m_data, true);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (health().status != 200 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(50)); // until the service tries again
    EXPECT_EQ(anna().groupNames(""), std::vector<std::string>{"Family"});
}

} // namespace
