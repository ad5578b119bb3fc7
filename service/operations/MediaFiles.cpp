// SPDX-License-Identifier: MIT
#include "operations/MediaFiles.h"

#include "core/Failure.h"
#include "core/Log.h"
#include "core/Text.h"
#include "operations/Parameters.h"
#include "operations/Service.h"
#include "pictures/Formats.h"
#include "wire/ByteRange.h"

#include <chrono>
#include <memory>

namespace kinloomd {

namespace {

constexpr std::chrono::seconds ADDRESS_LIFE{60}; ///< of one at the store

/// An address at the store is good for GET alone.
bool isElsewhere(const Service& service, const Request& request, Delivery delivery)
{
    return delivery == Delivery::STORE && service.options().media.redirect && request.head.method == "GET";
}

/// Sends what a store brings, as fast as the client takes it.
class MediumSource : public httpd::BodySource {
public:
    MediumSource(std::unique_ptr<StoredMedium> medium, std::unique_ptr<MediumReader> reader)
        : m_medium(std::move(medium)), m_reader(std::move(reader))
    {
    }

    std::int64_t read(char* buffer, std::size_t size, httpd::Connection&) override
    {
        try {
            const std::size_t count = m_reader->read(buffer, size);
            return count == 0 ? BROKEN : static_cast<std::int64_t>(count);
        } catch (const std::exception& error) {
            writeLog(Priority::FAILURE, std::string("a medium was broken off: ") + error.what());
            return BROKEN;
        }
    }

private:
    std::unique_ptr<StoredMedium> m_medium;
    std::unique_ptr<MediumReader> m_reader; ///< of the medium
};

httpd::Body bodyOf(std::unique_ptr<StoredMedium> medium, std::int64_t offset, std::int64_t length)
{
    if (UniqueFd file = medium->takeFile())
        return httpd::FileBody{httpd::UniqueFd(file.release()), offset, length};
    auto reader = medium->read(offset, length);
    if (!reader)
        throw ServiceError(Failure::NOT_FOUND);
    return httpd::StreamBody{std::make_unique<MediumSource>(std::move(medium), std::move(reader)), length};
}

/// Sends a client to the store. The address is for it alone, and soon of no use.
Reply redirection(const std::string& address)
{
    Reply reply;
    reply.status = 302;
    reply.headers = {{"Location", address}, {"Cache-Control", "private, no-store"}};
    return reply;
}

/// Sends a medium: whole, in part, or not at all when the client has it.
Reply mediumReply(const Request& request, std::unique_ptr<StoredMedium> medium, const char* mimeType, const std::string& tag,
                  bool elsewhere)
{
    if (elsewhere) {
        const std::string address = medium->addressFor(ADDRESS_LIFE, mimeType);
        if (!address.empty())
            return redirection(address);
    }
    Reply reply;
    const std::int64_t size = medium->size();
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
    reply.body = bodyOf(std::move(medium), range.offset, range.length);
    return reply;
}

/// How long a client is kept waiting for a thumbnail, and when it should come again.
constexpr std::chrono::seconds THUMBNAIL_PATIENCE{8};
constexpr unsigned THUMBNAIL_RETRY_SECONDS = 5;

/// Waits until the thumbnails of a content are made, or can no longer be expected; until its patience or the client's is at an end.
void awaitThumbnails(Service& service, const Request& request, const MediaInfo& info)
{
    if (info.thumbnails == Thumbnails::NONE || !service.media().hasOriginal(info.original))
        throw ServiceError(Failure::NOT_FOUND);
    const Thumbnailer::Watch watch(service.thumbnailer(), info.original.content);
    request.connection->hold();
    request.connection->wait(watch.fd(), THUMBNAIL_PATIENCE);
}

} // namespace

Reply originalReply(Service& service, const Request& request, Id content, const RequireMedia& require, Delivery delivery)
{
    const MediaInfo info = require();
    auto medium = service.media().openOriginal(info.original, info.size);
    if (!medium)
        throw ServiceError(Failure::NOT_FOUND);
    const std::string tag = "\"c" + std::to_string(content) + "-" + std::to_string(info.size) + "\"";
    return mediumReply(request, std::move(medium), formatEntry(info.format).mimeType, tag, isElsewhere(service, request, delivery));
}

Reply thumbnailReply(Service& service, const Request& request, Id content, const ThumbnailSize& size, const RequireMedia& require,
                     Delivery delivery)
{
    const MediaInfo info = require();
    auto medium = service.media().openThumbnail(content, size);
    if (!medium) {
        awaitThumbnails(service, request, info);
        medium = service.media().openThumbnail(content, size);
    }
    if (!medium) {
        if (require().thumbnails == Thumbnails::NONE)
            throw ServiceError(Failure::NOT_FOUND);
        throw ServiceError(Failure::UNAVAILABLE, "The thumbnail is still being made.", THUMBNAIL_RETRY_SECONDS);
    }
    const std::string tag = "\"t" + std::to_string(content) + "-" + size.name + "-" + std::to_string(medium->size()) + "\"";
    return mediumReply(request, std::move(medium), formatEntry(Format::JPEG).mimeType, tag,
                       isElsewhere(service, request, delivery));
}

PersonImage personImageNamed(const std::string& what)
{
    const auto dash = what.find('-');
    return {requireId(what.substr(0, dash)), dash == std::string::npos ? 0 : requireId(what.substr(dash + 1))};
}

Reply personImageReply(Service& service, const Request& request, Id person, std::int64_t image, Delivery delivery)
{
    auto medium = service.media().openPersonImage(person, image);
    if (!medium)
        throw ServiceError(Failure::NOT_FOUND);
    const std::string tag = "\"p" + std::to_string(person) + "-" + std::to_string(image) + "\"";
    return mediumReply(request, std::move(medium), formatEntry(Format::JPEG).mimeType, tag,
                       isElsewhere(service, request, delivery));
}

} // namespace kinloomd
