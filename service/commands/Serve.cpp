// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "media/Pictures.h"
#include "server/Server.h"

#include <csignal>
#include <cstdio>
#include <pthread.h>

namespace kinloomd {

namespace {

/// The signals that end the service. They are blocked in every thread, and waited for in one.
sigset_t blockEndSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

} // namespace

int serve(const Options& options)
{
    const sigset_t signals = blockEndSignals();
    // A client that hangs up and a file that grows too large are errors of the calls that meet them, not of the program.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    startPictures();
    const Server server(options);
    std::printf("kinloomd listening on http://%s\n", server.address().c_str());
    std::fflush(stdout);
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) {
    }
    return EXIT_DONE;
}

} // namespace kinloomd
