// SPDX-License-Identifier: MIT
/// \file Pictures, and how a terminal shows them.
#ifndef KINLOOM_OUTPUT_PICTURE_H
#define KINLOOM_OUTPUT_PICTURE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kinloom {

/// A picture in memory: rows of four bytes a pixel, red, green, blue and opacity.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

/// Reads a picture from a file, upright, and no wider or higher than \p most pixels, in a confined process.
/// \param program what that process is started from: pictures::programBesideThis()
/// \param giveUp asked several times a second; true ends it. May be empty.
/// \throw Failure when it cannot be read.
Picture readPicture(const std::string& path, int most, const std::string& program, const std::function<bool()>& giveUp = {});

enum class PictureMode {
    AUTO, ///< what the terminal can do best, by the environment
    SYMBOLS,
    SIXELS,
    KITTY,
    ITERM,
};

struct Frame {
    int columns = 80;
    int rows = 24;
    PictureMode mode = PictureMode::AUTO;
    bool colour = true;
    /// Whether the bytes go to a terminal. When false the picture is plain text, without any escape sequence.
    bool terminal = true;
};

/// The bytes that show a picture on a terminal, as large as the frame allows with its proportions kept; without a line's end behind
/// the last line.
std::string drawPicture(const Picture& picture, const Frame& frame);

} // namespace kinloom

#endif
