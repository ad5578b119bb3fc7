// SPDX-License-Identifier: MIT
#include "server/Exchange.h"

#include "core/Text.h"
#include "operations/Authenticate.h"
#include "operations/Documents.h"
#include "server/Address.h"
#include "server/Sending.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstdio>
#include <cstring>
#include <sqlite3.h>
#include <system_error>

namespace kinloomd {

namespace {

constexpr std::size_t DROP_LIMIT = 1 << 20;
constexpr std::size_t UPLOAD_DROP_LIMIT = 64 << 20;

struct FramingHeaders {
    unsigned lengths = 0;
    unsigned encodings = 0;
    unsigned hosts = 0;
    unsigned authorizations = 0;
    std::string_view length;
    std::string_view encoding;
};

MHD_Result countHeader(void* context, MHD_ValueKind, const char* name, const char* value)
{
    auto& found = *static_cast<FramingHeaders*>(context);
    const std::string_view text = value == nullptr ? "" : value;
    if (equalsIgnoringCase(name, "Content-Length")) {
        ++found.lengths;
        found.length = text;
    } else if (equalsIgnoringCase(name, "Transfer-Encoding")) {
        ++found.encodings;
        found.encoding = text;
    } else if (equalsIgnoringCase(name, "Host")) {
        ++found.hosts;
    } else if (equalsIgnoringCase(name, "Authorization")) {
        ++found.authorizations;
    }
    return MHD_YES;
}

/// The failure that a client should be told of when the database refuses.
Failure failureOf(const SQLite::Exception& error)
{
    switch (error.getErrorCode()) {
    case SQLITE_FULL:
    case SQLITE_READONLY:
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
    case SQLITE_BUSY:
        return Failure::UNAVAILABLE;
    default:
        return Failure::INTERNAL;
    }
}

/// A client that takes this service for a proxy names scheme and host in the request line.
std::string_view withoutAuthority(std::string_view target)
{
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (target.substr(0, scheme.size()) == scheme) {
            const auto slash = target.find('/', scheme.size());
            return slash == std::string_view::npos ? std::string_view("/") : target.substr(slash);
        }
    }
    return target;
}

void complain(const char* what) { std::fprintf(stderr, "kinloomd: %s\n", what); }

/// Text of a client as it may stand in a line of the log.
std::string printable(const std::string& text)
{
    std::string line = cleanText(text);
    for (char& c : line)
        c = static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
    return line;
}

/// What the log may show of a target: keys of media addresses are secrets.
std::string withoutKey(const std::string& target)
{
    if (target.compare(0, 7, "/media/") != 0)
        return target;
    const auto key = target.find('/', 7);
    if (key == std::string::npos)
        return "/media/...";
    const auto end = target.find('/', key + 1);
    return target.substr(0, key) + "/..." + (end == std::string::npos ? std::string() : target.substr(end));
}

} // namespace

Exchange::Exchange(Service& service, Connections& connections, std::string target)
    : m_service(service), m_connections(connections), m_target(std::move(target)), m_begun(std::chrono::steady_clock::now())
{
}

Exchange::~Exchange()
{
    m_sink.reset();
    if (m_entered)
        m_connections.requestEnded(m_socket);
    if (!m_service.options().logRequests || m_request.method.empty())
        return;
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - m_begun;
    const std::string outcome = m_reply ? std::to_string(m_reply->status) : std::string("-");
    std::fprintf(stderr, "%s %s %s %s %.1fms\n", m_request.address.c_str(), printable(m_request.method).c_str(),
                 printable(withoutKey(m_target)).c_str(), outcome.c_str(), time.count());
}

MHD_Result Exchange::handle(MHD_Connection* connection, const char* method, const char* data, std::size_t* size)
{
    m_connection = connection;
    if (m_stage == Stage::HEADERS) {
        guarded([&] { begin(method); });
        if (m_fault && m_fault->reset) {
            resetConnection(m_socket);
            return MHD_NO;
        }
        if (m_reply && (m_closeAfter || m_announcedBody > static_cast<std::int64_t>(dropLimit()))) {
            m_stage = Stage::DONE;
            return sendReply(m_connection, *m_reply, m_fault, m_service.stopSignal(), m_connections, m_socket, true);
        }
        m_stage = m_reply ? Stage::DROPPING_BODY : Stage::BODY;
        return MHD_YES;
    }
    if (*size != 0) {
        const std::string_view piece(data, *size);
        *size = 0;
        if (m_stage == Stage::BODY)
            guarded([&] { feed(piece); });
        else
            m_dropped += piece.size();
        return m_dropped > dropLimit() ? MHD_NO : MHD_YES;
    }
    if (m_stage == Stage::BODY)
        guarded([&] { finish(); });
    m_stage = Stage::DONE;
    return sendReply(m_connection, *m_reply, m_fault, m_service.stopSignal(), m_connections, m_socket, m_closeAfter);
}

/// Runs a step; whatever it throws becomes the reply.
template <typename Step> void Exchange::guarded(Step step)
{
    try {
        step();
    } catch (const ServiceError& error) {
        refuse(error);
    } catch (const SQLite::Exception& error) {
        complain(error.what());
        refuse(ServiceError(failureOf(error)));
    } catch (const std::system_error& error) {
        // A file that cannot be written: no space, no permission, a failing disk.
        complain(error.what());
        refuse(ServiceError(Failure::UNAVAILABLE));
    } catch (const std::exception& error) {
        complain(error.what());
        refuse(ServiceError(Failure::INTERNAL));
    }
}

void Exchange::refuse(const ServiceError& error)
{
    m_sink.reset();
    const bool signIn = m_route.operation != nullptr && m_route.operation->access == Access::SIGN_IN;
    m_reply = failureReply(m_service.options().replyShape, error, signIn && describe(error.failure()).httpStatus == 403);
    if (error.failure() == Failure::NOT_SIGNED)
        m_reply->headers.emplace_back("WWW-Authenticate", "KL_AUTH_V1");
    if (error.failure() == Failure::WRONG_METHOD)
        m_reply->headers.emplace_back("Allow", allowedMethods(m_path));
    if (error.failure() == Failure::TOO_MANY_REQUESTS)
        m_reply->headers.emplace_back("Retry-After", "1");
    m_stage = Stage::DROPPING_BODY;
}

void Exchange::begin(const char* method)
{
    m_socket = MHD_get_connection_info(m_connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
    m_request.method = method;
    m_request.address = addressText(MHD_get_connection_info(m_connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS)->client_addr);
    m_request.header = [this](const char* name) { return header(name); };
    m_entered = true;
    m_connections.requestBegun(m_socket, 0);
    checkFraming();
    const std::int64_t expected =
        m_announcedBody < 0 ? static_cast<std::int64_t>(m_service.options().limits.formBytes) : m_announcedBody;
    m_connections.replying(m_socket, expected);
    if (!m_connections.admit(m_request.address))
        throw ServiceError(Failure::TOO_MANY_REQUESTS);
    readTarget();
    if (m_route.operation->access != Access::LOOPBACK_ONLY)
        m_fault = m_service.faults().take(m_route.operation->name);
    if (m_fault) {
        applyFault();
        if (m_reply || m_fault->reset)
            return;
    }
    chooseBaseUrl();
    m_request.caller = authenticate(m_service, m_request, m_route.operation->access);
    openBody();
}

void Exchange::readTarget()
{
    const std::string_view target = withoutAuthority(m_target);
    const auto question = target.find('?');
    m_path = target.substr(0, question);
    m_route = route(m_request.method, m_path);
    m_request.subject = m_route.subject;
    m_request.pieces = m_route.pieces;
    if (question != std::string_view::npos)
        m_request.query = decodeForm(target.substr(question + 1));
}

void Exchange::checkFraming()
{
    FramingHeaders found;
    MHD_get_connection_values(m_connection, MHD_HEADER_KIND, &countHeader, &found);
    m_closeAfter = true;
    // Two lengths, or a length beside chunks, mean that two readers could see two different requests.
    if (found.lengths > 1 || found.encodings > 1 || (found.lengths != 0 && found.encodings != 0))
        throw ServiceError(Failure::MALFORMED_REQUEST, "The request says more than once how long it is.");
    if (found.encodings != 0 && !equalsIgnoringCase(trim(found.encoding), "chunked"))
        throw ServiceError(Failure::MALFORMED_REQUEST, "The transfer encoding is not known.");
    if (found.hosts > 1 || found.authorizations > 1)
        throw ServiceError(Failure::MALFORMED_REQUEST, "A header is there twice.");
    const auto length = found.lengths == 0 ? std::int64_t{0} : parseSize(trim(found.length));
    if (!length)
        throw ServiceError(Failure::MALFORMED_REQUEST, "The content length is not a number.");
    if (MHD_get_connection_info(m_connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE)->header_size >
        m_service.options().limits.headerBytes)
        throw ServiceError(Failure::HEADERS_TOO_LARGE);
    m_closeAfter = false;
    m_announcedBody = found.encodings != 0 ? -1 : *length;
}

void Exchange::chooseBaseUrl()
{
    if (!m_service.options().publicUrl.empty()) {
        m_request.baseUrl = m_service.options().publicUrl;
        return;
    }
    // Clients may reach this service under a name that they route here themselves, so replies repeat the name that they used.
    const std::string host = header("Host").value_or("");
    if (!isHostHeader(host))
        throw ServiceError(Failure::MALFORMED_REQUEST, "The Host header is missing or malformed.");
    m_request.baseUrl = "http://" + host;
}

MHD_Result Exchange::applyFault()
{
    if (m_fault->delay.count() > 0) {
        m_connections.hold(m_socket);
        m_service.stopSignal().sleepFor(m_fault->delay);
    }
    if (m_fault->status) {
        m_reply = failureReply(m_service.options().replyShape, ServiceError(Failure::UNAVAILABLE, "This failure was asked for."));
        m_reply->status = *m_fault->status;
    }
    return MHD_YES;
}

void Exchange::openBody()
{
    if (m_route.operation->openBody != nullptr)
        m_sink = m_route.operation->openBody(m_service, m_request);
    else if (m_announcedBody > static_cast<std::int64_t>(bodyLimit()))
        throw ServiceError(Failure::TOO_LARGE);
}

void Exchange::feed(std::string_view data)
{
    if (m_sink) {
        m_sink->feed(data);
        return;
    }
    if (m_request.body.size() + data.size() > bodyLimit())
        throw ServiceError(Failure::TOO_LARGE);
    m_request.body += data;
}

void Exchange::finish()
{
    if (m_sink) {
        m_reply = m_sink->finish();
        m_sink.reset();
        return;
    }
    m_request.form = decodeForm(m_request.body);
    m_reply = m_route.operation->handle(m_service, m_request);
}

std::optional<std::string> Exchange::header(const char* name) const
{
    const char* value = nullptr;
    std::size_t length = 0;
    if (MHD_lookup_connection_value_n(m_connection, MHD_HEADER_KIND, name, std::strlen(name), &value, &length) != MHD_YES)
        return std::nullopt;
    return value == nullptr ? std::string() : std::string(value, length);
}

std::size_t Exchange::bodyLimit() const { return m_service.options().limits.formBytes; }

std::size_t Exchange::dropLimit() const
{
    const bool upload = m_route.operation != nullptr && m_route.operation->openBody != nullptr;
    return upload ? UPLOAD_DROP_LIMIT : DROP_LIMIT;
}

} // namespace kinloomd
