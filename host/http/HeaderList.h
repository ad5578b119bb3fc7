// SPDX-License-Identifier: MIT
/// \file Header fields in the form that libcurl reads.
#ifndef HTTP_HEADERLIST_H
#define HTTP_HEADERLIST_H

#include "Internal.h"
#include "W/Http.h"

#include <curl/curl.h>
#include <string>
#include <vector>

namespace W {
namespace WHOST_INTERNAL http {

/// A curl_slist whose elements and texts stand in one piece of memory each. libcurl only reads such lists, so they need not be made
/// with its own functions, which allocate twice for each line.
class HeaderList {
public:
    /// How a field with an empty value is written.
    enum class Empty {
        AS_COLON,     ///< "Name: ", as it stands in a message
        AS_SEMICOLON, ///< "Name;": libcurl takes "Name:" for an order to leave the field out, and this for an empty one
    };

    HeaderList() = default;
    HeaderList(const HeaderList&) = delete;
    HeaderList& operator=(const HeaderList&) = delete;

    /// Makes the list anew. \param tail further elements, not owned; may be null. \throw std::bad_alloc
    void assign(const std::vector<std::pair<STRING, STRING>>& fields, Empty empty, curl_slist* tail = nullptr);
    /// Makes the list of lines as they stand. \throw std::bad_alloc
    void assign(const std::vector<std::string>& lines, curl_slist* tail = nullptr);

    /// Makes the list empty. Some memory is kept for the next one.
    void clear() noexcept;

    /// The first element; null when there is none. Valid until the next assignment.
    curl_slist* get() { return m_first; }

private:
    void link(curl_slist* tail);

    std::string m_text; ///< the lines, each with its zero
    std::vector<curl_slist> m_elements;
    curl_slist* m_first = nullptr;
};

} // namespace http
} // namespace W

#endif
