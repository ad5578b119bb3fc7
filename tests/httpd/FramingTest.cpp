// SPDX-License-Identifier: MIT
#include "httpd/Framing.h"

#include "ServerFixture.h"
#include "httpd/Text.h"

namespace {

using namespace httpd_test;
using httpd::readFraming;

TEST(Framing, TellsHowLongTheBodyIs)
{
    EXPECT_EQ(readFraming({}).bodySize, 0);
    EXPECT_EQ(readFraming({{"content-length", " 12 "}}).bodySize, 12);
    EXPECT_EQ(readFraming({{"Transfer-Encoding", "CHUNKED"}}).bodySize, std::nullopt);
    for (const auto& headers : std::vector<std::vector<httpd::Header>>{
             {}, {{"Content-Length", "0"}}, {{"Transfer-Encoding", "chunked"}}, {{"Host", "a"}, {"Authorization", "b"}}})
        EXPECT_EQ(readFraming(headers).error, nullptr);
}

class DoubtfulFraming : public ::testing::TestWithParam<std::vector<httpd::Header>> {};

TEST_P(DoubtfulFraming, IsRefused) { EXPECT_NE(readFraming(GetParam()).error, nullptr); }

using Headers = std::vector<httpd::Header>;
INSTANTIATE_TEST_SUITE_P(Headers, DoubtfulFraming,
                         ::testing::Values(Headers{{"Content-Length", "1"}, {"content-length", "1"}},
                                           Headers{{"Content-Length", "1"}, {"Transfer-Encoding", "chunked"}},
                                           Headers{{"Transfer-Encoding", "chunked"}, {"Transfer-Encoding", "chunked"}},
                                           Headers{{"Transfer-Encoding", "gzip"}}, Headers{{"Transfer-Encoding", "gzip, chunked"}},
                                           Headers{{"Transfer-Encoding", ""}}, Headers{{"Content-Length", ""}},
                                           Headers{{"Content-Length", "-1"}}, Headers{{"Content-Length", "+1"}},
                                           Headers{{"Content-Length", "0x1"}}, Headers{{"Content-Length", "1, 1"}},
                                           Headers{{"Content-Length", "9223372036854775808"}},
                                           Headers{{"Host", "a"}, {"HOST", "a"}},
                                           Headers{{"Authorization", "a"}, {"authorization", "a"}}));

TEST(HeaderText, IsComparedWithoutRegardToAsciiCaseAlone)
{
    EXPECT_TRUE(httpd::equalsIgnoringCase("aZ-[", "Az-["));
    EXPECT_FALSE(httpd::equalsIgnoringCase("@", "`"));
    EXPECT_FALSE(httpd::equalsIgnoringCase("[", "{"));
    EXPECT_FALSE(httpd::equalsIgnoringCase("\xC3\xA9", "\xC3\x89"));
    EXPECT_FALSE(httpd::equalsIgnoringCase("a", "aa"));
    EXPECT_EQ(httpd::trim(" \t a b\t "), "a b");
    EXPECT_EQ(httpd::trim("\t "), "");
}

class AmbiguousRequest : public ServerFixture {};

TEST_F(AmbiguousRequest, IsRefusedAndClosesItsConnection)
{
    int asked = 0;
    start([&](const httpd::RequestHead&, httpd::Connection&) {
        ++asked;
        return textReply("");
    });
    HttpConnection client(address());
    // One reader of the first request takes the second for its body, another does not.
    client.send("POST /1 HTTP/1.1\r\nHost: a\r\nContent-Length: 36\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"
                "GET /2 HTTP/1.1\r\nHost: a\r\n\r\n");
    const HttpReply response = client.receive();
    EXPECT_EQ(response.status, 400);
    EXPECT_EQ(response.body, "The request says more than once how long it is.\n");
    EXPECT_EQ(client.receive().status, 0);
    EXPECT_EQ(asked, 0);
    EXPECT_EQ(m_handler.waitForEndings(1)[0].status, 400U);
}

class WordedRefusal : public ServerFixture {
protected:
    class Handler : public ScriptedHandler {
    public:
        httpd::Reply refusal(const httpd::RequestHead& head, const httpd::Refusal& refusal) override
        {
            if (head.target == "/throw")
                throw std::runtime_error("no words");
            return textReply(head.target + " " + refusal.reason, refusal.status);
        }
    };
};

TEST_F(WordedRefusal, IsTheHandlersOwn)
{
    Handler handler;
    handler.onRequest = [](const httpd::RequestHead&, httpd::Connection&) { return textReply(""); };
    m_server = std::make_unique<httpd::Server>(httpd::Listener("127.0.0.1:0"), m_limits, handler);
    const std::string rest = " HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n";
    EXPECT_EQ(request("GET /x" + rest).body, "/x A header is there twice.");
    const HttpReply plain = request("GET /throw" + rest);
    EXPECT_EQ(plain.status, 400);
    EXPECT_EQ(plain.body, "A header is there twice.\n");
    m_server.reset();
}

} // namespace
