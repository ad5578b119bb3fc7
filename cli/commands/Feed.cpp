// SPDX-License-Identifier: MIT
// Feeds.
#include "commands/Feed.h"
#include "commands/Command.h"
#include "commands/Words.h"
#include "core/Paging.h"
#include "output/Records.h"

namespace kinloom {

namespace {

struct FeedOptions {
    ReadFeed query;
    bool all = false;
};

bool isForward(const ReadFeed& query) { return !query.after.empty(); }

std::string& markerOf(ReadFeed& query) { return isForward(query) ? query.after : query.before; }

Records<W::WContent> read(Context& context, const FeedOptions& options)
{
    if (!options.all)
        return onePage(context.call(options.query), options.query.count);
    Records<W::WContent> all;
    forEachContent(context, options.query, [&](const W::WContent& content) {
        all.records.push_back(content);
        return true;
    });
    return all;
}

Exit feed(Context& context, const FeedOptions& given)
{
    FeedOptions options = given;
    // Without a marker a feed is read from its newest content on.
    if (options.query.before.empty() && options.query.after.empty())
        options.query.before = FEED_END;
    const Records<W::WContent> contents = read(context, options);
    Json document = {{"group", options.query.group}, {"contents", Json::array()}, {"more", contents.more}};
    for (const W::WContent& content : contents.records)
        document["contents"].push_back(toJson(content));
    const std::string direction = isForward(options.query) ? "after" : "before";
    if (contents.more)
        document["next_" + direction] = contents.records.back().getUID();
    context.result(document, [&] {
        feedTable(contents.records).print(context.output);
        if (contents.more)
            Output::note("there are more: --" + direction + " " + contents.records.back().getUID() +
                         " shows the next ones, --all shows all");
        else if (contents.records.empty())
            Output::note("there is nothing here");
    });
    return Exit::OK;
}

} // namespace

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

void addFeedCommands(CLI::App& app, Action& action)
{
    CLI::App* const command = app.add_subcommand("feed", "Shows what a group has shared");
    const auto options = onCommand(*command, action, feed);
    command->add_option("GROUP", options->query.group, "The group's identifier")->required();
    auto* const before =
        command
            ->add_option("--before", options->query.before, "Goes back in time from a content, by its identifier, or from a time")
            ->type_name("MARKER");
    command->add_option("--after", options->query.after, "Goes on in time from there instead")
        ->type_name("MARKER")
        ->excludes(before);
    addCountOption(*command, options->query.count, "How many contents to show, with --all how many to ask for at a time");
    command->add_flag("--all", options->all, "Shows all contents");
    addWordOption(*command, "--base", options->query.base, BASE_WORDS, "What they are ordered by");
    addWordOption(*command, "--item", options->query.item, ITEM_WORDS, "Which kind to show");
    addWordOption(*command, "--include", options->query.include, FEED_INCLUDE_WORDS, "What to ask for beside them");
}

} // namespace kinloom
