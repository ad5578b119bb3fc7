// SPDX-License-Identifier: MIT
/// \file What interrupts calls from outside.
#ifndef KINLOOM_INTERRUPTION_H
#define KINLOOM_INTERRUPTION_H

#include "kinloom/Export.h"

#include <functional>
#include <memory>

namespace kinloom {

/// A bell that any thread can ring: every call that it was handed to ends as interrupted, and every later one does so at once.
/// Copies are the same bell. Not for signal handlers: a thread that waits for signals may ring it.
class KINLOOM_CLIENT_API Interruption {
public:
    Interruption();

    void ring();
    /// True once it has been rung.
    bool requested() const;

    /// For the library: has a function called, on the thread that rings, until the returned object is gone, or very shortly after.
    /// When the bell has been rung already, nothing is called.
    std::shared_ptr<void> watch(std::function<void()> rung) const;

private:
    struct State;
    std::shared_ptr<State> m_state;
};

} // namespace kinloom

#endif
