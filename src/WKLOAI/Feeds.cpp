// SPDX-License-Identifier: MIT
// The feed of a group, and the gallery that the service does not offer.
#include "WKLOAI/Completion.h"
#include "WKLOAI/Operation.h"
#include "WKLOAI/OptionValues.h"

namespace W {

namespace {

constexpr OptionText BASE_TEXTS[] = {
    {search_by::UPLOAD_TIME, "upload_time"},
    {search_by::CONTENT_ID, "content_id"},
};
constexpr std::string_view BASE_OTHERWISE = "created_time";

constexpr OptionText ITEM_TEXTS[] = {
    {item::PHOTO, "photo"},
    {item::VIDEO, "video"},
    {item::MUSIC, "music"},
};
constexpr std::string_view ITEM_OTHERWISE = "all";

// Feeds know nothing of "new": asking for it is refused, and asking for all leaves it out.
constexpr OptionText INCLUDE_TEXTS[] = {
    {include::USAGE, "usage"},
    {include::MEMBER, "member"},
    {include::CREATOR, "creator"},
    {include::ALL, "creator,member,usage"},
};
constexpr std::string_view INCLUDE_OTHERWISE = "none";

constexpr UINT32 DEFAULT_CONTENTS = 30;

/// Feeds and galleries differ in their command only.
template <class CMD> class ContentList : public ListCompletion<CMD, WContent> {
public:
    using ListCompletion<CMD, WContent>::ListCompletion;

    WSTATUS accept()
    {
        const WSTATUS status = ListCompletion<CMD, WContent>::accept();
        if (status < 0)
            return status;
        return this->cmd.count < this->total ? wstatus::MORE_PAGES : wstatus::OK;
    }
    void deliver(WSTATUS result) { this->cmd.callback(result, this->provider(), this->records, this->cmd.userData); }
};

} // namespace

WSTATUS WKLOAI::retrieveGroupFeeds(const WGroup& group, const STRING& before, const STRING& after, unsigned int count,
                                   KL_SEARCH_BASE base, KL_OPTION_ITEM item, KL_OPTION_INCLUDE include,
                                   KLContentListCallback callback, VOID* userData)
{
    const bool oneMarker = before.empty() != after.empty();
    return Operation(*this).run(oneMarker && !group.getUID().empty(), [&](const Operation& operation) {
        auto command = operation.command<GroupFeedsRetrievalCMD>(CMD_GROUP_FEEDS_RETRIEVAL, callback, userData);
        command->group = group;
        command->before = before;
        command->after = after;
        command->count = count;
        command->base = base;
        command->item = item;
        command->include = include;
        if (include == include::NEW)
            return logFailure(wstatus::INVALID_ARGUMENT);

        // Every parameter brings its "&" along, the first one too: the query begins with "?&".
        ApiRequest request(group.getUID() + "/feeds?");
        if (!before.empty())
            request.query("&", "search_before", before);
        else
            request.query("&", "search_after", after);
        request.query("&", "search_count", countText(count, DEFAULT_CONTENTS))
            .query("&", "search_base", textOf(BASE_TEXTS, base, BASE_OTHERWISE))
            .query("&", "option_item", textOf(ITEM_TEXTS, item, ITEM_OTHERWISE))
            .query("&", "option_include", textOf(INCLUDE_TEXTS, include, INCLUDE_OTHERWISE));
        return operation.get(std::move(command), request.sign(operation.session()));
    });
}

WSTATUS WKLOAI::retrieveGroupGallery(const WGroup&, KL_CONTENT_TYPE, unsigned int, KL_SEARCH_DIRECTION, KL_OPTION_SORT,
                                     KL_OPTION_ORDER, KLContentListCallback, VOID*)
{
    return logFailure(wstatus::NOT_SUPPORTED);
}

void WKLOAI::cbGroupFeedsRetrievalDone(SESSION_STATUS status, const HttpResponse& response, GroupFeedsRetrievalCMD* command)
{
    complete<ContentList<GroupFeedsRetrievalCMD>>(status, response, command);
}

void WKLOAI::cbGroupGalleryRetrievalDone(SESSION_STATUS status, const HttpResponse& response, GroupGalleryRetrievalCMD* command)
{
    complete<ContentList<GroupGalleryRetrievalCMD>>(status, response, command);
}

} // namespace W
