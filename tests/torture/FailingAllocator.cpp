// SPDX-License-Identifier: MIT
#include "FailingAllocator.h"

#include "W/Http.h"
#include "plugin/support/Allocation.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <libxml/xmlmemory.h>
#include <new>

namespace torture {

namespace {

constexpr long OFF = -1;
std::atomic<long> remaining{OFF}; // allocations until the failing one
std::atomic<bool> failed{false};
thread_local bool inPlugin = false;

bool shouldFail()
{
    if (!inPlugin || remaining.load(std::memory_order_relaxed) == OFF)
        return false;
    if (remaining.fetch_sub(1) != 0)
        return false;
    failed = true; // and the counter is off again
    return true;
}

void* allocate(std::size_t size) { return shouldFail() ? nullptr : std::malloc(size ? size : 1); }
void* reallocate(void* memory, std::size_t size) { return shouldFail() ? nullptr : std::realloc(memory, size); }
char* duplicate(const char* text) { return shouldFail() ? nullptr : strdup(text); }

} // namespace

void failAllocation(std::size_t number)
{
    failed = false;
    remaining = static_cast<long>(number);
}

bool endFailing()
{
    remaining = OFF;
    return failed;
}

Scope::Scope(Code code) : m_previous(inPlugin) { inPlugin = code == PLUGIN; }
Scope::~Scope() { inPlugin = m_previous; }

void installXmlAllocator() { xmlMemSetup(std::free, allocate, reallocate, duplicate); }

} // namespace torture

// What the tests' callbacks do is none of the plugin's doing.
kinloom_test::Unfailing::Unfailing() : m_before(torture::inPlugin) { torture::inPlugin = false; }
kinloom_test::Unfailing::~Unfailing() { torture::inPlugin = m_before != 0; }

void* operator new(std::size_t size)
{
    if (void* const memory = torture::allocate(size))
        return memory;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return torture::allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

// The linker sends the calls that cross the border through here.
using torture::Scope;

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's
extern "C" {
W::WSTATUS __real__ZN1W13HttpDelegator10addRequestEPNS_11HttpRequestE(W::HttpDelegator*, W::HttpRequest*);
W::WSTATUS __wrap__ZN1W13HttpDelegator10addRequestEPNS_11HttpRequestE(W::HttpDelegator* client, W::HttpRequest* request)
{
    const Scope host(Scope::HOST);
    return __real__ZN1W13HttpDelegator10addRequestEPNS_11HttpRequestE(client, request);
}

W::WSTATUS __real__ZN1W13HttpDelegator17flushHttpRequestsEy(W::HttpDelegator*, unsigned long long);
W::WSTATUS __wrap__ZN1W13HttpDelegator17flushHttpRequestsEy(W::HttpDelegator* client, unsigned long long id)
{
    const Scope host(Scope::HOST);
    return __real__ZN1W13HttpDelegator17flushHttpRequestsEy(client, id);
}

W::WSTATUS __real__ZN1W11HttpRequest7executeEv(W::HttpRequest*);
W::WSTATUS __wrap__ZN1W11HttpRequest7executeEv(W::HttpRequest* request)
{
    const Scope host(Scope::HOST);
    return __real__ZN1W11HttpRequest7executeEv(request);
}

void __real__ZN1W14cbKLFnCallbackENS_14SESSION_STATUSEPNS_11HttpRequestEPv(W::SESSION_STATUS, W::HttpRequest*, void*);
void __wrap__ZN1W14cbKLFnCallbackENS_14SESSION_STATUSEPNS_11HttpRequestEPv(W::SESSION_STATUS status, W::HttpRequest* request,
                                                                           void* context)
{
    const Scope plugin(Scope::PLUGIN);
    __real__ZN1W14cbKLFnCallbackENS_14SESSION_STATUSEPNS_11HttpRequestEPv(status, request, context);
}
}
// NOLINTEND(bugprone-reserved-identifier)
