// SPDX-License-Identifier: MIT
// Every operation on a network at its worst, on the real host: whatever the other end does, an operation that was accepted reports
// once, with a status that says what went wrong; it leaves no file, and nobody else's request suffers.
#include "W/WStatus.h"
#include "WKLOAI/WKLOAI.h"
#include "plugin/support/Documents.h"
#include "plugin/support/LogCapture.h"
#include "plugin/support/Operations.h"
#include "support/Gzip.h"
#include "support/RawServer.h"
#include "support/Wait.h"
#include "whost/HttpOptions.h"

#include <cstdio>
#include <deque>
#include <gtest/gtest.h>

using namespace W;
using namespace kinloom_test;
using test::RawReply;
using test::RawRequest;
using test::RawServer;

namespace {

const STRING HEAD = "HTTP/1.1 200 OK\r\n";

struct NetworkFault {
    const char* name;
    /// What the server does with every request that the fault is meant for.
    RawReply (*reply)();
    /// What is reported where the reply is read, and where it is saved.
    WSTATUS ofReply;
    WSTATUS ofFile;
    /// How often a GET reaches the server. Anything else does once: what changes something is never sent again.
    std::size_t gets = 1;
    RawServer::Greeting greeting = RawServer::Greeting::READ;
};

std::ostream& operator<<(std::ostream& out, const NetworkFault& fault) { return out << fault.name; }

constexpr WSTATUS LOST = WSTATUS_CONNECTION_LOST;
constexpr WSTATUS LARGE = WSTATUS_LIMIT_EXCEEDED;
constexpr WSTATUS SLOW = WSTATUS_TIMED_OUT;
constexpr WSTATUS BROKEN = WSTATUS_FAILED;
constexpr long REDIRECTS = 3;

const STRING& bomb()
{
    static const STRING BOMB = test::gzipOfBlanks(4u << 20);
    return BOMB;
}

const NetworkFault FAULTS[] = {
    {"ResetBeforeTheHead", [] { return RawReply().reset(); }, LOST, LOST},
    {"ResetInTheHead", [] { return RawReply().send("HTTP/1.1 200 OK\r\nContent-").reset(); }, LOST, LOST},
    {"ResetInTheBody", [] { return RawReply().send(HEAD + "Content-Length: 500\r\n\r\n<rsp>").reset(); }, LOST, LOST},
    {"EndBeforeTheHead", [] { return RawReply().close(); }, LOST, LOST},
    {"EndInTheHead", [] { return RawReply().send("HTTP/1.1 200 OK\r\nContent-").close(); }, LOST, LOST},
    {"EndInTheBody", [] { return RawReply().send(HEAD + "Content-Length: 500\r\n\r\n<rsp>").close(); }, LOST, LOST},
    {"EndBetweenChunks", [] { return RawReply().send(HEAD + "Transfer-Encoding: chunked\r\n\r\n5\r\n<rsp>\r\n").close(); }, LOST,
     LOST},
    {"NoChunks", [] { return RawReply().send(HEAD + "Transfer-Encoding: chunked\r\n\r\n<rsp></rsp>").close(); }, LOST, LOST},
    {"TwoLengths", [] { return RawReply().send(HEAD + "Content-Length: 5\r\nContent-Length: 11\r\n\r\n<rsp></rsp>").close(); },
     BROKEN, BROKEN},
    {"NegativeLength", [] { return RawReply().send(HEAD + "Content-Length: -5\r\n\r\n<rsp></rsp>").close(); }, BROKEN, BROKEN},
    {"NoHttp", [] { return RawReply().send("220 mail.example ESMTP\r\n").close(); }, BROKEN, BROKEN},
    {"EndlessBody", [] { return RawReply().send(HEAD + "\r\n").sendEndlessly(STRING(4096, '<')); }, LARGE, LARGE},
    {"EnormousLength", [] { return RawReply().send(HEAD + "Content-Length: 99999999999999\r\n\r\n<rsp>").stall(); }, LARGE, LARGE},
    {"EndlessHead", [] { return RawReply().send(HEAD).sendEndlessly("X-Filler: " + STRING(90, 'x') + "\r\n", 20u << 20); }, LARGE,
     LARGE},
    {"EndlessInterimReplies", [] { return RawReply().sendEndlessly("HTTP/1.1 100 Continue\r\n\r\n", 20u << 20); }, LARGE, LARGE},
    // A file is kept as it comes, so there is nothing to blow up.
    {"GzipBomb", [] { return RawReply::ok(bomb(), {"Content-Encoding: gzip"}); }, LARGE, WSTATUS_OK},
    {"RedirectLoop", [] { return RawReply::status(302, "", {"Location: /again"}); }, BROKEN, BROKEN, 1 + REDIRECTS},
    {"RedirectToAFile", [] { return RawReply::status(302, "", {"Location: file:///etc/hostname"}); }, BROKEN, BROKEN},
    {"Silence", [] { return RawReply().stall(); }, SLOW, SLOW},
    {"SilenceAfterTheGoAhead", [] { return RawReply().send("HTTP/1.1 100 Continue\r\n\r\n").stall(); }, SLOW, SLOW},
    {"SilenceInTheBody", [] { return RawReply().send(HEAD + "Content-Length: 500\r\n\r\n<rsp>").stall(); }, SLOW, SLOW},
    {"DrippingBody",
     [] {
         return RawReply().send(HEAD + "Content-Length: 9000\r\n\r\n").drip(STRING(9000, ' '), 1, std::chrono::milliseconds(20));
     },
     SLOW, SLOW},
    {"HalfOpenConnection", [] { return RawReply(); }, SLOW, SLOW, 0, RawServer::Greeting::IGNORE},
    {"EndAtOnce", [] { return RawReply(); }, LOST, LOST, 0, RawServer::Greeting::CLOSE},
};

const char* const BYSTANDER = "/bystander";

/// A request of another provider, beside which the plugin's fails. It is under the options of the moment that it is made in.
class Bystander {
public:
    explicit Bystander(RawServer& server) : m_server(server)
    {
        auto request = std::make_unique<HttpRequest>(HTTP_REQUEST_GET, server.url(BYSTANDER), HttpHeader(), STRING(), &end, this);
        request->setID(4711);
        if (HttpDelegator::getInstance()->addRequest(request.get()) == 0)
            request.release();
        EXPECT_TRUE(server.waitForWaiting(1));
    }
    /// \return whether the request goes on to its end when the server lets it.
    bool finishes()
    {
        m_server.release();
        return m_ended.wait() && m_payload == "fine";
    }

private:
    static VOID end(SESSION_STATUS, HttpRequest* request, VOID* self)
    {
        auto& bystander = *static_cast<Bystander*>(self);
        bystander.m_payload = request->response().getPayload();
        delete request;
        bystander.m_ended.raise();
    }

    RawServer& m_server;
    STRING m_payload;
    test::Signal m_ended;
};

/// Waits for the end of an operation, whether or not it reports one; what it reported to is free then.
bool hasEnded(WKLOAI& oai, const OperationCase& operation, const Recorder& recorder)
{
    return (!operation.callsBack || recorder.waitFor(1)) && test::comesTrue([&] { return oai.countCMD() == 0; });
}

class NetworkFaults : public testing::TestWithParam<NetworkFault> {
protected:
    NetworkFaults() : m_before(httpOptions()), m_oai(static_cast<WKLOAI*>(createPlugin()))
    {
        bomb(); // making it takes longer than a stall may
        HttpOptions options = m_before;
        options.connectTo = {"::127.0.0.1:" + std::to_string(server.port())};
        m_patient = options;
        options.maxMemoryBody = 1u << 20;
        options.maxFileBody = 1u << 20;
        options.maxRedirects = REDIRECTS;
        options.stallTimeoutMs = 250;
        options.stallBytesPerSecond = 1000;
        m_strict = options;
        setHttpOptions(m_strict);
        configure(APP_ID, AUTH_TOKEN, DUID);
        signIn();
    }
    ~NetworkFaults() override
    {
        destroyPlugin(m_oai);
        setHttpOptions(m_before);
        std::remove(resourceFile(folder).c_str());
    }

    WKLOAI& oai() { return *m_oai; }
    void signIn() { EXPECT_EQ(oai().parseAuthStatus(documents::OK, nullptr), 0); }

    /// Every request meets the fault, but for the bystander's, and for what an upload asks first.
    void misbehave(const NetworkFault& fault)
    {
        server.onRequest([reply = fault.reply](const RawRequest& request) {
            if (request.target() == BYSTANDER)
                return RawReply().hold().send(HEAD + "Content-Length: 4\r\n\r\nfine");
            return isSlot(request) ? RawReply::ok(documents::slot()) : reply();
        });
    }
    void behave()
    {
        server.onRequest([](const RawRequest&) { return RawReply::ok(documents::groups(1)); });
    }

    /// How many requests have met the fault.
    std::size_t hits() const
    {
        std::size_t count = 0;
        for (const RawRequest& request : server.requests())
            count += request.target() != BYSTANDER && !isSlot(request) ? 1 : 0;
        return count;
    }

    void expectNoFile() const
    {
        for (const STRING& name : folder.entries())
            EXPECT_EQ(name, "photo.jpg") << "what is uploaded is all that there is";
        EXPECT_FALSE(test::exists(resourceFile(folder)));
    }

    RawServer server;
    TempFolder folder;

private:
    static bool isSlot(const RawRequest& request)
    {
        static constexpr std::string_view END = "/upload";
        const STRING target = request.target();
        return target.size() > END.size() && target.compare(target.size() - END.size(), END.size(), END) == 0;
    }

    HttpOptions m_before;
    WKLOAI* m_oai;

protected:
    HttpOptions m_patient; ///< those of a television, with the server in the place of all others
    HttpOptions m_strict;  ///< with which a test ends soon
};

TEST_P(NetworkFaults, AreReportedOnceByEveryOperation)
{
    const LogCapture log;
    const NetworkFault& fault = GetParam();
    for (const OperationCase& operation : operations()) {
        if (operation.asksFirst && fault.greeting != RawServer::Greeting::READ)
            continue; // its first request fails, and no other follows
        SCOPED_TRACE(operation.name);
        signIn();
        misbehave(fault);
        setHttpOptions(m_patient);
        Bystander bystander(server);
        setHttpOptions(m_strict);
        server.greet(fault.greeting);
        const std::size_t before = hits();

        Recorder recorder;
        ASSERT_EQ(operation.start(oai(), &recorder, folder), 0);
        ASSERT_TRUE(hasEnded(oai(), operation, recorder));
        const WSTATUS expected = operation.writesFile ? fault.ofFile : fault.ofReply;
        EXPECT_EQ(recorder.count(), operation.callsBack ? 1u : 0u);
        if (operation.callsBack) {
            EXPECT_EQ(recorder.only().status, expected);
        }
        if (expected != WSTATUS_OK)
            expectNoFile();
        std::remove(resourceFile(folder).c_str());
        std::remove(folder.file("saved.jpg").c_str());
        const bool isGet = hits() > before && server.last().line().rfind("GET ", 0) == 0;
        EXPECT_EQ(hits() - before, isGet ? fault.gets : std::min<std::size_t>(fault.gets, 1));

        server.greet(RawServer::Greeting::READ);
        EXPECT_TRUE(bystander.finishes());
        EXPECT_EQ(recorder.count(), operation.callsBack ? 1u : 0u) << "and no more later";
    }
}

TEST_P(NetworkFaults, AreForgottenWhenTheNetworkIsWellAgain)
{
    const LogCapture log;
    const OperationCase& list = operationNamed("retrieveGroupList");
    misbehave(GetParam());
    server.greet(GetParam().greeting);
    Recorder failing;
    ASSERT_EQ(list.start(oai(), &failing, folder), 0);
    ASSERT_TRUE(hasEnded(oai(), list, failing));

    server.greet(RawServer::Greeting::READ);
    behave();
    Recorder recorder;
    ASSERT_EQ(list.start(oai(), &recorder, folder), 0);
    ASSERT_TRUE(hasEnded(oai(), list, recorder));
    EXPECT_EQ(recorder.only().status, WSTATUS_OK);
}

TEST_P(NetworkFaults, AreReturnedByAnUploadThatCannotAsk)
{
    const LogCapture log;
    server.onRequest([reply = GetParam().reply](const RawRequest&) { return reply(); });
    server.greet(GetParam().greeting);
    Recorder recorder;
    // A reply that is whole, and no slot, is an argument that is missing.
    const WSTATUS expected = STRING(GetParam().name) == "RedirectToAFile" || STRING(GetParam().name) == "RedirectLoop"
                                 ? WSTATUS_INVALID_ARGUMENT
                                 : GetParam().ofReply;
    EXPECT_EQ(operationNamed("createContent").start(oai(), &recorder, folder), expected);
    EXPECT_EQ(oai().countCMD(), 0u);
    EXPECT_EQ(recorder.count(), 0u);
}

INSTANTIATE_TEST_SUITE_P(On, NetworkFaults, testing::ValuesIn(FAULTS),
                         [](const testing::TestParamInfo<NetworkFault>& fault) { return STRING(fault.param.name); });

/// The port of a server that is no more.
STRING deadRoute()
{
    const RawServer gone;
    return "::127.0.0.1:" + std::to_string(gone.port());
}

class DeadService : public testing::Test {
protected:
    DeadService() : m_before(httpOptions()), oai(static_cast<WKLOAI*>(createPlugin()))
    {
        configure(APP_ID, AUTH_TOKEN, DUID);
        EXPECT_EQ(oai->parseAuthStatus(documents::OK, nullptr), 0);
    }
    ~DeadService() override
    {
        destroyPlugin(oai);
        setHttpOptions(m_before);
    }
    void lead(const STRING& route)
    {
        HttpOptions options = m_before;
        options.connectTo = {route};
        setHttpOptions(options);
    }
    WSTATUS listGroups()
    {
        const OperationCase& list = operationNamed("retrieveGroupList");
        Recorder recorder;
        EXPECT_EQ(list.start(*oai, &recorder, folder), 0);
        EXPECT_TRUE(hasEnded(*oai, list, recorder));
        return recorder.only().status;
    }

    TempFolder folder;
    std::deque<Recorder> recorders; // until the plugin's end: a completion may still be returning when it has reported

private:
    HttpOptions m_before;

protected:
    WKLOAI* oai;
};

TEST_F(DeadService, IsUnreachableForEveryOperation)
{
    const LogCapture log;
    lead(deadRoute());
    for (const OperationCase& operation : operations()) {
        SCOPED_TRACE(operation.name);
        Recorder& recorder = recorders.emplace_back();
        const WSTATUS started = operation.start(*oai, &recorder, folder);
        EXPECT_EQ(started, operation.asksFirst ? WSTATUS_UNREACHABLE : WSTATUS_OK);
        if (operation.callsBack && started == 0) {
            EXPECT_TRUE(recorder.waitFor(1));
            EXPECT_EQ(recorder.only().status, WSTATUS_UNREACHABLE);
        }
        EXPECT_TRUE(test::comesTrue([&] { return oai->countCMD() == 0; }));
    }
}

TEST_F(DeadService, IsUsedAgainWhenItComesBack)
{
    const LogCapture log;
    const auto answerGroups = [](RawServer& server) {
        server.onRequest([](const RawRequest&) { return RawReply::ok(documents::groups(1)); });
    };
    {
        RawServer first;
        answerGroups(first);
        lead("::127.0.0.1:" + std::to_string(first.port()));
        EXPECT_EQ(listGroups(), WSTATUS_OK);
    }
    EXPECT_NE(listGroups(), WSTATUS_OK) << "the kept connection is dead, and so is the server";
    RawServer second;
    answerGroups(second);
    lead("::127.0.0.1:" + std::to_string(second.port()));
    EXPECT_EQ(listGroups(), WSTATUS_OK);
}

} // namespace
