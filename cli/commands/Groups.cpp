// SPDX-License-Identifier: MIT
// Groups.
#include "commands/Command.h"
#include "commands/Completion.h"
#include "commands/Deletion.h"
#include "commands/Lookup.h"
#include "commands/Words.h"
#include "core/Paging.h"
#include "core/Text.h"
#include "output/Openable.h"
#include "output/Records.h"

#include <algorithm>

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
Records<W::WGroup> read(Context& context, const ListOptions& options)
{
    ListGroups query = options.query;
    if (!query.person.empty())
        query.person = personNumber(context, query.person);
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

Exit listGroups(Context& context, const ListOptions& options)
{
    Records<W::WGroup> groups = read(context, options);
    for (W::WGroup& group : groups.records)
        makeOpenable(group, context.lane().address());
    const unsigned int next = options.query.index + options.query.count;
    const Included included = includedBy(options.query.include);
    Json document = {{"groups", Json::array()}, {"more", groups.more}};
    for (const W::WGroup& group : groups.records)
        document["groups"].push_back(toJson(group, included));
    document["next_index"] = groups.more ? Json(next) : Json(nullptr);
    context.result(document, [&] {
        groupTable(groups.records, included).print(context.output);
        if (groups.more)
            Output::hint("there are more: --index " + std::to_string(next) + " shows the next ones, --all shows all");
        else if (groups.records.empty())
            Output::hint("there are no groups here");
    });
    return Exit::OK;
}

Exit createGroup(Context& context, const CreateOptions& options)
{
    if (options.name.empty())
        throw Failure(Exit::USAGE, "a group needs a name");
    requireText(options.name, "the name");
    requireText(options.description, "the description");
    const W::WGroup group = context.call(CreateGroup{options.name, options.description});
    GroupNames::forget(context);
    context.confirm({{"id", group.getUID()}, {"name", group.getName()}, {"description", group.getDescription()}},
                    "Created group " + group.getUID() + ": " + group.getName());
    return Exit::OK;
}

/// What goes with the group. Where it is none of the person's, there is nothing to tell, and the service refuses it.
Doomed doomedGroup(Context& context, const DeletionOptions& options)
{
    const std::string uid = groupNumber(context, options.what);
    const std::vector<W::WGroup> groups = allGroups(context, W::KL_INCLUDE_ALL);
    const auto found = std::find_if(groups.begin(), groups.end(), [&](const W::WGroup& group) { return group.getUID() == uid; });
    if (found != groups.end()) {
        W::WGroup record = *found;
        makeOpenable(record, context.lane().address());
        return {"group", uid,
                "group " + uid + " " + quoted(found->getName()) + " with " +
                    counted(found->getTotalCount(), found->getTotalCount() == found->getPhotoCount() ? "photo" : "content") +
                    " and " + counted(found->getCommentCount(), "comment"),
                toJson(record, {true, true})};
    }
    if (options.yes)
        return {"group", uid, "group " + uid, nullptr};
    CallFailure failure{FailureKind::FAILED, W::WSTATUS_REJECTED, "cannot delete the group", context.lane().address(),
                        "there is no group '" + uid + "' of yours"};
    failure.reason = FailureReason::NOT_FOUND;
    throwFailure(failure);
}

Exit deleteGroup(Context& context, const DeletionOptions& options)
{
    return deleteAsked(
        context, options, [&] { return doomedGroup(context, options); },
        [&](const Doomed& group) {
            context.call(DeleteGroup{group.uid});
            GroupNames::forget(context);
        });
}

} // namespace

void addGroupCommands(commandline::Command program, Action& action)
{
    const commandline::Command groups = program.command("groups", "Lists groups");
    const auto listOptions = onCommand(groups, action, listGroups);
    groups.option("--person", listOptions->query.person, "Whose groups: a person's name or number; yours without it")
        .typeName("PERSON");
    groups.option("--index", listOptions->query.index, "The first group to show, counted from 0");
    addCountOption(groups, listOptions->query.count, "How many groups to show, with --all how many to ask for at a time");
    groups.flag("--all", listOptions->all, "Shows all groups");
    addWordOption(groups, "--sort", listOptions->query.sort, SORT_WORDS, "Their order");
    addWordOption(groups, "--include", listOptions->query.include, GROUP_INCLUDE_WORDS, "What to ask for beside names");

    const commandline::Command group = program.command("group", "Creates and deletes groups");
    group.needsCommand();
    const commandline::Command createCommand = group.command("create", "Creates a group");
    const auto createOptions = onCommand(createCommand, action, createGroup);
    createCommand.option("NAME", createOptions->name, "Its name, in any text").required();
    createCommand.option("--desc", createOptions->description, "Its description").typeName("TEXT");

    const commandline::Command deleteCommand = group.command("delete", "Deletes a group that is yours, with all its contents");
    addDeletionOptions(deleteCommand, *onCommand(deleteCommand, action, deleteGroup), "GROUP", "The group's name or number");
}

} // namespace kinloom
