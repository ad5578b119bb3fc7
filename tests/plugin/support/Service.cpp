// SPDX-License-Identifier: MIT
#include "plugin/support/Service.h"

namespace kinloom_test {

std::atomic<int> CountedCMD::s_alive{0};

namespace {

std::mutex g_mutex;
std::vector<Completed> g_completed;
std::vector<const W::KLServiceCMD*> g_dropped;

W::VOID noteCompletion(W::SESSION_STATUS status, const W::HttpResponse& response, W::KLServiceCMD* command)
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_completed.push_back({status, response.getHttpResponseCode(), response.getPayload(), command, fake::onWorker()});
}

W::VOID noteDrop(W::KLServiceCMD* command)
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_dropped.push_back(command);
}

} // namespace

void ServiceTest::SetUp()
{
    fake::reset();
    g_completed.clear();
    g_dropped.clear();
    log = std::make_unique<LogCapture>();
    service = std::make_unique<W::KLService>("Kinloom", kinloomProvider());
    service->setFnCallbackPtr(noteCompletion);
    service->setFnDropPtr(noteDrop);
}

void ServiceTest::TearDown()
{
    service.reset();
    EXPECT_EQ(fake::liveRequests(), 0u) << "requests that outlive the service";
    EXPECT_EQ(CountedCMD::alive(), 0) << "commands that outlive the service";
    if (!HasFailure()) { // whose text is in the log too
        EXPECT_EQ(log->strays(), "") << "printed beside the reports";
    }
    log.reset();
    fake::reset();
}

std::vector<Completed> ServiceTest::completed()
{
    EXPECT_TRUE(fake::waitUntilIdle());
    const std::lock_guard<std::mutex> lock(g_mutex);
    return g_completed;
}

std::vector<const W::KLServiceCMD*> ServiceTest::dropped()
{
    EXPECT_TRUE(fake::waitUntilIdle());
    const std::lock_guard<std::mutex> lock(g_mutex);
    return g_dropped;
}

} // namespace kinloom_test
