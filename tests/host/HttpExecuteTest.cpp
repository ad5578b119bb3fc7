// SPDX-License-Identifier: MIT
#include "host/Client.h"

using namespace test;

namespace {

class HttpExecute : public HttpTest {
protected:
    WSTATUS execute(const std::string& url)
    {
        HttpRequest request(HTTP_REQUEST_GET, url, HttpHeader(), "", nullptr, nullptr);
        return request.execute();
    }
};

TEST_F(HttpExecute, FillsTheResponseAndReturnsZeroWhateverTheCode)
{
    for (const int code : {200, 302, 403, 404, 500}) {
        server.reply(RawReply::status(code, "text", {"Content-Type: text/xml"}));
        HttpRequest request(HTTP_REQUEST_GET, server.url(), HttpHeader(), "", nullptr, nullptr);
        EXPECT_EQ(request.execute(), 0);
        EXPECT_EQ(request.getResponse().getHttpResponseCode(), static_cast<UINT32>(code));
        EXPECT_EQ(request.getResponse().getContentType(), "text/xml");
        EXPECT_EQ(request.response().getPayload(), "text");
    }
}

TEST_F(HttpExecute, SendsAPost)
{
    HttpRequest request(HTTP_REQUEST_POST, server.url("/p"), header({{"DATE", "d"}}), "a=b", nullptr, nullptr);
    EXPECT_EQ(request.execute(), 0);
    EXPECT_EQ(server.last().line(), "POST /p HTTP/1.1");
    EXPECT_EQ(server.last().body, "a=b");
}

TEST_F(HttpExecute, MapsEveryKindOfFailure)
{
    EXPECT_EQ(execute("http://127.0.0.1:9/"), WSTATUS_UNREACHABLE);
    server.reply(RawReply().close());
    EXPECT_EQ(execute(server.url()), WSTATUS_CONNECTION_LOST);
    server.reply(RawReply().send("gibberish").close());
    EXPECT_EQ(execute(server.url()), WSTATUS_FAILED);
    options([](HttpOptions& o) { o.maxMemoryBody = 3; });
    server.reply(RawReply::ok("four"));
    EXPECT_EQ(execute(server.url()), WSTATUS_LIMIT_EXCEEDED);
}

TEST_F(HttpExecute, KeepsItsConnectionForTheNextRequest)
{
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(execute(server.url()), 0);
    EXPECT_EQ(server.connectionCount(), 1u);
}

TEST_F(HttpExecute, RunsOnSeveralThreadsAtOnceAndBesideTheDelegator)
{
    constexpr int THREADS = 6;
    server.onRequest([](const RawRequest&) { return RawReply().hold().send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"); });
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int i = 0; i < THREADS; ++i)
        threads.emplace_back([this] { EXPECT_EQ(execute(server.url()), 0); });
    ASSERT_EQ(send(makeGet(server.url())), 0);
    EXPECT_TRUE(server.waitForWaiting(THREADS + 1));
    for (int i = 0; i <= THREADS; ++i)
        server.release();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(outcomes.waitFor(1));
}

TEST_F(HttpExecute, RunsNoCompletion)
{
    HttpRequest request(HTTP_REQUEST_GET, server.url(), HttpHeader(), "", Outcomes::take, &outcomes);
    EXPECT_EQ(request.execute(), 0);
    EXPECT_EQ(outcomes.count(), 0u);
}

} // namespace
