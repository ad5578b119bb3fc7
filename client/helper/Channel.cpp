// SPDX-License-Identifier: MIT
#include "helper/Channel.h"

#include "helper/Codec.h"

#include <cerrno>
#include <sys/socket.h>
#include <sys/time.h>

namespace kinloom {

namespace {

constexpr std::size_t LENGTH_BYTES = 4;
/// How long the other end may leave what is sent to it.
constexpr timeval SEND_TIME{30, 0};

} // namespace

Channel::Channel(client::Descriptor socket) : m_socket(std::move(socket))
{
    setsockopt(m_socket.get(), SOL_SOCKET, SO_SNDTIMEO, &SEND_TIME, sizeof SEND_TIME);
}

bool Channel::send(std::string_view message)
{
    if (message.size() > LONGEST)
        return false;
    Writer writer;
    writer.text(message);
    const std::string frame = writer.take();
    std::string_view rest = frame;
    while (!rest.empty()) {
        const ssize_t count = ::send(m_socket.get(), rest.data(), rest.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

Channel::Received Channel::receive(std::string& message)
{
    while (true) {
        if (m_buffer.size() >= LENGTH_BYTES) {
            Reader reader(m_buffer);
            const std::uint64_t length = reader.number(LENGTH_BYTES);
            if (length > LONGEST)
                return Received::BROKEN;
            const std::size_t end = LENGTH_BYTES + static_cast<std::size_t>(length);
            if (m_buffer.size() >= end) {
                message = m_buffer.substr(LENGTH_BYTES, end - LENGTH_BYTES);
                m_buffer.erase(0, end);
                return Received::MESSAGE;
            }
        }
        char block[64 << 10];
        const ssize_t count = recv(m_socket.get(), block, sizeof block, MSG_DONTWAIT);
        if (count > 0)
            m_buffer.append(block, static_cast<std::size_t>(count));
        else if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return Received::NOTHING;
        else if (count == 0 || errno != EINTR)
            return Received::GONE;
    }
}

} // namespace kinloom
