// SPDX-License-Identifier: MIT
#include "core/Digest.h"
#include "core/Failure.h"
#include "operations/Handlers.h"
#include "operations/MediaFiles.h"
#include "operations/Parameters.h"
#include "operations/Service.h"
#include "store/Contents.h"
#include "store/People.h"

namespace kinloomd {

namespace {

// A media path: what, key, identifier, file name. The name is for the client to save the file under and means nothing here.
enum Piece : std::size_t { WHAT = 0, KEY = 1, ID = 2 };

/// The content that the path names, when its key is right and the device that it was given to may still be used. Anything else
/// looks like a content that is not there.
MediaInfo requireMedia(Service& service, const Request& request, Id id)
{
    const std::string& key = request.pieces[KEY];
    const Id device = Links::deviceOf(key);
    std::optional<MediaInfo> info;
    bool live = false;
    {
        const auto connection = service.database().read();
        info = findMedia(connection, id);
        live = isLiveDevice(connection, device);
    }
    const bool right =
        equalsInConstantTime(key, service.linksFor(request, device).contentKey(id, info.value_or(MediaInfo()).mediaEpoch));
    if (!info || !live || !right)
        throw ServiceError(Failure::NOT_FOUND);
    return *info;
}

const ThumbnailSize& sizeNamed(const std::string& name)
{
    for (const ThumbnailSize& size : THUMBNAIL_SIZES) {
        if (name == size.name)
            return size;
    }
    throw ServiceError(Failure::NOT_FOUND);
}

} // namespace

Reply handleOriginal(Service& service, Request& request)
{
    const Id id = requireId(request.pieces[ID]);
    return originalReply(
        service, request, id, [&] { return requireMedia(service, request, id); }, Delivery::STORE);
}

Reply handleThumbnail(Service& service, Request& request)
{
    const Id id = requireId(request.pieces[ID]);
    return thumbnailReply(
        service, request, id, sizeNamed(request.pieces[WHAT]), [&] { return requireMedia(service, request, id); }, Delivery::STORE);
}

Reply handlePersonImage(Service& service, Request& request)
{
    const PersonImage named = personImageNamed(request.pieces[ID]);
    const std::string& key = request.pieces[KEY];
    const Id device = Links::deviceOf(key);
    bool live = false;
    {
        const auto connection = service.database().read();
        live = isLiveDevice(connection, device);
    }
    if (!equalsInConstantTime(key, service.linksFor(request, device).personKey(named.person, named.image)) || !live)
        throw ServiceError(Failure::NOT_FOUND);
    return personImageReply(service, request, named.person, named.image, Delivery::STORE);
}

} // namespace kinloomd
