// SPDX-License-Identifier: MIT
#include "KLService/ServiceLink.h"

namespace W {

KLService* ServiceLink::enter()
{
    Lock lock(m_mutex);
    if (m_service)
        ++m_inside;
    return m_service;
}

void ServiceLink::leave()
{
    Lock lock(m_mutex);
    if (--m_inside == 0 && !m_service) // nobody waits before the cut
        m_left.notifyAll();
}

bool ServiceLink::cut()
{
    Lock lock(m_mutex);
    m_service = nullptr;
    const bool somebodyInside = m_inside > 0;
    while (m_inside > 0)
        m_left.wait(m_mutex);
    return somebodyInside;
}

} // namespace W
