// SPDX-License-Identifier: MIT
/// \file Origins that are led elsewhere over TLS.
#ifndef HTTP_LEADS_H
#define HTTP_LEADS_H

#include "Internal.h"

#include <string>
#include <vector>

namespace W {
namespace WHOST_INTERNAL http {

/// True for a line of HttpOptions::leadTo.
bool isLead(const std::string& line);

/// The lines of HttpOptions::leadTo, taken apart. Never changes.
class Leads {
public:
    explicit Leads(const std::vector<std::string>& lines);

    /// False when a line is none: no request may go out then.
    bool ok() const { return m_ok; }
    /// True when nothing is led anywhere.
    bool empty() const { return m_entries.empty(); }
    /// Where a URL that is legal on the wire leads; empty: where it says.
    std::string lead(const std::string& url) const;

private:
    struct Entry {
        std::string from; ///< as originOf gives it
        std::string to;   ///< scheme and authority
    };
    std::vector<Entry> m_entries;
    bool m_ok = true;
};

} // namespace http
} // namespace W

#endif
