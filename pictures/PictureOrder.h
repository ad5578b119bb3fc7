// SPDX-License-Identifier: MIT
/// \file What a picture process is told, and what it answers: one message each, over a socket.
#ifndef KINLOOM_PICTURES_PICTUREORDER_H
#define KINLOOM_PICTURES_PICTUREORDER_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace pictures {

/// The word that the program wants to hear; no command.
inline constexpr const char* PICTURE_WORD = "picture-process";

/// The socket, in the process.
inline constexpr int PICTURE_SOCKET = 3;

/// Pixels that a picture may take.
struct Box {
    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// How many pictures of different sizes may be made of one at a time.
inline constexpr std::size_t MOST_OUTPUTS = 4;

/// Descriptors come with it: the picture's file first, then one for each file to be written.
struct PictureOrder {
    enum What : std::uint32_t {
        FIT,    ///< the whole picture, within each of the boxes, as JPEG files
        FILL,   ///< what fills the box, the rest being cut off at the edges, as a JPEG file
        PIXELS, ///< the whole picture, within the box: a PixelsHead and its pixels
    };

    What what = FIT;
    std::uint32_t reserved = 0;
    std::int64_t pixels = 0; ///< the largest width times height of the picture itself
    std::array<Box, MOST_OUTPUTS> boxes{};
};

/// What stands before pixels in a file. Rows of four bytes a pixel follow: red, green, blue and opacity.
struct PixelsHead {
    std::int32_t width = 0;
    std::int32_t height = 0;
};

enum class PictureAnswer : std::uint32_t {
    READY,       ///< sent once, unasked: the process is confined, and waits
    DONE,        ///< the files are written
    UNDECODABLE, ///< the file is no picture, has too many pixels, or is broken
    NOT_WRITTEN, ///< a file could not be written
};

} // namespace pictures

#endif
