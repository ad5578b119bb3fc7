// SPDX-License-Identifier: MIT
#include "httpd/Channel.h"

#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>

namespace httpd {

/// The client's end of a channel.
class Channel::Source : public BodySource {
public:
    explicit Source(std::shared_ptr<Channel> channel) : m_channel(std::move(channel)) {}
    ~Source() override
    {
        const std::lock_guard<std::mutex> lock(m_channel->m_mutex);
        m_channel->m_deserted = true;
        m_channel->m_waiting.clear();
    }

    std::int64_t read(char* buffer, std::size_t size, Connection& connection) override
    {
        for (;;) {
            if (const auto count = take(buffer, size); count != 0)
                return count;
            switch (connection.wait(m_channel->m_wake.get())) {
            case Connection::Event::CLOSING:
                return END;
            case Connection::Event::HUNG_UP:
                return BROKEN;
            default:
                break;
            }
        }
    }

private:
    /// \return what \c read returns, or 0 when there is nothing to read yet.
    std::int64_t take(char* buffer, std::size_t size)
    {
        const std::lock_guard<std::mutex> lock(m_channel->m_mutex);
        std::uint64_t wakings = 0;
        [[maybe_unused]] const ssize_t drained = ::read(m_channel->m_wake.get(), &wakings, sizeof wakings);
        if (m_channel->m_overrun)
            return BROKEN;
        std::string& waiting = m_channel->m_waiting;
        if (waiting.empty())
            return m_channel->m_ended ? END : 0;
        const std::size_t count = waiting.copy(buffer, size);
        waiting.erase(0, count);
        return static_cast<std::int64_t>(count);
    }

    std::shared_ptr<Channel> m_channel;
};

Channel::Channel(std::size_t limit) : m_limit(limit), m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_wake)
        throw std::system_error(errno, std::generic_category(), "cannot make an event descriptor");
}

StreamBody Channel::body(std::shared_ptr<Channel> channel) { return {std::make_unique<Source>(std::move(channel)), std::nullopt}; }

bool Channel::write(std::string_view bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_deserted || m_ended || m_overrun)
        return false;
    m_overrun = bytes.size() > m_limit - m_waiting.size();
    if (!m_overrun)
        m_waiting += bytes;
    wake();
    return !m_overrun;
}

void Channel::end()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ended = true;
    wake();
}

void Channel::wake() const
{
    const std::uint64_t one = 1;
    // It can only fail when the counter is full, and then it is readable already.
    [[maybe_unused]] const ssize_t written = ::write(m_wake.get(), &one, sizeof one);
}

} // namespace httpd
