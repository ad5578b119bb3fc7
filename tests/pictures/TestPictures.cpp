// SPDX-License-Identifier: MIT
#include "TestPictures.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <stdexcept>
#include <vips/vips8>

#if defined(__SANITIZE_THREAD__)
#define WATCHED_THREADS 1
#elif defined(__has_feature)
#define WATCHED_THREADS __has_feature(thread_sanitizer)
#else
#define WATCHED_THREADS 0
#endif

#if WATCHED_THREADS
// Of the sanitizer's library, which has no header for them.
extern "C" void AnnotateIgnoreReadsBegin(const char* file, int line);
extern "C" void AnnotateIgnoreReadsEnd(const char* file, int line);
extern "C" void AnnotateIgnoreWritesBegin(const char* file, int line);
extern "C" void AnnotateIgnoreWritesEnd(const char* file, int line);
#endif

namespace kinloomd_test {

namespace {

using vips::VImage;

/// Keeps the thread sanitizer from what this thread does: an encoder's texts pass through the C++ library, which it does watch, and
/// from thread to thread by locks that it does not know.
class Unwatched {
public:
    Unwatched()
    {
#if WATCHED_THREADS
        AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
        AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
#endif
    }
    Unwatched(const Unwatched&) = delete;
    Unwatched& operator=(const Unwatched&) = delete;
    ~Unwatched()
    {
#if WATCHED_THREADS
        AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
        AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
#endif
    }
};

void startLibrary()
{
    static std::once_flag once;
    std::call_once(once, [] {
        if (VIPS_INIT("tests") != 0)
            throw std::runtime_error("the picture library does not start");
    });
}

VImage plain(int width, int height, std::vector<double> colour)
{
    return VImage::black(width, height, VImage::option()->set("bands", 3))
        .linear({1, 1, 1}, colour)
        .cast(VIPS_FORMAT_UCHAR)
        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

std::string colourAt(const VImage& image, int x, int y)
{
    const std::vector<double> point = image.getpoint(x, y);
    const auto high = [&point](std::size_t band) { return point.size() > band && point[band] > 180; };
    const bool red = high(0);
    const bool green = high(1);
    const bool blue = high(2);
    if (red && green && blue)
        return "white";
    if (red && !green && !blue)
        return "red";
    if (!red && green && !blue)
        return "green";
    if (!red && !green && blue)
        return "blue";
    return "other";
}

const std::map<std::string, std::string> MIME_TYPES = {
    {".jpg", "image/jpeg"}, {".png", "image/png"}, {".webp", "image/webp"}, {".gif", "image/gif"}, {".heic", "image/heic"}};

} // namespace

TestPicture makePicture(int width, int height, const std::string& suffix, int orientation, const std::string& taken)
{
    startLibrary();
    const int left = std::max(1, width / 2);
    const int top = std::max(1, height / 2);
    VImage image =
        plain(width, height, {0, 0, 255}).insert(plain(width, top, {0, 255, 0}), 0, 0).insert(plain(left, top, {255, 0, 0}), 0, 0);
    image = image.copy();
    if (orientation != 1) {
        image.set("orientation", orientation);
        image.set("exif-ifd0-Orientation", std::to_string(orientation).c_str());
    }
    if (!taken.empty())
        image.set("exif-ifd2-DateTimeOriginal", taken.c_str());
    void* bytes = nullptr;
    std::size_t size = 0;
    {
        const Unwatched encoding;
        image.write_to_buffer(suffix.c_str(), &bytes, &size);
    }
    TestPicture picture{{static_cast<const char*>(bytes), size}, MIME_TYPES.at(suffix), "picture" + suffix};
    g_free(bytes);
    return picture;
}

const TestPicture& smallPicture()
{
    static const TestPicture picture = makePicture(64, 48);
    return picture;
}

TestPicture anotherPicture(TestPicture picture)
{
    static std::atomic<unsigned> count{0};
    // Readers pass over what stands behind the end of the picture.
    picture.bytes += "another " + std::to_string(++count);
    return picture;
}

std::optional<Seen> lookAt(const std::string& bytes)
{
    startLibrary();
    try {
        const VImage image = VImage::new_from_buffer(bytes.data(), bytes.size(), "").autorot();
        const int right = image.width() * 3 / 4;
        const int bottom = image.height() * 3 / 4;
        return Seen{image.width(), image.height(), colourAt(image, image.width() / 4, image.height() / 4),
                    colourAt(image, right, image.height() / 4), colourAt(image, image.width() / 4, bottom)};
    } catch (const vips::VError&) {
        return std::nullopt;
    }
}

} // namespace kinloomd_test
