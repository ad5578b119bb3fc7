// SPDX-License-Identifier: MIT
/// \file The end of what was deleted long ago, and of what has ended long ago.
#ifndef KINLOOMD_OPERATIONS_TRASHPURGE_H
#define KINLOOMD_OPERATIONS_TRASHPURGE_H

#include "core/StopSignal.h"
#include "media/MediaStore.h"
#include "store/Database.h"
#include "store/Trash.h"

#include <chrono>
#include <functional>
#include <thread>

namespace kinloomd {

/// Deletes one entry of the trash for good, with its files. It may be stopped between its parts; what is left of it then stays in
/// the trash. \return whether it is gone.
bool purgeEntry(Database& database, const MediaStore& media, const TrashEntry& entry, const std::function<bool()>& isStopped);

/// Deletes for good what has been in the trash since before a time, the oldest first.
void purgeTrash(Database& database, const MediaStore& media, Millis before, const std::function<bool()>& isStopped);

/// Forgets sign-ins, invitations, codes, changes and signers that are of no use any more.
void forgetOld(Database& database);

/// Does all of that at the start of a service and once a day, and has media without a record collected, on a thread of its own.
class TrashPurge {
public:
    /// Database and media must outlive it.
    /// \param slotTime for which a place for an upload is kept
    TrashPurge(Database& database, const MediaStore& media, std::chrono::milliseconds slotTime)
        : m_database(database), m_media(media), m_slotTime(slotTime)
    {
    }
    TrashPurge(const TrashPurge&) = delete;
    TrashPurge& operator=(const TrashPurge&) = delete;
    /// Waits for what is being done, which ends soon.
    ~TrashPurge();

    void start();
    void stop() { m_stop.give(); }

private:
    void work();

    Database& m_database;
    const MediaStore& m_media;
    std::chrono::milliseconds m_slotTime;
    StopSignal m_stop;
    std::thread m_thread;
};

} // namespace kinloomd

#endif
