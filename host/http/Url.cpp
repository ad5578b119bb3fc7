// SPDX-License-Identifier: MIT
#include "http/Url.h"

#include <algorithm>
#include <array>
#include <curl/curl.h>
#include <memory>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// The longest text that libcurl takes.
constexpr std::size_t MAX_URL_LENGTH = 8'000'000;

/// What a character means for a URL. The values are bits, so that one pass collects all that a text holds.
enum CharacterClass : unsigned char {
    LEGAL = 0,       ///< reserved and unreserved characters
    RAW = 1,         ///< not allowed in a URL: to be percent-encoded
    PERCENT = 2,     ///< legal when two hexadecimal digits follow
    NUMBER_SIGN = 4, ///< begins the fragment
    CONTROL = 8,     ///< refused
};

constexpr std::array<CharacterClass, 256> characterClasses()
{
    std::array<CharacterClass, 256> classes{};
    for (CharacterClass& entry : classes)
        entry = RAW;
    for (int c = 0; c < 0x20; ++c)
        classes[static_cast<unsigned char>(c)] = CONTROL;
    classes[0x7f] = CONTROL;
    for (const char* c = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~:/?[]@!$&'()*+,;="; *c != '\0'; ++c)
        classes[static_cast<unsigned char>(*c)] = LEGAL;
    classes['%'] = PERCENT;
    classes['#'] = NUMBER_SIGN;
    return classes;
}

constexpr std::array<CharacterClass, 256> CLASSES = characterClasses();

CharacterClass classOf(char c) { return CLASSES[static_cast<unsigned char>(c)]; }

// The functions of <cctype> depend on the locale.
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isHex(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
constexpr bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

struct UrlDeleter {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
struct TextDeleter {
    void operator()(char* text) const { curl_free(text); }
};
using ParsedUrl = std::unique_ptr<CURLU, UrlDeleter>;

std::string partOf(CURLU* url, CURLUPart what, unsigned int flags = 0)
{
    char* text = nullptr;
    if (curl_url_get(url, what, &text, flags) != CURLUE_OK)
        return {};
    const std::unique_ptr<char, TextDeleter> owner(text);
    return text;
}

/// The length of "http://" or "https://", or 0.
std::size_t schemeLength(const std::string& url)
{
    for (const char* scheme : {"http://", "https://"}) {
        const std::size_t length = std::char_traits<char>::length(scheme);
        if (curl_strnequal(url.c_str(), scheme, length))
            return length;
    }
    return 0;
}

/// "host" or "host:port" with nothing unusual in it.
bool isPlainAuthority(const char* at, const char* end)
{
    const char* const host = at;
    while (at != end && (isLetter(*at) || isDigit(*at) || *at == '-' || *at == '.' || *at == '_'))
        ++at;
    if (at == host || at == end)
        return at != host;
    if (*at++ != ':' || end - at < 1 || end - at > 5)
        return false;
    int port = 0;
    for (; at != end; ++at) {
        if (!isDigit(*at))
            return false;
        port = port * 10 + (*at - '0');
    }
    return port >= 1 && port <= 65'535;
}

/// Addresses in brackets, credentials, names in other scripts: libcurl's parser knows them all.
bool isUsableAuthority(const std::string& authority)
{
    const ParsedUrl parsed(curl_url());
    if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, ("http://" + authority + "/").c_str(), 0) != CURLUE_OK)
        return false;
    return !partOf(parsed.get(), CURLUPART_HOST).empty();
}

bool beginsEscape(const std::string& text, std::size_t at)
{
    return text.size() - at > 2 && isHex(text[at + 1]) && isHex(text[at + 2]);
}

/// The union of the classes of all characters from a position on.
unsigned int classesOf(const std::string& text, std::size_t from)
{
    unsigned int classes = 0;
    for (const char *at = text.data() + from, *const end = text.data() + text.size(); at != end; ++at)
        classes |= classOf(*at);
    return classes;
}

bool hasBarePercent(const std::string& text, std::size_t from)
{
    for (std::size_t i = from; (i = text.find('%', i)) != std::string::npos; ++i)
        if (!beginsEscape(text, i))
            return true;
    return false;
}

/// Copies a text from a position on up to its fragment, with everything encoded that may not stand in a URL.
void appendEncoded(const std::string& text, std::size_t from, std::string& out)
{
    static constexpr char HEX[] = "0123456789ABCDEF";
    for (std::size_t i = from; i < text.size() && text[i] != '#'; ++i) {
        const CharacterClass kind = classOf(text[i]);
        if (kind == LEGAL || (kind == PERCENT && beginsEscape(text, i))) {
            out += text[i];
            continue;
        }
        const auto byte = static_cast<unsigned char>(text[i]);
        out += '%';
        out += HEX[byte >> 4];
        out += HEX[byte & 15];
    }
}

} // namespace

bool mendUrl(const std::string& url, std::string& wire)
{
    wire.clear();
    if (url.size() > MAX_URL_LENGTH)
        return false;
    const std::size_t authority = schemeLength(url);
    if (authority == 0)
        return false;
    std::size_t rest = authority;
    while (rest < url.size() && url[rest] != '/' && url[rest] != '?' && url[rest] != '#')
        ++rest;
    const unsigned int classes = classesOf(url, authority);
    if ((classes & CONTROL) != 0)
        return false;
    if (!isPlainAuthority(url.data() + authority, url.data() + rest) && !isUsableAuthority(url.substr(authority, rest - authority)))
        return false;
    if ((classes & (RAW | NUMBER_SIGN)) == 0 && ((classes & PERCENT) == 0 || !hasBarePercent(url, rest)))
        return true;
    wire.assign(url, 0, rest);
    appendEncoded(url, rest, wire);
    return wire.size() <= MAX_URL_LENGTH;
}

std::size_t originLength(const std::string& url) { return std::min(url.find_first_of("/?", schemeLength(url)), url.size()); }

bool resolveRedirect(const std::string& base, const std::string& location, std::string& target)
{
    if (location.empty() || (classesOf(location, 0) & CONTROL) != 0)
        return false;
    std::string absolute = location;
    if (schemeLength(location) == 0) {
        std::string reference;
        appendEncoded(location, 0, reference);
        const ParsedUrl parsed(curl_url());
        if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, base.c_str(), 0) != CURLUE_OK ||
            curl_url_set(parsed.get(), CURLUPART_URL, reference.c_str(), 0) != CURLUE_OK)
            return false;
        absolute = partOf(parsed.get(), CURLUPART_URL);
    }
    if (!mendUrl(absolute, target))
        return false;
    if (target.empty())
        target = absolute;
    return true;
}

std::string originOf(const std::string& url)
{
    const ParsedUrl parsed(curl_url());
    if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK)
        return {};
    std::string origin = partOf(parsed.get(), CURLUPART_SCHEME) + "://" + partOf(parsed.get(), CURLUPART_HOST) + ":" +
                         partOf(parsed.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
    std::transform(origin.begin(), origin.end(), origin.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    return origin;
}

bool isEncrypted(const std::string& url) { return curl_strnequal(url.c_str(), "https://", 8) != 0; }

bool sameOrigin(const std::string& a, const std::string& b)
{
    const std::string origin = originOf(a);
    return !origin.empty() && origin == originOf(b);
}

} // namespace http
} // namespace W
