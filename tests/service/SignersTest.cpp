// SPDX-License-Identifier: MIT
#include "operations/SharedSigners.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace kinloomd;
using std::chrono::minutes;
using std::chrono::seconds;

class SignersOf : public ::testing::Test {
protected:
    static httpd::RequestHead on(const std::string& connection, const std::string& address = "10.0.0.1")
    {
        httpd::RequestHead head;
        head.connection = connection;
        head.address = address;
        return head;
    }
    static httpd::RequestHead forwardedOn(const std::string& connection)
    {
        httpd::RequestHead head = on(connection);
        head.forwarded = true;
        return head;
    }

    Signers m_signers;
    Signers::Clock::time_point m_begin = Signers::Clock::now();
};

TEST_F(SignersOf, AConnectionComeBeforeThoseOfItsAddress)
{
    m_signers.note(on("1"), "a", m_begin);
    m_signers.note(on("2"), "b", m_begin);
    EXPECT_EQ(m_signers.credited(on("1"), m_begin), "a");
    EXPECT_EQ(m_signers.credited(on("2"), m_begin), "b");
    m_signers.note(on("1"), "b", m_begin);
    EXPECT_EQ(m_signers.credited(on("1"), m_begin), "b");
    EXPECT_EQ(m_signers.credited(on("1"), m_begin + minutes(60)), "b") << "as long as the connection lives";
}

TEST_F(SignersOf, AnAddressCountForFiveMinutes)
{
    m_signers.note(on("1"), "a", m_begin);
    EXPECT_EQ(m_signers.credited(on("2"), m_begin + minutes(5)), "a");
    EXPECT_EQ(m_signers.credited(on("2"), m_begin + minutes(5) + seconds(1)), "");
    EXPECT_EQ(m_signers.credited(on("2", "10.0.0.2"), m_begin), "");
}

TEST_F(SignersOf, AnAddressCountOnlyWhereThereIsOne)
{
    m_signers.note(on("1"), "a", m_begin);
    m_signers.note(on("2"), "b", m_begin + minutes(1));
    m_signers.note(on("3"), "c", m_begin + minutes(2));
    m_signers.note(on("4"), "a", m_begin + minutes(4));
    EXPECT_EQ(m_signers.credited(on("9"), m_begin + minutes(4)), "");
    EXPECT_EQ(m_signers.credited(on("9"), m_begin + minutes(7)), "");
    EXPECT_EQ(m_signers.credited(on("9"), m_begin + minutes(7) + seconds(1)), "a") << "the others signed long ago";
}

TEST_F(SignersOf, WhatAProxySharesCountForNobodyElse)
{
    m_signers.note(on(""), "a", m_begin);
    EXPECT_EQ(m_signers.credited(on(""), m_begin), "");
    EXPECT_EQ(m_signers.credited(on("1"), m_begin), "a");
    m_signers.note(on(""), "b", m_begin);
    EXPECT_EQ(m_signers.credited(on("1"), m_begin), "") << "it still makes its address doubtful";
}

TEST_F(SignersOf, AForwardedConnectionEndWhenItsPortMayBeAnothers)
{
    m_signers.note(forwardedOn("10.0.0.1:5000"), "a", m_begin);
    EXPECT_EQ(m_signers.credited(forwardedOn("10.0.0.1:5000"), m_begin + minutes(5)), "a");
    m_signers.note(on("1"), "b", m_begin + minutes(5));
    EXPECT_EQ(m_signers.credited(forwardedOn("10.0.0.1:5000"), m_begin + minutes(5) + seconds(1)), "b");
}

TEST_F(SignersOf, AnEarlierServiceAreKnownToTheNext)
{
    m_signers.note(on("1"), "a", m_begin);
    m_signers.note(on("1", "10.0.0.2"), "a", m_begin);
    m_signers.note(on("2", "10.0.0.2"), "b", m_begin);
    m_signers.note(on("3", "10.0.0.3"), "c", m_begin - minutes(6));
    const Signers next(m_signers.recent(m_begin));
    EXPECT_EQ(m_signers.recent(m_begin).signers.size(), 3U);
    EXPECT_EQ(next.credited(on("9"), m_begin), "a");
    EXPECT_EQ(next.credited(on("1", "10.0.0.2"), m_begin), "") << "two, and connections have other names now";
    EXPECT_EQ(next.credited(on("9", "10.0.0.3"), m_begin), "");
}

TEST_F(SignersOf, AServiceThatKeptNoneMakeTheNextUncertainForAWhile)
{
    RecentSigners earlier = m_signers.recent();
    EXPECT_TRUE(earlier.whole);
    earlier.whole = false;
    Signers next(earlier);
    next.note(on("1"), "a");
    EXPECT_EQ(next.credited(on("1")), "a") << "of a connection it is known";
    EXPECT_EQ(next.credited(on("2")), "") << "another device may have signed there before";
    EXPECT_FALSE(next.recent().whole) << "nor does the one after that know";
    const auto later = Signers::Clock::now() + minutes(6);
    next.note(on("1"), "a", later);
    EXPECT_EQ(next.credited(on("2"), later), "a");
    EXPECT_TRUE(next.recent(later).whole);
}

TEST_F(SignersOf, OneOfSeveralServicesAreNeverCertainOfAnAddress)
{
    Signers one({}, false);
    for (const auto time : {m_begin, m_begin + minutes(60)}) {
        one.note(on("1"), "a", time);
        EXPECT_EQ(one.credited(on("1"), time), "a") << "of a connection it is known";
        EXPECT_EQ(one.credited(on("2"), time), "") << "another one may know of another device";
    }
    for (std::size_t i = 0; i < 3 * Signers::REMEMBERED; ++i)
        one.note(on("", "fd00::" + std::to_string(i)), "flood", m_begin);
    one.note(on("1"), "a", m_begin + minutes(120));
    EXPECT_EQ(one.credited(on("2"), m_begin + minutes(120)), "");
}

TEST_F(SignersOf, AClockThatWasSetBackMakeNobodyCertain)
{
    Signers next(RecentSigners{{{"10.0.0.1", "b", kinloomd::now() + 60'000}}, true});
    next.note(on("1"), "a");
    EXPECT_EQ(next.credited(on("2")), "");
}

TEST_F(SignersOf, ManyAddressesMakeNobodyCertainWhoWasForgotten)
{
    m_signers.note(on("1"), "a", m_begin);
    for (std::size_t i = 0; i < 3 * Signers::REMEMBERED; ++i)
        m_signers.note(on("", "fd00::" + std::to_string(i)), "flood", m_begin);
    m_signers.note(on("2"), "b", m_begin);
    EXPECT_EQ(m_signers.credited(on("1"), m_begin), "a") << "connections are remembered for themselves";
    EXPECT_EQ(m_signers.credited(on("3"), m_begin), "") << "it may have been another one's";
    m_signers.note(on("2"), "b", m_begin + minutes(6));
    EXPECT_EQ(m_signers.credited(on("3"), m_begin + minutes(6)), "b");
}

/// Places are told by their names: "10.0.0.1" is an address, "10.0.0.1:5000" a connection behind a proxy.
class TracesOf : public ::testing::Test {
protected:
    static constexpr Millis PRESENT = 100'000'000;
    static constexpr Millis MINUTE = 60'000;

    static std::string credited(const std::vector<Signer>& traces, bool forwarded = false)
    {
        httpd::RequestHead head;
        head.address = "10.0.0.1";
        head.connection = "10.0.0.1:5000";
        head.forwarded = forwarded;
        return SharedSigners::creditedBy(traces, head, PRESENT);
    }
    static Signer at(const std::string& place, const std::string& duid, Millis age) { return {place, duid, PRESENT - age}; }
};

TEST_F(TracesOf, AnAddressCountWhereTheyAreOfOneDevice)
{
    EXPECT_EQ(credited({}), "");
    EXPECT_EQ(credited({at("10.0.0.1", "a", 0)}), "a");
    EXPECT_EQ(credited({at("10.0.0.1", "a", 5 * MINUTE - 1)}), "a");
    EXPECT_EQ(credited({at("10.0.0.1", "a", 5 * MINUTE)}), "");
    EXPECT_EQ(credited({at("10.0.0.2", "a", 0)}), "");
    EXPECT_EQ(credited({at("10.0.0.1", "a", 0), at("10.0.0.1", "b", 4 * MINUTE)}), "");
    EXPECT_EQ(credited({at("10.0.0.1", "a", 0), at("10.0.0.1", "b", 6 * MINUTE - 1)}), "") << "it may have signed since";
    EXPECT_EQ(credited({at("10.0.0.1", "a", 0), at("10.0.0.1", "b", 6 * MINUTE)}), "a");
}

TEST_F(TracesOf, AForwardedConnectionComeBeforeThoseOfItsAddress)
{
    const std::vector<Signer> traces{at("10.0.0.1:5000", "a", MINUTE), at("10.0.0.1", "a", MINUTE), at("10.0.0.1", "b", 0)};
    EXPECT_EQ(credited(traces, true), "a");
    EXPECT_EQ(credited(traces), "") << "a connection that is not forwarded has another name";
    EXPECT_EQ(credited({at("10.0.0.1:5000", "a", 5 * MINUTE), at("10.0.0.1", "b", 0)}, true), "b") << "it may be another's";
}

TEST_F(TracesOf, TwoDevicesOnAForwardedConnectionCountWhenItIsCertainWhichCameLast)
{
    EXPECT_EQ(credited({at("10.0.0.1:5000", "a", MINUTE), at("10.0.0.1:5000", "b", 0)}, true), "b");
    EXPECT_EQ(credited({at("10.0.0.1:5000", "a", MINUTE - 1), at("10.0.0.1:5000", "b", 0)}, true), "");
}

} // namespace
