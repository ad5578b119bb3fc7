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

STRING okDocument() { return documents::OK; }
STRING oneGroup() { return documents::groups(1); }
STRING oneContent() { return documents::contents(1); }
STRING twoContents() { return documents::contents(2); }
STRING oneComment() { return documents::comments(1); }
STRING nothing() { return STRING(); }

std::vector<CommandCase> makeCommands()
{
    std::vector<CommandCase> all;
    const auto add = [&all](const char* name, UINT32 key, auto makeCommand, auto reply) -> CommandCase& {
        all.push_back({name, key, makeCommand, reply});
        return all.back();
    };
    // Of the account's replies only the code counts.
    const auto addAccount = [&](const char* name, UINT32 key, auto makeCommand) {
        CommandCase& account = add(name, key, makeCommand, okDocument);
        account.ofBadReply = WSTATUS_OK;
        account.readsRefusals = true;
        account.flushesOnSuccess = true;
    };
    // A download reads no document.
    const auto addDownload = [&](const char* name, UINT32 key, auto makeCommand) -> CommandCase& {
        CommandCase& download = add(name, key, makeCommand, nothing);
        download.ofBadReply = WSTATUS_OK;
        download.readsDocument = false;
        return download;
    };

    addAccount("Login", CMD_LOGIN, make<KLLoginCMD, CMD_LOGIN, &Callback<STRING, STRING>::call>);
    CommandCase& logout = add("Logout", CMD_LOGOUT, make<KLLogoutCMD, CMD_LOGOUT, &Callback<>::call>, nothing);
    logout.ofBadReply = WSTATUS_OK;
    logout.readsDocument = false;
    logout.alwaysSucceeds = true;
    logout.flushesOnFailure = false;
    addAccount("ExceptionResolve", CMD_EXCEPTION_RESOLVE, make<KLExceptionResolveCMD, CMD_EXCEPTION_RESOLVE, &onResolved>);
    addAccount("Register", CMD_REGISTER, make<RegisterKLCMD, CMD_REGISTER, &Callback<>::call>);
    addAccount("Auth", CMD_AUTH, make<AuthKLCMD, CMD_AUTH, &Callback<>::call>);
    // A record without index and count: one group is more than none.
    add("GroupListRetrieval", CMD_GROUP_LIST_RETRIEVAL,
        make<GroupListRetrievalCMD, CMD_GROUP_LIST_RETRIEVAL, &Callback<WContainer<WGroup>, WPerson>::call>, oneGroup)
        .ofSuccess = WSTATUS_MORE_PAGES;
    add("GroupCreation", CMD_GROUP_CREATION, make<GroupCreationCMD, CMD_GROUP_CREATION, &Callback<WGroup>::call>, oneGroup);
    add("GroupDeletion", CMD_GROUP_DELETION, make<GroupDeletionCMD, CMD_GROUP_DELETION, &Callback<WGroup>::call>, oneGroup);
    add("GroupFeedsRetrieval", CMD_GROUP_FEEDS_RETRIEVAL,
        make<GroupFeedsRetrievalCMD, CMD_GROUP_FEEDS_RETRIEVAL, &Callback<WContainer<WContent>>::call>, twoContents)
        .ofSuccess = WSTATUS_MORE_PAGES;
    add("GroupGalleryRetrieval", CMD_GROUP_GALLERY_RETRIEVAL,
        make<GroupGalleryRetrievalCMD, CMD_GROUP_GALLERY_RETRIEVAL, &Callback<WContainer<WContent>>::call>, twoContents)
        .ofSuccess = WSTATUS_MORE_PAGES;
    add("ContentCreation", CMD_CONTENT_CREATION,
        make<ContentCreationCMD, CMD_CONTENT_CREATION, &Callback<WGroup, WContent, STRING>::call>, oneContent)
        .flushesOnSuccess = true;
    add("ContentDeletion", CMD_CONTENT_DELETION, make<ContentDeletionCMD, CMD_CONTENT_DELETION, &Callback<WContent>::call>,
        oneContent);
    add("ContentUpdate", CMD_CONTENT_UPDATE, make<ContentUpdateCMD, CMD_CONTENT_UPDATE, &Callback<WContent, STRING>::call>,
        oneContent);
    add("ContentView", CMD_CONTENT_VIEW, make<ContentViewCMD, CMD_CONTENT_VIEW, &Callback<WContent>::call>, oneContent);
    addDownload("Download", CMD_DOWNLOAD, makeDownload<KLDownloadCMD, CMD_DOWNLOAD, &onDownloaded>).reportsOwnCancel = true;
    CommandCase& list = add("CommentsRetrieval", CMD_COMMENTS_RETRIEVAL,
                            make<CommentsRetrievalCMD, CMD_COMMENTS_RETRIEVAL, &Callback<WContainer<WComment>>::call>, oneComment);
    list.callsBack = false;
    list.flushesAlways = true;
    list.flushesOnSuccess = true;
    add("CommentCreation", CMD_COMMENT_CREATION, make<CommentCreationCMD, CMD_COMMENT_CREATION, &Callback<WComment, STRING>::call>,
        oneComment);
    add("CommentDeletion", CMD_COMMENT_DELETION, make<CommentDeletionCMD, CMD_COMMENT_DELETION, &Callback<WComment>::call>,
        oneComment);
    add("CommentUpdate", CMD_COMMENT_UPDATE, make<CommentUpdateCMD, CMD_COMMENT_UPDATE, &Callback<WComment>::call>, oneComment);
    add("CommentView", CMD_COMMENT_VIEW, make<CommentViewCMD, CMD_COMMENT_VIEW, &Callback<WComment, STRING>::call>, oneComment);
    addDownload("DirectDownload", CMD_DIRECT_DOWNLOAD,
                makeDownload<KLDirectDownloadCMD, CMD_DIRECT_DOWNLOAD, &Callback<STRING>::call>);
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
