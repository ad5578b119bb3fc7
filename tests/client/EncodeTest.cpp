// SPDX-License-Identifier: MIT
#include "kinloom/Encode.h"
#include "kinloom/Failure.h"

#include <gtest/gtest.h>

using namespace kinloom;

namespace {

TEST(Encode, LeavesOnlyUnreservedCharactersAsTheyAre)
{
    EXPECT_EQ(percentEncode("AZaz09-._~"), "AZaz09-._~");
    EXPECT_EQ(percentEncode("a b+c&d=e%f"), "a%20b%2Bc%26d%3De%25f");
    EXPECT_EQ(percentEncode("\"'#?/;"), "%22%27%23%3F%2F%3B");
}

TEST(Encode, EncodesEachByteOfUtf8)
{
    EXPECT_EQ(percentEncode("ü"), "%C3%BC");
    EXPECT_EQ(percentEncode("😀"), "%F0%9F%98%80");
}

TEST(Encode, KeepsNulAndControls) { EXPECT_EQ(percentEncode(std::string("\0\n\x7F", 3)), "%00%0A%7F"); }

TEST(Encode, DecodingReversesEncodingForEveryByte)
{
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    EXPECT_EQ(percentDecode(percentEncode(all)), all);
}

TEST(Encode, DecodingLeavesWhatIsNoEscape)
{
    EXPECT_EQ(percentDecode("100%"), "100%");
    EXPECT_EQ(percentDecode("%4"), "%4");
    EXPECT_EQ(percentDecode("%zz%41"), "%zzA");
    EXPECT_EQ(percentDecode("a+b"), "a+b");
}

TEST(Encode, PathSegmentCannotLeaveItsPlace)
{
    EXPECT_EQ(pathSegment("12", "group"), "12");
    EXPECT_EQ(pathSegment("../auth?x#y", "group"), "..%2Fauth%3Fx%23y");
    for (const char* uid : {"", ".", ".."}) {
        try {
            pathSegment(uid, "group");
            FAIL() << "'" << uid << "' was taken";
        } catch (const CallError& error) {
            EXPECT_EQ(error.failure().kind, FailureKind::INVALID);
        }
    }
}

} // namespace
