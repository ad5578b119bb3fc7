// SPDX-License-Identifier: MIT
/// \file TLS in front of a server that speaks none.
#ifndef SUPPORT_TLSFRONT_H
#define SUPPORT_TLSFRONT_H

#include "support/Certificates.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace test {

/// Listens on a free port of 127.0.0.1, and passes what comes there through TLS on to a port of 127.0.0.1, and back.
class TlsFront {
public:
    enum class Versions {
        USUAL,
        OLD, ///< none newer than 1.1
    };

    /// \throw std::runtime_error when there is no port, or when the certificate cannot be used.
    TlsFront(std::uint16_t backend, const Certificate& certificate, Versions versions = Versions::USUAL);
    /// Closes all connections and joins all threads.
    ~TlsFront();
    TlsFront(const TlsFront&) = delete;
    TlsFront& operator=(const TlsFront&) = delete;

    std::uint16_t port() const;
    /// "https://HOST:PORT" with something behind it.
    std::string url(const std::string& host, const std::string& rest = "") const;
    /// How many connections have become encrypted, and the names that their clients asked for.
    std::vector<std::string> names() const;
    /// Bytes that clients have sent through.
    std::uint64_t received() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace test

#endif
