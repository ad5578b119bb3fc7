// SPDX-License-Identifier: MIT
/// \file One request on its way through the server. Of the library alone.
#ifndef HTTPD_EXCHANGE_H
#define HTTPD_EXCHANGE_H

#include "httpd/ConnectionWatch.h"
#include "httpd/Handler.h"
#include "httpd/HeadParser.h"
#include "httpd/Intake.h"
#include "httpd/RateLimit.h"
#include "httpd/Settings.h"
#include "httpd/StopSignal.h"

namespace httpd {

/// What all exchanges of a server share.
struct Serving {
    Serving(Settings given, Handler& user)
        : settings(std::move(given)),
          limits(settings.limits),
          handler(user),
          watch(limits, counters),
          rate(limits.requestsPerSecond)
    {
    }

    const Settings settings;
    const Limits& limits;
    Handler& handler;
    StopSignal closing; ///< given when the server is being ended
    Counters counters;
    ConnectionWatch watch;
    RateLimit rate;
};

/// A request as it came.
struct Incoming {
    RequestHead head;
    HeadTraits traits;
    std::optional<Refusal> fault; ///< why it is refused before it is looked at
    std::chrono::steady_clock::time_point begun;
};

/// Takes one request from its headers to its reply. Everything runs on the thread of its connection.
class Exchange {
public:
    Exchange(Serving& serving, Transport& transport, Intake& intake, Incoming incoming);
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    ~Exchange();

    /// \return whether another request can follow on the connection.
    bool run();
    /// \return whether the connection is to be left without a word: the client has had its reset.
    bool isReset() const { return m_reset; }

private:
    /// What the body is for.
    enum class Stage { WANTED, DROPPED };

    void check();
    void decide();
    bool readBody();
    bool readSized();
    bool readChunks();
    bool take(std::string_view piece);
    void feed(std::string_view data);
    void collect(BodyInMemory& body, std::string_view data);
    void finish();
    void refuse(const Refusal& refusal);
    void refuseForGood(const Refusal& refusal);
    void answer(Reply reply);
    bool send(bool close);
    template <typename Step> void guarded(Step step);

    Serving& m_serving;
    Transport& m_transport;
    Intake& m_intake;
    Incoming m_incoming;
    RequestHead& m_head;
    Connection m_connection;
    Stage m_stage = Stage::WANTED;
    bool m_closeAfter = false;
    std::string m_network;  ///< of the client, as limits count it
    bool m_counted = false; ///< among the forwarded requests of its network
    bool m_reset = false;
    std::optional<Decision> m_decision; ///< while the body is wanted
    std::uint64_t m_dropLimit = Decision::DROP_LIMIT;
    std::uint64_t m_dropped = 0;
    std::string m_body;
    std::optional<Reply> m_reply;
    std::optional<unsigned> m_status;
};

} // namespace httpd

#endif
