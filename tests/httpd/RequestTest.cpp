// SPDX-License-Identifier: MIT
#include "httpd/Request.h"

#include "ServerFixture.h"

namespace {

using namespace httpd_test;
using httpd::RequestHead;

TEST(RequestHead, TakesItsTargetApart)
{
    RequestHead head;
    for (const char* target : {"/a/b?c=d&e", "http://host:80/a/b?c=d&e", "https://host/a/b?c=d&e"}) {
        head.target = target;
        EXPECT_EQ(head.path(), "/a/b") << target;
        EXPECT_EQ(head.query(), "c=d&e") << target;
    }
    head.target = "/a%20b";
    EXPECT_EQ(head.path(), "/a%20b");
    EXPECT_EQ(head.query(), "");
    head.target = "http://host";
    EXPECT_EQ(head.path(), "/");
    head.target = "/a?b?c";
    EXPECT_EQ(head.query(), "b?c");
    head.target = "*";
    EXPECT_EQ(head.path(), "*");
}

TEST(RequestHead, FindsTheFirstHeaderOfANameInAnyCase)
{
    RequestHead head;
    head.headers = {{"Accept", "a"}, {"X", ""}, {"ACCEPT", "b"}};
    EXPECT_EQ(head.header("accept"), "a");
    EXPECT_EQ(head.header("x"), "");
    EXPECT_EQ(head.header("y"), std::nullopt);
    EXPECT_EQ(head.header("accep"), std::nullopt);
}

class Request : public ServerFixture {};

TEST_F(Request, ReachesTheHandlerAsItWasSent)
{
    RequestHead seen;
    start([&](const RequestHead& head, httpd::Connection&) {
        seen = head;
        return textReply("");
    });
    request("BREW /a%2Fb?c=%41+d HTTP/1.1\r\nhOst: a\r\nX-Two: 1\r\nx-two: 2\r\nEmpty:\r\nContent-Length: 3\r\n\r\nabc");
    EXPECT_EQ(seen.method, "BREW");
    EXPECT_EQ(seen.target, "/a%2Fb?c=%41+d");
    EXPECT_EQ(seen.address, "127.0.0.1");
    EXPECT_EQ(seen.bodySize, 3);
    ASSERT_EQ(seen.headers.size(), 5U);
    EXPECT_EQ(seen.headers[0].name, "hOst");
    EXPECT_EQ(seen.headers[1].value, "1");
    EXPECT_EQ(seen.headers[2].value, "2");
    EXPECT_EQ(seen.header("empty"), "");
}

TEST_F(Request, HasNoBodySizeWhenItsBodyComesInChunks)
{
    std::optional<std::int64_t> size = 7;
    start([&](const RequestHead& head, httpd::Connection&) {
        size = head.bodySize;
        return textReply("");
    });
    request("POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: Chunked\r\n\r\n0\r\n\r\n");
    EXPECT_EQ(size, std::nullopt);
    request("POST / HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_EQ(size, 0);
}

TEST_F(Request, IsFollowedByOthersOnItsConnection)
{
    start([](const RequestHead& head, httpd::Connection&) { return textReply(head.target); });
    HttpConnection client(address());
    client.send("GET /1 HTTP/1.1\r\nHost: a\r\n\r\nGET /2 HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_EQ(client.receive().body, "/1");
    EXPECT_EQ(client.receive().body, "/2");
    const auto endings = m_handler.waitForEndings(2);
    EXPECT_EQ(endings[0].target, "/1");
    EXPECT_EQ(endings[1].status, 200U);
}

TEST_F(Request, IsAnsweredWhenTheHandlerThrows)
{
    start([](const RequestHead&, httpd::Connection&) -> httpd::Decision { throw std::runtime_error("broken"); });
    const HttpReply response = get("/");
    EXPECT_EQ(response.status, 500);
    EXPECT_EQ(response.body, "The server has failed.\n");
    EXPECT_EQ(get("/").status, 500) << "and the server goes on";
}

TEST_F(Request, EndsWithoutAStatusWhenItIsReset)
{
    start([](const RequestHead&, httpd::Connection&) { return httpd::Reset(); });
    HttpConnection client(address());
    client.send("GET /gone HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_EQ(client.receive().status, 0);
    EXPECT_EQ(client.lastError(), ECONNRESET);
    const auto endings = m_handler.waitForEndings(1);
    EXPECT_EQ(endings[0].target, "/gone");
    EXPECT_EQ(endings[0].status, std::nullopt);
}

} // namespace
