// SPDX-License-Identifier: MIT
/// \file What is refused before a reply reaches the XML parser.
#ifndef WKLOAI_REPLIES_GUARD_H
#define WKLOAI_REPLIES_GUARD_H

#include <cstddef>
#include <string_view>

namespace W::replies {

/// The longest reply that is parsed, in bytes.
constexpr std::size_t MAX_BODY = 128u << 20;
/// The longest tag, in bytes, and the most attributes in it: the parser compares each attribute with all before it.
constexpr std::size_t MAX_TAG = 1u << 20;
constexpr std::size_t MAX_ATTRIBUTES = 256;
/// The most namespace declarations in force at a time: the parser looks each prefix up among them.
constexpr int MAX_NAMESPACES = 256;
/// The most different names of elements, attributes and instructions: the parser looks each name up in a table that stays small, so
/// that the time for one grows with their number. The service has less than two hundred.
constexpr std::size_t MAX_NAMES = 4096;

/// Whether the parser can take a reply in time that grows with its length: no document type, no endless tag, no endless body.
/// Looks at a small part of the text, and allocates nothing. \param text in UTF-8.
bool isParsable(std::string_view text);

} // namespace W::replies

#endif
