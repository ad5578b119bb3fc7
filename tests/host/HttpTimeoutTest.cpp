// SPDX-License-Identifier: MIT
#include "host/Client.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace test;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

/// A port whose connections are never accepted and, once its queue is full, never even established.
class FullPort {
public:
    FullPort()
    {
        m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof m_address;
        EXPECT_EQ(bind(m_listener, reinterpret_cast<sockaddr*>(&m_address), size), 0);
        EXPECT_EQ(getsockname(m_listener, reinterpret_cast<sockaddr*>(&m_address), &size), 0);
        EXPECT_EQ(listen(m_listener, 0), 0);
        for (int& filler : m_fillers) {
            filler = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            connect(filler, reinterpret_cast<sockaddr*>(&m_address), size);
        }
    }
    ~FullPort()
    {
        for (const int filler : m_fillers)
            close(filler);
        close(m_listener);
    }
    std::string url() const { return "http://127.0.0.1:" + std::to_string(ntohs(m_address.sin_port)) + "/"; }

private:
    sockaddr_in m_address{};
    int m_listener = -1;
    int m_fillers[4] = {-1, -1, -1, -1};
};

class HttpTimeout : public HttpTest {
protected:
    /// Runs a request and checks that it ended for want of time, and not too soon.
    void expectTimeout(HttpRequest* request, milliseconds least)
    {
        const auto begin = steady_clock::now();
        const Outcome outcome = run(request);
        EXPECT_EQ(outcome.status, SESSION_TIMED_OUT);
        EXPECT_EQ(outcome.code, 0u);
        // libcurl's clock counts whole milliseconds.
        EXPECT_GE(steady_clock::now() - begin, least - milliseconds(5));
    }
};

TEST_F(HttpTimeout, EndsAConnectionThatIsNotMade)
{
    const FullPort full;
    options([](HttpOptions& o) { o.connectTimeoutMs = 200; });
    expectTimeout(makeGet(full.url()), milliseconds(200));
}

TEST_F(HttpTimeout, EndsATransferWithoutAnAnswer)
{
    options([](HttpOptions& o) { o.stallTimeoutMs = 200; });
    server.reply(RawReply().stall());
    expectTimeout(makeGet(server.url()), milliseconds(200));
}

TEST_F(HttpTimeout, EndsATransferThatStallsInItsHead)
{
    options([](HttpOptions& o) { o.stallTimeoutMs = 200; });
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-").stall());
    expectTimeout(makeGet(server.url()), milliseconds(200));
}

TEST_F(HttpTimeout, EndsATransferThatStallsInItsBody)
{
    options([](HttpOptions& o) { o.stallTimeoutMs = 200; });
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf").stall());
    expectTimeout(makeGet(server.url()), milliseconds(200));
}

TEST_F(HttpTimeout, EndsADownloadThatStallsAndLeavesNoFile)
{
    const TempDir dir;
    options([](HttpOptions& o) { o.stallTimeoutMs = 200; });
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf").stall());
    expectTimeout(makeDownload(server.url(), dir.file("f")), milliseconds(200));
    EXPECT_TRUE(dir.entries().empty());
}

TEST_F(HttpTimeout, EndsAnUploadThatNobodyReads)
{
    options([](HttpOptions& o) { o.stallTimeoutMs = 200; });
    server.greet(RawServer::Greeting::IGNORE);
    expectTimeout(makePost(server.url(), std::string(32 << 20, 'x')), milliseconds(200));
}

TEST_F(HttpTimeout, EndsATransferThatIsTooSlow)
{
    options([](HttpOptions& o) {
        o.stallTimeoutMs = 200;
        o.stallBytesPerSecond = 100'000;
    });
    server.reply(
        RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n").drip(std::string(100'000, 'x'), 1, milliseconds(5)));
    expectTimeout(makeGet(server.url()), milliseconds(200));
}

TEST_F(HttpTimeout, BearsWithATransferThatIsJustFastEnough)
{
    options([](HttpOptions& o) { o.stallTimeoutMs = 400; });
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 80\r\n\r\n").drip(std::string(80, 'x'), 1, milliseconds(10)));
    const Outcome outcome = get(server.url());
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(outcome.payload.size(), 80u);
}

TEST_F(HttpTimeout, EndsATransferThatTakesTooLongInAll)
{
    options([](HttpOptions& o) { o.totalTimeoutMs = 300; });
    server.reply(
        RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n").drip(std::string(100'000, 'x'), 10, milliseconds(5)));
    expectTimeout(makeGet(server.url()), milliseconds(300));
}

TEST_F(HttpTimeout, CountsTheWholeWayOfRedirects)
{
    options([](HttpOptions& o) {
        o.totalTimeoutMs = 300;
        o.maxRedirects = 1000;
        o.maxHeaderBytes = 1 << 20;
    });
    server.onRequest([](const RawRequest&) {
        return RawReply().drip("HTTP/1.1 302 X\r\nLocation: /x\r\nContent-Length: 0\r\n\r\n", 10, milliseconds(10));
    });
    expectTimeout(makeGet(server.url()), milliseconds(300));
    EXPECT_GT(server.requestCount(), 2u);
}

TEST_F(HttpTimeout, DoesNotCountTheWaitForAFreeConnectionAsAStall)
{
    options([](HttpOptions& o) {
        o.stallTimeoutMs = 300;
        o.maxConnectionsPerHost = 1;
    });
    server.onRequest([](const RawRequest&) {
        return RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n").drip(std::string(20, 'x'), 1, milliseconds(20));
    });
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(send(makeGet(server.url())), 0);
    ASSERT_TRUE(outcomes.waitFor(3));
    for (const Outcome& outcome : outcomes.all())
        EXPECT_EQ(outcome.status, SESSION_DONE);
}

TEST_F(HttpTimeout, EndsTheTransferWithTheLeastPatienceFirst)
{
    std::vector<unsigned long long> ended;
    outcomes.before = [&](HttpRequest& request) { ended.push_back(request.getID()); };
    server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    for (const auto& [id, patience] : {std::pair{1ULL, 2000L}, std::pair{2ULL, 1000L}, std::pair{3ULL, 200L}}) {
        options([limit = patience](HttpOptions& o) { o.stallTimeoutMs = limit; });
        HttpRequest* const request = makeGet(server.url());
        request->setID(id);
        ASSERT_EQ(send(request), 0);
    }
    ASSERT_TRUE(outcomes.waitFor(3));
    EXPECT_EQ(ended, (std::vector<unsigned long long>{3, 2, 1}));
}

TEST_F(HttpTimeout, LeavesOtherTransfersAlone)
{
    options([](HttpOptions& o) { o.stallTimeoutMs = 200; });
    server.onRequest(
        [](const RawRequest& request) { return request.target() == "/stalls" ? RawReply().stall() : RawReply::ok("fine"); });
    ASSERT_EQ(send(makeGet(server.url("/stalls"))), 0);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(get(server.url()).payload, "fine");
    ASSERT_TRUE(outcomes.waitFor(6));
    EXPECT_EQ(outcomes.all().back().status, SESSION_TIMED_OUT);
}

TEST_F(HttpTimeout, HoldsForExecuteToo)
{
    HttpRequest request(HTTP_REQUEST_GET, server.url(), HttpHeader(), "", nullptr, nullptr);
    options([](HttpOptions& o) { o.stallTimeoutMs = 200; });
    server.reply(RawReply().stall());
    EXPECT_EQ(request.execute(), WSTATUS_TIMED_OUT);
    options([](HttpOptions& o) {
        o.stallTimeoutMs = 0;
        o.totalTimeoutMs = 200;
    });
    server.reply(RawReply().stall());
    EXPECT_EQ(request.execute(), WSTATUS_TIMED_OUT);
    const FullPort full;
    HttpRequest unanswered(HTTP_REQUEST_GET, full.url(), HttpHeader(), "", nullptr, nullptr);
    options([](HttpOptions& o) { o.connectTimeoutMs = 200; });
    EXPECT_EQ(unanswered.execute(), WSTATUS_TIMED_OUT);
}

} // namespace
