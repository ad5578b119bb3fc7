// SPDX-License-Identifier: MIT
/// \file A way to a server that a test can cut.
#ifndef SUPPORT_TCPFRONT_H
#define SUPPORT_TCPFRONT_H

#include "support/Wait.h"

#include <cstdint>
#include <memory>
#include <string>

namespace test {

/// Listens on a free port of 127.0.0.1, and passes what comes there on to a port of 127.0.0.1, and back. All functions may be
/// called from any thread.
class TcpFront {
public:
    /// \throw std::runtime_error when there is no port.
    explicit TcpFront(std::uint16_t backend);
    /// Closes all connections and joins all threads.
    ~TcpFront();
    TcpFront(const TcpFront&) = delete;
    TcpFront& operator=(const TcpFront&) = delete;

    /// "http://127.0.0.1:PORT".
    std::string url() const;
    /// The server is away: all connections are cut, and those that come are too. Or it is there again.
    void setAway(bool away);
    /// It goes away once clients have sent so many more bytes, or were sent so many.
    void goAwayAfterSent(std::uint64_t bytes);
    void goAwayAfterReceived(std::uint64_t bytes);
    /// From now on the server's word is kept back; or what is said on connections to come is passed on again.
    void holdReplies(bool hold = true);
    /// \return false when nothing was kept back in time.
    bool waitForHeld(std::chrono::milliseconds patience = PATIENCE) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace test

#endif
