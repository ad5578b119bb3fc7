// SPDX-License-Identifier: MIT
#include "kinloom/Encode.h"

#include "kinloom/Failure.h"

namespace kinloom {

namespace {

constexpr char DIGITS[] = "0123456789ABCDEF";

bool isUnreserved(unsigned char byte)
{
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') || byte == '-' ||
           byte == '.' || byte == '_' || byte == '~';
}

int valueOf(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

} // namespace

std::string percentEncode(std::string_view text)
{
    std::string encoded;
    encoded.reserve(text.size() * 3);
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (isUnreserved(byte))
            encoded += c;
        else
            encoded.append({'%', DIGITS[byte >> 4], DIGITS[byte & 15]});
    }
    return encoded;
}

std::string percentDecode(std::string_view text)
{
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '%' && i + 2 < text.size() && valueOf(text[i + 1]) >= 0 && valueOf(text[i + 2]) >= 0;
        if (!escape) {
            decoded += text[i];
            continue;
        }
        decoded += static_cast<char>(valueOf(text[i + 1]) * 16 + valueOf(text[i + 2]));
        i += 2;
    }
    return decoded;
}

std::string pathSegment(std::string_view uid, std::string_view what)
{
    if (uid.empty() || uid == "." || uid == "..")
        throw CallError(
            {FailureKind::INVALID, W::WSTATUS_OK, "", "", "'" + std::string(uid) + "' is no identifier of a " + std::string(what)});
    return percentEncode(uid);
}

} // namespace kinloom
