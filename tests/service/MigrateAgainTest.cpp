// SPDX-License-Identifier: MIT
// Moves that are given up, gone on with by another program, or late: no two places are in use, and none loses what it was told.
#include "media/FolderMedia.h"

#include "MigrateFixture.h"

#include <gmock/gmock.h>
#include <map>

namespace {

namespace fs = std::filesystem;
using namespace kinloomd_test;

/// A store whose list is behind its objects.
class LateFolder : public kinloomd::FolderMedia {
public:
    using FolderMedia::FolderMedia;
    void forEachOriginal(const std::function<void(const kinloomd::KeptMedium&)>&) const override {}
};

TEST_F(Migrate, BringsOriginalsThatTheSourceDoesNotList)
{
    m_process.reset();
    const kinloomd::DataFolder folder(placeOf(m_data));
    const kinloomd::DataFolder target{DataPlace(m_target)};
    kinloomd::Database records(databaseOf(m_data));
    std::map<std::string, std::string> files;
    kinloomd::FolderMedia(folder).forEachOriginal(
        [&](const kinloomd::KeptMedium& original) { files[std::to_string(original.id)] = original.name; });
    fs::resize_file(files.at(m_photos[1]), 100);
    fs::remove(files.at(m_photos[2]));
    const LateFolder late(folder);
    const kinloomd::FolderMedia there(target);
    kinloomd::MediaMover mover(records, late, there, noStep);
    mover.run();
    EXPECT_EQ(mover.totals().originals, 2);
    EXPECT_THAT(mover.findings(),
                ::testing::UnorderedElementsAre("content " + m_photos[1] + " has a file of another size than it came with",
                                                "content " + m_photos[2] + " has no file"));
    EXPECT_TRUE(there.hasOriginal({std::stoll(m_photos[0]), attemptOf(m_photos[0])}));
}

} // namespace
