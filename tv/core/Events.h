// SPDX-License-Identifier: MIT
/// \file What pages that are open are told of what happens.
#ifndef KINLOOM_TV_CORE_EVENTS_H
#define KINLOOM_TV_CORE_EVENTS_H

#include "httpd/Channel.h"
#include "tv/core/Json.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tv {

/// Events, numbered, for all who listen. The latest are kept, so that a page whose line was cut goes on where it was. All members
/// may be called from any thread.
class Events {
public:
    static constexpr std::size_t KEPT = 1000;

    Events();
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;
    /// Ends all lines.
    ~Events();

    /// Tells all who listen.
    void tell(const char* name, const Json& data);

    /// Begins a line.
    /// \param first events that this listener alone gets, before all others: names and data
    /// \param after the last event that the listener knows; nothing for a new one. Where more has happened since than is kept, it
    /// is told "reset".
    std::shared_ptr<httpd::Channel> listen(const std::vector<std::pair<const char*, Json>>& first,
                                           std::optional<std::uint64_t> after);
    /// How many listen.
    std::size_t listeners();

private:
    struct Event {
        std::uint64_t id;
        std::string text;
    };

    void beat();

    mutable std::mutex m_mutex;
    std::condition_variable m_ending;
    std::uint64_t m_last; ///< guarded by m_mutex, like all below
    std::deque<Event> m_kept;
    std::vector<std::shared_ptr<httpd::Channel>> m_lines;
    bool m_ended = false;
    std::thread m_beat; ///< so that lines which are dead are noticed at both ends
};

} // namespace tv

#endif
