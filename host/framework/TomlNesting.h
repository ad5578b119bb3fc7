// SPDX-License-Identifier: MIT
/// \file How deep a TOML text nests.
#ifndef FRAMEWORK_TOMLNESTING_H
#define FRAMEWORK_TOMLNESTING_H

#include "Internal.h"

#include <string_view>
#include <toml++/toml.h>

namespace W {

/// Finds nesting that no configuration needs: a key of more than 32 parts, or more than 16 open brackets. What a TOML parser makes
/// of such a text is as deep, and destroyed and written by recursion. \return the line, counted from 1; 0 when there is none.
WHOST_INTERNAL unsigned int lineNestedTooDeep(std::string_view toml);

/// Finds a value below more than 16 tables and arrays, however they were written. \return as above.
WHOST_INTERNAL unsigned int lineNestedTooDeep(const toml::table& root);

} // namespace W

#endif
