// SPDX-License-Identifier: MIT
#include "wire/ZipWriter.h"

#include "ZipReader.h"

#include "operations/page/FileNames.h"

#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace {

using namespace kinloomd;
using kinloomd_test::ZipFile;
using kinloomd_test::ZipReader;
using ::testing::IsEmpty;

std::uint32_t checksumOf(const std::string& bytes)
{
    return static_cast<std::uint32_t>(::crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

TEST(ZipWriter, WritesArchivesThatAreReadBack)
{
    ZipWriter writer;
    std::string archive;
    std::vector<ZipEntry> entries;
    for (const char* const bytes : {"one", "", "three"}) {
        const ZipEntry entry = {std::string("\xC3\xBC-") + bytes, std::string(bytes).size(), 0x5D760123, checksumOf(bytes)};
        entries.push_back(entry);
        archive += writer.begin(entry) + bytes;
    }
    archive += writer.end();
    EXPECT_EQ(ZipWriter::sizeOf(entries), archive.size());
    ZipReader reader(archive);
    reader.readFiles();
    ASSERT_EQ(reader.files().size(), 3U);
    EXPECT_EQ(reader.files()[0].bytes, "one");
    EXPECT_EQ(reader.files()[0].name, "\xC3\xBC-one");
    EXPECT_EQ(reader.files()[0].time, 0x5D760123U);
    EXPECT_THAT(reader.files()[1].bytes, IsEmpty());
    EXPECT_EQ(reader.files()[2].bytes, "three");
    EXPECT_THAT(ZipReader(ZipWriter().end()).files(), IsEmpty());
}

TEST(ZipWriter, WritesFilesAndArchivesOfMoreThanFourGigabytes)
{
    constexpr std::uint64_t LARGE = std::uint64_t{5} << 30;
    ZipWriter writer;
    std::uint64_t offset = 0;
    std::vector<ZipEntry> entries;
    // The last size that fits, the first that does not, one that is far beyond, and a small file behind them.
    for (const std::uint64_t size : {std::uint64_t{0xFFFFFFFE}, std::uint64_t{0xFFFFFFFF}, LARGE, std::uint64_t{1}}) {
        entries.push_back({"file", size, 0, 7});
        const std::string head = writer.begin(entries.back());
        EXPECT_EQ(head.size(), size >= 0xFFFFFFFF ? 30U + 4 + 20 : 30U + 4);
        offset += head.size() + size;
    }
    const std::string end = writer.end();
    EXPECT_EQ(ZipWriter::sizeOf(entries), offset + end.size());
    const ZipReader reader(end, offset);
    ASSERT_EQ(reader.files().size(), 4U);
    EXPECT_EQ(reader.files()[0].size, 0xFFFFFFFE);
    EXPECT_EQ(reader.files()[1].size, 0xFFFFFFFF);
    EXPECT_EQ(reader.files()[2].size, LARGE);
    EXPECT_EQ(reader.files()[3].size, 1U);
    EXPECT_EQ(reader.files()[3].offset, offset - 30 - 4 - 1);
}

TEST(ZipWriter, WritesMoreFilesThanSixteenBitsCount)
{
    for (const std::size_t count : {std::size_t{65'534}, std::size_t{65'535}, std::size_t{70'000}}) {
        ZipWriter writer;
        std::string archive;
        for (std::size_t i = 0; i < count; ++i)
            archive += writer.begin({"f", 0, 0, 0});
        archive += writer.end();
        EXPECT_EQ(ZipReader(archive).files().size(), count);
    }
}

TEST(NamesOfFolder, AreEachOfAFileAlone)
{
    NamesOfFolder names;
    EXPECT_EQ(names.unique("a.jpg"), "a.jpg");
    EXPECT_EQ(names.unique("A.JPG"), "A (2).JPG") << "some file systems do not tell them apart";
    EXPECT_EQ(names.unique("a.jpg"), "a (3).jpg");
    EXPECT_EQ(names.unique("a (2).jpg"), "a (2) (2).jpg");
    EXPECT_EQ(names.unique("\xC3\x84"), "\xC3\x84");
    EXPECT_EQ(names.unique("\xC3\xA4"), "\xC3\xA4 (2)");
    EXPECT_EQ(names.unique("b"), "b");
}

TEST(NamesOfFolder, AreFoundQuicklyWhereACameraHasOneName)
{
    constexpr int FILES = 20'000;
    const auto begun = std::chrono::steady_clock::now();
    NamesOfFolder names;
    for (int i = 1; i < FILES; ++i)
        names.unique("image.jpg");
    EXPECT_EQ(names.unique("image.jpg"), "image (" + std::to_string(FILES) + ").jpg");
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(10));
}

TEST(PortableName, IsWhatEverySystemTakes)
{
    EXPECT_EQ(portableName("\xC3\x9C"
                           "bung 1.jpg"),
              "\xC3\x9C"
              "bung 1.jpg");
    EXPECT_EQ(portableName("a:b*c?d\"e<f>g|h\\i/j.jpg"), "a_b_c_d_e_f_g_h_i_j.jpg");
    EXPECT_EQ(portableName("a\xE2\x80\xAEgpj.jpg"), "a_gpj.jpg");
    EXPECT_EQ(portableName("a\xC2\x9B.jpg"), "a_.jpg");
    for (const char* device : {"con.jpg", "NUL.tar.jpg", "Aux", "com1.jpg", "LPT9.png"})
        EXPECT_EQ(portableName(device), std::string("_") + device);
    for (const char* plain : {"cone.jpg", "com.jpg", "com10.jpg", "lpt.png", "1.jpg", ".jpg"})
        EXPECT_EQ(portableName(plain), plain);
}

} // namespace
