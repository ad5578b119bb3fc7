// SPDX-License-Identifier: MIT
#include "operations/Dispatch.h"

#include "httpd/Address.h"
#include "operations/Authenticate.h"
#include "operations/Documents.h"
#include "operations/FaultyReply.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstdio>
#include <sqlite3.h>
#include <system_error>

namespace kinloomd {

namespace {

constexpr std::uint64_t UPLOAD_DROP_LIMIT = 64 << 20;

/// The failure that a client should be told of when the database refuses.
Failure failureOf(const SQLite::Exception& error)
{
    switch (error.getErrorCode()) {
    case SQLITE_FULL:
    case SQLITE_READONLY:
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
    case SQLITE_BUSY:
        return Failure::UNAVAILABLE;
    default:
        return Failure::INTERNAL;
    }
}

void complain(const char* what) { std::fprintf(stderr, "kinloomd: %s\n", what); }

} // namespace

/// The body of an upload on its way to the operation's sink.
class Dispatch::Sink : public httpd::BodySink {
public:
    explicit Sink(std::shared_ptr<Dispatch> dispatch) : m_dispatch(std::move(dispatch)) {}

    std::optional<httpd::Reply> feed(std::string_view bytes) override
    {
        return m_dispatch->guarded([&]() -> std::optional<Reply> {
            m_dispatch->m_sink->feed(bytes);
            return std::nullopt;
        });
    }

    httpd::Reply finish() override
    {
        return m_dispatch->guarded([&] { return m_dispatch->sent(m_dispatch->m_sink->finish()); });
    }

private:
    std::shared_ptr<Dispatch> m_dispatch;
};

httpd::Decision Dispatch::decide(httpd::Connection& connection)
{
    httpd::Decision decision = guarded([&] { return begin(connection); });
    if (m_route.operation != nullptr && m_route.operation->openBody != nullptr)
        decision.dropLimit = UPLOAD_DROP_LIMIT;
    return decision;
}

/// Runs a step; whatever it throws becomes the reply.
template <typename Step> auto Dispatch::guarded(Step step) -> decltype(step())
{
    try {
        return step();
    } catch (const ServiceError& error) {
        return failed(error);
    } catch (const SQLite::Exception& error) {
        complain(error.what());
        return failed(ServiceError(failureOf(error)));
    } catch (const std::system_error& error) {
        // A file that cannot be written: no space, no permission, a failing disk.
        complain(error.what());
        return failed(ServiceError(Failure::UNAVAILABLE));
    } catch (const std::exception& error) {
        complain(error.what());
        return failed(ServiceError(Failure::INTERNAL));
    }
}

Reply Dispatch::refuse(const ServiceError& error) const
{
    const bool signIn = m_route.operation != nullptr && m_route.operation->access == Access::SIGN_IN;
    Reply reply = failureReply(m_service.options().replyShape, error, signIn && describe(error.failure()).httpStatus == 403);
    if (error.failure() == Failure::NOT_SIGNED)
        reply.headers.emplace_back("WWW-Authenticate", "KL_AUTH_V1");
    if (error.failure() == Failure::WRONG_METHOD)
        reply.headers.emplace_back("Allow", allowedMethods(m_request.head.path()));
    if (error.failure() == Failure::TOO_MANY_REQUESTS)
        reply.headers.emplace_back("Retry-After", "1");
    return reply;
}

Reply Dispatch::failed(const ServiceError& error) const { return sent(refuse(error)); }

/// The reply as it is to be sent: a fault of the operation spoils failures too.
Reply Dispatch::sent(Reply reply) const { return m_fault ? withFault(std::move(reply), *m_fault) : std::move(reply); }

httpd::Decision Dispatch::begin(httpd::Connection& connection)
{
    findOperation();
    if (m_route.operation->access != Access::LOOPBACK_ONLY)
        m_fault = m_service.faults().take(m_route.operation->name);
    if (m_fault && m_fault->delay.count() > 0) {
        connection.hold();
        m_service.stopSignal().sleepFor(m_fault->delay);
    }
    if (m_fault && m_fault->reset)
        return httpd::Reset();
    if (m_fault && m_fault->status) {
        Reply reply =
            failureReply(m_service.options().replyShape, ServiceError(Failure::UNAVAILABLE, "This failure was asked for."));
        reply.status = *m_fault->status;
        return sent(std::move(reply));
    }
    chooseBaseUrl();
    m_request.caller = authenticate(m_service, m_request, m_route.operation->access);
    return takeBody();
}

void Dispatch::findOperation()
{
    m_route = route(m_request.head.method, m_request.head.path());
    m_request.subject = m_route.subject;
    m_request.pieces = m_route.pieces;
    m_request.query = decodeForm(m_request.head.query());
}

void Dispatch::chooseBaseUrl()
{
    if (!m_service.options().publicUrl.empty()) {
        m_request.baseUrl = m_service.options().publicUrl;
        return;
    }
    // Clients may reach this service under a name that they route here themselves, so replies repeat the name that they used.
    const std::string host = m_request.header("Host").value_or("");
    if (!httpd::isHostHeader(host))
        throw ServiceError(Failure::MALFORMED_REQUEST, "The Host header is missing or malformed.");
    m_request.baseUrl = "http://" + host;
}

httpd::Decision Dispatch::takeBody()
{
    const auto self = shared_from_this();
    if (m_route.operation->openBody != nullptr) {
        m_sink = m_route.operation->openBody(m_service, m_request);
        return httpd::Decision(std::make_unique<Sink>(self));
    }
    httpd::BodyInMemory body;
    body.limit = m_service.options().limits.formBytes;
    body.handle = [self](std::string bytes) { return self->guarded([&] { return self->sent(self->handle(std::move(bytes))); }); };
    body.tooLarge = [self] { return self->failed(ServiceError(Failure::TOO_LARGE)); };
    return body;
}

Reply Dispatch::handle(std::string body)
{
    m_request.body = std::move(body);
    m_request.form = decodeForm(m_request.body);
    return m_route.operation->handle(m_service, m_request);
}

} // namespace kinloomd
