// SPDX-License-Identifier: MIT
/// \file The service as the HTTP server sees it.
#ifndef KINLOOMD_OPERATIONS_HTTPHANDLER_H
#define KINLOOMD_OPERATIONS_HTTPHANDLER_H

#include "httpd/Handler.h"
#include "operations/Service.h"

namespace kinloomd {

/// Hands each request to a Dispatch of its own, and writes the access log.
class HttpHandler : public httpd::Handler {
public:
    /// The service must outlive the handler.
    explicit HttpHandler(Service& service) : m_service(service) {}

    httpd::Decision decide(const httpd::RequestHead& head, httpd::Connection& connection) override;
    httpd::Reply refusal(const httpd::RequestHead& head, const httpd::Refusal& refusal) override;
    void ended(const httpd::RequestHead& head, std::optional<unsigned> status, std::chrono::steady_clock::duration time) override;
    void stopping() override { m_service.stop(); }

private:
    Service& m_service;
};

} // namespace kinloomd

#endif
