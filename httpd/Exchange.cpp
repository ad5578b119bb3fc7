// SPDX-License-Identifier: MIT
#include "httpd/Exchange.h"

#include "httpd/Address.h"
#include "httpd/Framing.h"
#include "httpd/Sending.h"

#include <cassert>
#include <sys/socket.h>

namespace httpd {

namespace {

MHD_Result addHeader(void* context, MHD_ValueKind, const char* name, std::size_t nameSize, const char* value, std::size_t valueSize)
{
    auto& headers = *static_cast<std::vector<Header>*>(context);
    headers.push_back({std::string(name, nameSize), value == nullptr ? std::string() : std::string(value, valueSize)});
    return MHD_YES;
}

/// Ends a connection with a reset.
void resetConnection(int socket)
{
    // Connecting to nowhere takes a stream socket out of its connection at once, with a reset where anything was established.
    sockaddr nowhere{};
    nowhere.sa_family = AF_UNSPEC;
    ::connect(socket, &nowhere, sizeof nowhere);
}

} // namespace

Exchange::Exchange(Serving& serving, std::string target) : m_serving(serving) { m_head.target = std::move(target); }

Exchange::~Exchange()
{
    if (!m_connection)
        return; // the headers never became whole
    if (m_timeoutOff)
        MHD_set_connection_option(m_mhd, MHD_CONNECTION_OPTION_TIMEOUT, idleSeconds(m_serving.limits));
    m_decision.reset();
    m_reply.reset();
    m_serving.handler.ended(m_head, m_status, std::chrono::steady_clock::now() - m_begun);
    m_serving.watch.requestEnded(m_connection->socket());
}

MHD_Result Exchange::handle(MHD_Connection* connection, const char* method, const char* data, std::size_t* size)
{
    m_mhd = connection;
    try {
        if (m_stage == Stage::HEAD)
            return begin(method);
        if (*size != 0) {
            const std::string_view piece(data, *size);
            *size = 0;
            return take(piece);
        }
        if (m_stage == Stage::BODY)
            guarded([&] { finish(); });
        return send(m_closeAfter);
    } catch (...) {
        // Not even a refusal could be made. The library is C, and is only told to close the connection.
        return MHD_NO;
    }
}

/// Runs a step of the handler, which should not throw.
template <typename Step> void Exchange::guarded(Step step)
{
    try {
        step();
    } catch (...) {
        refuse({MHD_HTTP_INTERNAL_SERVER_ERROR, "The server has failed."});
    }
}

MHD_Result Exchange::begin(const char* method)
{
    readHead(method);
    m_serving.watch.requestBegun(m_connection->socket());
    check();
    if (!m_reply)
        guarded([&] { decide(); });
    if (m_decision && std::holds_alternative<Reset>(m_decision->what)) {
        resetConnection(m_connection->socket());
        return MHD_NO;
    }
    const bool tooLarge = m_head.bodySize && static_cast<std::uint64_t>(*m_head.bodySize) > m_dropLimit;
    if (m_reply && (m_closeAfter || tooLarge))
        return send(true);
    m_stage = m_reply ? Stage::DROPPING_BODY : Stage::BODY;
    return MHD_YES;
}

void Exchange::readHead(const char* method)
{
    m_head.method = method;
    m_head.address = addressText(MHD_get_connection_info(m_mhd, MHD_CONNECTION_INFO_CLIENT_ADDRESS)->client_addr);
    MHD_get_connection_values_n(m_mhd, MHD_HEADER_KIND, &addHeader, &m_head.headers);
    const int socket = MHD_get_connection_info(m_mhd, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
    m_connection.emplace(socket, m_serving.watch, m_serving.closing);
}

/// What must hold before the handler is asked. After a request whose end is in doubt the connection is closed: what follows on it
/// might be taken for the next request.
void Exchange::check()
{
    const Framing framing = readFraming(m_head.headers);
    if (framing.error != nullptr) {
        m_closeAfter = true;
        return refuse({MHD_HTTP_BAD_REQUEST, framing.error});
    }
    if (MHD_get_connection_info(m_mhd, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE)->header_size > m_serving.limits.headerBytes) {
        m_closeAfter = true;
        return refuse({MHD_HTTP_REQUEST_HEADER_FIELDS_TOO_LARGE, "The headers are too large."});
    }
    m_head.bodySize = framing.bodySize;
    m_serving.watch.transferring(m_connection->socket(), m_head.bodySize.value_or(m_serving.limits.chunkedBytes));
    if (!m_serving.rate.admit(m_head.address))
        refuse({MHD_HTTP_TOO_MANY_REQUESTS, "Too many requests from this address."});
}

MHD_Result Exchange::take(std::string_view piece)
{
    if (m_stage == Stage::BODY)
        guarded([&] { feed(piece); });
    else
        m_dropped += piece.size();
    return m_dropped > m_dropLimit ? MHD_NO : MHD_YES;
}

void Exchange::decide()
{
    m_decision.emplace(m_serving.handler.decide(m_head, *m_connection));
    m_dropLimit = m_decision->dropLimit;
    if (auto* const reply = std::get_if<Reply>(&m_decision->what))
        answer(std::move(*reply));
    else if (auto* const body = std::get_if<BodyInMemory>(&m_decision->what))
        collect(*body, {});
}

void Exchange::feed(std::string_view data)
{
    if (auto* const body = std::get_if<BodyInMemory>(&m_decision->what))
        collect(*body, data);
    else if (auto reply = std::get<std::unique_ptr<BodySink>>(m_decision->what)->feed(data))
        answer(std::move(*reply));
}

/// Adds to a body in memory, and refuses the body as soon as it is known to be too large.
void Exchange::collect(BodyInMemory& body, std::string_view data)
{
    const auto announced = static_cast<std::uint64_t>(m_head.bodySize.value_or(0));
    if (announced <= body.limit && m_body.size() + data.size() <= body.limit)
        m_body += data;
    else if (body.tooLarge)
        answer(body.tooLarge());
    else
        refuse({MHD_HTTP_CONTENT_TOO_LARGE, "The request is too large."});
}

void Exchange::finish()
{
    if (auto* const body = std::get_if<BodyInMemory>(&m_decision->what))
        answer(body->handle(std::move(m_body)));
    else
        answer(std::get<std::unique_ptr<BodySink>>(m_decision->what)->finish());
}

void Exchange::refuse(const Refusal& refusal)
{
    try {
        answer(m_serving.handler.refusal(m_head, refusal));
    } catch (...) {
        answer(m_serving.handler.Handler::refusal(m_head, refusal));
    }
}

/// Settles what the request is answered with. What took its body goes now: what it holds is free before the client sees the reply.
void Exchange::answer(Reply reply)
{
    m_reply = std::move(reply);
    m_stage = Stage::DROPPING_BODY;
    m_decision.reset();
}

MHD_Result Exchange::send(bool close)
{
    m_stage = Stage::DONE;
    assert(m_reply);
    m_status = m_reply->status;
    m_timeoutOff = std::holds_alternative<StreamBody>(m_reply->body);
    return Sender(m_mhd, *m_connection, m_serving.watch).send(*m_reply, close);
}

} // namespace httpd
