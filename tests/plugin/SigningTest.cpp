// SPDX-License-Identifier: MIT
// The signature, the two headers, and the small helpers beside them.
#include "KLService/KLService.h"
#include "plugin/support/Clock.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <regex>

using namespace W;
using kinloom_test::StoppedClock;

namespace {

STRING signatureOf(const STRING& key, const STRING& message)
{
    STRING out;
    KLService::getAPISignature(key, message, out);
    return out;
}

/// The same by another way: each byte printed, over bytes that are given in full.
STRING hmacOf(const STRING& key, const STRING& bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    HMAC(EVP_sha1(), key.data(), static_cast<int>(key.size()), reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
         digest, &length);
    STRING text;
    for (unsigned int i = 0; i < length; ++i) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02x", digest[i]);
        text += hex;
    }
    return text;
}

STRING dateAt(int year, int month, int day, int hour = 7, int minute = 4, int second = 9)
{
    const StoppedClock clock(year, month, day, hour, minute, second);
    return KLService::getGMTTime();
}

} // namespace

// The vectors were made with openssl dgst -sha1 -hmac over the message and one zero byte.
TEST(Signing, SignsTheMessageAndItsTerminator)
{
    EXPECT_EQ(signatureOf("key", "The quick brown fox jumps over the lazy dog"), "0f69a224d034ebb65b89031dfd78b3c642ab54bc");
    EXPECT_EQ(signatureOf("app-7", "token-of-tv"), "3d21a61d633ce19d0e9ec064039830999817fa76");
}

TEST(Signing, SignsOneZeroByteForAnEmptyToken)
{
    EXPECT_EQ(signatureOf("app-7", ""), "c99fcdd90ee86f9984291ca240e43fa3e1e0e9fd");
    EXPECT_EQ(signatureOf("app-7", ""), hmacOf("app-7", STRING(1, '\0')));
}

TEST(Signing, SignsWithAnEmptyKey)
{
    EXPECT_EQ(signatureOf("", ""), "3bed69f1c6abb4c8a2dcb7207b0e9458196f59ae");
    EXPECT_EQ(signatureOf("", "token"), hmacOf("", STRING("token\0", 6)));
}

TEST(Signing, DoesNotSignTheBareMessage) { EXPECT_NE(signatureOf("app-7", "token"), hmacOf("app-7", "token")); }

TEST(Signing, SignsBytesOfAnyValueAndLength)
{
    STRING bytes;
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(signatureOf(bytes, "m"), hmacOf(bytes, STRING("m\0", 2))) << "key of " << i;
        EXPECT_EQ(signatureOf("k", bytes), hmacOf("k", bytes + STRING(1, '\0'))) << "message of " << i;
        bytes += static_cast<char>(i * 7 + 1);
    }
}

TEST(Signing, SignsBeyondAZeroInsideTheMessage)
{
    const STRING message("to\0ken", 6);
    EXPECT_EQ(signatureOf("k", message), hmacOf("k", message + STRING(1, '\0')));
}

TEST(Signing, IsAlwaysFortyLowerCaseDigits)
{
    const std::regex pattern("[0-9a-f]{40}");
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(std::regex_match(signatureOf("key" + std::to_string(i), "m"), pattern));
}

TEST(Signing, AppendsToTheOutput)
{
    STRING out = "before ";
    KLService::getAPISignature("app-7", "token-of-tv", out);
    EXPECT_EQ(out, "before " + signatureOf("app-7", "token-of-tv"));
}

TEST(Signing, WritesTheAuthorizationFieldByField)
{
    EXPECT_EQ(KLService::getAuthorization("an app", "a token", "a device", "cafe"),
              " auth_identifier=\"KL_AUTH_V1\", app_id=\"an app\", app_type=\"dtv\", token=\"a token\", token_type=\"user\", "
              "duid=\"a device\", signature=\"cafe\"");
}

TEST(Signing, EscapesNothingInTheAuthorization)
{
    EXPECT_EQ(KLService::getAuthorization("a\"b", "50% & more", "", ""),
              " auth_identifier=\"KL_AUTH_V1\", app_id=\"a\"b\", app_type=\"dtv\", token=\"50% & more\", token_type=\"user\", "
              "duid=\"\", signature=\"\"");
}

TEST(Signing, DatesAWednesdayTheFifth)
{
    EXPECT_EQ(dateAt(2010, 5, 5), "Wed, 5 May 2010 7:4:9 GMT");
    // The month is named after the day, whatever month it is.
    EXPECT_EQ(dateAt(2014, 2, 5), "Wed, 5 May 2014 7:4:9 GMT");
}

TEST(Signing, DatesASundayTheTwentieth) { EXPECT_EQ(dateAt(2010, 6, 20), ", 20  2010 7:4:9 GMT"); }

TEST(Signing, BeginsWithACommaOnSundaysOnly)
{
    // 6 June 2010 was a Sunday.
    static const char* const WEEKDAYS[] = {"", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    for (int day = 6; day <= 12; ++day) {
        const STRING date = dateAt(2010, 6, day);
        EXPECT_EQ(date.substr(0, date.find(',')), WEEKDAYS[day - 6]) << date;
    }
}

TEST(Signing, NamesTheMonthAfterTheDay)
{
    static const char* const MONTHS[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (const int month : {1, 8, 12})
        for (int day = 1; day <= 31; ++day) {
            const STRING expected = ", " + std::to_string(day) + " " + (day <= 12 ? MONTHS[day - 1] : "") + " 2011 ";
            const STRING date = dateAt(2011, month, day);
            EXPECT_NE(date.find(expected), STRING::npos) << date;
        }
}

TEST(Signing, PadsNoNumber)
{
    EXPECT_EQ(dateAt(2024, 2, 29, 0, 0, 0), "Thu, 29  2024 0:0:0 GMT");
    EXPECT_EQ(dateAt(1999, 12, 31, 23, 59, 59), "Fri, 31  1999 23:59:59 GMT");
    EXPECT_EQ(dateAt(1970, 1, 1, 0, 0, 1), "Thu, 1 Jan 1970 0:0:1 GMT");
}

TEST(Signing, WritesNumbersInDecimal)
{
    EXPECT_EQ(KLService::int2str(0), "0");
    EXPECT_EQ(KLService::int2str(7), "7");
    EXPECT_EQ(KLService::int2str(1000000), "1000000");
    EXPECT_EQ(KLService::int2str(0x80000000u), "2147483648");
    EXPECT_EQ(KLService::int2str(0xFFFFFFFFu), "4294967295");
}

TEST(Signing, ReplacesEveryBlankByAPlus)
{
    STRING text = " two words  and more ";
    EXPECT_EQ(KLService::space2Char(text), "+two+words++and+more+");
    EXPECT_EQ(text, "+two+words++and+more+");
    STRING empty;
    EXPECT_EQ(KLService::space2Char(empty), "");
    STRING other = "tab\tand+plus%20";
    EXPECT_EQ(KLService::space2Char(other), "tab\tand+plus%20");
}
