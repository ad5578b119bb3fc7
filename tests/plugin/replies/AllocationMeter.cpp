// SPDX-License-Identifier: MIT
#include "plugin/replies/AllocationMeter.h"

#include <atomic>
#include <malloc.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define METER_OFF 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define METER_OFF 1
#endif
#endif

namespace {

std::atomic<std::size_t> g_live{0};
std::atomic<std::size_t> g_peak{0};
std::atomic<std::size_t> g_allocations{0};

#ifndef METER_OFF

constexpr std::size_t HEADER = sizeof(std::size_t); // what the allocator keeps beside each piece

void taken(void* memory)
{
    if (!memory)
        return;
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    const std::size_t live = g_live.fetch_add(malloc_usable_size(memory) + HEADER) + malloc_usable_size(memory) + HEADER;
    for (std::size_t peak = g_peak.load(); live > peak && !g_peak.compare_exchange_weak(peak, live);) {
    }
}

void given(void* memory)
{
    if (memory)
        g_live.fetch_sub(malloc_usable_size(memory) + HEADER);
}

#endif

} // namespace

#ifndef METER_OFF

extern "C" {

// The C library's own, under the names that it keeps for programs that replace them.
void* __libc_malloc(std::size_t size);                          // NOLINT(bugprone-reserved-identifier,cert-dcl37-c)
void* __libc_calloc(std::size_t count, std::size_t size);       // NOLINT(bugprone-reserved-identifier,cert-dcl37-c)
void* __libc_realloc(void* memory, std::size_t size);           // NOLINT(bugprone-reserved-identifier,cert-dcl37-c)
void* __libc_memalign(std::size_t alignment, std::size_t size); // NOLINT(bugprone-reserved-identifier,cert-dcl37-c)
void __libc_free(void* memory);                                 // NOLINT(bugprone-reserved-identifier,cert-dcl37-c)

void* malloc(std::size_t size) noexcept
{
    void* const memory = __libc_malloc(size);
    taken(memory);
    return memory;
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    void* const memory = __libc_calloc(count, size);
    taken(memory);
    return memory;
}

void* realloc(void* memory, std::size_t size) noexcept
{
    given(memory);
    void* const moved = __libc_realloc(memory, size);
    taken(moved ? moved : memory); // what could not be moved is still there
    return moved;
}

void* memalign(std::size_t alignment, std::size_t size) noexcept
{
    void* const memory = __libc_memalign(alignment, size);
    taken(memory);
    return memory;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept { return memalign(alignment, size); }

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept
{
    *memory = memalign(alignment, size);
    return *memory ? 0 : 12; // ENOMEM
}

void free(void* memory) noexcept
{
    given(memory);
    __libc_free(memory);
}

} // extern "C"

#endif

namespace test {

bool AllocationMeter::isAvailable()
{
#ifdef METER_OFF
    return false;
#else
    return true;
#endif
}

AllocationMeter::AllocationMeter() : m_base(g_live), m_count(g_allocations) { g_peak = m_base; }

std::size_t AllocationMeter::peak() const { return g_peak - m_base; }

std::size_t AllocationMeter::inUse() const { return g_live - m_base; }

std::size_t AllocationMeter::allocations() const { return g_allocations - m_count; }

} // namespace test
