// SPDX-License-Identifier: MIT
#include "plugin/Execute.h"

#include "core/ErrorDocument.h"
#include "core/HostEvents.h"
#include "kinloom/Encode.h"
#include "media/Fetch.h"
#include "plugin/Provider.h"

#include <type_traits>

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
std::string attempt(const AskPerson&) { return attempt(SignIn()); }

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
    auto created = lane.change<W::WGroup>(
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
    lane.change<W::WGroup>(attempt(order),
                           [&](W::VOID* userData) { return lane.plugin().deleteGroup(group, groupDone, userData); });
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

/// A reply without the record that was asked for: the identifier is that of another thing.
CallError holdsNone(LocalLane& lane, const std::string& tried, const std::string& uid, const std::string& what)
{
    CallFailure failure = lane.error(FailureKind::FAILED, W::WSTATUS_OK, tried, "'" + uid + "' is no " + what).failure();
    failure.reason = FailureReason::NOT_FOUND;
    return CallError(std::move(failure));
}

W::WContent view(LocalLane& lane, const W::WContent& content, const std::string& tried)
{
    auto found =
        lane.ask<W::WContent>(tried, [&](W::VOID* userData) { return lane.plugin().viewContent(content, contentDone, userData); });
    // A comment's identifier leads to a reply without a content.
    if (found.getUID().empty())
        throw holdsNone(lane, tried, percentDecode(content.getUID()), "content");
    return found;
}

W::WContent run(LocalLane& lane, const ViewContent& order)
{
    return view(lane, withUid<W::WContent>(order.content, "content"), attempt(order));
}

Nothing run(LocalLane& lane, const DeleteContent& order)
{
    const auto content = withUid<W::WContent>(order.content, "content");
    view(lane, content, attempt(order));
    lane.change<W::WContent>(attempt(order),
                             [&](W::VOID* userData) { return lane.plugin().deleteContent(content, contentDone, userData); });
    return {};
}

std::string run(LocalLane& lane, const AskMimeType& order)
{
    // The plugin's own way has no place in the interface that hosts call. The host's client asks for the first byte alone.
    W::HttpHeader header;
    header.add("Range", "bytes=0-0");
    const auto fetch = Fetch::start(order.url, header, "", 0, [bell = lane.bell()] { bell->ring([] {}); });
    lane.await(attempt(order), *fetch);
    const W::UINT32 code = fetch->code();
    if (code != 200 && code != 206)
        throw lane.fetchError(*fetch, attempt(order));
    return fetch->takeReply().contentType;
}

W::WContent run(LocalLane& lane, const UploadPhoto& order)
{
    const auto group = withUid<W::WGroup>(order.group, "group");
    W::WContent content;
    content.setMIMEType(order.mimeType);
    content.setDescription(percentEncode(order.description));
    try {
        return lane.change<W::WContent>(
            attempt(order),
            [&](W::VOID* userData) {
                return lane.plugin().createContent(group, content, W::KL_CONTENT_PHOTO, order.path, uploadDone, userData);
            },
            true);
    } catch (const CallError& error) {
        // When all arguments are there, it is the answer to the request for a place that has none. An answer that refuses says
        // more.
        CallFailure failure = error.failure();
        if (failure.kind != FailureKind::REFUSED || failure.status != W::WSTATUS_INVALID_ARGUMENT || order.path.empty() ||
            order.mimeType.empty())
            throw;
        failure.detail = "the service's answer names no place to send it to";
        if (failure.httpCode >= 200 && failure.httpCode <= 299)
            failure.reason = FailureReason::UNEXPECTED_ANSWER;
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
    // A comment goes out unsigned: whose it is, the service knows from what was signed on the same connection just before.
    view(lane, content, attempt(order));
    lane.change<W::WComment>(
        attempt(order), [&](W::VOID* userData) { return lane.plugin().createComment(content, comment, commentDone, userData); });
    return {};
}

W::WComment view(LocalLane& lane, const W::WComment& comment, const std::string& tried)
{
    auto found =
        lane.ask<W::WComment>(tried, [&](W::VOID* userData) { return lane.plugin().viewComment(comment, commentDone, userData); });
    if (found.getUID().empty())
        throw holdsNone(lane, tried, percentDecode(comment.getUID()), "comment");
    return found;
}

W::WComment run(LocalLane& lane, const ViewComment& order)
{
    return view(lane, withUid<W::WComment>(order.comment, "comment"), attempt(order));
}

Nothing run(LocalLane& lane, const DeleteComment& order)
{
    const auto comment = withUid<W::WComment>(order.comment, "comment");
    view(lane, comment, attempt(order));
    return lane.change<Nothing>(attempt(order),
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
    if (!lane.isSignedIn()) {
        CallFailure failure = lane.pluginError(FailureKind::FAILED, W::WSTATUS_AUTH_FAILED, attempt(order)).failure();
        if (ErrorDocument::read(lane.exchange().body).code.empty()) { // no service of ours says so
            failure.reason = FailureReason::UNEXPECTED_ANSWER;
            failure.detail = "what answers at " + failure.address + " does not sign this device in";
        }
        throw CallError(std::move(failure));
    }
    return {};
}

W::WPerson run(LocalLane& lane, const AskPerson&)
{
    run(lane, SignIn());
    // The plugin keeps it to itself whose device this is; the reply that signs it in says so.
    const std::string reply = HostEvents::instance().lastOfPlugins().body;
    W::WPerson person;
    person.setUID(firstValue(reply, "userId"));
    person.setName(firstValue(reply, "userName"));
    return person;
}

Nothing run(LocalLane& lane, const RegisterDevice& order) { return account(lane, order, &W::WKinloomOAI::registerKL); }

} // namespace

std::string attemptOf(const Operation& operation)
{
    return std::visit([](const auto& order) { return attempt(order); }, operation);
}

bool signsIn(const Operation& operation)
{
    return std::holds_alternative<SignIn>(operation) || std::holds_alternative<AskPerson>(operation);
}

bool worksSignedOut(const Operation& operation)
{
    return signsIn(operation) || std::holds_alternative<RegisterDevice>(operation) ||
           std::holds_alternative<AskMimeType>(operation);
}

bool changesSomething(const Operation& operation)
{
    return std::visit(
        [](const auto& order) {
            using Order = std::decay_t<decltype(order)>;
            return std::is_same_v<Order, CreateGroup> || std::is_same_v<Order, DeleteGroup> || std::is_same_v<Order, UploadPhoto> ||
                   std::is_same_v<Order, DeleteContent> || std::is_same_v<Order, CreateComment> ||
                   std::is_same_v<Order, DeleteComment>;
        },
        operation);
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
