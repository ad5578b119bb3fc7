// SPDX-License-Identifier: MIT
/// \file libcurl cannot be asked for an option of a handle, so this library stands between it and the program for the functions
/// that set and forget options. The dynamic linker finds them here first, since this library comes before libcurl.

#include "fake/HandleSpy.h"

#include "Mutex.h"

#include <cstdarg>
#include <cstdlib>
#include <dlfcn.h>
#include <map>

namespace W {
namespace WHOST_INTERNAL fake {

namespace {

struct Notes {
    Mutex mutex;
    std::map<CURL*, PostFields> handles GUARDED_BY(mutex);
};

Notes& notes()
{
    static Notes* const instance = new Notes;
    return *instance;
}

template <class Function> Function libcurls(const char* name)
{
    void* const symbol = dlsym(RTLD_NEXT, name);
    if (!symbol)
        std::abort();
    return reinterpret_cast<Function>(symbol);
}

void forget(CURL* handle)
{
    Notes& all = notes();
    const MutexLock lock(all.mutex);
    all.handles.erase(handle);
}

void noteFields(CURL* handle, const char* fields)
{
    Notes& all = notes();
    const MutexLock lock(all.mutex);
    all.handles[handle].fields = fields ? std::optional<STRING>(fields) : std::nullopt;
}

void noteSize(CURL* handle, long long size)
{
    Notes& all = notes();
    const MutexLock lock(all.mutex);
    all.handles[handle].size = size;
}

} // namespace

PostFields postFieldsOf(CURL* handle)
{
    Notes& all = notes();
    const MutexLock lock(all.mutex);
    const auto found = all.handles.find(handle);
    return found == all.handles.end() ? PostFields() : found->second;
}

} // namespace fake
} // namespace W

extern "C" {

// Defined under names of their own, since libcurl's header declares the real ones, as macros in part.
__attribute__((visibility("default"))) CURLcode spyOnSetopt(CURL* handle, unsigned int option, ...) __asm__("curl_easy_setopt");
__attribute__((visibility("default"))) void spyOnReset(CURL* handle) __asm__("curl_easy_reset");
__attribute__((visibility("default"))) void spyOnCleanup(CURL* handle) __asm__("curl_easy_cleanup");

CURLcode spyOnSetopt(CURL* handle, unsigned int option, ...)
{
    using namespace W::fake;
    static const auto real = libcurls<CURLcode (*)(CURL*, unsigned int, ...)>("curl_easy_setopt");
    std::va_list arguments;
    va_start(arguments, option);
    CURLcode result = CURLE_OK;
    // The option's number tells the type of its argument.
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        const long value = va_arg(arguments, long);
        result = real(handle, option, value);
        if (option == CURLOPT_POSTFIELDSIZE)
            noteSize(handle, value);
    } else if (option >= CURLOPTTYPE_OFF_T && option < CURLOPTTYPE_BLOB) {
        const curl_off_t value = va_arg(arguments, curl_off_t);
        result = real(handle, option, value);
        if (option == CURLOPT_POSTFIELDSIZE_LARGE)
            noteSize(handle, value);
    } else {
        void* const value = va_arg(arguments, void*);
        result = real(handle, option, value);
        if (option == CURLOPT_POSTFIELDS || option == CURLOPT_COPYPOSTFIELDS)
            noteFields(handle, static_cast<const char*>(value));
    }
    va_end(arguments);
    return result;
}

void spyOnReset(CURL* handle)
{
    static const auto real = W::fake::libcurls<void (*)(CURL*)>("curl_easy_reset");
    W::fake::forget(handle);
    real(handle);
}

void spyOnCleanup(CURL* handle)
{
    static const auto real = W::fake::libcurls<void (*)(CURL*)>("curl_easy_cleanup");
    W::fake::forget(handle);
    real(handle);
}
}
