// SPDX-License-Identifier: MIT
#include "operations/MediaFiles.h"

#include "core/Failure.h"
#include "core/Text.h"
#include "operations/Parameters.h"
#include "operations/Service.h"
#include "pictures/Formats.h"
#include "wire/ByteRange.h"

#include <chrono>

namespace kinloomd {

namespace {

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

/// How long a client is kept waiting for a thumbnail, and when it should come again.
constexpr std::chrono::seconds THUMBNAIL_PATIENCE{8};
constexpr unsigned THUMBNAIL_RETRY_SECONDS = 5;

/// Waits until the thumbnails of a content are made, or can no longer be expected; until its patience or the client's is at an end.
void awaitThumbnails(Service& service, const Request& request, Id id, const MediaInfo& info)
{
    if (info.thumbnails == Thumbnails::NONE || !openForReading(service.media().originalPath(id)))
        throw ServiceError(Failure::NOT_FOUND);
    const Thumbnailer::Watch watch(service.thumbnailer(), id, info.creator);
    request.connection->hold();
    request.connection->wait(watch.fd(), THUMBNAIL_PATIENCE);
}

} // namespace

Reply originalReply(Service& service, const Request& request, Id content, const RequireMedia& require)
{
    const MediaInfo info = require();
    const std::string path = service.media().originalPath(content);
    UniqueFd file = openForReading(path);
    if (!file)
        throw ServiceError(Failure::NOT_FOUND);
    const std::string tag = "\"c" + std::to_string(content) + "-" + std::to_string(info.size) + "\"";
    return fileReply(request, std::move(file), path, formatEntry(info.format).mimeType, tag);
}

Reply thumbnailReply(Service& service, const Request& request, Id content, const ThumbnailSize& size, const RequireMedia& require)
{
    const MediaInfo info = require();
    const std::string path = service.media().thumbnailPath(content, size);
    UniqueFd file = openThumbnail(path);
    if (!file) {
        awaitThumbnails(service, request, content, info);
        file = openThumbnail(path);
    }
    if (!file) {
        if (require().thumbnails == Thumbnails::NONE)
            throw ServiceError(Failure::NOT_FOUND);
        throw ServiceError(Failure::UNAVAILABLE, "The thumbnail is still being made.", THUMBNAIL_RETRY_SECONDS);
    }
    const std::string tag =
        "\"t" + std::to_string(content) + "-" + size.name + "-" + std::to_string(sizeOf(file.get(), path)) + "\"";
    return fileReply(request, std::move(file), path, formatEntry(Format::JPEG).mimeType, tag);
}

PersonImage personImageNamed(const std::string& what)
{
    const auto dash = what.find('-');
    return {requireId(what.substr(0, dash)), dash == std::string::npos ? 0 : requireId(what.substr(dash + 1))};
}

Reply personImageReply(Service& service, const Request& request, Id person, std::int64_t image)
{
    const std::string path = service.media().personImagePath(person, image);
    UniqueFd file = openForReading(path);
    if (!file)
        throw ServiceError(Failure::NOT_FOUND);
    const std::string tag = "\"p" + std::to_string(person) + "-" + std::to_string(image) + "\"";
    return fileReply(request, std::move(file), path, formatEntry(Format::JPEG).mimeType, tag);
}

} // namespace kinloomd
