// SPDX-License-Identifier: MIT
/// \file The bytes of a connection. Of the library alone.
#ifndef HTTPD_TRANSPORT_H
#define HTTPD_TRANSPORT_H

#include "httpd/Counters.h"
#include "httpd/StopSignal.h"
#include "httpd/UniqueFd.h"

#include <chrono>
#include <cstddef>
#include <string_view>

namespace httpd {

/// A socket that is read and written by one thread, which waits at most so long for each byte to move. A connection on which
/// nothing moved, or that has failed otherwise, stays broken.
class Transport {
public:
    /// \param socket must not block; owned by someone who keeps it open for as long. \param idleTime how long nothing may move.
    Transport(int socket, std::chrono::milliseconds idleTime, Counters& counters)
        : m_socket(socket), m_idleTime(idleTime), m_counters(counters)
    {
    }
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;
    virtual ~Transport() = default;

    int socket() const { return m_socket; }
    /// "http" or "https".
    virtual const char* scheme() const { return "http"; }
    /// What must be agreed on before the first byte. \return false when the client does not agree.
    virtual bool open() { return true; }

    /// Waits for bytes. \param until when given, a wait in which no byte has come ends with this signal too.
    /// \return how many came; 0 when none will.
    std::size_t read(char* buffer, std::size_t size, const StopSignal* until = nullptr);
    /// Sends all of it. \param more something follows at once. \return false when the client does not take it.
    bool write(std::string_view bytes, bool more = false);
    /// Sends so many bytes of a file, which must be there. \return false when the client does not take them.
    virtual bool sendFile(int file, std::int64_t offset, std::int64_t length);
    /// Lets the client know that nothing follows, and waits a moment for it to have read what it was sent: a socket that is closed
    /// with bytes unread takes from the client what is still on its way.
    void finish();

protected:
    /// What a step needs before it can go on, in place of a count.
    static constexpr long WANTS_READ = -1;
    static constexpr long WANTS_WRITE = -2;
    static constexpr long BROKEN = -3;

    /// One step without waiting: a count, 0 at the end, or one of the above.
    virtual long tryRead(char* buffer, std::size_t size);
    virtual long tryWrite(std::string_view bytes, bool more);
    /// The end of what is sent, before that of the socket.
    virtual void sendEnd() {}

    /// Waits for what a step wants. \return false when it does not come.
    bool await(long wanted, const StopSignal* until = nullptr);
    Counters& counters() { return m_counters; }

private:
    const int m_socket;
    const std::chrono::milliseconds m_idleTime;
    Counters& m_counters;
    bool m_broken = false;
};

} // namespace httpd

#endif
