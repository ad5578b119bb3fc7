// SPDX-License-Identifier: MIT
#include "kinloom/Interruption.h"

#include <list>
#include <mutex>

namespace kinloom {

struct Interruption::State {
    mutable std::mutex mutex;
    bool rung = false;
    std::list<std::function<void()>> watchers;
};

Interruption::Interruption() : m_state(std::make_shared<State>()) {}

void Interruption::ring()
{
    std::list<std::function<void()>> watchers;
    {
        const std::lock_guard<std::mutex> lock(m_state->mutex);
        m_state->rung = true;
        watchers = m_state->watchers;
    }
    // Without the lock: a call that ends here and now lets go of its watch.
    for (const auto& watcher : watchers)
        watcher();
}

bool Interruption::requested() const
{
    const std::lock_guard<std::mutex> lock(m_state->mutex);
    return m_state->rung;
}

std::shared_ptr<void> Interruption::watch(std::function<void()> rung) const
{
    const std::lock_guard<std::mutex> lock(m_state->mutex);
    const auto place = m_state->watchers.insert(m_state->watchers.end(), std::move(rung));
    return {nullptr, [state = m_state, place](void*) {
                const std::lock_guard<std::mutex> again(state->mutex);
                state->watchers.erase(place);
            }};
}

} // namespace kinloom
