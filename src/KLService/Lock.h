// SPDX-License-Identifier: MIT
/// \file A scope that holds a POSIX mutex.
#ifndef KLSERVICE_LOCK_H
#define KLSERVICE_LOCK_H

#include <pthread.h>

namespace W {

class Lock {
public:
    explicit Lock(pthread_mutex_t& mutex) : m_mutex(mutex) { pthread_mutex_lock(&m_mutex); }
    ~Lock() { pthread_mutex_unlock(&m_mutex); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    pthread_mutex_t& m_mutex;
};

} // namespace W

#endif
