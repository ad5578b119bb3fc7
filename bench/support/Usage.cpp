// SPDX-License-Identifier: MIT
#include "support/Usage.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <sstream>
#include <sys/resource.h>
#include <vector>

namespace bench {

namespace {

double secondsOf(const timeval& time) { return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6; }

double processorTimeOf(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    return secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
}

/// A line of /proc/self/status in kB, in bytes.
double statusField(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.compare(0, name.size(), name) == 0)
            return std::stod(line.substr(name.size())) * 1024;
    return 0;
}

struct Mapping {
    const volatile char* begin = nullptr;
    const volatile char* end = nullptr;
    bool readable = false;
    std::string path; ///< empty when no file is behind it
};

std::vector<Mapping> mappings()
{
    std::vector<Mapping> all;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        std::istringstream fields(line);
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        char dash = 0;
        std::string access;
        std::string skipped;
        Mapping mapping;
        fields >> std::hex >> begin >> dash >> end >> access >> skipped >> skipped >> skipped >> mapping.path;
        // The kernel writes addresses as numbers.
        mapping.begin = reinterpret_cast<const volatile char*>(begin); // NOLINT(performance-no-int-to-ptr)
        mapping.end = reinterpret_cast<const volatile char*>(end);     // NOLINT(performance-no-int-to-ptr)
        mapping.readable = access.compare(0, 1, "r") == 0;
        all.push_back(mapping);
    }
    return all;
}

std::size_t entriesOf(const char* folder)
{
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        static_cast<void>(entry);
        ++count;
    }
    return count;
}

} // namespace

double now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }
double processorTime() { return processorTimeOf(RUSAGE_SELF); }
double childrenProcessorTime() { return processorTimeOf(RUSAGE_CHILDREN); }

double residentMemory() { return statusField("VmRSS:"); }
double residentAnonymous() { return statusField("RssAnon:"); }
double peakMemory() { return statusField("VmHWM:"); }
void resetPeak() { std::ofstream("/proc/self/clear_refs") << "5"; }
void trimMemory() { malloc_trim(0); }

std::set<std::string> loadedLibraries()
{
    std::set<std::string> libraries;
    for (const Mapping& mapping : mappings())
        if (mapping.path.find(".so") != std::string::npos)
            libraries.insert(mapping.path);
    return libraries;
}

void touchLibraries(const std::set<std::string>& paths)
{
    constexpr std::ptrdiff_t PAGE = 4096;
    for (const Mapping& mapping : mappings())
        if (mapping.readable && paths.count(mapping.path) != 0)
            for (const volatile char* byte = mapping.begin; byte < mapping.end; byte += PAGE)
                static_cast<void>(*byte);
}

// The folder that is being listed is open itself.
std::size_t openDescriptors() { return entriesOf("/proc/self/fd") - 1; }
std::size_t threads() { return entriesOf("/proc/self/task"); }

} // namespace bench
