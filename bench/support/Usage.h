// SPDX-License-Identifier: MIT
/// \file What the process has used so far.
#ifndef SUPPORT_USAGE_H
#define SUPPORT_USAGE_H

#include <cstddef>
#include <set>
#include <string>

namespace bench {

/// Seconds on a clock that only goes forward.
double now();
/// Processor seconds of this process, all threads, user and system.
double processorTime();
/// Processor seconds of the child processes that were waited for.
double childrenProcessorTime();

/// Resident memory in bytes.
double residentMemory();
/// The part of it that no file backs.
double residentAnonymous();
/// The highest resident memory since the last resetPeak(), in bytes.
double peakMemory();
void resetPeak();
/// Gives freed memory back to the system, so that resident memory is what is in use.
void trimMemory();

/// The shared libraries that the process has loaded, by path.
std::set<std::string> loadedLibraries();
/// Reads a byte of each page of some loaded libraries: in memory they are whole then, whichever parts have run.
void touchLibraries(const std::set<std::string>& paths);

std::size_t openDescriptors();
std::size_t threads();

} // namespace bench

#endif
