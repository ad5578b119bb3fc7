// SPDX-License-Identifier: MIT
#include "host/Client.h"

#include <atomic>

using namespace test;

namespace {

class HttpReentry : public HttpTest {};

TEST_F(HttpReentry, QueuesFromACompletion)
{
    std::atomic<int> left{50};
    outcomes.before = [&](HttpRequest&) {
        if (--left <= 0)
            return;
        EXPECT_EQ(send(makeGet(server.url())), 0);
    };
    ASSERT_EQ(send(makeGet(server.url())), 0);
    ASSERT_TRUE(outcomes.waitFor(50));
    for (const Outcome& outcome : outcomes.all())
        EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(server.connectionCount(), 1u);
}

TEST_F(HttpReentry, ExecutesFromACompletion)
{
    server.onRequest([](const RawRequest& request) { return RawReply::ok(request.target()); });
    std::string inner;
    outcomes.before = [&](HttpRequest&) {
        HttpRequest request(HTTP_REQUEST_GET, server.url("/inner"), HttpHeader(), "", nullptr, nullptr);
        EXPECT_EQ(request.execute(), 0);
        inner = request.getResponse().getPayload();
    };
    EXPECT_EQ(get(server.url("/outer")).payload, "/outer");
    EXPECT_EQ(inner, "/inner");
}

TEST_F(HttpReentry, CancelsAnotherFromACompletion)
{
    server.onRequest([](const RawRequest& request) { return request.target() == "/stalls" ? RawReply().stall() : RawReply::ok(); });
    HttpRequest* const other = makeGet(server.url("/stalls"));
    ASSERT_EQ(send(other), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    std::atomic<bool> first{true};
    outcomes.before = [&](HttpRequest&) {
        if (first.exchange(false))
            other->setCancel();
    };
    ASSERT_EQ(send(makeGet(server.url())), 0);
    ASSERT_TRUE(outcomes.waitFor(2));
    EXPECT_EQ(outcomes.all()[1].status, SESSION_CANCELLED);
}

TEST_F(HttpReentry, FlushesAndQueuesAgainFromACompletion)
{
    server.onRequest([](const RawRequest& request) { return request.target() == "/stalls" ? RawReply().stall() : RawReply::ok(); });
    std::atomic<int> left{20};
    outcomes.before = [&](HttpRequest&) {
        if (--left <= 0)
            return;
        delegator.flushHttpRequests(0);
        EXPECT_EQ(send(makeGet(server.url("/stalls"))), 0);
        EXPECT_EQ(send(makeGet(server.url())), 0);
    };
    ASSERT_EQ(send(makeGet(server.url())), 0);
    ASSERT_TRUE(outcomes.waitFor(20));
}

TEST_F(HttpReentry, IsNotBlockedByAFlushThatWaitsForIt)
{
    Signal entered, flushing;
    std::atomic<bool> first{true};
    outcomes.before = [&](HttpRequest&) {
        if (!first.exchange(false))
            return;
        entered.raise();
        // The other thread is in its flush, or about to be; either way all of this must return.
        EXPECT_TRUE(flushing.wait());
        delegator.flushHttpRequests(1);
        delegator.flushHttpRequests(2);
        HttpRequest* const late = makeGet(server.url());
        late->setID(2);
        EXPECT_EQ(send(late), 0);
    };
    HttpRequest* const request = makeGet(server.url());
    request->setID(1);
    ASSERT_EQ(send(request), 0);
    ASSERT_TRUE(entered.wait());
    flushing.raise();
    delegator.flushHttpRequests(1);
    EXPECT_TRUE(outcomes.waitFor(2));
}

TEST_F(HttpReentry, SurvivesACompletionThatThrows)
{
    std::atomic<bool> thrown{false};
    outcomes.before = [&](HttpRequest& request) {
        if (thrown.exchange(true))
            return;
        delete &request;
        throw std::runtime_error("outside the contract");
    };
    ASSERT_EQ(send(makeGet(server.url())), 0);
    EXPECT_EQ(get(server.url()).status, SESSION_DONE);
}

} // namespace
