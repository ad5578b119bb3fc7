// SPDX-License-Identifier: MIT
#include "objects/Endpoint.h"

#include <algorithm>
#include <curl/curl.h>
#include <memory>
#include <stdexcept>

namespace objects {

namespace {

using Url = std::unique_ptr<CURLU, decltype(&::curl_url_cleanup)>;

std::string partOf(const Url& url, CURLUPart part)
{
    char* text = nullptr;
    if (::curl_url_get(url.get(), part, &text, 0) != CURLUE_OK)
        return {};
    const std::unique_ptr<char, decltype(&::curl_free)> owned(text, &::curl_free);
    return text;
}

bool isSmallOrDigit(char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); }

} // namespace

Endpoint parseEndpoint(const std::string& text)
{
    const Url url(::curl_url(), &::curl_url_cleanup);
    if (!url)
        throw std::bad_alloc();
    const std::string refusal = text + " is not the address of an object store, such as https://store.example:8443";
    if (text.find("://") == std::string::npos || ::curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK)
        throw std::invalid_argument(refusal);
    Endpoint endpoint{partOf(url, CURLUPART_SCHEME), partOf(url, CURLUPART_HOST)};
    const std::string path = partOf(url, CURLUPART_PATH);
    bool plain = endpoint.scheme == "http" || endpoint.scheme == "https";
    for (const CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_QUERY, CURLUPART_FRAGMENT})
        plain = plain && partOf(url, part).empty();
    if (!plain || (!path.empty() && path != "/"))
        throw std::invalid_argument(refusal);
    const std::string port = partOf(url, CURLUPART_PORT);
    if (!port.empty() && port != (endpoint.scheme == "http" ? "80" : "443"))
        endpoint.host += ":" + port;
    return endpoint;
}

bool isBucketName(const std::string& name)
{
    constexpr std::size_t LEAST = 3;
    constexpr std::size_t MOST = 63;
    return name.size() >= LEAST && name.size() <= MOST && isSmallOrDigit(name.front()) && isSmallOrDigit(name.back()) &&
           std::all_of(name.begin(), name.end(), [](char c) { return isSmallOrDigit(c) || c == '.' || c == '-'; });
}

} // namespace objects
