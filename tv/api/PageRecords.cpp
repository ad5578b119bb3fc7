// SPDX-License-Identifier: MIT
#include "tv/api/PageRecords.h"

#include "httpd/Text.h"
#include "kinloom/Encode.h"
#include "tv/service/FeedEntries.h"
#include "tv/service/Television.h"

#include <algorithm>

namespace tv {

namespace {

Json textOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

Json timeOrNull(Millis time) { return time == 0 ? Json(nullptr) : Json(localTime(time)); }

/// Null where nothing is known of a person. Portraits lie with the service, where the page cannot fetch them.
Json personOrNull(const std::string& id, const std::string& name)
{
    return id.empty() && name.empty() ? Json(nullptr) : Json{{"id", id}, {"name", name}, {"photo", nullptr}};
}

std::string mediaAddress(const std::string& content, const char* size)
{
    return "/media/" + kinloom::percentEncode(content) + "/" + size;
}

} // namespace

Json jsonOf(const W::WComment& comment)
{
    const auto size = httpd::parseDecimal<std::int64_t>(comment.getSize());
    return {{"id", comment.getUID()},
            {"text", comment.getComment()},
            {"size", size ? Json(*size) : textOrNull(comment.getSize())},
            {"written", timeOrNull(millisOf(comment.getRegisterDate()))},
            {"author", personOrNull(comment.getUser().getUID(), comment.getUser().getName())}};
}

Json itemOf(Television& television, const Entry& entry, std::optional<std::int64_t> index)
{
    const bool sized = entry.width > 0 && entry.height > 0;
    return {{"id", entry.id},
            {"type", textOrNull(entry.type)},
            {"format", textOrNull(entry.format)},
            {"description", entry.description},
            {"size", entry.size == 0 ? Json(nullptr) : Json(entry.size)},
            {"resolution", sized ? Json{{"width", entry.width}, {"height", entry.height}} : Json(nullptr)},
            {"created", timeOrNull(entry.created)},
            {"uploaded", timeOrNull(entry.uploaded)},
            {"creator", personOrNull(entry.creator, entry.creatorName)},
            {"comment_count", entry.comments},
            {"group", entry.group},
            {"index", index ? Json(*index) : Json(nullptr)},
            {"width", sized ? Json(entry.width) : Json(nullptr)},
            {"height", sized ? Json(entry.height) : Json(nullptr)},
            {"marked", television.favourites().is(Favourites::Kind::MARKED, entry.id)},
            {"has_comments", entry.comments > 0},
            {"media",
             {{"grid", mediaAddress(entry.id, "grid")},
              {"screen", mediaAddress(entry.id, "screen")},
              {"full", mediaAddress(entry.id, "full")}}}};
}

Json itemOf(Television& television, const Entry& entry) { return itemOf(television, entry, television.index().indexOf(entry.id)); }

std::int64_t visibleTotal(Television& television, const GroupEntry& group)
{
    const std::int64_t known = television.index().count(group.id);
    if (group.progress.complete)
        return known;
    const std::int64_t hidden = television.index().countAll(group.id) - known;
    return std::max(known, group.total - hidden);
}

Json jsonOf(Television& television, const GroupEntry& group)
{
    const auto newest = television.index().readKeys(group.id, 0, 1);
    return {{"id", group.id},
            {"name", group.name},
            {"description", group.description},
            {"master", personOrNull(group.master, group.masterName)},
            {"contents", group.total},
            {"photos", group.photos},
            {"videos", group.videos},
            {"music", group.music},
            {"comments", group.comments},
            {"image", newest.empty() ? Json(nullptr) : Json(mediaAddress(newest.front().id, "grid"))},
            {"total", visibleTotal(television, group)},
            {"complete", group.progress.complete}};
}

} // namespace tv
