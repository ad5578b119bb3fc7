// SPDX-License-Identifier: MIT
/// \file The time that the program under test sees.
#ifndef PLUGIN_SUPPORT_CLOCK_H
#define PLUGIN_SUPPORT_CLOCK_H

#include <ctime>

namespace kinloom_test {

/// Makes time() return one moment for as long as it lives. The test program defines time() itself for that.
class StoppedClock {
public:
    /// A moment in UTC, with the month and the day as a calendar counts them.
    StoppedClock(int year, int month, int day, int hour = 7, int minute = 4, int second = 9);
    ~StoppedClock();
    StoppedClock(const StoppedClock&) = delete;
    StoppedClock& operator=(const StoppedClock&) = delete;
};

} // namespace kinloom_test

#endif
