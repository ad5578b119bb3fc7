// SPDX-License-Identifier: MIT
#include "httpd/Exchange.h"

#include "httpd/Address.h"
#include "httpd/ChunkReader.h"
#include "httpd/Forwarding.h"
#include "httpd/Framing.h"
#include "httpd/Sending.h"

#include <algorithm>
#include <sys/socket.h>

namespace httpd {

namespace {

constexpr unsigned FIRST_REFUSAL = 400; ///< from this status on a request has brought its client nothing

/// Ends a connection with a reset.
void resetConnection(int socket)
{
    // Connecting to nowhere takes a stream socket out of its connection at once, with a reset where anything was established.
    sockaddr nowhere{};
    nowhere.sa_family = AF_UNSPEC;
    ::connect(socket, &nowhere, sizeof nowhere);
}

} // namespace

Exchange::Exchange(Serving& serving, Transport& transport, Intake& intake, Incoming incoming)
    : m_serving(serving),
      m_transport(transport),
      m_intake(intake),
      m_incoming(std::move(incoming)),
      m_head(m_incoming.head),
      m_connection(transport.socket(), serving.watch, serving.closing)
{
    m_serving.watch.requestBegun(transport.socket());
}

Exchange::~Exchange()
{
    m_decision.reset();
    m_reply.reset();
    m_serving.handler.ended(m_head, m_status, std::chrono::steady_clock::now() - m_incoming.begun);
    if (m_counted)
        m_serving.watch.forwardedEnded(m_network);
    m_serving.watch.requestEnded(m_transport.socket());
}

/// Runs a step of the handler, which should not throw.
template <typename Step> void Exchange::guarded(Step step)
{
    try {
        step();
    } catch (...) {
        refuse({500, "The server has failed."});
    }
}

bool Exchange::run()
{
    check();
    if (!m_reply)
        guarded([&] { decide(); });
    if (m_decision && std::holds_alternative<Reset>(m_decision->what)) {
        resetConnection(m_transport.socket());
        m_reset = true;
        return false;
    }
    if (m_decision && m_decision->known)
        m_serving.watch.worked(m_transport.socket());
    const bool tooLarge = m_head.bodySize && static_cast<std::uint64_t>(*m_head.bodySize) > m_dropLimit;
    // A client that waits for leave to send its body need not send it for nothing.
    const bool spared = m_incoming.traits.waits && m_head.bodySize != 0;
    if (m_reply && (m_closeAfter || tooLarge || spared))
        return send(true);
    if (!readBody())
        return m_reply && m_dropped > m_dropLimit && send(true);
    if (!m_reply)
        guarded([&] { finish(); });
    return send(m_closeAfter);
}

/// What must hold before the handler is asked. After a request whose end is in doubt the connection is closed: what follows on it
/// might be taken for the next request.
void Exchange::check()
{
    if (m_incoming.fault)
        return refuseForGood(*m_incoming.fault);
    const Framing framing = readFraming(m_head.headers);
    if (framing.error != nullptr)
        return refuseForGood({400, framing.error});
    // Versions before 1.1 know no chunks: some readers of such a request would not see where it ends.
    if (!framing.bodySize && !m_incoming.traits.chunks)
        return refuseForGood({400, "The transfer encoding is not known."});
    if (const char* const error = applyForwarding(m_head, m_serving.settings.trustedProxies); error != nullptr)
        return refuseForGood({400, error});
    m_head.bodySize = framing.bodySize;
    m_serving.watch.transferring(m_transport.socket(), m_head.bodySize.value_or(m_serving.limits.chunkedBytes));
    m_network = networkOf(m_head.address);
    m_counted = m_head.forwarded && m_serving.watch.forwardedBegun(m_network);
    if (m_head.forwarded && !m_counted)
        refuse({429, "Too many requests at a time from this address."});
    else if (!m_serving.rate.admit(m_network))
        refuse({429, "Too many requests from this address."});
}

void Exchange::decide()
{
    m_decision.emplace(m_serving.handler.decide(m_head, m_connection));
    m_dropLimit = m_decision->dropLimit;
    if (auto* const reply = std::get_if<Reply>(&m_decision->what))
        answer(std::move(*reply));
    else if (auto* const body = std::get_if<BodyInMemory>(&m_decision->what))
        collect(*body, {});
}

/// \return false when the rest of the body will not come, or is not waited for.
bool Exchange::readBody()
{
    const bool any = m_head.bodySize != 0;
    if (any && m_incoming.traits.waits && m_intake.bytes().empty() && !m_transport.write("HTTP/1.1 100 Continue\r\n\r\n"))
        return false;
    return m_head.bodySize ? readSized() : readChunks();
}

bool Exchange::readSized()
{
    auto left = static_cast<std::uint64_t>(*m_head.bodySize);
    while (left > 0) {
        const std::string_view there =
            m_intake.bytes().substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(left, SIZE_MAX)));
        if (there.empty()) {
            if (!m_intake.fill())
                return false;
            continue;
        }
        if (!take(there))
            return false;
        left -= there.size();
        m_intake.take(there.size());
    }
    return true;
}

bool Exchange::readChunks()
{
    ChunkReader reader;
    while (reader.state() == ChunkReader::State::MORE) {
        std::string_view rest = m_intake.bytes();
        if (rest.empty()) {
            if (!m_intake.fill())
                return false;
            continue;
        }
        const std::size_t there = rest.size();
        const std::string_view piece = reader.take(rest);
        if (!piece.empty() && !take(piece))
            return false;
        m_intake.take(there - rest.size());
    }
    if (reader.state() == ChunkReader::State::BROKEN)
        refuseForGood({400, "The body is not made of chunks."});
    return true;
}

/// \return false when too much has been dropped.
bool Exchange::take(std::string_view piece)
{
    if (m_stage == Stage::WANTED)
        guarded([&] { feed(piece); });
    else
        m_dropped += piece.size();
    return m_dropped <= m_dropLimit;
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
        refuse({413, "The request is too large."});
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

/// Refuses a request after which nothing can be read from the connection.
void Exchange::refuseForGood(const Refusal& refusal)
{
    m_closeAfter = true;
    refuse(refusal);
}

/// Settles what the request is answered with. What took its body goes now: what it holds is free before the client sees the reply.
void Exchange::answer(Reply reply)
{
    m_reply = std::move(reply);
    m_stage = Stage::DROPPED;
    m_decision.reset();
}

bool Exchange::send(bool close)
{
    m_status = m_reply->status;
    if (*m_status < FIRST_REFUSAL)
        m_serving.watch.worked(m_transport.socket());
    Sender::Manner manner;
    manner.close = close || !m_incoming.traits.persistent || !m_serving.closing.sleepFor(std::chrono::milliseconds(0));
    manner.headOnly = m_head.method == "HEAD";
    manner.chunks = m_incoming.traits.chunks;
    return Sender(m_transport, m_connection, m_serving.watch).send(*m_reply, manner);
}

} // namespace httpd
