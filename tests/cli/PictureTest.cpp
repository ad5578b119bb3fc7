// SPDX-License-Identifier: MIT
#include "output/Picture.h"
#include "core/Errors.h"
#include "support/TempDir.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>

using namespace kinloom;

namespace {

/// Black on the left, white on the right.
Picture halves()
{
    Picture picture{64, 32, {}};
    for (int i = 0; i < 64 * 32; ++i) {
        const std::uint8_t shade = i % 64 < 32 ? 0 : 255;
        picture.pixels.insert(picture.pixels.end(), {shade, shade, shade, 255});
    }
    return picture;
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

/// A picture as a file that everybody can write: PNM. Its reader is none of those that stand hostile files.
constexpr const char* PNM = "P3\n2 1\n255\n255 0 0 0 0 255\n";

/// The smallest GIF: one red pixel.
const std::string GIF("GIF89a\1\0\1\0\x80\0\0\xFF\0\0\0\0\0,\0\0\0\0\1\0\1\0\0\2\2D\1\0;", 35);

TEST(Picture, LettersAreDenserWhereItIsBrighterAndSteerNoTerminal)
{
    Frame frame{32, 20, PictureMode::AUTO, true, false};
    const auto lines = linesOf(drawPicture(halves(), frame));
    ASSERT_EQ(lines.size(), 8U) << "a cell is twice as high as wide";
    for (const std::string& line : lines)
        EXPECT_EQ(line, std::string(16, ' ') + std::string(16, '@'));
}

TEST(Picture, FitsTheFrame)
{
    for (const auto& [columns, rows] : {std::pair{10, 40}, std::pair{80, 3}, std::pair{1, 1}}) {
        const auto lines = linesOf(drawPicture(halves(), Frame{columns, rows, PictureMode::AUTO, true, false}));
        EXPECT_LE(lines.size(), static_cast<std::size_t>(rows));
        for (const std::string& line : lines)
            EXPECT_LE(line.size(), static_cast<std::size_t>(columns));
    }
}

TEST(Picture, EachModeOfATerminalHasItsOwnSequence)
{
    const auto drawn = [](PictureMode mode) { return drawPicture(halves(), Frame{20, 10, mode, true, true}); };
    EXPECT_EQ(drawn(PictureMode::SIXELS).substr(0, 2), "\x1bP");
    EXPECT_EQ(drawn(PictureMode::KITTY).substr(0, 3), "\x1b_G");
    EXPECT_NE(drawn(PictureMode::ITERM).find("\x1b]1337;"), std::string::npos);
}

TEST(Picture, CannotBeReadFromWhatIsNone)
{
    const test::TempDir folder;
    test::writeFile(folder.file("text"), "this is no picture");
    EXPECT_THROW(readPicture(folder.file("text"), 100, PICTURE_PROGRAM), Failure);
    EXPECT_THROW(readPicture(folder.file("missing"), 100, PICTURE_PROGRAM), Failure);
}

TEST(Picture, CannotBeReadWithoutTheProgramThatDecodes)
{
    const test::TempDir folder;
    test::writeFile(folder.file("picture"), GIF);
    EXPECT_THROW(readPicture(folder.file("picture"), 100, ""), Failure);
    EXPECT_THROW(readPicture(folder.file("picture"), 100, "/nonexistent"), Failure);
    EXPECT_THROW(readPicture(folder.file("picture"), 100, PICTURE_PROGRAM, [] { return true; }), Failure);
}

TEST(Picture, IsReadWithReadersThatStandHostileFilesAlone)
{
    const test::TempDir folder;
    test::writeFile(folder.file("picture"), GIF);
    const Picture picture = readPicture(folder.file("picture"), 100, PICTURE_PROGRAM);
    EXPECT_EQ(picture.width, 1);
    EXPECT_EQ(picture.height, 1);
    EXPECT_EQ(picture.pixels, (std::vector<std::uint8_t>{255, 0, 0, 255}));
    test::writeFile(folder.file("pnm"), PNM);
    EXPECT_THROW(readPicture(folder.file("pnm"), 100, PICTURE_PROGRAM), Failure);
}

} // namespace
