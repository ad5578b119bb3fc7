// SPDX-License-Identifier: MIT
// One content: view, delete, MIME types.
#include "plugin/support/Facade.h"

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const STRING BASE = KLService::getBaseURL() + "/openapi/service/kinloom/";

class Contents : public SignedInTest {
protected:
    WSTATUS view(const WContent& content) { return oai->viewContent(content, Callback<WContent>::call, &recorder); }
    WSTATUS erase(const WContent& content) { return oai->deleteContent(content, Callback<WContent>::call, &recorder); }
};

WContent named(const STRING& uid, const STRING& description)
{
    WContent content = contentWith(uid);
    content.setDescription(description);
    return content;
}

fake::Answer typed(const STRING& contentType, UINT32 code = 200)
{
    fake::Answer answer = fake::reply("bytes", code);
    answer.contentType = contentType;
    return answer;
}

} // namespace

TEST_F(Contents, AreViewedByTheirUID)
{
    ASSERT_EQ(view(contentWith("c 1")), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_GET);
    EXPECT_EQ(seen.url, BASE + "c 1/view");
    EXPECT_EQ(seen.body, "");
    ASSERT_EQ(seen.header.size(), 2u);
    EXPECT_EQ(seen.header[0].second, service().session()->authorization);
    EXPECT_EQ(seen.header[1].first, "DATE");
}

TEST_F(Contents, AreDeletedByAnEmptyPost)
{
    ASSERT_EQ(erase(contentWith("c1")), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, BASE + "c1/delete");
    EXPECT_EQ(seen.body, "");
    EXPECT_EQ(seen.header.size(), 2u);
}

TEST_F(Contents, WantAUID)
{
    EXPECT_EQ(view(contentWith("")), -1);
    EXPECT_EQ(erase(contentWith("")), -1);
    EXPECT_THAT(facadeLog(), ElementsAre(-1, -1));
    EXPECT_EQ(fake::requestCount(), 0u);
}

TEST_F(Contents, DeliverTheFirstContentOfTheReply)
{
    const Call call = callOf([&] { return view(named("mine", "as asked")); }, fake::reply(documents::contents(2)));
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.value<WContent>().getUID(), "c1");
    EXPECT_EQ(call.value<WContent>().getDescription(), "");
}

TEST_F(Contents, DeliverAnEmptyContentWhenTheReplyHoldsNone)
{
    const Call call = callOf([&] { return view(named("mine", "as asked")); }, fake::reply(documents::OK));
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.value<WContent>().getUID(), "");
}

TEST_F(Contents, DeliverAnEmptyContentOnFailure)
{
    for (const fake::Answer& answer :
         {fake::reply(documents::FAIL), fake::reply(documents::NOT_XML), fake::reply(404), fake::failure(SESSION_CUT_OFF)}) {
        const Call call = callOf([&] { return view(contentWith("mine")); }, answer);
        EXPECT_LT(call.status, 0);
        EXPECT_EQ(call.value<WContent>().getUID(), "");
    }
}

TEST_F(Contents, DeliverTheContentThatWasToBeDeleted)
{
    for (const fake::Answer& answer : {fake::reply(documents::OK), fake::reply(documents::contents(1)), fake::reply(404),
                                       fake::reply(documents::FAIL), fake::failure(SESSION_CUT_OFF)}) {
        const Call call = callOf([&] { return erase(named("mine", "as asked")); }, answer);
        EXPECT_EQ(call.value<WContent>().getUID(), "mine");
        EXPECT_EQ(call.value<WContent>().getDescription(), "as asked");
    }
}

TEST_F(Contents, AreNeverUpdated)
{
    EXPECT_EQ(oai->updateContent(contentWith("c1"), "text", Callback<WContent, STRING>::call, &recorder), -15);
    EXPECT_EQ(oai->updateContent(WContent(), "", nullptr, nullptr), -15);
    EXPECT_THAT(facadeLog(), ElementsAre(-15, -15));
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(Contents, ReportAnUpdateWithTheContentAndTheText)
{
    // No operation makes this command; its handler is there all the same.
    ContentUpdateCMD command(provider());
    command.setCMDKey(CMD_CONTENT_UPDATE);
    command.content = named("mine", "as asked");
    command.update = "new text";
    command.callback = Callback<WContent, STRING>::call;
    command.userData = &recorder;
    command.owner = oai;
    HttpResponse response;
    response.setHttpResponseCode(HTTP_OK);
    response.setPayload(documents::contents(1));
    oai->cbContentUpdateDone(SESSION_DONE, response, &command);
    EXPECT_EQ(recorder.only().status, 0);
    EXPECT_EQ(recorder.only().value<WContent>(0).getUID(), "mine");
    EXPECT_EQ(recorder.only().value<STRING>(1), "new text");
}

// --- MIME types

TEST_F(Contents, LearnTheirMIMETypeOnTheCallersThread)
{
    WContent content = contentWith("c1", "unknown/unknown");
    content.setResourceURL("http://media.kinloom.example/c1.jpg");
    fake::answerNext(typed("image/jpeg"));
    EXPECT_EQ(oai->retrieveContentMIMEType(content), 0);
    EXPECT_EQ(content.getMIMEType(), "image/jpeg");

    const fake::Seen seen = fake::request(0);
    EXPECT_TRUE(seen.executed);
    EXPECT_EQ(seen.type, HTTP_REQUEST_GET);
    EXPECT_EQ(seen.url, "http://media.kinloom.example/c1.jpg");
    EXPECT_THAT(seen.header, IsEmpty());
    EXPECT_EQ(oai->countCMD(), 0u);
}

TEST_F(Contents, LearnTheMIMETypeOfAThumbnail)
{
    WMediaResource thumbnail;
    thumbnail.setResourceURL("http://media.kinloom.example/c1-small.png");
    fake::answerNext(typed("image/png"));
    EXPECT_EQ(oai->retrieveThumbMIMEType(thumbnail), 0);
    EXPECT_EQ(thumbnail.getMIMEType(), "image/png");
}

TEST_F(Contents, LearnTheirMIMETypeWithoutASession)
{
    service().setUserCredential(nullptr, provider());
    WContent content;
    content.setResourceURL("http://media.kinloom.example/c1.jpg");
    fake::answerNext(typed("image/jpeg"));
    EXPECT_EQ(oai->retrieveContentMIMEType(content), 0);
    EXPECT_EQ(content.getMIMEType(), "image/jpeg");
}

TEST_F(Contents, KeepTheirMIMETypeForAnyOtherCode)
{
    WContent content = contentWith("c1", "old/type");
    content.setResourceURL("http://media.kinloom.example/c1.jpg");
    WMediaResource thumbnail = content;
    for (const UINT32 code : {201u, 204u, 304u, 401u, 404u, 500u}) {
        fake::answerAll(typed("image/jpeg", code));
        EXPECT_EQ(oai->retrieveContentMIMEType(content), 0) << code;
        EXPECT_EQ(content.getMIMEType(), "old/type") << code;
        EXPECT_EQ(oai->retrieveThumbMIMEType(thumbnail), 0) << code;
        EXPECT_EQ(thumbnail.getMIMEType(), "old/type") << code;
    }
    EXPECT_THAT(log->entries(), IsEmpty());
}

TEST_F(Contents, KeepTheirMIMETypeWhenTheExchangeFails)
{
    WContent content = contentWith("c1", "old/type");
    content.setResourceURL("http://media.kinloom.example/c1.jpg");
    WMediaResource thumbnail = content;
    fake::answerAll(fake::failure(SESSION_UNREACHABLE));
    EXPECT_EQ(oai->retrieveContentMIMEType(content), -100);
    EXPECT_EQ(oai->retrieveThumbMIMEType(thumbnail), -100);
    EXPECT_EQ(content.getMIMEType(), "old/type");
    EXPECT_EQ(thumbnail.getMIMEType(), "old/type");
    EXPECT_THAT(serviceLog(), ElementsAre(-100, -100));
    EXPECT_THAT(facadeLog(), ElementsAre(-100, -100));
}

TEST_F(Contents, HaveNoMIMETypeWithoutAURL)
{
    WContent content = contentWith("c1", "old/type");
    EXPECT_LT(oai->retrieveContentMIMEType(content), 0);
    EXPECT_EQ(content.getMIMEType(), "old/type");
}

TEST_F(Contents, MapTheCodeOfAMIMETypeReply)
{
    WContent content = contentWith("c1", "old/type");
    WMediaResource thumbnail;
    HttpResponse response;
    response.setContentType("image/gif");
    const std::pair<UINT32, WSTATUS> codes[] = {{404, -205}, {401, -202}, {500, -107}, {503, -16}, {201, 0}, {304, 0}};
    for (const auto& [code, status] : codes) {
        response.setHttpResponseCode(static_cast<HTTP_RESPONSE_CODE>(code));
        EXPECT_EQ(oai->contentMIMETypeDone(response, content), status);
        EXPECT_EQ(oai->thumbMIMETypeDone(response, thumbnail), status);
        EXPECT_EQ(content.getMIMEType(), "old/type");
        EXPECT_EQ(thumbnail.getMIMEType(), "");
    }
    response.setHttpResponseCode(HTTP_OK);
    EXPECT_EQ(oai->contentMIMETypeDone(response, content), 0);
    EXPECT_EQ(oai->thumbMIMETypeDone(response, thumbnail), 0);
    EXPECT_EQ(content.getMIMEType(), "image/gif");
    EXPECT_EQ(thumbnail.getMIMEType(), "image/gif");
}
