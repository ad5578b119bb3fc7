// SPDX-License-Identifier: MIT
#include "operations/Permissions.h"

#include "core/Failure.h"

namespace kinloomd {

namespace {

unsigned outcomeOf(Action action, Role role)
{
    for (const Permission& permission : PERMISSIONS) {
        if (permission.action == action)
            return permission.outcome.at(static_cast<std::size_t>(role));
    }
    throw ServiceError(Failure::INTERNAL);
}

} // namespace

bool isPermitted(Action action, Role role) { return outcomeOf(action, role) == 200; }

void requirePermission(Action action, Role role)
{
    switch (outcomeOf(action, role)) {
    case 200:
        return;
    case 403:
        throw ServiceError(Failure::FORBIDDEN);
    default:
        throw ServiceError(Failure::NOT_FOUND);
    }
}

} // namespace kinloomd
