// SPDX-License-Identifier: MIT
#include "objects/ObjectStore.h"

#include "common/Digest.h"
#include "objects/Exchange.h"
#include "objects/Reading.h"

#include <algorithm>
#include <ctime>
#include <stdexcept>
#include <utility>

namespace objects {

namespace {

constexpr const char* DEFAULT_REGION = "us-east-1"; ///< the one that no document may name
constexpr const char* MOST_IN_PAGE = "1000";

/// A document in a request.
struct SentDocument {
    std::string text;

    void addTo(Call& call) const
    {
        call.payload = Payload(text);
        call.payloadDigest = common::toHex(common::sha256(text));
        call.headers.emplace_back("content-type", "application/xml");
    }
};

std::string escaped(std::string_view text)
{
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

constexpr std::size_t MD5_DIGITS = 32;

bool isMd5(std::string_view tag)
{
    return tag.size() == MD5_DIGITS && tag.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// What a store calls its bytes is their digest, unless it keeps them encrypted with keys that it was given or keeps elsewhere, or
/// names them otherwise: then it has compared what came with the digest that was sent along, as all of them do.
void requireSameBytes(const Answer& answer, const std::string& md5)
{
    const std::string encryption = answer.header("x-amz-server-side-encryption");
    if (encryption.rfind("aws:kms", 0) == 0 || !answer.header("x-amz-server-side-encryption-customer-algorithm").empty())
        return;
    const std::string etag = answer.header("etag");
    std::string_view tag = etag;
    if (tag.size() >= 2 && tag.front() == '"' && tag.back() == '"')
        tag = tag.substr(1, tag.size() - 2);
    if (tag.empty() || (isMd5(tag) && tag != md5))
        throw TransferFailed("the store has kept other bytes than it was sent");
}

/// Goes through a list, piece by piece. \param read makes a page of an answer, \param take visits it and prepares the query for the
/// next one. \return of the latter: whether there is one
template <class Page>
void forEachPage(Exchange& exchange, Call call, Page (*read)(std::string_view), const std::function<bool(Page&, Fields&)>& take)
{
    const Fields query = call.query;
    for (Fields before;;) {
        Page page;
        call.accept = [&](const Answer& answer) { page = read(answer.body); };
        exchange.ask(call);
        Fields next = query;
        if (!take(page, next))
            return;
        if (next == before)
            throw StoreUnavailable("the store's list does not go on");
        before = next;
        call.query = std::move(next);
    }
}

} // namespace

ObjectStore::ObjectStore(const StorePlace& place, Credentials credentials, const StoreLimits& limits)
    : m_exchange(std::make_unique<Exchange>(place, std::move(credentials), limits)), m_bucket(place.bucket), m_limits(limits)
{
    if (!isBucketName(place.bucket))
        throw std::invalid_argument(place.bucket + " is no name of a bucket: 3 to 63 small letters, digits, dots and hyphens");
}

ObjectStore::~ObjectStore() = default;

std::string ObjectStore::pathOf(const std::string& key) const { return "/" + m_bucket + "/" + key; }

void ObjectStore::makeBucket()
{
    const Call look{"HEAD", "/" + m_bucket, {}, {}, {}, "", nullptr, std::nullopt};
    try {
        m_exchange->ask(look);
        return;
    } catch (const ObjectNotFound&) {
        // It is made below.
    }
    Call call{"PUT", "/" + m_bucket, {}, {}, {}, "", nullptr, std::nullopt};
    const SentDocument document{
        "<CreateBucketConfiguration xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\"><LocationConstraint>" +
        escaped(m_exchange->region()) + "</LocationConstraint></CreateBucketConfiguration>"};
    if (m_exchange->region() != DEFAULT_REGION)
        document.addTo(call);
    try {
        m_exchange->ask(call);
    } catch (const ObjectError&) {
        // Another program may have been quicker. Stores say so in several ways.
        try {
            m_exchange->ask(look);
            return;
        } catch (const ObjectNotFound&) {
            // The refusal tells more.
        }
        throw;
    }
}

void ObjectStore::probe(std::chrono::milliseconds patience)
{
    const Call look{"HEAD", "/" + m_bucket, {}, {}, {}, "", nullptr, patience};
    const Clock::time_point deadline = Clock::now() + patience;
    Retries once = m_exchange->onceUntil(deadline);
    Exchange::repeated(once, [&] { return m_exchange->send(look, deadline)->readAll(deadline); });
}

void ObjectStore::put(const std::string& key, const Payload& payload, const std::string& contentType)
{
    put(key, payload, digestsOf(payload), contentType);
}

void ObjectStore::put(const std::string& key, const Payload& payload, const PayloadDigests& digests, const std::string& contentType)
{
    m_exchange->ask({"PUT",
                     pathOf(key),
                     {},
                     {{"content-md5", digests.md5Base64}, {"content-type", contentType}},
                     payload,
                     digests.sha256,
                     [&](const Answer& answer) { requireSameBytes(answer, digests.md5); },
                     std::nullopt});
}

std::string ObjectStore::beginUpload(const std::string& key, const std::string& contentType)
{
    // One that was begun twice, since its answer was lost, is found in the list of those that were not ended.
    std::string upload;
    m_exchange->ask({"POST",
                     pathOf(key),
                     {{"uploads", ""}},
                     {{"content-type", contentType}},
                     {},
                     "",
                     [&](const Answer& answer) { upload = readBegunUpload(answer.body); },
                     std::nullopt});
    return upload;
}

std::string ObjectStore::putPart(const std::string& key, const std::string& upload, unsigned number, const Payload& payload)
{
    return putPart(key, upload, number, payload, digestsOf(payload));
}

std::string ObjectStore::putPart(const std::string& key, const std::string& upload, unsigned number, const Payload& payload,
                                 const PayloadDigests& digests)
{
    const Answer answer = m_exchange->ask({"PUT",
                                           pathOf(key),
                                           {{"partNumber", std::to_string(number)}, {"uploadId", upload}},
                                           {{"content-md5", digests.md5Base64}},
                                           payload,
                                           digests.sha256,
                                           [&](const Answer& each) { requireSameBytes(each, digests.md5); },
                                           std::nullopt});
    return answer.header("etag");
}

void ObjectStore::completeUpload(const std::string& key, const std::string& upload, const std::vector<std::string>& tags,
                                 std::int64_t size)
{
    SentDocument document{"<CompleteMultipartUpload>"};
    unsigned number = 0;
    for (const std::string& tag : tags)
        document.text.append("<Part><PartNumber>" + std::to_string(++number) + "</PartNumber><ETag>" + escaped(tag) +
                             "</ETag></Part>");
    document.text += "</CompleteMultipartUpload>";
    Call call{"POST", pathOf(key), {{"uploadId", upload}}, {}, {}, "", nullptr, m_limits.ending};
    document.addTo(call);
    try {
        m_exchange->ask(call);
    } catch (const ObjectNotFound&) {
        // The answer to an attempt that did it may have been lost, and the upload is gone with it.
        if (head(key).size != size)
            throw;
    }
}

void ObjectStore::abortUpload(const std::string& key, const std::string& upload)
try {
    m_exchange->ask({"DELETE", pathOf(key), {{"uploadId", upload}}, {}, {}, "", nullptr, std::nullopt});
} catch (const ObjectNotFound&) {
    // That is what was wanted.
}

void ObjectStore::forEachUpload(const std::string& prefix, const std::function<void(const UnfinishedUpload&)>& visit)
{
    forEachPage<UploadPage>(*m_exchange,
                            {"GET",
                             "/" + m_bucket,
                             {{"uploads", ""}, {"prefix", prefix}, {"encoding-type", "url"}, {"max-uploads", MOST_IN_PAGE}},
                             {},
                             {},
                             "",
                             nullptr,
                             std::nullopt},
                            &readUploadPage, [&](UploadPage& page, Fields& query) {
                                std::for_each(page.uploads.begin(), page.uploads.end(), visit);
                                query.emplace_back("key-marker", page.nextKey);
                                query.emplace_back("upload-id-marker", page.nextUpload);
                                return !page.nextKey.empty();
                            });
}

std::unique_ptr<ObjectReader> ObjectStore::get(const std::string& key, std::optional<ObjectRange> range)
{
    if (range && range->length == 0)
        return std::make_unique<EmptyReader>(head(key));
    return std::make_unique<StoreReader>(*m_exchange, pathOf(key), range);
}

ObjectInfo ObjectStore::head(const std::string& key)
{
    ObjectInfo info;
    m_exchange->ask({"HEAD",
                     pathOf(key),
                     {},
                     {},
                     {},
                     "",
                     [&](const Answer& answer) {
                         info = {sizeNamed(answer.header("content-length")), answer.header("etag")};
                     },
                     std::nullopt});
    return info;
}

void ObjectStore::remove(const std::string& key)
try {
    m_exchange->ask({"DELETE", pathOf(key), {}, {}, {}, "", nullptr, std::nullopt});
} catch (const ObjectNotFound&) {
    // That is what was wanted.
}

void ObjectStore::forEachObject(const std::string& prefix, const std::function<void(const ObjectEntry&)>& visit)
{
    forEachPage<ObjectPage>(*m_exchange,
                            {"GET",
                             "/" + m_bucket,
                             {{"list-type", "2"}, {"prefix", prefix}, {"encoding-type", "url"}, {"max-keys", MOST_IN_PAGE}},
                             {},
                             {},
                             "",
                             nullptr,
                             std::nullopt},
                            &readObjectPage, [&](ObjectPage& page, Fields& query) {
                                std::for_each(page.objects.begin(), page.objects.end(), visit);
                                query.emplace_back("continuation-token", page.next);
                                return !page.next.empty();
                            });
}

std::string ObjectStore::presignedAddress(const Endpoint& endpoint, const std::string& key, std::chrono::seconds life,
                                          const Fields& reply) const
{
    const SignedRequest request{"GET", pathOf(key), reply, {{"host", endpoint.host}}};
    return endpoint.url() + m_exchange->signer().presignedTarget(request, std::time(nullptr), life);
}

void ObjectStore::stop() { m_exchange->stop(); }

} // namespace objects
