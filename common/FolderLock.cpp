// SPDX-License-Identifier: MIT
#include "common/FolderLock.h"

#include "common/Files.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace common {

namespace {

UniqueFd openLockFile(const std::string& path)
{
    UniqueFd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        throwSystemError("open", path);
    return fd;
}

} // namespace

FolderLock::FolderLock(const std::string& path, Kind kind) : m_fd(openLockFile(path))
{
    while (::flock(m_fd.get(), kind == SHARED ? LOCK_SH : LOCK_EX) != 0) {
        if (errno != EINTR)
            throwSystemError("lock", path);
    }
}

bool FolderLock::tryLock(const std::string& path, Kind kind, FolderLock& lock)
{
    UniqueFd fd = openLockFile(path);
    if (::flock(fd.get(), (kind == SHARED ? LOCK_SH : LOCK_EX) | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK)
            return false;
        throwSystemError("lock", path);
    }
    lock.m_fd = std::move(fd);
    return true;
}

} // namespace common
