// SPDX-License-Identifier: MIT
/// \file When the service is asked again that did not answer.
#ifndef KINLOOM_TV_MEDIA_OUTAGE_H
#define KINLOOM_TV_MEDIA_OUTAGE_H

#include "kinloom/Failure.h"

#include <chrono>
#include <cstdint>

namespace tv {

/// What a failed transfer means.
enum class FetchFailure : std::uint8_t {
    UNREACHED, ///< no answer, or one that broke off
    BUSY,      ///< 429, or 5xx: the service has an answer for others, maybe
    REFUSED,   ///< 401, 403, 404, 410: the address is not good (any more)
    USELESS,   ///< too large, or an answer that makes no sense: asking again makes no difference for a while
    DISK,      ///< the file could not be written here
    ENDED,     ///< cancelled
};

FetchFailure meaningOf(const kinloom::CallFailure& failure);

/// An outage of the service, seen by those who fetch from it. While it lasts nobody is asked but once in a while, in growing
/// pauses, so that whoever waits is told at once. For one thread at a time.
class Outage {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds FIRST_PAUSE{400};
    static constexpr std::chrono::milliseconds LONGEST_PAUSE{4'000};
    /// How many pictures in a row make an outage: that the service was not reached for, or gave an answer for that tells of
    /// trouble. One may have an address that leads nowhere, and some may be in trouble of their own.
    static constexpr unsigned UNREACHED = 2;
    static constexpr unsigned TROUBLES = 4;

    /// Whether nobody is to be asked now.
    bool pauses(Clock::time_point now) const { return now < m_until; }
    /// Whether the last that was heard was trouble.
    bool lasts() const { return m_pauses > 0; }
    Clock::time_point until() const { return m_until; }

    void succeeded();
    /// The service was not reached for a picture.
    void unreached(Clock::time_point now);
    /// \param asked seconds that the service asks to wait; negative for none
    void busy(Clock::time_point now, long asked);

private:
    void pause(Clock::time_point now, std::chrono::milliseconds asked);

    unsigned m_pauses = 0;
    unsigned m_unreached = 0;
    unsigned m_troubles = 0;
    Clock::time_point m_until;
};

} // namespace tv

#endif
