// SPDX-License-Identifier: MIT
/// \file Text as a terminal shows it.
#ifndef KINLOOM_CORE_TEXT_H
#define KINLOOM_CORE_TEXT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kinloom {

/// Reads one character of UTF-8 at \p position and moves past it. Each byte that belongs to no valid character gives U+FFFD.
char32_t nextCharacter(std::string_view text, std::size_t& position);

/// A character as UTF-8.
void appendCharacter(std::string& text, char32_t character);

/// True for characters that steer a terminal or the order of letters instead of being seen: controls, bidirectional overrides,
/// line and paragraph separators.
bool isControl(char32_t character);

/// The text in one line that cannot steer a terminal: every control becomes U+FFFD, every line break and tab a blank.
std::string neutralised(std::string_view text);

/// The lines of a text, each neutralised; at most one blank line in a row, none at the end.
std::vector<std::string> neutralisedLines(std::string_view text);

/// The line in pieces of at most \p width columns, broken between words where that is possible. At least one piece.
std::vector<std::string> wrapped(std::string_view line, std::size_t width);

/// Valid UTF-8, all of it.
bool isText(std::string_view bytes);

/// The text with small letters for the capital ones of ASCII, as in names of formats and hosts.
std::string lowered(std::string_view text);

/// A form in which texts that differ in case alone are equal.
std::string folded(std::string_view text);

/// Columns that a neutralised text takes on a terminal; wide characters take two.
std::size_t displayWidth(std::string_view text);

/// The text, cut with an ellipsis to \p width columns when it is wider.
std::string clipped(std::string_view text, std::size_t width);

/// The text filled up with blanks to \p width columns.
std::string padded(std::string_view text, std::size_t width, bool alignRight = false);

/// Bytes for people: "512 B", "1.5 kB", "12.3 MB".
std::string sizeText(double bytes);

/// A decimal number and nothing else.
std::optional<std::uint64_t> wholeNumber(std::string_view text);

} // namespace kinloom

#endif
