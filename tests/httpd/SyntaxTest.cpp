// SPDX-License-Identifier: MIT
// What a request may look like on the wire, and what becomes of one that looks otherwise.
#include "httpd/ChunkReader.h"
#include "httpd/HeadParser.h"
#include "httpd/Text.h"

#include "ServerFixture.h"

#include <algorithm>
#include <cctype>
#include <sys/socket.h>

namespace {

using namespace httpd_test;
using httpd::ChunkReader;
using httpd::HeadScanner;
using httpd::RequestHead;
using namespace std::string_literals;

/// Sends bytes and reads until the server closes; "" when it does not.
std::string answerTo(const std::string& address, const std::string& bytes)
{
    HttpConnection client(address);
    client.send(bytes);
    const timeval patience = {10, 0};
    ::setsockopt(client.socket(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    std::string all;
    char block[4096];
    for (;;) {
        const ssize_t count = ::recv(client.socket(), block, sizeof block, 0);
        if (count <= 0)
            return count == 0 ? all : std::string();
        all.append(block, static_cast<std::size_t>(count));
    }
}

TEST(HexDigit, HasAValueInEitherCase)
{
    const std::string digits = "0123456789abcdef";
    for (int c = -128; c < 128; ++c) {
        const auto at = digits.find(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
        EXPECT_EQ(httpd::hexDigit(static_cast<char>(c)), at == std::string::npos ? -1 : static_cast<int>(at)) << c;
    }
}

std::size_t countOf(const std::string& text, const std::string& word)
{
    std::size_t count = 0;
    for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
        ++count;
    return count;
}

struct Malformed {
    const char* what;
    std::string bytes;
    int status = 400;
};

class MalformedRequest : public ServerFixture, public ::testing::WithParamInterface<Malformed> {};

TEST_P(MalformedRequest, IsAnsweredOnceAndEndsItsConnection)
{
    std::vector<std::string> asked;
    start([&](const RequestHead& head, httpd::Connection&) {
        asked.push_back(head.target);
        return httpd::BodyInMemory{100, [](std::string) { return textReply("taken"); }};
    });
    // What follows would be a request of its own for a reader that sees the first one end elsewhere.
    const std::string answer = answerTo(address(), GetParam().bytes + "GET /inner HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_EQ(answer.substr(0, 13), "HTTP/1.1 " + std::to_string(GetParam().status) + " ") << answer;
    EXPECT_EQ(countOf(answer, "HTTP/1.1 "), 1U) << answer;
    EXPECT_NE(answer.find("\r\nConnection: close\r\n"), std::string::npos) << answer;
    EXPECT_EQ(std::count(asked.begin(), asked.end(), "/inner"), 0);
    EXPECT_EQ(m_handler.waitForEndings(1)[0].status, static_cast<unsigned>(GetParam().status));
}

const std::string HEAD = "GET / HTTP/1.1\r\nHost: a\r\n";
const std::string POST = "POST / HTTP/1.1\r\nHost: a\r\n";
const std::string CHUNKED = POST + "Transfer-Encoding: chunked\r\n\r\n";

INSTANTIATE_TEST_SUITE_P(
    Wire, MalformedRequest,
    ::testing::Values(
        Malformed{"blank before the colon", POST + "Content-Length : 28\r\n\r\n"},
        Malformed{"tab before the colon", POST + "Content-Length\t: 28\r\n\r\n"},
        Malformed{"blank before the name", POST + " Content-Length: 28\r\n\r\n"},
        Malformed{"blank within the name", POST + "Content Length: 28\r\n\r\n"}, Malformed{"no name", HEAD + ": b\r\n\r\n"},
        Malformed{"no colon", HEAD + "Xab\r\n\r\n"}, Malformed{"a header that goes on", HEAD + "X: a\r\n b\r\n\r\n"},
        Malformed{"CR within a value", HEAD + "X: a\rContent-Length: 28\r\n\r\n"},
        Malformed{"CR after the request line", "GET / HTTP/1.1\rHost: a\r\n\r\n"}, Malformed{"two CR", HEAD + "X: a\r\r\n\r\n"},
        Malformed{"LF after the request line", "GET / HTTP/1.1\nHost: a\r\n\r\n"},
        Malformed{"LF after a header", HEAD + "X: a\n\r\n"}, Malformed{"LF for the empty line", HEAD + "\n"},
        Malformed{"NUL within a value", HEAD + "X: a\0b\r\n\r\n"s}, Malformed{"NUL within a name", HEAD + "X\0: b\r\n\r\n"s},
        Malformed{"control within a value", HEAD + "X: a\x1B[2Jb\r\n\r\n"},
        Malformed{"NUL within the target", "GET /a\0b HTTP/1.1\r\nHost: a\r\n\r\n"s},
        Malformed{"blank within the target", "GET /a b HTTP/1.1\r\nHost: a\r\n\r\n"},
        Malformed{"tab within the target", "GET /a\tb HTTP/1.1\r\nHost: a\r\n\r\n"},
        Malformed{"DEL within the target", "GET /a\x7F HTTP/1.1\r\nHost: a\r\n\r\n"},
        Malformed{"target that is no path", "GET a HTTP/1.1\r\nHost: a\r\n\r\n"},
        Malformed{"target of two hosts", "GET http://b/ HTTP/1.1\r\nHost: a\r\n\r\n"},
        Malformed{"two blanks", "GET  / HTTP/1.1\r\nHost: a\r\n\r\n"}, Malformed{"no version", "GET /\r\nHost: a\r\n\r\n"},
        Malformed{"no method", " / HTTP/1.1\r\nHost: a\r\n\r\n"}, Malformed{"strange method", "G(T / HTTP/1.1\r\nHost: a\r\n\r\n"},
        Malformed{"strange version", "GET / HTTP/1.1x\r\nHost: a\r\n\r\n"},
        Malformed{"small letters", "GET / http/1.1\r\nHost: a\r\n\r\n"},
        Malformed{"version to come", "GET / HTTP/2.0\r\nHost: a\r\n\r\n", 505}, Malformed{"no host", "GET / HTTP/1.1\r\n\r\n"},
        Malformed{"empty host", "GET / HTTP/1.1\r\nHost:\r\n\r\n"},
        Malformed{"host that is none", "GET / HTTP/1.1\r\nHost: a/b\r\n\r\n"},
        Malformed{"host with a name before it", "GET / HTTP/1.1\r\nHost: me@a\r\n\r\n"},
        Malformed{"length that is none", POST + "Content-Length: -1\r\n\r\n"},
        Malformed{"chunks before their time", "POST / HTTP/1.0\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"},
        Malformed{"encryption where there is none", "\x16\x03\x01\x02\r\n\r\n"},
        Malformed{"LF after a chunk's size", CHUNKED + "3\nabc\r\n0\r\n\r\n"},
        Malformed{"LF after a chunk", CHUNKED + "3\r\nabc\n0\r\n\r\n"}, Malformed{"LF after the last chunk", CHUNKED + "0\n\r\n"},
        Malformed{"LF at the end", CHUNKED + "0\r\n\n"}, Malformed{"a chunk that is too long", CHUNKED + "3\r\nabcd\r\n0\r\n\r\n"},
        Malformed{"size that is none", CHUNKED + "z\r\nabc\r\n0\r\n\r\n"},
        Malformed{"size with a sign", CHUNKED + "+3\r\nabc\r\n0\r\n\r\n"},
        Malformed{"size with a blank", CHUNKED + "3 \r\nabc\r\n0\r\n\r\n"},
        Malformed{"size beyond all bounds", CHUNKED + "10000000000000003\r\nabc\r\n0\r\n\r\n"},
        Malformed{"CR within an extension", CHUNKED + "3;a\rb\r\nabc\r\n0\r\n\r\n"},
        Malformed{"many parameters", "GET /?" + std::string(40'000, '&') + " HTTP/1.1\r\nHost: a\r\n\r\n", 431}),
    [](const auto& named) {
        std::string name = named.param.what;
        std::replace_if(
            name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
        return name;
    });

class SoundRequest : public ServerFixture, public ::testing::WithParamInterface<Malformed> {
protected:
    void SetUp() override
    {
        start([](const RequestHead& head, httpd::Connection&) {
            return httpd::BodyInMemory{100, [&](std::string body) { return textReply(std::string(head.path()) + " " + body); }};
        });
    }
};

TEST_P(SoundRequest, IsServedAndLeavesItsConnectionOpen)
{
    HttpConnection client(address());
    client.send(GetParam().bytes + "GET /next HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_EQ(client.receive().body, "/x abc");
    EXPECT_EQ(client.receive().body, "/next ");
}

const std::string POST_X = "POST /x HTTP/1.1\r\nHost: a\r\n";
const std::string CHUNKED_X = POST_X + "Transfer-Encoding: chunked\r\n\r\n";

INSTANTIATE_TEST_SUITE_P(
    Wire, SoundRequest,
    ::testing::Values(
        Malformed{"blank_behind_a_value", POST_X + "Content-Length: 3 \r\n\r\nabc"},
        Malformed{"tabs_around_a_value", POST_X + "Content-Length:\t3\t \r\n\r\nabc"},
        Malformed{"blank_behind_the_host", "POST /x HTTP/1.1\r\nHost: a \r\nContent-Length: 3\r\n\r\nabc"},
        Malformed{"empty_lines_before", "\r\n\r\n" + POST_X + "Content-Length: 3\r\n\r\nabc"},
        Malformed{"whole_address", "POST http://A/x HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\n\r\nabc"},
        Malformed{"minor_version_to_come", "POST /x HTTP/1.7\r\nHost: a\r\nContent-Length: 3\r\n\r\nabc"},
        Malformed{"bytes_that_are_no_ascii", "POST /x?\xC3\xA9 HTTP/1.1\r\nHost: a\r\nX: \xE9\r\nContent-Length: 3\r\n\r\nabc"},
        Malformed{"many_parameters", "POST /x?" + std::string(7000, '&') + " HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\n\r\nabc"},
        Malformed{"chunks", CHUNKED_X + "1\r\na\r\n02\r\nbc\r\n000\r\n\r\n"},
        Malformed{"extensions", CHUNKED_X + "3;a=\"b\";c\r\nabc\r\n0;d\r\n\r\n"},
        Malformed{"trailers", CHUNKED_X + "3\r\nabc\r\n0\r\nX: y\r\nZ:\r\n\r\n"}),
    [](const auto& named) { return std::string(named.param.what); });

class Client : public ServerFixture {};

TEST_F(Client, IsToldToGoOnWhenItWaits)
{
    start([](const RequestHead&, httpd::Connection&) {
        return httpd::BodyInMemory{100, [](std::string body) { return textReply(body); }};
    });
    HttpConnection client(address());
    client.send("POST / HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n");
    EXPECT_EQ(client.receiveInterim(), 100);
    client.send("abc");
    EXPECT_EQ(client.receive().body, "abc");
}

TEST_F(Client, IsSparedABodyThatNobodyWants)
{
    startWithText("early");
    HttpConnection client(address());
    client.send("POST / HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n");
    const HttpReply reply = client.receive();
    EXPECT_EQ(reply.body, "early");
    EXPECT_EQ(reply.header("connection"), "close") << "whether the body follows is not known";
}

TEST_F(Client, OfAnOldVersionGetsItsReplyAndNoChunks)
{
    start([](const RequestHead&, httpd::Connection&) {
        class Once : public httpd::BodySource {
            std::int64_t read(char* buffer, std::size_t, httpd::Connection&) override
            {
                if (std::exchange(m_through, true))
                    return END;
                buffer[0] = 'x';
                return 1;
            }
            bool m_through = false;
        };
        httpd::Reply reply;
        reply.body.emplace<httpd::StreamBody>(httpd::StreamBody{std::make_unique<Once>(), std::nullopt});
        return reply;
    });
    const std::string answer = answerTo(address(), "GET / HTTP/1.0\r\n\r\n");
    EXPECT_EQ(answer.substr(answer.find("\r\n\r\n")), "\r\n\r\nx") << answer;
    EXPECT_EQ(answer.find("Transfer-Encoding"), std::string::npos);
}

TEST_F(Client, SeesNoHeaderThatAValueWouldSmuggleIn)
{
    start([](const RequestHead&, httpd::Connection&) {
        httpd::Reply reply = textReply("x");
        reply.headers = {{"X-Bad", "a\r\nX-Worse: b"}, {"X-Good", "c"}};
        return reply;
    });
    const HttpReply reply = get("/");
    EXPECT_EQ(reply.headers.count("x-worse"), 0U);
    EXPECT_EQ(reply.header("x-good"), "c");
}

TEST(HeadScanner, FindsTheEndWhereverTheBytesArePartedByTheirWay)
{
    const std::string bytes = "\r\nGET / HTTP/1.1\r\nHost: a\r\n\r\nrest";
    const std::size_t end = bytes.size() - 4;
    for (std::size_t parted = 1; parted < end; ++parted) {
        HeadScanner scanner;
        ASSERT_EQ(scanner.scan(std::string_view(bytes).substr(0, parted)), HeadScanner::State::INCOMPLETE) << parted;
        ASSERT_EQ(scanner.scan(bytes), HeadScanner::State::WHOLE) << parted;
        ASSERT_EQ(scanner.size(), end) << parted;
    }
}

TEST(ChunkReader, ReadsTheSameWhereverTheBytesArePartedByTheirWay)
{
    const std::string bytes = "3;x=y\r\nabc\r\nA\r\n0123456789\r\n0\r\nX: y\r\n\r\nGET";
    for (std::size_t parted = 0; parted < bytes.size(); ++parted) {
        ChunkReader reader;
        std::string body;
        std::string_view second = std::string_view(bytes).substr(parted);
        for (std::string_view rest = std::string_view(bytes).substr(0, parted);
             !rest.empty() && reader.state() == ChunkReader::State::MORE;)
            body += reader.take(rest);
        while (!second.empty() && reader.state() == ChunkReader::State::MORE)
            body += reader.take(second);
        EXPECT_EQ(reader.state(), ChunkReader::State::WHOLE) << parted;
        EXPECT_EQ(body, "abc0123456789") << parted;
        EXPECT_TRUE(parted > bytes.size() - 3 || second == "GET") << parted;
    }
}

TEST(ChunkReader, TakesNoTrailersWithoutEnd)
{
    ChunkReader reader;
    const std::string trailer = "X: " + std::string(1000, 'y') + "\r\n";
    std::string_view begin = "0\r\n";
    reader.take(begin);
    for (int i = 0; i < 1000 && reader.state() == ChunkReader::State::MORE; ++i) {
        std::string_view rest = trailer;
        reader.take(rest);
    }
    EXPECT_EQ(reader.state(), ChunkReader::State::BROKEN);
}

} // namespace
