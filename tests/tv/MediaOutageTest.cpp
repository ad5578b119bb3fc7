// SPDX-License-Identifier: MIT
// A service that is away, slow, or in trouble.
#include "MediaFixture.h"

#include "tv/media/Outage.h"

#include <list>

namespace {

using namespace kinloomd_test;
using namespace std::chrono_literals;
using namespace tv_test;
using test::comesTrue;
using test::RawReply;
using test::RawServer;

class MediaOutage : public MediaTest {
protected:
    /// Asks until there is an answer of that kind.
    bool becomes(const std::string& content, PictureResult result)
    {
        return comesTrue([&] { return Asker(pictures(), content).result() == result; });
    }
};

TEST_F(MediaOutage, IsToldAtOnceWhileTheCacheGoesOn)
{
    serve("/7/grid", smallPicture().bytes);
    ASSERT_EQ(Asker(pictures(), "7").result(), PictureResult::READY);
    m_server.greet(RawServer::Greeting::RESET);
    m_server.onRequest([](const test::RawRequest&) { return RawReply().reset(); });
    const auto begin = std::chrono::steady_clock::now();
    Asker first(pictures(), "8");
    EXPECT_EQ(first.result(), PictureResult::AWAY);
    EXPECT_GE(first.picture().retryAfter, 1s);
    EXPECT_EQ(Asker(pictures(), "9").result(), PictureResult::AWAY);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s) << "nobody waits for a time-out";
    // Now it is known: nobody is asked.
    const std::size_t connections = m_server.connectionCount();
    std::list<Asker> askers;
    for (int i = 100; i < 200; ++i)
        EXPECT_EQ(askers.emplace_back(pictures(), std::to_string(i)).result(), PictureResult::AWAY);
    EXPECT_LT(m_server.connectionCount(), connections + 20);
    EXPECT_EQ(Asker(pictures(), "7").result(), PictureResult::READY);
}

TEST_F(MediaOutage, IsOverAsSoonAsTheServiceIsBack)
{
    serve("/grid", smallPicture().bytes);
    RawServer down;
    down.greet(RawServer::Greeting::CLOSE);
    m_source.lead(down);
    for (const char* const content : {"1", "2", "3"})
        EXPECT_EQ(Asker(pictures(), content).result(), PictureResult::AWAY);
    m_source.lead(m_server);
    EXPECT_TRUE(becomes("4", PictureResult::READY));
    EXPECT_EQ(Asker(pictures(), "5").result(), PictureResult::READY);
}

TEST_F(MediaOutage, IsOverWithAnyAnswer)
{
    RawServer down;
    down.greet(RawServer::Greeting::CLOSE);
    m_source.lead(down);
    for (const char* const content : {"1", "2", "3"})
        EXPECT_EQ(Asker(pictures(), content).result(), PictureResult::AWAY);
    m_source.lead(m_server);
    // What the service does not have tells that it is there.
    EXPECT_TRUE(becomes("4", PictureResult::BROKEN));
    serve("/grid", smallPicture().bytes);
    EXPECT_EQ(Asker(pictures(), "5").result(), PictureResult::READY);
}

TEST_F(MediaOutage, IsNoneWhereOneConnectionBreaks)
{
    serve("/grid", smallPicture().bytes);
    m_server.reply(RawReply().reset());
    EXPECT_EQ(Asker(pictures(), "1").result(), PictureResult::READY);
    m_server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nhalf").close());
    EXPECT_EQ(Asker(pictures(), "2").result(), PictureResult::READY);
    m_server.reply(RawReply::status(503));
    EXPECT_EQ(Asker(pictures(), "3").result(), PictureResult::READY);
}

TEST_F(MediaOutage, OfOnePictureIsNotThatOfTheOthers)
{
    serve("/grid", smallPicture().bytes);
    m_server.reply(RawReply::status(503, "", {"Retry-After: 5"}));
    Asker made(pictures(), "1");
    EXPECT_EQ(made.result(), PictureResult::AWAY) << "it is still being made";
    EXPECT_EQ(made.picture().retryAfter, 5s);
    EXPECT_EQ(Asker(pictures(), "2").result(), PictureResult::READY);
    // An address that leads nowhere.
    m_source.say("3", PictureSource::Answer::KNOWN, {"http://127.0.0.1:1/x", "", ""});
    EXPECT_EQ(Asker(pictures(), "3").result(), PictureResult::AWAY);
    EXPECT_EQ(Asker(pictures(), "4").result(), PictureResult::READY);
    // One that no client can follow.
    m_source.say("5", PictureSource::Answer::KNOWN, {"nonsense:// \r\n", "", ""});
    EXPECT_NE(Asker(pictures(), "5").result(), PictureResult::READY);
    EXPECT_EQ(Asker(pictures(), "6").result(), PictureResult::READY);
}

TEST_F(MediaOutage, IsOneWhereAllPicturesAreRefusedForALackOfTime)
{
    m_server.onRequest([](const test::RawRequest&) { return RawReply::status(503, "", {"Retry-After: 600"}); });
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(Asker(pictures(), std::to_string(i)).result(), PictureResult::AWAY);
    const std::size_t requests = m_server.requestCount();
    for (int i = 100; i < 120; ++i)
        EXPECT_EQ(Asker(pictures(), std::to_string(i)).result(), PictureResult::AWAY);
    EXPECT_EQ(m_server.requestCount(), requests) << "it asked for ten minutes";
    // Two seconds are over soon.
    restart();
    m_server.onRequest([](const test::RawRequest&) { return RawReply::status(503, "", {"Retry-After: 2"}); });
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(Asker(pictures(), std::to_string(i)).result(), PictureResult::AWAY);
    serve("/grid", smallPicture().bytes);
    m_server.onRequest([](const test::RawRequest&) { return RawReply::ok(smallPicture().bytes); });
    EXPECT_TRUE(becomes("1", PictureResult::READY));
}

TEST_F(MediaOutage, OfWhoKnowsTheAddressesIsOneToo)
{
    m_source.say("7", PictureSource::Answer::AWAY);
    Asker asker(pictures(), "7");
    EXPECT_EQ(asker.result(), PictureResult::AWAY);
    EXPECT_GE(asker.picture().retryAfter, 1s);
    serve("/grid", smallPicture().bytes);
    EXPECT_EQ(Asker(pictures(), "8").result(), PictureResult::READY);
    m_source.say("7", PictureSource::Answer::KNOWN, m_source.usual("7"));
    EXPECT_EQ(Asker(pictures(), "7").result(), PictureResult::READY);
}

TEST(Outage, PausesGrowToALimitAndEndWithASuccess)
{
    Outage outage;
    auto now = Outage::Clock::now();
    outage.unreached(now);
    EXPECT_FALSE(outage.lasts()) << "one may have an address that leads nowhere";
    outage.unreached(now);
    std::vector<Outage::Clock::duration> pauses;
    for (int i = 0; i < 8; ++i) {
        ASSERT_TRUE(outage.pauses(now));
        pauses.push_back(outage.until() - now);
        outage.unreached(now); // another transfer, of the same outage
        EXPECT_EQ(outage.until() - now, pauses.back());
        now = outage.until();
        EXPECT_FALSE(outage.pauses(now));
        EXPECT_TRUE(outage.lasts());
        outage.unreached(now);
    }
    EXPECT_EQ(pauses.front(), Outage::FIRST_PAUSE);
    EXPECT_EQ(pauses.back(), Outage::LONGEST_PAUSE);
    EXPECT_TRUE(std::is_sorted(pauses.begin(), pauses.end()));
    outage.succeeded();
    EXPECT_FALSE(outage.pauses(now));
    EXPECT_FALSE(outage.lasts());
}

struct Meaning {
    unsigned code;
    W::WSTATUS status;
    FetchFailure expected;
};

TEST(Outage, FailuresMeanWhatTheyMean)
{
    for (const Meaning& meaning :
         {Meaning{0, W::WSTATUS_UNREACHABLE, FetchFailure::UNREACHED}, Meaning{0, W::WSTATUS_TIMED_OUT, FetchFailure::UNREACHED},
          Meaning{200, W::WSTATUS_CONNECTION_LOST, FetchFailure::UNREACHED}, Meaning{429, W::WSTATUS_OK, FetchFailure::BUSY},
          Meaning{500, W::WSTATUS_CONNECTION_LOST, FetchFailure::BUSY}, Meaning{503, W::WSTATUS_OK, FetchFailure::BUSY},
          Meaning{401, W::WSTATUS_OK, FetchFailure::REFUSED}, Meaning{403, W::WSTATUS_OK, FetchFailure::REFUSED},
          Meaning{404, W::WSTATUS_OK, FetchFailure::REFUSED}, Meaning{410, W::WSTATUS_OK, FetchFailure::REFUSED},
          Meaning{400, W::WSTATUS_OK, FetchFailure::USELESS}, Meaning{302, W::WSTATUS_OK, FetchFailure::USELESS},
          Meaning{200, W::WSTATUS_LIMIT_EXCEEDED, FetchFailure::USELESS},
          Meaning{200, W::WSTATUS_FILE_ERROR, FetchFailure::DISK}}) {
        kinloom::CallFailure failure;
        failure.httpCode = meaning.code;
        failure.status = meaning.status;
        EXPECT_EQ(meaningOf(failure), meaning.expected) << meaning.code << " " << meaning.status;
    }
    kinloom::CallFailure cancelled;
    cancelled.kind = kinloom::FailureKind::CANCELLED;
    EXPECT_EQ(meaningOf(cancelled), FetchFailure::ENDED);
}

} // namespace
