// SPDX-License-Identifier: MIT
#include "commands/Backup.h"

#include "commands/Commands.h"
#include "media/FileCarrier.h"
#include "media/MediaPlace.h"
#include "store/Contents.h"
#include "store/People.h"
#include "store/sqlite/SqliteConnection.h"
#include "store/sqlite/SqliteEngine.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <sys/file.h>

namespace kinloomd {

namespace {

namespace fs = std::filesystem;

constexpr const char* NEW_DATABASE = "/kinloomd.db.new";

/// How often a new state is taken because files of the last one were deleted while others were being brought. At the last time
/// whoever deletes has to wait.
constexpr unsigned ATTEMPTS = 4;

void syncPath(const std::string& path)
{
    const UniqueFd fd = openForReading(path);
    syncFile(fd.get(), path);
}

/// What a service would not sweep up: what is in the trash can be brought back from a backup too.
FileList filesOf(DatabaseConnection& connection)
{
    FileList files;
    files.originals = keptOriginals(connection);
    for (const PersonImage& picture : keptPersonImages(connection))
        files.pictures.emplace_back(picture.person, picture.image);
    return files;
}

/// The state in the copy of a database.
FileList filesIn(const std::string& database) { return filesOf(*SqliteConnection::ofCopy(database)); }

bool isEmpty(const std::string& folder) { return fs::directory_iterator(folder) == fs::directory_iterator(); }

/// Makes the folder of a backup, or finds one. Its mark is there before anything else.
DataFolder backupFolder(const std::string& path, const DataFolder& source)
{
    makePrivateFolder(path);
    const DataFolder folder = DataFolder::laidOutIn(resolvePath(path));
    if ((folder.path() + "/").compare(0, source.path().size() + 1, source.path() + "/") == 0)
        throw std::runtime_error(path + " lies in the folder that is to be backed up");
    if (!DataFolder::isBackup(folder.path()) && !isEmpty(folder.path()))
        throw std::runtime_error(path + " is neither a backup nor empty");
    return folder;
}

/// \return the exit code.
int complainOf(const MissingFiles& missing, const char* where)
{
    for (const std::string& what : missing)
        std::fprintf(stderr, "kinloomd: %s has no file; %s has none either\n", what.c_str(), where);
    return missing.empty() ? EXIT_DONE : EXIT_INCONSISTENT;
}

/// Throws when the folder holds the backup of another service: that may be the only one there is.
void requireSameService(Database& database, const DataFolder& backupPlace)
{
    const std::string own = secretSetting(database, IDENTITY_SETTING);
    if (!openForReading(backupPlace.database()))
        return; // none was ever finished there
    const std::string other = findSetting(*SqliteConnection::ofCopy(backupPlace.database()), IDENTITY_SETTING);
    if (other != own)
        throw std::runtime_error(backupPlace.path() + " holds the backup of another service; each needs a folder of its own");
}

/// Puts one state of the database, and all files of it, into the folder. The state has another name at first.
FileList bringState(Database& database, const FolderMedia& source, const FolderMedia& target, FileCarrier& carrier,
                    MissingFiles& missing)
{
    const std::string copy = target.folder().path() + NEW_DATABASE;
    MissingFiles before;
    for (unsigned attempt = 1;; ++attempt) {
        std::optional<Database::Lease> writing;
        std::optional<Transaction> standstill;
        if (attempt == ATTEMPTS)
            standstill.emplace(writing.emplace(database, Database::Purpose::WRITE), Database::Purpose::MOVE);
        removeFile(copy);
        copyDatabase(database.read(), copy);
        FileList files = filesIn(copy);
        missing = bringFiles(files, source, target, carrier);
        // What two states have records of, and neither had files for, was lost earlier: no standstill brings it back.
        if (missing.empty() || standstill || missing == before)
            return files;
        before = missing;
    }
}

} // namespace

int backup(const DataPlace& data, const std::string& to)
{
    if (!data.database.empty())
        throw std::runtime_error(
            "a database at an address is backed up by its own means: 'pg_dump' first, then a copy of the folder, which has "
            "the files of all records that came until then");
    const DataFolder folder = DataFolder::existing(data);
    const DataFolder backupPlace = backupFolder(to, folder);
    FolderLock lock;
    if (!FolderLock::tryExclusive(backupPlace.backupLock(), lock))
        throw std::runtime_error(to + " is being written by another backup");
    syncFolder(backupPlace.path());
    makeFileFolders(backupPlace);
    Database database(folder.database());
    requireMediaInFolder(database, "'kinloomd backup'");
    requireSameService(database, backupPlace);
    const FolderMedia source(folder);
    const FolderMedia target(backupPlace);
    FileCarrier carrier;
    MissingFiles missing;
    const FileList files = bringState(database, source, target, carrier, missing);
    carrier.sync();
    // From one moment to the next the backup is the new one: all files of both are there.
    const std::string copy = backupPlace.path() + NEW_DATABASE;
    syncPath(copy);
    renameFile(copy, backupPlace.database());
    syncFolder(backupPlace.path());
    target.removeUnknown({[&files](const OriginalName& original) {
                              return std::binary_search(files.originals.begin(), files.originals.end(), original);
                          },
                          [&files](Id content) { return haveContent(files.originals, content); },
                          [&files](Id person, std::int64_t image) {
                              return std::binary_search(files.pictures.begin(), files.pictures.end(), std::pair(person, image));
                          }});
    std::printf("contents %zu, pictures of people %zu; new: %u linked, %u copied\n", files.originals.size(), files.pictures.size(),
                carrier.linked(), carrier.copied());
    return complainOf(missing, "the backup");
}

namespace {

/// The folder to be restored into: none yet, an empty one, or what a restore that was broken off has left, which is removed. Its
/// mark is there before anything else.
DataFolder restoreFolder(const std::string& path, FolderLock& lock)
{
    makePrivateFolder(path);
    const DataFolder folder = DataFolder::laidOutIn(resolvePath(path));
    if (!openForReading(folder.restoreLock()) && !isEmpty(folder.path()))
        throw std::runtime_error(path + " is not empty; nothing is restored over what is there");
    if (!FolderLock::tryExclusive(folder.restoreLock(), lock))
        throw std::runtime_error(path + " is being restored already");
    for (const std::string& entry : {folder.media(), folder.people(), folder.database(), folder.path() + NEW_DATABASE})
        fs::remove_all(entry);
    syncFolder(folder.path());
    return folder;
}

/// Keeps others from writing to the backup. It may lie where nothing can be written.
UniqueFd lockBackup(const DataFolder& folder)
{
    UniqueFd lock = openForReading(folder.backupLock());
    if (lock && ::flock(lock.get(), LOCK_SH | LOCK_NB) != 0)
        throw std::runtime_error(folder.path() + " is being written by a backup");
    return lock;
}

} // namespace

int restore(const std::string& from, const std::string& data)
{
    const DataFolder backupPlace = DataFolder::laidOutIn(resolvePath(from));
    if (!DataFolder::isBackup(backupPlace.path()) || !openForReading(backupPlace.database()))
        throw std::runtime_error(from + " is not a backup that was finished once");
    const UniqueFd reading = lockBackup(backupPlace);
    FolderLock lock;
    const DataFolder folder = restoreFolder(data, lock);
    makeFileFolders(folder);
    const FolderMedia source(backupPlace);
    const FolderMedia target(folder);
    FileCarrier carrier;
    const FileList files = filesIn(backupPlace.database());
    const MissingFiles missing = bringFiles(files, source, target, carrier);
    carrier.sync();
    carrier.copy(backupPlace.database(), folder.path() + NEW_DATABASE);
    renameFile(folder.path() + NEW_DATABASE, folder.database());
    syncFolder(folder.path());
    // Only now the folder is a service's.
    removeFile(folder.restoreLock());
    syncFolder(folder.path());
    std::printf("contents %zu, pictures of people %zu: %u linked, %u copied\n", files.originals.size(), files.pictures.size(),
                carrier.linked(), carrier.copied());
    return complainOf(missing, "the restored folder");
}

BackupForReading::BackupForReading(const std::string& path) : m_folder(DataFolder::laidOutIn(resolvePath(path)))
{
    if (!openForReading(m_folder.database()))
        throw std::runtime_error(path + " is a backup that was never finished");
    m_lock = lockBackup(m_folder);
    m_temporary = (fs::temp_directory_path() / "kinloomd-check-XXXXXX").string();
    if (::mkdtemp(m_temporary.data()) == nullptr)
        throwSystemError("make a folder like", m_temporary);
    FileCarrier().copy(m_folder.database(), database());
}

BackupForReading::~BackupForReading()
{
    std::error_code ignored;
    fs::remove_all(m_temporary, ignored);
}

std::string BackupForReading::database() const { return m_temporary + "/kinloomd.db"; }

} // namespace kinloomd
