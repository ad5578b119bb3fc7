// SPDX-License-Identifier: MIT
/// \file How many transfers run beside each other.
#ifndef KINLOOM_COMMANDS_JOBS_H
#define KINLOOM_COMMANDS_JOBS_H

#include "commandline/Command.h"

namespace kinloom {

inline constexpr unsigned int DEFAULT_JOBS = 4;

/// Adds --jobs, a number from 1 to 32.
inline commandline::Option addJobsOption(commandline::Command command, unsigned int& jobs)
{
    return command.option("--jobs", jobs, "How many go on at a time").typeName("N").within(1, 32).showDefault();
}

} // namespace kinloom

#endif
