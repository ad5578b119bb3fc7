// SPDX-License-Identifier: MIT
#include "framework/ClientSection.h"

#include "whost/ConfigFile.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace W {

namespace {

/// Reaches the member of HttpOptions behind a key; exactly one of the members is set.
struct Entry {
    const char* key;
    std::int64_t least; ///< of numbers
    long HttpOptions::*number = nullptr;
    std::uint64_t HttpOptions::*bytes = nullptr;
    std::string HttpOptions::*text = nullptr;
    std::vector<std::string> HttpOptions::*lines = nullptr;
};

constexpr Entry number(const char* key, std::int64_t least, long HttpOptions::*member)
{
    return {key, least, member, nullptr, nullptr, nullptr};
}
constexpr Entry bytes(const char* key, std::int64_t least, std::uint64_t HttpOptions::*member)
{
    return {key, least, nullptr, member, nullptr, nullptr};
}
constexpr Entry text(const char* key, std::string HttpOptions::*member) { return {key, 0, nullptr, nullptr, member, nullptr}; }

static_assert(std::is_same<std::size_t, std::uint64_t>::value, "sizes and amounts share one kind of entry");

constexpr Entry ENTRIES[] = {
    {"connect_to", 0, nullptr, nullptr, nullptr, &HttpOptions::connectTo},
    number("connect_timeout_ms", 1, &HttpOptions::connectTimeoutMs),
    number("stall_timeout_ms", 0, &HttpOptions::stallTimeoutMs),
    number("stall_bytes_per_second", 0, &HttpOptions::stallBytesPerSecond),
    number("total_timeout_ms", 0, &HttpOptions::totalTimeoutMs),
    number("max_redirects", 0, &HttpOptions::maxRedirects),
    bytes("max_memory_body", 1, &HttpOptions::maxMemoryBody),
    bytes("max_file_body", 0, &HttpOptions::maxFileBody),
    bytes("max_header_bytes", 1, &HttpOptions::maxHeaderBytes),
    bytes("max_transfers", 1, &HttpOptions::maxTransfers),
    number("max_connections_per_host", 0, &HttpOptions::maxConnectionsPerHost),
    bytes("max_requests", 1, &HttpOptions::maxRequests),
    number("download_buffer_bytes", 1024, &HttpOptions::downloadBufferBytes),
    number("upload_buffer_bytes", 16 << 10, &HttpOptions::uploadBufferBytes),
    text("user_agent", &HttpOptions::userAgent),
    text("proxy", &HttpOptions::proxy),
};

const Entry* find(const std::string& key)
{
    const auto* const found = std::find_if(std::begin(ENTRIES), std::end(ENTRIES), [&](const Entry& e) { return key == e.key; });
    return found == std::end(ENTRIES) ? nullptr : found;
}

std::string expectation(const Entry& entry)
{
    const std::string name = "\"" + std::string(entry.key) + "\" must be ";
    if (entry.lines)
        return name + "a list of texts HOST:PORT:CONNECT-TO-HOST:CONNECT-TO-PORT";
    if (entry.text)
        return name + "a text on one line";
    return name + "a whole number, " + std::to_string(entry.least) + " or more";
}

bool onOneLine(const std::string& value)
{
    return std::none_of(value.begin(), value.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

/// "HOST:PORT:HOST:PORT", where a host may be an address in brackets.
bool isRoute(const std::string& line)
{
    bool inBrackets = false;
    int colons = 0;
    for (const char c : line) {
        inBrackets = c == '[' || (inBrackets && c != ']');
        colons += c == ':' && !inBrackets;
    }
    return colons == 3 && !inBrackets && onOneLine(line) && line.find(' ') == std::string::npos;
}

bool readLines(const toml::node& value, std::vector<std::string>& out)
{
    const toml::array* const lines = value.as_array();
    if (!lines)
        return false;
    std::vector<std::string> fresh;
    for (const toml::node& line : *lines) {
        const auto* const string = line.as_string();
        if (!string || !isRoute(string->get()))
            return false;
        fresh.push_back(string->get());
    }
    out = std::move(fresh);
    return true;
}

bool readEntry(const Entry& entry, const toml::node& value, HttpOptions& options)
{
    if (entry.lines)
        return readLines(value, options.*entry.lines);
    if (entry.text) {
        const auto* const string = value.as_string();
        if (!string || !onOneLine(string->get()))
            return false;
        options.*entry.text = string->get();
        return true;
    }
    const auto* const integer = value.as_integer();
    if (!integer || integer->get() < entry.least || integer->get() > std::numeric_limits<long>::max())
        return false;
    if (entry.number)
        options.*entry.number = static_cast<long>(integer->get());
    else
        options.*entry.bytes = static_cast<std::uint64_t>(integer->get());
    return true;
}

toml::array splitLines(const std::string& text)
{
    toml::array lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

} // namespace

void readClientSection(const toml::table& section, const std::string& path, HttpOptions& options)
{
    for (const auto& [key, value] : section) {
        const Entry* const entry = find(std::string(key.str()));
        if (!entry || readEntry(*entry, value, options))
            continue;
        const unsigned int line = value.source().begin.line;
        throw ConfigError(path + (line ? ":" + std::to_string(line) : "") + ": " + expectation(*entry), line);
    }
}

void writeClientOption(toml::table& section, const std::string& path, const std::string& key, const std::string& value)
{
    const Entry* const entry = find(key);
    if (!entry)
        throw ConfigError(path + ": there is no client option \"" + key + "\"");
    toml::table fresh;
    if (entry->lines) {
        fresh.insert(key, splitLines(value));
    } else if (entry->text) {
        fresh.insert(key, value);
    } else {
        std::int64_t parsed = 0;
        const char* const end = value.data() + value.size();
        const auto result = std::from_chars(value.data(), end, parsed);
        if (result.ec != std::errc() || result.ptr != end)
            throw ConfigError(path + ": " + expectation(*entry));
        fresh.insert(key, parsed);
    }
    HttpOptions scratch;
    readClientSection(fresh, path, scratch);
    section.insert_or_assign(key, *fresh.get(key));
}

} // namespace W
