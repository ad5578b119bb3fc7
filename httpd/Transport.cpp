// SPDX-License-Identifier: MIT
#include "httpd/Transport.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

namespace httpd {

namespace {

constexpr std::chrono::milliseconds LINGER{2000};     ///< for a client to read its last reply
constexpr std::size_t LINGER_BYTES = 4 * 1024 * 1024; ///< that it may still be sending meanwhile
constexpr std::int64_t FILE_BLOCK = 1024 * 1024;

bool wouldBlock(int error) { return error == EAGAIN || error == EWOULDBLOCK; }

} // namespace

long Transport::tryRead(char* buffer, std::size_t size)
{
    for (;;) {
        const ssize_t count = ::recv(m_socket, buffer, size, 0);
        if (count >= 0)
            return count;
        if (errno != EINTR)
            return wouldBlock(errno) ? WANTS_READ : BROKEN;
    }
}

long Transport::tryWrite(std::string_view bytes, bool more)
{
    for (;;) {
        const ssize_t count = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | (more ? MSG_MORE : 0));
        if (count >= 0)
            return count;
        if (errno != EINTR)
            return wouldBlock(errno) ? WANTS_WRITE : BROKEN;
    }
}

bool Transport::await(long wanted, const StopSignal* until)
{
    if (wanted != WANTS_READ && wanted != WANTS_WRITE)
        return false;
    const short events = wanted == WANTS_READ ? POLLIN : POLLOUT;
    for (;;) {
        pollfd ends[] = {{m_socket, events, 0}, {until == nullptr ? -1 : until->fd(), POLLIN, 0}};
        const int ready = ::poll(ends, 2, static_cast<int>(m_idleTime.count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready == 0)
            ++m_counters.timedOut;
        return ready > 0 && ends[0].revents != 0;
    }
}

std::size_t Transport::read(char* buffer, std::size_t size, const StopSignal* until)
{
    while (!m_broken) {
        const long count = tryRead(buffer, size);
        if (count > 0) {
            m_counters.bytesReceived += static_cast<std::uint64_t>(count);
            return static_cast<std::size_t>(count);
        }
        if (!await(count, until))
            m_broken = count != 0; // A client that sends no more may still read.
        if (count == 0 || m_broken)
            return 0;
    }
    return 0;
}

bool Transport::write(std::string_view bytes, bool more)
{
    while (!bytes.empty() && !m_broken) {
        const long count = tryWrite(bytes, more);
        if (count > 0) {
            m_counters.bytesSent += static_cast<std::uint64_t>(count);
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (!await(count)) {
            m_broken = true;
        }
    }
    return !m_broken;
}

bool Transport::sendFile(int file, std::int64_t offset, std::int64_t length)
{
    off_t position = offset;
    while (length > 0 && !m_broken) {
        const ssize_t count = ::sendfile(m_socket, file, &position, static_cast<std::size_t>(std::min(length, FILE_BLOCK)));
        if (count > 0) {
            m_counters.bytesSent += static_cast<std::uint64_t>(count);
            length -= count;
        } else if (count == 0 || !(errno == EINTR || (wouldBlock(errno) && await(WANTS_WRITE)))) {
            m_broken = true;
        }
    }
    return !m_broken;
}

void Transport::finish()
{
    if (m_broken)
        return;
    sendEnd();
    ::shutdown(m_socket, SHUT_WR);
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + LINGER;
    char buffer[16 * 1024];
    for (std::size_t dropped = 0; dropped < LINGER_BYTES;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd event = {m_socket, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&event, 1, static_cast<int>(left.count())) <= 0)
            return;
        const ssize_t count = ::recv(m_socket, buffer, sizeof buffer, 0);
        if (count <= 0)
            return;
        dropped += static_cast<std::size_t>(count);
    }
}

} // namespace httpd
