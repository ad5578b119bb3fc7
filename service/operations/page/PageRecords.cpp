// SPDX-License-Identifier: MIT
#include "operations/page/PageRecords.h"

#include "operations/Documents.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "pictures/Formats.h"

namespace kinloomd {

namespace {

Json textOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

struct Allowed {
    const char* name;
    Action action;
};

/// What a member may do in a group, by the words that the page has for it.
constexpr Allowed GROUP_ACTIONS[] = {
    {"upload", Action::RESERVE_UPLOAD},     {"comment", Action::WRITE_COMMENT},     {"invite", Action::INVITE},
    {"delete_any", Action::DELETE_CONTENT}, {"delete_group", Action::DELETE_GROUP},
};

} // namespace

std::string pageMediaAddress(Id content, const char* size) { return "/page/media/" + std::to_string(content) + "/" + size; }

Json PageRecords::time(Millis time) const { return formatTime(time, m_service.timeZone().offsetAt(time)); }

Json PageRecords::person(const Person& person) const
{
    const std::string photo =
        person.image == 0 ? "" : "/page/media/person/" + std::to_string(person.id) + "-" + std::to_string(person.image);
    return {{"id", std::to_string(person.id)}, {"name", person.name}, {"photo", textOrNull(photo)}};
}

Json PageRecords::group(const Group& group, Role role) const
{
    Json may = Json::object();
    for (const Allowed& allowed : GROUP_ACTIONS)
        may[allowed.name] = isPermitted(allowed.action, role);
    return {{"id", std::to_string(group.id)},
            {"name", group.name},
            {"description", group.description},
            {"master", person(group.master)},
            {"contents", group.total},
            {"photos", group.photos},
            {"videos", group.videos},
            {"music", group.audios},
            {"comments", group.comments},
            {"image", group.cover == 0 ? Json(nullptr) : Json(pageMediaAddress(group.cover, "medium"))},
            {"role", role == Role::MASTER ? "master" : "member"},
            {"may", std::move(may)}};
}

Json PageRecords::content(const Content& content, Role role) const
{
    Json thumbnails = Json::array();
    for (const PageSize& size : PAGE_SIZES)
        thumbnails.push_back({{"name", size.name}, {"url", pageMediaAddress(content.id, size.name)}});
    const bool sized = content.width > 0 && content.height > 0;
    return {{"id", std::to_string(content.id)},
            {"type", typeName(content.type)},
            {"format", formatEntry(content.format).name},
            {"description", content.description},
            {"size", content.size},
            {"resolution", sized ? Json({{"width", content.width}, {"height", content.height}}) : Json(nullptr)},
            {"created", time(content.created)},
            {"uploaded", time(content.uploaded)},
            {"creator", person(content.creator)},
            {"url", pageMediaAddress(content.id, "original")},
            {"thumbnails", std::move(thumbnails)},
            {"comment_count", content.comments},
            {"comments", Json::array()},
            {"events", Json::array()},
            {"group", std::to_string(content.group)},
            {"file_name", content.fileName},
            {"may", {{"delete", isPermitted(Action::DELETE_CONTENT, roleTo(content.creator.id, role))}}}};
}

Json PageRecords::comment(const Comment& comment, Role role) const
{
    return {{"id", std::to_string(comment.id)},
            {"text", comment.text},
            {"size", comment.text.size()},
            {"written", time(comment.created)},
            {"author", person(comment.author)},
            {"may", {{"delete", isPermitted(Action::DELETE_COMMENT, roleTo(comment.author.id, role))}}}};
}

Json PageRecords::event(const Event& event) const
{
    return {{"id", std::to_string(event.id)},   {"title", event.title},        {"type", event.type},
            {"description", event.description}, {"start", time(event.starts)}, {"end", time(event.ends)}};
}

Json PageRecords::device(const DeviceSummary& device) const
{
    return {{"duid", device.duid},
            {"name", device.name},
            {"created", time(device.created)},
            {"signed_in", optionalTime(device.signedIn)}};
}

Json PageRecords::session(const Session& session, Id current) const
{
    return {{"id", std::to_string(session.id)}, {"name", session.name},       {"address", session.address},
            {"created", time(session.created)}, {"used", time(session.used)}, {"current", session.id == current}};
}

Role PageRecords::roleTo(Id author, Role inGroup) const
{
    return inGroup == Role::MEMBER && author == m_viewer ? Role::AUTHOR : inGroup;
}

} // namespace kinloomd
