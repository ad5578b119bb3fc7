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

TEST(Errors, FileFailureNamesFileAndReason)
{
    const Failure failure = fileFailure("a.jpg", "cannot be read", ENOENT);
    EXPECT_EQ(failure.exitCode(), Exit::LOCAL_FILE);
    EXPECT_STREQ(failure.what(), "a.jpg: cannot be read: No such file or directory");
}

} // namespace
