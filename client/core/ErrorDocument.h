// SPDX-License-Identifier: MIT
/// \file What the service says of a failure.
#ifndef KINLOOM_CLIENT_ERRORDOCUMENT_H
#define KINLOOM_CLIENT_ERRORDOCUMENT_H

#include <string>
#include <string_view>

namespace kinloom {

/// The service's own code and sentence, out of the document of a failed request; both empty when it is no such document.
struct ErrorDocument {
    std::string code;     ///< such as "104"
    std::string sentence; ///< as people and services wrote it, at most 300 bytes, in valid UTF-8 if the document is

    /// Reads the beginning of a reply's body: its first "code" and "desc", be they elements or attributes. Any bytes will do.
    static ErrorDocument read(std::string_view body);
};

/// The first value of a name in a document, as an element without attributes or as an attribute, with its entities read; empty when
/// there is none. Any bytes will do.
std::string firstValue(std::string_view body, std::string_view name);

} // namespace kinloom

#endif
