// SPDX-License-Identifier: MIT
#include "httpd/Connection.h"

#include "httpd/ConnectionWatch.h"
#include "httpd/StopSignal.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>

namespace httpd {

void Connection::hold() { m_watch.hold(m_socket); }

const Counters& Connection::counters() const { return m_watch.counters(); }

Connection::Event Connection::wait(int fd, std::chrono::milliseconds time) const
{
    using Clock = std::chrono::steady_clock;
    using std::chrono::milliseconds;
    const auto begun = Clock::now();
    for (;;) {
        const milliseconds passed = std::chrono::floor<milliseconds>(Clock::now() - begun);
        const milliseconds left = time < milliseconds(0) ? FOREVER : std::max(time - passed, milliseconds(0));
        pollfd events[] = {{m_closing.fd(), POLLIN, 0}, {m_socket, POLLRDHUP, 0}, {fd, POLLIN, 0}};
        const int ready = ::poll(events, 3, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (events[0].revents != 0)
            return Event::CLOSING;
        if (events[1].revents != 0)
            return Event::HUNG_UP;
        return ready == 0 ? Event::TIMED_OUT : Event::READABLE;
    }
}

} // namespace httpd
