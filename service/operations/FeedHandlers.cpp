// SPDX-License-Identifier: MIT
#include "core/Text.h"
#include "operations/Documents.h"
#include "operations/Handlers.h"
#include "operations/LongReply.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "store/Contents.h"
#include "store/Groups.h"

#include <limits>

namespace kinloomd {

namespace {

constexpr std::uint32_t DEFAULT_CONTENTS = 30;

constexpr Word<FeedBase> BASES[] = {
    {"created_time", FeedBase::CREATED_TIME},
    {"upload_time", FeedBase::UPLOAD_TIME},
    {"content_id", FeedBase::CONTENT_ID},
};

constexpr Word<ContentType> ITEMS[] = {
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

/// The content that a marker names; 0 for none.
Id contentOf(const Page& page) { return parseId(page.marker).value_or(0); }

/// The place that a marker names: an end of the feed, a content, or, in the orders by time, a time.
/// \param place of the content that it names
Marker resolveMarker(const Page& page, FeedBase base, const std::optional<Marker>& place)
{
    for (const EndEntry& end : ENDS) {
        if (end.direction == page.direction && end.name == page.marker)
            return end.marker;
    }
    if (const Id id = contentOf(page); id != 0) {
        if (base == FeedBase::CONTENT_ID)
            return {0, id};
        if (place)
            return *place;
        throw ServiceError(Failure::BAD_PARAMETER, "The marker is no content of this group.");
    }
    const auto time = parseTime(page.marker);
    if (!time || base == FeedBase::CONTENT_ID)
        throw ServiceError(Failure::BAD_PARAMETER, "The marker is neither the identifier of a content nor a time.");
    // Contents of exactly that time are on neither side of it.
    return {*time, page.direction == FeedDirection::BEFORE ? 0 : std::numeric_limits<Id>::max()};
}

class FeedListing : public Listing {
public:
    FeedListing(const Service& service, const Request& request, const FeedPage& page, const Include& include)
        : m_documents(service.documentsFor(request)), m_caller(request.caller.person.id), m_page(page), m_include(include)
    {
    }

    void begin(XmlWriter& xml) override { Documents::beginData(xml); }

    void admit(DatabaseConnection& connection) const override
    {
        requirePermission(Action::READ_FEED, roleInGroup(connection, m_page.group, m_caller));
    }

    bool goOn(DatabaseConnection& connection, XmlWriter& xml) override
    {
        return readFeed(connection, m_page, [&](const Content& content) {
            m_documents.writeContent(xml, content, m_include);
            return hasRoom(xml);
        });
    }

private:
    Documents m_documents;
    Id m_caller;
    FeedPage m_page;
    Include m_include;
};

} // namespace

Reply handleFeeds(Service& service, Request& request)
{
    const Id group = requireId(request.subject);
    const Page page = requestedPage(request.query);
    FeedPage feed;
    feed.group = group;
    feed.direction = page.direction;
    // One more than asked for says that there are more.
    feed.count = std::int64_t{pageSize(service, request.query, DEFAULT_CONTENTS)} + 1;
    feed.base = wordParameter(request.query, "search_base", BASES);
    feed.type = wordParameter(request.query, "option_item", ITEMS);
    const Include include = includeParameter(request.query);
    const auto connection = service.database().readInTurn();
    const Snapshot snapshot(connection);
    const FeedEntry entry = enterFeed(connection, group, request.caller.person.id, contentOf(page), feed.base);
    requirePermission(Action::READ_FEED, entry.role);
    feed.from = resolveMarker(page, feed.base, entry.marker);
    return longReply(service, connection, std::make_unique<FeedListing>(service, request, feed, include));
}

} // namespace kinloomd
