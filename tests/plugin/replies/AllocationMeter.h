// SPDX-License-Identifier: MIT
/// \file How much memory a piece of code takes, by counting every allocation of the process.
#ifndef PLUGIN_REPLIES_ALLOCATIONMETER_H
#define PLUGIN_REPLIES_ALLOCATIONMETER_H

#include <cstddef>

namespace test {

/// Counts from construction on. One at a time; the program that has it in it allocates through it, libraries included.
class AllocationMeter {
public:
    /// False in sanitizer builds, whose own allocator counts differently.
    static bool isAvailable();

    AllocationMeter();
    /// The most bytes in use at a time since construction, beyond those in use then, with the allocator's own.
    std::size_t peak() const;
    /// The bytes in use now beyond those in use at construction.
    std::size_t inUse() const;
    /// Allocations since construction.
    std::size_t allocations() const;

private:
    std::size_t m_base;
    std::size_t m_count;
};

} // namespace test

#endif
