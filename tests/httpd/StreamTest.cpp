// SPDX-License-Identifier: MIT
#include "ServerFixture.h"

#include "httpd/Channel.h"

#include <algorithm>
#include <cstring>
#include <thread>

namespace {

using namespace httpd_test;
using httpd::Channel;
using httpd::Connection;
using httpd::RequestHead;
using std::chrono::milliseconds;

constexpr const char* GET = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";

/// Gives what a function gives.
class Source : public httpd::BodySource {
public:
    using Read = std::function<std::int64_t(char*, std::size_t, Connection&)>;
    explicit Source(Read read) : m_read(std::move(read)) {}
    std::int64_t read(char* buffer, std::size_t size, Connection& connection) override { return m_read(buffer, size, connection); }

private:
    Read m_read;
};

class Stream : public ServerFixture {
protected:
    void startWithSource(std::optional<std::int64_t> length, const Source::Read& read)
    {
        start([=](const RequestHead&, Connection&) {
            httpd::Reply reply;
            reply.body.emplace<httpd::StreamBody>(httpd::StreamBody{std::make_unique<Source>(read), length});
            return reply;
        });
    }
    void startWithChannel(std::size_t limit = Channel::LIMIT)
    {
        m_channel = std::make_shared<Channel>(limit);
        start([this](const RequestHead&, Connection&) {
            httpd::Reply reply;
            reply.contentType = "text/event-stream";
            reply.body.emplace<httpd::StreamBody>(Channel::body(m_channel));
            return reply;
        });
    }

    std::shared_ptr<Channel> m_channel;
};

TEST_F(Stream, IsSentInChunksUntilItsSourceEnds)
{
    int left = 3;
    startWithSource(std::nullopt, [&left](char* buffer, std::size_t, Connection&) -> std::int64_t {
        if (left-- == 0)
            return httpd::BodySource::END;
        std::copy_n("abc", 3, buffer);
        return 3;
    });
    HttpConnection client(address());
    client.send(GET);
    const HttpReply response = client.receive();
    EXPECT_TRUE(response.whole);
    EXPECT_EQ(response.header("transfer-encoding"), "chunked");
    EXPECT_EQ(response.body, "abcabcabc");
    left = 0;
    client.send(GET);
    EXPECT_TRUE(client.receive().whole) << "the connection is still good";
}

TEST_F(Stream, OfAKnownLengthAnnouncesIt)
{
    startWithSource(200'000, [](char* buffer, std::size_t size, Connection&) {
        std::memset(buffer, 'x', size);
        return static_cast<std::int64_t>(size);
    });
    const HttpReply response = get("/");
    EXPECT_EQ(response.header("content-length"), "200000");
    EXPECT_TRUE(response.whole);
    EXPECT_EQ(response.body, std::string(200'000, 'x'));
}

TEST_F(Stream, IsNotWholeWhenItsSourceBreaks)
{
    for (const bool throws : {false, true}) {
        bool first = true;
        startWithSource(std::nullopt, [&first, throws](char* buffer, std::size_t, Connection&) -> std::int64_t {
            if (!std::exchange(first, false)) {
                if (throws)
                    throw std::runtime_error("lost");
                return httpd::BodySource::BROKEN;
            }
            buffer[0] = 'a';
            return 1;
        });
        HttpConnection client(address());
        client.send(GET);
        const HttpReply response = client.receive();
        EXPECT_EQ(response.body, "a");
        EXPECT_FALSE(response.whole);
        EXPECT_EQ(client.lastError(), 0);
        m_server.reset();
    }
}

TEST_F(Stream, BreaksWhenItsSourceGivesNothing)
{
    startWithSource(10, [](char*, std::size_t, Connection&) { return std::int64_t{0}; });
    EXPECT_FALSE(get("/").whole);
}

TEST_F(Stream, OutlivesTheTimesOfIdleClients)
{
    m_limits.idleTime = milliseconds(1000);
    m_limits.headerTime = milliseconds(300);
    startWithChannel();
    HttpConnection client(address());
    client.send(GET);
    ASSERT_TRUE(m_channel->write("a"));
    EXPECT_EQ(client.receiveHead().header("content-type"), "text/event-stream");
    EXPECT_EQ(client.receiveChunk(), "a");
    EXPECT_FALSE(client.waitForClose(milliseconds(2500))) << "longer than both times and a round of the watch";
    ASSERT_TRUE(m_channel->write("b"));
    EXPECT_EQ(client.receiveChunk(), "b");
    m_channel->end();
    EXPECT_EQ(client.receiveChunk(), "");
    EXPECT_TRUE(client.waitForClose(milliseconds(5000))) << "afterwards the client's time runs again";
}

TEST_F(Stream, IsCutWhenItsClientDoesNotRead)
{
    m_limits.headerTime = milliseconds(300);
    m_limits.bytesPerSecond = 1'000'000;
    startWithSource(std::nullopt, [](char* buffer, std::size_t size, Connection&) {
        std::memset(buffer, 'x', size);
        return static_cast<std::int64_t>(size);
    });
    HttpConnection client(address());
    client.send(GET);
    // The client takes nothing: the request can only end by being cut off.
    EXPECT_EQ(m_handler.waitForEndings(1)[0].status, 200U);
}

TEST(ChannelAlone, TakesNothingAfterItsEnd)
{
    Channel channel;
    EXPECT_TRUE(channel.write("a"));
    channel.end();
    EXPECT_FALSE(channel.write("b"));
}

TEST(ChannelAlone, TakesNothingWithoutAReader)
{
    const auto channel = std::make_shared<Channel>();
    {
        const httpd::StreamBody body = Channel::body(channel);
        EXPECT_EQ(body.length, std::nullopt);
        EXPECT_TRUE(channel->write("a"));
    }
    EXPECT_FALSE(channel->write("b"));
}

TEST(ChannelAlone, TakesNoMoreThanItsLimit)
{
    Channel channel(4);
    EXPECT_TRUE(channel.write("abc"));
    EXPECT_TRUE(channel.write("d"));
    EXPECT_FALSE(channel.write("e"));
    EXPECT_FALSE(channel.write("")) << "a client that has missed something is lost";
}

using ChannelStream = Stream;

TEST_F(ChannelStream, CarriesWhatOtherThreadsWrite)
{
    startWithChannel();
    HttpConnection client(address());
    client.send(GET);
    client.receiveHead();
    std::thread writer([this] {
        for (int i = 0; i < 1000; ++i)
            EXPECT_TRUE(m_channel->write(std::to_string(i) + "\n"));
        m_channel->end();
    });
    std::string expected;
    for (int i = 0; i < 1000; ++i)
        expected += std::to_string(i) + "\n";
    std::string seen;
    for (auto chunk = client.receiveChunk(); chunk && !chunk->empty(); chunk = client.receiveChunk())
        seen += *chunk;
    writer.join();
    EXPECT_EQ(seen, expected);
}

TEST_F(ChannelStream, CutsAClientOffThatWouldMissSomething)
{
    startWithChannel(10);
    HttpConnection client(address());
    EXPECT_FALSE(m_channel->write(std::string(11, 'x')));
    client.send(GET);
    EXPECT_EQ(client.receiveHead().status, 200);
    EXPECT_EQ(client.receiveChunk(), std::nullopt);
}

TEST_F(ChannelStream, IsDesertedWhenItsClientGoes)
{
    startWithChannel();
    {
        HttpConnection client(address());
        client.send(GET);
        ASSERT_TRUE(m_channel->write("a"));
        client.receiveHead();
        EXPECT_EQ(client.receiveChunk(), "a");
    }
    m_handler.waitForEndings(1);
    EXPECT_FALSE(m_channel->write("b"));
}

} // namespace
