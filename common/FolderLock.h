// SPDX-License-Identifier: MIT
/// \file Folders that one program, or programs of one kind, have for themselves.
#ifndef KINLOOM_COMMON_FOLDERLOCK_H
#define KINLOOM_COMMON_FOLDERLOCK_H

#include "common/UniqueFd.h"

#include <string>

namespace common {

/// A lock on one of a folder's lock files, held as long as it lives, across processes. The file is made when it is missing.
/// What goes wrong throws std::system_error.
class FolderLock {
public:
    enum Kind { SHARED, EXCLUSIVE };

    /// Waits for the lock.
    FolderLock(const std::string& path, Kind kind);
    /// Takes the lock when it is free. \return whether it was.
    static bool tryExclusive(const std::string& path, FolderLock& lock) { return tryLock(path, EXCLUSIVE, lock); }
    /// The same for one of several. \return whether nobody has it alone.
    static bool tryShared(const std::string& path, FolderLock& lock) { return tryLock(path, SHARED, lock); }
    FolderLock() = default;

private:
    static bool tryLock(const std::string& path, Kind kind, FolderLock& lock);

    UniqueFd m_fd;
};

} // namespace common

#endif
