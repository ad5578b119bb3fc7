// SPDX-License-Identifier: MIT
#include "tv/api/CommentsInDoubt.h"

namespace tv {

void CommentsInDoubt::note(const std::string& content, const std::string& text)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Millis now = present();
    for (auto one = m_sent.begin(); one != m_sent.end();)
        one = now - one->second > LIFE ? m_sent.erase(one) : std::next(one);
    m_sent[{content, text}] = now;
}

std::optional<Millis> CommentsInDoubt::since(const std::string& content, const std::string& text)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_sent.find({content, text});
    if (found == m_sent.end() || present() - found->second > LIFE)
        return std::nullopt;
    return found->second;
}

void CommentsInDoubt::settle(const std::string& content, const std::string& text)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sent.erase({content, text});
}

} // namespace tv
