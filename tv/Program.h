// SPDX-License-Identifier: MIT
/// \file The program's command line and its life.
#ifndef KINLOOM_TV_PROGRAM_H
#define KINLOOM_TV_PROGRAM_H

namespace tv {

/// Runs the program until it is told to end. \return the exit code.
int runProgram(int argc, char** argv);

} // namespace tv

#endif
