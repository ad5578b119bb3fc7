// SPDX-License-Identifier: MIT
#include "wire/Authorization.h"
#include "core/Digest.h"

#include <gtest/gtest.h>

namespace {

using namespace kinloomd;

const std::string HEADER = "auth_identifier=\"KL_AUTH_V1\", app_id=\"abc\", app_type=\"dtv\", token=\"t0k\", token_type=\"user\", "
                           "duid=\"d\", signature=\"s\"";

TEST(Authorization, IsReadWithAnyNumberOfLeadingBlanks)
{
    for (const char* blanks : {"", " ", "  "}) {
        const auto authorization = parseAuthorization(blanks + HEADER);
        ASSERT_TRUE(authorization);
        EXPECT_EQ(authorization->identifier, "KL_AUTH_V1");
        EXPECT_EQ(authorization->appId, "abc");
        EXPECT_EQ(authorization->appType, "dtv");
        EXPECT_EQ(authorization->token, "t0k");
        EXPECT_EQ(authorization->tokenType, "user");
        EXPECT_EQ(authorization->duid, "d");
        EXPECT_EQ(authorization->signature, "s");
    }
}

TEST(Authorization, TakesFieldsInAnyOrderAndPassesOverUnknownOnes)
{
    const auto authorization = parseAuthorization(R"(duid="d",color="red, green" , app_id="a=b")");
    ASSERT_TRUE(authorization);
    EXPECT_EQ(authorization->duid, "d");
    EXPECT_EQ(authorization->appId, "a=b");
    EXPECT_EQ(authorization->token, "");
}

class BrokenAuthorization : public ::testing::TestWithParam<const char*> {};

TEST_P(BrokenAuthorization, IsRefused) { EXPECT_FALSE(parseAuthorization(GetParam())); }

INSTANTIATE_TEST_SUITE_P(Headers, BrokenAuthorization,
                         ::testing::Values("", "Basic YWJj", "app_id", "app_id=", "app_id=abc", "app_id=\"abc", "=\"abc\"",
                                           "app_id=\"a\" token=\"b\"", "app_id=\"a\",", "app_id=\"a\",,token=\"b\"", "app id=\"a\"",
                                           "app_id=\"a\", app_id=\"b\"", "app_id=\"a\";token=\"b\"", ",app_id=\"a\""));

// Reference values from another implementation of HMAC-SHA1.
TEST(Signature, IsMadeOverTheTokenAndOneZeroByte)
{
    EXPECT_EQ(requestSignature("", ""), "3bed69f1c6abb4c8a2dcb7207b0e9458196f59ae");
    EXPECT_EQ(requestSignature("key", "token"), "b3be7b13e52824c845f3d55cb24c31332421114a");
}

TEST(Signature, DependsOnKeyAndToken)
{
    EXPECT_NE(requestSignature("key", "token"), requestSignature("kez", "token"));
    EXPECT_NE(requestSignature("key", "token"), requestSignature("key", "tokem"));
    EXPECT_EQ(requestSignature("k", "t").size(), 40U);
}

TEST(Digest, MatchesPublishedVectors)
{
    EXPECT_EQ(toHex(hmacSha1("key", "The quick brown fox jumps over the lazy dog")), "de7c9b85b8b78aa6bc8a7a36f70a90701c9db4d9");
    EXPECT_EQ(toHex(hmacSha256("key", "The quick brown fox jumps over the lazy dog")),
              "f7bc83f430538424b13298e6aa6fb143ef4d59a14946175997479dbc2d1a3cd8");
    EXPECT_EQ(toHex(sha256("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Digest, ComparesLengthAndBytes)
{
    EXPECT_TRUE(equalsInConstantTime("", ""));
    EXPECT_TRUE(equalsInConstantTime("abc", "abc"));
    EXPECT_FALSE(equalsInConstantTime("abc", "abd"));
    EXPECT_FALSE(equalsInConstantTime("abc", "ab"));
}

TEST(Digest, GivesOtherRandomBytesEachTime)
{
    EXPECT_EQ(randomBytes(32).size(), 32U);
    EXPECT_NE(randomBytes(32), randomBytes(32));
}

} // namespace
