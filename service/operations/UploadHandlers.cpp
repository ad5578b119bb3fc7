// SPDX-License-Identifier: MIT
#include "core/Text.h"
#include "media/Formats.h"
#include "media/Pictures.h"
#include "operations/Documents.h"
#include "operations/Handlers.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "store/Contents.h"
#include "store/Groups.h"
#include "wire/Multipart.h"

namespace kinloomd {

namespace {

constexpr std::string_view FILE_PART = "filename";

std::optional<std::int64_t> announcedSize(const Service& service, const Parameters& form)
{
    const std::string_view text = form.get("file_size");
    if (text.empty())
        return std::nullopt;
    const auto size = parseSize(text);
    if (!size)
        throw ServiceError(Failure::BAD_PARAMETER, "file_size is not a number.");
    if (*size > service.options().limits.uploadBytes)
        throw ServiceError(Failure::TOO_LARGE, "The file is larger than this service takes.");
    return size == 0 ? std::nullopt : size;
}

/// Marks a slot as being sent to, as long as it lives.
class SlotUse {
public:
    SlotUse(Service& service, Id slot) : m_service(service), m_slot(slot)
    {
        if (!service.beginUpload(slot))
            throw ServiceError(Failure::CONFLICT, "The content is being sent already.");
    }
    SlotUse(const SlotUse&) = delete;
    SlotUse& operator=(const SlotUse&) = delete;
    ~SlotUse() { m_service.endUpload(m_slot); }

private:
    Service& m_service;
    Id m_slot;
};

/// Takes the file of one content. The file lies under a temporary name until it is whole and has proved to be a picture; then it
/// takes its name, and only then its record appears. Whatever fails before leaves neither.
class Upload : public BodySink, private PartListener {
public:
    Upload(Service& service, const Request& request, const Slot& slot, std::unique_ptr<SlotUse> use, const std::string& boundary)
        : m_service(service),
          m_person(request.caller.person.id),
          m_slot(slot),
          m_use(std::move(use)),
          m_documents(service.documentsFor(request)),
          m_file(service.media().folder().temporary()),
          m_parser(boundary, *this)
    {
    }

    void feed(std::string_view bytes) override { m_parser.feed(bytes); }

    Reply finish() override
    {
        if (!m_parser.isComplete())
            throw ServiceError(Failure::MALFORMED_REQUEST, "The body ends before its last boundary.");
        if (!m_seen)
            throw ServiceError(Failure::MISSING_PARAMETER, "The body holds no file.");
        if (m_uploaded.size == 0)
            throw ServiceError(Failure::BROKEN_PICTURE, "The file is empty.");
        if (m_slot.announcedSize && *m_slot.announcedSize != m_uploaded.size)
            throw ServiceError(Failure::SIZE_MISMATCH);
        try {
            examine();
            m_service.media().keepOriginal(m_file, m_slot.id);
            const Content content = record();
            return m_documents.feed({content}, {true, true, true});
        } catch (...) {
            // Once the commit has begun the record may exist even if it failed. Then the file stays: a file without record is swept
            // up at the next start, a record without file could not be mended.
            if (!m_committing)
                m_service.media().removeContent(m_slot.id);
            throw;
        }
    }

private:
    void partBegins(const PartHeaders& headers) override
    {
        m_inFile = headers.name == FILE_PART || headers.fileName.has_value();
        if (!m_inFile)
            return;
        if (m_seen)
            throw ServiceError(Failure::MALFORMED_REQUEST, "The body holds more than one file.");
        m_seen = true;
        m_uploaded.format = formatOfMimeType(headers.contentType);
        if (m_uploaded.format == Format::NONE)
            throw ServiceError(Failure::UNSUPPORTED_TYPE, "Photos are JPEG, PNG, WebP or GIF files.");
        m_uploaded.fileName = nameWithExtension(safeFileName(headers.fileName.value_or("")), m_uploaded.format);
    }

    void partData(std::string_view bytes) override
    {
        if (!m_inFile)
            return;
        m_uploaded.size += static_cast<std::int64_t>(bytes.size());
        if (m_slot.announcedSize && m_uploaded.size > *m_slot.announcedSize)
            throw ServiceError(Failure::SIZE_MISMATCH);
        if (m_uploaded.size > m_service.options().limits.uploadBytes)
            throw ServiceError(Failure::TOO_LARGE, "The file is larger than this service takes.");
        m_file.write(bytes);
    }

    void partEnds() override { m_inFile = false; }

    void examine()
    {
        if (sniffFile(m_file.path()) != m_uploaded.format)
            throw ServiceError(Failure::UNSUPPORTED_TYPE, "The file is not of the type that it is said to be.");
        const PictureInfo info = m_service.workers().run([this] {
            return makeThumbnails(m_file.path(), m_uploaded.format, m_service.pictureBounds(), m_service.media(), m_slot.id);
        });
        m_uploaded.width = info.width;
        m_uploaded.height = info.height;
        m_uploaded.taken = info.taken;
    }

    /// Makes the content appear. When this returns, it is there for good.
    Content record()
    {
        const auto connection = m_service.database().write();
        Transaction transaction(connection);
        // The group, the membership or the slot may have gone while the file was on its way.
        if (!findSlot(connection, m_slot.id, m_person) || !commitUpload(connection, m_slot, m_uploaded))
            throw ServiceError(Failure::NOT_FOUND);
        Content content = *findContent(connection, m_slot.id);
        m_committing = true;
        transaction.commit();
        return content;
    }

    Service& m_service;
    Id m_person;
    Slot m_slot;
    std::unique_ptr<SlotUse> m_use;
    Documents m_documents;
    TemporaryFile m_file;
    MultipartParser m_parser;
    bool m_seen = false;
    bool m_inFile = false;
    bool m_committing = false;
    UploadedFile m_uploaded;
};

std::optional<Slot> currentSlot(Service& service, Id id, const Request& request)
{
    const auto connection = service.database().read();
    return findSlot(connection, id, request.caller.person.id);
}

} // namespace

Reply handleReserveUpload(Service& service, Request& request)
{
    const Id group = requireId(request.subject);
    const std::string_view type = request.form.get("type");
    if (type.empty())
        throw ServiceError(Failure::MISSING_PARAMETER, "The type of the content is missing.");
    if (type != "photo")
        throw ServiceError(Failure::UNSUPPORTED_TYPE, "Only photos can be uploaded.");
    const std::string description = textParameter(request.form, "description", TEXT_CHARACTERS);
    const auto size = announcedSize(service, request.form);
    Id content = 0;
    {
        const auto connection = service.database().write();
        Transaction transaction(connection);
        requirePermission(Action::RESERVE_UPLOAD, roleInGroup(connection, group, request.caller.person.id));
        expireSlots(connection, now() - service.options().limits.slotTime.count());
        content = addSlot(connection, group, request.caller.person.id, ContentType::PHOTO, size, description);
        transaction.commit();
    }
    return service.documentsFor(request).uploadSlot(content);
}

std::unique_ptr<BodySink> openUpload(Service& service, Request& request)
{
    const Id id = requireId(request.subject);
    requirePermission(Action::SEND_UPLOAD, currentSlot(service, id, request) ? Role::AUTHOR : Role::STRANGER);
    auto use = std::make_unique<SlotUse>(service, id);
    // Looked at again: another upload to the slot may have ended just before this one took it.
    const auto slot = currentSlot(service, id, request);
    if (!slot)
        throw ServiceError(Failure::NOT_FOUND);
    if (slot->filled)
        throw ServiceError(Failure::CONFLICT, "The content has been sent already.");
    const auto boundary = MultipartParser::boundaryOf(request.header("Content-Type").value_or(""));
    if (!boundary)
        throw ServiceError(Failure::MALFORMED_REQUEST, "The body must be multipart/form-data with a boundary.");
    return std::make_unique<Upload>(service, request, *slot, std::move(use), *boundary);
}

} // namespace kinloomd
