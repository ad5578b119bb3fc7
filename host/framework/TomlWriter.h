// SPDX-License-Identifier: MIT
/// \file TOML as it is written.
#ifndef FRAMEWORK_TOMLWRITER_H
#define FRAMEWORK_TOMLWRITER_H

#include "Internal.h"

#include <string>
#include <toml++/toml.h>

namespace W {

/// The text of a document, values before sections. Whatever characters keys and texts hold, it reads back as the same document: the
/// library's own writer leaves quotes, tabs and line ends in keys as they are.
WHOST_INTERNAL std::string writeToml(const toml::table& root);

} // namespace W

#endif
