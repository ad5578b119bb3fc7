// SPDX-License-Identifier: MIT
// Operations beside each other on the real host, against a server that replies, refuses, stalls and breaks off as it likes.
//
// KINLOOM_STRESS_SEED and KINLOOM_STRESS_ROUNDS are as for the stress on the scripted client.
#include "WKLOAI/WKLOAI.h"
#include "plugin/support/Dice.h"
#include "plugin/support/Documents.h"
#include "plugin/support/LogCapture.h"
#include "plugin/support/Operations.h"
#include "support/RawServer.h"
#include "whost/HttpOptions.h"

#include <atomic>
#include <cstdio>
#include <deque>
#include <gtest/gtest.h>
#include <thread>

using namespace W;
using namespace kinloom_test;

namespace {

test::RawReply chooseReply(Dice& dice)
{
    const STRING document = documents::contents(20);
    switch (dice.below(10)) {
    case 0:
        return test::RawReply::status(404);
    case 1:
        return test::RawReply::status(503, "later").close();
    case 2:
        return test::RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n" + document).close();
    case 3:
        return test::RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n" + document).reset();
    case 4:
        return test::RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n" + document).stall();
    case 5:
        return test::RawReply().stall();
    default:
        return test::RawReply::ok(document);
    }
}

class WireStress : public testing::TestWithParam<OperationCase> {
protected:
    void SetUp() override
    {
        before = httpOptions();
        HttpOptions options = before;
        options.connectTo = {"::127.0.0.1:" + std::to_string(server.port())};
        setHttpOptions(options);
        configure(APP_ID, AUTH_TOKEN, DUID);
    }
    void TearDown() override
    {
        setHttpOptions(before);
        std::remove(resourceFile(folder).c_str());
    }

    /// Uses one plugin from two threads and destroys it while requests are in flight.
    void round(const OperationCase& a, const OperationCase& b, unsigned long seed)
    {
        // The rule outlives the round: the server still answers requests that the plugin has given up.
        server.onRequest([seed, replies = std::make_shared<std::atomic<unsigned long>>(0)](const test::RawRequest& request) {
            Dice dice(seed, 1000 + (*replies)++);
            const bool isSlot = request.target().find("/upload") != STRING::npos; // its caller waits for it
            return isSlot ? test::RawReply::ok(documents::slot()) : chooseReply(dice);
        });
        std::deque<Recorder> first(STEPS);
        std::deque<Recorder> second(STEPS);
        auto* const oai = static_cast<WKLOAI*>(createPlugin());
        EXPECT_EQ(oai->parseAuthStatus(documents::OK, nullptr), 0);
        std::thread beside([&] { work(*oai, b, second, seed, 2); });
        work(*oai, a, first, seed, 1);
        beside.join();
        destroyPlugin(oai);
        for (const std::deque<Recorder>* recorders : {&first, &second})
            for (const Recorder& recorder : *recorders)
                EXPECT_LE(recorder.count(), 1u);
    }

    test::RawServer server;
    HttpOptions before;
    TempFolder folder;

private:
    static constexpr std::size_t STEPS = 5;

    void work(WKLOAI& oai, const OperationCase& operation, std::deque<Recorder>& recorders, unsigned long seed,
              unsigned long number)
    {
        Dice dice(seed, number);
        for (Recorder& recorder : recorders) {
            recorder.onCall([&oai](const Call&) { // as a host that shows progress does
                double done = 0;
                double total = 0;
                oai.progressStatus(oai.getContentProvider(), done, total, nullptr);
            });
            operation.start(oai, &recorder, folder);
            if (dice.oneIn(4))
                oai.cancel(oai.getContentProvider(), nullptr, nullptr);
            if (dice.oneIn(4))
                recorder.waitFor(1, std::chrono::milliseconds(dice.below(5)));
            if (dice.oneIn(6))
                oai.service()->flushHttpRequests();
        }
    }
};

} // namespace

TEST_P(WireStress, SurvivesOtherOperationsBesideIt)
{
    SCOPED_TRACE("KINLOOM_STRESS_SEED=" + std::to_string(stressSeed()));
    const LogCapture log;
    Dice dice(stressSeed(), GetParam().key);
    for (unsigned long i = 0; i < 5 * stressRounds(); ++i) {
        const OperationCase& other = operations()[dice.below(static_cast<unsigned int>(operations().size()))];
        SCOPED_TRACE(STRING("beside ") + other.name + ", round " + std::to_string(i));
        round(GetParam(), other, stressSeed() + 31 * GetParam().key + i);
    }
}

INSTANTIATE_TEST_SUITE_P(Every, WireStress, testing::ValuesIn(operations()),
                         [](const auto& test) { return STRING(test.param.name); });
