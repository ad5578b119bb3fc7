// SPDX-License-Identifier: MIT
// The one line that the plugin prints for each failure.
#include "KLService/Log.h"

#include "plugin/support/Facade.h"

#include <regex>
#include <thread>

using namespace W;
using namespace kinloom_test;
using testing::SizeIs;

namespace {

class LogLine : public FacadeTest {};

} // namespace

TEST_F(LogLine, NamesStatusSourceAndLineAndEndsInAnEmptyLine)
{
    logError(-202, "src/WKLOAI", 17);
    EXPECT_EQ(log->text(), "#ERROR WSTATUS:WSTATUS_NOT_LOGGED_IN(-202)\tFILE:src/WKLOAI(17)\n\n");
}

TEST_F(LogLine, ReturnsTheStatusUnchanged)
{
    for (const WSTATUS status : {0, -1, -202, 100, -2147483647 - 1})
        EXPECT_EQ(logError(status, "src/WKLOAI", 1), status);
}

TEST_F(LogLine, CallsAStatusWithoutANameUnknown)
{
    logError(-77, "src/KLService", 3);
    EXPECT_EQ(log->text(), "#ERROR WSTATUS:WSTATUS_UNKNOWN(-77)\tFILE:src/KLService(3)\n\n");
}

TEST_F(LogLine, IsTheTransportsWithItsFixedNumber)
{
    Recorder unused;
    service().retrieveFData("http://x.example/", "", nullptr, "");
    EXPECT_EQ(log->text(), "#ERROR WSTATUS:WSTATUS_INVALID_ARGUMENT(-1)\tFILE:src/KLService(645)\n\n");
}

TEST_F(LogLine, IsTheFacadesWithTheLineOfItsSource)
{
    EXPECT_EQ(oai->deleteGroup(groupWith("g1"), nullptr, nullptr), -202);
    EXPECT_TRUE(std::regex_match(
        log->text(), std::regex("#ERROR WSTATUS:WSTATUS_NOT_LOGGED_IN\\(-202\\)\tFILE:src/WKLOAI\\([1-9][0-9]*\\)\n\n")))
        << log->text();
}

TEST_F(LogLine, TellsTheFacadesFailuresApartByTheirLine)
{
    oai->login("", "", nullptr, nullptr);
    oai->logout(nullptr, nullptr);
    const std::vector<LogEntry> entries = log->entries();
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_NE(entries[0].line, entries[1].line);
}

TEST_F(LogLine, ComesOnceFromTheTransportAndOnceFromTheFacadeForARefusal)
{
    fake::refuseNext(-13);
    EXPECT_EQ(oai->authKL(nullptr, nullptr), -13);
    const std::vector<LogEntry> entries = log->entries();
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_EQ(entries[0], serviceEntry(-13, 365));
    EXPECT_EQ(entries[1].source, "src/WKLOAI");
    EXPECT_EQ(entries[1].status, -13);
}

TEST_F(LogLine, IsNotPrintedWhenAllGoesWell)
{
    signIn();
    ASSERT_EQ(oai->retrieveGroupList(personWith(""), Callback<WContainer<WGroup>, WPerson>::call, 0, 0, KL_SORT_ALPHABETICAL,
                                     KL_INCLUDE_NONE, &recorder),
              0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    log->clear();
    fake::answerNext(fake::reply(documents::groups(1)));
    ASSERT_EQ(oai->retrieveGroupList(personWith(""), Callback<WContainer<WGroup>, WPerson>::call, 0, 10, KL_SORT_ALPHABETICAL,
                                     KL_INCLUDE_NONE, &recorder),
              0);
    ASSERT_TRUE(fake::waitForCompletions(2));
    EXPECT_EQ(log->text(), "");
}

TEST_F(LogLine, IsNotTornByOtherThreads)
{
    constexpr int EACH = 500;
    std::vector<std::thread> threads;
    for (int i = 1; i <= 4; ++i)
        threads.emplace_back([i] {
            for (int n = 0; n < EACH; ++n)
                logError(-i, "src/WKLOAI", i);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(log->entries(), SizeIs(4 * EACH)); // the fixture looks for strays
}
