// SPDX-License-Identifier: MIT
#include "operations/Parameters.h"

#include "core/Text.h"
#include "operations/Service.h"

namespace kinloomd {

namespace {

struct IncludeEntry {
    std::string_view name;
    void (*apply)(Include&);
};

constexpr IncludeEntry INCLUDES[] = {
    {"none", [](Include&) {}},
    {"usage", [](Include& include) { include.usage = true; }},
    {"member", [](Include& include) { include.member = true; }},
    {"creator", [](Include& include) { include.creator = true; }},
    {"new", [](Include&) {}}, // records have no field for what is new since a person's last visit
};

void applyInclude(Include& include, std::string_view word)
{
    for (const IncludeEntry& entry : INCLUDES) {
        if (entry.name == word) {
            entry.apply(include);
            return;
        }
    }
    throw ServiceError(Failure::BAD_PARAMETER, "option_include has an unknown value.");
}

} // namespace

std::string textParameter(const Parameters& parameters, const char* name, std::size_t maximum)
{
    return checkedText(parameters.get(name), name, maximum);
}

std::string checkedText(std::string_view bytes, const char* name, std::size_t maximum)
{
    std::string text = cleanText(bytes);
    if (countCharacters(text) > maximum)
        throw ServiceError(Failure::BAD_PARAMETER,
                           std::string(name) + " is longer than " + std::to_string(maximum) + " characters.");
    return text;
}

std::uint32_t numberParameter(const Parameters& parameters, const char* name, std::uint32_t fallback)
{
    const std::string_view text = parameters.get(name);
    if (text.empty())
        return fallback;
    const auto number = parseDecimal<std::uint32_t>(text);
    if (!number)
        throw ServiceError(Failure::BAD_PARAMETER, std::string(name) + " is not a number.");
    return *number;
}

std::uint32_t pageSize(const Service& service, const Parameters& parameters, std::uint32_t fallback)
{
    const std::uint32_t count = numberParameter(parameters, "search_count", fallback);
    const unsigned limit = service.options().limits.pageRecords;
    if (count > limit)
        throw ServiceError(Failure::BAD_PARAMETER, "search_count is above " + std::to_string(limit) + ".");
    return count;
}

Id requireId(std::string_view text)
{
    const auto id = parseId(text);
    if (!id)
        throw ServiceError(Failure::NOT_FOUND);
    return *id;
}

Include includeParameter(const Parameters& parameters)
{
    Include include;
    std::string_view words = parameters.get("option_include");
    while (!words.empty()) {
        const auto comma = words.find(',');
        applyInclude(include, words.substr(0, comma));
        words.remove_prefix(comma == std::string_view::npos ? words.size() : comma + 1);
    }
    return include;
}

} // namespace kinloomd
