// SPDX-License-Identifier: MIT
/// \file What a server is told when it is made.
#ifndef HTTPD_SETTINGS_H
#define HTTPD_SETTINGS_H

#include "httpd/AddressRange.h"
#include "httpd/Limits.h"

#include <optional>
#include <string>
#include <vector>

namespace httpd {

/// Files in PEM format.
struct TlsFiles {
    std::string certificate; ///< the server's own first, then those that lead to one that clients know
    std::string key;         ///< without a passphrase
};

/// Throws std::runtime_error, with a sentence that names the file, unless a server can use them.
void requireUsable(const TlsFiles& files);

struct Settings {
    Limits limits;
    std::optional<TlsFiles> tls; ///< without them the server speaks plain HTTP
    /// Proxies whose word on the client's address, port and scheme is taken. They may have as many connections as there are.
    std::vector<AddressRange> trustedProxies;
};

} // namespace httpd

#endif
