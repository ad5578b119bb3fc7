// SPDX-License-Identifier: MIT
#include "http/Transfer.h"

#include "http/Exchange.h"
#include "http/Leads.h"
#include "http/Options.h"
#include "http/Reception.h"
#include "http/RequestImpl.h"
#include "http/StatusMap.h"
#include "http/TlsCause.h"
#include "http/TransferSetup.h"
#include "http/Url.h"

#include <algorithm>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// The URL of the present hop.
const STRING& urlOf(const HttpRequest::Impl& impl) { return impl.transfer.wireUrl.empty() ? impl.url : impl.transfer.wireUrl; }

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
    transfer.usedUp = transfer.connected = false;
    curl_easy_setopt(curl, CURLOPT_FRESH_CONNECT, transfer.mustConnect ? 1L : 0L);
    return setUrl(impl, urlOf(impl)) && setHeader(impl);
}

/// Why nothing goes to a URL that would leave TLS.
std::string leavesTls(const std::string& url)
{
    return "the service leads from https to " + originOf(url) + ", which is not encrypted: nothing goes there";
}

/// Follows a redirect. SESSION_DONE: the next hop is set up.
SESSION_STATUS redirect(HttpRequest::Impl& impl, const char* location, Clock::time_point now)
{
    TransferState& transfer = impl.transfer;
    const STRING base = urlOf(impl);
    std::string target;
    if (++transfer.redirects > transfer.options->values().maxRedirects || !resolveRedirect(base, location, target))
        return SESSION_PROTOCOL_ERROR;
    if (std::string led = transfer.options->leads().lead(target); !led.empty())
        target = std::move(led);
    if (isEncrypted(base) && !isEncrypted(target)) {
        transfer.cause = leavesTls(target);
        return SESSION_PROTOCOL_ERROR;
    }
    // The caller's fields may hold credentials. They are for the host that the caller named, and for no other.
    transfer.foreign = transfer.foreign || !sameOrigin(base, target);
    transfer.wireUrl = std::move(target);
    transfer.mustConnect = false;
    return beginHop(impl, now) ? SESSION_DONE : SESSION_NOT_CREATED;
}

/// What is known of a connection that may have failed for the sake of TLS. It was made to the service or to the proxy before it.
TlsFailure tlsFailureOf(const HttpRequest::Impl& impl, CURLcode result)
{
    constexpr long NO_VERDICT = 1;
    const HttpOptions& options = impl.transfer.options->values();
    long verification = 0;
    long ofProxy = 0;
    curl_easy_getinfo(impl.easy->curl, CURLINFO_SSL_VERIFYRESULT, &verification);
    curl_easy_getinfo(impl.easy->curl, CURLINFO_PROXY_SSL_VERIFYRESULT, &ofProxy);
    if (isEncrypted(options.proxy) && (ofProxy > NO_VERDICT || !isEncrypted(urlOf(impl))))
        return {result, ofProxy, impl.easy->errorText, options.proxy, "", true};
    return {result, verification, impl.easy->errorText, urlOf(impl), options.caFile, false};
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
    impl.transfer.cause = causeOf(tlsFailureOf(impl, result));
    return sessionStatusOf(result);
}

} // namespace

SESSION_STATUS beginTransfer(HttpRequest& request, Connections& connections, Clock::time_point now) noexcept
{
    HttpRequest::Impl& impl = request.impl();
    TransferState& transfer = impl.transfer;
    transfer.status = transfer.failure = SESSION_DONE;
    transfer.cause.clear();
    transfer.headerBytes = 0;
    transfer.redirects = 0;
    transfer.foreign = false;
    transfer.bytesMoved = transfer.bytesAtLook = 0;
    transfer.started = now;
    impl.bytesDone.store(0.0, std::memory_order_relaxed);
    impl.bytesTotal.store(0.0, std::memory_order_relaxed);
    impl.response = HttpResponse();
    beginExchange(request);
    if (impl.cancelled.load())
        return SESSION_CANCELLED;
    try {
        if (!formFilesAreRegular(impl.form.get()))
            return SESSION_FILE_ERROR;
        const Leads& leads = transfer.options->leads();
        if (!leads.ok())
            return refuseExchange(request, SESSION_NOT_CREATED,
                                  "the options of this program lead requests to something that is no service");
        if (std::string led = leads.lead(urlOf(impl)); !led.empty())
            transfer.wireUrl = std::move(led);
        // Credentials of a service that is spoken to over TLS: an address that it gave away does not take them out of it.
        if (!leads.empty() && isSigned(impl) && !isEncrypted(urlOf(impl)))
            return refuseExchange(request, SESSION_PROTOCOL_ERROR, leavesTls(urlOf(impl)));
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
        } else if (result == CURLE_ABORTED_BY_CALLBACK && impl.transfer.usedUp) {
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
    noteExchange(request, result, status);
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
