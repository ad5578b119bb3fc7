// SPDX-License-Identifier: MIT
/// \file Where the service is.
#ifndef KINLOOM_ROUTE_H
#define KINLOOM_ROUTE_H

#include "kinloom/Export.h"
#include "whost/ConfigFile.h"
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

/// The connect-to line (W::HttpOptions::connectTo) that has requests for the endpoint go to the service at \p url. Only the way
/// changes: names and scheme stay those of the endpoint. Addresses of other hosts lead where they say.
/// \throw CallError (invalid) when the URL has another scheme than the endpoint; leadTo() leads to https as well.
KINLOOM_CLIENT_API std::string routeTo(const std::string& url);

/// Has requests for the endpoint go to the service at \p url, in place of where they went before. To a service at http only the way
/// changes. To one at https they go over TLS, under the service's own name: its certificate must be the service's. So does then
/// whatever names the endpoint, or over http the service itself: slots of uploads, media, redirects. Nothing else is led.
/// \param from the endpoint. \throw CallError (invalid) when it is none of a service, or would lead from https to http.
KINLOOM_CLIENT_API void leadTo(W::HttpOptions& options, const std::string& url, const ServiceUrl& from = endpoint());

/// The same for what a configuration file says. \throw as above, and W::ConfigError when the file cannot hold it.
KINLOOM_CLIENT_API void leadTo(W::ConfigFile& file, const std::string& url, const ServiceUrl& from = endpoint());

/// The address that requests to the endpoint go to with these options, as a person may try it.
KINLOOM_CLIENT_API std::string addressOf(const W::HttpOptions& options);
/// The same for requests to another origin.
KINLOOM_CLIENT_API std::string addressOf(const W::HttpOptions& options, const ServiceUrl& origin);
/// The same for the origin of any URL, however it is written.
KINLOOM_CLIENT_API std::string addressOf(const W::HttpOptions& options, const std::string& url);

} // namespace kinloom

#endif
