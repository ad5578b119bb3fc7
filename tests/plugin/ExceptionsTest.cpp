// SPDX-License-Identifier: MIT
// The challenges that wait for the user.
#include "plugin/support/Allocation.h"
#include "plugin/support/Service.h"

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* URL = "http://openapi.kinloom.example/openapi/service/kinloom/auth";

class Exceptions : public ServiceTest {
protected:
    WSTATUS raise(const STRING& payload = "Error=208\n", ExceptionType_enum type = EXCEPTION_CAPTCHA)
    {
        HttpResponse response;
        response.setPayload(payload);
        return service->setException(kinloomProvider(), type, "the user", "the secret", response);
    }
    const WCaptchaException& newest() { return dynamic_cast<WCaptchaException&>(*service->getException()); }
};

} // namespace

TEST_F(Exceptions, AreNoneAtFirst) { EXPECT_EQ(service->getException(), nullptr); }

TEST_F(Exceptions, RecordAChallenge)
{
    EXPECT_EQ(raise(), 0);
    ASSERT_NE(service->getException(), nullptr);
    EXPECT_EQ(service->getException()->getExceptionType(), EXCEPTION_CAPTCHA);
    EXPECT_EQ(service->getException()->getContentProvider().getID(), kinloomProvider().getID());
    EXPECT_EQ(newest().data().user, "the user");
    EXPECT_EQ(newest().data().secret, "the secret");
    EXPECT_EQ(newest().data().answer, "");
    EXPECT_THAT(log->entries(), IsEmpty());
}

TEST_F(Exceptions, RecordAChallengeFromABodyThatIsTooShort)
{
    EXPECT_EQ(raise(""), 0);
    EXPECT_EQ(newest().data().challenge, "");
}

TEST_F(Exceptions, RefuseATypeOtherThanACaptcha)
{
    for (const UINT32 type : {0u, 2u, 0xFFFFFFFFu})
        EXPECT_EQ(raise("", static_cast<ExceptionType_enum>(type)), -16) << type;
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-16, 749), serviceEntry(-16, 749), serviceEntry(-16, 749)));
    EXPECT_EQ(service->getException(), nullptr);
}

TEST_F(Exceptions, GiveTheNewestFirst)
{
    raise("Error=first\n");
    WException* const first = service->getException();
    raise("Error=second\n");
    WException* const second = service->getException();
    EXPECT_NE(first, second);
    EXPECT_EQ(service->getException(), second); // looking takes nothing away
    service->flushException(second);
    EXPECT_EQ(service->getException(), first);
    service->flushException(first);
    EXPECT_EQ(service->getException(), nullptr);
}

TEST_F(Exceptions, IgnoreTheFlushOfAStranger)
{
    raise();
    WException* const pending = service->getException();
    WCaptchaException stranger;
    service->flushException(&stranger);
    service->flushException(nullptr);
    EXPECT_EQ(service->getException(), pending);
}

TEST_F(Exceptions, AreFreedWithTheService)
{
    raise();
    raise();
    service.reset(); // the leak check sees to the rest
}

TEST_F(Exceptions, AreResolvedBySigningInAgain)
{
    raise();
    const KLService::Headers headers = {{"DATE", "today"}};
    auto* const command = new CountedCMD;
    EXPECT_EQ(service->resolveException(service->getException(), URL, headers, "answer=42", command), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, URL);
    EXPECT_EQ(seen.body, "answer=42");
    EXPECT_EQ(seen.field("DATE"), "today");
    EXPECT_EQ(completed().at(0).command, command);
    EXPECT_NE(service->getException(), nullptr); // it stays until it is flushed
}

TEST_F(Exceptions, HideTheFailureOfTheirResolution)
{
    raise();
    fake::refuseNext(-13);
    EXPECT_EQ(service->resolveException(service->getException(), URL, {}, "", new CountedCMD), 0);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-13, 365), serviceEntry(-13, 286)));
    EXPECT_EQ(CountedCMD::alive(), 0);
}

TEST_F(Exceptions, AreNotResolvedWhenTheyAreNoCaptcha)
{
    WException other(EXCEPTION_UNKNOWN);
    auto* const command = new CountedCMD;
    EXPECT_EQ(service->resolveException(&other, URL, {}, "", command), 0);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-1, 279)));
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_EQ(CountedCMD::alive(), 0);
    EXPECT_THAT(dropped(), ElementsAre(command));
}

TEST_F(Exceptions, AreNotResolvedWhenTheyOnlySayThatTheyAreACaptcha)
{
    WException impostor(EXCEPTION_CAPTCHA);
    EXPECT_EQ(service->resolveException(&impostor, URL, {}, "", new CountedCMD), 0);
    EXPECT_EQ(service->resolveException(nullptr, URL, {}, "", new CountedCMD), 0);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-1, 279), serviceEntry(-1, 279)));
    EXPECT_EQ(CountedCMD::alive(), 0);
}

TEST_F(Exceptions, GiveMinus4WhenTheyCannotBeMade)
{
    const WContentProvider provider = kinloomProvider();
    const STRING longText(100, 'x');
    HttpResponse response;
    response.setPayload("Error=" + longText + "\n");
    bool failed = true;
    for (long after = 0; failed; ++after) {
        log->clear();
        WSTATUS status = 0;
        {
            const FailingAllocation failing(after);
            status = service->setException(provider, EXCEPTION_CAPTCHA, longText, longText, response);
            failed = failing.happened();
        }
        EXPECT_EQ(status, failed ? -4 : 0) << after;
        EXPECT_EQ(log->entries(), std::vector<LogEntry>(failed ? 1 : 0, serviceEntry(-4, 741)));
        EXPECT_EQ(service->getException() == nullptr, failed);
    }
}
