// SPDX-License-Identifier: MIT
// The service object: its life, and the requests that live in it.
#include "KLService/KLService.h"

#ifndef KINLOOM_ENDPOINT
#error "KINLOOM_ENDPOINT must name the service's default endpoint"
#endif

namespace W {

const STRING& KLService::getBaseURL()
{
    static const STRING URL = KINLOOM_ENDPOINT;
    return URL;
}

KLServiceArgs::KLServiceArgs(KLService* owner, KLServiceCMD* cmd) : link(owner->link()), command(cmd) {}

KLService::KLService(const STRING&, const WContentProvider& provider)
    : m_link(std::make_shared<ServiceLink>(*this)),
      m_signedOut(Session::signedOut()),
      m_session(m_signedOut),
      m_delegator(HttpDelegator::getInstance()),
      m_requestID(provider.getID())
{
}

KLService::~KLService()
{
    // No request may reach a service that is gone. The facade has closed already; a service that stands alone does it here.
    if (!m_closed)
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

std::uint64_t KLService::removals()
{
    Lock lock(m_listMutex);
    return m_removals;
}

void KLService::cleanupARGS(KLServiceArgs* args)
{
    {
        Lock lock(m_listMutex);
        const auto found = m_liveArgs.find(args);
        if (found == m_liveArgs.end())
            return;
        m_liveArgs.erase(found);
        ++m_removals;
    }
    // Outside the lock: a command's destructor may be anybody's code.
    delete args->command;
    delete args;
}

} // namespace W
