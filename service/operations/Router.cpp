// SPDX-License-Identifier: MIT
#include "operations/Router.h"

#include "core/Failure.h"
#include "media/MediaStore.h"
#include "operations/Handlers.h"
#include "operations/Paths.h"
#include "operations/page/PageHandlers.h"

#include <algorithm>

namespace kinloomd {

namespace {

constexpr const char* ANY_SIZE = "*"; ///< the word of the operation that serves every thumbnail size

constexpr Operation OPERATIONS[] = {
    {"auth", "POST", PathShape::PLAIN, "auth", Access::SIGN_IN, handleAuth, nullptr},
    {"register", "POST", PathShape::PLAIN, "register", Access::SIGN_IN, handleRegister, nullptr},
    {"group.list", "GET", PathShape::SUBJECT, "group.list", Access::SIGNED, handleGroupList, nullptr},
    {"group.create", "POST", PathShape::SUBJECT, "group.create", Access::SIGNED, handleGroupCreate, nullptr},
    {"group.create", "POST", PathShape::JOINED, "group.create", Access::SIGNED, handleGroupCreate, nullptr},
    {"group.delete", "POST", PathShape::SUBJECT, "group.delete", Access::SIGNED, handleGroupDelete, nullptr},
    {"feeds", "GET", PathShape::SUBJECT, "feeds", Access::SIGNED, handleFeeds, nullptr},
    {"view", "GET", PathShape::SUBJECT, "view", Access::SIGNED, handleView, nullptr},
    {"delete", "POST", PathShape::SUBJECT, "delete", Access::SIGNED, handleDelete, nullptr},
    {"upload", "POST", PathShape::SUBJECT, "upload", Access::SIGNED, handleReserveUpload, nullptr},
    {"upload.file", "POST", PathShape::SUBJECT, "upload.file", Access::SIGNED, nullptr, openUpload},
    {"comment", "POST", PathShape::SUBJECT, "comment", Access::NEIGHBOURS, handleCommentCreate, nullptr},
    {"comment.list", "GET", PathShape::SUBJECT, "comment.list", Access::SIGNED, handleCommentList, nullptr},
    {"media", "GET", PathShape::MEDIA, "original", Access::KEY, handleOriginal, nullptr},
    {"user.image", "GET", PathShape::MEDIA, "person", Access::KEY, handlePersonImage, nullptr},
    {"thumbnail", "GET", PathShape::MEDIA, ANY_SIZE, Access::KEY, handleThumbnail, nullptr},
    {"page.session", "GET", PathShape::WHOLE, "page/session", Access::BROWSER, handlePageSession, nullptr},
    {"page.session.end", "DELETE", PathShape::WHOLE, "page/sessions/*", Access::BROWSER, handlePageSessionEnd, nullptr},
    {"page.devices", "GET", PathShape::WHOLE, "page/devices", Access::BROWSER, handlePageDevices, nullptr},
    {"page.device.end", "DELETE", PathShape::WHOLE, "page/devices/*", Access::BROWSER, handlePageDeviceEnd, nullptr},
    {"page.groups", "GET", PathShape::WHOLE, "page/groups", Access::BROWSER, handlePageGroups, nullptr},
    {"page.group.create", "POST", PathShape::WHOLE, "page/groups", Access::BROWSER, handlePageGroupCreate, nullptr},
    {"page.group", "GET", PathShape::WHOLE, "page/groups/*", Access::BROWSER, handlePageGroup, nullptr},
    {"page.months", "GET", PathShape::WHOLE, "page/groups/*/months", Access::BROWSER, handlePageMonths, nullptr},
    {"page.members", "GET", PathShape::WHOLE, "page/groups/*/members", Access::BROWSER, handlePageMembers, nullptr},
    {"page.contents", "GET", PathShape::WHOLE, "page/groups/*/contents", Access::BROWSER, handlePageContents, nullptr},
    {"page.upload", "POST", PathShape::WHOLE, "page/groups/*/contents", Access::BROWSER, nullptr, openPageUpload},
    {"page.check", "POST", PathShape::WHOLE, "page/groups/*/check", Access::BROWSER, handlePageCheck, nullptr},
    {"page.archive", "GET", PathShape::WHOLE, "page/groups/*/archive", Access::BROWSER, handlePageArchive, nullptr},
    {"page.invite", "POST", PathShape::WHOLE, "page/groups/*/invitations", Access::BROWSER, handlePageInvite, nullptr},
    {"page.content", "GET", PathShape::WHOLE, "page/contents/*", Access::BROWSER, handlePageContent, nullptr},
    {"page.delete", "DELETE", PathShape::WHOLE, "page/contents/*", Access::BROWSER, handlePageDelete, nullptr},
    {"page.restore", "POST", PathShape::WHOLE, "page/contents/*/restore", Access::BROWSER, handlePageRestore, nullptr},
    {"page.comment", "POST", PathShape::WHOLE, "page/contents/*/comments", Access::BROWSER, handlePageComment, nullptr},
    {"page.comment.delete", "DELETE", PathShape::WHOLE, "page/comments/*", Access::BROWSER, handlePageCommentDelete, nullptr},
    {"page.comment.restore", "POST", PathShape::WHOLE, "page/comments/*/restore", Access::BROWSER, handlePageCommentRestore,
     nullptr},
    {"page.person.image", "GET", PathShape::WHOLE, "page/media/person/*", Access::BROWSER, handlePagePersonImage, nullptr},
    {"page.media", "GET", PathShape::WHOLE, "page/media/*/*", Access::BROWSER, handlePageMedia, nullptr},
    {"page.events", "GET", PathShape::WHOLE, "page/events", Access::BROWSER, handlePageEvents, nullptr},
    {"page.invitation", "GET", PathShape::WHOLE, "page/invitations/*", Access::VISITOR, handlePageInvitation, nullptr},
    {"page.invitation.use", "POST", PathShape::WHOLE, "page/invitations/*", Access::VISITOR, handlePageInvitationUse, nullptr},
    {"page.invitation.use", "POST", PathShape::WHOLE, "invite/*", Access::VISITOR, handleInvitationForm, nullptr},
    {"page.pairing", "GET", PathShape::WHOLE, "page/pairings/*", Access::BROWSER, handlePagePairing, nullptr},
    {"page.pairing.decide", "POST", PathShape::WHOLE, "page/pairings/*", Access::BROWSER, handlePagePairingDecide, nullptr},
    {"pair", "POST", PathShape::WHOLE, "pair", Access::NEW_DEVICE, handlePair, nullptr},
    {"pair.token", "POST", PathShape::WHOLE, "pair/token", Access::NEW_DEVICE, handlePairToken, nullptr},
    {"control", "GET", PathShape::CONTROL, "faults", Access::LOOPBACK_ONLY, handleFaultsList, nullptr},
    {"control", "POST", PathShape::CONTROL, "faults", Access::LOOPBACK_ONLY, handleFaultsAdd, nullptr},
    {"control", "DELETE", PathShape::CONTROL, "faults", Access::LOOPBACK_ONLY, handleFaultsClear, nullptr},
    {"control", "GET", PathShape::CONTROL, "hits", Access::LOOPBACK_ONLY, handleHits, nullptr},
    {"control", "DELETE", PathShape::CONTROL, "hits", Access::LOOPBACK_ONLY, handleHitsClear, nullptr},
};

std::vector<std::string> split(std::string_view path)
{
    std::vector<std::string> pieces;
    for (;;) {
        const auto slash = path.find('/');
        pieces.push_back(decodePathText(path.substr(0, slash)));
        if (slash == std::string_view::npos)
            return pieces;
        path.remove_prefix(slash + 1);
    }
}

bool startsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

bool endsWith(std::string_view text, std::string_view suffix)
{
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

/// A path taken apart once, so that each row of the table is compared with its pieces.
struct Path {
    PathShape shape; ///< SUBJECT stands for every path below the base path
    std::vector<std::string> pieces;
};

Path takeApart(std::string_view path)
{
    if (startsWith(path, BASE_PATH))
        return {PathShape::SUBJECT, split(path.substr(BASE_PATH.size()))};
    if (startsWith(path, MEDIA_PATH))
        return {PathShape::MEDIA, split(path.substr(MEDIA_PATH.size()))};
    if (startsWith(path, CONTROL_PATH))
        return {PathShape::CONTROL, split(path.substr(CONTROL_PATH.size()))};
    if (isPagePath(path))
        return {PathShape::WHOLE, split(path.substr(1))};
    throw ServiceError(Failure::NOT_FOUND);
}

bool isMediaWord(const Operation& operation, const std::string& piece)
{
    if (operation.word != std::string_view(ANY_SIZE))
        return piece == operation.word;
    for (const ThumbnailSize& size : THUMBNAIL_SIZES) {
        if (piece == size.name)
            return true;
    }
    return false;
}

/// \return whether the pieces are those of the pattern; \p found takes those that "*" stands for.
bool matchesPattern(std::string_view pattern, const std::vector<std::string>& pieces, Route& found)
{
    found.pieces.clear();
    for (const std::string& piece : pieces) {
        const std::string_view expected = pattern.substr(0, pattern.find('/'));
        if (expected == "*" && !piece.empty())
            found.pieces.push_back(piece);
        else if (expected != piece || pattern.empty())
            return false;
        pattern.remove_prefix(std::min(expected.size() + 1, pattern.size()));
    }
    return pattern.empty();
}

bool matches(const Operation& operation, const Path& path, Route& found)
{
    const auto& pieces = path.pieces;
    const bool below = path.shape == PathShape::SUBJECT;
    switch (operation.shape) {
    case PathShape::PLAIN:
        return below && pieces.size() == 1 && pieces[0] == operation.word;
    case PathShape::SUBJECT:
        if (!below || pieces.size() != 2 || pieces[1] != operation.word)
            return false;
        found.subject = pieces[0];
        return true;
    case PathShape::JOINED: {
        const std::string_view word = operation.word;
        if (!below || pieces.size() != 1 || pieces[0].size() <= word.size() || !endsWith(pieces[0], word))
            return false;
        found.subject = pieces[0].substr(0, pieces[0].size() - word.size());
        return true;
    }
    case PathShape::MEDIA:
        return path.shape == PathShape::MEDIA && pieces.size() == 4 && isMediaWord(operation, pieces[0]);
    case PathShape::CONTROL:
        return path.shape == PathShape::CONTROL && pieces.size() == 1 && pieces[0] == operation.word;
    case PathShape::WHOLE:
        return path.shape == PathShape::WHOLE && matchesPattern(operation.word, pieces, found);
    }
    return false;
}

} // namespace

bool isPagePath(std::string_view path)
{
    return startsWith(path, PAGE_PATH) || startsWith(path, INVITATION_PATH) || path == PAIRING_PATH ||
           startsWith(path, std::string(PAIRING_PATH) + "/");
}

const Operation* findOperation(std::string_view name)
{
    for (const Operation& operation : OPERATIONS) {
        if (name == operation.name)
            return &operation;
    }
    return nullptr;
}

std::string allowedMethods(std::string_view path)
{
    const Path parts = takeApart(path);
    Route ignored;
    std::string methods;
    for (const Operation& operation : OPERATIONS) {
        if (matches(operation, parts, ignored))
            methods += (methods.empty() ? "" : ", ") + std::string(operation.method) +
                       (operation.method == std::string_view("GET") ? ", HEAD" : "");
    }
    return methods;
}

Route route(std::string_view method, std::string_view path)
{
    if (method == "HEAD")
        method = "GET";
    const Path parts = takeApart(path);
    bool known = false;
    Route found;
    for (const Operation& operation : OPERATIONS) {
        if (!matches(operation, parts, found))
            continue;
        known = true;
        if (method == operation.method) {
            found.operation = &operation;
            if (operation.shape != PathShape::WHOLE)
                found.pieces = parts.pieces;
            return found;
        }
    }
    throw ServiceError(known ? Failure::WRONG_METHOD : Failure::NOT_FOUND);
}

} // namespace kinloomd
