// SPDX-License-Identifier: MIT
/// \file The folder in which a service keeps everything.
#ifndef KINLOOMD_MEDIA_DATAFOLDER_H
#define KINLOOMD_MEDIA_DATAFOLDER_H

#include "common/FolderLock.h" // IWYU pragma: export
#include "core/DataPlace.h"    // IWYU pragma: export
#include "core/Files.h"        // IWYU pragma: export

#include <string>

namespace kinloomd {

using common::FolderLock;

/// The layout of the data folder. All of it is readable by its owner alone.
///
///     kinloomd.db     the database
///     media/3f/NNN    the original of content NNN; NNN-ATTEMPT where several services take uploads
///     thumbnails/3f/  its pictures in other sizes, which can be made again
///     people/         pictures of people
///     tmp/            uploads on their way
///     serve.lock      held by the running service
///     migrate.lock    held by whoever moves the records or media away, or gives that up
///     media.lock      held shared by programs that are adding files, and alone by the sweep for files without record
///
/// A backup has database, media and people, and as its mark "backup.lock", held by whoever writes it. A folder with "restore.lock"
/// is one that a restore has not finished.
class DataFolder {
public:
    /// Makes the folder and what is missing in it. Throws std::system_error when that cannot be done, std::runtime_error for a
    /// backup and for a restore that was broken off.
    explicit DataFolder(const DataPlace& place);
    /// Takes the folder as it is. Throws std::runtime_error when it holds no service's data.
    static DataFolder existing(const DataPlace& place);
    /// The same layout in a folder that no service uses: a backup, or one that is being restored. Nothing is made or looked at.
    static DataFolder laidOutIn(const std::string& path);
    /// \return whether a folder is a backup.
    static bool isBackup(const std::string& path);

    const std::string& path() const { return m_path; }
    /// The database that belongs to the folder: a file in it, or an address.
    std::string database() const { return m_database.empty() ? m_path + "/kinloomd.db" : m_database; }
    /// \return whether other services may use the folder: their database is elsewhere.
    bool isShared() const { return !m_database.empty(); }
    std::string media() const { return m_path + "/media"; }
    std::string thumbnails() const { return m_path + "/thumbnails"; }
    std::string people() const { return m_path + "/people"; }
    std::string temporary() const { return m_path + "/tmp"; }
    std::string serveLock() const { return m_path + "/serve.lock"; }
    std::string mediaLock() const { return m_path + "/media.lock"; }
    std::string backupLock() const { return m_path + "/backup.lock"; }
    std::string restoreLock() const { return m_path + "/restore.lock"; }
    std::string moveLock() const { return m_path + "/migrate.lock"; }

private:
    DataFolder() = default;

    std::string m_path;
    std::string m_database; ///< its address; empty for one in the folder
};

/// The path without symbolic links. Throws std::system_error when it is not there.
std::string resolvePath(const std::string& path);

} // namespace kinloomd

#endif
