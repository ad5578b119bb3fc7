// SPDX-License-Identifier: MIT
#include "tv/service/Connection.h"

namespace tv {

namespace {

using kinloom::FailureKind;
using kinloom::FailureReason;

/// How many calls of a kind run at a time. Each is a process of some megabytes: two that people wait for, so that a slow one does
/// not stop the next.
constexpr std::size_t COUNTS[] = {2, 1, 1};

constexpr std::pair<FailureReason, Trouble> REASONS[] = {
    {FailureReason::DEVICE_REFUSED, Trouble::STRANGER}, {FailureReason::NOT_FOUND, Trouble::NOT_FOUND},
    {FailureReason::NO_PLACE, Trouble::NOT_FOUND},      {FailureReason::FORBIDDEN, Trouble::NOT_FOUND},
    {FailureReason::NOT_ALLOWED, Trouble::REFUSED},     {FailureReason::BAD_MARKER, Trouble::REFUSED},
    {FailureReason::BAD_FILE, Trouble::REFUSED},        {FailureReason::BAD_VALUE, Trouble::REFUSED},
    {FailureReason::CONFLICT, Trouble::REFUSED},        {FailureReason::TOO_LARGE, Trouble::REFUSED},
};

constexpr std::pair<FailureKind, Trouble> KINDS[] = {
    {FailureKind::INVALID, Trouble::REFUSED},
    {FailureKind::CANCELLED, Trouble::ENDED},
    {FailureKind::INTERRUPTED, Trouble::ENDED},
};

} // namespace

const char* nameOf(Standing standing)
{
    constexpr const char* NAMES[] = {"ok", "away", "refused"};
    return NAMES[static_cast<std::size_t>(standing)];
}

Trouble troubleOf(const kinloom::CallFailure& failure)
{
    for (const auto& [kind, trouble] : KINDS)
        if (failure.kind == kind)
            return trouble;
    for (const auto& [reason, trouble] : REASONS)
        if (failure.reason == reason)
            return trouble;
    return Trouble::AWAY;
}

Connection::Connection(std::function<void()> changed, std::function<void()> doubted)
    : m_changed(std::move(changed)), m_doubted(std::move(doubted))
{
}

Connection::~Connection() { end(); }

void Connection::begin(const kinloom::Settings& settings)
{
    end();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_settings = settings;
    }
    setStanding(Standing::OK);
}

void Connection::end()
{
    std::array<std::shared_ptr<kinloom::Lanes>, 3> lanes;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_settings.reset();
    lanes.swap(m_lanes);
}

bool Connection::hasBegun() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_settings.has_value();
}

std::shared_ptr<kinloom::Lanes> Connection::lanes(Lane lane)
{
    const auto place = static_cast<std::size_t>(lane);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_settings) {
        kinloom::CallFailure failure;
        failure.kind = FailureKind::CANCELLED;
        throw CallTrouble(Trouble::ENDED, std::move(failure));
    }
    if (!m_lanes[place])
        m_lanes[place] = std::make_shared<kinloom::Lanes>(*m_settings, COUNTS[place]);
    return m_lanes[place];
}

Trouble Connection::noteFailure(const kinloom::CallFailure& failure)
{
    const Trouble trouble = troubleOf(failure);
    if (trouble == Trouble::AWAY)
        note(Standing::AWAY);
    else if (trouble == Trouble::STRANGER)
        m_doubted();
    return trouble;
}

void Connection::fail(const kinloom::CallFailure& failure) { throw CallTrouble(noteFailure(failure), failure); }

void Connection::note(Standing standing)
{
    if (m_standing != Standing::REFUSED)
        setStanding(standing);
}

void Connection::setStanding(Standing standing)
{
    if (m_standing.exchange(standing) != standing)
        m_changed();
}

} // namespace tv
