// SPDX-License-Identifier: MIT
#include "operations/page/Browser.h"

#include "core/Failure.h"
#include "core/Text.h"
#include "httpd/Address.h"
#include "operations/Service.h"
#include "store/Sessions.h"

#include <algorithm>

namespace kinloomd {

namespace {

constexpr std::string_view COOKIE = "kinloom_session";
constexpr std::size_t KEY_CHARACTERS = 43;
constexpr Millis USE_PRECISION = HOUR; ///< uses are not written down more often than this

/// The value of the session's cookie. Where there are two of them, somebody else may have set one: neither counts.
std::string_view cookieOf(const httpd::RequestHead& head)
{
    std::string_view found;
    for (const httpd::Header& header : head.headers) {
        if (!equalsIgnoringCase(header.name, "Cookie"))
            continue;
        std::string_view rest = header.value;
        while (!rest.empty()) {
            const std::string_view pair = trim(rest.substr(0, rest.find(';')));
            rest.remove_prefix(std::min(rest.find(';'), rest.size() - 1) + 1);
            const auto sign = pair.find('=');
            if (sign == std::string_view::npos || pair.substr(0, sign) != COOKIE)
                continue;
            if (!found.empty())
                return {};
            found = pair.substr(sign + 1);
        }
    }
    return found.size() == KEY_CHARACTERS ? found : std::string_view();
}

std::string cookieText(std::string_view value, Millis time, const httpd::RequestHead& head)
{
    return std::string(COOKIE) + "=" + std::string(value) + "; Path=/; Max-Age=" + std::to_string(time / 1000) +
           "; HttpOnly; SameSite=Strict" + (head.scheme == "https" ? "; Secure" : "");
}

/// The values of all headers of a name, of which there should be one.
std::vector<std::string> valuesOf(const httpd::RequestHead& head, std::string_view name)
{
    std::vector<std::string> values;
    for (const httpd::Header& header : head.headers) {
        if (equalsIgnoringCase(header.name, name))
            values.push_back(header.value);
    }
    return values;
}

/// An origin as browsers write it: in small letters, and without the port that the scheme has anyway.
std::string canonicalOrigin(std::string origin)
{
    for (char& c : origin)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    for (const auto& [scheme, port] : {std::pair("http://", ":80"), std::pair("https://", ":443")}) {
        const std::string_view end = port;
        if (origin.compare(0, std::string_view(scheme).size(), scheme) == 0 && origin.size() > end.size() &&
            origin.compare(origin.size() - end.size(), end.size(), end) == 0)
            origin.erase(origin.size() - end.size());
    }
    return origin;
}

/// \return whether pages of this service, under the name that the request was sent to, have that origin. Where a proxy speaks TLS
/// for the service and cannot be asked, the browser's word on the scheme is taken: it matters to nobody but itself.
bool isOwnOrigin(const Options& options, const httpd::RequestHead& head, const std::string& sent)
{
    const std::string origin = canonicalOrigin(sent);
    if (!options.publicUrl.empty() && origin == canonicalOrigin(options.publicUrl))
        return true;
    const auto hosts = valuesOf(head, "Host");
    if (hosts.size() != 1 || !httpd::isHostHeader(hosts[0]))
        return false;
    return origin == canonicalOrigin("https://" + hosts[0]) ||
           (head.scheme == "http" && origin == canonicalOrigin("http://" + hosts[0]));
}

void requireOwnOrigin(const Options& options, const httpd::RequestHead& head, bool mayBeMissing)
{
    const auto origins = valuesOf(head, "Origin");
    const auto sites = valuesOf(head, "Sec-Fetch-Site");
    const bool own = origins.empty() ? mayBeMissing : origins.size() == 1 && isOwnOrigin(options, head, origins[0]);
    const bool near = std::all_of(sites.begin(), sites.end(), [](const std::string& site) { return site == "same-origin"; });
    if (!own || !near)
        throw ServiceError(Failure::FORBIDDEN, "Only the service's own page may do that.");
}

struct Name {
    std::string_view sign; ///< what browsers write into their names for themselves
    const char* name;
};

// The first sign that is there counts: many pretend to be others as well.
constexpr Name BROWSERS[] = {
    {"Edg", "Edge"},        {"OPR/", "Opera"},      {"SamsungBrowser", "Samsung Internet"},
    {"Firefox", "Firefox"}, {"FxiOS", "Firefox"},   {"CriOS", "Chrome"},
    {"Chrome", "Chrome"},   {"Chromium", "Chrome"}, {"Safari", "Safari"},
};
constexpr Name SYSTEMS[] = {
    {"iPhone", "iPhone"},   {"iPad", "iPad"},     {"Android", "Android"},
    {"Windows", "Windows"}, {"Macintosh", "Mac"}, {"Linux", "Linux"},
};

template <std::size_t COUNT> const char* nameIn(const Name (&names)[COUNT], std::string_view text)
{
    const auto* const found = std::find_if(std::begin(names), std::end(names),
                                           [&](const Name& name) { return text.find(name.sign) != std::string_view::npos; });
    return found == std::end(names) ? nullptr : found->name;
}

} // namespace

std::string sessionKeyHash(const httpd::RequestHead& head)
{
    const std::string_view key = cookieOf(head);
    return key.empty() ? std::string() : hashOfKey(key);
}

Caller authenticateBrowser(Service& service, Request& request)
{
    const std::string hash = sessionKeyHash(request.head);
    std::optional<Session> session;
    if (!hash.empty()) {
        const auto connection = service.database().read();
        session = findSession(connection, hash);
    }
    if (!session)
        throw ServiceError(Failure::SIGNED_OUT);
    if (now() - session->used > USE_PRECISION || now() < session->used) {
        service.database().note(
            [&](DatabaseConnection& connection) { noteSessionUse(connection, session->id, request.head.address); });
        request.cookie = renewedCookie(request.head);
    }
    Caller caller;
    caller.session = session->id;
    caller.person = session->person;
    return caller;
}

void requireOwnPage(const Options& options, const httpd::RequestHead& head)
{
    if (head.method != "GET" && head.method != "HEAD")
        requireOwnOrigin(options, head, false);
}

void refuseOtherPages(const Options& options, const httpd::RequestHead& head) { requireOwnOrigin(options, head, true); }

std::string sessionCookie(const std::string& key, const httpd::RequestHead& head) { return cookieText(key, SESSION_TIME, head); }

std::string renewedCookie(const httpd::RequestHead& head) { return sessionCookie(std::string(cookieOf(head)), head); }

std::string endedCookie(const httpd::RequestHead& head) { return cookieText("", 0, head); }

std::string browserName(std::string_view userAgent)
{
    const char* const browser = nameIn(BROWSERS, userAgent);
    const char* const system = nameIn(SYSTEMS, userAgent);
    std::string name = browser == nullptr ? "Browser" : browser;
    if (system != nullptr)
        name += std::string(" on ") + system;
    return name;
}

} // namespace kinloomd
