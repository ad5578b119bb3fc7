// SPDX-License-Identifier: MIT
/// \file Parts of files, and whether a client has them already.
#ifndef KINLOOMD_WIRE_BYTERANGE_H
#define KINLOOMD_WIRE_BYTERANGE_H

#include "httpd/EntityTag.h" // IWYU pragma: export

#include <cstdint>
#include <string_view>

namespace kinloomd {

struct ByteRange {
    enum Kind {
        WHOLE,         ///< no range was asked for, or none that this service serves: the whole file
        PART,          ///< offset and length
        UNSATISFIABLE, ///< nothing of the file is in the range
    };
    Kind kind = WHOLE;
    std::int64_t offset = 0;
    std::int64_t length = 0;
};

/// Reads the value of a Range header for a file of that size. Several ranges at once, other units and malformed values count as
/// none, which a server is free to do.
ByteRange parseRange(std::string_view header, std::int64_t size);

using httpd::listsTag;

} // namespace kinloomd

#endif
