// SPDX-License-Identifier: MIT
#include "pictures/Decoding.h"

#include "common/Files.h"
#include "pictures/Formats.h"

#include "HostilePictures.h"
#include "TestPictures.h"

#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <system_error>

namespace {

using namespace common;
using namespace pictures;
using namespace kinloomd_test;

constexpr std::int64_t MAX_PIXELS = 10'000'000;
constexpr std::array<Box, MOST_OUTPUTS> BOXES = {{{1920, 1080}, {540, 405}, {274, 204}, {116, 87}}};

class Pictures : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        // Once in a process.
        static const bool started = (startDecoding(), true);
        EXPECT_TRUE(started);
    }

    /// The bytes in a file without a name.
    static UniqueFd fileOf(const std::string& bytes)
    {
        UniqueFd file(::memfd_create("picture", MFD_CLOEXEC));
        writeAll(file.get(), bytes, "picture");
        return file;
    }
    static std::string bytesOf(const UniqueFd& file)
    {
        std::string bytes(static_cast<std::size_t>(sizeOf(file.get(), "picture")), '\0');
        EXPECT_EQ(::pread(file.get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        return bytes;
    }

    void make(const TestPicture& picture, std::int64_t maxPixels = MAX_PIXELS)
    {
        m_outputs.clear();
        std::vector<int> outputs;
        for (std::size_t i = 0; i < BOXES.size(); ++i) {
            m_outputs.push_back(fileOf({}));
            outputs.push_back(m_outputs.back().get());
        }
        fitIntoBoxes(fileOf(picture.bytes).get(), maxPixels, BOXES, outputs);
    }

    Seen thumbnail(std::size_t size) const
    {
        const std::string bytes = bytesOf(m_outputs.at(size));
        EXPECT_EQ(sniffFormat(bytes), Format::JPEG);
        return lookAt(bytes).value_or(Seen());
    }

    std::vector<UniqueFd> m_outputs;
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
        EXPECT_NEAR(seen.width, GetParam().expected[i][0], 1) << i;
        EXPECT_NEAR(seen.height, GetParam().expected[i][1], 1) << i;
        EXPECT_LE(seen.width, BOXES[i].width);
        EXPECT_LE(seen.height, BOXES[i].height);
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
    make(makePicture(640, 480, GetParam()));
    for (std::size_t i = 0; i < 4; ++i) {
        const Seen seen = thumbnail(i);
        EXPECT_EQ(seen.upperLeft, "red");
        EXPECT_EQ(seen.upperRight, "green");
        EXPECT_EQ(seen.lowerLeft, "blue");
    }
}

INSTANTIATE_TEST_SUITE_P(All, FormatCase, ::testing::Values(".jpg", ".png", ".webp", ".gif", ".heic"));

class Orientation : public Pictures, public ::testing::WithParamInterface<int> {};

TEST_P(Orientation, IsTakenIntoAccount)
{
    const TestPicture picture = makePicture(800, 400, ".jpg", GetParam());
    const Seen shown = *lookAt(picture.bytes);
    make(picture);
    for (std::size_t i = 0; i < 4; ++i) {
        const Seen seen = thumbnail(i);
        EXPECT_EQ(seen.width > seen.height, shown.width > shown.height);
        EXPECT_EQ(seen.upperLeft, shown.upperLeft);
        EXPECT_EQ(seen.upperRight, shown.upperRight);
        EXPECT_EQ(seen.lowerLeft, shown.lowerLeft);
    }
}

INSTANTIATE_TEST_SUITE_P(All, Orientation, ::testing::Range(1, 9));

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
    for (const char* suffix : {".jpg", ".png", ".webp", ".gif"})
        EXPECT_THROW(make(cutPicture(suffix)), UndecodablePicture) << suffix;
}

TEST_F(Pictures, ThatAreNoneAreRefused)
{
    for (const std::string& bytes :
         {std::string("\xFF\xD8\xFF nonsense"), std::string("GIF89a"), std::string("\x89PNG\r\n\x1A\n"),
          std::string("<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>"), std::string("P5 1 1 255\n\0", 12)})
        EXPECT_THROW(make({bytes, "", ""}), UndecodablePicture) << bytes;
}

TEST_F(Pictures, WithTooManyPixelsAreRefused)
{
    EXPECT_THROW(make(makePicture(101, 100), 10'000), UndecodablePicture);
    EXPECT_NO_THROW(make(makePicture(100, 100), 10'000));
}

TEST_F(Pictures, ThatCannotBeWrittenAreNoFaultOfTheFile)
{
    const UniqueFd full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    const std::vector<int> outputs(BOXES.size(), full.get());
    EXPECT_THROW(fitIntoBoxes(fileOf(smallPicture().bytes).get(), MAX_PIXELS, BOXES, outputs), std::system_error);
}

TEST_F(Pictures, OfPeopleAreSquare)
{
    const UniqueFd output = fileOf({});
    fillBox(fileOf(makePicture(800, 400).bytes).get(), MAX_PIXELS, {72, 72}, output.get());
    const Seen seen = *lookAt(bytesOf(output));
    EXPECT_EQ(seen.width, 72);
    EXPECT_EQ(seen.height, 72);
    EXPECT_THROW(fillBox(fileOf("no picture").get(), MAX_PIXELS, {72, 72}, output.get()), UndecodablePicture);
}

TEST(Formats, AreKnownByTheirFirstBytes)
{
    EXPECT_EQ(sniffFormat("\xFF\xD8\xFF\xE0"), Format::JPEG);
    EXPECT_EQ(sniffFormat("\x89PNG\r\n\x1A\n"), Format::PNG);
    EXPECT_EQ(sniffFormat("GIF87a"), Format::GIF);
    EXPECT_EQ(sniffFormat("RIFF1234WEBP"), Format::WEBP);
    using namespace std::string_view_literals;
    for (const std::string_view bytes : {"\0\0\0\x18"
                                         "ftypheic\0\0\0\0mif1heic"sv,
                                         "\0\0\0\x14"
                                         "ftypheix\0\0\0\0heix"sv,
                                         "\0\0\0\x1C"
                                         "ftypmif1\0\0\0\0mif1miafheic"sv,
                                         "\0\0\0\x18"
                                         "ftypmsf1\0\0\0\0msf1hevc"sv})
        EXPECT_EQ(sniffFormat(bytes), Format::HEIC) << bytes;
    for (const std::string_view bytes : {"\0\0\0\x18"
                                         "ftypavif\0\0\0\0mif1heic"sv,
                                         "\0\0\0\x18"
                                         "ftypmif1\0\0\0\0mif1avif"sv,
                                         "\0\0\0\x18"
                                         "ftypmp42\0\0\0\0heicheic"sv,
                                         "\0\0\0\x14"
                                         "ftypmif1\0\0\0\0mif1heic"sv})
        EXPECT_EQ(sniffFormat(bytes), Format::NONE) << bytes;
    for (const char* bytes : {"", "GIF", "RIFF1234WAVE", "RIFF", "<svg>", "%PDF-1.4", "BM"})
        EXPECT_EQ(sniffFormat(bytes), Format::NONE) << bytes;
}

TEST(Formats, AreKnownByTheirMimeTypes)
{
    EXPECT_EQ(formatOfMimeType("image/jpeg"), Format::JPEG);
    EXPECT_EQ(formatOfMimeType("IMAGE/JPG; q=1"), Format::JPEG);
    EXPECT_EQ(formatOfMimeType("image/webp"), Format::WEBP);
    EXPECT_EQ(formatOfMimeType("image/heic"), Format::HEIC);
    EXPECT_EQ(formatOfMimeType("image/heif"), Format::HEIC);
    for (const char* type : {"", "image", "image/svg+xml", "video/mp4", "application/octet-stream", "image/jpegx"})
        EXPECT_EQ(formatOfMimeType(type), Format::NONE) << type;
}

TEST(Formats, GiveNamesAFittingExtension)
{
    EXPECT_EQ(nameWithExtension("a.JPG", Format::JPEG), "a.JPG");
    EXPECT_EQ(nameWithExtension("a.jpeg", Format::JPEG), "a.jpeg");
    EXPECT_EQ(nameWithExtension("a.png", Format::JPEG), "a.png.jpg");
    EXPECT_EQ(nameWithExtension("photo", Format::GIF), "photo.gif");
    EXPECT_EQ(nameWithExtension("IMG_1.HEIC", Format::HEIC), "IMG_1.HEIC");
    EXPECT_EQ(nameWithExtension("a.heif", Format::HEIC), "a.heif");
    EXPECT_EQ(nameWithExtension("photo", Format::HEIC), "photo.heic");
}

} // namespace
