// SPDX-License-Identifier: MIT
// Records and media that are moved to another place, there and back, whatever happens on the way.
#include "commands/MoveProgress.h"
#include "media/FolderMedia.h"

#include "MigrateFixture.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <random>
#include <sys/resource.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace kinloomd_test;
using kinloomd::Move;
using kinloomd::MoveReport;
using kinloomd::MoveTarget;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST_F(Migrate, BringsAllThereAndBack)
{
    const std::vector<std::string> before = seen();
    const std::string source = m_data;
    const CommandResult there = migrate(source, m_target);
    ASSERT_EQ(there.exitCode, 0) << there.out << there.err;
    EXPECT_THAT(there.out, HasSubstr("originals 3, thumbnails 12, pictures of people 1: all of them compared\n"));
    // The service of before shows what it has, and takes nothing.
    EXPECT_EQ(seen(), before);
    const HttpReply refused = anna().upload(m_group, smallPicture());
    EXPECT_EQ(refused.status, 503);
    EXPECT_EQ(refused.header("retry-after"), "60");
    serveAt(m_target);
    EXPECT_EQ(seen(), before);
    const std::string fresh = anna().uploadPhoto(m_group, anotherPicture());
    const HttpReply view = anna().get(ServiceClient::path(fresh + "/view"));
    EXPECT_EQ(request(port(), "GET", targetOf(field(view, "contentThumbnail_116X87"))).status, 200);
    m_process.reset();
    expectWhole(m_target);
    const CommandResult mistaken = runKinloomd({"serve", "--data", source, "--listen", "127.0.0.1:0"});
    EXPECT_EQ(mistaken.exitCode, 1);
    EXPECT_THAT(mistaken.err, HasSubstr("these records were moved to "));
    const CommandResult back = migrate(m_target, source);
    ASSERT_EQ(back.exitCode, 0) << back.out << back.err;
    EXPECT_THAT(back.out, HasSubstr("originals 4"));
    EXPECT_THAT(back.out, HasSubstr("media 5 of")) << "only the new photo and its thumbnails";
    serveAt(source);
    EXPECT_EQ(anna().get(ServiceClient::path(fresh + "/view")).status, 200);
    EXPECT_NE(anna().commentId(fresh, "and back"), "");
    for (const std::string& address : m_addresses)
        EXPECT_EQ(request(port(), "GET", address).status, 200);
    expectConsistent();
}

TEST_F(Migrate, OnlyLooksOnceMoreAtWhatWasMoved)
{
    ASSERT_EQ(migrate(m_data, m_target).exitCode, 0);
    const CommandResult again = migrate(m_data, m_target);
    EXPECT_EQ(again.exitCode, 0) << again.err;
    EXPECT_THAT(again.out, HasSubstr("new: records 0, media 0 of 0 bytes"));
    const std::string source = m_data;
    serveAt(m_target);
    anna().createGroup("Friends");
    m_process.reset();
    const CommandResult late = migrate(source, m_target);
    EXPECT_EQ(late.exitCode, 1);
    EXPECT_THAT(late.err, HasSubstr("has gone on by itself"));
}

TEST_F(Migrate, GoesOnAfterAnEndAtAnyStep)
{
    const std::string source = m_data;
    m_process.reset();
    int whole = 0;
    for (int last = 1; whole == 0; last += 1 + last / 8) {
        const std::string target = m_target + std::to_string(last);
        std::atomic<int> steps = 0;
        try {
            Move(placeOf(source), targetAt(target), throwingAt(last, steps)).run();
            whole = last;
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "stopped by the test");
        }
        const MoveReport report = Move(placeOf(source), targetAt(target), noStep).run();
        EXPECT_EQ(report.media.originals, 3);
        EXPECT_EQ(report.media.thumbnails + report.media.pictures, 13);
        EXPECT_THAT(report.findings, ElementsAre());
        expectWhole(target);
        // Nobody has used the target: the move can be given up still.
        Move(placeOf(source), targetAt(target), noStep).cancel();
    }
    EXPECT_GT(whole, 30);
    serveAt(source);
    EXPECT_NE(anna().commentId(m_photos.front(), "still here"), "");
}

TEST_F(Migrate, GoesOnAfterItWasKilledAtAnyMoment)
{
    const std::vector<std::string> before = seen();
    std::mt19937 random(20100505);
    constexpr int KILLS = 20;
    for (int i = 0; i < KILLS; ++i) {
        KinloomdRun run(wordsOf(m_data, m_target));
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 120'000));
        run.kill();
        EXPECT_EQ(seen(), before);
    }
    const CommandResult result = migrate(m_data, m_target);
    ASSERT_EQ(result.exitCode, 0) << result.out << result.err;
    serveAt(m_target);
    EXPECT_EQ(seen(), before);
    expectConsistent();
}

TEST_F(Migrate, RefusesATargetThatHoldsSomethingElse)
{
    ASSERT_EQ(runKinloomd({"person", "add", "Carla", "--data", m_target}).exitCode, 0);
    const CommandResult refused = migrate(m_data, m_target);
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.err, HasSubstr("holds records already"));
    EXPECT_EQ(anna().upload(m_group, anotherPicture()).status, 200) << "and the source goes on";
    const CommandResult nowhere = migrate(m_data, m_data);
    EXPECT_EQ(nowhere.exitCode, 1);
    EXPECT_THAT(nowhere.err, HasSubstr("there is nothing to be moved"));
    EXPECT_EQ(runKinloomd({"migrate", "--from", m_data}).exitCode, 2);
}

TEST_F(Migrate, GoesToOnePlaceAtATime)
{
    std::atomic<int> steps = 0;
    EXPECT_THROW(Move(placeOf(m_data), targetAt(m_target), throwingAt(5, steps)).run(), std::runtime_error);
    const CommandResult other = migrate(m_data, m_folder / "other");
    EXPECT_EQ(other.exitCode, 1);
    EXPECT_THAT(other.err, HasSubstr("are being moved to "));
    const Move running(placeOf(m_data), targetAt(m_target), noStep);
    const CommandResult second = migrate(m_data, m_target);
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_THAT(second.err, HasSubstr("moves what is in"));
}

TEST_F(Migrate, TellsWhatWasWrongBefore)
{
    m_process.reset();
    std::map<std::string, std::string> files;
    kinloomd::FolderMedia(kinloomd::DataFolder::laidOutIn(m_data)).forEachOriginal([&](const kinloomd::KeptMedium& original) {
        files[std::to_string(original.id)] = original.name;
    });
    std::fstream spoilt(files.at(m_photos[0]), std::ios::in | std::ios::out | std::ios::binary);
    spoilt.seekp(100);
    spoilt << "x";
    spoilt.close();
    fs::remove(files.at(m_photos[1]));
    for (int i = 0; i < 2; ++i) {
        const CommandResult result = migrate(m_data, m_target);
        EXPECT_EQ(result.exitCode, 3) << result.err;
        EXPECT_THAT(result.out, HasSubstr("content " + m_photos[0] + " has a file with other bytes than it came with\n"));
        EXPECT_THAT(result.out, HasSubstr("content " + m_photos[1] + " has no file\n"));
        EXPECT_THAT(result.out, HasSubstr("2 problems"));
    }
}

TEST_F(Migrate, CanBeGivenUpAndBegunAnew)
{
    EXPECT_EQ(cancel(m_data).exitCode, 1) << "nothing is moved";
    std::atomic<int> steps = 0;
    EXPECT_THROW(Move(placeOf(m_data), targetAt(m_target), throwingAt(30, steps)).run(), std::runtime_error);
    EXPECT_EQ(anna().upload(m_group, anotherPicture()).status, 503);
    const CommandResult given = cancel(m_data);
    EXPECT_EQ(given.exitCode, 0) << given.err;
    // The source goes on; what has come to the target is old now.
    m_photos.push_back(anna().uploadPhoto(m_group, anotherPicture()));
    EXPECT_EQ(anna().post(ServiceClient::path(m_photos[1] + "/delete"), "").status, 200);
    EXPECT_EQ(command({"trash", "empty", "--yes"}).exitCode, 0);
    const std::vector<std::string> before = seen();
    const CommandResult result = migrate(m_data, m_target);
    ASSERT_EQ(result.exitCode, 0) << result.out << result.err;
    serveAt(m_target);
    EXPECT_EQ(seen(), before);
}

TEST_F(Migrate, IsNotGivenUpOnceTheTargetHasGoneOn)
{
    ASSERT_EQ(migrate(m_data, m_target).exitCode, 0);
    const std::string source = m_data;
    const CommandResult unnamed = cancel(source);
    EXPECT_EQ(unnamed.exitCode, 1);
    EXPECT_THAT(unnamed.err, HasSubstr("name that with --to"));
    serveAt(m_target);
    anna().commentId(m_photos.front(), "news");
    m_process.reset();
    const CommandResult refused = cancel(source, m_target);
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.err, HasSubstr("has gone on by itself"));
    serveAt(m_target);
    EXPECT_NE(anna().commentId(m_photos.front(), "and goes on"), "");
}

/// Lets this process write no file beyond a size, as if there was no more room.
class SmallDisk {
public:
    explicit SmallDisk(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit small{bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk() { ::setrlimit(RLIMIT_FSIZE, &m_before); }

private:
    rlimit m_before{};
};

TEST_F(Migrate, GoesOnWhenThereIsRoomAgain)
{
    TestPicture large = smallPicture();
    large.bytes.resize(3'000'000, 'x');
    anna().uploadPhoto(m_group, large);
    m_process.reset();
    for (const rlim_t bytes : {rlim_t{60'000}, rlim_t{2'000'000}}) {
        const SmallDisk disk(bytes);
        EXPECT_THROW(Move(placeOf(m_data), targetAt(m_target), noStep).run(), std::exception);
    }
    const MoveReport report = Move(placeOf(m_data), targetAt(m_target), noStep).run();
    EXPECT_EQ(report.media.originals, 4);
    expectWhole(m_target);
}

TEST_F(Migrate, GoesOnWhenTheTargetIsBack)
{
    if (!onPostgresql())
        GTEST_SKIP() << "a file does not go away";
    for (const int when : {3, 20, 40}) {
        std::atomic<int> steps = 0;
        EXPECT_THROW(Move(placeOf(m_data), targetAt(m_target),
                          [&](const char*, std::int64_t) {
                              if (++steps == when)
                                  setReachable(m_target, false);
                          })
                         .run(),
                     std::exception);
        setReachable(m_target, true);
    }
    const CommandResult result = migrate(m_data, m_target);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    expectWhole(m_target);
}

TEST_F(Migrate, BringsRecordsToEachEngine)
{
    if (!onPostgresql())
        GTEST_SKIP() << "there is one engine";
    const std::vector<std::string> before = seen();
    // From the database into a folder, and from there into another database.
    const std::string middle = m_folder / "middle";
    const CommandResult file = runKinloomd({"migrate", "--from", m_data, "--from-database", databaseOf(m_data), "--to", middle});
    ASSERT_EQ(file.exitCode, 0) << file.err;
    EXPECT_TRUE(fs::exists(middle + "/kinloomd.db"));
    const CommandResult database =
        runKinloomd({"migrate", "--from", middle, "--to", m_target, "--to-database", databaseOf(m_target)});
    ASSERT_EQ(database.exitCode, 0) << database.err;
    serveAt(m_target);
    EXPECT_EQ(seen(), before);
    expectConsistent();
}

TEST_F(Migrate, OfTheDatabaseAloneLeavesMediaWhereTheyAre)
{
    if (!onPostgresql())
        GTEST_SKIP() << "there is one engine";
    const std::vector<std::string> before = seen();
    const std::string other = databaseOf(m_folder / "other");
    const CommandResult moved =
        runKinloomd({"migrate", "--from", m_data, "--from-database", databaseOf(m_data), "--to-database", other});
    ASSERT_EQ(moved.exitCode, 0) << moved.err;
    EXPECT_THAT(moved.out, HasSubstr("media 0 of 0 bytes"));
    const CommandResult back =
        runKinloomd({"migrate", "--from", m_data, "--from-database", other, "--to-database", databaseOf(m_data)});
    ASSERT_EQ(back.exitCode, 0) << back.err;
    restart();
    EXPECT_EQ(seen(), before);
}

TEST(MigrateProgress, EndsWhenSomebodyAsksForThat)
{
    kinloomd::MoveProgress progress;
    progress.step("records copied", 1);
    ::raise(SIGINT);
    EXPECT_THROW(progress.step("records copied", 1), kinloomd::MoveStopped);
}

} // namespace
