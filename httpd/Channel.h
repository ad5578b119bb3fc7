// SPDX-License-Identifier: MIT
/// \file A body that other threads write while it is sent, such as a stream of events.
///
///     auto events = std::make_shared<httpd::Channel>();
///     reply.contentType = "text/event-stream";
///     reply.body = httpd::Channel::body(events);
///     ...
///     if (!events->write("data: 7\n\n"))  // later, on any thread
///         forget(events);
#ifndef HTTPD_CHANNEL_H
#define HTTPD_CHANNEL_H

#include "httpd/Reply.h"

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace httpd {

/// Carries bytes from those who write them to the one client that reads them. Safe for several threads; nobody waits while writing.
class Channel {
public:
    static constexpr std::size_t LIMIT = 256 * 1024;

    /// \param limit how many bytes may wait for the client. Throws std::system_error when the system gives no descriptor.
    explicit Channel(std::size_t limit = LIMIT);

    /// The body that a client reads; for one reply only. It lasts until \c end, or until the server is being ended.
    static StreamBody body(std::shared_ptr<Channel> channel);

    /// Appends bytes. \return false when nobody will read them: the client has gone, the body has ended, or more would wait than
    /// may. In the last case the client is cut off, since it would miss something otherwise.
    bool write(std::string_view bytes);
    /// Nothing follows what has been written.
    void end();

private:
    class Source;

    void wake() const;

    const std::size_t m_limit;
    UniqueFd m_wake; ///< readable when there is something new for the source
    std::mutex m_mutex;
    std::string m_waiting;   // guarded by m_mutex
    bool m_ended = false;    // guarded by m_mutex
    bool m_overrun = false;  // guarded by m_mutex
    bool m_deserted = false; ///< the source is gone; guarded by m_mutex
};

} // namespace httpd

#endif
