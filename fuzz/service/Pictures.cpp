// SPDX-License-Identifier: MIT
// The headers of files that are said to be pictures.
#include "pictures/PictureHeader.h"

#include "Targets.h"
#include "media/PhotoTime.h"
#include "pictures/Formats.h"

namespace fuzz {

void pictureHeader(std::string_view input)
{
    using namespace kinloomd;
    using namespace pictures;
    if (input.empty())
        return;
    static const TimeZone zone("Europe/Berlin");
    const auto letter = static_cast<unsigned char>(input.front());
    const std::string_view file = input.substr(1);
    sniffFormat(file);
    BytesInMemory bytes(file);
    const auto header = readPictureHeader(bytes, FORMATS[letter % std::size(FORMATS)].format);
    if (!header)
        return;
    require(header->width > 0 && header->height > 0, "a picture has sizes");
    require(header->width <= UINT32_MAX && header->height <= UINT32_MAX, "sizes are those that a format can say");
    require(header->exif.orientation >= 1 && header->exif.orientation <= 8, "an orientation is one that there is");
    require(header->exif.taken.size() <= 64, "texts are short");
    if (const auto taken = timeTaken(header->exif, zone))
        require(parseTime(formatTime(*taken)) == taken, "a time is one that can be written");
}

} // namespace fuzz
