// SPDX-License-Identifier: MIT
#include "operations/page/SafeHeaders.h"

#include "httpd/Text.h"
#include "operations/Paths.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace kinloomd {

namespace {

constexpr std::pair<const char*, const char*> HEADERS[] = {
    {"Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "same-origin"}, // with less a browser would not say where a form comes from
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Embedder-Policy", "require-corp"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"X-Permitted-Cross-Domain-Policies", "none"},
    {"X-DNS-Prefetch-Control", "off"},
    {"Permissions-Policy",
     "accelerometer=(), autoplay=(), browsing-topics=(), camera=(), clipboard-read=(), clipboard-write=(self), display-capture=(), "
     "encrypted-media=(), fullscreen=(self), geolocation=(), gyroscope=(), hid=(), idle-detection=(), magnetometer=(), "
     "microphone=(), midi=(), payment=(), picture-in-picture=(), publickey-credentials-get=(), screen-wake-lock=(self), serial=(), "
     "usb=(), web-share=(self), xr-spatial-tracking=()"},
};
/// A year. Nothing is said of names below the service's own: they may be somebody else's.
constexpr std::pair<const char*, const char*> TRANSPORT_SECURITY = {"Strict-Transport-Security", "max-age=31536000"};

bool isForDevices(std::string_view path)
{
    return path.substr(0, BASE_PATH.size()) == BASE_PATH || path.substr(0, MEDIA_PATH.size()) == MEDIA_PATH;
}

void add(httpd::Reply& reply, const std::pair<const char*, const char*>& header)
{
    const bool there = std::any_of(reply.headers.begin(), reply.headers.end(),
                                   [&](const auto& other) { return httpd::equalsIgnoringCase(other.first, header.first); });
    if (!there)
        reply.headers.emplace_back(header.first, header.second);
}

} // namespace

void addSafety(httpd::Reply& reply, const httpd::RequestHead& head)
{
    if (isForDevices(head.path()))
        return;
    for (const auto& header : HEADERS)
        add(reply, header);
    if (head.scheme == "https")
        add(reply, TRANSPORT_SECURITY);
}

} // namespace kinloomd
