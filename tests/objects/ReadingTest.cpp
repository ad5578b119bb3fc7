// SPDX-License-Identifier: MIT
// Objects as they are read.
#include "ScriptedStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace {

using objects::ObjectRange;
using objects::StoreRefused;
using objects::StoreUnavailable;
using objects_test::complaint;
using objects_test::ScriptedStore;
using test::RawReply;
using test::RawRequest;

std::string restOf(objects::ObjectReader& reader)
{
    std::string all;
    char buffer[1000];
    while (const std::size_t count = reader.read(buffer, sizeof buffer))
        all.append(buffer, count);
    return all;
}

std::string partial(const std::string& range, const std::string& body, std::size_t length, const std::string& tag = "\"a\"")
{
    return "HTTP/1.1 206 Partial\r\nContent-Length: " + std::to_string(length) + "\r\nETag: " + tag + "\r\nContent-Range: bytes " +
           range + "\r\n\r\n" + body;
}

class StoreReading : public ScriptedStore {};

TEST_F(StoreReading, BringsTheBytesAndWhatIsKnownOfThem)
{
    m_server.reply(RawReply::ok("hello", {"ETag: \"a\""}));
    const auto reader = m_store.get("k");
    EXPECT_EQ(reader->info().size, 5);
    EXPECT_EQ(reader->info().tag, "\"a\"");
    EXPECT_EQ(restOf(*reader), "hello");
    EXPECT_FALSE(m_server.last().has("Range"));
}

TEST_F(StoreReading, BringsAPart)
{
    m_server.reply(RawReply().send(partial("2-4/9", "llo", 3)));
    const auto reader = m_store.get("k", ObjectRange{2, 3});
    EXPECT_EQ(reader->info().size, 9);
    EXPECT_EQ(restOf(*reader), "llo");
    EXPECT_EQ(m_server.last().field("range"), " bytes=2-4");
}

TEST_F(StoreReading, BringsNothingOfWhatIsEmpty)
{
    m_server.reply(RawReply::ok("", {"ETag: \"a\""}));
    EXPECT_EQ(restOf(*m_store.get("k")), "");
    m_server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\nETag: \"a\"\r\n\r\n"));
    const auto reader = m_store.get("k", ObjectRange{2, 0});
    EXPECT_EQ(reader->info().size, 9);
    EXPECT_EQ(restOf(*reader), "");
}

TEST_F(StoreReading, GoesOnBehindACut)
{
    m_server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\nETag: \"a\"\r\n\r\nabc").close());
    m_server.reply(RawReply::status(503, complaint("SlowDown")));
    m_server.reply(RawReply().send(partial("3-8/9", "de", 6)).close());
    m_server.reply(RawReply().send(partial("5-8/9", "fghi", 4)));
    EXPECT_EQ(restOf(*m_store.get("k")), "abcdefghi");
    const RawRequest request = m_server.last();
    EXPECT_EQ(request.field("range"), " bytes=5-8");
    EXPECT_EQ(request.field("if-match"), " \"a\"");
}

TEST_F(StoreReading, NeverGoesOnWithAnotherObject)
{
    m_server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\nETag: \"a\"\r\n\r\nabc").close());
    m_server.onRequest([](const RawRequest&) { return RawReply::status(412, complaint("PreconditionFailed")); });
    const auto reader = m_store.get("k");
    EXPECT_THROW(restOf(*reader), StoreUnavailable);

    m_server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\nETag: \"a\"\r\n\r\nabc").close());
    m_server.onRequest([](const RawRequest&) { return RawReply().send(partial("3-8/9", "defghi", 6, "\"b\"")); });
    const auto careless = m_store.get("k");
    EXPECT_THROW(restOf(*careless), StoreUnavailable);
}

TEST_F(StoreReading, TakesNoOtherBytesThanItAsksFor)
{
    m_server.reply(RawReply::ok("hello", {"ETag: \"a\""}));
    EXPECT_THROW(m_store.get("k", ObjectRange{2, 3}), StoreRefused);
    m_server.reply(RawReply().send(partial("1-3/9", "ell", 3)));
    EXPECT_THROW(m_store.get("k", ObjectRange{2, 3}), StoreRefused);
}

TEST_F(StoreReading, IsGivenUpWhenNothingComesAnyMore)
{
    m_server.onRequest([](const RawRequest& request) {
        return request.has("range") ? RawReply().reset()
                                    : RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\nETag: \"a\"\r\n\r\nabc").close();
    });
    const auto reader = m_store.get("k");
    EXPECT_THROW(restOf(*reader), StoreUnavailable);
}

TEST_F(StoreReading, LetsTheStoreWaitForItsReader)
{
    constexpr std::size_t SIZE = 256U << 20;
    m_server.reply(RawReply()
                       .send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(SIZE) + "\r\nETag: \"a\"\r\n\r\n")
                       .sendEndlessly(std::string(65536, 'x'), SIZE));
    const auto reader = m_store.get("k");
    char buffer[1000];
    ASSERT_NE(reader->read(buffer, sizeof buffer), 0U);
    // Whatever others do meanwhile, only sockets are filled.
    m_store.remove("other");
    EXPECT_LT(m_server.sentBytes(), SIZE / 8);
    std::size_t count = sizeof buffer;
    std::string block(1U << 20, '\0');
    while (const std::size_t more = reader->read(block.data(), block.size()))
        count += more;
    EXPECT_EQ(count, SIZE);
}

TEST_F(StoreReading, EndsTheConnectionWhenItIsGivenUp)
{
    m_server.reply(RawReply()
                       .send("HTTP/1.1 200 OK\r\nContent-Length: 1000000000\r\nETag: \"a\"\r\n\r\n")
                       .sendEndlessly(std::string(65536, 'x'), 1'000'000'000));
    m_store.get("k");
    EXPECT_TRUE(m_server.waitForClosed(1));
}

} // namespace
