// SPDX-License-Identifier: MIT
// The plugin object: its life, the commands in flight, cancel and progress.
#include "WKLOAI/WKLOAI.h"

#include "KLService/Failure.h"

#include <cassert>
#include <new>

namespace W {

WKLOAI::WKLOAI() : WKinloomOAI(WContentProvider("Kinloom", service_type::KINLOOM))
{
    m_pService = new (std::nothrow) KLService("Kinloom", getContentProvider());
    if (m_pService) {
        m_pService->setFnCallbackPtr(cbFnRequestCompleted);
        m_pService->setFnDropPtr(cbFnRequestDropped);
    }
}

WKLOAI::~WKLOAI()
{
    // First of all: from here on no completion of this object runs or can start.
    if (m_pService)
        m_pService->close();
    cancelFlagReset();
    cleanupCMD();
    delete m_pService;
    m_pService = nullptr;
}

void WKLOAI::addCMD(KLServiceCMD* command)
{
    Lock lock(m_commandMutex);
    m_commands.insert(command);
}

void WKLOAI::cleanupCMD(KLServiceCMD* command)
{
    Lock lock(m_commandMutex);
    const auto found = m_commands.find(command);
    if (found != m_commands.end())
        m_commands.erase(found);
}

void WKLOAI::cleanupCMD()
{
    Lock lock(m_commandMutex);
    m_commands.clear();
}

std::size_t WKLOAI::countCMD()
{
    Lock lock(m_commandMutex);
    return m_commands.size();
}

void WKLOAI::cancelFlagReset()
{
    Lock lock(m_cancelMutex);
    m_cancelRequested.store(false, std::memory_order_release);
}

bool WKLOAI::takeCancel()
{
    Lock lock(m_cancelMutex);
    return m_cancelRequested.exchange(false, std::memory_order_acq_rel);
}

bool WKLOAI::hasCancelCallback() const
{
    Lock lock(m_cancelMutex);
    return m_cancelCallback != nullptr;
}

void WKLOAI::cbCancelDone(int status, VOID* userData)
{
    WStatusCallback callback = nullptr;
    std::uint64_t number = 0;
    {
        Lock lock(m_cancelMutex);
        callback = m_cancelCallback;
        number = m_cancelNumber;
    }
    if (!callback)
        return;
    callback(status, getContentProvider(), userData);
    Lock lock(m_cancelMutex);
    if (m_cancelNumber == number)
        m_cancelCallback = nullptr;
}

WSTATUS WKLOAI::cancel(const WContentProvider& provider, WStatusCallback callback, VOID*)
{
    assert(m_pService != __null);
    if (!m_pService->isLoggedIn())
        return logFailure(wstatus::NOT_LOGGED_IN);
    if (provider.getID() != getContentProvider().getID())
        return logFailure(wstatus::FAILED);
    {
        Lock lock(m_cancelMutex);
        if (!isCancelRequested()) {
            // A null callback keeps the one that an earlier cancel left. The user data is not kept: the command that completes
            // brings its own.
            if (callback) {
                m_cancelCallback = callback;
                ++m_cancelNumber;
            }
            m_cancelRequested.store(true, std::memory_order_release);
            m_pService->setCancel();
            return wstatus::OK;
        }
    }
    return logFailure(wstatus::CANCEL_PENDING);
}

WSTATUS WKLOAI::progressStatus(const WContentProvider& provider, double& done, double& total, VOID*)
{
    assert(m_pService != __null);
    if (!m_pService->isLoggedIn())
        return logFailure(wstatus::NOT_LOGGED_IN);
    if (provider.getID() != getContentProvider().getID()) {
        done = 0.0;
        total = 0.0;
        return logFailure(wstatus::FAILED);
    }
    m_pService->getProgressStatus(done, total);
    return wstatus::OK;
}

} // namespace W
