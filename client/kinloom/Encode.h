// SPDX-License-Identifier: MIT
/// \file Text as it may stand in a request.
#ifndef KINLOOM_ENCODE_H
#define KINLOOM_ENCODE_H

#include "kinloom/Export.h"

#include <string>
#include <string_view>

namespace kinloom {

/// Percent-encodes every byte but letters, digits and "-._~". The result may stand anywhere in a URL or a form, since a blank
/// becomes "%20" and never "+".
KINLOOM_CLIENT_API std::string percentEncode(std::string_view text);

/// Reverses percentEncode. A "%" that begins no escape stays as it is; "+" too.
KINLOOM_CLIENT_API std::string percentDecode(std::string_view text);

/// An identifier as one segment of a request's path.
/// \param what names it in the message, such as "group".
/// \throw CallError (invalid) when it is empty, or "." or ".." and so no name of anything.
KINLOOM_CLIENT_API std::string pathSegment(std::string_view uid, std::string_view what);

} // namespace kinloom

#endif
