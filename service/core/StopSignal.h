// SPDX-License-Identifier: MIT
/// \file The end of the service, as something that can be waited for.
#ifndef KINLOOMD_CORE_STOPSIGNAL_H
#define KINLOOMD_CORE_STOPSIGNAL_H

#include "core/Files.h"

#include <chrono>

namespace kinloomd {

/// Given once; everything that waits goes on. Safe for several threads.
class StopSignal {
public:
    /// Throws std::system_error when the system gives no descriptor.
    StopSignal();

    void give();
    bool isGiven() const;

    /// Waits for that long. \return false when the signal cut it short.
    bool sleepFor(std::chrono::milliseconds time) const;
    /// Waits until the other end of a socket has hung up. \return false when the signal came first.
    bool waitForHangUp(int socket) const;

private:
    UniqueFd m_event; ///< readable once the signal is given
};

} // namespace kinloomd

#endif
