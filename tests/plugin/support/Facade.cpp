// SPDX-License-Identifier: MIT
#include "plugin/support/Facade.h"

namespace kinloom_test {

void FacadeTest::SetUp()
{
    fake::reset();
    Recorder::isWorker = fake::onWorker;
    configure(APP_ID, AUTH_TOKEN, DUID);
    log = std::make_unique<LogCapture>();
    oai = static_cast<W::WKLOAI*>(createPlugin());
}

void FacadeTest::TearDown()
{
    destroy();
    EXPECT_EQ(fake::liveRequests(), 0u) << "requests that outlive the plugin";
    if (!HasFailure()) { // whose text is in the log too
        EXPECT_EQ(log->strays(), "") << "printed beside the reports";
    }
    log.reset();
    fake::reset();
}

void FacadeTest::signIn()
{
    Recorder signedIn;
    fake::reset();
    fake::answerNext(fake::reply(documents::OK));
    ASSERT_EQ(oai->authKL(Callback<>::call, &signedIn), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    ASSERT_EQ(signedIn.only().status, 0);
    ASSERT_TRUE(service().isLoggedIn());
    fake::reset();
}

void FacadeTest::destroy()
{
    destroyPlugin(oai);
    oai = nullptr;
}

void FacadeTest::finish(std::size_t number, const fake::Answer& answer)
{
    const std::size_t before = fake::completionCount();
    ASSERT_TRUE(fake::answer(number, answer));
    ASSERT_TRUE(fake::waitForCompletions(before + 1));
}

void SignedInTest::SetUp()
{
    FacadeTest::SetUp();
    signIn();
}

void holdQueuedRequests()
{
    fake::answerWith([](const fake::Seen& seen) { return seen.executed ? fake::reply(documents::slot()) : fake::held(); });
}

} // namespace kinloom_test
