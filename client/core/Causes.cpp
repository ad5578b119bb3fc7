// SPDX-License-Identifier: MIT
#include "core/Causes.h"

#include "core/ErrorDocument.h"
#include "core/HostEvents.h"

#include <algorithm>

namespace kinloom {

namespace {

/// What an operation is about, and how it reads the answers that mean something else elsewhere.
struct Subject {
    std::string thing; ///< such as "group '12'"
    FailureReason missing = FailureReason::NOT_FOUND;
    FailureReason refused = FailureReason::FORBIDDEN;
    FailureReason badValue = FailureReason::BAD_VALUE;
    bool account = false; ///< asked of whatever answers at an address, which need not be a Kinloom service at all
};

Subject about(const char* kind, const std::string& uid) { return {std::string(kind) + " '" + uid + "'"}; }

Subject account()
{
    constexpr FailureReason STRANGE = FailureReason::UNEXPECTED_ANSWER;
    return {"device", STRANGE, STRANGE, STRANGE, true};
}

Subject subject(const ListGroups& order) { return order.person.empty() ? Subject{"list"} : about("person", order.person); }
Subject subject(const CreateGroup&) { return {"group", FailureReason::NOT_FOUND, FailureReason::NOT_ALLOWED}; }
Subject subject(const DeleteGroup& order) { return about("group", order.group); }
Subject subject(const ReadFeed& order)
{
    Subject found = about("group", order.group);
    found.badValue = FailureReason::BAD_MARKER;
    return found;
}
Subject subject(const ViewContent& order) { return about("content", order.content); }
Subject subject(const DeleteContent& order) { return about("content", order.content); }
Subject subject(const AskMimeType&) { return {"file at that address"}; }
Subject subject(const UploadPhoto& order)
{
    return {order.group, FailureReason::NO_PLACE, FailureReason::NOT_ALLOWED, FailureReason::BAD_FILE};
}
Subject subject(const DownloadFile&) { return {"file at that address"}; }
Subject subject(const CreateComment& order) { return about("content", order.content); }
Subject subject(const ViewComment& order) { return about("comment", order.comment); }
Subject subject(const DeleteComment& order) { return about("comment", order.comment); }
Subject subject(const SignIn&) { return account(); }
Subject subject(const RegisterDevice&) { return account(); }
Subject subject(const AskPerson&) { return account(); }

struct CodeMeaning {
    W::UINT32 code;
    FailureReason reason;
};

/// What an HTTP code means whatever was asked. Of the codes that are not here, those from 500 on are failures of the service.
constexpr CodeMeaning CODES[] = {
    {401, FailureReason::DEVICE_REFUSED}, {409, FailureReason::CONFLICT},    {412, FailureReason::CONFLICT},
    {408, FailureReason::UNAVAILABLE},    {413, FailureReason::TOO_LARGE},   {429, FailureReason::TOO_MANY},
    {502, FailureReason::GATEWAY},        {503, FailureReason::UNAVAILABLE}, {504, FailureReason::GATEWAY},
    {507, FailureReason::UNAVAILABLE},
};

/// The service's own codes for a device that it does not accept: they stand behind HTTP codes that mean other things too.
constexpr std::string_view DEVICE_CODES[] = {"206", "207"};

FailureReason reasonOf(W::UINT32 code, const std::string& serviceCode, const Subject& subject)
{
    const bool ofDevice = std::find(std::begin(DEVICE_CODES), std::end(DEVICE_CODES), serviceCode) != std::end(DEVICE_CODES);
    if (ofDevice && (code == 401 || code == 403))
        return FailureReason::DEVICE_REFUSED;
    // Any web server refuses so, and a sign-in at the wrong address meets one.
    if (subject.account && code == 401)
        return FailureReason::UNEXPECTED_ANSWER;
    if (code == 400)
        return subject.badValue;
    if (code == 403)
        return subject.refused;
    if (code == 404 || code == 410)
        return subject.missing;
    for (const CodeMeaning& entry : CODES)
        if (entry.code == code)
            return entry.reason;
    return code >= 500 ? FailureReason::SERVICE_FAILED : FailureReason::UNEXPECTED_ANSWER;
}

struct ReasonText {
    FailureReason reason;
    std::string_view text; ///< "{subject}", "{address}" and "{code}" stand for what they name
};

constexpr ReasonText TEXTS[] = {
    {FailureReason::NO_CONNECTION, "there is no way to the service at {address}"},
    {FailureReason::DEVICE_REFUSED, "the service at {address} does not accept this device: it was removed, or its token is wrong"},
    {FailureReason::FORBIDDEN, "the {subject} is not yours to touch"},
    {FailureReason::NOT_FOUND, "there is no {subject}, or it is not yours to see"},
    {FailureReason::NO_PLACE, "the service grants no place for it. Is '{subject}' a group of yours?"},
    {FailureReason::NOT_ALLOWED, "the service does not allow it"},
    {FailureReason::BAD_MARKER, "the service cannot begin there: the marker is none"},
    {FailureReason::BAD_FILE, "the service does not take this file"},
    {FailureReason::BAD_VALUE, "the service cannot use what was asked"},
    {FailureReason::CONFLICT, "it was done already, or is being done"},
    {FailureReason::TOO_LARGE, "it is larger than the service takes"},
    {FailureReason::TOO_MANY, "these were too many requests for the service at {address}"},
    {FailureReason::UNAVAILABLE, "the service at {address} cannot do it right now"},
    {FailureReason::GATEWAY, "what stands before the service at {address} does not get an answer from it"},
    {FailureReason::SERVICE_FAILED, "the service at {address} has failed"},
    {FailureReason::UNEXPECTED_ANSWER, "the service at {address} answers with HTTP {code}, which says nothing here"},
};

void put(std::string& text, std::string_view place, std::string_view value)
{
    if (const std::size_t at = text.find(place); at != std::string::npos)
        text.replace(at, place.size(), value);
}

std::string textOf(FailureReason reason, const Subject& subject, const std::string& address, W::UINT32 code)
{
    std::string text;
    for (const ReasonText& entry : TEXTS)
        if (entry.reason == reason)
            text = entry.text;
    // The service's address and code hold no such places; what a person typed goes in last.
    put(text, " at {address}", address.empty() ? "" : " at " + address);
    put(text, "{code}", std::to_string(code));
    put(text, "{subject}", subject.thing);
    return text;
}

bool mayBeExplained(const CallFailure& failure)
{
    return failure.kind == FailureKind::FAILED || failure.kind == FailureKind::REFUSED || failure.kind == FailureKind::TIMED_OUT;
}

/// A sentence of the host's for people, which stands in the failure already. Of those that are not about a connection, one is about
/// an address: nothing else of a request that is refused before it begins, or on its way, is the peer's doing.
bool leavesTls(const W::HttpExchange& exchange) { return exchange.explained && exchange.status == W::SESSION_PROTOCOL_ERROR; }

/// No reply came. That a connection broke off or took too long is what the status tells; why there was none is not.
void explainBroken(CallFailure& failure, const Subject& about, const W::HttpExchange& exchange)
{
    if (leavesTls(exchange)) {
        failure.reason = FailureReason::LEAVES_TLS;
        failure.cause = failure.detail = exchange.cause;
        return;
    }
    const bool none = exchange.status == W::SESSION_UNREACHABLE || exchange.status == W::SESSION_PROTOCOL_ERROR;
    // What the failure says already is more than libcurl's words.
    if (!none || exchange.cause.empty() || !failure.detail.empty())
        return;
    failure.reason = FailureReason::NO_CONNECTION;
    failure.cause = exchange.cause;
    failure.detail = textOf(failure.reason, about, failure.address, 0) + ": " + exchange.cause;
}

} // namespace

void tell(CallFailure& failure, const W::HttpExchange& exchange)
{
    failure.httpCode = exchange.code;
    failure.retryAfter = exchange.retryAfter;
    failure.cause = exchange.cause.empty() ? ErrorDocument::read(exchange.body).sentence : exchange.cause;
    // The plugin may have given up for another reason than its last exchange.
    if (exchange.explained && statusOf(exchange.status) == failure.status)
        failure.detail = exchange.cause;
}

void explain(CallFailure& failure, const Operation& operation, const W::HttpExchange& exchange)
{
    if (!mayBeExplained(failure) || failure.reason != FailureReason::UNKNOWN)
        return;
    const Subject about = std::visit([](const auto& order) { return subject(order); }, operation);
    const bool answered = exchange.status == W::SESSION_DONE;
    if (answered && (exchange.code == 0 || (exchange.code >= 200 && exchange.code < 300)))
        return; // nothing was asked, or the answer itself is what is wrong
    if (!answered) {
        explainBroken(failure, about, exchange);
        return;
    }
    const ErrorDocument document = ErrorDocument::read(exchange.body);
    failure.reason = reasonOf(exchange.code, document.code, about);
    failure.httpCode = exchange.code;
    failure.retryAfter = exchange.retryAfter;
    failure.cause = document.sentence;
    failure.detail = textOf(failure.reason, about, failure.address, exchange.code);
    if (!document.sentence.empty())
        failure.detail.append(failure.detail.back() == '?' ? " It says: \"" : ". It says: \"")
            .append(document.sentence)
            .append("\"");
}

bool mayHaveTakenEffect(const CallFailure& failure, const W::HttpExchange& exchange)
{
    if (failure.kind == FailureKind::REFUSED || failure.kind == FailureKind::INVALID)
        return false;
    if (failure.kind != FailureKind::FAILED)
        return true; // given up without an answer
    if (leavesTls(exchange))
        return false;
    constexpr W::SESSION_STATUS NOT_SENT[] = {W::SESSION_UNREACHABLE, W::SESSION_NOT_CREATED, W::SESSION_FILE_ERROR};
    if (exchange.status != W::SESSION_DONE)
        return std::find(std::begin(NOT_SENT), std::end(NOT_SENT), exchange.status) == std::end(NOT_SENT);
    // What stands before a service may have passed the request on, and a success whose document makes no sense is none that failed.
    const bool passedOn = exchange.code == 502 || exchange.code == 504;
    return passedOn || (exchange.code >= 200 && exchange.code < 300);
}

} // namespace kinloom
