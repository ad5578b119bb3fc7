// SPDX-License-Identifier: MIT
// Groups.
#include "commands/Command.h"
#include "commands/Words.h"
#include "core/Paging.h"
#include "core/Text.h"
#include "output/Records.h"

namespace kinloom {

namespace {

struct ListOptions {
    ListGroups query;
    bool all = false;
};
struct CreateOptions {
    std::string name;
    std::string description;
};
struct DeleteOptions {
    std::string uid;
};

Records<W::WGroup> read(Context& context, const ListOptions& options)
{
    ListGroups query = options.query;
    if (!options.all)
        return onePage(context.call(query), query.count);
    Records<W::WGroup> all;
    all.records = allByIndex<W::WGroup>(query.index, query.count, [&](unsigned int index, unsigned int count) {
        query.index = index;
        query.count = count;
        return context.call(query);
    });
    return all;
}

Exit list(Context& context, const ListOptions& options)
{
    const Records<W::WGroup> groups = read(context, options);
    const unsigned int next = options.query.index + options.query.count;
    const Included included = includedBy(options.query.include);
    Json document = {{"groups", Json::array()}, {"more", groups.more}};
    for (const W::WGroup& group : groups.records)
        document["groups"].push_back(toJson(group, included));
    if (groups.more)
        document["next_index"] = next;
    context.result(document, [&] {
        groupTable(groups.records, included).print(context.output);
        if (groups.more)
            Output::note("there are more: --index " + std::to_string(next) + " shows the next ones, --all shows all");
        else if (groups.records.empty())
            Output::note("there are no groups here");
    });
    return Exit::OK;
}

Exit create(Context& context, const CreateOptions& options)
{
    if (options.name.empty())
        throw Failure(Exit::USAGE, "a group needs a name");
    const W::WGroup group = context.call(CreateGroup{options.name, options.description});
    context.say({{"id", group.getUID()}, {"name", group.getName()}, {"description", group.getDescription()}},
                "Created group " + neutralised(group.getUID()) + ": " + neutralised(group.getName()));
    return Exit::OK;
}

Exit remove(Context& context, const DeleteOptions& options)
{
    context.call(DeleteGroup{options.uid});
    context.say({{"deleted", options.uid}}, "Deleted group " + neutralised(options.uid) + ".");
    return Exit::OK;
}

} // namespace

void addGroupCommands(CLI::App& app, Action& action)
{
    CLI::App* const groups = app.add_subcommand("groups", "Lists groups");
    const auto listOptions = onCommand(*groups, action, list);
    groups->add_option("--person", listOptions->query.person, "Whose groups: a person's identifier; yours without it")
        ->type_name("UID");
    groups->add_option("--index", listOptions->query.index, "The first group to show, counted from 0");
    addCountOption(*groups, listOptions->query.count, "How many groups to show, with --all how many to ask for at a time");
    groups->add_flag("--all", listOptions->all, "Shows all groups");
    addWordOption(*groups, "--sort", listOptions->query.sort, SORT_WORDS, "Their order");
    addWordOption(*groups, "--include", listOptions->query.include, GROUP_INCLUDE_WORDS, "What to ask for beside names");

    CLI::App* const group = app.add_subcommand("group", "Creates and deletes groups");
    group->require_subcommand(1);
    CLI::App* const createCommand = group->add_subcommand("create", "Creates a group");
    const auto createOptions = onCommand(*createCommand, action, create);
    createCommand->add_option("NAME", createOptions->name, "Its name, in any text")->required();
    createCommand->add_option("--desc", createOptions->description, "Its description")->type_name("TEXT");

    CLI::App* const deleteCommand = group->add_subcommand("delete", "Deletes a group that is yours, with all its contents");
    const auto deleteOptions = onCommand(*deleteCommand, action, remove);
    deleteCommand->add_option("UID", deleteOptions->uid, "The group's identifier")->required();
}

} // namespace kinloom
