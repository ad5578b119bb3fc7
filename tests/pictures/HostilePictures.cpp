// SPDX-License-Identifier: MIT
#include "HostilePictures.h"

#include "TestPictures.h"

#include <stdexcept>
#include <utility>
#include <zlib.h>

namespace kinloomd_test {

namespace {

std::string deflated(const std::string& bytes)
{
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    std::string out(size, '\0');
    if (compress2(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
                  static_cast<uLong>(bytes.size()), 9) != Z_OK)
        throw std::runtime_error("cannot compress");
    out.resize(size);
    return out;
}

/// Compressed zeros: the same block again and again, each complete in itself.
std::string deflatedZeros(std::uint64_t count)
{
    constexpr std::size_t PART = 1 << 20;
    const auto block = [](std::size_t size) {
        z_stream stream{};
        std::string zeros(size, '\0');
        std::string out(compressBound(static_cast<uLong>(size)) + 64, '\0');
        if (deflateInit2(&stream, 9, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY) != Z_OK)
            throw std::runtime_error("cannot compress");
        stream.next_in = reinterpret_cast<Bytef*>(zeros.data());
        stream.avail_in = static_cast<uInt>(size);
        stream.next_out = reinterpret_cast<Bytef*>(out.data());
        stream.avail_out = static_cast<uInt>(out.size());
        deflate(&stream, Z_FULL_FLUSH);
        out.resize(out.size() - stream.avail_out);
        deflateEnd(&stream);
        return out;
    };
    constexpr std::uint32_t MODULUS = 65'521; // of the checksum that follows
    std::string stream = "\x78\xDA";
    const std::string part = block(PART);
    for (std::uint64_t i = 0; i < count / PART; ++i)
        stream += part;
    stream += block(static_cast<std::size_t>(count % PART));
    stream += std::string("\x03\0", 2);
    return stream + bigEndian(static_cast<std::uint32_t>(count % MODULUS) << 16 | 1);
}

} // namespace

std::string bigEndian(std::uint32_t number, int bytes)
{
    std::string text;
    for (int i = bytes - 1; i >= 0; --i)
        text += static_cast<char>(number >> (8 * i) & 0xFF);
    return text;
}

std::string pngChunk(const std::string& name, const std::string& content)
{
    const std::string body = name + content;
    const uLong sum = crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()));
    return bigEndian(static_cast<std::uint32_t>(content.size())) + body + bigEndian(static_cast<std::uint32_t>(sum));
}

std::string pngHead(std::uint32_t width, std::uint32_t height, int depth, int kind, int interlace)
{
    const std::string fields = {static_cast<char>(depth), static_cast<char>(kind), 0, 0, static_cast<char>(interlace)};
    return "\x89PNG\r\n\x1A\n" + pngChunk("IHDR", bigEndian(width) + bigEndian(height) + fields);
}

TestPicture narrowPicture()
{
    constexpr std::uint32_t WIDTH = 26;
    constexpr std::uint32_t HEIGHT = 10'000'000;
    const std::string rows(std::size_t{WIDTH + 1} * HEIGHT, '\0');
    return {pngHead(WIDTH, HEIGHT, 8, 0) + pngChunk("IDAT", deflated(rows)) + pngChunk("IEND", ""), "image/png", "narrow.png"};
}

TestPicture wordyPicture()
{
    using namespace std::string_literals;
    constexpr int CHUNKS = 900;
    const std::string text = pngChunk("zTXt", "a\0\0"s + deflated(std::string(7'900'000, 'a')));
    std::string bytes = pngHead(16, 16, 8, 0);
    for (int i = 0; i < CHUNKS; ++i)
        bytes += text;
    return {bytes + pngChunk("IDAT", deflated(std::string(17 * 16, '\0'))) + pngChunk("IEND", ""), "image/png", "wordy.png"};
}

TestPicture lacedPicture()
{
    constexpr std::uint32_t SIZE = 10'240;
    constexpr std::uint64_t PIXEL = 8;
    // The passes of such a picture: every eighth pixel of every eighth row, and so on to every pixel of every second.
    std::uint64_t bytes = 0;
    for (const auto& [columns, rows] : {std::pair{8, 8}, {8, 8}, {4, 8}, {4, 4}, {2, 4}, {2, 2}, {1, 2}})
        bytes += (1 + PIXEL * (SIZE / columns)) * (SIZE / rows);
    return {pngHead(SIZE, SIZE, 16, 6, 1) + pngChunk("IDAT", deflatedZeros(bytes)) + pngChunk("IEND", ""), "image/png",
            "laced.png"};
}

TestPicture cutPicture(const std::string& suffix)
{
    TestPicture picture = makePicture(640, 480, suffix);
    picture.bytes.resize(picture.bytes.size() * 2 / 3);
    return picture;
}

} // namespace kinloomd_test
