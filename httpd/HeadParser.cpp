// SPDX-License-Identifier: MIT
#include "httpd/HeadParser.h"

#include "httpd/Text.h"

#include <algorithm>

namespace httpd {

namespace {

constexpr unsigned BAD_REQUEST = 400;
constexpr unsigned VERSION_NOT_SUPPORTED = 505;
constexpr std::size_t METHOD_BYTES = 32;
constexpr std::string_view LINE_END = "\r\n";

/// \return the text before the separator, which goes too; all of it when there is none.
std::string_view takeUntil(std::string_view& text, std::string_view separator)
{
    const auto end = text.find(separator);
    const std::string_view piece = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + separator.size());
    return piece;
}

bool isTarget(std::string_view target)
{
    if (std::any_of(target.begin(), target.end(), [](unsigned char c) { return c <= ' ' || c == 0x7F; }))
        return false;
    RequestHead head;
    head.target = target;
    return target.substr(0, 1) == "/" || target == "*" || !head.authority().empty();
}

/// The request line. \return whether the version is 1.1, or what is wrong.
std::optional<Refusal> parseRequestLine(std::string_view line, RequestHead& head, bool& current)
{
    const auto first = line.find(' ');
    const auto last = line.rfind(' ');
    head.method = line.substr(0, std::min(first, METHOD_BYTES));
    if (first == std::string_view::npos || first == last) {
        head.target = first == std::string_view::npos ? std::string_view() : line.substr(first + 1);
        return Refusal{BAD_REQUEST, "The request line is not a method, a target and a version."};
    }
    head.target = line.substr(first + 1, last - first - 1);
    if (first > METHOD_BYTES || !isToken(head.method))
        return Refusal{BAD_REQUEST, "The method is no word."};
    if (!isTarget(head.target))
        return Refusal{BAD_REQUEST, "The target is no path, or holds what no target may."};
    const std::string_view version = line.substr(last + 1);
    const bool known = version.size() == 8 && version.substr(0, 5) == "HTTP/" && version[6] == '.' &&
                       parseDecimal<unsigned>(version.substr(5, 1)) && parseDecimal<unsigned>(version.substr(7));
    if (!known)
        return Refusal{BAD_REQUEST, "The version of the protocol cannot be read."};
    if (version[5] != '1')
        return Refusal{VERSION_NOT_SUPPORTED, "Only versions 1.0 and 1.1 of the protocol are served."};
    current = version[7] != '0';
    return std::nullopt;
}

/// \return whether the value, a list of words, holds the word.
bool holdsWord(std::string_view value, std::string_view word)
{
    while (!value.empty()) {
        if (equalsIgnoringCase(trim(takeUntil(value, ",")), word))
            return true;
    }
    return false;
}

} // namespace

HeadScanner::State HeadScanner::scan(std::string_view bytes)
{
    for (;;) {
        const auto end = bytes.find_first_of(LINE_END, m_position);
        if (end == std::string_view::npos) {
            m_position = bytes.size();
            return State::INCOMPLETE;
        }
        m_position = end;
        if (bytes[end] == '\n')
            return State::BROKEN;
        if (end + 1 == bytes.size())
            return State::INCOMPLETE;
        if (bytes[end + 1] != '\n')
            return State::BROKEN;
        m_position = end + 2;
        // Empty lines before a request are what some clients leave behind a body.
        const bool empty = end == m_lineBegin;
        const bool any = m_any;
        m_any = m_any || !empty;
        m_lineBegin = m_position;
        if (empty && any)
            return State::WHOLE;
    }
}

std::optional<Refusal> parseHead(std::string_view bytes, RequestHead& head, HeadTraits& traits)
{
    while (bytes.substr(0, LINE_END.size()) == LINE_END)
        bytes.remove_prefix(LINE_END.size());
    bool current = false;
    auto refusal = parseRequestLine(takeUntil(bytes, LINE_END), head, current);
    if (refusal)
        return refusal;
    while (!bytes.empty()) {
        const std::string_view line = takeUntil(bytes, LINE_END);
        if (line.empty())
            break;
        const auto colon = line.find(':');
        // A line that begins with a blank would go on with the header before it, for some.
        if (colon == std::string_view::npos || !isToken(line.substr(0, colon)))
            return Refusal{BAD_REQUEST, "A header has no name, or one that holds what no name may."};
        head.headers.push_back({std::string(line.substr(0, colon)), std::string(trim(line.substr(colon + 1)))});
    }
    bool close = false;
    for (const Header& header : head.headers) {
        close = close || (equalsIgnoringCase(header.name, "Connection") && holdsWord(header.value, "close"));
        traits.waits = traits.waits || (equalsIgnoringCase(header.name, "Expect") && holdsWord(header.value, "100-continue"));
    }
    traits.persistent = current && !close;
    traits.chunks = current;
    traits.waits = traits.waits && current;
    if (current && !head.header("Host"))
        return Refusal{BAD_REQUEST, "The Host header is missing."};
    const auto host = head.header("Host");
    if (!head.authority().empty() && host && !equalsIgnoringCase(head.authority(), *host))
        return Refusal{BAD_REQUEST, "Target and Host header name two hosts."};
    return std::nullopt;
}

} // namespace httpd
