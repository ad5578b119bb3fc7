// SPDX-License-Identifier: MIT
/// \file The transport alone, on the scripted client.
#ifndef PLUGIN_SUPPORT_SERVICE_H
#define PLUGIN_SUPPORT_SERVICE_H

#include "KLService/KLService.h"
#include "plugin/support/Facade.h"

#include <atomic>

namespace kinloom_test {

/// What the routine that the service was given has been told.
struct Completed {
    W::SESSION_STATUS status = W::SESSION_DONE;
    W::HTTP_RESPONSE_CODE code = W::HTTP_NO_RESPONSE;
    W::STRING payload;
    const W::KLServiceCMD* command = nullptr;
    bool onWorker = false;
};

/// A command that is counted while it lives.
class CountedCMD : public W::KLServiceCMD {
public:
    CountedCMD() : KLServiceCMD(kinloomProvider()) { ++s_alive; }
    ~CountedCMD() override { --s_alive; }
    static int alive() { return s_alive; }

private:
    static std::atomic<int> s_alive;
};

/// A service without a facade. After each test nothing of it may be left.
class ServiceTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// What completed so far; waits until the worker is idle.
    std::vector<Completed> completed();
    /// The commands that the service told to be dropped.
    std::vector<const W::KLServiceCMD*> dropped();

    static W::KLService::Headers someHeaders() { return {{"DATE", "today"}, {"Authorization", " me"}, {"appToken", ""}}; }

    std::unique_ptr<LogCapture> log;
    std::unique_ptr<W::KLService> service;
    TempFolder folder;
};

} // namespace kinloom_test

#endif
