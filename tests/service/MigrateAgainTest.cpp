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

TEST_F(Migrate, IsNotGivenUpByTheSecondTryEither)
{
    ASSERT_EQ(migrate(m_data, m_target).exitCode, 0);
    m_process.reset();
    addPersonTo(m_target, "Dora");
    markAgain();
    const CommandResult refused = cancel(m_data, m_target);
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.err, HasSubstr("has gone on by itself"));
    EXPECT_EQ(markOf(m_data).state, kinloomd::MoveState::GONE);
    EXPECT_EQ(markOf(m_target).state, kinloomd::MoveState::NONE) << "the target goes on";
    addPersonTo(m_target, "Emil");
}

TEST_F(Migrate, IsGivenUpByTheSecondTryWhereTheTargetIsAsItCame)
{
    ASSERT_EQ(migrate(m_data, m_target).exitCode, 0);
    markAgain();
    const CommandResult given = cancel(m_data, m_target);
    EXPECT_EQ(given.exitCode, 0) << given.err;
    EXPECT_NE(anna().commentId(m_photos.front(), "still here"), "");
    EXPECT_EQ(markOf(m_target).state, kinloomd::MoveState::ARRIVING) << "nobody goes on there";
}

TEST_F(Migrate, LeavesTheTargetFreeWhenGivingUpFails)
{
    ASSERT_EQ(migrate(m_data, m_target).exitCode, 0);
    for (const bool killedBefore : {false, true}) {
        if (killedBefore)
            markAgain();
        std::atomic<int> steps = 0;
        EXPECT_THROW(Move(placeOf(m_data), targetAt(m_target), throwingAt(3, steps)).cancel(), std::runtime_error);
        EXPECT_EQ(markOf(m_data).state, kinloomd::MoveState::GONE);
        EXPECT_EQ(markOf(m_target).state, kinloomd::MoveState::NONE);
    }
    addPersonTo(m_target, "Dora");
}

TEST_F(Migrate, FreesTheTargetAgainThatWasMarkedToGiveTheMoveUp)
{
    ASSERT_EQ(migrate(m_data, m_target).exitCode, 0);
    markAgain();
    EXPECT_EQ(migrate(m_data, m_target).exitCode, 0);
    EXPECT_EQ(markOf(m_target).state, kinloomd::MoveState::NONE);
    addPersonTo(m_target, "Dora");
    markAgain();
    const auto before = sumsOf(m_target);
    const CommandResult late = migrate(m_data, m_target);
    EXPECT_EQ(late.exitCode, 1);
    EXPECT_THAT(late.err, HasSubstr("has gone on by itself"));
    EXPECT_EQ(markOf(m_target).state, kinloomd::MoveState::NONE);
    EXPECT_TRUE(sumsOf(m_target) == before) << "the numbers that it has given too";
}

TEST_F(Migrate, IsNotGoneOnWithByOneThatSleptMeanwhile)
{
    const std::string source = m_data;
    m_process.reset();
    // A state of before is there, which the mover removes first.
    ASSERT_EQ(migrate(source, m_target).exitCode, 0);
    ASSERT_EQ(cancel(source, m_target).exitCode, 0);
    int whole = 0;
    for (int last = 1; whole == 0; last += 1 + last / 2) {
        std::atomic<int> steps = 0;
        std::vector<kinloomd::TableSum> inUse;
        const auto sleepAt = [&](const char*, std::int64_t) {
            if (++steps != last)
                return;
            // Meanwhile another computer goes on with it, and the target is used.
            forgetLocks(source);
            forgetLocks(m_target);
            Move(placeOf(source), targetAt(m_target), noStep).run();
            addPersonTo(m_target, "Dora " + std::to_string(last));
            inUse = sumsOf(m_target);
        };
        Move sleeper(placeOf(source), targetAt(m_target), sleepAt);
        try {
            sleeper.run();
            whole = last;
            EXPECT_TRUE(inUse.empty()) << "it was through before";
        } catch (const std::runtime_error& error) {
            EXPECT_FALSE(inUse.empty()) << error.what();
            EXPECT_TRUE(sumsOf(m_target) == inUse) << last << " " << error.what();
            EXPECT_EQ(markOf(m_target).state, kinloomd::MoveState::NONE);
            EXPECT_EQ(markOf(source).state, kinloomd::MoveState::GONE);
            // Back to where it was: the source is used, the target holds an older state.
            ASSERT_EQ(migrate(m_target, source).exitCode, 0);
        }
    }
    EXPECT_GT(whole, 30);
}

TEST_F(Migrate, IsNotEndedByOneThatSleptWhileItWasGivenUp)
{
    const std::string source = m_data;
    m_process.reset();
    int whole = 0;
    for (int last = 1; whole == 0; last += 1 + last) {
        const std::string target = m_target + std::to_string(last);
        std::atomic<int> steps = 0;
        const auto sleepAt = [&](const char*, std::int64_t) {
            if (++steps != last)
                return;
            forgetLocks(source);
            forgetLocks(target);
            Move(placeOf(source), targetAt(target), noStep).cancel();
            addPersonTo(source, "Dora " + std::to_string(last));
        };
        Move sleeper(placeOf(source), targetAt(target), sleepAt);
        try {
            sleeper.run();
            whole = last;
            EXPECT_LT(steps, last) << "it was through before";
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(markOf(source).state, kinloomd::MoveState::NONE) << error.what();
            EXPECT_EQ(markOf(target).state, kinloomd::MoveState::ARRIVING) << "never free";
        }
    }
    EXPECT_GT(whole, 30);
}

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
