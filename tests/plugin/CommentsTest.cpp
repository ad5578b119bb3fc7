// SPDX-License-Identifier: MIT
// Comments: write, delete, read one, list.
#include "plugin/support/Facade.h"

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

namespace {

const STRING BASE = KLService::getBaseURL() + "/openapi/service/kinloom/";

class Comments : public SignedInTest {
protected:
    WSTATUS create(const STRING& content, const WComment& comment)
    {
        return oai->createComment(contentWith(content), comment, Callback<WComment, STRING>::call, &recorder);
    }
    WSTATUS erase(const WComment& comment) { return oai->deleteComment(comment, Callback<WComment>::call, &recorder); }
    WSTATUS view(const WComment& comment) { return oai->viewComment(comment, Callback<WComment, STRING>::call, &recorder); }
    WSTATUS list(const STRING& content, UINT32 index, UINT32 count, bool withCallback = true)
    {
        return oai->retrieveComments(contentWith(content), withCallback ? Callback<WContainer<WComment>>::call : nullptr, index,
                                     count, &recorder);
    }
    STRING listUrl(UINT32 index, UINT32 count)
    {
        EXPECT_EQ(list("c1", index, count), 0);
        return fake::requests().back().url;
    }
};

const STRING ONE_COMMENT =
    "<rsp><result><stat>ok</stat></result><comment commentId='m1' commentText='of the service'/><data/></rsp>";

} // namespace

// --- What is sent

TEST_F(Comments, AreWrittenWithAnApplicationTokenAlone)
{
    ASSERT_EQ(create("c1", commentWith("", "so lovely & true")), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, BASE + "c1/comment");
    EXPECT_EQ(seen.body, "commentText=so lovely & true");
    EXPECT_THAT(seen.header, ElementsAre(Pair("appToken", "")));
}

TEST_F(Comments, AreDeletedByAnEmptySignedPost)
{
    ASSERT_EQ(erase(commentWith("m1")), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, BASE + "m1/delete");
    EXPECT_EQ(seen.body, "");
    ASSERT_EQ(seen.header.size(), 2u);
    EXPECT_EQ(seen.header[0].second, service().session()->authorization);
    EXPECT_EQ(seen.header[1].first, "DATE");
}

TEST_F(Comments, AreViewedByTheirUID)
{
    ASSERT_EQ(view(commentWith("m1")), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_GET);
    EXPECT_EQ(seen.url, BASE + "m1/view");
    EXPECT_EQ(seen.header.size(), 2u);
}

TEST_F(Comments, AreListedByIndexAndCount)
{
    EXPECT_EQ(listUrl(0, 0), BASE + "c1/comment.list?search_index=0&"); // no default count
    EXPECT_EQ(listUrl(7, 0), BASE + "c1/comment.list?search_index=7&");
    EXPECT_EQ(listUrl(0, 5), BASE + "c1/comment.list?search_index=0&search_count=5");
    EXPECT_EQ(listUrl(0xFFFFFFFF, 0xFFFFFFFF), BASE + "c1/comment.list?search_index=4294967295&search_count=4294967295");
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_GET);
    ASSERT_EQ(seen.header.size(), 2u);
    EXPECT_EQ(seen.header[0].first, "Authorization");
    EXPECT_EQ(seen.header[1].first, "DATE");
}

TEST_F(Comments, WantATextAndAContent)
{
    EXPECT_EQ(create("c1", commentWith("m1", "")), -1);
    EXPECT_EQ(create("", commentWith("m1", "text")), -1);
    EXPECT_EQ(create("", commentWith("", "")), -1);
    EXPECT_THAT(facadeLog(), ElementsAre(-1, -1, -1));
    EXPECT_EQ(fake::requestCount(), 0u);
}

TEST_F(Comments, WantAUID)
{
    EXPECT_EQ(erase(commentWith("", "text")), -1);
    EXPECT_EQ(view(commentWith("", "text")), -1);
    EXPECT_EQ(list("", 0, 10), -1);
    EXPECT_THAT(facadeLog(), ElementsAre(-1, -1, -1));
    EXPECT_EQ(fake::requestCount(), 0u);
}

TEST_F(Comments, AreNeverUpdated)
{
    EXPECT_EQ(oai->updateComment(commentWith("m1", "text"), Callback<WComment>::call, &recorder), -15);
    EXPECT_EQ(oai->updateComment(WComment(), nullptr, nullptr), -15);
    EXPECT_THAT(facadeLog(), ElementsAre(-15, -15));
    EXPECT_EQ(fake::requestCount(), 0u);
}

// --- What is delivered

TEST_F(Comments, ComeBackAsTheCallerWroteThem)
{
    const Call call = callOf([&] { return create("c1", commentWith("mine", "as written")); }, fake::reply(ONE_COMMENT));
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.value<WComment>(0).getComment(), "as written");
    EXPECT_EQ(call.value<WComment>(0).getUID(), "mine");
    EXPECT_EQ(call.value<STRING>(1), "mine"); // not the service's
}

TEST_F(Comments, ReportARefusedWriting)
{
    EXPECT_EQ(callOf([&] { return create("c1", commentWith("mine", "as written")); }, fake::reply(documents::FAIL)).status, -16);
    EXPECT_EQ(callOf([&] { return create("c1", commentWith("mine", "as written")); }, fake::reply(403)).status, -205);
}

TEST_F(Comments, DeliverTheFirstOfTheReplyAndTheUIDThatWasAskedFor)
{
    const Call call = callOf([&] { return view(commentWith("mine")); }, fake::reply(documents::comments(2)));
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.value<WComment>(0).getUID(), "m1");
    EXPECT_EQ(call.value<STRING>(1), "mine");
}

TEST_F(Comments, DeliverAnEmptyOneWhenTheReplyHoldsNone)
{
    for (const fake::Answer& answer :
         {fake::reply(documents::OK), fake::reply("<rsp><data/></rsp>"), fake::reply(404), fake::failure(SESSION_CUT_OFF)}) {
        const Call call = callOf([&] { return view(commentWith("mine")); }, answer);
        EXPECT_EQ(call.value<WComment>(0).getUID(), "");
        EXPECT_EQ(call.value<STRING>(1), "mine");
    }
}

TEST_F(Comments, DeliverTheOneThatWasToBeDeleted)
{
    for (const fake::Answer& answer : {fake::reply(documents::OK), fake::reply(ONE_COMMENT), fake::reply(404)}) {
        const Call call = callOf([&] { return erase(commentWith("mine", "as asked")); }, answer);
        EXPECT_EQ(call.status, answer.code == 200 ? 0 : -205);
        EXPECT_EQ(call.value<WComment>().getUID(), "mine");
        EXPECT_EQ(call.value<WComment>().getComment(), "as asked");
    }
}

TEST_F(Comments, ReportAnUpdateWithTheCommentThatWasAskedFor)
{
    // No operation makes this command; its handler is there all the same.
    CommentUpdateCMD command(provider());
    command.setCMDKey(CMD_COMMENT_UPDATE);
    command.comment = commentWith("mine", "as asked");
    command.callback = Callback<WComment>::call;
    command.userData = &recorder;
    command.owner = oai;
    HttpResponse response;
    response.setHttpResponseCode(HTTP_OK);
    response.setPayload(ONE_COMMENT);
    oai->cbCommentUpdateDone(SESSION_DONE, response, &command);
    EXPECT_EQ(recorder.only().status, 0);
    EXPECT_EQ(recorder.only().value<WComment>().getUID(), "mine");
}

// --- The list that calls nobody

TEST_F(Comments, AreListedInSilence)
{
    for (const fake::Answer& answer :
         {fake::reply(documents::comments(3)), fake::reply(documents::OK), fake::reply(documents::FAIL),
          fake::reply(documents::NOT_XML), fake::reply(404), fake::failure(SESSION_CUT_OFF)}) {
        fake::reset();
        fake::answerNext(answer);
        ASSERT_EQ(list("c1", 0, 10), 0);
        ASSERT_TRUE(fake::waitForCompletions(1));
        EXPECT_EQ(recorder.count(), 0u);
        EXPECT_THAT(fake::flushes(), Not(IsEmpty())); // however it ended
        EXPECT_EQ(oai->countCMD(), 0u);
    }
}

TEST_F(Comments, DropTheOtherRequestsWhenTheyWereListed)
{
    fake::answerAll(fake::held());
    Recorder other;
    ASSERT_EQ(oai->viewContent(contentWith("c1"), Callback<WContent>::call, &other), 0);
    ASSERT_EQ(list("c1", 0, 10), 0);
    finish(1, fake::reply(documents::comments(1)));
    EXPECT_EQ(fake::heldCount(), 0u);
    EXPECT_EQ(other.count(), 0u);
    EXPECT_EQ(oai->countCMD(), 0u);
}

TEST_F(Comments, ReportACancelledList)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(list("c1", 0, 10), 0);
    ASSERT_EQ(cancel(), 0);
    finish(0, fake::reply(documents::comments(1)));
    EXPECT_TRUE(recorder.only().isCancel);
    EXPECT_EQ(recorder.only().status, 0);
    EXPECT_FALSE(oai->isCancelRequested());
}

TEST_F(Comments, ClearACancelledListThatNobodyWaitsFor)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(list("c1", 0, 10, false), 0);
    ASSERT_EQ(cancel(), 0);
    finish(0, fake::reply(documents::comments(1)));
    EXPECT_EQ(recorder.count(), 0u);
    EXPECT_FALSE(oai->isCancelRequested());
}

TEST_F(Comments, LogAListThatCannotBeRead)
{
    fake::answerNext(fake::reply(documents::NOT_XML));
    ASSERT_EQ(list("c1", 0, 10), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_THAT(facadeLog(), ElementsAre(-16));
}
