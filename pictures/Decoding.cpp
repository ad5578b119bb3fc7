// SPDX-License-Identifier: MIT
#include "pictures/Decoding.h"

#include "common/Files.h"

#include <memory>
#include <vips/vips.h>

// Needs the types of the one before.
#include <vips/vector.h>

namespace pictures {

namespace {

constexpr int QUALITY = 82;

/// The decoders that may be used, as the library calls them.
constexpr const char* DECODERS[] = {"VipsForeignLoadJpeg", "VipsForeignLoadPng", "VipsForeignLoadWebp", "VipsForeignLoadNsgif",
                                    "VipsForeignLoadHeif"};

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
using Image = std::unique_ptr<VipsImage, Unref>;
using Source = std::unique_ptr<VipsSource, Unref>;

struct FreeBuffer {
    void operator()(void* buffer) const { g_free(buffer); }
};

[[noreturn]] void refusePicture()
{
    const std::string reason = vips_error_buffer();
    vips_error_clear();
    throw UndecodablePicture(reason);
}

Source sourceOf(int fd)
{
    Source source(vips_source_new_from_descriptor(fd));
    if (!source)
        refusePicture();
    return source;
}

/// Reads the header alone.
void checkSize(int fd, std::int64_t pixels)
{
    const Source source = sourceOf(fd);
    const Image image(vips_image_new_from_source(source.get(), "", "access", VIPS_ACCESS_SEQUENTIAL, nullptr));
    if (!image)
        refusePicture();
    if (std::int64_t{vips_image_get_width(image.get())} * vips_image_get_height(image.get()) > pixels)
        throw UndecodablePicture("the picture has too many pixels");
}

/// The picture, upright, not larger than the box, all of it in memory. Reads the file to its end.
Image fitFile(int fd, const Box& box, VipsInteresting crop)
{
    const Source source = sourceOf(fd);
    VipsImage* lazy = nullptr;
    if (vips_thumbnail_source(source.get(), &lazy, box.width, "height", box.height, "size", VIPS_SIZE_DOWN, "crop", crop,
                              "option_string", "[fail_on=error]", nullptr) != 0)
        refusePicture();
    const Image owner(lazy);
    Image image(vips_image_copy_memory(lazy));
    if (!image)
        refusePicture();
    return image;
}

Image fitImage(VipsImage* source, const Box& box)
{
    VipsImage* result = nullptr;
    if (vips_thumbnail_image(source, &result, box.width, "height", box.height, "size", VIPS_SIZE_DOWN, nullptr) != 0)
        refusePicture();
    return Image(result);
}

/// Runs an operation that makes an image of an image.
template <typename Operation> Image derived(const Operation& operation)
{
    VipsImage* result = nullptr;
    if (operation(&result) != 0)
        refusePicture();
    return Image(result);
}

void writeJpeg(VipsImage* image, int output)
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
    common::writeAll(output, {static_cast<const char*>(bytes), size}, "a picture");
}

} // namespace

void startDecoding()
{
    if (VIPS_INIT("pictures") != 0)
        throw std::runtime_error("the picture library does not start");
    vips_operation_block_set("VipsForeignLoad", TRUE);
    for (const char* decoder : DECODERS)
        vips_operation_block_set(decoder, FALSE);
    // A broken picture is an answer; warnings on standard error would repeat it.
    g_log_set_handler(
        "VIPS", G_LOG_LEVEL_WARNING, [](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
    // One picture is read at a time, on one thread. Nothing is cached, since no picture is read twice.
    vips_concurrency_set(1);
    vips_cache_set_max(0);
    // Code made while a program runs needs memory that can be written and run, which a confined process does not get.
    vips_vector_set_enabled(FALSE);
}

void fitIntoBoxes(int source, std::int64_t pixels, const std::array<Box, MOST_OUTPUTS>& boxes, const std::vector<int>& outputs)
{
    checkSize(source, pixels);
    const Image image = fitFile(source, boxes[0], VIPS_INTERESTING_NONE);
    writeJpeg(image.get(), outputs.at(0));
    for (std::size_t i = 1; i < outputs.size(); ++i)
        writeJpeg(fitImage(image.get(), boxes.at(i)).get(), outputs[i]);
}

void fillBox(int source, std::int64_t pixels, const Box& box, int output)
{
    checkSize(source, pixels);
    writeJpeg(fitFile(source, box, VIPS_INTERESTING_CENTRE).get(), output);
}

void writePixels(int source, std::int64_t pixels, const Box& box, int output)
{
    checkSize(source, pixels);
    const Image picture = fitFile(source, box, VIPS_INTERESTING_NONE);
    const Image coloured =
        derived([&](VipsImage** out) { return vips_colourspace(picture.get(), out, VIPS_INTERPRETATION_sRGB, nullptr); });
    const Image bytes = derived([&](VipsImage** out) { return vips_cast_uchar(coloured.get(), out, nullptr); });
    const Image image = derived([&](VipsImage** out) {
        return vips_image_hasalpha(bytes.get()) != 0 ? vips_copy(bytes.get(), out, nullptr)
                                                     : vips_addalpha(bytes.get(), out, nullptr);
    });
    std::size_t size = 0;
    const std::unique_ptr<void, FreeBuffer> memory(vips_image_write_to_memory(image.get(), &size));
    const PixelsHead head = {vips_image_get_width(image.get()), vips_image_get_height(image.get())};
    if (!memory || vips_image_get_bands(image.get()) != 4)
        refusePicture();
    common::writeAll(output, {reinterpret_cast<const char*>(&head), sizeof head}, "a picture");
    common::writeAll(output, {static_cast<const char*>(memory.get()), size}, "a picture");
}

} // namespace pictures
