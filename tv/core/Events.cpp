// SPDX-License-Identifier: MIT
#include "tv/core/Events.h"

#include "tv/core/Calendar.h"

#include <algorithm>

namespace tv {

namespace {

constexpr std::chrono::seconds BEAT{15};

std::string textOfEvent(std::uint64_t id, const char* name, const Json& data)
{
    return "id: " + std::to_string(id) + "\nevent: " + name + "\ndata: " + textOf(data) + "\n\n";
}

} // namespace

Events::Events() : m_last(static_cast<std::uint64_t>(present())), m_beat([this] { beat(); }) {}

Events::~Events()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ended = true;
        for (const auto& line : m_lines)
            line->end();
    }
    m_ending.notify_all();
    m_beat.join();
}

void Events::tell(const char* name, const Json& data)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_kept.push_back({++m_last, {}});
    Event& event = m_kept.back();
    event.text = textOfEvent(event.id, name, data);
    if (m_kept.size() > KEPT)
        m_kept.pop_front();
    m_lines.erase(std::remove_if(m_lines.begin(), m_lines.end(), [&](const auto& line) { return !line->write(event.text); }),
                  m_lines.end());
}

std::shared_ptr<httpd::Channel> Events::listen(const std::vector<std::pair<const char*, Json>>& first,
                                               std::optional<std::uint64_t> after)
{
    auto line = std::make_shared<httpd::Channel>();
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::string text;
    for (const auto& [name, data] : first)
        text += textOfEvent(after.value_or(m_last), name, data);
    if (after && *after != m_last) {
        // What lies between must be there whole; a number beyond the last one is another program's.
        if (*after > m_last || m_kept.empty() || m_kept.front().id > *after + 1) {
            text += textOfEvent(m_last, "reset", Json::object());
        } else {
            for (const Event& event : m_kept)
                if (event.id > *after)
                    text += event.text;
        }
    }
    line->write(text.empty() ? ": \n\n" : text);
    if (m_ended)
        line->end();
    else
        m_lines.push_back(line);
    return line;
}

std::size_t Events::listeners()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.erase(std::remove_if(m_lines.begin(), m_lines.end(), [](const auto& line) { return !line->write({}); }), m_lines.end());
    return m_lines.size();
}

void Events::beat()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ending.wait_for(lock, BEAT, [this] { return m_ended; }))
        m_lines.erase(std::remove_if(m_lines.begin(), m_lines.end(), [](const auto& line) { return !line->write(": \n\n"); }),
                      m_lines.end());
}

} // namespace tv
