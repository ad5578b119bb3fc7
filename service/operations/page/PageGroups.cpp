// SPDX-License-Identifier: MIT
#include "core/Text.h"
#include "operations/Actions.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "operations/page/PageHandlers.h"
#include "operations/page/PageRecords.h"
#include "store/Groups.h"

namespace kinloomd {

namespace {

Role roleIn(const Group& group, Id person) { return group.master.id == person ? Role::MASTER : Role::MEMBER; }

Group requireGroupOf(DatabaseConnection& connection, const Request& request)
{
    const auto group = findGroupOf(connection, requireId(request.pieces[0]), request.caller.person.id);
    requirePermission(Action::READ_FEED, group ? roleIn(*group, request.caller.person.id) : Role::STRANGER);
    return *group;
}

} // namespace

Reply handlePageGroups(Service& service, Request& request)
{
    const Id caller = request.caller.person.id;
    const PageRecords records(service, caller);
    Json groups = Json::array();
    const auto connection = service.database().readInTurn();
    const Snapshot snapshot(connection);
    for (const Id id : listGroupIds(connection, caller, 0, GroupSort::RECENT_USED, 0, service.options().limits.pageRecords)) {
        if (const auto group = findGroupOf(connection, id, caller))
            groups.push_back(records.group(*group, roleIn(*group, caller)));
    }
    return jsonReply({{"groups", std::move(groups)}});
}

Reply handlePageGroupCreate(Service& service, Request& request)
{
    const Json body = bodyOf(request);
    const std::string name = textMember(body, "name", NAME_CHARACTERS);
    // What nobody can see is no name.
    const Group group = createGroup(service, request.caller.person.id, Role::AUTHOR, foldForLikeness(name).empty() ? "" : name,
                                    textMember(body, "description", TEXT_CHARACTERS));
    return jsonReply(PageRecords(service, request.caller.person.id).group(group, Role::MASTER), 201);
}

Reply handlePageGroup(Service& service, Request& request)
{
    const Id caller = request.caller.person.id;
    const auto connection = service.database().read();
    const Group group = requireGroupOf(connection, request);
    return jsonReply(PageRecords(service, caller).group(group, roleIn(group, caller)));
}

Reply handlePageMembers(Service& service, Request& request)
{
    const PageRecords records(service, request.caller.person.id);
    Json members = Json::array();
    const auto connection = service.database().readInTurn();
    const Snapshot snapshot(connection);
    const Group group = requireGroupOf(connection, request);
    for (const Person& person : listMembers(connection, group.id)) {
        Json member = records.person(person);
        member["role"] = roleIn(group, person.id) == Role::MASTER ? "master" : "member";
        members.push_back(std::move(member));
    }
    return jsonReply({{"members", std::move(members)}});
}

} // namespace kinloomd
