// SPDX-License-Identifier: MIT
#include "operations/Actions.h"
#include "operations/Documents.h"
#include "operations/Handlers.h"
#include "operations/LongReply.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "store/Groups.h"
#include "store/People.h"
#include "store/Trash.h"

namespace kinloomd {

namespace {

constexpr std::string_view MYSELF = "me";
constexpr std::uint32_t DEFAULT_GROUPS = 10;

constexpr Word<GroupSort> SORTS[] = {
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

/// A page of groups. Which ones and in what order is settled at its beginning, since a group changes its place when it is used;
/// what is told of each is read when its turn comes. A group that is gone by then is left out.
class GroupListing : public Listing {
public:
    GroupListing(const Service& service, const Request& request, std::vector<Id> groups, const Include& include)
        : m_documents(service.documentsFor(request)),
          m_caller(request.caller.person),
          m_groups(std::move(groups)),
          m_include(include)
    {
    }

    void begin(XmlWriter& xml) override { m_documents.beginGroups(xml, m_caller); }

    void admit(DatabaseConnection&) const override {} // nothing is read but groups that the person is a member of

    bool goOn(DatabaseConnection& connection, XmlWriter& xml) override
    {
        if (!endGroup(connection, xml))
            return false;
        while (m_next < m_groups.size()) {
            if (!hasRoom(xml))
                return false;
            const auto group = findGroupOf(connection, m_groups[m_next++], m_caller.id);
            if (!group)
                continue;
            m_documents.beginGroup(xml, *group, m_include);
            m_members = MemberPage{group->id, 0};
            if (!endGroup(connection, xml))
                return false;
        }
        return true;
    }

private:
    /// Writes what is left of a group that is begun. \return whether it is through.
    bool endGroup(DatabaseConnection& connection, XmlWriter& xml)
    {
        if (!m_members)
            return true;
        const auto write = [&](const Person& member) {
            m_documents.writeMember(xml, member);
            return hasRoom(xml);
        };
        if (m_include.member && !readMembers(connection, *m_members, write))
            return false;
        m_members.reset();
        xml.close();
        return true;
    }

    Documents m_documents;
    Person m_caller;
    std::vector<Id> m_groups;
    std::size_t m_next = 0;
    std::optional<MemberPage> m_members; ///< of the group that is begun
    Include m_include;
};

} // namespace

Reply handleGroupList(Service& service, Request& request)
{
    const std::int64_t index = numberParameter(request.query, "search_index", 0);
    const std::int64_t count = pageSize(service, request.query, DEFAULT_GROUPS);
    const GroupSort sort = wordParameter(request.query, "option_sort", SORTS);
    const Include include = includeParameter(request.query);
    const auto connection = service.database().readInTurn();
    const Snapshot snapshot(connection);
    const Subject subject = subjectOf(connection, request);
    requirePermission(Action::LIST_GROUPS_OF_PERSON, subject.role);
    const Id sharedWith = subject.role == Role::AUTHOR ? 0 : subject.person;
    // One more than asked for says that there are more.
    auto groups = listGroupIds(connection, request.caller.person.id, sharedWith, sort, index, count + 1);
    return longReply(service, connection, std::make_unique<GroupListing>(service, request, std::move(groups), include));
}

Reply handleGroupCreate(Service& service, Request& request)
{
    const std::string name = textParameter(request.form, "group_name", NAME_CHARACTERS);
    const std::string description = textParameter(request.form, "group_desc", TEXT_CHARACTERS);
    Subject subject;
    {
        const auto connection = service.database().read();
        subject = subjectOf(connection, request);
    }
    const Group group = createGroup(service, subject.person, subject.role, name, description);
    return service.documentsFor(request).newGroup(group, request.caller.person);
}

Reply handleGroupDelete(Service& service, Request& request)
{
    if (request.subject != MYSELF)
        throw ServiceError(Failure::NOT_FOUND);
    const Id group = requireId(request.form.get("groupID"));
    service.database().change([&](DatabaseConnection& connection) {
        requirePermission(Action::DELETE_GROUP, roleInGroup(connection, group, request.caller.person.id));
        trashGroup(connection, group, request.caller.person.id);
    });
    return okReply(service.options().replyShape);
}

} // namespace kinloomd
