// SPDX-License-Identifier: MIT
/// \file The client's end of an encrypted connection, and certificates made at test time.
#ifndef TESTS_HTTPD_TLSCLIENT_H
#define TESTS_HTTPD_TLSCLIENT_H

#include "support/HttpConnection.h"

#include <memory>
#include <string>

namespace test {

/// Writes a certificate that signs itself, for 127.0.0.1 and localhost, and its key, both in PEM format.
/// \param name the certificate's common name.
void writeCertificate(const std::string& name, const std::string& certificateFile, const std::string& keyFile);

/// An encrypted connection to a server on this computer.
class TlsClient {
public:
    enum class Version { TLS1_1, TLS1_2, TLS1_3 };

    /// Connects, from that address of this computer where one is given, and agrees on that version at most. It trusts nobody and
    /// everybody: \c serverName tells whom it got. Throws std::runtime_error when nothing is agreed on.
    explicit TlsClient(const std::string& address, Version version = Version::TLS1_3, const char* source = nullptr);
    TlsClient(const TlsClient&) = delete;
    TlsClient& operator=(const TlsClient&) = delete;
    ~TlsClient();

    /// The common name of the server's certificate.
    std::string serverName() const;
    void send(std::string_view bytes);
    /// Reads one reply, whose length is announced. Its status is 0 when the connection ended before.
    HttpReply receive();

private:
    struct State;
    bool fill();

    HttpConnection m_connection;
    std::unique_ptr<State> m_state;
    std::string m_buffer;
};

} // namespace test

#endif
