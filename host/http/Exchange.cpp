// SPDX-License-Identifier: MIT
#include "http/Exchange.h"

#include "http/Events.h"
#include "http/Reception.h"
#include "whost/HttpRequests.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ctime>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// How much of a refusal's body is kept.
constexpr std::size_t KEPT_BODY = 4096;
/// A reply that says in its document that it refuses is no longer than this.
constexpr std::size_t SHORT_BODY = 512;
/// No server means more than this; a larger number would overflow whoever reckons with it.
constexpr long LONGEST_RETRY_AFTER = 365L * 24 * 60 * 60;

/// A field of the handle's last reply; null when it has none. libcurl's, valid until the handle's next transfer.
const char* fieldOf(CURL* curl, const char* name)
{
    curl_header* field = nullptr;
    return curl_easy_header(curl, name, 0, CURLH_HEADER, -1, &field) == CURLHE_OK ? field->value : nullptr;
}

/// What the last reply says in Retry-After, in seconds from now.
long retryAfterOf(CURL* curl)
{
    const char* const text = fieldOf(curl, "Retry-After");
    if (!text)
        return -1;
    const char* const end = text + std::strlen(text);
    unsigned long seconds = 0;
    const auto [rest, error] = std::from_chars(text, end, seconds);
    if (text != end && rest == end)
        return error == std::errc::result_out_of_range ? LONGEST_RETRY_AFTER
                                                       : static_cast<long>(std::min<unsigned long>(seconds, LONGEST_RETRY_AFTER));
    const std::time_t date = curl_getdate(text, nullptr);
    if (date < 0)
        return -1;
    // The server's clock may differ from this one; a reply says what time it is there.
    const char* const sent = fieldOf(curl, "Date");
    const std::time_t there = sent ? curl_getdate(sent, nullptr) : -1;
    const std::time_t now = there < 0 ? std::time(nullptr) : there;
    return static_cast<long>(std::clamp<std::time_t>(date - now, 0, LONGEST_RETRY_AFTER));
}

/// What broke the exchange. libcurl's words stand where no others were found.
void noteCause(const HttpRequest::Impl& impl, CURLcode result, HttpExchange& exchange)
{
    exchange.explained = !impl.transfer.cause.empty();
    if (exchange.explained)
        exchange.cause = impl.transfer.cause;
    else if (result != CURLE_OK)
        exchange.cause = impl.easy->errorText[0] != '\0' ? impl.easy->errorText : curl_easy_strerror(result);
}

void tell(const HttpExchange& exchange)
{
    const std::shared_ptr<const HttpEvents> events = currentEvents();
    if (events && events->ended)
        events->ended(exchange);
}

} // namespace

void beginExchange(HttpRequest& request) noexcept
{
    HttpExchange& exchange = request.impl().exchange;
    exchange = HttpExchange();
    exchange.id = request.getID();
}

void noteExchange(HttpRequest& request, CURLcode result, SESSION_STATUS status) noexcept
{
    HttpRequest::Impl& impl = request.impl();
    HttpExchange& exchange = impl.exchange;
    CURL* const curl = impl.easy->curl;
    exchange.status = status;
    exchange.code = static_cast<UINT32>(responseCode(curl));
    try {
        constexpr UINT32 FIRST_OF_NO_SUCCESS = 300;
        constexpr UINT32 FIRST_OF_REFUSALS = 400;
        if (exchange.code >= FIRST_OF_NO_SUCCESS)
            exchange.retryAfter = retryAfterOf(curl);
        noteCause(impl, result, exchange);
        const std::string& body = impl.response.payload();
        if (result == CURLE_OK && (exchange.code >= FIRST_OF_REFUSALS || body.size() <= SHORT_BODY))
            exchange.body = body.substr(0, KEPT_BODY);
        tell(exchange);
    } catch (const std::exception&) {
        // The request ends as it would have ended; only less is known of it.
    }
}

SESSION_STATUS refuseExchange(HttpRequest& request, SESSION_STATUS status, const std::string& cause)
{
    HttpExchange& exchange = request.impl().exchange;
    exchange.status = status;
    exchange.cause = cause;
    exchange.explained = true;
    tell(exchange);
    return status;
}

} // namespace http

const HttpExchange& exchangeOf(const HttpRequest& request) { return request.impl().exchange; }

void limitBody(HttpRequest& request, std::uint64_t bytes) { request.impl().bodyLimit = bytes; }

} // namespace W
