// SPDX-License-Identifier: MIT
#include "operations/Intake.h"

#include "core/Text.h"
#include "media/PhotoTime.h"
#include "operations/Allowance.h"
#include "operations/Service.h"
#include "pictures/Formats.h"
#include "pictures/PictureHeader.h"
#include "store/Locks.h"

namespace kinloomd {

SlotUse::SlotUse(Service& service, Id slot, Id person)
    : m_service(service), m_slot(slot), m_person(person), m_alone(service.beginUpload(slot, person))
{
}

SlotUse::~SlotUse()
{
    if (m_alone)
        m_service.endUpload(m_slot, m_person);
}

void SlotUse::requireAlone() const
{
    if (!m_alone)
        throw ServiceError(Failure::CONFLICT, "The content is being sent already.");
}

Intake::Intake(Service& service, const Caller& caller, const Slot& slot, const Same& same)
    : m_service(service),
      m_caller(caller),
      m_slot(slot),
      m_same(same),
      m_original(service.media().newName(slot.id)),
      m_draft(service.media().newOriginal(m_original))
{
    m_uploaded.attempt = m_original.attempt;
    if (slot.announcedSize)
        m_draft->expect(*slot.announcedSize);
}

void Intake::take(std::string_view bytes)
{
    m_uploaded.size += static_cast<std::int64_t>(bytes.size());
    if (m_slot.announcedSize && m_uploaded.size > *m_slot.announcedSize)
        throw ServiceError(Failure::SIZE_MISMATCH);
    if (m_uploaded.size > m_service.options().limits.uploadBytes)
        throw ServiceError(Failure::TOO_LARGE, "The file is larger than this service takes.");
    requirePlace(m_slot.announcedSize.value_or(m_uploaded.size));
    m_digest.add(bytes);
    m_draft->write(bytes);
}

/// What was sent before needs no room once more; until the end nobody knows whether it is that.
void Intake::requirePlace(std::int64_t size)
{
    const Limits& limits = m_service.options().limits;
    if (hasRoom(limits, m_slot.usedBytes, size))
        return;
    if (!m_largestTwin) {
        const auto connection = m_service.database().read();
        m_largestTwin = largestTwin(connection, m_slot.group, twinsNow());
    }
    if (size > *m_largestTwin)
        requireRoom(limits, m_slot.usedBytes, size);
}

void Intake::examine(Format announced, const std::string& fileName, std::optional<Millis> fallback)
{
    if (m_uploaded.size == 0)
        throw ServiceError(Failure::EMPTY_FILE);
    if (m_slot.announcedSize && *m_slot.announcedSize != m_uploaded.size)
        throw ServiceError(Failure::SIZE_MISMATCH);
    pictures::BytesOfFile bytes(m_draft->fd());
    const Format shown = pictures::sniffFormat(bytes.read(0, pictures::SNIFF_BYTES));
    if (announced != Format::NONE && shown != announced)
        throw ServiceError(Failure::UNSUPPORTED_TYPE, "The file is not of the type that it is said to be.");
    if (shown == Format::NONE)
        throw ServiceError(Failure::UNSUPPORTED_TYPE, pictures::FORMATS_SENTENCE);
    const auto header = pictures::readPictureHeader(bytes, shown);
    if (!header)
        throw ServiceError(Failure::BROKEN_PICTURE);
    if (!fitsInto(m_service.options().limits.pixels, *header))
        throw ServiceError(Failure::BROKEN_PICTURE, "The picture has too many pixels.");
    m_uploaded.format = shown;
    m_uploaded.fileName = nameWithExtension(safeFileName(fileName), shown);
    m_uploaded.width = header->width;
    m_uploaded.height = header->height;
    m_uploaded.taken = timeTaken(header->exif, m_service.timeZone());
    if (!m_uploaded.taken)
        m_uploaded.taken = fallback;
    m_uploaded.digest = toHex(m_digest.finish());
    if (m_caller.device != 0)
        m_uploaded.device = m_caller.device;
}

Twins Intake::twinsNow() const { return {m_same.device, now() - m_same.lately.count()}; }

std::optional<Content> Intake::twin() const
{
    const auto connection = m_service.database().read();
    return findContentOf(connection);
}

std::optional<Content> Intake::findContentOf(DatabaseConnection& connection) const
{
    const auto id = findTwin(connection, m_slot.group, m_uploaded.digest, twinsNow());
    return id ? findContent(connection, *id) : std::nullopt;
}

Content Intake::keep()
{
    Kept kept = keepFileAndRecord();
    if (kept.thisAttempt)
        m_service.thumbnailer().add({m_original, m_caller.person.id}, m_uploaded.taker.until);
    else
        m_service.media().removeOriginal(m_original);
    return std::move(kept.content);
}

/// Whatever fails leaves neither.
Intake::Kept Intake::keepFileAndRecord()
{
    try {
        m_draft->keep();
        m_uploaded.taker = m_service.thumbnailer().taker();
        return m_service.database().change([this](DatabaseConnection& connection) { return record(connection); });
    } catch (const DatabaseError& error) {
        // The record may exist even though its commit failed. Then the file stays: a file without record is swept up later, a
        // record without file could not be mended.
        if (!error.mayBeDone())
            m_service.media().removeOriginal(m_original);
        throw;
    } catch (...) {
        m_service.media().removeOriginal(m_original);
        throw;
    }
}

Intake::Kept Intake::record(DatabaseConnection& connection) const
{
    lockGroupAndPerson(connection, m_slot.group, m_caller.person.id);
    const std::int64_t quota = m_service.options().limits.quotaBytes;
    if (auto content = commitUploadAtOnce(connection, m_slot, m_uploaded, m_caller.person, twinsNow(), quota))
        return {*std::move(content), true};
    // Step by step, or to find out what is in the way.
    if (auto twin = findContentOf(connection))
        return {*twin, false};
    // The group, the membership or the slot may have gone while the file was on its way.
    const auto slot = findSlot(connection, m_slot.id, m_caller.person.id);
    if (!slot)
        throw ServiceError(Failure::NOT_FOUND);
    // Another service has taken an upload for it.
    if (slot->filled)
        throw ServiceError(Failure::CONFLICT, SENT_ALREADY);
    // Other uploads may have come first.
    requireRoom(m_service.options().limits, slot->usedBytes, m_uploaded.size);
    if (!commitUpload(connection, m_slot, m_uploaded))
        throw ServiceError(Failure::NOT_FOUND);
    return {*findContent(connection, m_slot.id), true};
}

} // namespace kinloomd
