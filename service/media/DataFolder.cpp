// SPDX-License-Identifier: MIT
#include "media/DataFolder.h"

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <sys/stat.h>

namespace kinloomd {

namespace {

bool exists(const std::string& path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

} // namespace

std::string resolvePath(const std::string& path)
{
    const std::unique_ptr<char, decltype(&::free)> real(::realpath(path.c_str(), nullptr), &::free);
    if (!real)
        throwSystemError("find the folder", path);
    return real.get();
}

DataFolder::DataFolder(const DataPlace& place) : m_database(place.database)
{
    const std::string& path = place.folder;
    makePrivateFolder(path);
    m_path = resolvePath(path); // the database refuses to be reached through a symbolic link
    if (exists(backupLock()))
        throw std::runtime_error(path + " is a backup; 'kinloomd restore' makes a service's folder of it");
    if (exists(restoreLock()))
        throw std::runtime_error(path + " holds a restore that was not finished; 'kinloomd restore' begins it anew");
    if (::chmod(m_path.c_str(), 0700) != 0)
        throwSystemError("protect", m_path);
    for (const std::string& folder : {media(), thumbnails(), people(), temporary()})
        makePrivateFolder(folder);
}

DataFolder DataFolder::laidOutIn(const std::string& path)
{
    DataFolder folder;
    folder.m_path = path;
    return folder;
}

bool DataFolder::isBackup(const std::string& path) { return exists(laidOutIn(path).backupLock()); }

DataFolder DataFolder::existing(const DataPlace& place)
{
    // A database elsewhere tells by itself whether it is there.
    if (!place.database.empty())
        return DataFolder(place);
    const std::string& path = place.folder;
    struct stat info {};
    const bool served = ::stat((path + "/kinloomd.db").c_str(), &info) == 0 && S_ISREG(info.st_mode);
    // What a restore has not finished is told below.
    if (!served && !exists(laidOutIn(path).restoreLock()))
        throw std::runtime_error(path +
                                 " is not the data folder of a service; 'kinloomd serve' or 'kinloomd person add' makes one");
    return DataFolder(place);
}

} // namespace kinloomd
