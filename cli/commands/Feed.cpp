// SPDX-License-Identifier: MIT
// Feeds.
#include "commands/Feed.h"
#include "commands/Command.h"
#include "commands/Lookup.h"
#include "commands/Words.h"
#include "core/LocalDate.h"
#include "core/Paging.h"
#include "output/Openable.h"
#include "output/Records.h"

#include <algorithm>
#include <ctime>

namespace kinloom {

namespace {

struct FeedOptions {
    ReadFeed query;
    std::string since;
    std::string until;
    bool all = false;
};

bool isForward(const ReadFeed& query) { return !query.after.empty(); }

std::string& markerOf(ReadFeed& query) { return isForward(query) ? query.after : query.before; }

/// When a content was there, in the order that the feed has.
const W::WDateTime& timeOf(const W::WContent& content, const ReadFeed& query)
{
    return query.base == W::KL_BASE_UPLOAD_TIME ? sharedAt(content) : madeAt(content);
}

/// A second as a marker.
std::string markerAt(std::time_t second)
{
    std::tm parts{};
    gmtime_r(&second, &parts);
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts));
}

/// Whether the walk, which goes back in time, has left the days that are meant.
bool isBefore(const LocalDates& days, const W::WContent& content, const ReadFeed& query)
{
    return days.begin() && static_cast<std::time_t>(timeOf(content, query).getSeconds()) < *days.begin();
}

Records<W::WContent> read(Context& context, const FeedOptions& options, const LocalDates& days)
{
    const ReadFeed& query = options.query;
    if (!options.all) {
        // The extra content that says that there are more counts only within the days that are meant.
        std::vector<W::WContent> reply = context.call(query);
        reply.erase(std::find_if(reply.begin(), reply.end(), [&](const W::WContent& one) { return isBefore(days, one, query); }),
                    reply.end());
        return onePage(std::move(reply), query.count);
    }
    Records<W::WContent> all;
    forEachContent(context, query, [&](const W::WContent& content) {
        if (isBefore(days, content, query))
            return false;
        all.records.push_back(content);
        return true;
    });
    return all;
}

/// The days that are meant, and the marker that they begin at: a feed is walked back in time from behind the last of them.
LocalDates daysOf(FeedOptions& options)
{
    const LocalDates days(options.since, options.until);
    if (days.open())
        return days;
    if (options.query.base == W::KL_BASE_CONTENT_ID)
        throw Failure(Exit::USAGE, "--since and --until go by time, and --base id does not");
    if (days.end())
        options.query.before = markerAt(*days.end());
    return days;
}

Exit feed(Context& context, const FeedOptions& given)
{
    FeedOptions options = given;
    const LocalDates days = daysOf(options);
    options.query.group = groupNumber(context, given.query.group);
    // Without a marker a feed is read from its newest content on.
    if (options.query.before.empty() && options.query.after.empty())
        options.query.before = FEED_END;
    Records<W::WContent> contents = read(context, options, days);
    for (W::WContent& content : contents.records)
        makeOpenable(content, context.lane().address());
    Json document = {{"group", options.query.group}, {"contents", Json::array()}, {"more", contents.more}};
    for (const W::WContent& content : contents.records)
        document["contents"].push_back(toJson(content));
    const std::string direction = isForward(options.query) ? "after" : "before";
    document["next_" + direction] = contents.more ? Json(contents.records.back().getUID()) : Json(nullptr);
    context.result(document, [&] {
        feedTable(contents.records).print(context.output);
        if (contents.more)
            Output::hint("there are more: --" + direction + " " + contents.records.back().getUID() +
                         (given.until.empty() ? "" : " in place of --until") + " shows the next ones, --all shows all");
        else if (contents.records.empty())
            Output::hint("there is nothing here");
    });
    return Exit::OK;
}

} // namespace

Failure fetchFailure(Context& context, const std::string& content, std::optional<std::uint64_t> announced,
                     const CallFailure& failure)
{
    if (failure.status != W::WSTATUS_LIMIT_EXCEEDED)
        return context.failureOf(failure);
    const std::uint64_t most = context.settings().client.maxFileBody;
    if (announced && (most == 0 || *announced < most))
        return Failure(Exit::FAILED,
                       "content " + content + " brings more than the " + std::to_string(*announced) + " bytes that were announced",
                       failure.status);
    return Failure(Exit::FAILED,
                   "content " + content + " is larger than the " + std::to_string(most) +
                       " bytes that a file may have here. 'kinloom config set max_file_body BYTES' raises the limit.",
                   failure.status);
}

Failure sizeFailure(const std::string& content, std::uint64_t announced, std::uint64_t arrived)
{
    return Failure(Exit::FAILED, "content " + content + " has arrived with " + std::to_string(arrived) + " bytes instead of " +
                                     std::to_string(announced) +
                                     ". Try again; if that changes nothing, the service's own log says more.");
}

void forEachContent(Context& context, ReadFeed query, const std::function<bool(const W::WContent&)>& visit)
{
    std::string& marker = markerOf(query);
    const auto fetch = [&](const std::string& from, unsigned int count) {
        marker = from;
        query.count = count;
        return context.call(query);
    };
    forEachByMarker<W::WContent>(marker, query.count, fetch, visit);
}

void addFeedCommands(commandline::Command program, Action& action)
{
    const commandline::Command command = program.command("feed", "Shows what a group has shared");
    const auto options = onCommand(command, action, feed);
    command.option("GROUP", options->query.group, "The group's name or number").required();
    const commandline::Option before =
        command.option("--before", options->query.before, "Goes back in time from a content, by its identifier, or from a time")
            .typeName("MARKER");
    const commandline::Option after =
        command.option("--after", options->query.after, "Goes on in time from there instead").typeName("MARKER").excludes(before);
    command.option("--since", options->since, "Goes back to the beginning of this day").typeName("DATE").excludes(after);
    command.option("--until", options->until, "Begins with the end of this day").typeName("DATE").excludes(after).excludes(before);
    addCountOption(command, options->query.count, "How many contents to show, with --all how many to ask for at a time");
    command.flag("--all", options->all, "Shows all contents");
    addWordOption(command, "--base", options->query.base, BASE_WORDS, "What they are ordered by");
    addWordOption(command, "--item", options->query.item, ITEM_WORDS, "Which kind to show");
    addWordOption(command, "--include", options->query.include, FEED_INCLUDE_WORDS, "What to ask for beside them");
}

} // namespace kinloom
