// SPDX-License-Identifier: MIT
#include "http/Reception.h"

#include "http/Connections.h"
#include "http/Events.h"
#include "http/Options.h" // IWYU pragma: keep -- whose values are read through the request
#include "http/RequestImpl.h"
#include "http/Url.h"
#include "whost/HttpOptions.h"

#include <algorithm>
#include <new>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// The most memory that is reserved for a payload because of its Content-Length, before the payload is there.
constexpr std::uint64_t MAX_RESERVED = 16u << 20;

constexpr bool isSuccess(long code) { return code >= 200 && code < 300; }

/// The limit on the present reply's body; 0: none.
std::uint64_t bodyLimit(const HttpRequest::Impl& impl)
{
    const HttpOptions& options = impl.transfer.options->values();
    const std::uint64_t limit =
        impl.transfer.body == TransferState::Body::FILE ? options.maxFileBody : std::max<std::uint64_t>(options.maxMemoryBody, 1);
    // What a refusal says is no part of what was asked for.
    if (impl.bodyLimit == 0 || !isSuccess(responseCode(impl.easy->curl)))
        return limit;
    return limit == 0 ? impl.bodyLimit : std::min(limit, impl.bodyLimit);
}

/// Decides where the body of a reply goes, when its header fields are in. False: the transfer must stop.
bool decideBody(HttpRequest::Impl& impl)
{
    TransferState& transfer = impl.transfer;
    CURL* const curl = impl.easy->curl;
    const long code = responseCode(curl);
    if (redirectLocation(impl, code))
        transfer.body = TransferState::Body::NOWHERE;
    else if (impl.type == HTTP_REQUEST_GET && !impl.path.empty() && isSuccess(code))
        transfer.body = TransferState::Body::FILE;
    else
        transfer.body = TransferState::Body::MEMORY;

    curl_off_t length = -1;
    curl_easy_getinfo(curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    const std::uint64_t expected = length > 0 ? static_cast<std::uint64_t>(length) : 0;
    const std::uint64_t limit = bodyLimit(impl);
    if (limit != 0 && expected > limit) {
        transfer.failure = SESSION_TOO_LARGE;
        return false;
    }
    if (transfer.body == TransferState::Body::FILE && !transfer.file.open(impl.path)) {
        transfer.failure = SESSION_FILE_ERROR;
        return false;
    }
    if (transfer.body == TransferState::Body::MEMORY)
        impl.response.payload().reserve(std::min(expected, MAX_RESERVED));
    return true;
}

/// Takes a piece of a body, decoded. False: the transfer must stop.
bool takeBody(HttpRequest::Impl& impl, const char* data, std::size_t size)
{
    TransferState& transfer = impl.transfer;
    if (transfer.body == TransferState::Body::UNDECIDED && !decideBody(impl))
        return false;
    const std::uint64_t limit = bodyLimit(impl);
    if (limit != 0 && size > limit - transfer.bodyBytes) {
        transfer.failure = SESSION_TOO_LARGE;
        return false;
    }
    transfer.bodyBytes += size;
    if (transfer.body == TransferState::Body::MEMORY)
        impl.response.payload().append(data, size);
    if (transfer.body == TransferState::Body::FILE && !transfer.file.write(data, size)) {
        transfer.failure = SESSION_FILE_ERROR;
        return false;
    }
    return true;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

/// A Content-Length must be a number and stand only once: where the body ends would be ambiguous otherwise.
bool acceptLength(TransferState& transfer, const char* value, const char* end)
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
    // libcurl ignores a number that is too large for it.
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

/// Scheme and authority without the name and the password that may stand in it.
std::string withoutSignIn(std::string origin)
{
    const std::size_t begin = origin.find("//") + 2;
    const std::size_t sign = origin.rfind('@');
    return sign == std::string::npos ? origin : origin.erase(begin, sign + 1 - begin);
}

/// Has the program told when credentials are about to be sent as they are.
void tellPlain(const HttpRequest::Impl& impl, const char* address)
{
    const TransferState& transfer = impl.transfer;
    const STRING& url = transfer.wireUrl.empty() ? impl.url : transfer.wireUrl;
    const std::shared_ptr<const HttpEvents> events = currentEvents();
    if (!events || !events->unencrypted || isEncrypted(url) || transfer.foreign)
        return;
    if (isSigned(impl))
        events->unencrypted({withoutSignIn(url.substr(0, originLength(url))), address, !transfer.options->values().proxy.empty()});
}

/// Takes one line of a reply's head. False: the transfer must stop.
bool takeHeaderLine(HttpRequest::Impl& impl, const char* line, std::size_t size)
{
    static constexpr char LENGTH[] = "content-length:";
    TransferState& transfer = impl.transfer;
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

} // namespace

bool isSigned(const HttpRequest::Impl& impl)
{
    const auto& fields = impl.header.fields();
    return std::any_of(fields.begin(), fields.end(),
                       [](const auto& field) { return curl_strequal(field.first.c_str(), "Authorization") != 0; });
}

long responseCode(CURL* curl)
{
    long code = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &code);
    return code;
}

const char* redirectLocation(const HttpRequest::Impl& impl, long code)
{
    const bool redirects = code == 301 || code == 302 || code == 303 || code == 307 || code == 308;
    if (!redirects || impl.type != HTTP_REQUEST_GET)
        return nullptr;
    curl_header* location = nullptr;
    return curl_easy_header(impl.easy->curl, "Location", 0, CURLH_HEADER, -1, &location) == CURLHE_OK ? location->value : nullptr;
}

void beginReply(TransferState& transfer)
{
    transfer.body = TransferState::Body::UNDECIDED;
    transfer.bodyBytes = 0;
    transfer.headEnded = transfer.lengthSeen = false;
}

SESSION_STATUS endReply(HttpRequest::Impl& impl, long code)
{
    TransferState& transfer = impl.transfer;
    // libcurl takes a connection that ends in the middle of the head for a whole reply.
    if (!transfer.headEnded)
        return SESSION_CUT_OFF;
    if (transfer.body == TransferState::Body::UNDECIDED && !decideBody(impl))
        return transfer.failure;
    const char* contentType = nullptr;
    curl_easy_getinfo(impl.easy->curl, CURLINFO_CONTENT_TYPE, &contentType);
    impl.response.setHttpResponseCode(static_cast<HTTP_RESPONSE_CODE>(code));
    impl.response.setContentType(contentType ? contentType : "");
    // Last, since nothing may fail once the file is there.
    return transfer.body == TransferState::Body::FILE && !transfer.file.publish() ? SESSION_FILE_ERROR : SESSION_DONE;
}

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

int onConnected(void* user, char* remoteAddress, char*, int remotePort, int localPort) noexcept
{
    EasyHandle& easy = *static_cast<EasyHandle*>(user);
    TransferState& transfer = easy.request->impl().transfer;
    long fresh = 0;
    curl_easy_getinfo(easy.curl, CURLINFO_NUM_CONNECTS, &fresh);
    // A POST that has gone out may have had its effect.
    if (transfer.connected && easy.request->impl().type == HTTP_REQUEST_POST) {
        transfer.failure = SESSION_CUT_OFF;
        return CURL_PREREQFUNC_ABORT;
    }
    try {
        if (fresh > 0) {
            easy.connections->add(easy.lastSocket, localPort, remotePort);
        } else if (!transfer.mustConnect && easy.connections->isUsedUp(localPort, remotePort)) {
            transfer.mustConnect = transfer.usedUp = true;
            return CURL_PREREQFUNC_ABORT;
        }
        tellPlain(easy.request->impl(), remoteAddress);
    } catch (const std::bad_alloc&) {
        // A connection that is not known is used without being checked, and without memory nobody is told of it.
    }
    transfer.connected = true;
    return CURL_PREREQFUNC_OK;
}

int onProgress(void* user, curl_off_t downTotal, curl_off_t down, curl_off_t upTotal, curl_off_t up) noexcept
{
    HttpRequest::Impl& impl = static_cast<EasyHandle*>(user)->request->impl();
    TransferState& transfer = impl.transfer;
    transfer.bytesMoved = static_cast<std::uint64_t>(down) + static_cast<std::uint64_t>(up) + transfer.headerBytes;
    if (transfer.body != TransferState::Body::NOWHERE) {
        const bool uploads = impl.type == HTTP_REQUEST_POST && upTotal > 0;
        // In this order, and read in the other one: who sees bytes sees of how many they are.
        impl.bytesTotal.store(static_cast<double>(uploads ? upTotal : downTotal), std::memory_order_relaxed);
        impl.bytesDone.store(static_cast<double>(uploads ? up : down), std::memory_order_release);
    }
    return impl.cancelled.load(std::memory_order_relaxed) ? 1 : 0;
}

} // namespace http
} // namespace W
