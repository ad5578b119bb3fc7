// SPDX-License-Identifier: MIT
#include "store/ThumbnailQueue.h"

namespace kinloomd {

namespace {

constexpr int MOST_TRIES = 20;  ///< of services that found nobody else at it; then only those who ask for it have it tried
constexpr Millis PAUSE{60'000}; ///< after the first failure

std::vector<PendingContent> takenBy(Query& query)
{
    std::vector<PendingContent> taken;
    while (query.step())
        taken.push_back({{query.integer(0), query.integer(1)}, query.integer(2)});
    return taken;
}

} // namespace

std::vector<PendingContent> takeForThumbnails(DatabaseConnection& connection, const ThumbnailTaker& taker, Millis free,
                                              std::int64_t count)
{
    const std::int64_t tries = free == TAKEN_BY_NOBODY ? std::numeric_limits<std::int64_t>::max() : MOST_TRIES;
    Query query(connection, Sql::THUMBNAILS_TAKE);
    return takenBy(query.bind(taker.number, taker.until, free, tries, count));
}

std::optional<PendingContent> takeOneForThumbnails(DatabaseConnection& connection, const ThumbnailTaker& taker, Millis free,
                                                   Id content)
{
    Query query(connection, Sql::THUMBNAILS_TAKE_ONE);
    const auto taken = takenBy(query.bind(content, taker.number, taker.until, free));
    return taken.empty() ? std::nullopt : std::optional<PendingContent>(taken.front());
}

bool areThumbnailsPending(DatabaseConnection& connection, Id content)
{
    Query query(connection, Sql::THUMBNAILS_ARE_PENDING);
    return query.bind(content).step();
}

void putOffThumbnails(DatabaseConnection& connection, std::int64_t taker, Id content)
{
    Query(connection, Sql::THUMBNAILS_PUT_OFF).bind(content, taker, now(), PAUSE).run();
}

void giveBackThumbnails(DatabaseConnection& connection, std::int64_t taker)
{
    Query(connection, Sql::THUMBNAILS_GIVE_BACK).bind(taker).run();
}

} // namespace kinloomd
