// SPDX-License-Identifier: MIT
#include "tv/media/Decoder.h"

#include "common/Files.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <optional>
#include <sys/mman.h>
#include <utility>

namespace tv {

namespace {

using pictures::PictureOutcome;
using pictures::PictureProcess;

/// How long a process is kept ready for the next picture: as long as somebody may be looking at one after the other.
constexpr std::chrono::seconds KEPT_READY{15};

std::string bytesOf(int file)
{
    std::string bytes(static_cast<std::size_t>(common::sizeOf(file, "a picture")), '\0');
    for (std::size_t done = 0; done < bytes.size();)
        done += common::readAt(file, bytes.data() + done, bytes.size() - done, static_cast<std::int64_t>(done), "a picture");
    return bytes;
}

} // namespace

Decoder::Decoder(std::string program, std::int64_t pixels)
    : m_program(std::move(program)), m_pixels(pixels), m_thread(&Decoder::work, this)
{
}

Decoder::~Decoder()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void Decoder::decode(DecoderOrder order)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_orders.push_back(std::move(order));
    }
    m_changed.notify_all();
}

/// Waits for an order. \param warm whether a process is kept ready. \return false at the end, and when it need not be kept ready.
bool Decoder::take(DecoderOrder& order, bool warm)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto something = [this] { return m_ending || !m_orders.empty(); };
    if (!warm)
        m_changed.wait(lock, something);
    else if (!m_changed.wait_for(lock, KEPT_READY, something))
        return false;
    if (m_ending)
        return false;
    auto next = std::find_if(m_orders.begin(), m_orders.end(), [](const DecoderOrder& one) { return one.urgent(); });
    if (next == m_orders.end())
        next = m_orders.begin();
    order = std::move(*next);
    m_orders.erase(next);
    return true;
}

PictureOutcome Decoder::run(PictureProcess& process, const DecoderOrder& order, std::string& bytes)
{
    const auto givenUp = [&] {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_ending || !order.wanted();
    };
    const pictures::PictureTask task = {pictures::PictureOrder::FIT, {{order.box.width, order.box.height}}};
    try {
        const common::UniqueFd output(::memfd_create("picture", MFD_CLOEXEC));
        if (!output)
            return PictureOutcome::FAILED;
        const PictureOutcome outcome =
            process.run(task, {order.file.get(), 0}, {output.get()}, {m_pixels, PictureProcess::PATIENCE, givenUp});
        if (outcome == PictureOutcome::DONE)
            bytes = bytesOf(output.get());
        return outcome;
    } catch (const std::exception&) {
        return PictureOutcome::FAILED;
    }
}

void Decoder::work()
{
    std::optional<PictureProcess> process; // of this thread, with which it would end
    for (;;) {
        DecoderOrder order;
        if (!take(order, process.has_value())) {
            process.reset();
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_ending)
                return;
            continue;
        }
        if (!order.wanted())
            continue;
        if (!process)
            process.emplace(m_program);
        std::string bytes;
        PictureOutcome outcome = run(*process, order, bytes);
        // What happened to it may have come from outside.
        if (outcome == PictureOutcome::DIED)
            outcome = run(*process, order, bytes);
        order.done(outcome, std::move(bytes));
        // Starts while nobody waits for it.
        process.emplace(m_program);
    }
}

} // namespace tv
