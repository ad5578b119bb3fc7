// SPDX-License-Identifier: MIT
#include "objects/Exchange.h"

#include "common/Digest.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace objects {

namespace {

constexpr std::int64_t ASSUMED_BYTES_PER_SECOND = std::int64_t{64} * 1024; ///< of a payload: the least that is waited for
constexpr unsigned FIRST_REDIRECT = 300;
constexpr unsigned FIRST_REFUSAL = 400;
constexpr unsigned FIRST_FAILURE = 500;

enum class Meaning { NOT_FOUND, REFUSED, AGAIN };

/// What stores say in their documents.
constexpr struct {
    const char* code;
    Meaning meaning;
    const char* sentence;
} CODES[] = {
    {"NoSuchKey", Meaning::NOT_FOUND, "there is no such object"},
    {"NoSuchUpload", Meaning::NOT_FOUND, "there is no such upload"},
    {"NoSuchBucket", Meaning::REFUSED, "the bucket does not exist"},
    {"InvalidAccessKeyId", Meaning::REFUSED, "the store does not know the access key"},
    {"SignatureDoesNotMatch", Meaning::REFUSED,
     "the secret key does not belong to the access key, or something on the way to the store changes requests"},
    {"AccessDenied", Meaning::REFUSED, "the keys may not do that in this bucket"},
    {"ExpiredToken", Meaning::REFUSED, "the keys were lent, and their time is over"},
    {"InvalidToken", Meaning::REFUSED, "the session token does not belong to the access key"},
    {"RequestTimeTooSkewed", Meaning::REFUSED, "the clocks of this computer and of the store differ too much; set this one right"},
    {"AuthorizationHeaderMalformed", Meaning::REFUSED, "the store is in another region than the one named"},
    {"PermanentRedirect", Meaning::REFUSED, "the bucket is reached at another endpoint"},
    {"TemporaryRedirect", Meaning::REFUSED, "the bucket is reached at another endpoint"},
    {"InvalidBucketName", Meaning::REFUSED, "the store takes no bucket of that name"},
    {"BadDigest", Meaning::AGAIN, "bytes were changed on their way to the store"},
    {"XAmzContentSHA256Mismatch", Meaning::AGAIN, "bytes were changed on their way to the store"},
    {"IncompleteBody", Meaning::AGAIN, "bytes were lost on their way to the store"},
    {"RequestTimeout", Meaning::AGAIN, "the store has waited too long for bytes"},
    {"OperationAborted", Meaning::AGAIN, "the store is busy with another request for this"},
    {"PreconditionFailed", Meaning::AGAIN, "the object is another one by now"},
    {"InternalError", Meaning::AGAIN, "the store has failed"},
    {"ServiceUnavailable", Meaning::AGAIN, "the store is not available"},
    {"SlowDown", Meaning::AGAIN, "the store has too much to do"},
};

/// What a status means without a document that is known.
Meaning meaningOf(unsigned status)
{
    constexpr unsigned NOT_FOUND = 404;
    constexpr unsigned NEVER_BETTER = 501;
    constexpr unsigned PASSING[] = {408, 409, 412, 429};
    if (status == NOT_FOUND)
        return Meaning::NOT_FOUND;
    const bool passing = (status >= FIRST_FAILURE && status != NEVER_BETTER) ||
                         std::find(std::begin(PASSING), std::end(PASSING), status) != std::end(PASSING);
    return passing ? Meaning::AGAIN : Meaning::REFUSED;
}

/// The status, and as much of a stranger's word as can be one of a store's.
std::string inBrackets(unsigned status, const std::string& code)
{
    constexpr std::size_t MOST = 64;
    const bool word = !code.empty() && code.size() <= MOST && std::all_of(code.begin(), code.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0;
    });
    return " (" + std::to_string(status) + (word ? " " + code : "") + ")";
}

std::optional<std::chrono::seconds> retryAfter(const std::string& value)
{
    unsigned seconds = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
    return error == std::errc() && end == value.data() + value.size() ? std::optional<std::chrono::seconds>(seconds) : std::nullopt;
}

/// Stores that need long begin to answer before they know what: with blanks, and behind them perhaps the news that it failed.
void requireNoComplaint(const Answer& answer)
{
    const auto begin = answer.body.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos || answer.body[begin] != '<')
        return;
    const std::string document = answer.body.substr(begin);
    if (!readComplaint(document).code.empty())
        throwComplaint(FIRST_FAILURE, document, std::nullopt);
}

} // namespace

void throwComplaint(unsigned status, const std::string& text, std::optional<std::chrono::seconds> wish)
{
    const StoreComplaint complaint = readComplaint(text);
    const auto* const known =
        std::find_if(std::begin(CODES), std::end(CODES), [&](const auto& each) { return complaint.code == each.code; });
    const bool isKnown = known != std::end(CODES);
    const Meaning meaning = isKnown ? known->meaning : meaningOf(status);
    const std::string sentence = (isKnown                  ? known->sentence
                                  : status < FIRST_REFUSAL ? "the store sends requests elsewhere; its endpoint is another one"
                                  : meaning == Meaning::NOT_FOUND ? "there is no such object"
                                                                  : "the store does not do it") +
                                 inBrackets(status, complaint.code);
    switch (meaning) {
    case Meaning::NOT_FOUND:
        throw ObjectNotFound(sentence);
    case Meaning::REFUSED:
        throw StoreRefused(sentence);
    case Meaning::AGAIN:
        break;
    }
    throw TransferFailed(sentence, TransferFailed::AGAIN, wish);
}

std::string Answer::header(const std::string& name) const
{
    const auto found = std::find_if(headers.begin(), headers.end(), [&](const auto& field) { return field.first == name; });
    return found == headers.end() ? std::string() : found->second;
}

Exchange::Exchange(const StorePlace& place, Credentials credentials, const StoreLimits& limits)
    : m_endpoint(parseEndpoint(place.endpoint)),
      m_region(place.region),
      m_sessionToken(credentials.sessionToken),
      m_signer(std::move(credentials), place.region),
      m_limits(limits),
      m_budget(limits.retries.budget)
{
}

Clock::time_point Exchange::deadlineOf(const Call& call) const
{
    return Clock::now() + call.patience.value_or(m_limits.whole) +
           std::chrono::seconds(call.payload.size() / ASSUMED_BYTES_PER_SECOND);
}

WireRequest Exchange::signedRequest(const Call& call) const
{
    static const std::string digestOfNothing = common::toHex(common::sha256(""));
    const std::time_t present = std::time(nullptr);
    const std::string& digest = call.payloadDigest.empty() ? digestOfNothing : call.payloadDigest;
    SignedRequest request{call.method, call.path, call.query, call.headers};
    request.headers.emplace_back("host", m_endpoint.host);
    request.headers.emplace_back("x-amz-content-sha256", digest);
    request.headers.emplace_back("x-amz-date", signatureTime(present));
    if (!m_sessionToken.empty())
        request.headers.emplace_back("x-amz-security-token", m_sessionToken);
    WireRequest wire{call.method, m_endpoint.url() + targetOf(request), request.headers, call.payload};
    wire.headers.emplace_back("authorization", m_signer.authorization(request, digest, present));
    return wire;
}

/// A store that hangs keeps those who ask it waiting until their time is over. It must not keep so many that nobody is left for
/// those who want nothing of it; one that is slow and answers may.
class Exchange::Waiting {
public:
    explicit Waiting(Exchange& exchange) : m_exchange(exchange)
    {
        const bool many = m_exchange.m_waiting.fetch_add(1) >= exchange.limits().waiting;
        if (!many || Clock::now() - m_exchange.m_heard.load() < exchange.limits().silence)
            return;
        --m_exchange.m_waiting;
        throw StoreUnavailable("the store says nothing, and many wait for it already");
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() { --m_exchange.m_waiting; }
    void heard() { m_exchange.m_heard = Clock::now(); }

private:
    Exchange& m_exchange;
};

std::unique_ptr<Transfer> Exchange::send(const Call& call, Clock::time_point deadline)
{
    Waiting waiting(*this);
    const Pace pace{m_limits.connect, call.patience.value_or(m_limits.window), m_limits.leastBytes};
    auto transfer = std::make_unique<Transfer>(m_lanes, signedRequest(call), pace);
    const unsigned status = transfer->awaitHead(deadline);
    waiting.heard();
    if (status < FIRST_REDIRECT)
        return transfer;
    throwComplaint(status, transfer->readAll(deadline), retryAfter(transfer->header("retry-after")));
}

Answer Exchange::ask(const Call& call)
{
    const Clock::time_point deadline = deadlineOf(call);
    Retries retries = retriesUntil(deadline);
    return repeated(retries, [&] {
        const auto transfer = send(call, deadline);
        Answer answer{transfer->awaitHead(deadline), transfer->readAll(deadline), transfer->headers()};
        requireNoComplaint(answer);
        if (call.accept)
            call.accept(answer);
        retries.succeeded();
        return answer;
    });
}

} // namespace objects
