// SPDX-License-Identifier: MIT
// QR codes, read back by somebody else's program.
#include "commandline/QrCode.h"

#include "KinloomdProcess.h"

#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using commandline::QrCode;
using kinloomd_test::TemporaryFolder;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* URL = "https://photos.example:8750/invite/zbEO1MkwcuFhaFJ2wxg5BVyfxAANC0K74qD263ZykdQ";

/// Rows of light (true) and dark points.
using Picture = std::vector<std::vector<bool>>;

/// What a terminal shows: blocks in the colour of the text, on the other one.
Picture pictureOf(const std::string& lines, bool textIsLight)
{
    Picture picture;
    std::size_t at = 0;
    std::vector<bool> upper;
    std::vector<bool> lower;
    const auto take = [&](std::size_t bytes, bool above, bool below) {
        upper.push_back(above == textIsLight);
        lower.push_back(below == textIsLight);
        at += bytes;
    };
    while (at < lines.size()) {
        const std::string three = lines.substr(at, 3);
        if (lines[at] == '\n') {
            picture.push_back(std::exchange(upper, {}));
            picture.push_back(std::exchange(lower, {}));
            ++at;
        } else if (lines[at] == '\033') {
            at = lines.find('m', at) + 1;
        } else if (lines[at] == ' ') {
            take(1, false, false);
        } else {
            take(3, three != "\u2584", three != "\u2580");
        }
    }
    return picture;
}

std::string readBack(const Picture& picture)
{
    constexpr std::size_t SCALE = 6;
    const TemporaryFolder folder;
    {
        std::ofstream file(folder / "code.pgm", std::ios::binary);
        file << "P5 " << picture.at(0).size() * SCALE << " " << picture.size() * SCALE << " 255\n";
        for (const auto& row : picture) {
            for (std::size_t y = 0; y < SCALE; ++y)
                for (const bool light : row)
                    file << std::string(SCALE, light ? '\xFF' : '\0');
        }
    }
    const std::string commandLine =
        "'" KINLOOM_ZBARIMG "' -q --nodbus --raw '" + folder / "code.pgm" + "' > '" + folder / "out" + "' 2>/dev/null";
    // NOLINTNEXTLINE(cert-env33-c): the program writes what it reads to its output alone
    EXPECT_EQ(std::system(commandLine.c_str()), 0);
    std::ifstream out(folder / "out");
    std::string text;
    std::getline(out, text);
    return text;
}

TEST(QrCodes, AreReadFromATerminal)
{
    EXPECT_EQ(readBack(pictureOf(QrCode(URL).lines(QrCode::Manner::PLAIN), true)), URL);
    const std::string coloured = QrCode(URL).lines(QrCode::Manner::COLOURS);
    EXPECT_EQ(readBack(pictureOf(coloured, false)), URL);
    EXPECT_THAT(coloured, HasSubstr("\033[30;107m")) << "black on white, whatever the terminal's colours are";
}

TEST(QrCodes, AreReadFromAPage)
{
    const std::string svg = QrCode(URL).svg();
    const auto box = svg.find("viewBox=\"0 0 ");
    ASSERT_NE(box, std::string::npos);
    const auto size = std::stoul(svg.substr(box + 13));
    Picture picture(size, std::vector<bool>(size, true));
    const std::regex RUN(R"(M([0-9]+) ([0-9]+)h([0-9]+))");
    const auto path = svg.rfind("d=\"") + 3;
    for (auto at = path; svg[at] == 'M'; at = svg.find('z', at) + 1) {
        std::smatch numbers;
        const auto begin = svg.begin() + static_cast<std::ptrdiff_t>(at);
        ASSERT_TRUE(std::regex_search(begin, svg.end(), numbers, RUN, std::regex_constants::match_continuous));
        const auto column = std::stoul(numbers[1]);
        const auto row = std::stoul(numbers[2]);
        const auto run = std::stoul(numbers[3]);
        for (unsigned long i = 0; i < run; ++i)
            picture.at(row).at(column + i) = false;
    }
    EXPECT_EQ(readBack(picture), URL);
    EXPECT_THAT(svg, Not(HasSubstr("style"))) << "pages allow no style in a picture";
}

TEST(QrCodes, AreNotOfEverything)
{
    EXPECT_THROW(QrCode(std::string(5000, 'x')), std::runtime_error);
    EXPECT_THROW(QrCode(""), std::runtime_error);
}

} // namespace
