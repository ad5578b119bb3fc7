// SPDX-License-Identifier: MIT
// One picture, from the service to whoever asks.
#include "MediaFixture.h"

#include "HostilePictures.h"
#include "pictures/Confinement.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <list>
#include <stdexcept>

namespace {

using namespace kinloomd_test;
using namespace tv_test;
using test::RawReply;
using Answer = PictureSource::Answer;

TEST_F(MediaTest, ComesFromTheServiceAndThenFromTheCache)
{
    const TestPicture picture = makePicture(540, 405);
    serve("/7/grid", picture.bytes);
    Asker first(pictures(), "7");
    EXPECT_EQ(first.result(), PictureResult::READY);
    EXPECT_EQ(first.bytes(), picture.bytes);
    EXPECT_EQ(first.picture().type, "image/jpeg");
    Asker second(pictures(), "7");
    EXPECT_EQ(second.ticket(), 0U) << "at once";
    EXPECT_EQ(second.bytes(), picture.bytes);
    EXPECT_EQ(second.picture().tag, first.picture().tag);
    EXPECT_EQ(m_server.requestCount(), 1U);

    restart();
    Asker third(pictures(), "7");
    EXPECT_EQ(third.bytes(), picture.bytes);
    EXPECT_EQ(third.picture().tag, first.picture().tag);
    EXPECT_EQ(m_server.requestCount(), 1U);
}

TEST_F(MediaTest, SizesAreFilesOfTheirOwn)
{
    serve("/7/grid", makePicture(540, 405).bytes);
    serve("/7/screen", makePicture(1440, 1080).bytes);
    EXPECT_EQ(lookAt(Asker(pictures(), "7", PictureSize::SCREEN).bytes())->width, 1440);
    EXPECT_EQ(lookAt(Asker(pictures(), "7", PictureSize::GRID).bytes())->width, 540);
    EXPECT_EQ(pictures().status().pictures, 2U);
}

TEST_F(MediaTest, ComesOnceForAllWhoAsk)
{
    const TestPicture picture = makePicture(540, 405);
    m_server.reply(RawReply().hold().send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(picture.bytes.size()) +
                                          "\r\n\r\n" + picture.bytes));
    std::list<Asker> askers;
    for (int i = 0; i < 10; ++i)
        askers.emplace_back(pictures(), "7");
    ASSERT_TRUE(m_server.waitForWaiting(1));
    askers.emplace_back(pictures(), "7");
    m_server.release();
    for (Asker& asker : askers)
        EXPECT_EQ(asker.bytes(), picture.bytes);
    EXPECT_EQ(m_server.requestCount(), 1U);
}

TEST_F(MediaTest, IsCancelledWhenNobodyWaitsAnyMore)
{
    m_server.reply(RawReply().hold());
    Asker first(pictures(), "7");
    Asker second(pictures(), "7");
    ASSERT_TRUE(m_server.waitForWaiting(1));
    pictures().cancel(first.ticket());
    EXPECT_EQ(m_server.closedCount(), 0U) << "one still waits";
    pictures().cancel(second.ticket());
    EXPECT_TRUE(m_server.waitForClosed(1));
    EXPECT_FALSE(first.answered());
    EXPECT_FALSE(second.answered());

    serve("/7/grid", smallPicture().bytes);
    EXPECT_EQ(Asker(pictures(), "7").result(), PictureResult::READY) << "asked again, it comes";
}

TEST_F(MediaTest, IsAskedForAnewWhenItsAddressIsRefused)
{
    m_source.say("7", Answer::KNOWN, {m_server.url("/old/grid"), "", ""});
    m_source.sayAnew("7", Answer::KNOWN, {m_server.url("/new/grid"), "", ""});
    serve("/new/grid", smallPicture().bytes);
    for (const int code : {401, 403, 404, 410}) {
        m_server.reply(RawReply::status(code));
        Asker asker(pictures(), "7");
        EXPECT_EQ(asker.result(), PictureResult::READY) << code;
        pictures().drop("7");
    }
    EXPECT_EQ(m_source.asked(false), 4U);
    EXPECT_EQ(m_source.asked(true), 4U);
}

TEST_F(MediaTest, IsGoneWhenTheServiceSaysSo)
{
    serve("/7/screen", smallPicture().bytes);
    ASSERT_EQ(Asker(pictures(), "7", PictureSize::SCREEN).result(), PictureResult::READY);
    m_source.say("7", Answer::GONE);
    EXPECT_EQ(Asker(pictures(), "7").result(), PictureResult::GONE);
    EXPECT_EQ(Asker(pictures(), "7", PictureSize::SCREEN).result(), PictureResult::GONE) << "out of the cache too";
    // Known when its address is refused.
    m_source.say("8", Answer::KNOWN, m_source.usual("8"));
    m_source.sayAnew("8", Answer::GONE);
    EXPECT_EQ(Asker(pictures(), "8").result(), PictureResult::GONE);
}

TEST_F(MediaTest, IsBrokenWhenTheServiceHasNoFileForIt)
{
    EXPECT_EQ(Asker(pictures(), "7").result(), PictureResult::BROKEN) << "404, and 404 again";
    EXPECT_EQ(m_server.requestCount(), 2U);
    EXPECT_EQ(Asker(pictures(), "7").result(), PictureResult::BROKEN);
    EXPECT_EQ(m_server.requestCount(), 2U) << "not asked again at once";
    m_source.say("8", Answer::KNOWN, {});
    EXPECT_EQ(Asker(pictures(), "8").result(), PictureResult::BROKEN) << "a record without any address";
}

TEST_F(MediaTest, WithoutAThumbnailIsMadeOfTheOriginal)
{
    m_source.say("7", Answer::KNOWN, {"", "", m_server.url("/7/original")});
    serve("/7/original", makePicture(2000, 1000, ".png").bytes);
    const auto grid = lookAt(Asker(pictures(), "7").bytes());
    ASSERT_TRUE(grid);
    EXPECT_EQ(grid->width, 540);
    EXPECT_EQ(grid->height, 270);
}

class FullSize : public MediaTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(FullSize, IsMadeOfOriginalsOfEachFormat)
{
    serve("/7/original", makePicture(1200, 800, GetParam()).bytes);
    Asker asker(pictures(), "7", PictureSize::FULL, {600, 600});
    ASSERT_EQ(asker.result(), PictureResult::READY);
    EXPECT_EQ(asker.picture().type, "image/jpeg");
    const auto seen = lookAt(asker.bytes());
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->width, 600);
    EXPECT_EQ(seen->height, 400);
    EXPECT_EQ(seen->upperLeft, "red");
    EXPECT_EQ(seen->upperRight, "green");
    EXPECT_EQ(seen->lowerLeft, "blue");
}

INSTANTIATE_TEST_SUITE_P(All, FullSize, ::testing::Values(".jpg", ".png", ".webp", ".gif", ".heic"));

TEST_F(MediaTest, FullSizeIsUprightAndNeverLargerThanTheOriginalOrThePanel)
{
    serve("/7/original", makePicture(800, 400, ".jpg", 6).bytes);
    const auto seen = lookAt(Asker(pictures(), "7", PictureSize::FULL).bytes());
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->width, 400);
    EXPECT_EQ(seen->height, 800);
    // However much a page asks for.
    serve("/8/original", makePicture(5000, 1000).bytes);
    const auto large = lookAt(Asker(pictures(), "8", PictureSize::FULL, {60'000, 60'000}).bytes());
    ASSERT_TRUE(large);
    EXPECT_EQ(large->width, 3840);
    EXPECT_EQ(pictures().status().pictures, 2U);
    for (const auto& entry : std::filesystem::directory_iterator(m_dir.file("cache/tmp")))
        ADD_FAILURE() << entry << " was left";
}

struct HostileFile {
    const char* name;
    std::string bytes;
    bool bounded = false; ///< only the bounds of its process tell
};

std::vector<HostileFile> hostileFiles()
{
    const std::string jpeg = makePicture(540, 405).bytes;
    return {{"nothing", ""},
            {"text", "<html><script>alert(1)</script></html>"},
            {"only a mark", "\xFF\xD8\xFF"},
            {"a drawing", "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>"},
            {"half a picture", jpeg.substr(0, jpeg.size() / 2)},
            {"a cut one", cutPicture(".png").bytes},
            {"a header of enormous sizes", pngHead(200'000, 200'000, 8, 2) + pngChunk("IEND", "")},
            {"more pixels than there may be", pngHead(20'000, 20'000, 8, 0) + pngChunk("IDAT", "x") + pngChunk("IEND", "")},
            {"memory beyond bounds", lacedPicture().bytes, true},
            {"nonsense behind a header", std::string("RIFF\x10\0\0\0WEBPVP8 ", 16) + std::string(100, 'x')}};
}

TEST_F(MediaTest, SaysThatTheProgramThatDecodesIsMissing)
{
    tv::PictureSettings lacking = settings();
    lacking.folder = m_dir.file("another");
    lacking.program.clear(); // and beside this test there is none
    EXPECT_THAT([&] { const tv::Pictures pictures(lacking, m_source); },
                testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("kinloom-pictures, which decodes photos")));
}

TEST_F(MediaTest, HostileFilesAreBrokenWhereverTheyStand)
{
    for (const HostileFile& file : hostileFiles()) {
        // Processes that a sanitizer watches have no bounds.
        if (file.bounded && pictures::SANITIZED)
            continue;
        for (const auto size : {PictureSize::GRID, PictureSize::SCREEN, PictureSize::FULL}) {
            pictures().clear();
            for (const char* const end : {"/grid", "/screen", "/original"})
                serve(end, file.bytes);
            EXPECT_EQ(Asker(pictures(), "7", size).result(), PictureResult::BROKEN) << file.name << static_cast<int>(size);
            EXPECT_EQ(pictures().status().pictures, 0U) << file.name;
        }
    }
    // And the next one is fine.
    pictures().clear();
    serve("/original", smallPicture().bytes);
    EXPECT_EQ(Asker(pictures(), "8", PictureSize::FULL).result(), PictureResult::READY);
}

TEST_F(MediaTest, ThumbnailsThatAreNoneForABrowserAreMadeAnew)
{
    serve("/7/grid", makePicture(3000, 1500).bytes);
    serve("/8/grid", makePicture(540, 405, ".heic").bytes);
    const auto large = lookAt(Asker(pictures(), "7").bytes());
    ASSERT_TRUE(large);
    EXPECT_EQ(large->width, 540);
    Asker strange(pictures(), "8");
    ASSERT_EQ(strange.result(), PictureResult::READY);
    EXPECT_EQ(strange.picture().type, "image/jpeg");
}

TEST_F(MediaTest, ThatIsDroppedMeanwhileIsGoneAndNotKept)
{
    const TestPicture picture = makePicture(540, 405);
    m_server.reply(RawReply().hold());
    Asker asker(pictures(), "7");
    ASSERT_TRUE(m_server.waitForWaiting(1));
    pictures().drop("7");
    EXPECT_EQ(asker.result(), PictureResult::GONE);
    EXPECT_TRUE(m_server.waitForClosed(1));
    EXPECT_EQ(pictures().status().pictures, 0U);
}

TEST_F(MediaTest, OfSomebodyElseIsGoneAtOnce)
{
    serve("/7/grid", smallPicture().bytes);
    ASSERT_EQ(Asker(pictures(), "7").result(), PictureResult::READY);
    m_server.reply(RawReply().hold());
    Asker asker(pictures(), "8");
    ASSERT_TRUE(m_server.waitForWaiting(1));
    pictures().clear();
    EXPECT_EQ(asker.result(), PictureResult::GONE);
    EXPECT_EQ(pictures().status().pictures, 0U);
    EXPECT_EQ(pictures().status().bytes, 0U);
    m_source.say("7", Answer::AWAY);
    EXPECT_EQ(Asker(pictures(), "7").result(), PictureResult::AWAY) << "nothing of it is left";
}

TEST_F(MediaTest, TellsThoseWhoWaitWhenItEnds)
{
    m_server.reply(RawReply().hold());
    Asker asker(pictures(), "7");
    ASSERT_TRUE(m_server.waitForWaiting(1));
    m_pictures.reset();
    EXPECT_EQ(asker.result(), PictureResult::AWAY);
    EXPECT_EQ(asker.answers(), 1U);
}

TEST_F(MediaTest, MayEndBeforeItsSourceAnswers)
{
    m_source.hold();
    Asker asker(pictures(), "7");
    ASSERT_TRUE(test::comesTrue([&] { return m_source.asked(false) == 1; }));
    m_pictures.reset();
    m_source.release();
    EXPECT_EQ(asker.result(), PictureResult::AWAY);
    EXPECT_EQ(asker.answers(), 1U);
}

TEST_F(MediaTest, GoesOnWithoutTheDisk)
{
    serve("/grid", makePicture(540, 405).bytes);
    serve("/7/original", makePicture(1200, 800).bytes);
    // Where files are begun there is no folder any more: nothing can be written.
    std::filesystem::remove_all(m_dir.file("cache/tmp"));
    for (const char* const content : {"7", "8", "7"})
        EXPECT_EQ(Asker(pictures(), content).result(), PictureResult::READY);
    EXPECT_EQ(requestsFor("/7/grid"), 2U) << "nothing was kept";
    EXPECT_EQ(lookAt(Asker(pictures(), "7", PictureSize::FULL, {600, 600}).bytes())->width, 600);
    EXPECT_TRUE(pictures().status().diskFull);
    std::filesystem::create_directory(m_dir.file("cache/tmp"));
    EXPECT_EQ(Asker(pictures(), "8").result(), PictureResult::READY);
    EXPECT_EQ(pictures().status().pictures, 1U);
    EXPECT_FALSE(pictures().status().diskFull);
}

TEST_F(MediaTest, ACorruptedFileIsFetchedAgain)
{
    serve("/7/grid", smallPicture().bytes);
    ASSERT_EQ(Asker(pictures(), "7").result(), PictureResult::READY);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_dir.file("cache/pictures"))) {
        if (!entry.is_regular_file())
            continue;
        std::string bytes = test::readFile(entry.path());
        bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
        test::writeFile(entry.path(), bytes);
    }
    EXPECT_EQ(Asker(pictures(), "7").bytes(), smallPicture().bytes);
    EXPECT_EQ(m_server.requestCount(), 2U);
}

} // namespace
