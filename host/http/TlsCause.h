// SPDX-License-Identifier: MIT
/// \file Why there is no encrypted connection, in words.
#ifndef HTTP_TLSCAUSE_H
#define HTTP_TLSCAUSE_H

#include "Internal.h"

#include <curl/curl.h>
#include <string>

namespace W {
namespace WHOST_INTERNAL http {

/// What is known of a transfer whose connection was not made.
struct TlsFailure {
    CURLcode result;
    long verification;  ///< CURLINFO_SSL_VERIFYRESULT: OpenSSL's verdict on the certificate, 0 and 1 when there is none
    std::string text;   ///< libcurl's own
    std::string url;    ///< that was asked for, or the proxy's
    std::string caFile; ///< HttpOptions::caFile; empty for a proxy, which it does not vouch for
    bool ofProxy;
};

/// Why, on one line; empty when the failure has nothing to do with TLS.
std::string causeOf(const TlsFailure& failure);

} // namespace http
} // namespace W

#endif
