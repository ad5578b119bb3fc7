// SPDX-License-Identifier: MIT
#include "pictures/PictureHeader.h"

#include <algorithm>
#include <utility>

namespace pictures {

namespace {

using namespace std::string_view_literals;
using Header = std::optional<PictureHeader>;

/// Orientations from 5 on are those of a camera held upright.
void turnUpright(PictureHeader& header)
{
    if (header.exif.orientation >= 5)
        std::swap(header.width, header.height);
}

Header sound(const PictureHeader& header) { return header.width > 0 && header.height > 0 ? Header(header) : std::nullopt; }

// JPEG: segments that begin with FF and a code. The frame's segment has the sizes, that of the application 1 the camera's notes.

constexpr std::size_t JPEG_SEARCH = 64 * 1024; ///< how much nonsense before a segment is passed over

bool hasNoBody(unsigned code) { return code == 0x01 || (code >= 0xD0 && code <= 0xD7); }

bool isFrame(unsigned code) { return code >= 0xC0 && code <= 0xCF && code != 0xC4 && code != 0xC8 && code != 0xCC; }

/// The code of the next segment from a place on, which moves behind it; 0 when there is none.
unsigned nextSegment(ByteSource& source, std::uint64_t& place)
{
    const std::string close = source.read(place, 2);
    if (close.size() == 2 && close[0] == '\xFF' && close[1] != '\xFF' && close[1] != '\0') {
        place += 2;
        return static_cast<unsigned char>(close[1]);
    }
    const std::string bytes = source.read(place, JPEG_SEARCH);
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        if (bytes[i] == '\xFF' && bytes[i + 1] != '\xFF' && bytes[i + 1] != '\0') {
            place += i + 2;
            return static_cast<unsigned char>(bytes[i + 1]);
        }
    }
    return 0;
}

Header readJpeg(ByteSource& source)
{
    PictureHeader header;
    std::uint64_t place = 2;
    for (;;) {
        const unsigned code = nextSegment(source, place);
        if (hasNoBody(code))
            continue;
        // The end, or the picture itself, before any sizes.
        if (code == 0 || code == 0xD9 || code == 0xDA)
            return std::nullopt;
        const std::string head = source.read(place, 8);
        ByteCursor cursor(head);
        const unsigned length = cursor.u16();
        if (length < 2)
            return std::nullopt;
        if (code == 0xE1 && head.substr(2) == "Exif\0\0"sv)
            header.exif = readExif(source.read(place + 2, length - 2));
        if (isFrame(code)) {
            cursor.skip(1);
            header.height = cursor.u16();
            header.width = cursor.u16();
            turnUpright(header);
            return sound(header);
        }
        place += length;
    }
}

// PNG: chunks of a length, a name, that many bytes, and a checksum.

std::uint32_t checksum(std::string_view bytes)
{
    std::uint32_t sum = 0xFFFFFFFF;
    for (const char c : bytes) {
        sum ^= static_cast<unsigned char>(c);
        for (int i = 0; i < 8; ++i)
            sum = (sum & 1) != 0 ? sum >> 1 ^ 0xEDB88320 : sum >> 1;
    }
    return ~sum;
}

/// Kinds of pixels and how many bits their samples may have.
struct PngKind {
    unsigned kind;
    unsigned depths; ///< the sum of those that there are, each a power of two
};
constexpr PngKind PNG_KINDS[] = {{0, 1 + 2 + 4 + 8 + 16}, {2, 8 + 16}, {3, 1 + 2 + 4 + 8}, {4, 8 + 16}, {6, 8 + 16}};

bool isPngKind(unsigned kind, unsigned depth)
{
    return std::any_of(std::begin(PNG_KINDS), std::end(PNG_KINDS), [&](const PngKind& entry) {
        return entry.kind == kind && depth != 0 && (depth & (depth - 1)) == 0 && (entry.depths & depth) == depth;
    });
}

Header readPng(ByteSource& source)
{
    constexpr std::uint64_t FIRST_CHUNK = 8;
    constexpr std::uint32_t LARGEST = 0x7FFFFFFF;
    const std::string first = source.read(FIRST_CHUNK, 25);
    ByteCursor cursor(first);
    if (cursor.u32() != 13 || cursor.bytes(4) != "IHDR")
        return std::nullopt;
    PictureHeader header;
    header.width = cursor.u32();
    header.height = cursor.u32();
    const unsigned depth = cursor.u8();
    const unsigned kind = cursor.u8();
    const unsigned compression = cursor.u8();
    const unsigned filter = cursor.u8();
    const unsigned interlace = cursor.u8();
    if (cursor.u32() != checksum(std::string_view(first).substr(4, 17)) || cursor.failed() || !isPngKind(kind, depth) ||
        compression != 0 || filter != 0 || interlace > 1 || header.width > LARGEST || header.height > LARGEST)
        return std::nullopt;
    for (std::uint64_t place = FIRST_CHUNK + first.size();;) {
        const std::string head = source.read(place, 8);
        ByteCursor chunk(head);
        const std::uint32_t length = chunk.u32();
        const std::string_view name = chunk.bytes(4);
        if (chunk.failed() || name == "IEND" || length > LARGEST)
            break;
        if (name == "eXIf") {
            // Where the picture is turned in its notes alone, viewers of this format show it as it lies, and so do thumbnails.
            header.exif = readExif(source.read(place + 8, std::min<std::size_t>(length, MOST_EXIF_BYTES)));
            break;
        }
        place += 12 + std::uint64_t{length};
    }
    return sound(header);
}

Header readGif(ByteSource& source)
{
    const std::string bytes = source.read(6, 4);
    ByteCursor cursor(bytes, ByteCursor::LITTLE_ENDIAN_FIRST);
    PictureHeader header;
    header.width = cursor.u16();
    header.height = cursor.u16();
    return cursor.failed() ? std::nullopt : sound(header);
}

// WebP: chunks too. The first has the sizes, in one of three ways.

constexpr std::uint64_t WEBP_FIRST_CHUNK = 12;

bool readLossy(ByteCursor& cursor, PictureHeader& header)
{
    const unsigned tag = cursor.u8();
    cursor.skip(2);
    const bool marked = cursor.bytes(3) == "\x9D\x01\x2A"sv;
    header.width = cursor.u16() & 0x3FFF;
    header.height = cursor.u16() & 0x3FFF;
    return (tag & 1) == 0 && marked;
}

bool readLossless(ByteCursor& cursor, PictureHeader& header)
{
    const bool marked = cursor.u8() == 0x2F;
    const std::uint32_t sizes = cursor.u32();
    header.width = (sizes & 0x3FFF) + 1;
    header.height = (sizes >> 14 & 0x3FFF) + 1;
    return marked;
}

bool readExtended(ByteCursor& cursor, PictureHeader& header)
{
    cursor.skip(4);
    header.width = static_cast<std::int64_t>(cursor.number(3)) + 1;
    header.height = static_cast<std::int64_t>(cursor.number(3)) + 1;
    return true;
}

struct WebpKind {
    std::string_view name;
    bool (*read)(ByteCursor& cursor, PictureHeader& header);
};
constexpr WebpKind WEBP_KINDS[] = {{"VP8 ", &readLossy}, {"VP8L", &readLossless}, {"VP8X", &readExtended}};

void findWebpExif(ByteSource& source, PictureHeader& header)
{
    for (std::uint64_t place = WEBP_FIRST_CHUNK;;) {
        const std::string head = source.read(place, 8);
        ByteCursor chunk(head, ByteCursor::LITTLE_ENDIAN_FIRST);
        const std::string_view name = chunk.bytes(4);
        const std::uint32_t length = chunk.u32();
        if (chunk.failed())
            return;
        if (name == "EXIF") {
            header.exif = readExif(source.read(place + 8, std::min<std::size_t>(length, MOST_EXIF_BYTES)));
            return;
        }
        place += 8 + std::uint64_t{length} + length % 2;
    }
}

Header readWebp(ByteSource& source)
{
    const std::string bytes = source.read(WEBP_FIRST_CHUNK, 8 + 10);
    ByteCursor cursor(bytes, ByteCursor::LITTLE_ENDIAN_FIRST);
    const std::string_view name = cursor.bytes(4);
    cursor.skip(4);
    for (const WebpKind& kind : WEBP_KINDS) {
        PictureHeader header;
        if (kind.name != name || !kind.read(cursor, header) || cursor.failed())
            continue;
        if (kind.read == &readExtended)
            findWebpExif(source, header);
        turnUpright(header);
        return sound(header);
    }
    return std::nullopt;
}

} // namespace

Header readPictureHeader(ByteSource& source, Format format)
{
    switch (format) {
    case Format::JPEG:
        return readJpeg(source);
    case Format::PNG:
        return readPng(source);
    case Format::GIF:
        return readGif(source);
    case Format::WEBP:
        return readWebp(source);
    case Format::HEIC:
        return readHeicHeader(source);
    case Format::NONE:
        break;
    }
    return std::nullopt;
}

} // namespace pictures
