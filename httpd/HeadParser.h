// SPDX-License-Identifier: MIT
/// \file The bytes of a request up to its body. Of the library alone.
#ifndef HTTPD_HEADPARSER_H
#define HTTPD_HEADPARSER_H

#include "httpd/Handler.h"

namespace httpd {

/// Looks for the end of a head while it arrives.
///
/// Lines end with CR and LF, both. Some readers take either alone for the end of a line and some do not: where they stand in a row,
/// one sees a header, or a request, that the other does not.
class HeadScanner {
public:
    enum class State {
        INCOMPLETE, ///< the head goes on
        WHOLE,      ///< the empty line is there
        BROKEN,     ///< a CR or LF stands alone
    };

    /// \param bytes all of the head that there is; each call gives the bytes of the one before, and more.
    State scan(std::string_view bytes);
    /// Where the head ends, once it is whole: the body begins there.
    std::size_t size() const { return m_position; }

private:
    std::size_t m_position = 0; ///< all before it is looked at
    std::size_t m_lineBegin = 0;
    bool m_any = false; ///< a line that is not empty has been there
};

/// What the server itself makes of a head.
struct HeadTraits {
    bool persistent = false; ///< the client can send another request on the connection
    bool chunks = false;     ///< the client understands a reply in chunks
    bool waits = false;      ///< the client sends its body when it is told to go on
};

/// Takes a head apart: method, target and headers of \p head. Refuses what two readers could understand in two ways, and what is no
/// HTTP; what can be told of the request stands in \p head then all the same.
/// \param bytes a whole head, or the beginning of one that is known to be broken.
std::optional<Refusal> parseHead(std::string_view bytes, RequestHead& head, HeadTraits& traits);

} // namespace httpd

#endif
