// SPDX-License-Identifier: MIT
#include "operations/HttpHandler.h"

#include "operations/AccessLog.h"
#include "operations/Dispatch.h"

namespace kinloomd {

namespace {

struct RefusalEntry {
    unsigned status;
    Failure failure;
};

constexpr RefusalEntry REFUSALS[] = {
    {413, Failure::TOO_LARGE},
    {429, Failure::TOO_MANY_REQUESTS},
    {431, Failure::HEADERS_TOO_LARGE},
    {500, Failure::INTERNAL},
};

ServiceError errorOf(const httpd::Refusal& refusal)
{
    for (const RefusalEntry& entry : REFUSALS) {
        if (entry.status == refusal.status)
            return ServiceError(entry.failure);
    }
    return {Failure::MALFORMED_REQUEST, refusal.reason};
}

} // namespace

httpd::Decision HttpHandler::decide(const httpd::RequestHead& head, httpd::Connection& connection)
{
    return std::make_shared<Dispatch>(m_service, head)->decide(connection);
}

httpd::Reply HttpHandler::refusal(const httpd::RequestHead& head, const httpd::Refusal& refusal)
{
    return Dispatch(m_service, head).refuse(errorOf(refusal));
}

void HttpHandler::ended(const httpd::RequestHead& head, std::optional<unsigned> status, std::chrono::steady_clock::duration time)
{
    if (m_service.options().logRequests)
        logRequest(head, status, time);
}

} // namespace kinloomd
