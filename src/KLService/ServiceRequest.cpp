// SPDX-License-Identifier: MIT
#include "KLService/ServiceRequest.h"

namespace W {

namespace {

/// Frees the context of a request that has outlived its service. The service's list of live ones is gone, or goes without a look.
void freeOrphan(KLServiceArgs* args)
{
    delete args->command;
    delete args;
}

} // namespace

ServiceRequest::~ServiceRequest()
{
    if (!m_args)
        return;
    const std::shared_ptr<ServiceLink> link = std::move(m_args->link);
    const ServiceVisit visit(*link);
    KLService* const service = visit.service();
    if (!service) {
        freeOrphan(m_args);
        return;
    }
    // First of all: until the service has forgotten this transfer, another thread may be asking it for its progress.
    service->endTransfer(this);
    noticeDrop(*service, m_args->command);
    service->cleanupARGS(m_args);
}

void cbKLFnCallback(SESSION_STATUS status, HttpRequest* request, VOID* context)
{
    if (!context)
        return;
    auto* const args = static_cast<KLServiceArgs*>(context);
    const std::shared_ptr<ServiceLink> link = std::move(args->link);
    const ServiceVisit visit(*link);
    KLService* const service = visit.service();

    // Whatever the completion does, the request and its context are freed, once.
    struct Cleanup {
        KLService* service;
        KLServiceArgs* args;
        HttpRequest* request;
        ~Cleanup()
        {
            if (service)
                service->endTransfer(request); // before it dies: another thread may be asking it for its progress
            if (auto* own = dynamic_cast<ServiceRequest*>(request))
                own->detach();
            delete request;
            if (service)
                service->cleanupARGS(args);
            else
                freeOrphan(args);
        }
    } cleanup{service, args, request};

    if (!service)
        return;
    service->beginCompletion(request);
    static const HttpResponse NO_RESPONSE;
    if (const KLService::CompletionRoutine completion = service->getFnCallbackPtr())
        completion(status, request ? request->response() : NO_RESPONSE, args->command);
}

} // namespace W
