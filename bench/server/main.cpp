// SPDX-License-Identifier: MIT
#include "server/Server.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <sys/prctl.h>

/// Prints the port, and serves until it is killed or the thread that started it has ended.
int main()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        bench::Server server;
        std::printf("%u\n", static_cast<unsigned int>(server.port()));
        std::fflush(stdout);
        server.run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench server: %s\n", error.what());
        return 1;
    }
}
