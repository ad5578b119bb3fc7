// SPDX-License-Identifier: MIT
/// \file The host framework's elementary types.
#ifndef W_WTYPES_H
#define W_WTYPES_H

#include <cstdint>
#include <string>

namespace W {

using STRING = std::string;
using UINT32 = std::uint32_t;
using VOID = void;

/// Outcome of an operation: 0 is success, positive values are notices, negative values failures (see WStatus.h).
using WSTATUS = std::int32_t;

} // namespace W

#endif
