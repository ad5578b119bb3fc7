// SPDX-License-Identifier: MIT
#include "host/Client.h"

#include <cstring>
#include <dlfcn.h>
#include <netdb.h>

using namespace test;

namespace {

/// Name look-ups of this host wait until the test lets them go on.
constexpr char SLOW_HOST[] = "slow.example";

std::mutex g_mutex;
std::condition_variable g_changed;
bool g_blocked = false;
int g_waiting = 0;

class SlowNames {
public:
    SlowNames() { set(true); }
    ~SlowNames() { set(false); }
    static bool waitForLookup()
    {
        std::unique_lock<std::mutex> lock(g_mutex);
        return g_changed.wait_for(lock, PATIENCE, [] { return g_waiting > 0; });
    }

private:
    static void set(bool blocked)
    {
        std::unique_lock<std::mutex> lock(g_mutex);
        g_blocked = blocked;
        g_changed.notify_all();
        // The threads that look up outlive their transfers; they must be gone before the next test begins.
        EXPECT_TRUE(blocked || g_changed.wait_for(lock, PATIENCE, [] { return g_waiting == 0; }));
    }
};

class HttpResolve : public HttpTest {
protected:
    const std::string slow = std::string("http://") + SLOW_HOST + "/";
};

TEST_F(HttpResolve, LetsOthersGoOnWhileANameIsLookedUpAndAfterItTookTooLong)
{
    const SlowNames names;
    options([](HttpOptions& o) { o.connectTimeoutMs = 200; });
    ASSERT_EQ(send(makeGet(slow)), 0);
    ASSERT_TRUE(SlowNames::waitForLookup());
    EXPECT_EQ(get(server.url()).status, SESSION_DONE);
    ASSERT_TRUE(outcomes.waitFor(2));
    EXPECT_EQ(outcomes.all()[1].status, SESSION_TIMED_OUT);
    EXPECT_EQ(get(server.url()).status, SESSION_DONE);
}

TEST_F(HttpResolve, DoesNotHoldUpACancel)
{
    const SlowNames names;
    HttpRequest* const request = makeGet(slow);
    ASSERT_EQ(send(request), 0);
    ASSERT_TRUE(SlowNames::waitForLookup());
    request->setCancel();
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_EQ(outcomes.all()[0].status, SESSION_CANCELLED);
}

TEST_F(HttpResolve, DoesNotHoldUpAFlush)
{
    const SlowNames names;
    ASSERT_EQ(send(makeGet(slow)), 0);
    ASSERT_TRUE(SlowNames::waitForLookup());
    delegator.flushHttpRequests(0);
    EXPECT_EQ(outcomes.count(), 0u);
}

} // namespace

/// Stands before the C library's function of that name, also for libcurl.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                                                                  addrinfo** result)
{
    using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (node && std::strcmp(node, SLOW_HOST) == 0) {
        std::unique_lock<std::mutex> lock(g_mutex);
        ++g_waiting;
        g_changed.notify_all();
        g_changed.wait(lock, [] { return !g_blocked; });
        --g_waiting;
        g_changed.notify_all();
        return EAI_NONAME;
    }
    return real(node, service, hints, result);
}
