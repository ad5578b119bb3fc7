// SPDX-License-Identifier: MIT
#include "tv/core/Log.h"

#include <algorithm>
#include <cstdio>

namespace tv {

std::string onOneLine(std::string_view text)
{
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
    return line;
}

void log(std::string_view sentence) { std::fprintf(stderr, "kinloom-tv: %s\n", onOneLine(sentence).c_str()); }

} // namespace tv
