// SPDX-License-Identifier: MIT
#include "helper/HelperLane.h"

#include "core/HostEvents.h"
#include "helper/Codec.h"
#include "plugin/Execute.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>

namespace kinloom {

namespace {

using namespace std::chrono_literals;

/// How long a helper may take to say that it is there.
constexpr auto START_TIME = 60s;
/// How long a helper may take to end a call that it is to end: what the plugin may take for it, and some time on top. A longer one
/// hangs.
constexpr auto CANCEL_TIME = 10s;
/// A helper ends a call that is out of patience by itself; one that does not hangs. A call is four requests at most.
constexpr int MOST_REQUESTS = 4;

/// Whether a result is what the operation gives.
bool fits(const Operation& operation, const CallResult& result)
{
    const auto* const value = std::get_if<CallValue>(&result);
    return value == nullptr || std::visit(
                                   [&](const auto& order) {
                                       using Result = typename std::decay_t<decltype(order)>::Result;
                                       return std::holds_alternative<Result>(*value);
                                   },
                                   operation);
}

} // namespace

HelperLane::HelperLane(Settings settings, std::string address)
    : m_settings(std::move(settings)), m_address(std::move(address)), m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

HelperLane::~HelperLane() { lose(false); }

void HelperLane::run(const Operation& operation, CallState& state)
{
    const Driving driving(state, [this] { eventfd_write(m_wake.get(), 1); });
    if (!driving.begun())
        return;
    // Once more for a helper that died while nobody looked.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (!idleAndWell() && !start(state))
            return;
        if (converse(operation, state) == Course::ENDED)
            return;
    }
    state.finish(state.failure(FailureKind::LANE_DIED, W::WSTATUS_OK, "the lane's helper process has died again and again"));
}

/// Whether there is a helper that waits for a call. One that has died meanwhile is let go of.
bool HelperLane::idleAndWell()
{
    if (!m_channel)
        return false;
    std::string unexpected;
    if (m_channel->receive(unexpected) == Channel::Received::NOTHING)
        return true;
    lose(true);
    return false;
}

/// Starts a helper. \return false when it cannot be, or when the call is not wanted any more; the call has ended then.
bool HelperLane::start(CallState& state)
{
    const auto fail = [&](const std::string& why) {
        lose(true);
        state.finish(state.failure(FailureKind::LANE_NOT_STARTED, W::WSTATUS_OK, "no helper process can be started: " + why));
        return false;
    };
    if (!m_wake)
        return fail("no descriptor is left");
    if (m_settings.helperProgram.empty() && !isHelperProgram())
        return fail("this program does not begin with kinloom::runLaneIfAsked");
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return fail(std::generic_category().message(errno));
    m_channel = std::make_unique<Channel>(client::Descriptor(ends[0]));
    try {
        m_process = std::make_unique<Process>(m_settings.helperProgram, m_settings.log, client::Descriptor(ends[1]));
    } catch (const std::system_error& error) {
        return fail(error.what());
    }
    switch (next(state, true, Clock::now() + START_TIME)) {
    case Event::MESSAGE:
        break;
    case Event::WISH:
        lose(true);
        state.finish(state.granted());
        return false;
    case Event::TIME:
        return fail("it does not say that it is there");
    case Event::GONE:
        return fail("it has ended at once");
    case Event::BROKEN:
        return fail("it is not one");
    }
    const auto* const hello = std::get_if<message::Hello>(&m_message);
    if (hello == nullptr || hello->version != message::VERSION)
        return fail("it is not one");
    if (!m_channel->send(message::encode(message::SetUp{m_settings})))
        return fail("it has ended at once");
    return true;
}

HelperLane::Event HelperLane::next(const CallState& state, bool wish, std::optional<Clock::time_point> until)
{
    while (true) {
        if (wish && state.wish() != CallState::Wish::NONE)
            return Event::WISH;
        std::string bytes;
        switch (m_channel->receive(bytes)) {
        case Channel::Received::MESSAGE:
            try {
                m_message = message::decode(bytes);
                return Event::MESSAGE;
            } catch (const BrokenMessage&) {
                return Event::BROKEN;
            }
        case Channel::Received::GONE:
            return Event::GONE;
        case Channel::Received::BROKEN:
            return Event::BROKEN;
        case Channel::Received::NOTHING:
            break;
        }
        int time = -1;
        if (until) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(*until - Clock::now()).count();
            if (left <= 0)
                return Event::TIME;
            time = static_cast<int>(std::min<std::int64_t>(left, 60'000));
        }
        pollfd events[] = {{m_channel->descriptor(), POLLIN, 0}, {m_wake.get(), POLLIN, 0}};
        poll(events, 2, time);
        eventfd_t rung = 0;
        eventfd_read(m_wake.get(), &rung);
    }
}

HelperLane::Course HelperLane::converse(const Operation& operation, CallState& state)
{
    const std::chrono::milliseconds patience = state.options().patience.value_or(m_settings.patience);
    std::optional<Clock::time_point> until;
    if (!isTransfer(operation))
        until = Clock::now() + patience * MOST_REQUESTS + CANCEL_TIME;
    bool begun = false;
    bool cancelled = false;
    const auto fail = [&](CallFailure failure) {
        lose(true);
        failure.unsettled = begun && changesSomething(operation);
        state.finish(std::move(failure));
        return Course::ENDED;
    };
    const auto die = [&](const std::string& how) {
        return fail(state.failure(FailureKind::LANE_DIED, W::WSTATUS_OK, "the lane's helper process " + how));
    };
    const auto goAway = [&] {
        lose(true);
        if (begun)
            return die("has died");
        if (state.wish() == CallState::Wish::NONE)
            return Course::NOT_BEGUN;
        state.finish(state.granted());
        return Course::ENDED;
    };
    if (!m_channel->send(message::encode(message::Order{++m_number, patience, operation})))
        return goAway();
    while (true) {
        switch (next(state, !cancelled, until)) {
        case Event::GONE:
            return goAway();
        case Event::BROKEN:
            return die("does not keep to the protocol");
        case Event::TIME:
            return fail(cancelled ? state.granted()
                                  : state.failure(FailureKind::TIMED_OUT, W::WSTATUS_TIMED_OUT, "the lane's helper process hangs"));
        case Event::WISH:
            cancelled = true;
            until = Clock::now() + CANCEL_TIME;
            if (!m_channel->send(message::encode(message::Cancel{m_number})))
                return goAway();
            continue;
        case Event::MESSAGE:
            break;
        }
        if (const auto* const begin = std::get_if<message::Begun>(&m_message); begin && begin->number == m_number && !begun) {
            begun = true;
        } else if (const auto* const moved = std::get_if<message::Moved>(&m_message); moved && begun && moved->number == m_number) {
            state.report(moved->progress);
        } else if (const auto* const warned = std::get_if<message::Warned>(&m_message)) {
            HostEvents::instance().warn(warned->sentence);
        } else if (auto* const ended = std::get_if<message::Ended>(&m_message);
                   ended && begun && ended->number == m_number && fits(operation, ended->result)) {
            // The helper knows no difference between a cancel and an interruption.
            if (auto* const failure = std::get_if<CallFailure>(&ended->result);
                failure && failure->kind == FailureKind::CANCELLED && state.wish() == CallState::Wish::INTERRUPT)
                failure->kind = FailureKind::INTERRUPTED;
            state.finish(std::move(ended->result));
            return Course::ENDED;
        } else {
            return die("does not keep to the protocol");
        }
    }
}

/// Lets go of the helper. \param killed at once, for one that has gone or hangs; else it ends by itself when its socket closes.
void HelperLane::lose(bool killed)
{
    m_channel.reset();
    if (m_process && killed)
        m_process->kill();
    m_process.reset();
}

} // namespace kinloom
