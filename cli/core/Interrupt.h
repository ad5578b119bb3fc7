// SPDX-License-Identifier: MIT
/// \file Ctrl-C.
#ifndef KINLOOM_CORE_INTERRUPT_H
#define KINLOOM_CORE_INTERRUPT_H

#include "core/Descriptor.h"
#include "kinloom/Interruption.h"

#include <atomic>
#include <thread>

namespace kinloom {

/// Takes the signals that ask a program to end, SIGINT, SIGTERM and SIGHUP, on a thread of its own: the first is remembered and
/// interrupts the calls that run, a second ends the process at once. One object at a time, made before any other thread: it blocks
/// the signals for the threads to come. A signal that was ignored before stays so.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// True once a signal has arrived.
    bool requested() const { return m_signal != 0; }
    /// The exit code that says which: 128 and its number.
    int exitCode() const { return 128 + m_signal; }
    /// What calls are handed.
    const Interruption& interruption() const { return m_interruption; }
    /// Throws Interrupted once a signal has arrived.
    void check() const;

private:
    void watch();

    Interruption m_interruption;
    std::atomic<int> m_signal{0};
    Descriptor m_signals;
    Descriptor m_stop;
    std::thread m_thread;
};

} // namespace kinloom

#endif
