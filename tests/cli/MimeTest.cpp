// SPDX-License-Identifier: MIT
#include "files/Mime.h"

#include <gtest/gtest.h>

using namespace kinloom;
using namespace std::string_literals;
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
    for (const std::string_view brand : {"heic", "heix", "heim", "heis", "hevc", "hevx", "mif1", "msf1"})
        EXPECT_EQ(mimeTypeOf("\0\0\0\x18"
                             "ftyp"s +
                                 std::string(brand),
                             "x.jpg"),
                  "image/heic")
            << brand;
    EXPECT_EQ(mimeTypeOf("ID3\x04"sv, "photo.jpg"), "audio/mpeg");
}

TEST(Mime, ExtensionTellsWhereBytesDoNot)
{
    EXPECT_EQ(mimeTypeOf("whatever", "a.JPG"), "image/jpeg");
    EXPECT_EQ(mimeTypeOf("", "clip.mov"), "video/quicktime");
    EXPECT_EQ(mimeTypeOf("", "IMG_0001.HEIC"), "image/heic");
    EXPECT_EQ(mimeTypeOf("", "a.heif"), "image/heic");
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

TEST(Mime, WhatTheServiceDoesNotTakeIsKnownBefore)
{
    EXPECT_EQ(refusalOf("\xFF\xD8\xFF\xE0 more"sv, "image/jpeg"), "");
    EXPECT_EQ(refusalOf("\xFF\xD8\xFF"sv, "image/jpeg"), "") << "whether it is whole, the service finds out";
    EXPECT_EQ(refusalOf("\0\0\0\x18"
                        "ftypheic"sv,
                        "image/heic"),
              "");
    EXPECT_EQ(refusalOf("\xFF\xD8\xFF"sv, "image/png"), "") << "so does which of them it is";
    for (const auto& [bytes, type] : {std::pair<std::string_view, const char*>{"II*\0"sv, "image/tiff"},
                                      {"BM", "image/bmp"},
                                      {"", "image/svg+xml"},
                                      {"a text", "image/jpeg"},
                                      {"%PDF-1.4", "image/jpeg"},
                                      {"II*\0"sv, "image/jpeg"},
                                      {"whatever", "video/mp4"},
                                      {"a text", "text/plain"}})
        EXPECT_NE(refusalOf(bytes, type), "") << type;
}

TEST(Mime, TypesHaveTwoPartsAndNoOddCharacters)
{
    EXPECT_TRUE(isMimeType("image/svg+xml"));
    for (const char* text : {"", "image", "image/", "/jpeg", "image/jpeg; q=1", "image/jp eg", "image/jpeg\r\nX: y", "a/b/c"})
        EXPECT_FALSE(isMimeType(text)) << text;
}

TEST(Mime, PicturesOfTelephonesHaveOneType)
{
    for (const char* brand : {"heic", "heix", "hevc", "hevx", "heim", "heis", "mif1", "msf1"})
        EXPECT_EQ(mimeTypeOf(std::string("\0\0\0\x18", 4) + "ftyp" + brand, "x"), "image/heic") << brand;
    EXPECT_EQ(mimeTypeOf(std::string("\0\0\0\x18", 4) + "ftypavif", "x.heic"), "image/avif");
    for (const char* name : {"a.HEIC", "a.heif", "a.hif"})
        EXPECT_EQ(mimeTypeOf("", name), "image/heic") << name;
}

} // namespace
