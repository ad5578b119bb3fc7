// SPDX-License-Identifier: MIT
// Which cancel callback is called, and which one stays: each accepted cancel that brings one counts, also when it is the same
// function.
#include "plugin/support/Facade.h"
#include "plugin/support/Operations.h"

#include <thread>

using namespace W;
using namespace kinloom_test;

namespace {

class CancelCallback : public SignedInTest {
protected:
    void SetUp() override
    {
        SignedInTest::SetUp();
        fake::answerAll(fake::held());
    }
    WSTATUS list() { return operationNamed("retrieveGroupList").start(*oai, &recorder, folder); }
    void answer(std::size_t number) { finish(number, fake::reply(documents::groups(1))); }
    /// Cancels a request, and runs this inside the cancel callback of the first one that completes.
    template <class Reaction> void cancelAndReact(Reaction&& reaction)
    {
        ASSERT_EQ(list(), 0);
        ASSERT_EQ(cancel(onCancelled), 0);
        recorder.onCall([this, reaction](const Call&) {
            recorder.onCall(nullptr);
            reaction();
        });
        answer(0);
        ASSERT_TRUE(recorder.only().isCancel);
        recorder.clear();
    }
    TempFolder folder;
};

} // namespace

TEST_F(CancelCallback, StaysWhenItStoresItselfAgain)
{
    cancelAndReact([this] {
        EXPECT_EQ(list(), 0);
        EXPECT_EQ(cancel(onCancelled), 0);
    });
    EXPECT_TRUE(oai->hasCancelCallback());
    answer(1);
    EXPECT_TRUE(recorder.only().isCancel);
    EXPECT_FALSE(oai->hasCancelCallback());
}

TEST_F(CancelCallback, StaysWhenAnotherThreadStoresTheSameMeanwhile)
{
    cancelAndReact([this] {
        EXPECT_EQ(list(), 0);
        std::thread([this] { EXPECT_EQ(cancel(onCancelled), 0); }).join();
    });
    EXPECT_TRUE(oai->hasCancelCallback());
    answer(1);
    EXPECT_TRUE(recorder.only().isCancel);
    EXPECT_FALSE(oai->hasCancelCallback());
}

TEST_F(CancelCallback, GoesWhenTheCancelMeanwhileBringsNone)
{
    // The cancel is accepted, and brings nobody to tell: the callback that runs was stored for the one before.
    cancelAndReact([this] {
        EXPECT_EQ(list(), 0);
        EXPECT_EQ(cancel(nullptr), 0);
        EXPECT_TRUE(oai->hasCancelCallback());
    });
    EXPECT_FALSE(oai->hasCancelCallback());
    answer(1);
    EXPECT_EQ(recorder.count(), 0u);
    EXPECT_FALSE(oai->isCancelRequested());
}

TEST_F(CancelCallback, GoesWhenTheCancelMeanwhileIsRefused)
{
    cancelAndReact([this] {
        EXPECT_EQ(list(), 0);
        EXPECT_EQ(cancel(nullptr), 0);
        EXPECT_EQ(cancel(onCancelled), -14);
    });
    EXPECT_FALSE(oai->hasCancelCallback());
    answer(1);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(CancelCallback, MayCallAnOperationWhoseResultIsReported)
{
    cancelAndReact([this] { EXPECT_EQ(list(), 0); });
    EXPECT_FALSE(oai->hasCancelCallback());
    answer(1);
    EXPECT_FALSE(recorder.only().isCancel);
    EXPECT_EQ(recorder.only().value<WContainer<WGroup>>().getData().size(), 1u);
}

TEST_F(CancelCallback, IsOneOfThoseThatManyThreadsStore)
{
    constexpr std::size_t REQUESTS = 200;
    fake::answerAll(fake::reply(documents::groups(1)));
    std::atomic<bool> ended{false};
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            while (!ended)
                if (oai->isCancelRequested() || cancel(onCancelled) != 0)
                    std::this_thread::yield();
        });
    for (std::size_t i = 1; i <= REQUESTS; ++i) { // one at a time: a cancelled one drops the others
        EXPECT_EQ(list(), 0);
        EXPECT_TRUE(fake::waitForCompletions(i));
    }
    ended = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_LE(recorder.count(), REQUESTS); // a request reports once, unless its cancel's callback was called for another

    recorder.clear();
    fake::answerAll(fake::held());
    ASSERT_EQ(list(), 0); // ends whatever is pending
    ASSERT_EQ(cancel(onCancelled), 0);
    answer(REQUESTS);
    EXPECT_TRUE(recorder.only().isCancel);
}
