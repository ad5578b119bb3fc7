// SPDX-License-Identifier: MIT
#include "tv/api/Gate.h"

#include "common/Digest.h"
#include "httpd/Text.h"
#include "tv/api/Api.h"
#include "tv/guests/LanAddress.h"

#include <algorithm>

namespace tv {

namespace {

constexpr std::string_view COOKIE = "kinloom_tv";
constexpr std::size_t KEY_BYTES = 32;

std::string newKey() { return common::toBase64Url(common::randomBytes(KEY_BYTES)); }

std::vector<std::string> valuesOf(const httpd::RequestHead& head, std::string_view name)
{
    std::vector<std::string> values;
    for (const httpd::Header& header : head.headers)
        if (httpd::equalsIgnoringCase(header.name, name))
            values.push_back(header.value);
    return values;
}

/// The value of the cookie. Where there are two of them, somebody else may have set one: neither counts.
std::string_view cookieOf(const httpd::RequestHead& head)
{
    std::string_view found;
    for (const httpd::Header& header : head.headers) {
        if (!httpd::equalsIgnoringCase(header.name, "Cookie"))
            continue;
        std::string_view rest = header.value;
        while (!rest.empty()) {
            const std::string_view pair = httpd::trim(rest.substr(0, rest.find(';')));
            rest.remove_prefix(std::min(rest.find(';'), rest.size() - 1) + 1);
            const auto sign = pair.find('=');
            if (sign == std::string_view::npos || pair.substr(0, sign) != COOKIE)
                continue;
            if (!found.empty())
                return {};
            found = pair.substr(sign + 1);
        }
    }
    return found;
}

/// Where the port is that of the scheme, browsers leave it out.
std::string_view withoutUsualPort(std::string_view authority)
{
    constexpr std::string_view USUAL = ":80";
    const bool ends = authority.size() > USUAL.size() && authority.substr(authority.size() - USUAL.size()) == USUAL;
    return authority.substr(0, authority.size() - (ends ? USUAL.size() : 0));
}

bool changesSomething(const httpd::RequestHead& head) { return head.method != "GET" && head.method != "HEAD"; }

} // namespace

Gate::Gate(std::string address, bool onLoopback) : m_key(newKey()), m_cookie(newKey()), m_address(std::move(address))
{
    if (onLoopback)
        m_localhost = "localhost" + m_address.substr(m_address.rfind(':'));
}

std::string Gate::oneTimeKey()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_oneTimeKeys.emplace_back(newKey());
}

/// Names that lead elsewhere may be made to lead here, by those who own them: then a page of theirs would be of this origin.
bool Gate::isOwnHost(const httpd::RequestHead& head) const
{
    const auto hosts = valuesOf(head, "Host");
    return hosts.size() == 1 && head.authority().empty() &&
           (tv::isOwnHost(hosts[0], m_address) ||
            (!m_localhost.empty() && httpd::equalsIgnoringCase(withoutUsualPort(hosts[0]), withoutUsualPort(m_localhost))));
}

bool Gate::isOwnOrigin(const httpd::RequestHead& head) const
{
    const auto origins = valuesOf(head, "Origin");
    const auto sites = valuesOf(head, "Sec-Fetch-Site");
    const auto hosts = valuesOf(head, "Host");
    const bool own = origins.empty() ? !changesSomething(head)
                                     : origins.size() == 1 && httpd::equalsIgnoringCase(withoutUsualPort(origins[0]),
                                                                                        withoutUsualPort("http://" + hosts[0]));
    // A page that is opened by hand comes from "none".
    const bool near = std::all_of(sites.begin(), sites.end(), [&](const std::string& site) {
        return site == "same-origin" || (site == "none" && !changesSomething(head));
    });
    return own && near;
}

bool Gate::hasCookie(const httpd::RequestHead& head) const { return common::equalsInConstantTime(cookieOf(head), m_cookie); }

httpd::Reply Gate::welcome(bool once) const
{
    httpd::Reply reply;
    addDataHeaders(reply);
    reply.headers.emplace_back("Set-Cookie", std::string(COOKIE) + "=" + m_cookie + "; Path=/; HttpOnly; SameSite=Strict");
    if (once) {
        // The browser comes from a file, which is another site: it would not send the cookie where a redirect leads.
        reply.contentType = "text/html; charset=utf-8";
        reply.body = std::string("<!doctype html><meta http-equiv=\"refresh\" content=\"0;url=/\"><title>Kinloom</title>\n");
    } else {
        reply.status = 303;
        reply.headers.emplace_back("Location", "/");
    }
    return reply;
}

std::optional<httpd::Reply> Gate::stop(const httpd::RequestHead& head)
{
    if (!isOwnHost(head))
        return failureReply(Refusal::FORBIDDEN, "This program is not there under that name.");
    if (head.path() == "/" && !changesSomething(head)) {
        const auto parameters = parametersOf(head.query());
        const auto key = parameters.find("key");
        if (key != parameters.end()) {
            if (common::equalsInConstantTime(key->second, m_key))
                return welcome(false);
            const std::lock_guard<std::mutex> lock(m_mutex);
            const auto once = std::find_if(m_oneTimeKeys.begin(), m_oneTimeKeys.end(),
                                           [&](const std::string& one) { return common::equalsInConstantTime(key->second, one); });
            if (once != m_oneTimeKeys.end()) {
                if (head.method == "GET")
                    m_oneTimeKeys.erase(once);
                return welcome(true);
            }
        }
    }
    if (!hasCookie(head))
        return failureReply(Refusal::FORBIDDEN, "The address with the key opens this page; the program prints it at its start.");
    if (!isOwnOrigin(head))
        return failureReply(Refusal::FORBIDDEN, "Only this program's own page may do that.");
    return std::nullopt;
}

} // namespace tv
