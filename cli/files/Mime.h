// SPDX-License-Identifier: MIT
/// \file The type of a file, found by its first bytes or its name.
#ifndef KINLOOM_FILES_MIME_H
#define KINLOOM_FILES_MIME_H

#include "W/WKinloomOAI.h"

#include <string>
#include <string_view>

namespace kinloom {

/// The MIME type of a file: by its first bytes, else by its name's extension, else empty.
std::string mimeTypeOf(std::string_view firstBytes, std::string_view name);

/// How many first bytes mimeTypeOf looks at.
constexpr std::size_t MIME_BYTES = 32;

/// What the service calls a file of that type.
W::KL_CONTENT_TYPE contentTypeOf(std::string_view mimeType);

/// Why the service will not take a file as a photo of that type, in words that go behind its name; empty when it may take it.
/// Whether what begins like a picture is one to its end, the service finds out.
std::string refusalOf(std::string_view firstBytes, std::string_view mimeType);

/// True for "type/subtype" with nothing that could be mistaken for something else.
bool isMimeType(std::string_view text);

} // namespace kinloom

#endif
