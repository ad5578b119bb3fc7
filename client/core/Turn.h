// SPDX-License-Identifier: MIT
/// \file Calls that take turns.
#ifndef KINLOOM_CLIENT_TURN_H
#define KINLOOM_CLIENT_TURN_H

#include "core/CallState.h"

#include <condition_variable>
#include <list>
#include <mutex>

namespace kinloom {

/// What one call at a time may have; the others wait in the order in which they came.
class Turn {
public:
    /// Waits for the turn. \return false when somebody wanted the call's end before; the turn is then somebody else's.
    bool take(CallState& state)
    {
        const Driving driving(state, [this] { poke(); });
        std::unique_lock<std::mutex> lock(m_mutex);
        const auto place = m_waiting.insert(m_waiting.end(), &state);
        m_changed.wait(lock, [&] { return state.wish() != CallState::Wish::NONE || (!m_taken && m_waiting.front() == &state); });
        m_waiting.erase(place);
        const bool mine = state.wish() == CallState::Wish::NONE;
        if (mine)
            m_taken = true;
        else
            m_changed.notify_all(); // the next one may be first now
        return mine;
    }

    /// Takes the turn when nobody has it. \param otherwise runs when somebody has it, before it can be given back.
    template <class Otherwise> bool takeAtOnce(Otherwise otherwise)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_taken) {
            otherwise();
            return false;
        }
        m_taken = true;
        return true;
    }

    /// Gives the turn back. \param finish runs before, again as long as it gives true, and without the lock in between.
    template <class Finish> void give(Finish finish)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (finish(lock)) {
        }
        m_taken = false;
        m_changed.notify_all();
    }
    void give()
    {
        give([](std::unique_lock<std::mutex>&) { return false; });
    }

    /// How many wait.
    std::size_t waiting()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_waiting.size();
    }

private:
    void poke()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::list<const CallState*> m_waiting;
    bool m_taken = false;
};

} // namespace kinloom

#endif
