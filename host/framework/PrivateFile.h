// SPDX-License-Identifier: MIT
/// \file Small files that only their owner may read.
#ifndef FRAMEWORK_PRIVATEFILE_H
#define FRAMEWORK_PRIVATEFILE_H

#include "Internal.h"

#include <optional>
#include <string>

namespace W {

/// Reads a regular file whole.
/// \param exposed set to whether others than the owner may read or write it.
/// \return nothing when there is no such file. \throw ConfigError when it cannot be read.
WHOST_INTERNAL std::optional<std::string> readPrivateFile(const std::string& path, bool& exposed);

/// Writes a file for its owner alone, whole or not at all: a temporary file beside it takes its name once it is safely on the disk.
/// Missing folders are made. A link is followed, so that the file may live elsewhere. \throw ConfigError
WHOST_INTERNAL void writePrivateFile(const std::string& path, const std::string& content);

} // namespace W

#endif
