// SPDX-License-Identifier: MIT
// Pictures as a browser gets them.
#include "MediaFixture.h"

#include "httpd/Server.h"
#include "support/HttpConnection.h"
#include "tv/media/PictureReply.h"

namespace {

using namespace kinloomd_test;
using namespace tv_test;
using test::HttpConnection;
using test::HttpReply;
using test::RawReply;

class Page : public httpd::Handler {
public:
    explicit Page(std::unique_ptr<Pictures>& pictures) : m_pictures(pictures) {}
    httpd::Decision decide(const httpd::RequestHead& head, httpd::Connection& connection) override
    {
        return pictureReply(*m_pictures, head, connection);
    }

private:
    std::unique_ptr<Pictures>& m_pictures;
};

class MediaReply : public MediaTest {
protected:
    HttpReply get(const std::string& target, const std::string& headers = "", const std::string& method = "GET")
    {
        HttpConnection connection(m_web.address());
        connection.send(method + " " + target + " HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n");
        return connection.receive(method == "HEAD");
    }

    Page m_page{m_pictures};
    httpd::Server m_web{httpd::Listener("127.0.0.1:0"), httpd::Limits(), m_page};
};

TEST_F(MediaReply, IsThePictureWithItsTag)
{
    const TestPicture picture = makePicture(540, 405);
    serve("/7/grid", picture.bytes);
    for (int i = 0; i < 2; ++i) { // fetched, and out of the cache
        const HttpReply reply = get("/media/7/grid");
        EXPECT_EQ(reply.status, 200);
        EXPECT_EQ(reply.body, picture.bytes);
        EXPECT_EQ(reply.header("content-type"), "image/jpeg");
        EXPECT_EQ(reply.header("x-content-type-options"), "nosniff");
        EXPECT_EQ(reply.header("cross-origin-resource-policy"), "same-origin");
        EXPECT_EQ(reply.header("cache-control"), "private, no-cache") << "another family's may have the same address";
        const HttpReply same = get("/media/7/grid", "If-None-Match: " + reply.header("etag") + "\r\n");
        EXPECT_EQ(same.status, 304);
        EXPECT_EQ(get("/media/7/grid", "If-None-Match: \"other\"\r\n").status, 200);
    }
    EXPECT_EQ(get("/media/7/grid", "", "HEAD").status, 200);
}

TEST_F(MediaReply, FullSizeHasTheSizeThatIsAskedFor)
{
    serve("/7/original", makePicture(1000, 500).bytes);
    EXPECT_EQ(lookAt(get("/media/7/full?width=300&height=300").body)->width, 300);
    EXPECT_EQ(lookAt(get("/media/7/full?height=100").body)->width, 200);
    EXPECT_EQ(lookAt(get("/media/7/full").body)->width, 1000);
    for (const char* const nonsense : {"?width=-5", "?width=0", "?width=99999999999", "?width=x&height=y", "?widthheight"})
        EXPECT_EQ(lookAt(get(std::string("/media/7/full") + nonsense).body)->width, 1000) << nonsense;
}

TEST_F(MediaReply, SaysWhyThereIsNone)
{
    m_source.say("1", PictureSource::Answer::GONE);
    m_source.say("2", PictureSource::Answer::AWAY);
    serve("/3/grid", "no picture");
    const HttpReply gone = get("/media/1/grid");
    EXPECT_EQ(gone.status, 404);
    EXPECT_EQ(gone.body, R"({"error":"gone","message":"There is no such picture any more."})");
    const HttpReply away = get("/media/2/grid");
    EXPECT_EQ(away.status, 503);
    EXPECT_NE(away.header("retry-after"), "");
    EXPECT_EQ(away.header("cache-control"), "no-store");
    EXPECT_EQ(get("/media/3/grid").status, 422);
}

TEST_F(MediaReply, IsOfAContentWhateverTheServiceCallsIt)
{
    const TestPicture picture = makePicture(540, 405);
    const std::pair<const char*, std::string> names[] = {
        {"a:b~c+d", "a:b~c+d"}, {"%C3%A9t%C3%A9%202", "\xC3\xA9t\xC3\xA9 2"}, {"100%25", "100%"}};
    for (const auto& [written, name] : names) {
        m_source.say(name, PictureSource::Answer::KNOWN, m_source.usual("7"));
        serve("/7/grid", picture.bytes);
        EXPECT_EQ(get(std::string("/media/") + written + "/grid").body, picture.bytes) << written;
    }
    const std::string longest(600, 'x');
    m_source.say(longest, PictureSource::Answer::KNOWN, m_source.usual("7"));
    EXPECT_EQ(get("/media/" + longest + "/grid").status, 200);
}

TEST_F(MediaReply, ThereIsNothingElse)
{
    for (const char* const target : {"/media/7", "/media/7/", "/media//grid", "/media/7/large", "/media/7/grid/",
                                     "/media/../7/grid", "/media/7%2F/grid", "/other", "/media/7/../grid"})
        EXPECT_EQ(get(target).status, 404) << target;
    for (const char* const target : {"/media/%2e%2e/grid", "/media/7%00/grid", "/media/7%0A/grid"})
        EXPECT_EQ(get(target).status, 404) << target;
    EXPECT_EQ(get("/media/" + std::string(1500, '7') + "/grid").status, 404);
    EXPECT_EQ(get("/media/7/grid", "Content-Length: 0\r\n", "POST").status, 404);
    EXPECT_EQ(m_source.asked(false), 0U);
}

TEST_F(MediaReply, ABrowserThatGoesAwayWaitsNoLonger)
{
    m_server.reply(RawReply().hold());
    auto connection = std::make_unique<HttpConnection>(m_web.address());
    connection->send("GET /media/7/grid HTTP/1.1\r\nHost: x\r\n\r\n");
    ASSERT_TRUE(m_server.waitForWaiting(1));
    connection.reset();
    EXPECT_TRUE(m_server.waitForClosed(1));
}

} // namespace
