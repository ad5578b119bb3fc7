// SPDX-License-Identifier: MIT
#include "ServerFixture.h"

#include <cstdlib>

namespace {

using namespace httpd_test;
using httpd::Connection;
using httpd::RequestHead;

/// A file that is gone as soon as it is closed.
httpd::UniqueFd fileOf(const std::string& bytes)
{
    char path[] = "/tmp/httpd-test-XXXXXX";
    httpd::UniqueFd file(::mkstemp(path));
    ::unlink(path);
    EXPECT_EQ(::write(file.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    return file;
}

class Reply : public ServerFixture {
protected:
    void startWith(std::function<httpd::Reply()> make)
    {
        start([make](const RequestHead&, Connection&) { return make(); });
    }
};

TEST_F(Reply, HasItsStatusHeadersAndText)
{
    startWith([] {
        httpd::Reply reply = textReply("hello", 201);
        reply.headers = {{"X-One", "1"}, {"Cache-Control", "no-store"}};
        return reply;
    });
    const HttpReply response = get("/");
    EXPECT_EQ(response.status, 201);
    EXPECT_EQ(response.header("content-type"), "text/plain");
    EXPECT_EQ(response.header("content-length"), "5");
    EXPECT_EQ(response.header("x-one"), "1");
    EXPECT_EQ(response.header("cache-control"), "no-store");
    EXPECT_EQ(response.body, "hello");
}

TEST_F(Reply, HasNoContentTypeUnlessOneIsGiven)
{
    startWith([] { return httpd::Reply(); });
    const HttpReply response = get("/");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.headers.count("content-type"), 0U);
    EXPECT_EQ(response.header("content-length"), "0");
}

TEST_F(Reply, KeepsBytesThatAreNoText)
{
    const std::string bytes("\0\xFF\r\n\r\n\0", 7);
    startWith([&] { return textReply(bytes); });
    EXPECT_EQ(get("/").body, bytes);
}

TEST_F(Reply, SendsAPartOfAFile)
{
    std::string bytes;
    for (int i = 0; i < 100'000; ++i)
        bytes += static_cast<char>(i * 7);
    startWith([&] {
        httpd::Reply reply;
        reply.status = 206;
        reply.body.emplace<httpd::FileBody>(httpd::FileBody{fileOf(bytes), 1000, 90'000});
        return reply;
    });
    const HttpReply response = get("/");
    EXPECT_EQ(response.status, 206);
    EXPECT_EQ(response.header("content-length"), "90000");
    EXPECT_TRUE(response.body == bytes.substr(1000, 90'000));
}

TEST_F(Reply, LeavesTheBodyOutAfterHead)
{
    startWith([] { return textReply("hello"); });
    HttpConnection client(address());
    client.send("HEAD / HTTP/1.1\r\nHost: a\r\n\r\nGET / HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_EQ(client.receive(true).header("content-length"), "5");
    EXPECT_EQ(client.receive().body, "hello");
}

TEST_F(Reply, LeavesTheBodyOutWhereItsStatusHasNone)
{
    for (const unsigned status : {204U, 304U}) {
        startWith([status] { return textReply("surplus", status); });
        HttpConnection client(address());
        const std::string bytes = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";
        client.send(bytes + bytes);
        EXPECT_EQ(client.receive().status, static_cast<int>(status));
        EXPECT_EQ(client.receive().status, static_cast<int>(status)) << "nothing stands between the replies";
    }
}

TEST_F(Reply, ClosesTheConnectionWhenTheClientWantsItSo)
{
    startWithText("last");
    HttpConnection client(address());
    client.send("GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(client.receive().body, "last");
    EXPECT_TRUE(client.waitForClose());
}

} // namespace
