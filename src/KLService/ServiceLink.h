// SPDX-License-Identifier: MIT
/// \file How a request reaches its service, which it may outlive.
#ifndef KLSERVICE_SERVICELINK_H
#define KLSERVICE_SERVICELINK_H

#include "KLService/Lock.h"

#include <cstddef>

namespace W {

class KLService;

/// A host may keep a request for longer than the plugin lives, and complete or delete it then, on any thread. So a request does not
/// hold its service but this link, shared with the service and all its other requests, and asks it each time. Callable from any
/// thread.
class ServiceLink {
public:
    explicit ServiceLink(KLService& service) : m_service(&service) {}

    /// \return the service, which stays until leave(); null once the link is cut, and then there is nothing to leave.
    KLService* enter() KLSERVICE_EXCLUDES(m_mutex);
    void leave() KLSERVICE_EXCLUDES(m_mutex);

    /// From here on nobody enters. Returns when everybody inside has left, so it must not be called by one of them.
    /// \return whether somebody was inside.
    bool cut() KLSERVICE_EXCLUDES(m_mutex);

private:
    Mutex m_mutex;
    Condition m_left;
    KLService* m_service KLSERVICE_GUARDED_BY(m_mutex); // null once cut
    std::size_t m_inside KLSERVICE_GUARDED_BY(m_mutex) = 0;
};

/// A scope in which the service stays, if it is still there.
class ServiceVisit {
public:
    /// \p link must outlive the visit.
    explicit ServiceVisit(ServiceLink& link) : m_link(link), m_service(link.enter()) {}
    ~ServiceVisit()
    {
        if (m_service)
            m_link.leave();
    }
    ServiceVisit(const ServiceVisit&) = delete;
    ServiceVisit& operator=(const ServiceVisit&) = delete;

    /// Null when the service has ended.
    KLService* service() const { return m_service; }

private:
    ServiceLink& m_link;
    KLService* const m_service;
};

} // namespace W

#endif
