// SPDX-License-Identifier: MIT
#include "tv/media/PictureCheck.h"

#include "HostilePictures.h"
#include "TestPictures.h"

#include <gtest/gtest.h>

namespace {

using namespace kinloomd_test;
using namespace tv;

TEST(MediaCheck, PicturesForABrowserAreFit)
{
    for (const auto& [suffix, type] :
         {std::pair{".jpg", "image/jpeg"}, {".png", "image/png"}, {".webp", "image/webp"}, {".gif", "image/gif"}}) {
        const CheckedPicture checked = checkThumbnail(makePicture(540, 405, suffix).bytes, PictureSize::GRID);
        EXPECT_EQ(checked.fitness, CheckedPicture::FIT) << suffix;
        EXPECT_STREQ(checked.type, type);
    }
}

TEST(MediaCheck, OthersAreToBeMadeAnew)
{
    EXPECT_EQ(checkThumbnail(makePicture(64, 64, ".heic").bytes, PictureSize::GRID).fitness, CheckedPicture::UNFIT);
    const std::string large = makePicture(1400, 1000).bytes;
    EXPECT_EQ(checkThumbnail(large, PictureSize::GRID).fitness, CheckedPicture::UNFIT);
    EXPECT_EQ(checkThumbnail(large, PictureSize::SCREEN).fitness, CheckedPicture::FIT);
}

TEST(MediaCheck, CutOnesAreNeverFit)
{
    for (const char* const suffix : {".jpg", ".png", ".webp", ".gif", ".heic"}) {
        const std::string bytes = makePicture(540, 405, suffix).bytes;
        for (std::size_t part = 0; part < 20; ++part) {
            std::size_t size = bytes.size() * part / 20;
            // A GIF file that is cut behind its last letter's like looks whole.
            while (size > 0 && bytes[size - 1] == ';')
                --size;
            EXPECT_NE(checkThumbnail(std::string_view(bytes).substr(0, size), PictureSize::GRID).fitness, CheckedPicture::FIT)
                << suffix << part;
        }
    }
}

TEST(MediaCheck, WhatStandsBehindAPictureIsNoFault)
{
    EXPECT_EQ(checkThumbnail(makePicture(540, 405).bytes + std::string(16, '\0'), PictureSize::GRID).fitness, CheckedPicture::FIT);
}

TEST(MediaCheck, WhatIsNoPictureIsBroken)
{
    for (const std::string& bytes : {std::string(), std::string("<html>"), std::string("\xFF\xD8\xFF\xD9"), pngChunk("IEND", "")})
        EXPECT_EQ(checkThumbnail(bytes, PictureSize::SCREEN).fitness, CheckedPicture::BROKEN) << bytes;
}

} // namespace
