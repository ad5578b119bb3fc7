// SPDX-License-Identifier: MIT
// Moves that are given up, gone on with by another program, or late: no two places are in use, and none loses what it was told.
#include "media/FolderMedia.h"

#include "MigrateFixture.h"
#include "support/Wait.h"

#include <future>
#include <gmock/gmock.h>
#include <map>
#include <mutex>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace kinloomd_test;
using ::testing::HasSubstr;

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

TEST_F(Migrate, OfMediaAloneIsFollowedByNoChangeOfThoseWhoKnowTheOldPlace)
{
    if (!onPostgresql())
        GTEST_SKIP() << "records in a folder are served from there";
    const std::string database = databaseOf(m_data);
    const std::vector<std::string> there = {"migrate", "--from", m_data,          "--from-database", database,
                                            "--to",    m_target, "--to-database", database};
    const std::vector<std::string> before = seen();
    const CommandResult served = runKinloomd(there);
    EXPECT_EQ(served.exitCode, 1);
    EXPECT_THAT(served.err, HasSubstr("End the services"));
    // On another computer the mover would not see the service.
    forgetLocks(m_data);
    const CommandResult moved = runKinloomd(there);
    ASSERT_EQ(moved.exitCode, 0) << moved.err;
    EXPECT_EQ(seen(), before);
    const HttpReply refused = anna().upload(m_group, anotherPicture());
    EXPECT_EQ(refused.status, 503);
    EXPECT_EQ(refused.header("retry-after"), "60");
    EXPECT_EQ(ben().signIn().status, 200);
    m_process.reset();
    const CommandResult back =
        runKinloomd({"migrate", "--from", m_target, "--from-database", database, "--to", m_data, "--to-database", database});
    ASSERT_EQ(back.exitCode, 0) << back.err;
    start();
    EXPECT_EQ(seen(), before);
    EXPECT_EQ(anna().upload(m_group, anotherPicture()).status, 200);
    expectConsistent();
}

TEST_F(Migrate, OfMediaAloneLetsNoServiceBeginUntilTheRecordsTellThePlace)
{
    if (!onPostgresql())
        GTEST_SKIP() << "records in a folder are served from there";
    m_process.reset();
    MoveTarget target;
    target.folder = m_target;
    target.database = databaseOf(m_data);
    kinloomd::Database other(databaseOf(m_data));
    // Somebody reads for long, so that the last change of the move has to wait.
    std::optional<kinloomd::Database::Lease> reader;
    std::once_flag once;
    std::promise<void> reading;
    std::thread mover([&] {
        Move(placeOf(m_data), target, [&](const char*, std::int64_t) {
            std::call_once(once, [&] {
                reader.emplace(other, kinloomd::Database::Purpose::READ);
                (*reader)->begin(kinloomd::Database::Purpose::READ);
                (*reader)->execute("SELECT 1 FROM setting");
                reading.set_value();
            });
        }).run();
    });
    reading.get_future().wait();
    EXPECT_TRUE(test::comesTrue([&] {
        return !other.read()
                    ->execute(
                        "SELECT 1 FROM pg_locks WHERE mode = 'AccessExclusiveLock' AND NOT granted AND database = (SELECT oid "
                        "FROM pg_database WHERE datname = current_database())")
                    .empty();
    }));
    const kinloomd::DataFolder folder(placeOf(m_data));
    kinloomd::FolderLock lock;
    EXPECT_FALSE(kinloomd::FolderLock::tryExclusive(folder.serveLock(), lock));
    (*reader)->rollback();
    mover.join();
    EXPECT_TRUE(kinloomd::FolderLock::tryExclusive(folder.serveLock(), lock));
}

} // namespace
