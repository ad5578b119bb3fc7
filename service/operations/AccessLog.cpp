// SPDX-License-Identifier: MIT
#include "operations/AccessLog.h"

#include "core/Text.h"
#include "operations/Paths.h"

#include <cstdio>

namespace kinloomd {

namespace {

std::string printable(const std::string& text)
{
    std::string line = cleanText(text);
    for (char& c : line)
        c = static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
    return line;
}

std::string withoutKey(const std::string& target)
{
    if (target.compare(0, MEDIA_PATH.size(), MEDIA_PATH) != 0)
        return target;
    const auto key = target.find('/', MEDIA_PATH.size());
    if (key == std::string::npos)
        return std::string(MEDIA_PATH) + "...";
    const auto end = target.find('/', key + 1);
    return target.substr(0, key) + "/..." + (end == std::string::npos ? std::string() : target.substr(end));
}

} // namespace

void logRequest(const httpd::RequestHead& head, std::optional<unsigned> status, std::chrono::duration<double, std::milli> time)
{
    const std::string outcome = status ? std::to_string(*status) : std::string("-");
    std::fprintf(stderr, "%s %s %s %s %.1fms\n", head.address.c_str(), printable(head.method).c_str(),
                 printable(withoutKey(head.target)).c_str(), outcome.c_str(), time.count());
}

} // namespace kinloomd
