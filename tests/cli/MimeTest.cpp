// SPDX-License-Identifier: MIT
#include "files/Mime.h"

#include <gtest/gtest.h>

using namespace kinloom;
using namespace std::string_view_literals;

namespace {

TEST(Mime, FirstBytesTell)
{
    EXPECT_EQ(mimeTypeOf("\xFF\xD8\xFF\xE0 more"sv, "x.png"), "image/jpeg");
    EXPECT_EQ(mimeTypeOf("\x89PNG\r\n\x1A\nrest"sv, "x"), "image/png");
    EXPECT_EQ(mimeTypeOf("GIF89a"sv, "x"), "image/gif");
    EXPECT_EQ(mimeTypeOf("RIFF\x10\0\0\0WEBPVP8L"sv, "x"), "image/webp");
    EXPECT_EQ(mimeTypeOf("\0\0\0\x18"
                         "ftypisom"sv,
                         "x"),
              "video/mp4");
    EXPECT_EQ(mimeTypeOf("\0\0\0\x18"
                         "ftypheic"sv,
                         "x"),
              "image/heic");
    EXPECT_EQ(mimeTypeOf("ID3\x04"sv, "photo.jpg"), "audio/mpeg");
}

TEST(Mime, ExtensionTellsWhereBytesDoNot)
{
    EXPECT_EQ(mimeTypeOf("whatever", "a.JPG"), "image/jpeg");
    EXPECT_EQ(mimeTypeOf("", "clip.mov"), "video/quicktime");
    EXPECT_EQ(mimeTypeOf("text", "notes.txt"), "");
    EXPECT_EQ(mimeTypeOf("text", "noextension"), "");
}

TEST(Mime, ShortFilesAreNotReadBeyondTheirEnd)
{
    EXPECT_EQ(mimeTypeOf("\xFF\xD8"sv, "x"), "");
    EXPECT_EQ(mimeTypeOf("RIFF", "x"), "");
}

TEST(Mime, KindsFollowTypes)
{
    EXPECT_EQ(contentTypeOf("image/jpeg"), W::KL_CONTENT_PHOTO);
    EXPECT_EQ(contentTypeOf("Video/MP4"), W::KL_CONTENT_VIDEO);
    EXPECT_EQ(contentTypeOf("audio/ogg"), W::KL_CONTENT_MUSIC);
    EXPECT_EQ(contentTypeOf("application/pdf"), W::KL_CONTENT_UNKNOWN);
    EXPECT_EQ(contentTypeOf("imagex/jpeg"), W::KL_CONTENT_UNKNOWN);
}

TEST(Mime, TypesHaveTwoPartsAndNoOddCharacters)
{
    EXPECT_TRUE(isMimeType("image/svg+xml"));
    for (const char* text : {"", "image", "image/", "/jpeg", "image/jpeg; q=1", "image/jp eg", "image/jpeg\r\nX: y", "a/b/c"})
        EXPECT_FALSE(isMimeType(text)) << text;
}

} // namespace
