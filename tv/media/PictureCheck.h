// SPDX-License-Identifier: MIT
/// \file What came from the service, looked at before it goes to the page.
#ifndef KINLOOM_TV_MEDIA_PICTURECHECK_H
#define KINLOOM_TV_MEDIA_PICTURECHECK_H

#include "tv/media/Pictures.h"

#include <cstdint>
#include <string_view>

namespace tv {

struct CheckedPicture {
    enum Fitness : std::uint8_t {
        FIT,    ///< goes out as it is
        UNFIT,  ///< may be a picture, but not one for the page: larger than it should be, cut short, or of a format that browsers
                ///< lack
        BROKEN, ///< no picture
    };

    Fitness fitness = BROKEN;
    const char* type = ""; ///< FIT: its MIME type
};

/// Looks at header and end of a file that the service made. Takes any bytes.
CheckedPicture checkThumbnail(std::string_view bytes, PictureSize size);

} // namespace tv

#endif
