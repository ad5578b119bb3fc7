// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"
#include "TestPictures.h"

#include <filesystem>

namespace {

using namespace kinloomd_test;

class Media : public ServiceFixture {
protected:
    void SetUp() override
    {
        start();
        m_group = anna().createGroup("Family");
        const HttpReply reply = anna().upload(m_group, m_picture);
        m_photo = field(reply, "contentId");
        m_target = targetOf(field(reply, "contentUrl"));
        m_thumbnail = targetOf(field(reply, "contentThumbnail_540X405"));
    }

    HttpReply get(const Headers& headers = {}) { return request(port(), "GET", m_target, {}, headers); }

    TestPicture m_picture = makePicture(640, 480);
    std::string m_group;
    std::string m_photo;
    std::string m_target;
    std::string m_thumbnail;
};

TEST_F(Media, IsSentWholeWithItsHeaders)
{
    const HttpReply reply = get();
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, m_picture.bytes);
    EXPECT_EQ(reply.header("content-type"), "image/jpeg");
    EXPECT_EQ(reply.header("content-length"), std::to_string(m_picture.bytes.size()));
    EXPECT_EQ(reply.header("accept-ranges"), "bytes");
    EXPECT_EQ(reply.header("x-content-type-options"), "nosniff");
    EXPECT_NE(reply.header("etag"), "");
    EXPECT_NE(reply.header("cache-control"), "");
}

TEST_F(Media, IsDescribedWithoutItsBytes)
{
    Wire wire(port());
    wire.send(requestBytes("HEAD", m_target, {}, {}));
    const HttpReply head = wire.receive(true);
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.header("content-length"), std::to_string(m_picture.bytes.size()));
    EXPECT_EQ(head.header("content-type"), "image/jpeg");
    // Nothing of the body follows: the next reply begins where it should.
    wire.send(requestBytes("GET", m_target, {}, {}));
    EXPECT_EQ(wire.receive().body, m_picture.bytes);
}

TEST_F(Media, IsSentInPart)
{
    const std::size_t size = m_picture.bytes.size();
    const std::string total = "/" + std::to_string(size);
    const HttpReply first = get({{"Range", "bytes=0-9"}});
    EXPECT_EQ(first.status, 206);
    EXPECT_EQ(first.body, m_picture.bytes.substr(0, 10));
    EXPECT_EQ(first.header("content-range"), "bytes 0-9" + total);
    EXPECT_EQ(first.header("content-length"), "10");
    const HttpReply rest = get({{"Range", "bytes=100-"}});
    EXPECT_EQ(rest.status, 206);
    EXPECT_EQ(rest.body, m_picture.bytes.substr(100));
    const HttpReply last = get({{"Range", "bytes=-7"}});
    EXPECT_EQ(last.body, m_picture.bytes.substr(size - 7));
    EXPECT_EQ(last.header("content-range"), "bytes " + std::to_string(size - 7) + "-" + std::to_string(size - 1) + total);
}

TEST_F(Media, RefusesPartsThatItDoesNotHave)
{
    const std::string size = std::to_string(m_picture.bytes.size());
    const HttpReply reply = get({{"Range", "bytes=" + size + "-"}});
    EXPECT_EQ(reply.status, 416);
    EXPECT_EQ(reply.header("content-range"), "bytes */" + size);
    EXPECT_EQ(reply.body, "");
}

TEST_F(Media, IsSentWholeWhereARangeMakesNoSense)
{
    for (const char* range : {"bytes=5-2", "bytes=0-1,5-6", "lines=0-1", "bytes=x"})
        EXPECT_EQ(get({{"Range", range}}).status, 200) << range;
}

TEST_F(Media, IsNotSentAgainToWhoHasIt)
{
    const std::string tag = get().header("etag");
    for (const std::string& header : {tag, "W/" + tag, "\"other\", " + tag, std::string("*")}) {
        const HttpReply reply = get({{"If-None-Match", header}});
        EXPECT_EQ(reply.status, 304) << header;
        EXPECT_EQ(reply.header("etag"), tag);
    }
    EXPECT_EQ(get({{"If-None-Match", "\"other\""}}).status, 200);
}

TEST_F(Media, IsSentInPartOnlyWhileItIsTheSame)
{
    const std::string tag = get().header("etag");
    EXPECT_EQ(get({{"Range", "bytes=0-9"}, {"If-Range", tag}}).status, 206);
    EXPECT_EQ(get({{"Range", "bytes=0-9"}, {"If-Range", "\"other\""}}).status, 200);
    EXPECT_EQ(get({{"Range", "bytes=0-9"}, {"If-Range", "Wed, 05 May 2010 07:04:09 GMT"}}).status, 200);
}

TEST_F(Media, HidesBehindItsKey)
{
    const auto key = m_target.find('/', std::string("/media/original").size()) + 1;
    std::string wrong = m_target;
    wrong[key] = wrong[key] == 'a' ? 'b' : 'a';
    EXPECT_EQ(request(port(), "GET", wrong).status, 404);
    const std::string second = anna().uploadPhoto(m_group, smallPicture());
    std::string other = m_target;
    other.replace(other.find("/" + m_photo + "/"), m_photo.size() + 2, "/" + second + "/");
    EXPECT_EQ(request(port(), "GET", other).status, 404) << "a key opens one content";
    for (const std::string& target :
         {std::string("/media/original//") + m_photo + "/a.jpg", "/media/original/x/" + m_photo + "/a.jpg",
          std::string("/media/original/x/0/a.jpg"), std::string("/media/original/x/..%2f..%2fkinloomd.db/a.jpg"),
          std::string("/media/person/x/1-1/a.jpg"), std::string("/media/person/x/1/a.jpg")})
        EXPECT_EQ(request(port(), "GET", target).status, 404) << target;
}

TEST_F(Media, IsSentUnderAnyFileName)
{
    const std::string renamed = m_target.substr(0, m_target.rfind('/') + 1) + "another%20name.jpg";
    EXPECT_EQ(request(port(), "GET", renamed).status, 200);
    EXPECT_EQ(m_target.substr(m_target.rfind('/') + 1), "picture.jpg");
}

TEST_F(Media, CannotBeWrittenTo)
{
    for (const char* method : {"POST", "PUT", "DELETE"})
        EXPECT_EQ(request(port(), method, m_target).status, 405) << method;
}

TEST_F(Media, MakesALostThumbnailAgain)
{
    if (mediaAreInAStore())
        GTEST_SKIP() << "takes files away; StoreMedia takes objects away";
    const HttpReply before = request(port(), "GET", m_thumbnail);
    ASSERT_EQ(before.status, 200);
    std::filesystem::remove_all(m_data + "/thumbnails");
    std::filesystem::create_directory(m_data + "/thumbnails");
    const HttpReply after = request(port(), "GET", m_thumbnail);
    EXPECT_EQ(after.status, 200);
    EXPECT_EQ(after.body, before.body);
    EXPECT_EQ(after.header("etag"), before.header("etag"));
}

TEST_F(Media, ThatIsMissingIsNotFound)
{
    if (mediaAreInAStore())
        GTEST_SKIP() << "takes files away; StoreMedia takes objects away";
    std::filesystem::remove_all(m_data + "/media");
    std::filesystem::create_directory(m_data + "/media");
    EXPECT_EQ(get().status, 404);
    std::filesystem::remove_all(m_data + "/thumbnails");
    std::filesystem::create_directory(m_data + "/thumbnails");
    EXPECT_EQ(request(port(), "GET", m_thumbnail).status, 404);
    m_process.reset();
    const CommandResult check = command({"check"});
    EXPECT_EQ(check.exitCode, 3);
    EXPECT_NE(check.out.find("content " + m_photo + " has no file"), std::string::npos) << check.out;
}

TEST_F(Media, IsNamedByThePublicAddressWhereThereIsOne)
{
    m_settings.arguments = {"--public-url", "https://photos.example:8443"};
    restart();
    const Xml feed(anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).body);
    EXPECT_EQ(feed.text("//contentUrl").find("https://photos.example:8443/media/original/"), 0U);
    EXPECT_EQ(field(anna().reserve(m_group, "type=photo&"), "uploadUrl").find("https://photos.example:8443/"), 0U);
}

TEST_F(Media, IsNamedByTheHostThatTheRequestNames)
{
    for (const char* host : {"kinloom.test", "192.0.2.1:8750", "[2001:db8::1]:80"}) {
        Wire wire(port());
        wire.send("GET " + ServiceClient::path(m_group + "/feeds?&search_before=latest") + " HTTP/1.1\r\nHost: " + host +
                  "\r\nAuthorization:" + authorizationOf(m_anna) + "\r\n\r\n");
        EXPECT_EQ(field(wire.receive(), "contentUrl").find(std::string("http://") + host + "/media/"), 0U) << host;
    }
    for (const char* host : {"a b", "a/b", "a\"b", "<x>", "user@host"}) {
        Wire wire(port());
        wire.send("GET " + ServiceClient::path("me/group.list") + " HTTP/1.1\r\nHost: " + host +
                  "\r\nAuthorization:" + authorizationOf(m_anna) + "\r\n\r\n");
        EXPECT_EQ(wire.receive().status, 400) << host;
    }
}

} // namespace
