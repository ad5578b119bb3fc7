// SPDX-License-Identifier: MIT
/// \file The plugin's locks, annotated: a compiler that knows the annotations refuses an access that does not hold its lock.
#ifndef KLSERVICE_LOCK_H
#define KLSERVICE_LOCK_H

#include <pthread.h>

#if defined(__clang__)
#define KLSERVICE_ANNOTATION(annotation) __attribute__((annotation))
#else
#define KLSERVICE_ANNOTATION(annotation)
#endif

/// The member is read and written only while the mutex is held.
#define KLSERVICE_GUARDED_BY(mutex) KLSERVICE_ANNOTATION(guarded_by(mutex))
/// The caller holds the mutex.
#define KLSERVICE_REQUIRES(...) KLSERVICE_ANNOTATION(requires_capability(__VA_ARGS__))
/// The caller does not hold the mutex: the function takes it, or runs code that may.
#define KLSERVICE_EXCLUDES(...) KLSERVICE_ANNOTATION(locks_excluded(__VA_ARGS__))

namespace W {

/// A plain POSIX mutex.
class KLSERVICE_ANNOTATION(capability("mutex")) Mutex {
public:
    Mutex() { pthread_mutex_init(&m_mutex, nullptr); }
    ~Mutex() { pthread_mutex_destroy(&m_mutex); }
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() KLSERVICE_ANNOTATION(acquire_capability()) { pthread_mutex_lock(&m_mutex); }
    void unlock() KLSERVICE_ANNOTATION(release_capability()) { pthread_mutex_unlock(&m_mutex); }

private:
    friend class Condition;
    pthread_mutex_t m_mutex;
};

/// A scope that holds a mutex.
class KLSERVICE_ANNOTATION(scoped_lockable) Lock {
public:
    explicit Lock(Mutex& mutex) KLSERVICE_ANNOTATION(acquire_capability(mutex)) : m_mutex(mutex) { m_mutex.lock(); }
    ~Lock() KLSERVICE_ANNOTATION(release_capability()) { m_mutex.unlock(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    Mutex& m_mutex;
};

/// What threads that hold a mutex wait for.
class Condition {
public:
    Condition() { pthread_cond_init(&m_condition, nullptr); }
    ~Condition() { pthread_cond_destroy(&m_condition); }
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    /// Gives the mutex up until the condition is notified, or for no reason at all.
    void wait(Mutex& mutex) KLSERVICE_REQUIRES(mutex) { pthread_cond_wait(&m_condition, &mutex.m_mutex); }
    void notifyAll() { pthread_cond_broadcast(&m_condition); }

private:
    pthread_cond_t m_condition;
};

} // namespace W

#endif
