// SPDX-License-Identifier: MIT
#include "core/Log.h"

#include "core/Dates.h"
#include "core/Text.h"

#include <unistd.h>
#include <utility>

namespace kinloomd {

void writeLog(Priority priority, std::string_view text)
{
    std::string line = "<" + std::to_string(static_cast<int>(priority)) + ">" + formatTime(now()) + " ";
    line.append(text) += '\n';
    // Nobody is left to be told when it fails.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
}

std::string loggable(std::string_view bytes, std::size_t limit)
{
    return visibleText(bytes.substr(0, limit)) + (bytes.size() > limit ? "..." : "");
}

std::optional<unsigned> LogThrottle::admit()
{
    const auto present = Clock::now();
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (present - m_begun >= m_period) {
        m_begun = present;
        m_written = 0;
    }
    if (m_written >= m_lines) {
        ++m_leftOut;
        return std::nullopt;
    }
    ++m_written;
    return std::exchange(m_leftOut, 0);
}

} // namespace kinloomd
