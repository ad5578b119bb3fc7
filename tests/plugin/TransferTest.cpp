// SPDX-License-Identifier: MIT
// The one transfer that progress and cancel refer to.
#include "plugin/support/Service.h"

#include <thread>

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* URL = "http://media.kinloom.example/photo.jpg";

using Progress = std::pair<double, double>;

class Transfer : public ServiceTest {
protected:
    void SetUp() override
    {
        ServiceTest::SetUp();
        fake::answerAll(fake::held());
    }
    WSTATUS download(const STRING& name) { return service->retrieveFData(URL, "", new CountedCMD, folder.file(name)); }
    WSTATUS upload()
    {
        return service->postDataRequest(URL, {{"filename", "image/jpeg"}}, {}, new CountedCMD, folder.write("up.jpg", "photo"), 5);
    }
    Progress progress()
    {
        Progress now(-1, -1);
        service->getProgressStatus(now.first, now.second);
        return now;
    }
    void finish(std::size_t number, const fake::Answer& answer = fake::reply("bytes"))
    {
        const std::size_t before = fake::completionCount();
        ASSERT_TRUE(fake::answer(number, answer));
        ASSERT_TRUE(fake::waitForCompletions(before + 1));
    }
};

} // namespace

TEST_F(Transfer, ReportsZeroWhenThereIsNone) { EXPECT_EQ(progress(), Progress(0, 0)); }

TEST_F(Transfer, ReportsTheProgressOfADownload)
{
    ASSERT_EQ(download("a"), 0);
    EXPECT_EQ(progress(), Progress(0, 0));
    fake::setProgress(0, 10, 100);
    EXPECT_EQ(progress(), Progress(10, 100));
    fake::setProgress(0, 60, 100);
    EXPECT_EQ(progress(), Progress(60, 100));
}

TEST_F(Transfer, ReportsTheProgressOfAnUpload)
{
    ASSERT_EQ(upload(), 0);
    fake::setProgress(0, 2, 5);
    EXPECT_EQ(progress(), Progress(2, 5));
}

TEST_F(Transfer, IgnoresOrdinaryRequests)
{
    ASSERT_EQ(service->getDataRequest(URL, {}, "", new CountedCMD), 0);
    fake::setProgress(0, 10, 100);
    EXPECT_EQ(progress(), Progress(0, 0));
}

TEST_F(Transfer, StaysTheFirstWhileOthersRunBesideIt)
{
    ASSERT_EQ(download("a"), 0);
    ASSERT_EQ(download("b"), 0);
    fake::setProgress(0, 1, 10);
    fake::setProgress(1, 5, 50);
    EXPECT_EQ(progress(), Progress(1, 10));
    finish(1);
    fake::setProgress(0, 2, 10);
    EXPECT_EQ(progress(), Progress(2, 10));
}

TEST_F(Transfer, MakesRoomForTheNextWhenItEnds)
{
    ASSERT_EQ(download("a"), 0);
    finish(0);
    ASSERT_EQ(download("b"), 0);
    fake::setProgress(1, 5, 50);
    EXPECT_EQ(progress(), Progress(5, 50));
    finish(1, fake::failure(SESSION_CUT_OFF));
    ASSERT_EQ(upload(), 0);
    fake::setProgress(2, 3, 5);
    EXPECT_EQ(progress(), Progress(3, 5));
}

TEST_F(Transfer, BeginsTheNextAtZero)
{
    ASSERT_EQ(download("a"), 0);
    fake::setProgress(0, 7, 70);
    EXPECT_EQ(progress(), Progress(7, 70));
    finish(0);
    ASSERT_EQ(download("b"), 0);
    EXPECT_EQ(progress(), Progress(0, 0));
}

TEST_F(Transfer, KeepsItsLastFiguresOnceItsFlagIsReset)
{
    ASSERT_EQ(download("a"), 0);
    fake::setProgress(0, 7, 70);
    EXPECT_EQ(progress(), Progress(7, 70));
    service->resetReqStatus();
    fake::setProgress(0, 8, 70);
    EXPECT_EQ(progress(), Progress(7, 70));
}

TEST_F(Transfer, ReportsAllOfWhatWasExpectedWhenItIsUpdated)
{
    ASSERT_EQ(download("a"), 0);
    fake::setProgress(0, 7, 70);
    EXPECT_EQ(progress(), Progress(7, 70));
    service->resetReqStatus();
    service->updateProgressStatus();
    EXPECT_EQ(progress(), Progress(70, 70));
}

TEST_F(Transfer, UpdatesNothingWhenThereIsNone)
{
    ASSERT_EQ(download("a"), 0);
    fake::setProgress(0, 7, 70);
    EXPECT_EQ(progress(), Progress(7, 70));
    finish(0);
    service->updateProgressStatus();
    EXPECT_EQ(progress(), Progress(7, 70));
}

TEST_F(Transfer, ForgetsTheFiguresWhenTheyAreReset)
{
    ASSERT_EQ(download("a"), 0);
    fake::setProgress(0, 7, 70);
    EXPECT_EQ(progress(), Progress(7, 70));
    service->resetReqStatus();
    service->resetProgressStatus();
    EXPECT_EQ(progress(), Progress(0, 0));
}

TEST_F(Transfer, StopsWhenItIsCancelled)
{
    ASSERT_EQ(download("a"), 0);
    service->setCancel();
    ASSERT_TRUE(fake::waitForCompletions(1));
    const std::vector<Completed> all = completed();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].status, SESSION_CANCELLED);
    EXPECT_FALSE(exists(folder.file("a")));
}

TEST_F(Transfer, IsCancelledOnce)
{
    ASSERT_EQ(download("a"), 0);
    service->resetReqStatus(); // as the first cancel leaves it
    service->setCancel();
    EXPECT_EQ(fake::heldCount(), 1u);
    finish(0);
    EXPECT_EQ(completed().at(0).status, SESSION_DONE);
}

TEST_F(Transfer, IsTheOnlyOneThatACancelStops)
{
    ASSERT_EQ(service->getDataRequest(URL, {}, "", new CountedCMD), 0);
    ASSERT_EQ(download("a"), 0);
    ASSERT_EQ(download("b"), 0);
    service->setCancel();
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(fake::heldCount(), 2u);
    EXPECT_EQ(completed().size(), 1u);
}

TEST_F(Transfer, MayBeMissingWhenACancelComes)
{
    service->setCancel();
    ASSERT_EQ(download("a"), 0);
    EXPECT_EQ(fake::heldCount(), 1u); // a cancel is not kept for later
}

TEST_F(Transfer, IsForgottenByAFlush)
{
    ASSERT_EQ(download("a"), 0);
    service->flushHttpRequests();
    EXPECT_THAT(completed(), IsEmpty());
    service->setCancel();
    EXPECT_EQ(progress(), Progress(0, 0));
    ASSERT_EQ(download("b"), 0);
    fake::setProgress(1, 4, 40);
    EXPECT_EQ(progress(), Progress(4, 40));
}

TEST_F(Transfer, IsForgottenWhenASecondDownloadIsRefused)
{
    ASSERT_EQ(download("a"), 0);
    fake::setProgress(0, 7, 70);
    EXPECT_EQ(progress(), Progress(7, 70));
    fake::refuseNext(-16);
    EXPECT_EQ(download("b"), -16);
    // The first one runs on, but nobody follows it any more.
    fake::setProgress(0, 8, 70);
    EXPECT_EQ(progress(), Progress(0, 0));
    service->setCancel();
    EXPECT_EQ(fake::heldCount(), 1u);
    finish(0);
    EXPECT_EQ(completed().size(), 1u);
}

TEST_F(Transfer, IsForgottenWhenAnUploadIsRefused)
{
    ASSERT_EQ(download("a"), 0);
    fake::setProgress(0, 7, 70);
    fake::refuseNext(-16);
    EXPECT_EQ(upload(), -16);
    EXPECT_EQ(progress(), Progress(0, 0));
}

TEST_F(Transfer, IsKeptWhenADownloadIsRefusedForItsPath)
{
    ASSERT_EQ(download("a"), 0);
    fake::setProgress(0, 7, 70);
    EXPECT_EQ(service->retrieveFData(URL, "", new CountedCMD, ""), -1);
    EXPECT_EQ(progress(), Progress(7, 70));
}

TEST_F(Transfer, IsTrackedDuringItsCompletion)
{
    static KLService* s_service;
    static Progress s_seen;
    s_service = service.get();
    service->setFnCallbackPtr([](SESSION_STATUS, const HttpResponse&, KLServiceCMD*) {
        s_service->updateProgressStatus();
        s_service->getProgressStatus(s_seen.first, s_seen.second);
    });
    ASSERT_EQ(download("a"), 0);
    fake::Answer answer = fake::reply("bytes");
    answer.progress = {30.0, 30.0};
    finish(0, answer);
    EXPECT_EQ(s_seen, Progress(30, 30));
}

TEST_F(Transfer, MakesRoomForTheNextInItsOwnCompletion)
{
    static std::function<void()> s_completion;
    s_completion = [this] {
        service->resetReqStatus(); // as every transfer's completion begins
        EXPECT_EQ(download("b"), 0);
        service->resetProgressStatus(); // as it ends
    };
    service->setFnCallbackPtr([](SESSION_STATUS, const HttpResponse&, KLServiceCMD*) {
        if (const std::function<void()> completion = std::exchange(s_completion, nullptr))
            completion();
    });
    ASSERT_EQ(download("a"), 0);
    finish(0);
    fake::setProgress(1, 7, 9);
    EXPECT_EQ(progress(), Progress(7, 9));
    service->setCancel();
    EXPECT_TRUE(fake::waitUntilIdle()) << "the cancel has reached it";
}

TEST_F(Transfer, FlushesWithTheProvidersNumber)
{
    service->flushHttpRequests();
    EXPECT_THAT(fake::flushes(), ElementsAre(static_cast<unsigned long long>(kinloomProvider().getID())));
}

TEST_F(Transfer, SurvivesPollsFromOtherThreads)
{
    std::atomic<bool> stop{false};
    std::thread poller([&] {
        while (!stop) {
            progress();
            service->setCancel();
            service->resetProgressStatus();
        }
    });
    fake::answerAll(fake::reply("bytes"));
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(download("a"), 0);
    EXPECT_TRUE(fake::waitForCompletions(200));
    stop = true;
    poller.join();
}
