// SPDX-License-Identifier: MIT
/// \file Statuses: numbers, and a routine that names them.
#ifndef TELEVISION_W_WSTATUS_H
#define TELEVISION_W_WSTATUS_H

#include "W/WTypes.h" // IWYU pragma: export

namespace W {

const char* WSTATUS2STRING(unsigned int status);

} // namespace W

#endif
