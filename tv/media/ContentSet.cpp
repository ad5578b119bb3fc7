// SPDX-License-Identifier: MIT
#include "tv/media/ContentSet.h"

#include "tv/media/PictureName.h"

#include <algorithm>
#include <cstdlib>

namespace tv {

namespace {

/// What the names of a content's files begin with, as a number.
std::uint64_t markOf(std::string_view folder, std::string_view name)
{
    constexpr std::size_t DIGITS = 16;
    constexpr int BASE = 16;
    const std::string digits = (std::string(folder) + std::string(name)).substr(0, DIGITS);
    return std::strtoull(digits.c_str(), nullptr, BASE);
}

std::uint64_t markOf(const std::string& content)
{
    const ContentPlace place = placeOf(content);
    return markOf(place.folder, place.prefix);
}

} // namespace

void ContentSet::add(const std::string& content) { m_marks.push_back(markOf(content)); }

void ContentSet::finish() { std::sort(m_marks.begin(), m_marks.end()); }

bool ContentSet::has(const std::string& content) const
{
    return std::binary_search(m_marks.begin(), m_marks.end(), markOf(content));
}

bool ContentSet::hasFile(std::string_view folder, std::string_view name) const
{
    return std::binary_search(m_marks.begin(), m_marks.end(), markOf(folder, name));
}

} // namespace tv
