// SPDX-License-Identifier: MIT
#include "output/Progress.h"

#include "core/Text.h"
#include "output/Output.h"

#include <algorithm>
#include <cmath>

namespace kinloom {

namespace {

using namespace std::chrono_literals;

constexpr auto WINDOW = 5s;
constexpr auto LINE_EVERY = 10s;
constexpr std::size_t BAR_CELLS = 24;
constexpr std::size_t NAME_COLUMNS = 28;

double secondsBetween(Rate::Clock::time_point from, Rate::Clock::time_point to)
{
    return std::chrono::duration<double>(to - from).count();
}

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

Progress::Progress(std::string name)
    : Progress(std::move(name), Output::messagesAreWatched(), Output::messageColumns(),
               [](const std::string& text) { Output::message(text); })
{
}

Progress::Progress(std::string name, bool watched, std::size_t columns, std::function<void(const std::string&)> write)
    : m_name(std::move(name)), m_watched(watched), m_columns(columns), m_write(std::move(write))
{
}

Progress::~Progress()
{
    if (m_drawn)
        m_write("\r\x1b[K");
}

void Progress::update(double done, double total, Clock::time_point now)
{
    m_rate.add(done, now);
    const TransferState state{m_name, done, total, m_rate.perSecond()};
    if (m_watched) {
        // The last column stays free: a full line would wrap, and could not be written anew.
        m_write("\r" + progressBar(state, m_columns - std::min<std::size_t>(m_columns, 1)) + "\x1b[K");
        m_drawn = true;
        return;
    }
    if (!m_started) {
        m_started = true;
        m_lastShown = now;
    } else if (now - m_lastShown >= LINE_EVERY) {
        m_lastShown = now;
        m_write("kinloom: " + progressLine(state) + "\n");
    }
}

} // namespace kinloom
