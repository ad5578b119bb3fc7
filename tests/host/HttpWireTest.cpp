// SPDX-License-Identifier: MIT
#include "host/Client.h"

#include <cstring>
#include <curl/curl.h>
#include <strings.h>

using namespace test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

class HttpWire : public HttpTest {
protected:
    /// The target that a URL's rest becomes on the wire.
    std::string targetOf(const std::string& rest)
    {
        get(server.url(rest));
        return server.requestCount() > 0 ? server.last().target() : "nothing arrived";
    }
};

TEST_F(HttpWire, DeliversCodeTypeAndBodyOfAReply)
{
    server.reply(RawReply::ok("<a/>", {"Content-Type: text/xml; charset=utf-8"}));
    const Outcome outcome = get(server.url());
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(outcome.code, 200u);
    EXPECT_EQ(outcome.contentType, "text/xml; charset=utf-8");
    EXPECT_EQ(outcome.payload, "<a/>");
}

TEST_F(HttpWire, DeliversErrorRepliesWithTheirBodies)
{
    for (const int code : {201, 204, 304, 400, 401, 403, 404, 500, 503}) {
        const bool hasBody = code != 204 && code != 304;
        if (hasBody)
            server.reply(RawReply::status(code, "why"));
        else
            server.reply(RawReply().send("HTTP/1.1 " + std::to_string(code) + " X\r\n\r\n"));
        const Outcome outcome = get(server.url());
        EXPECT_EQ(outcome.status, SESSION_DONE) << code;
        EXPECT_EQ(outcome.code, static_cast<UINT32>(code));
        EXPECT_EQ(outcome.payload, hasBody ? "why" : "") << code;
    }
}

TEST_F(HttpWire, RunsCompletionsOnOneThreadThatIsNotTheCallers)
{
    get(server.url());
    get(server.url());
    const std::vector<Outcome> all = outcomes.all();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].thread, all[1].thread);
    EXPECT_NE(all[0].thread, std::this_thread::get_id());
}

TEST_F(HttpWire, SendsHeaderFieldsInTheirOrderAndVerbatim)
{
    get(server.url(),
        header({{"Zeta", "1"}, {"Authorization", R"( auth_identifier="KL", token="t")"}, {"DATE", "today"}, {"alpha", "2"}}));
    std::vector<std::string> own;
    for (const std::string& line : server.last().fields())
        if (line[0] == 'Z' || line[0] == 'D' || line[0] == 'a' || line.rfind("Authorization", 0) == 0)
            own.push_back(line);
    EXPECT_THAT(own, ElementsAre("Zeta: 1", "Authorization:  auth_identifier=\"KL\", token=\"t\"", "DATE: today", "alpha: 2"));
}

TEST_F(HttpWire, SendsEmptyAndBlankValuesAsEmptyFields)
{
    get(server.url(), header({{"appToken", ""}, {"Blank", "  \t"}}));
    EXPECT_THAT(server.last().fields(), Contains("appToken:"));
    EXPECT_THAT(server.last().fields(), Contains("Blank:"));
}

TEST_F(HttpWire, SendsTheUserAgentOfTheOptions)
{
    options([](HttpOptions& o) { o.userAgent = "television/7\r\nX-Smuggled: 1"; });
    get(server.url());
    EXPECT_EQ(server.last().field("User-Agent"), " television/7X-Smuggled: 1");
    EXPECT_FALSE(server.last().has("X-Smuggled"));
}

TEST_F(HttpWire, LetsTheCallersFieldsTakeThePlaceOfItsOwn)
{
    get(server.url(), header({{"user-agent", "mine"}, {"Accept-Encoding", "identity"}, {"Accept", "text/xml"}}));
    for (const char* name : {"User-Agent", "Accept-Encoding", "Accept"}) {
        int count = 0;
        for (const std::string& line : server.last().fields())
            count += strncasecmp(line.c_str(), name, std::strlen(name)) == 0 && line[std::strlen(name)] == ':';
        EXPECT_EQ(count, 1) << name;
    }
    EXPECT_EQ(server.last().field("User-Agent"), " mine");
    EXPECT_EQ(server.last().field("Accept-Encoding"), " identity");
}

TEST_F(HttpWire, SendsAPostBodyByteForByte)
{
    std::string body = "type=photo&description=a b&c=\r\n";
    body.push_back('\0');
    body += "\xff after the NUL";
    post(server.url("/x"), body);
    const RawRequest seen = server.last();
    EXPECT_EQ(seen.line(), "POST /x HTTP/1.1");
    EXPECT_EQ(seen.body, body);
    EXPECT_EQ(seen.field("Content-Length"), " " + std::to_string(body.size()));
    EXPECT_EQ(seen.field("Content-Type"), " application/x-www-form-urlencoded");
}

TEST_F(HttpWire, SendsAnEmptyPostWithLengthZero)
{
    post(server.url(), "");
    EXPECT_EQ(server.last().field("Content-Length"), " 0");
    EXPECT_EQ(server.last().body, "");
}

TEST_F(HttpWire, NeverAsksForAGoAhead)
{
    const std::string body(3 << 20, 'x');
    post(server.url(), body);
    EXPECT_FALSE(server.last().has("Expect"));
    EXPECT_EQ(server.last().body, body);
    post(server.url(), "small");
    EXPECT_FALSE(server.last().has("Expect"));
    get(server.url());
    EXPECT_FALSE(server.last().has("Expect"));
}

TEST_F(HttpWire, SendsAGetWithoutABodyEvenIfItHasOne)
{
    run(new HttpRequest(HTTP_REQUEST_GET, server.url(), HttpHeader(), "ignored", Outcomes::take, &outcomes));
    EXPECT_EQ(server.last().line(), "GET / HTTP/1.1");
    EXPECT_EQ(server.last().body, "");
    EXPECT_FALSE(server.last().has("Content-Length"));
}

TEST_F(HttpWire, KeepsLegalTargetsByteForByte)
{
    for (const char* target : {"/openapi/service/kinloom//group.list?&a=b", "/p?&&", "/p?", "/%41%2f%2F", "/a/../b/./c",
                               "/p?x=1?y=2&z=/;:@!$'()*+,~", "/?a=[1]&b=http://x/y", "//double//slash/"})
        EXPECT_EQ(targetOf(target), target);
}

TEST_F(HttpWire, EncodesWhatMayNotStandInAUrl)
{
    EXPECT_EQ(targetOf("/a b"), "/a%20b");
    EXPECT_EQ(targetOf("/x?q=a b&r=\"<>\"{}|\\^`"), "/x?q=a%20b&r=%22%3C%3E%22%7B%7D%7C%5C%5E%60");
    EXPECT_EQ(targetOf("/\xc3\xbc\xf0\x9f\x98\x80"), "/%C3%BC%F0%9F%98%80");
    EXPECT_EQ(targetOf("/100%?a=%4&b=%zz&c=%20"), "/100%25?a=%254&b=%25zz&c=%20");
}

TEST_F(HttpWire, KeepsTheFragmentToItself)
{
    EXPECT_EQ(targetOf("/p?a=b#part two"), "/p?a=b");
    EXPECT_EQ(targetOf("#part"), "/");
}

TEST_F(HttpWire, AsksForTheRootWhenTheUrlHasNoPath)
{
    EXPECT_EQ(targetOf(""), "/");
    EXPECT_EQ(targetOf("?a=b"), "/?a=b");
}

TEST_F(HttpWire, ReusesOneConnectionForOneRequestAfterTheOther)
{
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(get(server.url()).status, SESSION_DONE);
    EXPECT_EQ(server.connectionCount(), 1u);
}

TEST_F(HttpWire, RepeatsAGetOnAFreshConnectionWhenTheKeptOneIsGone)
{
    get(server.url());
    server.reply(RawReply().close());
    EXPECT_EQ(get(server.url("/again")).status, SESSION_DONE);
    EXPECT_EQ(server.connectionCount(), 2u);
}

TEST_F(HttpWire, NeverSendsAPostTwice)
{
    get(server.url());
    server.reply(RawReply().close());
    EXPECT_EQ(post(server.url("/once"), "a=b").status, SESSION_CUT_OFF);
    ASSERT_EQ(server.requestCount(), 2u);
    EXPECT_EQ(server.requests()[1].line(), "POST /once HTTP/1.1");
}

class UnsignedPost : public HttpWire {
protected:
    /// A POST that the peer knows by its connection.
    Outcome comment(const std::string& url)
    {
        HttpHeader header;
        header.add("appToken", "");
        return post(url, "a=b", header);
    }
};

TEST_F(UnsignedPost, GoesOnTheConnectionOfTheRequestBeforeIt)
{
    get(server.url());
    EXPECT_EQ(comment(server.url("/comment")).status, SESSION_DONE);
    EXPECT_EQ(server.connectionCount(), 1u);
    EXPECT_EQ(server.last().line(), "POST /comment HTTP/1.1");
}

TEST_F(UnsignedPost, IsNeverSentTwice)
{
    get(server.url());
    server.reply(RawReply().close());
    EXPECT_EQ(comment(server.url("/once")).status, SESSION_CUT_OFF);
    ASSERT_EQ(server.requestCount(), 2u);
    EXPECT_EQ(server.requests()[1].line(), "POST /once HTTP/1.1");
}

TEST_F(UnsignedPost, GoesOnAFreshConnectionWhereTheKeptOneIsGone)
{
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n").close());
    get(server.url());
    EXPECT_TRUE(server.waitForClosed(1));
    EXPECT_EQ(comment(server.url("/comment")).status, SESSION_DONE);
    EXPECT_EQ(server.connectionCount(), 2u);
    EXPECT_EQ(server.requestCount(), 2u);
}

TEST_F(HttpWire, RunsManyTransfersAtOnce)
{
    constexpr std::size_t COUNT = 20;
    server.onRequest([](const RawRequest&) { return RawReply().hold().send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"); });
    for (std::size_t i = 0; i < COUNT; ++i)
        ASSERT_EQ(send(makeGet(server.url())), 0);
    EXPECT_TRUE(server.waitForWaiting(COUNT));
    for (std::size_t i = 0; i < COUNT; ++i)
        server.release();
    EXPECT_TRUE(outcomes.waitFor(COUNT));
}

TEST_F(HttpWire, RunsNoMoreTransfersAtOnceThanTheOptionsSay)
{
    options([](HttpOptions& o) { o.maxTransfers = 3; });
    server.onRequest([](const RawRequest&) { return RawReply().hold().send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"); });
    for (int i = 0; i < 9; ++i)
        ASSERT_EQ(send(makeGet(server.url())), 0);
    for (std::size_t i = 1; i <= 9; ++i) {
        EXPECT_TRUE(server.waitForWaiting(std::min<std::size_t>(3, 10 - i)));
        EXPECT_LE(server.waitingCount(), 3u);
        server.release();
        EXPECT_TRUE(outcomes.waitFor(i));
    }
    EXPECT_EQ(server.connectionCount(), 3u);
}

TEST_F(HttpWire, HoldsToTheLimitOfConnectionsToOneHost)
{
    options([](HttpOptions& o) { o.maxConnectionsPerHost = 1; });
    server.onRequest([](const RawRequest&) { return RawReply().hold().send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"); });
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(send(makeGet(server.url())), 0);
    for (std::size_t i = 1; i <= 3; ++i) {
        EXPECT_TRUE(server.waitForWaiting(1));
        server.release();
        EXPECT_TRUE(outcomes.waitFor(i));
    }
    EXPECT_EQ(server.connectionCount(), 1u);
}

TEST_F(HttpWire, MakesRoomForAPostWhenTheOnlyConnectionIsKept)
{
    options([](HttpOptions& o) { o.maxConnectionsPerHost = 1; });
    EXPECT_EQ(get(server.url()).status, SESSION_DONE);
    EXPECT_EQ(post(server.url(), "a=b").status, SESSION_DONE);
    EXPECT_EQ(get(server.url()).status, SESSION_DONE);
    EXPECT_TRUE(server.waitForClosed(1));
    EXPECT_EQ(server.connectionCount(), 2u);
}

TEST_F(HttpWire, StartsRequestsInTheOrderOfQueueing)
{
    options([](HttpOptions& o) { o.maxTransfers = 1; });
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(send(makeGet(server.url("/" + std::to_string(i)))), 0);
    ASSERT_TRUE(outcomes.waitFor(20));
    for (std::size_t i = 0; i < 20; ++i)
        EXPECT_EQ(server.requests()[i].target(), "/" + std::to_string(i));
}

TEST_F(HttpWire, LeadsAHostNameWhereTheOptionsSay)
{
    options([&](HttpOptions& o) { o.connectTo = {"openapi.kinloom.example:80:127.0.0.1:" + std::to_string(server.port())}; });
    EXPECT_EQ(get("http://openapi.kinloom.example/x").status, SESSION_DONE);
    EXPECT_EQ(server.last().field("Host"), " openapi.kinloom.example");
}

TEST_F(HttpWire, RunsARequestUnderTheOptionsOfItsQueueing)
{
    options([&](HttpOptions& o) {
        o.maxTransfers = 1;
        o.userAgent = "first";
    });
    server.reply(RawReply().hold().send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
    ASSERT_EQ(send(makeGet(server.url())), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    ASSERT_EQ(send(makeGet(server.url())), 0);
    options([](HttpOptions& o) { o.userAgent = "second"; });
    server.release();
    ASSERT_TRUE(outcomes.waitFor(2));
    EXPECT_EQ(server.last().field("User-Agent"), " first");
    get(server.url());
    EXPECT_EQ(server.last().field("User-Agent"), " second");
}

TEST_F(HttpWire, PaysNoHeedToTheEnvironmentsProxy)
{
    ASSERT_EQ(setenv("http_proxy", "http://127.0.0.1:9", 1), 0);
    ASSERT_EQ(setenv("ALL_PROXY", "http://127.0.0.1:9", 1), 0);
    EXPECT_EQ(get(server.url()).status, SESSION_DONE);
    unsetenv("http_proxy");
    unsetenv("ALL_PROXY");
}

TEST_F(HttpWire, GoesThroughTheProxyOfTheOptions)
{
    ASSERT_EQ(setenv("no_proxy", "*", 1), 0);
    options([&](HttpOptions& o) { o.proxy = server.url(""); });
    EXPECT_EQ(get("http://elsewhere.example/x?y").status, SESSION_DONE);
    EXPECT_EQ(server.last().line(), "GET http://elsewhere.example/x?y HTTP/1.1");
    unsetenv("no_proxy");
}

TEST_F(HttpWire, SendsNoCookiesBack)
{
    server.reply(RawReply::ok("", {"Set-Cookie: a=b; Path=/"}));
    get(server.url());
    get(server.url());
    EXPECT_FALSE(server.last().has("Cookie"));
}

TEST_F(HttpWire, HonoursOptionsThatACallerSetsOnTheHandle)
{
    HttpRequest* const request = makeGet(server.url("/x"));
    curl_easy_setopt(request->getHandle(), CURLOPT_REFERER, "there");
    run(request);
    EXPECT_EQ(server.last().field("Referer"), " there");
    get(server.url());
    EXPECT_FALSE(server.last().has("Referer")) << "the handle came back from the pool with an option of its last user";
}

TEST_F(HttpWire, KeepsItsOwnRulesWhateverACallerSetsOnTheHandle)
{
    server.reply(RawReply::status(302, "", {"Location: file:///etc/passwd"}));
    HttpRequest* const request = makeGet(server.url("/x"));
    CURL* const handle = request->getHandle();
    curl_easy_setopt(handle, CURLOPT_URL, "file:///etc/passwd");
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "all");
    curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, "all");
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, "not=this");
    curl_easy_setopt(handle, CURLOPT_NOBODY, 1L);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, nullptr);
    curl_easy_setopt(handle, CURLOPT_PRIVATE, nullptr);
    EXPECT_EQ(run(request).status, SESSION_PROTOCOL_ERROR);
    EXPECT_EQ(server.last().line(), "GET /x HTTP/1.1");
    EXPECT_EQ(server.requestCount(), 1u);
}

TEST_F(HttpWire, SendsTheFieldsOnTheHandleAsTheBodyOfAPostWithoutOne)
{
    HttpRequest* const request = makePost(server.url(), "");
    curl_easy_setopt(request->getHandle(), CURLOPT_POSTFIELDS, "from=handle");
    run(request);
    EXPECT_EQ(server.last().body, "from=handle");
    HttpRequest* const untouched = makePost(server.url(), "");
    untouched->getHandle();
    run(untouched);
    EXPECT_EQ(server.last().body, "");
    EXPECT_EQ(server.last().field("Content-Length"), " 0");
}

TEST_F(HttpWire, RunsARequestAgainWhenItsCompletionQueuesItAgain)
{
    struct Again {
        Outcomes outcomes;
        int left = 3;
        static VOID take(SESSION_STATUS status, HttpRequest* request, VOID* context)
        {
            auto& self = *static_cast<Again*>(context);
            if (--self.left > 0 && HttpDelegator::getInstance()->addRequest(request) == 0)
                return;
            Outcomes::take(status, request, &self.outcomes);
        }
    } again;
    server.onRequest([](const RawRequest&) { return RawReply::ok("body"); });
    ASSERT_EQ(send(new HttpRequest(HTTP_REQUEST_GET, server.url(), HttpHeader(), "", Again::take, &again)), 0);
    ASSERT_TRUE(again.outcomes.waitFor(1));
    EXPECT_EQ(again.outcomes.all()[0].payload, "body");
    EXPECT_EQ(server.requestCount(), 3u);
}

} // namespace
