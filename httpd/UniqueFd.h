// SPDX-License-Identifier: MIT
/// \file Ownership of a file descriptor.
#ifndef HTTPD_UNIQUEFD_H
#define HTTPD_UNIQUEFD_H

#include "common/UniqueFd.h" // IWYU pragma: export

namespace httpd {

using common::UniqueFd;

} // namespace httpd

#endif
