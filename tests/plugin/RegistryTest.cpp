// SPDX-License-Identifier: MIT
// Command records, the list of those in flight, cancel and progress.
#include "plugin/support/Facade.h"
#include "plugin/support/Operations.h"

#include <thread>

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Registry : public SignedInTest {
protected:
    WSTATUS list() { return operationNamed("retrieveGroupList").start(*oai, &recorder, folder); }
    WSTATUS download() { return operationNamed("download").start(*oai, &recorder, folder); }

    TempFolder folder;
    const WContentProvider stranger{"Somebody else", WContentProvider::SERVICE_UNKNOWN};
};

class RegistrySignedOut : public FacadeTest {};

} // namespace

// --- Records

TEST_F(Registry, GivesARecordItsProvidersKey)
{
    const GroupCreationCMD command(provider());
    EXPECT_EQ(command.getCPKey(), provider().getID());
}

TEST_F(Registry, GivesARecordNoKeyUntilItIsSet)
{
    GroupCreationCMD command(provider());
    EXPECT_EQ(command.getCMDKey(), 0xFFFFFFFFu);
    EXPECT_EQ(command.getID() & 0xFFFFFFFFu, 0xFFFFFFFFu);
    EXPECT_EQ(command.getID() >> 32, provider().getID());
    command.setCMDKey(7);
    EXPECT_EQ(command.getCMDKey(), 7u);
    EXPECT_EQ(command.getID(), std::uint64_t{provider().getID()} << 32 | 7);
}

TEST_F(Registry, LeavesWhatARecordDoesNotOwnAlone)
{
    WCaptchaException exception;
    {
        KLExceptionResolveCMD command(provider());
        command.exception = &exception;
        command.owner = oai;
        command.userData = &recorder;
    }
    EXPECT_EQ(exception.getExceptionType(), EXCEPTION_CAPTCHA);
}

// --- The list

TEST_F(Registry, CountsWhatIsAdded)
{
    KLLogoutCMD a(provider());
    KLLogoutCMD b(provider());
    oai->addCMD(&a);
    oai->addCMD(&b);
    EXPECT_EQ(oai->countCMD(), 2u);
    oai->cleanupCMD(&a);
    EXPECT_EQ(oai->countCMD(), 1u);
    oai->cleanupCMD(&b);
    EXPECT_EQ(oai->countCMD(), 0u);
}

TEST_F(Registry, RemovesTheFirstOfTwoEqualEntriesOnly)
{
    KLLogoutCMD a(provider());
    oai->addCMD(&a);
    oai->addCMD(&a);
    oai->cleanupCMD(&a);
    EXPECT_EQ(oai->countCMD(), 1u);
    oai->cleanupCMD(&a);
    EXPECT_EQ(oai->countCMD(), 0u);
}

TEST_F(Registry, IgnoresAPointerThatIsNotInTheList)
{
    KLLogoutCMD a(provider());
    oai->addCMD(&a);
    oai->cleanupCMD(nullptr);
    oai->cleanupCMD(reinterpret_cast<KLServiceCMD*>(0x10)); // compared, never followed
    EXPECT_EQ(oai->countCMD(), 1u);
    oai->cleanupCMD(&a);
}

TEST_F(Registry, EmptiesTheListAndFreesNothing)
{
    auto command = std::make_unique<KLLogoutCMD>(provider());
    oai->addCMD(command.get());
    oai->cleanupCMD();
    EXPECT_EQ(oai->countCMD(), 0u);
    EXPECT_EQ(command->getCPKey(), provider().getID());
}

TEST_F(Registry, TakesChangesFromManyThreads)
{
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([this] {
            KLLogoutCMD command(provider());
            for (int n = 0; n < 1000; ++n) {
                oai->addCMD(&command);
                oai->cleanupCMD(&command);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(oai->countCMD(), 0u);
}

// --- Cancel

TEST_F(RegistrySignedOut, RefusesACancel)
{
    EXPECT_EQ(cancel(), -202);
    EXPECT_FALSE(oai->isCancelRequested());
    EXPECT_FALSE(oai->hasCancelCallback());
    EXPECT_THAT(facadeLog(), ElementsAre(-202));
}

TEST_F(RegistrySignedOut, RefusesACancelBeforeItLooksAtTheProvider)
{
    EXPECT_EQ(oai->cancel(WContentProvider(), onCancelled, nullptr), -202);
}

TEST_F(Registry, RefusesACancelForAnotherProvider)
{
    EXPECT_EQ(oai->cancel(stranger, onCancelled, nullptr), -16);
    EXPECT_FALSE(oai->isCancelRequested());
    EXPECT_FALSE(oai->hasCancelCallback());
    EXPECT_THAT(facadeLog(), ElementsAre(-16));
}

TEST_F(Registry, RefusesASecondCancelAndKeepsTheFirstCallback)
{
    fake::answerNext(fake::held());
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(cancel(onCancelled), 0);
    EXPECT_EQ(cancel(onCancelledOther), -14);
    EXPECT_THAT(facadeLog(), ElementsAre(-14));
    finish(0, fake::reply(documents::groups(1)));
    EXPECT_TRUE(recorder.only().isCancel);
    EXPECT_THAT(recorder.only().values, IsEmpty());
}

TEST_F(Registry, RefusesASecondCancelForAnotherProviderAsAStranger)
{
    EXPECT_EQ(cancel(), 0);
    EXPECT_EQ(oai->cancel(stranger, onCancelled, nullptr), -16);
}

TEST_F(Registry, KeepsTheEarlierCallbackWhenACancelBringsNone)
{
    EXPECT_EQ(cancel(onCancelledOther), 0);
    oai->cancelFlagReset(); // as the next operation does; the callback has not been called
    fake::answerNext(fake::held());
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(cancel(nullptr), 0);
    finish(0, fake::reply(documents::groups(1)));
    EXPECT_TRUE(recorder.only().isCancel);
    EXPECT_EQ(recorder.only().value<STRING>(), "other");
}

TEST_F(Registry, TakesANewCallbackInPlaceOfAnEarlierOne)
{
    EXPECT_EQ(cancel(onCancelledOther), 0);
    oai->cancelFlagReset();
    fake::answerNext(fake::held());
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(cancel(onCancelled), 0);
    finish(0, fake::reply(documents::groups(1)));
    EXPECT_THAT(recorder.only().values, IsEmpty());
}

TEST_F(Registry, TellsNobodyOfACancelThatHasNoCallback)
{
    fake::answerNext(fake::held());
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(cancel(nullptr), 0);
    finish(0, fake::reply(documents::groups(1)));
    EXPECT_EQ(recorder.count(), 0u);
    EXPECT_FALSE(oai->isCancelRequested());
}

TEST_F(Registry, ReportsACancelWithTheUserDataOfTheCommandThatCompletes)
{
    Recorder notThis;
    fake::answerNext(fake::held());
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(oai->cancel(provider(), onCancelled, &notThis), 0);
    finish(0, fake::reply(documents::groups(1)));
    EXPECT_EQ(notThis.count(), 0u);
    const Call call = recorder.only();
    EXPECT_TRUE(call.isCancel);
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.provider, &provider());
    EXPECT_TRUE(call.onWorker);
}

TEST_F(Registry, ReportsACancelOnceAndThenResultsAgain)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(cancel(), 0);
    finish(0, fake::reply(documents::groups(1)));
    ASSERT_EQ(list(), 0);
    finish(1, fake::reply(documents::groups(1)));
    const std::vector<Call> calls = recorder.calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_TRUE(calls[0].isCancel);
    EXPECT_FALSE(calls[1].isCancel);
    EXPECT_EQ(calls[1].value<WContainer<WGroup>>().getData().size(), 1u);
}

TEST_F(Registry, ForgetsACallbackOnceItWasCalled)
{
    oai->cbCancelDone(0, &recorder);
    EXPECT_EQ(recorder.count(), 0u);
    EXPECT_EQ(cancel(), 0);
    EXPECT_TRUE(oai->hasCancelCallback());
    oai->cbCancelDone(-16, &recorder);
    EXPECT_EQ(recorder.only().status, -16);
    EXPECT_FALSE(oai->hasCancelCallback());
    oai->cbCancelDone(0, &recorder);
    EXPECT_EQ(recorder.count(), 1u);
}

TEST_F(Registry, KeepsTheCallbackOfACancelThatComesWhileTheEarlierIsReported)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(cancel(onCancelled), 0);
    recorder.onCall([this](const Call&) {
        recorder.onCall(nullptr);
        EXPECT_EQ(list(), 0);
        EXPECT_EQ(cancel(onCancelledOther), 0);
    });
    finish(0, fake::reply(documents::groups(1)));
    EXPECT_TRUE(oai->hasCancelCallback());
    finish(1, fake::reply(documents::groups(1)));
    const std::vector<Call> calls = recorder.calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[1].value<STRING>(), "other");
}

TEST_F(Registry, StopsTheCurrentTransferForACancel)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(download(), 0);
    EXPECT_EQ(cancel(), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_TRUE(recorder.only().isCancel);
}

TEST_F(Registry, LeavesARequestThatIsNoTransferRunningForACancel)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(list(), 0);
    EXPECT_EQ(cancel(), 0);
    EXPECT_EQ(fake::heldCount(), 1u);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(Registry, ClearsTheFlagAndKeepsTheCallbackOnAReset)
{
    EXPECT_EQ(cancel(), 0);
    EXPECT_TRUE(oai->isCancelRequested());
    oai->cancelFlagReset();
    EXPECT_FALSE(oai->isCancelRequested());
    EXPECT_TRUE(oai->hasCancelCallback());
    EXPECT_EQ(cancel(), 0); // none is pending any more
}

TEST_F(Registry, TakesTheFlagOnce)
{
    EXPECT_FALSE(oai->takeCancel());
    EXPECT_EQ(cancel(), 0);
    EXPECT_TRUE(oai->takeCancel());
    EXPECT_FALSE(oai->takeCancel());
}

// --- Progress

TEST_F(RegistrySignedOut, RefusesProgressAndLeavesTheFiguresAlone)
{
    double done = 11;
    double total = 22;
    EXPECT_EQ(oai->progressStatus(provider(), done, total, nullptr), -202);
    EXPECT_EQ(done, 11);
    EXPECT_EQ(total, 22);
    EXPECT_THAT(facadeLog(), ElementsAre(-202));
}

TEST_F(Registry, GivesAnotherProviderZeroProgress)
{
    double done = 11;
    double total = 22;
    EXPECT_EQ(oai->progressStatus(stranger, done, total, nullptr), -16);
    EXPECT_EQ(done, 0.0);
    EXPECT_EQ(total, 0.0);
    EXPECT_THAT(facadeLog(), ElementsAre(-16));
}

TEST_F(Registry, GivesTheProgressOfTheCurrentTransfer)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(download(), 0);
    fake::setProgress(0, 3, 8);
    double done = 11;
    double total = 22;
    EXPECT_EQ(oai->progressStatus(provider(), done, total, &recorder), 0);
    EXPECT_EQ(done, 3);
    EXPECT_EQ(total, 8);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(Registry, KnowsAProviderByNameAndType)
{
    double done = 11;
    double total = 22;
    EXPECT_EQ(oai->progressStatus(kinloomProvider(), done, total, nullptr), 0);
    EXPECT_EQ(oai->progressStatus(WContentProvider("Kinloom", WContentProvider::SERVICE_UNKNOWN), done, total, nullptr), -16);
    EXPECT_EQ(oai->progressStatus(WContentProvider(), done, total, nullptr), -16);
}
