// SPDX-License-Identifier: MIT
#include "http/Leads.h"

#include "http/Url.h"

#include <string_view>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// True for scheme, host and port of a URL, with nothing else in it.
bool isOrigin(const std::string& text)
{
    constexpr std::string_view NO_PORT = ":0";
    std::string mended;
    const std::string origin = originOf(text);
    return text.find_first_of("@, ") == std::string::npos && mendUrl(text, mended) && mended.empty() &&
           originLength(text) == text.size() && origin.size() > NO_PORT.size() &&
           origin.compare(origin.size() - NO_PORT.size(), NO_PORT.size(), NO_PORT) != 0;
}

} // namespace

bool isLead(const std::string& line)
{
    const std::size_t sign = line.find('=');
    if (sign == std::string::npos)
        return false;
    const std::string to = line.substr(sign + 1);
    return isOrigin(line.substr(0, sign)) && isOrigin(to) && isEncrypted(to);
}

Leads::Leads(const std::vector<std::string>& lines)
{
    for (const std::string& line : lines) {
        m_ok = m_ok && isLead(line);
        if (!m_ok)
            return;
        const std::size_t sign = line.find('=');
        m_entries.push_back({originOf(line.substr(0, sign)), line.substr(sign + 1)});
    }
}

std::string Leads::lead(const std::string& url) const
{
    if (m_entries.empty())
        return {};
    const std::string origin = originOf(url);
    for (const Entry& entry : m_entries)
        if (entry.from == origin)
            return entry.to + url.substr(originLength(url));
    return {};
}

} // namespace http
} // namespace W
