// SPDX-License-Identifier: MIT
/// \file The request that the service queues.
#ifndef KLSERVICE_SERVICEREQUEST_H
#define KLSERVICE_SERVICEREQUEST_H

#include "KLService/KLService.h"

namespace W {

/// Tells the facade of a command that is about to be freed without a completion.
inline void noticeDrop(const KLService& service, KLServiceCMD* command)
{
    const KLService::DropNotice notice = service.getFnDropPtr();
    if (notice && command)
        notice(command);
}

/// A host request that owns its context. Whoever deletes it leaves nothing behind: a host that drops it in a flush, just as the
/// dispatch that was refused, frees context and command and tells the facade, unless that has ended. A request that completes has
/// its context detached first.
class ServiceRequest final : public HttpRequest {
public:
    ServiceRequest(HTTP_REQUEST_TYPE type, const STRING& url, const HttpHeader& header, const STRING& body, KLServiceArgs* args)
        : HttpRequest(type, url, header, body, cbKLFnCallback, args)
    {
    }
    ServiceRequest(HTTP_REQUEST_TYPE type, const STRING& url, const HttpHeader& header, KLServiceArgs* args, const STRING& path)
        : HttpRequest(type, url, header, cbKLFnCallback, args, path)
    {
    }
    ~ServiceRequest() override;

    /// Takes over the context, which is in the service's list of live ones by now.
    void attach(KLServiceArgs* args) { m_args = args; }
    /// Gives the context up. The service must have forgotten the request as a transfer.
    void detach() { m_args = nullptr; }

private:
    KLServiceArgs* m_args = nullptr; // owned
};

} // namespace W

#endif
