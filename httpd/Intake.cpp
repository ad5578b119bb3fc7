// SPDX-License-Identifier: MIT
#include "httpd/Intake.h"

namespace httpd {

namespace {

constexpr std::size_t READ_BLOCK = 64 * 1024;
constexpr std::size_t SMALL = 16 * 1024; ///< what a connection may keep while it rests

} // namespace

void Intake::take(std::size_t count)
{
    m_taken += count;
    if (m_taken < m_buffer.size())
        return;
    m_taken = 0;
    m_buffer.clear();
}

bool Intake::fill(const StopSignal* until)
{
    char block[READ_BLOCK];
    const std::size_t count = m_transport.read(block, sizeof block, until);
    m_buffer.erase(0, m_taken);
    m_taken = 0;
    if (m_buffer.empty() && m_buffer.capacity() > SMALL && count <= SMALL)
        m_buffer.shrink_to_fit();
    m_buffer.append(block, count);
    return count > 0;
}

} // namespace httpd
