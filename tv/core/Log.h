// SPDX-License-Identifier: MIT
/// \file What the program says of itself on standard error.
#ifndef KINLOOM_TV_CORE_LOG_H
#define KINLOOM_TV_CORE_LOG_H

#include <string>
#include <string_view>

namespace tv {

/// Writes a line; controls in it become question marks, since it may hold what others wrote. Any thread.
void log(std::string_view sentence);

/// The text on one line, without controls.
std::string onOneLine(std::string_view text);

} // namespace tv

#endif
