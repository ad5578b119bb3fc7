// SPDX-License-Identifier: MIT
#include "output/Progress.h"

#include "core/Text.h"

#include <algorithm>
#include <cmath>

namespace kinloom {

namespace {

using namespace std::chrono_literals;

constexpr auto WINDOW = 5s;
constexpr std::size_t BAR_CELLS = 24;
constexpr std::size_t NAME_COLUMNS = 28;

double secondsBetween(Rate::Clock::time_point from, Rate::Clock::time_point to)
{
    return std::chrono::duration<double>(to - from).count();
}

int percentOf(const TransferState& state) { return static_cast<int>(std::clamp(state.done / state.total, 0.0, 1.0) * 100.0); }

std::string figures(const TransferState& state)
{
    std::string text;
    if (state.total > 0)
        text = std::to_string(percentOf(state)) + " %, " + sizeText(state.done) + " of " + sizeText(state.total);
    else
        text = sizeText(state.done);
    if (state.rate > 0)
        text += ", " + sizeText(state.rate) + "/s";
    if (state.rate > 0 && state.total > state.done)
        text += ", " + durationText((state.total - state.done) / state.rate) + " left";
    return text;
}

} // namespace

std::string durationText(double seconds)
{
    const auto whole = static_cast<long long>(std::ceil(std::min(seconds, 359'999.0)));
    char text[32];
    if (whole < 60)
        std::snprintf(text, sizeof text, "%lld s", whole);
    else if (whole < 3600)
        std::snprintf(text, sizeof text, "%lld min %02lld s", whole / 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%lld h %02lld min", whole / 3600, whole / 60 % 60);
    return text;
}

void Rate::add(double bytes, Clock::time_point at)
{
    m_samples.emplace_back(at, bytes);
    while (m_samples.size() > 2 && at - m_samples.front().first > WINDOW)
        m_samples.pop_front();
}

double Rate::perSecond() const
{
    if (m_samples.size() < 2)
        return 0;
    const double seconds = secondsBetween(m_samples.front().first, m_samples.back().first);
    const double bytes = m_samples.back().second - m_samples.front().second;
    return seconds > 0 && bytes > 0 ? bytes / seconds : 0;
}

std::string progressBar(const TransferState& state, std::size_t columns)
{
    std::string bar;
    if (state.total > 0) {
        const auto filled = static_cast<std::size_t>(percentOf(state)) * BAR_CELLS / 100;
        bar = "[" + std::string(filled, '#') + std::string(BAR_CELLS - filled, ' ') + "]  ";
    }
    const std::string name =
        padded(clipped(neutralised(state.name), NAME_COLUMNS), std::min(NAME_COLUMNS, displayWidth(state.name)));
    const std::string rest = figures(state);
    std::string text = name + "  " + bar + rest;
    if (displayWidth(text) > columns)
        text = name + "  " + rest;
    return clipped(text, columns);
}

std::string progressLine(const TransferState& state) { return neutralised(state.name) + ": " + figures(state); }

} // namespace kinloom
