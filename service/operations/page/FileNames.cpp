// SPDX-License-Identifier: MIT
#include "operations/page/FileNames.h"

#include "core/Text.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace kinloomd {

namespace {

/// Names of devices on some systems, whatever their extension; "#" stands for a digit.
constexpr std::string_view DEVICES[] = {"CON", "PRN", "AUX", "NUL", "COM#", "LPT#"};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isDevice(std::string_view stem)
{
    return std::any_of(std::begin(DEVICES), std::end(DEVICES), [&](std::string_view device) {
        const bool numbered = device.back() == '#' && !stem.empty() && isDigit(stem.back());
        return equalsIgnoringCase(numbered ? device.substr(0, device.size() - 1) : device,
                                  numbered ? stem.substr(0, stem.size() - 1) : stem);
    });
}

} // namespace

std::string portableName(const std::string& name)
{
    std::string portable = replaceInvisible(name, '_');
    for (char& c : portable) {
        if (std::string_view("<>:\"/\\|?*").find(c) != std::string_view::npos)
            c = '_';
    }
    return isDevice(std::string_view(portable).substr(0, portable.find('.'))) ? "_" + portable : portable;
}

std::string attachmentNamed(const std::string& name)
{
    // Readers that do not know the second form get a name without what they could misread.
    std::string plain;
    for (const char c : name)
        plain += c >= 0x20 && c < 0x7F && c != '"' && c != '\\' && c != '%' ? c : '_';
    return "attachment; filename=\"" + plain + "\"; filename*=UTF-8''" + percentEncode(name);
}

std::string NamesOfFolder::unique(const std::string& name)
{
    const auto dot = name.rfind('.');
    const std::string stem = name.substr(0, dot);
    const std::string extension = dot == std::string::npos ? std::string() : name.substr(dot);
    const auto [taken, isNew] = m_taken.emplace(foldForSorting(name), 2);
    if (isNew)
        return name;
    for (;;) {
        std::string candidate = stem;
        candidate.append(" (").append(std::to_string(taken->second++)).append(")").append(extension);
        if (m_taken.emplace(foldForSorting(candidate), 2).second)
            return candidate;
    }
}

} // namespace kinloomd
