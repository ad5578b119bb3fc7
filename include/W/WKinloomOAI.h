// SPDX-License-Identifier: MIT
/// \file The interface of the Kinloom service.
#ifndef W_WKINLOOMOAI_H
#define W_WKINLOOMOAI_H

#include "W/WAbstractOAI.h"
#include "W/WContainer.h"
#include "W/WContent.h"
#include "W/WGroup.h"
#include "W/WKLGallery.h" // IWYU pragma: export

namespace W {

/// Order of a group list; any other value lists alphabetically.
enum KL_OPTION_SORT : UINT32 {
    KL_SORT_ALPHABETICAL = 0,
    KL_SORT_CREATED_TIME = 1,
    KL_SORT_RECENT_USED = 2,
};

/// What a list brings beside the records; any other value brings nothing.
enum KL_OPTION_INCLUDE : UINT32 {
    KL_INCLUDE_NONE = 0,
    KL_INCLUDE_USAGE = 1,
    KL_INCLUDE_MEMBER = 2,
    KL_INCLUDE_CREATOR = 3,
    KL_INCLUDE_NEW = 4, ///< group lists only: feeds refuse it
    KL_INCLUDE_ALL = 5,
};

/// What a feed is paged by; any other value pages by creation time.
enum KL_SEARCH_BASE : UINT32 {
    KL_BASE_CREATED_TIME = 0,
    KL_BASE_UPLOAD_TIME = 1,
    KL_BASE_CONTENT_ID = 2,
};

/// Which contents a feed shows; any other value shows all.
enum KL_OPTION_ITEM : UINT32 {
    KL_ITEM_ALL = 0,
    KL_ITEM_PHOTO = 1,
    KL_ITEM_VIDEO = 2,
    KL_ITEM_MUSIC = 3,
};

enum KL_CONTENT_TYPE : UINT32 {
    KL_CONTENT_UNKNOWN = 0,
    KL_CONTENT_PHOTO = 1, ///< the only kind that can be uploaded
    KL_CONTENT_VIDEO = 2,
    KL_CONTENT_MUSIC = 3,
};

enum KL_SEARCH_DIRECTION : UINT32 {
    KL_DIRECTION_BEFORE = 0,
    KL_DIRECTION_AFTER = 1,
};

enum KL_OPTION_ORDER : UINT32 {
    KL_ORDER_ASCENDING = 0,
    KL_ORDER_DESCENDING = 1,
};

typedef VOID (*KLGroupListCallback)(WSTATUS, const WContentProvider&, const WContainer<WGroup>&, const WPerson&, VOID*);
typedef VOID (*KLGroupCallback)(WSTATUS, const WContentProvider&, const WGroup&, VOID*);
typedef VOID (*KLContentListCallback)(WSTATUS, const WContentProvider&, const WContainer<WContent>&, VOID*);
typedef VOID (*KLContentCallback)(WSTATUS, const WContentProvider&, const WContent&, VOID*);
typedef VOID (*KLContentCreationCallback)(WSTATUS, const WContentProvider&, const WGroup&, const WContent&, const STRING&, VOID*);
typedef VOID (*KLContentUpdateCallback)(WSTATUS, const WContentProvider&, const WContent&, const STRING&, VOID*);
typedef VOID (*KLCommentListCallback)(WSTATUS, const WContentProvider&, const WContainer<WComment>&, VOID*);
/// With the identifier of the comment that the call was made for.
typedef VOID (*KLCommentIDCallback)(WSTATUS, const WContentProvider&, const WComment&, const STRING&, VOID*);
typedef VOID (*KLCommentCallback)(WSTATUS, const WContentProvider&, const WComment&, VOID*);
/// With the name of the downloaded file, without its folder.
typedef VOID (*KLFileCallback)(WSTATUS, const WContentProvider&, const STRING&, VOID*);

/// The operations of the Kinloom service. The order of the virtual members is part of the binary contract (slots 7 to 25).
///
/// What holds for every operation:
/// - It may be called from any thread, from inside a callback too, and does not wait for the network (createContent asks for its
///   upload slot first and is the exception).
/// - It returns 0 when the request is on its way. A negative value means that it was refused; then no callback follows.
///   Before authKL has succeeded, every operation but the account operations returns -202; what the service does not offer
///   returns -15.
/// - The callback runs at most once, on the host's HTTP worker thread, with no lock held. It does not run when the request is
/// dropped:
///   by the destruction of the plugin, or because another request of the plugin failed or was cancelled. A request that completes
///   while a cancel is pending reports to the cancel's callback instead. Records that a callback is given are valid during the call
///   only. A null callback is allowed: the outcome is then not reported.
/// - Arguments are copied; user data is passed back unchanged and never followed.
/// - Text becomes part of the request as given: a caller encodes what could be mistaken for the request's own punctuation.
class WKinloomOAI : public WAbstractOAI {
public:
    /// Registers this device. -1: an option "app_id", "AuthToken" or "duid" is empty. -9: a service exception is pending.
    /// Every other request of the plugin that is still in flight is dropped when the reply arrives.
    virtual WSTATUS registerKL(WStatusCallback callback, VOID* userData) = 0;
    /// Not offered by the service: returns -15.
    virtual WSTATUS unregisterKL(WStatusCallback callback, VOID* userData) = 0;
    /// Signs this device in with the provider's options; refusals and side effects as for registerKL. The session is signed in when
    /// the callback reports 0 and the service agreed; a reply "fail" with HTTP 200 also reports 0 and leaves it signed out.
    virtual WSTATUS authKL(WStatusCallback callback, VOID* userData) = 0;

    /// Lists the groups of a person (of the signed-in user when the UID is empty) from an index on.
    /// \param count records a page; 0 means 10.
    /// The callback's status is 100 instead of 0 when the reply holds more records than index plus count.
    virtual WSTATUS retrieveGroupList(const WPerson& person, KLGroupListCallback callback, unsigned int index, unsigned int count,
                                      KL_OPTION_SORT sort, KL_OPTION_INCLUDE include, VOID* userData) = 0;
    /// Creates a group for a person. -1: the name is empty. The callback receives the group as the service created it.
    virtual WSTATUS createGroup(const WGroup& group, const WPerson& person, KLGroupCallback callback, VOID* userData) = 0;
    /// Deletes a group. -1: its UID is empty. The callback receives the group that was passed.
    virtual WSTATUS deleteGroup(const WGroup& group, KLGroupCallback callback, VOID* userData) = 0;

    /// Reads a page of a group's feed.
    /// \param before,after the marker that the page ends before or begins after; exactly one is given, else -1.
    /// \param count records a page; 0 means 30.
    /// -1 also when the group's UID is empty or include is KL_INCLUDE_NEW. The callback's status is 100 when more follow.
    virtual WSTATUS retrieveGroupFeeds(const WGroup& group, const STRING& before, const STRING& after, unsigned int count,
                                       KL_SEARCH_BASE base, KL_OPTION_ITEM item, KL_OPTION_INCLUDE include,
                                       KLContentListCallback callback, VOID* userData) = 0;
    /// Not offered by the service: returns -15.
    virtual WSTATUS retrieveGroupGallery(const WGroup& group, KL_CONTENT_TYPE type, unsigned int count,
                                         KL_SEARCH_DIRECTION direction, KL_OPTION_SORT sort, KL_OPTION_ORDER order,
                                         KLContentListCallback callback, VOID* userData) = 0;

    /// Uploads a photo. Blocks while it asks the service for an upload slot; the file itself is sent in the background.
    /// -1: path, group UID or MIME type empty, a type other than photo, or the service grants no slot.
    /// The callback receives the group, the created content, and the path.
    virtual WSTATUS createContent(const WGroup& group, const WContent& content, KL_CONTENT_TYPE type, const STRING& filePath,
                                  KLContentCreationCallback callback, VOID* userData) = 0;
    /// Deletes a content. -1: its UID is empty.
    virtual WSTATUS deleteContent(const WContent& content, KLContentCallback callback, VOID* userData) = 0;
    /// Not offered by the service: returns -15.
    virtual WSTATUS updateContent(const WContent& content, const STRING& update, KLContentUpdateCallback callback,
                                  VOID* userData) = 0;
    /// Reads one content with its details. -1: its UID is empty.
    virtual WSTATUS viewContent(const WContent& content, KLContentCallback callback, VOID* userData) = 0;

    /// Comments on a content. -1: the text or the content's UID is empty. The callback receives the comment as it was passed.
    virtual WSTATUS createComment(const WContent& content, const WComment& comment, KLCommentIDCallback callback,
                                  VOID* userData) = 0;
    /// Deletes a comment. -1: its UID is empty.
    virtual WSTATUS deleteComment(const WComment& comment, KLCommentCallback callback, VOID* userData) = 0;
    /// Not offered by the service: returns -15.
    virtual WSTATUS updateComment(const WComment& comment, KLCommentCallback callback, VOID* userData) = 0;
    /// Reads one comment. -1: its UID is empty.
    virtual WSTATUS viewComment(const WComment& comment, KLCommentIDCallback callback, VOID* userData) = 0;

    /// Cancels: the current transfer is stopped, and the request that completes next reports to this callback, with status 0 and
    /// its own user data, instead of to its own callback. The user data given here is not used. \param callback null keeps the
    /// callback of an earlier cancel that has not been called yet. -16: the provider is not this plugin's. -14: a cancel is pending
    /// already.
    virtual WSTATUS cancel(const WContentProvider& provider, WStatusCallback callback, VOID* userData) = 0;

    /// Downloads a URL into a folder.
    /// \param fileName empty: the last segment of the URL's path.
    /// -1: URL or directory empty. -16: the provider is not this plugin's. The callback receives the file's name. A cancelled
    /// download leaves no file.
    virtual WSTATUS download(const WContentProvider& provider, const STRING& url, const STRING& directory, const STRING& fileName,
                             KLFileCallback callback, VOID* userData) = 0;

    /// Bytes transferred and bytes expected of the current transfer. -16, with both outputs 0.0: the provider is not this plugin's.
    virtual WSTATUS progressStatus(const WContentProvider& provider, double& done, double& total, VOID* userData) = 0;

protected:
    using WAbstractOAI::WAbstractOAI;
};

} // namespace W

#endif
