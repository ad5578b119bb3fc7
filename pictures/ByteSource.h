// SPDX-License-Identifier: MIT
/// \file Bytes of files that strangers wrote, read without trust.
#ifndef KINLOOM_PICTURES_BYTESOURCE_H
#define KINLOOM_PICTURES_BYTESOURCE_H

#include <cstdint>
#include <string>
#include <string_view>

namespace pictures {

/// Bytes that are read at places, so often and so many at most: whoever reads has an end however the bytes lead on.
class ByteSource {
public:
    static constexpr unsigned MOST_READS = 4096;
    static constexpr std::size_t MOST_BYTES = std::size_t{8} << 20;

    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource() = default;

    /// The bytes from a place on: fewer than asked for at the end, and none once too much was read.
    std::string read(std::uint64_t offset, std::size_t count)
    {
        if (m_reads >= MOST_READS || count > MOST_BYTES - m_bytes)
            return {};
        ++m_reads;
        m_bytes += count;
        return fetch(offset, count);
    }

private:
    virtual std::string fetch(std::uint64_t offset, std::size_t count) = 0;

    unsigned m_reads = 0;
    std::size_t m_bytes = 0;
};

/// Bytes in memory, which must outlive it.
class BytesInMemory : public ByteSource {
public:
    explicit BytesInMemory(std::string_view bytes) : m_bytes(bytes) {}

private:
    std::string fetch(std::uint64_t offset, std::size_t count) override
    {
        return offset >= m_bytes.size() ? std::string() : std::string(m_bytes.substr(static_cast<std::size_t>(offset), count));
    }

    std::string_view m_bytes;
};

/// Bytes of an open file. Borrows the descriptor and leaves its position alone.
class BytesOfFile : public ByteSource {
public:
    explicit BytesOfFile(int fd) : m_fd(fd) {}

private:
    std::string fetch(std::uint64_t offset, std::size_t count) override;

    int m_fd;
};

/// Numbers and texts one behind the other. Once something is not there, it has failed: all that follows is 0 and empty.
class ByteCursor {
public:
    enum Order { BIG_ENDIAN_FIRST, LITTLE_ENDIAN_FIRST };

    explicit ByteCursor(std::string_view bytes, Order order = BIG_ENDIAN_FIRST) : m_rest(bytes), m_order(order) {}

    /// A number of so many bytes, 0 to 8.
    std::uint64_t number(std::size_t size);
    unsigned u8() { return static_cast<unsigned>(number(1)); }
    unsigned u16() { return static_cast<unsigned>(number(2)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    std::string_view bytes(std::size_t count);
    void skip(std::size_t count) { bytes(count); }
    std::string_view rest() const { return m_rest; }

    bool failed() const { return m_failed; }

private:
    std::string_view m_rest;
    Order m_order;
    bool m_failed = false;
};

} // namespace pictures

#endif
