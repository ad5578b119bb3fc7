// SPDX-License-Identifier: MIT
#include "plugin/support/Clock.h"

#include <atomic>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::atomic<bool> g_stopped{false};
std::atomic<std::time_t> g_now{0};

} // namespace

// Found before the C library's by everything that is linked into the program.
extern "C" std::time_t time(std::time_t* result) noexcept
{
    const std::time_t now = g_stopped ? g_now.load() : static_cast<std::time_t>(syscall(SYS_time, nullptr));
    if (result)
        *result = now;
    return now;
}

namespace kinloom_test {

StoppedClock::StoppedClock(int year, int month, int day, int hour, int minute, int second)
{
    std::tm utc{};
    utc.tm_year = year - 1900;
    utc.tm_mon = month - 1;
    utc.tm_mday = day;
    utc.tm_hour = hour;
    utc.tm_min = minute;
    utc.tm_sec = second;
    g_now = timegm(&utc);
    g_stopped = true;
}

StoppedClock::~StoppedClock() { g_stopped = false; }

} // namespace kinloom_test
