// SPDX-License-Identifier: MIT
// What all operations do alike, from the call to the end of the request.
#include "plugin/support/Facade.h"
#include "plugin/support/Operations.h"

#include <cstdio>

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

class Operation : public SignedInTest, public testing::WithParamInterface<OperationCase> {
protected:
    void TearDown() override
    {
        SignedInTest::TearDown();
        std::remove(resourceFile(folder).c_str());
    }
    WSTATUS start(Recorder* to) { return GetParam().start(*oai, to, folder); }
    WSTATUS start() { return start(&recorder); }
    /// The number of the request that the operation queues; one on the calling thread may go before.
    std::size_t queued() const { return GetParam().asksFirst ? 1 : 0; }
    std::size_t registered() const { return GetParam().isRegistered ? 1 : 0; }
    void expectNothingHappened()
    {
        EXPECT_EQ(oai->countCMD(), 0u);
        EXPECT_EQ(fake::liveRequests(), 0u);
        settle();
        EXPECT_EQ(recorder.count(), 0u);
    }
    TempFolder folder;
};

} // namespace

TEST_P(Operation, NeedsASessionUnlessItMakesOne)
{
    service().setUserCredential(nullptr, provider());
    if (!GetParam().needsSession) {
        EXPECT_EQ(start(), 0);
        return;
    }
    EXPECT_EQ(start(), -202);
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_THAT(facadeLog(), ElementsAre(-202));
    EXPECT_THAT(serviceLog(), IsEmpty());
    expectNothingHappened();
}

TEST_P(Operation, CallsBackOnceOnTheWorker)
{
    holdQueuedRequests();
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(recorder.count(), 0u);
    finish(queued(), fake::reply(GetParam().goodReply()));
    if (!GetParam().callsBack) {
        EXPECT_EQ(recorder.count(), 0u);
        return;
    }
    const Call call = recorder.only();
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.provider, &provider());
    EXPECT_FALSE(call.isCancel);
    EXPECT_TRUE(call.onWorker);
}

TEST_P(Operation, IsInTheListWhileItsRequestRuns)
{
    holdQueuedRequests();
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(oai->countCMD(), registered());
    finish(queued(), fake::reply(GetParam().goodReply()));
    EXPECT_EQ(oai->countCMD(), 0u);
    EXPECT_EQ(fake::liveRequests(), 0u);
}

TEST_P(Operation, QueuesARequestWithTheProvidersTag)
{
    holdQueuedRequests();
    ASSERT_EQ(start(), 0);
    for (const fake::Seen& seen : fake::requests())
        EXPECT_EQ(seen.id, static_cast<unsigned long long>(provider().getID())) << seen.url;
}

TEST_P(Operation, PassesOnTheClientsRefusal)
{
    fake::refuseNext(-13);
    EXPECT_EQ(start(), -13);
    EXPECT_THAT(facadeLog(), ElementsAre(-13));
    EXPECT_THAT(serviceLog(), ElementsAre(-13));
    expectNothingHappened();
}

TEST_P(Operation, GivesMinus3WhenItsRequestCannotBeMade)
{
    fake::failConstruction();
    EXPECT_EQ(start(), -3);
    EXPECT_THAT(facadeLog(), ElementsAre(-3));
    EXPECT_THAT(serviceLog(), ElementsAre(-3));
    expectNothingHappened();
}

TEST_P(Operation, FreesItsCommandOnEveryRefusal)
{
    // The leak check sees what the counts do not.
    for (int i = 0; i < 20; ++i) {
        fake::refuseNext(-1 - i);
        EXPECT_EQ(start(), -1 - i);
        fake::failConstruction();
        EXPECT_EQ(start(), -3);
    }
    expectNothingHappened();
}

TEST_P(Operation, EndsACancelThatIsLeftOver)
{
    holdQueuedRequests();
    ASSERT_EQ(cancel(), 0);
    ASSERT_EQ(start(), 0);
    EXPECT_FALSE(oai->isCancelRequested());
    finish(queued(), fake::reply(GetParam().goodReply()));
    for (const Call& call : recorder.calls())
        EXPECT_FALSE(call.isCancel);
}

TEST_P(Operation, ReportsACancelInPlaceOfItsResult)
{
    holdQueuedRequests();
    ASSERT_EQ(start(), 0);
    ASSERT_EQ(cancel(), 0);
    if (GetParam().isTransfer)
        ASSERT_TRUE(fake::waitForCompletions(1)); // the cancel has stopped it
    else
        finish(queued(), fake::reply(GetParam().goodReply()));
    const Call call = recorder.only();
    EXPECT_EQ(call.isCancel, !GetParam().reportsOwnCancel);
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.provider, &provider());
    EXPECT_TRUE(call.onWorker);
    EXPECT_EQ(oai->countCMD(), 0u);
}

TEST_P(Operation, IsDroppedByTheFailureOfAnother)
{
    holdQueuedRequests();
    ASSERT_EQ(start(), 0);
    Recorder other;
    ASSERT_EQ(oai->deleteGroup(groupWith("g9"), Callback<WGroup>::call, &other), 0);
    finish(queued() + 1, fake::reply(404));
    EXPECT_EQ(other.only().status, -205);
    EXPECT_EQ(fake::heldCount(), 0u);
    expectNothingHappened();
}

TEST_P(Operation, DropsTheOthersWhenItsReplyIsA404)
{
    holdQueuedRequests();
    Recorder other;
    ASSERT_EQ(oai->viewContent(contentWith("c9"), Callback<WContent>::call, &other), 0);
    ASSERT_EQ(start(), 0);
    finish(queued() + 1, fake::reply(404));
    EXPECT_EQ(other.count(), 0u);
    EXPECT_EQ(fake::heldCount(), 0u);
    EXPECT_EQ(oai->countCMD(), 0u);
    if (GetParam().callsBack) {
        EXPECT_EQ(recorder.only().status, -205);
    }
}

TEST_P(Operation, LeavesTheOthersAloneWhenItsTransferFails)
{
    holdQueuedRequests();
    Recorder other;
    ASSERT_EQ(oai->viewContent(contentWith("c9"), Callback<WContent>::call, &other), 0);
    ASSERT_EQ(start(), 0);
    finish(queued() + 1, fake::failure(SESSION_TIMED_OUT));
    const bool spares = GetParam().callsBack; // a comment list drops them however it ends
    EXPECT_EQ(fake::heldCount(), spares ? 1u : 0u);
    EXPECT_EQ(oai->countCMD(), spares ? 1u : 0u);
    EXPECT_EQ(other.count(), 0u);
    if (GetParam().callsBack) {
        EXPECT_EQ(recorder.only().status, WSTATUS_TIMED_OUT);
    }
}

TEST_P(Operation, DropsTheOthersOnSuccessWhenThatIsItsWay)
{
    holdQueuedRequests();
    Recorder other;
    ASSERT_EQ(oai->viewContent(contentWith("c9"), Callback<WContent>::call, &other), 0);
    ASSERT_EQ(start(), 0);
    finish(queued() + 1, fake::reply(GetParam().goodReply()));
    EXPECT_EQ(fake::heldCount(), GetParam().flushesOnSuccess ? 0u : 1u);
    EXPECT_EQ(other.count(), 0u);
}

TEST_P(Operation, CallsNobodyWithoutACallback)
{
    holdQueuedRequests();
    ASSERT_EQ(start(nullptr), 0);
    finish(queued(), fake::reply(GetParam().goodReply()));
    EXPECT_EQ(oai->countCMD(), 0u);
    EXPECT_EQ(fake::liveRequests(), 0u);
}

TEST_P(Operation, LeavesNothingBehindWhenThePluginGoes)
{
    holdQueuedRequests();
    ASSERT_EQ(start(), 0);
    destroy();
    EXPECT_EQ(fake::liveRequests(), 0u);
    settle();
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_P(Operation, NeverSendsCredentialsWithALineBreak)
{
    holdQueuedRequests();
    for (const STRING& token : {STRING("token\r\nX-Evil: 1"), STRING("token\n"), STRING("to\rken"), STRING("to\0ken", 6)}) {
        configure(APP_ID, token, DUID);
        ASSERT_EQ(oai->parseAuthStatus(documents::OK, nullptr), 0); // the service could not be asked
        if (!GetParam().sendsCredentials) {
            EXPECT_EQ(start(), 0);
            return;
        }
        EXPECT_LT(start(), 0);
        EXPECT_EQ(fake::requestCount(), 0u);
        expectNothingHappened();
    }
}

INSTANTIATE_TEST_SUITE_P(Every, Operation, testing::ValuesIn(operations()),
                         [](const auto& test) { return STRING(test.param.name); });
