// SPDX-License-Identifier: MIT
#include "core/Digest.h"
#include "core/Failure.h"
#include "core/Text.h"
#include "media/Formats.h"
#include "media/Pictures.h"
#include "operations/Handlers.h"
#include "operations/Parameters.h"
#include "operations/Service.h"
#include "store/Contents.h"
#include "wire/ByteRange.h"

namespace kinloomd {

namespace {

// A media path: what, key, identifier, file name. The name is for the client to save the file under and means nothing here.
enum Piece : std::size_t { WHAT = 0, KEY = 1, ID = 2 };

/// The content that the path names, when its key is right. A wrong key looks like a content that is not there.
MediaInfo requireMedia(Service& service, const Request& request, Id id)
{
    std::optional<MediaInfo> info;
    {
        const auto connection = service.database().read();
        info = findMedia(connection, id);
    }
    if (!info || !equalsInConstantTime(request.pieces[KEY], service.linksFor(request).contentKey(id, info->mediaEpoch)))
        throw ServiceError(Failure::NOT_FOUND);
    return *info;
}

/// Sends a file: whole, in part, or not at all when the client has it.
Reply fileReply(const Request& request, UniqueFd file, const std::string& path, const char* mimeType, const std::string& tag)
{
    Reply reply;
    const std::int64_t size = sizeOf(file.get(), path);
    reply.contentType = mimeType;
    // The bytes behind an address never change, since a new picture has a new address: clients may keep them.
    reply.headers = {{"ETag", tag},
                     {"Accept-Ranges", "bytes"},
                     {"Cache-Control", "private, max-age=31536000, immutable"},
                     {"X-Content-Type-Options", "nosniff"}};
    if (listsTag(request.header("If-None-Match").value_or(""), tag)) {
        reply.status = 304;
        return reply;
    }
    ByteRange range{ByteRange::WHOLE, 0, size};
    const auto condition = request.header("If-Range");
    if (const auto header = request.header("Range"); header && (!condition || trim(*condition) == tag))
        range = parseRange(*header, size);
    if (range.kind == ByteRange::UNSATISFIABLE) {
        reply.status = 416;
        reply.headers.emplace_back("Content-Range", "bytes */" + std::to_string(size));
        return reply;
    }
    if (range.kind == ByteRange::PART) {
        reply.status = 206;
        reply.headers.emplace_back("Content-Range", "bytes " + std::to_string(range.offset) + "-" +
                                                        std::to_string(range.offset + range.length - 1) + "/" +
                                                        std::to_string(size));
    }
    reply.body = httpd::FileBody{httpd::UniqueFd(file.release()), range.offset, range.length};
    return reply;
}

UniqueFd openThumbnail(const std::string& path)
{
    UniqueFd file = openForReading(path);
    // Thumbnails are not synced: after a power failure one may be an empty file.
    if (file && sizeOf(file.get(), path) == 0)
        file.reset();
    return file;
}

/// Makes the thumbnails of a content again, and waits until they are there.
void remakeThumbnails(Service& service, Id id, Format format)
{
    const MediaStore& media = service.media();
    const std::string original = media.originalPath(id);
    if (!openForReading(original))
        throw ServiceError(Failure::NOT_FOUND);
    service.workers().run([&] { makeThumbnails(original, format, service.pictureBounds(), media, id); });
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
    const MediaInfo info = requireMedia(service, request, id);
    const std::string path = service.media().originalPath(id);
    UniqueFd file = openForReading(path);
    if (!file)
        throw ServiceError(Failure::NOT_FOUND);
    const std::string tag = "\"c" + std::to_string(id) + "-" + std::to_string(info.size) + "\"";
    return fileReply(request, std::move(file), path, formatEntry(info.format).mimeType, tag);
}

Reply handleThumbnail(Service& service, Request& request)
{
    const Id id = requireId(request.pieces[ID]);
    const ThumbnailSize& size = sizeNamed(request.pieces[WHAT]);
    const MediaInfo info = requireMedia(service, request, id);
    const std::string path = service.media().thumbnailPath(id, size);
    UniqueFd file = openThumbnail(path);
    if (!file) {
        remakeThumbnails(service, id, info.format);
        file = openThumbnail(path);
    }
    if (!file)
        throw ServiceError(Failure::NOT_FOUND);
    const std::string tag = "\"t" + std::to_string(id) + "-" + size.name + "-" + std::to_string(sizeOf(file.get(), path)) + "\"";
    return fileReply(request, std::move(file), path, formatEntry(Format::JPEG).mimeType, tag);
}

Reply handlePersonImage(Service& service, Request& request)
{
    const std::string& what = request.pieces[ID];
    const auto dash = what.find('-');
    const Id person = requireId(what.substr(0, dash));
    const std::int64_t image = dash == std::string::npos ? 0 : requireId(what.substr(dash + 1));
    if (!equalsInConstantTime(request.pieces[KEY], service.linksFor(request).personKey(person, image)))
        throw ServiceError(Failure::NOT_FOUND);
    const std::string path = service.media().personImagePath(person, image);
    UniqueFd file = openForReading(path);
    if (!file)
        throw ServiceError(Failure::NOT_FOUND);
    return fileReply(request, std::move(file), path, formatEntry(Format::JPEG).mimeType, "\"p" + what + "\"");
}

} // namespace kinloomd
