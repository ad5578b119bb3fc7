// SPDX-License-Identifier: MIT
/// \file The address at which a store is asked.
#ifndef OBJECTS_ENDPOINT_H
#define OBJECTS_ENDPOINT_H

#include <string>

namespace objects {

/// "https://store.example:8443", in its parts.
struct Endpoint {
    std::string scheme; ///< "http" or "https"
    std::string host;   ///< as the Host header has it: with a port that is not the scheme's own

    std::string url() const { return scheme + "://" + host; }
};

/// Throws std::invalid_argument, whose text is a sentence, for what is no scheme and host: user names, paths and queries have no
/// place here.
Endpoint parseEndpoint(const std::string& url);

/// \return whether a store can have a bucket of that name and address it by a path.
bool isBucketName(const std::string& name);

} // namespace objects

#endif
