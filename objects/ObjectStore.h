// SPDX-License-Identifier: MIT
/// \file A bucket of an object store that speaks the S3 interface.
///
///     objects::ObjectStore store({"https://store.example", "eu-1", "photos"}, objects::takeCredentialsFromEnvironment());
///     store.put("2024/cat.jpg", objects::Payload(bytes), "image/jpeg");
///     auto reader = store.get("2024/cat.jpg");
///     while (const std::size_t count = reader->read(buffer, sizeof buffer))
///         ...
///
/// Nothing here waits endlessly, and nothing is tried again that could be done twice by it. What the library asks of a store is
/// what all of them have: no conditional writes, no versions, addresses by path.
#ifndef OBJECTS_OBJECTSTORE_H
#define OBJECTS_OBJECTSTORE_H

#include "objects/Endpoint.h"
#include "objects/Errors.h"
#include "objects/Payload.h"
#include "objects/Replies.h"
#include "objects/Retries.h"
#include "objects/Signature.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace objects {

class Exchange;

/// Where a bucket is.
struct StorePlace {
    std::string endpoint; ///< "http://host:port" or "https://host"
    std::string region;
    std::string bucket;
};

/// For how long a store is waited for.
struct StoreLimits {
    std::chrono::milliseconds connect{5'000};  ///< until a connection stands
    std::chrono::milliseconds window{20'000};  ///< in which at least so much must move:
    std::int64_t leastBytes = 20 * 1024;       ///< or the attempt is given up
    std::chrono::milliseconds whole{60'000};   ///< of a request with all attempts, beside the time that its bytes may take
    std::chrono::milliseconds ending{180'000}; ///< of the end of an upload in parts, for which stores put the parts together
    unsigned waiting = 64;                     ///< requests, while the store says nothing; others are given up at once
    std::chrono::milliseconds silence{3'000};  ///< without any answer, until that counts as saying nothing
    RetryLimits retries;
};

/// What a store knows of an object.
struct ObjectInfo {
    std::int64_t size = 0;
    std::string tag; ///< of its bytes, in quotation marks
};

/// Bytes of an object.
struct ObjectRange {
    std::int64_t offset = 0;
    std::int64_t length = 0;
};

/// The bytes of an object, which come as fast as they are read: what was not read yet is a quarter of a MiB at most, the store
/// waits meanwhile, and there is no thread behind it. A connection that is cut is replaced, and the bytes go on where they were.
/// For one thread at a time; the store must outlive it.
class ObjectReader {
public:
    ObjectReader(const ObjectReader&) = delete;
    ObjectReader& operator=(const ObjectReader&) = delete;
    /// Gives the rest up.
    virtual ~ObjectReader() = default;

    /// Of the whole object.
    virtual const ObjectInfo& info() const = 0;
    /// Waits for bytes. \return how many; 0 behind the last one. Throws StoreUnavailable when they do not come in time, or are
    /// those of another object by now.
    virtual std::size_t read(char* buffer, std::size_t size) = 0;

protected:
    ObjectReader() = default;
};

/// One bucket. Safe for several threads. All of it throws ObjectNotFound, StoreRefused or StoreUnavailable, and what reading a
/// payload throws.
class ObjectStore {
public:
    /// Nothing is asked yet. Throws std::invalid_argument, whose text is a sentence, for what can be no endpoint or bucket.
    ObjectStore(const StorePlace& place, Credentials credentials, const StoreLimits& limits = {});
    ObjectStore(const ObjectStore&) = delete;
    ObjectStore& operator=(const ObjectStore&) = delete;
    ~ObjectStore();

    /// Makes the bucket unless it is there.
    void makeBucket();
    /// Asks whether the store answers for the bucket: once, and no longer than that.
    void probe(std::chrono::milliseconds patience);

    /// Stores an object, over what was there. When this returns the store has it, with the digest that its bytes have here.
    void put(const std::string& key, const Payload& payload, const std::string& contentType);
    /// The same of bytes whose digests are known. The store refuses others.
    void put(const std::string& key, const Payload& payload, const PayloadDigests& digests, const std::string& contentType);

    /// Begins an upload in parts. \return its number. It stays until it is completed or aborted.
    std::string beginUpload(const std::string& key, const std::string& contentType);
    /// Sends a part; all but the last have 5 MiB at least. \param number from 1 on. \return its tag.
    std::string putPart(const std::string& key, const std::string& upload, unsigned number, const Payload& payload);
    /// The same of bytes whose digests are known. The store refuses others.
    std::string putPart(const std::string& key, const std::string& upload, unsigned number, const Payload& payload,
                        const PayloadDigests& digests);
    /// Makes an object of the parts. \param tags of all parts, in their order. \param size of all of them
    void completeUpload(const std::string& key, const std::string& upload, const std::vector<std::string>& tags, std::int64_t size);
    /// Forgets an upload and its parts. It is no error when it is not there.
    void abortUpload(const std::string& key, const std::string& upload);
    /// Calls with each upload that was begun and neither completed nor aborted.
    void forEachUpload(const std::string& prefix, const std::function<void(const UnfinishedUpload&)>& visit);

    /// Begins to read an object. \param range within its size; nothing reads all of it.
    std::unique_ptr<ObjectReader> get(const std::string& key, std::optional<ObjectRange> range = std::nullopt);
    ObjectInfo head(const std::string& key);
    /// Removes an object. It is no error when it is not there.
    void remove(const std::string& key);
    /// Calls with each object whose key begins with something, in the order of the keys' bytes.
    void forEachObject(const std::string& prefix, const std::function<void(const ObjectEntry&)>& visit);

    /// An address by which anybody can read the object for so long. Nothing is asked for it. \param endpoint where those who get it
    /// reach the store. \param reply what the store is to answer with, such as {"response-content-type", "image/jpeg"}
    std::string presignedAddress(const Endpoint& endpoint, const std::string& key, std::chrono::seconds life,
                                 const Fields& reply = {}) const;

    /// Ends all waiting, now and later: each call throws StoreUnavailable. For the end of a program; safe on any thread.
    void stop();

private:
    std::string pathOf(const std::string& key) const;

    std::unique_ptr<Exchange> m_exchange;
    std::string m_bucket;
    StoreLimits m_limits;
};

} // namespace objects

#endif
