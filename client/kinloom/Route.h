// SPDX-License-Identifier: MIT
/// \file Where the service is.
#ifndef KINLOOM_ROUTE_H
#define KINLOOM_ROUTE_H

#include "kinloom/Export.h"
#include "whost/HttpOptions.h"

#include <string>

namespace kinloom {

/// Scheme, host and port of a service.
struct KINLOOM_CLIENT_API ServiceUrl {
    std::string scheme;
    std::string host; ///< as in a URL: an IPv6 address stands in brackets
    unsigned int port = 0;

    /// "http://127.0.0.1:8750"; the scheme's own port is left out.
    std::string text() const;

    /// Reads "http://HOST[:PORT][/]".
    /// \throw CallError (invalid) when it is something else.
    static ServiceUrl parse(const std::string& text);
};

/// The endpoint that the plugin was built for.
KINLOOM_CLIENT_API const ServiceUrl& endpoint();

/// The connect-to line (W::HttpOptions::connectTo) that has every request go to the service at \p url, whatever host it names. Only
/// the way changes: names and scheme stay those of the endpoint.
/// \throw CallError (invalid) when the URL has another scheme than the endpoint.
KINLOOM_CLIENT_API std::string routeTo(const std::string& url);

/// The address that requests to the endpoint go to with these options, as a person may try it.
KINLOOM_CLIENT_API std::string addressOf(const W::HttpOptions& options);

} // namespace kinloom

#endif
