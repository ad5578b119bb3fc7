// SPDX-License-Identifier: MIT
// Texts, dates, file names and faults that the service is given.
#include "core/Text.h"

#include "Targets.h"
#include "core/Dates.h"
#include "core/TimeZone.h"
#include "operations/Faults.h"
#include "operations/Router.h"

namespace fuzz {

namespace {

using namespace kinloomd;

void checkText(std::string_view input)
{
    const std::string clean = cleanText(input);
    require(cleanText(clean) == clean, "a valid text stays as it is");
    require(countCharacters(clean) <= input.size(), "no character comes from nothing");
    foldForSorting(clean);

    const std::string name = safeFileName(input);
    require(!name.empty() && name.size() <= 200 && name.front() != '.', "a file name is one that a file may have");
    require(name.find_first_of(std::string("/\\\0\r\n\x7F", 6)) == std::string::npos, "a file name stays in its folder");
    require(cleanText(name) == name && safeFileName(name) == name, "a safe file name stays as it is");
}

void checkTime(std::optional<Millis> time)
{
    if (!time)
        return;
    const std::string text = formatTime(*time);
    require(text.size() <= 24 && text[4] == '-' && text[10] == 'T' && text.back() == 'Z',
            "a time is written as the standard has it");
    require(parseTime(text) == time, "a time is read again as it is written");
}

void checkFault(std::string_view input)
{
    try {
        const FaultRule rule = parseFault(input);
        require(rule.text == input, "a fault is shown as it was given");
        require(rule.operation == "any" || findOperation(rule.operation) != nullptr, "a fault is for an operation");
        require(rule.times != 0 && rule.fault.delay.count() >= 0, "a fault happens at least once");
        require(!rule.fault.status || (*rule.fault.status >= 200 && *rule.fault.status < 600), "a status is one that can be sent");
    } catch (const std::invalid_argument&) {
        // refused with a reason
    }
}

} // namespace

void serviceText(std::string_view input)
{
    checkText(input);
    const std::size_t end = input.find('\n');
    const std::string_view line = input.substr(0, end);
    checkTime(parseTime(line));
    static const TimeZone zone("Europe/Berlin");
    const std::string_view rest = end == std::string_view::npos ? std::string_view() : input.substr(end + 1);
    checkTime(parsePhotoTime(line, rest, rest, zone));
    checkFault(line);
}

} // namespace fuzz
