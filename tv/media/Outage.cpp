// SPDX-License-Identifier: MIT
#include "tv/media/Outage.h"

#include "W/WStatus.h"

#include <algorithm>
#include <iterator>

namespace tv {

using std::chrono::milliseconds;
using std::chrono::seconds;

FetchFailure meaningOf(const kinloom::CallFailure& failure)
{
    constexpr unsigned REFUSALS[] = {401, 403, 404, 410};
    constexpr unsigned TOO_MANY = 429;
    constexpr unsigned SERVER_ERRORS = 500;
    if (failure.kind == kinloom::FailureKind::CANCELLED || failure.kind == kinloom::FailureKind::DROPPED)
        return FetchFailure::ENDED;
    if (failure.status == W::WSTATUS_LIMIT_EXCEEDED)
        return FetchFailure::USELESS;
    if (failure.status == W::WSTATUS_FILE_ERROR)
        return FetchFailure::DISK;
    const unsigned code = failure.httpCode;
    if (code == TOO_MANY || code >= SERVER_ERRORS)
        return FetchFailure::BUSY;
    if (std::find(std::begin(REFUSALS), std::end(REFUSALS), code) != std::end(REFUSALS))
        return FetchFailure::REFUSED;
    constexpr W::WSTATUS WAYS[] = {W::WSTATUS_UNREACHABLE, W::WSTATUS_TIMED_OUT, W::WSTATUS_CONNECTION_LOST};
    return std::find(std::begin(WAYS), std::end(WAYS), failure.status) != std::end(WAYS) ? FetchFailure::UNREACHED
                                                                                         : FetchFailure::USELESS;
}

void Outage::succeeded()
{
    m_pauses = 0;
    m_troubles = 0;
    m_unreached = 0;
    m_until = {};
}

void Outage::unreached(Clock::time_point now)
{
    if (++m_unreached >= UNREACHED)
        pause(now, {});
}

void Outage::busy(Clock::time_point now, long asked)
{
    if (++m_troubles >= TROUBLES)
        pause(now, seconds(std::max(asked, 0L)));
}

void Outage::pause(Clock::time_point now, milliseconds asked)
{
    // Several transfers fail with one outage.
    if (pauses(now))
        return;
    const milliseconds growing = std::min(FIRST_PAUSE * (1U << std::min(m_pauses, 8U)), LONGEST_PAUSE);
    ++m_pauses;
    m_until = now + std::min(std::max(growing, asked), LONGEST_PAUSE);
}

} // namespace tv
