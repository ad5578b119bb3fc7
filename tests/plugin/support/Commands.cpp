// SPDX-License-Identifier: MIT
#include "plugin/support/Commands.h"

#include "plugin/support/Documents.h"
#include "plugin/support/Records.h"

namespace kinloom_test {

using namespace W;

namespace {

template <class CMD, UINT32 KEY, auto CALLBACK> std::unique_ptr<KLServiceCMD> make(WKLOAI* owner, Recorder* recorder, const STRING&)
{
    auto command = std::make_unique<CMD>(kinloomProvider());
    command->setCMDKey(KEY);
    command->callback = recorder ? CALLBACK : nullptr;
    command->userData = recorder;
    command->owner = owner;
    return command;
}

template <class CMD, UINT32 KEY, auto CALLBACK>
std::unique_ptr<KLServiceCMD> makeDownload(WKLOAI* owner, Recorder* recorder, const STRING& file)
{
    std::unique_ptr<KLServiceCMD> command = make<CMD, KEY, CALLBACK>(owner, recorder, file);
    static_cast<CMD&>(*command).localPath = file;
    return command;
}

template <class CMD, auto HANDLER>
void handle(WKLOAI& oai, SESSION_STATUS status, const HttpResponse& response, KLServiceCMD& command)
{
    (oai.*HANDLER)(status, response, static_cast<CMD*>(&command));
}

/// How commands of a kind are made, and who handles them.
struct Kind {
    decltype(CommandCase::make) make;
    decltype(CommandCase::handle) handle;
};

template <class CMD, UINT32 KEY, auto CALLBACK, auto HANDLER>
constexpr Kind kind = {make<CMD, KEY, CALLBACK>, handle<CMD, HANDLER>};
template <class CMD, UINT32 KEY, auto CALLBACK, auto HANDLER>
constexpr Kind downloadKind = {makeDownload<CMD, KEY, CALLBACK>, handle<CMD, HANDLER>};

STRING okDocument() { return documents::OK; }
STRING oneGroup() { return documents::groups(1); }
STRING oneContent() { return documents::contents(1); }
STRING twoContents() { return documents::contents(2); }
STRING oneComment() { return documents::comments(1); }
STRING nothing() { return STRING(); }

std::vector<CommandCase> makeCommands()
{
    std::vector<CommandCase> all;
    const auto add = [&all](const char* name, UINT32 key, const Kind& kindOfCommand, auto reply) -> CommandCase& {
        all.push_back({name, key, kindOfCommand.make, kindOfCommand.handle, reply});
        return all.back();
    };
    // Of the account's replies only the code counts.
    const auto addAccount = [&](const char* name, UINT32 key, const Kind& kindOfCommand) {
        CommandCase& account = add(name, key, kindOfCommand, okDocument);
        account.ofBadReply = WSTATUS_OK;
        account.readsRefusals = true;
        account.flushesOnSuccess = true;
    };
    // A download reads no document.
    const auto addDownload = [&](const char* name, UINT32 key, const Kind& kindOfCommand) -> CommandCase& {
        CommandCase& download = add(name, key, kindOfCommand, nothing);
        download.ofBadReply = WSTATUS_OK;
        download.readsDocument = false;
        return download;
    };

    addAccount("Login", CMD_LOGIN, kind<KLLoginCMD, CMD_LOGIN, &Callback<STRING, STRING>::call, &WKLOAI::cbLoginDone>);
    CommandCase& logout =
        add("Logout", CMD_LOGOUT, kind<KLLogoutCMD, CMD_LOGOUT, &Callback<>::call, &WKLOAI::cbLogoutDone>, nothing);
    logout.ofBadReply = WSTATUS_OK;
    logout.readsDocument = false;
    logout.alwaysSucceeds = true;
    logout.flushesOnFailure = false;
    addAccount("ExceptionResolve", CMD_EXCEPTION_RESOLVE,
               kind<KLExceptionResolveCMD, CMD_EXCEPTION_RESOLVE, &onResolved, &WKLOAI::cbExceptionResolveDone>);
    addAccount("Register", CMD_REGISTER, kind<RegisterKLCMD, CMD_REGISTER, &Callback<>::call, &WKLOAI::cbRegisterDone>);
    addAccount("Auth", CMD_AUTH, kind<AuthKLCMD, CMD_AUTH, &Callback<>::call, &WKLOAI::cbAuthDone>);
    // A record without index and count: one group is more than none.
    add("GroupListRetrieval", CMD_GROUP_LIST_RETRIEVAL,
        kind<GroupListRetrievalCMD, CMD_GROUP_LIST_RETRIEVAL, &Callback<WContainer<WGroup>, WPerson>::call,
             &WKLOAI::cbGroupListRetrievalDone>,
        oneGroup)
        .ofSuccess = WSTATUS_MORE_PAGES;
    add("GroupCreation", CMD_GROUP_CREATION,
        kind<GroupCreationCMD, CMD_GROUP_CREATION, &Callback<WGroup>::call, &WKLOAI::cbGroupCreationDone>, oneGroup);
    add("GroupDeletion", CMD_GROUP_DELETION,
        kind<GroupDeletionCMD, CMD_GROUP_DELETION, &Callback<WGroup>::call, &WKLOAI::cbGroupDeletionDone>, oneGroup);
    add("GroupFeedsRetrieval", CMD_GROUP_FEEDS_RETRIEVAL,
        kind<GroupFeedsRetrievalCMD, CMD_GROUP_FEEDS_RETRIEVAL, &Callback<WContainer<WContent>>::call,
             &WKLOAI::cbGroupFeedsRetrievalDone>,
        twoContents)
        .ofSuccess = WSTATUS_MORE_PAGES;
    add("GroupGalleryRetrieval", CMD_GROUP_GALLERY_RETRIEVAL,
        kind<GroupGalleryRetrievalCMD, CMD_GROUP_GALLERY_RETRIEVAL, &Callback<WContainer<WContent>>::call,
             &WKLOAI::cbGroupGalleryRetrievalDone>,
        twoContents)
        .ofSuccess = WSTATUS_MORE_PAGES;
    add("ContentCreation", CMD_CONTENT_CREATION,
        kind<ContentCreationCMD, CMD_CONTENT_CREATION, &Callback<WGroup, WContent, STRING>::call, &WKLOAI::cbContentCreationDone>,
        oneContent)
        .flushesOnSuccess = true;
    add("ContentDeletion", CMD_CONTENT_DELETION,
        kind<ContentDeletionCMD, CMD_CONTENT_DELETION, &Callback<WContent>::call, &WKLOAI::cbContentDeletionDone>, oneContent);
    add("ContentUpdate", CMD_CONTENT_UPDATE,
        kind<ContentUpdateCMD, CMD_CONTENT_UPDATE, &Callback<WContent, STRING>::call, &WKLOAI::cbContentUpdateDone>, oneContent);
    add("ContentView", CMD_CONTENT_VIEW,
        kind<ContentViewCMD, CMD_CONTENT_VIEW, &Callback<WContent>::call, &WKLOAI::cbContentViewDone>, oneContent);
    addDownload("Download", CMD_DOWNLOAD, downloadKind<KLDownloadCMD, CMD_DOWNLOAD, &onDownloaded, &WKLOAI::cbDownloadDone>)
        .reportsOwnCancel = true;
    CommandCase& list = add(
        "CommentsRetrieval", CMD_COMMENTS_RETRIEVAL,
        kind<CommentsRetrievalCMD, CMD_COMMENTS_RETRIEVAL, &Callback<WContainer<WComment>>::call, &WKLOAI::cbCommentRetrievalDone>,
        oneComment);
    list.callsBack = false;
    list.flushesAlways = true;
    list.flushesOnSuccess = true;
    add("CommentCreation", CMD_COMMENT_CREATION,
        kind<CommentCreationCMD, CMD_COMMENT_CREATION, &Callback<WComment, STRING>::call, &WKLOAI::cbCommentCreationDone>,
        oneComment);
    add("CommentDeletion", CMD_COMMENT_DELETION,
        kind<CommentDeletionCMD, CMD_COMMENT_DELETION, &Callback<WComment>::call, &WKLOAI::cbCommentDeletionDone>, oneComment);
    add("CommentUpdate", CMD_COMMENT_UPDATE,
        kind<CommentUpdateCMD, CMD_COMMENT_UPDATE, &Callback<WComment>::call, &WKLOAI::cbCommentUpdateDone>, oneComment);
    add("CommentView", CMD_COMMENT_VIEW,
        kind<CommentViewCMD, CMD_COMMENT_VIEW, &Callback<WComment, STRING>::call, &WKLOAI::cbCommentViewDone>, oneComment);
    addDownload("DirectDownload", CMD_DIRECT_DOWNLOAD,
                downloadKind<KLDirectDownloadCMD, CMD_DIRECT_DOWNLOAD, &Callback<STRING>::call, &WKLOAI::cbKLDownloadDone>);

    // Their operations refuse.
    for (CommandCase& command : all)
        for (const UINT32 refused :
             {CMD_LOGIN, CMD_LOGOUT, CMD_EXCEPTION_RESOLVE, CMD_GROUP_GALLERY_RETRIEVAL, CMD_CONTENT_UPDATE, CMD_COMMENT_UPDATE})
            if (command.key == refused)
                command.isSent = false;
    return all;
}

} // namespace

const std::vector<CommandCase>& commands()
{
    static const std::vector<CommandCase> ALL = makeCommands();
    return ALL;
}

std::ostream& operator<<(std::ostream& out, const CommandCase& command) { return out << command.name; }

} // namespace kinloom_test
