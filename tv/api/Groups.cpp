// SPDX-License-Identifier: MIT
// Groups, their months, and their contents.
#include "tv/api/Api.h"
#include "tv/api/PageRecords.h"
#include "tv/api/Waiting.h"
#include "tv/service/FeedEntries.h"
#include "tv/service/Television.h"

namespace tv {

namespace {

using namespace std::chrono_literals;

constexpr auto FEED_PATIENCE = 15s; ///< for what somebody waits for

GroupEntry requireGroup(Television& television, const std::string& id)
{
    auto group = television.index().group(id);
    if (!group)
        throw ApiError(Refusal::NOT_FOUND, "There is no such group.");
    return *group;
}

Json monthJson(const MonthEntry& month)
{
    return {{"month", month.month.text()},
            {"count", month.count ? Json(*month.count) : Json(nullptr)},
            {"index", month.index ? Json(*month.index) : Json(nullptr)}};
}

/// Contents of a month that the index has not come to: the service is asked, by the time at which the month ends.
Json contentsOfMonth(Television& television, const GroupEntry& group, ApiRequest& request)
{
    const auto month = Month::parse(request.parameter("month"));
    if (!month)
        throw ApiError(Refusal::BAD_REQUEST, "The month is none; one looks like 2010-05.");
    const TimeRange range = month->range();
    const auto count = static_cast<unsigned int>(request.count());
    kinloom::ReadFeed query;
    query.group = group.id;
    query.before = request.parameter("before").empty() ? markerTime(range.before) : request.parameter("before");
    query.count = count;
    query.include = W::KL_INCLUDE_CREATOR;
    bool more = false;
    const auto page = pageOf(callFor(request.connection, television.connection(), query, FEED_PATIENCE), count, more);
    television.addresses().note(page);
    Json contents = Json::array();
    for (const W::WContent& content : page) {
        const Entry entry = entryOf(content, group.id);
        if (entry.created < range.from) {
            more = false;
            break;
        }
        if (!television.favourites().is(Favourites::Kind::HIDDEN, entry.id))
            contents.push_back(itemOf(television, entry));
    }
    return {{"month", month->text()}, {"contents", std::move(contents)}, {"more", more}};
}

} // namespace

httpd::Reply getGroups(ApiContext& context, ApiRequest&)
{
    Json groups = Json::array();
    for (const GroupEntry& group : context.television.index().groups())
        groups.push_back(jsonOf(context.television, group));
    return jsonReply({{"groups", std::move(groups)}});
}

httpd::Reply getMonths(ApiContext& context, ApiRequest& request)
{
    Television& television = context.television;
    const GroupEntry group = requireGroup(television, request.pieces[0]);
    std::vector<MonthEntry> months = television.index().months(group.id);
    if (!group.progress.complete) {
        // More of the last month may follow, and of those before it nothing is known but where they end.
        if (!months.empty())
            months.back().count.reset();
        Month next = months.empty() ? Month::of(present()) : months.back().month.before();
        const bool known = group.progress.oldest != 0;
        for (const Month oldest = Month::of(group.progress.oldest); known && !(next < oldest); next = next.before())
            months.push_back({next, std::nullopt, std::nullopt});
    }
    Json list = Json::array();
    for (const MonthEntry& month : months)
        list.push_back(monthJson(month));
    return jsonReply(
        {{"complete", group.progress.complete}, {"total", visibleTotal(television, group)}, {"months", std::move(list)}});
}

httpd::Reply getContents(ApiContext& context, ApiRequest& request)
{
    Television& television = context.television;
    const GroupEntry group = requireGroup(television, request.pieces[0]);
    television.follower().prefer(group.id);
    if (!request.parameter("month").empty())
        return jsonReply(contentsOfMonth(television, group, request));
    const std::int64_t index = request.index();
    Json contents = Json::array();
    std::int64_t place = index;
    for (const Entry& entry : television.index().read(group.id, index, request.count()))
        contents.push_back(itemOf(television, entry, place++));
    return jsonReply({{"total", visibleTotal(television, group)},
                      {"index", index},
                      {"complete", group.progress.complete},
                      {"contents", std::move(contents)}});
}

} // namespace tv
