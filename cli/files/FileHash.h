// SPDX-License-Identifier: MIT
/// \file What two files have in common when they are the same, and nothing else has.
#ifndef KINLOOM_FILES_FILEHASH_H
#define KINLOOM_FILES_FILEHASH_H

#include <string>
#include <string_view>

namespace kinloom {

/// The SHA-256 of a file's bytes, in hexadecimal. \throw Failure (local file) when it cannot be read.
std::string hashOfFile(const std::string& path);

/// The SHA-256 of a text.
std::string hashOf(std::string_view text);

} // namespace kinloom

#endif
