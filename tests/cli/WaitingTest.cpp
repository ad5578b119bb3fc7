// SPDX-License-Identifier: MIT
#include "core/Waiting.h"

#include <gmock/gmock.h>

using namespace kinloom;
using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

CallFailure refused(unsigned int code, long retryAfter)
{
    CallFailure failure{FailureKind::FAILED, W::WSTATUS_FAILED, "cannot list the groups", "http://there:1", ""};
    failure.httpCode = code;
    failure.retryAfter = retryAfter;
    return failure;
}

TEST(Waiting, TellsWhyHowLongAndWhichTryFollows)
{
    EXPECT_EQ(waitingText({refused(503, -1), 2500ms, 2, 4}),
              "cannot list the groups: the service answers with HTTP 503; waiting 3 s, then trying again (2 of 4)");
    EXPECT_THAT(waitingText({refused(429, -1), 340ms, 1, 4}), HasSubstr("waiting 0.3 s, then trying again (1 of 4)"));
    EXPECT_THAT(waitingText({refused(429, 60), 60s, 1, 4}), HasSubstr("waiting 1 min 00 s,"));
    const CallFailure broken{FailureKind::FAILED, W::WSTATUS_UNREACHABLE, "cannot show it", "http://there:1", ""};
    EXPECT_THAT(waitingText({broken, 1s, 1, 4}), HasSubstr("the service at http://there:1 cannot be reached; waiting 1 s"));
}

TEST(Waiting, AServiceThatWantsToBeAskedMuchLaterEndsTheProgram)
{
    EXPECT_FALSE(muchLater(refused(503, 60)));
    EXPECT_FALSE(muchLater(refused(503, -1)));
    EXPECT_FALSE(muchLater(refused(404, 600)));
    const auto later = muchLater(refused(503, 150));
    ASSERT_TRUE(later);
    EXPECT_EQ(later->exitCode(), Exit::UNREACHABLE);
    EXPECT_EQ(later->httpCode(), 503U);
    EXPECT_THAT(later->what(), HasSubstr("asks to wait 2 min 30 s"));
    try {
        throwFailure(refused(429, 61));
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.exitCode(), Exit::UNREACHABLE);
    }
}

} // namespace
