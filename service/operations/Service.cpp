// SPDX-License-Identifier: MIT
#include "operations/Service.h"

#include "store/Contents.h"
#include "store/People.h"

#include <algorithm>
#include <stdexcept>

namespace kinloomd {

namespace {

constexpr unsigned PICTURE_THREADS = 2;

FolderLock lockForServing(const DataFolder& folder)
{
    FolderLock lock;
    if (!FolderLock::tryExclusive(folder.serveLock(), lock))
        throw std::runtime_error("another kinloomd serves " + folder.path() + " already");
    return lock;
}

std::string mediaSecret(Database& database)
{
    const auto connection = database.write();
    return secretSetting(connection, "media_secret");
}

} // namespace

Service::Service(Options options)
    : m_options(std::move(options)),
      m_folder(m_options.dataFolder),
      m_serveLock(lockForServing(m_folder)),
      m_database(m_folder.database()),
      m_media(m_folder),
      m_mediaSecret(mediaSecret(m_database)),
      m_workers(PICTURE_THREADS, &endPictureThread)
{
    for (const std::string& fault : m_options.faults)
        m_faults.add(parseFault(fault));
    sweep();
}

PictureBounds Service::pictureBounds() const
{
    return {m_options.limits.pixels, [this] { return m_stop.isGiven(); }};
}

void Service::stop()
{
    m_stop.give();
    m_workers.stop();
}

bool Service::beginUpload(Id slot)
{
    const std::lock_guard<std::mutex> lock(m_uploadsMutex);
    return m_uploads.insert(slot).second;
}

void Service::endUpload(Id slot)
{
    const std::lock_guard<std::mutex> lock(m_uploadsMutex);
    m_uploads.erase(slot);
}

void Service::sweep()
{
    const FolderLock alone(m_folder.mediaLock(), FolderLock::EXCLUSIVE);
    std::vector<Id> live;
    {
        const auto connection = m_database.write();
        Transaction transaction(connection);
        expireSlots(connection, now() - m_options.limits.slotTime.count());
        live = liveContentIds(connection);
        transaction.commit();
    }
    const auto connection = m_database.read();
    m_media.sweep([&live](Id id) { return std::binary_search(live.begin(), live.end(), id); },
                  [&connection](Id id, std::int64_t image) {
                      const auto person = findPerson(connection, id);
                      return person && image != 0 && person->image == image;
                  });
}

} // namespace kinloomd
