// SPDX-License-Identifier: MIT
// Pictures for browsers that are signed in.
#include "core/Failure.h"
#include "media/ThumbnailSizes.h"
#include "operations/MediaFiles.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "operations/page/FileNames.h"
#include "operations/page/PageHandlers.h"
#include "operations/page/PageRecords.h"

#include <algorithm>

namespace kinloomd {

namespace {

constexpr std::string_view ORIGINAL = "original";

/// \return whether the query holds the word, with or without a value.
bool asksFor(std::string_view query, std::string_view word)
{
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        if (pair.substr(0, pair.find('=')) == word)
            return true;
        query.remove_prefix(std::min(pair.size() + 1, query.size()));
    }
    return false;
}

const ThumbnailSize& thumbnailNamed(const std::string& name)
{
    for (const PageSize& size : PAGE_SIZES) {
        for (const ThumbnailSize& thumbnail : THUMBNAIL_SIZES) {
            if (name == size.name && std::string_view(thumbnail.name) == size.thumbnail)
                return thumbnail;
        }
    }
    throw ServiceError(Failure::NOT_FOUND);
}

/// Asked again after a wait: the person may have left the group, or been signed out.
MediaInfo requireMedia(Service& service, const Request& request, Id id)
{
    const auto connection = service.database().read();
    if (!isLiveSession(connection, request.caller.session))
        throw ServiceError(Failure::SIGNED_OUT);
    requirePermission(Action::VIEW_CONTENT, standingAtContent(connection, id, request.caller.person.id).role);
    const auto info = findMedia(connection, id);
    if (!info)
        throw ServiceError(Failure::NOT_FOUND);
    return *info;
}

/// What a cookie has opened is kept for that cookie alone.
Reply forThisBrowser(Reply reply)
{
    reply.headers.emplace_back("Vary", "Cookie");
    return reply;
}

std::string downloadName(Service& service, Id id, bool original)
{
    const auto connection = service.database().read();
    const auto content = findContent(connection, id);
    const std::string name = content ? content->fileName : std::string();
    return original ? name : name.substr(0, name.rfind('.')) + ".jpg";
}

} // namespace

Reply handlePageMedia(Service& service, Request& request)
{
    const Id id = requireId(request.pieces[0]);
    const bool original = request.pieces[1] == ORIGINAL;
    const auto require = [&] { return requireMedia(service, request, id); };
    Reply reply = original ? originalReply(service, request, id, require)
                           : thumbnailReply(service, request, id, thumbnailNamed(request.pieces[1]), require);
    if (asksFor(request.head.query(), "download"))
        reply.headers.emplace_back("Content-Disposition", attachmentNamed(downloadName(service, id, original)));
    return forThisBrowser(std::move(reply));
}

Reply handlePagePersonImage(Service& service, Request& request)
{
    const PersonImage named = personImageNamed(request.pieces[0]);
    const Id caller = request.caller.person.id;
    {
        const auto connection = service.database().read();
        const Role role = named.person == caller                         ? Role::AUTHOR
                          : shareGroup(connection, caller, named.person) ? Role::MEMBER
                                                                         : Role::STRANGER;
        requirePermission(Action::SEE_PERSON, role);
        if (personImage(connection, named.person) != named.image || named.image == 0)
            throw ServiceError(Failure::NOT_FOUND);
    }
    return forThisBrowser(personImageReply(service, request, named.person, named.image));
}

} // namespace kinloomd
