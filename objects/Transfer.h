// SPDX-License-Identifier: MIT
/// \file One request to a store and its answer, on libcurl. Of the library alone.
#ifndef OBJECTS_TRANSFER_H
#define OBJECTS_TRANSFER_H

#include "common/UniqueFd.h"
#include "objects/Payload.h"
#include "objects/Signature.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace objects {

using Clock = std::chrono::steady_clock;

/// An attempt has failed.
class TransferFailed : public std::runtime_error {
public:
    enum Kind {
        AGAIN,   ///< another one may go better
        REFUSED, ///< none will, before something is changed
        ENDED,   ///< the program is being ended
    };
    /// \param wish how long the store wants to be left alone
    explicit TransferFailed(const std::string& text, Kind kind = AGAIN, std::optional<std::chrono::seconds> wish = std::nullopt)
        : std::runtime_error(text), m_kind(kind), m_wish(wish)
    {
    }
    Kind kind() const { return m_kind; }
    std::optional<std::chrono::seconds> wish() const { return m_wish; }

private:
    Kind m_kind;
    std::optional<std::chrono::seconds> m_wish;
};

/// How long an attempt may take.
struct Pace {
    std::chrono::milliseconds connect; ///< until a connection stands
    std::chrono::milliseconds window;  ///< so long may pass while less than \c leastBytes move. Time of the reader does not count
    std::int64_t leastBytes;           ///< in each window
};

/// A request as it is sent.
struct WireRequest {
    std::string method;
    std::string url;
    Fields headers;
    Payload payload;
};

/// Connections to a store, kept from one request to the next. Safe for several threads.
class Lanes {
public:
    Lanes();
    Lanes(const Lanes&) = delete;
    Lanes& operator=(const Lanes&) = delete;
    ~Lanes();

    /// Ends all waiting, now and later.
    void stop();
    /// Readable once all waiting is to end.
    int stopped() const { return m_stop.get(); }

private:
    friend class Transfer;
    struct Lane;

    std::unique_ptr<Lane> take();
    void giveBack(std::unique_ptr<Lane> lane);

    common::UniqueFd m_stop;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<Lane>> m_idle; // guarded by m_mutex
};

/// Sends a request and reads its answer, as fast as its reader wants it: what is not read yet is bounded, and the store waits. For
/// one thread at a time. All of it throws TransferFailed, and what reading the payload throws.
class Transfer {
public:
    /// \param payload of the request must stay until the transfer ends
    Transfer(Lanes& lanes, const WireRequest& request, const Pace& pace);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;
    ~Transfer();

    /// Waits for the head of the answer. \return its status.
    unsigned awaitHead(Clock::time_point deadline);
    /// A header's value; empty when it is not there. \param name in small letters
    std::string header(const std::string& name) const;
    /// All of them, names in small letters.
    const Fields& headers() const { return m_answerHeaders; }
    /// Reads from the body. \return how many bytes; 0 at its end.
    std::size_t read(char* buffer, std::size_t size, Clock::time_point deadline);
    /// Reads all of the body, which must not be larger than a document is.
    std::string readAll(Clock::time_point deadline);

private:
    struct Callbacks;

    template <class Condition> void drive(Condition until, Clock::time_point deadline);
    void wait(Clock::time_point deadline);
    void requirePace(Clock::duration waited);
    void collectOutcome();
    void set(const WireRequest& request);

    Lanes& m_lanes;
    Pace m_pace;
    std::unique_ptr<Lanes::Lane> m_lane;
    std::shared_ptr<void> m_headers; // a list of libcurl's
    Payload m_payload;
    std::int64_t m_sent = 0;
    std::exception_ptr m_failure; ///< of the payload, or of the connection

    unsigned m_status = 0;
    bool m_headWhole = false;
    Fields m_answerHeaders;
    std::size_t m_headSize = 0;
    std::string m_waiting; ///< of the body, not read yet
    std::size_t m_taken = 0;
    bool m_paused = false;
    bool m_ended = false;

    std::int64_t m_moved = 0; ///< bytes in both directions, in this window
    Clock::duration m_waited{};
};

} // namespace objects

#endif
