// SPDX-License-Identifier: MIT
/// \file Random values, digests and comparisons in constant time.
#ifndef KINLOOM_COMMON_DIGEST_H
#define KINLOOM_COMMON_DIGEST_H

#include <memory>
#include <string>
#include <string_view>

namespace common {

/// Bytes from the system's random source. Throws std::runtime_error when there are none to be had.
std::string randomBytes(std::size_t count);

/// The bytes as lowercase hexadecimal digits.
std::string toHex(std::string_view bytes);

/// The bytes in the alphabet of base64 that addresses and cookies can hold, without padding.
std::string toBase64Url(std::string_view bytes);

std::string sha256(std::string_view message);

/// The SHA-256 of bytes that come in pieces.
class Sha256 {
public:
    /// Throws std::runtime_error.
    Sha256();
    /// Takes the next bytes. Throws std::runtime_error.
    void add(std::string_view bytes);
    /// The digest of all that came. Ends the use. Throws std::runtime_error.
    std::string finish();

private:
    std::shared_ptr<void> m_context;
};

std::string hmacSha256(std::string_view key, std::string_view message);
std::string hmacSha1(std::string_view key, std::string_view message);

/// \return whether the texts are equal, in a time that depends on their lengths alone.
bool equalsInConstantTime(std::string_view a, std::string_view b);

} // namespace common

#endif
