// SPDX-License-Identifier: MIT
/// \file The same requests on libcurl alone: what the plugin and its host are compared with.
#ifndef SUPPORT_RAWCLIENT_H
#define SUPPORT_RAWCLIENT_H

#include <curl/curl.h>
#include <memory>
#include <string>
#include <vector>

namespace bench {

/// What a run of requests took.
struct Cost {
    double seconds = 0;
    double processor = 0; ///< seconds, of all threads of this process
};

/// A request as it goes over the wire.
struct RawRequest {
    std::string url;
    std::vector<std::string> headers;
    std::string connectTo;
};

/// A multi handle with easy handles that are set up once and used again and again, driven by the calling thread alone: as little as
/// one can do.
class RawClient {
public:
    using OnReply = void (*)(const std::string& body);

    /// \param concurrency requests that run at the same time.
    /// \param onReply called with each reply, or null.
    RawClient(const RawRequest& request, std::size_t concurrency, OnReply onReply = nullptr);
    ~RawClient();
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    /// Makes so many requests, to the end of the last one. \throw std::runtime_error when one fails.
    Cost run(std::size_t count);
    /// The body of the request that ended last.
    const std::string& body() const { return *m_last; }

private:
    struct Slot {
        CURL* curl = nullptr;
        std::string body;
    };

    const OnReply m_onReply;
    CURLM* m_multi;
    curl_slist* m_headers = nullptr;
    curl_slist* m_connectTo = nullptr;
    std::vector<std::unique_ptr<Slot>> m_slots;
    const std::string* m_last = nullptr;
};

/// Makes requests one after the other, each with a handle and a connection of its own.
Cost runFresh(const RawRequest& request, std::size_t count);

} // namespace bench

#endif
