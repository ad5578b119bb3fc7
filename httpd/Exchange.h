// SPDX-License-Identifier: MIT
/// \file One request on its way through the server. Of the library alone.
#ifndef HTTPD_EXCHANGE_H
#define HTTPD_EXCHANGE_H

#include "httpd/ConnectionWatch.h"
#include "httpd/Handler.h"
#include "httpd/Limits.h"
#include "httpd/RateLimit.h"
#include "httpd/StopSignal.h"

#include <microhttpd.h>

namespace httpd {

/// What all exchanges of a server share.
struct Serving {
    Serving(const Limits& given, Handler& user) : limits(given), handler(user), watch(given), rate(given.requestsPerSecond) {}

    const Limits limits;
    Handler& handler;
    StopSignal closing; ///< given when the server is being ended
    ConnectionWatch watch;
    RateLimit rate;
};

/// The idle time as the HTTP library counts it.
inline unsigned idleSeconds(const Limits& limits) { return static_cast<unsigned>((limits.idleTime.count() + 999) / 1000); }

/// Takes one request from its headers to its reply. Everything runs on the thread of its connection.
class Exchange {
public:
    /// \param target the second word of the request line.
    Exchange(Serving& serving, std::string target);
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    ~Exchange();

    /// The library's calls for this request: once for the headers, then for each piece of the body, then once more for its end.
    MHD_Result handle(MHD_Connection* connection, const char* method, const char* data, std::size_t* size);

private:
    enum class Stage { HEAD, BODY, DROPPING_BODY, DONE };

    MHD_Result begin(const char* method);
    void readHead(const char* method);
    void check();
    void decide();
    MHD_Result take(std::string_view piece);
    void feed(std::string_view data);
    void collect(BodyInMemory& body, std::string_view data);
    void finish();
    void refuse(const Refusal& refusal);
    void answer(Reply reply);
    MHD_Result send(bool close);
    template <typename Step> void guarded(Step step);

    Serving& m_serving;
    const std::chrono::steady_clock::time_point m_begun = std::chrono::steady_clock::now();
    RequestHead m_head;
    MHD_Connection* m_mhd = nullptr;
    std::optional<Connection> m_connection; ///< from the head on
    Stage m_stage = Stage::HEAD;
    bool m_closeAfter = false;
    bool m_timeoutOff = false;          ///< the HTTP library's time-out of the connection is off for the reply
    std::optional<Decision> m_decision; ///< while the body is wanted
    std::uint64_t m_dropLimit = Decision::DROP_LIMIT;
    std::uint64_t m_dropped = 0;
    std::string m_body;
    std::optional<Reply> m_reply;
    std::optional<unsigned> m_status;
};

} // namespace httpd

#endif
