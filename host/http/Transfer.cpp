// SPDX-License-Identifier: MIT
#include "http/Transfer.h"

#include "http/Options.h"
#include "http/Reception.h"
#include "http/RequestImpl.h"
#include "http/StatusMap.h"
#include "http/TransferSetup.h"
#include "http/Url.h"

#include <algorithm>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// Sets a hop up on the request's handle. Nothing else of the handle differs from one hop to the next.
bool beginHop(HttpRequest::Impl& impl, Clock::time_point now)
{
    TransferState& transfer = impl.transfer;
    beginReply(transfer);
    transfer.lastLook = now;
    transfer.lastFastEnough = now;

    CURL* const curl = impl.easy->curl;
    const long totalMs = transfer.options->values().totalTimeoutMs;
    if (totalMs > 0) {
        const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(now - transfer.started).count();
        // 0 would mean no limit, so a limit that is used up becomes one millisecond.
        curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, std::max(totalMs - static_cast<long>(passed), 1L));
    }
    curl_easy_setopt(curl, CURLOPT_FRESH_CONNECT, transfer.mustConnect ? 1L : 0L);
    const STRING& url = transfer.wireUrl.empty() ? impl.url : transfer.wireUrl;
    return setUrl(impl, url) && setHeader(impl);
}

/// Follows a redirect. SESSION_DONE: the next hop is set up.
SESSION_STATUS redirect(HttpRequest::Impl& impl, const char* location, Clock::time_point now)
{
    TransferState& transfer = impl.transfer;
    const STRING base = transfer.wireUrl.empty() ? impl.url : transfer.wireUrl;
    std::string target;
    if (++transfer.redirects > transfer.options->values().maxRedirects || !resolveRedirect(base, location, target))
        return SESSION_PROTOCOL_ERROR;
    // The caller's fields may hold credentials. They are for the host that the caller named, and for no other.
    transfer.foreign = transfer.foreign || !sameOrigin(base, target);
    transfer.wireUrl = std::move(target);
    transfer.mustConnect = false;
    return beginHop(impl, now) ? SESSION_DONE : SESSION_NOT_CREATED;
}

/// Why a hop failed.
SESSION_STATUS failureOf(HttpRequest::Impl& impl, CURLcode result)
{
    const TransferState& transfer = impl.transfer;
    if (transfer.failure != SESSION_DONE)
        return transfer.failure;
    // libcurl reports a header line of more than 100 kB as a lack of memory.
    if (result == CURLE_OUT_OF_MEMORY && transfer.headerBytes > 0 && transfer.body == TransferState::Body::UNDECIDED)
        return SESSION_TOO_LARGE;
    // The request was not cancelled, so libcurl could not read a form's file.
    if (result == CURLE_ABORTED_BY_CALLBACK && impl.form)
        return SESSION_FILE_ERROR;
    return sessionStatusOf(result);
}

} // namespace

SESSION_STATUS beginTransfer(HttpRequest& request, Connections& connections, Clock::time_point now) noexcept
{
    HttpRequest::Impl& impl = request.impl();
    TransferState& transfer = impl.transfer;
    transfer.status = transfer.failure = SESSION_DONE;
    transfer.headerBytes = 0;
    transfer.redirects = 0;
    transfer.foreign = false;
    transfer.bytesMoved = transfer.bytesAtLook = 0;
    transfer.started = now;
    impl.bytesDone.store(0.0, std::memory_order_relaxed);
    impl.bytesTotal.store(0.0, std::memory_order_relaxed);
    impl.response = HttpResponse();
    if (impl.cancelled.load())
        return SESSION_CANCELLED;
    try {
        if (!formFilesAreRegular(impl.form.get()))
            return SESSION_FILE_ERROR;
        EasyHandle* const easy = easyOf(impl);
        if (!easy)
            return SESSION_NOT_CREATED;
        easy->request = &request;
        setOptions(*easy, transfer.options, connections);
        setMethod(impl);
        return beginHop(impl, now) ? SESSION_DONE : SESSION_NOT_CREATED;
    } catch (const std::exception&) {
        return SESSION_NOT_CREATED;
    }
}

bool endHop(HttpRequest& request, CURLcode result, Clock::time_point now) noexcept
{
    HttpRequest::Impl& impl = request.impl();
    SESSION_STATUS status = SESSION_DONE;
    try {
        if (impl.cancelled.load()) {
            status = SESSION_CANCELLED;
        } else if (result == CURLE_ABORTED_BY_CALLBACK && impl.transfer.mustConnect && impl.type == HTTP_REQUEST_GET) {
            if (beginHop(impl, now))
                return false;
            status = SESSION_NOT_CREATED;
        } else if (result != CURLE_OK) {
            status = failureOf(impl, result);
        } else {
            const long code = responseCode(impl.easy->curl);
            if (const char* const location = redirectLocation(impl, code)) {
                status = redirect(impl, location, now);
                if (status == SESSION_DONE)
                    return false;
            } else {
                status = endReply(impl, code);
            }
        }
    } catch (const std::exception&) {
        status = SESSION_NOT_CREATED;
    }
    endTransfer(request, status);
    return true;
}

void endTransfer(HttpRequest& request, SESSION_STATUS status) noexcept
{
    HttpRequest::Impl& impl = request.impl();
    impl.transfer.status = status;
    impl.transfer.file.discard();
    // Nothing of a reply that did not arrive whole may be taken for one that did.
    if (status != SESSION_DONE)
        impl.response = HttpResponse();
}

Clock::duration stallInterval(const ClientOptions& options)
{
    using std::chrono::milliseconds;
    const long timeoutMs = options.values().stallTimeoutMs;
    if (timeoutMs <= 0)
        return Clock::duration::zero();
    constexpr long LOOKS_PER_TIMEOUT = 8;
    return std::clamp(milliseconds(timeoutMs / LOOKS_PER_TIMEOUT), milliseconds(5), milliseconds(1000));
}

bool stalls(HttpRequest& request, Clock::time_point now)
{
    HttpRequest::Impl& impl = request.impl();
    TransferState& transfer = impl.transfer;
    const HttpOptions& options = transfer.options->values();
    if (options.stallTimeoutMs <= 0)
        return false;
    curl_off_t untilRequest = 0;
    curl_easy_getinfo(impl.easy->curl, CURLINFO_PRETRANSFER_TIME_T, &untilRequest);
    const double seconds = std::chrono::duration<double>(now - transfer.lastLook).count();
    const auto moved = static_cast<double>(transfer.bytesMoved - std::min(transfer.bytesAtLook, transfer.bytesMoved));
    // Until the request is sent the connect limit watches over the transfer. A new hop counts from 0 again.
    if (untilRequest == 0 || transfer.bytesMoved < transfer.bytesAtLook ||
        (moved > 0 && moved >= static_cast<double>(options.stallBytesPerSecond) * seconds))
        transfer.lastFastEnough = now;
    transfer.lastLook = now;
    transfer.bytesAtLook = transfer.bytesMoved;
    return now - transfer.lastFastEnough >= std::chrono::milliseconds(options.stallTimeoutMs);
}

} // namespace http
} // namespace W
