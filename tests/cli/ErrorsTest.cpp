// SPDX-License-Identifier: MIT
#include "core/Errors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kinloom;
using testing::HasSubstr;
using testing::Not;

namespace {

struct StatusCase {
    W::WSTATUS status;
    Exit exit;
};

/// Every status that has a name, and the exit code that the manual gives for it.
constexpr StatusCase CASES[] = {
    {W::WSTATUS_INVALID_ARGUMENT, Exit::FAILED},
    {W::WSTATUS_NOT_CREATED, Exit::FAILED},
    {W::WSTATUS_OUT_OF_MEMORY, Exit::FAILED},
    {W::WSTATUS_FILE_ERROR, Exit::LOCAL_FILE},
    {W::WSTATUS_EXCEPTION_PENDING, Exit::NOT_SIGNED_IN},
    {W::WSTATUS_LIMIT_EXCEEDED, Exit::FAILED},
    {W::WSTATUS_CANCEL_PENDING, Exit::FAILED},
    {W::WSTATUS_NOT_SUPPORTED, Exit::FAILED},
    {W::WSTATUS_FAILED, Exit::FAILED},
    {W::WSTATUS_UNREACHABLE, Exit::UNREACHABLE},
    {W::WSTATUS_TIMED_OUT, Exit::UNREACHABLE},
    {W::WSTATUS_CONNECTION_LOST, Exit::UNREACHABLE},
    {W::WSTATUS_CANCELLED, Exit::INTERRUPTED},
    {W::WSTATUS_LOGIN_REFUSED, Exit::NOT_SIGNED_IN},
    {W::WSTATUS_NOT_LOGGED_IN, Exit::NOT_SIGNED_IN},
    {W::WSTATUS_CONFLICT, Exit::FAILED},
    {W::WSTATUS_REJECTED, Exit::FAILED},
    {W::WSTATUS_AUTH_FAILED, Exit::NOT_SIGNED_IN},
    {W::WSTATUS_CHALLENGE_REQUIRED, Exit::NOT_SIGNED_IN},
};

TEST(Errors, EveryStatusHasItsExitCodeAndOneLineThatNamesIt)
{
    for (const StatusCase& entry : CASES) {
        const Failure failure = statusFailure("cannot do it", entry.status, "http://there:1");
        EXPECT_EQ(failure.exitCode(), entry.exit) << entry.status;
        EXPECT_EQ(failure.status(), entry.status);
        EXPECT_EQ(meaningOf(entry.status).status, entry.status) << "a status of its own has a meaning of its own";
        const std::string line = failure.what();
        EXPECT_THAT(line, HasSubstr("cannot do it: "));
        EXPECT_THAT(line, HasSubstr(W::WSTATUS2STRING(static_cast<unsigned int>(entry.status))));
        EXPECT_THAT(line, HasSubstr(", " + std::to_string(entry.status) + ")"));
        EXPECT_THAT(line, Not(HasSubstr("\n")));
        EXPECT_THAT(line, Not(HasSubstr("{")));
        EXPECT_FALSE(meaningOf(entry.status).advice.empty());
    }
}

struct ReasonCase {
    FailureReason reason;
    Exit exit;
    const char* advice;
};

/// Every reason, the exit code that the manual gives for it, and a word of what there is to do.
constexpr ReasonCase REASONS[] = {
    {FailureReason::NO_CONNECTION, Exit::UNREACHABLE, "Is kinloomd running there?"},
    {FailureReason::DEVICE_REFUSED, Exit::NOT_SIGNED_IN, "kinloomd device add"},
    {FailureReason::FORBIDDEN, Exit::FAILED, "Ask the person"},
    {FailureReason::NOT_FOUND, Exit::FAILED, "kinloom groups"},
    {FailureReason::NO_PLACE, Exit::FAILED, "kinloom groups"},
    {FailureReason::NOT_ALLOWED, Exit::FAILED, "Who runs the service sets its limits"},
    {FailureReason::BAD_MARKER, Exit::FAILED, "2024-07-14T20:31:05Z"},
    {FailureReason::BAD_FILE, Exit::FAILED, "JPEG, PNG, WebP, GIF or HEIC"},
    {FailureReason::BAD_VALUE, Exit::FAILED, "Check what you typed"},
    {FailureReason::CONFLICT, Exit::FAILED, "Look at the list again"},
    {FailureReason::TOO_LARGE, Exit::FAILED, "limits"},
    {FailureReason::TOO_MANY, Exit::UNREACHABLE, "Try again later"},
    {FailureReason::UNAVAILABLE, Exit::UNREACHABLE, "disk full"},
    {FailureReason::GATEWAY, Exit::UNREACHABLE, "Is kinloomd running behind it?"},
    {FailureReason::SERVICE_FAILED, Exit::UNREACHABLE, "Try again later"},
    {FailureReason::UNEXPECTED_ANSWER, Exit::FAILED, "Is it a Kinloom service"},
    {FailureReason::LEAVES_TLS, Exit::UNREACHABLE, "--public-url"},
};

TEST(Errors, EveryReasonHasItsExitCodeAndSaysWhatToDo)
{
    static_assert(std::size(REASONS) == static_cast<std::size_t>(FailureReason::LEAVES_TLS), "a reason is missing here");
    for (const ReasonCase& entry : REASONS) {
        CallFailure failure{FailureKind::FAILED, W::WSTATUS_FAILED, "cannot do it", "http://there:1", "what is wrong"};
        failure.reason = entry.reason;
        failure.httpCode = 503;
        EXPECT_EQ(meaningOf(entry.reason).reason, entry.reason) << "a reason of its own has a meaning of its own";
        try {
            throwFailure(failure);
        } catch (const Failure& thrown) {
            EXPECT_EQ(thrown.exitCode(), entry.exit) << entry.advice;
            EXPECT_EQ(thrown.httpCode(), 503U);
            EXPECT_THAT(thrown.what(), HasSubstr("cannot do it: what is wrong (WSTATUS_FAILED, -16, HTTP 503). "));
            EXPECT_THAT(thrown.what(), HasSubstr(entry.advice));
        }
    }
}

TEST(Errors, AWaitThatTheServiceAsksForIsTheAdvice)
{
    CallFailure failure{FailureKind::FAILED, W::WSTATUS_FAILED, "cannot do it", "", "too many"};
    failure.reason = FailureReason::TOO_MANY;
    for (const auto& [seconds, advice] : {std::pair<unsigned, const char*>{1, "Try again in 1 second."}, {30, "in 30 seconds."}}) {
        failure.retryAfter = seconds;
        try {
            throwFailure(failure);
        } catch (const Failure& thrown) {
            EXPECT_THAT(thrown.what(), HasSubstr(advice));
        }
    }
}

TEST(Errors, NobodyIsToldToRepeatWhatMayHaveBeenDone)
{
    const auto told = [](FailureKind kind, W::WSTATUS status, FailureReason reason, bool unsettled) {
        CallFailure failure{kind, status, "cannot comment", "http://there:1",
                            reason == FailureReason::UNKNOWN ? "" : "what is wrong"};
        failure.reason = reason;
        failure.unsettled = unsettled;
        try {
            throwFailure(failure);
        } catch (const Failure& thrown) {
            return std::pair<Exit, std::string>(thrown.exitCode(), thrown.what());
        }
    };
    for (const auto& [status, reason] : {std::pair{W::WSTATUS_CONNECTION_LOST, FailureReason::UNKNOWN},
                                         {W::WSTATUS_TIMED_OUT, FailureReason::UNKNOWN},
                                         {W::WSTATUS_CONNECTION_LOST, FailureReason::GATEWAY}}) {
        const auto [exit, line] = told(FailureKind::FAILED, status, reason, true);
        EXPECT_EQ(exit, Exit::UNREACHABLE);
        EXPECT_THAT(line, HasSubstr("It may have taken effect all the same: look before you do it again"));
        EXPECT_THAT(line, Not(HasSubstr("Try again")));
        EXPECT_THAT(told(FailureKind::FAILED, status, reason, false).second, Not(HasSubstr("taken effect")));
    }
    EXPECT_THAT(told(FailureKind::FAILED, W::WSTATUS_CONNECTION_LOST, FailureReason::UNKNOWN, true).second,
                HasSubstr("cannot comment: the service at http://there:1 failed or broke the connection off "
                          "(WSTATUS_CONNECTION_LOST, -"));
    const auto interrupted = told(FailureKind::INTERRUPTED, W::WSTATUS_CANCELLED, FailureReason::UNKNOWN, true);
    EXPECT_EQ(interrupted.first, Exit::INTERRUPTED);
    EXPECT_THAT(interrupted.second, HasSubstr("may have taken effect at the service"));
    EXPECT_THAT(told(FailureKind::INTERRUPTED, W::WSTATUS_CANCELLED, FailureReason::UNKNOWN, false).second,
                HasSubstr("nothing is left"));
}

TEST(Errors, UnknownStatusIsAGeneralFailure)
{
    const Failure failure = statusFailure("cannot do it", -12345, "http://there:1");
    EXPECT_EQ(failure.exitCode(), Exit::FAILED);
    EXPECT_THAT(failure.what(), HasSubstr("-12345"));
}

TEST(Errors, UnreachableServiceIsNamedByItsAddress)
{
    EXPECT_THAT(statusFailure("cannot sign in", W::WSTATUS_UNREACHABLE, "http://127.0.0.1:8750").what(),
                HasSubstr("http://127.0.0.1:8750"));
}

TEST(Errors, ServiceThatIsUnreachableForAReasonIsToldByThatReasonAlone)
{
    for (const FailureKind kind : {FailureKind::FAILED, FailureKind::REFUSED}) {
        try {
            throwFailure({kind, W::WSTATUS_UNREACHABLE, "cannot sign in", "https://there", "the certificate of there has expired"});
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.exitCode(), Exit::UNREACHABLE);
            EXPECT_EQ(failure.status(), W::WSTATUS_UNREACHABLE);
            EXPECT_STREQ(failure.what(), "cannot sign in: the certificate of there has expired (WSTATUS_UNREACHABLE, -100).");
        }
    }
}

TEST(Errors, ADetailHasTheExitCodeAndTheNumbersOfItsStatus)
{
    const std::pair<CallFailure, Exit> cases[] = {
        {{FailureKind::TIMED_OUT, W::WSTATUS_TIMED_OUT, "cannot do it", "", "the lane's helper process hangs"}, Exit::UNREACHABLE},
        {{FailureKind::FAILED, W::WSTATUS_FAILED, "cannot do it", "", "it is no group"}, Exit::FAILED},
        {{FailureKind::LANE_DIED, W::WSTATUS_OK, "cannot do it", "", "the helper has died"}, Exit::FAILED},
    };
    for (const auto& [call, exit] : cases) {
        try {
            throwFailure(call);
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.exitCode(), exit) << call.detail;
            const std::string line = "cannot do it: " + call.detail;
            EXPECT_EQ(failure.what(), call.status == W::WSTATUS_OK ? line : line + " (" + numbersOf(call) + ").");
        }
    }
}

TEST(Errors, AStatusIsToldWithTheHttpCode)
{
    CallFailure call{FailureKind::FAILED, W::WSTATUS_CONNECTION_LOST, "cannot do it", "http://there", ""};
    call.httpCode = 500;
    try {
        throwFailure(call);
    } catch (const Failure& failure) {
        EXPECT_THAT(failure.what(), HasSubstr(" (WSTATUS_CONNECTION_LOST, -107, HTTP 500). Try again"));
        EXPECT_EQ(failure.httpCode(), 500U);
    }
}

TEST(Errors, FileFailureNamesFileAndReason)
{
    const Failure failure = fileFailure("a.jpg", "cannot be read", ENOENT);
    EXPECT_EQ(failure.exitCode(), Exit::LOCAL_FILE);
    EXPECT_STREQ(failure.what(), "a.jpg: cannot be read: No such file or directory");
}

} // namespace
