// SPDX-License-Identifier: MIT
/// \file The folder in which a service keeps everything.
#ifndef KINLOOMD_MEDIA_DATAFOLDER_H
#define KINLOOMD_MEDIA_DATAFOLDER_H

#include "core/Files.h"

#include <string>

namespace kinloomd {

/// A lock on one of the folder's lock files, held as long as it lives, across processes.
class FolderLock {
public:
    enum Kind { SHARED, EXCLUSIVE };

    /// Waits for the lock.
    FolderLock(const std::string& path, Kind kind);
    /// Takes the lock when it is free. \return whether it was.
    static bool tryExclusive(const std::string& path, FolderLock& lock);
    FolderLock() = default;

private:
    UniqueFd m_fd;
};

/// The layout of the data folder. All of it is readable by its owner alone.
///
///     kinloomd.db     the database
///     media/3f/NNN    the original of content NNN
///     thumbnails/3f/  its pictures in other sizes, which can be made again
///     people/         pictures of people
///     tmp/            uploads on their way
///     serve.lock      held by the running service
///     media.lock      held shared by programs that are adding files, and alone by the sweep for files without record
class DataFolder {
public:
    /// Makes the folder and what is missing in it. Throws std::system_error when that cannot be done.
    explicit DataFolder(const std::string& path);
    /// Takes the folder as it is. Throws std::runtime_error when it holds no service's data.
    static DataFolder existing(const std::string& path);

    const std::string& path() const { return m_path; }
    std::string database() const { return m_path + "/kinloomd.db"; }
    std::string media() const { return m_path + "/media"; }
    std::string thumbnails() const { return m_path + "/thumbnails"; }
    std::string people() const { return m_path + "/people"; }
    std::string temporary() const { return m_path + "/tmp"; }
    std::string serveLock() const { return m_path + "/serve.lock"; }
    std::string mediaLock() const { return m_path + "/media.lock"; }

private:
    std::string m_path;
};

} // namespace kinloomd

#endif
