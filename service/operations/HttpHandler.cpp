// SPDX-License-Identifier: MIT
#include "operations/HttpHandler.h"

#include "operations/AccessLog.h"
#include "operations/Dispatch.h"
#include "operations/MetricsHandlers.h"
#include "operations/Router.h"
#include "store/Connection.h"

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

/// What the request is counted as: an operation of the table, or one of few other words. Clients cannot add to them.
std::string operationOf(const httpd::RequestHead& head)
{
    if (const std::string_view word = operatorsWord(head.path()); !word.empty())
        return std::string(word);
    if (WebFiles::isOfPage(head))
        return "page";
    try {
        return route(head.method, head.path()).operation->name;
    } catch (const ServiceError&) {
        return "none";
    }
}

} // namespace

httpd::Decision HttpHandler::decide(const httpd::RequestHead& head, httpd::Connection& connection)
{
    try {
        if (auto reply = answerOperator(m_service, head, connection.counters()))
            return std::move(*reply);
        if (auto reply = m_service.web().answer(head))
            return std::move(*reply);
    } catch (const ServiceError& error) {
        return Dispatch(m_service, head).failed(error);
    }
    return std::make_shared<Dispatch>(m_service, head)->decide(connection);
}

httpd::Reply HttpHandler::refusal(const httpd::RequestHead& head, const httpd::Refusal& refusal)
{
    m_service.metrics().refused(refusal.status);
    httpd::Reply reply = Dispatch(m_service, head).failed(errorOf(refusal));
    reply.status = refusal.status;
    return reply;
}

void HttpHandler::ended(const httpd::RequestHead& head, std::optional<unsigned> status, std::chrono::steady_clock::duration time)
{
    // Connections have a thread each, so these are the statements of this request.
    m_service.metrics().ended(operationOf(head), status, time, takeStatementCount());
    if (m_service.options().logRequests)
        logRequest(head, status, time);
}

} // namespace kinloomd
