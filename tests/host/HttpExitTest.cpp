// SPDX-License-Identifier: MIT
#include "host/Client.h"

#include <atomic>
#include <cstdlib>

using namespace test;

namespace {

/// Each of these ends the process while the client is at work; a crash or a hang fails the test.
class HttpExit : public HttpTest {
protected:
    TempRoot root;

    HttpExit() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    /// A server that is there until the client is done at the end of the process, since it is made before the client starts.
    static RawServer& lastingServer()
    {
        static RawServer lasting;
        return lasting;
    }
};

TEST_F(HttpExit, IsQuietWhenTheClientWasNeverUsed)
{
    EXPECT_EXIT(
        {
            HttpDelegator::getInstance();
            std::exit(7);
        },
        ::testing::ExitedWithCode(7), "^$");
}

TEST_F(HttpExit, LeavesNoTemporaryFileOfARunningDownload)
{
    const TempDir dir;
    EXPECT_EXIT(
        {
            RawServer& lasting = lastingServer();
            lasting.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf").stall());
            send(makeDownload(lasting.url(), dir.file("f")));
            comesTrue([&] { return !dir.entries().empty(); });
            std::exit(7);
        },
        ::testing::ExitedWithCode(7), "^$");
    EXPECT_TRUE(dir.entries().empty());
}

TEST_F(HttpExit, DoesNotHangWithRequestsQueuedAndRunning)
{
    EXPECT_EXIT(
        {
            RawServer& lasting = lastingServer();
            options([](HttpOptions& o) { o.maxTransfers = 2; });
            lasting.onRequest([](const RawRequest&) { return RawReply().stall(); });
            for (int i = 0; i < 10; ++i)
                send(makeGet(lasting.url()));
            lasting.waitForWaiting(2);
            std::exit(7);
        },
        ::testing::ExitedWithCode(7), "^$");
}

TEST_F(HttpExit, MayComeFromACompletion)
{
    EXPECT_EXIT(
        {
            outcomes.before = [](HttpRequest&) { std::exit(7); };
            send(makeGet(server.url()));
            outcomes.waitFor(1);
            std::abort();
        },
        ::testing::ExitedWithCode(7), "^$");
}

TEST_F(HttpExit, LetsAFlushDeleteWhatIsLeft)
{
    EXPECT_EXIT(
        {
            static std::atomic<int> deleted{0};
            RawServer& lasting = lastingServer();
            // Registered before the client's own handler, and so called after it, like the end of a plugin.
            std::atexit([] {
                HttpDelegator::getInstance()->flushHttpRequests(1);
                std::_Exit(deleted == 4 ? 7 : 8);
            });
            options([](HttpOptions& o) { o.maxTransfers = 2; });
            lasting.onRequest([](const RawRequest&) { return RawReply().stall(); });
            for (int i = 0; i < 4; ++i) {
                auto* const request =
                    new TrackedRequest(HTTP_REQUEST_GET, lasting.url(), Outcomes::take, &outcomes, [] { ++deleted; });
                request->setID(1);
                send(request);
            }
            lasting.waitForWaiting(2);
            std::exit(0);
        },
        ::testing::ExitedWithCode(7), "^$");
}

TEST_F(HttpExit, RefusesRequestsThatComeTooLate)
{
    EXPECT_EXIT(
        {
            // Registered before the client's own handler, and so called after it.
            std::atexit([] {
                HttpRequest late(HTTP_REQUEST_GET, "http://127.0.0.1:9/", HttpHeader(), "", Outcomes::take, nullptr);
                std::_Exit(HttpDelegator::getInstance()->addRequest(&late) == WSTATUS_NOT_CREATED ? 7 : 8);
            });
            get(server.url());
            std::exit(0);
        },
        ::testing::ExitedWithCode(7), "^$");
}

} // namespace
