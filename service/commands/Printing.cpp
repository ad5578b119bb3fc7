// SPDX-License-Identifier: MIT
#include "commands/Commands.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace kinloomd {

void requirePrinted()
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw std::system_error(errno, std::generic_category(), "standard output cannot be written to");
}

} // namespace kinloomd
