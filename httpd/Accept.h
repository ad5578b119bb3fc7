// SPDX-License-Identifier: MIT
/// \file What a client says that it takes.
#ifndef HTTPD_ACCEPT_H
#define HTTPD_ACCEPT_H

#include "httpd/Request.h"

#include <initializer_list>
#include <string_view>

namespace httpd {

/// \return whether a header such as Accept or Accept-Encoding lists one of the names, and not with the quality 0.
bool accepts(const RequestHead& head, const char* header, std::initializer_list<std::string_view> wanted);

} // namespace httpd

#endif
