// SPDX-License-Identifier: MIT
/// \file The command records: what each operation remembers until its request completes.
///
/// A record holds copies of the operation's inputs, then the callback, the user data and the facade that issued it; none of the
/// last three is owned. Its key is set by the operation (setCMDKey) and routes the completion.
#ifndef WKLOAI_COMMANDS_H
#define WKLOAI_COMMANDS_H

#include "KLService/KLServiceCMD.h"
#include "W/WKinloomOAI.h"
#include "WKLOAI/Callbacks.h"

namespace W {

class WKLOAI;

/// The kinds of request; 4 belongs to unregisterKL, which sends none.
enum CommandKey : UINT32 {
    CMD_LOGIN = 0,
    CMD_LOGOUT = 1,
    CMD_EXCEPTION_RESOLVE = 2,
    CMD_REGISTER = 3,
    CMD_AUTH = 5,
    CMD_GROUP_LIST_RETRIEVAL = 6,
    CMD_GROUP_CREATION = 7,
    CMD_GROUP_DELETION = 8,
    CMD_GROUP_FEEDS_RETRIEVAL = 9,
    CMD_GROUP_GALLERY_RETRIEVAL = 10,
    CMD_CONTENT_CREATION = 11,
    CMD_CONTENT_DELETION = 12,
    CMD_CONTENT_UPDATE = 13,
    CMD_CONTENT_VIEW = 14,
    CMD_DOWNLOAD = 15,
    CMD_COMMENTS_RETRIEVAL = 16,
    CMD_COMMENT_CREATION = 17,
    CMD_COMMENT_DELETION = 18,
    CMD_COMMENT_UPDATE = 19,
    CMD_COMMENT_VIEW = 20,
    CMD_DIRECT_DOWNLOAD = 21,
    CMD_KEYS = 22,
};

/// What a record holds, in this order: the operation's inputs, the callback, the user data, the facade.
template <class Inputs, class Callback> struct CommandRecord : KLServiceCMD, Inputs {
    using KLServiceCMD::KLServiceCMD;

    Callback callback = nullptr;
    VOID* userData = nullptr;
    WKLOAI* owner = nullptr;
};

// ---- Inputs ----

struct NoInputs {};

struct LoginInputs {
    STRING user;
    STRING password;
};

/// The provider's options as they were when the request was made.
struct DeviceInputs {
    STRING authToken;
    STRING appID;
    STRING duid;
};

struct ExceptionInputs {
    WException* exception = nullptr; // not owned
};

struct GroupListInputs {
    WPerson person;
    UINT32 index = 0;
    UINT32 count = 0;
};

struct GroupInputs {
    WGroup group;
};

struct FeedInputs {
    WGroup group;
    STRING before;
    STRING after;
    UINT32 count = 0;
    KL_SEARCH_BASE base{};
    KL_OPTION_ITEM item{};
    KL_OPTION_INCLUDE include{};
};

struct GalleryInputs {
    WGroup group;
    KL_CONTENT_TYPE type{};
    UINT32 count = 0;
    KL_SEARCH_DIRECTION direction{};
    KL_OPTION_SORT sort{};
    KL_OPTION_ORDER order{};
};

struct UploadInputs {
    WGroup group;
    WContent content;
    STRING filePath;
};

struct ContentInputs {
    WContent content;
};

struct ContentUpdateInputs {
    WContent content;
    STRING update;
};

struct ResourceInputs {
    WMediaResource resource;
};

struct CommentListInputs {
    WContent content;
    UINT32 index = 0;
    UINT32 count = 0;
};

struct NewCommentInputs {
    WContent content;
    WComment comment;
};

struct CommentInputs {
    WComment comment;
};

struct DirectDownloadInputs {
    STRING url;
    STRING localPath;
    STRING fileName;
};

// ---- Records ----

/// Never sent: login refuses.
struct KLLoginCMD : CommandRecord<LoginInputs, WLoginCallback> {
    using CommandRecord::CommandRecord;
};

/// Never sent: logout refuses.
struct KLLogoutCMD : CommandRecord<NoInputs, WStatusCallback> {
    using CommandRecord::CommandRecord;
};

/// Never sent: resolveException refuses.
struct KLExceptionResolveCMD : CommandRecord<ExceptionInputs, WExceptionCallback> {
    using CommandRecord::CommandRecord;
};

struct RegisterKLCMD : CommandRecord<DeviceInputs, WStatusCallback> {
    using CommandRecord::CommandRecord;
};

struct AuthKLCMD : CommandRecord<DeviceInputs, WStatusCallback> {
    using CommandRecord::CommandRecord;
};

struct GroupListRetrievalCMD : CommandRecord<GroupListInputs, KLGroupListCallback> {
    using CommandRecord::CommandRecord;
};

struct GroupCreationCMD : CommandRecord<GroupInputs, KLGroupCallback> {
    using CommandRecord::CommandRecord;
};

struct GroupDeletionCMD : CommandRecord<GroupInputs, KLGroupCallback> {
    using CommandRecord::CommandRecord;
};

struct GroupFeedsRetrievalCMD : CommandRecord<FeedInputs, KLContentListCallback> {
    using CommandRecord::CommandRecord;
};

/// Never sent: retrieveGroupGallery refuses.
struct GroupGalleryRetrievalCMD : CommandRecord<GalleryInputs, KLContentListCallback> {
    using CommandRecord::CommandRecord;
};

struct ContentCreationCMD : CommandRecord<UploadInputs, KLContentCreationCallback> {
    using CommandRecord::CommandRecord;
};

struct ContentDeletionCMD : CommandRecord<ContentInputs, KLContentCallback> {
    using CommandRecord::CommandRecord;
};

/// Never sent: updateContent refuses.
struct ContentUpdateCMD : CommandRecord<ContentUpdateInputs, KLContentUpdateCallback> {
    using CommandRecord::CommandRecord;
};

struct ContentViewCMD : CommandRecord<ContentInputs, KLContentCallback> {
    using CommandRecord::CommandRecord;
};

/// A media resource on its way to the temporary folder.
struct KLDownloadCMD : CommandRecord<ResourceInputs, WDownloadCallback> {
    using CommandRecord::CommandRecord;
    STRING localPath;
};

struct CommentsRetrievalCMD : CommandRecord<CommentListInputs, KLCommentListCallback> {
    using CommandRecord::CommandRecord;
};

struct CommentCreationCMD : CommandRecord<NewCommentInputs, KLCommentIDCallback> {
    using CommandRecord::CommandRecord;
};

struct CommentDeletionCMD : CommandRecord<CommentInputs, KLCommentCallback> {
    using CommandRecord::CommandRecord;
};

/// Never sent: updateComment refuses.
struct CommentUpdateCMD : CommandRecord<CommentInputs, KLCommentCallback> {
    using CommandRecord::CommandRecord;
};

struct CommentViewCMD : CommandRecord<CommentInputs, KLCommentIDCallback> {
    using CommandRecord::CommandRecord;
};

/// A URL on its way to a folder that the caller named.
struct KLDirectDownloadCMD : CommandRecord<DirectDownloadInputs, KLFileCallback> {
    using CommandRecord::CommandRecord;
};

} // namespace W

#endif
