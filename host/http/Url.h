// SPDX-License-Identifier: MIT
/// \file URLs as they may go out on the wire.
#ifndef HTTP_URL_H
#define HTTP_URL_H

#include "Internal.h"

#include <string>

namespace W {
namespace WHOST_INTERNAL http {

/// Checks a URL and makes it legal on the wire.
///
/// What may not stand in a URL (blanks, quotes, bytes of UTF-8, a '%' that begins no escape) is percent-encoded; escapes and
/// reserved characters stay as they are, and the fragment is cut off.
/// \param wire the URL to send; left empty when \p url is fit as it is, which is the common case and costs one pass over it.
/// \return false when the URL is not one of http or https, names no host, holds control characters, or is too long.
bool mendUrl(const std::string& url, std::string& wire);

/// The length of the scheme and the authority of a URL that is legal on the wire: what stands before its path.
std::size_t originLength(const std::string& url);

/// Where a redirect leads.
/// \param base the absolute URL that was asked for.
/// \param location the Location field as it arrived, absolute or relative.
/// \param target the absolute URL to ask for next, legal on the wire.
/// \return false when the location cannot be followed.
bool resolveRedirect(const std::string& base, const std::string& location, std::string& target);

/// Scheme, host and port of an absolute URL in the one way to write them: in small letters, and always with the port. Empty when
/// there is no telling.
std::string originOf(const std::string& url);

/// True when an absolute URL is one of https.
bool isEncrypted(const std::string& url);

/// True when both absolute URLs have the same scheme, host and port.
bool sameOrigin(const std::string& a, const std::string& b);

} // namespace http
} // namespace W

#endif
