// SPDX-License-Identifier: MIT
/// \file Questions before something is deleted.
#ifndef KINLOOMD_COMMANDS_CONFIRM_H
#define KINLOOMD_COMMANDS_CONFIRM_H

#include <stdexcept>
#include <string>

namespace kinloomd {

/// The command line lacks something, or holds what does not belong there.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// How something is to be deleted.
struct Deletion {
    bool yes = false;    ///< without a question
    bool dryRun = false; ///< not at all: only what would be deleted is told
};

/// Says what is about to be deleted, and asks on the terminal whether it may be, unless the answer is known. Nothing but "y" and
/// "yes" means yes. \return whether to go on. Throws UsageError where there is nobody to ask, and std::runtime_error when the
/// answer is no.
bool confirm(const Deletion& deletion, const std::string& what);

} // namespace kinloomd

#endif
