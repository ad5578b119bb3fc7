// SPDX-License-Identifier: MIT
// Groups: list, create, delete.
#include "WKLOAI/Completion.h"
#include "WKLOAI/Operation.h"
#include "WKLOAI/OptionValues.h"

namespace W {

namespace {

constexpr OptionText SORT_TEXTS[] = {
    {sort_by::CREATED_TIME, "created_time"},
    {sort_by::RECENT_USED, "recent_used"},
};
constexpr std::string_view SORT_OTHERWISE = "alphabetical";

constexpr UINT32 DEFAULT_GROUPS = 10;

// How the include option ends the URL: the separators differ by value, and the service's parser takes each as it is.
struct IncludeTail {
    UINT32 value;
    std::string_view before;
    std::string_view text;
    std::string_view after;
};

constexpr IncludeTail INCLUDE_TAILS[] = {
    {include::USAGE, "&", "usage", "&"},
    {include::MEMBER, "&", "member", "&"},
    {include::CREATOR, "&", "creator", "&"},
    {include::NEW, "&", "new", "&"},
    {include::ALL, "&&", "creator,member,usage,new", ""},
};
constexpr IncludeTail INCLUDE_NOTHING = {0, "&", "none", ""};

const IncludeTail& includeTail(UINT32 value)
{
    for (const IncludeTail& tail : INCLUDE_TAILS)
        if (tail.value == value)
            return tail;
    return INCLUDE_NOTHING;
}

class GroupListRetrieval : public ListCompletion<GroupListRetrievalCMD, WGroup> {
public:
    using ListCompletion::ListCompletion;

    WSTATUS accept()
    {
        const WSTATUS status = ListCompletion::accept();
        if (status < 0)
            return status;
        return cmd.index + cmd.count < total ? wstatus::MORE_PAGES : wstatus::OK;
    }
    void deliver(WSTATUS result) { cmd.callback(result, provider(), records, cmd.person, cmd.userData); }
};

class GroupCreation : public ListCompletion<GroupCreationCMD, WGroup> {
public:
    using ListCompletion::ListCompletion;

    void deliver(WSTATUS result)
    {
        const WGroup& group = result >= 0 && first() ? *first() : cmd.group;
        cmd.callback(result, provider(), group, cmd.userData);
    }
};

class GroupDeletion : public ListCompletion<GroupDeletionCMD, WGroup> {
public:
    using ListCompletion::ListCompletion;

    void deliver(WSTATUS result) { cmd.callback(result, provider(), cmd.group, cmd.userData); }
};

} // namespace

WSTATUS WKLOAI::retrieveGroupList(const WPerson& person, KLGroupListCallback callback, unsigned int index, unsigned int count,
                                  KL_OPTION_SORT sort, KL_OPTION_INCLUDE include, VOID* userData)
{
    return Operation(*this).run(true, [&](const Operation& operation) {
        auto command = operation.command<GroupListRetrievalCMD>(CMD_GROUP_LIST_RETRIEVAL, callback, userData);
        command->person = person;
        command->index = index;
        command->count = count;

        const STRING& uid = person.getUID();
        const IncludeTail& tail = includeTail(include);
        ApiRequest request((uid.empty() ? STRING("me") : uid) + "/group.list");
        request.query("?", "search_index", KLService::int2str(index))
            .query("&", "search_count", countText(count, DEFAULT_GROUPS))
            .query("&", "option_sort", textOf(SORT_TEXTS, sort, SORT_OTHERWISE))
            .query(tail.before, "option_include", tail.text)
            .url.append(tail.after);
        return operation.get(std::move(command), request.sign(operation.session()));
    });
}

WSTATUS WKLOAI::createGroup(const WGroup& group, const WPerson& person, KLGroupCallback callback, VOID* userData)
{
    return Operation(*this).run(!group.getName().empty(), [&](const Operation& operation) {
        auto command = operation.command<GroupCreationCMD>(CMD_GROUP_CREATION, callback, userData);
        command->group = group;

        // Only "me" is followed by a slash: the service takes an identifier and the operation's name as one piece.
        const STRING& uid = person.getUID().empty() ? operation.session().userID : person.getUID();
        ApiRequest request((uid.empty() ? STRING("me/") : uid) + "group.create");
        request.field("group_name", group.getName());
        if (!group.getDescription().empty())
            request.field("group_desc", group.getDescription());
        return operation.post(std::move(command), request.sign(operation.session()));
    });
}

WSTATUS WKLOAI::deleteGroup(const WGroup& group, KLGroupCallback callback, VOID* userData)
{
    return Operation(*this).run(!group.getUID().empty(), [&](const Operation& operation) {
        auto command = operation.command<GroupDeletionCMD>(CMD_GROUP_DELETION, callback, userData);
        command->group = group;

        ApiRequest request("me/group.delete");
        request.field("groupID", group.getUID()).header("appToken", operation.session().appToken);
        return operation.post(std::move(command), request.sign(operation.session()));
    });
}

void WKLOAI::cbGroupListRetrievalDone(SESSION_STATUS status, const HttpResponse& response, GroupListRetrievalCMD* command)
{
    complete<GroupListRetrieval>(status, response, command);
}

void WKLOAI::cbGroupCreationDone(SESSION_STATUS status, const HttpResponse& response, GroupCreationCMD* command)
{
    complete<GroupCreation>(status, response, command);
}

void WKLOAI::cbGroupDeletionDone(SESSION_STATUS status, const HttpResponse& response, GroupDeletionCMD* command)
{
    complete<GroupDeletion>(status, response, command);
}

} // namespace W
