// SPDX-License-Identifier: MIT
#include "KLService/Log.h"

#include "W/WStatus.h"

#include <cstdio>

namespace W {

WSTATUS logError(WSTATUS status, const char* source, int line)
{
    // The two prints make one report: another thread's must not come between them.
    flockfile(stdout);
    std::printf("#ERROR WSTATUS:%s(%d)\tFILE:%s(%d)\n", WSTATUS2STRING(static_cast<unsigned int>(status)), status, source, line);
    std::putchar('\n');
    funlockfile(stdout);
    return status;
}

} // namespace W
