// SPDX-License-Identifier: MIT
#include "commands/Listing.h"

#include "core/Text.h"

#include <cstdio>
#include <utility>

namespace kinloomd {

namespace {

std::string textOf(const Listing::Json& value)
{
    if (value.is_null())
        return "-";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

/// JSON without anything that a terminal would obey: what the writer leaves as it is stands in texts alone, where an escape means
/// the same.
std::string visibleJson(const std::string& json)
{
    std::string visible;
    std::string_view rest = json;
    while (!rest.empty()) {
        const auto end = rest.find_first_of("\n\\");
        visible += visibleText(rest.substr(0, end));
        if (end == std::string_view::npos)
            break;
        visible += rest[end];
        rest.remove_prefix(end + 1);
    }
    return visible;
}

} // namespace

Listing& Listing::record()
{
    m_records.push_back(Json::object());
    m_lines.emplace_back();
    return *this;
}

Listing& Listing::value(const char* key, Json value, const char* label)
{
    const std::string text = textOf(value);
    return this->value(key, std::move(value), text, label);
}

Listing& Listing::value(const char* key, Json value, const std::string& text, const char* label)
{
    std::string& line = m_lines.back();
    line += (line.empty() ? "" : "\t") + std::string(label) + (*label == 0 ? "" : " ") + visibleText(text);
    return hidden(key, std::move(value));
}

Listing& Listing::time(const char* key, std::optional<Millis> time, const char* label)
{
    return value(key, time ? Json(formatTime(*time)) : Json(), label);
}

Listing& Listing::hidden(const char* key, Json value)
{
    m_records.back()[key] = std::move(value);
    return *this;
}

void Listing::print() const
{
    if (m_form == ListForm::JSON) {
        std::printf("%s\n", visibleJson(m_records.dump(2, ' ', false, Json::error_handler_t::replace)).c_str());
        return;
    }
    for (const std::string& line : m_lines)
        std::printf("%s\n", line.c_str());
}

} // namespace kinloomd
