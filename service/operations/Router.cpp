// SPDX-License-Identifier: MIT
#include "operations/Router.h"

#include "core/Failure.h"
#include "media/MediaStore.h"
#include "operations/Handlers.h"
#include "operations/Paths.h"

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
    {"comment", "POST", PathShape::SUBJECT, "comment", Access::ADDRESS, handleCommentCreate, nullptr},
    {"comment.list", "GET", PathShape::SUBJECT, "comment.list", Access::SIGNED, handleCommentList, nullptr},
    {"media", "GET", PathShape::MEDIA, "original", Access::KEY, handleOriginal, nullptr},
    {"user.image", "GET", PathShape::MEDIA, "person", Access::KEY, handlePersonImage, nullptr},
    {"thumbnail", "GET", PathShape::MEDIA, ANY_SIZE, Access::KEY, handleThumbnail, nullptr},
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
    }
    return false;
}

} // namespace

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
            found.pieces = parts.pieces;
            return found;
        }
    }
    throw ServiceError(known ? Failure::WRONG_METHOD : Failure::NOT_FOUND);
}

} // namespace kinloomd
