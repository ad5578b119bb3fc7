// SPDX-License-Identifier: MIT
// One fuzzer, for the target that it is compiled for.
#include "Targets.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

fuzz::Routine routineOf(const char* name)
{
    for (const fuzz::Target& target : fuzz::TARGETS)
        if (std::strcmp(target.name, name) == 0)
            return target.routine;
    return nullptr;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // The plugin reports every reply that it refuses.
    return std::freopen("/dev/null", "w", stdout) ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const fuzz::Routine routine = routineOf(FUZZ_TARGET);
    routine({reinterpret_cast<const char*>(data), size});
    return 0;
}
