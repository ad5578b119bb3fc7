// SPDX-License-Identifier: MIT
/// \file What the client tells of an exchange beyond the response, and the limit of a single request.
#include "host/Client.h"
#include "whost/HttpRequests.h"

#include <ctime>

using namespace test;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/// How a request went, kept beyond its end.
class HttpExchangeTest : public HttpTest {
protected:
    ~HttpExchangeTest() override { setHttpEvents({}); }

    HttpExchange exchange(const std::string& url, std::uint64_t limit = 0, const std::string& file = "")
    {
        HttpRequest request(HTTP_REQUEST_GET, url, HttpHeader(), nullptr, nullptr, file);
        request.setID(2);
        limitBody(request, limit);
        request.execute();
        return exchangeOf(request);
    }
    HttpExchange replied(RawReply reply)
    {
        server.reply(std::move(reply));
        return exchange(server.url());
    }
    long retryAfter(const std::vector<std::string>& header) { return replied(RawReply::status(503, "", header)).retryAfter; }
};

std::string dateOf(std::time_t time)
{
    std::tm parts{};
    gmtime_r(&time, &parts);
    char text[64];
    std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &parts);
    return text;
}

TEST_F(HttpExchangeTest, HoldsCodeAndWordsOfARefusal)
{
    const HttpExchange refused = replied(RawReply::status(429, "too many of them"));
    EXPECT_EQ(refused.status, SESSION_DONE);
    EXPECT_EQ(refused.code, 429U);
    EXPECT_EQ(refused.body, "too many of them");
    EXPECT_EQ(refused.cause, "");
    EXPECT_EQ(refused.retryAfter, -1);
    EXPECT_EQ(replied(RawReply::status(500, std::string(100'000, 'x'))).body.size(), 4096U) << "its beginning only";
    const HttpExchange good = replied(RawReply::ok("content"));
    EXPECT_EQ(good.code, 200U);
    EXPECT_EQ(good.body, "content") << "it is short";
    EXPECT_EQ(replied(RawReply::ok(std::string(513, 'x'))).body, "");
}

TEST_F(HttpExchangeTest, TellsWhenToComeAgain)
{
    EXPECT_EQ(retryAfter({"Retry-After: 7"}), 7);
    EXPECT_EQ(retryAfter({"retry-after:  0 "}), 0);
    EXPECT_EQ(retryAfter({"Retry-After: 99999999999999999999999"}), 365L * 24 * 60 * 60);
    EXPECT_EQ(retryAfter({"Retry-After: soon"}), -1);
    EXPECT_EQ(retryAfter({"Retry-After: -5"}), -1);
    EXPECT_EQ(retryAfter({"Retry-After:"}), -1);
    EXPECT_EQ(retryAfter({}), -1);
    EXPECT_EQ(replied(RawReply::ok("", {"Retry-After: 7"})).retryAfter, -1) << "there is nothing to try again";
}

TEST_F(HttpExchangeTest, ReckonsADateByTheServersOwnClock)
{
    EXPECT_EQ(retryAfter({"Date: Sun, 06 Nov 1994 08:49:37 GMT", "Retry-After: Sun, 06 Nov 1994 08:50:07 GMT"}), 30);
    EXPECT_EQ(retryAfter({"Date: Sun, 06 Nov 1994 08:49:37 GMT", "Retry-After: Sun, 06 Nov 1994 08:00:00 GMT"}), 0);
    const long wait = retryAfter({"Retry-After: " + dateOf(std::time(nullptr) + 1000)});
    EXPECT_GT(wait, 900);
    EXPECT_LE(wait, 1000);
}

TEST_F(HttpExchangeTest, SaysWhatBrokeAConnection)
{
    const HttpExchange reset = replied(RawReply().reset().reset());
    EXPECT_EQ(reset.status, SESSION_CUT_OFF);
    EXPECT_EQ(reset.code, 0U);
    EXPECT_NE(reset.cause, "");
    const HttpExchange cut = replied(RawReply().send("HTTP/1.1 503 No\r\nContent-Length: 9\r\nRetry-After: 3\r\n\r\nx").close());
    EXPECT_EQ(cut.status, SESSION_CUT_OFF);
    EXPECT_EQ(cut.code, 503U) << "of a reply that is not whole too";
    EXPECT_EQ(cut.retryAfter, 3);
    EXPECT_EQ(exchange("http://127.0.0.1:1/").status, SESSION_UNREACHABLE);
    EXPECT_THAT(exchange("http://127.0.0.1:1/").cause, HasSubstr("127.0.0.1 port 1"));
}

TEST_F(HttpExchangeTest, KnowsNothingOfTheOneBeforeOnTheSameHandle)
{
    EXPECT_EQ(replied(RawReply::status(429, "no", {"Retry-After: 7"})).code, 429U);
    const HttpExchange refused = exchange("http://127.0.0.1:1/");
    EXPECT_EQ(refused.code, 0U);
    EXPECT_EQ(refused.retryAfter, -1);
    EXPECT_EQ(refused.body, "");
    EXPECT_EQ(replied(RawReply::ok("good")).cause, "");
}

TEST_F(HttpExchangeTest, IsToldToTheProgramBeforeTheCompletionRuns)
{
    std::mutex mutex;
    std::vector<HttpExchange> seen;
    HttpEvents events;
    events.ended = [&](const HttpExchange& exchange) {
        const std::lock_guard<std::mutex> lock(mutex);
        seen.push_back(exchange);
    };
    setHttpEvents(events);
    std::size_t before = 0;
    outcomes.before = [&](HttpRequest&) {
        const std::lock_guard<std::mutex> lock(mutex);
        before = seen.size();
    };
    server.reply(RawReply::status(404, "nothing"));
    auto* const request = makeGet(server.url());
    request->setID(3);
    ASSERT_EQ(send(request), WSTATUS_OK);
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_EQ(before, 1U);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].id, 3U);
    EXPECT_EQ(seen[0].code, 404U);
    EXPECT_EQ(seen[0].body, "nothing");

    replied(RawReply::status(503));
    ASSERT_EQ(seen.size(), 2U) << "of what a thread executes by itself too";
    EXPECT_EQ(seen[1].id, 2U);
    setHttpEvents({});
    replied(RawReply::status(503));
    EXPECT_EQ(seen.size(), 2U);
}

TEST_F(HttpExchangeTest, OfARedirectIsThatOfItsLastHop)
{
    server.onRequest([](const RawRequest& request) {
        return request.target() == "/moved" ? RawReply::status(302, "", {"Location: /gone", "Retry-After: 9"})
                                            : RawReply::status(410, "gone");
    });
    const HttpExchange last = exchange(server.url("/moved"));
    EXPECT_EQ(last.code, 410U);
    EXPECT_EQ(last.retryAfter, -1);
    EXPECT_EQ(last.body, "gone");
}

TEST_F(HttpExchangeTest, OwnLimitEndsARequestAtTheFirstByteTooMuch)
{
    const TempDir folder;
    const std::string file = folder.file("body");
    server.reply(RawReply::ok(std::string(1000, 'x')));
    EXPECT_EQ(exchange(server.url(), 1000, file).status, SESSION_DONE);
    EXPECT_EQ(readFile(file).size(), 1000U);
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 1001\r\n\r\nx").stall());
    EXPECT_EQ(exchange(server.url(), 1000, folder.file("announced")).status, SESSION_TOO_LARGE) << "before it is there";
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\n\r\n").sendEndlessly(std::string(1000, 'x'), 1ULL << 30));
    EXPECT_EQ(exchange(server.url(), 1000, folder.file("endless")).status, SESSION_TOO_LARGE);
    EXPECT_LT(server.sentBytes(), 64U << 20) << "it does not take what it will not keep";
    server.reply(RawReply::ok(std::string(1001, 'x')));
    EXPECT_EQ(exchange(server.url(), 1000).status, SESSION_TOO_LARGE) << "in memory too";
    EXPECT_THAT(folder.entries(), testing::ElementsAre("body"));

    server.reply(RawReply::status(503, std::string(2000, 'x')));
    const HttpExchange refused = exchange(server.url(), 1000, folder.file("refused"));
    EXPECT_EQ(refused.code, 503U) << "a refusal is not what was limited";
    EXPECT_EQ(refused.body.size(), 2000U);
}

} // namespace
