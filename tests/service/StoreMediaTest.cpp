// SPDX-License-Identifier: MIT
// A service whose media are in a real store of objects, and what becomes of them when store or service go away.
#include "KeptMedia.h"
#include "ServiceFixture.h"
#include "TestPictures.h"
#include "support/TcpFront.h"
#include "support/TestStore.h"

#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

namespace {

using namespace kinloomd_test;
using testing::HasSubstr;

class StoreMedia : public ServiceFixture {
protected:
    StoreMedia() { m_engine.lendKeys(); }
    void SetUp() override
    {
        serve();
        m_group = anna().createGroup("Family");
    }

    void serve(std::vector<std::string> more = {})
    {
        std::vector<std::string> arguments = {
            "--media", "s3://" + m_bucket + "/family", "--s3-endpoint", m_front.url(), "--s3-region", m_engine.region};
        arguments.insert(arguments.end(), more.begin(), more.end());
        startWith(std::move(arguments));
    }
    void serveAgain(std::vector<std::string> more = {})
    {
        m_process->stop();
        serve(std::move(more));
    }

    std::size_t contents()
    {
        return Xml(anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).body).count("//contentId");
    }
    std::size_t filesIn(const std::string& folder)
    {
        std::size_t files = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_data + "/" + folder))
            files += entry.is_regular_file() ? 1 : 0;
        return files;
    }
    /// A photo that goes to the store in parts.
    static TestPicture largePicture()
    {
        TestPicture picture = makePicture(640, 480);
        picture.bytes.resize(12'000'000, 'x');
        return picture;
    }
    unsigned short storePort() const
    {
        return static_cast<unsigned short>(std::stoi(m_engine.endpoint.substr(m_engine.endpoint.rfind(':') + 1)));
    }
    /// What the service says of itself.
    std::string health()
    {
        Wire wire(port());
        wire.send("GET /healthz HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
        return wire.receive().body;
    }
    HttpReply originalOf(const HttpReply& upload) { return request(port(), "GET", targetOf(field(upload, "contentUrl"))); }
    test::TestStore m_engine = test::TestStore::ofEnvironment();
    std::string m_bucket = test::TestStore::newBucket();
    test::TcpFront m_front{storePort()};
    std::string m_group;
};

TEST_F(StoreMedia, LiesInTheStoreAndNotInTheFolder)
{
    for (const TestPicture& picture : {makePicture(640, 480), largePicture()}) {
        const HttpReply upload = anna().upload(m_group, picture);
        ASSERT_EQ(upload.status, 200) << upload.body;
        EXPECT_TRUE(originalOf(upload).body == picture.bytes);
        EXPECT_EQ(request(port(), "GET", targetOf(field(upload, "contentThumbnail_540X405"))).status, 200);
        EXPECT_EQ(field(upload, "width"), "640");
    }
    EXPECT_EQ(filesIn("media") + filesIn("thumbnails") + filesIn("people") + filesIn("tmp"), 0U);
    expectConsistent();
}

TEST_F(StoreMedia, IsServedByTheNextServiceToo)
{
    const TestPicture picture = makePicture(640, 480);
    const HttpReply upload = anna().upload(m_group, picture);
    serveAgain();
    EXPECT_TRUE(originalOf(upload).body == picture.bytes);
}

TEST_F(StoreMedia, IsSentToTheStoreOnlyWhereTheServiceIsTold)
{
    const TestPicture picture = makePicture(640, 480);
    const HttpReply upload = anna().upload(m_group, picture);
    EXPECT_EQ(originalOf(upload).status, 200);
    serveAgain({"--media-redirect", "--s3-public-endpoint", m_engine.endpoint});
    for (const char* name : {"contentUrl", "contentThumbnail_540X405"}) {
        const HttpReply reply = request(port(), "GET", targetOf(field(upload, name)));
        ASSERT_EQ(reply.status, 302);
        EXPECT_THAT(reply.header("location"), HasSubstr(m_engine.endpoint + "/" + m_bucket + "/family/"));
        EXPECT_THAT(reply.header("location"), HasSubstr("X-Amz-Expires=60"));
        // As a device asks there: without anything but the address.
        Wire wire(storePort());
        wire.send("GET " + targetOf(reply.header("location")) + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(storePort()) +
                  "\r\n\r\n");
        const HttpReply medium = wire.receive();
        EXPECT_EQ(medium.status, 200) << medium.body;
        EXPECT_EQ(medium.header("content-type"), "image/jpeg");
    }
}

TEST_F(StoreMedia, StaysWhereItsRecordsSay)
{
    anna().uploadPhoto(m_group, makePicture(640, 480));
    m_process->stop();
    const CommandResult elsewhere = runKinloomd({"serve", "--data", m_data, "--listen", "127.0.0.1:0"});
    EXPECT_EQ(elsewhere.exitCode, 1);
    EXPECT_THAT(elsewhere.err, HasSubstr("name it with --media"));
    const CommandResult backup = command({"backup", "--to", m_folder / "backup"});
    EXPECT_EQ(backup.exitCode, 1);
    EXPECT_THAT(backup.err, HasSubstr("copy the bucket by its own means"));
}

TEST_F(StoreMedia, ComesFromCommandsAndGoesForGoodWithTheTrash)
{
    const HttpReply upload = anna().upload(m_group, makePicture(640, 480));
    EXPECT_EQ(anna().post(ServiceClient::path(field(upload, "contentId") + "/delete"), "").status, 200);
    const std::string picture = m_folder / "picture.jpg";
    std::ofstream(picture, std::ios::binary) << makePicture(320, 240).bytes;
    const CommandResult added = command({"content", "add", "--group", "Family", "--person", "Anna", picture, "--copies", "2"});
    EXPECT_EQ(added.exitCode, 0) << added.err;
    const CommandResult image = command({"person", "image", "Anna", picture});
    EXPECT_EQ(image.exitCode, 0) << image.err;
    const CommandResult emptied = command({"trash", "empty", "--yes"});
    EXPECT_EQ(emptied.exitCode, 0) << emptied.err;
    EXPECT_EQ(contents(), 2U);
    expectConsistent();
}

TEST_F(StoreMedia, IsRefusedWhileTheStoreIsAwayAndTakenAfterwards)
{
    const TestPicture picture = makePicture(640, 480);
    m_front.setAway(true);
    const HttpReply refused = anna().upload(m_group, picture);
    EXPECT_EQ(refused.status, 503);
    EXPECT_NE(refused.header("retry-after"), "");
    EXPECT_EQ(contents(), 0U) << "and the rest of the service is there";
    m_front.setAway(false);
    EXPECT_EQ(anna().upload(m_group, picture).status, 200);
    expectConsistent();
}

TEST_F(StoreMedia, IsRefusedWhenTheStoreGoesAwayInItsMidst)
{
    const TestPicture picture = largePicture();
    m_front.goAwayAfterSent(3'000'000);
    const HttpReply refused = anna().upload(m_group, picture);
    EXPECT_EQ(refused.status, 503);
    EXPECT_EQ(contents(), 0U);
    EXPECT_EQ(filesIn("tmp"), 0U);
    m_front.setAway(false);
    const HttpReply upload = anna().upload(m_group, picture);
    EXPECT_EQ(upload.status, 200);
    EXPECT_TRUE(originalOf(upload).body == picture.bytes);
    expectConsistent();
}

TEST_F(StoreMedia, IsNotToBeHadWhileTheStoreIsAway)
{
    const TestPicture picture = makePicture(640, 480);
    const HttpReply upload = anna().upload(m_group, picture);
    m_front.setAway(true);
    const HttpReply away = originalOf(upload);
    EXPECT_EQ(away.status, 503);
    EXPECT_NE(away.header("retry-after"), "");
    EXPECT_EQ(contents(), 1U);
    m_front.setAway(false);
    EXPECT_TRUE(originalOf(upload).body == picture.bytes);
}

TEST_F(StoreMedia, OfAStoreThatHangsKeepsOnlySomeWaiting)
{
    constexpr unsigned THREADS = 64; // that may wait
    const HttpReply upload = anna().upload(m_group, makePicture(640, 480));
    ASSERT_EQ(request(port(), "GET", targetOf(field(upload, "contentThumbnail_116X87"))).status, 200);
    EXPECT_EQ(health(), "well\n");
    m_front.holdReplies();
    std::vector<std::future<HttpReply>> waiting;
    waiting.reserve(THREADS);
    for (unsigned i = 0; i < THREADS; ++i)
        waiting.push_back(std::async(std::launch::async, [&] { return originalOf(upload); }));
    EXPECT_THAT(health(), HasSubstr("the store of media does not answer"));
    // From the moment on at which all of them wait, and the store has been silent for a while, others are not kept.
    const auto isRefusedAtOnce = [&] {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(originalOf(upload).status, 503);
        return std::chrono::steady_clock::now() - begin < std::chrono::seconds(5);
    };
    EXPECT_TRUE(test::comesTrue(isRefusedAtOnce));
    EXPECT_EQ(contents(), 1U);
    m_front.setAway(true);
    for (std::future<HttpReply>& each : waiting) {
        const HttpReply reply = each.get();
        EXPECT_EQ(reply.status, 503);
        EXPECT_NE(reply.header("retry-after"), "");
    }
    m_front.holdReplies(false);
    m_front.setAway(false);
    EXPECT_TRUE(originalOf(upload).body == makePicture(640, 480).bytes) << "everything goes on by itself";
    EXPECT_EQ(health(), "well\n");
}

TEST_F(StoreMedia, IsCutOffWhenTheStoreGoesAwayBehindTheHead)
{
    const HttpReply upload = anna().upload(m_group, largePicture());
    ASSERT_EQ(request(port(), "GET", targetOf(field(upload, "contentThumbnail_116X87"))).status, 200);
    m_front.goAwayAfterReceived(4'000'000);
    const HttpReply cut = originalOf(upload);
    EXPECT_EQ(cut.status, 200);
    EXPECT_FALSE(cut.whole);
}

TEST_F(StoreMedia, OfAServiceThatBeginsWithoutItsStoreComesWithTheStore)
{
    const TestPicture picture = makePicture(640, 480);
    const HttpReply upload = anna().upload(m_group, picture);
    m_front.setAway(true);
    serveAgain();
    EXPECT_EQ(contents(), 1U);
    m_front.setAway(false);
    EXPECT_TRUE(originalOf(upload).body == picture.bytes);
}

TEST_F(StoreMedia, WhoseRecordNeverCameIsFoundAndCollected)
{
    const TestPicture kept = makePicture(640, 480);
    const HttpReply acknowledged = anna().upload(m_group, kept);
    ASSERT_EQ(request(port(), "GET", targetOf(field(acknowledged, "contentThumbnail_116X87"))).status, 200);
    const std::string slot = field(anna().reserve(m_group, "type=photo"), "uploadUrl");
    // The store has the object, and the service never hears of it.
    m_front.holdReplies();
    std::thread uploader([&] {
        try {
            anna().sendFile(slot, makePicture(320, 240));
        } catch (const std::runtime_error&) {
            // The service is killed meanwhile.
        }
    });
    EXPECT_TRUE(m_front.waitForHeld());
    m_process->kill();
    uploader.join();
    m_process.reset();
    startWith({"--media", "s3://" + m_bucket + "/family", "--s3-endpoint", m_engine.endpoint});
    EXPECT_TRUE(originalOf(acknowledged).body == kept.bytes);
    EXPECT_EQ(contents(), 1U);
    m_process.reset();
    const CommandResult found = command({"check"});
    EXPECT_EQ(found.exitCode, 3);
    EXPECT_THAT(found.out, HasSubstr("file without record: family/media/"));
    // Young as it is, its record could still come.
    EXPECT_EQ(command({"collect"}).exitCode, 0);
    EXPECT_EQ(command({"check"}).exitCode, 3);
    const CommandResult collected = command({"collect", "--older-than", "0"});
    EXPECT_EQ(collected.exitCode, 0);
    EXPECT_THAT(collected.err, HasSubstr("collected 1 objects without a record"));
    expectConsistent();
}

} // namespace
