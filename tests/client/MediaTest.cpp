// SPDX-License-Identifier: MIT
// Media beside the plugin's calls.
#include "ClientFixture.h"

#include <atomic>

using namespace test;
using namespace kinloom;
using testing::HasSubstr;

namespace {

class MediaTest : public ClientTest {
protected:
    MediaTest() : lane(settings())
    {
        const std::string group = createGroup(lane, "Summer");
        url = lane.call(ViewContent{uploadPhoto(lane, group)}).value().getResourceURL();
        picture = readFile(files.file("picture.gif"));
    }

    Lane lane;
    std::string url;
    std::string picture;
    Media media;
};

TEST_F(MediaTest, GoToMemoryOrToAFile)
{
    const MediaReply reply = media.fetch({url, "", 1 << 20, ""}).outcome().value();
    EXPECT_EQ(reply.body, picture);
    EXPECT_EQ(reply.bytes, picture.size());
    EXPECT_EQ(reply.contentType, "image/gif");
    MediaOrder order;
    order.url = url;
    order.file = files.file("fetched.gif");
    EXPECT_EQ(media.fetch(order).outcome().value().bytes, picture.size());
    EXPECT_EQ(readFile(order.file), picture);
}

TEST_F(MediaTest, NoRefusedCallOfThePluginReachesThem)
{
    setFault("media:delay=300*4");
    std::vector<Call<MediaReply>> fetches;
    fetches.reserve(4);
    for (int i = 0; i < 4; ++i)
        fetches.push_back(media.fetch({url, "", 1 << 20, ""}));
    ASSERT_TRUE(reaches("media", 4));
    EXPECT_FALSE(lane.call(ViewContent{"123456789"}).ok());
    for (const auto& fetch : fetches)
        EXPECT_EQ(fetch.outcome().value().body, picture);
}

TEST_F(MediaTest, CancelOfOneTouchesNoOther)
{
    setFault("media:stall-after=10*1\nmedia:delay=300*1");
    auto first = media.fetch({url, "", 1 << 20, ""});
    ASSERT_TRUE(comesTrue([&] { return first.progress().done >= 10; }));
    auto second = media.fetch({url, "", 1 << 20, ""});
    first.cancel();
    EXPECT_EQ(kindOf(first.outcome()), FailureKind::CANCELLED);
    EXPECT_EQ(second.outcome().value().body, picture);
}

TEST_F(MediaTest, EndWithAFailureThatSaysWhy)
{
    const auto gone = media.fetch({url + "x/y", "", 1 << 20, "the lake"}).outcome();
    EXPECT_EQ(kindOf(gone), FailureKind::FAILED);
    EXPECT_THAT(gone.failure().text(), HasSubstr("cannot fetch the lake: there is no file at that address, or it is not yours to "
                                                 "see. It says: \"There is nothing here.\" (HTTP 404)"));
    EXPECT_EQ(gone.failure().httpCode, 404U);

    EXPECT_EQ(media.fetch({url, "", 10, ""}).outcome().failure().status, W::WSTATUS_LIMIT_EXCEEDED);
    EXPECT_FALSE(media.fetch({"nonsense", "", 10, ""}).outcome().ok()) << "refused by the host at once";

    setFault("media:cut-after=10*1");
    const auto cut = media.fetch({url, files.file("cut.gif"), 0, ""}).outcome();
    EXPECT_EQ(cut.failure().status, W::WSTATUS_CONNECTION_LOST);
    EXPECT_NE(cut.failure().cause, "");
    EXPECT_FALSE(exists(files.file("cut.gif")));
    EXPECT_EQ(cut.failure().address, service.url()) << "where the address of the endpoint leads";
    EXPECT_THAT(cut.failure().text(), HasSubstr("the service at " + service.url() + " failed or broke the connection off"));
    const auto elsewhere = media.fetch({"http://127.0.0.1:1/lake.jpg", "", 10, ""}).outcome();
    EXPECT_THAT(elsewhere.failure().text(), HasSubstr("there is no way to the service at http://127.0.0.1:1: "));
}

TEST_F(MediaTest, HavePatienceAndAnInterruption)
{
    setFault("media:delay=60000*2");
    CallOptions impatient;
    impatient.patience = std::chrono::milliseconds(100);
    EXPECT_EQ(kindOf(media.fetch({url, "", 1 << 20, ""}, impatient).outcome()), FailureKind::TIMED_OUT);

    Interruption bell;
    CallOptions options;
    options.interruption = bell;
    const std::uint64_t before = hits("media"); // none, where the first has not even been sent
    const auto fetch = media.fetch({url, "", 1 << 20, ""}, options);
    ASSERT_TRUE(reaches("media", before + 1));
    bell.ring();
    EXPECT_EQ(kindOf(fetch.outcome()), FailureKind::INTERRUPTED);
}

TEST_F(MediaTest, EndWithTheirObject)
{
    setFault("media:delay=60000");
    auto own = std::make_unique<Media>();
    std::vector<Call<MediaReply>> fetches;
    fetches.reserve(3);
    for (int i = 0; i < 3; ++i)
        fetches.push_back(own->fetch({url, "", 1 << 20, ""}));
    ASSERT_TRUE(reaches("media", 3));
    own.reset();
    for (const auto& fetch : fetches) {
        ASSERT_TRUE(fetch.ended());
        EXPECT_EQ(kindOf(fetch.outcome()), FailureKind::CANCELLED);
    }
}

TEST_F(MediaTest, AreFetchedAgainWhenTheirFailurePasses)
{
    CallOptions options;
    options.retries.count = 4;
    options.retries.first = options.retries.longest = std::chrono::milliseconds(0);
    std::vector<unsigned int> codes;
    options.retries.waiting = [&](const RetryWait& wait) { codes.push_back(wait.failure.httpCode); };
    setFault("media:status=503*1\nmedia:cut-after=10*1\nmedia:status=429*1");
    MediaOrder order;
    order.url = url;
    order.file = files.file("fetched.gif");
    EXPECT_TRUE(media.fetch(order, options).outcome().ok());
    EXPECT_EQ(readFile(order.file), picture);
    EXPECT_THAT(codes, testing::ElementsAre(503U, 200U, 429U));

    setFault("media:status=503*5");
    EXPECT_EQ(media.fetch(order, options).outcome().failure().httpCode, 503U);
    EXPECT_EQ(codes.size(), 7U);
    EXPECT_EQ(media.fetch({url + "x/y", "", 1 << 20, ""}, options).outcome().failure().httpCode, 404U);
    EXPECT_EQ(codes.size(), 7U) << "what is not there does not come";
}

TEST_F(MediaTest, WaitForTheirNextTryUntilTheyAreCancelled)
{
    setFault("media:status=503*1");
    CallOptions options;
    options.retries.count = 1;
    options.retries.first = options.retries.longest = std::chrono::hours(1);
    std::atomic<bool> waits{false};
    options.retries.waiting = [&](const RetryWait&) { waits = true; };
    auto fetch = media.fetch({url, "", 1 << 20, ""}, options);
    ASSERT_TRUE(comesTrue([&] { return waits.load(); }));
    fetch.cancel();
    EXPECT_EQ(kindOf(fetch.outcome()), FailureKind::CANCELLED);
}

TEST_F(MediaTest, AFileTakesNoMoreThanItMay)
{
    MediaOrder order;
    order.url = url;
    order.file = files.file("limited.gif");
    order.fileLimit = picture.size() - 1;
    EXPECT_EQ(media.fetch(order).outcome().failure().status, W::WSTATUS_LIMIT_EXCEEDED);
    EXPECT_FALSE(exists(order.file));
    order.fileLimit = picture.size();
    EXPECT_TRUE(media.fetch(order).outcome().ok());
}

} // namespace
