// SPDX-License-Identifier: MIT
// Which handler completes which command.
#include "KLService/Failure.h"
#include "WKLOAI/WKLOAI.h"

#include <array>
#include <cassert>

namespace W {

namespace {

struct Route {
    WKLOAI* (*ownerOf)(const KLServiceCMD&) = nullptr;
    void (*complete)(WKLOAI&, SESSION_STATUS, const HttpResponse&, KLServiceCMD&) = nullptr;
};

template <class CMD> using Handler = void (WKLOAI::*)(SESSION_STATUS, const HttpResponse&, CMD*);

template <class CMD, Handler<CMD> HANDLER> constexpr Route routeTo()
{
    return {[](const KLServiceCMD& command) { return static_cast<const CMD&>(command).owner; },
            [](WKLOAI& owner, SESSION_STATUS status, const HttpResponse& response, KLServiceCMD& command) {
                (owner.*HANDLER)(status, response, static_cast<CMD*>(&command));
            }};
}

constexpr std::array<Route, CMD_KEYS> makeRoutes()
{
    std::array<Route, CMD_KEYS> routes{};
    routes[CMD_LOGIN] = routeTo<KLLoginCMD, &WKLOAI::cbLoginDone>();
    routes[CMD_LOGOUT] = routeTo<KLLogoutCMD, &WKLOAI::cbLogoutDone>();
    routes[CMD_EXCEPTION_RESOLVE] = routeTo<KLExceptionResolveCMD, &WKLOAI::cbExceptionResolveDone>();
    routes[CMD_REGISTER] = routeTo<RegisterKLCMD, &WKLOAI::cbRegisterDone>();
    routes[CMD_AUTH] = routeTo<AuthKLCMD, &WKLOAI::cbAuthDone>();
    routes[CMD_GROUP_LIST_RETRIEVAL] = routeTo<GroupListRetrievalCMD, &WKLOAI::cbGroupListRetrievalDone>();
    routes[CMD_GROUP_CREATION] = routeTo<GroupCreationCMD, &WKLOAI::cbGroupCreationDone>();
    routes[CMD_GROUP_DELETION] = routeTo<GroupDeletionCMD, &WKLOAI::cbGroupDeletionDone>();
    routes[CMD_GROUP_FEEDS_RETRIEVAL] = routeTo<GroupFeedsRetrievalCMD, &WKLOAI::cbGroupFeedsRetrievalDone>();
    routes[CMD_GROUP_GALLERY_RETRIEVAL] = routeTo<GroupGalleryRetrievalCMD, &WKLOAI::cbGroupGalleryRetrievalDone>();
    routes[CMD_CONTENT_CREATION] = routeTo<ContentCreationCMD, &WKLOAI::cbContentCreationDone>();
    routes[CMD_CONTENT_DELETION] = routeTo<ContentDeletionCMD, &WKLOAI::cbContentDeletionDone>();
    routes[CMD_CONTENT_UPDATE] = routeTo<ContentUpdateCMD, &WKLOAI::cbContentUpdateDone>();
    routes[CMD_CONTENT_VIEW] = routeTo<ContentViewCMD, &WKLOAI::cbContentViewDone>();
    routes[CMD_DOWNLOAD] = routeTo<KLDownloadCMD, &WKLOAI::cbDownloadDone>();
    routes[CMD_COMMENTS_RETRIEVAL] = routeTo<CommentsRetrievalCMD, &WKLOAI::cbCommentRetrievalDone>();
    routes[CMD_COMMENT_CREATION] = routeTo<CommentCreationCMD, &WKLOAI::cbCommentCreationDone>();
    routes[CMD_COMMENT_DELETION] = routeTo<CommentDeletionCMD, &WKLOAI::cbCommentDeletionDone>();
    routes[CMD_COMMENT_UPDATE] = routeTo<CommentUpdateCMD, &WKLOAI::cbCommentUpdateDone>();
    routes[CMD_COMMENT_VIEW] = routeTo<CommentViewCMD, &WKLOAI::cbCommentViewDone>();
    routes[CMD_DIRECT_DOWNLOAD] = routeTo<KLDirectDownloadCMD, &WKLOAI::cbKLDownloadDone>();
    return routes;
}

constexpr std::array<Route, CMD_KEYS> ROUTES = makeRoutes();

/// The route of a command that has an owner to go to, or null.
const Route* routeOf(const KLServiceCMD& command)
{
    const UINT32 key = command.getCMDKey();
    if (key >= ROUTES.size() || !ROUTES[key].ownerOf || !ROUTES[key].ownerOf(command))
        return nullptr;
    return &ROUTES[key];
}

} // namespace

void cbFnRequestCompleted(SESSION_STATUS status, const HttpResponse& response, KLServiceCMD* pCmd)
{
    assert(pCmd != __null);
    const Route* const route = routeOf(*pCmd);
    if (!route)
        return;
    guarded([&] {
        route->complete(*route->ownerOf(*pCmd), status, response, *pCmd);
        return wstatus::OK;
    });
}

void cbFnRequestDropped(KLServiceCMD* pCmd)
{
    assert(pCmd != __null);
    if (const Route* const route = routeOf(*pCmd))
        route->ownerOf(*pCmd)->cleanupCMD(pCmd);
}

} // namespace W
