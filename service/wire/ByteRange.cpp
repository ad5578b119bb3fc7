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
    const auto first = parseDecimal<std::int64_t>(firstText);
    const auto last = parseDecimal<std::int64_t>(lastText);
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

} // namespace kinloomd
