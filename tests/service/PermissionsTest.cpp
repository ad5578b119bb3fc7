// SPDX-License-Identifier: MIT
#include "EachPermission.h"
#include "ServiceFixture.h"
#include "TestPictures.h"

#include <fstream>
#include <set>

namespace {

using namespace kinloomd_test;
using kinloomd::Action;
using kinloomd::PERMISSIONS;
using kinloomd::Role;

/// One group of which Anna is the master; Ben and Dora are members, Carla is not. Things in it are made by the author of each case.
class Permissions : public ServiceFixture {
protected:
    void SetUp() override
    {
        start();
        m_group = anna().createGroup("Family");
        addMember(m_group, "Ben");
        addMember(m_group, "Dora");
    }

    ServiceClient clientOf(Role role)
    {
        switch (role) {
        case Role::STRANGER:
            return carla();
        case Role::MEMBER:
            return dora();
        case Role::AUTHOR:
            return ben();
        case Role::MASTER:
            return anna();
        }
        throw std::logic_error("no such role");
    }
    ServiceClient dora() { return {port(), m_dora}; }

    std::string bensPhoto() { return ben().uploadPhoto(m_group, anotherPicture()); }
    std::string bensComment() { return ben().commentId(bensPhoto(), "text"); }

    /// Does the action as a person of that role, on things that Ben has made. \return the status.
    int perform(Action action, Role role)
    {
        ServiceClient client = clientOf(role);
        const auto path = &ServiceClient::path;
        switch (action) {
        case Action::LIST_GROUPS_OF_PERSON:
            return client.get(path(field(ben().signIn(), "userId") + "/group.list")).status;
        case Action::CREATE_GROUP_FOR_PERSON:
            return client.post(path(field(ben().signIn(), "userId") + "group.create"), "group_name=x").status;
        case Action::DELETE_GROUP:
            return client.post(path("me/group.delete"), "groupID=" + m_group).status;
        case Action::READ_FEED:
            return client.get(path(m_group + "/feeds?&search_before=latest")).status;
        case Action::RESERVE_UPLOAD:
            return client.reserve(m_group, "type=photo&").status;
        case Action::SEND_UPLOAD:
            return client.sendFile(field(ben().reserve(m_group, "type=photo&"), "uploadUrl"), anotherPicture()).status;
        case Action::VIEW_CONTENT:
            return client.get(path(bensPhoto() + "/view")).status;
        case Action::DELETE_CONTENT:
            return client.post(path(bensPhoto() + "/delete"), "").status;
        case Action::WRITE_COMMENT:
            return client.comment(bensPhoto(), "text").status;
        case Action::LIST_COMMENTS:
            return client.get(path(bensPhoto() + "/comment.list?search_index=0&")).status;
        case Action::VIEW_COMMENT:
            return client.get(path(bensComment() + "/view")).status;
        case Action::DELETE_COMMENT:
            return client.post(path(bensComment() + "/delete"), "").status;
        case Action::INVITE: // on the page alone, like all that follow
        case Action::RESTORE:
        case Action::SEE_PERSON:
        case Action::END_SIGN_IN:
            return NOT_HERE;
        }
        throw std::logic_error("no such action");
    }

    DeviceCredentials m_dora = addDevice(m_data, "Dora");
    std::string m_group;
};

class EachPermission : public Permissions, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(EachPermission, HoldsForEveryRole)
{
    expectOutcomes(PERMISSIONS[GetParam()], [this](Action action, Role role) { return perform(action, role); });
}

INSTANTIATE_TEST_SUITE_P(All, EachPermission, ::testing::Range(std::size_t{0}, std::size(PERMISSIONS)));

TEST_F(Permissions, LookTheSameToAStrangerAsNothing)
{
    const std::string photo = bensPhoto();
    const HttpReply foreign = carla().get(ServiceClient::path(photo + "/view"));
    const HttpReply absent = carla().get(ServiceClient::path("999999/view"));
    EXPECT_EQ(foreign.status, absent.status);
    EXPECT_EQ(foreign.body, absent.body);
}

TEST_F(Permissions, EndWithTheMembership)
{
    const std::string photo = bensPhoto();
    const std::string comment = ben().commentId(photo, "text");
    const std::string slot = field(ben().reserve(m_group, "type=photo&"), "uploadUrl");
    ASSERT_EQ(command({"member", "remove", m_group, "Ben"}).exitCode, 0);
    EXPECT_EQ(ben().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).status, 404);
    EXPECT_EQ(ben().post(ServiceClient::path(photo + "/delete"), "").status, 404);
    EXPECT_EQ(ben().post(ServiceClient::path(comment + "/delete"), "").status, 404);
    EXPECT_EQ(ben().comment(photo, "text").status, 404);
    EXPECT_EQ(ben().sendFile(slot, smallPicture()).status, 404);
    EXPECT_TRUE(ben().groupNames("").empty());
}

TEST_F(Permissions, OfMediaAddressesEndWithAMembership)
{
    bensPhoto();
    const auto photoUrl = [&] {
        return field(anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")), "contentUrl");
    };
    const std::string before = photoUrl();
    EXPECT_EQ(request(port(), "GET", targetOf(before)).status, 200);
    ASSERT_EQ(command({"member", "remove", m_group, "Ben"}).exitCode, 0);
    EXPECT_EQ(request(port(), "GET", targetOf(before)).status, 404);
    EXPECT_EQ(request(port(), "GET", targetOf(photoUrl())).status, 200);
}

TEST_F(Permissions, OfMediaAddressesEndWithTheDeviceThatTheyWereGivenTo)
{
    bensPhoto();
    const std::string file = m_folder / "anna.jpg";
    std::ofstream(file, std::ios::binary) << smallPicture().bytes;
    ASSERT_EQ(command({"person", "image", "Anna", file}).exitCode, 0);
    const DeviceCredentials second = addDevice(m_data, "Ben");
    const auto addresses = [&](const DeviceCredentials& device) {
        ServiceClient client(port(), device);
        const Xml feed(client.get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).body);
        const Xml groups(client.get(ServiceClient::path("me/group.list?option_include=member")).body);
        std::vector<std::string> urls = feed.texts("//contentUrl|//thumbnail/*");
        for (const std::string& url : groups.texts("//groupImageUrl|//groupImage/thumbnail/*|//userImageThumbnail_72X72"))
            urls.push_back(url);
        return urls;
    };
    const auto statuses = [&](const std::vector<std::string>& urls) {
        std::set<int> seen;
        for (const std::string& url : urls)
            seen.insert(request(port(), "GET", targetOf(url)).status);
        return seen;
    };
    const auto first = addresses(m_ben);
    const auto others = addresses(second);
    ASSERT_GE(first.size(), 7U);
    EXPECT_EQ(statuses(first), std::set<int>{200});
    EXPECT_THAT(addresses(m_ben), ::testing::ElementsAreArray(first))
        << "a device always gets the same ones, to keep files by them";
    ASSERT_EQ(command({"device", "remove", m_ben.duid}).exitCode, 0);
    EXPECT_EQ(statuses(first), std::set<int>{404});
    EXPECT_EQ(statuses(others), std::set<int>{200});
    // The device at the end of a key is part of what the key is made of.
    for (std::string url : first) {
        const auto key = url.find('/', url.find("/media/") + std::string("/media/").size()) + 1;
        const auto device = url.find('-', key) + 1;
        url.replace(device, url.find('/', device) - device, "1");
        EXPECT_EQ(request(port(), "GET", targetOf(url)).status, 404) << url;
    }
}

TEST_F(Permissions, AreAskedOfTheThingNotOfTheAddress)
{
    // Identifiers of people and groups name nothing that can be viewed or deleted.
    const std::string person = field(anna().signIn(), "userId");
    for (const std::string& id :
         {person, m_group, std::string("0"), std::string("-1"), std::string("me"), std::string("9223372036854775808")}) {
        EXPECT_EQ(anna().get(ServiceClient::path(id + "/view")).status, 404) << id;
        EXPECT_EQ(anna().post(ServiceClient::path(id + "/delete"), "").status, 404) << id;
        EXPECT_EQ(anna().comment(id, "x").status, 404) << id;
    }
    EXPECT_EQ(anna().groupNames("").size(), 1U);
}

} // namespace
