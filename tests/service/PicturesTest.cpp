// SPDX-License-Identifier: MIT
#include "media/Pictures.h"

#include "media/Formats.h"

#include "core/Failure.h"

#include "TestPictures.h"

#include <gtest/gtest.h>

namespace {

using namespace kinloomd;
using namespace kinloomd_test;

constexpr std::int64_t MAX_PIXELS = 10'000'000;

class Pictures : public ::testing::Test {
protected:
    static void SetUpTestSuite() { startPictures(); }

    std::string write(const TestPicture& picture)
    {
        const std::string path = m_folder / "original";
        removeFile(path);
        const UniqueFd file = createPrivateFile(path);
        writeAll(file.get(), picture.bytes, path);
        return path;
    }

    PictureInfo make(const TestPicture& picture, std::int64_t maxPixels = MAX_PIXELS)
    {
        const std::string path = write(picture);
        return makeThumbnails(path, sniffFile(path), {maxPixels, m_giveUp}, m_media, 7);
    }

    Seen thumbnail(std::size_t size) const
    {
        const std::string bytes = readFile(m_media.thumbnailPath(7, THUMBNAIL_SIZES[size]));
        EXPECT_EQ(sniffFormat(bytes), Format::JPEG);
        return lookAt(bytes).value_or(Seen());
    }

    std::function<bool()> m_giveUp;
    TemporaryFolder m_folder;
    MediaStore m_media{DataFolder(m_folder / "data")};
};

struct FitCase {
    int width;
    int height;
    int expected[4][2]; ///< for each size
};

class Fit : public Pictures, public ::testing::WithParamInterface<FitCase> {};

TEST_P(Fit, KeepsProportionsAndNeverEnlarges)
{
    make(makePicture(GetParam().width, GetParam().height));
    for (std::size_t i = 0; i < 4; ++i) {
        const Seen seen = thumbnail(i);
        EXPECT_NEAR(seen.width, GetParam().expected[i][0], 1) << THUMBNAIL_SIZES[i].name;
        EXPECT_NEAR(seen.height, GetParam().expected[i][1], 1) << THUMBNAIL_SIZES[i].name;
        EXPECT_LE(seen.width, THUMBNAIL_SIZES[i].width);
        EXPECT_LE(seen.height, THUMBNAIL_SIZES[i].height);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, Fit,
                         ::testing::Values(FitCase{2400, 1800, {{1440, 1080}, {540, 405}, {272, 204}, {116, 87}}},
                                           FitCase{2000, 500, {{1920, 480}, {540, 135}, {274, 69}, {116, 29}}},
                                           FitCase{500, 2000, {{270, 1080}, {101, 405}, {51, 204}, {22, 87}}},
                                           FitCase{300, 200, {{300, 200}, {300, 200}, {274, 183}, {116, 77}}},
                                           FitCase{1, 1, {{1, 1}, {1, 1}, {1, 1}, {1, 1}}}));

class FormatCase : public Pictures, public ::testing::WithParamInterface<const char*> {};

TEST_P(FormatCase, IsReadAndKeepsItsColours)
{
    const TestPicture picture = makePicture(640, 480, GetParam());
    const PictureInfo info = make(picture);
    EXPECT_EQ(info.format, formatOfMimeType(picture.mimeType));
    EXPECT_EQ(info.width, 640);
    EXPECT_EQ(info.height, 480);
    for (std::size_t i = 0; i < 4; ++i) {
        const Seen seen = thumbnail(i);
        EXPECT_EQ(seen.upperLeft, "red");
        EXPECT_EQ(seen.upperRight, "green");
        EXPECT_EQ(seen.lowerLeft, "blue");
    }
}

INSTANTIATE_TEST_SUITE_P(All, FormatCase, ::testing::Values(".jpg", ".png", ".webp", ".gif"));

class Orientation : public Pictures, public ::testing::WithParamInterface<int> {};

TEST_P(Orientation, IsTakenIntoAccount)
{
    const TestPicture picture = makePicture(800, 400, ".jpg", GetParam());
    const Seen shown = *lookAt(picture.bytes);
    const PictureInfo info = make(picture);
    EXPECT_EQ(info.width, shown.width);
    EXPECT_EQ(info.height, shown.height);
    EXPECT_EQ(info.width, GetParam() >= 5 ? 400 : 800);
    for (std::size_t i = 0; i < 4; ++i) {
        const Seen seen = thumbnail(i);
        EXPECT_EQ(seen.width > seen.height, shown.width > shown.height);
        EXPECT_EQ(seen.upperLeft, shown.upperLeft);
        EXPECT_EQ(seen.upperRight, shown.upperRight);
        EXPECT_EQ(seen.lowerLeft, shown.lowerLeft);
    }
}

INSTANTIATE_TEST_SUITE_P(All, Orientation, ::testing::Range(1, 9));

TEST_F(Pictures, TellWhenTheyWereTaken)
{
    EXPECT_EQ(make(makePicture(64, 48, ".jpg", 1, "2010:05:05 07:04:09")).taken, 1273043049000);
    EXPECT_FALSE(make(makePicture(64, 48)).taken);
    EXPECT_FALSE(make(makePicture(64, 48, ".jpg", 1, "2010:99:99 07:04:09")).taken);
}

TEST_F(Pictures, WithTransparencyLieOnWhite)
{
    // A fully transparent pixel, in a PNG file small enough to be written down.
    const unsigned char png[] = {0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48,
                                 0x44, 0x52, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x06, 0x00, 0x00,
                                 0x00, 0x1F, 0x15, 0xC4, 0x89, 0x00, 0x00, 0x00, 0x0A, 0x49, 0x44, 0x41, 0x54, 0x78,
                                 0x9C, 0x63, 0x00, 0x01, 0x00, 0x00, 0x05, 0x00, 0x01, 0x0D, 0x0A, 0x2D, 0xB4, 0x00,
                                 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82};
    make({{reinterpret_cast<const char*>(png), sizeof png}, "image/png", "a.png"});
    EXPECT_EQ(thumbnail(0).upperLeft, "white");
}

TEST_F(Pictures, ThatAreCutShortAreRefused)
{
    for (const char* suffix : {".jpg", ".png", ".webp", ".gif"}) {
        TestPicture picture = makePicture(640, 480, suffix);
        picture.bytes.resize(picture.bytes.size() / 2);
        EXPECT_THROW(make(picture), ServiceError) << suffix;
    }
}

TEST_F(Pictures, ThatAreNoneAreRefused)
{
    for (const std::string& bytes :
         {std::string("\xFF\xD8\xFF nonsense"), std::string("GIF89a"), std::string("\x89PNG\r\n\x1A\n")}) {
        const std::string path = write({bytes, "", ""});
        EXPECT_THROW(makeThumbnails(path, sniffFile(path), {MAX_PIXELS, {}}, m_media, 7), ServiceError);
    }
}

TEST_F(Pictures, WithTooManyPixelsAreRefusedBeforeTheyAreRead)
{
    EXPECT_THROW(make(makePicture(101, 100), 10'000), ServiceError);
    EXPECT_NO_THROW(make(makePicture(100, 100), 10'000));
}

TEST_F(Pictures, AreGivenUpWhenThatIsAskedFor)
{
    m_giveUp = [] { return true; };
    try {
        make(makePicture(3000, 2000, ".png"));
        FAIL() << "was read to its end";
    } catch (const ServiceError& error) {
        EXPECT_EQ(error.failure(), Failure::UNAVAILABLE);
    }
    EXPECT_FALSE(openForReading(m_media.thumbnailPath(7, THUMBNAIL_SIZES[0])));
}

TEST_F(Pictures, OfPeopleAreSquare)
{
    const Seen seen = *lookAt(makePersonImage(write(makePicture(800, 400)), {MAX_PIXELS, {}}));
    EXPECT_EQ(seen.width, 72);
    EXPECT_EQ(seen.height, 72);
    EXPECT_THROW(makePersonImage(write({"no picture", "", ""}), {MAX_PIXELS, {}}), ServiceError);
}

TEST(Formats, AreKnownByTheirFirstBytes)
{
    EXPECT_EQ(sniffFormat("\xFF\xD8\xFF\xE0"), Format::JPEG);
    EXPECT_EQ(sniffFormat("\x89PNG\r\n\x1A\n"), Format::PNG);
    EXPECT_EQ(sniffFormat("GIF87a"), Format::GIF);
    EXPECT_EQ(sniffFormat("RIFF1234WEBP"), Format::WEBP);
    for (const char* bytes : {"", "GIF", "RIFF1234WAVE", "RIFF", "<svg>", "%PDF-1.4", "BM"})
        EXPECT_EQ(sniffFormat(bytes), Format::NONE) << bytes;
}

TEST(Formats, AreKnownByTheirMimeTypes)
{
    EXPECT_EQ(formatOfMimeType("image/jpeg"), Format::JPEG);
    EXPECT_EQ(formatOfMimeType("IMAGE/JPG; q=1"), Format::JPEG);
    EXPECT_EQ(formatOfMimeType("image/webp"), Format::WEBP);
    for (const char* type : {"", "image", "image/svg+xml", "video/mp4", "application/octet-stream", "image/jpegx"})
        EXPECT_EQ(formatOfMimeType(type), Format::NONE) << type;
}

TEST(Formats, GiveNamesAFittingExtension)
{
    EXPECT_EQ(nameWithExtension("a.JPG", Format::JPEG), "a.JPG");
    EXPECT_EQ(nameWithExtension("a.jpeg", Format::JPEG), "a.jpeg");
    EXPECT_EQ(nameWithExtension("a.png", Format::JPEG), "a.png.jpg");
    EXPECT_EQ(nameWithExtension("photo", Format::GIF), "photo.gif");
}

} // namespace
