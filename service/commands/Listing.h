// SPDX-License-Identifier: MIT
/// \file Lists, as lines for people and as JSON for programs.
#ifndef KINLOOMD_COMMANDS_LISTING_H
#define KINLOOMD_COMMANDS_LISTING_H

#include "commands/ListForm.h"
#include "core/Dates.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace kinloomd {

/// Prints records on standard output.
class Listing {
public:
    using Json = nlohmann::ordered_json;

    explicit Listing(ListForm form) : m_form(form) {}

    /// Begins the next record.
    Listing& record();
    /// A value of the record. \param label stands before it in lines.
    Listing& value(const char* key, Json value, const char* label = "");
    /// The same, with another text in lines.
    Listing& value(const char* key, Json value, const std::string& text, const char* label);
    /// A time; null, or "-", when there is none.
    Listing& time(const char* key, std::optional<Millis> time, const char* label = "");
    /// A value that only programs get.
    Listing& hidden(const char* key, Json value);

    /// Prints all records.
    void print() const;

private:
    ListForm m_form;
    Json m_records = Json::array();
    std::vector<std::string> m_lines;
};

} // namespace kinloomd

#endif
