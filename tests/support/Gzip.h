// SPDX-License-Identifier: MIT
/// \file Compressed bodies, made by hand.
#ifndef SUPPORT_GZIP_H
#define SUPPORT_GZIP_H

#include <cstdint>
#include <string>

namespace test {

/// Puts bits together as DEFLATE orders them.
class BitWriter {
public:
    /// A number, least significant bit first.
    void number(unsigned int value, int bits)
    {
        for (int i = 0; i < bits; ++i)
            bit((value >> i) & 1);
    }
    /// A Huffman code, most significant bit first.
    void code(unsigned int value, int bits)
    {
        for (int i = bits - 1; i >= 0; --i)
            bit((value >> i) & 1);
    }
    std::string finish()
    {
        while (m_used != 0)
            bit(0);
        return m_bytes;
    }

private:
    void bit(unsigned int value)
    {
        if (m_used == 0)
            m_bytes.push_back('\0');
        m_bytes.back() = static_cast<char>(static_cast<unsigned char>(m_bytes.back()) | (value << m_used));
        m_used = (m_used + 1) % 8;
    }
    std::string m_bytes;
    int m_used = 0;
};

inline std::string littleEndian(std::uint32_t value)
{
    std::string bytes;
    for (int i = 0; i < 4; ++i)
        bytes.push_back(static_cast<char>(value >> (8 * i)));
    return bytes;
}

/// A gzip file of so many blanks, about 160 times smaller than they are.
inline std::string gzipOfBlanks(std::size_t count)
{
    BitWriter out;
    out.number(1, 1); // the last block
    out.number(1, 2); // with fixed codes
    constexpr unsigned int LITERAL_BLANK = 0x30 + ' ';
    std::size_t left = count;
    for (; left > 0 && (left == count || left < 258); --left)
        out.code(LITERAL_BLANK, 8);
    for (; left >= 258; left -= 258) {
        out.code(0xC5, 8); // length 258
        out.code(0, 5);    // distance 1
    }
    for (; left > 0; --left)
        out.code(LITERAL_BLANK, 8);
    out.code(0, 7); // end of block

    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t i = 0; i < count; ++i) {
        crc ^= ' ';
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
    }
    return std::string("\x1f\x8b\x08\0\0\0\0\0\0\xff", 10) + out.finish() + littleEndian(~crc) +
           littleEndian(static_cast<std::uint32_t>(count));
}

} // namespace test

#endif
