// SPDX-License-Identifier: MIT
#include "host/Client.h"

using namespace test;

namespace {

class HttpRedirect : public HttpTest {
protected:
    static RawReply to(const std::string& location, int code = 302)
    {
        return RawReply::status(code, "moved", {"Location: " + location});
    }
    const HttpHeader own =
        header({{"Authorization", " auth_identifier=\"x\""}, {"DATE", "d"}, {"appToken", "t"}, {"Cookie", "c=d"}});
    static bool hasOwn(const RawRequest& request)
    {
        return request.has("Authorization") || request.has("DATE") || request.has("appToken") || request.has("Cookie");
    }
    RawServer other;
};

TEST_F(HttpRedirect, FollowsEveryKindForAGet)
{
    for (const int code : {301, 302, 303, 307, 308}) {
        server.reply(to("/target", code));
        server.reply(RawReply::ok("there"));
        const Outcome outcome = get(server.url("/start"));
        EXPECT_EQ(outcome.status, SESSION_DONE) << code;
        EXPECT_EQ(outcome.code, 200u) << code;
        EXPECT_EQ(outcome.payload, "there") << code;
        EXPECT_EQ(server.last().line(), "GET /target HTTP/1.1") << code;
    }
    EXPECT_EQ(server.connectionCount(), 1u);
}

TEST_F(HttpRedirect, DeliversOtherRepliesWithALocation)
{
    for (const int code : {200, 201, 300, 304, 305, 404}) {
        const std::string body = code == 304 ? "" : "here";
        server.reply(code == 304 ? RawReply().send("HTTP/1.1 304 Not Modified\r\nLocation: /x\r\n\r\n")
                                 : RawReply::status(code, body, {"Location: /x"}));
        const Outcome outcome = get(server.url());
        EXPECT_EQ(outcome.code, static_cast<UINT32>(code));
        EXPECT_EQ(outcome.payload, body);
    }
    EXPECT_EQ(server.requestCount(), 6u);
}

TEST_F(HttpRedirect, DeliversARedirectWithoutALocation)
{
    server.reply(RawReply::status(302, "nowhere"));
    const Outcome outcome = get(server.url());
    EXPECT_EQ(outcome.code, 302u);
    EXPECT_EQ(outcome.payload, "nowhere");
}

TEST_F(HttpRedirect, FollowsNoneForAPost)
{
    for (const int code : {301, 302, 303, 307, 308}) {
        server.reply(to("/target", code));
        const Outcome outcome = post(server.url("/start"), "a=b");
        EXPECT_EQ(outcome.status, SESSION_DONE);
        EXPECT_EQ(outcome.code, static_cast<UINT32>(code));
        EXPECT_EQ(outcome.payload, "moved");
    }
    EXPECT_EQ(server.requestCount(), 5u);
}

TEST_F(HttpRedirect, StopsAfterTheNumberOfTheOptions)
{
    options([](HttpOptions& o) { o.maxRedirects = 3; });
    server.onRequest([](const RawRequest&) { return to("/again"); });
    EXPECT_EQ(get(server.url()).status, SESSION_PROTOCOL_ERROR);
    EXPECT_EQ(server.requestCount(), 4u);
}

TEST_F(HttpRedirect, FollowsExactlyTheNumberOfTheOptions)
{
    options([](HttpOptions& o) { o.maxRedirects = 3; });
    for (int i = 0; i < 3; ++i)
        server.reply(to("/again"));
    server.reply(RawReply::ok("arrived"));
    EXPECT_EQ(get(server.url()).payload, "arrived");
}

TEST_F(HttpRedirect, FollowsNoneWhenTheOptionsForbidIt)
{
    options([](HttpOptions& o) { o.maxRedirects = 0; });
    server.reply(to("/x"));
    EXPECT_EQ(get(server.url()).status, SESSION_PROTOCOL_ERROR);
    EXPECT_EQ(server.requestCount(), 1u);
}

TEST_F(HttpRedirect, ResolvesRelativeLocations)
{
    const std::pair<const char*, const char*> cases[] = {
        {"/abs?x", "/abs?x"},
        {"rel", "/dir/rel"},
        {"../up", "/up"},
        {"?query only", "/dir/page?query%20only"},
        {"with blank", "/dir/with%20blank"},
        {"./\xc3\xbc", "/dir/%C3%BC"},
        {"/frag#ment", "/frag"},
        {"/%41?&&", "/%41?&&"},
    };
    for (const auto& [location, target] : cases) {
        server.reply(to(location));
        server.reply(RawReply::ok());
        EXPECT_EQ(get(server.url("/dir/page?old=1")).status, SESSION_DONE) << location;
        EXPECT_EQ(server.last().target(), target) << location;
    }
}

TEST_F(HttpRedirect, KeepsTheCallersFieldsOnTheSameOrigin)
{
    server.reply(to("/a"));
    server.reply(to(server.url("/b")));
    get(server.url(), own);
    ASSERT_EQ(server.requestCount(), 3u);
    for (const RawRequest& request : server.requests()) {
        EXPECT_EQ(request.field("Authorization"), "  auth_identifier=\"x\"");
        EXPECT_EQ(request.field("appToken"), " t");
    }
}

TEST_F(HttpRedirect, TakesNoneOfTheCallersFieldsToAnotherPort)
{
    server.reply(to(other.url("/there")));
    other.reply(RawReply::ok("there"));
    EXPECT_EQ(get(server.url(), own).payload, "there");
    ASSERT_EQ(other.requestCount(), 1u);
    EXPECT_FALSE(hasOwn(other.last())) << other.last().head;
    EXPECT_TRUE(hasOwn(server.last()));
    EXPECT_TRUE(other.last().has("User-Agent"));
}

TEST_F(HttpRedirect, TakesNoneOfTheCallersFieldsToAnotherHost)
{
    options([&](HttpOptions& o) { o.connectTo = {"::127.0.0.1:" + std::to_string(server.port())}; });
    for (const char* location :
         {"http://b.example/there", "//b.example/there", "http://a.example:8080/there", "http://sub.a.example/there"}) {
        server.reply(to(location));
        server.reply(RawReply::ok());
        EXPECT_EQ(get("http://a.example/", own).status, SESSION_DONE) << location;
        EXPECT_FALSE(hasOwn(server.last())) << server.last().head;
        EXPECT_EQ(server.last().target(), "/there");
    }
}

TEST_F(HttpRedirect, KnowsTheSameOriginInOtherWords)
{
    options([&](HttpOptions& o) { o.connectTo = {"::127.0.0.1:" + std::to_string(server.port())}; });
    server.reply(to("HTTP://A.EXAMPLE:80/there"));
    get("http://a.example/", own);
    EXPECT_TRUE(hasOwn(server.last())) << server.last().head;
}

TEST_F(HttpRedirect, DoesNotTakeTheFieldsUpAgainOnTheWayBack)
{
    server.reply(to(other.url("/over")));
    other.reply(to(server.url("/back")));
    EXPECT_EQ(get(server.url("/start"), own).status, SESSION_DONE);
    EXPECT_EQ(server.last().target(), "/back");
    EXPECT_FALSE(hasOwn(server.last()));
}

TEST_F(HttpRedirect, LeadsToNothingButHttp)
{
    for (const char* location : {"file:///etc/passwd", "ftp://127.0.0.1/x", "gopher://127.0.0.1:70/1", "javascript:1", "http://",
                                 "http:///x", "http://a b/", "https:", "//", "dict://x", "data:,x"}) {
        server.reply(to(location));
        const std::size_t before = server.requestCount();
        const Outcome outcome = get(server.url());
        // What is no URL of its own is a path on the same server.
        const bool relative = std::string(location).find(':') == std::string::npos;
        EXPECT_TRUE(outcome.status == SESSION_PROTOCOL_ERROR || relative) << location;
        EXPECT_TRUE(relative || server.requestCount() == before + 1) << location;
    }
}

TEST_F(HttpRedirect, DeliversARedirectWithAnEmptyLocation)
{
    server.reply(to(""));
    const Outcome outcome = get(server.url());
    EXPECT_EQ(server.requestCount(), 1u);
    EXPECT_TRUE(outcome.status == SESSION_PROTOCOL_ERROR || outcome.code == 302u);
}

TEST_F(HttpRedirect, KeepsNothingOfTheRepliesOnTheWay)
{
    server.reply(RawReply::status(302, std::string(5000, 'm'), {"Location: /x", "Content-Type: text/way"}));
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
    const Outcome outcome = get(server.url());
    EXPECT_EQ(outcome.payload, "");
    EXPECT_EQ(outcome.contentType, "");
    EXPECT_EQ(outcome.done, 0.0);
}

TEST_F(HttpRedirect, BoundsTheBodiesOnTheWay)
{
    options([](HttpOptions& o) { o.maxMemoryBody = 10'000; });
    server.reply(RawReply().send("HTTP/1.1 302 X\r\nLocation: /x\r\n\r\n").sendEndlessly(std::string(4096, 'x')));
    EXPECT_EQ(get(server.url()).status, SESSION_TOO_LARGE);
}

TEST_F(HttpRedirect, CountsTheHeadsOfAllRepliesTogether)
{
    options([](HttpOptions& o) {
        o.maxHeaderBytes = 10'000;
        o.maxRedirects = 100;
    });
    server.onRequest([](const RawRequest&) { return RawReply::status(302, "", {"Location: /x", "X: " + std::string(900, 'x')}); });
    EXPECT_EQ(get(server.url()).status, SESSION_TOO_LARGE);
    EXPECT_LT(server.requestCount(), 12u);
}

TEST_F(HttpRedirect, PutsTheLastReplyIntoTheFile)
{
    const TempDir dir;
    server.reply(to("/file"));
    server.reply(RawReply::ok("content"));
    EXPECT_EQ(download(server.url(), dir.file("f")).status, SESSION_DONE);
    EXPECT_EQ(readFile(dir.file("f")), "content");
}

TEST_F(HttpRedirect, HoldsForExecuteToo)
{
    server.reply(to(other.url("/there")));
    other.reply(RawReply::ok("there"));
    HttpRequest request(HTTP_REQUEST_GET, server.url(), own, "", nullptr, nullptr);
    EXPECT_EQ(request.execute(), 0);
    EXPECT_EQ(request.getResponse().getPayload(), "there");
    EXPECT_FALSE(hasOwn(other.last()));
}

} // namespace
