// SPDX-License-Identifier: MIT
#include "core/Interrupt.h"

#include "core/Errors.h"

#include <csignal>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace kinloom {

namespace {

sigset_t signalsToWatch()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&set, number);
    }
    return set;
}

} // namespace

Interrupt::Interrupt()
{
    const sigset_t set = signalsToWatch();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    m_signals = Descriptor(signalfd(-1, &set, SFD_CLOEXEC));
    m_stop = Descriptor(eventfd(0, EFD_CLOEXEC));
    if (!m_signals || !m_stop)
        throw std::system_error(errno, std::generic_category(), "signals cannot be watched");
    m_thread = std::thread(&Interrupt::watch, this);
}

Interrupt::~Interrupt()
{
    eventfd_write(m_stop.get(), 1);
    m_thread.join();
}

void Interrupt::check() const
{
    if (requested())
        throw Interrupted(exitCode());
}

void Interrupt::watch()
{
    while (true) {
        pollfd events[] = {{m_signals.get(), POLLIN, 0}, {m_stop.get(), POLLIN, 0}};
        if (poll(events, 2, -1) < 0)
            continue; // interrupted by a signal that is none of ours
        if (events[1].revents != 0)
            return;
        signalfd_siginfo signal{};
        if (read(m_signals.get(), &signal, sizeof signal) != static_cast<ssize_t>(sizeof signal))
            continue;
        const int number = static_cast<int>(signal.ssi_signo);
        if (m_signal != 0)
            _exit(128 + number);
        m_signal = number;
        m_interruption.ring();
    }
}

} // namespace kinloom
