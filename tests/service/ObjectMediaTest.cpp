// SPDX-License-Identifier: MIT
// Media in a real store of objects.
#include "media/ObjectMedia.h"

#include "KinloomdProcess.h"
#include "media/ObjectDraft.h"
#include "support/TestStore.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using namespace kinloomd;
using kinloomd_test::TemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

/// Bytes in which each place says where it is.
std::string countedBytes(std::int64_t size)
{
    std::string bytes;
    bytes.reserve(static_cast<std::size_t>(size) + 16);
    while (static_cast<std::int64_t>(bytes.size()) < size)
        bytes += std::to_string(bytes.size()) + ",";
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
}

std::string bytesOf(MediumReader& reader)
{
    std::string bytes;
    std::string block(100'000, '\0');
    while (const std::size_t count = reader.read(block.data(), block.size()))
        bytes.append(block, 0, count);
    return bytes;
}

class StoredObjects : public testing::Test {
protected:
    StoredObjects() { m_media.prepare(); }

    static std::unique_ptr<objects::ObjectStore> newStore()
    {
        const test::TestStore place = test::TestStore::ofEnvironment();
        return std::make_unique<objects::ObjectStore>(
            objects::StorePlace{place.endpoint, place.region, test::TestStore::newBucket()},
            objects::Credentials{place.accessKey, place.secretKey, ""});
    }

    void keep(Id content, const std::string& bytes = "bytes", std::int64_t attempt = 0)
    {
        const auto draft = m_media.newOriginal({content, attempt});
        draft->write(bytes);
        draft->keep();
    }
    std::string original(Id content, const std::string& bytes)
    {
        const auto medium = m_media.openOriginal({content}, static_cast<std::int64_t>(bytes.size()));
        const auto reader = medium->read(0, medium->size());
        return reader ? bytesOf(*reader) : "nothing";
    }
    std::vector<std::string> keys()
    {
        std::vector<std::string> keys;
        m_media.store().forEachObject("", [&](const objects::ObjectEntry& entry) { keys.push_back(entry.key); });
        return keys;
    }
    std::size_t unfinished()
    {
        std::size_t count = 0;
        m_media.store().forEachUpload("", [&](const objects::UnfinishedUpload&) { ++count; });
        return count;
    }
    std::size_t temporaryFiles() const
    {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(m_folder.path()), {}));
    }

    TemporaryFolder m_folder;
    ObjectMedia m_media{newStore(), "family/", objects::parseEndpoint("https://media.example"), m_folder.path()};
};

TEST_F(StoredObjects, HaveKeysThatTheirContentsGive)
{
    EXPECT_EQ(m_media.originalKey({319}), "family/media/3f/319");
    EXPECT_EQ(m_media.thumbnailKey(319, THUMBNAIL_SIZES[1]), "family/thumbnails/3f/319-540X405");
    EXPECT_EQ(m_media.personImageKey(5, 2), "family/people/5-2");
}

TEST_F(StoredObjects, OfTwoAttemptsAreTwo)
{
    const OriginalName first = m_media.newName(1);
    const OriginalName second = m_media.newName(1);
    EXPECT_EQ(first.content, 1);
    EXPECT_NE(first.attempt, 0);
    EXPECT_FALSE(first == second);
    EXPECT_EQ(m_media.originalKey(first), "family/media/01/1-" + std::to_string(first.attempt));
    keep(1, "first", first.attempt);
    keep(1, "second", second.attempt);
    m_media.removeOriginal(first);
    EXPECT_FALSE(m_media.hasOriginal(first));
    EXPECT_TRUE(m_media.hasOriginal(second));
}

TEST_F(StoredObjects, AreThereWhenTheyAreKeptAndNotBefore)
{
    const auto draft = m_media.newOriginal({1});
    draft->write("by");
    draft->write("tes");
    EXPECT_THAT(keys(), IsEmpty());
    draft->keep();
    EXPECT_THAT(keys(), ElementsAre("family/media/01/1"));
    EXPECT_EQ(original(1, "bytes"), "bytes");
    EXPECT_TRUE(m_media.hasOriginal({1}));
    EXPECT_FALSE(m_media.hasOriginal({2}));
}

class StoredObjectsOfSize : public StoredObjects, public testing::WithParamInterface<std::int64_t> {};

TEST_P(StoredObjectsOfSize, TakeBoundedRoomOnTheirWayAndArriveWhole)
{
    const std::string bytes = countedBytes(GetParam());
    const auto draft = m_media.newOriginal({1});
    draft->expect(GetParam());
    for (std::size_t done = 0; done < bytes.size(); done += 300'000) {
        draft->write(std::string_view(bytes).substr(done, 300'000));
        struct stat info {};
        ASSERT_EQ(::fstat(draft->fd(), &info), 0);
        ASSERT_LE(info.st_blocks * 512, ObjectDraft::room(GetParam()) + 64 * 1024);
    }
    // What tells what a picture is can still be read.
    const auto head = static_cast<std::size_t>(std::min(GetParam(), ObjectDraft::HEAD));
    std::string start(head, '\0');
    ASSERT_EQ(::pread(draft->fd(), start.data(), head, 0), static_cast<ssize_t>(head));
    EXPECT_TRUE(start == bytes.substr(0, head));
    char last = '\0';
    ASSERT_EQ(::pread(draft->fd(), &last, 1, GetParam() - 1), 1);
    EXPECT_EQ(last, bytes.back());
    draft->keep();
    EXPECT_TRUE(original(1, bytes) == bytes);
    EXPECT_EQ(unfinished(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Each, StoredObjectsOfSize,
                         testing::Values(1, ObjectDraft::SMALL - 1, ObjectDraft::SMALL, ObjectDraft::SMALL + 1,
                                         2 * ObjectDraft::PART, 2 * ObjectDraft::PART + 1, 4 * ObjectDraft::PART + 12'345));

TEST_F(StoredObjects, ThatAreExpectedToBeLargeComeInLargerParts)
{
    constexpr std::int64_t EXPECTED = ObjectDraft::PARTS * ObjectDraft::PART * 2;
    const std::string bytes = countedBytes(5 * ObjectDraft::PART);
    const auto draft = m_media.newOriginal({1});
    draft->expect(EXPECTED);
    draft->write(std::string_view(bytes).substr(0, 2 * ObjectDraft::PART));
    EXPECT_EQ(unfinished(), 0U) << "more than what is sent in one request, and less than a part";
    draft->write(std::string_view(bytes).substr(2 * ObjectDraft::PART));
    EXPECT_EQ(unfinished(), 1U);
    draft->keep();
    EXPECT_TRUE(original(1, bytes) == bytes);
}

TEST_F(StoredObjects, ThatAreGivenUpLeaveNothing)
{
    {
        const auto draft = m_media.newOriginal({1});
        // A part is on its way then.
        draft->write(countedBytes(ObjectDraft::SMALL + 1));
        EXPECT_EQ(unfinished(), 1U);
        EXPECT_EQ(temporaryFiles(), 1U);
    }
    EXPECT_EQ(unfinished(), 0U);
    EXPECT_EQ(temporaryFiles(), 0U);
    EXPECT_THAT(keys(), IsEmpty());
}

TEST_F(StoredObjects, AreReadInPart)
{
    keep(1, "0123456789");
    const auto medium = m_media.openOriginal({1}, 10);
    EXPECT_EQ(bytesOf(*medium->read(3, 4)), "3456");
    EXPECT_EQ(m_media.openOriginal({2}, 10)->read(0, 10), nullptr);
}

TEST_F(StoredObjects, ComeAsFilesForThoseWhoDecodeThem)
{
    keep(1, "bytes");
    const UniqueFd file = m_media.originalFile({1});
    char bytes[16] = "";
    EXPECT_EQ(::pread(file.get(), bytes, sizeof bytes, 0), 5);
    EXPECT_STREQ(bytes, "bytes");
    EXPECT_EQ(temporaryFiles(), 0U) << "it has no name";
    EXPECT_FALSE(m_media.originalFile({2}));
}

TEST_F(StoredObjects, HoldThumbnailsAndPicturesOfPeople)
{
    EXPECT_EQ(m_media.openThumbnail(1, THUMBNAIL_SIZES[0]), nullptr);
    EXPECT_FALSE(m_media.hasThumbnails(1));
    for (const ThumbnailSize& size : THUMBNAIL_SIZES) {
        TemporaryFile file(m_media.temporary());
        file.write(size.name);
        m_media.keepThumbnail(file, 1, size);
    }
    EXPECT_TRUE(m_media.hasThumbnails(1));
    const auto thumbnail = m_media.openThumbnail(1, THUMBNAIL_SIZES[3]);
    ASSERT_NE(thumbnail, nullptr);
    EXPECT_EQ(thumbnail->size(), 6);
    EXPECT_EQ(bytesOf(*thumbnail->read(1, 3)), "16X");
    EXPECT_EQ(bytesOf(*thumbnail->read(0, 6)), "116X87");
    TemporaryFile image(m_media.temporary());
    image.write("face");
    m_media.keepPersonImage(image, 5, 2);
    EXPECT_TRUE(m_media.hasPersonImage(5, 2));
    const auto picture = m_media.openPersonImage(5, 2);
    EXPECT_EQ(bytesOf(*picture->read(0, 4)), "face");
    m_media.removePersonImage(5, 2);
    m_media.removeContent({1});
    EXPECT_THAT(keys(), IsEmpty());
}

TEST_F(StoredObjects, HaveAddressesForOthers)
{
    keep(1);
    const std::string address = m_media.openOriginal({1}, 5)->addressFor(std::chrono::seconds(60), "image/jpeg");
    EXPECT_EQ(address.rfind("https://media.example/", 0), 0U);
    EXPECT_NE(address.find("/family/media/01/1?"), std::string::npos) << address;
}

TEST_F(StoredObjects, WithoutARecordAreCollectedOnceTheyAreOld)
{
    for (const std::int64_t attempt : {0, 7, 8})
        keep(1, "bytes", attempt);
    keep(2);
    TemporaryFile thumbnail(m_media.temporary());
    m_media.keepThumbnail(thumbnail, 1, THUMBNAIL_SIZES[0]);
    m_media.keepThumbnail(thumbnail, 2, THUMBNAIL_SIZES[0]);
    for (const std::int64_t image : {1, 2}) {
        TemporaryFile file(m_media.temporary());
        m_media.keepPersonImage(file, 5, image);
    }
    m_media.store().put("family/media/01/1-nonsense", objects::Payload("x"), "text/plain");
    m_media.store().put("other/media/01/9", objects::Payload("x"), "text/plain");
    m_media.store().beginUpload(m_media.originalKey({3}), "image/jpeg");
    const KnownMedia known{[](const OriginalName& original) {
                               return original == OriginalName{1, 7};
                           },
                           [](Id id) { return id == 1; }, [](Id id, std::int64_t image) { return id == 5 && image == 2; }};
    constexpr Millis HOUR = 3'600'000;
    m_media.collect(known, now() - HOUR);
    EXPECT_EQ(keys().size(), 10U) << "none is an hour old";
    EXPECT_EQ(unfinished(), 1U);
    m_media.collect(known, now() + HOUR);
    EXPECT_THAT(keys(),
                ElementsAre("family/media/01/1-7", "family/people/5-2", "family/thumbnails/01/1-1920X1080", "other/media/01/9"));
    EXPECT_EQ(unfinished(), 0U);
}

TEST_F(StoredObjects, StayWhenAServiceBegins)
{
    keep(1);
    const TemporaryFile leftover(m_media.temporary());
    m_media.sweep({[](const OriginalName&) { return false; }, [](Id) { return false; }, [](Id, std::int64_t) { return false; }});
    EXPECT_EQ(temporaryFiles(), 0U);
    EXPECT_THAT(keys(), ElementsAre("family/media/01/1"));
}

} // namespace
