// SPDX-License-Identifier: MIT
#include "host/Client.h"
#include "support/OrdinaryUser.h"

#include <sys/stat.h>

using namespace test;

namespace {

class HttpRefusal : public HttpTest {
protected:
    WSTATUS sendTo(const std::string& url) { return send(makeGet(url)); }
    WSTATUS sendField(const std::string& name, const std::string& value)
    {
        return send(makeGet(server.url(), header({{name, value}})));
    }
    WSTATUS sendToFile(const std::string& path) { return send(makeDownload(server.url(), path)); }

    void TearDown() override
    {
        get(server.url("/last"));
        EXPECT_EQ(server.requestCount(), 1u) << "a refused request went out";
        EXPECT_EQ(outcomes.count(), 1u) << "a refused request was completed";
        HttpTest::TearDown();
    }
    TempDir dir;
};

TEST_F(HttpRefusal, RefusesUrlsThatAreNotHttp)
{
    for (const char* url :
         {"", "/path", "host", "host/path", "file:///etc/passwd", "ftp://127.0.0.1/", "FILE:///etc/passwd", "gopher://x/",
          "http:", "http:/", "http:/host", "http:host", "http//host", "httpx://host/", " http://host/", "dict://x", "-"})
        EXPECT_EQ(sendTo(url), WSTATUS_INVALID_ARGUMENT) << url;
}

TEST_F(HttpRefusal, RefusesUrlsWithoutAUsableHost)
{
    for (const char* url :
         {"http://", "http:///path", "http://?a", "http://#a", "http://:80/", "http://host:port/", "http://host:99999/",
          "http://host:-1/", "http://ho st/", "http://[::1/", "http://a\"b/", "http://user@/", "http://ho\\st/"})
        EXPECT_EQ(sendTo(url), WSTATUS_INVALID_ARGUMENT) << url;
}

TEST_F(HttpRefusal, RefusesControlCharactersAnywhereInAUrl)
{
    const std::string base = server.url("/path?query");
    for (std::size_t at = 0; at <= base.size(); ++at)
        for (const char c : {'\r', '\n', '\0', '\t', '\x01', '\x1f', '\x7f'})
            EXPECT_EQ(sendTo(base.substr(0, at) + c + base.substr(at)), WSTATUS_INVALID_ARGUMENT) << at << ' ' << int(c);
    EXPECT_EQ(sendTo(server.url("/#fragment\r\nX: 1")), WSTATUS_INVALID_ARGUMENT);
}

TEST_F(HttpRefusal, RefusesAUrlThatIsTooLong)
{
    EXPECT_EQ(sendTo(server.url("/" + std::string(8'100'000, 'x'))), WSTATUS_INVALID_ARGUMENT);
    EXPECT_EQ(sendTo(server.url("/" + std::string(4'000'000, ' '))), WSTATUS_INVALID_ARGUMENT) << "too long once it is encoded";
}

TEST_F(HttpRefusal, RefusesLineBreaksAndNulInFieldValues)
{
    for (const char c : {'\r', '\n', '\0'})
        for (const std::string& value :
             {std::string(1, c), std::string("a") + c, c + std::string("a"), std::string("a") + c + "X: 1"})
            EXPECT_EQ(sendField("Name", value), WSTATUS_INVALID_ARGUMENT) << int(c);
}

TEST_F(HttpRefusal, RefusesFieldNamesThatAreNotTokens)
{
    EXPECT_EQ(sendField("", "value"), WSTATUS_INVALID_ARGUMENT);
    for (int c = 0; c < 256; ++c) {
        const bool token = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c != 0 && std::string("!#$%&'*+-.^_`|~").find(static_cast<char>(c)) != std::string::npos);
        if (token)
            continue;
        EXPECT_EQ(sendField(std::string("Na") + static_cast<char>(c) + "me", "value"), WSTATUS_INVALID_ARGUMENT) << c;
    }
}

TEST_F(HttpRefusal, RefusesEveryFieldNotOnlyTheFirst)
{
    EXPECT_EQ(send(makeGet(server.url(), header({{"A", "1"}, {"B", "2"}, {"C", "3\n"}}))), WSTATUS_INVALID_ARGUMENT);
}

TEST_F(HttpRefusal, RefusesNoRequestAndRequestsThatNobodyWouldDelete)
{
    EXPECT_EQ(delegator.addRequest(nullptr), WSTATUS_INVALID_ARGUMENT);
    EXPECT_EQ(send(new HttpRequest(HTTP_REQUEST_GET, server.url(), HttpHeader(), "", nullptr, nullptr)), WSTATUS_INVALID_ARGUMENT);
}

TEST_F(HttpRefusal, RefusesUnknownMethods)
{
    EXPECT_EQ(send(new HttpRequest(static_cast<HTTP_REQUEST_TYPE>(2), server.url(), HttpHeader(), "", Outcomes::take, &outcomes)),
              WSTATUS_INVALID_ARGUMENT);
}

TEST_F(HttpRefusal, RefusesTargetsThatCannotBeFiles)
{
    ASSERT_EQ(mkdir(dir.file("folder").c_str(), 0755), 0);
    ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0644), 0);
    writeFile(dir.file("file"), "kept");
    for (const std::string& path :
         {dir.path() + "/", dir.path() + "/.", dir.path() + "/..", dir.file("folder"), dir.file("folder/"), dir.file("fifo"),
          dir.file("none/file"), dir.file("file/x"), dir.file(std::string(300, 'x')), std::string("/dev/full"),
          std::string("/dev/null"), std::string("/"), std::string(".")})
        EXPECT_EQ(sendToFile(path), WSTATUS_FILE_ERROR) << path;
    EXPECT_EQ(sendToFile(dir.file(std::string("a\0b", 3))), WSTATUS_INVALID_ARGUMENT);
    EXPECT_EQ(readFile(dir.file("file")), "kept");
    EXPECT_THAT(dir.entries(), ::testing::ElementsAre("fifo", "file", "folder"));
}

TEST_F(HttpRefusal, RefusesATargetInAFolderWithoutWriteAccess)
{
    ASSERT_EQ(chmod(dir.path().c_str(), 0555), 0);
    {
        const AsOrdinaryUser user;
        EXPECT_EQ(sendToFile(dir.file("x")), WSTATUS_FILE_ERROR);
    }
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
}

TEST_F(HttpRefusal, LeavesARefusedRequestToItsCaller)
{
    bool gone = false;
    auto* const request = new TrackedRequest(HTTP_REQUEST_GET, "file:///x", Outcomes::take, &outcomes, [&] { gone = true; });
    EXPECT_LT(delegator.addRequest(request), 0);
    EXPECT_FALSE(gone);
    request->setID(5);
    EXPECT_EQ(request->getID(), 5u);
    delete request;
    EXPECT_TRUE(gone);
}

TEST(HttpRefusalOfExecute, RefusesWhatTheDelegatorRefuses)
{
    HttpRequest file(HTTP_REQUEST_GET, "file:///etc/passwd", HttpHeader(), "", nullptr, nullptr);
    EXPECT_EQ(file.execute(), WSTATUS_INVALID_ARGUMENT);
    HttpRequest smuggler(HTTP_REQUEST_GET, "http://127.0.0.1:9/", header({{"A", "b\r\nC: d"}}), "", nullptr, nullptr);
    EXPECT_EQ(smuggler.execute(), WSTATUS_INVALID_ARGUMENT);
    HttpRequest folder(HTTP_REQUEST_GET, "http://127.0.0.1:9/", HttpHeader(), nullptr, nullptr, "/tmp/");
    EXPECT_EQ(folder.execute(), WSTATUS_FILE_ERROR);
}

class HttpQueueLimit : public HttpTest {};

TEST_F(HttpQueueLimit, RefusesWhatExceedsTheQueue)
{
    options([](HttpOptions& o) { o.maxRequests = 5; });
    server.onRequest([](const RawRequest&) { return RawReply().hold().send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"); });
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(send(makeGet(server.url())), 0);
    EXPECT_EQ(send(makeGet(server.url())), WSTATUS_NOT_CREATED);
    ASSERT_TRUE(server.waitForWaiting(5));
    server.release();
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_EQ(send(makeGet(server.url())), 0) << "a place is free again";
    EXPECT_EQ(send(makeGet(server.url())), WSTATUS_NOT_CREATED);
    delegator.flushHttpRequests(0);
    EXPECT_EQ(send(makeGet(server.url())), 0) << "a flush frees all places";
    EXPECT_EQ(outcomes.count(), 1u);
}

} // namespace
