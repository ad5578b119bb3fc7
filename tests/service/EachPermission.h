// SPDX-License-Identifier: MIT
/// \file The table of permissions, held against whoever acts.
#ifndef TESTS_SERVICE_EACHPERMISSION_H
#define TESTS_SERVICE_EACHPERMISSION_H

#include "operations/Permissions.h"

#include <functional>
#include <gtest/gtest.h>

namespace kinloomd_test {

/// What an action gives that cannot be done that way.
inline constexpr int NOT_HERE = -1;

/// Expects what a row says of each role. \param perform does the action as a person of that role. \return the status.
inline void expectOutcomes(const kinloomd::Permission& permission,
                           const std::function<int(kinloomd::Action action, kinloomd::Role role)>& perform)
{
    using kinloomd::Role;
    for (const Role role : {Role::STRANGER, Role::MEMBER, Role::AUTHOR, Role::MASTER}) {
        const unsigned expected = permission.outcome.at(static_cast<std::size_t>(role));
        if (expected == kinloomd::IMPOSSIBLE)
            continue;
        const int status = perform(permission.action, role);
        if (status != NOT_HERE) {
            EXPECT_EQ(status, static_cast<int>(expected)) << "role " << static_cast<int>(role);
        }
    }
}

} // namespace kinloomd_test

#endif
