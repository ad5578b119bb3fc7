// SPDX-License-Identifier: MIT
/// \file Pictures made at test time.
#ifndef TESTS_PICTURES_TESTPICTURES_H
#define TESTS_PICTURES_TESTPICTURES_H

#include <optional>
#include <string>

namespace kinloomd_test {

/// A picture made for a test, and what it is.
struct TestPicture {
    std::string bytes;
    std::string mimeType;
    std::string fileName;
};

/// A picture whose upper left quarter is red, the rest of its upper half green, and its lower half blue.
/// \param suffix of the file format: ".jpg", ".png", ".webp", ".gif" or ".heic"
/// \param orientation as cameras note it, 1 to 8; only JPEG and WebP files carry it
/// \param taken "2010:05:05 07:04:09", or empty; only JPEG files carry it
TestPicture makePicture(int width, int height, const std::string& suffix = ".jpg", int orientation = 1,
                        const std::string& taken = {});

/// A small picture, made once.
const TestPicture& smallPicture();

/// The picture with other bytes each time, for uploads that are each to become a content of their own.
TestPicture anotherPicture(TestPicture picture = smallPicture());

/// The size of a picture and the colour of some of its points, as a viewer shows them.
struct Seen {
    int width = 0;
    int height = 0;
    std::string upperLeft; ///< "red", "green", "blue", "white" or "other"
    std::string upperRight;
    std::string lowerLeft;
};

/// Reads a picture. Nothing when it cannot be read.
std::optional<Seen> lookAt(const std::string& bytes);

} // namespace kinloomd_test

#endif
