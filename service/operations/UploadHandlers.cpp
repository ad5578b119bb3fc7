// SPDX-License-Identifier: MIT
#include "core/Text.h"
#include "operations/Actions.h"
#include "operations/Documents.h"
#include "operations/Handlers.h"
#include "operations/Intake.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "pictures/Formats.h"
#include "store/Contents.h"
#include "wire/Multipart.h"

namespace kinloomd {

namespace {

constexpr std::string_view FILE_PART = "filename";

std::optional<std::int64_t> announcedSize(const Parameters& form)
{
    const std::string_view text = form.get("file_size");
    if (text.empty())
        return std::nullopt;
    const auto size = parseDecimal<std::int64_t>(text);
    if (!size)
        throw ServiceError(Failure::BAD_PARAMETER, "file_size is not a number.");
    return size == 0 ? std::nullopt : size;
}

/// Takes the file of one content, within a body of several parts.
class Upload : public BodySink, private PartListener {
public:
    Upload(Service& service, const Request& request, const Slot& slot, std::unique_ptr<SlotUse> use, const std::string& boundary)
        : m_service(service),
          m_slot(slot),
          m_use(std::move(use)),
          m_documents(service.documentsFor(request)),
          m_intake(service, request.caller, slot, {request.caller.device, service.options().limits.sentBeforeTime}),
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
        m_intake.examine(m_format, m_fileName, std::nullopt);
        if (m_slot.filled) {
            if (const auto content = m_intake.twin())
                return answer(*content);
            throw ServiceError(Failure::CONFLICT, SENT_ALREADY);
        }
        const Content content = m_intake.keep();
        if (content.id != m_slot.id)
            release();
        return answer(content);
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
        m_format = pictures::formatOfMimeType(headers.contentType);
        if (m_format == Format::NONE)
            throw ServiceError(Failure::UNSUPPORTED_TYPE, pictures::FORMATS_SENTENCE);
        m_fileName = headers.fileName.value_or("");
    }

    void partData(std::string_view bytes) override
    {
        if (m_inFile)
            m_intake.take(bytes);
    }

    void partEnds() override { m_inFile = false; }

    /// The slot stays for a client that sends once more, and counts no longer against those that its person may have.
    void release()
    {
        m_service.database().change(
            [this](DatabaseConnection& connection) { noteAnswered(connection, m_slot.id, m_intake.digest()); });
    }

    Reply answer(const Content& content) const { return m_documents.feed({content}, {true, true, true}); }

    Service& m_service;
    Slot m_slot;
    std::unique_ptr<SlotUse> m_use;
    Documents m_documents;
    Intake m_intake;
    MultipartParser m_parser;
    bool m_seen = false;
    bool m_inFile = false;
    Format m_format = Format::NONE;
    std::string m_fileName;
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
    const auto size = announcedSize(request.form);
    return service.documentsFor(request).uploadSlot(reserveSlot(service, request.caller.person.id, group, size, description).id);
}

std::unique_ptr<BodySink> openUpload(Service& service, Request& request)
{
    const Id id = requireId(request.subject);
    // Marked first: what is read of the slot then holds until it is sent to, unless another service sends to it.
    auto use = std::make_unique<SlotUse>(service, id, request.caller.person.id);
    const auto slot = currentSlot(service, id, request);
    requirePermission(Action::SEND_UPLOAD, slot ? Role::AUTHOR : Role::STRANGER);
    use->requireAlone();
    const auto boundary = MultipartParser::boundaryOf(request.header("Content-Type").value_or(""));
    if (!boundary)
        throw ServiceError(Failure::MALFORMED_REQUEST, "The body must be multipart/form-data with a boundary.");
    return std::make_unique<Upload>(service, request, *slot, std::move(use), *boundary);
}

} // namespace kinloomd
