// SPDX-License-Identifier: MIT
#include "plugin/Operations.h"

#include "W/Http.h"
#include "core/Encode.h"
#include "core/Errors.h"

namespace kinloom {

namespace {

struct Nothing {};

using GroupList = std::vector<W::WGroup>;
using ContentList = std::vector<W::WContent>;

// The callbacks. They run on the host's HTTP worker and do no more than hand the results over.

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

} // namespace

std::vector<W::WGroup> Operations::groups(const GroupQuery& query)
{
    const W::WPerson person = query.person.empty() ? W::WPerson() : withUid<W::WPerson>(query.person, "person");
    const auto call = m_session.call<GroupList>();
    m_session.run("cannot list the groups", call, [&](W::VOID* userData) {
        return m_session.plugin().retrieveGroupList(person, groupsDone, query.index, query.count, query.sort, query.include,
                                                    userData);
    });
    return std::move(call->value);
}

W::WGroup Operations::createGroup(const std::string& name, const std::string& description)
{
    W::WGroup group;
    group.setName(percentEncode(name));
    group.setDescription(percentEncode(description));
    const auto call = m_session.call<W::WGroup>();
    m_session.run("cannot create the group", call,
                  [&](W::VOID* userData) { return m_session.plugin().createGroup(group, W::WPerson(), groupDone, userData); });
    // A reply may tell no more than the new identifier.
    W::WGroup& created = call->value;
    if (created.getName().empty() || created.getUID().empty()) {
        created.setName(name);
        created.setDescription(description);
    }
    return std::move(created);
}

void Operations::deleteGroup(const std::string& uid)
{
    const auto group = withUid<W::WGroup>(uid, "group");
    const auto call = m_session.call<W::WGroup>();
    m_session.run("cannot delete the group", call,
                  [&](W::VOID* userData) { return m_session.plugin().deleteGroup(group, groupDone, userData); });
}

std::vector<W::WContent> Operations::feed(const FeedQuery& query)
{
    const auto group = withUid<W::WGroup>(query.group, "group");
    const auto call = m_session.call<ContentList>();
    m_session.run("cannot read the feed", call, [&](W::VOID* userData) {
        return m_session.plugin().retrieveGroupFeeds(group, percentEncode(query.before), percentEncode(query.after), query.count,
                                                     query.base, query.item, query.include, feedDone, userData);
    });
    return std::move(call->value);
}

W::WContent Operations::viewContent(const std::string& uid)
{
    const auto content = withUid<W::WContent>(uid, "content");
    const auto call = m_session.call<W::WContent>();
    m_session.run("cannot show the content", call,
                  [&](W::VOID* userData) { return m_session.plugin().viewContent(content, contentDone, userData); });
    // A comment's identifier leads to a reply without a content.
    if (call->value.getUID().empty())
        throw Failure(Exit::FAILED, "cannot show the content: the service's reply holds none. Is '" + uid + "' a content?");
    return std::move(call->value);
}

void Operations::deleteContent(const std::string& uid)
{
    viewContent(uid);
    const auto content = withUid<W::WContent>(uid, "content");
    const auto call = m_session.call<W::WContent>();
    m_session.run("cannot delete the content", call,
                  [&](W::VOID* userData) { return m_session.plugin().deleteContent(content, contentDone, userData); });
}

std::string Operations::mimeType(const std::string& url)
{
    // The plugin's own way has no place in the interface that hosts call. The host's client asks for the first byte alone.
    W::HttpHeader header;
    header.add("Range", "bytes=0-0");
    W::HttpRequest request(W::HTTP_REQUEST_GET, url, header, "", nullptr, nullptr);
    const W::WSTATUS status = request.execute();
    if (status < 0)
        throw statusFailure("cannot ask for the type", status, m_session.address());
    const W::UINT32 code = request.getResponse().getHttpResponseCode();
    if (code != 200 && code != 206)
        throw Failure(Exit::FAILED, "cannot ask for the type: the service answers with HTTP " + std::to_string(code));
    return request.getResponse().getContentType();
}

W::WContent Operations::upload(const UploadOrder& order, const Session::ProgressFunction& progress)
{
    const auto group = withUid<W::WGroup>(order.group, "group");
    W::WContent content;
    content.setMIMEType(order.mimeType);
    content.setDescription(percentEncode(order.description));
    const auto call = m_session.call<W::WContent>();
    const auto start = [&](W::VOID* userData) {
        const W::WSTATUS status =
            m_session.plugin().createContent(group, content, W::KL_CONTENT_PHOTO, order.path, uploadDone, userData);
        // All arguments are there, so it is the service that refuses.
        if (status == W::WSTATUS_INVALID_ARGUMENT)
            throw Failure(Exit::FAILED,
                          "cannot upload " + order.path + ": the service grants no place for it. Is '" + order.group +
                              "' a group of yours?",
                          status);
        return status;
    };
    m_session.run("cannot upload " + order.path, call, start, progress);
    return std::move(call->value);
}

void Operations::download(const DownloadOrder& order, const Session::ProgressFunction& progress)
{
    const auto call = m_session.call<Nothing>();
    m_session.run(
        "cannot download " + order.name, call,
        [&](W::VOID* userData) {
            return m_session.plugin().download(m_session.provider(), order.url, order.folder, order.fileName, downloadDone,
                                               userData);
        },
        progress);
}

void Operations::createComment(const std::string& uid, const std::string& text)
{
    const auto content = withUid<W::WContent>(uid, "content");
    W::WComment comment;
    comment.setComment(percentEncode(text));
    const auto call = m_session.call<W::WComment>();
    m_session.run("cannot comment", call,
                  [&](W::VOID* userData) { return m_session.plugin().createComment(content, comment, commentDone, userData); });
}

W::WComment Operations::viewComment(const std::string& uid)
{
    const auto comment = withUid<W::WComment>(uid, "comment");
    const auto call = m_session.call<W::WComment>();
    m_session.run("cannot show the comment", call,
                  [&](W::VOID* userData) { return m_session.plugin().viewComment(comment, commentDone, userData); });
    if (call->value.getUID().empty())
        throw Failure(Exit::FAILED, "cannot show the comment: the service's reply holds none. Is '" + uid + "' a comment?");
    return std::move(call->value);
}

void Operations::deleteComment(const std::string& uid)
{
    viewComment(uid);
    const auto comment = withUid<W::WComment>(uid, "comment");
    const auto call = m_session.call<Nothing>();
    m_session.run("cannot delete the comment", call,
                  [&](W::VOID* userData) { return m_session.plugin().deleteComment(comment, commentDeleted, userData); });
}

} // namespace kinloom
