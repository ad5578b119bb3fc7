// SPDX-License-Identifier: MIT
// Programs of two versions on one database: those of before, beside a layout that a newer one has made.
#include "ServiceFixture.h"
#include "TestPictures.h"

#include "store/postgresql/PostgresqlConnection.h"
#include "store/postgresql/PostgresqlSchema.h"
#include "store/sqlite/SqliteConnection.h"
#include "store/sqlite/SqliteSchema.h"
#include "support/Wait.h"

#include <atomic>
#include <thread>

namespace {

using namespace kinloomd_test;
using ::testing::HasSubstr;

/// What the next version may add.
constexpr const char* NEXT = "ALTER TABLE content ADD COLUMN next_one BIGINT NOT NULL DEFAULT 7; "
                             "ALTER TABLE comment ADD COLUMN next_one BIGINT NOT NULL DEFAULT 7; "
                             "CREATE INDEX next_one_of_content ON content(next_one); "
                             "CREATE TABLE next_one (id BIGINT PRIMARY KEY)";

class Upgrade : public ServiceFixture {
protected:
    void SetUp() override
    {
        start();
        m_group = anna().createGroup("Family");
    }

    /// Brings the database to a layout with one more step, as the next version does.
    void upgrade(const char* text, bool understood)
    {
        m_steps = m_steps.empty() ? kinloomd::SchemaSteps(steps()) : m_steps;
        const int known = kinloomd::versionOf(steps());
        m_steps.push_back({text, understood ? known : kinloomd::versionOf(m_steps) + 1});
        if (onPostgresql()) {
            kinloomd::PostgresqlConnection connection(databaseOf(m_data));
            kinloomd::prepareSchema(connection, m_steps);
        } else {
            kinloomd::SqliteConnection connection(databaseOf(m_data), true);
            kinloomd::prepareSchema(connection, m_steps);
        }
    }

    static const kinloomd::SchemaSteps& steps() { return onPostgresql() ? kinloomd::postgresqlSteps() : kinloomd::sqliteSteps(); }

    /// A photo, a comment and a page.
    void expectToServe(unsigned short where)
    {
        ServiceClient client(where, m_anna);
        TestPicture picture = smallPicture();
        picture.bytes += std::to_string(++m_photos);
        const HttpReply upload = client.upload(m_group, picture);
        ASSERT_EQ(upload.status, 200) << upload.body;
        EXPECT_EQ(request(where, "GET", targetOf(field(upload, "contentUrl"))).body, picture.bytes);
        EXPECT_EQ(request(where, "GET", targetOf(field(upload, "contentThumbnail_540X405"))).status, 200);
        EXPECT_NE(client.commentId(field(upload, "contentId"), "lovely"), "");
        const HttpReply page = client.get(ServiceClient::path(m_group + "/feeds?search_before=latest&search_count=100&"));
        EXPECT_EQ(Xml(page.body).count("//contentId"), m_photos);
    }

    kinloomd::SchemaSteps m_steps;
    std::string m_group;
    std::size_t m_photos = 0;
};

TEST_F(Upgrade, GoesOnBesideProgramsOfTheVersionBefore)
{
    expectToServe(port());
    upgrade(NEXT, true);
    expectToServe(port());
    // What the next version writes where the one before has nothing.
    runSql(m_data, "UPDATE content SET next_one = 8");
    expectToServe(port());
    const CommandResult list = command({"person", "list"});
    EXPECT_EQ(list.exitCode, 0) << list.err;
    restart();
    expectToServe(port());
    expectConsistent();
}

TEST_F(Upgrade, GoesOnWhileServicesOfTheVersionBeforeAreBusy)
{
    std::atomic<bool> done{false};
    std::atomic<unsigned> comments{0};
    const std::string photo = anna().uploadPhoto(m_group, smallPicture());
    std::thread busy([&] {
        ServiceClient client(port(), m_anna);
        while (!done) {
            const HttpReply reply = client.comment(photo, "on and on");
            EXPECT_EQ(reply.status, 200) << reply.body;
            ++comments;
        }
    });
    EXPECT_TRUE(test::comesTrue([&] { return comments > 0; }));
    EXPECT_NO_THROW(upgrade(NEXT, true));
    EXPECT_TRUE(test::comesTrue([&, before = comments.load()] { return comments > before + 1; })) << "and behind it";
    done = true;
    busy.join();
    expectConsistent();
}

TEST_F(Upgrade, RefusesProgramsThatDoNotUnderstandIt)
{
    upgrade("CREATE TABLE next_one (id BIGINT PRIMARY KEY)", true);
    upgrade("CREATE TABLE another_one (id BIGINT PRIMARY KEY)", false);
    const CommandResult list = command({"person", "list"});
    EXPECT_EQ(list.exitCode, 1);
    EXPECT_THAT(list.err, HasSubstr("by a newer kinloomd"));
    EXPECT_THAT(list.err, HasSubstr("this one knows layout " + std::to_string(kinloomd::versionOf(steps()))));
}

} // namespace
