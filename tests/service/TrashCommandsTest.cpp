// SPDX-License-Identifier: MIT
#include "KeptMedia.h"
#include "ServiceFixture.h"
#include "TestPictures.h"
#include "support/Wait.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace {

using namespace kinloomd_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Json = nlohmann::json;

class TrashCommands : public ServiceFixture {
protected:
    void SetUp() override
    {
        start();
        m_group = anna().createGroup("Family");
        addMember(m_group, "Ben");
        m_photo = ben().uploadPhoto(m_group, smallPicture(), "a day out");
        m_comment = anna().commentId(m_photo, "lovely");
    }

    Json trash() { return Json::parse(command({"trash", "list", "--json"}).out); }

    CommandResult restore(const Json& entry) { return command({"trash", "restore", std::to_string(entry["id"].get<int>())}); }

    std::string contentUrl() { return field(anna().get(ServiceClient::path(m_photo + "/view")), "contentUrl"); }

    /// Everything that Anna sees: names and totals of groups, contents with their numbers of comments, comments.
    std::string whatAnnaSees()
    {
        return anna().get(ServiceClient::path("me/group.list?option_include=usage,member")).body +
               anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).body +
               anna().get(ServiceClient::path(m_photo + "/view")).body +
               anna().get(ServiceClient::path(m_photo + "/comment.list?search_index=0&")).body;
    }

    void makeOld(int days) { runSql(m_data, "UPDATE trash SET at = at - " + std::to_string(days) + " * CAST(86400000 AS bigint)"); }

    std::string m_group;
    std::string m_photo;
    std::string m_comment;
};

TEST_F(TrashCommands, BringBackAContentAsItWas)
{
    const std::string before = whatAnnaSees();
    const std::string url = contentUrl();
    ASSERT_EQ(ben().post(ServiceClient::path(m_photo + "/delete"), "").status, 200);
    EXPECT_EQ(request(port(), "GET", targetOf(url)).status, 404);
    EXPECT_EQ(anna().get(ServiceClient::path(m_photo + "/view")).status, 404);
    EXPECT_EQ(anna().get(ServiceClient::path(m_comment + "/view")).status, 404);
    EXPECT_EQ(anna().comment(m_photo, "late").status, 404);
    const Xml groups(anna().get(ServiceClient::path("me/group.list?option_include=usage")).body);
    EXPECT_EQ(groups.text("//photoCount") + groups.text("//commentCount") + groups.text("//groupImageUrl"), "00");
    const Json entry = trash().at(0);
    EXPECT_EQ(entry["kind"], "content");
    EXPECT_EQ(entry["number"], std::stoi(m_photo));
    EXPECT_EQ(entry["name"], "a day out");
    EXPECT_EQ(entry["of"], "Family");
    EXPECT_EQ(entry["deleted_by"]["name"], "Ben");
    EXPECT_THAT(command({"trash", "list"}).out,
                ::testing::MatchesRegex("[0-9]+\tcontent\ta day out\tof Family\tby Ben\tdeleted [^\t]+Z\tkept until [^\t]+Z\n"));
    const CommandResult back = restore(entry);
    EXPECT_EQ(back.exitCode, 0) << back.err;
    EXPECT_EQ(back.out, "content " + m_photo + " 'a day out' is back\n");
    EXPECT_EQ(whatAnnaSees(), before);
    EXPECT_EQ(request(port(), "GET", targetOf(url)).body, smallPicture().bytes);
    EXPECT_THAT(trash(), IsEmpty());
    expectConsistent();
}

TEST_F(TrashCommands, BringBackAGroupAsItWas)
{
    const std::string before = whatAnnaSees();
    const std::string url = contentUrl();
    ASSERT_EQ(anna().post(ServiceClient::path("me/group.delete"), "groupID=" + m_group).status, 200);
    EXPECT_THAT(anna().groupNames(""), IsEmpty());
    EXPECT_THAT(ben().groupNames(""), IsEmpty());
    EXPECT_EQ(request(port(), "GET", targetOf(url)).status, 404);
    EXPECT_EQ(anna().get(ServiceClient::path(m_photo + "/view")).status, 404);
    EXPECT_EQ(anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).status, 404);
    EXPECT_EQ(command({"group", "list"}).out, "");
    restart();
    EXPECT_TRUE(hasOriginal(m_data, m_photo)) << "files in the trash are not swept up";
    EXPECT_EQ(command({"check"}).exitCode, 0);
    EXPECT_EQ(restore(trash().at(0)).exitCode, 0);
    EXPECT_EQ(whatAnnaSees(), before);
    EXPECT_EQ(request(port(), "GET", targetOf(url)).status, 200);
    expectConsistent();
}

TEST_F(TrashCommands, BringBackAComment)
{
    const std::string before = whatAnnaSees();
    ASSERT_EQ(anna().post(ServiceClient::path(m_comment + "/delete"), "").status, 200);
    EXPECT_NE(whatAnnaSees(), before);
    EXPECT_EQ(trash().at(0)["name"], "lovely");
    EXPECT_EQ(restore(trash().at(0)).exitCode, 0);
    EXPECT_EQ(whatAnnaSees(), before);
    expectConsistent();
}

TEST_F(TrashCommands, BringBackADevice)
{
    ASSERT_EQ(command({"device", "remove", m_ben.duid}).exitCode, 0);
    EXPECT_EQ(ben().signIn().status, 403);
    EXPECT_EQ(trash().at(0)["kind"], "device");
    EXPECT_EQ(restore(trash().at(0)).exitCode, 0);
    EXPECT_EQ(ben().signIn().status, 200);
}

TEST_F(TrashCommands, RefuseWhatCannotComeBack)
{
    ASSERT_EQ(anna().post(ServiceClient::path(m_comment + "/delete"), "").status, 200);
    ASSERT_EQ(ben().post(ServiceClient::path(m_photo + "/delete"), "").status, 200);
    ASSERT_EQ(anna().post(ServiceClient::path("me/group.delete"), "groupID=" + m_group).status, 200);
    const Json all = trash();
    ASSERT_EQ(all.size(), 3U);
    const CommandResult result = restore(all[1]);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("its group is in the trash: 'kinloomd trash restore " + all[2]["id"].dump() + "'"));
    EXPECT_EQ(restore(all[2]).exitCode, 0);
    EXPECT_THAT(restore(all[0]).err,
                HasSubstr("its content is in the trash: 'kinloomd trash restore " + all[1]["id"].dump() + "'"));
    EXPECT_EQ(restore(all[1]).exitCode, 0);
    EXPECT_EQ(restore(all[0]).exitCode, 0);
    for (const char* number : {"999", "0", "x"})
        EXPECT_EQ(command({"trash", "restore", number}).exitCode, 1) << number;
}

TEST_F(TrashCommands, EmptyItOnlyWhenThatIsWanted)
{
    ASSERT_EQ(ben().post(ServiceClient::path(m_photo + "/delete"), "").status, 200);
    ASSERT_TRUE(hasOriginal(m_data, m_photo));
    const CommandResult unasked = command({"trash", "empty"});
    EXPECT_EQ(unasked.exitCode, 2);
    EXPECT_THAT(unasked.err, HasSubstr("--yes"));
    const CommandResult dry = command({"trash", "empty", "--dry-run"});
    EXPECT_EQ(dry.exitCode, 0);
    EXPECT_EQ(dry.out, "would remove 1 content for good\n");
    EXPECT_EQ(command({"trash", "empty", "--dry-run", "--yes"}).out, dry.out);
    EXPECT_EQ(command({"trash", "empty", "--older-than", "1", "--yes"}).out, "there is nothing to remove\n");
    EXPECT_EQ(command({"trash", "empty", "--older-than", "-1", "--yes"}).exitCode, 2);
    EXPECT_TRUE(hasOriginal(m_data, m_photo));
    EXPECT_EQ(trash().size(), 1U);
    makeOld(2);
    EXPECT_EQ(command({"trash", "empty", "--older-than", "1", "--yes"}).out, "removed 1 content for good\n");
    EXPECT_FALSE(hasOriginal(m_data, m_photo));
    EXPECT_THAT(trash(), IsEmpty());
    EXPECT_EQ(command({"trash", "restore", "1"}).exitCode, 1);
    expectConsistent();
}

TEST_F(TrashCommands, AreNotNeededForWhatIsThirtyDaysOld)
{
    ASSERT_EQ(anna().post(ServiceClient::path("me/group.delete"), "groupID=" + m_group).status, 200);
    makeOld(29);
    restart();
    ASSERT_TRUE(hasOriginal(m_data, m_photo));
    makeOld(1);
    // The service removes it beside its work: first the record, then the file.
    restart();
    EXPECT_TRUE(test::comesTrue([&] { return !hasOriginal(m_data, m_photo); })) << "the file is still there";
    EXPECT_THAT(trash(), IsEmpty());
    EXPECT_EQ(anna().signIn().status, 200);
    expectConsistent();
}

TEST_F(TrashCommands, SayNothingThatATerminalObeys)
{
    const std::string nasty = "\x1b[2J\xc2\x9b"
                              "1;31m\nforged\trow \xe2\x80\xae";
    const std::string photo = ben().uploadPhoto(m_group, anotherPicture(), nasty);
    ASSERT_EQ(ben().post(ServiceClient::path(photo + "/delete"), "").status, 200);
    const std::string lines = command({"trash", "list"}).out;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1);
    EXPECT_EQ(lines.find('\x1b'), std::string::npos);
    EXPECT_THAT(lines, HasSubstr("\\u009b1;31m\\u000aforged\\u0009row \\u202e"));
}

} // namespace
