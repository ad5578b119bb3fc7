// SPDX-License-Identifier: MIT
#include "httpd/Accept.h"

#include "httpd/Text.h"

#include <algorithm>
#include <string>
#include <vector>

namespace httpd {

namespace {

/// The elements of a header's list, without their parameters; those of quality 0 are left out.
std::vector<std::string_view> accepted(std::string_view list)
{
    std::vector<std::string_view> names;
    while (!list.empty()) {
        const std::string_view element = list.substr(0, list.find(','));
        list.remove_prefix(std::min(element.size() + 1, list.size()));
        const auto quality = element.find("q=");
        const bool refused = quality != std::string_view::npos &&
                             trim(element.substr(quality + 2)).find_first_not_of("0.") == std::string_view::npos;
        if (!refused)
            names.push_back(trim(element.substr(0, element.find(';'))));
    }
    return names;
}

} // namespace

bool accepts(const RequestHead& head, const char* header, std::initializer_list<std::string_view> wanted)
{
    const std::string list = head.header(header).value_or("");
    for (const std::string_view name : accepted(list)) {
        if (std::any_of(wanted.begin(), wanted.end(), [&](std::string_view one) { return equalsIgnoringCase(one, name); }))
            return true;
    }
    return false;
}

} // namespace httpd
