// SPDX-License-Identifier: MIT
/// \file Small files that are costly to decode, and files cut to pieces.
#ifndef TESTS_PICTURES_HOSTILEPICTURES_H
#define TESTS_PICTURES_HOSTILEPICTURES_H

#include "TestPictures.h"

#include <cstdint>
#include <string>

namespace kinloomd_test {

/// A PNG of 26 x 10,000,000 pixels: 262 kB that take half a minute.
TestPicture narrowPicture();
/// A PNG whose texts take a gigabyte when they are read: some of its compressed chunks of 8 MB each.
TestPicture wordyPicture();
/// A PNG of 10240 x 10240 pixels, eight bytes each, laced so that all of them have to be in memory: 1 MB that take 840.
TestPicture lacedPicture();
/// A picture whose header is sound, and whose end is missing.
TestPicture cutPicture(const std::string& suffix = ".jpg");

/// The chunk of a PNG file.
std::string pngChunk(const std::string& name, const std::string& content);
/// The first chunk, behind the signature.
std::string pngHead(std::uint32_t width, std::uint32_t height, int depth, int kind, int interlace = 0);
/// A number as most of these formats write it.
std::string bigEndian(std::uint32_t number, int bytes = 4);

} // namespace kinloomd_test

#endif
