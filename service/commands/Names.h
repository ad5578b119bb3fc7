// SPDX-License-Identifier: MIT
/// \file Names that are given on a command line.
#ifndef KINLOOMD_COMMANDS_NAMES_H
#define KINLOOMD_COMMANDS_NAMES_H

#include "core/Text.h"

#include <stdexcept>
#include <string>

namespace kinloomd {

/// The name itself. Throws std::runtime_error when there is nothing to be seen of it, it is too long, or no
/// text.
inline const std::string& checkedName(const std::string& name)
{
    constexpr std::size_t CHARACTERS = 200;
    if (cleanText(name) != name)
        throw std::runtime_error("the name holds characters that cannot be used");
    if (foldForLikeness(name).empty() || countCharacters(name) > CHARACTERS)
        throw std::runtime_error("a name has between 1 and " + std::to_string(CHARACTERS) + " characters, and is not all blanks");
    return name;
}

/// "1 photo", "2 photos", for nouns that take an "s".
inline std::string counted(long long count, const char* noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace kinloomd

#endif
