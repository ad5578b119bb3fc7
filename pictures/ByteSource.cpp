// SPDX-License-Identifier: MIT
#include "pictures/ByteSource.h"

#include <cerrno>
#include <limits>
#include <unistd.h>

namespace pictures {

std::string BytesOfFile::fetch(std::uint64_t offset, std::size_t count)
{
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()))
        return {};
    std::string bytes(count, '\0');
    std::size_t done = 0;
    while (done < count) {
        const ssize_t part = ::pread(m_fd, bytes.data() + done, count - done, static_cast<off_t>(offset + done));
        if (part < 0 && errno == EINTR)
            continue;
        if (part <= 0)
            break;
        done += static_cast<std::size_t>(part);
    }
    bytes.resize(done);
    return bytes;
}

std::uint64_t ByteCursor::number(std::size_t size)
{
    const std::string_view digits = bytes(size);
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const std::size_t place = m_order == BIG_ENDIAN_FIRST ? i : digits.size() - 1 - i;
        value = value << 8 | static_cast<unsigned char>(digits[place]);
    }
    return value;
}

std::string_view ByteCursor::bytes(std::size_t count)
{
    if (count > m_rest.size()) {
        m_failed = true;
        m_rest = {};
        return {};
    }
    const std::string_view taken = m_rest.substr(0, count);
    m_rest.remove_prefix(count);
    return taken;
}

} // namespace pictures
