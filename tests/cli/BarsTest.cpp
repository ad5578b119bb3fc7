// SPDX-License-Identifier: MIT
#include "output/Bars.h"
#include "core/Text.h"

#include <gmock/gmock.h>
#include <thread>

using namespace kinloom;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

namespace {

const auto START = Bars::Clock::time_point(std::chrono::hours(1));

/// What is written, as a terminal would have it: lines that can be written anew.
class BarsTest : public testing::Test {
protected:
    Bars::Place place(bool watched, std::size_t rows = 24)
    {
        return {watched,
                [this, rows] {
                    return Bars::Size{columns, rows};
                },
                [this](const std::string& text) {
                    written += text;
                    for (std::size_t i = 0; i < text.size(); ++i)
                        type(text, i);
                }};
    }
    /// Lines that are seen.
    std::vector<std::string> seen() const
    {
        std::vector<std::string> lines = screen;
        while (!lines.empty() && lines.back().empty())
            lines.pop_back();
        return lines;
    }

    std::size_t columns = 80;
    std::string written;
    std::vector<std::string> screen{1};
    std::size_t row = 0;

private:
    void type(const std::string& text, std::size_t& i)
    {
        if (text.compare(i, 3, "\x1b[K") == 0) {
            i += 2; // all that is drawn is drawn from a line's beginning
            if (m_begun)
                screen[row].clear();
        } else if (text.compare(i, 3, "\x1b[A") == 0) {
            i += 2;
            ASSERT_GT(row, 0U) << "above the first line";
            --row;
        } else if (text[i] == '\n') {
            if (++row == screen.size())
                screen.emplace_back();
        } else if (text[i] == '\r') {
            m_begun = true;
            return;
        } else {
            if (m_begun)
                screen[row].clear();
            screen[row] += text[i];
        }
        m_begun = false;
    }
    bool m_begun = false;
};

TEST_F(BarsTest, OneTransferHasOneBarThatIsDrawnAnewAndRemoved)
{
    {
        Bars bars(1, 0, place(true));
        Bars::Bar bar(bars, "a.jpg", 100);
        EXPECT_EQ(written, "") << "nothing is shown before something is known";
        bar.update(50, 100, START);
        EXPECT_THAT(written, HasSubstr("\ra.jpg  ["));
        EXPECT_EQ(written.find('\n'), std::string::npos);
        bar.update(100, 100, START + 1ms);
        ASSERT_EQ(seen().size(), 1U);
        EXPECT_THAT(seen()[0], HasSubstr("100 %"));
    }
    EXPECT_TRUE(seen().empty());
    EXPECT_EQ(written.substr(written.size() - 4), "\r\x1b[K");
}

TEST_F(BarsTest, SeveralHaveABarEachAndOneForAll)
{
    Bars bars(3, 300, place(true));
    Bars::Bar a(bars, "a.jpg", 100);
    Bars::Bar b(bars, "b.jpg", 100);
    Bars::Bar c(bars, "c.jpg", 100);
    a.update(50, 100, START);
    b.update(10, 100, START + 1s);
    ASSERT_EQ(seen().size(), 3U);
    EXPECT_THAT(seen()[0], HasSubstr("a.jpg"));
    EXPECT_THAT(seen()[1], HasSubstr("b.jpg"));
    EXPECT_THAT(seen()[2], testing::AllOf(HasSubstr("0 of 3"), HasSubstr("60 B of 300 B")));
    a.end(true);
    b.update(20, 100, START + 2s);
    ASSERT_EQ(seen().size(), 2U);
    EXPECT_THAT(seen()[1], testing::AllOf(HasSubstr("1 of 3"), HasSubstr("120 B of 300 B")));
    b.end(false);
    c.update(1, 100, START + 3s);
    EXPECT_THAT(seen()[1], HasSubstr("1 of 3")) << "one that failed is not done";
}

TEST_F(BarsTest, WhatHasEndedStaysInTheSumWhereNobodyKnewItsSize)
{
    Bars bars(0, 0, place(true));
    Bars::Bar a(bars, "a.jpg", 0);
    Bars::Bar b(bars, "b.jpg", 0);
    a.update(500, 500, START);
    a.end(true);
    b.update(20, 500, START + 1s);
    EXPECT_THAT(seen().back(), testing::AllOf(HasSubstr("1 done"), HasSubstr("520 B")));
}

TEST_F(BarsTest, WhatStaysIsWrittenAboveThem)
{
    Bars bars(2, 200, place(true));
    Bars::Bar a(bars, "a.jpg", 100);
    a.update(50, 100, START);
    bars.above([&] { place(true).write("Uploaded it.\n"); });
    ASSERT_EQ(seen().size(), 3U);
    EXPECT_EQ(seen()[0], "Uploaded it.");
    EXPECT_THAT(seen()[1], HasSubstr("a.jpg"));
}

TEST_F(BarsTest, NeverFillTheTerminal)
{
    Bars bars(9, 900, place(true, 5));
    std::list<Bars::Bar> all;
    for (int i = 0; i < 9; ++i)
        all.emplace_back(bars, "photo" + std::to_string(i), 100).update(1, 100, START + std::chrono::seconds(i));
    EXPECT_EQ(seen().size(), 4U);
    EXPECT_THAT(seen().back(), HasSubstr("0 of 9"));
}

TEST_F(BarsTest, FitAWindowThatBecomesNarrower)
{
    Bars bars(2, 200, place(true));
    Bars::Bar a(bars, "a.jpg", 100);
    a.update(10, 100, START);
    ASSERT_EQ(seen().size(), 2U);
    EXPECT_GT(seen()[0].size(), 45U);
    columns = 45;
    a.update(20, 100, START + 1s);
    ASSERT_EQ(seen().size(), 2U);
    for (const std::string& line : seen())
        EXPECT_LT(displayWidth(line), 45U) << line;
}

TEST_F(BarsTest, ALineTellsOfAllEveryTenSecondsElsewhere)
{
    Bars bars(2, 200'000, place(false));
    Bars::Bar a(bars, "a.jpg", 100'000);
    Bars::Bar b(bars, "b.jpg", 100'000);
    for (int tenths = 0; tenths < 251; ++tenths) {
        a.update(tenths * 50.0, 100'000, START + std::chrono::milliseconds(tenths * 100));
        b.update(tenths * 50.0, 100'000, START + std::chrono::milliseconds(tenths * 100));
    }
    EXPECT_THAT(written, HasSubstr("kinloom: 0 of 2: 4 %, 9.9 kB of 200.0 kB, 1.0 kB/s"));
    EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 2);
    EXPECT_THAT(written, Not(HasSubstr("\r")));
}

TEST_F(BarsTest, ALineTellsOfTheOneEveryTenSecondsElsewhere)
{
    Bars bars(1, 0, place(false));
    Bars::Bar bar(bars, "a.jpg", 0);
    for (int tenths = 0; tenths < 251; ++tenths)
        bar.update(tenths * 100.0, 100'000, START + std::chrono::milliseconds(tenths * 100));
    EXPECT_EQ(written, "kinloom: a.jpg: 10 %, 10.0 kB of 100.0 kB, 1.0 kB/s, 1 min 30 s left\n"
                       "kinloom: a.jpg: 20 %, 20.0 kB of 100.0 kB, 1.0 kB/s, 1 min 20 s left\n");
}

TEST_F(BarsTest, TransfersOfSeveralThreadsDrawWholeLines)
{
    Bars bars(4, 0, place(true));
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&, i] {
            Bars::Bar bar(bars, "photo" + std::to_string(i), 0);
            for (int n = 0; n < 200; ++n)
                bar.update(n, 200, START + std::chrono::milliseconds(100 * n));
            bar.end(true);
            bars.above([&] { place(true).write("done " + std::to_string(i) + "\n"); });
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const std::string& line : seen())
        EXPECT_THAT(line, testing::MatchesRegex("(done [0-3]|[0-4] of 4 .*|photo[0-3] .*)"));
}

} // namespace
