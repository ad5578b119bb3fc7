// SPDX-License-Identifier: MIT
/// \file What is told of a move while it goes on, and how it is ended.
#ifndef KINLOOMD_COMMANDS_MOVEPROGRESS_H
#define KINLOOMD_COMMANDS_MOVEPROGRESS_H

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

namespace kinloomd {

/// Somebody has ended the move with Ctrl-C, or SIGTERM.
class MoveStopped : public std::runtime_error {
public:
    MoveStopped() : std::runtime_error("stopped") {}
};

/// Tells on standard error how far a move is: on a terminal in one line that is written over, elsewhere in a line now and then.
/// While it lives, the first SIGINT or SIGTERM ends the move at its next step, and the second one the program.
class MoveProgress {
public:
    MoveProgress();
    MoveProgress(const MoveProgress&) = delete;
    MoveProgress& operator=(const MoveProgress&) = delete;
    /// Ends the line.
    ~MoveProgress();

    /// Something more was done. Safe for several threads. Throws MoveStopped once somebody wants the end.
    void step(const char* what, std::int64_t done);

private:
    using Clock = std::chrono::steady_clock;
    void tell(const char* what);

    const bool m_terminal;
    std::mutex m_mutex;
    std::map<std::string, std::int64_t> m_done; // this and what follows: guarded by m_mutex
    Clock::time_point m_next;
    bool m_told = false;
};

} // namespace kinloomd

#endif
