// SPDX-License-Identifier: MIT
/// \file Random values, digests and comparisons in constant time.
#ifndef KINLOOMD_CORE_DIGEST_H
#define KINLOOMD_CORE_DIGEST_H

#include <string>
#include <string_view>

namespace kinloomd {

/// Bytes from the system's random source. Throws std::runtime_error when there are none to be had.
std::string randomBytes(std::size_t count);

/// The bytes as lowercase hexadecimal digits.
std::string toHex(std::string_view bytes);

std::string sha256(std::string_view message);
std::string hmacSha256(std::string_view key, std::string_view message);
std::string hmacSha1(std::string_view key, std::string_view message);

/// \return whether the texts are equal, in a time that depends on their lengths alone.
bool equalsInConstantTime(std::string_view a, std::string_view b);

} // namespace kinloomd

#endif
