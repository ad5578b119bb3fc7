// SPDX-License-Identifier: MIT
#include "commands/Confirm.h"

#include "core/Text.h"

#include <cstdio>
#include <iostream>
#include <unistd.h>

namespace kinloomd {

namespace {

bool isYes(std::string_view answer)
{
    answer = trim(answer);
    return equalsIgnoringCase(answer, "y") || equalsIgnoringCase(answer, "yes");
}

} // namespace

bool confirm(const Deletion& deletion, const std::string& what)
{
    if (deletion.dryRun) {
        std::printf("would remove %s\n", what.c_str());
        return false;
    }
    if (deletion.yes)
        return true;
    if (::isatty(STDIN_FILENO) == 0)
        throw UsageError("this removes " + what + "; there is no terminal to ask on: say --yes, or look first with --dry-run");
    std::fprintf(stderr, "Remove %s? [y/N] ", what.c_str());
    std::string answer;
    std::getline(std::cin, answer);
    if (!isYes(answer))
        throw std::runtime_error("nothing was removed");
    return true;
}

} // namespace kinloomd
