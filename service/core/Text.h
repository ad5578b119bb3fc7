// SPDX-License-Identifier: MIT
/// \file Text that people and clients send: made valid, counted, compared, encoded.
#ifndef KINLOOMD_CORE_TEXT_H
#define KINLOOMD_CORE_TEXT_H

#include "httpd/Text.h" // IWYU pragma: export

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kinloomd {

using httpd::equalsIgnoringCase;
using httpd::parseDecimal;
using httpd::trim;

/// The text as UTF-8 that an XML 1.0 document can carry: each byte that does not belong to a well-formed character, and each
/// character that XML forbids, becomes U+FFFD.
std::string cleanText(std::string_view bytes);

/// \return whether the bytes are UTF-8 without NUL.
bool isText(std::string_view bytes);

/// The text as a terminal and a reader of lines can take it: control characters (line ends and tabs among them), marks that change
/// the direction of writing, separators of lines and bytes that are no UTF-8 become escapes such as \u0009; a backslash, two.
std::string visibleText(std::string_view bytes);
/// The same for a sentence that holds visible texts already: its backslashes stay.
std::string visibleSentence(std::string_view bytes);

/// The text with one character for each that visibleText escapes, a backslash aside.
std::string replaceInvisible(std::string_view bytes, char replacement);

/// Appends one code point as UTF-8.
void appendUtf8(std::string& text, char32_t codePoint);

/// The number of characters in valid UTF-8.
std::size_t countCharacters(std::string_view text);

/// A form in which names that differ in case alone are equal, and whose byte order is an alphabetical order.
std::string foldForSorting(std::string_view text);

/// A form in which names are equal that differ in case, blanks or characters that cannot be seen alone.
std::string foldForLikeness(std::string_view text);

/// The bytes with all but letters, digits and "-._~" written as %XX.
std::string percentEncode(std::string_view bytes);

/// An identifier as the service writes them: decimal, positive, without sign and without leading zeros.
std::optional<std::int64_t> parseId(std::string_view text);

/// A name that can stand alone as a file name: no separators, controls or leading dots, at most 200 bytes, never empty.
std::string safeFileName(std::string_view name);

} // namespace kinloomd

#endif
