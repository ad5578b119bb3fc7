// SPDX-License-Identifier: MIT
#include "media/MediumNames.h"

#include "core/Digest.h"
#include "core/Text.h"

namespace kinloomd {

namespace {

constexpr std::size_t NUMBER_BYTES = 6; ///< of chance, which two never share

} // namespace

std::int64_t randomNumber()
{
    std::int64_t number = 0;
    while (number == 0) {
        for (const char byte : randomBytes(NUMBER_BYTES))
            number = number << 8 | static_cast<unsigned char>(byte);
    }
    return number;
}

OriginalName newOriginalName(Id content) { return {content, randomNumber()}; }

std::string fileNameOf(const OriginalName& original)
{
    const std::string content = std::to_string(original.content);
    return original.attempt == 0 ? content : content + "-" + std::to_string(original.attempt);
}

NumberedName parseNumberedName(std::string_view name)
{
    const auto dash = name.find('-');
    const auto id = parseId(name.substr(0, dash));
    if (!id || dash == std::string_view::npos)
        return {id.value_or(0), 0};
    const auto number = parseId(name.substr(dash + 1));
    return number ? NumberedName{*id, *number} : NumberedName{};
}

Id contentOfThumbnail(std::string_view name) { return parseId(name.substr(0, name.find('-'))).value_or(0); }

} // namespace kinloomd
