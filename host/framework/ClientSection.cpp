// SPDX-License-Identifier: MIT
#include "framework/ClientSection.h"

#include "http/Leads.h"
#include "whost/ConfigFile.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

namespace W {

namespace {

/// What a value of the section is.
enum class Kind { NUMBER, TEXT, LINES };

/// One option: its key, what its value must be, and the ways to and from the member of HttpOptions behind it.
struct Row {
    const char* key;
    Kind kind;
    std::int64_t least;                    ///< of numbers
    const char* form;                      ///< of lines, in words
    bool (*fits)(const std::string& line); ///< whether a text is such a line
    bool (*read)(const toml::node& value, const Row& row, HttpOptions& options);
    std::string (*text)(const HttpOptions& options);
};

bool onOneLine(const std::string& value)
{
    return std::none_of(value.begin(), value.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

/// "HOST:PORT:HOST:PORT", where a host may be an address in brackets. Commas stand between lines.
bool isRoute(const std::string& line)
{
    bool inBrackets = false;
    int colons = 0;
    for (const char c : line) {
        inBrackets = c == '[' || (inBrackets && c != ']');
        colons += c == ':' && !inBrackets;
    }
    return colons == 3 && !inBrackets && onOneLine(line) && line.find_first_of(" ,") == std::string::npos;
}

// How a value of each type is read, and how it is written as a text that reads the same.

bool readValue(const toml::node& value, const Row& row, std::vector<std::string>& out)
{
    const toml::array* const lines = value.as_array();
    if (!lines)
        return false;
    std::vector<std::string> fresh;
    for (const toml::node& line : *lines) {
        const auto* const string = line.as_string();
        if (!string || !row.fits(string->get()))
            return false;
        fresh.push_back(string->get());
    }
    out = std::move(fresh);
    return true;
}

bool readValue(const toml::node& value, const Row&, std::string& out)
{
    const auto* const string = value.as_string();
    if (!string || !onOneLine(string->get()))
        return false;
    out = string->get();
    return true;
}

template <class Number> bool readValue(const toml::node& value, const Row& row, Number& out)
{
    const auto* const integer = value.as_integer();
    if (!integer || integer->get() < row.least || integer->get() > std::numeric_limits<long>::max())
        return false;
    out = static_cast<Number>(integer->get());
    return true;
}

std::string textOf(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text.append(text.empty() ? "" : ",").append(line);
    return text;
}

std::string textOf(const std::string& text) { return text; }

template <class Number> std::string textOf(Number number) { return std::to_string(number); }

constexpr Kind kindOf(std::vector<std::string> HttpOptions::*) { return Kind::LINES; }
constexpr Kind kindOf(std::string HttpOptions::*) { return Kind::TEXT; }
template <class Number> constexpr Kind kindOf(Number HttpOptions::*) { return Kind::NUMBER; }

/// The row of a key that stands for a member.
template <auto MEMBER> constexpr Row option(const char* key, std::int64_t least = 0)
{
    return {key,
            kindOf(MEMBER),
            least,
            nullptr,
            nullptr,
            [](const toml::node& value, const Row& row, HttpOptions& options) { return readValue(value, row, options.*MEMBER); },
            [](const HttpOptions& options) { return textOf(options.*MEMBER); }};
}

/// The row of a key whose value is a list of lines of a form.
template <auto MEMBER> constexpr Row lines(const char* key, const char* form, bool (*fits)(const std::string&))
{
    Row row = option<MEMBER>(key);
    row.form = form;
    row.fits = fits;
    return row;
}

/// Every member of HttpOptions.
constexpr Row ROWS[] = {
    lines<&HttpOptions::connectTo>("connect_to", "HOST:PORT:CONNECT-TO-HOST:CONNECT-TO-PORT", isRoute),
    option<&HttpOptions::connectTimeoutMs>("connect_timeout_ms", 1),
    option<&HttpOptions::stallTimeoutMs>("stall_timeout_ms"),
    option<&HttpOptions::stallBytesPerSecond>("stall_bytes_per_second"),
    option<&HttpOptions::totalTimeoutMs>("total_timeout_ms"),
    option<&HttpOptions::maxRedirects>("max_redirects"),
    option<&HttpOptions::maxMemoryBody>("max_memory_body", 1),
    option<&HttpOptions::maxFileBody>("max_file_body"),
    option<&HttpOptions::maxHeaderBytes>("max_header_bytes", 1),
    option<&HttpOptions::maxTransfers>("max_transfers", 1),
    option<&HttpOptions::maxConnectionsPerHost>("max_connections_per_host"),
    option<&HttpOptions::maxRequests>("max_requests", 1),
    option<&HttpOptions::downloadBufferBytes>("download_buffer_bytes", 1024),
    option<&HttpOptions::uploadBufferBytes>("upload_buffer_bytes", 16 << 10),
    option<&HttpOptions::userAgent>("user_agent"),
    option<&HttpOptions::proxy>("proxy"),
    lines<&HttpOptions::leadTo>("lead_to", "http[s]://HOST[:PORT]=https://HOST[:PORT]", http::isLead),
    option<&HttpOptions::caFile>("ca_file"),
};

const Row* find(const std::string& key)
{
    const auto* const found = std::find_if(std::begin(ROWS), std::end(ROWS), [&](const Row& row) { return key == row.key; });
    return found == std::end(ROWS) ? nullptr : found;
}

/// What the value must be, in words.
std::string kindText(const Row& row)
{
    switch (row.kind) {
    case Kind::LINES:
        return std::string("a list of texts ") + row.form;
    case Kind::TEXT:
        return "a text on one line";
    case Kind::NUMBER:
        break;
    }
    return "a whole number, " + std::to_string(row.least) + " or more";
}

std::string expectation(const Row& row) { return "\"" + std::string(row.key) + "\" must be " + kindText(row); }

toml::array splitLines(const std::string& text)
{
    toml::array all;
    if (text.empty())
        return all;
    // A comma at the end has an empty line behind it.
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        all.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return all;
}

} // namespace

const std::vector<ClientOption>& clientOptions()
{
    // Never destroyed: it may be asked for while the process exits.
    static const std::vector<ClientOption>* const options = [] {
        auto* const all = new std::vector<ClientOption>;
        for (const Row& row : ROWS)
            all->push_back({row.key, kindText(row), row.text});
        return all;
    }();
    return *options;
}

void readClientSection(const toml::table& section, const std::string& path, HttpOptions& options)
{
    for (const auto& [key, value] : section) {
        const Row* const row = find(std::string(key.str()));
        if (!row || row->read(value, *row, options))
            continue;
        const unsigned int line = value.source().begin.line;
        throw ConfigError(path + (line ? ":" + std::to_string(line) : "") + ": " + expectation(*row), line);
    }
}

void writeClientOption(toml::table& section, const std::string& path, const std::string& key, const std::string& value)
{
    const Row* const row = find(key);
    if (!row)
        throw ConfigError(path + ": there is no client option \"" + key + "\"");
    toml::table fresh;
    if (row->kind == Kind::LINES) {
        fresh.insert(key, splitLines(value));
    } else if (row->kind == Kind::TEXT) {
        fresh.insert(key, value);
    } else {
        std::int64_t parsed = 0;
        const char* const end = value.data() + value.size();
        const auto result = std::from_chars(value.data(), end, parsed);
        if (result.ec != std::errc() || result.ptr != end)
            throw ConfigError(path + ": " + expectation(*row));
        fresh.insert(key, parsed);
    }
    HttpOptions scratch;
    readClientSection(fresh, path, scratch);
    section.insert_or_assign(key, *fresh.get(key));
}

} // namespace W
