// SPDX-License-Identifier: MIT
// The library's life in a process: load, use, unload, and again.
#include "W/Http.h"
#include "W/WConfigManager.h"
#include "contract/Plugin.h"
#include "support/CaptureStdout.h"
#include "support/RawServer.h"
#include "whost/HttpOptions.h"

#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <malloc.h>

using namespace contract;
using namespace W;

namespace {

const WContentProvider PROVIDER("Kinloom", WContentProvider::SERVICE_KINLOOM);
const STRING OK_DOCUMENT = "<rsp><result><stat>ok</stat></result></rsp>";

/// Routes every request to a server of the test's own, and puts the options back.
class Routed {
public:
    explicit Routed(const test::RawServer& server) : m_before(httpOptions())
    {
        HttpOptions options = m_before;
        options.connectTo = {"::127.0.0.1:" + std::to_string(server.port())};
        setHttpOptions(options);
        WConfigManager* const config = WConfigManager::getInstance();
        config->setCPOption(PROVIDER, "app_id", "app-7");
        config->setCPOption(PROVIDER, "AuthToken", "token-of-tv");
        config->setCPOption(PROVIDER, "duid", "duid-0001");
    }
    ~Routed() { setHttpOptions(m_before); }
    Routed(const Routed&) = delete;
    Routed& operator=(const Routed&) = delete;

private:
    HttpOptions m_before;
};

VOID noteStatus(WSTATUS status, const WContentProvider&, VOID* promise)
{
    static_cast<std::promise<WSTATUS>*>(promise)->set_value(status);
}

VOID neverCalled(WSTATUS, const WContentProvider&, VOID*) { ADD_FAILURE() << "a callback after the plugin's end"; }

WSTATUS signIn(void* plugin)
{
    std::promise<WSTATUS> signedIn;
    const WSTATUS status = interfaceOf(plugin).authKL(noteStatus, &signedIn);
    return status < 0 ? status : signedIn.get_future().get();
}

/// Loads the library, signs in, asks for the progress, and unloads, so many times.
void loadUseAndUnload(int rounds)
{
    test::RawServer server;
    server.onRequest([](const test::RawRequest&) { return test::RawReply::ok(OK_DOCUMENT); });
    const Routed routed(server);
    for (int round = 0; round < rounds; ++round) {
        const Library library;
        void* const plugin = library.createPlugin();
        ASSERT_NE(plugin, nullptr);
        ASSERT_EQ(signIn(plugin), 0) << round;
        double done = -1;
        double total = -1;
        EXPECT_EQ(interfaceOf(plugin).progressStatus(PROVIDER, done, total, nullptr), 0) << round;
        library.destroyPlugin(plugin);
    }
    EXPECT_EQ(server.requestCount(), static_cast<std::size_t>(rounds));
}

/// What a process has. Under a sanitizer, whose heap is its own, the heap is always empty here. What threads have freed and keep
/// for themselves counts as used; ctest runs these tests with a heap that has nothing of the kind.
struct Belongings {
    std::size_t threads;
    std::size_t descriptors;
    std::size_t heap; ///< bytes in use
};

std::size_t entriesOf(const char* folder)
{
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

Belongings belongings()
{
    const struct mallinfo2 heap = mallinfo2();
    return {entriesOf("/proc/self/task"), entriesOf("/proc/self/fd"), heap.uordblks + heap.hblkhd};
}

} // namespace

TEST(Loading, FindsEverythingThatTheLibraryNeedsAtOnce)
{
    const Library library;
    EXPECT_NE(library.symbol("createPlugin"), nullptr);
    EXPECT_NE(library.symbol("destroyPlugin"), nullptr);
}

TEST(Loading, FindsNothingElseUnderAPlainName)
{
    const Library library;
    for (const char* name : {"_init_plugin", "initPlugin", "cbKLFnCallback", "cbFnRequestCompleted", "fnContentDownloader",
                             "_ZN1W14cbKLFnCallbackENS_14SESSION_STATUSEPNS_11HttpRequestEPv", "_ZTVN1W9KLServiceE",
                             "_ZN1W9KLService11getKLSTATUSENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"})
        EXPECT_EQ(library.symbol(name), nullptr) << name;
}

TEST(Loading, MakesAPluginAndDestroysIt)
{
    const Library library;
    void* const plugin = library.createPlugin();
    ASSERT_NE(plugin, nullptr);
    library.destroyPlugin(plugin);
}

TEST(Loading, DestroysNothingForNull)
{
    const Library library;
    library.destroyPlugin(nullptr);
}

TEST(Loading, PrintsNothingUnlessSomethingFails)
{
    test::CaptureStdout output;
    {
        const Library library;
        void* const plugin = library.createPlugin();
        library.destroyPlugin(plugin);
    }
    EXPECT_EQ(output.take(), "");
}

TEST(Loading, LeavesTheProcessWhenItIsClosed)
{
    {
        const Library library;
        EXPECT_TRUE(Library::isLoaded());
    }
    EXPECT_FALSE(Library::isLoaded());
}

TEST(Loading, TakesNothingHoweverOftenItIsDone)
{
    constexpr int OFTEN = 500;
    loadUseAndUnload(OFTEN); // what libraries keep for the life of the process is there now
    const Belongings before = belongings();
    loadUseAndUnload(OFTEN);
    const Belongings after = belongings();
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_LT(after.heap, before.heap + OFTEN * 16) << "less than the smallest piece of memory each time";
    EXPECT_FALSE(Library::isLoaded());
}

TEST(Loading, MayEndWhileRequestsRun)
{
    test::RawServer server;
    server.onRequest([](const test::RawRequest& request) {
        return request.target().find("/auth") != STRING::npos ? test::RawReply::ok(OK_DOCUMENT) : test::RawReply().stall();
    });
    const Routed routed(server);
    for (int round = 0; round < 10; ++round) {
        const Library library;
        void* const plugin = library.createPlugin();
        ASSERT_EQ(signIn(plugin), 0);
        ASSERT_EQ(interfaceOf(plugin).registerKL(neverCalled, nullptr), 0);
        ASSERT_TRUE(server.waitForRequests(2 * static_cast<std::size_t>(round) + 2));
        library.destroyPlugin(plugin);
    } // the code is gone here: a completion that came now would not find it
    EXPECT_FALSE(Library::isLoaded());
}

TEST(Loading, LeavesTheHostsClientUsable)
{
    test::RawServer server;
    {
        const Library library;
        library.destroyPlugin(library.createPlugin());
    }
    HttpRequest request(HTTP_REQUEST_GET, server.url(), HttpHeader(), "", nullptr, nullptr);
    EXPECT_EQ(request.execute(), 0);
}

TEST(Loading, HasSeveralPluginsBesideEachOther)
{
    test::RawServer server;
    server.onRequest([](const test::RawRequest&) { return test::RawReply::ok(OK_DOCUMENT); });
    const Routed routed(server);
    const Library library;
    void* const a = library.createPlugin();
    void* const b = library.createPlugin();
    EXPECT_NE(a, b);
    EXPECT_EQ(signIn(a), 0);
    double done = -1;
    double total = -1;
    EXPECT_EQ(interfaceOf(a).progressStatus(PROVIDER, done, total, nullptr), 0);
    EXPECT_EQ(interfaceOf(b).progressStatus(PROVIDER, done, total, nullptr), -202);
    library.destroyPlugin(a);
    EXPECT_EQ(signIn(b), 0);
    library.destroyPlugin(b);
}
