// SPDX-License-Identifier: MIT
#include "media/MediumNames.h"

#include "core/Digest.h"
#include "core/Text.h"

namespace kinloomd {

namespace {

constexpr std::size_t ATTEMPT_BYTES = 6; ///< of chance, which two attempts at one content never share

} // namespace

OriginalName newOriginalName(Id content)
{
    OriginalName name{content, 0};
    while (name.attempt == 0) {
        for (const char byte : randomBytes(ATTEMPT_BYTES))
            name.attempt = name.attempt << 8 | static_cast<unsigned char>(byte);
    }
    return name;
}

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
