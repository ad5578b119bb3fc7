// SPDX-License-Identifier: MIT
#include "plugin/support/Operations.h"

#include "plugin/support/Documents.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace kinloom_test {

using namespace W;

namespace {

// --- Replies

STRING nothing() { return STRING(); }
STRING okDocument() { return documents::OK; }
STRING oneGroup() { return documents::groups(1); }
STRING oneContent() { return documents::contents(1); }
STRING twoContents() { return documents::contents(2); }
STRING oneComment() { return documents::comments(1); }
STRING richGroup() { return documents::RICH_GROUP; }
STRING richContents() { return documents::RICH_CONTENTS; }
STRING richComment() { return documents::RICH_COMMENT; }
STRING richSlot() { return documents::slot("content-with-a-long-identifier"); }
STRING photoBytes() { return STRING("\xFF\xD8\xFF\0photo", 9); }

struct Reply {
    decltype(OperationCase::goodReply) good;
    decltype(OperationCase::richReply) rich;
};

constexpr Reply NOTHING = {nothing, nothing};
constexpr Reply STATUS = {okDocument, okDocument};
constexpr Reply GROUP = {oneGroup, richGroup};
constexpr Reply CONTENT = {oneContent, richContents};
constexpr Reply CONTENTS = {twoContents, richContents};
constexpr Reply UPLOADED = {oneContent, richSlot}; // all requests of an upload get it where one reply serves for all
constexpr Reply COMMENT = {oneComment, richComment};
constexpr Reply PHOTO = {photoBytes, photoBytes};

// --- Rows

template <class CMD, class = void> constexpr bool HAS_FILE = false;
template <class CMD> constexpr bool HAS_FILE<CMD, std::void_t<decltype(CMD::localPath)>> = true;

template <class CMD, UINT32 KEY, auto CALLBACK>
std::unique_ptr<KLServiceCMD> make(WKLOAI* owner, Recorder* recorder, [[maybe_unused]] const STRING& file)
{
    auto command = std::make_unique<CMD>(kinloomProvider());
    command->setCMDKey(KEY);
    command->callback = recorder ? CALLBACK : nullptr;
    command->userData = recorder;
    command->owner = owner;
    if constexpr (HAS_FILE<CMD>)
        command->localPath = file;
    return command;
}

template <class CMD, auto HANDLER>
void handle(WKLOAI& oai, SESSION_STATUS status, const HttpResponse& response, KLServiceCMD& command)
{
    (oai.*HANDLER)(status, response, static_cast<CMD*>(&command));
}

template <class Handler> struct RecordOf;
template <class CMD> struct RecordOf<void (WKLOAI::*)(SESSION_STATUS, const HttpResponse&, CMD*)> {
    using Type = CMD;
};

/// A command that no operation sends.
template <UINT32 KEY, auto CALLBACK, auto HANDLER> OperationCase unsent(const char* command, const Reply& reply)
{
    using CMD = typename RecordOf<decltype(HANDLER)>::Type;
    return {command, KEY, make<CMD, KEY, CALLBACK>, handle<CMD, HANDLER>, reply.good, reply.rich};
}

using In = const Arguments&;

/// A command and its operation.
/// \param start calls the operation's function; the callback that it is given is null when nobody wants to know.
template <UINT32 KEY, auto CALLBACK, auto HANDLER, class Start>
OperationCase sent(const char* command, const Reply& reply, const char* name, Exchange exchange, Start start)
{
    OperationCase row = unsent<KEY, CALLBACK, HANDLER>(command, reply);
    row.name = name;
    row.startWith = [start](WKLOAI& oai, In in, Recorder* to) { return start(oai, in, to ? CALLBACK : nullptr, to); };
    row.exchange = std::move(exchange);
    return row;
}

/// Of the account's replies only the code counts.
OperationCase account(OperationCase row)
{
    row.ofBadReply = WSTATUS_OK;
    row.readsRefusals = true;
    row.flushesOnSuccess = true;
    row.needsSession = false;
    return row;
}

/// A record without index and count: one is more than none.
OperationCase pages(OperationCase row)
{
    row.ofSuccess = WSTATUS_MORE_PAGES;
    return row;
}

/// A download reads no document.
OperationCase download(OperationCase row)
{
    row.ofBadReply = WSTATUS_OK;
    row.readsDocument = false;
    row.sendsCredentials = false;
    row.isRegistered = false;
    row.isTransfer = true;
    row.writesFile = true;
    return row;
}

// --- The table

constexpr auto onStatus = &Callback<>::call;
constexpr auto onLogin = &Callback<STRING, STRING>::call;
constexpr auto onGroups = &Callback<WContainer<WGroup>, WPerson>::call;
constexpr auto onGroup = &Callback<WGroup>::call;
constexpr auto onContents = &Callback<WContainer<WContent>>::call;
constexpr auto onContent = &Callback<WContent>::call;
constexpr auto onCreated = &Callback<WGroup, WContent, STRING>::call;
constexpr auto onUpdated = &Callback<WContent, STRING>::call;
constexpr auto onComments = &Callback<WContainer<WComment>>::call;
constexpr auto onComment = &Callback<WComment>::call;
constexpr auto onCommentID = &Callback<WComment, STRING>::call;
constexpr auto onFile = &Callback<STRING>::call;

std::vector<OperationCase> makeAccount()
{
    OperationCase logout = unsent<CMD_LOGOUT, onStatus, &WKLOAI::cbLogoutDone>("Logout", NOTHING);
    logout.ofBadReply = WSTATUS_OK;
    logout.readsDocument = false;
    logout.alwaysSucceeds = true;
    logout.flushesOnFailure = false;

    return {
        account(unsent<CMD_LOGIN, onLogin, &WKLOAI::cbLoginDone>("Login", STATUS)),
        logout,
        account(unsent<CMD_EXCEPTION_RESOLVE, &onResolved, &WKLOAI::cbExceptionResolveDone>("ExceptionResolve", STATUS)),
        account(sent<CMD_REGISTER, onStatus, &WKLOAI::cbRegisterDone>(
            "Register", STATUS, "registerKL", {"account", "register", {}, false},
            [](WKLOAI& o, In, auto call, Recorder* to) { return o.registerKL(call, to); })),
        account(sent<CMD_AUTH, onStatus, &WKLOAI::cbAuthDone>(
            "Auth", STATUS, "authKL", {"account", "auth-first", {}, false},
            [](WKLOAI& o, In, auto call, Recorder* to) { return o.authKL(call, to); })),
    };
}

std::vector<OperationCase> makeGroups()
{
    return {
        pages(sent<CMD_GROUP_LIST_RETRIEVAL, onGroups, &WKLOAI::cbGroupListRetrievalDone>(
            "GroupListRetrieval", GROUP, "retrieveGroupList", {"groups", "list"},
            [](WKLOAI& o, In in, auto call, Recorder* to) {
                return o.retrieveGroupList(in.person, call, 0, 10, KL_SORT_ALPHABETICAL, in.include, to);
            })),
        sent<CMD_GROUP_CREATION, onGroup, &WKLOAI::cbGroupCreationDone>(
            "GroupCreation", GROUP, "createGroup", {"groups", "create"},
            [](WKLOAI& o, In in, auto call, Recorder* to) { return o.createGroup(in.newGroup, in.person, call, to); }),
        sent<CMD_GROUP_DELETION, onGroup, &WKLOAI::cbGroupDeletionDone>(
            "GroupDeletion", GROUP, "deleteGroup", {"groups", "delete"},
            [](WKLOAI& o, In in, auto call, Recorder* to) { return o.deleteGroup(in.group, call, to); }),
        pages(sent<CMD_GROUP_FEEDS_RETRIEVAL, onContents, &WKLOAI::cbGroupFeedsRetrievalDone>(
            "GroupFeedsRetrieval", CONTENTS, "retrieveGroupFeeds", {"feeds", "after"},
            [](WKLOAI& o, In in, auto call, Recorder* to) {
                return o.retrieveGroupFeeds(in.group, in.before, in.after, 30, in.base, KL_ITEM_ALL, in.include, call, to);
            })),
        pages(unsent<CMD_GROUP_GALLERY_RETRIEVAL, onContents, &WKLOAI::cbGroupGalleryRetrievalDone>("GroupGalleryRetrieval",
                                                                                                    CONTENTS)),
    };
}

std::vector<OperationCase> makeContents()
{
    OperationCase creation = sent<CMD_CONTENT_CREATION, onCreated, &WKLOAI::cbContentCreationDone>(
        "ContentCreation", UPLOADED, "createContent", {"uploads", "photo", {"photo-slot", "photo-file"}},
        [](WKLOAI& o, In in, auto call, Recorder* to) {
            return o.createContent(in.group, in.newContent, KL_CONTENT_PHOTO, in.photo, call, to);
        });
    creation.flushesOnSuccess = true;
    creation.isTransfer = true;
    creation.asksFirst = true;
    creation.readsFile = true;

    return {
        creation,
        sent<CMD_CONTENT_DELETION, onContent, &WKLOAI::cbContentDeletionDone>(
            "ContentDeletion", CONTENT, "deleteContent", {"contents", "delete"},
            [](WKLOAI& o, In in, auto call, Recorder* to) { return o.deleteContent(in.content, call, to); }),
        unsent<CMD_CONTENT_UPDATE, onUpdated, &WKLOAI::cbContentUpdateDone>("ContentUpdate", CONTENT),
        sent<CMD_CONTENT_VIEW, onContent, &WKLOAI::cbContentViewDone>(
            "ContentView", CONTENT, "viewContent", {"contents", "view"},
            [](WKLOAI& o, In in, auto call, Recorder* to) { return o.viewContent(in.content, call, to); }),
    };
}

std::vector<OperationCase> makeDownloads()
{
    OperationCase resource = download(sent<CMD_DOWNLOAD, &onDownloaded, &WKLOAI::cbDownloadDone>(
        "Download", PHOTO, "fnContentDownloader", {"downloads", "resource"},
        [](WKLOAI& o, In in, auto call, Recorder* to) { return fnContentDownloader(in.resource, call, &o, to); }));
    resource.needsSession = false;
    resource.reportsOwnCancel = true;

    return {
        resource,
        download(sent<CMD_DIRECT_DOWNLOAD, onFile, &WKLOAI::cbKLDownloadDone>(
            "DirectDownload", PHOTO, "download", {"downloads", "direct"},
            [](WKLOAI& o, In in, auto call, Recorder* to) {
                return o.download(o.getContentProvider(), in.url, in.folder, in.fileName, call, to);
            })),
    };
}

std::vector<OperationCase> makeComments()
{
    OperationCase list = sent<CMD_COMMENTS_RETRIEVAL, onComments, &WKLOAI::cbCommentRetrievalDone>(
        "CommentsRetrieval", COMMENT, "retrieveComments", {"comments", "list"},
        [](WKLOAI& o, In in, auto call, Recorder* to) { return o.retrieveComments(in.content, call, 10, 5, to); });
    list.callsBack = false;
    list.flushesAlways = true;
    list.flushesOnSuccess = true;

    OperationCase creation = sent<CMD_COMMENT_CREATION, onCommentID, &WKLOAI::cbCommentCreationDone>(
        "CommentCreation", COMMENT, "createComment", {"comments", "create"},
        [](WKLOAI& o, In in, auto call, Recorder* to) { return o.createComment(in.content, in.newComment, call, to); });
    creation.sendsCredentials = false;

    return {
        list,
        creation,
        sent<CMD_COMMENT_DELETION, onComment, &WKLOAI::cbCommentDeletionDone>(
            "CommentDeletion", COMMENT, "deleteComment", {"comments", "delete"},
            [](WKLOAI& o, In in, auto call, Recorder* to) { return o.deleteComment(in.comment, call, to); }),
        unsent<CMD_COMMENT_UPDATE, onComment, &WKLOAI::cbCommentUpdateDone>("CommentUpdate", COMMENT),
        sent<CMD_COMMENT_VIEW, onCommentID, &WKLOAI::cbCommentViewDone>(
            "CommentView", COMMENT, "viewComment", {"comments", "view"},
            [](WKLOAI& o, In in, auto call, Recorder* to) { return o.viewComment(in.comment, call, to); }),
    };
}

std::vector<OperationCase> makeCommands()
{
    std::vector<OperationCase> all;
    for (const auto family : {makeAccount, makeGroups, makeContents, makeDownloads, makeComments})
        for (OperationCase& row : family())
            all.push_back(std::move(row));
    return all;
}

std::vector<OperationCase> makeOperations()
{
    std::vector<OperationCase> sent;
    std::copy_if(commands().begin(), commands().end(), std::back_inserter(sent),
                 [](const OperationCase& row) { return row.name != nullptr; });
    return sent;
}

/// The part of a folder's path that is no other's.
STRING nameOf(const TempFolder& folder) { return folder.path().substr(folder.path().rfind('/') + 1); }

} // namespace

Arguments::Arguments(const TempFolder& temporary)
    : group(groupWith("g1")),
      newGroup(groupWith("", "Family")),
      content(contentWith("c1")),
      newContent(contentWith("", "image/jpeg")),
      comment(commentWith("m1")),
      newComment(commentWith("", "so lovely & true")),
      after("c100"),
      url("http://media.kinloom.example/a/two words.jpg?size=full"),
      folder(temporary.path()),
      fileName("saved.jpg"),
      photo(temporary.file("photo.jpg"))
{
    // The file goes to the temporary folder, so its name must be nobody else's.
    resource.setResourceURL("http://media.kinloom.example/full/" + nameOf(temporary) + ".jpg?size=full");
}

Arguments OperationCase::argumentsIn(const TempFolder& folder) const
{
    Arguments arguments(folder);
    if (readsFile)
        test::writeFile(arguments.photo, PHOTO_FILE);
    return arguments;
}

Arguments OperationCase::longArgumentsIn(const TempFolder& folder) const
{
    const char* const text = "a text that is too long to be kept inside a string object";
    Arguments arguments = argumentsIn(folder);
    arguments.person.setUID(text);
    for (WGroup* group : {&arguments.group, &arguments.newGroup}) {
        group->setUID(text);
        group->setName(text);
        group->setDescription(text);
    }
    for (WContent* content : {&arguments.content, &arguments.newContent}) {
        content->setUID(text);
        content->setMIMEType("image/jpeg");
        content->setDescription(text);
    }
    for (WComment* comment : {&arguments.comment, &arguments.newComment}) {
        comment->setUID(text);
        comment->setComment(text);
    }
    arguments.after = text;
    arguments.base = KL_BASE_CONTENT_ID; // of which no form is asked
    arguments.include = KL_INCLUDE_ALL;
    arguments.fileName = text;
    return arguments;
}

WSTATUS OperationCase::start(WKLOAI& oai, Recorder* recorder, const TempFolder& folder) const
{
    return startWith(oai, argumentsIn(folder), recorder);
}

const std::vector<OperationCase>& commands()
{
    static const std::vector<OperationCase> ALL = makeCommands();
    return ALL;
}

const std::vector<OperationCase>& operations()
{
    static const std::vector<OperationCase> SENT = makeOperations();
    return SENT;
}

const OperationCase& operationNamed(const STRING& name)
{
    for (const OperationCase& operation : operations())
        if (name == operation.name)
            return operation;
    throw std::out_of_range(name);
}

STRING resourceFile(const TempFolder& folder) { return "/tmp/" + nameOf(folder) + ".jpg"; }

std::ostream& operator<<(std::ostream& out, const OperationCase& operation)
{
    return out << (operation.name ? operation.name : operation.command);
}

} // namespace kinloom_test
