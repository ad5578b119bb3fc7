// SPDX-License-Identifier: MIT
#include "KLService/ServiceRequest.h"

namespace W {

ServiceRequest::~ServiceRequest()
{
    // First of all: until the service has forgotten this transfer, another thread may be asking it for its progress.
    m_service.endTransfer(this);
    if (!m_args)
        return;
    noticeDrop(m_service, m_args->command);
    m_service.cleanupARGS(m_args);
}

void cbKLFnCallback(SESSION_STATUS status, HttpRequest* request, VOID* context)
{
    if (!context)
        return;
    auto* const args = static_cast<KLServiceArgs*>(context);
    KLService& service = *args->service;

    // Whatever the completion does, the request and its context are freed, once.
    struct Cleanup {
        KLService& service;
        KLServiceArgs* args;
        HttpRequest* request;
        ~Cleanup()
        {
            if (auto* own = dynamic_cast<ServiceRequest*>(request))
                own->detach();
            delete request;
            service.cleanupARGS(args);
        }
    } cleanup{service, args, request};

    service.beginCompletion(request);
    static const HttpResponse NO_RESPONSE;
    if (const KLService::CompletionRoutine completion = service.getFnCallbackPtr())
        completion(status, request ? request->response() : NO_RESPONSE, args->command);
}

} // namespace W
