// SPDX-License-Identifier: MIT
/// \file Encrypted connections. Of the library alone.
#ifndef HTTPD_TLS_H
#define HTTPD_TLS_H

#include "httpd/Settings.h"
#include "httpd/Transport.h"

#include <memory>
#include <mutex>

struct ssl_ctx_st;

namespace httpd {

/// The certificate of a server and its key. Safe for several threads.
class Tls {
public:
    /// Throws std::runtime_error, with a sentence that names the file, when they cannot be used.
    explicit Tls(TlsFiles files);

    /// Reads the files again. Connections that are open go on with what they began with. Throws as above, and then nothing changes.
    void reload();
    /// The server's end of a new connection.
    std::unique_ptr<Transport> accept(int socket, std::chrono::milliseconds idleTime, Counters& counters) const;

private:
    const TlsFiles m_files;
    mutable std::mutex m_mutex;
    std::shared_ptr<ssl_ctx_st> m_context; // guarded by m_mutex
};

} // namespace httpd

#endif
