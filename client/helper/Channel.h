// SPDX-License-Identifier: MIT
/// \file Messages over a socket.
#ifndef KINLOOM_CLIENT_CHANNEL_H
#define KINLOOM_CLIENT_CHANNEL_H

#include "core/Descriptor.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace kinloom {

/// One end of a stream socket on which each message stands behind its length. One thread sends at a time, and one receives.
class Channel {
public:
    /// The longest message; a longer one is broken, or was never a message.
    static constexpr std::size_t LONGEST = 256U << 20;

    explicit Channel(client::Descriptor socket);

    int descriptor() const { return m_socket.get(); }

    /// Sends a message whole. \return false when the other end has gone, or does not take it for a long time.
    bool send(std::string_view message);

    enum class Received {
        MESSAGE,
        NOTHING, ///< not a whole message yet; poll() tells when there is more
        GONE,    ///< the other end has closed
        BROKEN,  ///< a message that is too long
    };
    /// Takes the next message that has arrived. Does not wait.
    Received receive(std::string& message);

private:
    client::Descriptor m_socket;
    std::string m_buffer;
};

} // namespace kinloom

#endif
