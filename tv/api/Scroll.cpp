// SPDX-License-Identifier: MIT
#include "tv/api/Scroll.h"

#include "common/Digest.h"
#include "common/Files.h"
#include "tv/core/Log.h"

#include <system_error>

namespace tv {

namespace {

constexpr std::size_t WAITING = 64 * 1024; ///< bytes that are written at a time

} // namespace

std::int64_t Scroll::add(std::string_view bytes)
{
    const std::int64_t offset = m_onDisk + static_cast<std::int64_t>(m_tail.size());
    m_tail += bytes;
    if (m_tail.size() >= WAITING && !m_refused)
        toDisk();
    return offset;
}

void Scroll::finish()
{
    if (!m_refused && (m_file || m_tail.size() > FEW))
        toDisk();
    m_tail.shrink_to_fit();
}

void Scroll::toDisk()
{
    try {
        if (!m_file) {
            m_path = m_folder + "/show." + common::toHex(common::randomBytes(8));
            m_file = common::createPrivateFile(m_path);
            common::removeFile(m_path);
        }
        common::writeAll(m_file.get(), m_tail, m_path);
        m_onDisk += static_cast<std::int64_t>(m_tail.size());
        m_tail.clear();
    } catch (const std::system_error& error) {
        // What was written of it lies behind all that counts, and is never read.
        log(error.what());
        m_refused = true;
    }
}

void Scroll::read(char* buffer, std::size_t size, std::int64_t offset) const
{
    if (offset >= m_onDisk) {
        m_tail.copy(buffer, size, static_cast<std::size_t>(offset - m_onDisk));
        return;
    }
    for (std::size_t read = 0; read < size;)
        read += common::readAt(m_file.get(), buffer + read, size - read, offset + static_cast<std::int64_t>(read), m_path);
}

} // namespace tv
