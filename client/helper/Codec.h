// SPDX-License-Identifier: MIT
/// \file Values as bytes: what crosses the socket between a program and its helpers.
///
/// Numbers stand in little-endian order, texts and lists behind their lengths, members of records in the order of their tables
/// (Fields.h). The reader trusts nothing: it checks every length against what is there.
#ifndef KINLOOM_CLIENT_CODEC_H
#define KINLOOM_CLIENT_CODEC_H

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kinloom {

/// Bytes that are not what they should be.
class BrokenMessage : public std::runtime_error {
public:
    explicit BrokenMessage(const char* what) : std::runtime_error(what) {}
};

class Writer {
public:
    void number(std::uint64_t value, int bytes = 8)
    {
        for (int i = 0; i < bytes; ++i)
            m_bytes += static_cast<char>((value >> (8 * i)) & 0xFFU);
    }
    void real(double value)
    {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        number(bits);
    }
    void text(std::string_view value)
    {
        number(value.size(), 4);
        m_bytes.append(value);
    }

    std::string take() { return std::move(m_bytes); }

private:
    std::string m_bytes;
};

class Reader {
public:
    explicit Reader(std::string_view bytes) : m_rest(bytes) {}

    std::uint64_t number(int bytes = 8)
    {
        const std::string_view taken = take(static_cast<std::size_t>(bytes));
        std::uint64_t value = 0;
        for (int i = 0; i < bytes; ++i)
            value |= static_cast<std::uint64_t>(static_cast<unsigned char>(taken[static_cast<std::size_t>(i)])) << (8 * i);
        return value;
    }
    double real()
    {
        const std::uint64_t bits = number();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    std::string text() { return std::string(take(number(4))); }
    /// The length of a list whose elements take a byte each at least.
    std::size_t count()
    {
        const std::uint64_t value = number(4);
        if (value > m_rest.size())
            throw BrokenMessage("a list is longer than its message");
        return static_cast<std::size_t>(value);
    }
    /// A number below a limit, such as a place in a table.
    std::size_t below(std::size_t limit, int bytes)
    {
        const std::uint64_t value = number(bytes);
        if (value >= limit)
            throw BrokenMessage("a number is out of range");
        return static_cast<std::size_t>(value);
    }
    void end() const
    {
        if (!m_rest.empty())
            throw BrokenMessage("a message is longer than what it says");
    }

private:
    std::string_view take(std::uint64_t size)
    {
        if (size > m_rest.size())
            throw BrokenMessage("a message ends too early");
        const std::string_view taken = m_rest.substr(0, static_cast<std::size_t>(size));
        m_rest.remove_prefix(taken.size());
        return taken;
    }

    std::string_view m_rest;
};

} // namespace kinloom

#endif
