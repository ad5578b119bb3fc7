// SPDX-License-Identifier: MIT
// Hosts that do not drop a request when they are asked to, and complete or delete it when the plugin is gone. The leak check and
// the sanitizers see what the counts do not.
#include "plugin/support/Operations.h"
#include "plugin/support/Service.h"

#include <future>
#include <thread>

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class LeftBehind : public SignedInTest {
protected:
    void TearDown() override
    {
        SignedInTest::TearDown();
        std::remove(resourceFile(folder).c_str());
    }
    WSTATUS list() { return operationNamed("retrieveGroupList").start(*oai, &recorder, folder); }
    void startEveryOperation()
    {
        holdQueuedRequests();
        for (const OperationCase& operation : operations())
            ASSERT_EQ(operation.start(*oai, &recorder, folder), 0) << operation;
    }
    /// Waits, on a thread of its own if need be, until requests find no service any more.
    static void waitUntilCut(ServiceLink& link)
    {
        while (link.enter()) {
            link.leave();
            std::this_thread::yield();
        }
    }
    TempFolder folder;
};

class LeftBehindService : public ServiceTest {
protected:
    void startSome(int count)
    {
        fake::answerAll(fake::held());
        for (int i = 0; i < count; ++i)
            ASSERT_EQ(service->getDataRequest("http://x.example/", {}, "", new CountedCMD), 0);
    }
};

} // namespace

TEST_F(LeftBehind, LetsThePluginEndAndIsAnsweredLater)
{
    startEveryOperation();
    fake::flushWith(fake::Flush::KEEPS);
    destroy();
    EXPECT_EQ(fake::heldCount(), operations().size());
    const std::size_t before = fake::completionCount();
    EXPECT_EQ(fake::answerHeld(fake::reply(documents::contents(1))), operations().size());
    ASSERT_TRUE(fake::waitForCompletions(before + operations().size()));
    EXPECT_EQ(fake::liveRequests(), 0u);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(LeftBehind, LetsThePluginEndAndFailsLater)
{
    startEveryOperation();
    fake::flushWith(fake::Flush::KEEPS);
    destroy();
    const std::size_t before = fake::completionCount();
    fake::answerHeld(fake::failure(SESSION_CUT_OFF));
    ASSERT_TRUE(fake::waitForCompletions(before + operations().size()));
    EXPECT_EQ(fake::liveRequests(), 0u);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(LeftBehind, LetsThePluginEndAndIsDeletedLaterOnAnotherThread)
{
    startEveryOperation();
    fake::flushWith(fake::Flush::DEFERS);
    destroy();
    EXPECT_EQ(fake::liveRequests(), operations().size());
    std::thread([] { EXPECT_EQ(fake::deleteDropped(), operations().size()); }).join();
    EXPECT_EQ(fake::liveRequests(), 0u);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(LeftBehind, LeavesTheCancelCallbackUncalled)
{
    holdQueuedRequests();
    ASSERT_EQ(list(), 0);
    ASSERT_EQ(cancel(), 0);
    fake::flushWith(fake::Flush::KEEPS);
    destroy();
    finish(0, fake::reply(documents::groups(1)));
    EXPECT_EQ(fake::liveRequests(), 0u);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(LeftBehind, MayBeTheTransferThatIsTracked)
{
    for (const fake::Flush flush : {fake::Flush::KEEPS, fake::Flush::DEFERS}) {
        signIn();
        holdQueuedRequests();
        ASSERT_EQ(operationNamed("download").start(*oai, &recorder, folder), 0);
        ASSERT_TRUE(fake::setProgress(0, 3, 8));
        double done = 0;
        double total = 0;
        ASSERT_EQ(oai->progressStatus(provider(), done, total, nullptr), 0);
        ASSERT_EQ(done, 3);
        fake::flushWith(flush);
        destroy();
        fake::setProgress(0, 5, 8);
        fake::answerHeld(fake::reply("a photo"));
        ASSERT_TRUE(fake::waitUntilIdle());
        fake::deleteDropped();
        EXPECT_EQ(fake::liveRequests(), 0u);
        EXPECT_EQ(recorder.count(), 0u);
        oai = static_cast<WKLOAI*>(createPlugin());
    }
}

TEST_F(LeftBehind, DoesNotDisturbThePluginThatComesNext)
{
    holdQueuedRequests();
    ASSERT_EQ(list(), 0);
    fake::flushWith(fake::Flush::KEEPS);
    destroy();
    oai = static_cast<WKLOAI*>(createPlugin());
    Recorder signedIn;
    ASSERT_EQ(oai->authKL(Callback<>::call, &signedIn), 0);
    finish(0, fake::reply(documents::groups(1)));
    EXPECT_EQ(signedIn.count(), 0u);
    EXPECT_EQ(fake::liveRequests(), 1u);
    finish(1, fake::reply(documents::OK));
    EXPECT_EQ(signedIn.only().status, 0);
    EXPECT_TRUE(service().isLoggedIn());
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(LeftBehind, WaitsForTheCompletionThatRunsAndSilencesTheNext)
{
    holdQueuedRequests();
    ASSERT_EQ(list(), 0);
    ASSERT_EQ(list(), 0);
    fake::flushWith(fake::Flush::KEEPS);
    const std::shared_ptr<ServiceLink> link = service().link();
    std::promise<void> entered;
    std::atomic<bool> left{false};
    recorder.onCall([&](const Call&) {
        entered.set_value(); // a second call would throw
        waitUntilCut(*link);
        left = true;
    });
    fake::answerHeld(fake::reply(documents::groups(1)));
    entered.get_future().wait();
    destroy();
    EXPECT_TRUE(left);
    ASSERT_TRUE(fake::waitUntilIdle());
    EXPECT_EQ(fake::liveRequests(), 0u);
    EXPECT_EQ(recorder.count(), 1u);
    recorder.onCall(nullptr);
}

TEST_F(LeftBehind, RefusesWhatTheCompletionThatRunsAsksFor)
{
    holdQueuedRequests();
    ASSERT_EQ(list(), 0);
    fake::flushWith(fake::Flush::KEEPS);
    const std::shared_ptr<ServiceLink> link = service().link();
    std::promise<void> entered;
    WKLOAI* const plugin = oai;
    WSTATUS asked = 0;
    recorder.onCall([&](const Call&) {
        entered.set_value();
        waitUntilCut(*link);
        asked = operationNamed("download").start(*plugin, &recorder, folder);
    });
    fake::answerHeld(fake::reply(documents::groups(1)));
    entered.get_future().wait();
    destroy();
    EXPECT_EQ(asked, -3);
    ASSERT_TRUE(fake::waitUntilIdle());
    EXPECT_EQ(fake::liveRequests(), 0u);
    recorder.onCall(nullptr);
}

TEST_F(LeftBehind, IsAnsweredWhileThePluginEnds)
{
    constexpr std::size_t MANY = 2000;
    holdQueuedRequests();
    for (std::size_t i = 0; i < MANY; ++i)
        ASSERT_EQ(list(), 0);
    fake::flushWith(fake::Flush::KEEPS);
    ASSERT_EQ(fake::answerHeld(fake::reply(documents::groups(1))), MANY);
    ASSERT_TRUE(recorder.waitFor(1)); // the worker is at it
    destroy();
    const std::size_t called = recorder.count();
    ASSERT_TRUE(fake::waitForCompletions(MANY));
    EXPECT_EQ(recorder.count(), called) << "a callback after the plugin's end";
    EXPECT_EQ(fake::liveRequests(), 0u);
}

TEST_F(LeftBehind, IsDeletedOnAnotherThreadWhileThePluginEnds)
{
    constexpr std::size_t MANY = 2000;
    holdQueuedRequests();
    for (std::size_t i = 0; i < MANY; ++i)
        ASSERT_EQ(list(), 0);
    fake::flushWith(fake::Flush::DEFERS);
    std::thread deleting([] {
        while (fake::liveRequests() > 0)
            fake::deleteDropped();
    });
    destroy();
    deleting.join();
    EXPECT_EQ(fake::liveRequests(), 0u);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(LeftBehindService, FreesItsCommandWhenItIsAnsweredLater)
{
    startSome(3);
    fake::flushWith(fake::Flush::KEEPS);
    service.reset();
    EXPECT_EQ(CountedCMD::alive(), 3);
    ASSERT_TRUE(fake::answer(1, fake::reply(200)));
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(CountedCMD::alive(), 2);
    fake::answerHeld(fake::failure(SESSION_TIMED_OUT));
    EXPECT_THAT(completed(), IsEmpty());
    EXPECT_THAT(dropped(), IsEmpty());
    EXPECT_EQ(CountedCMD::alive(), 0);
}

TEST_F(LeftBehindService, FreesItsCommandWhenItIsDeletedLater)
{
    startSome(3);
    fake::flushWith(fake::Flush::DEFERS);
    service.reset();
    EXPECT_EQ(CountedCMD::alive(), 3);
    EXPECT_EQ(fake::deleteDropped(), 3u);
    EXPECT_EQ(CountedCMD::alive(), 0);
    EXPECT_THAT(dropped(), IsEmpty());
}

TEST_F(LeftBehindService, IsStillDroppedWhenTheHostDoesDropAfterAll)
{
    startSome(3);
    fake::flushWith(fake::Flush::KEEPS);
    service->flushHttpRequests();
    EXPECT_EQ(CountedCMD::alive(), 3);
    fake::flushWith(fake::Flush::DELETES);
    service->close();
    EXPECT_EQ(CountedCMD::alive(), 0);
    EXPECT_EQ(dropped().size(), 3u);
}

TEST_F(LeftBehindService, MakesAClosingServiceFlushOnce)
{
    startSome(1);
    fake::flushWith(fake::Flush::KEEPS);
    service.reset();
    EXPECT_THAT(fake::flushes(), ElementsAre(kinloomProvider().getID()));
    fake::answerHeld(fake::reply(200));
    EXPECT_THAT(completed(), IsEmpty());
}

TEST_F(LeftBehindService, HasNoProgressOnceTheServiceIsClosed)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(service->retrieveFData("http://x.example/", "", new CountedCMD, folder.file("file")), 0);
    ASSERT_TRUE(fake::setProgress(0, 3, 8));
    fake::flushWith(fake::Flush::DEFERS);
    service->close();
    fake::deleteDropped();
    double done = -1;
    double total = -1;
    service->getProgressStatus(done, total);
    service->setCancel();
    EXPECT_EQ(done, 0.0);
    EXPECT_EQ(total, 0.0);
}

TEST_F(LeftBehindService, FindsTheServiceUntilTheLinkIsCut)
{
    const std::shared_ptr<ServiceLink> link = service->link();
    EXPECT_EQ(link->enter(), service.get());
    link->leave();
    EXPECT_FALSE(link->cut());
    EXPECT_EQ(link->enter(), nullptr);
    EXPECT_FALSE(link->cut());
}

TEST_F(LeftBehindService, HoldsUpTheCutWhileSomebodyIsInside)
{
    const std::shared_ptr<ServiceLink> link = service->link();
    ASSERT_EQ(link->enter(), service.get());
    ASSERT_EQ(link->enter(), service.get());
    std::atomic<bool> leaving{false};
    std::future<bool> cut = std::async(std::launch::async, [&] {
        const bool somebodyInside = link->cut();
        EXPECT_TRUE(leaving);
        return somebodyInside;
    });
    while (KLService* const found = link->enter()) { // nobody enters once the cut has begun
        EXPECT_EQ(found, service.get());
        link->leave();
        std::this_thread::yield();
    }
    link->leave();
    leaving = true;
    link->leave();
    EXPECT_TRUE(cut.get());
}
