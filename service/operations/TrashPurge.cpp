// SPDX-License-Identifier: MIT
#include "operations/TrashPurge.h"

#include "core/Log.h"
#include "operations/MediaCollector.h"
#include "store/Changes.h"
#include "store/Pairings.h"
#include "store/People.h"
#include "store/Sessions.h"

#include <exception>
#include <string>

namespace kinloomd {

bool purgeEntry(Database& database, const MediaStore& media, const TrashEntry& entry, const std::function<bool()>& isStopped)
{
    while (!isStopped()) {
        const Purged purged = database.change([&entry](DatabaseConnection& connection) { return purgeSome(connection, entry); });
        // What a program that ends here leaves, is swept up at the next start.
        for (const OriginalName& original : purged.contents)
            media.removeContent(original);
        if (purged.image != 0)
            media.removePersonImage(entry.thing, purged.image);
        if (purged.whole)
            return true;
    }
    return false;
}

void purgeTrash(Database& database, const MediaStore& media, Millis before, const std::function<bool()>& isStopped)
{
    const auto oldest = [&] {
        const auto connection = database.read();
        return oldestTrash(connection, before);
    };
    for (auto entry = oldest(); entry && purgeEntry(database, media, *entry, isStopped);)
        entry = oldest();
}

void forgetOld(Database& database)
{
    database.change([](DatabaseConnection& connection) {
        forgetSessions(connection);
        forgetPairings(connection);
        forgetChanges(connection);
        forgetSigners(connection, now() - DAY);
    });
}

TrashPurge::~TrashPurge()
{
    m_stop.give();
    if (m_thread.joinable())
        m_thread.join();
}

void TrashPurge::start()
{
    m_thread = std::thread([this] { work(); });
}

void TrashPurge::work()
{
    do {
        try {
            forgetOld(m_database);
            purgeTrash(m_database, m_media, now() - TRASH_TIME, [this] { return m_stop.isGiven(); });
        } catch (const DatabaseReadOnly&) {
            continue; // what is being moved, or was, stays as it is
        } catch (const std::exception& error) {
            // A full disk, a database that stays locked: tomorrow it may go.
            writeLog(Priority::WARNING, std::string("the trash was not emptied: ") + error.what());
        }
        try {
            collectMedia(m_database, m_media, now() - m_slotTime.count() - DAY);
        } catch (const std::exception& error) {
            writeLog(Priority::WARNING, std::string("media without a record were not collected: ") + error.what());
        }
    } while (m_stop.sleepFor(std::chrono::milliseconds(DAY)));
}

} // namespace kinloomd
