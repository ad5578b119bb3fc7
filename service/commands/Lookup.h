// SPDX-License-Identifier: MIT
/// \file People and groups as they are named on a command line.
#ifndef KINLOOMD_COMMANDS_LOOKUP_H
#define KINLOOMD_COMMANDS_LOOKUP_H

#include "core/Failure.h"
#include "store/Database.h"
#include "store/Records.h"

#include <stdexcept>
#include <string>

namespace kinloomd {

/// The person of that name, or of that identifier. Throws std::runtime_error when there is none.
Person requirePerson(Database& database, const std::string& nameOrId);

/// The group of that name, or of that identifier. Throws std::runtime_error when there is none, or more than one of the name.
Group requireGroup(Database& database, const std::string& nameOrId);

/// Runs work on a picture, and names the file in what it throws.
template <typename Work> auto readPicture(const std::string& file, Work work)
{
    try {
        return work();
    } catch (const ServiceError& error) {
        throw std::runtime_error(file + ": " + error.what());
    }
}

} // namespace kinloomd

#endif
