// SPDX-License-Identifier: MIT
/// \file Every allocation of the client's own fails in turn. This program has its own operator new.
#include "host/Client.h"

#include <atomic>
#include <cstdlib>
#include <new>

using namespace test;

namespace {

/// Allocations of a thread that may fail are counted down; the one at 0 fails.
thread_local bool t_mayFail = false;
std::atomic<int> g_untilFailure{-1};
std::atomic<int> g_failures{0};

bool mustFail()
{
    if (!t_mayFail || g_untilFailure.load() < 0 || g_untilFailure.fetch_sub(1) != 0)
        return false;
    ++g_failures;
    return true;
}

class HttpMemory : public HttpTest {
protected:
    HttpMemory()
    {
        completion = [](SESSION_STATUS status, HttpRequest* request, VOID* context) {
            // What the test itself does is spared, like its server.
            t_mayFail = false;
            Outcomes::take(status, request, context);
        };
        server.onRequest([](const RawRequest& request) {
            return request.target() == "/moved" ? RawReply::status(302, "", {"Location: /x y"})
                                                : RawReply::ok(std::string(5000, 'x'));
        });
    }

    /// Has the worker's allocations fail from now on; it forgets that in each completion.
    void letTheWorkerFail()
    {
        outcomes.before = [](HttpRequest&) { t_mayFail = true; };
        ASSERT_EQ(get(server.url()).status, SESSION_DONE);
        outcomes.before = nullptr;
    }

    /// Runs something with each of its allocations failing in turn, until none fails any more.
    template <class Attempt> void failEach(Attempt attempt)
    {
        int failed = 0;
        for (int allocation = 0; allocation < 500; ++allocation) {
            letTheWorkerFail();
            g_failures = 0;
            g_untilFailure = allocation;
            attempt();
            g_untilFailure = -1;
            if (g_failures == 0)
                break;
            ++failed;
        }
        EXPECT_GT(failed, 0);
        EXPECT_LT(failed, 500);
    }
};

TEST_F(HttpMemory, EndsEveryRequestWithAStatusWhenAllocationsFail)
{
    const TempDir dir;
    const auto attempt = [&](const auto& make) {
        failEach([&] {
            const std::size_t before = outcomes.count();
            t_mayFail = true;
            std::unique_ptr<HttpRequest> request;
            try {
                request.reset(make());
            } catch (const std::bad_alloc&) {
                t_mayFail = false;
                return;
            }
            const WSTATUS status = delegator.addRequest(request.get());
            t_mayFail = false;
            if (status < 0) {
                EXPECT_TRUE(status == WSTATUS_OUT_OF_MEMORY || status == WSTATUS_NOT_CREATED) << status;
                return;
            }
            request.release();
            ASSERT_TRUE(outcomes.waitFor(before + 1));
            const Outcome outcome = outcomes.all().back();
            EXPECT_TRUE(outcome.status == SESSION_DONE || outcome.status == SESSION_NOT_CREATED) << outcome.status;
            EXPECT_TRUE(outcome.status == SESSION_DONE || outcome.payload.empty());
        });
    };
    const HttpHeader fields = header({{"Authorization", std::string(100, 'a')}, {"DATE", "today, and for some time to come"}});
    attempt([&] { return makeGet(server.url("/a b?" + std::string(100, 'q')), fields); });
    attempt([&] { return makeGet(server.url("/moved"), fields); });
    attempt([&] { return makePost(server.url(), std::string(1000, 'b'), fields); });
    attempt([&] { return makeDownload(server.url(), dir.file("a-name-that-is-too-long-for-a-small-string")); });
    for (const std::string& name : dir.entries())
        EXPECT_EQ(name.rfind("a-name", 0), 0u) << name;
}

TEST_F(HttpMemory, ReturnsFromExecuteWithAStatusWhenAllocationsFail)
{
    failEach([&] {
        HttpRequest request(HTTP_REQUEST_GET, server.url("/moved"), header({{"A", std::string(100, 'a')}}), "", nullptr, nullptr);
        t_mayFail = true;
        const WSTATUS status = request.execute();
        t_mayFail = false;
        EXPECT_TRUE(status == 0 || status == WSTATUS_NOT_CREATED || status == WSTATUS_OUT_OF_MEMORY) << status;
    });
}

TEST_F(HttpMemory, FlushesWithoutAllocating)
{
    // The worker may still be in a mood to fail.
    ASSERT_EQ(get(server.url()).status, SESSION_DONE);
    server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(send(makeGet(server.url())), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    g_failures = 0;
    g_untilFailure = 0;
    t_mayFail = true;
    delegator.flushHttpRequests(0);
    t_mayFail = false;
    g_untilFailure = -1;
    EXPECT_EQ(g_failures, 0);
}

} // namespace

void* operator new(std::size_t size)
{
    if (mustFail())
        throw std::bad_alloc();
    if (void* const memory = std::malloc(size != 0 ? size : 1))
        return memory;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return mustFail() ? nullptr : std::malloc(size != 0 ? size : 1);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
