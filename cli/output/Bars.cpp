// SPDX-License-Identifier: MIT
#include "output/Bars.h"

#include "core/Text.h"
#include "output/Output.h"

#include <algorithm>

namespace kinloom {

namespace {

using namespace std::chrono_literals;

/// Several transfers tell of themselves at once; a terminal need not show each.
constexpr auto DRAW_EVERY = 80ms;
constexpr auto LINE_EVERY = 10s;

} // namespace

Bars::Bars(std::size_t count, double bytes)
    : Bars(count, bytes,
           {Output::messagesAreWatched(),
            [] {
                return Size{Output::messageColumns(), Output::messageRows()};
            },
            [](const std::string& text) {
                if (!Output::quiet())
                    Output::message(text);
            }})
{
}

Bars::Bars(std::size_t count, double bytes, Place place) : m_count(count), m_bytes(bytes), m_place(std::move(place)) {}

Bars::~Bars()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    erase();
}

void Bars::Bar::update(double done, double total, Clock::time_point now)
{
    const std::lock_guard<std::mutex> lock(m_bars.m_mutex);
    if (m_ended)
        return;
    m_done = done;
    m_total = total;
    m_rate.add(done, now);
    m_bars.show(*this, now);
}

void Bars::Bar::end(bool counts)
{
    const std::lock_guard<std::mutex> lock(m_bars.m_mutex);
    if (m_ended)
        return;
    m_ended = true;
    m_bars.m_shown.remove(this);
    if (counts) {
        ++m_bars.m_ended;
        m_bars.m_endedBytes += m_bytes > 0 ? m_bytes : m_done;
    }
}

void Bars::above(const std::function<void()>& write)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    erase();
    write();
    if (m_place.watched && !m_shown.empty())
        draw(m_drawn);
}

void Bars::show(Bar& bar, Clock::time_point now)
{
    const bool isNew = !std::exchange(bar.m_shown, true);
    if (isNew)
        m_shown.push_back(&bar);
    m_rate.add(all().done, now);
    if (m_place.watched) {
        if (isNew || m_count == 1 || now - m_drawn >= DRAW_EVERY)
            draw(now);
        return;
    }
    if (!m_started) {
        m_started = true;
        m_drawn = now;
    } else if (now - m_drawn >= LINE_EVERY) {
        m_drawn = now;
        const TransferState state =
            m_count == 1 ? TransferState{bar.m_name, bar.m_done, bar.m_total, bar.m_rate.perSecond()} : all();
        m_place.write("kinloom: " + progressLine(state) + "\n");
    }
}

TransferState Bars::all() const
{
    double done = m_endedBytes;
    for (const Bar* const bar : m_shown)
        done += bar->m_done;
    return {std::to_string(m_ended) + (m_count > 0 ? " of " + std::to_string(m_count) : " done"), done, m_bytes,
            m_rate.perSecond()};
}

void Bars::draw(Clock::time_point now)
{
    m_drawn = now;
    erase();
    // The last column stays free, and a row: a full line or screen would move, and could not be written anew.
    const Size size = m_place.size();
    const std::size_t columns = size.columns - std::min<std::size_t>(size.columns, 1);
    const std::size_t rows = std::max<std::size_t>(size.rows, 2) - 1;
    std::string text;
    const auto addLine = [&](const TransferState& state) {
        text += (m_lines++ > 0 ? "\n" : "") + ("\r" + progressBar(state, columns)) + "\x1b[K";
    };
    const bool showsAll = m_count != 1;
    for (const Bar* const bar : m_shown)
        if (m_lines + (showsAll ? 1 : 0) < rows)
            addLine({bar->m_name, bar->m_done, bar->m_total, bar->m_rate.perSecond()});
    if (showsAll)
        addLine(all());
    m_place.write(text);
}

/// Leaves the cursor where the first line began.
void Bars::erase()
{
    std::string text;
    for (; m_lines > 0; --m_lines)
        text += m_lines > 1 ? "\r\x1b[K\x1b[A" : "\r\x1b[K";
    if (!text.empty())
        m_place.write(text);
}

} // namespace kinloom
