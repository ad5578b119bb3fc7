// SPDX-License-Identifier: MIT
#include "GuestFixture.h"

#include "tv/guests/GuestBook.h"

namespace {

using namespace kinloomd_test;
using namespace tv_test;
using State = GuestTransfer::State;
using test::comesTrue;

TEST_F(GuestTest, AddTheirPhotosToTheGroup)
{
    const GuestSnapshot before = open();
    EXPECT_TRUE(before.open);
    EXPECT_EQ(before.group, "77");
    const TestPicture picture = makePicture(640, 480);
    const HttpReply reply = add(picture.bytes, "At%20the%20lake.jpg");
    EXPECT_EQ(reply.status, 201) << reply.body;
    ASSERT_EQ(m_uploads.count(), 1U);
    EXPECT_EQ(m_uploads.sent(0).photo.group, "77");
    EXPECT_EQ(m_uploads.sent(0).photo.mimeType, "image/jpeg");
    EXPECT_EQ(m_uploads.sent(0).bytes, picture.bytes);
    EXPECT_EQ(reply.body, "{\"id\":\"" + m_uploads.sent(0).photo.id + "\"}");
    const GuestSnapshot after = m_guests->snapshot();
    EXPECT_EQ(after.leftCount, before.leftCount - 1);
    EXPECT_EQ(after.leftBytes, before.leftBytes - picture.bytes.size());
    ASSERT_EQ(after.transfers.size(), 1U);
    EXPECT_EQ(after.transfers[0].name, "At the lake.jpg");
    EXPECT_EQ(after.transfers[0].state, State::DONE);
    EXPECT_EQ(after.transfers[0].size, picture.bytes.size());
    EXPECT_EQ(after.transfers[0].sent, picture.bytes.size());
    EXPECT_TRUE(comesTrue([&] { return files() == 0; })) << "nothing of it stays";
    EXPECT_TRUE(comesTrue([&] { return m_changes > 0; }));
}

class GuestFormats : public GuestTest, public ::testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(GuestFormats, AreThoseOfTelephones)
{
    open();
    EXPECT_EQ(add(makePicture(64, 48, GetParam().first).bytes).status, 201);
    EXPECT_EQ(m_uploads.sent(0).photo.mimeType, GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(All, GuestFormats,
                         ::testing::Values(std::pair{".jpg", "image/jpeg"}, std::pair{".png", "image/png"},
                                           std::pair{".webp", "image/webp"}, std::pair{".gif", "image/gif"},
                                           std::pair{".heic", "image/heic"}));

TEST_F(GuestTest, GetTheirPageAndNothingElse)
{
    open();
    const HttpReply page = ask("GET", m_path);
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.body, "<title>Add photos</title>");
    EXPECT_NE(page.header("content-security-policy").find("default-src 'none'"), std::string::npos);
    EXPECT_EQ(page.header("x-content-type-options"), "nosniff");
    EXPECT_EQ(page.header("referrer-policy"), "same-origin");
    const HttpReply without = ask("GET", m_path.substr(0, m_path.size() - 1));
    EXPECT_EQ(without.status, 303);
    EXPECT_EQ(without.header("location"), m_path);
    EXPECT_EQ(ask("GET", m_path + "assets/guest.js").body, "'use strict'");
    for (const std::string& target :
         {std::string("/"), std::string("/index.html"), std::string("/assets/guest.js"), std::string("/state"), m_path + "other",
          m_path + "photos", m_path + "../web/guest/index.html", m_path + "%2e%2e/"})
        EXPECT_EQ(ask("GET", target).status, 404) << target;
    EXPECT_EQ(ask("POST", m_path, origin()).status, 405);
    EXPECT_EQ(ask("POST", m_path + "state", origin()).status, 405);
}

TEST_F(GuestTest, AreToldWhatIsLeft)
{
    GuestLimits limits;
    limits.count = 3;
    limits.bytes = 1'000'000;
    limits.bytesEach = 400'000;
    limits.life = std::chrono::seconds(100);
    open(limits);
    const std::string body = ask("GET", m_path + "state").body;
    const std::string begin = R"({"expires_in":)";
    const std::string rest = R"(,"group":"Summer <b>","left":{"bytes":1000000,"count":3},"limits":{"bytes_each":400000}})";
    ASSERT_GT(body.size(), begin.size() + rest.size()) << body;
    EXPECT_EQ(body.substr(0, begin.size()), begin);
    EXPECT_EQ(body.substr(body.size() - rest.size()), rest);
    const int left = std::stoi(body.substr(begin.size()));
    EXPECT_LE(left, 100);
    EXPECT_GT(left, 0);
}

TEST_F(GuestTest, HaveAKeyThatEndsWithTheShow)
{
    const std::string first = open().url;
    const std::string path = m_path;
    EXPECT_NE(open().url, first) << "another show, another key";
    EXPECT_EQ(ask("GET", path).status, 404);
    EXPECT_EQ(ask("GET", m_path).status, 200);
    EXPECT_GE(m_path.size(), 24U);
    m_guests->stop();
    EXPECT_EQ(ask("GET", m_path).status, 404);
    EXPECT_EQ(add(smallPicture().bytes).status, 404);
    const GuestSnapshot after = m_guests->snapshot();
    EXPECT_FALSE(after.open);
    EXPECT_EQ(after.url, "");
    EXPECT_EQ(m_uploads.count(), 0U);
}

TEST_F(GuestTest, HaveAKeyThatEndsInTime)
{
    GuestLimits limits;
    limits.life = std::chrono::seconds(0);
    EXPECT_FALSE(m_guests->start("77", "Summer", limits).open);
    limits.life = std::chrono::seconds(4);
    open(limits);
    m_changes = 0;
    EXPECT_TRUE(m_guests->snapshot().open);
    EXPECT_TRUE(comesTrue([&] { return !m_guests->snapshot().open; }));
    EXPECT_EQ(ask("GET", m_path).status, 404);
    EXPECT_TRUE(comesTrue([&] { return m_changes > 0; })) << "whoever follows is told";
}

TEST_F(GuestTest, ShowHowFarTheirPhotosAre)
{
    open();
    m_uploads.hold();
    const TestPicture picture = makePicture(640, 480);
    HttpConnection telephone(m_guests->address());
    telephone.send(head("POST", m_path + "photos?name=a.jpg", origin(), picture.bytes.size()) + picture.bytes.substr(0, 1000));
    ASSERT_TRUE(comesTrue([&] { return !m_guests->snapshot().transfers.empty() && last().sent == 1000; }));
    EXPECT_EQ(last().state, State::ARRIVING);
    EXPECT_EQ(last().size, picture.bytes.size());
    telephone.send(picture.bytes.substr(1000));
    ASSERT_TRUE(m_uploads.waitFor(1));
    EXPECT_EQ(last().state, State::SENDING);
    m_uploads.sent(0).progress(500, 2000);
    EXPECT_EQ(last().sent, 500U);
    EXPECT_EQ(last().size, 2000U);
    m_uploads.end(0, GuestResult::DONE);
    EXPECT_EQ(telephone.receive().status, 201);
    EXPECT_EQ(last().state, State::DONE);
}

TEST_F(GuestTest, HearWhenTheServiceDoesNotTakeAPhoto)
{
    open();
    const unsigned left = m_guests->snapshot().leftCount;
    m_uploads.answer(GuestResult::REFUSED);
    const HttpReply refused = add(smallPicture().bytes);
    EXPECT_EQ(refused.status, 415);
    EXPECT_EQ(refused.body, R"({"error":"bad_file"})");
    m_uploads.answer(GuestResult::AWAY);
    const HttpReply away = add(smallPicture().bytes);
    EXPECT_EQ(away.status, 503);
    EXPECT_EQ(away.body, R"({"error":"away"})");
    EXPECT_NE(away.header("retry-after"), "");
    EXPECT_EQ(last().state, State::FAILED);
    EXPECT_EQ(m_guests->snapshot().leftCount, left) << "neither counts";
    EXPECT_TRUE(comesTrue([&] { return files() == 0; }));
}

TEST_F(GuestTest, WhoGoAwayDoNotKeepTheirPhotoFromGettingThere)
{
    open();
    m_uploads.hold();
    {
        HttpConnection telephone(m_guests->address());
        telephone.send(head("POST", m_path + "photos", origin(), smallPicture().bytes.size()) + smallPicture().bytes);
        ASSERT_TRUE(m_uploads.waitFor(1));
    }
    EXPECT_FALSE(m_uploads.sent(0).cancelled);
    EXPECT_EQ(files(), 1U);
    m_uploads.end(0, GuestResult::DONE);
    EXPECT_EQ(last().state, State::DONE);
    EXPECT_TRUE(comesTrue([&] { return files() == 0; }));
}

TEST_F(GuestTest, AreCutOffWhenTheShowEnds)
{
    open();
    m_uploads.hold();
    HttpConnection sending(m_guests->address());
    sending.send(head("POST", m_path + "photos", origin(), smallPicture().bytes.size()) + smallPicture().bytes);
    HttpConnection arriving(m_guests->address());
    arriving.send(head("POST", m_path + "photos", origin(), smallPicture().bytes.size()) + smallPicture().bytes.substr(0, 100));
    ASSERT_TRUE(m_uploads.waitFor(1));
    ASSERT_TRUE(comesTrue([&] { return m_guests->snapshot().transfers.size() == 2; }));
    m_guests->stop();
    EXPECT_TRUE(m_uploads.sent(0).cancelled);
    EXPECT_EQ(sending.receive().status, 503);
    arriving.send(smallPicture().bytes.substr(100));
    EXPECT_EQ(arriving.receive().status, 410);
    EXPECT_EQ(m_uploads.count(), 1U);
    EXPECT_TRUE(comesTrue([&] { return files() == 0; }));
}

TEST_F(GuestTest, EndWithTheirObject)
{
    open();
    m_uploads.hold();
    HttpConnection telephone(m_guests->address());
    telephone.send(head("POST", m_path + "photos", origin(), smallPicture().bytes.size()) + smallPicture().bytes);
    ASSERT_TRUE(m_uploads.waitFor(1));
    m_guests.reset();
    EXPECT_TRUE(m_uploads.sent(0).cancelled);
    EXPECT_TRUE(comesTrue([&] { return files() == 0; }));
}

TEST_F(GuestTest, LeaveNothingOfAnEarlierStart)
{
    m_guests.reset();
    test::writeFile(m_dir.file("guests/3"), "half a photo");
    m_guests = std::make_unique<Guests>(GuestSettings{"127.0.0.1:0", "", m_dir.file("guests")}, m_uploads, [] {});
    EXPECT_EQ(files(), 0U);
    EXPECT_EQ(std::filesystem::status(m_dir.file("guests")).permissions(), std::filesystem::perms::owner_all);
    EXPECT_THROW(Guests(GuestSettings{m_guests->address(), "", m_dir.file("others")}, m_uploads, [] {}), std::runtime_error);
}

TEST(GuestNames, AreShownAsOneShortLine)
{
    EXPECT_EQ(shownName("a%20b+c.jpg"), "a b c.jpg");
    EXPECT_EQ(shownName("S%C3%A9e.jpg"), "S\xC3\xA9"
                                         "e.jpg");
    EXPECT_EQ(shownName("a%0D%0Ab%00c%1B[1m%7F"), "abc[1m");
    EXPECT_EQ(shownName("%C2%85x"), "x") << "a control of two bytes";
    EXPECT_EQ(shownName("%FF%C3%C3"), "???");
    EXPECT_EQ(shownName("%E2%82"), "??") << "cut";
    EXPECT_EQ(shownName("100%"), "100%");
    EXPECT_EQ(shownName("%zz%4"), "%zz%4");
    EXPECT_EQ(shownName(std::string(500, 'x')).size(), 80U);
    std::string snow;
    for (int i = 0; i < 100; ++i)
        snow += "%E2%98%83";
    EXPECT_EQ(shownName(snow).size(), 78U) << "whole characters";
}

TEST(GuestStates, HaveNames)
{
    EXPECT_STREQ(nameOf(State::ARRIVING), "arriving");
    EXPECT_STREQ(nameOf(State::SENDING), "sending");
    EXPECT_STREQ(nameOf(State::DONE), "done");
    EXPECT_STREQ(nameOf(State::REFUSED), "refused");
    EXPECT_STREQ(nameOf(State::FAILED), "failed");
}

} // namespace
