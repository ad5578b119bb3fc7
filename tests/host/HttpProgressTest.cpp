// SPDX-License-Identifier: MIT
#include "host/Client.h"

using namespace test;

namespace {

class HttpProgress : public HttpTest {
protected:
    /// Asks for a running request's progress until it shows so many bytes.
    static std::pair<double, double> waitForBytes(const HttpRequest& request, double bytes)
    {
        double done = 0;
        double total = 0;
        EXPECT_TRUE(comesTrue([&] {
            request.getProgressStatus(done, total);
            return done >= bytes;
        }));
        return {done, total};
    }
};

TEST_F(HttpProgress, IsNothingBeforeTheTransfer)
{
    const std::unique_ptr<HttpRequest> request(makeGet(server.url()));
    double done = -1;
    double total = -1;
    request->getProgressStatus(done, total);
    EXPECT_EQ(done, 0.0);
    EXPECT_EQ(total, 0.0);
}

TEST_F(HttpProgress, ShowsTheBytesOfADownloadWhileItRuns)
{
    server.reply(RawReply()
                     .send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + std::string(400, 'x'))
                     .hold()
                     .send(std::string(600, 'x')));
    HttpRequest* const request = makeGet(server.url());
    ASSERT_EQ(send(request), 0);
    EXPECT_EQ(waitForBytes(*request, 400), std::make_pair(400.0, 1000.0));
    server.release();
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_EQ(outcomes.all()[0].done, 1000.0);
    EXPECT_EQ(outcomes.all()[0].total, 1000.0);
}

TEST_F(HttpProgress, ShowsNoTotalWhileTheLengthIsUnknown)
{
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\n\r\nhalf").hold().send("half").close());
    HttpRequest* const request = makeGet(server.url());
    ASSERT_EQ(send(request), 0);
    EXPECT_EQ(waitForBytes(*request, 4), std::make_pair(4.0, 0.0));
    server.release();
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_EQ(outcomes.all()[0].done, 8.0);
}

TEST_F(HttpProgress, ShowsTheBytesOfAnUpload)
{
    const std::string body(3 << 20, 'x');
    server.reply(RawReply::ok("a reply that is not counted"));
    const Outcome outcome = post(server.url(), body);
    EXPECT_EQ(outcome.done, static_cast<double>(body.size()));
    EXPECT_EQ(outcome.total, static_cast<double>(body.size()));
}

TEST_F(HttpProgress, KeepsTheLastValuesOfAFailedTransfer)
{
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + std::string(400, 'x')).close());
    const Outcome outcome = get(server.url());
    EXPECT_EQ(outcome.status, SESSION_CUT_OFF);
    EXPECT_EQ(outcome.done, 400.0);
    EXPECT_EQ(outcome.total, 1000.0);
}

TEST_F(HttpProgress, BeginsAgainWhenARequestIsExecutedAgain)
{
    server.reply(RawReply::ok(std::string(500, 'x')));
    HttpRequest request(HTTP_REQUEST_GET, server.url(), HttpHeader(), "", nullptr, nullptr);
    EXPECT_EQ(request.execute(), 0);
    server.reply(RawReply::ok("x"));
    EXPECT_EQ(request.execute(), 0);
    double done = 0;
    double total = 0;
    request.getProgressStatus(done, total);
    EXPECT_EQ(done, 1.0);
    EXPECT_EQ(total, 1.0);
}

} // namespace
