// SPDX-License-Identifier: MIT
#include "operations/Faults.h"

#include "core/Text.h"
#include "operations/Router.h"

#include <stdexcept>

namespace kinloomd {

namespace {

[[noreturn]] void reject(std::string_view text, const std::string& why)
{
    throw std::invalid_argument("fault '" + std::string(text) + "': " + why);
}

struct ActionEntry {
    std::string_view name;
    bool takesNumber;
    void (*apply)(Fault&, std::int64_t);
};

constexpr ActionEntry ACTIONS[] = {
    {"delay", true, [](Fault& fault, std::int64_t value) { fault.delay = std::chrono::milliseconds(value); }},
    {"status", true, [](Fault& fault, std::int64_t value) { fault.status = static_cast<unsigned>(value); }},
    {"stall-after", true, [](Fault& fault, std::int64_t value) { fault.stallAfter = value; }},
    {"cut-after", true, [](Fault& fault, std::int64_t value) { fault.cutAfter = value; }},
    {"reset", false, [](Fault& fault, std::int64_t) { fault.reset = true; }},
    {"garbage", false, [](Fault& fault, std::int64_t) { fault.garbage = true; }},
};

void applyAction(Fault& fault, std::string_view action, std::string_view text)
{
    const auto equals = action.find('=');
    const std::string_view name = action.substr(0, equals);
    for (const ActionEntry& entry : ACTIONS) {
        if (entry.name != name)
            continue;
        if (entry.takesNumber != (equals != std::string_view::npos))
            reject(text, std::string(name) + (entry.takesNumber ? " needs a number" : " takes no value"));
        std::int64_t value = 0;
        if (entry.takesNumber) {
            const auto number = parseDecimal<std::int64_t>(action.substr(equals + 1));
            if (!number)
                reject(text, std::string(name) + " needs a number");
            value = *number;
        }
        if (name == "status" && (value < 200 || value > 599))
            reject(text, "a status is between 200 and 599");
        if (name == "delay" && value > 3'600'000)
            reject(text, "a delay is at most 3600000 milliseconds");
        entry.apply(fault, value);
        return;
    }
    reject(text, "there is no '" + std::string(name) + "'; there are delay=, status=, stall-after=, cut-after=, reset, garbage");
}

} // namespace

FaultRule parseFault(std::string_view text)
{
    const std::string_view whole = text;
    FaultRule rule;
    rule.text = text;
    const auto colon = text.find(':');
    if (colon == std::string_view::npos)
        reject(whole, "it needs an operation, a colon and what happens");
    rule.operation = text.substr(0, colon);
    if (rule.operation != "any" && findOperation(rule.operation) == nullptr)
        reject(whole, "there is no operation '" + rule.operation + "'");
    text.remove_prefix(colon + 1);
    const auto star = text.find('*');
    if (star != std::string_view::npos) {
        const auto times = parseDecimal<std::int64_t>(text.substr(star + 1));
        if (!times || *times == 0)
            reject(whole, "a number above 0 follows the star");
        rule.times = *times;
        text = text.substr(0, star);
    }
    for (;;) {
        const auto comma = text.find(',');
        applyAction(rule.fault, text.substr(0, comma), whole);
        if (comma == std::string_view::npos)
            return rule;
        text.remove_prefix(comma + 1);
    }
}

void Faults::add(const FaultRule& rule)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.push_back(rule);
}

void Faults::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.clear();
}

std::vector<FaultRule> Faults::list() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_faults;
}

std::optional<Fault> Faults::take(std::string_view operation)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_hits[std::string(operation)];
    for (auto rule = m_faults.begin(); rule != m_faults.end(); ++rule) {
        if (rule->operation != operation && rule->operation != "any")
            continue;
        const Fault fault = rule->fault;
        if (rule->times > 0 && --rule->times == 0)
            m_faults.erase(rule);
        return fault;
    }
    return std::nullopt;
}

std::map<std::string, std::uint64_t> Faults::hits() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_hits;
}

void Faults::clearHits()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hits.clear();
}

} // namespace kinloomd
