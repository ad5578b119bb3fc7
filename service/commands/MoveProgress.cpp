// SPDX-License-Identifier: MIT
#include "commands/MoveProgress.h"

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace kinloomd {

namespace {

constexpr std::chrono::milliseconds ON_A_TERMINAL{200};
constexpr std::chrono::seconds ELSEWHERE{30};

volatile std::sig_atomic_t s_stopAsked = 0;

extern "C" void askMoveToStop(int) { s_stopAsked = 1; }

void handleStop(void (*handler)(int), int flags)
{
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    for (const int signal : {SIGINT, SIGTERM})
        ::sigaction(signal, &action, nullptr);
}

} // namespace

MoveProgress::MoveProgress()
    : m_terminal(::isatty(STDERR_FILENO) != 0), m_next(Clock::now() + (m_terminal ? Clock::duration(ON_A_TERMINAL) : ELSEWHERE))
{
    s_stopAsked = 0;
    // What writes to a connection that was closed, or beyond the limit of file sizes, must hear of it and not end the program.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    handleStop(&askMoveToStop, SA_RESETHAND | SA_RESTART);
}

MoveProgress::~MoveProgress()
{
    handleStop(SIG_DFL, 0);
    if (m_told && m_terminal)
        std::fputs("\n", stderr);
}

void MoveProgress::step(const char* what, std::int64_t done)
{
    if (s_stopAsked != 0)
        throw MoveStopped();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_done[what] += done;
    if (Clock::now() >= m_next)
        tell(what);
}

/// With the lock.
void MoveProgress::tell(const char* what)
{
    std::string line;
    for (const auto& [name, count] : m_done) {
        if (count != 0)
            line += (line.empty() ? "" : ", ") + name + " " + std::to_string(count);
    }
    if (m_terminal)
        std::fprintf(stderr, "\r%s: %s\033[K", what, line.c_str());
    else
        std::fprintf(stderr, "kinloomd: %s: %s\n", what, line.c_str());
    std::fflush(stderr);
    m_told = true;
    m_next = Clock::now() + (m_terminal ? Clock::duration(ON_A_TERMINAL) : ELSEWHERE);
}

} // namespace kinloomd
