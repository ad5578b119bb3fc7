// SPDX-License-Identifier: MIT
#include "httpd/StopSignal.h"

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>

namespace httpd {

StopSignal::StopSignal() : m_event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_event)
        throw std::system_error(errno, std::generic_category(), "cannot make an event descriptor");
}

void StopSignal::give()
{
    const std::uint64_t one = 1;
    // It can only fail when the counter is full, and then it is readable already.
    [[maybe_unused]] const ssize_t written = ::write(m_event.get(), &one, sizeof one);
}

bool StopSignal::sleepFor(std::chrono::milliseconds time) const
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + time;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd event = {m_event.get(), POLLIN, 0};
        const int ready = ::poll(&event, 1, left.count() > 0 ? static_cast<int>(left.count()) : 0);
        if (ready > 0)
            return false;
        if (ready == 0)
            return true;
    }
}

} // namespace httpd
