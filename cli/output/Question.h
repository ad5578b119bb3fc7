// SPDX-License-Identifier: MIT
/// \file Questions to the person at the keyboard.
#ifndef KINLOOM_OUTPUT_QUESTION_H
#define KINLOOM_OUTPUT_QUESTION_H

#include "core/Interrupt.h"

#include <string>

namespace kinloom {

/// Whether there is somebody to ask: standard input and standard error are a terminal.
bool canAsk();

/// Asks on the terminal. \return true for "y" and "yes" alone; anything else, and the end of the input, also behind an answer
/// without a line end, means no.
/// \param question any text that ends where the answer begins; it is shown as it is.
/// \throw Interrupted.
bool asksForYes(const std::string& question, const Interrupt& interrupt);

} // namespace kinloom

#endif
