// SPDX-License-Identifier: MIT
// Files as telephones write them are made of boxes: a size, a name, and what is in it, boxes for example. The box "meta" describes
// the items of the file: which is the picture, its properties, which is the camera's notes, and where it lies.
#include "pictures/PictureHeader.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace pictures {

namespace {

constexpr std::size_t LARGEST_META = std::size_t{2} << 20;
constexpr unsigned MOST_BOXES = 64; ///< before "meta"
constexpr std::size_t MOST_ENTRIES = 8192;

struct FileBox {
    std::string_view name;
    std::string_view content;
};

/// The boxes one behind the other.
std::vector<FileBox> boxesIn(std::string_view bytes)
{
    std::vector<FileBox> boxes;
    while (!bytes.empty() && boxes.size() < MOST_ENTRIES) {
        ByteCursor cursor(bytes);
        std::uint64_t size = cursor.u32();
        FileBox box;
        box.name = cursor.bytes(4);
        std::size_t head = 8;
        if (size == 1) {
            size = cursor.number(8);
            head = 16;
        } else if (size == 0) {
            size = bytes.size();
        }
        if (cursor.failed() || size < head || size > bytes.size())
            break;
        box.content = bytes.substr(head, static_cast<std::size_t>(size) - head);
        boxes.push_back(box);
        bytes.remove_prefix(static_cast<std::size_t>(size));
    }
    return boxes;
}

std::string_view boxNamed(const std::vector<FileBox>& boxes, std::string_view name)
{
    const auto box = std::find_if(boxes.begin(), boxes.end(), [name](const FileBox& entry) { return entry.name == name; });
    return box == boxes.end() ? std::string_view() : box->content;
}

/// Version and flags, with which some boxes begin.
struct Version {
    explicit Version(ByteCursor& cursor) : number(cursor.u8()), flags(static_cast<unsigned>(cursor.number(3))) {}
    unsigned number;
    unsigned flags;
};

/// What lies in the file's box "meta"; empty when there is none.
std::string readMeta(ByteSource& source)
{
    std::uint64_t place = 0;
    for (unsigned i = 0; i < MOST_BOXES; ++i) {
        const std::string head = source.read(place, 16);
        ByteCursor cursor(head);
        std::uint64_t size = cursor.u32();
        const std::string_view name = cursor.bytes(4);
        std::uint64_t headSize = 8;
        if (size == 1) {
            size = cursor.number(8);
            headSize = 16;
        }
        if (cursor.failed() || size < headSize)
            return {};
        if (name == "meta")
            return size - headSize > LARGEST_META ? std::string()
                                                  : source.read(place + headSize, static_cast<std::size_t>(size - headSize));
        if (size > UINT64_MAX - place)
            return {};
        place += size;
    }
    return {};
}

std::uint32_t primaryItem(std::string_view content)
{
    ByteCursor cursor(content);
    const Version version(cursor);
    return version.number == 0 ? cursor.u16() : cursor.u32();
}

/// The item that holds the camera's notes; 0 when there is none.
std::uint32_t exifItem(std::string_view content)
{
    ByteCursor cursor(content);
    const Version version(cursor);
    cursor.skip(version.number == 0 ? 2 : 4);
    for (const FileBox& entry : boxesIn(cursor.rest())) {
        ByteCursor item(entry.content);
        const Version itemVersion(item);
        const std::uint32_t id = itemVersion.number == 2 ? item.u16() : item.u32();
        item.skip(2);
        if (entry.name == "infe" && itemVersion.number >= 2 && item.bytes(4) == "Exif")
            return id;
    }
    return 0;
}

struct Extent {
    bool inside = false; ///< the data lies in the box "idat", not in the file
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

/// Where an item lies, as long as it is in one piece.
std::optional<Extent> placeOf(std::string_view content, std::uint32_t item)
{
    ByteCursor cursor(content);
    const Version version(cursor);
    const unsigned sizes = cursor.u8();
    const unsigned more = cursor.u8();
    const std::size_t offsetSize = sizes >> 4;
    const std::size_t lengthSize = sizes & 15;
    const std::size_t baseSize = more >> 4;
    const std::size_t indexSize = version.number == 0 ? 0 : more & 15;
    if (std::max({offsetSize, lengthSize, baseSize, indexSize}) > 8)
        return std::nullopt;
    const std::uint32_t items = version.number < 2 ? cursor.u16() : cursor.u32();
    for (std::uint32_t i = 0; i < items && i < MOST_ENTRIES && !cursor.failed(); ++i) {
        const std::uint32_t id = version.number < 2 ? cursor.u16() : cursor.u32();
        const unsigned method = version.number == 0 ? 0 : cursor.u16() & 15;
        cursor.skip(2);
        const std::uint64_t base = cursor.number(baseSize);
        const unsigned extents = cursor.u16();
        Extent extent;
        for (unsigned k = 0; k < extents && !cursor.failed(); ++k) {
            cursor.skip(indexSize);
            const std::uint64_t offset = cursor.number(offsetSize);
            extent = {method == 1, base + offset, cursor.number(lengthSize)};
        }
        if (id == item && extents == 1 && method <= 1 && !cursor.failed())
            return extent;
    }
    return std::nullopt;
}

/// The numbers of the properties that an item has, counted from 1.
std::vector<unsigned> propertiesOf(std::string_view content, std::uint32_t item)
{
    std::vector<unsigned> properties;
    ByteCursor cursor(content);
    const Version version(cursor);
    const std::uint32_t entries = cursor.u32();
    for (std::uint32_t i = 0; i < entries && i < MOST_ENTRIES && !cursor.failed(); ++i) {
        const std::uint32_t id = version.number < 1 ? cursor.u16() : cursor.u32();
        const unsigned count = cursor.u8();
        for (unsigned k = 0; k < count; ++k) {
            const unsigned index = (version.flags & 1) != 0 ? cursor.u16() & 0x7FFF : cursor.u8() & 0x7F;
            if (id == item && !cursor.failed())
                properties.push_back(index);
        }
    }
    return properties;
}

/// Takes over the sizes of an item, turned as its properties say.
void readSizes(std::string_view content, std::uint32_t item, PictureHeader& header)
{
    const std::vector<FileBox> parts = boxesIn(content);
    const std::vector<FileBox> all = boxesIn(boxNamed(parts, "ipco"));
    for (const unsigned index : propertiesOf(boxNamed(parts, "ipma"), item)) {
        if (index == 0 || index > all.size())
            continue;
        const FileBox& property = all[index - 1];
        ByteCursor cursor(property.content);
        if (property.name == "ispe") {
            cursor.skip(4);
            header.width = cursor.u32();
            header.height = cursor.u32();
        } else if (property.name == "irot" && cursor.u8() % 2 == 1) {
            std::swap(header.width, header.height);
        }
    }
}

/// The camera's notes, behind the number of bytes that stand before their TIFF header.
Exif readNotes(ByteSource& source, const std::vector<FileBox>& meta)
{
    const std::uint32_t item = exifItem(boxNamed(meta, "iinf"));
    const auto extent = item == 0 ? std::nullopt : placeOf(boxNamed(meta, "iloc"), item);
    if (!extent)
        return {};
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(extent->length, MOST_EXIF_BYTES));
    std::string bytes;
    if (extent->inside) {
        BytesInMemory data(boxNamed(meta, "idat"));
        bytes = data.read(extent->offset, length);
    } else {
        bytes = source.read(extent->offset, length);
    }
    ByteCursor cursor(bytes);
    cursor.skip(cursor.u32());
    return readExif(cursor.rest());
}

} // namespace

std::optional<PictureHeader> readHeicHeader(ByteSource& source)
{
    const std::string bytes = readMeta(source);
    ByteCursor cursor(bytes);
    cursor.skip(4);
    const std::vector<FileBox> meta = boxesIn(cursor.rest());
    PictureHeader header;
    readSizes(boxNamed(meta, "iprp"), primaryItem(boxNamed(meta, "pitm")), header);
    if (header.width <= 0 || header.height <= 0)
        return std::nullopt;
    header.exif = readNotes(source, meta);
    return header;
}

} // namespace pictures
