// SPDX-License-Identifier: MIT
/// \file A plugin on the scripted client.
#ifndef PLUGIN_SUPPORT_FACADE_H
#define PLUGIN_SUPPORT_FACADE_H

#include "W/WStatus.h"
#include "WKLOAI/WKLOAI.h"
#include "plugin/support/Documents.h"
#include "plugin/support/LogCapture.h"
#include "plugin/support/Recorder.h"
#include "plugin/support/Records.h"
#include "whost/FakeClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

namespace kinloom_test {

namespace fake = W::fake;

/// A configured plugin that is not signed in. After each test nothing of it may be left, and it may have printed nothing but
/// reports.
class FacadeTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Signs in through the service. The client starts afresh behind it.
    void signIn();
    /// Destroys the plugin, as its host would.
    void destroy();
    W::KLService& service() { return *oai->service(); }
    const W::WContentProvider& provider() const { return oai->getContentProvider(); }
    /// Cancels; the cancel callback's calls go where the completing command's go.
    W::WSTATUS cancel(W::WStatusCallback callback = onCancelled) { return oai->cancel(provider(), callback, nullptr); }
    /// Answers a request that waits, and waits for its completion.
    void finish(std::size_t number, const fake::Answer& answer);
    /// Waits until the worker has nothing to do.
    void settle() { ASSERT_TRUE(fake::waitUntilIdle()); }
    /// The statuses that the facade logged, and the transport.
    std::vector<W::WSTATUS> facadeLog() const { return log->statuses("src/WKLOAI"); }
    std::vector<W::WSTATUS> serviceLog() const { return log->statuses("src/KLService"); }

    std::unique_ptr<LogCapture> log;
    W::WKLOAI* oai = nullptr;
    Recorder recorder;
};

/// The same, signed in.
class SignedInTest : public FacadeTest {
protected:
    void SetUp() override;

    /// Starts an operation whose one request gets this answer. \return the one call of its callback.
    template <class Start> Call callOf(Start&& start, const fake::Answer& answer)
    {
        recorder.clear();
        fake::answerNext(answer);
        const std::size_t before = fake::completionCount();
        EXPECT_EQ(start(), 0);
        EXPECT_TRUE(fake::waitForCompletions(before + 1));
        return recorder.only();
    }
};

/// Has the client answer everything that operations ask for on the calling thread, and hold what they queue.
void holdQueuedRequests();

} // namespace kinloom_test

#endif
