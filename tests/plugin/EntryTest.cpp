// SPDX-License-Identifier: MIT
// The entry points and the plugin's one life.
#include "plugin/support/Allocation.h"
#include "plugin/support/Facade.h"
#include "plugin/support/Operations.h"

#include <future>
#include <thread>

using namespace W;
using namespace kinloom_test;
using testing::Each;
using testing::IsEmpty;

namespace {

class Entry : public FacadeTest {
protected:
    TempFolder folder;
};

class EntrySignedIn : public SignedInTest {
protected:
    void TearDown() override
    {
        SignedInTest::TearDown();
        std::remove(resourceFile(folder).c_str());
    }
    TempFolder folder;
};

} // namespace

TEST_F(Entry, MakesAPluginThatImplementsTheInterface)
{
    WKinloomOAI* const plugin = oai;
    EXPECT_EQ(plugin->getContentProvider().getName(), "Kinloom");
    EXPECT_EQ(plugin->getContentProvider().getServiceType(), 12u);
    EXPECT_EQ(plugin->getContentProvider().getID(), kinloomProvider().getID());
    EXPECT_NE(oai->service(), nullptr);
    EXPECT_EQ(oai->countCMD(), 0u);
    EXPECT_FALSE(oai->isCancelRequested());
    EXPECT_FALSE(oai->hasCancelCallback());
    EXPECT_FALSE(service().isLoggedIn());
    EXPECT_EQ(log->text(), "");
}

TEST_F(Entry, IsInvalidUntilTheHostGivesAHandle)
{
    const WPlugin& plugin = *oai;
    EXPECT_FALSE(plugin.isValid());
    oai->setHandle(1);
    EXPECT_TRUE(plugin.isValid());
    oai->setHandle(0x80000000u);
    EXPECT_TRUE(plugin.isValid());
    oai->setHandle(0);
    EXPECT_FALSE(plugin.isValid());
}

TEST_F(Entry, DestroysNothingForNull) { destroyPlugin(nullptr); }

TEST_F(Entry, DestroysThroughTheInterface)
{
    WPlugin* const plugin = oai;
    oai = nullptr;
    delete plugin; // as a host that has the interface only
}

TEST_F(Entry, MakesSeveralPluginsBesideEachOther)
{
    void* const other = createPlugin();
    EXPECT_NE(other, oai);
    signIn();
    EXPECT_FALSE(static_cast<WKLOAI*>(other)->service()->isLoggedIn());
    destroyPlugin(other);
    EXPECT_TRUE(service().isLoggedIn());
}

TEST_F(Entry, RegistersItsRoutinesWithTheService)
{
    EXPECT_EQ(service().getFnCallbackPtr(), cbFnRequestCompleted);
    EXPECT_EQ(service().getFnDropPtr(), cbFnRequestDropped);
}

TEST_F(Entry, MakesAPluginWithoutAServiceWhenThereIsNoMemoryForIt)
{
    WKLOAI* plugin = nullptr;
    {
        const NoMemory noMemory;
        plugin = static_cast<WKLOAI*>(createPlugin());
    }
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(plugin->service(), nullptr);
    EXPECT_EQ(plugin->countCMD(), 0u);
    EXPECT_EQ(plugin->login("", "", nullptr, nullptr), -15);
    destroyPlugin(plugin);
    EXPECT_THAT(fake::flushes(), IsEmpty());
}

TEST_F(Entry, UndoesAPluginThatCannotBeMade)
{
    bool failed = true;
    for (long after = 0; failed; ++after) {
        const FailingAllocation failing(after);
        void* plugin = nullptr;
        try {
            plugin = createPlugin();
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(failing.happened());
        }
        failed = failing.happened();
        destroyPlugin(plugin);
    }
}

TEST_F(Entry, FlushesOnDestruction)
{
    const unsigned long long id = provider().getID();
    destroy();
    EXPECT_THAT(fake::flushes(), testing::Not(IsEmpty()));
    EXPECT_THAT(fake::flushes(), Each(id));
}

TEST_F(EntrySignedIn, DropsEveryKindOfRequestInFlightOnDestruction)
{
    holdQueuedRequests();
    for (const OperationCase& operation : operations())
        ASSERT_EQ(operation.start(*oai, &recorder, folder), 0) << operation;
    EXPECT_EQ(fake::heldCount(), operations().size());
    destroy();
    EXPECT_EQ(fake::heldCount(), 0u);
    EXPECT_EQ(fake::liveRequests(), 0u);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(EntrySignedIn, NeverCallsTheCancelCallbackOnDestruction)
{
    holdQueuedRequests();
    ASSERT_EQ(operationNamed("retrieveGroupList").start(*oai, &recorder, folder), 0);
    ASSERT_EQ(cancel(), 0);
    destroy();
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(EntrySignedIn, LeavesTheRequestsOfOtherPluginsAlone)
{
    static std::atomic<int> s_completed;
    s_completed = 0;
    fake::answerAll(fake::held());
    auto* const other = new HttpRequest(
        HTTP_REQUEST_GET, "http://other.example/", HttpHeader(), "",
        [](SESSION_STATUS, HttpRequest* request, VOID*) {
            ++s_completed;
            delete request;
        },
        nullptr);
    other->setID(provider().getID() + 1ull);
    ASSERT_EQ(HttpDelegator::getInstance()->addRequest(other), 0);
    destroy();
    EXPECT_EQ(fake::heldCount(), 1u);
    EXPECT_EQ(fake::answerHeld(fake::reply(200)), 1u);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(s_completed, 1);
}

TEST_F(EntrySignedIn, WaitsOnDestructionForTheCallbackThatRuns)
{
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<bool> left{false};
    recorder.onCall([&](const Call&) {
        entered.set_value();
        mayLeave.get_future().wait();
        left = true;
    });
    fake::answerNext(fake::reply(documents::groups(1)));
    ASSERT_EQ(operationNamed("retrieveGroupList").start(*oai, &recorder, folder), 0);
    entered.get_future().wait();
    std::future<void> destroyed = std::async(std::launch::async, [&] {
        destroy();
        EXPECT_TRUE(left);
    });
    mayLeave.set_value();
    destroyed.get();
    EXPECT_EQ(recorder.count(), 1u);
}

TEST_F(EntrySignedIn, RefusesWhatACallbackAsksForDuringDestruction)
{
    // The callback asks again and again, as one does that follows pages; each answer would come at once.
    std::promise<void> entered;
    std::promise<void> destroying;
    std::vector<WSTATUS> asked;
    recorder.onCall([&](const Call&) {
        if (asked.empty()) {
            entered.set_value();
            destroying.get_future().wait();
        }
        asked.push_back(operationNamed("retrieveGroupList").start(*oai, &recorder, folder));
    });
    fake::answerAll(fake::reply(documents::groups(1)));
    ASSERT_EQ(operationNamed("retrieveGroupList").start(*oai, &recorder, folder), 0);
    entered.get_future().wait();
    WKLOAI* const plugin = oai;
    std::future<void> destroyed = std::async(std::launch::async, [&] { destroyPlugin(plugin); });
    while (fake::flushes().empty()) // the destructor is under way once it has asked the client to flush
        std::this_thread::yield();
    destroying.set_value();
    destroyed.get();
    oai = nullptr;
    EXPECT_EQ(fake::liveRequests(), 0u);
    settle();
    EXPECT_THAT(asked, testing::ElementsAre(-3));
    recorder.onCall(nullptr);
}
