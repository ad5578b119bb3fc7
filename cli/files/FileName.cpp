// SPDX-License-Identifier: MIT
#include "files/FileName.h"

#include "core/Errors.h"
#include "core/Text.h"
#include "kinloom/Encode.h"

#include <utility>

namespace kinloom {

namespace {

constexpr std::size_t LONGEST_SAFE = 200; // leaves room for a number, below the 255 bytes of common file systems
constexpr std::size_t LONGEST = 255;
constexpr std::size_t LONGEST_EXTENSION = 16;

/// Where the extension begins; the text's size when it has none.
std::size_t extensionStart(std::string_view name)
{
    const std::size_t dot = name.rfind('.');
    const bool none = dot == std::string_view::npos || dot == 0 || name.size() - dot > LONGEST_EXTENSION;
    return none ? name.size() : dot;
}

/// The longest beginning of at most \p limit bytes that ends between two characters.
std::string_view shortened(std::string_view text, std::size_t limit)
{
    if (text.size() <= limit)
        return text;
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0U) == 0x80)
        --limit;
    return text.substr(0, limit);
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && (text.front() == '.' || text.front() == ' '))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == '.' || text.back() == ' '))
        text.remove_suffix(1);
    return text;
}

} // namespace

std::string safeFileName(std::string_view text)
{
    std::string clean;
    for (std::size_t i = 0; i < text.size();) {
        const char32_t character = nextCharacter(text, i);
        const bool separator = character == '/' || character == '\\';
        appendCharacter(clean, separator || isControl(character) ? U'_' : character);
    }
    std::string name(trimmed(clean));
    // Other programs would take such a name for an option.
    if (!name.empty() && name.front() == '-')
        name.insert(0, 1, '_');
    const std::string extension = name.substr(extensionStart(name));
    name.resize(name.size() - extension.size());
    name.resize(shortened(name, LONGEST_SAFE - extension.size()).size());
    name.append(extension);
    return name.empty() ? "download" : name;
}

std::string nameFromUrl(std::string_view url, std::string_view otherwise)
{
    url = url.substr(0, url.find_first_of("?#"));
    if (const std::size_t scheme = url.find("://"); scheme != std::string_view::npos) {
        url.remove_prefix(scheme + 3);
        const std::size_t path = url.find('/');
        url = path == std::string_view::npos ? std::string_view() : url.substr(path);
    }
    const std::size_t slash = url.rfind('/');
    const std::string name = percentDecode(slash == std::string_view::npos ? url : url.substr(slash + 1));
    return safeFileName(trimmed(name).empty() ? otherwise : std::string_view(name));
}

void requireFileName(const std::string& name)
{
    const auto refuse = [&](const char* why) {
        throw Failure(Exit::USAGE, "'" + neutralised(name) + "' cannot be a file's name: " + why);
    };
    if (name.empty())
        refuse("it is empty");
    if (name.front() == '.')
        refuse("it begins with a dot");
    if (name.front() == '-')
        refuse("it begins with a dash, as options do");
    if (name.size() > LONGEST)
        refuse("it is longer than 255 bytes");
    for (std::size_t i = 0; i < name.size();) {
        const char32_t character = nextCharacter(name, i);
        if (character == '/')
            refuse("it has a separator in it");
        if (isControl(character))
            refuse("it has a control character in it");
    }
}

std::string numberedName(const std::string& name, unsigned int number)
{
    if (number <= 1)
        return name;
    const std::size_t extension = extensionStart(name);
    return name.substr(0, extension) + " (" + std::to_string(number) + ")" + name.substr(extension);
}

bool isFormOf(const std::string& name, const std::string& other)
{
    const std::size_t extension = extensionStart(other);
    const std::string begin = other.substr(0, extension) + " (";
    const std::string end = ")" + other.substr(extension);
    if (name == other || name.size() <= begin.size() + end.size())
        return name == other;
    const std::string number = name.substr(begin.size(), name.size() - begin.size() - end.size());
    return name.compare(0, begin.size(), begin) == 0 && name.compare(name.size() - end.size(), end.size(), end) == 0 &&
           number.find_first_not_of("0123456789") == std::string::npos;
}

unsigned int TakenNumbers::firstFree(const std::string& name, const std::function<bool(const std::string& numbered)>& isTaken)
{
    unsigned int& first = m_first.try_emplace(name, 1).first->second;
    while (isTaken(numberedName(name, first)))
        ++first;
    return first;
}

std::string extensionOf(std::string_view format)
{
    constexpr std::pair<std::string_view, const char*> EXTENSIONS[] = {
        {"jpeg", ".jpg"}, {"jpg", ".jpg"},   {"png", ".png"},   {"webp", ".webp"}, {"gif", ".gif"},
        {"tiff", ".tif"}, {"heic", ".heic"}, {"avif", ".avif"}, {"bmp", ".bmp"},
    };
    const std::string name = lowered(format.substr(format.rfind('/') + 1)); // npos + 1 is 0: one without a "/" is a name already
    for (const auto& [known, extension] : EXTENSIONS) {
        if (name == known)
            return extension;
    }
    return {};
}

} // namespace kinloom
