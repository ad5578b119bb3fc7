// SPDX-License-Identifier: MIT
/// \file Replies of the service, as the benchmark server sends them.
#ifndef SUPPORT_DOCUMENTS_H
#define SUPPORT_DOCUMENTS_H

#include <string>

namespace bench::documents {

inline const std::string OK = "<rsp><result><stat>ok</stat></result><data></data></rsp>";
inline const std::string USER =
    "<rsp><result><stat>ok</stat></result><data><userId>u1</userId><userName>Ann</userName></data></rsp>";

std::string slot(const std::string& uploadUrl);
/// Groups with all their fields, about 700 bytes each.
std::string groups(unsigned int count);
/// Contents of a feed with all their fields, about 1.1 kB each.
std::string contents(unsigned int count);

} // namespace bench::documents

#endif
