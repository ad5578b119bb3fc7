// SPDX-License-Identifier: MIT
// Groups: list, create, delete.
#include "plugin/support/Facade.h"

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

namespace {

const STRING BASE = KLService::getBaseURL() + "/openapi/service/kinloom/";

class Groups : public SignedInTest {
protected:
    WSTATUS list(UINT32 index = 0, UINT32 count = 0, UINT32 sort = 0, UINT32 include = 0, const STRING& person = "")
    {
        return oai->retrieveGroupList(personWith(person), Callback<WContainer<WGroup>, WPerson>::call, index, count,
                                      static_cast<KL_OPTION_SORT>(sort), static_cast<KL_OPTION_INCLUDE>(include), &recorder);
    }
    STRING listUrl(UINT32 index = 0, UINT32 count = 0, UINT32 sort = 0, UINT32 include = 0, const STRING& person = "")
    {
        EXPECT_EQ(list(index, count, sort, include, person), 0);
        return fake::requests().back().url;
    }
    WSTATUS create(const WGroup& group, const STRING& person = "")
    {
        return oai->createGroup(group, personWith(person), Callback<WGroup>::call, &recorder);
    }
    WSTATUS erase(const WGroup& group) { return oai->deleteGroup(group, Callback<WGroup>::call, &recorder); }
};

const STRING TWO_GROUPS = "<rsp><result><stat>ok</stat></result><data><group groupId='g1' groupName='Family'/>"
                          "<group groupId='g2' groupName='Friends'/></data></rsp>";

} // namespace

// --- List: what is sent

TEST_F(Groups, ListWithDefaultsForZero)
{
    EXPECT_EQ(listUrl(), BASE + "me/group.list?search_index=0&search_count=10&option_sort=alphabetical&option_include=none");
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_GET);
    EXPECT_EQ(seen.body, "");
}

TEST_F(Groups, ListSignedWithTheSession)
{
    listUrl();
    const fake::Seen seen = fake::request(0);
    ASSERT_EQ(seen.header.size(), 2u);
    EXPECT_EQ(seen.header[0].first, "Authorization");
    EXPECT_EQ(seen.header[0].second, service().session()->authorization);
    EXPECT_EQ(seen.header[1].first, "DATE");
    EXPECT_THAT(seen.header[1].second, EndsWith(" GMT"));
}

TEST_F(Groups, ListByIndexAndCount)
{
    EXPECT_EQ(listUrl(20, 5), BASE + "me/group.list?search_index=20&search_count=5&option_sort=alphabetical&option_include=none");
    EXPECT_EQ(listUrl(0xFFFFFFFF, 0xFFFFFFFF),
              BASE + "me/group.list?search_index=4294967295&search_count=4294967295&option_sort=alphabetical&option_include=none");
}

TEST_F(Groups, ListInEveryOrder)
{
    const std::pair<UINT32, const char*> texts[] = {{0, "alphabetical"}, {1, "created_time"},  {2, "recent_used"},
                                                    {3, "alphabetical"}, {99, "alphabetical"}, {0xFFFFFFFF, "alphabetical"}};
    for (const auto& [value, text] : texts)
        EXPECT_EQ(listUrl(0, 0, value),
                  BASE + "me/group.list?search_index=0&search_count=10&option_sort=" + text + "&option_include=none");
}

TEST_F(Groups, ListWithEveryIncludeOption)
{
    const std::pair<UINT32, const char*> tails[] = {
        {0, "&option_include=none"},     {1, "&option_include=usage&"},        {2, "&option_include=member&"},
        {3, "&option_include=creator&"}, {4, "&option_include=new&"},          {5, "&&option_include=creator,member,usage,new"},
        {6, "&option_include=none"},     {0xFFFFFFFF, "&option_include=none"},
    };
    for (const auto& [value, tail] : tails)
        EXPECT_EQ(listUrl(0, 0, 0, value), BASE + "me/group.list?search_index=0&search_count=10&option_sort=alphabetical" + tail);
}

TEST_F(Groups, ListThoseOfAPerson)
{
    EXPECT_EQ(listUrl(0, 0, 0, 0, "p42"),
              BASE + "p42/group.list?search_index=0&search_count=10&option_sort=alphabetical&option_include=none");
}

TEST_F(Groups, ListThoseOfTheUserForAPersonWithoutUID)
{
    service().setUserID("u7"); // plays no part here
    const STRING url = listUrl();
    EXPECT_THAT(url.substr(0, url.find('?')), EndsWith("kinloom/me/group.list"));
}

// --- List: the reply

TEST_F(Groups, DeliverTheListAndThePerson)
{
    const Call call = callOf([&] { return list(0, 10, 0, 0, "p42"); }, fake::reply(TWO_GROUPS));
    EXPECT_EQ(call.status, 0);
    const auto& groups = call.value<WContainer<WGroup>>(0);
    EXPECT_EQ(groups.getCount(), 2);
    ASSERT_EQ(groups.getData().size(), 2u);
    EXPECT_EQ(groups.getData().front().getName(), "Family");
    EXPECT_EQ(groups.getData().back().getUID(), "g2");
    EXPECT_EQ(call.value<WPerson>(1).getUID(), "p42");
}

TEST_F(Groups, ReportMorePagesWhenTheReplyHoldsMoreThanIndexAndCount)
{
    EXPECT_EQ(callOf([&] { return list(20, 5); }, fake::reply(documents::groups(25))).status, 0);
    EXPECT_EQ(callOf([&] { return list(20, 5); }, fake::reply(documents::groups(26))).status, 100);
    EXPECT_EQ(callOf([&] { return list(0, 2); }, fake::reply(documents::groups(2))).status, 0);
    EXPECT_EQ(callOf([&] { return list(0, 2); }, fake::reply(documents::groups(3))).status, 100);
}

TEST_F(Groups, CompareIndexAndCountUnsigned)
{
    // The count is the caller's: 0 stays 0 here, although 10 were asked for. The sum wraps.
    EXPECT_EQ(callOf([&] { return list(0, 0); }, fake::reply(documents::groups(1))).status, 100);
    EXPECT_EQ(callOf([&] { return list(0xFFFFFFFF, 0); }, fake::reply(documents::groups(3))).status, 0);
    EXPECT_EQ(callOf([&] { return list(0xFFFFFFFF, 2); }, fake::reply(documents::groups(3))).status, 100);
}

TEST_F(Groups, ReportNoMorePagesForAReplyWithoutGroups)
{
    EXPECT_EQ(callOf([&] { return list(); }, fake::reply(documents::OK)).status, 0);
    EXPECT_EQ(callOf([&] { return list(); }, fake::reply("<rsp><data/></rsp>")).status, 0);
}

TEST_F(Groups, DeliverAnEmptyListOnFailure)
{
    for (const fake::Answer& answer : {fake::reply(documents::FAIL), fake::reply(documents::NOT_XML), fake::reply(TWO_GROUPS, 404),
                                       fake::reply(503), fake::failure(SESSION_CUT_OFF)}) {
        const Call call = callOf([&] { return list(0, 10, 0, 0, "p42"); }, answer);
        EXPECT_LT(call.status, 0);
        EXPECT_THAT(call.value<WContainer<WGroup>>(0).getData(), IsEmpty());
        EXPECT_EQ(call.value<WPerson>(1).getUID(), "p42");
    }
}

TEST_F(Groups, CopyThePersonThatTheyAreListedFor)
{
    fake::answerAll(fake::held());
    {
        WPerson person = personWith("p42");
        person.setName("Ann");
        ASSERT_EQ(oai->retrieveGroupList(person, Callback<WContainer<WGroup>, WPerson>::call, 0, 0, KL_SORT_ALPHABETICAL,
                                         KL_INCLUDE_NONE, &recorder),
                  0);
        person.setName("Bob");
    }
    finish(0, fake::reply(TWO_GROUPS));
    EXPECT_EQ(recorder.only().value<WPerson>(1).getName(), "Ann");
}

// --- Create

TEST_F(Groups, CreateWithTheNameAlone)
{
    ASSERT_EQ(create(groupWith("", "Family")), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, BASE + "me/group.create");
    EXPECT_EQ(seen.body, "group_name=Family");
    EXPECT_EQ(seen.header.size(), 2u);
}

TEST_F(Groups, CreateWithADescription)
{
    WGroup group = groupWith("", "Family");
    group.setDescription("all of us");
    ASSERT_EQ(create(group), 0);
    EXPECT_EQ(fake::request(0).body, "group_name=Family&group_desc=all of us");
}

TEST_F(Groups, CreateWithValuesAsGiven)
{
    WGroup group = groupWith("", "A&B=C \"D\" \xF0\x9F\x98\x80%20+");
    group.setDescription("x&group_name=y");
    ASSERT_EQ(create(group), 0);
    EXPECT_EQ(fake::request(0).body, "group_name=A&B=C \"D\" \xF0\x9F\x98\x80%20+&group_desc=x&group_name=y");
}

TEST_F(Groups, CreateForAPersonInOnePieceWithTheOperation)
{
    ASSERT_EQ(create(groupWith("", "Family"), "p42"), 0);
    EXPECT_EQ(fake::request(0).url, BASE + "p42group.create");
}

TEST_F(Groups, CreateForTheSessionsUserInOnePieceWithTheOperation)
{
    service().setUserID("u7");
    ASSERT_EQ(create(groupWith("", "Family")), 0);
    EXPECT_EQ(fake::request(0).url, BASE + "u7group.create");
    ASSERT_EQ(create(groupWith("", "Family"), "p42"), 0); // a person goes before the user
    EXPECT_EQ(fake::request(1).url, BASE + "p42group.create");
}

TEST_F(Groups, AreNotCreatedWithoutAName)
{
    EXPECT_EQ(create(groupWith("g1", "")), -1);
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_THAT(facadeLog(), ElementsAre(-1));
}

TEST_F(Groups, DeliverTheGroupThatWasCreated)
{
    const Call call = callOf([&] { return create(groupWith("", "Family")); }, fake::reply(TWO_GROUPS));
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.value<WGroup>().getUID(), "g1");
    EXPECT_EQ(call.value<WGroup>().getName(), "Family");
}

TEST_F(Groups, DeliverTheNewIdentifierOfAGroup)
{
    const Call call = callOf([&] { return create(groupWith("", "Family")); },
                             fake::reply("<rsp><result><stat>ok</stat></result><data><groupId>g77</groupId></data></rsp>"));
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.value<WGroup>().getUID(), "g77");
}

TEST_F(Groups, DeliverTheGroupAsAskedForWhenItWasNotCreated)
{
    for (const fake::Answer& answer : {fake::reply(documents::FAIL), fake::reply(TWO_GROUPS, 409), fake::failure(SESSION_TIMED_OUT),
                                       fake::reply(documents::OK)}) {
        const Call call = callOf([&] { return create(groupWith("mine", "Family")); }, answer);
        EXPECT_EQ(call.value<WGroup>().getUID(), "mine");
        EXPECT_EQ(call.value<WGroup>().getName(), "Family");
    }
}

// --- Delete

TEST_F(Groups, DeleteWithAnApplicationToken)
{
    ASSERT_EQ(erase(groupWith("g 1")), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, BASE + "me/group.delete");
    EXPECT_EQ(seen.body, "groupID=g 1");
    ASSERT_EQ(seen.header.size(), 3u);
    EXPECT_EQ(seen.header[0].first, "Authorization");
    EXPECT_EQ(seen.header[1].first, "DATE");
    EXPECT_EQ(seen.header[2].first, "appToken");
    EXPECT_EQ(seen.header[2].second, "");
}

TEST_F(Groups, DeleteUnderMeWhoeverIsSignedIn)
{
    service().setUserID("u7");
    ASSERT_EQ(erase(groupWith("g1")), 0);
    EXPECT_EQ(fake::request(0).url, BASE + "me/group.delete");
}

TEST_F(Groups, AreNotDeletedWithoutAUID)
{
    EXPECT_EQ(erase(groupWith("", "Family")), -1);
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_THAT(facadeLog(), ElementsAre(-1));
}

TEST_F(Groups, DeliverTheGroupThatWasToBeDeleted)
{
    for (const fake::Answer& answer : {fake::reply(documents::OK), fake::reply(TWO_GROUPS), fake::reply(403)}) {
        const Call call = callOf([&] { return erase(groupWith("mine", "Family")); }, answer);
        EXPECT_EQ(call.status, answer.code == 200 ? 0 : -205);
        EXPECT_EQ(call.value<WGroup>().getUID(), "mine");
        EXPECT_EQ(call.value<WGroup>().getName(), "Family");
    }
}

TEST_F(Groups, ReportADeletionThatTheServiceRefuses)
{
    EXPECT_EQ(callOf([&] { return erase(groupWith("g1")); }, fake::reply(documents::FAIL)).status, -16);
}
