// SPDX-License-Identifier: MIT
#include "pictures/PictureHeader.h"

#include "media/PhotoTime.h"
#include "pictures/Formats.h"

#include "HostilePictures.h"
#include "TestPictures.h"

#include <gtest/gtest.h>
#include <map>

namespace {

using namespace kinloomd;
using namespace pictures;
using namespace kinloomd_test;
using namespace std::string_literals;

std::optional<PictureHeader> headerOf(const std::string& bytes)
{
    BytesInMemory source(bytes);
    return readPictureHeader(source, sniffFormat(bytes));
}

class HeaderOf : public ::testing::TestWithParam<const char*> {};

TEST_P(HeaderOf, TellsTheSizes)
{
    const auto header = headerOf(makePicture(320, 200, GetParam()).bytes);
    ASSERT_TRUE(header);
    EXPECT_EQ(header->width, 320);
    EXPECT_EQ(header->height, 200);
}

TEST_P(HeaderOf, IsReadWhereverTheFileIsCut)
{
    const std::string bytes = makePicture(320, 200, GetParam(), 1, "2010:05:05 07:04:09").bytes;
    for (std::size_t size = 0; size < bytes.size(); size += 1 + size / 200) {
        const auto header = headerOf(bytes.substr(0, size));
        EXPECT_TRUE(!header || header->width == 320) << size;
    }
}

INSTANTIATE_TEST_SUITE_P(All, HeaderOf, ::testing::Values(".jpg", ".png", ".webp", ".gif", ".heic"));

class HeaderTurned : public ::testing::TestWithParam<std::tuple<const char*, int>> {};

TEST_P(HeaderTurned, TellsTheSizesAsTheyAreLookedAt)
{
    const auto [suffix, orientation] = GetParam();
    const std::string bytes = makePicture(320, 200, suffix, orientation).bytes;
    const Seen seen = *lookAt(bytes);
    const auto header = headerOf(bytes);
    ASSERT_TRUE(header);
    EXPECT_EQ(header->width, seen.width);
    EXPECT_EQ(header->height, seen.height);
}

INSTANTIATE_TEST_SUITE_P(All, HeaderTurned,
                         ::testing::Combine(::testing::Values(".jpg", ".png", ".webp", ".heic"), ::testing::Range(1, 9)));

TEST(PictureHeader, OfNoPictureIsNone)
{
    const std::string png = pngHead(10, 10, 8, 2);
    std::string damaged = png;
    damaged[20] = '\x7F';
    for (const std::string& bytes : {""s,
                                     "\xFF\xD8\xFF nonsense"s,
                                     "\xFF\xD8\xFF\xD9"s,
                                     "\xFF\xD8\xFF\xDA\0\x0C"s,
                                     "\xFF\xD8\xFF\xC0\0\x11\x08\0\0\0\x10\x03"s,
                                     "\xFF\xD8\xFF\xE0\0\x01"s,
                                     "GIF89a"s,
                                     "GIF89a\0\0\x01\0"s,
                                     "\x89PNG\r\n\x1A\n"s,
                                     damaged,
                                     pngHead(0, 10, 8, 2),
                                     pngHead(10, 0, 8, 2),
                                     pngHead(10, 10, 3, 2),
                                     pngHead(10, 10, 16, 3),
                                     pngHead(10, 10, 8, 5),
                                     pngHead(10, 10, 8, 2, 2),
                                     png.substr(0, 30),
                                     "RIFF\x10\0\0\0WEBPVP8 \x04\0\0\0\0\0\0\0"s,
                                     "RIFF\x10\0\0\0WEBPVP9 \x04\0\0\0aaaaaaaaaaaaaa"s,
                                     "RIFF\x10\0\0\0WEBP"s,
                                     "\0\0\0\x18"
                                     "ftypheic\0\0\0\0mif1heic"s,
                                     "\0\0\0\x18"
                                     "ftypheic\0\0\0\0mif1heic\0\0\0\x10meta\0\0\0\0aaaa"s})
        EXPECT_FALSE(headerOf(bytes)) << bytes.size();
    EXPECT_TRUE(headerOf(png));
    EXPECT_TRUE(headerOf("GIF89a\x02\0\x01\0\0\0\0"s));
    EXPECT_TRUE(headerOf("\xFF\xD8\xFF\xFF\xC0\0\x11\x08\0\x20\0\x10\x03"s)) << "a marker may be filled up";
}

TEST(PictureHeader, IsFoundBehindWhatLeadsAstray)
{
    // Thousands of chunks, gigabytes that are not there, and chunks that lead back cost next to nothing.
    std::string chunks = pngHead(26, 17, 8, 0);
    for (int i = 0; i < 100'000; ++i)
        chunks += pngChunk("tEXt", "");
    const std::string far = pngHead(26, 17, 8, 0) + bigEndian(0x7FFFFFFF) + "IDAT";
    const std::string farther = pngHead(26, 17, 8, 0) + bigEndian(0xFFFFFFFF) + "IDAT";
    for (const std::string& bytes : {chunks, far, farther, wordyPicture().bytes.substr(0, 100)}) {
        const auto header = headerOf(bytes);
        ASSERT_TRUE(header);
        EXPECT_GE(header->width, 16);
    }
    std::string segments = "\xFF\xD8"s;
    for (int i = 0; i < 100'000; ++i)
        segments += "\xFF\xE1\0\x02"s;
    EXPECT_FALSE(headerOf(segments));
    // NOLINTNEXTLINE(bugprone-string-constructor): it is meant to be as long as that
    EXPECT_FALSE(headerOf("\xFF\xD8\xFF"s + std::string(20'000'000, '\xFF')));
}

// The camera's notes: a TIFF header, a folder, and from its place on the camera's own folder. Texts lie behind the folders.

constexpr unsigned CHANGED = 0x0132;
constexpr unsigned TAKEN = 0x9003;
constexpr unsigned DIGITIZED = 0x9004;
constexpr unsigned CHANGED_OFFSET = 0x9010;
constexpr unsigned TAKEN_OFFSET = 0x9011;
constexpr unsigned DIGITIZED_OFFSET = 0x9012;
constexpr unsigned TAKEN_FRACTION = 0x9291;

using Notes = std::map<unsigned, std::string>;

std::string exifBlock(const Notes& notes, bool bigEnd)
{
    const auto number = [bigEnd](std::uint32_t value, int bytes) {
        std::string text = bigEndian(value, bytes);
        return bigEnd ? text : std::string(text.rbegin(), text.rend());
    };
    constexpr std::size_t ENTRY = 12;
    const std::size_t own = static_cast<std::size_t>(std::distance(notes.lower_bound(0x9000), notes.end()));
    const std::size_t first = notes.size() - own + 1;
    const std::size_t camera = 8 + 2 + first * ENTRY + 4;
    std::size_t textPlace = camera + 2 + own * ENTRY + 4;
    std::string firstFolder = number(static_cast<std::uint32_t>(first), 2);
    std::string cameraFolder = number(static_cast<std::uint32_t>(own), 2);
    std::string texts;
    for (const auto& [tag, value] : notes) {
        const std::string text = value + '\0';
        std::string entry = number(tag, 2) + number(2, 2) + number(static_cast<std::uint32_t>(text.size()), 4);
        if (text.size() <= 4) {
            entry += text + std::string(4 - text.size(), '\0');
        } else {
            entry += number(static_cast<std::uint32_t>(textPlace + texts.size()), 4);
            texts += text;
        }
        (tag >= 0x9000 ? cameraFolder : firstFolder) += entry;
    }
    firstFolder += number(0x8769, 2) + number(4, 2) + number(1, 4) + number(static_cast<std::uint32_t>(camera), 4);
    return (bigEnd ? "MM"s : "II"s) + number(42, 2) + number(8, 4) + firstFolder + number(0, 4) + cameraFolder + number(0, 4) +
           texts;
}

struct TimeCase {
    const char* zone;
    Notes notes;
    const char* expected; ///< in UTC; empty for none
};

class TimeTaken : public ::testing::TestWithParam<TimeCase> {};

TEST_P(TimeTaken, IsWhatTheCamerasClockShowed)
{
    const TimeZone zone(GetParam().zone);
    for (const bool bigEnd : {false, true}) {
        const std::string block = exifBlock(GetParam().notes, bigEnd);
        for (const std::string& bytes : {block, "Exif\0\0"s + block}) {
            const auto taken = timeTaken(readExif(bytes), zone);
            EXPECT_EQ(taken ? formatTime(*taken) : "", GetParam().expected);
        }
        // In a file of each format that is put together here, the same.
        const std::string segment = "Exif\0\0"s + block;
        const std::string jpeg = "\xFF\xD8\xFF\xE1"s + bigEndian(static_cast<std::uint32_t>(segment.size() + 2), 2) + segment +
                                 "\xFF\xC0\0\x11\x08\0\x20\0\x10\x03"s;
        const std::string png = pngHead(16, 32, 8, 0) + pngChunk("IDAT", "") + pngChunk("eXIf", block);
        for (const std::string& file : {jpeg, png}) {
            const auto header = headerOf(file);
            ASSERT_TRUE(header);
            const auto taken = timeTaken(header->exif, zone);
            EXPECT_EQ(taken ? formatTime(*taken) : "", GetParam().expected);
        }
    }
}

constexpr const char* NOON = "2010:07:05 12:00:00";
constexpr const char* WINTER = "2010:01:05 12:00:00";

INSTANTIATE_TEST_SUITE_P(
    AcrossZones, TimeTaken,
    ::testing::Values(
        // Without an offset: the clock on the wall of the service's zone.
        TimeCase{"UTC", {{TAKEN, NOON}}, "2010-07-05T12:00:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, NOON}}, "2010-07-05T10:00:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, WINTER}}, "2010-01-05T11:00:00Z"},
        TimeCase{"Australia/Sydney", {{TAKEN, NOON}}, "2010-07-05T02:00:00Z"},
        TimeCase{"Australia/Sydney", {{TAKEN, WINTER}}, "2010-01-05T01:00:00Z"},
        TimeCase{"America/New_York", {{TAKEN, NOON}}, "2010-07-05T16:00:00Z"},
        TimeCase{"Asia/Kolkata", {{TAKEN, NOON}}, "2010-07-05T06:30:00Z"},
        TimeCase{"Pacific/Kiritimati", {{TAKEN, NOON}}, "2010-07-04T22:00:00Z"},
        TimeCase{"Pacific/Pago_Pago", {{TAKEN, NOON}}, "2010-07-05T23:00:00Z"},
        // A clock that is set forward never shows 02:30; one that is set back shows it twice, and the first is meant.
        TimeCase{"Europe/Berlin", {{TAKEN, "2010:03:28 01:59:59"}}, "2010-03-28T00:59:59Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, "2010:03:28 02:30:00"}}, "2010-03-28T01:30:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, "2010:03:28 03:00:00"}}, "2010-03-28T01:00:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, "2010:10:31 02:30:00"}}, "2010-10-31T00:30:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, "2010:10:31 03:00:00"}}, "2010-10-31T02:00:00Z"},
        TimeCase{"Australia/Lord_Howe", {{TAKEN, "2010:04:04 01:45:00"}}, "2010-04-03T14:45:00Z"},
        // With one: wherever the service is.
        TimeCase{"Australia/Sydney", {{TAKEN, NOON}, {TAKEN_OFFSET, "+02:00"}}, "2010-07-05T10:00:00Z"},
        TimeCase{"UTC", {{TAKEN, NOON}, {TAKEN_OFFSET, "-03:30"}}, "2010-07-05T15:30:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, NOON}, {TAKEN_OFFSET, "Z"}}, "2010-07-05T12:00:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, NOON}, {TAKEN_OFFSET, "+00:00"}}, "2010-07-05T12:00:00Z"},
        // That of another time counts where it is the same time, and not where the picture was changed elsewhere.
        TimeCase{"UTC", {{TAKEN, NOON}, {CHANGED, NOON}, {CHANGED_OFFSET, "+02:00"}}, "2010-07-05T10:00:00Z"},
        TimeCase{"UTC", {{TAKEN, NOON}, {DIGITIZED, NOON}, {DIGITIZED_OFFSET, "+03:00"}}, "2010-07-05T09:00:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, NOON}, {CHANGED, WINTER}, {CHANGED_OFFSET, "+09:00"}}, "2010-07-05T10:00:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, NOON}, {CHANGED_OFFSET, "+09:00"}}, "2010-07-05T10:00:00Z"},
        TimeCase{
            "UTC", {{TAKEN, NOON}, {TAKEN_OFFSET, "+01:00"}, {CHANGED, NOON}, {CHANGED_OFFSET, "+02:00"}}, "2010-07-05T11:00:00Z"},
        // Malformed ones are none.
        TimeCase{"Europe/Berlin", {{TAKEN, NOON}, {TAKEN_OFFSET, "nonsense"}}, "2010-07-05T10:00:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, NOON}, {TAKEN_OFFSET, "   :  "}}, "2010-07-05T10:00:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, NOON}, {TAKEN_OFFSET, "+25:00"}}, "2010-07-05T10:00:00Z"},
        TimeCase{"Europe/Berlin", {{TAKEN, NOON}, {TAKEN_OFFSET, "+02:00x"}}, "2010-07-05T10:00:00Z"},
        // Fractions of a second.
        TimeCase{"UTC", {{TAKEN, NOON}, {TAKEN_FRACTION, "25"}}, "2010-07-05T12:00:00.250Z"},
        TimeCase{"UTC", {{TAKEN, NOON}, {TAKEN_FRACTION, "007"}}, "2010-07-05T12:00:00.007Z"},
        TimeCase{"UTC", {{TAKEN, NOON}, {TAKEN_FRACTION, "123456"}}, "2010-07-05T12:00:00.123Z"},
        TimeCase{"UTC", {{TAKEN, NOON}, {TAKEN_FRACTION, "5  "}}, "2010-07-05T12:00:00.500Z"},
        TimeCase{"UTC", {{TAKEN, NOON}, {TAKEN_FRACTION, "-5"}}, "2010-07-05T12:00:00Z"},
        TimeCase{"UTC", {{TAKEN, NOON}, {TAKEN_FRACTION, "x"}}, "2010-07-05T12:00:00Z"},
        // No time at all.
        TimeCase{"UTC", {}, ""}, TimeCase{"UTC", {{TAKEN, "0000:00:00 00:00:00"}}, ""},
        TimeCase{"UTC", {{TAKEN, "2010:99:99 07:04:09"}}, ""}, TimeCase{"UTC", {{TAKEN, "    :  :     :  :  "}}, ""},
        TimeCase{"UTC", {{TAKEN, "2010:05:05"}}, ""}, TimeCase{"UTC", {{TAKEN, std::string(100, '2')}}, ""},
        TimeCase{"UTC", {{CHANGED, NOON}, {CHANGED_OFFSET, "+02:00"}}, ""}));

std::string box(const std::string& name, const std::string& content)
{
    return bigEndian(static_cast<std::uint32_t>(8 + content.size())) + name + content;
}

std::string versionedBox(const std::string& name, const std::string& content, std::uint32_t version = 0)
{
    return box(name, bigEndian(version << 24) + content);
}

TEST(PictureHeader, OfATelephonesPictureTellsItsTurnAndItsTime)
{
    const std::string notes = bigEndian(0) + exifBlock({{TAKEN, NOON}, {TAKEN_OFFSET, "+02:00"}}, true);
    const auto file = [&](bool inside) {
        const std::string properties = box("ipco", versionedBox("ispe", bigEndian(320) + bigEndian(200)) + box("irot", "\x01")) +
                                       versionedBox("ipma", bigEndian(1) + "\0\x01\x02\x01\x82"s);
        const auto meta = [&](std::size_t place) {
            const std::string method = inside ? "\0\x01"s : "\0\0"s;
            return versionedBox("meta", versionedBox("pitm", "\0\x01"s) +
                                            versionedBox("iinf", "\0\x02"s + versionedBox("infe", "\0\x01\0\0hvc1\0"s, 2) +
                                                                     versionedBox("infe", "\0\x02\0\0Exif\0"s, 2)) +
                                            versionedBox("iloc",
                                                         "\x44\x40\0\x01\0\x02"s + method + "\0\0"s + bigEndian(0) + "\0\x01"s +
                                                             bigEndian(static_cast<std::uint32_t>(place)) +
                                                             bigEndian(static_cast<std::uint32_t>(notes.size())),
                                                         1) +
                                            box("iprp", properties) + (inside ? box("idat", notes) : ""));
        };
        const std::string type = box("ftyp", "heic\0\0\0\0mif1heic"s);
        return inside ? type + meta(0) : type + meta(type.size() + meta(0).size() + 8) + box("mdat", notes);
    };
    for (const bool inside : {true, false}) {
        const auto header = headerOf(file(inside));
        ASSERT_TRUE(header);
        EXPECT_EQ(header->width, 200);
        EXPECT_EQ(header->height, 320);
        EXPECT_EQ(timeTaken(header->exif, TimeZone("UTC")), parseTime("2010-07-05T10:00:00Z"));
    }
}

TEST(Exif, OfNoSenseIsNone)
{
    const std::string whole = exifBlock({{TAKEN, NOON}, {TAKEN_OFFSET, "+02:00"}}, false);
    for (std::size_t size = 0; size < whole.size() - 1; ++size)
        readExif(whole.substr(0, size));
    for (std::size_t place = 0; place < whole.size(); ++place) {
        std::string changed = whole;
        changed[place] = '\xFF';
        readExif(changed);
    }
    EXPECT_EQ(readExif("II*\0\xFF\xFF\xFF\xFF"s).taken, "");
    EXPECT_EQ(readExif("XX*\0\x08\0\0\0"s).orientation, 1U);
}

TEST(TimeZones, ThatDoNotExistAreRefused)
{
    for (const char* name : {"Europe/Atlantis", "nonsense", "UTC+5", "XYZ5", "/etc/localtime", "../../etc/localtime", "Europe"})
        EXPECT_THROW(TimeZone{name}, std::runtime_error) << name;
    EXPECT_NO_THROW(TimeZone{""}) << "the system's";
    EXPECT_NO_THROW(TimeZone{"Etc/GMT+5"});
}

} // namespace
