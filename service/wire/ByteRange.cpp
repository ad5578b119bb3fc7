// SPDX-License-Identifier: MIT
#include "wire/ByteRange.h"

#include "core/Text.h"

#include <algorithm>

namespace kinloomd {

ByteRange parseRange(std::string_view header, std::int64_t size)
{
    constexpr std::string_view UNIT = "bytes=";
    const ByteRange whole{ByteRange::WHOLE, 0, size};
    header = trim(header);
    if (header.size() < UNIT.size() || !equalsIgnoringCase(header.substr(0, UNIT.size()), UNIT))
        return whole;
    header.remove_prefix(UNIT.size());
    const auto dash = header.find('-');
    if (dash == std::string_view::npos || header.find(',') != std::string_view::npos)
        return whole;
    const std::string_view firstText = trim(header.substr(0, dash));
    const std::string_view lastText = trim(header.substr(dash + 1));
    const auto first = parseSize(firstText);
    const auto last = parseSize(lastText);
    if ((!first && !firstText.empty()) || (!last && !lastText.empty()) || (!first && !last))
        return whole;
    if (!first) {
        const std::int64_t length = std::min(*last, size);
        return length == 0 ? ByteRange{ByteRange::UNSATISFIABLE, 0, 0} : ByteRange{ByteRange::PART, size - length, length};
    }
    if (last && *last < *first)
        return whole;
    if (*first >= size)
        return {ByteRange::UNSATISFIABLE, 0, 0};
    const std::int64_t end = last ? std::min(*last, size - 1) : size - 1;
    return {ByteRange::PART, *first, end - *first + 1};
}

bool listsTag(std::string_view header, std::string_view tag)
{
    while (!header.empty()) {
        const auto comma = header.find(',');
        std::string_view entry = trim(header.substr(0, comma));
        header.remove_prefix(comma == std::string_view::npos ? header.size() : comma + 1);
        if (entry == "*")
            return true;
        if (entry.substr(0, 2) == "W/")
            entry.remove_prefix(2);
        if (entry == tag)
            return true;
    }
    return false;
}

} // namespace kinloomd
