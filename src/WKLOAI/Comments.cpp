// SPDX-License-Identifier: MIT
// Comments: write, delete, read one, list.
#include "WKLOAI/Completion.h"
#include "WKLOAI/Operation.h"

namespace W {

namespace {

class CommentCreation : public ListCompletion<CommentCreationCMD, WComment> {
public:
    using ListCompletion::ListCompletion;

    // The caller gets its own comment back; the reply only says whether it was taken.
    void deliver(WSTATUS result) { cmd.callback(result, provider(), cmd.comment, cmd.comment.getUID(), cmd.userData); }
};

class CommentView : public ListCompletion<CommentViewCMD, WComment> {
public:
    using ListCompletion::ListCompletion;

    void deliver(WSTATUS result)
    {
        const WComment nothing;
        cmd.callback(result, provider(), first() ? *first() : nothing, cmd.comment.getUID(), cmd.userData);
    }
};

/// Deletion and update report the comment that they were asked for.
template <class CMD> class CommentChange : public ListCompletion<CMD, WComment> {
public:
    using ListCompletion<CMD, WComment>::ListCompletion;

    void deliver(WSTATUS result) { this->cmd.callback(result, this->provider(), this->cmd.comment, this->cmd.userData); }
};

/// A comment list reports nothing but a cancel, and drops the other requests however it ended: contents bring their comments
/// along, and hosts count on this call being silent.
class CommentsRetrieval : public ListCompletion<CommentsRetrievalCMD, WComment> {
public:
    using ListCompletion::ListCompletion;

    WSTATUS reject(HTTP_RESPONSE_CODE code, bool) { return mapped(code); }
    void settle() { service().flushHttpRequests(); }
    void deliver(WSTATUS) {}
};

} // namespace

WSTATUS WKLOAI::createComment(const WContent& content, const WComment& comment, KLCommentIDCallback callback, VOID* userData)
{
    const bool good = !comment.getComment().empty() && !content.getUID().empty();
    return Operation(*this).run(good, [&](const Operation& operation) {
        auto command = operation.command<CommentCreationCMD>(CMD_COMMENT_CREATION, callback, userData);
        command->content = content;
        command->comment = comment;

        // The one request that is not signed: the service credits it to the device that signed in from this address.
        ApiRequest request(content.getUID() + "/comment");
        request.field("commentText", comment.getComment()).header("appToken", operation.session().appToken);
        return operation.post(std::move(command), request);
    });
}

WSTATUS WKLOAI::deleteComment(const WComment& comment, KLCommentCallback callback, VOID* userData)
{
    return Operation(*this).run(!comment.getUID().empty(), [&](const Operation& operation) {
        auto command = operation.command<CommentDeletionCMD>(CMD_COMMENT_DELETION, callback, userData);
        command->comment = comment;
        return operation.post(std::move(command), ApiRequest(comment.getUID() + "/delete").sign(operation.session()));
    });
}

WSTATUS WKLOAI::viewComment(const WComment& comment, KLCommentIDCallback callback, VOID* userData)
{
    return Operation(*this).run(!comment.getUID().empty(), [&](const Operation& operation) {
        auto command = operation.command<CommentViewCMD>(CMD_COMMENT_VIEW, callback, userData);
        command->comment = comment;
        return operation.get(std::move(command), ApiRequest(comment.getUID() + "/view").sign(operation.session()));
    });
}

WSTATUS WKLOAI::retrieveComments(const WContent& content, KLCommentListCallback callback, UINT32 index, UINT32 count,
                                 VOID* userData)
{
    return Operation(*this).run(!content.getUID().empty(), [&](const Operation& operation) {
        auto command = operation.command<CommentsRetrievalCMD>(CMD_COMMENTS_RETRIEVAL, callback, userData);
        command->content = content;
        command->index = index;
        command->count = count;

        ApiRequest request(content.getUID() + "/comment.list");
        request.query("?", "search_index", KLService::int2str(index)).url += '&';
        if (count != 0)
            request.query("", "search_count", KLService::int2str(count));
        return operation.get(std::move(command), request.sign(operation.session()));
    });
}

WSTATUS WKLOAI::updateComment(const WComment&, KLCommentCallback, VOID*) { return logFailure(wstatus::NOT_SUPPORTED); }

void WKLOAI::cbCommentRetrievalDone(SESSION_STATUS status, const HttpResponse& response, CommentsRetrievalCMD* command)
{
    complete<CommentsRetrieval>(status, response, command);
}

void WKLOAI::cbCommentCreationDone(SESSION_STATUS status, const HttpResponse& response, CommentCreationCMD* command)
{
    complete<CommentCreation>(status, response, command);
}

void WKLOAI::cbCommentDeletionDone(SESSION_STATUS status, const HttpResponse& response, CommentDeletionCMD* command)
{
    complete<CommentChange<CommentDeletionCMD>>(status, response, command);
}

void WKLOAI::cbCommentUpdateDone(SESSION_STATUS status, const HttpResponse& response, CommentUpdateCMD* command)
{
    complete<CommentChange<CommentUpdateCMD>>(status, response, command);
}

void WKLOAI::cbCommentViewDone(SESSION_STATUS status, const HttpResponse& response, CommentViewCMD* command)
{
    complete<CommentView>(status, response, command);
}

} // namespace W
