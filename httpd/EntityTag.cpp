// SPDX-License-Identifier: MIT
#include "httpd/EntityTag.h"

#include "httpd/Text.h"

namespace httpd {

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

} // namespace httpd
