// SPDX-License-Identifier: MIT
// What a store is sent.
#include "ScriptedStore.h"

#include "common/UniqueFd.h"
#include "support/TempDir.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <system_error>
#include <unistd.h>

namespace {

using objects::Payload;
using objects_test::ScriptedStore;
using test::RawReply;
using test::RawRequest;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* MD5_OF_HELLO = "\"5d41402abc4b2a76b9719d911017c592\"";
constexpr const char* SHA256_OF_HELLO = "2cf24dba5fb0a30e26e83b2ac5b9e29e1b161e5c1fa7425e73043362938b9824";

class StoreRequest : public ScriptedStore {};

TEST_F(StoreRequest, PutsBytesWithTheirDigests)
{
    m_server.reply(RawReply::ok("", {std::string("ETag: ") + MD5_OF_HELLO}));
    m_store.put("media/3f/a b", Payload("hello"), "image/jpeg");
    const RawRequest request = m_server.last();
    EXPECT_EQ(request.line(), "PUT /photos/media/3f/a%20b HTTP/1.1");
    EXPECT_EQ(request.body, "hello");
    EXPECT_EQ(request.field("content-type"), " image/jpeg");
    EXPECT_EQ(request.field("content-md5"), " XUFAKrxLKna5cZ2REBfFkg==");
    EXPECT_EQ(request.field("x-amz-content-sha256"), std::string(" ") + SHA256_OF_HELLO);
    EXPECT_THAT(request.field("x-amz-date"), MatchesRegex(" [0-9]{8}T[0-9]{6}Z"));
    EXPECT_THAT(
        request.field("authorization"),
        MatchesRegex(" AWS4-HMAC-SHA256 Credential=key/[0-9]{8}/eu-1/s3/aws4_request, "
                     "SignedHeaders=content-md5;content-type;host;x-amz-content-sha256;x-amz-date, Signature=[0-9a-f]{64}"));
    EXPECT_FALSE(request.has("Expect"));
    EXPECT_FALSE(request.has("Transfer-Encoding"));
}

TEST_F(StoreRequest, PutsAPartOfAFile)
{
    const test::TempDir folder;
    test::writeFile(folder.file("f"), "xxhelloyy");
    const common::UniqueFd file(::open(folder.file("f").c_str(), O_RDONLY));
    m_server.reply(RawReply::ok("", {std::string("ETag: ") + MD5_OF_HELLO}));
    m_store.put("k", Payload(file.get(), 2, 5), "image/jpeg");
    EXPECT_EQ(m_server.last().body, "hello");
}

TEST_F(StoreRequest, FailsWithTheFileWhoseBytesAreNotThere)
{
    const test::TempDir folder;
    test::writeFile(folder.file("f"), "he");
    const common::UniqueFd file(::open(folder.file("f").c_str(), O_RDONLY));
    EXPECT_THROW(m_store.put("k", Payload(file.get(), 0, 5), "image/jpeg"), std::system_error);
    EXPECT_EQ(m_server.requestCount(), 0U);
}

TEST_F(StoreRequest, SendsTheTokenOfLentKeysUnderItsSignature)
{
    objects::ObjectStore lent({m_server.url(""), "eu-1", "photos"}, {"key", "secret", "token"});
    lent.remove("k");
    const RawRequest request = m_server.last();
    EXPECT_EQ(request.field("x-amz-security-token"), " token");
    EXPECT_THAT(request.field("authorization"), HasSubstr(";x-amz-security-token, "));
}

TEST_F(StoreRequest, KeepsItsConnection)
{
    m_server.onRequest([](const RawRequest&) { return RawReply::ok("", {std::string("ETag: ") + MD5_OF_HELLO}); });
    for (int i = 0; i < 3; ++i) {
        m_store.put("k", Payload("hello"), "image/jpeg");
        m_store.remove("k");
    }
    EXPECT_EQ(m_server.connectionCount(), 1U);
}

TEST_F(StoreRequest, UploadsInParts)
{
    m_server.reply(RawReply::ok("<InitiateMultipartUploadResult><UploadId>u/1</UploadId></InitiateMultipartUploadResult>"));
    m_server.reply(RawReply::ok("", {std::string("ETag: ") + MD5_OF_HELLO}));
    m_server.reply(RawReply::ok(" \n<CompleteMultipartUploadResult><ETag>\"x-1\"</ETag></CompleteMultipartUploadResult>"));
    const std::string upload = m_store.beginUpload("k", "image/jpeg");
    const std::string tag = m_store.putPart("k", upload, 1, Payload("hello"));
    m_store.completeUpload("k", upload, {tag}, 5);
    const auto requests = m_server.requests();
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[0].line(), "POST /photos/k?uploads= HTTP/1.1");
    EXPECT_EQ(requests[0].field("content-type"), " image/jpeg");
    EXPECT_EQ(requests[1].line(), "PUT /photos/k?partNumber=1&uploadId=u%2F1 HTTP/1.1");
    EXPECT_EQ(requests[2].line(), "POST /photos/k?uploadId=u%2F1 HTTP/1.1");
    EXPECT_EQ(requests[2].body, std::string("<CompleteMultipartUpload><Part><PartNumber>1</PartNumber><ETag>") + MD5_OF_HELLO +
                                    "</ETag></Part></CompleteMultipartUpload>");
}

TEST_F(StoreRequest, GoesThroughAListPieceByPiece)
{
    m_server.reply(RawReply::ok("<ListBucketResult><IsTruncated>true</IsTruncated><NextContinuationToken>t=</NextContinuationToken>"
                                "<Contents><Key>p/1</Key><Size>1</Size></Contents></ListBucketResult>"));
    m_server.reply(RawReply::ok("<ListBucketResult><Contents><Key>p/2</Key><Size>2</Size></Contents></ListBucketResult>"));
    std::string keys;
    m_store.forEachObject("p/", [&](const objects::ObjectEntry& entry) { keys += entry.key + ";"; });
    EXPECT_EQ(keys, "p/1;p/2;");
    const auto requests = m_server.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].target(), "/photos?encoding-type=url&list-type=2&max-keys=1000&prefix=p%2F");
    EXPECT_EQ(requests[1].target(), "/photos?continuation-token=t%3D&encoding-type=url&list-type=2&max-keys=1000&prefix=p%2F");
}

TEST_F(StoreRequest, MakesABucketThatIsMissing)
{
    m_server.reply(RawReply().send("HTTP/1.1 404 No\r\n\r\n").close());
    m_store.makeBucket();
    EXPECT_EQ(m_server.last().line(), "PUT /photos HTTP/1.1");
    EXPECT_THAT(m_server.last().body, HasSubstr("<LocationConstraint>eu-1</LocationConstraint>"));
    m_store.makeBucket();
    EXPECT_EQ(m_server.last().line(), "HEAD /photos HTTP/1.1");
}

TEST_F(StoreRequest, AsksNothingForAnAddress)
{
    const std::string address = m_store.presignedAddress(objects::parseEndpoint("https://media.example"), "a/b c",
                                                         std::chrono::seconds(60), {{"response-content-type", "image/jpeg"}});
    EXPECT_THAT(address,
                StartsWith("https://media.example/photos/a/b%20c?X-Amz-Algorithm=AWS4-HMAC-SHA256&X-Amz-Credential=key%2F"));
    EXPECT_THAT(address, HasSubstr("&X-Amz-Expires=60&"));
    EXPECT_THAT(address, HasSubstr("&response-content-type=image%2Fjpeg&X-Amz-Signature="));
    EXPECT_EQ(m_server.connectionCount(), 0U);
}

TEST(ObjectStore, TakesNoBucketThatCannotBe)
{
    EXPECT_THROW(objects::ObjectStore({"http://127.0.0.1", "eu-1", "../x"}, {"k", "s", ""}), std::invalid_argument);
    EXPECT_THROW(objects::ObjectStore({"127.0.0.1", "eu-1", "photos"}, {"k", "s", ""}), std::invalid_argument);
}

} // namespace
