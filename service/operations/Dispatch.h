// SPDX-License-Identifier: MIT
/// \file One request on its way through the service.
#ifndef KINLOOMD_OPERATIONS_DISPATCH_H
#define KINLOOMD_OPERATIONS_DISPATCH_H

#include "core/Failure.h"
#include "httpd/Handler.h"
#include "operations/Request.h"
#include "operations/Router.h"
#include "operations/Service.h"

#include <memory>

namespace kinloomd {

/// Takes one request from its head to its reply: finds the operation, applies the fault that is due, authenticates the caller, and
/// runs the handler. Whatever a step throws becomes the reply. Everything runs on the thread of the request's connection.
class Dispatch : public std::enable_shared_from_this<Dispatch> {
public:
    /// The head must outlive the dispatch.
    Dispatch(Service& service, const httpd::RequestHead& head) : m_service(service), m_request(head) {}

    /// What becomes of the request. A decision that wants the body keeps the dispatch alive.
    httpd::Decision decide(httpd::Connection& connection);

    /// The reply to a request that failed, as its operation words it.
    Reply failed(const ServiceError& error) const;

private:
    class Sink;

    httpd::Decision begin(httpd::Connection& connection);
    void findOperation();
    void chooseBaseUrl();
    void findCaller();
    httpd::Decision takeBody();
    Reply handle(std::string body);
    Reply done(Reply reply);
    template <typename Step> auto guarded(Step step) -> decltype(step());
    Reply refuse(const ServiceError& error) const;
    Reply sent(Reply reply) const;

    Service& m_service;
    Request m_request;
    Route m_route;
    std::optional<Fault> m_fault;
    std::unique_ptr<BodySink> m_sink;
};

} // namespace kinloomd

#endif
