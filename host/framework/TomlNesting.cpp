// SPDX-License-Identifier: MIT
#include "framework/TomlNesting.h"

#include <algorithm>

namespace W {

namespace {

constexpr unsigned int MAX_KEY_PARTS = 32;
constexpr unsigned int MAX_BRACKETS = 16;
constexpr unsigned int MAX_DEPTH = 16;

/// Where the text behind the string that begins at a position goes on. A string on one line ends with it, closed or not.
std::size_t endOfString(std::string_view toml, std::size_t at)
{
    const char quote = toml[at];
    const bool escapes = quote == '"';
    const std::size_t marks = toml.substr(at + 1, 2) == std::string_view(escapes ? "\"\"" : "''") ? 3 : 1;
    const std::string_view close = toml.substr(at, marks);
    for (at += marks; at < toml.size(); ++at) {
        if (marks == 1 && toml[at] == '\n')
            return at;
        if (escapes && toml[at] == '\\') {
            ++at;
        } else if (toml.substr(at, marks) == close) {
            at += marks;
            // Two more quotes may stand before the closing ones.
            for (int extra = 0; marks == 3 && extra < 2 && at < toml.size() && toml[at] == quote; ++extra)
                ++at;
            return at;
        }
    }
    return toml.size();
}

unsigned int lineDeeperThan(unsigned int depth, const toml::node& node)
{
    const toml::table* const table = node.as_table();
    const toml::array* const array = node.as_array();
    if (!table && !array)
        return 0;
    if (depth == 0)
        return std::max(1U, static_cast<unsigned int>(node.source().begin.line));
    unsigned int line = 0;
    if (table)
        for (auto entry = table->begin(); line == 0 && entry != table->end(); ++entry)
            line = lineDeeperThan(depth - 1, entry->second);
    else
        for (auto element = array->begin(); line == 0 && element != array->end(); ++element)
            line = lineDeeperThan(depth - 1, *element);
    return line;
}

} // namespace

unsigned int lineNestedTooDeep(std::string_view toml)
{
    unsigned int parts = 1;
    unsigned int brackets = 0;
    for (std::size_t at = 0; at < toml.size();) {
        const char c = toml[at];
        if (c == '"' || c == '\'') {
            at = endOfString(toml, at);
            continue;
        }
        if (c == '#') {
            at = std::min(toml.find('\n', at), toml.size());
            continue;
        }
        if (c == '.')
            ++parts;
        else if (c == '\n' || c == '=' || c == ',' || c == '[' || c == ']' || c == '{' || c == '}')
            parts = 1;
        if (c == '[' || c == '{')
            ++brackets;
        else if ((c == ']' || c == '}') && brackets > 0)
            --brackets;
        if (parts > MAX_KEY_PARTS || brackets > MAX_BRACKETS)
            return 1 + static_cast<unsigned int>(std::count(toml.begin(), toml.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
        ++at;
    }
    return 0;
}

unsigned int lineNestedTooDeep(const toml::table& root) { return lineDeeperThan(MAX_DEPTH, root); }

} // namespace W
