// SPDX-License-Identifier: MIT
/// \file The size of a file that is to be sent.
#ifndef KLSERVICE_FILESIZE_H
#define KLSERVICE_FILESIZE_H

#include "W/WTypes.h"

namespace W {

/// True when something stands at the path that is not a regular file: a folder, a pipe, a device. None of them can be sent; opening
/// one may even block.
bool existsButIsNoFile(const STRING& path);

/// The size of a regular file in bytes; 0 when it cannot be opened.
long fileSize(const STRING& path);

} // namespace W

#endif
