// SPDX-License-Identifier: MIT
#include "http/Events.h"

#include "Mutex.h"

#include <atomic>
#include <utility>

namespace W {

namespace {

struct Current {
    /// So that requests of programs that want to be told of nothing take no lock.
    std::atomic<bool> any{false};
    Mutex mutex;
    std::shared_ptr<const HttpEvents> events GUARDED_BY(mutex);
};

/// Never destroyed: the worker may read it while the process exits.
Current& current()
{
    static Current* const instance = new Current;
    return *instance;
}

} // namespace

void setHttpEvents(HttpEvents events)
{
    auto fresh = std::make_shared<const HttpEvents>(std::move(events));
    Current& now = current();
    // The old ones are freed outside the lock.
    const MutexLock lock(now.mutex);
    now.events.swap(fresh);
    now.any = true;
}

namespace WHOST_INTERNAL http {

std::shared_ptr<const HttpEvents> currentEvents()
{
    Current& now = current();
    if (!now.any)
        return nullptr;
    const MutexLock lock(now.mutex);
    return now.events;
}

} // namespace http

} // namespace W
