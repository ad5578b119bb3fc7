// SPDX-License-Identifier: MIT
/// \file How a request gets from an operation to the host's client.
#ifndef KLSERVICE_DISPATCH_H
#define KLSERVICE_DISPATCH_H

#include "KLService/HostValues.h"
#include "KLService/Log.h"
#include "KLService/ServiceRequest.h"

namespace W {

/// Owns a command that no request carries yet. A command that it frees is a dropped one, and the facade is told first.
class CommandGuard {
public:
    CommandGuard(const KLService& service, KLServiceCMD* command) : m_service(service), m_command(command) {}
    ~CommandGuard() { noticeDrop(m_service, m_command.get()); }
    CommandGuard(const CommandGuard&) = delete;
    CommandGuard& operator=(const CommandGuard&) = delete;

    KLServiceCMD* get() const { return m_command.get(); }
    void release() { static_cast<void>(m_command.release()); }

private:
    const KLService& m_service;
    std::unique_ptr<KLServiceCMD> m_command;
};

/// Makes a request with \p make, enters it and queues it. From here on the command belongs to the service, whatever happens.
/// \param make called with the context; returns the request, or throws when it cannot.
template <class MakeRequest>
WSTATUS KLService::dispatch(KLServiceCMD* rawCommand, const LogLines& lines, Tracking tracking, MakeRequest&& make)
{
    CommandGuard command(*this, rawCommand);
    if (m_closed)
        return logServiceError(wstatus::NOT_CREATED, lines.notCreated);
    std::unique_ptr<ServiceRequest> request;
    try {
        auto args = std::make_unique<KLServiceArgs>(this, command.get());
        request = make(args.get());
        request->setID(m_requestID);
        addARGS(args.get());
        request->attach(args.release());
        command.release();
    } catch (const std::exception&) {
        return logServiceError(wstatus::NOT_CREATED, lines.notCreated);
    }

    if (tracking == Tracking::TRANSFER)
        trackTransfer(request.get());
    const WSTATUS status = m_delegator->addRequest(request.get());
    if (status < 0) {
        if (tracking == Tracking::TRANSFER)
            forgetTransfer();
        return logServiceError(status, lines.refused); // the request dies here, and its context and command with it
    }
    static_cast<void>(request.release()); // the delegator's; it may be gone already
    return wstatus::OK;
}

} // namespace W

#endif
