// SPDX-License-Identifier: MIT
/// \file What a picture is called in the cache.
#ifndef KINLOOM_TV_MEDIA_PICTURENAME_H
#define KINLOOM_TV_MEDIA_PICTURENAME_H

#include "tv/media/Pictures.h"

#include <string>

namespace tv {

/// One form of one content's picture.
struct PictureForm {
    PictureSize size = PictureSize::GRID;
    PictureBox box; ///< what it is made to fit in, where it is made here
};

/// The form that is meant: each size has its box, and that of FULL is within the most that there may be.
PictureForm formOf(PictureSize size, const PictureBox& box, const PictureBox& most);

/// The folder of a content's pictures, in the cache's, and how the names of its files there begin. Both are made of a digest: what
/// a service calls its contents is never the name of a file.
struct ContentPlace {
    std::string folder; ///< "3f"
    std::string prefix; ///< "0a…-"
};
ContentPlace placeOf(const std::string& content);

/// "3f/0a…-grid", "3f/0a…-full-1920x1080"
std::string cacheName(const std::string& content, const PictureForm& form);

} // namespace tv

#endif
