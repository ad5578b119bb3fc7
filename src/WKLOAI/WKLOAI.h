// SPDX-License-Identifier: MIT
/// \file The facade: the plugin as its host sees it.
#ifndef WKLOAI_WKLOAI_H
#define WKLOAI_WKLOAI_H

#include "KLService/KLService.h"
#include "W/WKinloomOAI.h"
#include "WKLOAI/Callbacks.h"
#include "WKLOAI/Commands.h"

#include <atomic>
#include <list>
#include <set>

/// What the library shows its host; everything else in it stays hidden.
#define WKLOAI_EXPORT __attribute__((visibility("default")))

/// Makes a plugin object, a W::WKLOAI. \return what destroyPlugin takes back. \throw what the constructor throws.
extern "C" WKLOAI_EXPORT void* createPlugin();
/// Destroys a plugin object made by createPlugin, after dropping all its requests; their callbacks do not run. Null does nothing.
/// Not to be called from inside a callback of the object.
extern "C" WKLOAI_EXPORT void destroyPlugin(void* plugin);

namespace W {

/// Routes a completed request to the handler of its command. A command without an owner, or of an unknown key, is ignored.
void cbFnRequestCompleted(SESSION_STATUS status, const HttpResponse& response, KLServiceCMD* command);

/// Takes a command that will never complete out of its owner's list.
void cbFnRequestDropped(KLServiceCMD* command);

/// Downloads a media resource into "/tmp/" and hands the callback an open stream on the file, which stays there. The hook of every
/// media resource that the plugin hands out.
/// \param downloaderArg the WKLOAI.
/// \return 0; -1 when the resource has no URL; or the client's refusal. No callback follows a refusal.
WSTATUS fnContentDownloader(const WMediaResource& resource, WDownloadCallback callback, VOID* downloaderArg, VOID* userData);

/// The Kinloom service for one host. The interface's contract is in W/WKinloomOAI.h; what else stands here is public for tests and
/// tools. Operations may be called from any thread; handlers (cb...Done) run on the host's HTTP worker.
class WKLOAI_EXPORT WKLOAI : public WKinloomOAI {
public:
    WKLOAI();
    ~WKLOAI() override;

    // ---- Account ----
    WSTATUS login(const STRING& user, const STRING& password, WLoginCallback callback, VOID* userData) override;
    WSTATUS logout(WStatusCallback callback, VOID* userData) override;
    WSTATUS retrieveExceptions(std::list<WException*>& exceptions) override;
    WSTATUS resolveException(WException* exception, WExceptionCallback callback, VOID* userData) override;
    WSTATUS registerKL(WStatusCallback callback, VOID* userData) override;
    WSTATUS unregisterKL(WStatusCallback callback, VOID* userData) override;
    WSTATUS authKL(WStatusCallback callback, VOID* userData) override;

    void cbLoginDone(SESSION_STATUS status, const HttpResponse& response, KLLoginCMD* command);
    void cbLogoutDone(SESSION_STATUS status, const HttpResponse& response, KLLogoutCMD* command);
    void cbExceptionResolveDone(SESSION_STATUS status, const HttpResponse& response, KLExceptionResolveCMD* command);
    void cbRegisterDone(SESSION_STATUS status, const HttpResponse& response, RegisterKLCMD* command);
    void cbAuthDone(SESSION_STATUS status, const HttpResponse& response, AuthKLCMD* command);

    WSTATUS parseLoginStatus(STRING payload, KLLoginCMD* command);
    WSTATUS parseAuthStatus(STRING payload, AuthKLCMD* command);
    WSTATUS parseRegisterStatus(STRING payload, RegisterKLCMD* command);

    // ---- Groups, feeds and galleries ----
    WSTATUS retrieveGroupList(const WPerson& person, KLGroupListCallback callback, unsigned int index, unsigned int count,
                              KL_OPTION_SORT sort, KL_OPTION_INCLUDE include, VOID* userData) override;
    WSTATUS createGroup(const WGroup& group, const WPerson& person, KLGroupCallback callback, VOID* userData) override;
    WSTATUS deleteGroup(const WGroup& group, KLGroupCallback callback, VOID* userData) override;
    WSTATUS retrieveGroupFeeds(const WGroup& group, const STRING& before, const STRING& after, unsigned int count,
                               KL_SEARCH_BASE base, KL_OPTION_ITEM item, KL_OPTION_INCLUDE include, KLContentListCallback callback,
                               VOID* userData) override;
    WSTATUS retrieveGroupGallery(const WGroup& group, KL_CONTENT_TYPE type, unsigned int count, KL_SEARCH_DIRECTION direction,
                                 KL_OPTION_SORT sort, KL_OPTION_ORDER order, KLContentListCallback callback,
                                 VOID* userData) override;

    void cbGroupListRetrievalDone(SESSION_STATUS status, const HttpResponse& response, GroupListRetrievalCMD* command);
    void cbGroupCreationDone(SESSION_STATUS status, const HttpResponse& response, GroupCreationCMD* command);
    void cbGroupDeletionDone(SESSION_STATUS status, const HttpResponse& response, GroupDeletionCMD* command);
    void cbGroupFeedsRetrievalDone(SESSION_STATUS status, const HttpResponse& response, GroupFeedsRetrievalCMD* command);
    void cbGroupGalleryRetrievalDone(SESSION_STATUS status, const HttpResponse& response, GroupGalleryRetrievalCMD* command);

    // ---- Contents ----
    WSTATUS createContent(const WGroup& group, const WContent& content, KL_CONTENT_TYPE type, const STRING& filePath,
                          KLContentCreationCallback callback, VOID* userData) override;
    WSTATUS deleteContent(const WContent& content, KLContentCallback callback, VOID* userData) override;
    WSTATUS updateContent(const WContent& content, const STRING& update, KLContentUpdateCallback callback, VOID* userData) override;
    WSTATUS viewContent(const WContent& content, KLContentCallback callback, VOID* userData) override;
    /// Asks the content's URL for its MIME type, on the calling thread, and sets it.
    /// \return 0 when the URL answered, with whatever code: only a 200 sets the type. Negative when the exchange failed.
    WSTATUS retrieveContentMIMEType(WContent& content);
    /// The same for a thumbnail.
    WSTATUS retrieveThumbMIMEType(WMediaResource& resource);
    /// Reads the content's UID and upload URL from the reply to a request for an upload slot.
    WSTATUS getUploadUrlDone(const HttpResponse& response, WContent& target);
    WSTATUS contentMIMETypeDone(const HttpResponse& response, WContent& content);
    WSTATUS thumbMIMETypeDone(const HttpResponse& response, WMediaResource& resource);

    void cbContentCreationDone(SESSION_STATUS status, const HttpResponse& response, ContentCreationCMD* command);
    void cbContentDeletionDone(SESSION_STATUS status, const HttpResponse& response, ContentDeletionCMD* command);
    void cbContentUpdateDone(SESSION_STATUS status, const HttpResponse& response, ContentUpdateCMD* command);
    void cbContentViewDone(SESSION_STATUS status, const HttpResponse& response, ContentViewCMD* command);

    // ---- Comments ----
    WSTATUS createComment(const WContent& content, const WComment& comment, KLCommentIDCallback callback, VOID* userData) override;
    WSTATUS deleteComment(const WComment& comment, KLCommentCallback callback, VOID* userData) override;
    WSTATUS updateComment(const WComment& comment, KLCommentCallback callback, VOID* userData) override;
    WSTATUS viewComment(const WComment& comment, KLCommentIDCallback callback, VOID* userData) override;
    /// Requests a content's comments. The callback is never called: only a cancel is reported, and viewContent brings the comments.
    /// \param count 0 leaves the number to the service.
    WSTATUS retrieveComments(const WContent& content, KLCommentListCallback callback, UINT32 index, UINT32 count, VOID* userData);

    void cbCommentRetrievalDone(SESSION_STATUS status, const HttpResponse& response, CommentsRetrievalCMD* command);
    void cbCommentCreationDone(SESSION_STATUS status, const HttpResponse& response, CommentCreationCMD* command);
    void cbCommentDeletionDone(SESSION_STATUS status, const HttpResponse& response, CommentDeletionCMD* command);
    void cbCommentUpdateDone(SESSION_STATUS status, const HttpResponse& response, CommentUpdateCMD* command);
    void cbCommentViewDone(SESSION_STATUS status, const HttpResponse& response, CommentViewCMD* command);

    // ---- Downloads, cancel, progress ----
    WSTATUS cancel(const WContentProvider& provider, WStatusCallback callback, VOID* userData) override
        KLSERVICE_EXCLUDES(m_cancelMutex);
    WSTATUS download(const WContentProvider& provider, const STRING& url, const STRING& directory, const STRING& fileName,
                     KLFileCallback callback, VOID* userData) override;
    WSTATUS progressStatus(const WContentProvider& provider, double& done, double& total, VOID* userData) override;

    void cbKLDownloadDone(SESSION_STATUS status, const HttpResponse& response, KLDirectDownloadCMD* command);
    void cbDownloadDone(SESSION_STATUS status, const HttpResponse& response, KLDownloadCMD* command);

    // ---- Registry ----
    void addCMD(KLServiceCMD* command) KLSERVICE_EXCLUDES(m_commandMutex);
    /// Unlinks one entry of that value; the pointer is compared, never followed, and need not be in the list.
    void cleanupCMD(KLServiceCMD* command) KLSERVICE_EXCLUDES(m_commandMutex);
    void cleanupCMD() KLSERVICE_EXCLUDES(m_commandMutex);
    /// The number of commands in flight.
    std::size_t countCMD() KLSERVICE_EXCLUDES(m_commandMutex);

    void cancelFlagReset() KLSERVICE_EXCLUDES(m_cancelMutex);
    /// Calls the pending cancel callback, if there is one, and then forgets it. One that another cancel stores meanwhile stays
    /// pending, even when it is the same function.
    void cbCancelDone(int status, VOID* userData) KLSERVICE_EXCLUDES(m_cancelMutex);
    bool isCancelRequested() const { return m_cancelRequested.load(std::memory_order_acquire); }
    /// The flag itself, for those who look at it often.
    const std::atomic<bool>& cancelRequested() const { return m_cancelRequested; }
    /// Clears the cancel flag. \return whether it was set.
    bool takeCancel() KLSERVICE_EXCLUDES(m_cancelMutex);
    bool hasCancelCallback() const KLSERVICE_EXCLUDES(m_cancelMutex);

    /// The service, or null when it could not be allocated.
    KLService* service() const { return m_pService; }

    // ---- Reply documents ----

    // Each turns a reply into records: 0, or -16 for a malformed or failed reply. The count is the number of records that the reply
    // holds; it is left alone when the reply has no payload. No reply makes them throw.
    WSTATUS parseString(STRING payload, WContainer<WContent>& contents, unsigned int& count);
    WSTATUS parseString(STRING payload, WContent& content);
    WSTATUS parseString(STRING payload, WContainer<WGroup>& groups, unsigned int& count);
    WSTATUS parseString(STRING payload, WContainer<WComment>& comments, unsigned int& count);
    WSTATUS parseString(STRING payload, WContainer<WKLGallery>& galleries, unsigned int& count);
    /// Stores the reply's user identifier in the session.
    WSTATUS parseString(STRING payload);

    // The record parsers. A null node gives nothing and 0.
    WSTATUS parseContents(xmlpp::Node* node, WContainer<WContent>& contents, unsigned int& count);
    WSTATUS parseContent(xmlpp::Node* node, WContent& content);
    void getContentDetail(xmlpp::Node* node, WContent& content);
    std::list<WMediaResource> getThumbnails(xmlpp::Node* node);
    WSize getPhotoResolution(xmlpp::Node* node);
    WSize getVideoResolution(xmlpp::Node* node);
    WSTATUS parseEvent(xmlpp::Node* node, WEvent& event);
    WSTATUS parseMessage(xmlpp::Node* node, WMessage& message);
    WSTATUS parseGroup(xmlpp::Node* node, WGroup& group, STRING userID);
    void getGroupImage(xmlpp::Node* node, WGroup& group);
    WSTATUS parseGroups(xmlpp::Node* node, WContainer<WGroup>& groups, unsigned int& count);
    WSTATUS parseGallery(xmlpp::Node* node, WKLGallery& gallery);
    WSTATUS parseGalleries(xmlpp::Node* node, WContainer<WKLGallery>& galleries, unsigned int& count);
    WPerson getUser(xmlpp::Node* node);
    WMediaResource userImage(xmlpp::Node* node);
    WMediaResource getImage(xmlpp::Node* node, STRING name, STRING uid);
    std::list<WPerson> getUsers(xmlpp::Node* node, STRING name);
    WSTATUS parseComment(xmlpp::Node* node, WComment& comment);
    WSTATUS parseComments(xmlpp::Node* node, WContainer<WComment>& comments, unsigned int& count);

    /// A copy with every "&" as "&amp;".
    STRING TestString(STRING text);
    /// A copy with every \p from as \p to. The search goes on one character behind the start of each replacement, so a replacement
    /// that holds the searched text behind its first character is replaced again, without end.
    STRING TestString(STRING text, STRING from, STRING to);

private:
    WSTATUS parseSignIn(const STRING& payload);

    KLService* m_pService = nullptr; // owned

    Mutex m_commandMutex;
    // A multiset, not a list: a flush takes out one command after the other, and each would have to be looked for among all. Like a
    // list it keeps a command that is entered twice, and gives up one entry at a time.
    std::multiset<KLServiceCMD*> m_commands KLSERVICE_GUARDED_BY(m_commandMutex);

    mutable Mutex m_cancelMutex;
    std::atomic<bool> m_cancelRequested{false}; // written under the cancel mutex; parsers read it without
    WStatusCallback m_cancelCallback KLSERVICE_GUARDED_BY(m_cancelMutex) = nullptr;
    // Of the stored callback: counted up by each cancel that stores one, since two may store the same function.
    std::uint64_t m_cancelNumber KLSERVICE_GUARDED_BY(m_cancelMutex) = 0;
};

} // namespace W

#endif
