// SPDX-License-Identifier: MIT
#include "core/Text.h"
#include "operations/Documents.h"
#include "operations/Handlers.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "store/Contents.h"
#include "store/Groups.h"

#include <limits>

namespace kinloomd {

namespace {

constexpr std::uint32_t DEFAULT_COUNT = 30;

struct BaseEntry {
    std::string_view name;
    FeedBase value;
};

constexpr BaseEntry BASES[] = {
    {"created_time", FeedBase::CREATED_TIME},
    {"upload_time", FeedBase::UPLOAD_TIME},
    {"content_id", FeedBase::CONTENT_ID},
};

struct ItemEntry {
    std::string_view name;
    ContentType value;
};

constexpr ItemEntry ITEMS[] = {
    {"all", ContentType::ANY},
    {"photo", ContentType::PHOTO},
    {"video", ContentType::VIDEO},
    {"music", ContentType::MUSIC},
};

/// The ends of every feed, by the names that clients give them.
struct EndEntry {
    std::string_view name;
    FeedDirection direction;
    Marker marker;
};

constexpr Marker BEHIND_NEWEST = {std::numeric_limits<Millis>::max(), std::numeric_limits<Id>::max()};
constexpr Marker BEFORE_OLDEST = {std::numeric_limits<Millis>::min(), 0};

constexpr EndEntry ENDS[] = {
    {"0", FeedDirection::BEFORE, BEHIND_NEWEST},
    {"latest", FeedDirection::BEFORE, BEHIND_NEWEST},
    {"0", FeedDirection::AFTER, BEFORE_OLDEST},
    {"earliest", FeedDirection::AFTER, BEFORE_OLDEST},
};

struct Page {
    FeedDirection direction;
    std::string_view marker;
};

Page requestedPage(const Parameters& query)
{
    const std::string_view before = query.get("search_before");
    const std::string_view after = query.get("search_after");
    if (before.empty() == after.empty())
        throw ServiceError(Failure::MISSING_PARAMETER, "Exactly one of search_before and search_after is needed.");
    return before.empty() ? Page{FeedDirection::AFTER, after} : Page{FeedDirection::BEFORE, before};
}

/// The place that a marker names: an end of the feed, a content, or, in the orders by time, a time.
Marker resolveMarker(DatabaseConnection& connection, Id group, const Page& page, FeedBase base)
{
    for (const EndEntry& end : ENDS) {
        if (end.direction == page.direction && end.name == page.marker)
            return end.marker;
    }
    if (const auto id = parseId(page.marker)) {
        if (base == FeedBase::CONTENT_ID)
            return {0, *id};
        if (const auto marker = markerOf(connection, group, *id, base))
            return *marker;
        throw ServiceError(Failure::BAD_PARAMETER, "The marker is no content of this group.");
    }
    const auto time = parseTime(page.marker);
    if (!time || base == FeedBase::CONTENT_ID)
        throw ServiceError(Failure::BAD_PARAMETER, "The marker is neither the identifier of a content nor a time.");
    // Contents of exactly that time are on neither side of it.
    return {*time, page.direction == FeedDirection::BEFORE ? 0 : std::numeric_limits<Id>::max()};
}

} // namespace

Reply handleFeeds(Service& service, Request& request)
{
    const Id group = requireId(request.subject);
    const Page page = requestedPage(request.query);
    const std::int64_t count = pageSize(service, request.query, DEFAULT_COUNT);
    const FeedBase base = wordParameter(request.query, "search_base", BASES);
    const ContentType type = wordParameter(request.query, "option_item", ITEMS);
    const Include include = includeParameter(request.query);
    std::vector<Content> contents;
    {
        const auto connection = service.database().read();
        const Snapshot snapshot(connection);
        requirePermission(Action::READ_FEED, roleInGroup(connection, group, request.caller.person.id));
        const Marker marker = resolveMarker(connection, group, page, base);
        // One more than asked for says that there are more.
        contents = listFeed(connection, group, base, page.direction, type, marker, count + 1);
        const std::int64_t epoch = mediaEpochOf(connection, group);
        for (Content& content : contents)
            content.mediaEpoch = epoch;
    }
    return service.documentsFor(request).feed(contents, include);
}

} // namespace kinloomd
