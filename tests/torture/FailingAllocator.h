// SPDX-License-Identifier: MIT
/// \file An allocator that fails on demand, for the code of the plugin alone.
#ifndef TORTURE_FAILINGALLOCATOR_H
#define TORTURE_FAILINGALLOCATOR_H

#include <cstddef>

namespace torture {

/// Counts the plugin's allocations (operator new and libxml2's) from now on, and fails the one of that number, counted from 0.
void failAllocation(std::size_t number);
/// Ends the counting. \return whether the allocation came about and failed.
bool endFailing();

/// While one of these lives, its thread runs plugin code (or, nested, host code, whose allocations do not count).
class Scope {
public:
    enum Code { PLUGIN, HOST };
    explicit Scope(Code code);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

private:
    bool m_previous;
};

/// Routes libxml2's allocations here. Once, before anything is parsed.
void installXmlAllocator();

} // namespace torture

#endif
