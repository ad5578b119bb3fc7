// SPDX-License-Identifier: MIT
// The feed of a group, and the gallery that the service does not offer.
#include "plugin/support/Facade.h"

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

namespace {

const STRING BASE = KLService::getBaseURL() + "/openapi/service/kinloom/";

struct FeedArguments {
    STRING group = "g1";
    STRING before;
    STRING after = "m1";
    UINT32 count = 0;
    UINT32 base = 0;
    UINT32 item = 0;
    UINT32 include = 0;
};

class Feeds : public SignedInTest {
protected:
    WSTATUS feed(const FeedArguments& with)
    {
        return oai->retrieveGroupFeeds(groupWith(with.group), with.before, with.after, with.count,
                                       static_cast<KL_SEARCH_BASE>(with.base), static_cast<KL_OPTION_ITEM>(with.item),
                                       static_cast<KL_OPTION_INCLUDE>(with.include), Callback<WContainer<WContent>>::call,
                                       &recorder);
    }
    STRING feedUrl(const FeedArguments& with)
    {
        EXPECT_EQ(feed(with), 0);
        return fake::requests().back().url;
    }
    Call outcome(UINT32 count, const fake::Answer& answer)
    {
        FeedArguments with;
        with.count = count;
        return callOf([&] { return feed(with); }, answer);
    }
};

} // namespace

TEST_F(Feeds, AskAfterAMarkerWithDefaults)
{
    EXPECT_EQ(feedUrl({}),
              BASE + "g1/feeds?&search_after=m1&search_count=30&search_base=created_time&option_item=all&option_include=none");
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_GET);
    EXPECT_EQ(seen.body, "");
    ASSERT_EQ(seen.header.size(), 2u);
    EXPECT_EQ(seen.header[0].first, "Authorization");
    EXPECT_EQ(seen.header[1].first, "DATE");
}

TEST_F(Feeds, AskBeforeAMarker)
{
    FeedArguments with;
    with.before = "2010-05-05T07:04:09Z";
    with.after = "";
    EXPECT_EQ(feedUrl(with), BASE + "g1/feeds?&search_before=2010-05-05T07:04:09Z&search_count=30&search_base=created_time"
                                    "&option_item=all&option_include=none");
}

TEST_F(Feeds, WriteTheMarkerAsGiven)
{
    FeedArguments with;
    with.after = "a b&c=d%20";
    EXPECT_THAT(feedUrl(with).substr(0, (BASE + "g1/feeds?&search_after=a b&c=d%20&").size()),
                EndsWith("?&search_after=a b&c=d%20&"));
}

TEST_F(Feeds, AskForACount)
{
    FeedArguments with;
    for (const auto& [count, text] : {std::pair<UINT32, STRING>{0, "30"}, {5, "5"}, {30, "30"}, {0xFFFFFFFF, "4294967295"}}) {
        with.count = count;
        EXPECT_EQ(feedUrl(with), BASE + "g1/feeds?&search_after=m1&search_count=" + text +
                                     "&search_base=created_time&option_item=all&option_include=none");
    }
}

TEST_F(Feeds, PageByEveryBase)
{
    const std::pair<UINT32, const char*> texts[] = {
        {0, "created_time"}, {1, "upload_time"}, {2, "content_id"}, {3, "created_time"}, {0xFFFFFFFF, "created_time"}};
    FeedArguments with;
    for (const auto& [value, text] : texts) {
        with.base = value;
        EXPECT_THAT(feedUrl(with), EndsWith(STRING("&search_base=") + text + "&option_item=all&option_include=none"));
    }
}

TEST_F(Feeds, FilterByEveryItem)
{
    const std::pair<UINT32, const char*> texts[] = {{0, "all"},   {1, "photo"}, {2, "video"},
                                                    {3, "music"}, {4, "all"},   {0xFFFFFFFF, "all"}};
    FeedArguments with;
    for (const auto& [value, text] : texts) {
        with.item = value;
        EXPECT_THAT(feedUrl(with), EndsWith(STRING("&option_item=") + text + "&option_include=none"));
    }
}

TEST_F(Feeds, IncludeEveryOption)
{
    const std::pair<UINT32, const char*> texts[] = {
        {0, "none"}, {1, "usage"},  {2, "member"},       {3, "creator"}, {5, "creator,member,usage"},
        {6, "none"}, {100, "none"}, {0xFFFFFFFF, "none"}};
    FeedArguments with;
    for (const auto& [value, text] : texts) {
        with.include = value;
        EXPECT_THAT(feedUrl(with), EndsWith(STRING("&option_item=all&option_include=") + text));
    }
}

TEST_F(Feeds, RefuseToIncludeWhatIsNew)
{
    FeedArguments with;
    with.include = 4;
    ASSERT_EQ(cancel(), 0);
    EXPECT_EQ(feed(with), -1);
    EXPECT_THAT(facadeLog(), ElementsAre(-1));
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_EQ(oai->countCMD(), 0u);
    EXPECT_FALSE(oai->isCancelRequested()); // the operation had begun
}

TEST_F(Feeds, WantExactlyOneMarker)
{
    FeedArguments with;
    ASSERT_EQ(cancel(), 0);
    with.before = "m2";
    EXPECT_EQ(feed(with), -1);
    with.before = "";
    with.after = "";
    EXPECT_EQ(feed(with), -1);
    EXPECT_THAT(facadeLog(), ElementsAre(-1, -1));
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_TRUE(oai->isCancelRequested()); // nothing had begun
}

TEST_F(Feeds, WantAGroup)
{
    FeedArguments with;
    with.group = "";
    EXPECT_EQ(feed(with), -1);
    EXPECT_EQ(fake::requestCount(), 0u);
}

TEST_F(Feeds, DeliverTheContents)
{
    const Call call = outcome(30, fake::reply(documents::contents(3)));
    EXPECT_EQ(call.status, 0);
    const auto& contents = call.value<WContainer<WContent>>();
    EXPECT_EQ(contents.getCount(), 3);
    ASSERT_EQ(contents.getData().size(), 3u);
    EXPECT_EQ(contents.getData().front().getUID(), "c1");
}

TEST_F(Feeds, ReportMorePagesWhenTheReplyHoldsMoreThanTheCount)
{
    EXPECT_EQ(outcome(30, fake::reply(documents::contents(30))).status, 0);
    EXPECT_EQ(outcome(30, fake::reply(documents::contents(31))).status, 100);
    EXPECT_EQ(outcome(0, fake::reply(documents::contents(1))).status, 100); // the count is the caller's, not the default
    EXPECT_EQ(outcome(0, fake::reply(documents::OK)).status, 0);
    EXPECT_EQ(outcome(0xFFFFFFFF, fake::reply(documents::contents(2))).status, 0);
}

TEST_F(Feeds, DeliverAnEmptyListOnFailure)
{
    for (const fake::Answer& answer : {fake::reply(documents::FAIL), fake::reply(documents::NOT_XML),
                                       fake::reply(documents::contents(2), 500), fake::failure(SESSION_TOO_LARGE)}) {
        const Call call = outcome(30, answer);
        EXPECT_LT(call.status, 0);
        EXPECT_THAT(call.value<WContainer<WContent>>().getData(), IsEmpty());
    }
}

TEST_F(Feeds, HaveNoGallery)
{
    ASSERT_EQ(cancel(), 0);
    EXPECT_EQ(oai->retrieveGroupGallery(groupWith("g1"), KL_CONTENT_PHOTO, 10, KL_DIRECTION_AFTER, KL_SORT_ALPHABETICAL,
                                        KL_ORDER_ASCENDING, Callback<WContainer<WContent>>::call, &recorder),
              -15);
    EXPECT_EQ(oai->retrieveGroupGallery(WGroup(), static_cast<KL_CONTENT_TYPE>(99), 0, static_cast<KL_SEARCH_DIRECTION>(99),
                                        static_cast<KL_OPTION_SORT>(99), static_cast<KL_OPTION_ORDER>(99), nullptr, nullptr),
              -15);
    EXPECT_THAT(facadeLog(), ElementsAre(-15, -15));
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_TRUE(oai->isCancelRequested());
}

TEST_F(Feeds, ReportMorePagesOfAGallery)
{
    // No operation makes this command; its handler is there all the same.
    for (const auto& [count, status] : {std::pair<UINT32, WSTATUS>{2, 0}, {1, 100}}) {
        recorder.clear();
        GroupGalleryRetrievalCMD command(provider());
        command.setCMDKey(CMD_GROUP_GALLERY_RETRIEVAL);
        command.count = count;
        command.callback = Callback<WContainer<WContent>>::call;
        command.userData = &recorder;
        command.owner = oai;
        HttpResponse response;
        response.setHttpResponseCode(HTTP_OK);
        response.setPayload(documents::contents(2));
        oai->cbGroupGalleryRetrievalDone(SESSION_DONE, response, &command);
        EXPECT_EQ(recorder.only().status, status);
        EXPECT_EQ(recorder.only().value<WContainer<WContent>>().getData().size(), 2u);
    }
}
