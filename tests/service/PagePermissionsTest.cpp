// SPDX-License-Identifier: MIT
// The table of permissions, held against the page.
#include "EachPermission.h"
#include "PageClient.h"
#include "TestPictures.h"

#include <fstream>

namespace {

using namespace kinloomd_test;
using kinloomd::Action;
using kinloomd::PERMISSIONS;
using kinloomd::Role;

/// One group of which Anna is the master; Ben and Dora are members, Carla is not. Things in it are made by Ben.
class EachPermissionOfThePage : public PageFixture, public ::testing::WithParamInterface<std::size_t> {
protected:
    void SetUp() override
    {
        PageFixture::SetUp();
        m_group = anna().createGroup("Family");
        for (const char* member : {"Ben", "Dora"})
            addMember(m_group, member);
        const std::string file = m_folder / "face.jpg";
        std::ofstream(file, std::ios::binary) << makePicture(50, 50).bytes;
        ASSERT_EQ(command({"person", "image", "Ben", file}).exitCode, 0);
    }

    PageClient clientOf(Role role)
    {
        static constexpr const char* NAMES[] = {"Carla", "Dora", "Ben", "Anna"};
        return browserOf(NAMES[static_cast<int>(role)]);
    }
    std::string bensPhoto() { return ben().uploadPhoto(m_group, anotherPicture()); }
    std::string bensComment() { return ben().commentId(bensPhoto(), "text"); }

    /// Does the action on the page as a person of that role, on things that Ben has made. \return the status.
    int perform(Action action, Role role)
    {
        PageClient client = clientOf(role);
        switch (action) {
        case Action::LIST_GROUPS_OF_PERSON: // the page lists one's own
        case Action::CREATE_GROUP_FOR_PERSON:
            return role == Role::AUTHOR ? client.get("/page/groups").status : NOT_HERE;
        case Action::DELETE_GROUP: // and what may be done with a group is in its record
            return recordedMay(client, "delete_group");
        case Action::SEND_UPLOAD: // no place is reserved before
            return NOT_HERE;
        case Action::VIEW_COMMENT: // comments come with their content
        case Action::LIST_COMMENTS:
        case Action::VIEW_CONTENT:
            return client.get("/page/contents/" + bensPhoto()).status;
        case Action::READ_FEED: {
            const int status = client.get("/page/groups/" + m_group + "/contents").status;
            for (const char* other : {"/months", "/members", ""})
                EXPECT_EQ(client.get("/page/groups/" + m_group + other).status, status) << other;
            return status;
        }
        case Action::RESERVE_UPLOAD: {
            const int status = client.upload(m_group, anotherPicture().bytes).status;
            EXPECT_EQ(client.post("/page/groups/" + m_group + "/check", {{"files", Json::array()}}).status,
                      status == 201 ? 200 : status);
            return status == 201 ? 200 : status;
        }
        case Action::DELETE_CONTENT:
            return client.erase("/page/contents/" + bensPhoto()).status;
        case Action::WRITE_COMMENT: {
            const int status = client.post("/page/contents/" + bensPhoto() + "/comments", {{"text", "x"}}).status;
            return status == 201 ? 200 : status;
        }
        case Action::DELETE_COMMENT:
            return client.erase("/page/comments/" + bensComment()).status;
        case Action::INVITE: {
            const int status = client.post("/page/groups/" + m_group + "/invitations", {{"name", "Opa"}}).status;
            return status == 201 ? 200 : status;
        }
        case Action::RESTORE: {
            const std::string photo = bensPhoto();
            EXPECT_EQ(browserOf("Ben").erase("/page/contents/" + photo).status, 200);
            return client.post("/page/contents/" + photo + "/restore").status;
        }
        case Action::SEE_PERSON:
            return client.get(jsonOf(browserOf("Ben").get("/page/session"))["person"]["photo"]).status;
        case Action::END_SIGN_IN:
            return client.erase("/page/devices/" + m_ben.duid).status;
        }
        throw std::logic_error("no such action");
    }

    /// What the record of the group says, as a status.
    int recordedMay(PageClient& client, const char* word)
    {
        const HttpReply reply = client.get("/page/groups/" + m_group);
        if (reply.status != 200)
            return reply.status;
        return jsonOf(reply)["may"][word].get<bool>() ? 200 : 403;
    }

    DeviceCredentials m_dora = addDevice(m_data, "Dora");
    std::string m_group;
};

TEST_P(EachPermissionOfThePage, HoldsForEveryRole)
{
    expectOutcomes(PERMISSIONS[GetParam()], [this](Action action, Role role) { return perform(action, role); });
}

INSTANTIATE_TEST_SUITE_P(All, EachPermissionOfThePage, ::testing::Range(std::size_t{0}, std::size(PERMISSIONS)));

class PagePermissions : public PageFixture {};

TEST_F(PagePermissions, LookTheSameToAStrangerAsNothing)
{
    const std::string group = anna().createGroup("Family");
    const std::string photo = anna().uploadPhoto(group, smallPicture());
    const std::string comment = anna().commentId(photo, "text");
    const std::string session = jsonOf(browserOf("Anna").get("/page/session"))["session"];
    PageClient carlas = browserOf("Carla");
    const std::string nothing = carlas.get("/page/contents/999999").body;
    for (const std::string& target : {"/page/contents/" + photo, "/page/groups/" + group, "/page/groups/" + group + "/months",
                                      "/page/groups/" + group + "/contents", "/page/media/" + photo + "/small",
                                      "/page/media/" + photo + "/original", "/page/contents/" + group, "/page/groups/" + photo})
        EXPECT_EQ(carlas.get(target).body, nothing) << target;
    for (const std::string& target :
         {"/page/contents/" + photo, "/page/comments/" + comment, "/page/devices/" + m_anna.duid, "/page/sessions/" + session})
        EXPECT_EQ(carlas.erase(target).body, nothing) << target;
}

} // namespace
