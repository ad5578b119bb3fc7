// SPDX-License-Identifier: MIT
#include "core/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <glib.h>
#include <memory>

namespace kinloomd {

namespace {

constexpr std::size_t FILE_NAME_BYTES = 200;
constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

bool allowedInXml(char32_t c)
{
    if (c < 0x20)
        return c == '\t' || c == '\n' || c == '\r';
    return !(c >= 0xD800 && c <= 0xDFFF) && c != 0xFFFE && c != 0xFFFF && c <= 0x10FFFF;
}

/// The length of the well-formed character at the start of the bytes, and the character; 0 when there is none.
std::size_t decodeOne(std::string_view bytes, char32_t& character)
{
    const auto lead = static_cast<unsigned char>(bytes[0]);
    if (lead < 0x80) {
        character = lead;
        return 1;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || bytes.size() < length)
        return 0;
    char32_t value = lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (!isContinuation(byte))
            return 0;
        value = (value << 6) | (byte & 0x3FU);
    }
    constexpr std::array<char32_t, 5> SMALLEST = {0, 0, 0x80, 0x800, 0x10000};
    if (value < SMALLEST.at(length) || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
        return 0;
    character = value;
    return length;
}

/// Characters that do something to a terminal or to the order of what is beside them, where they should only be seen.
constexpr struct {
    char32_t first;
    char32_t last;
} INVISIBLE[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},     // controls
    {0x061C, 0x061C}, {0x200E, 0x200F}, // marks of direction
    {0x2028, 0x202E},                   // separators of lines, embeddings and overrides
    {0x2066, 0x2069},                   // isolates
    {0xFEFF, 0xFEFF},
};

bool isInvisible(char32_t c)
{
    for (const auto& range : INVISIBLE) {
        if (c >= range.first && c <= range.last)
            return true;
    }
    return false;
}

std::string escapeOf(char32_t c)
{
    char text[8];
    std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(c));
    return text;
}

using GlibText = std::unique_ptr<char, decltype(&g_free)>;

} // namespace

void appendUtf8(std::string& text, char32_t c)
{
    if (c < 0x80) {
        text += static_cast<char>(c);
    } else if (c < 0x800) {
        text += static_cast<char>(0xC0 | (c >> 6));
        text += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        text += static_cast<char>(0xE0 | (c >> 12));
        text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        text += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        text += static_cast<char>(0xF0 | (c >> 18));
        text += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        text += static_cast<char>(0x80 | (c & 0x3F));
    }
}

namespace {

/// The text with another one in the place of each byte that is no text, and of each character for which \p ofCharacter has
/// appended one, which it tells.
template <typename OfByte, typename OfCharacter>
std::string rewritten(std::string_view bytes, const OfByte& ofByte, const OfCharacter& ofCharacter)
{
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        char32_t character = 0;
        const std::size_t length = decodeOne(bytes, character);
        if (length == 0)
            text += ofByte(static_cast<unsigned char>(bytes[0]));
        else if (!ofCharacter(text, character))
            text.append(bytes.data(), length);
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

std::string madeVisible(std::string_view bytes, const char* backslash)
{
    const auto escape = [backslash](std::string& text, char32_t character) {
        const bool replaced = isInvisible(character) || character == '\\';
        if (replaced)
            text += character == '\\' ? backslash : escapeOf(character);
        return replaced;
    };
    return rewritten(
        bytes, [](unsigned char byte) { return escapeOf(byte); }, escape);
}

} // namespace

std::string visibleText(std::string_view bytes) { return madeVisible(bytes, "\\\\"); }

std::string visibleSentence(std::string_view bytes) { return madeVisible(bytes, "\\"); }

std::string replaceInvisible(std::string_view bytes, char replacement)
{
    const auto replace = [replacement](std::string& text, char32_t character) {
        const bool replaced = isInvisible(character);
        if (replaced)
            text += replacement;
        return replaced;
    };
    return rewritten(
        bytes, [replacement](unsigned char) { return replacement; }, replace);
}

std::string cleanText(std::string_view bytes)
{
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        char32_t character = 0;
        const std::size_t length = decodeOne(bytes, character);
        if (length != 0 && allowedInXml(character))
            text.append(bytes.data(), length);
        else
            text += REPLACEMENT;
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

bool isText(std::string_view bytes)
{
    while (!bytes.empty()) {
        char32_t character = 0;
        const std::size_t length = decodeOne(bytes, character);
        if (length == 0 || character == 0)
            return false;
        bytes.remove_prefix(length);
    }
    return true;
}

std::size_t countCharacters(std::string_view text)
{
    std::size_t count = 0;
    for (const char c : text)
        count += isContinuation(static_cast<unsigned char>(c)) ? 0 : 1;
    return count;
}

std::string foldForSorting(std::string_view text)
{
    const GlibText normal(g_utf8_normalize(text.data(), static_cast<gssize>(text.size()), G_NORMALIZE_ALL_COMPOSE), &g_free);
    if (!normal)
        return std::string(text);
    const GlibText folded(g_utf8_casefold(normal.get(), -1), &g_free);
    return folded.get();
}

std::string foldForLikeness(std::string_view text)
{
    const GlibText composed(g_utf8_normalize(text.data(), static_cast<gssize>(text.size()), G_NORMALIZE_ALL_COMPOSE), g_free);
    if (composed)
        text = composed.get();
    std::string seen;
    while (!text.empty()) {
        char32_t character = 0;
        const std::size_t length = std::max(decodeOne(text, character), std::size_t{1});
        const bool unseen = isInvisible(character) || g_unichar_type(character) == G_UNICODE_FORMAT;
        if (!unseen && g_unichar_isspace(character) == 0)
            seen.append(text.data(), length);
        text.remove_prefix(length);
    }
    return foldForSorting(seen);
}

std::string percentEncode(std::string_view bytes)
{
    static constexpr char HEX[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
                           c == '_' || c == '~';
        if (plain) {
            text += c;
        } else {
            text += '%';
            text += HEX[byte >> 4];
            text += HEX[byte & 0x0F];
        }
    }
    return text;
}

std::optional<std::int64_t> parseId(std::string_view text)
{
    const auto value = parseDecimal<std::int64_t>(text);
    if (!value || text[0] == '0')
        return std::nullopt;
    return value;
}

std::string safeFileName(std::string_view name)
{
    const auto separator = name.find_last_of("/\\");
    if (separator != std::string_view::npos)
        name.remove_prefix(separator + 1);
    std::string safe;
    for (const char c : cleanText(name)) {
        const auto byte = static_cast<unsigned char>(c);
        safe += byte < 0x20 || byte == 0x7F ? '_' : c;
    }
    safe.erase(0, safe.find_first_not_of(". "));
    if (safe.size() > FILE_NAME_BYTES) {
        // A long name is cut before its extension, which tells what the file is.
        const auto dot = safe.rfind('.');
        const std::string extension = dot != std::string::npos && safe.size() - dot <= 8 ? safe.substr(dot) : std::string();
        std::size_t cut = FILE_NAME_BYTES - extension.size();
        while (cut > 0 && isContinuation(static_cast<unsigned char>(safe[cut])))
            --cut;
        safe = safe.substr(0, cut) + extension;
    }
    return safe.empty() ? "photo" : safe;
}

} // namespace kinloomd
