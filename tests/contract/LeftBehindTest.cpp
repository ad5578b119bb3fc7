// SPDX-License-Identifier: MIT
// The library on a host that keeps a request although it was asked to drop it. A program of its own: the library stays in the
// process.
#include "W/WConfigManager.h"
#include "contract/Plugin.h"
#include "support/RawServer.h"
#include "whost/HttpOptions.h"

#include <condition_variable>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <mutex>

using namespace contract;
using namespace W;

namespace {

/// What the host's client does here: flushes are not heard while they are off, and the ends of requests are counted.
class Client {
public:
    void hearFlushes(bool hear)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_hears = hear;
    }
    bool hearsFlushes()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_flushes;
        return m_hears;
    }
    void requestEnds()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_ended;
        m_changed.notify_all();
    }
    std::size_t ended()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_ended;
    }
    std::size_t flushes()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_flushes;
    }
    bool waitForEnded(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, test::PATIENCE, [&] { return m_ended >= count; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_hears = true;
    std::size_t m_flushes = 0;
    std::size_t m_ended = 0;
};

Client& client()
{
    static Client* const instance = new Client;
    return *instance;
}

template <class Function> Function hosts(const char* name)
{
    void* const symbol = dlsym(RTLD_NEXT, name);
    if (!symbol)
        std::abort();
    return reinterpret_cast<Function>(symbol);
}

} // namespace

// The plugin finds these before the host's own, since the program comes first in the search.
extern "C" {

#define EXPORTED __attribute__((visibility("default"), used))
EXPORTED WSTATUS flushInstead(void* delegator, unsigned long long id) __asm__("_ZN1W13HttpDelegator17flushHttpRequestsEy");
EXPORTED void endRequestInstead(void* request) __asm__("_ZN1W11HttpRequestD2Ev");

WSTATUS flushInstead(void* delegator, unsigned long long id)
{
    static const auto real = hosts<WSTATUS (*)(void*, unsigned long long)>("_ZN1W13HttpDelegator17flushHttpRequestsEy");
    return client().hearsFlushes() ? real(delegator, id) : 0;
}

void endRequestInstead(void* request)
{
    static const auto real = hosts<void (*)(void*)>("_ZN1W11HttpRequestD2Ev");
    real(request);
    client().requestEnds();
}
}

namespace {

const WContentProvider PROVIDER("Kinloom", WContentProvider::SERVICE_KINLOOM);

VOID neverCalled(WSTATUS, const WContentProvider&, VOID*) { ADD_FAILURE() << "a callback after the plugin's end"; }

class LeftBehind : public testing::Test {
protected:
    void SetUp() override
    {
        before = httpOptions();
        HttpOptions options = before;
        options.connectTo = {"::127.0.0.1:" + std::to_string(server.port())};
        setHttpOptions(options);
        WConfigManager* const config = WConfigManager::getInstance();
        for (const char* const option : {"app_id", "AuthToken", "duid"})
            config->setCPOption(PROVIDER, option, option);
        server.onRequest([](const test::RawRequest&) {
            return test::RawReply().hold().send(
                "HTTP/1.1 200 OK\r\nContent-Length: 43\r\n\r\n<rsp><result><stat>ok</stat></result></rsp>");
        });
    }
    void TearDown() override
    {
        client().hearFlushes(true);
        setHttpOptions(before);
    }
    /// Loads the library, has it ask the server, which does not answer, and unloads it.
    void useAndUnload()
    {
        const std::size_t requests = server.requestCount();
        const std::size_t flushes = client().flushes();
        const Library library;
        void* const plugin = library.createPlugin();
        ASSERT_EQ(interfaceOf(plugin).registerKL(neverCalled, nullptr), 0);
        ASSERT_TRUE(server.waitForRequests(requests + 1));
        library.destroyPlugin(plugin);
        EXPECT_GT(client().flushes(), flushes) << "the plugin's flush went elsewhere";
    }

    test::RawServer server;
    HttpOptions before;
};

} // namespace

// In this order: what stays in the process stays for the tests behind it.
TEST_F(LeftBehind, LetsTheLibraryGoWhenTheHostDropsTheRequest)
{
    const std::size_t ended = client().ended();
    useAndUnload();
    EXPECT_EQ(client().ended(), ended + 1);
    EXPECT_FALSE(Library::isLoaded());
}

TEST_F(LeftBehind, KeepsTheLibraryForTheRequestThatTheHostKeeps)
{
    client().hearFlushes(false);
    const std::size_t ended = client().ended();
    useAndUnload();
    EXPECT_EQ(client().ended(), ended) << "the request is still the host's";
    EXPECT_TRUE(Library::isLoaded());
    server.release();
    EXPECT_TRUE(client().waitForEnded(ended + 1));
}

TEST_F(LeftBehind, KeepsTheLibraryForSeveralOfThem)
{
    client().hearFlushes(false);
    const std::size_t ended = client().ended();
    for (int round = 0; round < 3; ++round)
        useAndUnload();
    for (int round = 0; round < 3; ++round)
        server.release();
    EXPECT_TRUE(client().waitForEnded(ended + 3));
}
