// SPDX-License-Identifier: MIT
/// \file How the facade reports its failures.
#ifndef KLSERVICE_FAILURE_H
#define KLSERVICE_FAILURE_H

#include "KLService/HostValues.h"
#include "KLService/Log.h"

#include <exception>
#include <new>
#include <utility>

namespace W {

/// Logs a failure of the facade with the caller's line. \return \p status.
inline WSTATUS logFailure(WSTATUS status, int line = __builtin_LINE()) { return logError(status, "src/WKLOAI", line); }

/// Runs a step and turns whatever it throws into a status: no exception crosses the plugin's boundary.
template <class Step> WSTATUS guarded(Step&& step, int line = __builtin_LINE())
{
    try {
        return std::forward<Step>(step)();
    } catch (const std::bad_alloc&) {
        return logFailure(wstatus::OUT_OF_MEMORY, line);
    } catch (const std::exception&) {
        return logFailure(wstatus::FAILED, line);
    }
}

} // namespace W

#endif
