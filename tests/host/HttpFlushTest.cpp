// SPDX-License-Identifier: MIT
#include "host/Client.h"

#include <atomic>

using namespace test;
using ::testing::ElementsAre;

namespace {

class HttpFlush : public HttpTest {
protected:
    HttpFlush()
    {
        options([](HttpOptions& o) { o.stallTimeoutMs = 0; });
    }
    /// A tracked request that notes its number when it is deleted.
    HttpRequest* tracked(int number, unsigned long long id, const std::string& path = "/")
    {
        auto* const request = new TrackedRequest(HTTP_REQUEST_GET, server.url(path), Outcomes::take, &outcomes, [this, number] {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_deleted.push_back(number);
        });
        request->setID(id);
        return request;
    }
    std::vector<int> deleted()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_deleted;
    }

private:
    std::mutex m_mutex;
    std::vector<int> m_deleted;
};

TEST_F(HttpFlush, DoesNothingWithoutRequests) { EXPECT_EQ(delegator.flushHttpRequests(1), 0); }

TEST_F(HttpFlush, DeletesRunningAndQueuedRequestsInOrderWithoutCompletions)
{
    options([](HttpOptions& o) { o.maxTransfers = 2; });
    server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    for (int i = 0; i < 6; ++i)
        ASSERT_EQ(send(tracked(i, 1)), 0);
    ASSERT_TRUE(server.waitForWaiting(2));
    EXPECT_EQ(delegator.flushHttpRequests(1), 0);
    EXPECT_THAT(deleted(), ElementsAre(0, 1, 2, 3, 4, 5));
    EXPECT_EQ(outcomes.count(), 0u);
    EXPECT_TRUE(server.waitForClosed(2)) << "the transfers go on";
}

TEST_F(HttpFlush, LeavesRequestsOfOthersAlone)
{
    server.onRequest([](const RawRequest&) { return RawReply().hold().send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"); });
    for (int i = 0; i < 6; ++i)
        ASSERT_EQ(send(tracked(i, i % 2 == 0 ? 1 : 2)), 0);
    ASSERT_TRUE(server.waitForWaiting(6));
    delegator.flushHttpRequests(1);
    EXPECT_THAT(deleted(), ElementsAre(0, 2, 4));
    ASSERT_TRUE(server.waitForClosed(3));
    for (int i = 0; i < 3; ++i)
        server.release();
    ASSERT_TRUE(outcomes.waitFor(3));
    for (const Outcome& outcome : outcomes.all())
        EXPECT_EQ(outcome.status, SESSION_DONE);
}

TEST_F(HttpFlush, LeavesRequestsQueuedLaterAlone)
{
    server.reply(RawReply().stall());
    ASSERT_EQ(send(tracked(0, 1)), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    delegator.flushHttpRequests(1);
    ASSERT_EQ(send(tracked(1, 1)), 0);
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_EQ(outcomes.all()[0].status, SESSION_DONE);
}

TEST_F(HttpFlush, LeavesNoFileOfARunningDownload)
{
    const TempDir dir;
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf").stall());
    HttpRequest* const request = makeDownload(server.url(), dir.file("f"));
    request->setID(1);
    ASSERT_EQ(send(request), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    delegator.flushHttpRequests(1);
    EXPECT_TRUE(dir.entries().empty());
}

TEST_F(HttpFlush, WaitsForTheCompletionThatRuns)
{
    Signal entered, leave;
    std::atomic<bool> over{false};
    outcomes.before = [&](HttpRequest&) {
        entered.raise();
        EXPECT_TRUE(leave.wait());
        over = true;
    };
    ASSERT_EQ(send(tracked(0, 1)), 0);
    ASSERT_TRUE(entered.wait());
    std::atomic<bool> returned{false};
    std::thread flusher([&] {
        delegator.flushHttpRequests(1);
        EXPECT_TRUE(over);
        returned = true;
    });
    // A flush of somebody else's requests is over at once meanwhile.
    delegator.flushHttpRequests(2);
    EXPECT_FALSE(returned);
    leave.raise();
    flusher.join();
    EXPECT_THAT(deleted(), ElementsAre(0));
}

TEST_F(HttpFlush, TakesRunningRequestsAwayWhileSomebodyElsesCompletionRuns)
{
    Signal entered, leave;
    outcomes.before = [&](HttpRequest& request) {
        if (request.getID() == 2) {
            entered.raise();
            EXPECT_TRUE(leave.wait());
        }
    };
    server.onRequest([](const RawRequest& request) { return request.target() == "/stalls" ? RawReply().stall() : RawReply::ok(); });
    ASSERT_EQ(send(tracked(0, 1, "/stalls")), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    ASSERT_EQ(send(tracked(1, 2)), 0);
    ASSERT_TRUE(entered.wait());
    delegator.flushHttpRequests(1);
    EXPECT_THAT(deleted(), ElementsAre(0));
    leave.raise();
    EXPECT_TRUE(outcomes.waitFor(1));
}

TEST_F(HttpFlush, SparesTheCompletingRequestOnTheWorker)
{
    server.onRequest([](const RawRequest& request) { return request.target() == "/stalls" ? RawReply().stall() : RawReply::ok(); });
    for (int i = 1; i < 4; ++i)
        ASSERT_EQ(send(tracked(i, 1, "/stalls")), 0);
    ASSERT_TRUE(server.waitForWaiting(3));
    std::vector<int> seen;
    outcomes.before = [&](HttpRequest&) {
        EXPECT_EQ(delegator.flushHttpRequests(1), 0);
        seen = deleted();
    };
    ASSERT_EQ(send(tracked(0, 1)), 0);
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_THAT(seen, ElementsAre(1, 2, 3));
    EXPECT_EQ(outcomes.all()[0].status, SESSION_DONE);
}

TEST_F(HttpFlush, DropsRequestsThatEndedButHaveNotCompleted)
{
    // Both replies are there when the first completion begins, so that the second request has ended by then as well.
    Signal entered, leave;
    std::atomic<int> completions{0};
    outcomes.before = [&](HttpRequest&) {
        if (completions++ == 0) {
            entered.raise();
            EXPECT_TRUE(leave.wait());
        }
    };
    options([](HttpOptions& o) { o.maxTransfers = 1; });
    server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    ASSERT_EQ(send(tracked(9, 3)), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    // Requests that are cancelled in the queue end together, in one batch.
    std::vector<HttpRequest*> queued;
    for (int i = 0; i < 3; ++i) {
        queued.push_back(tracked(i, i == 0 ? 1 : 2));
        ASSERT_EQ(send(queued.back()), 0);
    }
    for (auto request = queued.rbegin(); request != queued.rend(); ++request)
        (*request)->setCancel();
    ASSERT_TRUE(entered.wait());
    const std::size_t before = deleted().size();
    std::thread flusher([&] { delegator.flushHttpRequests(2); });
    leave.raise();
    flusher.join();
    delegator.flushHttpRequests(1);
    EXPECT_EQ(deleted().size(), 3u);
    EXPECT_LE(outcomes.count(), 3u - before);
}

TEST_F(HttpFlush, RunsDestructorsWithoutAnyLockOfTheClient)
{
    options([](HttpOptions& o) { o.maxTransfers = 1; });
    server.onRequest([](const RawRequest& request) { return request.target() == "/stalls" ? RawReply().stall() : RawReply::ok(); });
    // A destructor that uses the client, and waits for another thread that uses it, would hang otherwise.
    const auto useClient = [this] {
        delegator.flushHttpRequests(1);
        std::thread other([this] {
            delegator.flushHttpRequests(3);
            EXPECT_EQ(send(makeGet(server.url())), 0);
        });
        other.join();
    };
    for (int i = 0; i < 3; ++i) {
        auto* const request = new TrackedRequest(HTTP_REQUEST_GET, server.url("/stalls"), Outcomes::take, &outcomes, useClient);
        request->setID(1);
        ASSERT_EQ(send(request), 0);
    }
    ASSERT_TRUE(server.waitForWaiting(1));
    delegator.flushHttpRequests(1);
    EXPECT_TRUE(outcomes.waitFor(3));
}

TEST_F(HttpFlush, ReturnsOnlyAfterTheDeletionsOfAnotherFlush)
{
    Signal deleting, goOn;
    std::atomic<bool> deletedOne{false};
    server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    auto* const request = new TrackedRequest(HTTP_REQUEST_GET, server.url(), Outcomes::take, &outcomes, [&] {
        deleting.raise();
        EXPECT_TRUE(goOn.wait());
        deletedOne = true;
    });
    request->setID(1);
    ASSERT_EQ(send(request), 0);
    std::thread first([&] { delegator.flushHttpRequests(1); });
    ASSERT_TRUE(deleting.wait());
    std::thread second([&] {
        delegator.flushHttpRequests(1);
        EXPECT_TRUE(deletedOne);
    });
    goOn.raise();
    first.join();
    second.join();
}

TEST_F(HttpFlush, MayBeCalledByManyThreadsAtOnce)
{
    constexpr int THREADS = 6;
    constexpr int ROUNDS = 40;
    std::atomic<int> gone{0};
    server.onRequest([](const RawRequest& request) { return request.target() == "/stalls" ? RawReply().stall() : RawReply::ok(); });
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int t = 0; t < THREADS; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < ROUNDS; ++i) {
                for (int n = 0; n < 3; ++n) {
                    auto* const request = new TrackedRequest(HTTP_REQUEST_GET, server.url(n == 0 ? "/stalls" : "/"), Outcomes::take,
                                                             &outcomes, [&] { ++gone; });
                    request->setID(static_cast<unsigned long long>(1 + (t + n) % 2));
                    EXPECT_EQ(send(request), 0);
                }
                delegator.flushHttpRequests(static_cast<unsigned long long>(1 + i % 2));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    delegator.flushHttpRequests(1);
    delegator.flushHttpRequests(2);
    EXPECT_EQ(gone, THREADS * ROUNDS * 3);
}

TEST_F(HttpFlush, DropsTenThousandQueuedRequests)
{
    constexpr int COUNT = 10'000;
    options([](HttpOptions& o) { o.maxTransfers = 1; });
    server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    for (int i = 0; i < COUNT; ++i)
        ASSERT_EQ(send(tracked(i, 1)), 0);
    delegator.flushHttpRequests(1);
    const std::vector<int> order = deleted();
    ASSERT_EQ(order.size(), static_cast<std::size_t>(COUNT));
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(outcomes.count(), 0u);
}

} // namespace
