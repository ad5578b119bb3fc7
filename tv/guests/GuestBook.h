// SPDX-License-Identifier: MIT
/// \file Who may add what, and what became of it.
#ifndef KINLOOM_TV_GUESTS_GUESTBOOK_H
#define KINLOOM_TV_GUESTS_GUESTBOOK_H

#include "tv/guests/Guests.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tv {

/// Why a photo is not taken.
enum class GuestRefusal : std::uint8_t {
    NONE,
    CLOSED,    ///< the key has ended
    TOO_LARGE, ///< larger than one photo may be
    TOO_MANY,  ///< no photos or bytes are left
    BUSY,      ///< too many are on their way: later it is taken
};

struct GuestAdmission {
    GuestRefusal refusal = GuestRefusal::NONE;
    std::string id;
    std::string group;
    std::uint64_t most = 0; ///< bytes that the photo may have
};

/// The key that is in force, its limits, and the photos that came with it. A photo takes its place when it begins to arrive, and
/// gives it back when nothing becomes of it. All members may be called from any thread.
class GuestBook {
public:
    using Clock = std::chrono::steady_clock;
    /// How many photos may be on their way to the service at a time, in all and from one telephone.
    static constexpr unsigned MOST_ON_THEIR_WAY = 12;
    static constexpr unsigned MOST_FROM_ONE = 4;

    /// \param changed called on the thread of whoever changes something, with no lock held.
    explicit GuestBook(std::function<void()> changed) : m_changed(std::move(changed)) {}

    /// Makes a key. \return it.
    std::string open(const std::string& group, const std::string& groupName, const GuestLimits& limits);
    /// Ends the key. \return the photos on their way.
    std::vector<std::string> close();
    bool isKey(std::string_view text) const;
    /// When the key ends by itself; nothing without one.
    std::optional<Clock::time_point> end() const;
    /// Without its address, which others know.
    GuestSnapshot snapshot() const;
    std::string key() const;
    std::string groupName() const;
    GuestLimits limits() const;

    /// A photo begins to arrive. \param announced its size, where that is known. \param from whom
    GuestAdmission admit(const std::string& name, std::optional<std::uint64_t> announced, const std::string& from);
    /// \param sent of the bytes that the photo has
    void progress(const std::string& id, std::uint64_t sent, std::uint64_t size);
    /// The photo is here, and is so large; it is being sent from now on. \return false when its key has ended.
    bool beginSending(const std::string& id, std::uint64_t size);
    /// The end of a photo: DONE, REFUSED or FAILED.
    void finish(const std::string& id, GuestTransfer::State state);
    /// How many photos are on their way, of ended keys too.
    std::size_t onTheirWay() const;

private:
    struct Photo {
        GuestTransfer transfer;
        std::string from;
        std::uint64_t place = 0; ///< bytes that it takes of what is left
        unsigned round = 0;      ///< which key it came with
        bool ended = false;
    };

    bool isOpen(Clock::time_point now) const { return !m_key.empty() && now < m_end; }
    Photo* find(const std::string& id);
    void giveBack(Photo& photo);

    const std::function<void()> m_changed;
    mutable std::mutex m_mutex; // guards all below
    std::string m_key;
    std::string m_group;
    std::string m_groupName;
    GuestLimits m_limits;
    Clock::time_point m_end;
    unsigned m_round = 0;
    unsigned m_leftCount = 0;
    std::uint64_t m_leftBytes = 0;
    std::uint64_t m_lastId = 0;
    std::deque<Photo> m_photos;
};

/// A file's name as a television shows it: short, of one line, and of characters that are some.
std::string shownName(std::string_view percentEncoded);

} // namespace tv

#endif
