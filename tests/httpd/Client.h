// SPDX-License-Identifier: MIT
/// \file A client of raw sockets.
#ifndef TESTS_HTTPD_CLIENT_H
#define TESTS_HTTPD_CLIENT_H

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace httpd_test {

/// A reply as it stood on the wire.
struct Response {
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

/// One TCP connection to a server on this computer. Reads give up after ten seconds without a byte.
class Client {
public:
    /// \param address as Server::address tells it. Throws std::runtime_error when there is no connection.
    explicit Client(const std::string& address);
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client();

    /// Sends all of it. \return false when the other end does not take it.
    bool send(std::string_view bytes);
    /// Sends no more, and lets the other end know.
    void hangUp();

    /// Reads the status line and the headers of a reply.
    Response receiveHead();
    /// Reads one chunk of a body in chunks; empty for the last one. Nothing when the connection ends before it is whole.
    std::optional<std::string> receiveChunk();
    /// Reads one reply. \param headOnly there is no body, whatever the headers say.
    Response receive(bool headOnly = false);

    /// Reads until the other end closes. \return false when it did not within that time.
    bool waitForClose(std::chrono::milliseconds time = std::chrono::milliseconds(10'000));
    /// The error that ended the last read: 0 for a close, ECONNRESET for a reset, ETIMEDOUT when nothing came.
    int lastError() const { return m_error; }

private:
    bool fill(std::chrono::milliseconds time = std::chrono::milliseconds(10'000));
    std::optional<std::string> takeLine();
    std::optional<std::string> takeBytes(std::size_t count);

    int m_socket = -1;
    int m_error = 0;
    std::string m_buffer;
};

} // namespace httpd_test

#endif
