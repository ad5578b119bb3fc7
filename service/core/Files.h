// SPDX-License-Identifier: MIT
/// \file Files and folders of the data folder.
#ifndef KINLOOMD_CORE_FILES_H
#define KINLOOMD_CORE_FILES_H

#include "common/Files.h" // IWYU pragma: export

namespace kinloomd {

using common::copyRest;
using common::createPrivateFile;
using common::makePrivateFolder;
using common::openForReading;
using common::readAt;
using common::readFile;
using common::removeFile;
using common::renameFile;
using common::sizeOf;
using common::syncFile;
using common::syncFolder;
using common::throwSystemError;
using common::UniqueFd;
using common::writeAll;

} // namespace kinloomd

#endif
