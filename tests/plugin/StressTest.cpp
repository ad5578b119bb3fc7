// SPDX-License-Identifier: MIT
// Every pair of operations beside each other, with completions, failures that drop others, cancels, flushes, polls, callbacks that
// call back, and destruction in the midst of it all. Meant for the thread and address sanitizers, which see what goes wrong.
//
// KINLOOM_STRESS_SEED=number replays the decisions of a run (the threads' schedule is the system's), and
// KINLOOM_STRESS_ROUNDS=number runs that many rounds of each pair instead of one.
#include "plugin/support/Dice.h"
#include "plugin/support/Documents.h"
#include "plugin/support/LogCapture.h"
#include "plugin/support/Operations.h"
#include "whost/FakeClient.h"

#include <cstdio>
#include <deque>
#include <gtest/gtest.h>
#include <thread>

using namespace W;
using namespace kinloom_test;

namespace {

/// What a round's client answers. Most requests go well; some wait, some fail, and a failure drops the others.
fake::Answer chooseAnswer(Dice& dice, bool mayWait)
{
    switch (dice.below(mayWait ? 12 : 8)) {
    case 0:
        return fake::reply(404);
    case 1:
        return fake::reply(documents::OK, 500);
    case 2:
        return fake::reply("Error=208\n", 403);
    case 3:
        return fake::reply(documents::NOT_XML);
    case 4:
        return fake::failure(SESSION_CUT_OFF);
    case 5:
        return fake::reply(documents::contents(40));
    case 6:
        return fake::reply(documents::groups(40));
    case 7:
        return fake::reply(documents::OK);
    default:
        return fake::held();
    }
}

/// One plugin and the threads that use it.
class Round {
public:
    Round(const OperationCase& a, const OperationCase& b, unsigned long seed)
        : m_operations{&a, &b}, m_seed(seed), m_oai(static_cast<WKLOAI*>(createPlugin()))
    {
        fake::reset();
        fake::answerWith([this](const fake::Seen& seen) {
            if (seen.executed)
                return fake::reply(documents::slot());
            Dice dice(m_seed, 1000 + seen.number);
            return chooseAnswer(dice, true);
        });
        EXPECT_EQ(m_oai->parseAuthStatus(documents::OK, nullptr), 0);
    }

    ~Round() { std::remove(resourceFile(m_folder).c_str()); }
    Round(const Round&) = delete;
    Round& operator=(const Round&) = delete;

    void run()
    {
        std::thread first([this] { work(0); });
        std::thread second([this] { work(1); });
        std::thread third([this] { meddle(); });
        std::thread fourth([this] { answerWaiting(); });
        first.join();
        second.join();
        m_stop = true;
        third.join();
        fourth.join();
        Dice dice(m_seed, 3);
        if (dice.oneIn(2)) {
            fake::answerHeld(chooseAnswer(dice, false));
            if (dice.oneIn(2)) {
                EXPECT_TRUE(fake::waitUntilIdle());
            }
        }
        end();
    }

private:
    static constexpr int STEPS = 6;
    static constexpr int MOST_REENTRIES = 4;

    /// Whose callback may be called once, and only if the operation was accepted.
    struct Ticket {
        Recorder recorder;
        WSTATUS started = 0;
    };

    void start(const OperationCase& operation, Dice& dice)
    {
        Ticket* ticket = nullptr;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            ticket = &m_tickets.emplace_back();
        }
        const bool reenters = dice.oneIn(3);
        const unsigned int number = dice.below(1u << 30);
        if (reenters)
            ticket->recorder.onCall([this, number](const Call&) { callBack(number); });
        ticket->started = operation.start(*m_oai, dice.oneIn(8) ? nullptr : &ticket->recorder, m_folder);
    }

    /// What a callback does.
    void callBack(unsigned int number)
    {
        if (++m_reentries > MOST_REENTRIES)
            return;
        Dice dice(m_seed, number);
        switch (dice.below(4)) {
        case 0:
            start(*m_operations[dice.below(2)], dice);
            break;
        case 1:
            cancel(dice);
            break;
        case 2:
            m_oai->service()->flushHttpRequests();
            break;
        default:
            poll();
            break;
        }
    }

    void work(unsigned int which)
    {
        Dice dice(m_seed, which + 1);
        for (int step = 0; step < STEPS; ++step)
            start(*m_operations[which], dice);
    }

    /// Cancels, polls and flushes beside the operations, and signs in again when one has signed out.
    void meddle()
    {
        Dice dice(m_seed, 4);
        while (!m_stop) {
            switch (dice.below(16)) {
            case 0:
            case 1:
                cancel(dice);
                break;
            case 2:
                m_oai->service()->flushHttpRequests();
                break;
            case 3:
                m_oai->parseAuthStatus(documents::OK, nullptr);
                break;
            case 4:
                m_oai->service()->setUserID("user-" + std::to_string(dice.below(3)));
                break;
            default:
                poll();
                break;
            }
            std::this_thread::yield();
        }
    }

    void answerWaiting()
    {
        Dice dice(m_seed, 5);
        while (!m_stop) {
            fake::answerHeld(chooseAnswer(dice, false));
            std::this_thread::yield();
        }
    }

    void cancel(Dice& dice)
    {
        static Recorder nobodys;
        m_oai->cancel(m_oai->getContentProvider(),
                      dice.oneIn(3)   ? nullptr
                      : dice.oneIn(2) ? onCancelled
                                      : onCancelledOther,
                      &nobodys);
    }

    void poll()
    {
        double done = 0;
        double total = 0;
        m_oai->progressStatus(m_oai->getContentProvider(), done, total, nullptr);
        m_oai->countCMD();
        m_oai->service()->getException();
    }

    void end()
    {
        destroyPlugin(m_oai);
        const std::size_t called = calls();
        EXPECT_EQ(fake::liveRequests(), 0u);
        EXPECT_TRUE(fake::waitUntilIdle());
        EXPECT_EQ(calls(), called) << "a callback after the plugin's end";
        for (const Ticket& ticket : m_tickets)
            EXPECT_LE(ticket.recorder.count(), ticket.started < 0 ? 0u : 1u);
        fake::reset();
    }

    std::size_t calls() const
    {
        std::size_t sum = 0;
        for (const Ticket& ticket : m_tickets)
            sum += ticket.recorder.count();
        return sum;
    }

    const OperationCase* const m_operations[2];
    const unsigned long m_seed;
    TempFolder m_folder;
    std::mutex m_mutex;
    std::deque<Ticket> m_tickets; // a reference into it stays good
    std::atomic<int> m_reentries{0};
    std::atomic<bool> m_stop{false};
    WKLOAI* const m_oai;
};

/// An operation beside each of the others, and beside itself.
class Stress : public testing::TestWithParam<OperationCase> {};

} // namespace

TEST_P(Stress, SurvivesEveryOtherOperationBesideIt)
{
    configure(APP_ID, AUTH_TOKEN, DUID);
    Recorder::isWorker = fake::onWorker;
    SCOPED_TRACE("KINLOOM_STRESS_SEED=" + std::to_string(stressSeed()));
    LogCapture log;
    for (unsigned long round = 0; round < stressRounds(); ++round)
        for (const OperationCase& other : operations()) {
            SCOPED_TRACE(STRING("beside ") + other.name + ", round " + std::to_string(round));
            Round(GetParam(), other, stressSeed() + 7919 * round + 31 * GetParam().key + other.key).run();
        }
}

INSTANTIATE_TEST_SUITE_P(Every, Stress, testing::ValuesIn(operations()), [](const auto& test) { return STRING(test.param.name); });
