// SPDX-License-Identifier: MIT
/// \file Pictures: decoded and made smaller. Only in processes of their own: what is decoded was written by strangers.
#ifndef KINLOOM_PICTURES_DECODING_H
#define KINLOOM_PICTURES_DECODING_H

#include "pictures/PictureOrder.h"

#include <array>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace pictures {

/// Sets up the picture library for the process, with the decoders of the formats of photos and no others. Call once, before any
/// other thread runs. Throws std::runtime_error.
void startDecoding();

/// The file cannot be read to its end as a picture, or has too many pixels.
class UndecodablePicture : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads every pixel of a picture and writes it upright, as JPEG files, in several sizes; it is made smaller, never larger.
/// \param source the file; \param pixels the largest width times height
/// \param boxes the largest first: the others are made of it
/// \param outputs a file for each of the boxes that counts
/// Throws UndecodablePicture, and std::system_error when a file cannot be written.
void fitIntoBoxes(int source, std::int64_t pixels, const std::array<Box, MOST_OUTPUTS>& boxes, const std::vector<int>& outputs);

/// Writes what fills the box, with the picture's middle in its own. Throws like \c fitIntoBoxes.
void fillBox(int source, std::int64_t pixels, const Box& box, int output);

/// Writes the pixels of the whole picture, upright, with a PixelsHead before them. Throws like \c fitIntoBoxes.
void writePixels(int source, std::int64_t pixels, const Box& box, int output);

} // namespace pictures

#endif
