// SPDX-License-Identifier: MIT
/// \file One request of the host's HTTP client that has nothing to do with the plugin.
#ifndef KINLOOM_CLIENT_FETCH_H
#define KINLOOM_CLIENT_FETCH_H

#include "W/Http.h"
#include "kinloom/Call.h"
#include "whost/HttpEvents.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace kinloom {

/// A GET, or a POST of a form, under an identity of its own: requests of plugins have those of their providers, which fit into 32
/// bits, and this one has something in its upper half. So no flush of a plugin reaches it, and no other fetch.
class Fetch : public std::enable_shared_from_this<Fetch> {
public:
    /// Queues the request. One that the host refuses has ended at once.
    /// \param file where the body goes; empty: into memory.
    /// \param limit most bytes of a body that is what was asked for; 0: the client's limit.
    /// \param ended called once when it has ended, on the host's worker or on the thread that drops it; from start() itself when
    /// the host refuses it.
    static std::shared_ptr<Fetch> start(const std::string& url, const W::HttpHeader& header, const std::string& file,
                                        std::uint64_t limit, std::function<void()> ended);

    /// The same, with a form as its body and the reply in memory.
    static std::shared_ptr<Fetch> post(const std::string& url, const std::string& form, std::uint64_t limit,
                                       std::function<void()> ended);

    bool ended() const;
    /// 0 when a reply has arrived, whatever its code; once it has ended.
    W::WSTATUS status() const;
    /// The reply's HTTP code, once it has ended; 0 without a reply.
    W::UINT32 code() const;
    /// How the exchange went, once it has ended.
    W::HttpExchange exchange() const;
    /// The reply, once it has ended.
    MediaReply takeReply();
    TransferProgress progress() const;
    /// Ends it before this returns; not on the host's worker.
    void drop();

private:
    class Request;

    explicit Fetch(std::function<void()> ended);
    static std::shared_ptr<Fetch> queue(std::shared_ptr<Fetch> fetch, std::unique_ptr<Request> request, std::uint64_t limit);
    static void completed(W::SESSION_STATUS status, W::HttpRequest* request, void* context);
    void finish(W::WSTATUS status, W::HttpRequest* request);
    void gone();

    const unsigned long long m_id;
    const std::function<void()> m_onEnd;
    mutable std::mutex m_mutex;
    Request* m_request = nullptr; // guarded by m_mutex, like all below; null when the host has not got it any more
    bool m_ended = false;
    W::WSTATUS m_status = W::WSTATUS_OK;
    W::HttpExchange m_exchange;
    MediaReply m_reply;
    TransferProgress m_progress;
};

} // namespace kinloom

#endif
