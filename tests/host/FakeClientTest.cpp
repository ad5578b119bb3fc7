// SPDX-License-Identifier: MIT
#include "whost/FakeClient.h"

#include "W/WConfigManager.h"
#include "W/WStatus.h"
#include "support/TempDir.h"
#include "support/Wait.h"

#include <atomic>
#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

using namespace W;
using ::testing::ElementsAre;

namespace {

struct Ended {
    SESSION_STATUS status;
    UINT32 code;
    STRING payload;
    STRING url;
    bool onWorker;
};

class FakeClient : public ::testing::Test {
protected:
    void SetUp() override { fake::reset(); }
    void TearDown() override
    {
        fake::reset();
        EXPECT_EQ(fake::liveRequests(), 0u);
    }

    static VOID take(SESSION_STATUS status, HttpRequest* request, VOID* context)
    {
        auto& self = *static_cast<FakeClient*>(context);
        const HttpResponse& response = request->response();
        if (self.before)
            self.before(*request);
        {
            const std::lock_guard<std::mutex> lock(self.m_mutex);
            self.m_ended.push_back({status, response.getHttpResponseCode(), response.getPayload(), "", fake::onWorker()});
        }
        delete request;
    }

    HttpRequest* make(const STRING& url = "http://service.example/x", unsigned long long id = 1)
    {
        auto* const request = new HttpRequest(HTTP_REQUEST_GET, url, HttpHeader(), "", take, this);
        request->setID(id);
        return request;
    }
    WSTATUS send(HttpRequest* request)
    {
        const WSTATUS status = HttpDelegator::getInstance()->addRequest(request);
        if (status < 0)
            delete request;
        return status;
    }
    std::vector<Ended> ended()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_ended;
    }
    static void flush(unsigned long long id) { HttpDelegator::getInstance()->flushHttpRequests(id); }

    std::function<void(HttpRequest&)> before;

private:
    std::mutex m_mutex;
    std::vector<Ended> m_ended;
};

TEST_F(FakeClient, AnswersWithAnEmptyReplyAtFirst)
{
    ASSERT_EQ(send(make()), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(ended()[0].status, SESSION_DONE);
    EXPECT_EQ(ended()[0].code, 200u);
    EXPECT_EQ(ended()[0].payload, "");
    EXPECT_TRUE(ended()[0].onWorker);
    EXPECT_FALSE(fake::onWorker());
}

TEST_F(FakeClient, AnswersFromTheLineThenTheRuleThenTheUsual)
{
    fake::answerAll(fake::reply("usual", 201));
    fake::answerNext(fake::reply("first"));
    fake::answerNext(fake::failure(SESSION_UNREACHABLE));
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(send(make()), 0);
    ASSERT_TRUE(fake::waitForCompletions(3));
    fake::answerWith([](const fake::Seen& seen) { return fake::reply("rule for " + seen.url); });
    ASSERT_EQ(send(make()), 0);
    ASSERT_TRUE(fake::waitForCompletions(4));
    EXPECT_EQ(ended()[0].payload, "first");
    EXPECT_EQ(ended()[1].status, SESSION_UNREACHABLE);
    EXPECT_EQ(ended()[1].code, 0u);
    EXPECT_EQ(ended()[2].payload, "usual");
    EXPECT_EQ(ended()[2].code, 201u);
    EXPECT_EQ(ended()[3].payload, "rule for http://service.example/x");
}

TEST_F(FakeClient, ShowsWhatItSaw)
{
    HttpHeader fields;
    fields.add("DATE", "d");
    fields.add("appToken", "");
    auto* const request = new HttpRequest(HTTP_REQUEST_POST, "http://service.example/p?q", fields, "a=b", take, this);
    request->setID(0x100000002ULL);
    ASSERT_EQ(send(request), 0);
    HttpRequest executed(HTTP_REQUEST_GET, "http://service.example/e", HttpHeader(), nullptr, nullptr, "");
    EXPECT_EQ(executed.execute(), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    ASSERT_EQ(fake::requestCount(), 2u);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, "http://service.example/p?q");
    EXPECT_EQ(seen.header.size(), 2u);
    EXPECT_EQ(seen.field("DATE"), "d");
    EXPECT_EQ(seen.field("appToken"), "");
    EXPECT_EQ(seen.field("none"), std::nullopt);
    EXPECT_EQ(seen.body, "a=b");
    EXPECT_EQ(seen.id, 0x100000002ULL);
    EXPECT_FALSE(seen.executed || seen.hasForm || seen.postFields || seen.postFieldsSize);
    EXPECT_TRUE(fake::request(1).executed);
    EXPECT_EQ(fake::request(1).number, 1u);
    EXPECT_THROW(fake::request(2), std::out_of_range);
}

TEST_F(FakeClient, ShowsFormsAndPostFields)
{
    HttpHeader fields;
    fields.add("A", "1");
    auto* const request = new HttpRequest(HTTP_REQUEST_POST, "http://service.example/up", fields, take, this, "/tmp/photo.jpg");
    curl_httppost* first = nullptr;
    curl_httppost* last = nullptr;
    curl_formadd(&first, &last, CURLFORM_COPYNAME, "type", CURLFORM_COPYCONTENTS, "photo", CURLFORM_CONTENTHEADER,
                 request->getHeaderList(), CURLFORM_END);
    curl_formadd(&first, &last, CURLFORM_COPYNAME, "file", CURLFORM_FILE, "/tmp/photo.jpg", CURLFORM_CONTENTTYPE, "image/jpeg",
                 CURLFORM_END);
    request->setFormPost(first);
    curl_easy_setopt(static_cast<CURL*>(request->getHandle()), CURLOPT_POSTFIELDS, "fields");
    curl_easy_setopt(static_cast<CURL*>(request->getHandle()), CURLOPT_POSTFIELDSIZE, 1234L);
    ASSERT_EQ(send(request), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.path, "/tmp/photo.jpg");
    EXPECT_TRUE(seen.hasForm);
    ASSERT_EQ(seen.form.size(), 2u);
    EXPECT_EQ(seen.form[0].name, "type");
    EXPECT_EQ(seen.form[0].contents, "photo");
    EXPECT_EQ(seen.form[0].file, "");
    EXPECT_THAT(seen.form[0].headers, ElementsAre("A: 1"));
    EXPECT_EQ(seen.form[1].file, "/tmp/photo.jpg");
    EXPECT_EQ(seen.form[1].contentType, "image/jpeg");
    EXPECT_EQ(seen.form[1].contents, "");
    EXPECT_EQ(seen.postFields, "fields");
    EXPECT_EQ(seen.postFieldsSize, 1234);
    ASSERT_TRUE(fake::waitForCompletions(1));
    HttpRequest fresh(HTTP_REQUEST_POST, "http://service.example/", HttpHeader(), "", nullptr, nullptr);
    fresh.getHandle();
    EXPECT_EQ(fresh.execute(), 0);
    EXPECT_EQ(fake::request(1).postFields, std::nullopt) << "a handle came back with fields of its last user";
}

TEST_F(FakeClient, HoldsRequestsAndAnswersInAnyOrder)
{
    fake::answerAll(fake::held());
    for (const char* url : {"http://h/0", "http://h/1", "http://h/2"})
        ASSERT_EQ(send(make(url)), 0);
    EXPECT_EQ(fake::heldCount(), 3u);
    EXPECT_TRUE(fake::answer(2, fake::reply("two")));
    EXPECT_TRUE(fake::answer(0, fake::reply("zero")));
    ASSERT_TRUE(fake::waitForCompletions(2));
    EXPECT_FALSE(fake::answer(2, fake::reply("again")));
    EXPECT_FALSE(fake::answer(9, fake::reply("none")));
    EXPECT_EQ(fake::answerHeld(fake::reply("rest")), 1u);
    ASSERT_TRUE(fake::waitForCompletions(3));
    EXPECT_EQ(ended()[0].payload, "two");
    EXPECT_EQ(ended()[1].payload, "zero");
    EXPECT_EQ(ended()[2].payload, "rest");
}

TEST_F(FakeClient, HoldsExecutedRequests)
{
    fake::answerNext(fake::held());
    std::thread caller([] {
        HttpRequest request(HTTP_REQUEST_GET, "http://h/", HttpHeader(), "", nullptr, nullptr);
        EXPECT_EQ(request.execute(), 0);
        EXPECT_EQ(request.getResponse().getPayload(), "late");
    });
    ASSERT_TRUE(fake::waitForRequests(1));
    EXPECT_TRUE(fake::answer(0, fake::reply("late")));
    caller.join();
}

TEST_F(FakeClient, MapsFailuresOfExecutedRequests)
{
    const std::pair<SESSION_STATUS, WSTATUS> cases[] = {
        {SESSION_DONE, 0},
        {SESSION_NOT_CREATED, WSTATUS_NOT_CREATED},
        {SESSION_TOO_LARGE, WSTATUS_LIMIT_EXCEEDED},
        {SESSION_CUT_OFF, WSTATUS_CONNECTION_LOST},
        {SESSION_UNREACHABLE, WSTATUS_UNREACHABLE},
        {SESSION_TIMED_OUT, WSTATUS_TIMED_OUT},
        {SESSION_FILE_ERROR, WSTATUS_FILE_ERROR},
        {SESSION_CANCELLED, WSTATUS_CANCELLED},
        {SESSION_PROTOCOL_ERROR, WSTATUS_FAILED},
        {static_cast<SESSION_STATUS>(77), WSTATUS_FAILED},
    };
    for (const auto& [session, status] : cases) {
        fake::answerNext(fake::failure(session));
        HttpRequest request(HTTP_REQUEST_GET, "http://h/", HttpHeader(), "", nullptr, nullptr);
        EXPECT_EQ(request.execute(), status) << session;
    }
}

TEST_F(FakeClient, RefusesAsItIsTold)
{
    fake::refuseNext(-7, 2);
    EXPECT_EQ(send(make()), -7);
    HttpRequest executed(HTTP_REQUEST_GET, "http://h/", HttpHeader(), "", nullptr, nullptr);
    EXPECT_EQ(executed.execute(), -7);
    EXPECT_EQ(send(make()), 0);
    fake::refuseAll(-9);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(send(make()), -9);
    fake::refuseAll(0);
    EXPECT_EQ(send(make()), 0);
    EXPECT_EQ(fake::refusals().size(), 5u);
    EXPECT_EQ(fake::requestCount(), 2u);
    EXPECT_TRUE(fake::waitForCompletions(2));
}

TEST_F(FakeClient, RefusesWhatTheRealClientRefuses)
{
    EXPECT_EQ(send(make("file:///x")), WSTATUS_INVALID_ARGUMENT);
    EXPECT_EQ(HttpDelegator::getInstance()->addRequest(nullptr), WSTATUS_INVALID_ARGUMENT);
    fake::checkRequests(false);
    EXPECT_EQ(send(make("file:///x")), 0);
    EXPECT_TRUE(fake::waitForCompletions(1));
}

TEST_F(FakeClient, FailsToMakeRequestsWhenToldTo)
{
    fake::failConstruction(1);
    std::unique_ptr<HttpRequest> first(make());
    EXPECT_THROW(delete make(), std::bad_alloc);
    std::unique_ptr<HttpRequest> third(make());
    EXPECT_EQ(fake::liveRequests(), 2u);
}

TEST_F(FakeClient, CancelsHeldRequestsAtOnce)
{
    fake::answerAll(fake::held());
    HttpRequest* const request = make();
    ASSERT_EQ(send(request), 0);
    request->setCancel();
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(ended()[0].status, SESSION_CANCELLED);
    HttpRequest* const early = make();
    early->setCancel();
    ASSERT_EQ(send(early), 0);
    ASSERT_TRUE(fake::waitForCompletions(2));
    EXPECT_EQ(ended()[1].status, SESSION_CANCELLED);
}

TEST_F(FakeClient, TellsProgress)
{
    fake::answerAll(fake::held());
    HttpRequest* const request = make();
    ASSERT_EQ(send(request), 0);
    EXPECT_TRUE(fake::setProgress(0, 3, 10));
    double done = 0;
    double total = 0;
    request->getProgressStatus(done, total);
    EXPECT_EQ(done, 3);
    EXPECT_EQ(total, 10);
    before = [&](HttpRequest& ending) { ending.getProgressStatus(done, total); };
    EXPECT_TRUE(fake::answer(0, fake::reply("12345")));
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(done, 5);
    EXPECT_EQ(total, 5);
    EXPECT_FALSE(fake::setProgress(0, 1, 1));
}

TEST_F(FakeClient, WritesTheFilesOfDownloads)
{
    const test::TempDir dir;
    const auto download = [&](const fake::Answer& answer) {
        fake::answerNext(answer);
        return send(new HttpRequest(HTTP_REQUEST_GET, "http://h/f", HttpHeader(), take, this, dir.file("f")));
    };
    ASSERT_EQ(download(fake::reply("why", 404)), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(ended()[0].payload, "why");
    EXPECT_TRUE(dir.entries().empty());
    ASSERT_EQ(download(fake::reply("content")), 0);
    ASSERT_TRUE(fake::waitForCompletions(2));
    EXPECT_EQ(ended()[1].payload, "");
    EXPECT_EQ(test::readFile(dir.file("f")), "content");
}

TEST_F(FakeClient, FlushesInOrderWithoutCompletions)
{
    fake::answerAll(fake::held());
    std::vector<int> deleted;
    struct Tracked : HttpRequest {
        Tracked(const STRING& url, VOID* context, std::vector<int>& log, int number)
            : HttpRequest(HTTP_REQUEST_GET, url, HttpHeader(), "", take, context), m_log(log), m_number(number)
        {
        }
        ~Tracked() override { m_log.push_back(m_number); }
        std::vector<int>& m_log;
        int m_number;
    };
    for (int i = 0; i < 6; ++i) {
        HttpRequest* const request = new Tracked("http://h/", this, deleted, i);
        request->setID(i % 2 == 0 ? 1 : 2);
        ASSERT_EQ(send(request), 0);
    }
    flush(1);
    EXPECT_THAT(deleted, ElementsAre(0, 2, 4));
    EXPECT_EQ(fake::heldCount(), 3u);
    flush(2);
    EXPECT_THAT(deleted, ElementsAre(0, 2, 4, 1, 3, 5));
    EXPECT_THAT(fake::flushes(), ElementsAre(1, 2));
    EXPECT_TRUE(ended().empty());
}

TEST_F(FakeClient, FlushWaitsForTheCompletionThatRunsAndSparesItOnTheWorker)
{
    fake::answerNext(fake::held());
    ASSERT_EQ(send(make("http://h/held")), 0);
    test::Signal entered, leave;
    std::atomic<bool> over{false};
    before = [&](HttpRequest&) {
        flush(1);
        EXPECT_EQ(fake::heldCount(), 0u);
        entered.raise();
        EXPECT_TRUE(leave.wait());
        over = true;
    };
    ASSERT_EQ(send(make()), 0);
    ASSERT_TRUE(entered.wait());
    std::thread flusher([&] {
        flush(1);
        EXPECT_TRUE(over);
    });
    flush(2);
    leave.raise();
    flusher.join();
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(ended().size(), 1u);
}

TEST_F(FakeClient, RunsCompletionsThatQueueMore)
{
    std::atomic<int> left{30};
    before = [&](HttpRequest&) {
        if (--left > 0) {
            EXPECT_EQ(send(make()), 0);
        }
    };
    ASSERT_EQ(send(make()), 0);
    EXPECT_TRUE(fake::waitForCompletions(30));
    EXPECT_TRUE(fake::waitUntilIdle());
}

TEST_F(FakeClient, GivesUpWaitingForWhatDoesNotCome)
{
    EXPECT_FALSE(fake::waitForRequests(1, std::chrono::milliseconds(10)));
    EXPECT_FALSE(fake::waitForCompletions(1, std::chrono::milliseconds(10)));
}

TEST_F(FakeClient, HasTheRestOfTheFramework)
{
    const WContentProvider provider("fake", WContentProvider::SERVICE_KINLOOM);
    WConfigManager::getInstance()->setCPOption(provider, "k", "v");
    EXPECT_EQ(WConfigManager::getInstance()->getCPOption(provider, "k").toString(), "v");
    EXPECT_STREQ(WSTATUS2STRING(0), "WSTATUS_OK");
}

} // namespace
