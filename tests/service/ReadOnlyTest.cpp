// SPDX-License-Identifier: MIT
// A service whose records are being moved shows everything and changes nothing.
#include "PageClient.h"
#include "TestPictures.h"

#include <gmock/gmock.h>

namespace {

using namespace kinloomd_test;
using ::testing::HasSubstr;

class ReadOnly : public ServiceFixture {
protected:
    void SetUp() override
    {
        m_settings.keepStandardError = true;
        start();
        m_group = anna().createGroup("Family");
        m_photo = anna().uploadPhoto(m_group, smallPicture());
        m_slot = field(anna().reserve(m_group, "type=photo"), "uploadUrl");
        const HttpReply view = anna().get(ServiceClient::path(m_photo + "/view"));
        m_media = {targetOf(field(view, "contentUrl")), targetOf(field(view, "contentThumbnail_116X87"))};
        EXPECT_EQ(request(port(), "GET", m_media.back()).status, 200);
    }

    void mark(const std::string& state)
    {
        runSql(m_data, "DELETE FROM setting WHERE name = 'moving'");
        if (!state.empty())
            runSql(m_data, "INSERT INTO setting (name, value) VALUES ('moving', '" + state + " 1 2 3 another place')");
    }
    static void expectRefused(const HttpReply& reply, const std::string& why = "are being moved")
    {
        EXPECT_EQ(reply.status, 503) << reply.body;
        EXPECT_EQ(reply.header("retry-after"), "60");
        EXPECT_THAT(reply.body, HasSubstr(why));
    }
    std::string feed() { return anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).body; }
    std::string health(int status = 200)
    {
        Wire wire(port());
        wire.send("GET /healthz HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
        const HttpReply reply = wire.receive();
        EXPECT_EQ(reply.status, status);
        return reply.body;
    }

    std::string m_group;
    std::string m_photo;
    std::string m_slot;
    std::vector<std::string> m_media;
};

TEST_F(ReadOnly, ShowsEverythingAndChangesNothing)
{
    const std::string before = feed();
    EXPECT_EQ(health(), "well\n");
    mark("leaving");
    EXPECT_THAT(health(), HasSubstr("nothing can be changed"));
    EXPECT_EQ(feed(), before);
    for (const std::string& medium : m_media)
        EXPECT_EQ(request(port(), "GET", medium).status, 200);
    EXPECT_EQ(ben().signIn().status, 200) << "when a device signed in last is not noted";
    expectRefused(anna().post(ServiceClient::path("me/group.create"), "group_name=Other"));
    expectRefused(anna().reserve(m_group, "type=photo"));
    expectRefused(anna().sendFile(m_slot, smallPicture()));
    expectRefused(anna().comment(m_photo, "text"));
    expectRefused(anna().post(ServiceClient::path(m_photo + "/delete"), ""));
    const CommandResult command = this->command({"person", "add", "Dora"});
    EXPECT_EQ(command.exitCode, 1);
    EXPECT_THAT(command.err, HasSubstr("they are being moved to another place"));
    EXPECT_EQ(this->command({"collect"}).exitCode, 1);
    EXPECT_EQ(feed(), before);
    mark("");
    EXPECT_EQ(anna().sendFile(m_slot, anotherPicture()).status, 200) << "the place for the upload is still there";
    EXPECT_NE(anna().commentId(m_photo, "text"), "");
    expectConsistent();
}

TEST_F(ReadOnly, CanBeBegunAnew)
{
    const std::string before = feed();
    mark("leaving");
    restart();
    EXPECT_THAT(health(), HasSubstr("nothing can be changed"));
    const HttpReply view = anna().get(ServiceClient::path(m_photo + "/view"));
    EXPECT_EQ(request(port(), "GET", targetOf(field(view, "contentUrl"))).status, 200);
    expectRefused(anna().comment(m_photo, "text"));
    mark("");
    EXPECT_NE(anna().commentId(m_photo, "text"), "");
}

TEST_F(ReadOnly, SaysSoWhenItsRecordsAreElsewhere)
{
    mark("gone");
    expectRefused(anna().comment(m_photo, "text"), "were moved");
    m_process->stop();
    for (const char* state : {"gone", "arriving"}) {
        mark(state);
        const CommandResult refused = runKinloomd({"serve", "--data", m_data, "--listen", "127.0.0.1:0"});
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_THAT(refused.err, HasSubstr("another place"));
    }
}

TEST_F(ReadOnly, ChangesNothingOnceItsMediaAreElsewhere)
{
    const std::string before = feed();
    // As it is left by a move of the media alone, for a service that the mover did not see.
    runSql(m_data, "INSERT INTO setting (name, value) VALUES ('media_number', '1')");
    expectRefused(anna().sendFile(m_slot, anotherPicture()), "until it is begun anew");
    expectRefused(anna().comment(m_photo, "text"), "until it is begun anew");
    EXPECT_EQ(feed(), before);
    EXPECT_EQ(request(port(), "GET", m_media.front()).status, 200);
    EXPECT_EQ(health(503), "the media were moved: this service must be begun anew\n");
    EXPECT_THAT(m_process->standardError(),
                HasSubstr("moved since this program began, so that it can change nothing: begin it anew"));
    restart();
    EXPECT_EQ(health(), "well\n");
    EXPECT_EQ(anna().sendFile(m_slot, anotherPicture()).status, 200) << "nothing of the refused upload is in its way";
    expectConsistent();
}

/// A browser that is signed in stays so.
class ReadOnlyPage : public PageFixture {};

TEST_F(ReadOnlyPage, LetsBrowsersLookOn)
{
    PageClient browser = browserOf("Anna");
    const std::string group = anna().createGroup("Family");
    // So long ago that the use would be noted.
    sql("UPDATE session SET used = used - 86400000");
    sql("INSERT INTO setting (name, value) VALUES ('moving', 'leaving 1 2 3 another place')");
    const HttpReply groups = browser.get("/page/groups");
    EXPECT_EQ(groups.status, 200) << groups.body;
    EXPECT_THAT(groups.body, HasSubstr("Family"));
    const HttpReply refused = browser.upload(group, smallPicture().bytes);
    EXPECT_EQ(failureOf(refused), "503 busy") << refused.body;
    EXPECT_EQ(refused.header("retry-after"), "60");
}

} // namespace
