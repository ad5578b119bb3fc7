// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"

namespace {

using namespace kinloomd_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class Groups : public ServiceFixture {
protected:
    void SetUp() override { start(); }
    Xml list(const std::string& query) { return Xml(anna().get(ServiceClient::path("me/group.list?" + query)).body); }
};

TEST_F(Groups, AreCreatedWithNameAndDescription)
{
    const HttpReply reply = anna().post(ServiceClient::path("me/group.create"), "group_name=Family&group_desc=All+of+us");
    ASSERT_EQ(reply.status, 200);
    const Xml xml(reply.body);
    EXPECT_EQ(xml.text("/rsp/result/stat"), "ok");
    EXPECT_EQ(xml.text("/rsp/data/group/groupName"), "Family");
    EXPECT_EQ(xml.text("/rsp/data/group/groupDesc"), "All of us");
    EXPECT_EQ(xml.text("/rsp/data/group/groupMaster/userName"), "Anna");
    EXPECT_EQ(xml.text("/rsp/data/group/totalContentCount"), "0");
    EXPECT_NE(xml.text("/rsp/data/group/groupId"), "");
}

TEST_F(Groups, AreCreatedWhereTheIdentifierRunsIntoTheWord)
{
    const std::string id = field(anna().signIn(), "userId");
    EXPECT_EQ(anna().post(ServiceClient::path(id + "group.create"), "group_name=Joined").status, 200);
    EXPECT_EQ(anna().post(ServiceClient::path(id + "/group.create"), "group_name=Apart").status, 200);
    EXPECT_THAT(anna().groupNames(""), UnorderedElementsAre("Joined", "Apart"));
}

class DifficultName : public Groups, public ::testing::WithParamInterface<const char*> {};

TEST_P(DifficultName, ComesBackAsItWas)
{
    ASSERT_NE(anna().createGroup(GetParam(), GetParam()), "");
    EXPECT_THAT(anna().groupNames(""), ElementsAre(GetParam()));
    EXPECT_EQ(list("").text("//groupDesc"), GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Names, DifficultName,
    ::testing::Values("two words", "Tom & Jerry", "a=b&c=d", "<b>\"quotes\" 'n' ]]></b>", "100% +1",
                      "\xC3\x84\xC3\x96\xC3\x9C \xE5\xAE\xB6\xE6\x97\x8F \xF0\x9F\x91\xA8\xE2\x80\x8D\xF0\x9F\x91\xA9",
                      " blank ends ", "line\nbreak", "'; DROP TABLE family; --", "me", "0"));

TEST_F(Groups, TakeRawTextAsItWasTyped)
{
    EXPECT_EQ(anna().post(ServiceClient::path("me/group.create"), "group_name=Tom & Jerry \xC3\xA9&group_desc=x").status, 200);
    EXPECT_THAT(anna().groupNames(""), ElementsAre("Tom & Jerry \xC3\xA9"));
}

TEST_F(Groups, NeverHoldBytesThatBreakADocument)
{
    EXPECT_EQ(anna().post(ServiceClient::path("me/group.create"), "group_name=a%00b%01c%FFd").status, 200);
    EXPECT_THAT(anna().groupNames(""), ElementsAre("a\xEF\xBF\xBD"
                                                   "b\xEF\xBF\xBD"
                                                   "c\xEF\xBF\xBD"
                                                   "d"));
}

TEST_F(Groups, NeedANameOfSensibleLength)
{
    const std::string create = ServiceClient::path("me/group.create");
    EXPECT_EQ(anna().post(create, "").status, 400);
    EXPECT_EQ(anna().post(create, "group_name=").status, 400);
    EXPECT_EQ(anna().post(create, "group_desc=x").status, 400);
    EXPECT_EQ(anna().post(create, "group_name=" + std::string(201, 'x')).status, 400);
    EXPECT_EQ(anna().post(create, "group_name=x&group_desc=" + std::string(4097, 'x')).status, 400);
    EXPECT_THAT(anna().groupNames(""), IsEmpty());
    EXPECT_EQ(anna().post(create, "group_name=" + std::string(200, 'x')).status, 200);
}

TEST_F(Groups, AreListedInPagesWithOneMoreThatSaysThereAreMore)
{
    for (const char* name : {"a", "b", "c", "d", "e"})
        anna().createGroup(name);
    EXPECT_THAT(anna().groupNames("search_index=0&search_count=2&option_sort=alphabetical"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(anna().groupNames("search_index=2&search_count=2&"), ElementsAre("c", "d", "e"));
    EXPECT_THAT(anna().groupNames("search_index=4&search_count=2"), ElementsAre("e"));
    EXPECT_THAT(anna().groupNames("search_index=5&search_count=2"), IsEmpty());
    EXPECT_THAT(anna().groupNames("search_index=4294967295&search_count=2"), IsEmpty());
}

TEST_F(Groups, AreListedTenToAPageUnlessToldOtherwise)
{
    for (int i = 0; i < 12; ++i)
        anna().createGroup("group " + std::to_string(i));
    EXPECT_EQ(anna().groupNames("").size(), 11U);
    EXPECT_EQ(anna().groupNames("search_count=20").size(), 12U);
}

TEST_F(Groups, AreSortedAsAsked)
{
    const std::string b = anna().createGroup("b");
    anna().createGroup("A");
    anna().createGroup("c");
    EXPECT_THAT(anna().groupNames("option_sort=alphabetical"), ElementsAre("A", "b", "c"));
    EXPECT_THAT(anna().groupNames("option_sort=created_time"), ElementsAre("c", "A", "b"));
    EXPECT_THAT(anna().groupNames("option_sort=recent_used"), ElementsAre("c", "A", "b"));
}

TEST_F(Groups, ShowWhatIsAskedForBesideTheirNames)
{
    const std::string id = anna().createGroup("Family", "text");
    addMember(id, "Ben");
    EXPECT_EQ(list("option_include=none").count("//group/*"), 3U);
    EXPECT_EQ(list("option_include=new&").count("//group/*"), 3U);
    EXPECT_EQ(list("option_include=usage&").text("//totalContentCount"), "0");
    EXPECT_EQ(list("option_include=usage&").count("//groupMaster"), 0U);
    EXPECT_EQ(list("option_include=creator&").text("//groupMaster/userName"), "Anna");
    EXPECT_EQ(list("option_include=creator&").count("//groupMember"), 0U);
    EXPECT_THAT(list("option_include=member&").texts("//groupMember/userName"), ElementsAre("Anna", "Ben"));
    const Xml all = Xml(
        anna()
            .get(ServiceClient::path(
                "me/group.list?search_index=0&search_count=10&option_sort=alphabetical&&option_include=creator,member,usage,new"))
            .body);
    EXPECT_EQ(all.count("//groupMaster") + all.count("//photoCount"), 2U);
}

class BrokenQuery : public Groups, public ::testing::WithParamInterface<const char*> {};

TEST_P(BrokenQuery, IsRefused)
{
    EXPECT_EQ(anna().get(ServiceClient::path(std::string("me/group.list?") + GetParam())).status, 400);
}

INSTANTIATE_TEST_SUITE_P(Queries, BrokenQuery,
                         ::testing::Values("search_index=-1", "search_index=x", "search_index=4294967296", "search_count=1e3",
                                           "search_count=20001", "option_sort=size", "option_include=all",
                                           "option_include=usage,x"));

TEST_F(Groups, OfAnotherPersonAreShownWhereBothAreMembers)
{
    const std::string annasId = field(anna().signIn(), "userId");
    const std::string shared = anna().createGroup("shared");
    anna().createGroup("Anna's own");
    ben().createGroup("Ben's own");
    EXPECT_EQ(ben().get(ServiceClient::path(annasId + "/group.list")).status, 404);
    addMember(shared, "Ben");
    const HttpReply reply = ben().get(ServiceClient::path(annasId + "/group.list"));
    EXPECT_EQ(reply.status, 200);
    EXPECT_THAT(Xml(reply.body).texts("//groupName"), ElementsAre("shared"));
    EXPECT_THAT(Xml(anna().get(ServiceClient::path(annasId + "/group.list")).body).count("//groupName"), 2U);
    EXPECT_EQ(ben().get(ServiceClient::path("999999/group.list")).status, 404);
    EXPECT_EQ(ben().get(ServiceClient::path("nobody/group.list")).status, 404);
}

TEST_F(Groups, AreDeletedByTheirMaster)
{
    const std::string id = anna().createGroup("Family");
    const HttpReply reply = anna().post(ServiceClient::path("me/group.delete"), "groupID=" + id, {{"appToken", ""}});
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(Xml(reply.body).text("/rsp/result/stat"), "ok");
    EXPECT_THAT(anna().groupNames(""), IsEmpty());
    EXPECT_EQ(anna().post(ServiceClient::path("me/group.delete"), "groupID=" + id).status, 404);
}

TEST_F(Groups, AreDeletedOnlyWhereTheRequestNamesOne)
{
    anna().createGroup("Family");
    for (const char* body : {"", "groupID=", "groupID=x", "groupID=0", "groupId=3", "groupID=99999999999999999999"})
        EXPECT_EQ(anna().post(ServiceClient::path("me/group.delete"), body).status, 404) << body;
    EXPECT_EQ(anna().post(ServiceClient::path("1/group.delete"), "groupID=3").status, 404);
    EXPECT_EQ(anna().groupNames("").size(), 1U);
}

} // namespace
