// SPDX-License-Identifier: MIT
/// \file The command line.
#ifndef KINLOOM_COMMANDS_COMMANDLINE_H
#define KINLOOM_COMMANDS_COMMANDLINE_H

#include "commands/Command.h"

#include <memory>
#include <string>
#include <vector>

namespace kinloom {

/// What a command line asks for.
struct Request {
    GlobalOptions options;
    Action action;       ///< empty when there is nothing to do but to print
    std::string toPrint; ///< help or version
};

/// Reads a command line without the program's name. \throw Failure (usage) when it makes no sense.
std::unique_ptr<Request> readCommandLine(const std::vector<std::string>& arguments);

/// All words that there are.
commandline::CommandEntry commandTable();

/// Runs the program. \return its exit code. Nothing is thrown.
int runProgram(const std::vector<std::string>& arguments);

} // namespace kinloom

#endif
