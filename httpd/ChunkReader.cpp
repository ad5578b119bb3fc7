// SPDX-License-Identifier: MIT
#include "httpd/ChunkReader.h"

#include "httpd/Text.h"

#include <algorithm>

namespace httpd {

namespace {

constexpr unsigned SIZE_DIGITS = 15;               ///< hexadecimal; more would not fit into a file size
constexpr std::size_t OVERHEAD_LIMIT = 256 * 1024; ///< of extensions and trailers, which nobody reads

/// \return whether such a byte may stand in an extension or a trailer.
bool isText(unsigned char c) { return c == '\t' || (c >= ' ' && c != 0x7F); }

} // namespace

std::string_view ChunkReader::take(std::string_view& bytes)
{
    while (m_state == State::MORE && !bytes.empty()) {
        if (m_expected == Expected::DATA) {
            const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(m_left, bytes.size()));
            const std::string_view piece = bytes.substr(0, count);
            bytes.remove_prefix(count);
            m_left -= count;
            if (m_left == 0)
                m_expected = Expected::DATA_CR;
            return piece;
        }
        if (!step(static_cast<unsigned char>(bytes.front())))
            m_state = State::BROKEN;
        bytes.remove_prefix(1);
    }
    return {};
}

bool ChunkReader::addDigit(unsigned char c)
{
    const int digit = hexDigit(static_cast<char>(c));
    if (digit < 0 || ++m_digits > SIZE_DIGITS)
        return false;
    m_left = m_left * 16 + static_cast<unsigned>(digit);
    return true;
}

/// Takes one byte of what is passed over: up to the CR that ends its line.
bool ChunkReader::skip(unsigned char c, Expected goesOn, Expected ends)
{
    m_expected = c == '\r' ? ends : goesOn;
    return c == '\r' || (isText(c) && ++m_overhead <= OVERHEAD_LIMIT);
}

/// Takes one byte that is none of the body. \return false when it cannot stand there.
bool ChunkReader::step(unsigned char c)
{
    switch (m_expected) {
    case Expected::SIZE:
        if (hexDigit(static_cast<char>(c)) >= 0)
            return addDigit(c);
        m_expected = c == '\r' ? Expected::SIZE_END : Expected::EXTENSION;
        return m_digits > 0 && (c == '\r' || c == ';');
    case Expected::EXTENSION:
        return skip(c, Expected::EXTENSION, Expected::SIZE_END);
    case Expected::SIZE_END:
        m_expected = m_left == 0 ? Expected::TRAILER_BEGIN : Expected::DATA;
        m_digits = 0;
        return c == '\n';
    case Expected::DATA:
        return false;
    case Expected::DATA_CR:
        m_expected = Expected::DATA_LF;
        return c == '\r';
    case Expected::DATA_LF:
        m_expected = Expected::SIZE;
        return c == '\n';
    case Expected::TRAILER_BEGIN:
        return skip(c, Expected::TRAILER, Expected::LAST_LF);
    case Expected::TRAILER:
        return skip(c, Expected::TRAILER, Expected::TRAILER_LF);
    case Expected::TRAILER_LF:
        m_expected = Expected::TRAILER_BEGIN;
        return c == '\n';
    case Expected::LAST_LF:
        m_state = State::WHOLE;
        return c == '\n';
    }
    return false;
}

} // namespace httpd
