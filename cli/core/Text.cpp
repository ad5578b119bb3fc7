// SPDX-License-Identifier: MIT
#include "core/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <clocale>
#include <cwchar>
#include <cwctype>
#include <iterator>

namespace kinloom {

namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;

/// Bytes of the character that a byte begins, or 0.
int lengthOf(unsigned char lead)
{
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        return 2;
    if (lead >= 0xE0 && lead <= 0xEF)
        return 3;
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

/// The smallest character that needs so many bytes: a longer form is not valid.
constexpr std::array<char32_t, 5> SMALLEST = {0, 0, 0x80, 0x800, 0x10000};

/// What is known of characters is Unicode's, whatever locale the person has; null where the system has no such locale.
locale_t unicode()
{
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

int columnsOf(char32_t character)
{
    if (unicode() == nullptr)
        return 1;
    const locale_t before = uselocale(unicode());
    const int columns = wcwidth(static_cast<wchar_t>(character));
    uselocale(before);
    return columns < 0 ? 1 : columns;
}

char32_t smallOf(char32_t character)
{
    return unicode() == nullptr ? character : static_cast<char32_t>(towlower_l(static_cast<wint_t>(character), unicode()));
}

} // namespace

char32_t nextCharacter(std::string_view text, std::size_t& position)
{
    const auto byteAt = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char lead = byteAt(position);
    const int length = lengthOf(lead);
    if (length <= 1) {
        ++position;
        return length == 1 ? lead : REPLACEMENT;
    }
    char32_t character = lead & (0x7FU >> length);
    for (int i = 1; i < length; ++i) {
        const std::size_t at = position + static_cast<std::size_t>(i);
        if (at >= text.size() || (byteAt(at) & 0xC0U) != 0x80) {
            ++position;
            return REPLACEMENT;
        }
        character = (character << 6) | (byteAt(at) & 0x3FU);
    }
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    if (character < SMALLEST[static_cast<std::size_t>(length)] || character > 0x10FFFF || surrogate) {
        ++position;
        return REPLACEMENT;
    }
    position += static_cast<std::size_t>(length);
    return character;
}

void appendCharacter(std::string& text, char32_t character)
{
    const auto put = [&](char32_t bits) { text += static_cast<char>(bits); };
    const auto follow = [&](int shift) { put(0x80U | ((character >> shift) & 0x3FU)); };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0U | (character >> 6));
        follow(0);
    } else if (character < 0x10000) {
        put(0xE0U | (character >> 12));
        follow(6);
        follow(0);
    } else {
        put(0xF0U | (character >> 18));
        follow(12);
        follow(6);
        follow(0);
    }
}

bool isControl(char32_t character)
{
    const auto within = [character](char32_t first, char32_t last) { return character >= first && character <= last; };
    return character < 0x20 || within(0x7F, 0x9F) || within(0x2028, 0x202E) || within(0x2066, 0x2069) || character == 0x200E ||
           character == 0x200F || character == 0x061C || character == 0xFEFF;
}

std::string neutralised(std::string_view text)
{
    std::string safe;
    safe.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const char32_t character = nextCharacter(text, i);
        if (character == '\n' || character == '\t' || character == '\r')
            safe += ' ';
        else
            appendCharacter(safe, isControl(character) ? REPLACEMENT : character);
    }
    return safe;
}

std::vector<std::string> neutralisedLines(std::string_view text)
{
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        std::string clean = neutralised(line);
        clean.erase(clean.find_last_not_of(' ') + 1);
        if (!clean.empty() || (!lines.empty() && !lines.back().empty()))
            lines.push_back(std::move(clean));
    }
    if (!lines.empty() && lines.back().empty())
        lines.pop_back();
    return lines;
}

/// Looks no further than the width.
bool isWider(std::string_view line, std::size_t width)
{
    std::size_t used = 0;
    for (std::size_t i = 0; i < line.size() && used <= width;)
        used += static_cast<std::size_t>(columnsOf(nextCharacter(line, i)));
    return used > width;
}

std::vector<std::string> wrapped(std::string_view line, std::size_t width)
{
    std::vector<std::string> pieces;
    width = std::max<std::size_t>(width, 1);
    while (isWider(line, width)) {
        std::size_t used = 0;
        std::size_t end = 0;      // of what fits
        std::size_t lastWord = 0; // where the last word that fits ends; 0: none
        while (end < line.size()) {
            std::size_t next = end;
            const char32_t character = nextCharacter(line, next);
            const auto columns = static_cast<std::size_t>(columnsOf(character));
            if (character == ' ' && end > 0)
                lastWord = end;
            if (used + columns > width)
                break;
            used += columns;
            end = next;
        }
        if (end == 0) // a wide character in a single column
            nextCharacter(line, end);
        const std::size_t cut = lastWord > 0 ? lastWord : end;
        pieces.emplace_back(line.substr(0, cut));
        line.remove_prefix(cut);
        while (!line.empty() && line.front() == ' ')
            line.remove_prefix(1);
    }
    if (!line.empty() || pieces.empty())
        pieces.emplace_back(line);
    return pieces;
}

bool isText(std::string_view bytes)
{
    constexpr std::string_view REPLACEMENT_BYTES = "\xEF\xBF\xBD";
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t begin = i;
        if (nextCharacter(bytes, i) == REPLACEMENT && bytes.substr(begin, i - begin) != REPLACEMENT_BYTES)
            return false;
    }
    return true;
}

std::string lowered(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    return lower;
}

std::string folded(std::string_view text)
{
    std::string small;
    for (std::size_t i = 0; i < text.size();)
        appendCharacter(small, smallOf(nextCharacter(text, i)));
    return small;
}

std::size_t displayWidth(std::string_view text)
{
    std::size_t width = 0;
    for (std::size_t i = 0; i < text.size();)
        width += static_cast<std::size_t>(columnsOf(nextCharacter(text, i)));
    return width;
}

std::string clipped(std::string_view text, std::size_t width)
{
    if (displayWidth(text) <= width)
        return std::string(text);
    if (width == 0)
        return {};
    std::size_t used = 0;
    std::size_t end = 0;
    while (end < text.size()) {
        std::size_t next = end;
        const auto columns = static_cast<std::size_t>(columnsOf(nextCharacter(text, next)));
        if (used + columns > width - 1)
            break;
        used += columns;
        end = next;
    }
    return std::string(text.substr(0, end)) + "…";
}

std::string padded(std::string_view text, std::size_t width, bool alignRight)
{
    const std::size_t own = displayWidth(text);
    const std::string blanks(own < width ? width - own : 0, ' ');
    return alignRight ? blanks + std::string(text) : std::string(text) + blanks;
}

std::string sizeText(double bytes)
{
    constexpr const char* UNITS[] = {"B", "kB", "MB", "GB", "TB"};
    std::size_t unit = 0;
    // 999.95 would be rounded up to four digits.
    while (bytes >= (unit == 0 ? 1000.0 : 999.95) && unit + 1 < std::size(UNITS)) {
        bytes /= 1000.0;
        ++unit;
    }
    char number[32];
    std::snprintf(number, sizeof number, unit == 0 ? "%.0f" : "%.1f", bytes);
    return std::string(number) + " " + UNITS[unit];
}

std::optional<std::uint64_t> wholeNumber(std::string_view text)
{
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

} // namespace kinloom
