// SPDX-License-Identifier: MIT
#include "operations/AccessLog.h"

#include "core/Text.h"
#include "httpd/Text.h"
#include "operations/Paths.h"
#include "wire/Authorization.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace kinloomd {

namespace {

constexpr std::size_t TARGET_BYTES = 1000;
constexpr std::size_t DEVICE_BYTES = 40;
constexpr std::size_t METHOD_BYTES = 16;
constexpr std::size_t KEY_DIGITS = 16; ///< so many hexadecimal digits in a row may be a key, or a part of one
constexpr const char* LEFT_OUT = "...";

/// The text as somebody reads it who decodes it as often as something is left to be decoded. What a decoded character completes
/// ends with that character, so one pass finds all of it.
std::string decoded(std::string_view text)
{
    std::string plain;
    for (const char c : text) {
        plain += c;
        for (std::size_t size = plain.size(); size >= 3 && plain[size - 3] == '%'; size = plain.size()) {
            const int high = httpd::hexDigit(plain[size - 2]);
            const int low = httpd::hexDigit(plain[size - 1]);
            if (high < 0 || low < 0)
                break;
            plain.resize(size - 3);
            plain += static_cast<char>(high * 16 + low);
        }
    }
    return plain;
}

std::vector<std::string_view> piecesOf(std::string_view path)
{
    std::vector<std::string_view> pieces;
    for (;;) {
        const auto slash = path.find('/');
        pieces.push_back(path.substr(0, slash));
        if (slash == std::string_view::npos)
            return pieces;
        path.remove_prefix(slash + 1);
    }
}

/// Behind these words stand keys of media, of invitations, and codes of devices.
constexpr std::string_view KEY_WORDS[] = {"media", "invite", "invitations", "pair", "pairings"};

/// The first of those words in the text, in whatever case.
std::string_view findKeyWord(std::string_view text)
{
    std::string_view first = text.substr(text.size());
    for (const std::string_view word : KEY_WORDS) {
        const auto* const found = std::search(text.begin(), text.end(), word.begin(), word.end(), [](char a, char b) {
            return equalsIgnoringCase({&a, 1}, {&b, 1});
        });
        const auto place = static_cast<std::size_t>(found - text.begin());
        // Of two that begin alike the longer one counts.
        if (found != text.end() && (first.empty() || text.data() + place <= first.data()))
            first = text.substr(place, word.size());
    }
    return first;
}

std::string withoutDigits(std::string_view text)
{
    std::string kept;
    for (std::size_t i = 0; i < text.size();) {
        std::size_t end = i;
        while (end < text.size() && httpd::hexDigit(text[end]) >= 0)
            ++end;
        if (end - i >= KEY_DIGITS)
            kept += LEFT_OUT;
        else
            kept += text.substr(i, std::max<std::size_t>(end - i, 1));
        i = std::max(end, i + 1);
    }
    return kept;
}

/// What a stranger wrote as one field of a line: something that holds no blank.
std::string field(std::string_view bytes, std::size_t limit)
{
    std::string text;
    for (const char c : loggable(bytes, limit))
        text += c == ' ' ? std::string("\\u0020") : std::string(1, c);
    return text.empty() ? "-" : text;
}

bool isWord(std::string_view piece)
{
    return !piece.empty() && std::all_of(piece.begin(), piece.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_';
    });
}

} // namespace

std::string withoutKeys(std::string_view target)
{
    // Addresses as replies hold them: what, key, number, name.
    if (target.substr(0, MEDIA_PATH.size()) == MEDIA_PATH) {
        const auto pieces = piecesOf(target.substr(MEDIA_PATH.size()));
        const std::string name = pieces.size() == 4 ? decoded(pieces[3]) : "/";
        const auto tells = [](std::string_view piece) { return withoutDigits(piece) == piece; };
        if (name.find('/') == std::string::npos && isWord(pieces[0]) && isWord(pieces[1]) && isWord(pieces[2]) &&
            tells(pieces[0]) && tells(pieces[2]) && tells(name))
            return std::string(MEDIA_PATH)
                .append(pieces[0])
                .append("/...")
                .append("/")
                .append(pieces[2])
                .append("/")
                .append(pieces[3]);
    }
    // All else that may lead there, or be meant to.
    const std::string plain = decoded(target);
    if (const std::string_view word = findKeyWord(plain); !word.empty()) {
        const auto place = static_cast<std::size_t>(word.data() - plain.data());
        const bool last = place + word.size() == plain.size();
        return withoutDigits(plain.substr(0, place)).append(word).append(last ? "" : "/...");
    }
    const std::string kept = withoutDigits(plain);
    return kept == plain ? std::string(target) : kept;
}

void logRequest(const httpd::RequestHead& head, std::optional<unsigned> status, std::chrono::duration<double, std::milli> time)
{
    char milliseconds[32];
    std::snprintf(milliseconds, sizeof milliseconds, "%.1fms", time.count());
    writeLog(Priority::INFO, head.address + " " + field(head.method, METHOD_BYTES) + " " +
                                 field(withoutKeys(head.target), TARGET_BYTES) + " " +
                                 (status ? std::to_string(*status) : std::string("-")) + " " + milliseconds);
}

void logFailedSignIn(const httpd::RequestHead& head, const ServiceError& reason, LogThrottle& throttle)
{
    const auto leftOut = throttle.admit();
    if (!leftOut)
        return;
    const auto header = head.header("Authorization");
    const auto authorization = header ? parseAuthorization(*header) : std::nullopt;
    std::string line = "failed sign-in from " + head.address;
    if (authorization && !authorization->duid.empty())
        line += ", device '" + loggable(authorization->duid, DEVICE_BYTES) + "'";
    line += std::string(": ") + reason.what();
    if (*leftOut > 0)
        line += " (" + std::to_string(*leftOut) + " more are not shown)";
    writeLog(Priority::NOTICE, line);
}

} // namespace kinloomd
