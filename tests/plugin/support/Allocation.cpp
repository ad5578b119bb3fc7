// SPDX-License-Identifier: MIT
#include "plugin/support/Allocation.h"

#include <cstddef>
#include <new>

namespace {

constexpr long NEVER = -1;

thread_local bool t_noMemory = false;
thread_local long t_untilFailure = NEVER;
thread_local bool t_failed = false;

} // namespace

// The linker's --wrap leads the program's calls of operator new here, and keeps the real one, a sanitizer's perhaps, within reach.
extern "C" {
void* realNew(std::size_t size) __asm__("__real__Znwm");
void* realNewNoThrow(std::size_t size, const std::nothrow_t& tag) noexcept __asm__("__real__ZnwmRKSt9nothrow_t");
void* wrappedNew(std::size_t size) __asm__("__wrap__Znwm");
void* wrappedNewNoThrow(std::size_t size, const std::nothrow_t& tag) noexcept __asm__("__wrap__ZnwmRKSt9nothrow_t");

void* wrappedNew(std::size_t size)
{
    if (t_untilFailure != NEVER && t_untilFailure-- == 0) {
        t_untilFailure = NEVER;
        t_failed = true;
        throw std::bad_alloc();
    }
    return realNew(size);
}

void* wrappedNewNoThrow(std::size_t size, const std::nothrow_t& tag) noexcept
{
    return t_noMemory ? nullptr : realNewNoThrow(size, tag);
}
}

namespace kinloom_test {

FailingAllocation::FailingAllocation(long after)
{
    t_failed = false;
    t_untilFailure = after;
}

FailingAllocation::~FailingAllocation() { t_untilFailure = NEVER; }

bool FailingAllocation::happened() const { return t_failed; }

Unfailing::Unfailing() : m_before(t_untilFailure) { t_untilFailure = NEVER; }
Unfailing::~Unfailing() { t_untilFailure = m_before; }

NoMemory::NoMemory() { t_noMemory = true; }
NoMemory::~NoMemory() { t_noMemory = false; }

} // namespace kinloom_test
