// SPDX-License-Identifier: MIT
#include "pictures/Exif.h"

#include "httpd/Text.h"
#include "pictures/ByteSource.h"

namespace pictures {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view PREFIX = "Exif\0\0"sv;
constexpr unsigned MOST_FIELDS = 1024; ///< of a folder
constexpr std::size_t LONGEST_TEXT = 64;
constexpr unsigned ORIENTATION = 0x0112;
constexpr unsigned CAMERA_FOLDER = 0x8769;
constexpr unsigned TYPE_TEXT = 2;
constexpr unsigned TYPE_SHORT = 3;

struct TextTag {
    unsigned tag;
    std::string Exif::*field;
};

constexpr TextTag TEXT_TAGS[] = {
    {0x0132, &Exif::changed},     {0x9003, &Exif::taken},           {0x9004, &Exif::digitized},     {0x9010, &Exif::changedOffset},
    {0x9011, &Exif::takenOffset}, {0x9012, &Exif::digitizedOffset}, {0x9291, &Exif::takenFraction},
};

class ExifReader {
public:
    ExifReader(std::string_view block, ByteCursor::Order order) : m_block(block), m_order(order) {}

    Exif read()
    {
        const std::uint32_t camera = readFolder(from(4).u32());
        if (camera != 0)
            readFolder(camera);
        return m_exif;
    }

private:
    ByteCursor from(std::size_t offset) const
    {
        return ByteCursor(offset < m_block.size() ? m_block.substr(offset) : std::string_view(), m_order);
    }

    /// \return where the folder says that the camera's own folder is, or 0.
    std::uint32_t readFolder(std::uint32_t offset)
    {
        std::uint32_t camera = 0;
        ByteCursor folder = from(offset);
        const unsigned entries = folder.u16();
        for (unsigned i = 0; i < entries && i < MOST_FIELDS; ++i) {
            const unsigned tag = folder.u16();
            const unsigned type = folder.u16();
            const std::uint32_t count = folder.u32();
            const std::string_view value = folder.bytes(4);
            if (folder.failed())
                break;
            if (tag == CAMERA_FOLDER)
                camera = ByteCursor(value, m_order).u32();
            else if (tag == ORIENTATION && type == TYPE_SHORT)
                takeOrientation(ByteCursor(value, m_order).u16());
            else if (type == TYPE_TEXT)
                takeText(tag, count, value);
        }
        return camera;
    }

    void takeOrientation(unsigned orientation)
    {
        if (orientation >= 1 && orientation <= 8)
            m_exif.orientation = orientation;
    }

    void takeText(unsigned tag, std::uint32_t count, std::string_view value)
    {
        for (const TextTag& entry : TEXT_TAGS) {
            if (entry.tag != tag || count > LONGEST_TEXT)
                continue;
            // Up to four bytes stand in the entry itself, more at a place that it names.
            ByteCursor text = count <= 4 ? ByteCursor(value) : from(ByteCursor(value, m_order).u32());
            const std::string_view bytes = text.bytes(count);
            m_exif.*entry.field = std::string(httpd::trim(bytes.substr(0, bytes.find('\0'))));
        }
    }

    std::string_view m_block;
    ByteCursor::Order m_order;
    Exif m_exif;
};

} // namespace

Exif readExif(std::string_view block)
{
    block = block.substr(0, MOST_EXIF_BYTES);
    if (block.substr(0, PREFIX.size()) == PREFIX)
        block.remove_prefix(PREFIX.size());
    if (block.substr(0, 4) == "II*\0"sv)
        return ExifReader(block, ByteCursor::LITTLE_ENDIAN_FIRST).read();
    if (block.substr(0, 4) == "MM\0*"sv)
        return ExifReader(block, ByteCursor::BIG_ENDIAN_FIRST).read();
    return {};
}

} // namespace pictures
