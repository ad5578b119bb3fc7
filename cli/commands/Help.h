// SPDX-License-Identifier: MIT
/// \file What people are told who ask for help, or need it.
#ifndef KINLOOM_COMMANDS_HELP_H
#define KINLOOM_COMMANDS_HELP_H

#include "commandline/Command.h"

#include <string>
#include <vector>

namespace kinloom {

/// Examples of a command, as they may be typed.
struct Example {
    const char* command; ///< "group delete"; empty: the program itself
    const char* lines;   ///< with line ends between them
};

/// The examples of all commands.
const std::vector<Example>& examples();

/// Puts the examples at the end of each command's help.
void addExamples(commandline::Program& program);

/// Says what is wrong with a command line that makes no sense, also where a word is one that only the service's own program has.
/// \param otherwise what to say when no word is wrong, without the full stop.
std::string explainMistake(const commandline::CommandEntry& program, const std::vector<std::string>& arguments,
                           const std::string& otherwise);

} // namespace kinloom

#endif
