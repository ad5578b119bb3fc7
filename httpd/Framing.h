// SPDX-License-Identifier: MIT
/// \file Where a request ends, checked before anything is made of it. Of the library alone.
#ifndef HTTPD_FRAMING_H
#define HTTPD_FRAMING_H

#include "httpd/Request.h"

namespace httpd {

struct Framing {
    const char* error = nullptr; ///< a sentence when two readers could see two different requests; null when all is well
    std::optional<std::int64_t> bodySize = 0; ///< as in RequestHead
};

/// Reads how long the body is. Refuses two lengths, a length beside chunks, other encodings than chunks, lengths that are no
/// number, headers that must not stand twice, names that are empty or hold blanks, values that hold control characters, and a Host
/// that is none.
Framing readFraming(const std::vector<Header>& headers);

} // namespace httpd

#endif
