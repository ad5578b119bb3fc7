// SPDX-License-Identifier: MIT
#include "http/HeaderList.h"

#include <cstring>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

bool isBlankOnly(const STRING& value) { return value.find_first_not_of(" \t") == STRING::npos; }

} // namespace

void HeaderList::assign(const std::vector<std::pair<STRING, STRING>>& fields, Empty empty, curl_slist* tail)
{
    std::size_t size = 0;
    for (const auto& [name, value] : fields)
        size += name.size() + value.size() + 3;
    m_text.clear();
    m_text.reserve(size);
    for (const auto& [name, value] : fields) {
        m_text += name;
        if (empty == Empty::AS_SEMICOLON && isBlankOnly(value))
            m_text += ';';
        else
            m_text.append(": ").append(value);
        m_text += '\0';
    }
    m_elements.resize(fields.size());
    link(tail);
}

void HeaderList::assign(const std::vector<std::string>& lines, curl_slist* tail)
{
    m_text.clear();
    for (const std::string& line : lines)
        m_text.append(line.c_str(), line.size() + 1);
    m_elements.resize(lines.size());
    link(tail);
}

void HeaderList::clear() noexcept
{
    constexpr std::size_t MAX_KEPT = 4096;
    m_first = nullptr;
    m_elements.clear();
    m_text.clear();
    if (m_text.capacity() > MAX_KEPT)
        std::string().swap(m_text);
    if (m_elements.capacity() > MAX_KEPT / sizeof(curl_slist))
        std::vector<curl_slist>().swap(m_elements);
}

/// Points each element to its line and to the next element.
void HeaderList::link(curl_slist* tail)
{
    char* line = m_text.data();
    for (std::size_t i = 0; i < m_elements.size(); ++i) {
        m_elements[i].data = line;
        m_elements[i].next = i + 1 < m_elements.size() ? &m_elements[i + 1] : tail;
        line += std::strlen(line) + 1;
    }
    m_first = m_elements.empty() ? tail : m_elements.data();
}

} // namespace http
} // namespace W
