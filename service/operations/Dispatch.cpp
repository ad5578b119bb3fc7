// SPDX-License-Identifier: MIT
#include "operations/Dispatch.h"

#include "core/Log.h"
#include "httpd/Address.h"
#include "objects/Errors.h"
#include "operations/AccessLog.h"
#include "operations/Authenticate.h"
#include "operations/Documents.h"
#include "operations/FaultyReply.h"
#include "operations/page/Json.h"
#include "operations/page/SafeHeaders.h"
#include "store/DatabaseError.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace kinloomd {

namespace {

constexpr std::uint64_t UPLOAD_DROP_LIMIT = 64 << 20;
constexpr std::size_t COMPLAINT_BYTES = 1000;

// When clients should come again.
constexpr unsigned DATABASE_RETRY_SECONDS = 2; ///< when a connection to it was lost, others are made at once
constexpr unsigned STORE_RETRY_SECONDS = 30;   ///< when the store of media is away
constexpr unsigned DISK_RETRY_SECONDS = 30;    ///< when somebody has to make room

ServiceError passing(Failure failure, unsigned retrySeconds)
{
    return ServiceError(failure, describe(failure).description, retrySeconds);
}

void complain(const char* what) { writeLog(Priority::FAILURE, loggable(what, COMPLAINT_BYTES)); }

/// The failure that a client should be told of when the database refuses.
ServiceError failureOf(const DatabaseError& error)
{
    if (dynamic_cast<const DatabaseFull*>(&error) != nullptr)
        return passing(Failure::DISK_FULL, DISK_RETRY_SECONDS);
    if (dynamic_cast<const NotText*>(&error) != nullptr)
        return ServiceError(Failure::BAD_PARAMETER);
    if (dynamic_cast<const DatabaseUnavailable*>(&error) != nullptr)
        return passing(Failure::UNAVAILABLE, DATABASE_RETRY_SECONDS);
    return ServiceError(Failure::INTERNAL);
}

constexpr struct {
    ReadOnlyCause cause;
    const char* sentence;
    bool surprising; ///< to those who run the service
} READ_ONLY_ENTRIES[] = {
    {ReadOnlyCause::MOVING, "The family's photos are being moved: they can be seen, and changed again soon.", false},
    {ReadOnlyCause::MOVED, "The family's photos were moved: this service only shows how they were.", false},
    {ReadOnlyCause::MEDIA_MOVED, "The family's photos were moved: until it is begun anew, this service only shows how they were.",
     true},
};

/// The same while the records or their media are moved, and for a service that they were moved away from.
ServiceError failureOf(const DatabaseReadOnly& error)
{
    constexpr unsigned RETRY_SECONDS = 60;
    const auto* const entry = std::find_if(std::begin(READ_ONLY_ENTRIES), std::end(READ_ONLY_ENTRIES),
                                           [&](const auto& each) { return each.cause == error.cause(); });
    if (entry->surprising)
        complain(error.what());
    return ServiceError(Failure::UNAVAILABLE, entry->sentence, RETRY_SECONDS);
}

/// The same of a file that cannot be written: no space, no permission, a failing disk.
ServiceError failureOf(const std::system_error& error)
{
    const int number = error.code().value();
    const bool full = number == ENOSPC || number == EDQUOT || number == EFBIG;
    return passing(full ? Failure::DISK_FULL : Failure::UNAVAILABLE, DISK_RETRY_SECONDS);
}

bool isFailedSignIn(Failure failure)
{
    return failure == Failure::NOT_SIGNED || failure == Failure::REFUSED_DEVICE || failure == Failure::NOT_SIGNED_IN;
}

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
        return m_dispatch->guarded([&] { return m_dispatch->sent(m_dispatch->done(m_dispatch->m_sink->finish())); });
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
    } catch (const objects::ObjectError& error) {
        complain(error.what());
        return failed(passing(Failure::UNAVAILABLE, STORE_RETRY_SECONDS));
    } catch (const DatabaseReadOnly& error) {
        return failed(failureOf(error));
    } catch (const DatabaseError& error) {
        complain(error.what());
        return failed(failureOf(error));
    } catch (const std::system_error& error) {
        complain(error.what());
        return failed(failureOf(error));
    } catch (const std::exception& error) {
        complain(error.what());
        return failed(ServiceError(Failure::INTERNAL));
    }
}

Reply Dispatch::refuse(const ServiceError& error) const
{
    const bool signIn = m_route.operation != nullptr && m_route.operation->access == Access::SIGN_IN;
    Reply reply = isPagePath(m_request.head.path())
                      ? pageFailure(error)
                      : failureReply(m_service.options().replyShape, error, signIn && describe(error.failure()).httpStatus == 403);
    if (error.failure() == Failure::NOT_SIGNED)
        reply.headers.emplace_back("WWW-Authenticate", "KL_AUTH_V1");
    if (error.failure() == Failure::WRONG_METHOD)
        reply.headers.emplace_back("Allow", allowedMethods(m_request.head.path()));
    if (error.failure() == Failure::TOO_MANY_REQUESTS || error.retrySeconds() != 0)
        reply.headers.emplace_back("Retry-After", std::to_string(std::max(error.retrySeconds(), 1U)));
    return reply;
}

Reply Dispatch::failed(const ServiceError& error) const { return sent(refuse(error)); }

/// The reply as it is to be sent: a fault of the operation spoils failures too.
Reply Dispatch::sent(Reply reply) const
{
    addSafety(reply, m_request.head);
    return m_fault ? withFault(std::move(reply), *m_fault) : std::move(reply);
}

httpd::Decision Dispatch::begin(httpd::Connection& connection)
{
    m_request.connection = &connection;
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
        Reply reply = refuse(ServiceError(Failure::UNAVAILABLE, "This failure was asked for."));
        reply.status = *m_fault->status;
        return sent(std::move(reply));
    }
    chooseBaseUrl();
    findCaller();
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
    m_request.baseUrl = m_request.head.scheme + "://" + host;
}

void Dispatch::findCaller()
{
    try {
        m_request.caller = authenticate(m_service, m_request, m_route.operation->access);
    } catch (const ServiceError& error) {
        if (isFailedSignIn(error.failure())) {
            m_service.metrics().signInFailed(error.failure());
            logFailedSignIn(m_request.head, error, m_service.signInThrottle());
        }
        throw;
    }
}

httpd::Decision Dispatch::takeBody()
{
    const auto self = shared_from_this();
    // Whether the key in an address is right, its handler finds out.
    const bool known = m_route.operation->access != Access::KEY;
    if (m_route.operation->openBody != nullptr) {
        m_sink = m_route.operation->openBody(m_service, m_request);
        httpd::Decision decision(std::make_unique<Sink>(self));
        decision.known = known;
        return decision;
    }
    httpd::BodyInMemory body;
    body.limit = m_service.options().limits.formBytes;
    body.handle = [self](std::string bytes) { return self->guarded([&] { return self->sent(self->handle(std::move(bytes))); }); };
    body.tooLarge = [self] { return self->failed(ServiceError(Failure::TOO_LARGE)); };
    httpd::Decision decision(std::move(body));
    decision.known = known;
    return decision;
}

Reply Dispatch::handle(std::string body)
{
    m_request.body = std::move(body);
    m_request.form = decodeForm(m_request.body);
    return done(m_route.operation->handle(m_service, m_request));
}

/// The reply of an operation that has done what it was asked for.
Reply Dispatch::done(Reply reply)
{
    if (!m_request.cookie.empty())
        reply.headers.emplace_back("Set-Cookie", m_request.cookie);
    if (m_request.head.method != "GET" && m_request.head.method != "HEAD")
        m_service.changes().ring();
    return reply;
}

} // namespace kinloomd
