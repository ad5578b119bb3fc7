// SPDX-License-Identifier: MIT
#include "W/WStatus.h"

#include <gtest/gtest.h>
#include <limits>
#include <map>

using namespace W;

namespace {

const std::map<WSTATUS, std::string> NAMES = {
    {0, "WSTATUS_OK"},
    {100, "WSTATUS_MORE_PAGES"},
    {-1, "WSTATUS_INVALID_ARGUMENT"},
    {-3, "WSTATUS_NOT_CREATED"},
    {-4, "WSTATUS_OUT_OF_MEMORY"},
    {-5, "WSTATUS_FILE_ERROR"},
    {-9, "WSTATUS_EXCEPTION_PENDING"},
    {-13, "WSTATUS_LIMIT_EXCEEDED"},
    {-14, "WSTATUS_CANCEL_PENDING"},
    {-15, "WSTATUS_NOT_SUPPORTED"},
    {-16, "WSTATUS_FAILED"},
    {-100, "WSTATUS_UNREACHABLE"},
    {-105, "WSTATUS_TIMED_OUT"},
    {-107, "WSTATUS_CONNECTION_LOST"},
    {-108, "WSTATUS_CANCELLED"},
    {-200, "WSTATUS_LOGIN_REFUSED"},
    {-202, "WSTATUS_NOT_LOGGED_IN"},
    {-203, "WSTATUS_CONFLICT"},
    {-205, "WSTATUS_REJECTED"},
    {-208, "WSTATUS_AUTH_FAILED"},
    {-500, "WSTATUS_CHALLENGE_REQUIRED"},
};

TEST(StatusNames, NameEveryStatusAndNothingElse)
{
    for (WSTATUS status = -2000; status <= 2000; ++status) {
        const auto known = NAMES.find(status);
        EXPECT_EQ(WSTATUS2STRING(static_cast<unsigned int>(status)), known == NAMES.end() ? "WSTATUS_UNKNOWN" : known->second)
            << status;
    }
}

TEST(StatusNames, NameNothingAtTheEndsOfTheRange)
{
    for (const WSTATUS status : {std::numeric_limits<WSTATUS>::min(), std::numeric_limits<WSTATUS>::max()})
        EXPECT_STREQ(WSTATUS2STRING(static_cast<unsigned int>(status)), "WSTATUS_UNKNOWN");
}

} // namespace
