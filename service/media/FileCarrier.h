// SPDX-License-Identifier: MIT
/// \file Files that never change, brought from one folder to another.
#ifndef KINLOOMD_MEDIA_FILECARRIER_H
#define KINLOOMD_MEDIA_FILECARRIER_H

#include "media/FolderMedia.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace kinloomd {

/// Brings files to where they belong, whole or not at all, and only those that are not there. On one file system they become
/// further names of the same file, or share its blocks; elsewhere they are copied, and what is one file here is one there.
class FileCarrier {
public:
    /// Brings a file. A name that is there already counts, if the file is of the same size.
    /// \return whether it is there now; false when there is nothing to be brought.
    bool bring(const std::string& from, const std::string& to);

    /// Copies a file into a new one, which is on the disk when this returns. Shares its blocks where the file system can.
    void copy(const std::string& from, const std::string& to);

    /// Brings the names of all that was brought to the disk.
    void sync();

    unsigned linked() const { return m_linked; }
    unsigned copied() const { return m_copied; }

private:
    void place(int source, const std::string& from, const std::string& to);

    std::map<std::pair<dev_t, ino_t>, std::string> m_places; ///< of files with several names
    std::set<std::string> m_folders;                         ///< in which something is new
    unsigned m_linked = 0;
    unsigned m_copied = 0;
};

/// The files of one state of a service's database: what a backup and a restore bring.
struct FileList {
    std::vector<OriginalName> originals;               ///< of contents, in rising order
    std::vector<std::pair<Id, std::int64_t>> pictures; ///< of people: person and number, in rising order
};

/// What was found missing.
using MissingFiles = std::vector<std::string>;

/// Brings the files of a list between two folders. \return those that are in neither, as a person reads it.
MissingFiles bringFiles(const FileList& files, const FolderMedia& from, const FolderMedia& to, FileCarrier& carrier);

/// Makes the folders of a backup, or of a restore, that hold files.
void makeFileFolders(const DataFolder& folder);

} // namespace kinloomd

#endif
