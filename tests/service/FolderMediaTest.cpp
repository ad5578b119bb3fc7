// SPDX-License-Identifier: MIT
#include "media/FolderMedia.h"

#include "KinloomdProcess.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using namespace kinloomd;
using kinloomd_test::TemporaryFolder;

class MediaFiles : public ::testing::Test {
protected:
    void keep(Id content, const std::string& bytes = "bytes")
    {
        TemporaryFile file(m_data.temporary());
        file.write(bytes);
        m_media.keepOriginal(file, {content});
        TemporaryFile thumbnail(m_data.temporary());
        m_media.keepThumbnail(thumbnail, content, THUMBNAIL_SIZES[0]);
    }
    static bool exists(const std::string& path) { return std::filesystem::exists(path); }
    std::size_t temporaryFiles() const
    {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(m_data.temporary()), {}));
    }

    TemporaryFolder m_folder;
    DataFolder m_data{m_folder / "data"};
    FolderMedia m_media{m_data};
};

TEST_F(MediaFiles, AreReadableByTheirOwnerAlone)
{
    keep(300);
    for (const std::string& path : {m_data.path(), m_data.media(), m_data.temporary(), m_media.originalPath({300})}) {
        struct stat info {};
        ASSERT_EQ(::stat(path.c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 077U, 0U) << path;
    }
}

TEST_F(MediaFiles, LeaveNothingBehindUnlessKept)
{
    {
        TemporaryFile file(m_data.temporary());
        file.write("half");
        EXPECT_EQ(temporaryFiles(), 1U);
    }
    EXPECT_EQ(temporaryFiles(), 0U);
    keep(1);
    EXPECT_EQ(temporaryFiles(), 0U);
    EXPECT_EQ(readFile(m_media.originalPath({1})), "bytes");
}

TEST_F(MediaFiles, AreRemovedWithTheirThumbnails)
{
    keep(1);
    keep(257);
    m_media.removeContent({1});
    EXPECT_FALSE(exists(m_media.originalPath({1})));
    EXPECT_FALSE(exists(m_media.thumbnailPath(1, THUMBNAIL_SIZES[0])));
    EXPECT_TRUE(exists(m_media.originalPath({257})));
}

TEST_F(MediaFiles, OfTheOnlyServiceAreNamedByTheirContents)
{
    EXPECT_EQ(m_media.newName(1), OriginalName{1});
    EXPECT_EQ(m_media.originalPath({1}), m_data.media() + "/01/1");
}

TEST(FilesOfManyServices, AreNamedByTheirAttemptsAndCollectedWithoutARecord)
{
    const TemporaryFolder place;
    DataPlace shared(place / "data");
    shared.database = "postgresql:///elsewhere";
    const DataFolder data(shared);
    const FolderMedia media(data);
    const OriginalName kept = media.newName(1);
    const OriginalName lost = media.newName(1);
    EXPECT_NE(kept.attempt, 0);
    EXPECT_FALSE(kept == lost);
    EXPECT_EQ(media.originalPath(kept), data.media() + "/01/1-" + std::to_string(kept.attempt));
    for (const OriginalName& name : {kept, lost, OriginalName{1}}) {
        TemporaryFile file(data.temporary());
        media.keepOriginal(file, name);
    }
    for (const Id content : {1, 2}) {
        TemporaryFile file(data.temporary());
        media.keepThumbnail(file, content, THUMBNAIL_SIZES[0]);
    }
    const TemporaryFile onItsWay(data.temporary());
    const KnownMedia known{[&](const OriginalName& original) { return original == kept; }, [](Id id) { return id == 1; },
                           [](Id, std::int64_t) { return false; }};
    constexpr Millis HOUR = 3'600'000;
    media.collect(known, now() - HOUR);
    EXPECT_TRUE(media.hasOriginal(lost)) << "its record may be on its way";
    EXPECT_TRUE(std::filesystem::exists(onItsWay.path()));
    media.collect(known, now() + HOUR);
    EXPECT_TRUE(media.hasOriginal(kept));
    EXPECT_FALSE(media.hasOriginal(lost));
    EXPECT_FALSE(media.hasOriginal({1}));
    EXPECT_TRUE(std::filesystem::exists(media.thumbnailPath(1, THUMBNAIL_SIZES[0])));
    EXPECT_FALSE(std::filesystem::exists(media.thumbnailPath(2, THUMBNAIL_SIZES[0])));
    EXPECT_FALSE(std::filesystem::exists(onItsWay.path()));
}

TEST_F(MediaFiles, OfOneAttemptAreRemovedAlone)
{
    keep(1);
    TemporaryFile file(m_data.temporary());
    m_media.keepOriginal(file, {1, 7});
    m_media.removeOriginal({1, 7});
    EXPECT_FALSE(m_media.hasOriginal({1, 7}));
    EXPECT_TRUE(m_media.hasOriginal({1}));
    EXPECT_TRUE(exists(m_media.thumbnailPath(1, THUMBNAIL_SIZES[0])));
}

TEST_F(MediaFiles, WithoutRecordAreSweptUp)
{
    keep(1);
    keep(2);
    std::filesystem::copy_file(m_media.originalPath({1}), m_data.temporary() + "/leftover");
    std::filesystem::copy_file(m_media.originalPath({1}), m_data.media() + "/01/nonsense");
    std::filesystem::copy_file(m_media.originalPath({1}), m_media.originalPath({1, 7}));
    std::filesystem::copy_file(m_media.originalPath({1}), m_data.media() + "/01/1-nonsense");
    for (const std::int64_t image : {1, 2}) {
        TemporaryFile file(m_data.temporary());
        m_media.keepPersonImage(file, 5, image);
    }
    m_media.sweep({[](const OriginalName& original) { return original == OriginalName{1}; }, [](Id id) { return id == 1; },
                   [](Id id, std::int64_t image) { return id == 5 && image == 2; }});
    EXPECT_FALSE(exists(m_media.personImagePath(5, 1)));
    EXPECT_TRUE(exists(m_media.personImagePath(5, 2)));
    EXPECT_TRUE(exists(m_media.originalPath({1})));
    EXPECT_TRUE(exists(m_media.thumbnailPath(1, THUMBNAIL_SIZES[0])));
    EXPECT_FALSE(exists(m_media.originalPath({2})));
    EXPECT_FALSE(exists(m_media.thumbnailPath(2, THUMBNAIL_SIZES[0])));
    EXPECT_FALSE(exists(m_data.media() + "/01/nonsense"));
    EXPECT_FALSE(exists(m_data.media() + "/01/1-nonsense"));
    EXPECT_FALSE(exists(m_media.originalPath({1, 7})));
    EXPECT_EQ(temporaryFiles(), 0U);
}

TEST_F(MediaFiles, AreNotReadThroughLinks)
{
    std::filesystem::create_symlink("/etc/passwd", m_folder / "link");
    EXPECT_FALSE(openForReading(m_folder / "link"));
    EXPECT_FALSE(openForReading(m_folder.path())) << "a folder";
    EXPECT_FALSE(openForReading(m_folder / "nothing"));
}

TEST_F(MediaFiles, AreNeverWrittenOverByNewOnes)
{
    createPrivateFile(m_folder / "file");
    EXPECT_THROW(createPrivateFile(m_folder / "file"), std::system_error);
}

TEST_F(MediaFiles, OfAnotherServiceAreLocked)
{
    FolderLock first;
    FolderLock second;
    EXPECT_TRUE(FolderLock::tryExclusive(m_data.serveLock(), first));
    EXPECT_FALSE(FolderLock::tryExclusive(m_data.serveLock(), second));
    first = FolderLock();
    EXPECT_TRUE(FolderLock::tryExclusive(m_data.serveLock(), second));
}

TEST(DataFolderOfNoService, IsRefused)
{
    const TemporaryFolder folder;
    EXPECT_THROW(DataFolder::existing(folder.path()), std::runtime_error);
    EXPECT_THROW(DataFolder(folder / "missing/deeper"), std::system_error);
}

} // namespace
