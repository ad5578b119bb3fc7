// SPDX-License-Identifier: MIT
#include "media/Pictures.h"

#include "core/Failure.h"
#include "media/Formats.h"

#include <cstring>
#include <memory>
#include <stdexcept>
#include <vips/vips.h>

namespace kinloomd {

namespace {

constexpr int QUALITY = 82;
constexpr int PERSON_IMAGE_SIZE = 72;

struct Unref {
    void operator()(VipsImage* image) const { g_object_unref(image); }
};
using Image = std::unique_ptr<VipsImage, Unref>;

struct FreeBuffer {
    void operator()(void* buffer) const { g_free(buffer); }
};

[[noreturn]] void refusePicture(const char* detail = nullptr)
{
    vips_error_clear();
    throw detail == nullptr ? ServiceError(Failure::BROKEN_PICTURE) : ServiceError(Failure::BROKEN_PICTURE, detail);
}

std::string stringField(VipsImage* image, const char* name)
{
    const char* value = nullptr;
    if (vips_image_get_typeof(image, name) == 0 || vips_image_get_string(image, name, &value) != 0)
        return {};
    // The library appends a description of the field in brackets: "2010:05:05 07:04:09 (2010:05:05 07:04:09, ASCII, ...)".
    const std::string text = value;
    return text.substr(0, text.find(" ("));
}

/// Reads the header alone.
PictureInfo readHeader(const std::string& path, Format format, const PictureBounds& bounds)
{
    const Image image(
        vips_image_new_from_file(path.c_str(), "access", VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_ERROR, nullptr));
    if (!image)
        refusePicture();
    PictureInfo info;
    info.format = format;
    info.width = vips_image_get_width(image.get());
    info.height = vips_image_get_height(image.get());
    if (info.width * info.height > bounds.pixels)
        refusePicture("The picture has too many pixels.");
    if (vips_image_get_orientation_swap(image.get()) != 0)
        std::swap(info.width, info.height);
    info.taken = parsePhotoTime(stringField(image.get(), "exif-ifd2-DateTimeOriginal"),
                                stringField(image.get(), "exif-ifd2-OffsetTimeOriginal"));
    return info;
}

/// Called by the library while it reads a picture.
void endIfGivenUp(VipsImage* image, VipsProgress*, const PictureBounds* bounds)
{
    if (bounds->giveUp && bounds->giveUp())
        vips_image_set_kill(image, TRUE);
}

/// The picture, upright, not larger than the box, all of it in memory. Reads the file to its end.
Image fitFile(const std::string& path, int width, int height, VipsInteresting crop, const PictureBounds& bounds)
{
    VipsImage* lazy = nullptr;
    if (vips_thumbnail(path.c_str(), &lazy, width, "height", height, "size", VIPS_SIZE_DOWN, "crop", crop, "fail_on",
                       VIPS_FAIL_ON_ERROR, nullptr) != 0)
        refusePicture();
    const Image owner(lazy);
    vips_image_set_progress(lazy, TRUE);
    const gulong watch = g_signal_connect(lazy, "eval", G_CALLBACK(endIfGivenUp), const_cast<PictureBounds*>(&bounds));
    Image image(vips_image_copy_memory(lazy));
    g_signal_handler_disconnect(lazy, watch);
    if (!image && bounds.giveUp && bounds.giveUp()) {
        vips_error_clear();
        throw ServiceError(Failure::UNAVAILABLE, "The service is stopping.");
    }
    if (!image)
        refusePicture();
    return image;
}

Image fitImage(VipsImage* source, int width, int height)
{
    VipsImage* result = nullptr;
    if (vips_thumbnail_image(source, &result, width, "height", height, "size", VIPS_SIZE_DOWN, nullptr) != 0)
        refusePicture();
    return Image(result);
}

std::string encodeJpeg(VipsImage* image)
{
    // JPEG files have no transparency: transparent pixels become white.
    const std::unique_ptr<VipsArrayDouble, void (*)(VipsArrayDouble*)> white(
        vips_array_double_newv(1, 255.0), [](VipsArrayDouble* array) { vips_area_unref(VIPS_AREA(array)); });
    void* bytes = nullptr;
    std::size_t size = 0;
    if (vips_jpegsave_buffer(image, &bytes, &size, "Q", QUALITY, "strip", TRUE, "optimize_coding", TRUE, "background", white.get(),
                             nullptr) != 0)
        refusePicture();
    const std::unique_ptr<void, FreeBuffer> owner(bytes);
    return {static_cast<const char*>(bytes), size};
}

void keep(const std::string& bytes, const MediaStore& media, Id content, const ThumbnailSize& size)
{
    TemporaryFile file(media.folder().temporary());
    file.write(bytes);
    media.keepThumbnail(file, content, size);
}

} // namespace

void startPictures()
{
    if (VIPS_INIT("kinloomd") != 0)
        throw std::runtime_error("the picture library does not start");
    vips_block_untrusted_set(TRUE);
    // Whoever sent a broken picture is told so in the reply; warnings on standard error would repeat it.
    g_log_set_handler(
        "VIPS", G_LOG_LEVEL_WARNING, [](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
    // Several pictures are read at a time, each on one thread. Nothing is cached, since no picture is read twice.
    vips_concurrency_set(1);
    vips_cache_set_max(0);
}

void endPictureThread() { vips_thread_shutdown(); }

Format sniffFile(const std::string& path)
{
    const UniqueFd fd = openForReading(path);
    if (!fd)
        return Format::NONE;
    char bytes[SNIFF_BYTES];
    const ssize_t count = ::pread(fd.get(), bytes, sizeof bytes, 0);
    return count <= 0 ? Format::NONE : sniffFormat({bytes, static_cast<std::size_t>(count)});
}

PictureInfo makeThumbnails(const std::string& path, Format format, const PictureBounds& bounds, const MediaStore& media, Id content)
{
    const PictureInfo info = readHeader(path, format, bounds);
    const Image image = fitFile(path, LARGEST_THUMBNAIL.width, LARGEST_THUMBNAIL.height, VIPS_INTERESTING_NONE, bounds);
    keep(encodeJpeg(image.get()), media, content, LARGEST_THUMBNAIL);
    for (const ThumbnailSize& size : THUMBNAIL_SIZES) {
        if (&size != &LARGEST_THUMBNAIL)
            keep(encodeJpeg(fitImage(image.get(), size.width, size.height).get()), media, content, size);
    }
    return info;
}

std::string makePersonImage(const std::string& path, const PictureBounds& bounds)
{
    const Format format = sniffFile(path);
    if (format == Format::NONE)
        refusePicture();
    readHeader(path, format, bounds);
    return encodeJpeg(fitFile(path, PERSON_IMAGE_SIZE, PERSON_IMAGE_SIZE, VIPS_INTERESTING_CENTRE, bounds).get());
}

} // namespace kinloomd
