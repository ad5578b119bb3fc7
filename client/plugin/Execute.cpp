// SPDX-License-Identifier: MIT
#include "plugin/Execute.h"

#include "kinloom/Encode.h"
#include "media/Fetch.h"
#include "plugin/Provider.h"

namespace kinloom {

namespace {

using GroupList = std::vector<W::WGroup>;
using ContentList = std::vector<W::WContent>;

// The callbacks. They run on the host's HTTP worker and do no more than hand the results over.

W::VOID accountDone(W::WSTATUS status, const W::WContentProvider&, W::VOID* userData)
{
    ResultCall<Nothing>::of(userData).finish(status, Nothing());
}

W::VOID groupsDone(W::WSTATUS status, const W::WContentProvider&, const W::WContainer<W::WGroup>& groups, const W::WPerson&,
                   W::VOID* userData)
{
    ResultCall<GroupList>::of(userData).finish(status, GroupList(groups.getData().begin(), groups.getData().end()));
}

W::VOID groupDone(W::WSTATUS status, const W::WContentProvider&, const W::WGroup& group, W::VOID* userData)
{
    ResultCall<W::WGroup>::of(userData).finish(status, group);
}

W::VOID feedDone(W::WSTATUS status, const W::WContentProvider&, const W::WContainer<W::WContent>& contents, W::VOID* userData)
{
    ResultCall<ContentList>::of(userData).finish(status, ContentList(contents.getData().begin(), contents.getData().end()));
}

W::VOID contentDone(W::WSTATUS status, const W::WContentProvider&, const W::WContent& content, W::VOID* userData)
{
    ResultCall<W::WContent>::of(userData).finish(status, content);
}

W::VOID uploadDone(W::WSTATUS status, const W::WContentProvider&, const W::WGroup&, const W::WContent& content, const W::STRING&,
                   W::VOID* userData)
{
    ResultCall<W::WContent>::of(userData).finish(status, content);
}

W::VOID commentDone(W::WSTATUS status, const W::WContentProvider&, const W::WComment& comment, const W::STRING&, W::VOID* userData)
{
    ResultCall<W::WComment>::of(userData).finish(status, comment);
}

W::VOID commentDeleted(W::WSTATUS status, const W::WContentProvider&, const W::WComment&, W::VOID* userData)
{
    ResultCall<Nothing>::of(userData).finish(status, Nothing());
}

W::VOID downloadDone(W::WSTATUS status, const W::WContentProvider&, const W::STRING&, W::VOID* userData)
{
    ResultCall<Nothing>::of(userData).finish(status, Nothing());
}

template <class Record> Record withUid(const std::string& uid, std::string_view what)
{
    Record record;
    record.setUID(pathSegment(uid, what));
    return record;
}

// What each operation says that it tries.

std::string attempt(const ListGroups&) { return "cannot list the groups"; }
std::string attempt(const CreateGroup&) { return "cannot create the group"; }
std::string attempt(const DeleteGroup&) { return "cannot delete the group"; }
std::string attempt(const ReadFeed&) { return "cannot read the feed"; }
std::string attempt(const ViewContent&) { return "cannot show the content"; }
std::string attempt(const DeleteContent&) { return "cannot delete the content"; }
std::string attempt(const AskMimeType&) { return "cannot ask for the type"; }
std::string attempt(const UploadPhoto& order) { return "cannot upload " + order.path; }
std::string attempt(const DownloadFile& order) { return "cannot download " + (order.name.empty() ? order.fileName : order.name); }
std::string attempt(const CreateComment&) { return "cannot comment"; }
std::string attempt(const ViewComment&) { return "cannot show the comment"; }
std::string attempt(const DeleteComment&) { return "cannot delete the comment"; }
std::string attempt(const SignIn&) { return "cannot sign in"; }
std::string attempt(const RegisterDevice&) { return "cannot register this device"; }

// What each operation does.

GroupList run(LocalLane& lane, const ListGroups& order)
{
    const W::WPerson person = order.person.empty() ? W::WPerson() : withUid<W::WPerson>(order.person, "person");
    return lane.ask<GroupList>(attempt(order), [&](W::VOID* userData) {
        return lane.plugin().retrieveGroupList(person, groupsDone, order.index, order.count, order.sort, order.include, userData);
    });
}

W::WGroup run(LocalLane& lane, const CreateGroup& order)
{
    W::WGroup group;
    group.setName(percentEncode(order.name));
    group.setDescription(percentEncode(order.description));
    auto created = lane.ask<W::WGroup>(
        attempt(order), [&](W::VOID* userData) { return lane.plugin().createGroup(group, W::WPerson(), groupDone, userData); });
    // A reply may tell no more than the new identifier.
    if (created.getName().empty() || created.getUID().empty()) {
        created.setName(order.name);
        created.setDescription(order.description);
    }
    return created;
}

Nothing run(LocalLane& lane, const DeleteGroup& order)
{
    const auto group = withUid<W::WGroup>(order.group, "group");
    lane.ask<W::WGroup>(attempt(order), [&](W::VOID* userData) { return lane.plugin().deleteGroup(group, groupDone, userData); });
    return {};
}

ContentList run(LocalLane& lane, const ReadFeed& order)
{
    const auto group = withUid<W::WGroup>(order.group, "group");
    return lane.ask<ContentList>(attempt(order), [&](W::VOID* userData) {
        return lane.plugin().retrieveGroupFeeds(group, percentEncode(order.before), percentEncode(order.after), order.count,
                                                order.base, order.item, order.include, feedDone, userData);
    });
}

/// A reply without the record that was asked for.
template <class Order> CallError holdsNone(LocalLane& lane, const Order& order, const std::string& uid, const std::string& what)
{
    return lane.error(FailureKind::FAILED, W::WSTATUS_OK, attempt(order),
                      "the service's reply holds none. Is '" + uid + "' a " + what + "?");
}

W::WContent run(LocalLane& lane, const ViewContent& order)
{
    const auto content = withUid<W::WContent>(order.content, "content");
    auto found = lane.ask<W::WContent>(
        attempt(order), [&](W::VOID* userData) { return lane.plugin().viewContent(content, contentDone, userData); });
    // A comment's identifier leads to a reply without a content.
    if (found.getUID().empty())
        throw holdsNone(lane, order, order.content, "content");
    return found;
}

Nothing run(LocalLane& lane, const DeleteContent& order)
{
    run(lane, ViewContent{order.content});
    const auto content = withUid<W::WContent>(order.content, "content");
    lane.ask<W::WContent>(attempt(order),
                          [&](W::VOID* userData) { return lane.plugin().deleteContent(content, contentDone, userData); });
    return {};
}

std::string run(LocalLane& lane, const AskMimeType& order)
{
    // The plugin's own way has no place in the interface that hosts call. The host's client asks for the first byte alone.
    W::HttpHeader header;
    header.add("Range", "bytes=0-0");
    const auto fetch = Fetch::start(order.url, header, "", [bell = lane.bell()] { bell->ring([] {}); });
    lane.await(attempt(order), *fetch);
    const W::UINT32 code = fetch->code();
    if (code != 200 && code != 206)
        throw lane.error(FailureKind::FAILED, W::WSTATUS_OK, attempt(order),
                         "the service answers with HTTP " + std::to_string(code));
    return fetch->takeReply().contentType;
}

W::WContent run(LocalLane& lane, const UploadPhoto& order)
{
    const auto group = withUid<W::WGroup>(order.group, "group");
    W::WContent content;
    content.setMIMEType(order.mimeType);
    content.setDescription(percentEncode(order.description));
    try {
        return lane.ask<W::WContent>(
            attempt(order),
            [&](W::VOID* userData) {
                return lane.plugin().createContent(group, content, W::KL_CONTENT_PHOTO, order.path, uploadDone, userData);
            },
            true);
    } catch (const CallError& error) {
        // When all arguments are there, it is the service that refuses.
        CallFailure failure = error.failure();
        if (failure.kind != FailureKind::REFUSED || failure.status != W::WSTATUS_INVALID_ARGUMENT || order.path.empty() ||
            order.mimeType.empty())
            throw;
        failure.detail = "the service grants no place for it. Is '" + order.group + "' a group of yours?";
        throw CallError(failure);
    }
}

Nothing run(LocalLane& lane, const DownloadFile& order)
{
    return lane.ask<Nothing>(
        attempt(order),
        [&](W::VOID* userData) {
            return lane.plugin().download(lane.provider(), order.url, order.folder, order.fileName, downloadDone, userData);
        },
        true);
}

Nothing run(LocalLane& lane, const CreateComment& order)
{
    const auto content = withUid<W::WContent>(order.content, "content");
    W::WComment comment;
    comment.setComment(percentEncode(order.text));
    lane.ask<W::WComment>(attempt(order),
                          [&](W::VOID* userData) { return lane.plugin().createComment(content, comment, commentDone, userData); });
    return {};
}

W::WComment run(LocalLane& lane, const ViewComment& order)
{
    const auto comment = withUid<W::WComment>(order.comment, "comment");
    auto found = lane.ask<W::WComment>(
        attempt(order), [&](W::VOID* userData) { return lane.plugin().viewComment(comment, commentDone, userData); });
    if (found.getUID().empty())
        throw holdsNone(lane, order, order.comment, "comment");
    return found;
}

Nothing run(LocalLane& lane, const DeleteComment& order)
{
    run(lane, ViewComment{order.comment});
    const auto comment = withUid<W::WComment>(order.comment, "comment");
    return lane.ask<Nothing>(attempt(order),
                             [&](W::VOID* userData) { return lane.plugin().deleteComment(comment, commentDeleted, userData); });
}

/// An account request; the options that it needs are looked at first, so that the failure can name the one that is missing.
template <class Order>
Nothing account(LocalLane& lane, const Order& order, W::WSTATUS (W::WKinloomOAI::*request)(W::WStatusCallback, W::VOID*))
{
    for (const char* key : SIGN_IN_OPTIONS) {
        const auto found = lane.settings().options.find(key);
        if (found == lane.settings().options.end() || found->second.empty())
            throw lane.error(FailureKind::REFUSED, W::WSTATUS_INVALID_ARGUMENT, attempt(order),
                             std::string("this device is not configured: ") + key + " is not set");
    }
    return lane.ask<Nothing>(attempt(order), [&](W::VOID* userData) { return (lane.plugin().*request)(accountDone, userData); });
}

Nothing run(LocalLane& lane, const SignIn& order)
{
    account(lane, order, &W::WKinloomOAI::authKL);
    // A reply that says "fail" reports 0 as well; the session tells them apart.
    if (!lane.isSignedIn())
        throw lane.error(FailureKind::FAILED, W::WSTATUS_AUTH_FAILED, attempt(order));
    return {};
}

Nothing run(LocalLane& lane, const RegisterDevice& order) { return account(lane, order, &W::WKinloomOAI::registerKL); }

} // namespace

std::string attemptOf(const Operation& operation)
{
    return std::visit([](const auto& order) { return attempt(order); }, operation);
}

bool worksSignedOut(const Operation& operation)
{
    return std::holds_alternative<SignIn>(operation) || std::holds_alternative<RegisterDevice>(operation) ||
           std::holds_alternative<AskMimeType>(operation);
}

bool isTransfer(const Operation& operation)
{
    return std::holds_alternative<UploadPhoto>(operation) || std::holds_alternative<DownloadFile>(operation);
}

CallValue execute(const Operation& operation, LocalLane& lane)
{
    return std::visit([&](const auto& order) { return CallValue(run(lane, order)); }, operation);
}

} // namespace kinloom
