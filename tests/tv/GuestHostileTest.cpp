// SPDX-License-Identifier: MIT
// Telephones that mean no good, and pages of others.
#include "GuestFixture.h"

#include "HostilePictures.h"

#include "tv/guests/GuestBook.h"
#include "tv/guests/LanAddress.h"

#include <list>

namespace {

using namespace kinloomd_test;
using namespace tv_test;
using State = GuestTransfer::State;
using test::comesTrue;

TEST_F(GuestTest, WithoutTheKeyLearnNothing)
{
    open();
    std::string almost = m_path;
    almost[5] = almost[5] == 'A' ? 'B' : 'A';
    for (const std::string& target :
         {almost, m_path.substr(0, m_path.size() - 2) + "/", std::string("//"), std::string("/x/"), "/" + m_path}) {
        const HttpReply reply = ask("GET", target);
        EXPECT_EQ(reply.status, 404) << target;
        EXPECT_EQ(reply.body, "");
        EXPECT_EQ(ask("POST", target + "photos", origin(), smallPicture().bytes).status, 404);
    }
    EXPECT_TRUE(m_guests->snapshot().transfers.empty());
    m_guests->stop();
    EXPECT_EQ(ask("GET", "//").status, 404) << "an empty key is none";
}

TEST_F(GuestTest, UnderAForeignNameAreRefused)
{
    open();
    const std::string port = m_guests->address().substr(m_guests->address().rfind(':'));
    for (const std::string& host :
         {"evil.example" + port, std::string("evil.example"), std::string("127.0.0.1"), std::string("127.0.0.1:1"),
          "127.0.0.2" + port, "localhost" + port, "127.0.0.1.evil.example" + port})
        EXPECT_EQ(ask("GET", m_path, "Host: " + host + "\r\n").status, 403) << host;
    EXPECT_EQ(ask("GET", m_path, "Host: 127.0.0.1" + port + "\r\n").status, 200);
}

TEST_F(GuestTest, FromForeignPagesAreRefused)
{
    open();
    const std::string body = smallPicture().bytes;
    for (const std::string& headers :
         {std::string(), std::string("Origin: null\r\n"), std::string("Origin: http://evil.example\r\n"),
          "Origin: https://" + m_guests->address() + "\r\n", "Origin: http://" + m_guests->address() + ".evil.example\r\n",
          origin() + "Sec-Fetch-Site: cross-site\r\n", origin() + "Sec-Fetch-Site: same-site\r\n"})
        EXPECT_EQ(ask("POST", m_path + "photos", headers, body).status, 403) << headers;
    EXPECT_EQ(m_uploads.count(), 0U);
    EXPECT_EQ(ask("POST", m_path + "photos", origin() + "Sec-Fetch-Site: same-origin\r\n", body).status, 201);
}

TEST_F(GuestTest, WithFilesThatAreNoPhotosAreRefused)
{
    open();
    const unsigned left = m_guests->snapshot().leftCount;
    for (const std::string& bytes :
         {std::string("<html>"), std::string("\xFF\xD8\xFF"), std::string(1000, 'x'), std::string("GIF89a"),
          pngHead(60'000, 60'000, 8, 2), makePicture(64, 64, ".heic").bytes.substr(0, 60)}) {
        const HttpReply reply = add(bytes);
        EXPECT_EQ(reply.status, 415) << bytes.size();
        EXPECT_EQ(last().state, State::REFUSED);
    }
    EXPECT_EQ(add("").status, 415);
    EXPECT_EQ(m_uploads.count(), 0U);
    EXPECT_EQ(m_guests->snapshot().leftCount, left);
    EXPECT_TRUE(comesTrue([&] { return files() == 0; }));
}

TEST_F(GuestTest, WithFilesThatAreTooLargeAreRefused)
{
    GuestLimits limits;
    limits.bytesEach = 5000;
    open(limits);
    const std::string large = smallPicture().bytes + std::string(6000, 'x');
    EXPECT_EQ(add(large).status, 413) << "announced";
    // In chunks, nobody knows before.
    HttpConnection telephone(m_guests->address());
    telephone.send("POST " + m_path + "photos HTTP/1.1\r\nHost: " + m_guests->address() + "\r\n" + origin() +
                   "Transfer-Encoding: chunked\r\n\r\n");
    for (std::size_t at = 0; at < large.size(); at += 1000)
        telephone.send("3e8\r\n" + (large + std::string(1000, 'x')).substr(at, 1000) + "\r\n");
    telephone.send("0\r\n\r\n");
    EXPECT_EQ(telephone.receive().status, 413);
    EXPECT_EQ(m_uploads.count(), 0U);
    EXPECT_TRUE(comesTrue([&] { return files() == 0; }));
}

TEST_F(GuestTest, AreAllowedSoManyPhotos)
{
    GuestLimits limits;
    limits.count = 2;
    open(limits);
    EXPECT_EQ(add("no photo").status, 415);
    EXPECT_EQ(add(smallPicture().bytes).status, 201);
    EXPECT_EQ(add(smallPicture().bytes).status, 201);
    const HttpReply third = add(smallPicture().bytes);
    EXPECT_EQ(third.status, 429);
    EXPECT_EQ(third.body, R"({"error":"too_many"})");
    EXPECT_EQ(m_uploads.count(), 2U);
}

TEST_F(GuestTest, AreAllowedSoManyBytes)
{
    const std::string bytes = smallPicture().bytes;
    GuestLimits limits;
    limits.bytes = bytes.size() * 2 + bytes.size() / 2;
    open(limits);
    EXPECT_EQ(add(bytes).status, 201);
    EXPECT_EQ(add(bytes).status, 201);
    EXPECT_EQ(add(bytes).status, 429);
    EXPECT_EQ(m_guests->snapshot().leftBytes, bytes.size() / 2);
}

TEST_F(GuestTest, WhoAreSlowTakeNoMoreThanTheirPlaces)
{
    open();
    std::list<HttpConnection> telephones;
    const auto begin = [&] {
        telephones.emplace_back(m_guests->address());
        telephones.back().send(head("POST", m_path + "photos", origin(), 100'000) + smallPicture().bytes.substr(0, 100));
    };
    for (unsigned i = 0; i < GuestBook::MOST_FROM_ONE; ++i)
        begin();
    ASSERT_TRUE(comesTrue([&] { return m_guests->snapshot().transfers.size() == GuestBook::MOST_FROM_ONE; }));
    const HttpReply busy = add(smallPicture().bytes);
    EXPECT_EQ(busy.status, 429) << "from the same telephone";
    EXPECT_EQ(busy.body, R"({"error":"busy"})") << "which passes, other than a key that is used up";
    EXPECT_NE(busy.header("retry-after"), "");
    // Another one has its own.
    HttpConnection other(m_guests->address(), "127.0.0.2");
    other.send(head("POST", m_path + "photos", origin(), smallPicture().bytes.size()) + smallPicture().bytes);
    EXPECT_EQ(other.receive().status, 201);
    // Who goes away makes room.
    telephones.clear();
    ASSERT_TRUE(comesTrue([&] { return m_guests->snapshot().transfers.front().state == State::FAILED; }));
    EXPECT_TRUE(comesTrue([&] { return add(smallPicture().bytes).status == 201; }));
    EXPECT_TRUE(comesTrue([&] { return files() == 0; }));
}

TEST_F(GuestTest, MakeNoListEndless)
{
    GuestLimits limits;
    limits.count = 1000;
    open(limits);
    for (int i = 0; i < 60; ++i)
        add("no photo");
    EXPECT_LE(m_guests->snapshot().transfers.size(), 25U);
}

TEST_F(GuestTest, WithoutRoomOnTheDiskAreToldSo)
{
    open();
    std::filesystem::remove_all(m_dir.file("guests")); // no file can be made any more
    const HttpReply reply = add(smallPicture().bytes);
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.body, R"({"error":"disk_full"})");
    EXPECT_EQ(last().state, State::FAILED);
}

TEST(GuestAddress, IsOneThatTelephonesFind)
{
    EXPECT_EQ(lanAuthority("192.168.1.5:8080"), "192.168.1.5:8080");
    const std::string all = lanAuthority("0.0.0.0:8080");
    EXPECT_EQ(all.substr(all.rfind(':')), ":8080");
    EXPECT_EQ(all.find("0.0.0.0"), std::string::npos);
    EXPECT_TRUE(isOwnHost(all, "0.0.0.0:8080")) << all;
    EXPECT_TRUE(isOwnHost("127.0.0.1:8080", "0.0.0.0:8080"));
    EXPECT_FALSE(isOwnHost("203.0.113.9:8080", "0.0.0.0:8080")) << "an address, but none of this computer's";
    EXPECT_FALSE(isOwnHost("tv.example:8080", "0.0.0.0:8080"));
    EXPECT_TRUE(isOwnHost("[::1]:8080", "[::1]:8080"));
    for (const char* const listening : {"127.0.0.1:80", "0.0.0.0:80"}) {
        EXPECT_TRUE(isOwnHost("127.0.0.1", listening)) << "a port that browsers leave out";
        EXPECT_TRUE(isOwnHost("127.0.0.1:80", listening));
        EXPECT_FALSE(isOwnHost("127.0.0.1:8080", listening));
    }
    EXPECT_TRUE(isOwnHost("[::1]", "[::1]:80"));
    EXPECT_FALSE(isOwnHost("127.0.0.1", "127.0.0.1:8080"));
    EXPECT_FALSE(isOwnHost("", "0.0.0.0:8080"));
}

} // namespace
