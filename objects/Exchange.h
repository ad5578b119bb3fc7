// SPDX-License-Identifier: MIT
/// \file What a store is asked, again where that may help, and what its answers mean. Of the library alone.
#ifndef OBJECTS_EXCHANGE_H
#define OBJECTS_EXCHANGE_H

#include "objects/ObjectStore.h"
#include "objects/Transfer.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>

namespace objects {

/// An answer that was read whole.
struct Answer {
    unsigned status = 0;
    std::string body;
    Fields headers;

    /// A header's value; empty when it is not there. \param name in small letters
    std::string header(const std::string& name) const;
};

/// Something that a store is asked. It may be asked several times.
struct Call {
    const char* method;
    std::string path;
    Fields query;
    Fields headers; ///< beside those that every request has; names in small letters
    Payload payload;
    std::string payloadDigest; ///< of the payload, in hexadecimal digits; empty where there is no payload
    /// Looks at an answer that says that all is well. Throws TransferFailed or MalformedReply when it is not.
    std::function<void(const Answer&)> accept;
    /// Beside the limits' own.
    std::optional<std::chrono::milliseconds> patience;
};

/// A store, and how it is spoken with. Safe for several threads.
class Exchange {
public:
    Exchange(const StorePlace& place, Credentials credentials, const StoreLimits& limits);

    /// Asks until the answer is a good one. Throws ObjectError.
    Answer ask(const Call& call);
    /// Asks once. \return what brings the answer, when it is a good one so far. Throws ObjectError and TransferFailed. When many
    /// wait for a store that says nothing at all, the others do not begin to.
    std::unique_ptr<Transfer> send(const Call& call, Clock::time_point deadline);
    /// The attempts of one request.
    Retries retriesUntil(Clock::time_point deadline) { return {m_limits.retries, m_budget, deadline, m_lanes.stopped()}; }
    /// The only attempt of one.
    Retries onceUntil(Clock::time_point deadline) { return {ONCE, m_budget, deadline, m_lanes.stopped()}; }
    /// Calls until it throws no TransferFailed, in so far as there are retries. Throws ObjectError in its place.
    template <class Attempt> static auto repeated(Retries& retries, Attempt attempt);
    /// When a request must have its answer.
    Clock::time_point deadlineOf(const Call& call) const;

    const StoreLimits& limits() const { return m_limits; }
    const std::string& region() const { return m_region; }
    const Signer& signer() const { return m_signer; }
    void stop() { m_lanes.stop(); }

private:
    static constexpr RetryLimits ONCE{1};

    /// One who waits for the head of an answer.
    class Waiting;

    WireRequest signedRequest(const Call& call) const;

    Endpoint m_endpoint;
    std::string m_region;
    std::string m_sessionToken;
    Signer m_signer;
    StoreLimits m_limits;
    RetryBudget m_budget;
    Lanes m_lanes;
    std::atomic<unsigned> m_waiting{0};
    std::atomic<Clock::time_point> m_heard{Clock::time_point()}; ///< when an answer came last
};

/// Throws what an answer means that is none of success. \param text of its body
[[noreturn]] void throwComplaint(unsigned status, const std::string& text, std::optional<std::chrono::seconds> wish);

template <class Attempt> auto Exchange::repeated(Retries& retries, Attempt attempt)
{
    for (;;) {
        try {
            return attempt();
        } catch (const MalformedReply& error) {
            if (!retries.next())
                throw StoreUnavailable(error.what());
        } catch (const TransferFailed& failure) {
            if (failure.kind() == TransferFailed::REFUSED)
                throw StoreRefused(failure.what());
            if (failure.kind() == TransferFailed::ENDED || !retries.next(failure.wish()))
                throw StoreUnavailable(failure.what());
        }
    }
}

} // namespace objects

#endif
