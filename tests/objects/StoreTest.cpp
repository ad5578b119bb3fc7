// SPDX-License-Identifier: MIT
// A real store does what the library thinks that stores do.
#include "objects/ObjectStore.h"

#include "common/UniqueFd.h"
#include "support/TempDir.h"
#include "support/TestStore.h"

#include <algorithm>
#include <curl/curl.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using objects::ObjectNotFound;
using objects::ObjectRange;
using objects::ObjectStore;
using objects::Payload;
using objects::StoreRefused;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string bytesOf(std::size_t size)
{
    std::string bytes(size, '\0');
    unsigned state = 1;
    for (char& c : bytes)
        c = static_cast<char>((state = state * 1'103'515'245 + 12'345) >> 16);
    return bytes;
}

std::string restOf(objects::ObjectReader& reader)
{
    std::string all;
    std::string block(100'000, '\0');
    while (const std::size_t count = reader.read(block.data(), block.size()))
        all.append(block, 0, count);
    return all;
}

class RealStore : public testing::Test {
protected:
    RealStore() : m_store({m_engine.endpoint, m_engine.region, m_bucket}, {m_engine.accessKey, m_engine.secretKey, ""})
    {
        m_store.makeBucket();
    }

    std::vector<std::string> keys(const std::string& prefix = "")
    {
        std::vector<std::string> keys;
        m_store.forEachObject(prefix, [&](const objects::ObjectEntry& entry) { keys.push_back(entry.key); });
        return keys;
    }

    test::TestStore m_engine = test::TestStore::ofEnvironment();
    std::string m_bucket = test::TestStore::newBucket();
    ObjectStore m_store;
};

TEST_F(RealStore, KeepsAnObjectUntilItIsRemoved)
{
    m_store.put("media/3f/1", Payload("hello"), "image/jpeg");
    EXPECT_EQ(m_store.head("media/3f/1").size, 5);
    const auto reader = m_store.get("media/3f/1");
    EXPECT_EQ(restOf(*reader), "hello");
    EXPECT_EQ(reader->info().tag, "\"5d41402abc4b2a76b9719d911017c592\"");
    m_store.remove("media/3f/1");
    EXPECT_THROW(m_store.get("media/3f/1"), ObjectNotFound);
    EXPECT_THROW(m_store.head("media/3f/1"), ObjectNotFound);
    EXPECT_NO_THROW(m_store.remove("media/3f/1"));
}

TEST_F(RealStore, IsThereAlreadyWhenItIsMadeAgain)
{
    m_store.put("k", Payload("x"), "image/jpeg");
    m_store.makeBucket();
    EXPECT_EQ(m_store.head("k").size, 1);
}

TEST_F(RealStore, TakesAnyKey)
{
    const std::vector<std::string> odd = {"a b/c+d%20&=?#", "dots/../here", "\xc3\xa9\xe2\x82\xac", "double//slash", "quote\"<>'"};
    for (const std::string& key : odd)
        m_store.put(key, Payload(key), "text/plain");
    for (const std::string& key : odd)
        EXPECT_EQ(restOf(*m_store.get(key)), key);
    std::vector<std::string> sorted = odd;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(keys(), sorted);
}

TEST_F(RealStore, SendsThePartsThatItIsAskedFor)
{
    const std::string bytes = bytesOf(1'000'000);
    m_store.put("k", Payload(bytes), "image/jpeg");
    const auto part = m_store.get("k", ObjectRange{123'456, 7'890});
    EXPECT_EQ(part->info().size, 1'000'000);
    EXPECT_EQ(restOf(*part), bytes.substr(123'456, 7'890));
    EXPECT_EQ(restOf(*m_store.get("k", ObjectRange{999'999, 1})), bytes.substr(999'999));
}

TEST_F(RealStore, KeepsAnEmptyObject)
{
    m_store.put("k", Payload(), "image/jpeg");
    EXPECT_EQ(restOf(*m_store.get("k")), "");
    EXPECT_EQ(m_store.head("k").size, 0);
}

TEST_F(RealStore, PutsPartsTogether)
{
    const std::string bytes = bytesOf((5U << 20) + 1000);
    const test::TempDir folder;
    test::writeFile(folder.file("f"), bytes);
    const common::UniqueFd file(::open(folder.file("f").c_str(), O_RDONLY));
    const std::string upload = m_store.beginUpload("k", "image/jpeg");
    const std::string first = m_store.putPart("k", upload, 1, Payload(file.get(), 0, 5U << 20));
    const std::string second = m_store.putPart("k", upload, 2, Payload(file.get(), 5U << 20, 1000));
    EXPECT_THAT(keys(), IsEmpty());
    m_store.completeUpload("k", upload, {first, second}, static_cast<std::int64_t>(bytes.size()));
    EXPECT_THAT(keys(), ElementsAre("k"));
    EXPECT_EQ(restOf(*m_store.get("k")), bytes);
    EXPECT_EQ(restOf(*m_store.get("k", ObjectRange{(5 << 20) - 10, 20})), bytes.substr((5U << 20) - 10, 20));
    // The answer may have been lost: done twice, it is done.
    m_store.completeUpload("k", upload, {first, second}, static_cast<std::int64_t>(bytes.size()));
    m_store.remove("k");
    EXPECT_THAT(keys(), IsEmpty());
}

TEST_F(RealStore, ListsUploadsThatWereNotEnded)
{
    const std::string upload = m_store.beginUpload("media/a", "image/jpeg");
    m_store.putPart("media/a", upload, 1, Payload("part"));
    m_store.beginUpload("other/b", "image/jpeg");
    std::vector<std::string> found;
    m_store.forEachUpload("media/", [&](const objects::UnfinishedUpload& each) {
        EXPECT_GT(each.begun, 1'700'000'000);
        found.push_back(each.key + " " + each.upload);
    });
    EXPECT_THAT(found, ElementsAre("media/a " + upload));
    m_store.abortUpload("media/a", upload);
    m_store.abortUpload("media/a", upload);
    m_store.forEachUpload("media/", [&](const objects::UnfinishedUpload& each) { ADD_FAILURE() << each.key; });
}

TEST_F(RealStore, ListsMoreThanAPieceHolds)
{
    constexpr int COUNT = 1'100;
    constexpr int THREADS = 8;
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = thread; i < COUNT; i += THREADS)
                m_store.put("p/" + std::to_string(100'000 + i), Payload("x"), "image/jpeg");
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    const std::vector<std::string> found = keys("p/");
    ASSERT_EQ(found.size(), static_cast<std::size_t>(COUNT));
    EXPECT_EQ(found.front(), "p/100000");
    EXPECT_EQ(found.back(), "p/101099");
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
}

TEST_F(RealStore, HandsOutAnAddressThatNeedsNoKeys)
{
    m_store.put("a b", Payload("hello"), "image/jpeg");
    const std::string address = m_store.presignedAddress(objects::parseEndpoint(m_engine.endpoint), "a b", std::chrono::seconds(60),
                                                         {{"response-content-type", "image/png"}});
    const std::unique_ptr<CURL, decltype(&::curl_easy_cleanup)> curl(::curl_easy_init(), &::curl_easy_cleanup);
    std::string body;
    ::curl_easy_setopt(curl.get(), CURLOPT_URL, address.c_str());
    ::curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &body);
    ::curl_easy_setopt(
        curl.get(), CURLOPT_WRITEFUNCTION, +[](char* bytes, std::size_t size, std::size_t count, void* text) -> std::size_t {
            static_cast<std::string*>(text)->append(bytes, size * count);
            return size * count;
        });
    ASSERT_EQ(::curl_easy_perform(curl.get()), CURLE_OK);
    const char* type = nullptr;
    ::curl_easy_getinfo(curl.get(), CURLINFO_CONTENT_TYPE, &type);
    EXPECT_EQ(body, "hello");
    EXPECT_STREQ(type, "image/png");
}

TEST_F(RealStore, RefusesOthersInASentence)
{
    const auto sentenceOf = [&](const std::string& key, const std::string& secret, const std::string& bucket) -> std::string {
        ObjectStore stranger({m_engine.endpoint, m_engine.region, bucket}, {key, secret, ""});
        try {
            stranger.put("k", Payload("x"), "image/jpeg");
        } catch (const StoreRefused& error) {
            return error.what();
        }
        return "done";
    };
    EXPECT_THAT(sentenceOf(m_engine.accessKey, "wrong", m_bucket), HasSubstr("secret key"));
    EXPECT_THAT(sentenceOf("nobody:at-all", "wrong", m_bucket), HasSubstr("key"));
    EXPECT_THAT(sentenceOf(m_engine.accessKey, m_engine.secretKey, m_bucket + "-none"), HasSubstr("the bucket does not exist"));
}

} // namespace
