// SPDX-License-Identifier: MIT
/// \file Reads archives by their directories, as programs do that unpack them, and finds what does not fit together.
#ifndef TESTS_SERVICE_ZIPREADER_H
#define TESTS_SERVICE_ZIPREADER_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>
#include <zlib.h>

namespace kinloomd_test {

struct ZipFile {
    std::string name;
    std::uint64_t size = 0;
    std::uint64_t offset = 0; ///< of its head
    std::uint32_t checksum = 0;
    std::uint32_t time = 0;
    std::string bytes; ///< empty where only the directory was read
};

class ZipReader {
public:
    /// \param bytes an archive, or its end from an offset on. Throws std::runtime_error for what is none.
    explicit ZipReader(std::string_view bytes, std::uint64_t missing = 0) : m_bytes(bytes), m_missing(missing)
    {
        const auto end = m_bytes.rfind(std::string_view("PK\x05\x06", 4));
        require(end != std::string_view::npos && end + 22 == m_bytes.size(), "the end record");
        std::uint64_t count = number(end + 10, 2);
        std::uint64_t size = number(end + 12, 4);
        std::uint64_t offset = number(end + 16, 4);
        if (count == 0xFFFF || size == 0xFFFFFFFF || offset == 0xFFFFFFFF) {
            require(m_bytes.substr(end - 20, 4) == "PK\x06\x07", "the locator");
            const std::size_t end64 = place(number(end - 12, 8));
            require(m_bytes.substr(end64, 4) == "PK\x06\x06" && end64 + 56 == end - 20, "the large end record");
            count = number(end64 + 32, 8);
            size = number(end64 + 40, 8);
            offset = number(end64 + 48, 8);
            require(place(offset) + size == end64, "the size of the directory");
        } else {
            require(place(offset) + size == end, "the size of the directory");
        }
        std::size_t at = place(offset);
        for (std::uint64_t i = 0; i < count; ++i)
            at = readEntry(at);
        require(at == place(offset) + size, "the number of files");
    }

    const std::vector<ZipFile>& files() const { return m_files; }

    /// Reads the bytes of each file, and compares its head with the directory and its checksum with the bytes.
    void readFiles()
    {
        for (ZipFile& file : m_files) {
            const std::size_t head = place(file.offset);
            require(m_bytes.substr(head, 4) == std::string_view("PK\x03\x04", 4), "the head of " + file.name);
            require(number(head + 6, 2) == 0x800 && number(head + 8, 2) == 0, "the flags of " + file.name);
            require(number(head + 14, 4) == file.checksum && number(head + 22, 4) == file.size, "the head of " + file.name);
            const std::size_t name = number(head + 26, 2);
            require(m_bytes.substr(head + 30, name) == file.name, "the name in the head of " + file.name);
            file.bytes = m_bytes.substr(head + 30 + name + number(head + 28, 2), file.size);
            const auto sum = ::crc32(0, reinterpret_cast<const Bytef*>(file.bytes.data()), static_cast<uInt>(file.bytes.size()));
            require(file.bytes.size() == file.size && sum == file.checksum, "the bytes of " + file.name);
        }
    }

private:
    static void require(bool holds, const std::string& what)
    {
        if (!holds)
            throw std::runtime_error(what + " is not right");
    }
    std::size_t place(std::uint64_t offset) const
    {
        require(offset >= m_missing && offset - m_missing <= m_bytes.size(), "an offset");
        return static_cast<std::size_t>(offset - m_missing);
    }
    std::uint64_t number(std::size_t at, unsigned bytes) const
    {
        require(at + bytes <= m_bytes.size(), "the length");
        std::uint64_t value = 0;
        for (unsigned i = bytes; i > 0; --i)
            value = value << 8 | static_cast<unsigned char>(m_bytes[at + i - 1]);
        return value;
    }
    std::size_t readEntry(std::size_t at)
    {
        require(m_bytes.substr(at, 4) == std::string_view("PK\x01\x02", 4), "an entry of the directory");
        ZipFile file;
        file.time = static_cast<std::uint32_t>(number(at + 12, 4));
        file.checksum = static_cast<std::uint32_t>(number(at + 16, 4));
        file.size = number(at + 24, 4);
        require(number(at + 20, 4) == file.size, "the stored size");
        file.offset = number(at + 42, 4);
        const std::size_t name = number(at + 28, 2);
        const std::size_t extra = number(at + 30, 2);
        file.name = m_bytes.substr(at + 46, name);
        std::size_t field = at + 46 + name;
        const std::size_t end = field + extra;
        if (extra > 0) {
            require(number(field, 2) == 1 && number(field + 2, 2) + 4 == extra, "the large field of " + file.name);
            field += 4;
            if (file.size == 0xFFFFFFFF) {
                file.size = number(field, 8);
                require(number(field + 8, 8) == file.size, "the stored size");
                field += 16;
            }
            if (file.offset == 0xFFFFFFFF) {
                file.offset = number(field, 8);
                field += 8;
            }
            require(field == end, "the large field of " + file.name);
        }
        m_files.push_back(file);
        return end + number(at + 32, 2);
    }

    std::string_view m_bytes;
    std::uint64_t m_missing;
    std::vector<ZipFile> m_files;
};

} // namespace kinloomd_test

#endif
