// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"
#include "TestPictures.h"

#include <fstream>

namespace {

using namespace kinloomd_test;
using ::testing::ElementsAre;

class Content : public ServiceFixture {
protected:
    void SetUp() override
    {
        start();
        m_group = anna().createGroup("Family");
        m_photo = anna().uploadPhoto(m_group, makePicture(60, 40), "text");
        anna().signIn();
    }

    HttpReply view(const std::string& id) { return anna().get(ServiceClient::path(id + "/view")); }

    std::string m_group;
    std::string m_photo;
};

TEST_F(Content, IsViewedAsAGalleryHoldsIt)
{
    const HttpReply reply = view(m_photo);
    ASSERT_EQ(reply.status, 200);
    const Xml xml(reply.body);
    const std::string content = "/rsp/data/group/content";
    EXPECT_EQ(xml.text(content + "/id"), m_photo);
    EXPECT_EQ(xml.text(content + "/galleryID"), m_group);
    EXPECT_EQ(xml.text(content + "/contentDesc"), "text");
    EXPECT_EQ(xml.text(content + "/contentExt"), "jpg");
    EXPECT_EQ(xml.text(content + "/width"), "60");
    EXPECT_EQ(xml.text(content + "/contentRegisterMember/userName"), "Anna");
    EXPECT_EQ(xml.text(content + "/contentRegisterMember/userStatus/text()"), "active");
    EXPECT_EQ(xml.text(content + "/contentRegisterMember/userStatus/code"), "1");
    EXPECT_EQ(xml.count(content + "/thumbnail/*"), 3U);
    EXPECT_EQ(xml.text(content + "/commentCount"), "0");
    EXPECT_EQ(xml.count(content + "/eventLink"), 0U);
    EXPECT_EQ(request(port(), "GET", targetOf(xml.text(content + "/contentUrl"))).status, 200);
}

TEST_F(Content, BringsItsCommentsAndEvents)
{
    anna().comment(m_photo, "first");
    anna().comment(m_photo, "second");
    const CommandResult event = command({"event", "add", m_photo, "--person", "Anna", "--title", "Birthday", "--type", "party",
                                         "--desc", "cake", "--start", "2010-05-05T07:04:09Z", "--end", "2010-05-05T09:00:00Z"});
    ASSERT_EQ(event.exitCode, 0) << event.err;
    const Xml xml(view(m_photo).body);
    const std::string content = "/rsp/data/group/content";
    EXPECT_THAT(xml.texts(content + "/comment/commentText"), ElementsAre("first", "second"));
    EXPECT_EQ(xml.text(content + "/commentCount"), "2");
    const std::string link = content + "/eventLink/contentLink";
    EXPECT_EQ(xml.text(link + "/ID"), event.out.substr(0, event.out.find('\t')));
    EXPECT_EQ(xml.text(link + "/calendarID"), m_group);
    EXPECT_EQ(xml.text(link + "/eventTitle"), "Birthday");
    EXPECT_EQ(xml.text(link + "/eventType"), "party");
    EXPECT_EQ(xml.text(link + "/eventDescription"), "cake");
    EXPECT_EQ(xml.text(link + "/eventStartDate"), "2010-05-05T07:04:09Z");
    EXPECT_EQ(xml.text(link + "/eventEndDate"), "2010-05-05T09:00:00Z");
    EXPECT_EQ(xml.text(link + "/eventRegisterMember/userName"), "Anna");
}

TEST_F(Content, IsGoneWithItsFilesAndCommentsWhenDeleted)
{
    const std::string comment = field(anna().comment(m_photo, "text"), "commentId");
    const std::string url = field(view(m_photo), "contentUrl");
    const std::string thumbnail = field(view(m_photo), "contentThumbnail_116X87");
    const HttpReply reply = anna().post(ServiceClient::path(m_photo + "/delete"), "");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(Xml(reply.body).text("/rsp/result/stat"), "ok");
    EXPECT_EQ(view(m_photo).status, 404);
    EXPECT_EQ(view(comment).status, 404);
    EXPECT_EQ(request(port(), "GET", targetOf(url)).status, 404);
    EXPECT_EQ(request(port(), "GET", targetOf(thumbnail)).status, 404);
    EXPECT_EQ(anna().post(ServiceClient::path(m_photo + "/delete"), "").status, 404);
    const Xml group(anna().get(ServiceClient::path("me/group.list?option_include=usage")).body);
    EXPECT_EQ(group.text("//totalContentCount"), "0");
    EXPECT_EQ(group.text("//commentCount"), "0");
    expectConsistent();
}

TEST_F(Content, OfADeletedGroupLeavesNoFiles)
{
    anna().uploadPhoto(m_group, smallPicture());
    EXPECT_EQ(anna().post(ServiceClient::path("me/group.delete"), "groupID=" + m_group).status, 200);
    EXPECT_EQ(view(m_photo).status, 404);
    // The files are removed after the reply, or when the service starts again.
    restart();
    expectConsistent();
}

TEST_F(Content, GivesItsGroupAPicture)
{
    const Xml group(anna().get(ServiceClient::path("me/group.list?option_include=none")).body);
    for (const char* path : {"//groupImage/groupImageUrl", "//groupImage/thumbnail/groupImageThumbnail_274X204"}) {
        const HttpReply picture = request(port(), "GET", targetOf(group.text(path)));
        EXPECT_EQ(picture.status, 200) << path;
        EXPECT_TRUE(lookAt(picture.body)) << path;
    }
}

TEST_F(Content, ShowsThePictureOfAPerson)
{
    const std::string file = m_folder / "anna.png";
    std::ofstream(file, std::ios::binary) << makePicture(300, 200, ".png").bytes;
    ASSERT_EQ(command({"person", "image", "Anna", file}).exitCode, 0);
    const std::string first = Xml(view(m_photo).body).text("//contentRegisterMember/userImage");
    const HttpReply picture = request(port(), "GET", targetOf(first));
    ASSERT_EQ(picture.status, 200);
    EXPECT_EQ(lookAt(picture.body)->width, 72);
    EXPECT_EQ(lookAt(picture.body)->height, 72);
    ASSERT_EQ(command({"person", "image", "Anna", file}).exitCode, 0);
    EXPECT_EQ(request(port(), "GET", targetOf(first)).status, 404) << "a new picture has a new address";
    const Xml groups(anna().get(ServiceClient::path("me/group.list?option_include=creator&")).body);
    EXPECT_EQ(request(port(), "GET", targetOf(groups.text("//groupMaster/thumbnail/userImageThumbnail_72X72"))).status, 200);
    expectConsistent();
}

TEST_F(Content, IsTheSameInTheShapeWithAttributes)
{
    anna().comment(m_photo, "line\nbreak & <more>");
    command({"event", "add", m_photo, "--person", "Anna", "--title", "Birthday", "--start", "2010-05-05"});
    const std::string file = m_folder / "anna.jpg";
    std::ofstream(file, std::ios::binary) << smallPicture().bytes;
    command({"person", "image", "Anna", file});
    m_settings.arguments = {"--reply-shape", "attributes"};
    restart();

    const Xml content(view(m_photo).body);
    const std::string element = "/rsp/data/group/content";
    EXPECT_EQ(content.text(element + "/@id"), m_photo);
    EXPECT_EQ(content.text(element + "/@contentDesc"), "text");
    EXPECT_EQ(content.count(element + "/thumbnail/contentThumbnail_540X405"), 1U);
    EXPECT_EQ(content.text(element + "/comment/@commentText"), "line\nbreak & <more>");
    EXPECT_EQ(content.text(element + "/eventLink/contentLink/@eventTitle"), "Birthday");
    EXPECT_EQ(content.text(element + "/contentRegisterMember/userStatus/@code"), "1");
    EXPECT_EQ(content.text("/rsp/result/stat"), "ok") << "the outcome is an element in both shapes";

    const Xml feed(anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest&option_include=creator")).body);
    EXPECT_EQ(feed.text("/rsp/data/content/@contentId"), m_photo);
    EXPECT_EQ(feed.text("/rsp/data/content/contentDetail/@width"), "60");
    EXPECT_NE(feed.text("/rsp/data/content/contentCreator/userImage/thumbnail/@userImageThumbnail_72X72"), "");

    const Xml groups(anna().get(ServiceClient::path("me/group.list?option_include=usage&")).body);
    EXPECT_EQ(groups.text("/rsp/data/user/group/@groupName"), "Family");
    EXPECT_EQ(groups.text("/rsp/data/user/group/@photoCount"), "1");

    const Xml slot(anna().reserve(m_group, "type=photo&").body);
    EXPECT_NE(slot.text("/rsp/data/@uploadUrl"), "");
    const Xml failure(view("999999").body);
    EXPECT_EQ(failure.text("/rsp/result/stat"), "fail");
    EXPECT_EQ(failure.text("/rsp/result/@code"), "203");
    EXPECT_EQ(failure.text("/rsp/result/err/@code"), "203");
    const Xml account(anna().signIn().body);
    EXPECT_EQ(account.text("/rsp/@stat"), "ok");
    EXPECT_EQ(account.text("/rsp/result/stat"), "ok");
}

} // namespace
