// SPDX-License-Identifier: MIT
/// \file Allocations that fail.
///
/// The test program is linked so that its own objects and the plugin's, and nobody else's, allocate through here.
#ifndef PLUGIN_SUPPORT_ALLOCATION_H
#define PLUGIN_SUPPORT_ALLOCATION_H

namespace kinloom_test {

/// Has one allocation of the calling thread fail, while it lives: the first one, or the one after so many others.
class FailingAllocation {
public:
    explicit FailingAllocation(long after = 0);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// Whether it came to that.
    bool happened() const;
};

/// Suspends a failing allocation of the calling thread, for code that is not meant. A program with an allocator of its own, as the
/// torture test has, defines the two functions itself.
class Unfailing {
public:
    Unfailing();
    ~Unfailing();
    Unfailing(const Unfailing&) = delete;
    Unfailing& operator=(const Unfailing&) = delete;

private:
    long m_before; ///< what the program's allocator restores
};

/// Has every allocation of the calling thread that asks for null instead of an exception get it, while it lives.
class NoMemory {
public:
    NoMemory();
    ~NoMemory();
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;
};

} // namespace kinloom_test

#endif
