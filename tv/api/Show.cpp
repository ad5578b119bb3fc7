// SPDX-License-Identifier: MIT
// What a show goes through, step by step.
#include "tv/api/Api.h"
#include "tv/api/PageRecords.h"
#include "tv/api/ShowLists.h"
#include "tv/service/Television.h"

#include <algorithm>

namespace tv {

namespace {

constexpr std::int64_t MOST_STEPS = 200;
constexpr std::int64_t SOME_STEPS = 20;

/// This month and day in each year that a group has something of, the latest year first.
std::vector<TimeRange> thisDay(Television& television, const std::vector<std::string>& groups)
{
    int first = 9999;
    int last = 0;
    for (const std::string& group : groups) {
        const auto months = television.index().months(group);
        if (months.empty())
            continue;
        first = std::min(first, months.back().month.year());
        last = std::max(last, months.front().month.year());
    }
    const DayOfYear day = DayOfYear::of(present());
    std::vector<TimeRange> times;
    for (int year = last; year >= first; --year)
        if (const auto range = day.in(year))
            times.push_back(*range);
    // No year has the day: that is nothing, and not everything.
    if (times.empty())
        times.push_back({0, 0});
    return times;
}

/// Marked contents of the groups, the newest first.
std::vector<std::string> marked(Television& television, const std::vector<std::string>& groups)
{
    std::vector<Key> keys;
    for (const std::string& content : television.favourites().list(Favourites::Kind::MARKED)) {
        const auto found = television.index().find(content);
        if (found && !found->hidden && std::find(groups.begin(), groups.end(), found->entry.group) != groups.end())
            keys.push_back({found->entry.created, content});
    }
    std::sort(keys.begin(), keys.end(), [](const Key& a, const Key& b) { return b < a; });
    std::vector<std::string> contents;
    contents.reserve(keys.size());
    for (Key& key : keys)
        contents.push_back(std::move(key.id));
    return contents;
}

ShowOrder orderOf(Television& television, const ApiRequest& request)
{
    ShowOrder order;
    const std::string& of = request.parameter("of");
    const std::string& group = request.parameter("group");
    const std::string& sequence = request.parameter("order");
    if (!sequence.empty() && sequence != "time" && sequence != "shuffle")
        throw ApiError(Refusal::BAD_REQUEST, "order is time or shuffle.");
    for (const GroupEntry& one : television.index().groups())
        if (group.empty() || one.id == group)
            order.groups.push_back(one.id);
    if (!group.empty() && order.groups.empty())
        throw ApiError(Refusal::NOT_FOUND, "There is no such group.");
    order.shuffled = sequence == "shuffle";
    order.seed = static_cast<std::uint64_t>(request.number("seed", 0, 0, INT64_MAX));
    order.name = of + "\n" + group + "\n" + sequence + "\n" + std::to_string(order.seed);
    if (of == "day") {
        order.times = thisDay(television, order.groups);
        order.name += "\n" + localTime(order.times.front().from); // another day, another show
    } else if (of == "marked") {
        order.chosen = marked(television, order.groups);
        order.groups.clear();
    } else if (const auto month = Month::parse(of)) {
        order.times = {month->range()};
    } else if (!of.empty() && of != "all") {
        throw ApiError(Refusal::BAD_REQUEST, "of is all, day, marked, or a month as in 2010-05.");
    }
    return order;
}

} // namespace

httpd::Reply getShow(ApiContext& context, ApiRequest& request)
{
    Television& television = context.television;
    const std::int64_t index = request.number("index", 0, 0, INT64_MAX / 2);
    const std::int64_t count = request.number("count", SOME_STEPS, 1, MOST_STEPS);
    const ShowLists::Page page = context.shows.read(orderOf(television, request), index, count);
    Json items = Json::array();
    for (const ShowLists::Step& step : page.steps) {
        Json item = itemOf(television, step.entry);
        item["step"] = step.step;
        items.push_back(std::move(item));
    }
    return jsonReply(
        {{"total", page.total}, {"index", index}, {"round", page.round}, {"next", page.next}, {"items", std::move(items)}});
}

} // namespace tv
