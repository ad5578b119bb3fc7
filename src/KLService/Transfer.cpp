// SPDX-License-Identifier: MIT
// The one transfer that progress and cancel refer to.
#include "KLService/KLService.h"
#include "KLService/KeepLoaded.h"

namespace W {

void KLService::trackTransfer(HttpRequest* request)
{
    Lock lock(m_transferMutex);
    // Once the service is closed a request may die without a word to it.
    if (m_closed || (m_currentTransfer && m_transferPhase != TransferPhase::YIELDING))
        return;
    m_currentTransfer = request;
    ++m_transferNumber;
    m_transferPhase = TransferPhase::RUNNING;
    m_requestInProgress = 1;
    m_transferred = 0.0;
    m_expected = 0.0;
}

void KLService::forgetTransfer()
{
    Lock lock(m_transferMutex);
    m_currentTransfer = nullptr;
    m_requestInProgress = 0;
    m_transferred = 0.0;
    m_expected = 0.0;
}

void KLService::beginCompletion(const HttpRequest* request)
{
    Lock lock(m_transferMutex);
    if (request && m_currentTransfer == request)
        m_transferPhase = TransferPhase::COMPLETING;
}

void KLService::endTransfer(const HttpRequest* request)
{
    Lock lock(m_transferMutex);
    if (m_currentTransfer != request)
        return;
    m_currentTransfer = nullptr;
    m_requestInProgress = 0;
}

void KLService::getProgressStatus(double& done, double& total)
{
    Lock lock(m_transferMutex);
    if (m_currentTransfer && m_requestInProgress)
        m_currentTransfer->getProgressStatus(m_transferred, m_expected);
    done = m_transferred;
    total = m_expected;
}

void KLService::updateProgressStatus()
{
    Lock lock(m_transferMutex);
    if (m_currentTransfer)
        m_transferred = m_expected;
}

void KLService::resetProgressStatus()
{
    Lock lock(m_transferMutex);
    m_transferred = 0.0;
    m_expected = 0.0;
}

void KLService::resetReqStatus()
{
    Lock lock(m_transferMutex);
    m_requestInProgress = 0;
    // A transfer that the callback starts, or whoever the callback wakes, is tracked at once.
    if (m_transferPhase == TransferPhase::COMPLETING)
        m_transferPhase = TransferPhase::YIELDING;
}

void KLService::setCancel()
{
    Lock lock(m_transferMutex);
    if (!m_currentTransfer || !m_requestInProgress)
        return;
    m_requestInProgress = 0;
    m_currentTransfer->setCancel();
}

WSTATUS KLService::flushHttpRequests()
{
    std::uint64_t flushed = 0;
    {
        Lock lock(m_transferMutex);
        flushed = m_transferNumber;
    }
    // No lock is held here: the requests that the host drops take both locks as they die.
    const WSTATUS status = m_delegator->flushHttpRequests(m_requestID);
    Lock lock(m_transferMutex);
    if (m_transferNumber == flushed) // not a transfer that another thread has queued meanwhile
        m_currentTransfer = nullptr;
    return status;
}

/// Flushes until nothing is live, or the host has stopped dropping anything.
void KLService::dropRequests()
{
    // Once is not enough: a flush spares what is queued while it waits, and a callback that was running may have asked for more
    // before it saw the end. What that completes to cannot ask again. That callback's own context is a removal too, so the number
    // of those that are live need not have fallen.
    std::uint64_t before = 0;
    std::uint64_t after = removals();
    do {
        before = after;
        flushHttpRequests();
        after = removals();
    } while (after != before && hasLiveRequests());
}

void KLService::close()
{
    m_closed = true;
    dropRequests();
    const bool leavesSome = hasLiveRequests();
    forgetTransfer(); // while the requests still tell when they die
    const bool somebodyInside = m_link->cut();
    // What is left dies by this library's code, and who was inside is on the way out through it.
    if (leavesSome || somebodyInside)
        keepLoaded(reinterpret_cast<const void*>(&cbKLFnCallback));
}

} // namespace W
