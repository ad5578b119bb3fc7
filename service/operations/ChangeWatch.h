// SPDX-License-Identifier: MIT
/// \file Wakes those who follow what changes.
#ifndef KINLOOMD_OPERATIONS_CHANGEWATCH_H
#define KINLOOMD_OPERATIONS_CHANGEWATCH_H

#include "core/Files.h"
#include "store/Database.h"
#include "store/Records.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace kinloomd {

/// Who follows, as limits count.
struct Follower {
    Id session = 0;
    Id person = 0;
    std::string network;
};

/// How many may follow at a time. Each holds a connection and a thread; they must not take those that others need.
struct FollowerLimits {
    std::size_t ofSession = 8; ///< more than a browser has connections for over plain HTTP
    std::size_t ofPerson = 32;
    std::size_t ofNetwork = 128;
    std::size_t all = 256;
};

/// Rings the bells of followers when something may have changed: at once for what this process has done, and soon for what other
/// processes have done to the same database. Who hears a bell looks for itself. Safe for several threads.
class ChangeWatch {
public:
    /// The database must outlive it.
    ChangeWatch(Database& database, const FollowerLimits& limits) : m_database(database), m_limits(limits) {}
    ChangeWatch(const ChangeWatch&) = delete;
    ChangeWatch& operator=(const ChangeWatch&) = delete;
    ~ChangeWatch();

    /// A follower's bell, as long as it lives.
    class Bell {
    public:
        /// Where there are too many, an older follower gives way: of the person who has most of them, the oldest. Somebody who
        /// has gone without a word would hold a place for long otherwise. Throws std::system_error when the system gives no
        /// descriptor.
        Bell(ChangeWatch& watch, Follower follower);
        Bell(const Bell&) = delete;
        Bell& operator=(const Bell&) = delete;
        ~Bell();

        /// Readable once it was rung.
        int fd() const { return m_event.get(); }
        /// Makes it unreadable until it is rung again.
        void hush() const;
        /// \return whether it must follow no longer; it was rung for that.
        bool gaveWay() const { return m_gaveWay; }

    private:
        friend class ChangeWatch;
        void ring() const;

        ChangeWatch& m_watch;
        const Follower m_follower;
        UniqueFd m_event;
        std::atomic<bool> m_gaveWay{false};
    };

    /// This process has changed something, or ended somebody's sign-in.
    void ring();
    /// Looks no more.
    void stop();

private:
    void ringAll();                         ///< with the lock
    void makeRoomFor(const Follower& next); ///< with the lock
    template <typename Counts> void makeRoom(std::size_t limit, Counts counts);
    void look();

    Database& m_database;
    const FollowerLimits m_limits;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<Bell*> m_bells; ///< the oldest first; guarded by m_mutex
    bool m_stopping = false;    // guarded by m_mutex
    std::thread m_thread;       ///< begins with the first bell; guarded by m_mutex
};

} // namespace kinloomd

#endif
