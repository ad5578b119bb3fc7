// SPDX-License-Identifier: MIT
/// \file Pictures made at test time.
#ifndef TESTS_SERVICE_TESTPICTURES_H
#define TESTS_SERVICE_TESTPICTURES_H

#include "ServiceClient.h"

namespace kinloomd_test {

/// A picture whose upper left quarter is red, the rest of its upper half green, and its lower half blue.
/// \param suffix of the file format: ".jpg", ".png", ".webp" or ".gif"
/// \param orientation as cameras note it, 1 to 8; only JPEG files carry it
/// \param taken "2010:05:05 07:04:09", or empty; only JPEG files carry it
TestPicture makePicture(int width, int height, const std::string& suffix = ".jpg", int orientation = 1,
                        const std::string& taken = {});

/// A small picture, made once.
const TestPicture& smallPicture();

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
