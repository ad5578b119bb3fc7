// SPDX-License-Identifier: MIT
#include "operations/Documents.h"
#include "operations/Handlers.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "store/Groups.h"
#include "store/People.h"

namespace kinloomd {

namespace {

constexpr std::string_view MYSELF = "me";
constexpr std::uint32_t DEFAULT_COUNT = 10;

struct SortEntry {
    std::string_view name;
    GroupSort value;
};

constexpr SortEntry SORTS[] = {
    {"alphabetical", GroupSort::ALPHABETICAL},
    {"created_time", GroupSort::CREATED_TIME},
    {"recent_used", GroupSort::RECENT_USED},
};

/// The person that the path names, and what the caller is to him or her.
struct Subject {
    Id person = 0;
    Role role = Role::STRANGER;
};

Subject subjectOf(DatabaseConnection& connection, const Request& request)
{
    const Id caller = request.caller.person.id;
    const Id person = request.subject == MYSELF ? caller : requireId(request.subject);
    if (person == caller)
        return {person, Role::AUTHOR};
    return {person, shareGroup(connection, caller, person) ? Role::MEMBER : Role::STRANGER};
}

/// The groups with the people that the request wants to see beside them.
std::vector<GroupEntry> withMembers(DatabaseConnection& connection, std::vector<Group> groups, const Include& include)
{
    std::vector<GroupEntry> entries;
    entries.reserve(groups.size());
    for (Group& group : groups) {
        GroupEntry& entry = entries.emplace_back();
        if (include.member)
            entry.members = listMembers(connection, group.id);
        entry.group = std::move(group);
    }
    return entries;
}

} // namespace

Reply handleGroupList(Service& service, Request& request)
{
    const std::int64_t index = numberParameter(request.query, "search_index", 0);
    const std::int64_t count = pageSize(service, request.query, DEFAULT_COUNT);
    const GroupSort sort = wordParameter(request.query, "option_sort", SORTS);
    const Include include = includeParameter(request.query);
    std::vector<GroupEntry> groups;
    {
        const auto connection = service.database().read();
        const Snapshot snapshot(connection);
        const Subject subject = subjectOf(connection, request);
        requirePermission(Action::LIST_GROUPS_OF_PERSON, subject.role);
        const Id sharedWith = subject.role == Role::AUTHOR ? 0 : subject.person;
        // One more than asked for says that there are more.
        groups =
            withMembers(connection, listGroups(connection, request.caller.person.id, sharedWith, sort, index, count + 1), include);
    }
    return service.documentsFor(request).groups(groups, include, request.caller.person);
}

Reply handleGroupCreate(Service& service, Request& request)
{
    const std::string name = textParameter(request.form, "group_name", NAME_CHARACTERS);
    const std::string description = textParameter(request.form, "group_desc", TEXT_CHARACTERS);
    if (name.empty())
        throw ServiceError(Failure::MISSING_PARAMETER, "A group needs a name.");
    GroupEntry entry;
    {
        const auto connection = service.database().write();
        Transaction transaction(connection);
        const Subject subject = subjectOf(connection, request);
        requirePermission(Action::CREATE_GROUP_FOR_PERSON, subject.role);
        const Id id = addGroup(connection, name, description, subject.person);
        entry.group = *findGroup(connection, id);
        entry.members = {request.caller.person};
        transaction.commit();
    }
    return service.documentsFor(request).newGroup(entry);
}

Reply handleGroupDelete(Service& service, Request& request)
{
    if (request.subject != MYSELF)
        throw ServiceError(Failure::NOT_FOUND);
    const Id group = requireId(request.form.get("groupID"));
    std::vector<Id> contents;
    {
        const auto connection = service.database().write();
        Transaction transaction(connection);
        requirePermission(Action::DELETE_GROUP, roleInGroup(connection, group, request.caller.person.id));
        contents = listContentIds(connection, group);
        deleteGroup(connection, group);
        transaction.commit();
    }
    // The records are gone for good; what a service that ends before the files are gone leaves, is swept up at the next start.
    service.workers().submit([&media = service.media(), &stop = service.stopSignal(), contents = std::move(contents)] {
        for (auto content = contents.begin(); content != contents.end() && !stop.isGiven(); ++content)
            media.removeContent(*content);
    });
    return okReply(service.options().replyShape);
}

} // namespace kinloomd
