// SPDX-License-Identifier: MIT
/// \file Whether a client has something already.
#ifndef HTTPD_ENTITYTAG_H
#define HTTPD_ENTITYTAG_H

#include <string_view>

namespace httpd {

/// \return whether a list of entity tags, as in If-None-Match, holds the tag. "*" holds every tag; weak tags count as strong ones.
bool listsTag(std::string_view header, std::string_view tag);

} // namespace httpd

#endif
