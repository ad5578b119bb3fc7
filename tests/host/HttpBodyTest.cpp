// SPDX-License-Identifier: MIT
#include "host/Client.h"
#include "support/Gzip.h"

using namespace test;

namespace {

constexpr std::uint64_t LIMIT = 100'000;

class HttpBody : public HttpTest {
protected:
    HttpBody()
    {
        options([](HttpOptions& o) {
            o.maxMemoryBody = LIMIT;
            o.maxHeaderBytes = 64 << 10;
        });
    }
    /// What a transfer makes of bytes after which the server closes the connection in good order.
    Outcome say(const std::string& bytes)
    {
        server.reply(RawReply().send(bytes).close());
        return get(server.url());
    }
    /// A failed transfer shows nothing of the reply.
    static void expectFailure(const Outcome& outcome, SESSION_STATUS status, const std::string& what)
    {
        EXPECT_EQ(outcome.status, status) << what;
        EXPECT_EQ(outcome.code, 0u) << what;
        EXPECT_EQ(outcome.payload, "") << what;
    }
};

TEST_F(HttpBody, TakesABodyOfExactlyTheLimit)
{
    server.reply(RawReply::ok(std::string(LIMIT, 'x')));
    const Outcome outcome = get(server.url());
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(outcome.payload.size(), LIMIT);
}

TEST_F(HttpBody, RefusesABodyBeyondTheLimit)
{
    server.reply(RawReply::ok(std::string(LIMIT + 1, 'x')));
    expectFailure(get(server.url()), SESSION_TOO_LARGE, "with a length");
    expectFailure(say("HTTP/1.1 200 OK\r\n\r\n" + std::string(LIMIT + 1, 'x')), SESSION_TOO_LARGE, "until the end");
    char size[16];
    std::snprintf(size, sizeof size, "%llx", static_cast<unsigned long long>(LIMIT) + 1);
    expectFailure(
        say("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + std::string(size) + "\r\n" + std::string(LIMIT + 1, 'x')),
        SESSION_TOO_LARGE, "in chunks");
    expectFailure(say("HTTP/1.1 404 No\r\n\r\n" + std::string(LIMIT + 1, 'x')), SESSION_TOO_LARGE, "of an error reply");
}

TEST_F(HttpBody, RefusesAnAnnouncedLengthBeyondTheLimitAtOnce)
{
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 99999999999\r\n\r\nx").stall());
    expectFailure(get(server.url()), SESSION_TOO_LARGE, "announced");
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999999\r\n\r\nx").stall());
    expectFailure(get(server.url()), SESSION_TOO_LARGE, "beyond all numbers");
}

TEST_F(HttpBody, StopsABodyThatNeverEnds)
{
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\n\r\n").sendEndlessly(std::string(4096, 'x')));
    expectFailure(get(server.url()), SESSION_TOO_LARGE, "endless");
    EXPECT_TRUE(server.waitForClosed(1));
}

TEST_F(HttpBody, DecodesGzip)
{
    server.reply(RawReply::ok(gzipOfBlanks(5000), {"Content-Encoding: gzip"}));
    const Outcome outcome = get(server.url());
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(outcome.payload, std::string(5000, ' '));
    EXPECT_EQ(server.last().field("Accept-Encoding"), " gzip");
}

TEST_F(HttpBody, CountsABodyAfterDecoding)
{
    const std::string bomb = gzipOfBlanks(8 << 20);
    ASSERT_LT(bomb.size(), LIMIT);
    server.reply(RawReply::ok(bomb, {"Content-Encoding: gzip"}));
    expectFailure(get(server.url()), SESSION_TOO_LARGE, "bomb");
}

TEST_F(HttpBody, FailsWhenTheEncodingIsBroken)
{
    std::string broken = gzipOfBlanks(5000);
    broken[12] = '\x7f';
    server.reply(RawReply::ok("no gzip at all", {"Content-Encoding: gzip"}));
    expectFailure(get(server.url()), SESSION_PROTOCOL_ERROR, "no gzip");
    server.reply(RawReply::ok(broken, {"Content-Encoding: gzip"}));
    expectFailure(get(server.url()), SESSION_PROTOCOL_ERROR, "broken gzip");
    server.reply(RawReply::ok("x", {"Content-Encoding: unheard-of"}));
    expectFailure(get(server.url()), SESSION_PROTOCOL_ERROR, "unknown");
}

TEST_F(HttpBody, AssemblesChunks)
{
    const Outcome outcome =
        say("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3;x=y\r\nabc\r\nA\r\n0123456789\r\n0\r\nTrailer: 1\r\n\r\n");
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(outcome.payload, "abc0123456789");
}

TEST_F(HttpBody, FailsAtGarbageInPlaceOfChunks)
{
    for (const char* garbage :
         {"zz\r\nabc\r\n0\r\n\r\n", "-1\r\nabc\r\n0\r\n\r\n", "fffffffffffffffff\r\nabc", "3\r\nabcdef\r\n0\r\n\r\n"}) {
        const Outcome outcome = say(std::string("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n") + garbage);
        EXPECT_TRUE(outcome.status == SESSION_PROTOCOL_ERROR || outcome.status == SESSION_CUT_OFF) << garbage << outcome.status;
        EXPECT_EQ(outcome.payload, "") << garbage;
    }
}

TEST_F(HttpBody, FailsWhenTheBodyIsShorterThanItsLength)
{
    expectFailure(say("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf"), SESSION_CUT_OFF, "closed");
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf").reset());
    expectFailure(get(server.url()), SESSION_CUT_OFF, "reset");
    expectFailure(say("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\n"), SESSION_CUT_OFF,
                  "last chunk missing");
}

TEST_F(HttpBody, TakesNoMoreThanTheLengthSays)
{
    const Outcome outcome = say("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nhalfHTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nfake");
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(outcome.payload, "half");
    server.reply(RawReply::ok("true"));
    EXPECT_EQ(get(server.url()).payload, "true") << "the surplus was taken for the next reply";
}

TEST_F(HttpBody, TakesSurplusThatComesLateForNoReply)
{
    const std::string reply = "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n";
    server.reply(RawReply().send(reply + "half").hold().send(reply + "fake"));
    EXPECT_EQ(get(server.url()).payload, "half");
    server.release();
    ASSERT_TRUE(server.waitForSent(2 * reply.size() + 8));
    server.reply(RawReply::ok("true"));
    EXPECT_EQ(get(server.url()).payload, "true");
    EXPECT_EQ(server.connectionCount(), 2u);
}

TEST_F(HttpBody, FailsAtLengthsThatAreNotOneNumber)
{
    for (const char* lines : {"Content-Length: -4", "Content-Length: 4x", "Content-Length: ", "Content-Length: 4, 4",
                              "Content-Length: 0x4", "Content-Length: +4", "Content-Length: 4\r\nContent-Length: 4",
                              "Content-Length: 4\r\ncontent-length: 5", "Content-Length: 5\r\nContent-Length: 4"})
        expectFailure(say("HTTP/1.1 200 OK\r\n" + std::string(lines) + "\r\n\r\nhalf"), SESSION_PROTOCOL_ERROR, lines);
}

TEST_F(HttpBody, FailsWhenNothingOrNonsenseComesBack)
{
    expectFailure(say(""), SESSION_CUT_OFF, "nothing");
    expectFailure(say("HTTP/1.1 200 OK\r\nContent-Ty"), SESSION_CUT_OFF, "half a head");
    expectFailure(say("<html>old server</html>"), SESSION_PROTOCOL_ERROR, "no status line");
    expectFailure(say(std::string(1000, '\0')), SESSION_PROTOCOL_ERROR, "zeros");
    expectFailure(say("HTTP/9.9 200 OK\r\n\r\n"), SESSION_PROTOCOL_ERROR, "unknown version");
    expectFailure(say("SSH-2.0-OpenSSH_9.2\r\n"), SESSION_PROTOCOL_ERROR, "another protocol");
}

TEST_F(HttpBody, FailsWhenTheConnectionIsReset)
{
    server.reply(RawReply().reset());
    expectFailure(get(server.url()), SESSION_CUT_OFF, "before the head");
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-").reset());
    expectFailure(get(server.url()), SESSION_CUT_OFF, "in the head");
    server.greet(RawServer::Greeting::RESET);
    const SESSION_STATUS early = get(server.url()).status;
    EXPECT_TRUE(early == SESSION_CUT_OFF || early == SESSION_UNREACHABLE) << "as soon as it was made, or while it was: " << early;
}

TEST_F(HttpBody, FailsWhenNobodyListens)
{
    std::string url;
    {
        const RawServer gone;
        url = gone.url();
    }
    expectFailure(get(url), SESSION_UNREACHABLE, "refused");
    expectFailure(get("http://no-such-host.invalid/"), SESSION_UNREACHABLE, "no such name");
}

TEST_F(HttpBody, FailsWhenAPlainServerIsAskedForTls)
{
    const std::string url = "https://127.0.0.1:" + std::to_string(server.port()) + "/";
    server.greet(RawServer::Greeting::CLOSE);
    expectFailure(get(url), SESSION_UNREACHABLE, "no TLS");
}

TEST_F(HttpBody, RefusesAHeadBeyondTheLimit)
{
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\n").sendEndlessly("X-Filler: " + std::string(90, 'x') + "\r\n", 20u << 20));
    expectFailure(get(server.url()), SESSION_TOO_LARGE, "many fields");
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nX: ").sendEndlessly(std::string(4096, 'x'), 20u << 20));
    expectFailure(get(server.url()), SESSION_TOO_LARGE, "one field");
    server.reply(RawReply().sendEndlessly("HTTP/1.1 100 Continue\r\n\r\n", 20u << 20));
    expectFailure(get(server.url()), SESSION_TOO_LARGE, "interim replies");
    expectFailure(say("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n" +
                      [] {
                          std::string trailers;
                          for (int i = 0; i < 2000; ++i)
                              trailers += "T: " + std::string(90, 'x') + "\r\n";
                          return trailers;
                      }()),
                  SESSION_TOO_LARGE, "trailers");
}

TEST_F(HttpBody, SkipsInterimReplies)
{
    const Outcome outcome = say("HTTP/1.1 100 Continue\r\nContent-Length: 1\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(outcome.payload, "ok");
}

TEST_F(HttpBody, GoesOnWithOthersAfterEachFailure)
{
    server.onRequest([](const RawRequest& request) {
        return request.target() == "/bad" ? RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nx").reset()
                                          : RawReply::ok("fine");
    });
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(send(makeGet(server.url(i % 2 ? "/bad" : "/good"))), 0);
    ASSERT_TRUE(outcomes.waitFor(50));
    int good = 0;
    for (const Outcome& outcome : outcomes.all()) {
        good += outcome.status == SESSION_DONE && outcome.payload == "fine";
        EXPECT_TRUE(outcome.status == SESSION_DONE || outcome.status == SESSION_CUT_OFF) << outcome.status;
    }
    EXPECT_EQ(good, 25);
}

} // namespace
