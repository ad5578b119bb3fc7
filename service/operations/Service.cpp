// SPDX-License-Identifier: MIT
#include "operations/Service.h"

#include "core/Log.h"
#include "store/Contents.h"
#include "store/Moving.h"
#include "store/People.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace kinloomd {

namespace {

/// Takes the folder for itself. Where the database is one for several services, the folder may be too: there is no lock then while
/// another one uses it.
std::optional<FolderLock> lockForServing(const DataFolder& folder, bool shared)
{
    FolderLock lock;
    if (FolderLock::tryExclusive(folder.serveLock(), lock))
        return lock;
    if (!shared)
        throw std::runtime_error("another kinloomd serves " + folder.path() + " already");
    return std::nullopt;
}

/// Takes a place among those that use the folder at a time. Whoever has it alone has it for a moment, when it begins, or until it
/// ends.
FolderLock lockWithOthers(const DataFolder& folder)
{
    constexpr std::chrono::milliseconds PATIENCE{5'000};
    constexpr std::chrono::milliseconds PAUSE{20}; // nothing tells that a lock is free but to wait for it without an end
    const auto end = std::chrono::steady_clock::now() + PATIENCE;
    FolderLock lock;
    while (!FolderLock::tryShared(folder.serveLock(), lock)) {
        if (std::chrono::steady_clock::now() >= end)
            throw std::runtime_error("another program has " + folder.path() +
                                     " for itself: a service with its records there, or a command that looks at all of it. Begin "
                                     "again when it has ended");
        std::this_thread::sleep_for(PAUSE);
    }
    return lock;
}

/// The media of a service that may begin on these records.
std::unique_ptr<MediaStore> mediaOf(const Options& options, const DataFolder& folder, Database& database)
{
    requireServable(database.read());
    return openMediaToServe(folder, database, options.media);
}

FollowerLimits followerLimits(const Limits& limits)
{
    FollowerLimits followers;
    followers.ofNetwork = limits.eventStreamsPerAddress;
    followers.all = limits.eventStreams;
    return followers;
}

/// Who signed from where until an earlier service ended.
RecentSigners earlierSigners(Database& database, bool shared)
{
    if (shared)
        return {};
    RecentSigners signers;
    signers.whole = false;
    database.note([&signers](DatabaseConnection& connection) { signers = takeSigners(connection); });
    return signers;
}

} // namespace

Service::Service(Options options)
    : m_options(std::move(options)),
      m_timeZone(m_options.timeZone),
      m_folder(m_options.data),
      m_serveLock(lockForServing(m_folder, isShared())),
      m_database(m_folder.database()),
      m_media(mediaOf(m_options, m_folder, m_database)),
      m_mediaSecret(secretSetting(m_database, "media_secret")),
      m_signers(earlierSigners(m_database, isShared())),
      m_thumbnailer(m_database, *m_media, m_options.limits.pixels, isShared()),
      m_purge(m_database, *m_media, m_options.limits.slotTime),
      m_web(m_options.webFolder),
      m_changes(m_database, followerLimits(m_options.limits))
{
    if (isShared())
        m_sharedSigners.emplace(m_database);
    for (const std::string& fault : m_options.faults)
        m_faults.add(parseFault(fault));
    enterFolder();
    m_thumbnailer.start();
    m_purge.start();
    noteAddress();
}

Service::~Service()
{
    if (isShared())
        return;
    // One that is killed keeps none, and the next service knows that some are missing.
    const RecentSigners signers = m_signers.recent();
    try {
        m_database.note([&](DatabaseConnection& connection) { keepSigners(connection, signers); });
    } catch (const std::exception& error) {
        writeLog(Priority::WARNING, std::string("who has signed is not handed on: ") + error.what());
    }
}

void Service::stop()
{
    m_stop.give();
    m_thumbnailer.stop();
    m_purge.stop();
    m_changes.stop();
    m_media->stop();
}

void Service::noteSigner(const httpd::RequestHead& head, const std::string& duid)
{
    if (m_sharedSigners)
        m_sharedSigners->note(head, duid);
    else
        m_signers.note(head, duid);
}

std::string Service::creditedSigner(const httpd::RequestHead& head)
{
    return m_sharedSigners ? m_sharedSigners->credited(head) : m_signers.credited(head);
}

bool Service::beginUpload(Id slot, Id person)
{
    const std::lock_guard<std::mutex> lock(m_uploadsMutex);
    return m_uploads.emplace(slot, person).second;
}

void Service::endUpload(Id slot, Id person)
{
    const std::lock_guard<std::mutex> lock(m_uploadsMutex);
    m_uploads.erase({slot, person});
}

std::size_t Service::uploadsUnderWay()
{
    const std::lock_guard<std::mutex> lock(m_uploadsMutex);
    return m_uploads.size();
}

/// For commands that print addresses of this service.
void Service::noteAddress()
{
    if (m_options.ownAddress.empty())
        return;
    m_database.note([this](DatabaseConnection& connection) { changeSetting(connection, ADDRESS_SETTING, m_options.ownAddress); });
}

/// Sweeps up what was left, unless the records are being moved, and as long as no other service uses the folder: to its uploads
/// nothing must happen.
void Service::enterFolder()
{
    if (m_serveLock) {
        try {
            sweep();
        } catch (const DatabaseReadOnly& error) {
            writeLog(Priority::NOTICE, error.what());
        }
    }
    if (isShared()) {
        m_serveLock.reset();
        m_serveLock = lockWithOthers(m_folder);
    }
}

void Service::sweep()
{
    const FolderLock alone(m_folder.mediaLock(), FolderLock::EXCLUSIVE);
    const auto live = m_database.change([this](DatabaseConnection& connection) {
        expireSlots(connection, now() - m_options.limits.slotTime.count());
        return keptOriginals(connection);
    });
    const auto connection = m_database.read();
    m_media->sweep({[&live](const OriginalName& original) { return std::binary_search(live.begin(), live.end(), original); },
                    [&live](Id content) { return haveContent(live, content); },
                    [&connection](Id id, std::int64_t image) { return image != 0 && personImage(connection, id) == image; }});
}

} // namespace kinloomd
