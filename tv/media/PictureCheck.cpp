// SPDX-License-Identifier: MIT
#include "tv/media/PictureCheck.h"

#include "pictures/ByteSource.h"
#include "pictures/Formats.h"
#include "pictures/PictureHeader.h"

#include <algorithm>

namespace tv {

namespace {

using namespace std::string_view_literals;
using pictures::Format;

/// The pixels that a thumbnail may have: some more than its box, since a browser takes memory for each of them.
constexpr std::int64_t GRID_PIXELS = std::int64_t{1080} * 810;
constexpr std::int64_t SCREEN_PIXELS = std::int64_t{3840} * 2160;

/// How a file ends that is whole. What stands behind the end is no fault; encoders write a few bytes there.
struct Ending {
    Format format;
    std::string_view mark;
};
constexpr Ending ENDINGS[] = {{Format::JPEG, "\xFF\xD9"sv}, {Format::PNG, "IEND"sv}};
constexpr std::size_t END_BYTES = 256;

bool isWhole(std::string_view bytes, Format format)
{
    const std::string_view end = bytes.substr(bytes.size() - std::min(bytes.size(), END_BYTES));
    for (const Ending& ending : ENDINGS) {
        if (ending.format == format)
            return end.find(ending.mark) != std::string_view::npos;
    }
    if (format == Format::GIF) {
        // One letter, which stands anywhere: the last that is not padding.
        const auto last = bytes.find_last_not_of('\0');
        return last != std::string_view::npos && bytes[last] == '\x3B';
    }
    // WebP: the size of what follows it stands behind the first word.
    pictures::ByteCursor cursor(bytes, pictures::ByteCursor::LITTLE_ENDIAN_FIRST);
    cursor.skip(4);
    return cursor.u32() + std::uint64_t{8} <= bytes.size();
}

} // namespace

CheckedPicture checkThumbnail(std::string_view bytes, PictureSize size)
{
    const Format format = pictures::sniffFormat(bytes.substr(0, pictures::SNIFF_BYTES));
    if (format == Format::NONE)
        return {};
    pictures::BytesInMemory source(bytes);
    const auto header = pictures::readPictureHeader(source, format);
    if (!header)
        return {};
    const std::int64_t most = size == PictureSize::GRID ? GRID_PIXELS : SCREEN_PIXELS;
    if (format == Format::HEIC || !pictures::fitsInto(most, *header) || !isWhole(bytes, format))
        return {CheckedPicture::UNFIT, ""};
    return {CheckedPicture::FIT, pictures::formatEntry(format).mimeType};
}

} // namespace tv
