// SPDX-License-Identifier: MIT
#include "wire/ZipWriter.h"

#include <algorithm>

namespace kinloomd {

namespace {

constexpr std::uint64_t MOST_32 = 0xFFFFFFFF; ///< stands for "see the ZIP64 field"
constexpr std::uint64_t MOST_16 = 0xFFFF;
constexpr unsigned VERSION = 20;
constexpr unsigned VERSION_64 = 45;
constexpr unsigned NAMES_IN_UTF8 = 1U << 11;
constexpr unsigned STORED = 0;
constexpr unsigned FIELD_64 = 1;
constexpr unsigned END_64_REST = 44; ///< of the ZIP64 end record, behind its own size

/// Numbers as archives hold them, the lowest byte first.
class Bytes {
public:
    Bytes& add(std::uint64_t value, unsigned bytes)
    {
        for (unsigned i = 0; i < bytes; ++i)
            m_text += static_cast<char>(value >> (8 * i) & 0xFF);
        return *this;
    }
    Bytes& two(std::uint64_t value) { return add(value, 2); }
    Bytes& four(std::uint64_t value) { return add(value, 4); }
    Bytes& eight(std::uint64_t value) { return add(value, 8); }
    Bytes& text(const std::string& text)
    {
        m_text += text;
        return *this;
    }
    std::string take() { return std::move(m_text); }

private:
    std::string m_text;
};

/// The ZIP64 field of what does not fit into 32 bits; empty when all does.
std::string field64(const std::vector<std::uint64_t>& values)
{
    if (values.empty())
        return {};
    Bytes bytes;
    bytes.two(FIELD_64).two(8 * values.size());
    for (const std::uint64_t value : values)
        bytes.eight(value);
    return bytes.take();
}

/// From the version on to the lengths, which the head of a file and its entry in the directory have in common.
Bytes& addCommon(Bytes& bytes, const ZipEntry& entry, bool large, std::size_t extraSize)
{
    const std::uint64_t size = std::min(entry.size, MOST_32);
    return bytes.two(large ? VERSION_64 : VERSION)
        .two(NAMES_IN_UTF8)
        .two(STORED)
        .four(entry.dosTime)
        .four(entry.checksum)
        .four(size)
        .four(size)
        .two(entry.name.size())
        .two(extraSize);
}

std::string fileHead(const ZipEntry& entry)
{
    const bool large = entry.size >= MOST_32;
    const std::string extra = large ? field64({entry.size, entry.size}) : std::string();
    Bytes bytes;
    bytes.four(0x04034B50);
    return addCommon(bytes, entry, large, extra.size()).text(entry.name).text(extra).take();
}

std::string directoryEntry(const ZipEntry& entry, std::uint64_t offset)
{
    std::vector<std::uint64_t> large;
    if (entry.size >= MOST_32)
        large = {entry.size, entry.size};
    if (offset >= MOST_32)
        large.push_back(offset);
    const std::string extra = field64(large);
    Bytes bytes;
    bytes.four(0x02014B50).two(large.empty() ? VERSION : VERSION_64);
    addCommon(bytes, entry, !large.empty(), extra.size());
    // No comment, one disk, no attributes.
    return bytes.two(0).two(0).two(0).four(0).four(std::min(offset, MOST_32)).text(entry.name).text(extra).take();
}

std::string endOfDirectory(std::uint64_t count, std::uint64_t size, std::uint64_t offset)
{
    Bytes bytes;
    if (count >= MOST_16 || size >= MOST_32 || offset >= MOST_32) {
        bytes.four(0x06064B50).eight(END_64_REST).two(VERSION_64).two(VERSION_64).four(0).four(0);
        bytes.eight(count).eight(count).eight(size).eight(offset);
        bytes.four(0x07064B50).four(0).eight(offset + size).four(1);
    }
    bytes.four(0x06054B50).two(0).two(0).two(std::min(count, MOST_16)).two(std::min(count, MOST_16));
    return bytes.four(std::min(size, MOST_32)).four(std::min(offset, MOST_32)).two(0).take();
}

} // namespace

std::string ZipWriter::begin(const ZipEntry& entry)
{
    std::string head = fileHead(entry);
    m_entries.push_back({entry, m_offset});
    m_offset += head.size() + entry.size;
    return head;
}

std::string ZipWriter::end() const
{
    std::string directory;
    for (const Placed& placed : m_entries)
        directory += directoryEntry(placed.entry, placed.offset);
    return directory + endOfDirectory(m_entries.size(), directory.size(), m_offset);
}

std::uint64_t ZipWriter::sizeOf(const std::vector<ZipEntry>& entries)
{
    ZipWriter writer;
    for (const ZipEntry& entry : entries)
        writer.begin(entry);
    return writer.m_offset + writer.end().size();
}

} // namespace kinloomd
