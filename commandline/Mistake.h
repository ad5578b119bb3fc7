// SPDX-License-Identifier: MIT
/// \file What is wrong with the words of a command line.
#ifndef COMMANDLINE_MISTAKE_H
#define COMMANDLINE_MISTAKE_H

#include "commandline/Command.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace commandline {

/// Words that people may look for in a program, and a sentence that says where they find them.
struct Elsewhere {
    std::vector<std::string> words;
    const char* where;
};

/// Makes a word that a person typed fit to be shown on a terminal.
using WordShown = std::function<std::string(std::string_view)>;

/// Says what is wrong with a command line that was not understood, and where the help is: a command that is missing or none, or an
/// option that its command does not have.
/// \param otherwise what to say when something else is wrong, without the full stop.
std::string explainMistake(const CommandEntry& program, const std::vector<std::string>& arguments, const std::string& otherwise,
                           const std::vector<Elsewhere>& elsewhere, const WordShown& shown);

} // namespace commandline

#endif
