// SPDX-License-Identifier: MIT
/// \file One request on its way through the service.
#ifndef KINLOOMD_SERVER_EXCHANGE_H
#define KINLOOMD_SERVER_EXCHANGE_H

#include "core/Failure.h"
#include "operations/Request.h"
#include "operations/Router.h"
#include "operations/Service.h"
#include "server/Connections.h"

#include <microhttpd.h>

namespace kinloomd {

/// Takes one request from its headers to its reply. Everything runs on the thread of its connection.
///
/// A request that is refused by its headers may still be sending its body: it is read and dropped up to a limit, since a client
/// that is cut off while it sends never sees the reply. Beyond the limit the connection is closed after the reply.
class Exchange {
public:
    /// \param target path and query as they stand in the request line.
    Exchange(Service& service, Connections& connections, std::string target);
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    ~Exchange();

    /// The library's calls for this request: once for the headers, then for each piece of the body, then once more for its end.
    MHD_Result handle(MHD_Connection* connection, const char* method, const char* data, std::size_t* size);

private:
    enum class Stage { HEADERS, BODY, DROPPING_BODY, DONE };

    void begin(const char* method);
    void readTarget();
    void checkFraming();
    void chooseBaseUrl();
    MHD_Result applyFault();
    void openBody();
    void feed(std::string_view data);
    void finish();
    void refuse(const ServiceError& error);
    template <typename Step> void guarded(Step step);

    std::optional<std::string> header(const char* name) const;
    std::size_t bodyLimit() const;
    std::size_t dropLimit() const;

    Service& m_service;
    Connections& m_connections;
    std::string m_target;
    std::string_view m_path; ///< of the target
    MHD_Connection* m_connection = nullptr;
    int m_socket = -1;
    bool m_entered = false;
    Stage m_stage = Stage::HEADERS;
    Request m_request;
    Route m_route;
    std::optional<Fault> m_fault;
    std::unique_ptr<BodySink> m_sink;
    std::int64_t m_announcedBody = 0; ///< -1 for a chunked one
    std::uint64_t m_dropped = 0;
    bool m_closeAfter = false;
    std::optional<Reply> m_reply;
    std::chrono::steady_clock::time_point m_begun;
};

} // namespace kinloomd

#endif
