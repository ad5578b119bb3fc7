// SPDX-License-Identifier: MIT
#include "common/Program.h"

#include <algorithm>
#include <filesystem>
#include <sys/resource.h>
#include <system_error>

namespace common {

std::string folderBesideProgram(std::initializer_list<const char*> places, const std::string& file)
{
    namespace fs = std::filesystem;
    std::error_code none;
    const fs::path program = fs::read_symlink("/proc/self/exe", none);
    if (none)
        return {};
    for (const char* const place : places) {
        const fs::path folder = (program.parent_path() / place).lexically_normal();
        if (fs::is_regular_file(folder / file, none))
            return folder.string();
    }
    return {};
}

sigset_t blockSignals(std::initializer_list<int> signals)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals)
        sigaddset(&set, signal);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return set;
}

void raiseFileLimit()
{
    constexpr rlim_t OPEN_FILES = 4096;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = std::max(limit.rlim_cur, std::min<rlim_t>(limit.rlim_max, OPEN_FILES));
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace common
