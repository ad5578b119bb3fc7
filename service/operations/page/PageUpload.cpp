// SPDX-License-Identifier: MIT
// Photos from the page.
#include "core/Failure.h"
#include "core/Log.h"
#include "operations/Actions.h"
#include "operations/Intake.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "operations/page/PageHandlers.h"
#include "operations/page/PageRecords.h"
#include "store/Groups.h"

namespace kinloomd {

namespace {

constexpr std::size_t MOST_FILES = 500; ///< asked for at once
constexpr std::size_t DIGEST_DIGITS = 64;

bool isDigest(std::string_view text)
{
    return text.size() == DIGEST_DIGITS && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// The digest that a query announces; empty for none.
std::string announcedDigest(const Parameters& query)
{
    const std::string digest(query.get("sha256"));
    if (!digest.empty() && !isDigest(digest))
        throw ServiceError(Failure::BAD_PARAMETER, "sha256 is not a digest in small hexadecimal digits.");
    return digest;
}

/// When a file was changed last, as far as that can tell when its picture was taken: telephones whose clock is wrong, and those
/// that note no time, say nothing.
std::optional<Millis> timeChanged(const Parameters& query)
{
    constexpr Millis FIRST = 315'532'800'000; // 1980, where file systems begin to count
    const auto time = parseTime(query.get("modified"));
    return time && *time > FIRST && *time <= now() ? time : std::nullopt;
}

/// A place for an upload that nobody has heard of but this request: unless it is filled it goes with it. A place that stays empty
/// would count among those that a person can have.
class OwnPlace {
public:
    OwnPlace(Service& service, Id slot) : m_service(service), m_slot(slot) {}
    OwnPlace(const OwnPlace&) = delete;
    OwnPlace& operator=(const OwnPlace&) = delete;
    ~OwnPlace()
    {
        if (m_filled)
            return;
        try {
            m_service.database().change([this](DatabaseConnection& connection) { dropSlot(connection, m_slot); });
        } catch (const std::exception& error) {
            writeLog(Priority::WARNING, std::string("a place for an upload is kept for a while: ") + error.what());
        }
    }

    void fill() { m_filled = true; }

private:
    Service& m_service;
    Id m_slot;
    bool m_filled = false;
};

/// The body is the file.
class PageUpload : public BodySink {
public:
    PageUpload(Service& service, const Request& request, const Slot& slot)
        : m_service(service),
          m_caller(request.caller),
          m_slot(slot),
          m_place(service, slot.id),
          m_use(service, slot.id, request.caller.person.id),
          m_intake(service, request.caller, slot, {}),
          m_name(request.query.get("name")),
          m_digest(announcedDigest(request.query)),
          m_changed(timeChanged(request.query))
    {
    }
    void feed(std::string_view bytes) override { m_intake.take(bytes); }

    Reply finish() override
    {
        m_intake.examine(Format::NONE, m_name, m_changed);
        if (!m_digest.empty() && m_digest != m_intake.digest())
            throw ServiceError(Failure::SIZE_MISMATCH, "The file has changed on its way.");
        const Content content = m_intake.keep();
        const bool own = content.id == m_slot.id;
        if (own)
            m_place.fill();
        return answer(content, own ? 201 : 200);
    }

private:
    Reply answer(const Content& content, unsigned status) const
    {
        const auto connection = m_service.database().read();
        const Role role = roleInGroup(connection, content.group, m_caller.person.id);
        return jsonReply(PageRecords(m_service, m_caller.person.id).content(content, role), status);
    }

    Service& m_service;
    Caller m_caller;
    Slot m_slot;
    OwnPlace m_place;
    SlotUse m_use;
    Intake m_intake;
    std::string m_name;
    std::string m_digest;
    std::optional<Millis> m_changed;
};

} // namespace

std::unique_ptr<BodySink> openPageUpload(Service& service, Request& request)
{
    announcedDigest(request.query);
    const std::string description = textParameter(request.query, "description", TEXT_CHARACTERS);
    if (request.head.bodySize == 0)
        throw ServiceError(Failure::EMPTY_FILE);
    const Slot slot =
        reserveSlot(service, request.caller.person.id, requireId(request.pieces[0]), request.head.bodySize, description);
    return std::make_unique<PageUpload>(service, request, slot);
}

Reply handlePageCheck(Service& service, Request& request)
{
    const Id group = requireId(request.pieces[0]);
    const Json body = bodyOf(request);
    const auto files = body.find("files");
    if (files == body.end() || !files->is_array() || files->size() > MOST_FILES)
        throw ServiceError(Failure::BAD_PARAMETER, "files is not a list of at most " + std::to_string(MOST_FILES) + " files.");
    Json known = Json::array();
    const auto connection = service.database().readInTurn();
    const Snapshot snapshot(connection);
    requirePermission(Action::RESERVE_UPLOAD, roleInGroup(connection, group, request.caller.person.id));
    for (const Json& file : *files) {
        const std::string digest = file.is_object() ? textMember(file, "sha256", DIGEST_DIGITS) : std::string();
        if (!isDigest(digest))
            throw ServiceError(Failure::BAD_PARAMETER, "sha256 is not a digest in small hexadecimal digits.");
        if (const auto content = findByDigest(connection, group, digest))
            known.push_back({{"sha256", digest}, {"content_id", std::to_string(*content)}});
    }
    return jsonReply({{"known", std::move(known)}});
}

} // namespace kinloomd
