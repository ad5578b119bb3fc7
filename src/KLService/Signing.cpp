// SPDX-License-Identifier: MIT
// What makes a request authentic: signature, Authorization value, DATE value.
#include "KLService/KLService.h"

#include <ctime>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <string_view>

namespace W {

namespace {

// Indexed by a field of the broken-down time; a field outside its table leaves the name out.
constexpr std::string_view WEEKDAYS[] = {"", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
constexpr std::string_view MONTHS[] = {"", "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

template <std::size_t N> std::string_view nameOf(const std::string_view (&names)[N], int field)
{
    return field >= 0 && static_cast<std::size_t>(field) < N ? names[field] : std::string_view();
}

} // namespace

void KLService::getAPISignature(STRING key, STRING message, STRING& out)
{
    static constexpr char DIGITS[] = "0123456789abcdef";

    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    // The service signs its token as a C string, terminator included: one zero byte more than the message's length.
    HMAC(EVP_sha1(), key.data(), static_cast<int>(key.size()), reinterpret_cast<const unsigned char*>(message.c_str()),
         message.size() + 1, digest, &length);

    out.reserve(out.size() + 2u * length);
    for (unsigned int i = 0; i < length; ++i) {
        out += DIGITS[digest[i] >> 4];
        out += DIGITS[digest[i] & 0xF];
    }
}

STRING KLService::getGMTTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);

    // Kept as it has always been sent: no name on Sundays (week-day 0), the month named after the day of the month, so none from
    // the 13th on, and no padding anywhere.
    STRING date;
    date.reserve(sizeof "Wednesday, 31 September 2010 23:59:59 GMT");
    date += nameOf(WEEKDAYS, utc.tm_wday);
    date += ", ";
    date += int2str(static_cast<unsigned int>(utc.tm_mday));
    date += ' ';
    date += nameOf(MONTHS, utc.tm_mday);
    date += ' ';
    date += int2str(static_cast<unsigned int>(utc.tm_year + 1900));
    date += ' ';
    date += int2str(static_cast<unsigned int>(utc.tm_hour));
    date += ':';
    date += int2str(static_cast<unsigned int>(utc.tm_min));
    date += ':';
    date += int2str(static_cast<unsigned int>(utc.tm_sec));
    date += " GMT";
    return date;
}

STRING KLService::int2str(unsigned int number) { return std::to_string(number); }

STRING KLService::space2Char(STRING& text)
{
    for (char& c : text)
        if (c == ' ')
            c = '+';
    return text;
}

STRING KLService::getAuthorization(const STRING& appID, const STRING& authToken, const STRING& duid, const STRING& signature)
{
    const std::pair<std::string_view, std::string_view> fields[] = {
        {"auth_identifier", "KL_AUTH_V1"},
        {"app_id", appID},
        {"app_type", "dtv"},
        {"token", authToken},
        {"token_type", "user"},
        {"duid", duid},
        {"signature", signature},
    };

    STRING value;
    value.reserve(128 + appID.size() + authToken.size() + duid.size() + signature.size());
    const char* separator = " ";
    for (const auto& [name, text] : fields) {
        value.append(separator).append(name).append("=\"").append(text).append("\"");
        separator = ", ";
    }
    return value;
}

} // namespace W
