// SPDX-License-Identifier: MIT
#include "tv/media/PictureName.h"

#include "common/Digest.h"

#include <algorithm>

namespace tv {

namespace {

constexpr PictureBox GRID_BOX = {540, 405};
constexpr PictureBox SCREEN_BOX = {1920, 1080};

/// As many digits of a digest as tell all contents apart that there will ever be.
constexpr std::size_t DIGITS = 32;
constexpr std::size_t FOLDER_DIGITS = 2;

int within(int wanted, int most) { return wanted <= 0 ? most : std::min(wanted, most); }

} // namespace

PictureForm formOf(PictureSize size, const PictureBox& box, const PictureBox& most)
{
    switch (size) {
    case PictureSize::GRID:
        return {size, GRID_BOX};
    case PictureSize::SCREEN:
        return {size, SCREEN_BOX};
    case PictureSize::FULL:
        break;
    }
    return {PictureSize::FULL, {within(box.width, most.width), within(box.height, most.height)}};
}

ContentPlace placeOf(const std::string& content)
{
    const std::string digest = common::toHex(common::sha256(content)).substr(0, DIGITS);
    return {digest.substr(0, FOLDER_DIGITS), digest.substr(FOLDER_DIGITS) + "-"};
}

std::string cacheName(const std::string& content, const PictureForm& form)
{
    const ContentPlace place = placeOf(content);
    const std::string start = place.folder + "/" + place.prefix;
    switch (form.size) {
    case PictureSize::GRID:
        return start + "grid";
    case PictureSize::SCREEN:
        return start + "screen";
    case PictureSize::FULL:
        break;
    }
    return start + "full-" + std::to_string(form.box.width) + "x" + std::to_string(form.box.height);
}

} // namespace tv
