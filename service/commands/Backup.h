// SPDX-License-Identifier: MIT
/// \file A backup as other commands read it.
#ifndef KINLOOMD_COMMANDS_BACKUP_H
#define KINLOOMD_COMMANDS_BACKUP_H

#include "media/DataFolder.h"

#include <string>

namespace kinloomd {

/// A backup that stays as it is while it is looked at: its database is opened in a copy, which may be brought to this program's
/// layout.
class BackupForReading {
public:
    /// Throws std::runtime_error when there is no finished backup, or one is being written.
    explicit BackupForReading(const std::string& path);
    BackupForReading(const BackupForReading&) = delete;
    BackupForReading& operator=(const BackupForReading&) = delete;
    /// Removes the copy.
    ~BackupForReading();

    const DataFolder& folder() const { return m_folder; }
    /// The copy.
    std::string database() const;

private:
    DataFolder m_folder;
    UniqueFd m_lock;
    std::string m_temporary;
};

} // namespace kinloomd

#endif
