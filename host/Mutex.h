// SPDX-License-Identifier: MIT
/// \file Mutexes of which clang checks, while it compiles, that what they guard is touched only by those who hold them.
///
/// The attributes are clang's thread-safety attributes, under the names that its manual gives them; other compilers see nothing of
/// them. The classes cost what the standard library's cost.
#ifndef WHOST_MUTEX_H
#define WHOST_MUTEX_H

#include "Internal.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

#ifdef __clang__
#define WHOST_THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define WHOST_THREAD_ATTRIBUTE(attribute)
#endif

/// On a class: its objects are what a thread can hold.
#define CAPABILITY(name) WHOST_THREAD_ATTRIBUTE(capability(name))
/// On a class: its constructor takes something that its destructor gives back, or the other way round.
#define SCOPED_CAPABILITY WHOST_THREAD_ATTRIBUTE(scoped_lockable)
/// On a member: touched only with this held.
#define GUARDED_BY(...) WHOST_THREAD_ATTRIBUTE(guarded_by(__VA_ARGS__))
/// On a function: called with this held, and returns with it held.
#define REQUIRES(...) WHOST_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
/// On a function: the calling thread does not hold this, since the function takes it or runs code of others.
#define EXCLUDES(...) WHOST_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
/// On a function: takes this, and returns with it held.
#define ACQUIRE(...) WHOST_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
/// On a function: called with this held, and gives it back.
#define RELEASE(...) WHOST_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))

namespace W {
// A plugin in the same program may have mutexes of that name.
inline namespace WHOST_INTERNAL host_threads {

/// A std::mutex.
class CAPABILITY("mutex") Mutex {
public:
    void lock() ACQUIRE() { m_mutex.lock(); }
    void unlock() RELEASE() { m_mutex.unlock(); }

private:
    friend class Condition;
    std::mutex m_mutex;
};

/// Holds a mutex for as long as it lives.
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~MutexLock() RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

/// Gives a mutex that the thread holds to others for as long as it lives, however the scope is left.
class SCOPED_CAPABILITY MutexUnlock {
public:
    explicit MutexUnlock(Mutex& mutex) RELEASE(mutex) : m_mutex(mutex) { m_mutex.unlock(); }
    ~MutexUnlock() RELEASE() { m_mutex.lock(); }
    MutexUnlock(const MutexUnlock&) = delete;
    MutexUnlock& operator=(const MutexUnlock&) = delete;

private:
    Mutex& m_mutex;
};

/// A std::condition_variable for a Mutex. There is no wait with a predicate: a loop at the place where the mutex is held says the
/// same, and is checked.
class Condition {
public:
    using Clock = std::chrono::steady_clock;

    void notifyOne() noexcept { m_condition.notify_one(); }
    void notifyAll() noexcept { m_condition.notify_all(); }

    /// Waits to be notified, without the mutex. May return without a reason.
    void wait(Mutex& mutex) REQUIRES(mutex)
    {
        std::unique_lock<std::mutex> lock(mutex.m_mutex, std::adopt_lock);
        m_condition.wait(lock);
        lock.release();
    }

    /// The same, up to a time. \return false when the time has come.
    bool waitUntil(Mutex& mutex, Clock::time_point end) REQUIRES(mutex)
    {
        std::unique_lock<std::mutex> lock(mutex.m_mutex, std::adopt_lock);
        const bool inTime = m_condition.wait_until(lock, end) == std::cv_status::no_timeout;
        lock.release();
        return inTime;
    }

private:
    std::condition_variable m_condition;
};

/// Something that one thread at a time owns without a lock of its own. Whoever takes it knows by other means that it is free: its
/// own state is guarded by a mutex, and what is owned is not.
class CAPABILITY("ownership") Ownership {
public:
    bool isTaken() const { return m_taken; }
    void take() ACQUIRE() { m_taken = true; }
    void giveBack() RELEASE() { m_taken = false; }

private:
    bool m_taken = false;
};

} // namespace host_threads
} // namespace W

#endif
