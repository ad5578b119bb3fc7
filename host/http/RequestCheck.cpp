// SPDX-License-Identifier: MIT
#include "http/RequestCheck.h"

#include "W/WStatus.h"
#include "http/RequestImpl.h"
#include "http/Url.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// The characters of a field name (RFC 9110, "token").
constexpr std::array<bool, 256> tokenCharacters()
{
    std::array<bool, 256> characters{};
    for (const char* c = "!#$%&'*+-.^_`|~0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"; *c != '\0'; ++c)
        characters[static_cast<unsigned char>(*c)] = true;
    return characters;
}

constexpr std::array<bool, 256> TOKEN = tokenCharacters();

bool isFieldName(const STRING& name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) { return TOKEN[static_cast<unsigned char>(c)]; });
}

/// libcurl sends values verbatim: a line break would smuggle in another field, a NUL would cut the value off.
bool isFieldValue(const STRING& value)
{
    for (const char c : {'\r', '\n', '\0'})
        // NOLINTNEXTLINE(bugprone-not-null-terminated-result): a search, which writes no text
        if (std::memchr(value.data(), c, value.size()))
            return false;
    return true;
}

} // namespace

WSTATUS checkRequest(HttpRequest& request)
{
    HttpRequest::Impl& impl = request.impl();
    if (impl.type != HTTP_REQUEST_GET && impl.type != HTTP_REQUEST_POST)
        return WSTATUS_INVALID_ARGUMENT;
    for (const auto& [name, value] : impl.header.fields())
        if (!isFieldName(name) || !isFieldValue(value))
            return WSTATUS_INVALID_ARGUMENT;
    try {
        if (!mendUrl(impl.url, impl.transfer.wireUrl))
            return WSTATUS_INVALID_ARGUMENT;
        return impl.type == HTTP_REQUEST_GET && !impl.path.empty() ? FileSink::check(impl.path) : WSTATUS_OK;
    } catch (const std::bad_alloc&) {
        return WSTATUS_OUT_OF_MEMORY;
    }
}

} // namespace http
} // namespace W
