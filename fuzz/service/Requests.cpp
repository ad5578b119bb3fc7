// SPDX-License-Identifier: MIT
// The first line and the headers of a request: what it asks for, of whom, and who asks.
#include "Targets.h"
#include "core/Failure.h"
#include "core/Text.h"
#include "httpd/Address.h"
#include "httpd/Framing.h"
#include "operations/Paths.h"
#include "operations/Router.h"
#include "wire/Authorization.h"
#include "wire/ByteRange.h"

#include <regex>

namespace fuzz {

namespace {

using namespace kinloomd;

/// Takes a text up to a mark off the front of another, and the mark with it.
std::string_view take(std::string_view& rest, std::string_view mark)
{
    const std::size_t end = rest.find(mark);
    const std::string_view taken = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + mark.size());
    return taken;
}

bool startsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

bool isListed(std::string_view methods, std::string_view method)
{
    while (!methods.empty())
        if (take(methods, ", ") == method)
            return true;
    return false;
}

/// A path whose pieces are named, with those that were read out of it in their places.
std::string rebuiltWhole(std::string_view pattern, const std::vector<std::string>& pieces)
{
    std::string again;
    auto next = pieces.begin();
    while (!pattern.empty()) {
        const std::string_view piece = take(pattern, "/");
        again += "/" + (piece == "*" ? percentEncode(*next++) : std::string(piece));
    }
    return again;
}

/// The path again, from what was read out of it.
std::string rebuilt(std::string_view path, const Route& found)
{
    if (found.operation->shape == PathShape::WHOLE)
        return rebuiltWhole(found.operation->word, found.pieces);
    const std::vector<std::string>& pieces = found.pieces;
    std::string again(startsWith(path, BASE_PATH) ? BASE_PATH : path.substr(0, path.find('/', 1) + 1));
    for (const std::string& piece : pieces)
        again += percentEncode(piece) + "/";
    again.pop_back();
    return again;
}

void checkPath(std::string_view method, std::string_view path)
{
    std::string allowed;
    try {
        allowed = allowedMethods(path);
    } catch (const ServiceError& error) {
        require(error.failure() == Failure::NOT_FOUND, "a path leads somewhere or nowhere");
    }
    try {
        const Route found = route(method, path);
        require(isListed(allowed, method), "a method that a path is taken with is listed");
        const Access access = found.operation->access;
        require((access == Access::LOOPBACK_ONLY) == startsWith(path, "/control/"), "only faults are set without a signature");
        require((access == Access::KEY) == startsWith(path, "/media/"), "only media are fetched with a key");
        const std::string again = rebuilt(path, found);
        const Route same = route(method, again);
        require(same.operation == found.operation && same.subject == found.subject && same.pieces == found.pieces,
                "a path says the same when it is encoded");
        if (const auto id = parseId(found.subject))
            require(std::to_string(*id) == found.subject && *id > 0, "an identifier has one spelling");
    } catch (const ServiceError& error) {
        require(error.failure() == (allowed.empty() ? Failure::NOT_FOUND : Failure::WRONG_METHOD),
                "a path is unknown, or its method is");
        require(!isListed(allowed, method), "a method that is listed is taken");
    }
}

void checkHost(const std::string& host)
{
    static const std::regex NAME_AND_PORT(R"((\[[0-9a-fA-F:.]{2,}\]|[A-Za-z0-9._-]+)(:([0-9]+))?)");
    std::smatch parts;
    const bool fits = host.size() <= 255 && std::regex_match(host, parts, NAME_AND_PORT);
    const bool portFits = fits && (!parts[3].matched || std::stold(parts[3]) <= 65535);
    require(httpd::isHostHeader(host) == portFits, "a host is a name or an address and perhaps a port");
    require(!httpd::isHostHeader(host) || host.find_first_of("/?#@\\ <>\"'&\r\n") == std::string::npos,
            "a host cannot change the address that it is written into");
}

/// Whether a header follows the grammar of name="value" fields with commas between them, read character by character.
bool isFieldList(std::string_view header)
{
    enum { BEFORE_NAME, NAME, AFTER_NAME, OPENING, VALUE, AFTER_VALUE } state = BEFORE_NAME;
    for (const char c : header) {
        const bool blank = c == ' ' || c == '\t';
        const bool ofName = !blank && c != ',' && c != '"' && c != '=';
        switch (state) {
        case BEFORE_NAME:
            if (!blank && !ofName)
                return false;
            state = blank ? BEFORE_NAME : NAME;
            break;
        case NAME:
        case AFTER_NAME:
            if (c == '=')
                state = OPENING;
            else if (blank)
                state = AFTER_NAME;
            else if (!ofName || state == AFTER_NAME)
                return false;
            break;
        case OPENING:
            if (c != '"')
                return false;
            state = VALUE;
            break;
        case VALUE:
            state = c == '"' ? AFTER_VALUE : VALUE;
            break;
        case AFTER_VALUE:
            if (c != ',' && !blank)
                return false;
            state = c == ',' ? BEFORE_NAME : AFTER_VALUE;
            break;
        }
    }
    return state == AFTER_VALUE;
}

void checkAuthorization(std::string_view header)
{
    const auto read = parseAuthorization(header);
    require(!read || isFieldList(header), "a header that is read follows its grammar");
    if (!read)
        return;
    std::string again;
    const std::pair<const char*, const std::string&> fields[] = {
        {"auth_identifier", read->identifier}, {"app_id", read->appId}, {"app_type", read->appType},    {"token", read->token},
        {"token_type", read->tokenType},       {"duid", read->duid},    {"signature", read->signature},
    };
    for (const auto& [name, value] : fields)
        again += std::string(again.empty() ? "" : ",") + name + "=\"" + value + "\"";
    const auto same = parseAuthorization(again);
    require(same && same->identifier == read->identifier && same->appId == read->appId && same->appType == read->appType &&
                same->token == read->token && same->tokenType == read->tokenType && same->duid == read->duid &&
                same->signature == read->signature,
            "fields are read again as they are written");
    require(!parseAuthorization(again + ", token=\"another\""), "no field is there twice");
}

void checkRange(const std::string& header, std::int64_t size)
{
    const ByteRange range = parseRange(header, size);
    switch (range.kind) {
    case ByteRange::WHOLE:
        require(range.offset == 0 && range.length == size, "without a range the file is whole");
        break;
    case ByteRange::PART:
        require(range.offset >= 0 && range.length > 0 && range.length <= size - range.offset, "a part lies in the file");
        break;
    case ByteRange::UNSATISFIABLE:
        require(size == 0 || header.find_first_of("0123456789") != std::string::npos, "a range that misses the file has numbers");
        break;
    }
    static const std::regex ONE_RANGE(R"([ \t]*[bB][yY][tT][eE][sS]=[ \t]*([0-9]{0,17})[ \t]*-[ \t]*([0-9]{0,17})[ \t]*)");
    std::smatch bounds;
    if (header.size() > 100 || !std::regex_match(header, bounds, ONE_RANGE) || bounds[1].length() + bounds[2].length() == 0)
        return;
    const bool suffix = bounds[1].length() == 0;
    const bool open = bounds[2].length() == 0;
    const std::int64_t last = suffix || open ? size - 1 : std::stoll(bounds[2]);
    const std::int64_t first = suffix ? size - std::min<std::int64_t>(size, std::stoll(bounds[2])) : std::stoll(bounds[1]);
    if (!suffix && !open && last < first)
        require(range.kind == ByteRange::WHOLE, "a range that runs backwards counts as none");
    else if (first >= size)
        require(range.kind == ByteRange::UNSATISFIABLE, "a range behind the file's end cannot be served");
    else
        require(range.kind == ByteRange::PART && range.offset == first && range.length == std::min(last, size - 1) - first + 1,
                "a part is the one that was asked for");
}

void checkTags(std::string_view header)
{
    constexpr const char* TAG = "\"c1-1\"";
    const bool listed = listsTag(header, TAG);
    require(!listed || header.find('*') != std::string_view::npos || header.find(TAG) != std::string_view::npos,
            "a tag is listed when it is there");
    require(listsTag(std::string(header) + " , W/" + TAG, TAG), "a tag at the end of a list is listed");
}

void checkFraming(const std::vector<httpd::Header>& headers)
{
    unsigned lengths = 0;
    unsigned encodings = 0;
    std::string last;
    for (const httpd::Header& header : headers) {
        const bool isLength = equalsIgnoringCase(header.name, "Content-Length");
        lengths += isLength ? 1 : 0;
        encodings += equalsIgnoringCase(header.name, "Transfer-Encoding") ? 1 : 0;
        last = isLength ? header.value : last;
    }
    const httpd::Framing framing = httpd::readFraming(headers);
    if (framing.error != nullptr)
        return;
    require(lengths + encodings <= 1, "the length of a body is said once");
    require(framing.bodySize.has_value() == (encodings == 0), "a body in chunks has no length beforehand");
    require(lengths == 0 || framing.bodySize == parseDecimal<std::int64_t>(trim(last)),
            "the length of a body is the one of its header");
    require(lengths + encodings != 0 || framing.bodySize == 0, "there is no body that is not announced");
}

} // namespace

void request(std::string_view input)
{
    std::string_view line = take(input, "\n");
    const std::string_view method = take(line, " ");
    const std::string_view path = take(line, "?");
    checkPath(method, path);
    std::int64_t size = 1000;
    std::vector<httpd::Header> headers;
    while (!input.empty()) {
        std::string_view value = take(input, "\n");
        const std::string_view name = take(value, ": ");
        headers.push_back({std::string(name), std::string(value)});
        if (name == "Content-Length")
            size = parseDecimal<std::int64_t>(value).value_or(size);
        else if (name == "Host")
            checkHost(std::string(value));
        else if (name == "Authorization")
            checkAuthorization(value);
        else if (name == "Range")
            checkRange(std::string(value), size);
        else if (name == "If-None-Match")
            checkTags(value);
    }
    checkFraming(headers);
}

} // namespace fuzz
