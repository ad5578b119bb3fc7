// SPDX-License-Identifier: MIT
/// \file The running program: where it is, what lies beside it, its signals and limits.
#ifndef COMMON_PROGRAM_H
#define COMMON_PROGRAM_H

#include <csignal>
#include <initializer_list>
#include <string>

namespace common {

/// The first of some folders, each given from the folder of the running program, that holds a file; with no ".." in it. Empty when
/// none of them does.
std::string folderBesideProgram(std::initializer_list<const char*> places, const std::string& file);

/// Blocks signals in this thread and in all that it starts from now on, for one that waits for them. \return these signals.
sigset_t blockSignals(std::initializer_list<int> signals);

/// Connections, and files behind them, are open by the thousand; what a shell allows by default would run out before. As many as
/// may be without a privilege, 4096 at most; more that are allowed already stay.
void raiseFileLimit();

} // namespace common

#endif
