// SPDX-License-Identifier: MIT
#include "commands/Options.h"

namespace kinloom {

namespace {

constexpr const char* MASK = "********";

} // namespace

std::string masked(const std::string& key, const std::string& value)
{
    if (value.empty())
        return value;
    if (key == "AuthToken")
        return MASK;
    const std::size_t scheme = value.find("://");
    const std::size_t begin = scheme == std::string::npos ? 0 : scheme + 3;
    const std::size_t at = value.rfind('@');
    const bool signsIn = key == "proxy" && at != std::string::npos && at >= begin;
    return signsIn ? value.substr(0, begin) + MASK + value.substr(at) : value;
}

} // namespace kinloom
