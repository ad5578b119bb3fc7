// SPDX-License-Identifier: MIT
// The service object: its life, and the requests that live in it.
#include "KLService/KLService.h"

#include "KLService/Lock.h"

#ifndef KINLOOM_ENDPOINT
#error "KINLOOM_ENDPOINT must name the service's default endpoint"
#endif

namespace W {

const STRING& KLService::getBaseURL()
{
    static const STRING URL = KINLOOM_ENDPOINT;
    return URL;
}

KLService::KLService(const STRING&, const WContentProvider& provider)
    : m_signedOut(Session::signedOut()),
      m_session(m_signedOut),
      m_delegator(HttpDelegator::getInstance()),
      m_requestID(provider.getID())
{
}

KLService::~KLService()
{
    // A request must not outlive its service. The facade has closed already; a service that stands alone does it here.
    if (hasLiveRequests())
        close();
    for (WException* exception : m_exceptions)
        delete exception;
}

void KLService::addARGS(KLServiceArgs* args)
{
    Lock lock(m_listMutex);
    m_liveArgs.insert(args);
}

bool KLService::hasLiveRequests()
{
    Lock lock(m_listMutex);
    return !m_liveArgs.empty();
}

void KLService::cleanupARGS(KLServiceArgs* args)
{
    {
        Lock lock(m_listMutex);
        const auto found = m_liveArgs.find(args);
        if (found == m_liveArgs.end())
            return;
        m_liveArgs.erase(found);
    }
    // Outside the lock: a command's destructor may be anybody's code.
    delete args->command;
    delete args;
}

} // namespace W
