// SPDX-License-Identifier: MIT
/// \file Small files that outlive the program.
#ifndef KINLOOM_TV_CORE_KEEPING_H
#define KINLOOM_TV_CORE_KEEPING_H

#include "tv/core/Json.h"

#include <string>

namespace tv {

/// The document that a file holds; null for a file that is missing, unreadable or damaged.
Json readKept(const std::string& path);

/// Writes a document, whole or not at all, readable by its owner alone. Throws std::system_error.
void keep(const std::string& path, const Json& document);

} // namespace tv

#endif
