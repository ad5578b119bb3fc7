// SPDX-License-Identifier: MIT
#include "httpd/Session.h"

#include "httpd/Address.h"
#include "httpd/Text.h"

namespace httpd {

void Session::run()
{
    if (!m_transport.open())
        return;
    for (;;) {
        Incoming incoming;
        incoming.head.address = m_peer.address;
        incoming.head.port = m_peer.port;
        incoming.head.scheme = m_transport.scheme();
        incoming.head.connection = authorityOf(m_peer.address, m_peer.port) + "#" + std::to_string(m_peer.number);
        if (!readHead(incoming))
            return;
        bool goesOn = false;
        bool reset = false;
        {
            Exchange exchange(m_serving, m_transport, m_intake, std::move(incoming));
            goesOn = exchange.run();
            reset = exchange.isReset();
        }
        if (reset)
            return;
        if (!goesOn)
            return m_transport.finish();
    }
}

/// \return false when the client has gone before its request had a head.
bool Session::readHead(Incoming& incoming)
{
    using State = HeadScanner::State;
    HeadScanner scanner;
    State state = State::INCOMPLETE;
    const std::size_t limit = m_serving.limits.headerBytes;
    while (m_intake.bytes().empty()) {
        // The server ends connections between two requests, and lets those finish that have begun.
        if (!m_intake.fill(&m_serving.closing))
            return false;
    }
    incoming.begun = std::chrono::steady_clock::now();
    for (;;) {
        const std::string_view there = m_intake.bytes().substr(0, limit);
        // Whoever begins otherwise speaks something else, and may go on for long without the end of a line.
        const bool begins = there.front() == '\r' || there.front() == '\n' || isToken(there.substr(0, 1));
        state = begins ? scanner.scan(there) : State::BROKEN;
        if (state != State::INCOMPLETE || there.size() == limit)
            break;
        if (!m_intake.fill())
            return false;
    }
    const std::string_view head = m_intake.bytes().substr(0, scanner.size());
    incoming.fault = parseHead(head, incoming.head, incoming.traits);
    if (state == State::BROKEN)
        incoming.fault = Refusal{400, "A line does not end as lines do."};
    else if (state == State::INCOMPLETE)
        incoming.fault = Refusal{431, "The headers are too large."};
    m_intake.take(scanner.size());
    return true;
}

} // namespace httpd
