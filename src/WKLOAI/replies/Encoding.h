// SPDX-License-Identifier: MIT
/// \file Replies in other encodings than UTF-8.
#ifndef WKLOAI_REPLIES_ENCODING_H
#define WKLOAI_REPLIES_ENCODING_H

#include "W/WTypes.h"

#include <optional>
#include <string_view>

namespace W::replies {

/// The text of a reply in UTF-8: the body itself, or a copy in \p storage when it was in another encoding, by its first bytes or
/// its XML declaration. Whatever is checked and parsed after this is one and the same text, so nothing can hide in an encoding.
/// \return nothing when the encoding is none that a service has reason to use, or the body is not valid in it. UTF-8 itself is not
/// checked: the parser does that.
std::optional<std::string_view> inUtf8(std::string_view body, STRING& storage);

} // namespace W::replies

#endif
