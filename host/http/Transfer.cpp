// SPDX-License-Identifier: MIT
#include "http/Transfer.h"

#include "http/Connections.h"
#include "http/Options.h"
#include "http/RequestImpl.h"
#include "http/StatusMap.h"
#include "http/TransferSetup.h"
#include "http/Url.h"

#include <algorithm>
#include <new>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// The largest payload whose memory is set aside on the word of the server alone.
constexpr std::uint64_t MAX_RESERVED = 16u << 20;

constexpr bool isSuccess(long code) { return code >= 200 && code < 300; }

long responseCode(CURL* curl)
{
    long code = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &code);
    return code;
}

/// The Location of a reply that a GET follows, or null.
const char* redirectLocation(const HttpRequest::Impl& impl, long code)
{
    const bool redirects = code == 301 || code == 302 || code == 303 || code == 307 || code == 308;
    if (!redirects || impl.type != HTTP_REQUEST_GET)
        return nullptr;
    curl_header* location = nullptr;
    return curl_easy_header(impl.easy->curl, "Location", 0, CURLH_HEADER, -1, &location) == CURLHE_OK ? location->value : nullptr;
}

/// The limit on the present reply's body; 0: none.
std::uint64_t bodyLimit(const HttpRequest::Impl& impl)
{
    const HttpOptions& options = impl.transfer.options->values();
    return impl.transfer.body == Transfer::Body::FILE ? options.maxFileBody : std::max<std::uint64_t>(options.maxMemoryBody, 1);
}

/// Decides where the body of a reply goes, when its header fields are in. False: the transfer must stop.
bool decideBody(HttpRequest::Impl& impl)
{
    Transfer& transfer = impl.transfer;
    CURL* const curl = impl.easy->curl;
    const long code = responseCode(curl);
    if (redirectLocation(impl, code))
        transfer.body = Transfer::Body::NOWHERE;
    else if (impl.type == HTTP_REQUEST_GET && !impl.path.empty() && isSuccess(code))
        transfer.body = Transfer::Body::FILE;
    else
        transfer.body = Transfer::Body::MEMORY;

    curl_off_t length = -1;
    curl_easy_getinfo(curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    const std::uint64_t expected = length > 0 ? static_cast<std::uint64_t>(length) : 0;
    const std::uint64_t limit = bodyLimit(impl);
    if (limit != 0 && expected > limit) {
        transfer.failure = SESSION_TOO_LARGE;
        return false;
    }
    if (transfer.body == Transfer::Body::FILE && !transfer.file.open(impl.path)) {
        transfer.failure = SESSION_FILE_ERROR;
        return false;
    }
    if (transfer.body == Transfer::Body::MEMORY)
        impl.response.payload().reserve(std::min(expected, MAX_RESERVED));
    return true;
}

/// Takes a piece of a body, decoded. False: the transfer must stop.
bool takeBody(HttpRequest::Impl& impl, const char* data, std::size_t size)
{
    Transfer& transfer = impl.transfer;
    if (transfer.body == Transfer::Body::UNDECIDED && !decideBody(impl))
        return false;
    const std::uint64_t limit = bodyLimit(impl);
    if (limit != 0 && size > limit - transfer.bodyBytes) {
        transfer.failure = SESSION_TOO_LARGE;
        return false;
    }
    transfer.bodyBytes += size;
    if (transfer.body == Transfer::Body::MEMORY)
        impl.response.payload().append(data, size);
    if (transfer.body == Transfer::Body::FILE && !transfer.file.write(data, size)) {
        transfer.failure = SESSION_FILE_ERROR;
        return false;
    }
    return true;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

/// A length must be a number and stand only once: what else a sender may mean by it is anybody's guess.
bool acceptLength(Transfer& transfer, const char* value, const char* end)
{
    while (value != end && isBlank(*value))
        ++value;
    while (value != end && isBlank(end[-1]))
        --end;
    const bool isNumber = value != end && std::all_of(value, end, [](char c) { return c >= '0' && c <= '9'; });
    if (!isNumber || transfer.lengthSeen) {
        transfer.failure = SESSION_PROTOCOL_ERROR;
        return false;
    }
    // libcurl passes over a number that it cannot hold.
    constexpr std::ptrdiff_t MAX_DIGITS = 18;
    if (end - value > MAX_DIGITS) {
        transfer.failure = SESSION_TOO_LARGE;
        return false;
    }
    transfer.lengthSeen = true;
    return true;
}

/// True when a line begins with a text, whatever the case of its letters. The text is in lower case.
template <std::size_t Size> bool begins(const char* line, std::size_t size, const char (&text)[Size])
{
    if (size < Size - 1)
        return false;
    for (std::size_t i = 0; i < Size - 1; ++i)
        if ((line[i] | 0x20) != text[i])
            return false;
    return true;
}

/// Takes one line of a reply's head. False: the transfer must stop.
bool takeHeaderLine(HttpRequest::Impl& impl, const char* line, std::size_t size)
{
    static constexpr char LENGTH[] = "content-length:";
    Transfer& transfer = impl.transfer;
    transfer.headerBytes += size;
    if (transfer.headerBytes > transfer.options->values().maxHeaderBytes) {
        transfer.failure = SESSION_TOO_LARGE;
        return false;
    }
    if (isBlank(*line))
        transfer.headEnded = true;
    else if (begins(line, size, "http/"))
        transfer.headEnded = transfer.lengthSeen = false;
    else if (begins(line, size, LENGTH))
        return acceptLength(transfer, line + sizeof LENGTH - 1, line + size);
    return true;
}

/// Sets a hop up on the request's handle. Nothing else of the handle differs from one hop to the next.
bool beginHop(HttpRequest::Impl& impl, Clock::time_point now)
{
    Transfer& transfer = impl.transfer;
    transfer.body = Transfer::Body::UNDECIDED;
    transfer.bodyBytes = 0;
    transfer.headEnded = transfer.lengthSeen = false;
    transfer.lastLook = now;
    transfer.lastFastEnough = now;

    CURL* const curl = impl.easy->curl;
    const long totalMs = transfer.options->values().totalTimeoutMs;
    if (totalMs > 0) {
        const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(now - transfer.started).count();
        // 0 would mean no limit; libcurl finds a single millisecond exceeded soon enough.
        curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, std::max(totalMs - static_cast<long>(passed), 1L));
    }
    curl_easy_setopt(curl, CURLOPT_FRESH_CONNECT, transfer.mustConnect ? 1L : 0L);
    const STRING& url = transfer.wireUrl.empty() ? impl.url : transfer.wireUrl;
    return setUrl(impl, url) && setHeader(impl);
}

/// Follows a redirect. SESSION_DONE: the next hop is set up.
SESSION_STATUS redirect(HttpRequest::Impl& impl, const char* location, Clock::time_point now)
{
    Transfer& transfer = impl.transfer;
    const STRING base = transfer.wireUrl.empty() ? impl.url : transfer.wireUrl;
    std::string target;
    if (++transfer.redirects > transfer.options->values().maxRedirects || !resolveRedirect(base, location, target))
        return SESSION_PROTOCOL_ERROR;
    // What the caller wrote into the fields is meant for the host that it named, and for no other.
    transfer.foreign = transfer.foreign || !sameOrigin(base, target);
    transfer.wireUrl = std::move(target);
    transfer.mustConnect = false;
    return beginHop(impl, now) ? SESSION_DONE : SESSION_NOT_CREATED;
}

/// Fills the response from a reply that arrived whole.
SESSION_STATUS deliver(HttpRequest::Impl& impl, long code)
{
    Transfer& transfer = impl.transfer;
    // libcurl is content with the end of the connection in the middle of the head.
    if (!transfer.headEnded)
        return SESSION_CUT_OFF;
    if (transfer.body == Transfer::Body::UNDECIDED && !decideBody(impl))
        return transfer.failure;
    const char* contentType = nullptr;
    curl_easy_getinfo(impl.easy->curl, CURLINFO_CONTENT_TYPE, &contentType);
    impl.response.setHttpResponseCode(static_cast<HTTP_RESPONSE_CODE>(code));
    impl.response.setContentType(contentType ? contentType : "");
    // Last, since nothing may fail once the file is there.
    return transfer.body == Transfer::Body::FILE && !transfer.file.publish() ? SESSION_FILE_ERROR : SESSION_DONE;
}

/// Why a hop failed.
SESSION_STATUS failureOf(HttpRequest::Impl& impl, CURLcode result)
{
    const Transfer& transfer = impl.transfer;
    if (transfer.failure != SESSION_DONE)
        return transfer.failure;
    // libcurl has no memory for a line of more than 100 kB.
    if (result == CURLE_OUT_OF_MEMORY && transfer.headerBytes > 0 && transfer.body == Transfer::Body::UNDECIDED)
        return SESSION_TOO_LARGE;
    // Nobody cancelled, so it was the reading of a form's file that gave up.
    if (result == CURLE_ABORTED_BY_CALLBACK && impl.form)
        return SESSION_FILE_ERROR;
    return sessionStatusOf(result);
}

} // namespace

std::size_t onBody(char* data, std::size_t, std::size_t size, void* user) noexcept
{
    HttpRequest::Impl& impl = static_cast<EasyHandle*>(user)->request->impl();
    try {
        return takeBody(impl, data, size) ? size : 0;
    } catch (const std::exception&) {
        impl.transfer.failure = SESSION_NOT_CREATED;
        return 0;
    }
}

std::size_t onHeaderLine(char* line, std::size_t, std::size_t size, void* user) noexcept
{
    return takeHeaderLine(static_cast<EasyHandle*>(user)->request->impl(), line, size) ? size : 0;
}

int onSocket(void* user, curl_socket_t socket, curlsocktype) noexcept
{
    static_cast<EasyHandle*>(user)->lastSocket = socket;
    return CURL_SOCKOPT_OK;
}

int onConnected(void* user, char*, char*, int remotePort, int localPort) noexcept
{
    EasyHandle& easy = *static_cast<EasyHandle*>(user);
    Transfer& transfer = easy.request->impl().transfer;
    long fresh = 0;
    curl_easy_getinfo(easy.curl, CURLINFO_NUM_CONNECTS, &fresh);
    try {
        if (fresh > 0) {
            easy.connections->add(easy.lastSocket, localPort, remotePort);
        } else if (!transfer.mustConnect && easy.connections->isUsedUp(localPort, remotePort)) {
            transfer.mustConnect = true;
            return CURL_PREREQFUNC_ABORT;
        }
    } catch (const std::bad_alloc&) {
        // The connection serves as well unknown.
    }
    return CURL_PREREQFUNC_OK;
}

int onProgress(void* user, curl_off_t downTotal, curl_off_t down, curl_off_t upTotal, curl_off_t up) noexcept
{
    HttpRequest::Impl& impl = static_cast<EasyHandle*>(user)->request->impl();
    Transfer& transfer = impl.transfer;
    transfer.bytesMoved = static_cast<std::uint64_t>(down) + static_cast<std::uint64_t>(up) + transfer.headerBytes;
    if (transfer.body != Transfer::Body::NOWHERE) {
        const bool uploads = impl.type == HTTP_REQUEST_POST && upTotal > 0;
        impl.bytesDone.store(static_cast<double>(uploads ? up : down), std::memory_order_relaxed);
        impl.bytesTotal.store(static_cast<double>(uploads ? upTotal : downTotal), std::memory_order_relaxed);
    }
    return impl.cancelled.load(std::memory_order_relaxed) ? 1 : 0;
}

SESSION_STATUS beginTransfer(HttpRequest& request, Connections& connections, Clock::time_point now) noexcept
{
    HttpRequest::Impl& impl = request.impl();
    Transfer& transfer = impl.transfer;
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
                status = deliver(impl, code);
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
    Transfer& transfer = impl.transfer;
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
