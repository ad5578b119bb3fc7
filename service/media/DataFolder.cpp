// SPDX-License-Identifier: MIT
#include "media/DataFolder.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>

namespace kinloomd {

namespace {

UniqueFd openLockFile(const std::string& path)
{
    UniqueFd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        throwSystemError("open", path);
    return fd;
}

/// The path without symbolic links: the database refuses to be reached through one.
std::string resolve(const std::string& path)
{
    const std::unique_ptr<char, decltype(&::free)> real(::realpath(path.c_str(), nullptr), &::free);
    if (!real)
        throwSystemError("find the folder", path);
    return real.get();
}

} // namespace

FolderLock::FolderLock(const std::string& path, Kind kind) : m_fd(openLockFile(path))
{
    while (::flock(m_fd.get(), kind == SHARED ? LOCK_SH : LOCK_EX) != 0) {
        if (errno != EINTR)
            throwSystemError("lock", path);
    }
}

bool FolderLock::tryExclusive(const std::string& path, FolderLock& lock)
{
    UniqueFd fd = openLockFile(path);
    if (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK)
            return false;
        throwSystemError("lock", path);
    }
    lock.m_fd = std::move(fd);
    return true;
}

DataFolder::DataFolder(const std::string& path)
{
    makePrivateFolder(path);
    m_path = resolve(path);
    if (::chmod(m_path.c_str(), 0700) != 0)
        throwSystemError("protect", m_path);
    for (const std::string& folder : {media(), thumbnails(), people(), temporary()})
        makePrivateFolder(folder);
}

DataFolder DataFolder::existing(const std::string& path)
{
    struct stat info {};
    if (::stat((path + "/kinloomd.db").c_str(), &info) != 0 || !S_ISREG(info.st_mode))
        throw std::runtime_error(path +
                                 " is not the data folder of a service; 'kinloomd serve' or 'kinloomd person add' makes one");
    return DataFolder(path);
}

} // namespace kinloomd
