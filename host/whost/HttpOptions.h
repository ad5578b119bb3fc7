// SPDX-License-Identifier: MIT
/// \file Limits and routes of the stand-alone host's HTTP client.
#ifndef WHOST_HTTPOPTIONS_H
#define WHOST_HTTPOPTIONS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace W {

/// Everything about the client that a host may want to set. The defaults suit a television on a home network.
struct HttpOptions {
    /// Where host names lead: lines "HOST:PORT:CONNECT-TO-HOST:CONNECT-TO-PORT" as curl's connect-to takes them; an empty HOST or
    /// PORT matches any. Source: CURLOPT_CONNECT_TO(3).
    std::vector<std::string> connectTo;

    /// Longest wait for a connection, name look-up included, in milliseconds.
    long connectTimeoutMs = 10'000;
    /// A transfer that moves fewer than stallBytesPerSecond for this many milliseconds ends with SESSION_TIMED_OUT; 0: never.
    long stallTimeoutMs = 30'000;
    long stallBytesPerSecond = 1;
    /// Longest duration of a whole transfer in milliseconds; 0: no limit.
    long totalTimeoutMs = 0;

    /// Redirects followed for a GET. A POST follows none.
    long maxRedirects = 5;

    /// Most bytes of a body kept in memory, counted after decoding; more ends with SESSION_TOO_LARGE.
    std::uint64_t maxMemoryBody = 64u << 20;
    /// Most bytes of a body written to a file; 0: no limit.
    std::uint64_t maxFileBody = 0;
    /// Most bytes of response header fields.
    std::size_t maxHeaderBytes = 256u << 10;

    /// Transfers that run at the same time; more wait in the queue.
    std::size_t maxTransfers = 64;
    /// Connections to one host at the same time; 0: no limit.
    long maxConnectionsPerHost = 0;
    /// Requests queued and running at the same time; more are refused.
    std::size_t maxRequests = 100'000;

    /// Buffers of transfers, in bytes.
    long downloadBufferBytes = 512 << 10;
    long uploadBufferBytes = 512 << 10;

    std::string userAgent = "whost/1";
    /// A proxy's URL; empty: none, whatever the environment says.
    std::string proxy;

    /// Origins that are led elsewhere over TLS: lines "http[s]://HOST[:PORT]=https://HOST[:PORT]". A request, or a redirect, for
    /// the first origin goes to the second as if its URL had named that: certificate, server name and Host field are the second's,
    /// and it is led once. connectTo comes after it. Where a line is none of these, every request fails, since one that is to be
    /// encrypted might not be. Where there are any, a request with an Authorization field goes to an https URL or fails.
    std::vector<std::string> leadTo;
    /// A PEM file with the certificates of the authorities to trust in place of the system's, and with their revocation lists where
    /// there are any; empty: the system's.
    std::string caFile;
};

/// Replaces the options of the process. Requests queued from now on use them; running transfers keep theirs. Any thread.
void setHttpOptions(const HttpOptions& options);
/// A copy of the options in force. Any thread.
HttpOptions httpOptions();

} // namespace W

#endif
