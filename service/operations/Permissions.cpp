// SPDX-License-Identifier: MIT
#include "operations/Permissions.h"

#include "core/Failure.h"

namespace kinloomd {

void requirePermission(Action action, Role role)
{
    for (const Permission& permission : PERMISSIONS) {
        if (permission.action != action)
            continue;
        switch (permission.outcome.at(static_cast<std::size_t>(role))) {
        case 200:
            return;
        case 403:
            throw ServiceError(Failure::FORBIDDEN);
        default:
            throw ServiceError(Failure::NOT_FOUND);
        }
    }
    throw ServiceError(Failure::INTERNAL);
}

} // namespace kinloomd
