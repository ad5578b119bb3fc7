// SPDX-License-Identifier: MIT
#include "objects/Credentials.h"

#include "support/TempDir.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/stat.h>

namespace {

using objects::Credentials;
using testing::HasSubstr;

std::string refusalOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

TEST(CredentialsFile, HoldsTheKeysUnderTheDefaultHeading)
{
    const Credentials credentials = objects::parseCredentials("# mine\r\n\n[default]\r\naws_access_key_id = KEY\r\n"
                                                              "aws_secret_access_key=a/b+c==\r\n  aws_session_token =  t \r\n"
                                                              "region = eu-1\n[other]\naws_access_key_id = OTHER\n",
                                                              "file");
    EXPECT_EQ(credentials.accessKey, "KEY");
    EXPECT_EQ(credentials.secretKey, "a/b+c==");
    EXPECT_EQ(credentials.sessionToken, "t");
}

TEST(CredentialsFile, NeedsNoHeading)
{
    EXPECT_EQ(objects::parseCredentials("aws_access_key_id=K\naws_secret_access_key=S", "file").secretKey, "S");
}

TEST(CredentialsFile, SaysWhatIsMissing)
{
    EXPECT_THAT(refusalOf([] { objects::parseCredentials("aws_access_key_id = K\n", "/keys"); }),
                HasSubstr("/keys has no line 'aws_secret_access_key"));
    EXPECT_THAT(
        refusalOf([] { objects::parseCredentials("[other]\naws_access_key_id = K\naws_secret_access_key = S\n", "/keys"); }),
        HasSubstr("aws_access_key_id"));
}

TEST(CredentialsFile, IsRefusedWhenOthersMayReadIt)
{
    const test::TempDir folder;
    const std::string path = folder.file("keys");
    test::writeFile(path, "aws_access_key_id = K\naws_secret_access_key = S\n");
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    EXPECT_EQ(objects::credentialsFromFile(path).accessKey, "K");
    for (const mode_t mode : {0640, 0604, 0620}) {
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        EXPECT_THAT(refusalOf([&] { objects::credentialsFromFile(path); }), HasSubstr("chmod 600"));
    }
}

TEST(CredentialsFile, IsRefusedWhenItIsNotThereOrNoFile)
{
    const test::TempDir folder;
    EXPECT_THAT(refusalOf([&] { objects::credentialsFromFile(folder.file("none")); }), HasSubstr("is not there"));
    EXPECT_THAT(refusalOf([&] { objects::credentialsFromFile(folder.path()); }), HasSubstr("is not there"));
}

class CredentialsEnvironment : public testing::Test {
protected:
    ~CredentialsEnvironment() override
    {
        for (const char* name : {"AWS_ACCESS_KEY_ID", "AWS_SECRET_ACCESS_KEY", "AWS_SESSION_TOKEN"})
            ::unsetenv(name);
    }
};

TEST_F(CredentialsEnvironment, IsTakenWhole)
{
    ::setenv("AWS_ACCESS_KEY_ID", "K", 1);
    ::setenv("AWS_SECRET_ACCESS_KEY", "S", 1);
    EXPECT_EQ(objects::takeCredentialsFromEnvironment().sessionToken, "");
    EXPECT_EQ(::getenv("AWS_SECRET_ACCESS_KEY"), nullptr) << "programs that are begun do not get them";
    ::setenv("AWS_ACCESS_KEY_ID", "K", 1);
    ::setenv("AWS_SECRET_ACCESS_KEY", "S", 1);
    ::setenv("AWS_SESSION_TOKEN", "T", 1);
    const Credentials credentials = objects::takeCredentialsFromEnvironment();
    EXPECT_EQ(credentials.accessKey + credentials.secretKey + credentials.sessionToken, "KST");
}

TEST_F(CredentialsEnvironment, SaysWhatIsMissing)
{
    ::setenv("AWS_ACCESS_KEY_ID", "K", 1);
    ::setenv("AWS_SECRET_ACCESS_KEY", "", 1);
    EXPECT_THAT(refusalOf([] { objects::takeCredentialsFromEnvironment(); }), HasSubstr("AWS_SECRET_ACCESS_KEY is not set"));
}

} // namespace
