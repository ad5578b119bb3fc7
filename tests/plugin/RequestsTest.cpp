// SPDX-License-Identifier: MIT
// The two requests that run on their caller's thread.
#include "plugin/support/Service.h"

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr const char* URL = "http://openapi.kinloom.example/x";

class Requests : public ServiceTest {
protected:
    HttpResponse response;
};

} // namespace

TEST_F(Requests, GetOnTheCallersThread)
{
    fake::Answer answer = fake::reply("bytes");
    answer.contentType = "image/png";
    fake::answerNext(answer);
    EXPECT_EQ(service->retrieveFData(URL, "ignored", response), 0);
    EXPECT_EQ(response.getHttpResponseCode(), HTTP_OK);
    EXPECT_EQ(response.getContentType(), "image/png");
    EXPECT_EQ(response.getPayload(), "bytes");

    const fake::Seen seen = fake::request(0);
    EXPECT_TRUE(seen.executed);
    EXPECT_EQ(seen.type, HTTP_REQUEST_GET);
    EXPECT_EQ(seen.url, URL);
    EXPECT_THAT(seen.header, IsEmpty());
    EXPECT_EQ(seen.path, "");
    EXPECT_EQ(fake::completionCount(), 0u);
}

TEST_F(Requests, PostOnTheCallersThread)
{
    fake::answerNext(fake::reply("slot"));
    EXPECT_EQ(service->postFData(URL, someHeaders(), "type=photo&", response), 0);
    EXPECT_EQ(response.getPayload(), "slot");

    const fake::Seen seen = fake::request(0);
    EXPECT_TRUE(seen.executed);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_THAT(seen.header, ElementsAre(Pair("Authorization", " me"), Pair("DATE", "today"), Pair("appToken", "")));
    EXPECT_EQ(seen.body, "type=photo&");
}

TEST_F(Requests, TakeAReplyOfAnyCodeForAnAnswer)
{
    fake::answerNext(fake::reply("gone", 410));
    EXPECT_EQ(service->retrieveFData(URL, "", response), 0);
    EXPECT_EQ(response.getHttpResponseCode(), 410u);
    fake::answerNext(fake::reply("oops", 500));
    EXPECT_EQ(service->postFData(URL, {}, "", response), 0);
    EXPECT_EQ(response.getHttpResponseCode(), 500u);
    EXPECT_THAT(log->entries(), IsEmpty());
}

TEST_F(Requests, ReportTheFailureOfAnExchange)
{
    fake::answerNext(fake::failure(SESSION_UNREACHABLE));
    EXPECT_EQ(service->retrieveFData(URL, "", response), WSTATUS_UNREACHABLE);
    fake::answerNext(fake::failure(SESSION_TIMED_OUT));
    EXPECT_EQ(service->postFData(URL, {}, "", response), WSTATUS_TIMED_OUT);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(WSTATUS_UNREACHABLE, 709), serviceEntry(WSTATUS_TIMED_OUT, 318)));
}

TEST_F(Requests, LeaveTheOutputAloneWhenTheyFail)
{
    response.setPayload("earlier");
    response.setHttpResponseCode(HTTP_OK);
    fake::answerNext(fake::failure(SESSION_CUT_OFF));
    EXPECT_LT(service->retrieveFData(URL, "", response), 0);
    EXPECT_EQ(response.getPayload(), "earlier");
    EXPECT_EQ(response.getHttpResponseCode(), HTTP_OK);
}

TEST_F(Requests, PassOnTheClientsRefusal)
{
    fake::refuseNext(-13, 2);
    EXPECT_EQ(service->retrieveFData(URL, "", response), -13);
    EXPECT_EQ(service->postFData(URL, {}, "", response), -13);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-13, 709), serviceEntry(-13, 318)));
}

TEST_F(Requests, GiveMinus3WhenTheyCannotBeMade)
{
    fake::failConstruction();
    EXPECT_EQ(service->retrieveFData(URL, "", response), -3);
    fake::failConstruction();
    EXPECT_EQ(service->postFData(URL, {}, "", response), -3);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-3, 709), serviceEntry(-3, 318)));
    EXPECT_EQ(fake::liveRequests(), 0u);
}

TEST_F(Requests, AreNoTransferForProgressAndCancel)
{
    fake::Answer answer = fake::reply("bytes");
    answer.progress = {3.0, 5.0};
    fake::answerNext(answer);
    EXPECT_EQ(service->retrieveFData(URL, "", response), 0);
    double done = -1;
    double total = -1;
    service->getProgressStatus(done, total);
    EXPECT_EQ(done, 0.0);
    EXPECT_EQ(total, 0.0);
}
