// SPDX-License-Identifier: MIT
// Stores that fail, refuse, cut and lie.
#include "ScriptedStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using objects::ObjectNotFound;
using objects::Payload;
using objects::StoreRefused;
using objects::StoreUnavailable;
using objects_test::complaint;
using objects_test::ScriptedStore;
using objects_test::shortLimits;
using test::RawReply;
using test::RawRequest;
using testing::HasSubstr;
using testing::Not;

constexpr const char* TAG_OF_HELLO = "ETag: \"5d41402abc4b2a76b9719d911017c592\"";

class StoreFault : public ScriptedStore {
protected:
    using ScriptedStore::ScriptedStore;

    void putHello() { m_store.put("k", Payload("hello"), "image/jpeg"); }
    template <class Error> std::string sentenceOf(const std::function<void()>& call)
    {
        try {
            call();
        } catch (const Error& error) {
            return error.what();
        }
        return "it was done";
    }
};

struct Passing {
    const char* name;
    std::function<RawReply()> reply;
};

void PrintTo(const Passing& fault, std::ostream* out) { *out << fault.name; }

/// What passes: the request is sent again, whole, and then it is well.
class StorePassingFault : public StoreFault, public testing::WithParamInterface<Passing> {};

TEST_P(StorePassingFault, IsFollowedByAnotherAttempt)
{
    m_server.reply(GetParam().reply());
    m_server.reply(RawReply::ok("", {TAG_OF_HELLO}));
    putHello();
    ASSERT_EQ(m_server.requestCount(), 2U);
    EXPECT_EQ(m_server.last().body, "hello");
}

const Passing PASSING[] = {
    {"Failure", [] { return RawReply::status(500, complaint("InternalError")); }},
    {"FailureWithoutDocument", [] { return RawReply::status(502, "<html>Bad Gateway"); }},
    {"SlowDown", [] { return RawReply::status(503, complaint("SlowDown"), {"Retry-After: 1"}); }},
    {"TooMany", [] { return RawReply::status(429); }},
    {"ChangedBytes", [] { return RawReply::status(400, complaint("BadDigest")); }},
    {"WaitedTooLong", [] { return RawReply::status(400, complaint("RequestTimeout")); }},
    {"WrongTag", [] { return RawReply::ok("", {"ETag: \"00000000000000000000000000000000\""}); }},
    {"NoTag", [] { return RawReply::ok(); }},
    {"Reset", [] { return RawReply().reset(); }},
    {"Closed", [] { return RawReply().close(); }},
    {"CutInHead", [] { return RawReply().send("HTTP/1.1 200 OK\r\nContent-Le").close(); }},
    {"CutInBody", [] { return RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhal").close(); }},
    {"NoHttp", [] { return RawReply().send("SSH-2.0-no\r\n").close(); }},
    {"ComplaintInAGoodAnswer", [] { return RawReply::ok(" \n" + complaint("InternalError"), {TAG_OF_HELLO}); }},
};

INSTANTIATE_TEST_SUITE_P(Each, StorePassingFault, testing::ValuesIn(PASSING),
                         [](const testing::TestParamInfo<Passing>& each) { return std::string(each.param.name); });

struct Lasting {
    const char* name;
    unsigned status;
    const char* code;
    const char* sentence;
};

void PrintTo(const Lasting& fault, std::ostream* out) { *out << fault.name; }

/// What lasts: nothing is sent again, and the sentence says what to do.
class StoreLastingFault : public StoreFault, public testing::WithParamInterface<Lasting> {};

TEST_P(StoreLastingFault, IsToldAtOnce)
{
    const Lasting& fault = GetParam();
    m_server.reply(
        RawReply::status(static_cast<int>(fault.status), complaint(fault.code), {"Location: http://127.0.0.1:1/photos/k"}));
    EXPECT_THAT(sentenceOf<StoreRefused>([&] { putHello(); }), HasSubstr(fault.sentence));
    EXPECT_EQ(m_server.requestCount(), 1U);
}

const Lasting LASTING[] = {
    {"UnknownKey", 403, "InvalidAccessKeyId", "does not know the access key"},
    {"WrongSecret", 403, "SignatureDoesNotMatch", "the secret key"},
    {"NoRights", 403, "AccessDenied", "may not do that in this bucket"},
    {"WrongClock", 403, "RequestTimeTooSkewed", "clocks of this computer and of the store"},
    {"WrongRegion", 400, "AuthorizationHeaderMalformed", "another region"},
    {"NoBucket", 404, "NoSuchBucket", "the bucket does not exist"},
    {"Elsewhere", 301, "PermanentRedirect", "another endpoint"},
    {"ElsewhereForNow", 307, "Whatever", "its endpoint is another one (307 Whatever)"},
    {"NotDone", 501, "NotImplemented", "the store does not do it (501 NotImplemented)"},
};

INSTANTIATE_TEST_SUITE_P(Each, StoreLastingFault, testing::ValuesIn(LASTING),
                         [](const testing::TestParamInfo<Lasting>& each) { return std::string(each.param.name); });

TEST_F(StoreFault, IsNotATagThatIsNoDigest)
{
    const std::vector<std::string> kept[] = {
        {"ETag: \"0123-of-its-own\""},
        {"ETag: \"00000000000000000000000000000000\"", "x-amz-server-side-encryption: aws:kms"},
        {"ETag: \"00000000000000000000000000000000\"", "x-amz-server-side-encryption: aws:kms:dsse"},
        {"ETag: \"00000000000000000000000000000000\"", "x-amz-server-side-encryption-customer-algorithm: AES256"},
    };
    for (const std::vector<std::string>& header : kept) {
        m_server.reply(RawReply::ok("", header));
        EXPECT_NO_THROW(putHello()) << header.back();
        EXPECT_THAT(m_server.last().field("content-md5"), HasSubstr("XUFAKrxLKna5cZ2REBfFkg==")) << "the store compares with it";
    }
    EXPECT_EQ(m_server.requestCount(), std::size(kept));
}

TEST_F(StoreFault, IsNotToldInAStrangersWords)
{
    m_server.reply(RawReply::status(403, complaint("secret\x1b[31m or worse")));
    EXPECT_THAT(sentenceOf<StoreRefused>([&] { putHello(); }), Not(HasSubstr("secret")));
}

TEST_F(StoreFault, EndsWithItsAttempts)
{
    m_server.onRequest([](const RawRequest&) { return RawReply::status(500, complaint("InternalError")); });
    EXPECT_THAT(sentenceOf<StoreUnavailable>([&] { putHello(); }), HasSubstr("the store has failed (500 InternalError)"));
    EXPECT_EQ(m_server.requestCount(), 5U);
}

TEST_F(StoreFault, IsToldOfAStoreThatIsAway)
{
    m_server.greet(test::RawServer::Greeting::RESET);
    EXPECT_THAT(sentenceOf<StoreUnavailable>([&] { putHello(); }), HasSubstr("cannot be reached"));
    EXPECT_GE(m_server.connectionCount(), 5U);
}

TEST_F(StoreFault, IsOneOfNotThere)
{
    m_server.reply(RawReply::status(404, complaint("NoSuchKey")));
    EXPECT_THROW(m_store.get("k"), ObjectNotFound);
    m_server.reply(RawReply().send("HTTP/1.1 404 No\r\nContent-Length: 0\r\n\r\n"));
    EXPECT_THROW(m_store.head("k"), ObjectNotFound);
    m_server.reply(RawReply::status(404, complaint("NoSuchKey")));
    EXPECT_NO_THROW(m_store.remove("k"));
    m_server.reply(RawReply::status(404, complaint("NoSuchUpload")));
    EXPECT_NO_THROW(m_store.abortUpload("k", "u"));
}

TEST_F(StoreFault, IsNoneWhereTheUploadIsGoneAndItsObjectThere)
{
    m_server.reply(RawReply().reset());
    m_server.reply(RawReply::status(404, complaint("NoSuchUpload")));
    m_server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 5\r\nETag: \"x-1\"\r\n\r\n"));
    EXPECT_NO_THROW(m_store.completeUpload("k", "u", {"\"a\""}, 5));
    EXPECT_EQ(m_server.last().line(), "HEAD /photos/k HTTP/1.1");
}

TEST_F(StoreFault, IsOneWhereAnotherObjectIsThere)
{
    m_server.reply(RawReply::status(404, complaint("NoSuchUpload")));
    m_server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 7\r\nETag: \"x-1\"\r\n\r\n"));
    EXPECT_THROW(m_store.completeUpload("k", "u", {"\"a\""}, 5), ObjectNotFound);
}

TEST_F(StoreFault, OfALateKindIsNotTakenForSuccess)
{
    m_server.onRequest([](const RawRequest&) { return RawReply::ok("\n \n" + complaint("InternalError")); });
    EXPECT_THROW(m_store.completeUpload("k", "u", {"\"a\""}, 5), StoreUnavailable);
    EXPECT_EQ(m_server.requestCount(), 5U);
}

TEST_F(StoreFault, IsAListThatCannotBeRead)
{
    m_server.onRequest([](const RawRequest&) { return RawReply::ok("<!DOCTYPE r [<!ENTITY a \"b\">]><ListBucketResult/>"); });
    EXPECT_THROW(m_store.forEachObject("", [](const objects::ObjectEntry&) {}), StoreUnavailable);
}

TEST_F(StoreFault, IsAListThatTurnsInACircle)
{
    m_server.onRequest([](const RawRequest&) {
        return RawReply::ok(
            "<ListBucketResult><IsTruncated>true</IsTruncated><NextContinuationToken>t</NextContinuationToken></ListBucketResult>");
    });
    EXPECT_THROW(m_store.forEachObject("", [](const objects::ObjectEntry&) {}), StoreUnavailable);
    EXPECT_EQ(m_server.requestCount(), 2U);
}

TEST_F(StoreFault, IsADocumentWithoutEnd)
{
    m_server.onRequest([](const RawRequest&) {
        return RawReply().send("HTTP/1.1 200 OK\r\n\r\n<ListBucketResult>").sendEndlessly(std::string(65536, ' '));
    });
    EXPECT_THROW(m_store.forEachObject("", [](const objects::ObjectEntry&) {}), StoreRefused);
    EXPECT_EQ(m_server.requestCount(), 1U);
}

TEST_F(StoreFault, IsAHeadWithoutEnd)
{
    m_server.onRequest([](const RawRequest&) {
        return RawReply().send("HTTP/1.1 200 OK\r\n").sendEndlessly("X-Y: " + std::string(1000, 'z') + "\r\n");
    });
    EXPECT_THROW(m_store.head("k"), StoreUnavailable);
}

objects::StoreLimits impatient()
{
    objects::StoreLimits limits = shortLimits();
    limits.window = 50ms;
    limits.leastBytes = 1000;
    return limits;
}

class StoreSlowness : public StoreFault {
protected:
    StoreSlowness() : StoreFault(impatient()) {}
};

TEST_F(StoreSlowness, OfOneThatSaysNothingEnds)
{
    m_server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    EXPECT_THAT(sentenceOf<StoreUnavailable>([&] { putHello(); }), HasSubstr("says nothing"));
    EXPECT_EQ(m_server.requestCount(), 5U);
}

TEST_F(StoreSlowness, OfOneThatTricklesEnds)
{
    constexpr int SIZE = 100'000;
    m_server.onRequest([](const RawRequest& request) {
        const std::string range = request.field("range");
        const int begin = range.empty() ? 0 : std::stoi(range.substr(range.find('=') + 1));
        const std::string place = "bytes " + std::to_string(begin) + "-" + std::to_string(SIZE - 1) + "/" + std::to_string(SIZE);
        return RawReply()
            .send(std::string("HTTP/1.1 ") + (range.empty() ? "200" : "206") + " Yes\r\nContent-Length: " +
                  std::to_string(SIZE - begin) + "\r\nETag: \"a\"\r\nContent-Range: " + place + "\r\n\r\n")
            .drip(std::string(SIZE, 'x'), 1, 1ms);
    });
    const auto reader = m_store.get("k");
    char buffer[65536];
    EXPECT_THAT(sentenceOf<StoreUnavailable>([&] {
                    while (reader->read(buffer, sizeof buffer) != 0) {
                    }
                }),
                HasSubstr("too slowly"));
}

objects::StoreLimits withRoomForTwo()
{
    objects::StoreLimits limits = shortLimits();
    limits.waiting = 2;
    limits.silence = 1ms;
    return limits;
}

class StoreSilence : public StoreFault {
protected:
    StoreSilence() : StoreFault(withRoomForTwo()) {}
};

TEST_F(StoreSilence, KeepsNoMoreWaitingThanThereMayBe)
{
    m_server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    std::vector<std::thread> waiting;
    waiting.reserve(2);
    for (int i = 0; i < 2; ++i)
        waiting.emplace_back([&] { EXPECT_THROW(putHello(), StoreUnavailable); });
    EXPECT_TRUE(m_server.waitForWaiting(2));
    EXPECT_THAT(sentenceOf<StoreUnavailable>([&] { putHello(); }), HasSubstr("many wait for it already"));
    EXPECT_EQ(m_server.requestCount(), 2U) << "it is not even asked";
    m_store.stop();
    for (std::thread& thread : waiting)
        thread.join();
}

TEST_F(StoreFault, IsFoundByAProbeOnceAndInTime)
{
    EXPECT_NO_THROW(m_store.probe(10s));
    EXPECT_EQ(m_server.last().line(), "HEAD /photos HTTP/1.1");
    m_server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    EXPECT_THROW(m_store.probe(50ms), StoreUnavailable);
    EXPECT_EQ(m_server.requestCount(), 2U);
}

TEST_F(StoreFault, EndsWithTheProgram)
{
    m_server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    std::thread ending([&] {
        m_server.waitForWaiting(1);
        m_store.stop();
    });
    EXPECT_THROW(putHello(), StoreUnavailable);
    ending.join();
    EXPECT_THROW(putHello(), StoreUnavailable);
    EXPECT_LE(m_server.requestCount(), 2U);
}

} // namespace
