// SPDX-License-Identifier: MIT
// Media that are moved into a real store of objects, and back.
#include "media/MediaPlace.h"
#include "store/People.h"

#include "ServiceFixture.h"
#include "TestPictures.h"
#include "support/TcpFront.h"
#include "support/TestStore.h"

#include <filesystem>
#include <thread>

namespace {

using namespace kinloomd_test;
using testing::HasSubstr;

class MigrateStore : public ServiceFixture {
protected:
    MigrateStore() { m_engine.lendKeys(); }
    void SetUp() override
    {
        start();
        m_group = anna().createGroup("Family");
        for (int i = 0; i < 3; ++i)
            m_photos.push_back(anna().uploadPhoto(m_group, anotherPicture()));
        // One that goes to the store in parts.
        TestPicture large = makePicture(640, 480);
        large.bytes.resize(12'000'000, 'x');
        m_photos.push_back(anna().uploadPhoto(m_group, large));
        for (const std::string& photo : m_photos) {
            const HttpReply view = anna().get(ServiceClient::path(photo + "/view"));
            for (const char* name : {"contentUrl", "contentThumbnail_116X87"}) {
                m_addresses.push_back(targetOf(field(view, name)));
                request(port(), "GET", m_addresses.back());
            }
        }
        m_before = seen();
    }

    unsigned short storePort() const
    {
        return static_cast<unsigned short>(std::stoi(m_engine.endpoint.substr(m_engine.endpoint.rfind(':') + 1)));
    }
    std::vector<std::string> bucket(const std::string& option, const std::string& endpoint) const
    {
        return {option, "s3://" + m_bucket + "/family", "--s3-endpoint", endpoint, "--s3-region", m_engine.region};
    }
    static CommandResult migrate(const std::string& from, std::vector<std::string> more)
    {
        more.insert(more.begin(), {"migrate", "--from", from});
        return runKinloomd(more);
    }
    /// Into the bucket.
    CommandResult migrateThere()
    {
        std::vector<std::string> words = bucket("--to-media", m_front.url());
        words.insert(words.end(), {"--to", m_target});
        return migrate(m_data, words);
    }
    void serveAt(const std::string& folder, std::vector<std::string> arguments)
    {
        m_process.reset();
        m_data = folder;
        startWith(std::move(arguments));
    }
    std::vector<std::string> seen()
    {
        std::vector<std::string> all = {anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).body};
        for (const std::string& address : m_addresses)
            all.push_back(request(port(), "GET", address).body);
        return all;
    }

    test::TestStore m_engine = test::TestStore::ofEnvironment();
    std::string m_bucket = test::TestStore::newBucket();
    test::TcpFront m_front{storePort()};
    std::string m_target = m_folder / "target";
    std::string m_group;
    std::vector<std::string> m_photos;
    std::vector<std::string> m_addresses;
    std::vector<std::string> m_before;
};

TEST_F(MigrateStore, BringsMediaIntoABucketAndBack)
{
    const std::string source = m_data;
    const CommandResult there = migrateThere();
    ASSERT_EQ(there.exitCode, 0) << there.out << there.err;
    EXPECT_THAT(there.out, HasSubstr("originals 4"));
    EXPECT_EQ(seen(), m_before) << "of the service of before";
    serveAt(m_target, bucket("--media", m_front.url()));
    EXPECT_TRUE(seen() == m_before);
    m_photos.push_back(anna().uploadPhoto(m_group, anotherPicture()));
    const std::string feed = anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).body;
    expectConsistent();
    const CommandResult back = migrate(m_target, {"--to", source});
    ASSERT_EQ(back.exitCode, 0) << back.out << back.err;
    EXPECT_THAT(back.out, HasSubstr("originals 5"));
    serveAt(source, {});
    EXPECT_EQ(anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).body, feed);
    expectConsistent();
}

TEST_F(MigrateStore, BringsMediaAloneAndLetsTheServiceEndFirst)
{
    const CommandResult served = migrate(m_data, bucket("--to-media", m_front.url()));
    EXPECT_EQ(served.exitCode, 1);
    EXPECT_THAT(served.err, HasSubstr("End the service"));
    EXPECT_TRUE(seen() == m_before);
    m_process.reset();
    const CommandResult moved = migrate(m_data, bucket("--to-media", m_front.url()));
    ASSERT_EQ(moved.exitCode, 0) << moved.out << moved.err;
    EXPECT_THAT(moved.out, HasSubstr("media 0 of 0 bytes")) << "they had come before";
    serveAt(m_data, bucket("--media", m_front.url()));
    EXPECT_TRUE(seen() == m_before);
    EXPECT_NE(anna().uploadPhoto(m_group, anotherPicture()), "");
    m_process.reset();
    const CommandResult back = migrate(m_data, {"--to", m_data});
    ASSERT_EQ(back.exitCode, 0) << back.out << back.err;
    serveAt(m_data, {});
    expectConsistent();
}

TEST_F(MigrateStore, OfMediaAloneIsFollowedByNoChangeOfThoseWhoKnowTheOldPlace)
{
    // As a service elsewhere has them, or a command that was begun before.
    const kinloomd::DataFolder folder{kinloomd::DataPlace(m_data)};
    kinloomd::Database records(databaseOf(m_data));
    m_process.reset();
    const auto media = kinloomd::openMedia(folder, records);
    const auto add = [&] {
        records.change([](kinloomd::DatabaseConnection& connection) { kinloomd::addPerson(connection, "Dora", ""); });
    };
    add();
    const CommandResult moved = migrate(m_data, bucket("--to-media", m_front.url()));
    ASSERT_EQ(moved.exitCode, 0) << moved.out << moved.err;
    EXPECT_THROW(add(), kinloomd::DatabaseReadOnly);
    serveAt(m_data, bucket("--media", m_front.url()));
    EXPECT_TRUE(seen() == m_before);
    EXPECT_NE(anna().uploadPhoto(m_group, anotherPicture()), "");
    // Another way to the same place moves nothing: services change over one by one.
    const auto inTheStore = kinloomd::openMedia(folder, records);
    m_engine.lendKeys(); // they are taken out of the environment
    serveAt(m_data, bucket("--media", m_engine.endpoint));
    EXPECT_NO_THROW(records.change([](kinloomd::DatabaseConnection& connection) { kinloomd::addPerson(connection, "Emil", ""); }));
    expectConsistent();
}

TEST_F(MigrateStore, GoesOnWhenTheStoreIsBack)
{
    for (const std::uint64_t bytes : {std::uint64_t{20'000}, std::uint64_t{3'000'000}, std::uint64_t{9'000'000}}) {
        m_front.goAwayAfterSent(bytes);
        const CommandResult away = migrateThere();
        EXPECT_EQ(away.exitCode, 1) << away.out;
        EXPECT_THAT(away.err, HasSubstr("the same command goes on from here"));
        EXPECT_EQ(anna().upload(m_group, anotherPicture()).status, 503);
        m_front.setAway(false);
    }
    const CommandResult there = migrateThere();
    ASSERT_EQ(there.exitCode, 0) << there.out << there.err;
    serveAt(m_target, bucket("--media", m_front.url()));
    EXPECT_TRUE(seen() == m_before);
    expectConsistent();
}

TEST_F(MigrateStore, GoesOnAfterItWasKilled)
{
    std::vector<std::string> words = {"migrate", "--from", m_data, "--to", m_target};
    const std::vector<std::string> more = bucket("--to-media", m_front.url());
    words.insert(words.end(), more.begin(), more.end());
    for (int i = 0; i < 5; ++i) {
        KinloomdRun run(words);
        std::this_thread::sleep_for(std::chrono::milliseconds(100 + 150 * i));
        run.kill();
    }
    const CommandResult there = migrateThere();
    ASSERT_EQ(there.exitCode, 0) << there.out << there.err;
    serveAt(m_target, bucket("--media", m_front.url()));
    EXPECT_TRUE(seen() == m_before);
    expectConsistent();
}

} // namespace
