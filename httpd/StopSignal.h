// SPDX-License-Identifier: MIT
/// \file An end that can be waited for together with sockets. Of the library alone.
#ifndef HTTPD_STOPSIGNAL_H
#define HTTPD_STOPSIGNAL_H

#include "httpd/UniqueFd.h"

#include <chrono>

namespace httpd {

/// Given once; everything that waits goes on. Safe for several threads.
class StopSignal {
public:
    /// Throws std::system_error when the system gives no descriptor.
    StopSignal();

    void give();
    /// Waits for that long. \return false when the signal cut it short.
    bool sleepFor(std::chrono::milliseconds time) const;
    /// Readable once the signal is given. Borrowed.
    int fd() const { return m_event.get(); }

private:
    UniqueFd m_event;
};

} // namespace httpd

#endif
