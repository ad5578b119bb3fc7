// SPDX-License-Identifier: MIT
/// \file A client of raw sockets, which sends bytes as they are and reads whole replies.
#ifndef TESTS_SUPPORT_HTTPCONNECTION_H
#define TESTS_SUPPORT_HTTPCONNECTION_H

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace test {

/// A reply as it stood on the wire.
struct HttpReply {
    int status = 0;                             ///< 0 when there was none
    std::map<std::string, std::string> headers; ///< names in lower case
    std::string body;
    bool whole = false; ///< all of the body came

    std::string header(const std::string& name) const
    {
        const auto found = headers.find(name);
        return found == headers.end() ? std::string() : found->second;
    }
};

/// One TCP connection to a server on this computer. Reads give up after a minute without a byte.
class HttpConnection {
public:
    /// \param address a numeric address and a port, "127.0.0.1:8080" or "[::1]:8080". Throws std::runtime_error when there is
    /// no connection.
    /// \param source which of this computer's addresses it comes from; null leaves that to the system.
    explicit HttpConnection(const std::string& address, const char* source = nullptr);
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;
    ~HttpConnection();

    int socket() const { return m_socket; }
    /// Sends all of it. \return false when the other end does not take it.
    bool send(std::string_view bytes);
    /// Sends no more, and lets the other end know.
    void hangUp();

    /// Reads the status line and the headers of a reply. Those that only tell to go on are passed over.
    HttpReply receiveHead();
    /// Reads a reply that only tells to go on. \return its status, 0 when there was none.
    int receiveInterim();
    /// Reads one chunk of a body in chunks; empty for the last one. Nothing when the connection ends before it is whole.
    std::optional<std::string> receiveChunk();
    /// Reads one reply. \param headOnly there is no body, whatever the headers say.
    HttpReply receive(bool headOnly = false);

    /// Reads until the other end closes. \return false when it did not within that time.
    bool waitForClose(std::chrono::milliseconds time = std::chrono::milliseconds(60'000));
    /// The error that ended the last read: 0 for a close, ECONNRESET for a reset, ETIMEDOUT when nothing came.
    int lastError() const { return m_error; }

private:
    bool fill(std::chrono::milliseconds time = std::chrono::milliseconds(60'000));
    std::optional<std::string> takeLine();
    std::optional<std::string> takeBytes(std::size_t count);

    int m_socket = -1;
    int m_error = 0;
    std::string m_buffer;
};

} // namespace test

#endif
