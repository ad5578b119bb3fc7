// SPDX-License-Identifier: MIT
#include "objects/Retries.h"

#include <chrono>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using objects::Retries;
using objects::RetryBudget;
using objects::RetryLimits;
using Clock = std::chrono::steady_clock;

class RetriesOfARequest : public testing::Test {
protected:
    RetriesOfARequest() { m_limits.firstPause = m_limits.longestPause = 1ms; }
    ~RetriesOfARequest() override { ::close(m_stop); }

    Retries begun(Clock::duration patience = 60s) { return {m_limits, m_budget, Clock::now() + patience, m_stop}; }
    static unsigned countOf(Retries& retries)
    {
        unsigned count = 0;
        while (retries.next())
            ++count;
        return count;
    }

    RetryLimits m_limits;
    RetryBudget m_budget{100};
    int m_stop = ::eventfd(0, EFD_CLOEXEC);
};

TEST_F(RetriesOfARequest, AreAsManyAsThereMayBe)
{
    Retries retries = begun();
    EXPECT_EQ(countOf(retries), m_limits.attempts - 1);
}

TEST_F(RetriesOfARequest, EndWithTheBudgetOfAllRequests)
{
    RetryBudget budget(13);
    for (const unsigned expected : {2U, 0U}) {
        Retries retries(m_limits, budget, Clock::now() + 60s, m_stop);
        EXPECT_EQ(countOf(retries), expected);
    }
    Retries successful(m_limits, budget, Clock::now() + 60s, m_stop);
    successful.succeeded();
    successful.succeeded();
    Retries again(m_limits, budget, Clock::now() + 60s, m_stop);
    EXPECT_EQ(countOf(again), 1U);
}

TEST_F(RetriesOfARequest, DoNotBeginWhatCannotEndInTime)
{
    m_limits.longestPause = 60s;
    Retries retries = begun(1s);
    EXPECT_FALSE(retries.next(30s));
}

TEST_F(RetriesOfARequest, HeedTheStoreOnlyAsLongAsTheLongestPause)
{
    Retries retries = begun(30s);
    EXPECT_TRUE(retries.next(3600s));
}

TEST_F(RetriesOfARequest, EndAtOnceWhenTheProgramEnds)
{
    m_limits.longestPause = 60s;
    ::eventfd_write(m_stop, 1);
    Retries retries = begun(600s);
    const auto begin = Clock::now();
    EXPECT_FALSE(retries.next(60s));
    EXPECT_LT(Clock::now() - begin, 30s);
}

} // namespace
