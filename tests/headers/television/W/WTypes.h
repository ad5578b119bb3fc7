// SPDX-License-Identifier: MIT
/// \file Elementary types.
#ifndef TELEVISION_W_WTYPES_H
#define TELEVISION_W_WTYPES_H

#include <cstdint>
#include <string>

namespace W {

using STRING = std::string;
using UINT32 = std::uint32_t;
using VOID = void;
using WSTATUS = std::int32_t;

} // namespace W

#endif
