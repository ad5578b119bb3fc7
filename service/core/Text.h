// SPDX-License-Identifier: MIT
/// \file Text that people and clients send: made valid, counted, compared, encoded.
#ifndef KINLOOMD_CORE_TEXT_H
#define KINLOOMD_CORE_TEXT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kinloomd {

/// The text as UTF-8 that an XML 1.0 document can carry: each byte that does not belong to a well-formed character, and each
/// character that XML forbids, becomes U+FFFD.
std::string cleanText(std::string_view bytes);

/// Appends one code point as UTF-8.
void appendUtf8(std::string& text, char32_t codePoint);

/// The number of characters in valid UTF-8.
std::size_t countCharacters(std::string_view text);

/// A form in which names that differ in case alone are equal, and whose byte order is an alphabetical order.
std::string foldForSorting(std::string_view text);

/// The bytes with all but letters, digits and "-._~" written as %XX.
std::string percentEncode(std::string_view bytes);

/// \return whether two texts are equal when the case of ASCII letters is ignored.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

/// The text without blanks and tabs at its ends.
std::string_view trim(std::string_view text);

/// An identifier as the service writes them: decimal, positive, without sign and without leading zeros.
std::optional<std::int64_t> parseId(std::string_view text);

/// A decimal number of at most 32 bits, digits only.
std::optional<std::uint32_t> parseUnsigned(std::string_view text);

/// A decimal number of at most 63 bits, digits only.
std::optional<std::int64_t> parseSize(std::string_view text);

/// A name that can stand alone as a file name: no separators, controls or leading dots, at most 200 bytes, never empty.
std::string safeFileName(std::string_view name);

} // namespace kinloomd

#endif
