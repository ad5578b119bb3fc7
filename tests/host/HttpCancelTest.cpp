// SPDX-License-Identifier: MIT
#include "host/Client.h"

using namespace test;

namespace {

class HttpCancel : public HttpTest {
protected:
    HttpCancel()
    {
        // A cancel that waited for a limit would not be one.
        options([](HttpOptions& o) { o.stallTimeoutMs = 0; });
    }
    /// Queues a request, waits until the server holds it, cancels it, and gives its outcome.
    Outcome cancelWhenHeld(HttpRequest* request)
    {
        EXPECT_EQ(send(request), 0);
        EXPECT_TRUE(server.waitForWaiting(1));
        request->setCancel();
        EXPECT_TRUE(outcomes.waitFor(1));
        return outcomes.all().at(0);
    }
};

TEST_F(HttpCancel, EndsATransferWhoseServerIsSilent)
{
    server.reply(RawReply().stall());
    const Outcome outcome = cancelWhenHeld(makeGet(server.url()));
    EXPECT_EQ(outcome.status, SESSION_CANCELLED);
    EXPECT_EQ(outcome.code, 0u);
    EXPECT_TRUE(server.waitForClosed(1));
}

TEST_F(HttpCancel, EndsATransferInItsBody)
{
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf").stall());
    const Outcome outcome = cancelWhenHeld(makeGet(server.url()));
    EXPECT_EQ(outcome.status, SESSION_CANCELLED);
    EXPECT_EQ(outcome.payload, "");
}

TEST_F(HttpCancel, LeavesNoFileOfADownload)
{
    const TempDir dir;
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf").stall());
    EXPECT_EQ(cancelWhenHeld(makeDownload(server.url(), dir.file("f"))).status, SESSION_CANCELLED);
    EXPECT_TRUE(dir.entries().empty());
}

TEST_F(HttpCancel, EndsAnUpload)
{
    server.greet(RawServer::Greeting::IGNORE);
    EXPECT_EQ(cancelWhenHeld(makePost(server.url(), std::string(32 << 20, 'x'))).status, SESSION_CANCELLED);
}

TEST_F(HttpCancel, EndsATransferThatHasNotBegun)
{
    HttpRequest* const request = makeGet(server.url());
    request->setCancel();
    EXPECT_EQ(run(request).status, SESSION_CANCELLED);
    EXPECT_EQ(server.connectionCount(), 0u);
}

TEST_F(HttpCancel, EndsAQueuedRequestWhileAllTurnsAreTaken)
{
    options([](HttpOptions& o) { o.maxTransfers = 1; });
    server.reply(RawReply().stall());
    ASSERT_EQ(send(makeGet(server.url())), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    HttpRequest* const queued = makeGet(server.url());
    ASSERT_EQ(send(queued), 0);
    queued->setCancel();
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_EQ(outcomes.all()[0].status, SESSION_CANCELLED);
    EXPECT_EQ(server.requestCount(), 1u);
}

TEST_F(HttpCancel, LeavesOtherTransfersAlone)
{
    server.onRequest([](const RawRequest& request) {
        return request.target() == "/stalls" ? RawReply().stall()
                                             : RawReply().hold().send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    });
    HttpRequest* const request = makeGet(server.url("/stalls"));
    ASSERT_EQ(send(request), 0);
    ASSERT_EQ(send(makeGet(server.url("/other"))), 0);
    ASSERT_TRUE(server.waitForWaiting(2));
    request->setCancel();
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_EQ(outcomes.all()[0].status, SESSION_CANCELLED);
    server.release();
    ASSERT_TRUE(outcomes.waitFor(2));
    EXPECT_EQ(outcomes.all()[1].status, SESSION_DONE);
}

TEST_F(HttpCancel, EndsAllOfMany)
{
    constexpr std::size_t COUNT = 200;
    server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    std::vector<HttpRequest*> requests;
    for (std::size_t i = 0; i < COUNT; ++i) {
        requests.push_back(makeGet(server.url()));
        ASSERT_EQ(send(requests.back()), 0);
    }
    ASSERT_TRUE(server.waitForWaiting(1));
    for (HttpRequest* const request : requests)
        request->setCancel();
    ASSERT_TRUE(outcomes.waitFor(COUNT));
    for (const Outcome& outcome : outcomes.all())
        EXPECT_EQ(outcome.status, SESSION_CANCELLED);
}

TEST_F(HttpCancel, EndsAnExecutedRequestFromAnotherThread)
{
    server.reply(RawReply().stall());
    HttpRequest request(HTTP_REQUEST_GET, server.url(), HttpHeader(), "", nullptr, nullptr);
    std::thread canceller([&] {
        EXPECT_TRUE(server.waitForWaiting(1));
        request.setCancel();
    });
    EXPECT_EQ(request.execute(), WSTATUS_CANCELLED);
    canceller.join();
}

TEST_F(HttpCancel, MayBeCalledAtAnyMomentOfALife)
{
    HttpRequest never(HTTP_REQUEST_GET, server.url(), HttpHeader(), "", nullptr, nullptr);
    never.setCancel();
    EXPECT_EQ(never.execute(), WSTATUS_CANCELLED);
    outcomes.before = [](HttpRequest& request) { request.setCancel(); };
    EXPECT_EQ(get(server.url()).status, SESSION_DONE) << "cancelled in its completion";
}

} // namespace
