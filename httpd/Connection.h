// SPDX-License-Identifier: MIT
/// \file The connection of a request, for those who keep its client waiting.
#ifndef HTTPD_CONNECTION_H
#define HTTPD_CONNECTION_H

#include <chrono>

namespace httpd {

class ConnectionWatch;
struct Counters;
class StopSignal;

/// Given to whoever handles a request, and good until the request ends. Only for the thread that it is given to.
class Connection {
public:
    /// What ended a wait.
    enum class Event {
        READABLE,  ///< the descriptor has something to read
        TIMED_OUT, ///< the time is over
        HUNG_UP,   ///< the client sends no more, and most likely reads no more either
        CLOSING,   ///< the server is being ended
    };
    static constexpr std::chrono::milliseconds FOREVER{-1};

    Connection(int socket, ConnectionWatch& watch, const StopSignal& closing) : m_socket(socket), m_watch(watch), m_closing(closing)
    {
    }

    /// The server itself keeps the client waiting: none of the client's time runs until the reply begins.
    void hold();

    /// Waits until a descriptor can be read. \param fd -1 waits for the other events alone.
    Event wait(int fd, std::chrono::milliseconds time = FOREVER) const;

    int socket() const { return m_socket; }
    /// What the server has done so far.
    const Counters& counters() const;

private:
    int m_socket;
    ConnectionWatch& m_watch;
    const StopSignal& m_closing;
};

} // namespace httpd

#endif
